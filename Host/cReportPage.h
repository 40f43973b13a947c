// report.html: the study report as one self-contained page (inline SVG, no script, no network), from
// the summary.json and report-data.json of an output folder: the traceability, the table of verdicts,
// the min/nominal/max bars per crash, then per crash file its curves with the fire times and the
// expected window, the TTF histogram per time event and the TTF against each drifted parameter.
#pragma once

#include "Host/cStudyReport.h"

#include <nlohmann/json.hpp>

#include <string>

// The size in pixels of every curve graph of the report; the run thins its curves for the plot width
// of a renderer of this size.
constexpr int kReportGraphWidth = 760;
constexpr int kReportGraphHeight = 300;

// The plot width the curves are thinned for.
int reportPlotWidth();

// The page of a study's report and its report data.
std::string renderReportPage(cStudyReport const& report, nlohmann::json const& data);

// Reads summary.json and report-data.json of `folder` and writes its report.html. Failures name the
// file (std::runtime_error or the readers' own exceptions).
void writeReportPage(std::string const& folder);

// report-data.json of a folder: reading and writing.
nlohmann::json readReportData(std::string const& folder);
void writeReportData(std::string const& folder, nlohmann::json const& data);

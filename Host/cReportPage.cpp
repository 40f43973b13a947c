#include "Host/cReportPage.h"

#include "PlotKit/cCountGraphSerie.h"
#include "PlotKit/cEnvelopeGraphSerie.h"
#include "PlotKit/cGraphHotPoint.h"
#include "PlotKit/cGraphSquare.h"
#include "PlotKit/cMinNomMaxByStringGraphSerie.h"
#include "PlotKit/cMinNomMaxByValueGraphSerie.h"
#include "PlotKit/cScatterGraph.h"
#include "PlotKit/cSvgRenderer.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace
{
std::string joinPath(std::string const& folder, char const* name)
{
    return (std::filesystem::path(folder) / name).string();
}

// Text for the page: the same escaping as the pictures', which also re-encodes names in the legacy
// Latin-1 of crash files as UTF-8.
std::string escaped(std::string const& text)
{
    return cSvgRenderer::escapeXml(text);
}

// A JSON value as table text: strings as they are, numbers in their shortest form.
std::string plainText(nlohmann::json const& value)
{
    if (value.is_null())
        return "";
    if (value.is_string())
        return value.get<std::string>();
    return value.dump();
}

cStorage<float> storageOf(nlohmann::json const& values)
{
    cStorage<float> storage(values.size() + 1);
    for (nlohmann::json const& value : values)
        storage.add(value.get<float>());
    return storage;
}

// ---- the graphs, rebuilt from the data ----------------------------------------------------------------

void addSeries(cScatterGraph& graph, nlohmann::json const& data, bool overTime)
{
    auto series = std::make_unique<cEnvelopeGraphSerie>(overTime ? eSerieYT : eSerieYX);
    series->SetLabel(data.at("label").get<std::string>());
    series->setColor(data.at("color").get<unsigned long>());
    cStorage<float> const times = storageOf(data.at("t"));
    // The nominal first, then minimum and maximum widen the envelope around it at the same times.
    for (char const* key : {"nominal", "minimum", "maximum"})
    {
        nlohmann::json const& curve = data.at(key);
        if (curve.is_null())
            continue;
        if (overTime)
            series->AddDataYT(times, storageOf(curve.at("y")), eComputeEnvelope);
        else
            series->AddDataYX(storageOf(curve.at("x")), storageOf(curve.at("y")), times, eComputeEnvelope);
    }
    graph.AddObject(series.release());
}

void addSquare(cScatterGraph& graph, nlohmann::json const& data)
{
    int const kind = data.at("kind").get<int>();
    auto square = std::make_unique<cGraphSquare>(kind);
    square->SetLabel(data.at("label").get<std::string>());
    square->setColor(data.at("color").get<unsigned long>());
    for (nlohmann::json const& mark : data.at("marks"))
    {
        if (kind == eSquareVerticalLine)
            square->AddDataVertical(mark.at(0).get<float>());
        else
            square->AddDataSquare(mark.at(0).get<float>(), mark.at(1).get<float>(), mark.at(2).get<float>(),
                                  mark.at(3).get<float>());
    }
    nlohmann::json const& expected = data.at("expected");
    for (unsigned int i = 0; i < cGraphSquare::kExpectedTimeCount && i < expected.size(); ++i)
        if (!expected[i].is_null())
            square->setExpectedTime(i, expected[i].get<float>());
    graph.AddObject(square.release());
}

std::unique_ptr<cScatterGraph> newGraph(std::string const& title, std::string const& xTitle,
                                        std::string const& yTitle)
{
    auto graph = std::make_unique<cScatterGraph>();
    graph->SetGraphTitle(title);
    graph->SetXAbscissaTitle(xTitle);
    graph->SetYAbscissaTitle(yTitle);
    return graph;
}

std::string curveGraphSvg(nlohmann::json const& definition, nlohmann::json const& data)
{
    std::string const view = definition.at("view").get<std::string>();
    auto graph =
        newGraph(view + ": " + definition.at("title").get<std::string>(),
                 definition.at("x_title").get<std::string>(), definition.at("y_title").get<std::string>());
    if (!definition.at("legend").get<bool>())
        graph->DisableLegend();
    bool const overTime = definition.at("over_time").get<bool>();
    for (nlohmann::json const& series : data.at("series"))
        addSeries(*graph, series, overTime);
    for (nlohmann::json const& square : data.at("squares"))
        addSquare(*graph, square);
    if (!data.at("hot_points").empty())
    {
        // Hot points are drawn wherever they are held: an object of no geometry holds them.
        auto holder = std::make_unique<cGraphObject>();
        for (nlohmann::json const& point : data.at("hot_points"))
        {
            auto hotPoint = std::make_unique<cGraphHotPoint>(point.at("color").get<unsigned long>(),
                                                             point.at("label").get<std::string>());
            hotPoint->setTimeAbscissa(overTime);
            hotPoint->setAbscissa(point.at("x").get<float>());
            hotPoint->setOrdinate(point.at("y").get<float>());
            holder->addHotPoint(hotPoint.release());
        }
        graph->AddObject(holder.release());
    }
    return cSvgRenderer(kReportGraphWidth, kReportGraphHeight).render(*graph);
}

std::string histogramSvg(std::string const& event, nlohmann::json const& bins, unsigned long colour)
{
    auto graph =
        newGraph(event + ": distribution of the time to fire", "time to fire (ms)", "iterations (%)");
    graph->DisableLegend();
    auto series = std::make_unique<cCountGraphSerie>();
    series->SetLabel(event);
    series->setColor(colour);
    for (nlohmann::json const& bin : bins)
        series->AddData(bin.at(0).get<float>(), bin.at(1).get<unsigned int>());
    graph->AddObject(series.release());
    return cSvgRenderer(kReportGraphWidth / 2, kReportGraphHeight).render(*graph);
}

std::string driftSvg(std::string const& event, std::string const& parameter, nlohmann::json const& points,
                     unsigned long colour)
{
    auto graph = newGraph(event + " against " + parameter, parameter, "time to fire (ms)");
    graph->DisableLegend();
    auto series = std::make_unique<cMinNomMaxByValueGraphSerie>();
    series->SetLabel(event);
    series->setColor(colour);
    for (nlohmann::json const& point : points)
        series->AddData(point.at(1).get<float>(), point.at(0).get<float>());
    graph->AddObject(series.release());
    return cSvgRenderer(kReportGraphWidth / 2, kReportGraphHeight).render(*graph);
}

// The bars of every crash file for one time event, the first crash on top.
std::string barsSvg(std::string const& event, nlohmann::json const& files)
{
    auto graph =
        newGraph(event + ": minimum, nominal and maximum time to fire by crash", "time to fire (ms)", "");
    graph->DisableLegend();
    auto series = std::make_unique<cMinNomMaxByStringGraphSerie>();
    series->SetLabel(event);
    series->setColor(0xB4771F);
    unsigned int rows = 0;
    for (nlohmann::json const& file : files)
        for (nlohmann::json const& data : file.at("events"))
        {
            if (data.at("event").get<std::string>() != event || data.at("bar").empty())
                continue;
            std::string const name = file.at("name").get<std::string>();
            for (nlohmann::json const& time : data.at("bar"))
                series->AddData(time.get<float>(), name.c_str());
            ++rows;
        }
    series->reverseVerticalOrder();
    graph->AddObject(series.release());
    return cSvgRenderer(kReportGraphWidth, std::max(kReportGraphHeight / 2, 90 + 22 * int(rows)))
        .render(*graph);
}

// ---- the page -------------------------------------------------------------------------------------

char const* const kStyle = R"(body { font-family: sans-serif; margin: 1.5em; color: #222; }
h1 { font-size: 1.5em; } h2 { font-size: 1.25em; margin-top: 1.5em; border-bottom: 1px solid #999; }
h3 { font-size: 1.1em; } h4 { font-size: 1em; margin-bottom: 0.3em; }
table { border-collapse: collapse; font-size: 0.85em; margin: 0.5em 0; }
th, td { border: 1px solid #bbb; padding: 2px 6px; text-align: left; vertical-align: top; }
td.n { text-align: right; font-variant-numeric: tabular-nums; }
.v-ok { background: #d7f0d2; } .v-undefined { background: #eeeeee; color: #555; }
.v-early, .v-late, .v-missed, .v-unwanted { background: #f7c9c5; font-weight: bold; }
.status-cancelled { color: #a00; font-weight: bold; }
.swatch { display: inline-block; width: 0.9em; height: 0.9em; border: 1px solid #555; vertical-align: middle; }
figure { display: inline-block; margin: 0.3em; } svg { max-width: 100%; height: auto; }
* { -webkit-print-color-adjust: exact; print-color-adjust: exact; }
@media print { body { margin: 0; } section.crash { break-before: page; } figure { break-inside: avoid; } }
)";

std::string colourCss(unsigned long colour)
{
    static char const digits[] = "0123456789abcdef";
    std::string css = "#";
    for (int shift : {0, 8, 16})
    {
        unsigned int const byte = (colour >> shift) & 0xFF;
        css += digits[byte >> 4];
        css += digits[byte & 0xF];
    }
    return css;
}

void traceabilityTable(std::ostringstream& out, cStudyReport const& report)
{
    nlohmann::json const& trace = report.traceability;
    out << "<h2>Traceability</h2>\n<table class=\"trace\">\n";
    auto const row = [&](std::string const& key, std::string const& value)
    { out << "<tr><th>" << escaped(key) << "</th><td>" << value << "</td></tr>\n"; };
    auto const file = [&](char const* key, char const* label)
    {
        nlohmann::json const& record = trace.value(key, nlohmann::json());
        if (!record.is_object())
            return row(label, "none");
        row(label, escaped(plainText(record.value("path", nlohmann::json()))) + "<br><small>SHA-256 " +
                       escaped(plainText(record.value("sha256", nlohmann::json()))) + "</small>");
    };
    file("project", "Project");
    file("calibration_description", "Calibration description");
    file("calibration_values", "Calibration values");
    file("file_list", "Crash file list");
    file("computation_configuration", "Computation configuration");
    row("SimCore version", escaped(plainText(trace.value("simcore_version", nlohmann::json()))));
    row("Date", escaped(plainText(trace.value("date", nlohmann::json()))));
    row("Iterations per file", escaped(plainText(trace.value("iterations_per_file", nlohmann::json()))));
    std::string drifts;
    for (nlohmann::json const& drift : trace.value("drifts", nlohmann::json::array()))
        drifts += escaped(plainText(drift.value("parameter", nlohmann::json()))) + ": " +
                  escaped(plainText(drift.value("minimum", nlohmann::json()))) + " to " +
                  escaped(plainText(drift.value("maximum", nlohmann::json()))) + ", step " +
                  escaped(plainText(drift.value("step", nlohmann::json()))) + ", nominal " +
                  escaped(plainText(drift.value("nominal", nlohmann::json()))) + ", " +
                  escaped(plainText(drift.value("points", nlohmann::json()))) + " points (" +
                  escaped(plainText(drift.value("distribution", nlohmann::json()))) + ")<br>";
    row("Drifts", drifts.empty() ? "none" : drifts);
    nlohmann::json const& statistical = trace.value("statistical_module", nlohmann::json());
    if (statistical.is_object())
        row("Statistical module",
            "seed " + escaped(plainText(statistical.value("seed", nlohmann::json()))) + ", " +
                escaped(plainText(statistical.value("combinations", nlohmann::json()))) + " combinations");
    nlohmann::json const& shards = trace.value("shards", nlohmann::json());
    if (shards.is_array())
    {
        std::string text = std::to_string(shards.size()) + " shards merged:";
        for (nlohmann::json const& shard : shards)
            text += "<br>" + escaped(plainText(shard.value("shard", nlohmann::json()))) + ": " +
                    escaped(plainText(shard.value("folder", nlohmann::json())));
        row("Shards", text);
    }
    std::string const status =
        report.cancelled ? "<span class=\"status-cancelled\">cancelled</span>" : "complete";
    row("Run", status + ", " + std::to_string(report.filesCompleted) + " of " +
                   std::to_string(report.filesTotal) + " crash files completed");
    out << "</table>\n";
}

// The rows of the verdict table, those of one file when `file` is given.
void verdictTable(std::ostringstream& out, cStudyReport const& report, std::string const* file)
{
    static char const* const kHeaders[] = {"item",         "file",         "event",       "expected min",
                                           "expected opt", "expected max", "TTF nominal", "TTF min",
                                           "TTF max",      "iterations",   "no fire",     "verdict"};
    out << "<table class=\"ttf\">\n<tr>";
    for (char const* header : kHeaders)
        out << "<th>" << header << "</th>";
    out << "</tr>\n";
    for (sTtfRow const& row : report.rows)
    {
        if (file != nullptr && row.file != *file)
            continue;
        std::vector<std::string> fields = cStudyReport::ttfFields(row);
        // What the file list gave, spelled as it gave it; times of no fire as "none".
        sExpectedTime const* const expected[] = {&row.expectedMin, &row.expectedOpt, &row.expectedMax};
        for (int k = 0; k < 3; ++k)
            if (expected[k]->kind == sExpectedTime::eNoFire)
                fields[3 + k] = "NF";
            else if (expected[k]->kind == sExpectedTime::eText)
                fields[3 + k] = expected[k]->text;
        for (int k = 6; k < 9; ++k)
            if (fields[k] == "-1")
                fields[k] = "none";
        out << "<tr>";
        for (size_t k = 0; k < fields.size(); ++k)
        {
            if (k + 1 == fields.size())
                out << "<td class=\"v-" << fields[k] << "\">";
            else
                out << (k >= 3 ? "<td class=\"n\">" : "<td>");
            out << escaped(fields[k]) << "</td>";
        }
        out << "</tr>\n";
    }
    out << "</table>\n";
}

void crashSection(std::ostringstream& out, cStudyReport const& report, nlohmann::json const& data,
                  nlohmann::json const& file)
{
    std::string const name = file.at("file").get<std::string>();
    unsigned long const colour = file.at("color").get<unsigned long>();
    out << "<section class=\"crash\" id=\"crash-" << file.at("position").get<unsigned int>() << "\">\n<h3>"
        << "<span class=\"swatch\" style=\"background:" << colourCss(colour) << "\"></span> " << escaped(name)
        << " <small>(" << escaped(file.at("item").get<std::string>()) << ")</small></h3>\n";
    verdictTable(out, report, &name);
    nlohmann::json const& definitions = data.at("graphs");
    if (!file.at("graphs").empty())
    {
        out << "<h4>Curves</h4>\n";
        for (nlohmann::json const& graph : file.at("graphs"))
            out << "<figure>" << curveGraphSvg(definitions.at(graph.at("graph").get<size_t>()), graph)
                << "</figure>\n";
    }
    nlohmann::json const& drifts = data.at("drifts");
    for (nlohmann::json const& event : file.at("events"))
    {
        std::string const eventName = event.at("event").get<std::string>();
        out << "<h4>" << escaped(eventName) << "</h4>\n<figure>"
            << histogramSvg(eventName, event.at("histogram"), 0xB4771F) << "</figure>\n";
        nlohmann::json const& byDrift = event.at("drifts");
        for (size_t d = 0; d < byDrift.size() && d < drifts.size(); ++d)
            if (!byDrift[d].empty())
                out << "<figure>" << driftSvg(eventName, drifts[d].get<std::string>(), byDrift[d], 0x0E7FFF)
                    << "</figure>\n";
    }
    out << "</section>\n";
}
} // namespace

int reportPlotWidth()
{
    return cSvgRenderer(kReportGraphWidth, kReportGraphHeight).plotWidth();
}

std::string renderReportPage(cStudyReport const& report, nlohmann::json const& data)
{
    std::string const project = plainText(
        report.traceability.value("project", nlohmann::json::object()).value("path", nlohmann::json()));
    std::string const title = "SimCore study report: " + std::filesystem::path(project).filename().string();
    std::ostringstream out;
    out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" << escaped(title)
        << "</title>\n<style>\n"
        << kStyle << "</style>\n</head>\n<body>\n<h1>" << escaped(title) << "</h1>\n";
    traceabilityTable(out, report);
    out << "<h2>Verdicts</h2>\n";
    verdictTable(out, report, nullptr);

    nlohmann::json const& files = data.at("files");
    out << "<h2>Times to fire by crash</h2>\n";
    for (nlohmann::json const& event : data.at("events"))
        out << "<figure>" << barsSvg(event.get<std::string>(), files) << "</figure>\n";
    out << "<h2>Crash files</h2>\n";
    for (nlohmann::json const& file : files)
        crashSection(out, report, data, file);
    out << "</body>\n</html>\n";
    return out.str();
}

nlohmann::json readReportData(std::string const& folder)
{
    std::string const path = joinPath(folder, "report-data.json");
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw std::runtime_error("cannot read " + path);
    try
    {
        return nlohmann::json::parse(in);
    }
    catch (nlohmann::json::exception const& error)
    {
        throw std::runtime_error(path + ": " + error.what());
    }
}

void writeReportData(std::string const& folder, nlohmann::json const& data)
{
    std::filesystem::create_directories(folder);
    std::string const path = joinPath(folder, "report-data.json");
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << data.dump() << "\n";
    if (!out.flush())
        throw std::runtime_error("cannot write " + path);
}

void writeReportPage(std::string const& folder)
{
    cStudyReport const report = cStudyReport::read(folder);
    nlohmann::json const data = readReportData(folder);
    std::string page;
    try
    {
        page = renderReportPage(report, data);
    }
    catch (nlohmann::json::exception const& error)
    {
        throw std::runtime_error(joinPath(folder, "report-data.json") + ": " + error.what());
    }
    std::string const path = joinPath(folder, "report.html");
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << page;
    if (!out.flush())
        throw std::runtime_error("cannot write " + path);
}

// The subcommands of the simcore command. Each adds itself to the command line and, when it is the
// one chosen, runs and leaves the process exit status in `status`: 0 success, 1 a study whose verdicts
// fail, 2 bad input or a failed run, 130 an interrupted run.
#pragma once

#include "Host/cStudy.h"

#include <ostream>
#include <string>

namespace CLI
{
class App;
}

void addPulseCommand(CLI::App& app, int& status);
void addConvertCommand(CLI::App& app, int& status);

// The study commands take the concrete algorithm and calibration from factories: the reference host
// passes its own, tests theirs.
void addInfoCommand(CLI::App& app, int& status, cStudy::tAlgorithmFactory algorithm,
                    cStudy::tCalibrationFactory calibration);
// The options of simcore run.
struct sRunOptions
{
    sStudyOptions study;
    std::string out = "simcore-out";
    bool quiet = false;
    // "K/N", or empty for the whole study.
    std::string shard;
};
void addRunCommand(CLI::App& app, int& status, cStudy::tAlgorithmFactory algorithm,
                   cStudy::tCalibrationFactory calibration);
// The run itself; messages and progress on `err`. Its exit status.
int runStudy(sRunOptions const& run, cStudy::tAlgorithmFactory algorithm,
             cStudy::tCalibrationFactory calibration, std::ostream& err);
// What info prints, on `out`; the exit status (2 for a project that cannot be opened, told on `err`).
int describeProject(std::string const& project, cStudy::tAlgorithmFactory algorithm,
                    cStudy::tCalibrationFactory calibration, std::ostream& out, std::ostream& err);
// simcore merge OUT DIR...: the shards of one study joined into the output of the whole study.
void addMergeCommand(CLI::App& app, int& status);
// simcore report DIR: report.html of an output folder; the exit status (2 when the folder lacks what
// the page is made from, told on `err`).
void addReportCommand(CLI::App& app, int& status);
int renderReport(std::string const& folder, std::ostream& err);

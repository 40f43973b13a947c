// simcore: the reference host's command line. It runs a study of a project (run), joins the results of
// shards (merge), renders the study report (report), makes synthetic crash recordings (pulse),
// converts recordings (convert) and describes a project (info).
#include "Host/Commands.h"
#include "Host/Version.h"
#include "Host/cFrontalAlgorithm.h"
#include "Host/cReferenceCalibration.h"

#include <CLI/CLI.hpp>

int main(int argc, char** argv)
{
    CLI::App app(
        "simcore: replays crash recordings through a vehicle, its sensors, the acquisition unit and a "
        "deployment algorithm, under sweeps of parameter drifts, and reports when the airbag fires.");
    app.set_version_flag("--version", simcoreVersion());
    app.require_subcommand(1);
    int status = 0;
    addPulseCommand(app, status);
    addConvertCommand(app, status);
    addMergeCommand(app, status);
    addReportCommand(app, status);
    // The reference host runs its own frontal algorithm and calibration.
    cStudy::tAlgorithmFactory const algorithm = [](std::string const& file)
    { return new cFrontalAlgorithm(file); };
    cStudy::tCalibrationFactory const calibration = [](std::string const& file)
    { return new cReferenceCalibration(file); };
    addRunCommand(app, status, algorithm, calibration);
    addInfoCommand(app, status, algorithm, calibration);
    try
    {
        app.parse(argc, argv);
    }
    catch (CLI::ParseError const& error)
    {
        // Help and version are successes; any other bad command line is bad input.
        return app.exit(error) == 0 ? 0 : 2;
    }
    return status;
}

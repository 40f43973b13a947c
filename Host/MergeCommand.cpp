// simcore merge OUT DIR...: joins the output folders of the shards of one study into the output of the
// whole study, as an unsharded run would have written it.
#include "Host/Commands.h"

#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "Host/cReportData.h"
#include "Host/cReportPage.h"
#include "Host/cStudyReport.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace
{
int mergeShards(std::string const& out, std::vector<std::string> const& folders)
{
    try
    {
        bool perIteration = false;
        cStudyReport const report = cStudyReport::merge(folders, perIteration);
        report.write(out, perIteration);
        // The report's data joins when every shard wrote it (simcore run --report), and the page follows.
        std::vector<std::string> without;
        for (std::string const& folder : folders)
            if (!std::filesystem::exists(folder + "/report-data.json"))
                without.push_back(folder);
        if (!without.empty() && without.size() < folders.size())
            doWarningMessage("No study report: " + without.front() +
                             " has no report-data.json (run every shard with --report).");
        if (without.empty())
        {
            std::vector<nlohmann::json> shards;
            for (std::string const& folder : folders)
                shards.push_back(readReportData(folder));
            writeReportData(out, mergeReportData(shards, folders));
            writeReportPage(out);
        }
        return report.exitStatus();
    }
    catch (cKynException const& error)
    {
        doErrorMessage(error.what());
    }
    catch (std::exception const& error)
    {
        // The file system's own failures (a folder that cannot be created) name their path.
        doErrorMessage(error.what());
    }
    return 2;
}
} // namespace

void addMergeCommand(CLI::App& app, int& status)
{
    CLI::App* command = app.add_subcommand(
        "merge",
        "Joins the output folders of the shards of one study (simcore run --shard K/N) into OUT, as one "
        "unsharded run would have written it. Exit status 0 or 1 by the verdicts, 2 when the folders "
        "are not all the shards of one completed study.");
    // The values live as long as the command line, which owns the callback that holds them.
    auto out = std::make_shared<std::string>();
    auto folders = std::make_shared<std::vector<std::string>>();
    command->add_option("OUT", *out, "Folder to write ttf.csv, summary.json and per-iteration.csv into")
        ->required();
    command->add_option("DIR", *folders, "The shards' output folders, in any order")->required();
    command->callback([&status, out, folders] { status = mergeShards(*out, *folders); });
}

// simcore report DIR: the study report report.html of an output folder, from its summary.json and the
// report-data.json that simcore run --report (or simcore merge of such runs) wrote.
#include "Host/Commands.h"

#include "BaseKit/cKynException.h"
#include "Host/cReportPage.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>
#include <memory>
#include <string>

int renderReport(std::string const& folder, std::ostream& err)
{
    try
    {
        writeReportPage(folder);
        return 0;
    }
    catch (cKynException const& error)
    {
        err << "simcore report: " << error.what() << "\n";
    }
    catch (std::exception const& error)
    {
        err << "simcore report: " << error.what() << "\n";
    }
    return 2;
}

void addReportCommand(CLI::App& app, int& status)
{
    CLI::App* const command = app.add_subcommand(
        "report", "Writes the study report report.html of an output folder of simcore run --report (or of "
                  "simcore merge of such runs): one page, plots inline, no script or network needed.");
    auto folder = std::make_shared<std::string>();
    command->add_option("DIR", *folder, "the output folder, with summary.json and report-data.json")
        ->required();
    command->callback([&status, folder] { status = renderReport(*folder, std::cerr); });
}

// simcore run PROJECT.prt: a whole study from one command. The report goes to the output folder, the
// progress and the messages to stderr; SIGINT and SIGTERM ask the run to stop and still write what
// the completed files gave.
#include "Host/Commands.h"
#include "Host/cReportPage.h"
#include "Host/cTerminalWindow.h"

#include "BaseKit/cKynException.h"
#include "SimCore/cComputationManager.h"

#include <CLI/CLI.hpp>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <memory>
#include <thread>
#include <unistd.h>

namespace
{
std::atomic<bool> g_interrupted{false};

extern "C" void onInterrupt(int)
{
    g_interrupted.store(true);
}

// Installs the handler of SIGINT and SIGTERM for the life of a run, and gives back the previous ones.
class cInterruptHandler
{
public:
    cInterruptHandler()
    {
        g_interrupted.store(false);
        struct sigaction action = {};
        action.sa_handler = onInterrupt;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &m_previousInt);
        sigaction(SIGTERM, &action, &m_previousTerm);
    }
    ~cInterruptHandler()
    {
        sigaction(SIGINT, &m_previousInt, nullptr);
        sigaction(SIGTERM, &m_previousTerm, nullptr);
    }

private:
    struct sigaction m_previousInt = {};
    struct sigaction m_previousTerm = {};
};

// "K/N" with 1 <= K <= N.
bool parseShard(std::string const& text, unsigned int& shard, unsigned int& count)
{
    std::size_t const slash = text.find('/');
    if (slash == std::string::npos)
        return false;
    try
    {
        std::size_t used = 0;
        unsigned long const k = std::stoul(text.substr(0, slash), &used);
        if (used != slash)
            return false;
        unsigned long const n = std::stoul(text.substr(slash + 1), &used);
        if (used != text.size() - slash - 1 || k < 1 || k > n || n > 1000000)
            return false;
        shard = unsigned(k);
        count = unsigned(n);
        return true;
    }
    catch (std::exception const&)
    {
        return false;
    }
}
} // namespace

int runStudy(sRunOptions const& run, cStudy::tAlgorithmFactory algorithm,
             cStudy::tCalibrationFactory calibration, std::ostream& err)
{
    sStudyOptions options = run.study;
    if (!run.shard.empty() && !parseShard(run.shard, options.shard, options.shardCount))
    {
        err << "simcore run: --shard takes K/N with 1 <= K <= N, not \"" << run.shard << "\"\n";
        return 2;
    }
    // The study works in the project's folder: the output folder is taken from where the command runs.
    std::string const out = std::filesystem::absolute(run.out).string();
    cInterruptHandler const interrupts;
    try
    {
        cStudy study(options, std::move(algorithm), std::move(calibration));
        study.open();
        EProgressMode const mode = run.quiet                    ? EProgressMode::eQuiet
                                   : isatty(STDERR_FILENO) != 0 ? EProgressMode::eBar
                                                                : EProgressMode::eLines;
        cTerminalWindow window(err, mode);
        std::atomic<bool> over{false};
        std::thread watcher(
            [&]
            {
                // A signal handler may not call into the library: this thread passes the request on.
                bool asked = false;
                while (!over.load())
                {
                    if (!asked && g_interrupted.load())
                    {
                        study.askForStop();
                        asked = true;
                    }
                    std::this_thread::sleep_for(std::chrono::milliseconds(20));
                }
            });
        try
        {
            study.run(window);
        }
        catch (...)
        {
            over.store(true);
            watcher.join();
            throw;
        }
        over.store(true);
        watcher.join();
        cStudyReport report = study.report(window.elapsedSeconds());
        report.filesTotal = unsigned(study.getSelectedFiles().size());
        report.write(out, options.perIteration);
        if (options.report)
        {
            writeReportData(out, study.reportData(reportPlotWidth()));
            writeReportPage(out);
        }
        if (myActiveComputationManager->getComputationsState() == computationsFailed)
        {
            err << "simcore run: the study failed; see the messages above.\n";
            return 2;
        }
        if (report.cancelled && !run.quiet)
            err << "simcore run: interrupted; " << report.filesCompleted << " of " << report.filesTotal
                << " files completed.\n";
        return report.exitStatus();
    }
    catch (cKynException const& e)
    {
        err << "simcore run: " << e.what() << "\n";
    }
    catch (std::exception const& e)
    {
        err << "simcore run: " << e.what() << "\n";
    }
    return 2;
}

void addRunCommand(CLI::App& app, int& status, cStudy::tAlgorithmFactory algorithm,
                   cStudy::tCalibrationFactory calibration)
{
    CLI::App* const command = app.add_subcommand(
        "run", "Run the study of a project: every used crash file under every drift combination.");
    auto run = std::make_shared<sRunOptions>();
    command->add_option("project", run->study.project, "the project file (.prt)")->required();
    command->add_option("--out", run->out, "the output folder (default simcore-out)");
    command->add_option("--calibration", run->study.calibrationValues,
                        "a calibration values file (.cal) to run instead of the project's");
    command->add_flag("--real-threads", run->study.realThreads, "run each stage on a thread of its own");
    command->add_flag("--quiet", run->quiet, "no progress");
    command->add_option("--shard", run->shard, "run shard K of N (K/N) of the used crash files");
    command->add_flag("--per-iteration", run->study.perIteration, "also write per-iteration.csv");
    command->add_flag("--report", run->study.report,
                      "also write report-data.json and the study report report.html (simcore report)");
    command->add_option("--jump-ms", run->study.jumpMs, "the smallest TTF jump the jump study reports (ms)")
        ->check(CLI::PositiveNumber);
    command->callback([&status, run, algorithm, calibration]
                      { status = runStudy(*run, algorithm, calibration, std::cerr); });
}

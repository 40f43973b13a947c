#include "Host/cStudy.h"

#include "Host/Commands.h"

#include "Host/cTerminalWindow.h"
#include "tests/support/cConfigurationTexts.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestCalibration.h"
#include "tests/support/cThresholdAlgorithm.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>

namespace
{
// The pipeline project of the library's tests with the host's keys: the threshold algorithm with its
// Fire event linked to the crash files' expected times, three crash files of one pulse (0 -2 -8 -20
// -12 -4 on ACU_X, 0.1 ms a step) and the Threshold drifted over 5, 10, 15: it fires at 0.2, 0.3 and
// 0.3 ms, the nominal (10) at 0.3 ms.
class cStudyTest : public cSimCoreFixture
{
protected:
    cStudyTest()
    {
        std::filesystem::copy(std::string(SIMCORE_TEST_DATA_DIR) + "SimCore/pipeline", tempFolder(),
                              std::filesystem::copy_options::recursive);
        std::string algorithm = readText(tempPath("algorithm.cfg"));
        algorithm.replace(algorithm.find("Compute Displacement = 1"), 24, "File Link = 1");
        writeText(tempPath("algorithm.cfg"), algorithm);
        writeText(tempPath("study.prt"), readText(tempPath("pipeline.prt")) +
                                             "Algorithm File = algorithm.cfg\n"
                                             "Calibration Description = calibration.cfg\n"
                                             "File List = crashes.fls\n"
                                             "Computation Configuration = drifts.cfg\n");
        std::string files;
        for (char const* name : {"crash.csh", "crash.bin", "CRASH/CRASH.mme"})
            files += std::string("File {\nName = ") + name +
                     "\nUsed = 1\nTime Event Settings List {\nTime Event Settings {\nTime Event = Fire\n"
                     "Minimum Value = 0.2\nOptimum = 0.3\nMaximum Value = NF\nWeight = 1\n}\n}\n}\n";
        writeText(tempPath("crashes.fls"), "@File Type = File List\n" + files);
        writeText(tempPath("drifts.cfg"),
                  "@File Type = Computation Configuration\nMechanical Drifts Not Crossed = 0\n"
                  "Enable Full Margin = 0\nEnable On All Multipreprocessing = 0\n"
                  "Enable Full Drift Distribution = 0\nEnable TTD Dispersion Study = 0\n"
                  "Statistical Module Active = 0\nStatistical Random Seed = 1\n"
                  "Statistical Iteration Number = 1\nDrifts Configuration {\n"
                  "Drift {\nName = Calibration\nParameter = Threshold\nNominal = 10\n"
                  "Minimum Value = 5\nMaximum Value = 15\nStep = 5\n}\n}\n");
    }

    static cStudy::tAlgorithmFactory algorithm()
    {
        return [](std::string const& file) { return new cThresholdAlgorithm(file); };
    }
    static cStudy::tCalibrationFactory calibration()
    {
        return [](std::string const& file) { return new cTestCalibration(file); };
    }
    // "file position nominal min max iterations no-fire" per row.
    static std::string rowsOf(cStudyReport const& report)
    {
        std::ostringstream text;
        for (sTtfRow const& row : report.rows)
            text << row.file << " " << row.position << " " << row.nominal << " " << row.minimum << " "
                 << row.maximum << " " << row.iterations << " " << row.noFire << "|";
        return text.str();
    }
};
} // namespace

// A whole study: the drift of the computation configuration, 3 iterations per file, the expected
// window of the file list, the traceability; a shard runs its share of the walk.
TEST_F(cStudyTest, AProjectRunsWholeAndAsAShard)
{
    std::ostringstream progress;
    {
        sStudyOptions options;
        options.project = tempPath("study.prt");
        options.perIteration = true;
        cStudy study(options, algorithm(), calibration());
        study.open();
        EXPECT_EQ(3u, study.getIterationsPerFile());
        cTerminalWindow window(progress, EProgressMode::eQuiet);
        study.run(window);
        cStudyReport const report = study.report(1.5);
        EXPECT_EQ(
            "crash.csh 0 0.3 0.2 0.3 3 0|crash.bin 1 0.3 0.2 0.3 3 0|CRASH/CRASH.mme 2 0.3 0.2 0.3 3 0|",
            rowsOf(report));
        sTtfRow const& row = report.rows[0];
        EXPECT_TRUE(row.fileLinked);
        EXPECT_EQ(sExpectedTime::eMilliseconds, row.expectedMin.kind);
        EXPECT_DOUBLE_EQ(0.2, row.expectedMin.milliseconds);
        EXPECT_EQ(sExpectedTime::eNoFire, row.expectedMax.kind);
        EXPECT_FALSE(report.cancelled);
        EXPECT_EQ(3u, report.filesCompleted);
        ASSERT_EQ(9u, report.iterations.size());
        EXPECT_EQ((std::vector<double>{15}), report.iterations[2].driftValues);
        ASSERT_EQ(1u, report.iterations[2].eventTimes.size());
        EXPECT_DOUBLE_EQ(0.3, report.iterations[2].eventTimes[0]);
        EXPECT_EQ(3u, report.traceability["iterations_per_file"].get<unsigned int>());
        EXPECT_EQ(64u, report.traceability["project"]["sha256"].get<std::string>().size());
        EXPECT_EQ("Threshold", report.traceability["drifts"][0]["parameter"].get<std::string>());
        EXPECT_EQ(1.5, report.traceability["duration_s"].get<double>());
    }
    EXPECT_EQ("", progress.str());

    sStudyOptions options;
    options.project = tempPath("study.prt");
    options.shard = 2;
    options.shardCount = 2;
    cStudy shard(options, algorithm(), calibration());
    shard.open();
    cTerminalWindow window(progress, EProgressMode::eQuiet);
    shard.run(window);
    EXPECT_EQ("crash.bin 1 0.3 0.2 0.3 3 0|", rowsOf(shard.report(0.0)));
}

// A report of a project that lists no view gets one per stage with criteria, a graph per criterion
// with the stage's time events, and those views only watch: the times stay those of the plain run.
TEST_F(cStudyTest, AReportWithoutViewsDrawsEveryCriterionOverTime)
{
    sStudyOptions options;
    options.project = tempPath("study.prt");
    options.report = true;
    cStudy study(options, algorithm(), calibration());
    study.open();
    std::ostringstream progress;
    cTerminalWindow window(progress, EProgressMode::eQuiet);
    study.run(window);
    EXPECT_EQ("crash.csh 0 0.3 0.2 0.3 3 0|crash.bin 1 0.3 0.2 0.3 3 0|CRASH/CRASH.mme 2 0.3 0.2 0.3 3 0|",
              rowsOf(study.report(0.0)));
    nlohmann::json const data = study.reportData(600);
    std::string graphs;
    for (nlohmann::json const& graph : data["graphs"])
        graphs += graph["view"].get<std::string>() + "/" + graph["title"].get<std::string>() + "|";
    EXPECT_EQ(
        "Vehicle/ACU_X|Vehicle/ACU_X Output|Vehicle/ACU_Y|Vehicle/ACU_Y Output|ACU_X/Input|ACU_X/Scaled|"
        "ACU_X/Output|ACU_Y/Input|ACU_Y/Clipped|ACU_Y/Output|Unit/ACU_X|Unit/ACU_X Output|Unit/ACU_Y|"
        "Unit/ACU_Y Output|Algorithm/Acceleration|",
        graphs);
    ASSERT_EQ(3u, data["files"].size());
    nlohmann::json const& file = data["files"][1];
    EXPECT_EQ("crash.bin", file["file"]);
    EXPECT_EQ(1u, file["position"]);
    // The algorithm's graph: the curve with its band over the three thresholds, and the Fire marks.
    nlohmann::json const& last = file["graphs"].back();
    EXPECT_EQ(data["graphs"].size() - 1, last["graph"].get<size_t>());
    EXPECT_EQ("Fire", last["squares"][0]["label"]);
    EXPECT_EQ(3u, last["squares"][0]["marks"].size());
    nlohmann::json const& fire = file["events"][0];
    EXPECT_EQ(nlohmann::json::parse("[[0.2,1],[0.3,2]]"), fire["histogram"]);
    EXPECT_EQ(nlohmann::json::parse("[0.3,0.3,0.2]"), fire["bar"]);
    EXPECT_EQ(nlohmann::json::parse("[[[10,0.3],[5,0.2],[15,0.3]]]"), fire["drifts"]);
}

// What a study cannot open names the file: a missing project, a missing key of the project.
TEST_F(cStudyTest, BadInputNamesTheFile)
{
    sStudyOptions options;
    options.project = tempPath("none.prt");
    EXPECT_THROW(
        {
            cStudy study(options, algorithm(), calibration());
            study.open();
        },
        std::runtime_error);
    writeText(tempPath("bare.prt"), readText(tempPath("pipeline.prt")));
    options.project = tempPath("bare.prt");
    cStudy study(options, algorithm(), calibration());
    try
    {
        study.open();
        FAIL() << "no calibration description";
    }
    catch (cKynException const& e)
    {
        EXPECT_NE(std::string::npos, std::string(e.what()).find("Calibration Description")) << e.what();
    }
}

// info tells what a study would run; a project that cannot be opened is bad input.
TEST_F(cStudyTest, InfoDescribesTheProjectWithoutRunningIt)
{
    std::ostringstream out;
    std::ostringstream err;
    EXPECT_EQ(0, describeProject(tempPath("study.prt"), algorithm(), calibration(), out, err));
    EXPECT_EQ("project: " + tempPath("study.prt") +
                  "\nitem: Default (3 of 3 files used)\n  * crash.csh\n  * crash.bin\n  * CRASH/CRASH.mme\n"
                  "channels: ACU_X ACU_Y\ndrifts:\n  Threshold: 5 to 15 step 5, nominal 10, 3 points\n"
                  "iterations per file: 3\n",
              out.str());
    EXPECT_EQ(2, describeProject(tempPath("none.prt"), algorithm(), calibration(), out, err));
    EXPECT_EQ("simcore info: Project file not found: " + tempPath("none.prt") + "\n", err.str());
}

namespace
{
// The threshold algorithm, interrupted by the user (SIGINT) during the first file's first iteration.
class cInterruptedAlgorithm : public cThresholdAlgorithm
{
public:
    using cThresholdAlgorithm::cThresholdAlgorithm;

protected:
    void initialiseForFirstIteration() override
    {
        cThresholdAlgorithm::initialiseForFirstIteration();
        if (iterations.size() == 1)
        {
            std::raise(SIGINT);
            // The command's watcher passes the request on within its polling period.
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    }
};
} // namespace

// The exit statuses of simcore run: 0 when every row is ok, 1 when one fails (the expected minimum
// moved above the first fire), 2 for bad input (a .cal with a bad line names the file and the line; a
// missing project),
// 130 when interrupted, with the completed files only and the comment line.
TEST_F(cStudyTest, RunExitsByVerdictsBadInputAndInterruption)
{
    std::ostringstream err;
    sRunOptions run;
    run.study.project = tempPath("study.prt");
    run.out = tempPath("out");
    run.quiet = true;
    EXPECT_EQ(0, runStudy(run, algorithm(), calibration(), err)) << err.str();
    std::string const csv = readText(tempPath("out/ttf.csv"));
    EXPECT_EQ(
        "item,file,event,expected_min_ms,expected_opt_ms,expected_max_ms,ttf_nominal_ms,ttf_min_ms,"
        "ttf_max_ms,iterations,no_fire,verdict\r\nDefault,crash.csh,Fire,0.2,0.3,-1,0.3,0.2,0.3,3,0,ok\r\n",
        csv.substr(0, csv.find("\r\n", csv.find("\r\n") + 2) + 2));

    std::string list = readText(tempPath("crashes.fls"));
    for (std::size_t at = list.find("Minimum Value = 0.2"); at != std::string::npos;
         at = list.find("Minimum Value = 0.2", at))
        list.replace(at, 19, "Minimum Value = 0.3");
    writeText(tempPath("crashes.fls"), list);
    EXPECT_EQ(1, runStudy(run, algorithm(), calibration(), err)) << "the drift at 5 fires early";
    run.shard = "2/3";
    EXPECT_EQ(0, runStudy(run, algorithm(), calibration(), err))
        << "a shard leaves the verdicts to the merge";
    run.shard = "4/3";
    EXPECT_EQ(2, runStudy(run, algorithm(), calibration(), err));
    run.shard.clear();

    writeText(tempPath("bad.cal"),
              "@File Type = Calibration\nParameters List {\nParameter {\nName = Threshold\n"
              "Raw Value = ten\n}\n}\n");
    run.study.calibrationValues = tempPath("bad.cal");
    err.str("");
    EXPECT_EQ(2, runStudy(run, algorithm(), calibration(), err));
    EXPECT_NE(std::string::npos, err.str().find(tempPath("bad.cal"))) << err.str();
    EXPECT_NE(std::string::npos, err.str().find("line 5")) << err.str();
    run.study.calibrationValues.clear();
    run.study.project = tempPath("none.prt");
    err.str("");
    EXPECT_EQ(2, runStudy(run, algorithm(), calibration(), err));
    EXPECT_EQ("simcore run: Project file not found: " + tempPath("none.prt") + "\n", err.str());
    run.study.project = tempPath("study.prt");

    auto const interrupted = [](std::string const& file) { return new cInterruptedAlgorithm(file); };
    EXPECT_EQ(130, runStudy(run, interrupted, calibration(), err));
    EXPECT_EQ("# cancelled: 0 of 3 files completed\r\nitem,file,",
              readText(tempPath("out/ttf.csv")).substr(0, 47));
}

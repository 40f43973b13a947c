// The sample study of examples/frontal, end to end through the commands: the reference algorithm and
// calibration over the committed crash matrix, against the golden ttf.csv that `make demo` prints.
#include "Host/Commands.h"
#include "Host/cFrontalAlgorithm.h"
#include "Host/cReferenceCalibration.h"
#include "Host/cReportPage.h"

#include "tests/support/cConfigurationTexts.h"
#include "tests/support/cSimCoreFixture.h"

#include <CLI/CLI.hpp>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>

namespace
{
class SampleStudyTest : public cSimCoreFixture
{
protected:
    SampleStudyTest()
    {
        std::filesystem::copy(std::string(SIMCORE_EXAMPLES_DIR) + "frontal", tempPath("frontal"),
                              std::filesystem::copy_options::recursive);
    }

    // simcore run on the copy of the sample, with its output in OUT; the exit status.
    int run(std::string const& out, bool realThreads = false, std::string const& shard = "",
            bool report = false)
    {
        sRunOptions options;
        options.study.project = tempPath("frontal/frontal.prt");
        options.study.realThreads = realThreads;
        options.study.report = report;
        options.out = tempPath(out);
        options.quiet = true;
        options.shard = shard;
        std::ostringstream err;
        int const status = runStudy(
            options, [](std::string const& file) { return new cFrontalAlgorithm(file); },
            [](std::string const& file) { return new cReferenceCalibration(file); }, err);
        EXPECT_EQ("", err.str()) << out;
        return status;
    }

    // simcore merge as the command line gives it.
    static int merge(std::string const& arguments)
    {
        CLI::App app;
        int status = -1;
        addMergeCommand(app, status);
        app.parse("merge " + arguments, false);
        return status;
    }

    // Empties the "Tests List" group of a stage file of the copy.
    void emptyTestsList(std::string const& name)
    {
        std::string text = readText(tempPath("frontal/" + name));
        ASSERT_NE(std::string::npos, text.find("Tests List {")) << name;
        std::size_t const start = text.find("Tests List {") + 12;
        std::size_t end = start;
        for (int depth = 1; depth > 0; ++end)
            depth += text[end] == '{' ? 1 : text[end] == '}' ? -1 : 0;
        text.replace(start, end - start, "\n}");
        writeText(tempPath("frontal/" + name), text);
    }

    std::string const golden = readText(SIMCORE_TEST_DATA_DIR "Host/frontal/ttf.csv");
};
} // namespace

// The same table from simulation mode, from a thread per stage, and from three shards merged; the
// sample's offset and pole crashes miss under the tolerances, so the study exits 1.
TEST_F(SampleStudyTest, EveryWayOfRunningGivesTheGoldenTable)
{
    EXPECT_EQ(1, run("simulation"));
    EXPECT_EQ(golden, readText(tempPath("simulation/ttf.csv")));

    EXPECT_EQ(1, run("threads", true));
    EXPECT_EQ(golden, readText(tempPath("threads/ttf.csv")));

    for (char const* shard : {"1/3", "2/3", "3/3"})
        EXPECT_EQ(0, run(std::string("shard") + shard[0], false, shard)) << shard;
    EXPECT_EQ(1, merge(tempPath("merged") + " " + tempPath("shard3") + " " + tempPath("shard1") + " " +
                       tempPath("shard2")));
    EXPECT_EQ(golden, readText(tempPath("merged/ttf.csv")));
    EXPECT_EQ(2, merge(tempPath("partial") + " " + tempPath("shard1") + " " + tempPath("shard3")));
    EXPECT_FALSE(std::filesystem::exists(tempPath("partial/ttf.csv")));
}

// The views, their graphs and the full margin only watch: the times to fire stay the same without them.
TEST_F(SampleStudyTest, GraphsAndMarginDoNotChangeTheTimesToFire)
{
    for (char const* name : {"frontal.cfg", "unit.cfg", "vehicle.vcl"})
        emptyTestsList(name);
    std::string tolerances = readText(tempPath("frontal/tolerances.cfg"));
    for (char const* key : {"Enable Full Margin = 1", "Enable On All Multipreprocessing = 1"})
        tolerances.replace(tolerances.find(key), std::string(key).size(),
                           std::string(key).substr(0, std::string(key).size() - 1) + "0");
    writeText(tempPath("frontal/tolerances.cfg"), tolerances);
    EXPECT_EQ(1, run("bare"));
    EXPECT_EQ(golden, readText(tempPath("bare/ttf.csv")));
}

namespace
{
size_t occurrences(std::string const& text, std::string const& what)
{
    size_t count = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++count;
    return count;
}
} // namespace

// --report adds the page and its data and leaves ttf.csv alone; the page has a section per crash file
// with its rows, and the shards' data merge into that of the whole study.
TEST_F(SampleStudyTest, ReportHasASectionPerCrashFileAndMergesFromShards)
{
    EXPECT_EQ(1, run("report", false, "", true));
    EXPECT_EQ(golden, readText(tempPath("report/ttf.csv")));
    // The project's own view decides the graphs.
    nlohmann::json const data = readReportData(tempPath("report"));
    std::string titles;
    for (nlohmann::json const& graph : data["graphs"])
        titles += graph["view"].get<std::string>() + ": " + graph["title"].get<std::string>() + "|";
    EXPECT_EQ("Frontal: Deceleration|Frontal: Velocity changes|", titles);
    std::string const page = readText(tempPath("report/report.html"));
    EXPECT_EQ(8u, occurrences(page, "<section class=\"crash\""));
    // Each verdict row shows in the table of the whole study and in its file's section.
    EXPECT_EQ(2u * 2u, occurrences(page, "<td class=\"v-missed\">missed</td>"));
    EXPECT_EQ(2u * 10u, occurrences(page, "<td class=\"v-ok\">ok</td>"));
    for (char const* file : {"crashes/full_frontal_56_MSS_1.csh", "crashes/hammer_MSS_1.bin"})
        EXPECT_NE(std::string::npos, page.find("</span> " + std::string(file) + " <small>")) << file;
    // Self-contained: no script, nothing fetched.
    for (char const* reference : {"<script", "src=", "href=", "@import", "url("})
        EXPECT_EQ(std::string::npos, page.find(reference)) << reference;

    for (char const* shard : {"1/2", "2/2"})
        EXPECT_EQ(0, run(std::string("part") + shard[0], false, shard, true)) << shard;
    EXPECT_EQ(1, merge(tempPath("joined") + " " + tempPath("part2") + " " + tempPath("part1")));
    EXPECT_EQ(readText(tempPath("report/report-data.json")), readText(tempPath("joined/report-data.json")));
    EXPECT_EQ(8u, occurrences(readText(tempPath("joined/report.html")), "<section class=\"crash\""));

    std::ostringstream err;
    EXPECT_EQ(2, renderReport(tempPath("simulation-none"), err));
    EXPECT_NE(std::string::npos, err.str().find("summary.json")) << err.str();
}

#include "Host/cStudyReport.h"

#include "Host/Commands.h"
#include "tests/support/cKitFixture.h"

#include <CLI/CLI.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <locale>
#include <sstream>

namespace
{
// A hand-made study: every verdict, every kind of expected value, precisions 0, 1 and 3, file names
// that need quotes, a crash file listed twice in a row, and the per-iteration rows of its files.
std::string const kStudy = SIMCORE_TEST_DATA_DIR "Host/report/study/";

std::string readFile(std::string const& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Numbers written the German way by the C++ global locale and, where the system has one, the C locale.
class cCommaLocale
{
public:
    cCommaLocale()
        : m_previous(std::locale::global(std::locale(std::locale::classic(), new cCommaNumbers))),
          m_cLocale(std::setlocale(LC_ALL, nullptr))
    {
        for (char const* name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8", "fr_FR.utf8"})
            if (std::setlocale(LC_ALL, name) != nullptr)
            {
                cName = name;
                break;
            }
    }
    ~cCommaLocale()
    {
        std::setlocale(LC_ALL, m_cLocale.c_str());
        std::locale::global(m_previous);
    }

    // The C locale set, empty when none with a decimal comma exists here.
    std::string cName;

private:
    struct cCommaNumbers : std::numpunct<char>
    {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    std::locale m_previous;
    std::string m_cLocale;
};

class cStudyReportTest : public cKitFixture
{
protected:
    // simcore merge with these arguments, in-process, giving its exit status.
    static int merge(std::vector<std::string> arguments)
    {
        CLI::App app;
        int status = -1;
        addMergeCommand(app, status);
        arguments.insert(arguments.begin(), "merge");
        std::reverse(arguments.begin(), arguments.end());
        app.parse(arguments);
        return status;
    }

    // The study cut into shards as `simcore run --shard K/N` cuts it: files by position modulo N.
    std::string writeShard(cStudyReport const& study, unsigned int k, unsigned int n, std::string const& name)
    {
        cStudyReport shard = study;
        shard.shard = k;
        shard.shardCount = n;
        shard.traceability["duration_s"] = 10 * k;
        auto const foreign = [&](unsigned int position) { return position % n != k - 1; };
        std::erase_if(shard.rows, [&](sTtfRow const& row) { return foreign(row.position); });
        std::erase_if(shard.iterations, [&](sIterationRow const& row) { return foreign(row.position); });
        std::erase_if(shard.jumps, [&](sJump const& jump) { return jump.file != "fs56.csh" || k != 1; });
        shard.filesCompleted = shard.filesTotal = static_cast<unsigned int>((10 + n - k) / n);
        shard.write(tempPath(name), true);
        return tempPath(name);
    }
};
} // namespace

// The rows round-trip through summary.json and per-iteration.csv unchanged, so the golden files are
// both the input and the expected output.
TEST_F(cStudyReportTest, WritesTheGoldenFilesOfAHandMadeStudy)
{
    bool perIteration = false;
    cStudyReport const study = cStudyReport::read(kStudy, &perIteration);
    EXPECT_TRUE(perIteration);
    ASSERT_EQ(27u, study.iterations.size());
    // The repeated file's iterations start again at 0; the empty file has none.
    EXPECT_EQ(7u, study.iterations[23].position);
    EXPECT_EQ(8u, study.iterations[24].position);
    EXPECT_EQ(8u, study.iterations[26].position);
    study.write(tempFolder(), true);
    for (char const* name : {"ttf.csv", "summary.json", "per-iteration.csv"})
        EXPECT_EQ(readFile(kStudy + name), readFile(tempPath(name))) << name;

    EXPECT_EQ(1, study.exitStatus());
    cStudyReport passing = study;
    std::erase_if(passing.rows,
                  [](sTtfRow const& row) { return cStudyReport::fails(cStudyReport::verdictOf(row)); });
    EXPECT_EQ(10u, passing.rows.size());
    EXPECT_EQ(0, passing.exitStatus()); // undefined rows do not count
    passing.cancelled = true;
    EXPECT_EQ(130, passing.exitStatus());
}

TEST_F(cStudyReportTest, CancelledRunSaysSoAndNumbersKeepTheirPointInAnyLocale)
{
    cCommaLocale comma;
    std::ostringstream probe;
    probe << 1234.5;
    ASSERT_EQ("1.234,5", probe.str());
    if (!comma.cName.empty())
    {
        char text[16];
        std::snprintf(text, sizeof text, "%.1f", 1.5);
        EXPECT_STREQ("1,5", text) << comma.cName;
    }

    cStudyReport study = cStudyReport::read(kStudy);
    study.cancelled = true;
    study.filesCompleted = 3;
    std::ostringstream csv;
    study.writeTtfCsv(csv);
    EXPECT_EQ("# cancelled: 3 of 10 files completed\r\n" + readFile(kStudy + "ttf.csv"), csv.str());
    std::ostringstream iterations;
    study.writePerIterationCsv(iterations);
    EXPECT_EQ(readFile(kStudy + "per-iteration.csv"), iterations.str());

    study.write(tempFolder(), false);
    EXPECT_FALSE(std::filesystem::exists(tempPath("per-iteration.csv")));
    cStudyReport const back = cStudyReport::read(tempFolder());
    EXPECT_EQ(study.toJson(), back.toJson());
    EXPECT_EQ("cancelled", back.toJson()["status"]);
    EXPECT_EQ(21.333333333333332, back.rows[10].nominal);
}

// Three shards given out of order give back the unsharded files, with each shard's own traceability
// beside the shared one.
TEST_F(cStudyReportTest, MergeOfShardsInAnyOrderGivesTheUnshardedStudy)
{
    cStudyReport const study = cStudyReport::read(kStudy);
    std::string const one = writeShard(study, 1, 3, "one");
    std::string const two = writeShard(study, 2, 3, "two");
    std::string const three = writeShard(study, 3, 3, "three");
    EXPECT_EQ(0, cStudyReport::read(two).exitStatus()); // its late row waits for the merge

    EXPECT_EQ(1, merge({tempPath("out"), three, one, two}));
    EXPECT_TRUE(messages.entries().empty());
    for (char const* name : {"ttf.csv", "per-iteration.csv"})
        EXPECT_EQ(readFile(kStudy + name), readFile(tempPath("out/") + name)) << name;
    nlohmann::json const merged = cStudyReport::read(tempPath("out")).toJson();
    nlohmann::json const expected = study.toJson();
    for (char const* member : {"rows", "jumps", "verdicts", "per_iteration_columns", "status",
                               "files_completed", "files_total", "shard"})
        EXPECT_EQ(expected[member], merged[member]) << member;
    nlohmann::json traceability = study.traceability;
    traceability["shards"] = {{{"shard", 1}, {"folder", one}, {"files_completed", 4}, {"duration_s", 10}},
                              {{"shard", 2}, {"folder", two}, {"files_completed", 3}, {"duration_s", 20}},
                              {{"shard", 3}, {"folder", three}, {"files_completed", 3}, {"duration_s", 30}}};
    EXPECT_EQ(traceability, merged["traceability"]);

    // Without every shard's per-iteration.csv the merge writes none.
    std::filesystem::remove(two + "/per-iteration.csv");
    EXPECT_EQ(1, merge({tempPath("out2"), one, two, three}));
    EXPECT_TRUE(std::filesystem::exists(tempPath("out2/ttf.csv")));
    EXPECT_FALSE(std::filesystem::exists(tempPath("out2/per-iteration.csv")));
}

TEST_F(cStudyReportTest, MergeRefusesWhatIsNotEveryShardOfOneCompletedStudy)
{
    cStudyReport study = cStudyReport::read(kStudy);
    std::string const one = writeShard(study, 1, 3, "one");
    std::string const two = writeShard(study, 2, 3, "two");
    std::string const three = writeShard(study, 3, 3, "three");
    std::string const twoAgain = writeShard(study, 2, 3, "two-again");
    std::string const twoOfFour = writeShard(study, 2, 4, "two-of-four");
    std::string const badLine = writeShard(study, 2, 3, "bad-line");
    std::string text = readFile(badLine + "/per-iteration.csv");
    text.replace(text.find("0.95"), 4, "0,95");
    std::ofstream(badLine + "/per-iteration.csv", std::ios::binary) << text;
    study.cancelled = true;
    std::string const cancelled = writeShard(study, 3, 3, "cancelled");
    study.cancelled = false;
    study.traceability["project"]["path"] = "other/frontal.prt";
    std::string const other = writeShard(study, 2, 3, "other");
    std::filesystem::create_directory(tempPath("empty"));

    struct sCase
    {
        std::vector<std::string> folders;
        std::string message;
    } const cases[] = {
        {{one, three}, "shard 2/3 is missing among the folders given: " + one + ", " + three},
        {{one, two, three, twoAgain}, twoAgain + ": shard 2/3 repeats " + two},
        {{one, twoOfFour, three}, twoOfFour + ": shard 2/4 is not one of the 3 shards of " + one},
        {{one, other, three},
         other +
             ": shard 2/3 is of project other/frontal.prt, not of project examples/frontal/frontal.prt "
             "like " +
             one},
        {{one, two, cancelled},
         cancelled + ": shard 3/3 is incomplete: cancelled with 3 of 3 files completed"},
        {{one, kStudy}, kStudy + ": not a shard: its run had no --shard"},
        {{tempPath("empty"), one}, tempPath("empty") + ": no summary.json: not the output folder of a study"},
        {{one, badLine, three}, badLine + "/per-iteration.csv line 2: 9 fields for 8 columns"},
    };
    for (sCase const& test : cases)
    {
        messages.clear();
        std::vector<std::string> arguments = {tempPath("out")};
        arguments.insert(arguments.end(), test.folders.begin(), test.folders.end());
        EXPECT_EQ(2, merge(arguments)) << test.message;
        ASSERT_EQ(1u, messages.entries().size()) << test.message;
        EXPECT_EQ("error", messages.entries()[0].kind);
        EXPECT_EQ(test.message, messages.entries()[0].text);
        EXPECT_FALSE(std::filesystem::exists(tempPath("out")));
    }
}

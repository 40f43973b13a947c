#include "SimCore/cKynFile.h"

#include "SimCore/cKynFileList.h"
#include "StoreKit/cConfigurationReader.h"
#include "tests/support/cAlgorithmFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace
{
// A recording that counts the crash file's requests and fails its reads.
struct cCountingRecording : cInputFile
{
    using cInputFile::cInputFile;
    int load(std::vector<std::string> const& declared, cConfigurationGroup const*, std::string* errorText) override
    {
        ++loads;
        declaredCount = declared.size();
        if (errorText != nullptr)
            *errorText += "unreadable";
        return 0;
    }
    void release() override { ++releases; }
    int loads = 0;
    int releases = 0;
    size_t declaredCount = 99;
};

// An algorithm of three events, two of them file-linked, at 20000 ticks per second.
class cKynFileTest : public cAlgorithmFixture
{
protected:
    cKynFileTest()
    {
        algorithm.loadTimeEvents("Time Event {\nName = A\nFile Link = 1\n}\nTime Event {\nName = B\n}\n"
                                 "Time Event {\nName = C\nFile Link = 1\n}\n");
        algorithm.setTimeEventsPrecisionFrequency(20000);
    }
};

cConfigurationGroup settings(std::string const& text)
{
    cConfigurationGroup group;
    cConfigurationReader::read(text, "list.fls", group);
    return group;
}

std::vector<std::string> texts(structTTF const& ttf)
{
    return {ttf.values[0], ttf.values[1], ttf.values[2]};
}
} // namespace

// Each input line is given as the optimum, at 20000 ticks per second, and read back as stored, as text
// in milliseconds with 3 and 0 decimals, as XML text with 1 and as a number of milliseconds when there
// is one (else the number passed in, -7, stays). Any negative number other than -2 is no fire; ticks
// and milliseconds round half away from zero.
TEST_F(cKynFileTest, ExpectedTimeTextsGoInAsTicksAndComeBackAsMilliseconds)
{
    structTTF ttf(algorithm.timeEvent("A"), "-1", "-1", "-1", 1.0f);
    std::istringstream inputs(testData("SimCore/results/ttf-input.txt"));
    std::ostringstream stored;
    for (std::string input; std::getline(inputs, input);)
    {
        EXPECT_TRUE(ttf.setTtfValue(eTtfOptimum, input));
        double milliseconds = -7.0;
        bool const isNumber = ttf.asMilliseconds(eTtfOptimum, milliseconds);
        stored << ttf.values[eTtfOptimum] << " | " << ttf.asString(eTtfOptimum, 3) << " | "
               << ttf.asXmlString(eTtfOptimum, 1) << " | " << ttf.asString(eTtfOptimum, 0) << " | "
               << isNumber << " " << milliseconds << "\n";
    }
    EXPECT_EQ(testData("SimCore/results/ttf-expected.txt"), stored.str());
    EXPECT_EQ("-1", ttf.values[eTtfMinimum]) << "only the given kind changes";
}

// A new file expects no fire for each file-linked event; a copy takes texts and weights entry by entry.
TEST_F(cKynFileTest, NewFileExpectsNoFireForEachFileLinkedEventAndCopiesTakeTheEntries)
{
    cKynFile* const file = addCrash("/data/crash_01.csh");
    cKynFile* const target = addCrash("/data/crash_02.csh");
    cTimeEvent* const b = algorithm.timeEvent("B");
    ASSERT_EQ(2u, file->getTtfSettings().size());
    for (char const* name : {"A", "C"})
    {
        structTTF* const ttf = file->findStructTTF(algorithm.timeEvent(name));
        EXPECT_EQ(algorithm.timeEvent(name), ttf->timeEvent);
        EXPECT_EQ((std::vector<std::string>{"-1", "-1", "-1"}), texts(*ttf));
        EXPECT_EQ(1.0f, ttf->weight);
        ttf->setTtfValue(eTtfMinimum, name == std::string("A") ? "5" : "6");
        ttf->setTtfValue(eTtfMaximum, "free");
        ttf->weight = 0.25f;
    }
    EXPECT_EQ(nullptr, file->tryFindStructTTF(b));
    EXPECT_EQ("cStructTTFSearchedException|cKynFile::findStructTTF|Expected time to fire not found.",
              failureOf([&] { file->findStructTTF(b); }));
    EXPECT_EQ(0x4639ff, file->getColor());

    target->copyTTFSettings(file);
    for (auto const& [event, minimum] :
         std::vector<std::pair<std::string, std::string>>{{"A", "100"}, {"C", "120"}})
    {
        structTTF const* const to = target->findStructTTF(algorithm.timeEvent(event));
        EXPECT_NE(file->findStructTTF(algorithm.timeEvent(event)), to) << "the entries stay the file's own";
        EXPECT_EQ((std::vector<std::string>{minimum, "-1", "S:free"}), texts(*to)) << event;
        EXPECT_EQ(algorithm.timeEvent(event), to->timeEvent);
        EXPECT_EQ(0.25f, to->weight);
    }

    myActiveAlgorithm = nullptr;
    EXPECT_TRUE(addCrash("/data/crash_03.csh")->TTFSettingListEmpty()) << "no algorithm, no events";
}

TEST_F(cKynFileTest, LoadTTFSettingsStopsAtAnUnknownEventAndKeepsWhatCameBefore)
{
    cKynFile* const file = addCrash("/data/crash_01.csh");
    EXPECT_TRUE(file->loadTTFSettings(nullptr));
    // C, then a group of another name, an unknown event Z and A.
    cConfigurationGroup group = settings(testData("SimCore/results/ttf-settings.fls"));
    EXPECT_FALSE(file->loadTTFSettings(&group));
    structTTF* const c = file->findStructTTF(algorithm.timeEvent("C"));
    EXPECT_EQ((std::vector<std::string>{"200", "-1", "-2"}), texts(*c));
    EXPECT_EQ(0.5f, c->weight);
    structTTF* const a = file->findStructTTF(algorithm.timeEvent("A"));
    EXPECT_EQ((std::vector<std::string>{"-1", "-1", "-1"}), texts(*a))
        << "entries after the unknown one stay";
    EXPECT_EQ(1.0f, a->weight);

    // B is known to the algorithm but not file-linked: no entry, so the list is refused too; a missing
    // key likewise.
    for (std::string const text :
         {"Time Event = B\nMinimum Value = 1\nOptimum = 2\nMaximum Value = 3\nWeight = 1\n",
          "Time Event = A\nMinimum Value = 1\nOptimum = 2\n"})
    {
        cConfigurationGroup refused = settings("Time Event Settings {\n" + text + "}\n");
        EXPECT_FALSE(file->loadTTFSettings(&refused)) << text;
    }
    cConfigurationGroup good =
        settings("Time Event Settings {\nTime Event = A\nMinimum Value = 1\nOptimum = -2\n"
                 "Maximum Value = late\nWeight = 3\n}\n");
    EXPECT_TRUE(file->loadTTFSettings(&good));
    EXPECT_EQ((std::vector<std::string>{"20", "-2", "S:late"}), texts(*a));
    EXPECT_EQ(3.0f, a->weight);
}

TEST_F(cKynFileTest, UseFileReadsOnceAndGivesTheSamplesBackWhenUnselected)
{
    cRecordingTraceSink trace(3);
    auto* const recording = new cCountingRecording("/data/crash_01.csh");
    cKynFile* const file = myActiveFileList->addFile(recording);
    EXPECT_EQ("/data/crash_01.csh", file->getFileName());
    EXPECT_EQ("crash_01", file->extractName());

    std::string errors;
    file->useFile(true, &errors);
    file->useFile(true, &errors);
    EXPECT_EQ(1, recording->loads) << "a failed read also counts as loaded";
    EXPECT_EQ(0u, recording->declaredCount);
    EXPECT_EQ("unreadable", errors);
    EXPECT_TRUE(file->isUsedFile());
    EXPECT_TRUE(file->isLoaded());
    EXPECT_EQ(1, file->load(nullptr));

    file->useFile(false, nullptr);
    file->useFile(false, nullptr);
    EXPECT_EQ(1, recording->releases) << "only a loaded file is released";
    EXPECT_FALSE(file->isUsedFile());
    EXPECT_FALSE(file->isLoaded());
    EXPECT_EQ(0, file->load(nullptr)) << "read again after the release";
    EXPECT_EQ(2, recording->loads);
    EXPECT_EQ((std::vector<std::string>{"File selected for use: /data/crash_01.csh",
                                        "File selected for use: /data/crash_01.csh",
                                        "File unselected for use: /data/crash_01.csh"}),
              trace.texts());

    cRecordingTraceSink quiet(2);
    file->useFile(false, nullptr);
    file->useFile(true, nullptr);
    EXPECT_TRUE(quiet.lines().empty()) << "level 3 lines only";
}

// Each path of the input fails with the source and the failure of the expected output's line.
TEST_F(cKynFileTest, MakeAcquisitionFileNamesThePathAndTheMissingReader)
{
    std::istringstream paths(testData("SimCore/results/acquisition-paths.txt"));
    std::string failures;
    for (std::string path; std::getline(paths, path);)
    {
        auto const open = [&] { myActiveFileList->addFile(path.c_str(), nullptr); };
        failures += sourceOf(open) + "|" + failureOf(open) + "\n";
    }
    EXPECT_EQ(testData("SimCore/results/acquisition-failures.txt"), failures);
    EXPECT_EQ(0u, myActiveFileList->getFilesNumber()) << "a file that cannot be read leaves no entry";
}

#include "SimCore/cKynFile.h"

#include "SimCore/cKynFileList.h"
#include "StoreKit/CSensorDefect.h"
#include "StoreKit/CSensorDefectChannelConfiguration.h"
#include "StoreKit/cConfigurationReader.h"
#include "StoreKit/cConfigurationWriter.h"
#include "tests/support/cAlgorithmFixture.h"
#include "tests/support/cConfigurationTexts.h"
#include "tests/support/cPipelineFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{
// A recording that counts the crash file's requests and fails its reads.
struct cCountingRecording : cInputFile
{
    using cInputFile::cInputFile;
    int load(std::vector<std::string> const& declared, cConfigurationGroup const*,
             std::string* errorText) override
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

// One line per channel of the defect map: "name [start, end]:" and each defect as
// " name|type|from-to|used|popup;".
std::string defectsOf(cKynFile const& file)
{
    std::ostringstream text;
    for (auto const& [channel, configuration] : file.getMapOfFileChannelDefects())
    {
        text << channel << " [" << configuration->getStartOfChannel() << ", "
             << configuration->getEndOfChannel() << "]:";
        for (unsigned int i = 0; i < configuration->getDefects().size(); ++i)
        {
            CSensorDefect const* const defect = configuration->getDefects()[i];
            text << " " << defect->getDefectName() << "|" << defect->getDefectTypeAsString() << "|"
                 << defect->getDefectFrom() << "-" << defect->getDefectTo() << "|"
                 << (defect->isUsedDefect() ? "used" : "unused")
                 << (defect->getEnableDefectPopup() ? "|popup" : "") << ";";
        }
        text << "\n";
    }
    return text.str();
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

// The construction reads the file once already (its defect map needs the channels), without a report.
TEST_F(cKynFileTest, UseFileReadsOnceAndGivesTheSamplesBackWhenUnselected)
{
    cRecordingTraceSink trace(3);
    auto* const recording = new cCountingRecording("/data/crash_01.csh");
    cKynFile* const file = myActiveFileList->addFile(recording);
    EXPECT_EQ("/data/crash_01.csh", file->getFileName());
    EXPECT_EQ("crash_01", file->extractName());
    EXPECT_EQ(1, recording->loads);
    EXPECT_EQ(0u, recording->declaredCount);

    std::string errors;
    file->useFile(true, &errors);
    file->useFile(true, &errors);
    EXPECT_EQ(1, recording->loads) << "a failed read also counts as loaded";
    EXPECT_EQ("", errors);
    EXPECT_TRUE(file->isUsedFile());
    EXPECT_EQ(1, file->load(nullptr));

    file->useFile(false, nullptr);
    file->useFile(false, nullptr);
    EXPECT_EQ(1, recording->releases) << "only a loaded file is released";
    EXPECT_FALSE(file->isUsedFile());
    EXPECT_FALSE(file->isLoaded());
    file->useFile(true, &errors);
    EXPECT_EQ(2, recording->loads) << "read again after the release";
    EXPECT_EQ("unreadable", errors);
    EXPECT_EQ((std::vector<std::string>{"File selected for use: /data/crash_01.csh",
                                        "File selected for use: /data/crash_01.csh",
                                        "File unselected for use: /data/crash_01.csh",
                                        "File selected for use: /data/crash_01.csh"}),
              trace.texts());

    cRecordingTraceSink quiet(2);
    file->useFile(false, nullptr);
    file->useFile(true, nullptr);
    EXPECT_TRUE(quiet.lines().empty()) << "level 3 lines only";
}

// Each path of the input fails with the source and the failure of the expected output's line.
TEST_F(cKynFileTest, MakeAcquisitionFileRefusesOtherExtensionsAndFilesItCannotRead)
{
    std::istringstream paths(testData("SimCore/results/acquisition-paths.txt"));
    std::string failures;
    for (std::string path; std::getline(paths, path);)
    {
        auto const open = [&] { myActiveFileList->addFile(path.c_str(), nullptr); };
        failures += sourceOf(open) + "|" + failureOf(open) + "\n";
    }
    EXPECT_EQ(testData("SimCore/results/acquisition-failures.txt"), failures);

    // The reader of the extension, in any case, reports a format error as it is (the recording is deleted).
    for (auto const& [name, what] : std::vector<std::pair<std::string, std::string>>{
             {"bad.Bin", "\": not a BIN recording (bad magic)"},
             {"bad.mMe", "\" at line 1: \"not a recording\" is no \"name:value\" line"}})
    {
        std::string const bad = tempPath(name);
        writeText(bad, "not a recording");
        EXPECT_EQ("cGenericException|cAcquisitionInputFile::read|Bad crash recording \"" + bad + what,
                  failureOf([&] { myActiveFileList->addFile(bad.c_str(), nullptr); }));
    }
    EXPECT_EQ(0u, myActiveFileList->getFilesNumber()) << "a file that cannot be read leaves no entry";
}

// The process's limit of open files is lowered to the descriptors already open, then restored before
// the failure is looked at. UndefinedBehaviorSanitizer checks each dynamic type once through a pipe,
// which needs descriptors: the recording and the failure are made once before the limit is lowered.
TEST_F(cKynFileTest, MakeAcquisitionFileTellsAProcessOutOfFileHandles)
{
    std::string const path = tempPath("front.csh");
    std::filesystem::copy_file(std::string(SIMCORE_TEST_DATA_DIR) + "SimCore/files/front_LSB_01.csh", path);
    cInputFile* const opened = makeAcquisitionFile(path.c_str(), 0x21, nullptr);
    EXPECT_FALSE(dynamic_cast<cBinaryInputFile&>(*opened).isOpen()) << "an idle recording holds no handle";
    delete opened;
    static_cast<void>(cTooManyOpenFilesException("", "", 0, path).what());

    rlimit saved{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &saved));
    int const lowestFree = ::open("/dev/null", O_RDONLY);
    ASSERT_LE(0, lowestFree);
    ::close(lowestFree);
    rlimit low = saved;
    low.rlim_cur = static_cast<rlim_t>(lowestFree);
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &low));
    std::exception_ptr failure;
    try
    {
        delete makeAcquisitionFile(path.c_str(), 0x21, nullptr);
    }
    catch (...)
    {
        failure = std::current_exception();
    }
    int const errorAfter = errno;
    ::setrlimit(RLIMIT_NOFILE, &saved);
    EXPECT_EQ("cTooManyOpenFilesException|makeAcquisitionFile|Too many open files, unable to open: " + path,
              failureOf([&] { std::rethrow_exception(failure); }));
    EXPECT_EQ(0, errorAfter) << "errno is read and cleared";
}

// A ".CSH" is read as CSH. Its declared defects enter the map unused (a blank name or an unknown time is
// none); the list's defects replace them, and only those in use and added on the fly make a sample
// defective, within the channel (8 Hz: sample k at 125 k ms, exact in single precision).
TEST_F(cKynFileTest, DefectsOfTheRecordingAndOfTheListActOnlyWhenUsedAndAddedOnTheFly)
{
    std::string const path = tempPath("FRONT_LSB_01.CSH");
    std::filesystem::copy_file(std::string(SIMCORE_TEST_DATA_DIR) + "SimCore/files/front_LSB_01.csh", path);
    cKynFile* const file = myActiveFileList->addFile(path.c_str(), nullptr);
    EXPECT_EQ("Frontal", file->getCrashType());
    EXPECT_EQ(56, file->getVehicleSpeed());
    EXPECT_EQ(12, file->getInstrumentationNumber());
    EXPECT_TRUE(file->getMapOfFileChannelDefects().empty()) << "no preprocessing set, no channel";

    file->FillMapOfFileChannelDefects({"ACU_X", "ACU_Y", "ACU_Z"});
    EXPECT_EQ("ACU_X [0, 500]: wire loose|Declared in recording|125-500|unused|popup;\nACU_Y [0, 250]:\n"
              "ACU_Z [0, 0]:\n",
              defectsOf(*file));
    CSensorDefect named[] = {{"wire loose", eDefectAddedOnTheFly, 0, 0, false},
                             {"early", eDefectAddedOnTheFly, 0, 0, false},
                             {"beyond", eDefectAddedOnTheFly, 0, 0, false}};
    file->addUsedDefect(&named[0], "ACU_X");
    EXPECT_TRUE(file->isAnyDefectUsed());
    EXPECT_FALSE(file->isDefect("ACU_X", 2, 8.0f)) << "a declared defect never acts";

    cConfigurationGroup group = settings(testData("SimCore/files/defects.fls"));
    EXPECT_FALSE(file->loadMapOfFileChannelDefects(&group))
        << "a defect without its end, one of no known type";
    EXPECT_EQ("ACU_X [0, 500]: early|Added on the fly|0-125|used; beyond|Added on the fly|375-1000|unused; "
              "declared|Declared in recording|250-500|used|popup;\nACU_Y [0, 250]:\nACU_Z [0, 0]:\n",
              defectsOf(*file));
    auto const samples = [&]
    {
        std::string marks;
        for (unsigned int sample = 0; sample <= 5; ++sample)
            marks += file->isDefect("ACU_X", sample, 8.0f) ? '1' : '0';
        return marks;
    };
    EXPECT_EQ("110000", samples());
    file->addUsedDefect(&named[2], "ACU_X");
    file->removeUsedDefect(&named[1], "ACU_X");
    file->changeStateSensorDefect(&named[2], "ACU_Y", false);
    EXPECT_EQ("000110", samples()) << "625 ms is in the defect but after the channel";
    EXPECT_EQ(file->getMapOfFileChannelDefects().at("ACU_X"), file->getCurrentChannelConfiguration());
    EXPECT_FALSE(file->isDefect("ACU_Q", 0, 8.0f));
    EXPECT_EQ(nullptr, file->getCurrentChannelConfiguration());

    cConfigurationGroup written("Channel Defects List");
    file->buildFile(&written);
    EXPECT_EQ(testData("SimCore/files/defects-written.fls"), cConfigurationWriter::write(written, nullptr));

    // A recording made in memory has no header, declares nothing and cannot be written.
    cKynFile* const synthetic = addCrash("/data/synthetic.csh");
    synthetic->FillMapOfFileChannelDefects({"ACU_X"});
    EXPECT_EQ("ACU_X [0, 0]:\n", defectsOf(*synthetic));
    EXPECT_FALSE(synthetic->isAnyDefectUsed());
    EXPECT_EQ("", synthetic->getCrashType());
    EXPECT_EQ(0, synthetic->getInstrumentationNumber());
    EXPECT_EQ("cFileNotWritableException|cKynFile::save|The file is not writable.",
              failureOf([&] { synthetic->save(); }));
}

namespace
{
using cKynFileOfProjectTest = cPipelineFixture;
} // namespace

// With a project active the defect map has one entry per channel of the preprocessing set, isDefect takes a
// channel of that set (sample 0 counts for a defect from 0), and a list saved with its defects reads them
// back under the project's name.
TEST_F(cKynFileOfProjectTest, TheActiveProjectGivesTheChannelsOfTheRecordingAndOfTheDefects)
{
    openProject();
    std::string csh = readText(tempPath("crash.csh"));
    csh.insert(csh.find("Channel = ACU_Y"), "Defect = loose\nDefect From = 0.1\nDefect To = 0.3\n");
    writeText(tempPath("defects.csh"), csh);
    cKynFile* const file = myActiveFileList->addFile(tempPath("defects.csh").c_str(), nullptr);
    file->useFile(true, nullptr);
    file->FillMapOfFileChannelDefects();
    EXPECT_EQ("ACU_X [0, 0.5]: loose|Declared in recording|0.1-0.3|unused;\nACU_Y [0, 0.5]:\n",
              defectsOf(*file));

    cConfigurationGroup group =
        settings("Channel Defects {\nChannel Name = ACU_X\nDefects Settings {\n"
                 "Defect Name = glitch\nDefect Type = Added on the fly\nDefect From = 0\n"
                 "Defect To = 0.1\nUsed = 1\n}\n}\n");
    EXPECT_TRUE(file->loadMapOfFileChannelDefects(&group));
    std::string marks;
    for (cChannel const* channel : channels())
        for (unsigned int sample = 0; sample < 3; ++sample)
            marks += file->isDefect(channel, sample, 10000.0f) ? '1' : '0';
    EXPECT_EQ("110000", marks);

    std::string const saved = tempPath("saved.fls");
    myActiveFileList->saveSettings("defects", saved, false, false, false);
    EXPECT_NE(std::string::npos, readText(saved).find("@Project = Pipeline\n"));
    cKynFileList again(nullptr, saved);
    ASSERT_EQ(1u, again.getFilesNumber());
    EXPECT_EQ(defectsOf(*file), defectsOf(*again.getFile(0)));

    std::string fls = readText(saved);
    fls.erase(fls.find("Used = 1", fls.find("Defect To")), 8);
    writeText(saved, fls);
    messages.clear();
    cKynFileList incomplete(nullptr, saved);
    ASSERT_EQ(1u, messages.entries().size());
    EXPECT_EQ("Some channel defect characteristics are missing ", messages.entries()[0].text);
}

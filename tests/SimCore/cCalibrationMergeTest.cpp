// The calibration's working copy with its undo history, and the merging tool.
#include "SimCore/cCalibration.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/GestureFlag.h"
#include "SimCore/cConfigurationParameter.h"
#include "StoreKit/cCfgInputFile.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestCalibration.h"
#include "tests/support/cTestHelpers.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace
{
std::string const kData = std::string(SIMCORE_TEST_DATA_DIR) + "SimCore/calibration/";
char const* const kHostFiles[] = {"ActualGVTStatusFile.sts", "TemporaryGVTStatusFile.sts",
                                  "TemporaryAlgoFile.cfg"};

bool exists(std::string const& path)
{
    return std::filesystem::exists(path);
}

// "name=raw[L];" for every calibration and user parameter, the raw value exact to 17 digits.
std::string stateOf(cCalibration& calibration)
{
    std::string state;
    for (cDriftParameter* p : calibration.GetParameters())
        state += p->getName() + "=" + numberToText(rawOf(p)) +
                 (dynamic_cast<cConfigurationParameter*>(p)->isLockedOnNoDeploymentValue() ? "L" : "") + ";";
    for (cDriftParameter* p : calibration.getUserCalibrationMgr().GetParameters())
        state += p->getName() + "=" + numberToText(rawOf(p)) + ";";
    return state;
}

// Every merge record as "name|path|raw: project result file|converted: the same|unit|locks: the same|found".
std::vector<std::string> recordsOf(cCalibration& calibration)
{
    std::vector<std::string> all;
    for (unsigned int i = 0; sMergedItem* r = calibration.getMergedItem(i); ++i)
        all.push_back(r->name + "|" + r->path + "|" + r->projectRawValue + " " + r->resultRawValue + " " +
                      r->fileRawValue + "|" + r->projectConvertedValue + " " + r->resultConvertedValue + " " +
                      r->fileConvertedValue + "|" + r->unit + "|" + std::to_string(r->lockedInProject) +
                      std::to_string(r->lockedInResult) + std::to_string(r->lockedInFile) + "|" +
                      std::to_string(r->foundInFile));
    return all;
}

class cCalibrationHistoryTest : public cSimCoreFixture
{
protected:
    // "kind|text" of the user messages ("title|text" for the reports) and the calibration window
    // messages since the last call.
    std::vector<std::string> shown()
    {
        std::vector<std::string> all;
        for (auto const& entry : messages.entries())
            all.push_back((entry.kind == "scroll" ? entry.title : entry.kind) + "|" + entry.text);
        auto const sent = window.messages();
        for (; m_seen < sent.size(); ++m_seen)
            if (sent[m_seen].message == 2034 || sent[m_seen].message == 2190 ||
                sent[m_seen].message == 2194 || sent[m_seen].message == 2532)
                all.push_back(std::to_string(sent[m_seen].message));
        messages.clear();
        return all;
    }
    std::string write(std::string const& name, std::string const& text)
    {
        writeText(tempPath(name), text);
        return tempPath(name);
    }
    std::string step(unsigned int n) const
    {
        return tempPath("CalibrationTemporaryUndoRedoFile" + std::to_string(n) + ".cal");
    }
    // "current|redo|" then whether each history step given is on disk.
    std::string history(std::vector<unsigned int> const& steps) const
    {
        std::string text = std::to_string(current) + "|" + std::to_string(redo) + "|";
        for (unsigned int n : steps)
            text += exists(step(n)) ? "1" : "0";
        return text;
    }
    // The host after an edit, with the gesture flag as its dialog left it.
    void save(std::string const& item, bool gestureEnded)
    {
        setLButtonUp(gestureEnded);
        calibration.saveTmpFile("not used", tempFolder(), "edit", current, redo, "Front", item);
    }
    // The host's undo (by -1) or redo (by 1): the counters move and the step before the current one loads.
    std::string move(int by)
    {
        current = static_cast<unsigned char>(current + by);
        redo = static_cast<unsigned char>(redo - by);
        std::string tab, item;
        bool const undoing = by < 0;
        calibration.openTmpFile(step(static_cast<unsigned char>(current - 1)), tab, item, undoing, !undoing);
        return stateOf(calibration) + "|" + tab + "|" + item;
    }

    cTestCalibration calibration{kData + "description.cfg"};
    unsigned char current = 0;
    unsigned char redo = 0;

private:
    size_t m_seen = 0;
};

using cCalibrationMergeTest = cCalibrationHistoryTest;
} // namespace

TEST_F(cCalibrationHistoryTest, UndoAndRedoGiveBackEachStateAndTheStepsCountInAByte)
{
    calibration.open(kData + "roundtrip-input.cal", false);
    // An earlier run left its history (255 lies outside the clean-up) and the host's files.
    for (unsigned int n : {0u, 1u, 254u, 255u})
        writeText(step(n), "stale");
    for (char const* name : kHostFiles)
        writeText(tempPath(name), "host");
    std::vector<std::string> states{stateOf(calibration)};
    save("", false);
    EXPECT_EQ("1|0|10010", history({0, 1, 254, 255}) + std::to_string(exists(tempPath(kHostFiles[2]))));
    std::string const working = tempPath("roundtrip-input.caltemp");
    std::string text = readText(working);
    EXPECT_EQ(readText(kData + "working-copy-expected.caltemp"),
              text.replace(text.find(tempFolder()), tempFolder().size(), "<tmp>/"));
    EXPECT_EQ(readText(working), readText(step(0)));

    auto edit = [&](char const* name, int raw)
    {
        dynamic_cast<cConfigurationParameter*>(calibration.getParameter(name))
            ->lockOnNoDeploymentValue(false, false);
        setUnlimited(calibration.getParameter(name), raw);
        save(name, true);
        states.push_back(stateOf(calibration));
    };
    edit("MODE", 6);
    EXPECT_NE(std::string::npos, readText(step(0)).find("\nItem Selected = MODE\n"))
        << "named at the first gesture";
    edit("THR", 70);
    setUnlimited(calibration.getUserCalibrationMgr().getParameter("U2"), 9);
    edit("GAIN", -3);
    // Within a gesture only the working copy changes.
    setUnlimited(calibration.getParameter("MODE"), 8);
    save("MODE", false);
    EXPECT_EQ("4|0|10", history({3, 4}));
    shown();
    EXPECT_EQ(states[2] + "|Front|THR", move(-1));
    EXPECT_EQ(states[1] + "|Front|MODE", move(-1));
    EXPECT_EQ(states[0] + "|Front|MODE", move(-1));
    EXPECT_EQ(states[1] + "|Front|MODE", move(1));
    EXPECT_EQ((std::vector<std::string>{"2532", "2034", "2532", "2034", "2532", "2034", "2532", "2034"}),
              shown())
        << "no report, and the value file in use stays";
    EXPECT_EQ(kData + "roundtrip-input.cal", calibration.getCalibrationFile()->getFileName());
    // Steps 2 and 3 can be redone until a gesture ends: then they go and step 2 is the new edit.
    std::string const stepThree = readText(step(3));
    save("MODE", false);
    EXPECT_EQ(stepThree, readText(step(3)));
    edit("OFFSET", 5);
    EXPECT_EQ("3|0|10", history({2, 3}));
    EXPECT_EQ(states[1] + "|Front|MODE", move(-1));
    EXPECT_EQ(states.back() + "|Front|OFFSET", move(1));

    // 255 is followed by 0, and the redo steps of an undo across the wrap go by the same count.
    current = 255;
    save("U", true);
    save("U", true);
    EXPECT_EQ(1, current);
    EXPECT_EQ(readText(working), readText(step(255)));
    EXPECT_EQ(readText(working), readText(step(0)));
    current = 254;
    redo = 3;
    save("U", true);
    EXPECT_EQ("255|0|100", history({254, 255, 0}));
}

TEST_F(cCalibrationHistoryTest, FilesThatCannotBeWrittenOrReadChangeNothing)
{
    std::string const cal = tempPath("front.cal");
    cGlobalFile::copyFile(kData + "roundtrip-input.cal", cal);
    calibration.open(cal, false);
    shown();
    std::string const state = stateOf(calibration), saved = readText(cal);
    auto report = [](std::string const& path)
    {
        return "error|Unable to create the temporary calibration file:\n" + path +
               "\nCheck user writing rights or available space on the drive.";
    };
    // The working copy in a missing folder; step 0 where a folder stands; step 0 missing when the
    // first gesture names its item in it.
    EXPECT_NO_THROW(calibration.saveTmpFile("", tempPath("absent/"), "c", current, redo, "", ""));
    std::filesystem::create_directory(step(0));
    save("", false);
    std::filesystem::remove(step(0));
    current = 1;
    save("THR", true);
    EXPECT_EQ((std::vector<std::string>{report(tempPath("absent/front.caltemp")), report(step(0)),
                                        report(step(0))}),
              shown());
    EXPECT_EQ("1|0|0", history({1}));
    EXPECT_TRUE(isLButtonUp()) << "cleared only by a step written";

    std::string tab = "tab", item = "item";
    auto open = [&](std::string const& path)
    { return failureOf([&] { calibration.openTmpFile(path, tab, item, 0, 0); }); };
    EXPECT_EQ("cFstreamOpenException|cCfgInputFile::open|Unable to open file: " + step(9), open(step(9)));
    std::string const broken = write("broken.cal", "Name = x\nParameters List {\nParameter {\nName = THR\n");
    EXPECT_EQ("cGenericException|cConfigurationReader::read|Syntax error in file \"" + broken +
                  "\" at line 4: group \"Parameter\" opened at line 3 is not closed at the end of the file.",
              open(broken));
    std::string const twice =
        write("dup.cal", "Parameters List {\nParameter {\nName = THR\n}\nParameter {\nName = THR\n}\n}\n");
    EXPECT_EQ("cGenericException|cCalibration::loadCalibrationValues|Duplicate parameter name in .cal: "
              "THR\nLine: 6\n\nFile: " +
                  twice,
              open(twice));
    // A value that is no number, met once THR has taken the step's value and lost its lock.
    std::string const halfway = write(
        "half.cal", "Parameters List {\nParameter {\nName = THR\nRaw Value = 9\nNo Deployment Locked = 0\n}\n"
                    "Parameter {\nName = GAIN\nRaw Value = x\n}\n}\n");
    EXPECT_EQ(
        "cGenericException|cConfigurationGroup::findItem|Invalid value \"x\" of key \"Raw Value\" in group "
        "\"Parameter\" at line 9 of file \"" +
            halfway + "\": a number is expected.",
        open(halfway));
    EXPECT_EQ(state, stateOf(calibration));
    EXPECT_EQ(saved, readText(cal));
    EXPECT_EQ("tab|item", tab + "|" + item);
    EXPECT_TRUE(shown().empty());
}

TEST_F(cCalibrationMergeTest, ACalMergeComparesEveryParameterAndTheInjectionChangesTheChosenOnes)
{
    cTestCalibration merge(kData + "merge.cfg");
    merge.open(kData + "merge-project.cal", false);
    std::string const project = stateOf(merge);
    shown();
    EXPECT_TRUE(merge.openFileForMerge(kData + "merge-other.cal"));
    // A file's converted value is shown multiplied by the factor (0.5) once more.
    EXPECT_EQ((std::vector<std::string>{
                  "THR|Front|100 100 120|50.00 50.00 30.00||000|1",
                  "OFFSET|Front|-20 -20 -20|-20.000000000000 -20.000000000000 -20.000000000000||101|1",
                  "MODE|Front|4 4 7|4.000000000000 4.000000000000 7.000000000000|step|000|1",
                  "SIDE|Side|10 10 10|10.000000000000 10.000000000000 ||000|0"}),
              recordsOf(merge));
    EXPECT_EQ((std::vector<std::string>{
                  "Merging tool - Calibration file (.cal) loading warning|The following parameters "
                  "found in the .cal file do not exist in the project. They were ignored :\n\nGHOST\n"}),
              shown());
    EXPECT_EQ(project, stateOf(merge));

    // The host takes the file's side where it differs. No keeps everything; yes injects.
    for (unsigned int i = 0; sMergedItem* r = merge.getMergedItem(i); ++i)
    {
        bool const fileSide = r->fileRawValue != r->projectRawValue;
        r->resultRawValue = fileSide ? r->fileRawValue : r->projectRawValue;
        r->lockedInResult = fileSide ? r->lockedInFile : r->lockedInProject;
    }
    messages.scriptAnswers({7, 6});
    EXPECT_FALSE(merge.injectMergeResultInCurrentProject(true));
    EXPECT_EQ(project, stateOf(merge));
    std::string const question = "question|Are you sure you want to inject the merge result in the project?";
    EXPECT_EQ((std::vector<std::string>{question}), shown());
    EXPECT_TRUE(merge.injectMergeResultInCurrentProject(true));
    EXPECT_EQ("7", messages.entries().at(0).title) << "no by default";
    EXPECT_EQ("THR=120;OFFSET=-20L;MODE=7;SIDE=10;", stateOf(merge));
    EXPECT_EQ((std::vector<std::string>{question, "2190", "2532"}), shown());
    // Locked in the result keeps the No Deployment value whatever the result says: reported once.
    merge.getMergedItem(1)->resultRawValue = "5";
    merge.getMergedItem(3)->lockedInResult = true;
    EXPECT_TRUE(merge.injectMergeResultInCurrentProject(false));
    EXPECT_EQ("THR=120;OFFSET=-20L;MODE=7;SIDE=0L;|-20|0", stateOf(merge) + "|" +
                                                               merge.getMergedItem(1)->projectRawValue + "|" +
                                                               merge.getMergedItem(3)->projectRawValue);
    EXPECT_EQ((std::vector<std::string>{
                  "warning|The dependencies between parameters have changed some values.\nThe "
                  "differences are visible in the merging tool window.",
                  "2190", "2532"}),
              shown());
    EXPECT_EQ("10|7|", merge.checkFormat("12", merge.getMergedItem(2)) + "|" +
                           merge.checkFormat("6.6", merge.getMergedItem(2)) + "|" +
                           merge.checkFormat("1", nullptr));
}

TEST_F(cCalibrationMergeTest, ExtensionsFileLocksAndTheEepromImage)
{
    cTestCalibration merge(kData + "merge.cfg");
    // Capitals; a lock in the file on another value than the No Deployment one gives way to it; older keys.
    EXPECT_TRUE(merge.openFileForMerge(kData + "MERGE-LOCKED.CAL"));
    EXPECT_EQ(
        (std::vector<std::string>{"THR|Front|200 200 200|100.00 100.00 60.00||101|1",
                                  "OFFSET|Front|-20 -20 -20|-20.000000000000 -20.000000000000 ||100|0",
                                  "MODE|Front|3 3 2|3.000000000000 3.000000000000 2.000000000000|step|000|1",
                                  "SIDE|Side|0 0 3|0.000000000000 0.000000000000 3.000000000000||100|1"}),
        recordsOf(merge));
    EXPECT_EQ((std::vector<std::string>{
                  "Merging tool - Calibration file (.Cal) loading warning|One or more locked parameters "
                  "in the file you are loading\nhave not the same value as the No Deployment Value "
                  "defined in the project.\nThe project No Deployment Values will be loaded for these "
                  "parameters : \n\nTHR (path: Front) not set to 120 LSB, as it is locked to 200 LSB.\n"}),
              shown());
    auto const before = recordsOf(merge);
    EXPECT_FALSE(merge.openFileForMerge(tempPath("values.txt")));
    EXPECT_FALSE(merge.openFileForMerge(""));
    EXPECT_EQ((std::vector<std::string>{"error|Wrong extension, file not loaded."}), shown());
    EXPECT_EQ(before, recordsOf(merge));
    EXPECT_EQ("cFstreamOpenException|cCfgInputFile::open|Unable to open file: " + tempPath("absent.aef"),
              failureOf([&] { merge.openFileForMerge(tempPath("absent.aef")); }));
    EXPECT_EQ(0, merge.getMergedItem(0)->foundInFile + merge.getMergedItem(2)->foundInFile);

    // Each cell read by its parameter's sign; parameters without a cell are not found.
    EXPECT_TRUE(merge.openFileForMerge(kData + "merge-image.aef"));
    EXPECT_EQ((std::vector<std::string>{
                  "THR|Front|200 200 150|100.00 100.00 75.00||100|1",
                  "OFFSET|Front|-20 -20 -10|-20.000000000000 -20.000000000000 -10.000000000000||100|1",
                  "MODE|Front|3 3 3|3.000000000000 3.000000000000 |step|000|0",
                  "SIDE|Side|0 0 0|0.000000000000 0.000000000000 ||100|0"}),
              recordsOf(merge));
    EXPECT_EQ((std::vector<std::string>{
                  "Merging tool - EEPROM file (.aef) loading warning|The following parameters found "
                  "in the .aef file do not exist in the project. They were ignored :\n\nE_GHOST\n"}),
              shown());
}

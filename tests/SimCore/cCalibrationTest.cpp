#include "SimCore/cCalibration.h"

#include "BaseKit/Conversions.h"
#include "SimCore/cConfigurationParameter.h"
#include "StoreKit/cAefInputFile.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestCalibration.h"
#include "tests/support/cTestHelpers.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace
{
std::string const kData = std::string(SIMCORE_TEST_DATA_DIR) + "SimCore/calibration/";
std::string const kRule = "=========================================================================";
std::string const kMissingHead =
    "The following parameters (or their values) are missing in the loaded file\nThey "
    "have been locked at No Deployment value or set to default value:\n\n";
std::string const kBrothers =
    "Some other parameters in groups have been locked because their brothers were locked "
    "too,\nor were at No Deployment value (when this value is out of min-max bounds).\nThey "
    "are listed below at the end :\n\n";

// "name=raw/locked;" for every parameter of the calibration, in list order.
std::string stateOf(cCalibration& calibration)
{
    std::string state;
    for (cDriftParameter* p : calibration.GetParameters())
    {
        std::string raw;
        doubleToString(raw, rawOf(p), 2);
        state += p->getName() + "=" + raw +
                 (dynamic_cast<cConfigurationParameter*>(p)->isLockedOnNoDeploymentValue() ? "L" : "") + ";";
    }
    return state;
}

// A .cal with the given parameter groups in its "Parameters List".
std::string calText(std::string const& parameters)
{
    return "Name = x\nParameters List {\n" + parameters + "}\n";
}

class cCalibrationTest : public cSimCoreFixture
{
protected:
    // The calibration window messages (2034, 2194, 2532) received since the last call.
    std::vector<uint32_t> calibrationMessages()
    {
        std::vector<uint32_t> ids;
        auto const all = window.messages();
        for (size_t i = m_seen; i < all.size(); ++i)
            if (all[i].message == 2034 || all[i].message == 2194 || all[i].message == 2532)
                ids.push_back(all[i].message);
        m_seen = all.size();
        return ids;
    }
    // "title|text" of the scroll reports, then forgets them.
    std::vector<std::string> reports()
    {
        std::vector<std::string> shown;
        for (auto const& entry : messages.entries())
            shown.push_back(entry.kind == "scroll" ? entry.title + "|" + entry.text
                                                   : entry.kind + "|" + entry.text);
        messages.clear();
        return shown;
    }
    std::string write(std::string const& name, std::string const& text)
    {
        writeText(tempPath(name), text);
        return tempPath(name);
    }

    cTestCalibration calibration{kData + "description.cfg"};

private:
    size_t m_seen = 0;
};
} // namespace

TEST_F(cCalibrationTest, DescriptionCreatesTheFamilyLockedAndRefusesDuplicateNames)
{
    EXPECT_EQ("Front calibration", calibration.getName());
    EXPECT_EQ("THR=50.00L;OFFSET=-20.00L;MODE=3.00;GAIN=0.00L;OFF_SWITCH=255.00L;", stateOf(calibration))
        << "folders read in file order; lockable parameters locked on their No Deployment value";
    EXPECT_NE(nullptr, dynamic_cast<cUnitEepromParameter*>(calibration.getParameter("THR")));
    EXPECT_NE(nullptr,
              dynamic_cast<cNotLockableUnitConfigurationParameter*>(calibration.getParameter("MODE")));
    EXPECT_NE(nullptr,
              dynamic_cast<cLockableUnitConfigurationParameter*>(calibration.getParameter("OFF_SWITCH")));
    EXPECT_EQ(1, calibration.getCalibrationMinimumUserRights())
        << "the invisible Guest parameter does not count";
    // The duplicate U1 overrides the value of the first and ends the additions: U3 is not listed.
    std::vector<std::string> users;
    for (cDriftParameter* p : calibration.getUserCalibrationMgr().GetParameters())
        users.push_back(p->getName() + "=" + std::to_string(rawOf(p).get_si()));
    EXPECT_EQ((std::vector<std::string>{"U1=7", "U2=0"}), users);
    EXPECT_EQ(nullptr, calibration.getCalibrationFile());
    EXPECT_EQ("test generation", calibration.getAlgorithmGeneration());

    std::string const head =
        "Name = c\nParameters List {\n"
        "Parameter {\nName = A\nNo Deployment Value = 0\nEeprom Name = E\nEeprom Size = 1\n}\n";
    std::string const path = write("dup.cfg", head + "Parameter {\nName = A\nDefault = 1\n}\n}\n");
    EXPECT_EQ(
        "cGenericException|cCalibration::loadCalibrationDescription|Duplicate parameter name in calibration "
        ".cfg: A\nLine: 10\n\nFile: " +
            path,
        failureOf([&] { cTestCalibration c(path); }));
    std::string const eeprom =
        write("dupe.cfg",
              head + "Folder {\nParameter {\nName = B\nNo Deployment Value = 0\nEeprom Name = E\nEeprom Size "
                     "= 2\n}\n}\n}\n");
    EXPECT_EQ("cGenericException|cCalibration::loadCalibrationDescription|Duplicate EEPROM parameter name in "
              "calibration .cfg: E\nLine: 13\n\nFile: " +
                  eeprom,
              failureOf([&] { cTestCalibration c(eeprom); }));
    std::string const noName = write("noname.cfg", "Parameters List {\n}\n");
    EXPECT_NE(std::string::npos, failureOf([&] { cTestCalibration c(noName); }).find("\nFile: " + noName));
    EXPECT_EQ(0u, cTestCalibration("").getParameterListSize());
    cRecordingTraceSink trace(4);
    cTestCalibration traced(kData + "description.cfg");
    auto const texts = trace.texts();
    EXPECT_EQ(1, std::count(texts.begin(), texts.end(),
                            "Parameter THR added to calibration with value of 50.00000000000000000000"));
}

TEST_F(cCalibrationTest, CalLoadLocksConflictsMissingAndBrothersAndReportsInOrder)
{
    // THR locked in the file on another value, OFFSET without a value, OFF_SWITCH absent, a stranger.
    std::string const path =
        write("a.cal", calText("Parameter {\nName = THR\nRaw Value = 20\nNo Deployment Locked = 1\n}\n"
                               "Parameter {\nName = OFFSET\nNo Deployment Locked = 0\n}\n"
                               "Parameter {\nName = MODE\nValue = 4\n}\n"
                               "Parameter {\nName = GAIN\nLSB Value = 12.5\nHigh Calibration "
                               "Locked = 0\n}\n"
                               "Parameter {\nName = GHOST\nRaw Value = 1\n}\n"));
    calibrationMessages();
    calibration.open(path, /*showWarnings=*/true);
    EXPECT_EQ("THR=50.00L;OFFSET=-20.00L;MODE=4.00;GAIN=12.50;OFF_SWITCH=255.00L;", stateOf(calibration));
    // Front/Thresholds has all its lockable members locked, so its other member is listed as locked;
    // Side is vetoed by the unlocked GAIN.
    EXPECT_EQ(
        (std::vector<std::string>{
            "Calibration file (.Cal) loading warning|" + kMissingHead + kBrothers +
                "OFFSET (path: Front/Thresholds)\nOFF_SWITCH (path: Side)\n\n\n" + kRule +
                "\nThe following existing parameters were locked :\nMODE (path: Front/Thresholds)\n",
            "Calibration file (.Cal) loading warning|One or more locked parameters in the file you are "
            "loading\nhave not the same value as the No Deployment Value defined in the project.\nThe "
            "project "
            "No Deployment Values will be set for these parameters : \n\nTHR (path: Front/Thresholds) not "
            "set "
            "to 20.00000000000000000000 LSB, as it is locked to 50.00000000000000000000 LSB.\n",
            "Calibration file (.cal) loading warning|The following parameters found in the .cal file do not "
            "exist in the project. They were ignored :\n\nGHOST\n"}),
        reports());
    EXPECT_EQ((std::vector<uint32_t>{2532, 2034, 2194}), calibrationMessages());
    EXPECT_EQ(path, calibration.getCalibrationFile()->getFileName());

    // The brothers rule vetoed by an unlocked member, or by a locked one whose No Deployment value
    // lies above both bounds: nothing more is locked and the report has no brothers section.
    std::string const front =
        "Parameter {\nName = THR\nRaw Value = 50\nNo Deployment Locked = 1\n}\n"
        "Parameter {\nName = OFFSET\nRaw Value = 1\n}\nParameter {\nName = MODE\nRaw Value = "
        "2\n}\n";
    for (std::string const gainLock : {"0", "1"})
    {
        calibration.open(write("b.cal", calText(front +
                                                "Parameter {\nName = GAIN\nRaw Value = 0\nNo Deployment "
                                                "Locked = " +
                                                gainLock + "\n}\n")),
                         true);
        EXPECT_EQ((std::vector<std::string>{"Calibration file (.Cal) loading warning|" + kMissingHead +
                                            "OFF_SWITCH (path: Side)"}),
                  reports())
            << gainLock;
        EXPECT_EQ("THR=50.00L;OFFSET=1.00;MODE=2.00;GAIN=0.00" + std::string(gainLock == "1" ? "L" : "") +
                      ";OFF_SWITCH=255.00L;",
                  stateOf(calibration));
    }
    // Without warnings the same locks apply and nothing is shown; a non-lockable parameter missing
    // goes to its default.
    calibration.open(
        write("c.cal", calText("Parameter {\nName = THR\nRaw Value = 7\nNo Deployment Locked = 0\n}\n")),
        false);
    EXPECT_EQ("THR=7.00;OFFSET=-20.00L;MODE=3.00;GAIN=0.00L;OFF_SWITCH=255.00L;", stateOf(calibration));
    EXPECT_TRUE(reports().empty());
    // Partial: only the parameters of the group are touched, nothing is missing.
    cConfigurationGroup partial =
        readGroup("Parameter {\nName = MODE\nRaw Value = 9\n}\n", "Parameters List");
    calibration.loadCalibrationValues(&partial, true, /*partial=*/true);
    EXPECT_EQ("THR=7.00;OFFSET=-20.00L;MODE=9.00;GAIN=0.00L;OFF_SWITCH=255.00L;", stateOf(calibration));
    EXPECT_TRUE(reports().empty());
    calibration.unlockNoDeployment();
    EXPECT_EQ("THR=7.00;OFFSET=-20.00;MODE=9.00;GAIN=0.00;OFF_SWITCH=255.00;", stateOf(calibration));
}

TEST_F(cCalibrationTest, AFailedLoadKeepsTheFileInUse)
{
    std::string const good = write("good.cal", calText("Parameter {\nName = THR\nRaw Value = 7\n}\n"));
    calibration.open(good, false);
    std::string const dup =
        write("dup.cal", calText("Parameter {\nName = THR\nRaw Value = 8\n}\n"
                                 "Parameter {\nName = MODE\n}\nParameter {\nName = THR\n}\n"));
    EXPECT_EQ(
        "cGenericException|cCalibration::loadCalibrationValues|Duplicate parameter name in .cal: THR\nLine: "
        "11\n\nFile: " +
            dup,
        failureOf([&] { calibration.open(dup, true); }));
    std::string const absent = tempPath("absent.cal");
    EXPECT_EQ("cGenericException|cCalibration::open|Failed to open calibration file: " + absent,
              failureOf([&] { calibration.open(absent, true); }));
    std::string const noList = write("nolist.cal", "Name = x\n");
    EXPECT_NE("no exception", failureOf([&] { calibration.open(noList, true); }));
    EXPECT_EQ(good, calibration.getCalibrationFile()->getFileName());
    EXPECT_TRUE(reports().empty());
}

TEST_F(cCalibrationTest, AefLoadReportsEachUnreadableCellAndSavesRoundedHalfAwayFromZero)
{
    std::string const aef =
        write("in.aef", "PARAM {\nE_THR = 0x14\nE_OFFSET = 0xFFF6\nE_GAIN = 0xZZ\nE_GHOST = 1\n}\n");
    calibrationMessages();
    calibration.openAefFile(aef);
    EXPECT_EQ("THR=20.00;OFFSET=-10.00;MODE=3.00;GAIN=0.00;OFF_SWITCH=255.00L;", stateOf(calibration))
        << "the unreadable cell leaves GAIN unlocked with its value";
    std::string const title = "EEPROM calibration file (.aef) loading warning|";
    EXPECT_EQ((std::vector<std::string>{
                  title + "The following parameters (or their values) are missing in the file (" + aef +
                      ").\n\nE_GAIN : parameter \"GAIN\" won't be updated.",
                  title + "The following EEPROM parameter names found in the .aef file do not "
                          "exist in the project. They were ignored :\n\nE_GHOST\n"}),
              reports());
    EXPECT_EQ((std::vector<uint32_t>{2194, 2532, 2034}), calibrationMessages());
    EXPECT_EQ(aef, calibration.getIsAefFileLoad());
    std::string const dup = write("dup.aef", "PARAM {\nE_THR = 1\nE_THR = 2\n}\n");
    EXPECT_EQ("cGenericException|cCalibration::openAefFile|Duplicate EEPROM name in .aef: E_THR\nLine: "
              "3\n\nFile: " +
                  dup,
              failureOf([&] { calibration.openAefFile(dup); }));
    EXPECT_EQ(aef, calibration.getCalibrationFile()->getFileName());

    // Saving: the float cell is rounded half away from zero, 0 stays 0, and it is named in a warning.
    cDriftParameter* const gain = calibration.getParameter("GAIN");
    std::string const written = tempPath("in.aef");
    for (auto const& [raw, cell] :
         std::vector<std::pair<double, long>>{{2.5, 3}, {-2.5, -3}, {0, 0}, {-0.49, 0}})
    {
        setUnlimited(gain, mpf_class(raw));
        EXPECT_TRUE(calibration.saveAefFile("c", ""));
        std::unique_ptr<cAefInputFile> back(
            cAefInputFile::createFile(written.c_str(), cCfgInputFile::readMode));
        back->open();
        EXPECT_EQ(cell, back->getItemValue("E_GAIN", 2, false, -1000, 1000, nullptr).get_si()) << raw;
        EXPECT_EQ(20, back->getItemValue("E_THR", 1, true, 0, 100, nullptr).get_si());
        EXPECT_EQ(aef, back->getCalibrationName()) << "the file the values came from";
    }
    EXPECT_EQ(written, calibration.getIsAefFileLoad());
    EXPECT_EQ(written, calibration.getCalibrationFile()->getFileName());
    EXPECT_EQ("Calibration file (.aef) saving warning|The following parameters are FLOAT\n" + kRule +
                  "\nE_GAIN\n" + kRule,
              reports().at(0));
    EXPECT_EQ((std::vector<uint32_t>{2194, 2034, 2194, 2034, 2194, 2034, 2194, 2034}), calibrationMessages());
    // Restricted to the Front algorithm: the Side cell is not written, so no float warning.
    cCalibration::setAlgosToSave({"Front"});
    std::string const front = tempPath("front.aef");
    calibration.saveAefFile("", front);
    cCalibration::setAlgosToSave({});
    EXPECT_EQ(std::string::npos, readText(front).find("E_GAIN"));
    EXPECT_NE(std::string::npos, readText(front).find("E_OFFSET = 0xFFF6"));
    EXPECT_TRUE(reports().empty());
}

TEST_F(cCalibrationTest, CalSavesRoundTripRefuseALockedFileAndFollowAnAefLoad)
{
    calibration.open(kData + "roundtrip-input.cal", true);
    EXPECT_TRUE(reports().empty()) << "every parameter given";
    std::string const out = tempPath("out.cal");
    calibration.save("saved", out, false, false);
    std::string text = readText(out);
    EXPECT_EQ(readText(kData + "roundtrip-expected.cal"),
              text.replace(text.find(tempFolder()), tempFolder().size(), "<tmp>/"));
    EXPECT_EQ(out, calibration.getCalibrationFile()->getFileName()) << "the new file is in use";
    calibration.save("saved", "", false, false);
    std::string const again = readText(out);
    calibration.open(out, true);
    calibration.save("saved", "", false, false);
    EXPECT_EQ(again, readText(out)) << "a saved file loads and saves to the same text";

    calibration.getCalibrationFile()->setWritable(false);
    EXPECT_EQ("cFileNotWritableException|cCalibration::saveSettings|The file is not writable.",
              failureOf([&] { calibration.save("x", "", false, false); }));
    EXPECT_EQ(again, readText(out)) << "nothing written";
    EXPECT_EQ(0u, reports().at(0).find("warning|The file " + out + " is locked.\n\n"));

    // After an .aef load, a save without a path writes the .cal beside it, adopted unless kept.
    std::string const aef = write("side.aef", "PARAM {\nE_THR = 0x20\nE_OFFSET = 0\nE_GAIN = 0\n}\n");
    calibration.openAefFile(aef);
    calibration.save("", "", /*keepCurrentFile=*/true, false);
    EXPECT_EQ(aef, calibration.getCalibrationFile()->getFileName());
    EXPECT_NE(std::string::npos, readText(tempPath("side.cal")).find("Raw Value = 32"));
    calibration.save("", "", false, false);
    EXPECT_EQ(tempPath("side.cal"), calibration.getCalibrationFile()->getFileName());
    EXPECT_EQ("", calibration.getIsAefFileLoad());
    cTestCalibration empty("");
    EXPECT_EQ("cNULLPointer|cCalibration::saveSettings|KYN Error (NULL Pointer). Out of memory ?\n",
              failureOf([&] { empty.save("", "", false, false); }));
}

TEST_F(cCalibrationTest, ParametersOfTheActiveCalibrationLeaveTheHostToTheCalibration)
{
    cIdleComputationManager manager;
    myActiveComputationManager = &manager;
    myActiveCalibration = &calibration;
    auto idsOfChange = [&](cDriftParameter* p, int value)
    {
        size_t const before = window.messages().size();
        setLimited(p, value);
        std::vector<uint32_t> ids;
        for (size_t i = before; i < window.messages().size(); ++i)
            ids.push_back(window.messages()[i].message);
        return ids;
    };
    EXPECT_EQ((std::vector<uint32_t>{0x9E3}), idsOfChange(calibration.getParameter("MODE"), 5));
    // A user parameter is not in the calibration's own list.
    EXPECT_EQ((std::vector<uint32_t>{0x9E3, 0x7FF}),
              idsOfChange(calibration.getUserCalibrationMgr().getParameter("U2"), 5));
    myActiveCalibration = nullptr;
    EXPECT_EQ((std::vector<uint32_t>{0x9E3, 0x7FF}), idsOfChange(calibration.getParameter("MODE"), 6));
    // The calibration outlives the manager: its parameters tell the host of their last change as they go.
    myActiveComputationManager = nullptr;
}

TEST(cCalibration, DialogsOfferTheCalibrationFileKinds)
{
    EXPECT_EQ("cal|aef|caltemp|cal|cal",
              cCalibration::getDefaultExtension(1) + "|" + cCalibration::getDefaultExtension(2) + "|" +
                  cCalibration::getDefaultExtension(3) + "|" + cCalibration::getDefaultExtension(0) + "|" +
                  cCalibration::getDefaultExtension(9));
    EXPECT_EQ("EEPROM Files (*.aef)|*.aef|All Files (*.*)|*.*||", cCalibration::getFileFilter(2));
    EXPECT_EQ("Calibration Files (*.cal;*.aef)|*.cal; *.aef|Calibration Files (*.cal)|*.cal|EEPROM Files "
              "(*.aef)|*.aef|All Files (*.*)|*.*||",
              cCalibration::getFileFilter(4));
}

// Batch mode across its owners: the calibration (what varies, the runs and their value files), the
// crash file list (the selection of a run) and the crash file (its defects in use).
#include "SimCore/cCalibration.h"

#include "BaseKit/Conversions.h"
#include "SimCore/cConfigurationParameter.h"
#include "StoreKit/CSensorDefect.h"
#include "StoreKit/CSensorDefectChannelConfiguration.h"
#include "StoreKit/cBatchCalibrationConfig.h"
#include "StoreKit/cConfigurationWriter.h"
#include "tests/support/cAlgorithmFixture.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cTestCalibration.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace
{
std::string const kData = std::string(SIMCORE_TEST_DATA_DIR) + "SimCore/";

// "name=raw;" for every parameter, with "L" when locked.
std::string stateOf(cCalibration& calibration)
{
    std::string state;
    for (cDriftParameter* p : calibration.GetParameters())
    {
        std::string raw;
        doubleToString(raw, rawOf(p), 0);
        state += p->getName() + "=" + raw +
                 (dynamic_cast<cConfigurationParameter*>(p)->isLockedOnNoDeploymentValue() ? "L;" : ";");
    }
    return state;
}

// The names of the files in use.
std::string usedFiles()
{
    std::string names;
    unsigned int cursor = 0;
    for (cKynFile* file = myActiveFileList->firstUsedFile(cursor); file != nullptr;
         file = myActiveFileList->nextUsedFile(cursor))
        names += file->extractName();
    return names;
}

using cBatchModeTest = cResultsFixture;
} // namespace

// Two groups, 2 values by 3: 6 runs named by the rule, each written to a file and loaded back over the
// calibration, which changes only what the run records; LOCKED, FREE and the EEPROM cell are not in it.
TEST_F(cBatchModeTest, RunsOfTwoGroupsAreNamedWrittenAndLoadedBackPartially)
{
    cTestCalibration calibration(kData + "batch/description.cfg");
    std::unique_ptr<cConfigurationGroup> list(calibration.fillListOfBatchConfigParams());
    EXPECT_TRUE(calibration.getExistBatchConfigParams());
    EXPECT_EQ(testData("SimCore/batch/list-expected.cfg"), cConfigurationWriter::write(*list, nullptr));
    dynamic_cast<cConfigurationParameter*>(calibration.getParameter("FRONT_THRESHOLD"))
        ->lockOnNoDeploymentValue(false, /*update=*/true);
    calibration.getParameter("FIXED")->setRawValue(6, /*update=*/true, /*applyLimits=*/true);
    calibration.getParameter("FREE")->setRawValue(7, /*update=*/true, /*applyLimits=*/true);

    cStorage<cConfigurationGroup*> groups;
    groups.add(list.get());
    groups.add(list.get());
    stParamCombinations records[] = {{{{.name = "FRONT_THRESHOLD", .values = {10, 20}}}},
                                     {{{.name = "sideGain", .minimum = 1, .maximum = 3, .step = 1}}}};
    EXPECT_EQ(6u, calibration.buildCombinationsForBatchMode(groups, records));
    EXPECT_EQ(2u, list->GetChildCount()) << "the caller keeps its groups";
    for (unsigned int run = 0; run < 6; ++run)
    {
        std::string const name = calibration.getBatchParamsCombinationName(run);
        std::string const values = std::to_string(10 * (1 + run / 3)) + "_SG" + std::to_string(1 + run % 3);
        EXPECT_EQ("FT" + values + "_", name);
        cConfigurationGroup written("Batch");
        written.addInformation("Left over", "x");
        calibration.buildFileForBatchMode(&written, run);
        writeText(tempPath(name), cConfigurationWriter::write(written, nullptr));
        calibration.getParameter("FIXED")->setRawValue(9, /*update=*/true, /*applyLimits=*/true);
        cConfigurationGroup read("Batch");
        cConfigurationReader::read(readText(tempPath(name)), name, read);
        calibration.loadFileForBatchMode(&read);
        EXPECT_EQ("FRONT_THRESHOLD=" + values.substr(0, 2) + ";sideGain=" + values.substr(5) +
                      ";FIXED=6;CELL=0L;LOCKED=3L;FREE=7;",
                  stateOf(calibration));
    }
    EXPECT_EQ(testData("SimCore/batch/run-expected.cal"), readText(tempPath("FT20_SG2_")));
    EXPECT_TRUE(messages.entries().empty());
    // The load's own warnings: a locked value that differs, a stranger.
    cConfigurationGroup odd = readGroup(
        "Parameters List {\nParameter {\nName = LOCKED\nRaw Value = 4\nNo Deployment Locked = 1\n}\n"
        "Parameter {\nName = GHOST\n}\n}\n",
        "Batch");
    calibration.loadFileForBatchMode(&odd);
    EXPECT_EQ(2u, messages.entries().size());
    EXPECT_EQ(
        "cBatchModeLoadingFailedException|cCalibration::loadFileForBatchMode|Batch mode loading failed: "
        "Calibration minor change description is missing",
        failureOf([&] { calibration.loadFileForBatchMode(nullptr); }));
    cConfigurationGroup none("Batch");
    EXPECT_EQ(0u, failureOf([&] { calibration.loadFileForBatchMode(&none); }).find("cMissingItem|"));

    // A refused group leaves no half batch: the first group went in, then out.
    records[1].parameters[0].name = "FIXED";
    calibration.clearCombinationInformation();
    EXPECT_NE(std::string::npos,
              failureOf([&] { calibration.buildCombinationsForBatchMode(groups, records); })
                  .find("Parameter not described in its group: FIXED"));
    EXPECT_EQ("", calibration.getBatchParamsCombinationName(0));
}

TEST_F(cBatchModeTest, ACalibrationWithoutBatchParametersHasOneRunWithoutName)
{
    cTestCalibration plain(kData + "calibration/description.cfg");
    EXPECT_EQ("", plain.getBatchParamsCombinationName(0)) << "before any list";
    std::unique_ptr<cConfigurationGroup> list(plain.fillListOfBatchConfigParams());
    EXPECT_EQ("Parameters List", list->getName());
    EXPECT_EQ(0u, list->GetChildCount());
    EXPECT_FALSE(plain.getExistBatchConfigParams());
    EXPECT_EQ(1u, plain.buildCombinationsForBatchMode(cStorage<cConfigurationGroup*>(), nullptr));
    EXPECT_EQ("", plain.getBatchParamsCombinationName(0));
}

// The selection of a run by name, with or without the defects in use: what is unknown, named twice or
// missing fails with its text, the selection as far as it got; the defects in use come back in use.
TEST_F(cBatchModeTest, TheSelectionOfARunGoesByNameWithTheDefectsInUse)
{
    for (char const* name : {"a", "b", "c"})
        addCrash(std::string("/data/") + name + ".csh", false);
    cConfigurationGroup selection("Files");
    selection.addInformation("Left over", "x");
    EXPECT_EQ("cBatchModeCreationFailedException|cKynFileList::buildFileForBatchMode|Batch mode creation "
              "failed: File list selection empty",
              failureOf([&] { myActiveFileList->buildFileForBatchMode(&selection, false); }));
    EXPECT_TRUE(selection.informationListEmpty());
    myActiveFileList->getFile(2)->useFile(true, nullptr);
    myActiveFileList->getFile(1)->useFile(true, nullptr);
    myActiveFileList->buildFileForBatchMode(&selection, false);
    EXPECT_EQ("Name=/data/b.csh@0;Name=/data/c.csh@0;", itemsOf(selection));
    myActiveFileList->getFile(0)->useFile(true, nullptr);
    myActiveFileList->loadFileForBatchMode(&selection);
    EXPECT_EQ("bc", usedFiles());

    std::string const failed = "cBatchModeLoadingFailedException|cKynFileList::loadFileForBatchMode|Batch "
                               "mode loading failed: ";
    for (auto const& [names, text, used] : std::vector<std::tuple<std::string, std::string, std::string>>{
             {"a,A", "Crash file not found in file list:/data/A.csh", "a"},
             {"c,c", "Crash file not found in file list:/data/c.csh", "c"},
             {"", "File list selection empty", ""}})
    {
        cConfigurationGroup wrong("Files");
        for (char const name : names)
            if (name != ',')
                wrong.addInformation("Name", std::string("/data/") + name + ".csh");
        EXPECT_EQ(failed + text, failureOf([&] { myActiveFileList->loadFileForBatchMode(&wrong); }));
        EXPECT_EQ(used, usedFiles());
    }

    cKynFile* const file = myActiveFileList->getFile(1);
    file->useFile(true, nullptr);
    file->FillMapOfFileChannelDefects({"ACU_X", "ACU_Y"});
    cConfigurationGroup defects = readGroup(testData("SimCore/batch/defects.fls"), "Channel Defects List");
    ASSERT_TRUE(file->loadMapOfFileChannelDefects(&defects));
    myActiveFileList->buildFileForBatchMode(&selection, true);
    EXPECT_EQ(testData("SimCore/batch/selection-expected.fls"),
              cConfigurationWriter::write(selection, nullptr));
    auto const defectsOf = [&]
    {
        std::string text;
        for (auto const& [channel, configuration] : file->getMapOfFileChannelDefects())
            for (unsigned int i = 0; i < configuration->getDefects().size(); ++i)
                text += channel + ":" + configuration->getDefects()[i]->getDefectName() +
                        (configuration->getDefects()[i]->isUsedDefect() ? "+;" : "-;");
        return text;
    };
    EXPECT_EQ("ACU_X:loose-;ACU_X:glitch+;ACU_Y:spike-;", defectsOf());
    file->changeStateSensorDefect(file->getMapOfFileChannelDefects().at("ACU_X")->getDefects()[1], "ACU_X",
                                  false);
    myActiveFileList->getFile(0)->useFile(true, nullptr);
    myActiveFileList->loadFileForBatchMode(&selection);
    EXPECT_EQ("b", usedFiles());
    EXPECT_EQ("ACU_X:glitch+;", defectsOf());
    selection.GetConfigurationGroups()[0]->clear();
    selection.GetConfigurationGroups()[0]->addInformation("Name", "/data/b.csh");
    EXPECT_EQ(0u,
              failureOf([&] { myActiveFileList->loadFileForBatchMode(&selection); }).find("cMissingItem|"))
        << "a \"File\" group says which defects it uses, even none";
}

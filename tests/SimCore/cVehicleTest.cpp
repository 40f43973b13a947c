#include "SimCore/cVehicle.h"

#include "SimCore/cComputationManager.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cChannelInput.h"
#include "StoreKit/cInputFile.h"
#include "tests/support/cPipelineFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

namespace
{
using cVehicleTest = cPipelineFixture;

// A unit that records which channels reported, and asks for a stop when `stopAfter` has.
class cReportingUnit : public cUnit
{
public:
    using cUnit::cUnit;
    std::vector<std::string> reports;
    std::string stopAfter;

protected:
    void runTest(cMessage const* data) override
    {
        reports.push_back(data->getSender()->getName());
        if (reports.back() == stopAfter)
            myActiveComputationManager->askForStop();
        cUnit::runTest(data);
    }
};

cChannelInput* channel(std::string const& name, double rate, std::vector<float> const& samples)
{
    auto* input = new cChannelInput(name, mpf_class(rate));
    for (float sample : samples)
        input->addSample(sample);
    return input;
}
} // namespace

// Each point of the mechanical drift gives each channel one run; every signal starts with a leading
// 0.0 at T0 0; the vehicle alone reports the end of the file to the manager.
TEST_F(cVehicleTest, EachMechanicalIterationRunsEveryChannelOnItsOutput)
{
    cRecordingTraceSink trace(3);
    openProject();
    myActiveVehicle->cDriftParameterMgr::getParameter("Body Gain")->setRawDrift(1, 2, 0, 1, 0); // 1 0 2
    runFile(addCrash("crash.csh"));
    EXPECT_EQ(3u, myActiveVehicle->getFileIteration());
    EXPECT_EQ(3u, myActiveUnit->getFileIteration());
    EXPECT_EQ(6u, myActiveComputationManager->getElectronicIterationNbr().number);
    EXPECT_EQ((std::vector<float>{0, -4, -16, -40, -24, -8}), samples(*myActiveVehicle->getOutput(0)))
        << "the last point, gain 2";
    cCriterionValuesForOneFile const* const input =
        myActiveVehicle->getCriterion("ACU_Y")->getActiveCriterionValuesForOneFile();
    EXPECT_EQ(
        (std::vector<float>{0, 0, 1, 3, 70, -2, 0}),
        std::vector<float>(input->getIterationValueList().data(), input->getIterationValueList().data() + 7));
    EXPECT_EQ(10000.0f, input->getSamplingRate());
    EXPECT_EQ(0, input->getT0());
    auto const texts = trace.texts();
    EXPECT_EQ(1, std::count(texts.begin(), texts.end(), "Received END_OF_TEST_MSG"));
    EXPECT_EQ(1, std::count(texts.begin(), texts.end(),
                            "Ready to send results of iteration 3 for active file to channels"));

    // A stop asked while the first channel's results reach the unit: the second channel gets no post.
    cReportingUnit unit("Unit", "unit.cfg", tempFolder());
    unit.stopAfter = "ACU_X";
    myActiveUnit = &unit;
    myActiveVehicle->cDriftParameterMgr::getParameter("Body Gain")->clearDrift();
    runFile(myActiveFile);
    EXPECT_EQ((std::vector<std::string>{"ACU_X"}), unit.reports);
}

// A rate of 0 in the recording falls back on the criterion's default rate, then on 10000. A channel the
// recording lacks adds no input but its values: the next input fills the missing channel's values.
TEST_F(cVehicleTest, InputsWithoutRateOrChannelFallBackAsTheyAlwaysHave)
{
    std::string text = readText(tempPath("vehicle.vcl"));
    text.replace(text.find("Name = ACU_X\n"), 13, "Name = ACU_X\nDefault Sampling Rate = 2000\n");
    writeText(tempPath("vehicle.vcl"), text);
    openProject();
    auto* recording = new cInputFile("memory.csh");
    recording->addChannelInput(channel("ACU_X", 0, {1, 2}));
    recording->addChannelInput(channel("ACU_Y", 0, {3}));
    myActiveFile = myActiveFileList->addFile(recording);
    myActiveFile->useFile(true, nullptr);
    runFile(myActiveFile);
    EXPECT_EQ(2000.0f, myActiveVehicle->getOutput(0)->getSamplingRate());
    EXPECT_EQ(10000.0f, myActiveVehicle->getOutput(1)->getSamplingRate());

    auto* partial = new cInputFile("partial.csh");
    partial->addChannelInput(channel("ACU_Y", 500, {7, 8}));
    cKynFile* const file = myActiveFileList->addFile(partial);
    file->useFile(true, nullptr);
    runFile(file);
    EXPECT_EQ((std::vector<float>{7, 8}), samples(*myActiveVehicle->getOutput(0)));
    EXPECT_EQ((std::vector<float>{}), samples(*myActiveVehicle->getOutput(1)));

    project->declareChannelName("ACU_Z", true);
    EXPECT_EQ("cBadReference|cBasicParameterMgr<class cCriterion>::getParameter|Bad reference: ACU_Z",
              failureOf([&] { myActiveVehicle->ProcessMessage(FILE_CHANGED_MSG, nullptr); }));
}

// A bad mechanical file names itself, falls back on the held file with the texts of a reload, and
// reaches the caller only when asked to; with no file held, it always does.
TEST_F(cVehicleTest, ABadFileKeepsTheOldMechanicalSet)
{
    openProject();
    std::string const bad = tempPath("bad.vcl");
    writeText(bad, "Name = Bad\nCriteria List {\n}\n");
    myActiveVehicle->open("bad.vcl", tempFolder(), false);
    std::vector<cRecordingMessageSink::sEntry> const shown = messages.entries();
    ASSERT_EQ(2u, shown.size());
    EXPECT_EQ("cMissingItem", shown[0].title);
    EXPECT_NE(std::string::npos, shown[0].text.find("\nFile: " + bad + "\nFile: " + tempPath("vehicle.vcl")));
    EXPECT_EQ("Old mechanical set will be reloaded", shown[1].text);
    EXPECT_EQ(tempPath("vehicle.vcl"), myActiveVehicle->getConfigurationFile()->getFileName());
    std::string const rethrown = failureOf([&] { myActiveVehicle->open(bad, "", true); });
    EXPECT_NE(std::string::npos, rethrown.find("\n\nOld mechanical set will be reloaded")) << rethrown;
    EXPECT_NE(std::string::npos,
              failureOf([&] { cVehicle("Other", "bad.vcl", tempFolder()); }).find("\nFile: " + bad));
}

// What is saved reads back to the same text; a locked held file is refused, and a vehicle without
// file has nothing to save to.
TEST_F(cVehicleTest, SavedFilesReadBackAndLockedFilesAreRefused)
{
    openProject();
    std::string const saved = tempPath("saved.vcl");
    myActiveVehicle->saveSettings("first", saved, false);
    std::string const text = readText(saved);
    EXPECT_EQ(0u, text.find("@File Type = Mechanical Step\n@Project = Pipeline\n"));
    cVehicle again("Pipeline Vehicle", saved, "");
    again.saveSettings("first", "", false);
    EXPECT_EQ(text, readText(saved));
    again.getConfigurationFile()->setWritable(false);
    EXPECT_EQ("SimCore/cVehicle|cFileNotWritableException|cVehicle::saveSettings|The file is not writable.",
              failureWithSourceOf([&] { again.saveSettings("second", "", false); }));
    EXPECT_EQ(text, readText(saved));
    EXPECT_EQ("cNULLPointer|cVehicle::saveSettings|KYN Error (NULL Pointer). Out of memory ?\n",
              failureOf([] { cVehicle("None", "", "").saveSettings("", "", false); }));
}

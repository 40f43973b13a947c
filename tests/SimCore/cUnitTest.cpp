#include "SimCore/cUnit.h"

#include "SimCore/cComputationManager.h"
#include "SimCore/cTestMgr.h"
#include "StoreKit/cCfgInputFile.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cPipelineFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <set>

namespace
{
using cUnitTest = cPipelineFixture;

// A unit that records, for each iteration, sample 3 of each current input, and which channels
// reported; `explorations` counts the runs that explored the cross.
class cRecordingUnit : public cUnit
{
public:
    using cUnit::cUnit;
    ~cRecordingUnit() override { stop(true); }

    std::vector<std::vector<float>> inputs;
    std::map<std::string, int> reports;
    cEventCounter explorations;

protected:
    void runTest(cMessage const* data) override
    {
        reports[data->getSender()->getName()]++;
        uint32_t const before = getFileIteration();
        cUnit::runTest(data);
        if (getFileIteration() != before)
            explorations.notify();
    }
    void performIteration() override
    {
        std::vector<float> row;
        for (unsigned int i = 0; i < getCurrentInputNumber(); ++i)
            row.push_back((*getCurrentInput(i))[4]);
        inputs.push_back(row);
        cUnit::performIteration();
    }
};

// Posts as a stage does: for a test thread that drives threads of the pipeline.
class cPoster : public cKynThread
{
public:
    static void post(cKynThread* target, unsigned int message)
    {
        postPreparedMessage(target, message, nullptr);
    }
};

// Sensitivity of ACU_X at 1 and 2, offset of ACU_Y at 0, -1 and 1.
void setChannelDrifts(std::vector<cChannel*> const& channels)
{
    channels[0]->cDriftParameterMgr::getParameter("Sensitivity ACU_X")->setRawDrift(1, 2, 1, 1, 0);
    channels[1]->cDriftParameterMgr::getParameter("Offset ACU_Y")->setRawDrift(0, 1, -1, 1, 0);
}

std::vector<std::vector<float>> const kCross = {{-20, 50}, {-20, 49}, {-20, 51},
                                                {-40, 50}, {-40, 49}, {-40, 51}};
} // namespace

// Sample 3 is -20 on ACU_X and 70 on ACU_Y (saturated at 50): the first channel is the slowest index.
// A channel that reports again before the others only replaces its slot; the channels' drifted
// parameters are back at their nominal values afterwards.
TEST_F(cUnitTest, ExploresTheFullCrossOfTheChannelsResultsTheLastChannelFastest)
{
    openProject();
    cRecordingUnit unit("Unit", "unit.cfg", tempFolder());
    myActiveUnit = &unit;
    setChannelDrifts(channels());
    cKynFile* const file = addCrash("crash.csh");
    runFile(file);
    EXPECT_EQ(kCross, unit.inputs);
    EXPECT_EQ(6u, unit.getFileIteration());
    EXPECT_EQ(6u, myActiveComputationManager->getAcquisitionIterationNbr().number);
    EXPECT_EQ(5u, myActiveComputationManager->getElectronicIterationNbr().number) << "2 + 3 channel results";
    EXPECT_EQ(1u, myActiveComputationManager->getMechanicalIterationNbr().number);
    mpf_class value;
    channels()[1]->cDriftParameterMgr::getParameter("Offset ACU_Y")->getRawValue(value);
    EXPECT_EQ(0.0, value.get_d());
    EXPECT_EQ((std::vector<float>{1, 2, 4, 51, -1, 1}), samples(*unit.getOutputStorage(channels()[1])))
        << "the unit's output is that of the last iteration";

    unit.inputs.clear();
    unit.ProcessMessage(RUN_TEST_MSG, new cMessage(channels()[0]));
    unit.ProcessMessage(RUN_TEST_MSG, new cMessage(channels()[0]));
    EXPECT_TRUE(unit.inputs.empty()) << "ACU_Y has not reported";
    unit.ProcessMessage(RUN_TEST_MSG, new cMessage(channels()[1]));
    EXPECT_EQ(kCross, unit.inputs);
}

// The same crash in each recording format gives the same outputs; the unit refuses what is not one of
// the active channels.
TEST_F(cUnitTest, RecordingsOfEachFormatGiveTheSameOutputsAndForeignChannelsAreRefused)
{
    openProject();
    for (char const* recording : {"crash.bin", "CRASH/CRASH.mme", "crash.csh"})
    {
        runFile(addCrash(recording));
        EXPECT_EQ((std::vector<float>{0, 1, 3, 50, -2, 0}),
                  samples(*myActiveUnit->getOutputStorage(channels()[1])))
            << recording;
    }
    cChannel foreign("ACU_X", "", "Channel", nullptr, "");
    EXPECT_EQ("cBadChannelReference|cUnit::runTest|Bad channel reference.",
              failureOf([&] { myActiveUnit->ProcessMessage(RUN_TEST_MSG, new cMessage(&foreign)); }));
    EXPECT_EQ("cBadChannelReference|cUnit::getOutputStorage|Bad channel reference.",
              failureOf([&] { myActiveUnit->getOutputStorage(&foreign); }));
    EXPECT_EQ((std::vector<float>{0, -2, -8, -20, -12, -4}),
              samples(*myActiveUnit->getOutputStorage(channels()[0])));
}

// A bad unit file falls back to the held one without a word to the caller; with none held, the
// construction fails.
TEST_F(cUnitTest, ABadFileKeepsTheOldAcquisitionSet)
{
    openProject();
    writeText(tempPath("bad.cfg"), "Name = Bad\nParameters List {\n}\n");
    myActiveUnit->open("bad.cfg", tempFolder());
    ASSERT_EQ(2u, messages.entries().size());
    EXPECT_EQ("exception", messages.entries()[0].kind);
    EXPECT_EQ("information|Old acquisition set will be reloaded",
              messages.entries()[1].kind + "|" + messages.entries()[1].text);
    EXPECT_EQ(tempPath("unit.cfg"), myActiveUnit->getConfigurationFile()->getFileName());
    EXPECT_TRUE(myActiveUnit->isDefaultConfiguration()) << "the flag is kept across the reload";
    EXPECT_NE(std::string::npos,
              failureOf([&] { cUnit("Unit", "bad.cfg", tempFolder()); }).find("Criteria List"));
}

// Every stage has its thread: the vehicle's post reaches each channel once, the channels' posts reach
// the unit, which crosses 2 x 3 results; the manager has a thread for the vehicle's report.
TEST_F(cUnitTest, WithRealThreadsOneFileRunsToTheUnit)
{
    cEventCounter reported;
    cRecordingTraceSink trace(3,
                              [&](std::string const& line)
                              {
                                  if (line.find("Received END_OF_TEST_MSG") != std::string::npos)
                                      reported.notify();
                              });
    cKynThread::setSimulationMode(false);
    openProject();
    myActiveComputationManager->addTest(new cTestMgr("Test"));
    cRecordingUnit unit("Unit", "unit.cfg", tempFolder());
    unit.start(0, nullptr, 0);
    myActiveUnit = &unit;
    setChannelDrifts(channels());
    myActiveFile = addCrash("crash.csh");
    for (unsigned int message : {RESET_MSG, FILE_CHANGED_MSG})
    {
        cPoster::post(myActiveVehicle, message);
        for (cChannel* channel : channels())
            cPoster::post(channel, message);
        cPoster::post(&unit, message);
    }
    cPoster::post(myActiveVehicle, RUN_TEST_MSG);
    ASSERT_TRUE(unit.explorations.waitFor(1));
    ASSERT_TRUE(reported.waitFor(1));
    EXPECT_EQ(kCross, unit.inputs);
    EXPECT_EQ((std::map<std::string, int>{{"ACU_X", 1}, {"ACU_Y", 1}}), unit.reports);
}

// A sample of 5 of the 3 x 4 channel combinations: 5 unit iterations, the first at the nominal points,
// no two alike, and the same seed draws the same sample again.
TEST_F(cUnitTest, TheStatisticalModuleRunsItsDrawnCombinationsOnly)
{
    openProject();
    cRecordingUnit unit("Unit", "unit.cfg", tempFolder());
    myActiveUnit = &unit;
    channels()[0]->cDriftParameterMgr::getParameter("Sensitivity ACU_X")->setRawDrift(1, 2, 0, 1, 0); // 1 0 2
    channels()[1]->cDriftParameterMgr::getParameter("Offset ACU_Y")->setRawDrift(0, 2, -1, 1, 0); // 0 -1 1 2
    cComputationManager& manager = *myActiveComputationManager;
    auto const drawn = [&]
    {
        std::vector<std::vector<unsigned int>> ids;
        for (unsigned int k = 0; k < manager.getStatisticalCombinationNumber(); ++k)
            ids.push_back(toVector(manager.getStatisticalCombination(k)->channelIds));
        return ids;
    };
    manager.fillStatisticalModule(7, 5, false);
    std::vector<std::vector<unsigned int>> const first = drawn();
    manager.fillStatisticalModule(7, 5, false);
    EXPECT_EQ(first, drawn());
    manager.setStatisticalModuleActivation(true, false);
    EXPECT_EQ(5u, manager.getIterationNumberForOneFile())
        << "the drawn combinations, not the 12 of the cross";
    runFile(addCrash("crash.csh"));
    ASSERT_EQ(5u, unit.inputs.size());
    EXPECT_EQ((std::vector<float>{-20, 50}), unit.inputs[0]) << "the nominal points first";
    std::set<std::vector<float>> const distinct(unit.inputs.begin(), unit.inputs.end());
    EXPECT_EQ(5u, distinct.size());
    manager.fillStatisticalModule(7, 13, false);
    EXPECT_EQ(12u, manager.getStatisticalCombinationNumber()) << "cut to the number of combinations";
    EXPECT_EQ("Incorrect computations number:\n13 has been replaced by 12", messages.entries().back().text);
}

#include "SimCore/cComputationManager.h"

#include "SimCore/cDriftParameter.h"
#include "SimCore/cTestMgr.h"
#include "tests/support/cRecordingSinks.h"
#include "tests/support/cResultWorld.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{
// The message handling of the manager is not part of these tests.
class cRunControlOnly : public cComputationManager
{
public:
    bool ProcessMessage(unsigned int message, cMessage* data) override
    {
        delete data;
        return message == QUIT_MSG;
    }
};
} // namespace

TEST(cComputationManager, StateChangesAreTracedWithTheirNumbers)
{
    cRecordingTraceSink trace(4);
    cRunControlOnly manager;
    EXPECT_EQ("Test", manager.getName());
    EXPECT_EQ(computationsNotStarted, manager.getComputationsState());
    EXPECT_FALSE(manager.isStopAsked());
    manager.setComputationsState(computationsRunning);
    manager.setComputationsState(computationsCancelled);
    manager.askForStop();
    EXPECT_TRUE(manager.isStopAsked());
    EXPECT_EQ(computationsCancelled, manager.getComputationsState());
    EXPECT_EQ((std::vector<std::string>{"--- setComputationsState (see EComputationsState): from 0 to 1",
                                        "--- setComputationsState (see EComputationsState): from 1 to 4"}),
              trace.texts());
    EXPECT_NE(std::string::npos, trace.lines()[0].find(" [Computations "));
}

namespace
{
struct cDriftStage : cDriftParameterMgr
{
    cDriftStage() : cDriftParameterMgr("Parameter", "Parameters List") {}
    // One parameter per name, raw value 1, conversion factor 2.
    std::vector<cDriftParameter*> load(std::vector<std::string> const& names)
    {
        std::string text;
        for (std::string const& name : names)
            text += "Parameter {\nName = " + name +
                    "\nDefault = 1\nConversion Factor = 2\nDefault Maximum Value = 40\n"
                    "Default Minimum Value = -4\nStep = 2\n}\n";
        cConfigurationGroup group;
        cConfigurationReader::read(text, "stage.cfg", group);
        loadParameter(&group, "");
        return std::vector<cDriftParameter*>(GetParameters().begin(), GetParameters().end());
    }
};
} // namespace

TEST(cComputationManager, IterationsSplitIntoDriftPointsWithTheLastDriftFastest)
{
    cRecordingMessageSink messages;
    cSymbolManager symbols;
    (myActiveSymbolManager = &symbols)->setConfiguration("");
    cRunControlOnly manager;
    cDriftStage vehicle, unit;
    std::vector<cDriftParameter*> const v = vehicle.load({"Mass", "Still"});
    std::vector<cDriftParameter*> const u = unit.load({"Gain"});
    v[0]->setRawDrift(10, 12, 8, 2, 0); // points 10 8 12
    u[0]->setRawDrift(1, 2, 1, 1, 0);   // points 1 2
    manager.setDriftStages({&vehicle, nullptr, &unit});

    cStorage<cDriftParameter*> drifted(10);
    manager.getDriftedParametersList(drifted);
    ASSERT_EQ(2u, drifted.size());
    EXPECT_EQ(v[0], drifted[0]);
    EXPECT_EQ(u[0], drifted[1]);

    cStorage<mpfClass*> values(5);
    std::vector<std::vector<double>> combinations;
    for (unsigned int iteration = 0; iteration < 7; ++iteration)
    {
        manager.getIterationConvertedDriftCombination(iteration, values); // frees what it held
        combinations.push_back({values[0]->get().get_d(), values[1]->get().get_d()});
    }
    EXPECT_EQ(
        (std::vector<std::vector<double>>{{20, 2}, {20, 4}, {16, 2}, {16, 4}, {24, 2}, {24, 4}, {20, 2}}),
        combinations);
    EXPECT_EQ(24.0, manager.getIterationConvertedDriftValue(5, v[0]).get_d());
    EXPECT_EQ(2.0, manager.getIterationConvertedDriftValue(5, v[1]).get_d()); // not drifted: its own value
    for (unsigned int i = 0; i < values.size(); ++i)
        delete values[i];
    myActiveSymbolManager = nullptr;
}

TEST(cComputationManager, TestsRunTheThreadWhileTheListIsNotEmptyAndLeaveTheMarginTests)
{
    cRecordingMessageSink messages;
    cSymbolManager symbols;
    (myActiveSymbolManager = &symbols)->setConfiguration("");
    cRunControlOnly manager;
    cOpenAlgorithm algorithm;
    algorithm.loadTimeEvents("Time Event {\nName = TTF\n}\n");
    myActiveAlgorithm = &algorithm;
    cTestMgr* const first = new cTestMgr("First");
    cTestMgr* const second = new cTestMgr("Second");
    manager.addTest(first);
    EXPECT_NE(0u, manager.getThreadId());
    manager.addTest(second);
    algorithm.timeEvent("TTF")->registerMarginTest(first);
    unsigned int index = 7;
    EXPECT_EQ(first, manager.firstTest(index));
    EXPECT_EQ(0u, index);
    EXPECT_EQ(second, manager.nextTest(index));
    EXPECT_EQ(nullptr, manager.nextTest(index));

    manager.removeTest(first);
    EXPECT_FALSE(algorithm.timeEvent("TTF")->isMarginTestRegistered(first));
    EXPECT_EQ(1u, manager.getTests().end() - manager.getTests().begin());
    manager.removeAllTests();
    EXPECT_EQ(nullptr, manager.firstTest(index));
    myActiveAlgorithm = nullptr;
    myActiveSymbolManager = nullptr;
}

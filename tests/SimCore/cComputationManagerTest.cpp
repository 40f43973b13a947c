#include "SimCore/cComputationManager.h"

#include "SimCore/cTestMgr.h"
#include "tests/support/cOpenAlgorithm.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cSimCoreFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

namespace
{
using cComputationManagerTest = cSimCoreFixture;
} // namespace

TEST_F(cComputationManagerTest, StateChangesAreTracedWithTheirNumbers)
{
    cRecordingTraceSink trace(4);
    cIdleComputationManager manager;
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

TEST_F(cComputationManagerTest, IterationsSplitIntoDriftPointsWithTheLastDriftFastest)
{
    cIdleComputationManager manager;
    cTestDriftList vehicle, unit;
    std::string const keys = "Default = 1\nConversion Factor = 2\n";
    std::vector<cDriftParameter*> const v = vehicle.load({"Mass", "Still"}, keys);
    std::vector<cDriftParameter*> const u = unit.load({"Gain"}, keys);
    v[0]->setRawDrift(10, 12, 8, 2, 0); // points 10 8 12
    u[0]->setRawDrift(1, 2, 1, 1, 0);   // points 1 2
    manager.setDriftStages({&vehicle, nullptr, &unit});

    cStorage<cDriftParameter*> drifted(10);
    manager.getDriftedParametersList(drifted);
    EXPECT_EQ((std::vector<cDriftParameter*>{v[0], u[0]}), toVector(drifted));

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
}

TEST_F(cComputationManagerTest, TestsRunTheThreadWhileTheListIsNotEmptyAndLeaveTheMarginTests)
{
    cOpenAlgorithm algorithm; // outlives the manager, which leaves its margin tests
    cIdleComputationManager manager;
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
}

// The host writes the stop flag and the state while the manager's thread reads them, with no lock
// between them; under ThreadSanitizer this is the check that such reads stay defined.
TEST_F(cComputationManagerTest, StopFlagAndStateAreReadAcrossThreadsWithoutALock)
{
    cIdleComputationManager manager;
    std::vector<EComputationsState> seen;
    std::thread reader(
        [&]
        {
            while (!manager.isStopAsked())
                if (seen.empty() || seen.back() != manager.getComputationsState())
                    seen.push_back(manager.getComputationsState());
        });
    manager.setComputationsState(computationsRunning);
    manager.setComputationsState(computationsCancelled);
    manager.askForStop();
    reader.join();
    // Any prefix of the sequence, each state at most once: a read never sees a value nobody wrote.
    std::vector<EComputationsState> const written{computationsNotStarted, computationsRunning,
                                                  computationsCancelled};
    ASSERT_LE(seen.size(), written.size());
    for (EComputationsState const state : seen)
        EXPECT_NE(written.end(), std::find(written.begin(), written.end(), state));
}

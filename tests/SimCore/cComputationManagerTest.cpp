#include "SimCore/cComputationManager.h"

#include "SimCore/cTestMgr.h"
#include "tests/support/cCountedMessage.h"
#include "tests/support/cOpenAlgorithm.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cPipelineFixture.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestHelpers.h"

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

namespace
{
// The totals are summed by a test at its start; here they are given.
class cCountingManager : public cComputationManager
{
public:
    using cComputationManager::setIterationTotals;
};

// The progress counter of each kind as "number/total".
std::string counters(cComputationManager const& m)
{
    std::string text;
    for (sIterationCount const c :
         {m.getFileIterationNbr(), m.getMechanicalIterationNbr(), m.getElectronicIterationNbr(),
          m.getAcquisitionIterationNbr(), m.getAlgorithmIterationNbr()})
        text += std::to_string(c.number) + "/" + std::to_string(c.total) + " ";
    return text;
}
} // namespace

// QUIT_MSG ends the loop, END_OF_TEST_MSG of no running test falls away, anything else is a fault; the
// manager deletes every message it is handed.
TEST_F(cComputationManagerTest, MessagesThatNeedNoRunningTest)
{
    cRecordingTraceSink trace(4);
    cComputationManager manager;
    int const destroyed = cCountedMessage::s_destroyed;
    EXPECT_TRUE(manager.ProcessMessage(QUIT_MSG, new cCountedMessage));
    EXPECT_FALSE(manager.ProcessMessage(END_OF_TEST_MSG, new cCountedMessage));
    EXPECT_EQ("SimCore/cComputationManager|cUnknownMessageError|cComputationManager::ProcessMessage|Unknown "
              "message.",
              failureWithSourceOf([&] { manager.ProcessMessage(RUN_TEST_MSG, new cCountedMessage); }));
    EXPECT_EQ(destroyed + 3, cCountedMessage::s_destroyed);
    EXPECT_EQ((std::vector<std::string>{
                  "Test thread/cComputationManager::ProcessMessage: received QUIT_MSG(65536) ",
                  "Test thread/cComputationManager::ProcessMessage: received "
                  "END_OF_TEST_MSG(65540) ",
                  "Received END_OF_TEST_MSG"}),
              trace.texts());
    EXPECT_EQ(computationsNotStarted, manager.getComputationsState());
}

// Mechanical and electronic notify about twenty times per test (always below a total of 20), acquisition
// and algorithm every tenth; reset zeroes the numbers, keeps the totals and tells the host in order.
TEST_F(cComputationManagerTest, CountersNotifyByTheirRulesAndResetInOrder)
{
    cCountingManager manager;
    manager.setIterationTotals(3, 25, 40, 7, 7);
    std::string notified;
    for (int i = 0; i < 20; ++i)
    {
        manager.incrementFileIterationNbr();
        manager.incrementMechanicalIterationNbr();
        manager.incrementElectronicIterationNbr();
        manager.incrementAcquisitionIterationNbr();
        manager.incrementAlgorithmIterationNbr();
        notified += std::string(manager.shouldNotifyFileIterationNbr() ? "F" : "") +
                    (manager.shouldNotifyMechanicalIterationNbr() ? "M" : "") +
                    (manager.shouldNotifyElectronicIterationNbr() ? "E" : "") +
                    (manager.shouldNotifyAcquisitionIterationNbr() ? "A" : "") +
                    (manager.shouldNotifyAlgorithmIterationNbr() ? "G" : "") + ",";
    }
    EXPECT_EQ("FM,FME,FM,FME,FM,FME,FM,FME,FM,FMEAG,FM,FME,FM,FME,FM,FME,FM,FME,FM,FMEAG,", notified);
    EXPECT_EQ("20/3 20/25 20/40 20/7 20/7 ", counters(manager));
    manager.setIterationTotals(3, 19, 0, 0, 0);
    EXPECT_TRUE(manager.shouldNotifyMechanicalIterationNbr());
    manager.reset();
    EXPECT_EQ("0/3 0/19 0/0 0/0 0/0 ", counters(manager));
    std::vector<uint32_t> sent;
    for (auto const& m : window.messages())
        sent.push_back(m.message);
    EXPECT_EQ((std::vector<uint32_t>{2524, 2525, 2526, 2527, 2528}), sent);
}

namespace
{
using cComputationOptionsTest = cPipelineFixture;
} // namespace

// Stepping the vehicle's drifts together needs the same number of points on each; silently the option
// is taken all the same, for the run to refuse later.
TEST_F(cComputationOptionsTest, MechanicalDriftsStepTogetherOnlyWithTheSameNumberOfPoints)
{
    std::string text = readText(tempPath("vehicle.vcl"));
    std::string const parameter = "    Parameter {\n        Name = Body Mass\n        Default = 1\n    }\n";
    text.insert(text.find("}\nCriteria List"), parameter);
    writeText(tempPath("vehicle.vcl"), text);
    openProject();
    myActiveVehicle->cDriftParameterMgr::getParameter("Body Gain")->setRawDrift(1, 2, 0, 1, 0);
    myActiveVehicle->cDriftParameterMgr::getParameter("Body Mass")->setRawDrift(1, 2, 1, 1, 0);
    cComputationManager& manager = *myActiveComputationManager;
    EXPECT_EQ("cForbiddenAction|cComputationManager::setMechanicalSameIterationDrifted|All mechanical drifts "
              "must have the same number of points in order to perform a dependent sweep.",
              failureOf([&] { manager.setMechanicalSameIterationDrifted(true, false); }));
    EXPECT_FALSE(manager.isMechanicalSameIterationDrifted());
    ASSERT_EQ(1u, messages.entries().size());
    EXPECT_EQ("error", messages.entries()[0].kind);
    manager.setMechanicalSameIterationDrifted(true, true);
    EXPECT_TRUE(manager.isMechanicalSameIterationDrifted());
    myActiveVehicle->cDriftParameterMgr::getParameter("Body Mass")->setRawDrift(1, 2, 0, 1, 0);
    manager.setMechanicalSameIterationDrifted(true, false);
    auto const sent = window.messages();
    EXPECT_EQ(3, std::count_if(sent.begin(), sent.end(), [](auto const& m) { return m.message == 2533; }));

    // Both drifts step together: three vehicle iterations instead of nine.
    runFile(addCrash("crash.csh"));
    EXPECT_EQ(3u, myActiveVehicle->getFileIteration());
}

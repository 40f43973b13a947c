#include "SimCore/cComputationManager.h"

#include "SimCore/cTestMgr.h"
#include "tests/support/cCountedMessage.h"
#include "tests/support/cOpenAlgorithm.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cPipelineFixture.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestCalibration.h"
#include "tests/support/cTestHelpers.h"
#include "tests/support/cThresholdAlgorithm.h"
#include "tests/support/cWaitingWindow.h"

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
    // Silently the option is taken; the check refuses it (strict) or tells the user and drops it.
    manager.setMechanicalSameIterationDrifted(true, true);
    EXPECT_TRUE(manager.isMechanicalSameIterationDrifted());
    auto const strict = [&] { manager.checkComputationOptions(true); };
    EXPECT_EQ(
        "161|cForbiddenAction|cComputationManager::checkComputationOptions|The mechanical drifts do not "
        "have the same number of points, cannot perform mechanical step with the same drift iteration.",
        std::to_string(lineOf(strict)) + "|" + failureOf(strict));
    manager.checkComputationOptions(false);
    EXPECT_FALSE(manager.isMechanicalSameIterationDrifted());
    EXPECT_EQ(
        "MultiPreprocessing item '" + myActiveMultiPreprocessingMgr->getSelectedItem()->getName() +
            "':\nThe mechanical drifts do not have the same number of points, cannot perform mechanical "
            "step with the same drift iteration.\n'Do not cross mechanical drifts' option will be "
            "deactivated.",
        messages.entries().back().text);
    myActiveVehicle->cDriftParameterMgr::getParameter("Body Mass")->setRawDrift(1, 2, 0, 1, 0);
    manager.setMechanicalSameIterationDrifted(true, false);
    auto const sent = window.messages();
    EXPECT_EQ(4, std::count_if(sent.begin(), sent.end(), [](auto const& m) { return m.message == 2533; }));

    // Both drifts step together: three vehicle iterations instead of nine.
    runFile(addCrash("crash.csh"));
    EXPECT_EQ(3u, myActiveVehicle->getFileIteration());
}

// The drifted parameters of the active stages in pipeline order; an iteration number splits into one
// point per drift, the last drift fastest, and a parameter without drift gives its own value.
TEST_F(cComputationOptionsTest, IterationsSplitIntoDriftPointsWithTheLastDriftFastest)
{
    openProject();
    cDriftParameter* const body = myActiveVehicle->cDriftParameterMgr::getParameter("Body Gain");
    cDriftParameter* const adc = myActiveUnit->cDriftParameterMgr::getParameter("ADC Gain");
    body->setRawDrift(1, 2, 0, 1, 0); // points 1 0 2
    adc->setRawDrift(1, 2, 1, 1, 0);  // points 1 2
    for (cDriftManager* stage : std::vector<cDriftManager*>{myActiveVehicle, myActiveUnit})
        stage->ProcessMessage(RESET_MSG, nullptr);
    cComputationManager& manager = *myActiveComputationManager;
    cStorage<cDriftParameter*> drifted(3);
    drifted.add(nullptr);
    manager.getDriftedParametersList(drifted);
    EXPECT_EQ((std::vector<cDriftParameter*>{body, adc}), toVector(drifted)) << "emptied first";
    EXPECT_EQ(1u, manager.getDriftParameterIdx(adc));
    EXPECT_EQ(0xFFFFFFFFu,
              manager.getDriftParameterIdx(channels()[0]->cDriftParameterMgr::getParameter("Offset ACU_X")));
    EXPECT_EQ(6u, manager.getIterationNumberForOneFile());

    cStorage<mpfClass*> values(5);
    std::vector<std::vector<double>> combinations;
    for (unsigned int iteration = 0; iteration < 7; ++iteration)
    {
        manager.getIterationConvertedDriftCombination(iteration, values); // frees what it held
        combinations.push_back({values[0]->get().get_d(), values[1]->get().get_d()});
    }
    EXPECT_EQ((std::vector<std::vector<double>>{{1, 1}, {1, 2}, {0, 1}, {0, 2}, {2, 1}, {2, 2}, {1, 1}}),
              combinations);
    EXPECT_EQ(2.0, manager.getIterationConvertedDriftValue(5, body).get_d());
    // The check counts the used files too: 2 files x 3 x 65536 x 11000 passes 32 bits, one file would not.
    addCrash("crash.csh");
    addCrash("crash.bin");
    EXPECT_TRUE(manager.isIterationNumberForOneFileValid());
    channels()[0]->cDriftParameterMgr::getParameter("Offset ACU_X")->setRawDrift(0, 65535, 0, 1, 0);
    EXPECT_TRUE(manager.isIterationNumberForOneFileValid());
    adc->setRawDrift(1, 10999, 0, 1, 0);
    EXPECT_EQ(3ull * 65536 * 11000, manager.getIterationNumberForOneFile());
    EXPECT_FALSE(manager.isIterationNumberForOneFileValid());
    EXPECT_EQ(1.0, manager
                       .getIterationConvertedDriftValue(
                           5, channels()[0]->cDriftParameterMgr::getParameter("Sensitivity ACU_X"))
                       .get_d());
    for (unsigned int i = 0; i < values.size(); ++i)
        delete values[i];
}

// Two used files of the one item: the vehicle runs each, its report moves the walk on, and the test
// finishes with the host told in order. During the run a second start changes nothing, and neither
// drifts nor options can be loaded (the file form tells the host by 2534).
TEST_F(cComputationOptionsTest, ATestWalksTheUsedFilesAndFinishesWithTheHostToldInOrder)
{
    cWaitingWindow host;
    openProject();
    addCrash("crash.csh");
    addCrash("crash.bin");
    cComputationManager& manager = *myActiveComputationManager;
    manager.saveComputationConfiguration(tempPath("computation.cfg"));
    cConfigurationGroup options = readGroup(readText(tempPath("computation.cfg")), "computation");
    manager.addTest(new cTestMgr("Test"));
    std::size_t const before = host.messages().size(); // the messages of the project's loading
    std::string duringRun;
    host.onMessage = [&](uint32_t message)
    {
        if (message != 2526 || manager.getComputationsState() != computationsRunning || !duringRun.empty())
            return;
        duringRun = std::to_string(manager.ProcessMessage(START_TEST_MSG, nullptr)) + "|" +
                    failureOf([&] { manager.setDriftConfigurationParameters(&options, false, false); });
        manager.loadComputationConfiguration(tempPath("computation.cfg"));
    };
    manager.startTest();
    ASSERT_TRUE(host.ended.waitFor(1));
    cKynThread::waitUntilPipelineIdle();
    EXPECT_EQ(computationsFinished, manager.getComputationsState());
    std::vector<uint32_t> const sent = host.messages();
    EXPECT_EQ((std::vector<uint32_t>{2524, 2525, 2526, 2527, 2528, 2529, 2067, 2524, 2525, 2526, 2526,
                                     2524, 2525, 2526, 2526, 2525, 2526, 2527, 2528, 2067, 2530}),
              std::vector<uint32_t>(sent.begin() + long(before), sent.end()));
    EXPECT_EQ("2/2 2/2 4/4 2/2", std::to_string(manager.getFileIterationNbr().number) + "/" +
                                     std::to_string(manager.getFileIterationNbr().total) + " " +
                                     std::to_string(manager.getMechanicalIterationNbr().number) + "/" +
                                     std::to_string(manager.getMechanicalIterationNbr().total) + " " +
                                     std::to_string(manager.getElectronicIterationNbr().number) + "/" +
                                     std::to_string(manager.getElectronicIterationNbr().total) + " " +
                                     std::to_string(manager.getAcquisitionIterationNbr().number) + "/" +
                                     std::to_string(manager.getAcquisitionIterationNbr().total));
    EXPECT_EQ("0|cTestAlreadyRunningException|cComputationManager::setDriftConfigurationParameters|Unable to "
              "change computation option while computation is running",
              duringRun);
    ASSERT_EQ(1u, messages.entries().size());
    EXPECT_EQ("Unable to change drifts while computation is running", messages.entries()[0].text);
    EXPECT_EQ((std::vector<uint32_t>{2534}), host.posted());
    EXPECT_EQ("", manager.getStatisticalConfigurationFileName());
    manager.removeAllTests();
}

// The options and the drifts of vehicle, channels and unit go to a file and come back the same. What a
// load cannot place is refused: an unknown parameter, a channel of another description (line 1440),
// a range without its minimum (line 1501).
TEST_F(cComputationOptionsTest, ComputationConfigurationRoundTripsAndRefusesWhatItCannotPlace)
{
    openProject();
    cComputationManager& manager = *myActiveComputationManager;
    myActiveVehicle->cDriftParameterMgr::getParameter("Body Gain")->setRawDrift(1, 2, 0, 1, 1);
    channels()[1]->cDriftParameterMgr::getParameter("Offset ACU_Y")->setRawDrift(0, 2, -1, 1, 0);
    std::string const path = tempPath("computation.cfg");
    manager.saveComputationConfiguration(path);
    std::string const saved = readText(path);
    EXPECT_NE(std::string::npos, saved.find("@File Type = Computation Configuration\n"));
    EXPECT_NE(std::string::npos, saved.find("Distribution Type = Gaussian"));
    myActiveVehicle->cDriftParameterMgr::getParameter("Body Gain")->clearDrift();
    channels()[1]->cDriftParameterMgr::getParameter("Offset ACU_Y")->clearDrift();
    manager.loadComputationConfiguration(path);
    EXPECT_TRUE(messages.entries().empty());
    EXPECT_EQ(path, manager.getStatisticalConfigurationFileName());
    manager.saveComputationConfiguration(path);
    EXPECT_EQ(saved, readText(path));

    std::string const options = "Mechanical Drifts Not Crossed = 0\nEnable Full Margin = 0\n"
                                "Enable On All Multipreprocessing = 0\nStatistical Module Active = 0\n";
    writeText(tempPath("unknown.cfg"),
              options +
                  "Drifts Configuration {\nDrift {\nName = Vehicle\nParameter = Nope\nNominal = 1\n}\n}\n");
    manager.loadComputationConfiguration(tempPath("unknown.cfg"));
    ASSERT_EQ(1u, messages.entries().size());
    EXPECT_EQ("cBadReference", messages.entries()[0].title);
    EXPECT_EQ("", manager.getStatisticalConfigurationFileName());
    auto const sent = window.messages();
    EXPECT_EQ(0, std::count_if(sent.begin(), sent.end(), [](auto const& m) { return m.message == 2534; }))
        << "2534 only during a run";

    auto const refusal = [&](std::string const& drift)
    {
        cConfigurationGroup group =
            readGroup(options + "Drifts Configuration {\nDrift {\n" + drift + "}\n}\n", "computation");
        auto const load = [&] { manager.loadComputationConfiguration(&group, false, false); };
        return std::to_string(lineOf(load)) + "|" + failureOf(load);
    };
    EXPECT_EQ(
        "1440|cMissingItem|cComputationManager::setDrifts|Missing \"ACU_X (Lateral)\".\n  Unable to load "
        "drifts configuration.",
        refusal("Name = Preprocessing\nChannel = ACU_X\nChannel Description = Lateral\nParameter = "
                "Offset ACU_X\nNominal = 1\n"));
    EXPECT_EQ("1501|cMissingItem|cComputationManager::setDrifts|Missing Min, Max or Step value of parameter "
              "\"Pipeline Acquisition - ADC Gain\".\nUnable to load drifts configuration",
              refusal("Name = Unit\nParameter = ADC Gain\nNominal = 1\nMaximum Value = 2\nStep = 1\n"));
    EXPECT_EQ("0|no exception",
              refusal("Name = Preprocessing\nChannel = ACU_X\nChannel Description = "
                      "Longitudinal acceleration\nParameter = Offset ACU_X\nNominal = 3\n"));
    mpf_class value;
    channels()[0]->cDriftParameterMgr::getParameter("Offset ACU_X")->getRawValue(value);
    EXPECT_EQ(3.0, value.get_d()) << "a nominal value without a range sets no drift";
}

// The statistical module must draw fewer combinations than the channels' cross and at least one:
// strict, the check refuses (and a save writes nothing); otherwise it tells the user and empties the
// module, whose active flag stays, so that the next check finds no iteration.
TEST_F(cComputationOptionsTest, TheStatisticalModuleIsCheckedAgainstTheChannelsCross)
{
    openProject();
    cComputationManager& manager = *myActiveComputationManager;
    channels()[0]->cDriftParameterMgr::getParameter("Sensitivity ACU_X")->setRawDrift(1, 2, 0, 1, 0);
    channels()[1]->cDriftParameterMgr::getParameter("Offset ACU_Y")->setRawDrift(0, 2, -1, 1, 0);
    manager.setStatisticalModuleActivation(true, false);
    manager.fillStatisticalModule(3, 12, true);
    auto const strict = [&] { manager.checkComputationOptions(true); };
    EXPECT_EQ("210|cForbiddenAction|cComputationManager::checkComputationOptions|Statistical module "
              "configuration: too many iterations programmed.",
              std::to_string(lineOf(strict)) + "|" + failureOf(strict));
    manager.saveComputationConfiguration(tempPath("computation.cfg"));
    EXPECT_FALSE(std::filesystem::exists(tempPath("computation.cfg")));
    manager.checkComputationOptions(false);
    EXPECT_EQ(0u, manager.getStatisticalCombinationNumber());
    EXPECT_TRUE(manager.isStatisticalModuleActive());
    EXPECT_EQ("179|cForbiddenAction|cComputationManager::checkComputationOptions|Statistical module "
              "configuration: no iteration programmed.",
              std::to_string(lineOf(strict)) + "|" + failureOf(strict));
    manager.checkComputationOptions(false);
    std::vector<std::string> texts;
    for (auto const& entry : messages.entries())
        texts.push_back(entry.kind + "|" + entry.text);
    std::string const item =
        "MultiPreprocessing item '" + myActiveMultiPreprocessingMgr->getSelectedItem()->getName() + "':\n";
    EXPECT_EQ((std::vector<std::string>{
                  "exception|Statistical module configuration: too many iterations programmed.",
                  "error|" + item +
                      "Statistical module configuration: too many iterations programmed.\n"
                      "Statistical module has been deactivated.",
                  "error|" + item +
                      "Statistical module configuration: no iteration programmed.\n"
                      "Statistical module will be deactivated."}),
              texts);
    manager.fillStatisticalModule(3, 11, true);
    EXPECT_EQ(0, lineOf(strict));
}

namespace
{
// The threshold algorithm whose input gets a negative T0 on the crash file named `failOn`.
class cFailingAlgorithm : public cThresholdAlgorithm
{
public:
    using cThresholdAlgorithm::cThresholdAlgorithm;
    std::string failOn;

protected:
    void prepareAllocation(unsigned int samples) override
    {
        cThresholdAlgorithm::prepareAllocation(samples);
        if (myActiveFile != nullptr && myActiveFile->getFileName().find(failOn) != std::string::npos)
            for (cChannel* channel : std::vector<cChannel*>(myActivePreprocessing->getChannels().first,
                                                            myActivePreprocessing->getChannels().second))
                getInputData(channel)->setT0(-1);
    }
};
} // namespace

// A failure in the first or a later file ends the test failed: 2530 after the item's own 2067, without
// the closing 2067; a stop asked during a file ends it cancelled with the nominal values back.
TEST_F(cComputationOptionsTest, ATestEndsFailedOrCancelled)
{
    cWaitingWindow host;
    openProject();
    cTestCalibration calibration(tempPath("calibration.cfg"));
    myActiveCalibration = &calibration;
    cFailingAlgorithm algorithm(tempPath("algorithm.cfg"));
    myActiveAlgorithm = &algorithm;
    addCrash("crash.csh");
    addCrash("crash.bin");
    cComputationManager& manager = *myActiveComputationManager;
    manager.addTest(new cTestMgr("Test"));
    for (char const* failOn : {"crash.csh", "crash.bin"})
    {
        algorithm.failOn = failOn;
        std::size_t const before = host.messages().size();
        unsigned int const ended = host.ended.count();
        manager.startTest();
        ASSERT_TRUE(host.ended.waitFor(ended + 1));
        cKynThread::waitUntilPipelineIdle(); // 2530 comes before the nominal values are restored
        EXPECT_EQ(computationsFailed, manager.getComputationsState()) << failOn;
        std::vector<uint32_t> const sent = host.messages();
        EXPECT_EQ(1, std::count(sent.begin() + long(before), sent.end(), 2067u)) << failOn;
        EXPECT_EQ(2530u, sent.back());
    }
    algorithm.failOn = "none";
    cDriftParameter* const body = myActiveVehicle->cDriftParameterMgr::getParameter("Body Gain");
    body->setRawDrift(1, 2, 0, 1, 0);
    host.onMessage = [&](uint32_t message)
    {
        if (message == 2525)
            manager.askForStop();
    };
    unsigned int const ended = host.ended.count();
    manager.startTest();
    ASSERT_TRUE(host.ended.waitFor(ended + 1));
    cKynThread::waitUntilPipelineIdle();
    EXPECT_EQ(computationsCancelled, manager.getComputationsState());
    mpf_class value;
    body->getRawValue(value);
    EXPECT_EQ(1.0, value.get_d());
    manager.removeAllTests();
    myActiveAlgorithm = nullptr;
    myActiveCalibration = nullptr;
}

// Two files under drifts of vehicle, channel, unit and calibration: the same time events whether each
// stage has its thread or the whole study runs nested on the manager's (the hand-overs wait for their
// receivers, and the host waits for every stage after 2530).
TEST_F(cComputationOptionsTest, RealThreadsGiveTheTimeEventsOfSimulationMode)
{
    auto const study = [&](bool simulation)
    {
        cKynThread::setSimulationMode(simulation);
        cWaitingWindow host;
        openProject();
        auto calibration = std::make_unique<cTestCalibration>(tempPath("calibration.cfg"));
        myActiveCalibration = calibration.get();
        auto algorithm = std::make_unique<cThresholdAlgorithm>(tempPath("algorithm.cfg"));
        myActiveAlgorithm = algorithm.get();
        algorithm->start(0, nullptr, 0);
        std::vector<cKynFile*> const files{addCrash("crash.csh"), addCrash("crash.bin")};
        myActiveVehicle->cDriftParameterMgr::getParameter("Body Gain")->setRawDrift(1, 2, 1, 1, 0);
        channels()[0]->cDriftParameterMgr::getParameter("Sensitivity ACU_X")->setRawDrift(1, 2, 1, 1, 0);
        myActiveUnit->cDriftParameterMgr::getParameter("ADC Gain")->setRawDrift(1, 2, 1, 1, 0);
        calibration->getParameter("Threshold")->setRawDrift(10, 15, 5, 5, 0);
        cComputationManager& manager = *myActiveComputationManager;
        manager.addTest(new cTestMgr("Test"));
        manager.startTest();
        EXPECT_TRUE(host.ended.waitFor(1));
        cKynThread::waitUntilPipelineIdle();
        EXPECT_EQ(computationsFinished, manager.getComputationsState());
        std::vector<long> result;
        for (cKynFile* file : files)
        {
            auto const* values = static_cast<cTimeEventValuesForOneFile const*>(
                algorithm->cTimeEventMgr::getParameter("Fire")->getValueList(file));
            result.insert(result.end(), {long(values->getIterationCount()), values->getMinValue(),
                                         values->getNomValue(), values->getMaxValue()});
        }
        manager.removeAllTests();
        myActiveFile = nullptr;
        myActiveAlgorithm = nullptr;
        algorithm.reset();
        myActiveCalibration = nullptr;
        calibration.reset();
        project.reset();
        return result;
    };
    std::vector<long> const simulated = study(true);
    // Per file: 2 x 2 x 2 x 3 iterations; the threshold of 5 fires at step 1 on the doubled gains.
    EXPECT_EQ((std::vector<long>{24, 1, 3, 3, 24, 1, 3, 3}), simulated);
    EXPECT_EQ(simulated, study(false));
}

// Items without a used file are passed over without their 2067: with none at all, the walk sends the
// first item's 2067 and the closing one, and the test finishes at once. The visited item draws again a
// statistical module whose drifts changed since, with its seed and size.
TEST_F(cComputationOptionsTest, ItemsWithoutUsedFilesArePassedOver)
{
    cWaitingWindow host;
    openProject();
    project->addNewMultiPreprocessingItem("Second");
    project->addNewMultiPreprocessingItem("Third");
    cComputationManager& manager = *myActiveComputationManager;
    cDriftParameter* const offset = channels()[1]->cDriftParameterMgr::getParameter("Offset ACU_Y");
    offset->setRawDrift(0, 2, -1, 1, 0);
    manager.fillStatisticalModule(9, 3, false);
    manager.setStatisticalModuleActivation(true, false);
    offset->setRawDrift(0, 1, -1, 1, 0);
    EXPECT_FALSE(manager.isStatisticalModuleValid());
    manager.addTest(new cTestMgr("Test"));
    std::size_t const before = host.messages().size();
    manager.startTest();
    ASSERT_TRUE(host.ended.waitFor(1));
    cKynThread::waitUntilPipelineIdle();
    EXPECT_EQ(computationsFinished, manager.getComputationsState());
    std::vector<uint32_t> const sent = host.messages();
    EXPECT_EQ(2, std::count(sent.begin() + long(before), sent.end(), 2067u))
        << "item 0, then the closing one";
    EXPECT_TRUE(manager.isStatisticalModuleValid());
    EXPECT_EQ("3 9", std::to_string(manager.getStatisticalCombinationNumber()) + " " +
                         std::to_string(manager.getStatisticalRandomSeed()));
    ASSERT_EQ(1u, messages.entries().size());
    EXPECT_EQ(
        "Some drifts have changed since the last statistical module configuration.\n Kyn will update the "
        "statistical module.",
        messages.entries()[0].text);

    manager.removeAllTests();
}

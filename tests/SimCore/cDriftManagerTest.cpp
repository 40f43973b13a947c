#include "SimCore/cDriftManager.h"

#include "tests/support/cCountedMessage.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestHelpers.h"
#include "tests/support/cTestStage.h"

#include <gtest/gtest.h>

namespace
{
typedef std::vector<std::vector<double>> tVisits;

// Asks the run to stop when its value is set for the second time.
struct cStoppingParameter : cDriftParameter
{
    explicit cStoppingParameter(cConfigurationGroup* group) : cDriftParameter(group, "Stage") {}
    using cDriftParameter::setRawValue;
    bool setRawValue(mpf_class value, bool update, bool applyLimits) override
    {
        if (++sets == 2)
            myActiveComputationManager->askForStop();
        return cDriftParameter::setRawValue(value, update, applyLimits);
    }
    unsigned int sets = 0;
};

struct cDriftManagerTest : cResultsFixture
{
    cTestStage stage;

    cDriftManagerTest()
    {
        stage.loadParameters("Parameter {\nName = A\n}\nParameter {\nName = B\nDefault = 1\n}\n"
                             "Parameter {\nName = C\n}\n");
    }
    cDriftParameter* p(char const* name) { return stage.parameter(name); }
    void runTest() { stage.ProcessMessage(RUN_TEST_MSG, nullptr); }
};
} // namespace

TEST_F(cDriftManagerTest, NestedSweepVisitsEveryCombinationFirstDriftSlowest)
{
    p("A")->setRawDrift(10, 15, 5, 5, 0); // points 10 5 15
    p("C")->setRawDrift(0, 5, 0, 5, 0);   // points 0 5
    stage.reset();
    std::vector<bool> marks; // A's and C's processed marks: only the drift that moved loses its own
    stage.onStep = [&] { marks.insert(marks.end(), {p("A")->isProcessed(), p("C")->isProcessed()}); };
    runTest();
    EXPECT_EQ((tVisits{{10, 0}, {10, 5}, {5, 0}, {5, 5}, {15, 0}, {15, 5}}), stage.visited);
    EXPECT_EQ((std::vector<bool>{0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0}), marks);
    EXPECT_EQ(6u, stage.getIterationNbr());

    // The point number is read again after each pass: a range widened mid-sweep is walked whole.
    stage.visited.clear();
    stage.onStep = [&]
    {
        if (stage.stepsCount == 7)
            p("C")->setUsedMaximumValue(10); // points 0 5 10
    };
    runTest();
    EXPECT_EQ((tVisits{{10, 0}, {10, 5}, {10, 10}, {5, 0}, {5, 5}, {5, 10}, {15, 0}, {15, 5}, {15, 10}}),
              stage.visited);
}

// Every drift keeps its nominal as a point, so the one drift without a point is a drift cleared
// since the stage's last reset.
TEST_F(cDriftManagerTest, ADriftWithoutPointRunsNothingAtAnyDepth)
{
    for (char const* cleared : {"A", "B", "C"})
    {
        for (char const* name : {"A", "B", "C"})
            p(name)->setRawDrift(0, 5, 0, 5, 0);
        stage.reset();
        p(cleared)->clearDrift();
        runTest();
        EXPECT_TRUE(stage.visited.empty()) << "cleared " << cleared;
    }
}

TEST_F(cDriftManagerTest, SteppedTogetherSweepUsesPointIOfEachDriftAndRefusesUnequalCounts)
{
    stage.manageSameDriftIteratorSequence(); // no drift: nothing runs
    p("A")->setRawDrift(10, 15, 5, 5, 0);
    p("C")->setRawDrift(0, 10, 0, 5, 0); // points 0 5 10
    stage.reset();
    stage.manageSameDriftIteratorSequence();
    EXPECT_EQ((tVisits{{10, 0}, {5, 5}, {15, 10}}), stage.visited);

    // Every drift of the stage is compared, also one set after the applied drifts were built.
    p("B")->setRawDrift(0, 5, 0, 5, 0);
    EXPECT_EQ(
        "cForbiddenAction|cDriftManager::manageSameDriftIteratorSequence|The mechanical drifts does not "
        "have the same number of points, cannot perform mechanical step with the same drift iteration.",
        failureOf([&] { stage.manageSameDriftIteratorSequence(); }));
    EXPECT_EQ(3u, stage.visited.size());
}

TEST_F(cDriftManagerTest, StopFlagEndsNestedLevelsAtTheirNextPointButNotTheSteppedIterationUnderWay)
{
    p("A")->setRawDrift(10, 15, 5, 5, 0);
    p("B")->setRawDrift(0, 5, 0, 5, 0);
    p("C")->setRawDrift(0, 10, 0, 5, 0);
    stage.reset();
    stage.onStep = [&]
    {
        if (stage.stepsCount == 4)
            computations.askForStop();
    };
    runTest();
    EXPECT_EQ((tVisits{{10, 0, 0}, {10, 0, 5}, {10, 0, 10}, {10, 5, 0}}), stage.visited);
    myActiveComputationManager = nullptr; // a manager no longer active stops nothing
    runTest();
    EXPECT_EQ(4u + 18u, stage.visited.size());

    // S asks for the stop as it takes its second point: A keeps its first, that iteration still
    // runs, the third point is never reached.
    cIdleComputationManager fresh;
    myActiveComputationManager = &fresh;
    cConfigurationGroup group("Parameter");
    cConfigurationReader::read("Name = S\n", "s.cfg", group);
    cTestStage ordered;
    ordered.cDriftParameterMgr::addParameter(new cStoppingParameter(&group));
    ordered.loadParameters("Parameter {\nName = A\n}\n");
    ordered.parameter("S")->setRawDrift(0, 10, 0, 5, 0);
    ordered.parameter("A")->setRawDrift(10, 15, 5, 5, 0);
    ordered.reset();
    static_cast<cStoppingParameter*>(ordered.parameter("S"))->sets = 0;
    ordered.manageSameDriftIteratorSequence();
    EXPECT_EQ((tVisits{{0, 10}, {5, 10}}), ordered.visited);
    myActiveComputationManager = &computations; // the fixture's stage clears its drifts through it
}

TEST_F(cDriftManagerTest, MessagesReachTheirHandlersTracedAndAreAlwaysDeleted)
{
    p("C")->setRawDrift(0, 5, 0, 5, 0);
    stage.prepareForTest();
    int const before = cCountedMessage::s_destroyed; // the receiving stage owns every message
    cRecordingTraceSink trace(4);
    EXPECT_FALSE(stage.ProcessMessage(QUIT_MSG, new cCountedMessage));
    stage.ProcessMessage(RESET_MSG, new cCountedMessage);
    EXPECT_EQ(0u, stage.getIterationNbr());
    stage.ProcessMessage(FILE_CHANGED_MSG, nullptr);
    EXPECT_TRUE(stage.isFileChanged());
    stage.ProcessMessage(RUN_TEST_MSG, new cCountedMessage);
    EXPECT_EQ((tVisits{{0}, {5}}), stage.visited);
    for (unsigned int id : {START_TEST_MSG, END_OF_TEST_MSG, RUN_TEST_MSG + 1})
    {
        try
        {
            stage.ProcessMessage(id, new cCountedMessage);
            ADD_FAILURE() << "accepted message " << id;
        }
        catch (cUnknownMessageError const& e)
        {
            EXPECT_EQ("SimCore/cDriftManager, cDriftManager::ProcessMessage, line 198", e.getLocation());
        }
    }
    EXPECT_EQ(before + 6, cCountedMessage::s_destroyed);
    EXPECT_EQ(
        (std::vector<std::string>{"Stage thread/cDriftManager::ProcessMessage: received QUIT_MSG(65536) ",
                                  "Stage thread/cDriftManager::ProcessMessage: received RESET_MSG(65537) ",
                                  "Stage thread/cDriftManager::ProcessMessage: received "
                                  "FILE_CHANGED_MSG(65538) ",
                                  "Stage thread/cDriftManager::ProcessMessage: received RUN_TEST_MSG(65541) ",
                                  ">>>> cDriftManager::manageDriftsSequence L91 StageTrace",
                                  "Value of parameter C changed from 0.000000 to 0.000000",
                                  "Value of parameter C changed from 0.000000 to 5.000000",
                                  "<<<< cDriftManager::manageDriftsSequence L91 StageTrace"}),
        trace.texts());

    stage.onStep = [] { throw cGenericException("test", "onStep", 1, "step failed"); };
    EXPECT_THROW(stage.ProcessMessage(RUN_TEST_MSG, new cCountedMessage), cGenericException);
    EXPECT_EQ(before + 7, cCountedMessage::s_destroyed) << "a handler that fails still gives the message up";
}

TEST_F(cDriftManagerTest, IterationLifeMarksParametersAndReachesCriteriaAndTimeEvents)
{
    stage.loadCriteria("Criterion {\nName = K\n}\n");
    stage.loadTimeEvents("Time Event {\nName = T\n}\n");
    cCriterion* const criterion = stage.criterion("K");
    cTimeEvent* const event = stage.cTimeEventMgr::getParameter("T");
    cKynFile* const file = myActiveFile = addCrash("/data/crash_01.csh");
    EXPECT_FALSE(stage.isProcessed()) << "parameters start unprocessed";
    stage.endOfIteration();
    EXPECT_TRUE(stage.isProcessed());
    stage.changeFile();
    EXPECT_FALSE(p("A")->isProcessed());
    EXPECT_TRUE(criterion->getActiveCriterionValuesForOneFile() &&
                event->getActiveTimeEventValuesForOneFile());
    for (char const* name : {"A", "B", "C"})
        p(name)->setProcessed(true);
    EXPECT_FALSE(stage.isProcessed()) << "a file change is pending until the iteration ends";
    stage.endOfIteration();
    EXPECT_TRUE(stage.isProcessed());

    stage.prepareForTest();
    stage.prepareForTest();
    EXPECT_EQ(2u, stage.getIterationNbr());
    stage.removeValuesFromCrashFile(reinterpret_cast<unsigned long long>(file));
    EXPECT_FALSE(criterion->getActiveCriterionValuesForOneFile() ||
                 event->getActiveTimeEventValuesForOneFile());
    stage.changeFile();
    stage.reset();
    EXPECT_EQ(0u, stage.getIterationNbr());
    EXPECT_FALSE(criterion->getActiveCriterionValuesForOneFile() ||
                 event->getActiveTimeEventValuesForOneFile());
}

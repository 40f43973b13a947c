#include "SimCore/cGraphParameter.h"

#include "PlotKit/cScatterGraph.h"
#include "SimCore/cCriterion.h"
#include "SimCore/cDriftParameter.h"
#include "SimCore/cTestGraphSerie.h"
#include "SimCore/cTestGraphSquare.h"
#include "SimCore/cTestMgr.h"
#include "SimCore/cTimeEvent.h"
#include "tests/support/cResultWorld.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace
{
// A criterion whose protected graph operations are open, and whose value map can hold an empty entry.
class cProbeCriterion : public cCriterion
{
public:
    explicit cProbeCriterion(cConfigurationGroup* group) : cCriterion(group, "Algorithm") {}
    using cGraphParameter::crashColorChanged;
    using cGraphParameter::removeGraph;
    void putEmptyEntry(cKynFile* file) { m_values[file] = nullptr; }
};

struct sRelease
{
    void operator()(cParameter* p) const { cParameter::deleteInstance(p); }
};
using tCriterionPtr = std::unique_ptr<cProbeCriterion, sRelease>;
using tTimeEventPtr = std::unique_ptr<cTimeEvent, sRelease>;

cConfigurationGroup readGroup(std::string const& text)
{
    cConfigurationGroup group("Criterion");
    cConfigurationReader::read(text, "criterion.cfg", group);
    return group;
}

tCriterionPtr makeCriterion(std::string const& text = "Name = C\n")
{
    cConfigurationGroup group = readGroup(text);
    return tCriterionPtr(new cProbeCriterion(&group));
}

// The values of the current file after the pipeline changed to it.
cCriterionValuesForOneFile* computeFile(cCriterion& criterion, cKynFile* file)
{
    myActiveFile = file;
    criterion.changeFile();
    return criterion.getActiveCriterionValuesForOneFile();
}

cTestGraphSerie* seriesOf(cParameterValuesForOneFile const* values, cGraph const* graph)
{
    return dynamic_cast<cTestGraphSerie*>(values->getGraphObject(graph, true));
}
} // namespace

TEST(cGraphParameter, RegistrationAppendsEveryTimeAndKeepsTheFirstDrawingFlag)
{
    sResultWorld world;
    cScatterGraph speed;
    cScatterGraph other;
    speed.SetGraphTitle("Speed");
    speed.SetTestName("T2");
    other.SetGraphTitle("Speed");
    other.SetTestName("T1");
    tCriterionPtr criterion = makeCriterion();

    criterion->registerGraph(&other, false);
    criterion->registerGraph(&speed, true);
    criterion->registerGraph(&speed, false);
    EXPECT_EQ(3u, criterion->getGraphList().size());
    ASSERT_EQ(1u, criterion->getActiveGraphList().size());
    EXPECT_EQ(&speed, criterion->getActiveGraphList()[0]);
    EXPECT_TRUE(criterion->getDrawingEnable(&speed)) << "the second registration keeps the first flag";
    EXPECT_FALSE(criterion->getDrawingEnable(&other));
    EXPECT_TRUE(criterion->isGraphRegistered(&speed));

    EXPECT_EQ(&speed, criterion->getGraphbyNameandTest("Speed", "T2"));
    EXPECT_EQ(&other, criterion->getGraphbyNameandTest("Speed", "T1"));
    EXPECT_EQ(nullptr, criterion->getGraphbyNameandTest("Speed", "T3"));

    // The comparison is exact.
    criterion->setDrawingEnable(&other, "true");
    EXPECT_TRUE(criterion->getDrawingEnable(&other));
    criterion->setDrawingEnable(&other, "True");
    EXPECT_FALSE(criterion->getDrawingEnable(&other));

    // Removal takes every occurrence and the flag, and the values forget their series.
    cCriterionValuesForOneFile* const values = computeFile(*criterion, world.addCrash("/data/crash_01.csh"));
    ASSERT_NE(nullptr, values->getGraphObject(&speed, false));
    criterion->removeGraph(&speed);
    EXPECT_EQ(1u, criterion->getGraphList().size());
    EXPECT_TRUE(criterion->getActiveGraphList().empty());
    EXPECT_EQ(0u, criterion->getDrawingEnableMap().count(&speed));
    EXPECT_FALSE(criterion->isGraphRegistered(&speed));
    EXPECT_EQ(nullptr, values->getGraphObject(&speed, false));
    EXPECT_EQ(1u, speed.getGraphObjects().size()) << "the graph still owns the series";
}

TEST(cGraphParameter, ActivateGraphMovesItInAndOutOfTheActiveListAndShowsTheSeries)
{
    sResultWorld world;
    cScatterGraph graph;
    cScatterGraph unregistered;
    tCriterionPtr criterion = makeCriterion();
    criterion->registerGraph(&graph, false);
    cCriterionValuesForOneFile* const first = computeFile(*criterion, world.addCrash("/data/crash_01.csh"));
    cCriterionValuesForOneFile* const second = computeFile(*criterion, world.addCrash("/data/crash_02.csh"));
    EXPECT_FALSE(seriesOf(first, &graph)->GetDrawingEnabled());

    criterion->activateGraph(&graph, true);
    criterion->activateGraph(&graph, true);
    EXPECT_EQ(1u, criterion->getActiveGraphList().size()) << "no second entry";
    EXPECT_TRUE(criterion->getDrawingEnable(&graph));
    EXPECT_TRUE(seriesOf(first, &graph)->GetDrawingEnabled());
    EXPECT_TRUE(seriesOf(second, &graph)->GetDrawingEnabled());

    criterion->activateGraph(&graph, false);
    EXPECT_TRUE(criterion->getActiveGraphList().empty());
    EXPECT_FALSE(criterion->getDrawingEnable(&graph));
    EXPECT_FALSE(seriesOf(first, &graph)->GetDrawingEnabled());

    // A graph without a flag is activated without getting one.
    criterion->activateGraph(&unregistered, true);
    ASSERT_EQ(1u, criterion->getActiveGraphList().size());
    EXPECT_EQ(&unregistered, criterion->getActiveGraphList()[0]);
    EXPECT_EQ(0u, criterion->getDrawingEnableMap().count(&unregistered));
}

// On a graph against an abscissa criterion, showing a curve places the time-event marks again.
TEST(cGraphParameter, ActivatingACurveAgainstAnAbscissaRecomputesTheMarksOfASingleIterationRun)
{
    sResultWorld world;
    cTestMgr test("T");
    cScatterGraph graph;
    cScatterGraph overTime;
    tCriterionPtr abscissa = makeCriterion("Name = X\n");
    tCriterionPtr criterion = makeCriterion("Name = Y\n");
    graph.getParameter().abscissaCriterion = abscissa.get();
    graph.getParameter().test = &test;
    cConfigurationGroup eventGroup = readGroup("Name = Fire\n");
    tTimeEventPtr event(new cTimeEvent(&eventGroup, "Algorithm"));
    event->registerGraph(&graph, true);
    event->registerGraph(&overTime, true);
    criterion->registerGraph(&graph, false);
    criterion->registerGraph(&overTime, false);
    myActiveFile = world.addCrash("/data/crash_01.csh");
    event->changeFile();
    computeFile(*criterion, myActiveFile);
    auto* const square = dynamic_cast<cTestGraphSquare*>(
        event->getActiveTimeEventValuesForOneFile()->getGraphObject(&graph, true));
    auto* const line = dynamic_cast<cTestGraphSquare*>(
        event->getActiveTimeEventValuesForOneFile()->getGraphObject(&overTime, true));
    ASSERT_NE(nullptr, square);
    square->AddDataSquare(1, 2, 3, 4);
    square->setToBeDrawn(false);

    criterion->activateGraph(&overTime, true);
    EXPECT_FALSE(line->isComputedOnce()) << "a graph over time has nothing to place";
    EXPECT_TRUE(square->hasPoints());

    criterion->activateGraph(&graph, true);
    EXPECT_TRUE(square->isComputedOnce());
    EXPECT_FALSE(square->hasPoints()) << "the old mark goes; the event has not fired";
    EXPECT_FALSE(square->GetDrawingEnabled()) << "the user's choice stays";

    // A test that keeps the file's results keeps its marks.
    square->AddDataSquare(1, 2, 3, 4);
    test.toggleMaintainData(world.item);
    criterion->activateGraph(&graph, false);
    EXPECT_TRUE(square->hasPoints());
    test.toggleMaintainData(world.item);

    // With a drift the run has many iterations: the marks are left alone.
    struct cStage : cDriftParameterMgr
    {
        cStage() : cDriftParameterMgr("Parameter", "Parameters List") {}
        using cDriftParameterMgr::loadParameter;
    } stage;
    cConfigurationGroup stageGroup;
    cConfigurationReader::read("Parameter {\nName = P\nDefault = 1\nDefault Maximum Value = 40\n"
                               "Default Minimum Value = -4\nStep = 2\n}\n",
                               "drifts.cfg", stageGroup);
    stage.loadParameter(&stageGroup, "");
    stage.getParameter("P")->setRawDrift(10, 15, 5, 5, 0);
    world.computations.setDriftStages({&stage});
    square->setComputedOnce(false);
    criterion->activateGraph(&graph, true);
    EXPECT_FALSE(square->isComputedOnce());
    EXPECT_TRUE(square->hasPoints());
    world.computations.setDriftStages({});
}

TEST(cGraphParameter, ChangeFileCreatesValuesOnceAndAnEmptyEntryGivesValuesWithoutReset)
{
    sResultWorld world;
    cScatterGraph graph;
    tCriterionPtr criterion = makeCriterion();
    criterion->registerGraph(&graph, true);
    cKynFile* const first = world.addCrash("/data/crash_01.csh");
    cKynFile* const second = world.addCrash("/data/crash_02.csh");
    EXPECT_EQ(nullptr, criterion->getActiveValuesForOneFile());

    cCriterionValuesForOneFile* const values = computeFile(*criterion, first);
    ASSERT_NE(nullptr, values);
    EXPECT_EQ(first, values->getCrashFile());
    EXPECT_EQ(1u, graph.getGraphObjects().size()) << "new values are reset onto the graphs";
    values->addValue(1.0f);
    EXPECT_EQ(values, computeFile(*criterion, first)) << "the same file keeps its values";

    // The values that stop being current free their curve; the new ones become active.
    values->addValue(2.0f);
    cCriterionValuesForOneFile* const next = computeFile(*criterion, second);
    EXPECT_NE(values, next);
    EXPECT_EQ(0u, values->getSize());
    EXPECT_EQ(next, criterion->getValueList(second));

    cKynFile* const third = world.addCrash("/data/crash_03.csh");
    criterion->putEmptyEntry(third);
    EXPECT_EQ(nullptr, criterion->getValueList(third));
    EXPECT_EQ(nullptr, criterion->getValueListOrNull(third));
    cCriterionValuesForOneFile* const bare = computeFile(*criterion, third);
    ASSERT_NE(nullptr, bare);
    EXPECT_TRUE(bare->getGraphObjects().empty());
    EXPECT_EQ(2u, graph.getGraphObjects().size());

    cKynFile* const unknown = world.addCrash("/data/crash_04.csh");
    EXPECT_EQ(nullptr, criterion->getValueListOrNull(unknown));
    EXPECT_EQ("cBadTimeEventValueReference|cGraphParameter::getValueList|Bad time event value reference.",
              failureOf([&] { criterion->getValueList(unknown); }));
    try
    {
        criterion->getValueList(unknown);
    }
    catch (cKynException const& failure)
    {
        EXPECT_EQ("SimCore/cGraphParameter", failure.getSourceFile());
    }
}

TEST(cGraphParameter, ResetKeepsAFileOnlyWhileItIsUsedOrATestOfItsGraphsKeepsIt)
{
    sResultWorld world;
    cTestMgr keeper("Keeper");
    cTestMgr stranger("Stranger");
    cScatterGraph graph;
    cScatterGraph otherGraph;
    graph.getParameter().test = &keeper;
    otherGraph.getParameter().test = &stranger;
    cKynFileList elsewhere;
    tCriterionPtr criterion = makeCriterion();
    criterion->registerGraph(&graph, true);

    criterion->reset();
    EXPECT_TRUE(criterion->getValueMap().empty());

    cKynFile* const used = world.addCrash("/data/used.csh", true);
    cKynFile* const unused = world.addCrash("/data/unused.csh", false);
    cKynFile* const empty = world.addCrash("/data/empty.csh", true);
    cKynFile* const outside = elsewhere.addFile(new cInputFile("/data/outside.csh"));
    outside->useFile(true, nullptr);
    cCriterionValuesForOneFile* const usedValues = computeFile(*criterion, used);
    computeFile(*criterion, unused);
    computeFile(*criterion, outside);
    criterion->putEmptyEntry(empty);
    EXPECT_EQ(3u, graph.getGraphObjects().size());
    seriesOf(usedValues, &graph)->setToBeDrawn(false);

    // A test of a graph the criterion is not on does not count.
    stranger.toggleMaintainData(world.item);
    criterion->reset();
    EXPECT_EQ(nullptr, criterion->getActiveValuesForOneFile());
    EXPECT_EQ(1u, criterion->getValueMap().size());
    EXPECT_EQ(usedValues, criterion->getValueListOrNull(used));
    EXPECT_EQ(1u, graph.getGraphObjects().size()) << "the series of the deleted values leave the graph";
    EXPECT_FALSE(seriesOf(usedValues, &graph)->GetDrawingEnabled()) << "kept values are reset";

    // A test of one of its graphs that keeps the item keeps an unused file; a file of no item never.
    computeFile(*criterion, unused);
    computeFile(*criterion, outside);
    keeper.toggleMaintainData(world.item);
    criterion->reset();
    EXPECT_NE(nullptr, criterion->getValueListOrNull(unused));
    EXPECT_EQ(nullptr, criterion->getValueListOrNull(outside));
    EXPECT_EQ(2u, graph.getGraphObjects().size());

    keeper.toggleMaintainData(world.item);
    criterion->reset();
    EXPECT_EQ(nullptr, criterion->getValueListOrNull(unused));
    EXPECT_EQ(1u, criterion->getValueMap().size());
}

TEST(cGraphParameter, RemoveValuesFromCrashFileTakesTheCurrentListOrOneFile)
{
    sResultWorld world;
    cScatterGraph graph;
    cKynFileList elsewhere;
    tCriterionPtr criterion = makeCriterion();
    criterion->registerGraph(&graph, true);
    cKynFile* const first = world.addCrash("/data/crash_01.csh");
    cKynFile* const second = world.addCrash("/data/crash_02.csh");
    cKynFile* const empty = world.addCrash("/data/crash_03.csh");
    cKynFile* const outside = elsewhere.addFile(new cInputFile("/data/outside.csh"));
    computeFile(*criterion, first);
    computeFile(*criterion, outside);
    cCriterionValuesForOneFile* const active = computeFile(*criterion, second);
    criterion->putEmptyEntry(empty);

    criterion->removeValuesFromCrashFile(reinterpret_cast<unsigned long long>(first));
    EXPECT_EQ(nullptr, criterion->getValueListOrNull(first));
    EXPECT_EQ(active, criterion->getActiveValuesForOneFile()) << "another file's values stay active";
    EXPECT_EQ(2u, graph.getGraphObjects().size());

    // With no current list, address 0 covers nothing.
    myActiveFileList = nullptr;
    criterion->removeValuesFromCrashFile(0);
    EXPECT_EQ(3u, criterion->getValueMap().size());
    myActiveFileList = world.item->getFileList();

    criterion->removeValuesFromCrashFile(0);
    EXPECT_EQ(nullptr, criterion->getActiveValuesForOneFile());
    EXPECT_EQ(nullptr, criterion->getValueListOrNull(second));
    EXPECT_NE(nullptr, criterion->getValueListOrNull(outside)) << "a file of another list stays";
    EXPECT_EQ(1u, criterion->getValueMap().count(empty)) << "an empty entry stays";
    EXPECT_EQ(1u, graph.getGraphObjects().size());
}

TEST(cGraphParameter, ColorIsAHexadecimalNumberOrAConstantAndIsWrittenInHexadecimal)
{
    sResultWorld world;
    struct sCase
    {
        char const* text;
        long color;
    };
    // RGB(0, 99, 255) is blue 255, green 99, red 0.
    for (sCase const& c : {sCase{"Color = 0x00ff00\n", 0xff00}, sCase{"Color = \" 0x00ff00\t\"\n", 0xff00},
                           sCase{"Color = BLUE_3\n", 0xff6300}, sCase{"Color = 255\n", 255},
                           sCase{"Color = NO_SUCH_COLOUR\n", 0}, sCase{"Color = x0FF\n", 0},
                           sCase{"Color = 0\n", 0}, sCase{"", 0}})
    {
        tCriterionPtr criterion = makeCriterion(std::string("Name = C\n") + c.text);
        EXPECT_EQ(c.color, criterion->getColor()) << c.text;
    }

    tCriterionPtr criterion = makeCriterion("Name = C\nColor = BLUE_3\n");
    cConfigurationGroup written("Criterion");
    criterion->buildFile(&written, 0);
    std::string text;
    ASSERT_EQ(1, written.findItem("", "Color", text, true));
    EXPECT_EQ("0x00FF6300", text);
    criterion->setColor(0);
    tCriterionPtr reread(new cProbeCriterion(&written));
    EXPECT_EQ(0xff6300, reread->getColor());
}

TEST(cGraphParameter, CrashColorChangedReachesTheSeriesOfARegisteredGraphOnly)
{
    sResultWorld world;
    cTestMgr test("T");
    test.setCrashColor(true);
    cScatterGraph graph;
    cScatterGraph stranger;
    graph.getParameter().test = &test;
    tCriterionPtr criterion = makeCriterion("Name = C\nColor = 0x10\nCrash Color = 1\n");
    criterion->registerGraph(&graph, true);
    cKynFile* const file = world.addCrash("/data/crash_01.csh");
    file->setColor(0x123456);
    cTestGraphSerie* const series = seriesOf(computeFile(*criterion, file), &graph);

    criterion->crashColorChanged(&stranger);
    EXPECT_TRUE(series->getUseDefaultColor());
    criterion->crashColorChanged(&graph);
    EXPECT_EQ(0x123456u, series->getColor());
    EXPECT_FALSE(series->getUseDefaultColor());
    test.setCrashColor(false);
    criterion->crashColorChanged(&graph);
    EXPECT_EQ(0x10u, series->getColor());
    EXPECT_TRUE(series->getUseDefaultColor());
}

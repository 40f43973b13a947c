#include "SimCore/cGraphParameter.h"

#include "SimCore/cTestGraphSerie.h"
#include "SimCore/cTestGraphSquare.h"
#include "tests/support/cAlgorithmFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>
#include <memory>
#include <sstream>
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

cTestGraphSerie* seriesOf(cParameterValuesForOneFile const* values, cGraph const* graph)
{
    return dynamic_cast<cTestGraphSerie*>(values->getGraphObject(graph, true));
}
using cGraphParameterTest = cAlgorithmFixture;
} // namespace

TEST_F(cGraphParameterTest, RegistrationAppendsEveryTimeAndKeepsTheFirstDrawingFlag)
{
    timeGraph.SetGraphTitle("Speed");
    timeGraph.SetTestName("T2");
    otherGraph.SetGraphTitle("Speed");
    otherGraph.SetTestName("T1");
    tCriterionPtr criterion = makeCriterion();

    criterion->registerGraph(&otherGraph, false);
    criterion->registerGraph(&timeGraph, true);
    criterion->registerGraph(&timeGraph, false);
    EXPECT_EQ(3u, criterion->getGraphList().size());
    ASSERT_EQ(1u, criterion->getActiveGraphList().size());
    EXPECT_EQ(&timeGraph, criterion->getActiveGraphList()[0]);
    EXPECT_TRUE(criterion->getDrawingEnable(&timeGraph)) << "the second registration keeps the first flag";
    EXPECT_FALSE(criterion->getDrawingEnable(&otherGraph));

    EXPECT_EQ(&timeGraph, criterion->getGraphbyNameandTest("Speed", "T2"));
    EXPECT_EQ(&otherGraph, criterion->getGraphbyNameandTest("Speed", "T1"));
    EXPECT_EQ(nullptr, criterion->getGraphbyNameandTest("Speed", "T3"));

    // The comparison is exact.
    criterion->setDrawingEnable(&otherGraph, "true");
    EXPECT_TRUE(criterion->getDrawingEnable(&otherGraph));
    criterion->setDrawingEnable(&otherGraph, "True");
    EXPECT_FALSE(criterion->getDrawingEnable(&otherGraph));

    // Removal takes every occurrence and the flag, and the values forget their series.
    cCriterionValuesForOneFile* const values = computeFile(*criterion, addCrash("/data/crash_01.csh"));
    ASSERT_NE(nullptr, values->getGraphObject(&timeGraph, false));
    criterion->removeGraph(&timeGraph);
    EXPECT_EQ(1u, criterion->getGraphList().size());
    EXPECT_TRUE(criterion->getActiveGraphList().empty());
    EXPECT_EQ(0u, criterion->getDrawingEnableMap().count(&timeGraph));
    EXPECT_FALSE(criterion->isGraphRegistered(&timeGraph));
    EXPECT_EQ(nullptr, values->getGraphObject(&timeGraph, false));
    EXPECT_EQ(1u, timeGraph.getGraphObjects().size()) << "the graph still owns the series";
}

TEST_F(cGraphParameterTest, ActivateGraphMovesItInAndOutOfTheActiveListAndShowsTheSeries)
{
    tCriterionPtr criterion = makeCriterion();
    criterion->registerGraph(&timeGraph, false);
    cCriterionValuesForOneFile* const first = computeFile(*criterion, addCrash("/data/crash_01.csh"));
    cCriterionValuesForOneFile* const second = computeFile(*criterion, addCrash("/data/crash_02.csh"));
    EXPECT_FALSE(seriesOf(first, &timeGraph)->GetDrawingEnabled());

    criterion->activateGraph(&timeGraph, true);
    criterion->activateGraph(&timeGraph, true);
    EXPECT_EQ(1u, criterion->getActiveGraphList().size()) << "no second entry";
    EXPECT_TRUE(criterion->getDrawingEnable(&timeGraph));
    EXPECT_TRUE(seriesOf(first, &timeGraph)->GetDrawingEnabled());
    EXPECT_TRUE(seriesOf(second, &timeGraph)->GetDrawingEnabled());

    criterion->activateGraph(&timeGraph, false);
    EXPECT_TRUE(criterion->getActiveGraphList().empty());
    EXPECT_FALSE(criterion->getDrawingEnable(&timeGraph));
    EXPECT_FALSE(seriesOf(first, &timeGraph)->GetDrawingEnabled());

    // A graph without a flag is activated without getting one.
    criterion->activateGraph(&otherGraph, true);
    ASSERT_EQ(1u, criterion->getActiveGraphList().size());
    EXPECT_EQ(&otherGraph, criterion->getActiveGraphList()[0]);
    EXPECT_EQ(0u, criterion->getDrawingEnableMap().count(&otherGraph));
}

// On a graph against an abscissa criterion, showing a curve places the time-event marks again.
TEST_F(cGraphParameterTest, ActivatingACurveAgainstAnAbscissaRecomputesTheMarksOfASingleIterationRun)
{
    tCriterionPtr abscissa = makeCriterion("Name = X\n");
    tCriterionPtr criterion = makeCriterion("Name = Y\n");
    xyGraph.getParameter().abscissaCriterion = abscissa.get();
    xyGraph.getParameter().test = &timeTest;
    cConfigurationGroup eventGroup = readGroup("Name = Fire\n");
    tTimeEventPtr event(new cTimeEvent(&eventGroup, "Algorithm"));
    event->registerGraph(&xyGraph, true);
    event->registerGraph(&timeGraph, true);
    criterion->registerGraph(&xyGraph, false);
    criterion->registerGraph(&timeGraph, false);
    myActiveFile = addCrash("/data/crash_01.csh");
    event->changeFile();
    computeFile(*criterion, myActiveFile);
    auto* const square = dynamic_cast<cTestGraphSquare*>(
        event->getActiveTimeEventValuesForOneFile()->getGraphObject(&xyGraph, true));
    auto* const line = dynamic_cast<cTestGraphSquare*>(
        event->getActiveTimeEventValuesForOneFile()->getGraphObject(&timeGraph, true));
    ASSERT_NE(nullptr, square);
    square->AddDataSquare(1, 2, 3, 4);
    square->setToBeDrawn(false);

    criterion->activateGraph(&timeGraph, true);
    EXPECT_FALSE(line->isComputedOnce()) << "a graph over time has nothing to place";
    EXPECT_TRUE(square->hasPoints());

    criterion->activateGraph(&xyGraph, true);
    EXPECT_TRUE(square->isComputedOnce());
    EXPECT_FALSE(square->hasPoints()) << "the old mark goes; the event has not fired";
    EXPECT_FALSE(square->GetDrawingEnabled()) << "the user's choice stays";

    // A test that keeps the file's results keeps its marks.
    square->AddDataSquare(1, 2, 3, 4);
    timeTest.toggleMaintainData(item);
    criterion->activateGraph(&xyGraph, false);
    EXPECT_TRUE(square->hasPoints());
    timeTest.toggleMaintainData(item);

    // With a drift the run has many iterations: the marks are left alone.
    cDriftStage stage({"Name = P\n"});
    stage.getParameter("P")->setRawDrift(10, 15, 5, 5, 0);
    square->setComputedOnce(false);
    criterion->activateGraph(&xyGraph, true);
    EXPECT_FALSE(square->isComputedOnce());
    EXPECT_TRUE(square->hasPoints());
}

TEST_F(cGraphParameterTest, ChangeFileCreatesValuesOnceAndAnEmptyEntryGivesValuesWithoutReset)
{
    tCriterionPtr criterion = makeCriterion();
    criterion->registerGraph(&timeGraph, true);
    cKynFile* const first = addCrash("/data/crash_01.csh");
    cKynFile* const second = addCrash("/data/crash_02.csh");
    EXPECT_EQ(nullptr, criterion->getActiveValuesForOneFile());

    cCriterionValuesForOneFile* const values = computeFile(*criterion, first);
    ASSERT_NE(nullptr, values);
    EXPECT_EQ(first, values->getCrashFile());
    EXPECT_EQ(1u, timeGraph.getGraphObjects().size()) << "new values are reset onto the graphs";
    values->addValue(1.0f);
    EXPECT_EQ(values, computeFile(*criterion, first)) << "the same file keeps its values";

    // The values that stop being current free their curve; the new ones become active.
    values->addValue(2.0f);
    cCriterionValuesForOneFile* const next = computeFile(*criterion, second);
    EXPECT_NE(values, next);
    EXPECT_EQ(0u, values->getSize());
    EXPECT_EQ(next, criterion->getValueList(second));

    cKynFile* const third = addCrash("/data/crash_03.csh");
    criterion->putEmptyEntry(third);
    EXPECT_EQ(nullptr, criterion->getValueList(third));
    EXPECT_EQ(nullptr, criterion->getValueListOrNull(third));
    cCriterionValuesForOneFile* const bare = computeFile(*criterion, third);
    ASSERT_NE(nullptr, bare);
    EXPECT_TRUE(bare->getGraphObjects().empty());
    EXPECT_EQ(2u, timeGraph.getGraphObjects().size());

    cKynFile* const unknown = addCrash("/data/crash_04.csh");
    EXPECT_EQ(nullptr, criterion->getValueListOrNull(unknown));
    EXPECT_EQ("cBadTimeEventValueReference|cGraphParameter::getValueList|Bad time event value reference.",
              failureOf([&] { criterion->getValueList(unknown); }));
    EXPECT_EQ("SimCore/cGraphParameter", sourceOf([&] { criterion->getValueList(unknown); }));
}

TEST_F(cGraphParameterTest, ResetKeepsAFileOnlyWhileItIsUsedOrATestOfItsGraphsKeepsIt)
{
    timeGraph.getParameter().test = &timeTest;
    otherGraph.getParameter().test = &xyTest;
    cKynFileList elsewhere;
    tCriterionPtr criterion = makeCriterion();
    criterion->registerGraph(&timeGraph, true);

    criterion->reset();
    EXPECT_TRUE(criterion->getValueMap().empty());

    cKynFile* const used = addCrash("/data/used.csh", true);
    cKynFile* const unused = addCrash("/data/unused.csh", false);
    cKynFile* const empty = addCrash("/data/empty.csh", true);
    cKynFile* const outside = elsewhere.addFile(new cInputFile("/data/outside.csh"));
    outside->useFile(true, nullptr);
    cCriterionValuesForOneFile* const usedValues = computeFile(*criterion, used);
    computeFile(*criterion, unused);
    computeFile(*criterion, outside);
    criterion->putEmptyEntry(empty);
    EXPECT_EQ(3u, timeGraph.getGraphObjects().size());
    seriesOf(usedValues, &timeGraph)->setToBeDrawn(false);

    // A test of a graph the criterion is not on does not count.
    xyTest.toggleMaintainData(item);
    criterion->reset();
    EXPECT_EQ(nullptr, criterion->getActiveValuesForOneFile());
    EXPECT_EQ(1u, criterion->getValueMap().size());
    EXPECT_EQ(usedValues, criterion->getValueListOrNull(used));
    EXPECT_EQ(1u, timeGraph.getGraphObjects().size()) << "the series of the deleted values leave the graph";
    EXPECT_FALSE(seriesOf(usedValues, &timeGraph)->GetDrawingEnabled()) << "kept values are reset";

    // A test of one of its graphs that keeps the item keeps an unused file; a file of no item never.
    computeFile(*criterion, unused);
    computeFile(*criterion, outside);
    timeTest.toggleMaintainData(item);
    criterion->reset();
    EXPECT_NE(nullptr, criterion->getValueListOrNull(unused));
    EXPECT_EQ(nullptr, criterion->getValueListOrNull(outside));
    EXPECT_EQ(2u, timeGraph.getGraphObjects().size());

    timeTest.toggleMaintainData(item);
    criterion->reset();
    EXPECT_EQ(nullptr, criterion->getValueListOrNull(unused));
    EXPECT_EQ(1u, criterion->getValueMap().size());
}

TEST_F(cGraphParameterTest, RemoveValuesFromCrashFileTakesTheCurrentListOrOneFile)
{
    cKynFileList elsewhere;
    tCriterionPtr criterion = makeCriterion();
    criterion->registerGraph(&timeGraph, true);
    cKynFile* const first = addCrash("/data/crash_01.csh");
    cKynFile* const second = addCrash("/data/crash_02.csh");
    cKynFile* const empty = addCrash("/data/crash_03.csh");
    cKynFile* const outside = elsewhere.addFile(new cInputFile("/data/outside.csh"));
    computeFile(*criterion, first);
    computeFile(*criterion, outside);
    cCriterionValuesForOneFile* const active = computeFile(*criterion, second);
    criterion->putEmptyEntry(empty);

    criterion->removeValuesFromCrashFile(reinterpret_cast<unsigned long long>(first));
    EXPECT_EQ(nullptr, criterion->getValueListOrNull(first));
    EXPECT_EQ(active, criterion->getActiveValuesForOneFile()) << "another file's values stay active";
    EXPECT_EQ(2u, timeGraph.getGraphObjects().size());

    // With no current list, address 0 covers nothing.
    myActiveFileList = nullptr;
    criterion->removeValuesFromCrashFile(0);
    EXPECT_EQ(3u, criterion->getValueMap().size());
    myActiveFileList = item->getFileList();

    criterion->removeValuesFromCrashFile(0);
    EXPECT_EQ(nullptr, criterion->getActiveValuesForOneFile());
    EXPECT_EQ(nullptr, criterion->getValueListOrNull(second));
    EXPECT_NE(nullptr, criterion->getValueListOrNull(outside)) << "a file of another list stays";
    EXPECT_EQ(1u, criterion->getValueMap().count(empty)) << "an empty entry stays";
    EXPECT_EQ(1u, timeGraph.getGraphObjects().size());
}

// Each input line is the colour key of a criterion (the last one none); BLUE_3 is RGB(0, 99, 255).
TEST_F(cGraphParameterTest, ColorIsAHexadecimalNumberOrAConstant)
{
    std::istringstream inputs(testData("SimCore/results/colors-input.cfg"));
    std::ostringstream colors;
    for (std::string line; std::getline(inputs, line);)
        colors << line << " -> " << std::hex << makeCriterion("Name = C\n" + line + "\n")->getColor() << "\n";
    EXPECT_EQ(testData("SimCore/results/colors-expected.txt"), colors.str());
}

TEST_F(cGraphParameterTest, CrashColorChangedReachesTheSeriesOfARegisteredGraphOnly)
{
    timeTest.setCrashColor(true);
    timeGraph.getParameter().test = &timeTest;
    tCriterionPtr criterion = makeCriterion("Name = C\nColor = 0x10\nCrash Color = 1\n");
    criterion->registerGraph(&timeGraph, true);
    cKynFile* const file = addCrash("/data/crash_01.csh");
    file->setColor(0x123456);
    cTestGraphSerie* const series = seriesOf(computeFile(*criterion, file), &timeGraph);

    criterion->crashColorChanged(&otherGraph);
    EXPECT_TRUE(series->getUseDefaultColor());
    criterion->crashColorChanged(&timeGraph);
    EXPECT_EQ(0x123456u, series->getColor());
    EXPECT_FALSE(series->getUseDefaultColor());
    timeTest.setCrashColor(false);
    criterion->crashColorChanged(&timeGraph);
    EXPECT_EQ(0x10u, series->getColor());
    EXPECT_TRUE(series->getUseDefaultColor());
}

#include "SimCore/cTestGraphSquare.h"

#include "PlotKit/cScatterGraph.h"
#include "SimCore/cCriterion.h"
#include "SimCore/cTestGraphSerie.h"
#include "SimCore/cTestMgr.h"
#include "SimCore/cTimeEvent.h"
#include "tests/support/cResultWorld.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <vector>

namespace
{
// One crash file, the file-linked event "TTF" (green) and the event "Entry", both at 10000 ticks per
// second, the criteria "Speed" and "Acc" at factor 1, a graph over time with "Entry" as its reference
// and a graph against "Speed". Squares are made by hand on the graphs, which own them.
struct sSquareStage
{
    sSquareStage()
    {
        algorithm.loadCriteria("Criterion {\nName = Speed\n}\nCriterion {\nName = Acc\n}\n");
        algorithm.loadTimeEvents("Time Event {\nName = TTF\nFile Link = 1\nColor = 0x00ff00\n}\n"
                                 "Time Event {\nName = Entry\n}\n");
        algorithm.setTimeEventsPrecisionFrequency(10000);
        algorithm.criterion("Speed")->forceUse(true);
        algorithm.criterion("Acc")->forceUse(true);
        // The crash file takes its expectations from the events of the active algorithm.
        myActiveAlgorithm = &algorithm;
        file = world.addCrash("/crashes/pole_32kph.csh");
        myActiveFile = file;
        timeGraph.getParameter().test = &timeTest;
        timeGraph.getParameter().referenceTimeEvent = algorithm.timeEvent("Entry");
        xyGraph.getParameter().test = &xyTest;
        xyGraph.getParameter().abscissaCriterion = algorithm.criterion("Speed");
        algorithm.resetResults();
        algorithm.changeFileResults();
        algorithm.prepareForTestResults();
        ttf = algorithm.timeEvent("TTF")->getActiveTimeEventValuesForOneFile();
        entry = algorithm.timeEvent("Entry")->getActiveTimeEventValuesForOneFile();
    }
    cTestGraphSquare* square(cScatterGraph& graph, int kind, cTimeEventValuesForOneFile* values)
    {
        auto* const made = new cTestGraphSquare(kind);
        made->setGraph(&graph);
        made->setTimeEvent(values);
        graph.AddObject(made);
        return made;
    }
    void expect(std::string const& minimum, std::string const& optimum, std::string const& maximum)
    {
        structTTF* const expected = file->findStructTTF(algorithm.timeEvent("TTF"));
        expected->setTtfValue(eTtfMinimum, minimum);
        expected->setTtfValue(eTtfOptimum, optimum);
        expected->setTtfValue(eTtfMaximum, maximum);
    }

    cTestMgr timeTest{"Time"};
    cTestMgr xyTest{"Against speed"};
    cScatterGraph timeGraph;
    cScatterGraph xyGraph;
    sResultWorld world;
    cOpenAlgorithm algorithm;
    cKynFile* file = nullptr;
    cTimeEventValuesForOneFile* ttf = nullptr;
    cTimeEventValuesForOneFile* entry = nullptr;
};

// The x1 of each mark, or all its corners (x1, x2, y1, y2) one mark after the other.
std::vector<float> lines(cTestGraphSquare const& square, bool corners = false)
{
    std::vector<float> out;
    for (unsigned int i = 0; i < square.getMarks().size(); ++i)
    {
        auto const& mark = square.getMarks()[i];
        out.insert(out.end(), {mark.x1, mark.x2, mark.y1, mark.y2});
        out.resize(corners ? out.size() : out.size() - 3);
    }
    return out;
}

// Minimum, optimum and maximum expected times; an unset one reads -99.
std::vector<float> expected(cTestGraphSquare const& square)
{
    std::vector<float> out;
    for (ETtfKind kind : {eTtfMinimum, eTtfOptimum, eTtfMaximum})
        out.push_back(square.isExpectedTimeSet(kind) ? square.getExpectedTime(kind) : -99.0f);
    return out;
}

void fill(cCriterionValuesForOneFile* values, std::initializer_list<float> samples)
{
    values->prepareForTest();
    values->setSamplingRate(1000.0f);
    values->setT0(0);
    values->addValueForced(0.0f);
    for (float sample : samples)
        values->addValueForced(sample);
}
} // namespace

TEST(cTestGraphSquare, VerticalLineMarksEachIterationWithExpectedTimesFromTheEntry)
{
    sSquareStage stage;
    stage.timeTest.setEntryAdjusted(true);
    cTestGraphSquare* const square = stage.square(stage.timeGraph, eSquareVerticalLine, stage.ttf);
    // Entry at 2 ms: the expected minimum of 1 ms falls before it and is dropped, no fire stays -1.
    stage.expect("1", "NF", "30");
    stage.entry->setForced(20);
    stage.ttf->setForced(250);
    square->computeResults();
    EXPECT_TRUE(square->isComputedOnce());
    EXPECT_EQ(stage.algorithm.timeEvent("Entry"), square->getReferenceTimeEvent());
    EXPECT_EQ((std::vector<float>{23.0f}), lines(*square));
    EXPECT_EQ((std::vector<float>{-99, -1, 28}), expected(*square));

    // Later iterations add their mark; the expectations were read once. A no-fire adds nothing.
    stage.expect("5", "6", "7");
    stage.ttf->setForced(300);
    square->computeResults();
    stage.ttf->setForced(-1);
    square->computeResults();
    EXPECT_EQ((std::vector<float>{23.0f, 28.0f}), lines(*square));
    EXPECT_EQ((std::vector<float>{-99, -1, 28}), expected(*square));
    EXPECT_EQ(23.0f, square->getX1());
    EXPECT_EQ(28.0f, square->getX2());

    // A new run without entry adjust: times from 0, and a value that is not defined is left unset.
    square->reset(true);
    EXPECT_FALSE(square->hasPoints());
    EXPECT_EQ((std::vector<float>{-99, -99, -99}), expected(*square));
    EXPECT_EQ(nullptr, square->getReferenceTimeEvent());
    stage.timeTest.setEntryAdjusted(false);
    stage.expect("Not Defined", "12.5", "-1");
    stage.ttf->setForced(150);
    square->computeResults();
    EXPECT_EQ((std::vector<float>{15.0f}), lines(*square));
    EXPECT_EQ((std::vector<float>{-99, 12.5f, -1}), expected(*square));

    // An entry that did not fire: no mark, though the expectations are read.
    square->reset(true);
    stage.timeTest.setEntryAdjusted(true);
    stage.entry->setForced(-1);
    stage.ttf->setForced(150);
    square->computeResults();
    EXPECT_FALSE(square->hasPoints());
    EXPECT_TRUE(square->isComputedOnce());
}

TEST(cTestGraphSquare, ZeroTimeOrNoGraphDrawsNoMarkAndAnUnlinkedEventHasNoExpectedTimes)
{
    sSquareStage stage;
    cTestGraphSquare* const square = stage.square(stage.timeGraph, eSquareVerticalLine, stage.entry);
    stage.entry->setForced(0);
    square->computeResults();
    EXPECT_FALSE(square->hasPoints());
    stage.entry->setForced(5);
    square->computeResults();
    EXPECT_EQ((std::vector<float>{0.5f}), lines(*square));
    EXPECT_EQ((std::vector<float>{-99, -99, -99}), expected(*square));

    // The event at the entry itself is at 0 ms from it.
    stage.timeTest.setEntryAdjusted(true);
    cTestGraphSquare* const atEntry = stage.square(stage.timeGraph, eSquareVerticalLine, stage.entry);
    atEntry->computeResults();
    EXPECT_FALSE(atEntry->hasPoints());

    cTestGraphSquare loose(eSquareVerticalLine);
    loose.setTimeEvent(stage.ttf);
    stage.ttf->setForced(100);
    loose.computeResults();
    EXPECT_FALSE(loose.hasPoints());
    EXPECT_FALSE(loose.isComputedOnce());
}

TEST(cTestGraphSquare, RectangleIsPlacedOnTheEnvelopeOfTheFirstSerie)
{
    sSquareStage stage;
    cCriterionValuesForOneFile* const speed =
        stage.algorithm.criterion("Speed")->getActiveCriterionValuesForOneFile();
    cCriterionValuesForOneFile* const acc =
        stage.algorithm.criterion("Acc")->getActiveCriterionValuesForOneFile();
    auto* const serie = new cTestGraphSerie(eSerieYX);
    serie->setGraph(&stage.xyGraph);
    serie->setOrdinate(acc);
    stage.xyGraph.AddObject(serie);
    stage.expect("1", "2", "3");
    cTestGraphSquare* const square = stage.square(stage.xyGraph, eSquareRectangle, stage.ttf);

    // Points at 0, 1 and 2 ms; 15 ticks are 1.5 ms, half way between (20, 200) and (30, 300).
    fill(speed, {10.0f, 20.0f, 30.0f});
    fill(acc, {100.0f, 200.0f, 300.0f});
    serie->computeResults(stage.file, false, false);
    stage.ttf->setForced(15);
    square->computeResults();
    EXPECT_EQ((std::vector<float>{25, 25, 250, 250}), lines(*square, true));
    // A rectangle carries no expected times.
    EXPECT_EQ((std::vector<float>{-99, -99, -99}), expected(*square));

    // A second iteration widens the envelope: minimum (25, 240), maximum (27, 250) at 1.5 ms.
    fill(speed, {12.0f, 22.0f, 32.0f});
    fill(acc, {90.0f, 190.0f, 290.0f});
    serie->computeResults(stage.file, false, false);
    square->computeResults();
    EXPECT_EQ((std::vector<float>{25, 25, 250, 250, 25, 27, 240, 250}), lines(*square, true));
    EXPECT_EQ(240.0f, square->getY1());
    EXPECT_EQ(27.0f, square->getX2());
}

TEST(cTestGraphSquare, HiddenSquareWithMaintainedDataIsDrawnAndKeepsItsMarks)
{
    sSquareStage stage;
    cTestGraphSquare* const square = stage.square(stage.timeGraph, eSquareVerticalLine, stage.ttf);
    EXPECT_EQ(0x00ff00u, square->getColor());
    stage.ttf->setForced(100);
    square->computeResults();
    square->reset(false);
    EXPECT_FALSE(square->hasPoints());
    EXPECT_FALSE(square->isToBeDrawn());

    stage.timeTest.toggleMaintainData(stage.world.item);
    EXPECT_TRUE(square->isToBeDrawn());
    square->computeResults();
    square->reset(false);
    EXPECT_EQ((std::vector<float>{10.0f}), lines(*square));
    EXPECT_FALSE(square->isComputedOnce());

    unsigned long long const address = reinterpret_cast<unsigned long long>(stage.file);
    EXPECT_EQ(address, square->GetCrashFileAddress());
    EXPECT_EQ("pole_32kph.csh", square->GetCrashFileName());
    stage.file->setColor(0x102030);
    EXPECT_EQ(0x102030, square->GetCrashFileColor());
    EXPECT_FALSE(square->SetIfItIsToBeDrawn(address + 8, true));
    EXPECT_FALSE(square->GetDrawingEnabled());
    EXPECT_TRUE(square->SetIfItIsToBeDrawn(address, true));
    EXPECT_TRUE(square->GetDrawingEnabled());

    cTestGraphSquare loose;
    EXPECT_EQ(0u, loose.GetCrashFileAddress());
    EXPECT_EQ("", loose.GetCrashFileName());
    EXPECT_EQ(0, loose.GetCrashFileColor());
    EXPECT_FALSE(loose.SetIfItIsToBeDrawn(0, false));
}

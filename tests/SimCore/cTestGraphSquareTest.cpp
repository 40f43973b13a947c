#include "SimCore/cTestGraphSquare.h"

#include "SimCore/cTestGraphSerie.h"
#include "tests/support/cAlgorithmFixture.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <vector>

namespace
{
// The file-linked event "TTF" (green) and the event "Entry", the criteria "Speed" and "Acc" at
// factor 1, on one crash file. Squares are made by hand on the graphs, which own them.
class cTestGraphSquareTest : public cAlgorithmFixture
{
protected:
    cTestGraphSquareTest()
    {
        startGraphRun(
            "Criterion {\nName = Speed\n}\nCriterion {\nName = Acc\n}\n",
            "Time Event {\nName = TTF\nFile Link = 1\nColor = 0x00ff00\n}\nTime Event {\nName = Entry\n}\n",
            "/crashes/pole_32kph.csh");
        ttf = algorithm.timeEvent("TTF")->getActiveTimeEventValuesForOneFile();
        entry = algorithm.timeEvent("Entry")->getActiveTimeEventValuesForOneFile();
    }
    cTestGraphSquare* addSquare(cScatterGraph& graph, int kind, cTimeEventValuesForOneFile* values)
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

} // namespace

TEST_F(cTestGraphSquareTest, VerticalLineMarksEachIterationWithExpectedTimesFromTheEntry)
{
    timeTest.setEntryAdjusted(true);
    cTestGraphSquare* const square = addSquare(timeGraph, eSquareVerticalLine, ttf);
    // Entry at 2 ms: the expected minimum of 1 ms falls before it and is dropped, no fire stays -1.
    expect("1", "NF", "30");
    entry->setForced(20);
    ttf->setForced(250);
    square->computeResults();
    EXPECT_TRUE(square->isComputedOnce());
    EXPECT_EQ(algorithm.timeEvent("Entry"), square->getReferenceTimeEvent());
    EXPECT_EQ((std::vector<float>{23.0f}), lines(*square));
    EXPECT_EQ((std::vector<float>{-99, -1, 28}), expected(*square));

    // Later iterations add their mark; the expectations were read once. A no-fire adds nothing.
    expect("5", "6", "7");
    ttf->setForced(300);
    square->computeResults();
    ttf->setForced(-1);
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
    timeTest.setEntryAdjusted(false);
    expect("Not Defined", "12.5", "-1");
    ttf->setForced(150);
    square->computeResults();
    EXPECT_EQ((std::vector<float>{15.0f}), lines(*square));
    EXPECT_EQ((std::vector<float>{-99, 12.5f, -1}), expected(*square));

    // An entry that did not fire: no mark, though the expectations are read.
    square->reset(true);
    timeTest.setEntryAdjusted(true);
    entry->setForced(-1);
    ttf->setForced(150);
    square->computeResults();
    EXPECT_FALSE(square->hasPoints());
    EXPECT_TRUE(square->isComputedOnce());
}

TEST_F(cTestGraphSquareTest, ZeroTimeOrNoGraphDrawsNoMarkAndAnUnlinkedEventHasNoExpectedTimes)
{
    cTestGraphSquare* const square = addSquare(timeGraph, eSquareVerticalLine, entry);
    entry->setForced(0);
    square->computeResults();
    EXPECT_FALSE(square->hasPoints());
    entry->setForced(5);
    square->computeResults();
    EXPECT_EQ((std::vector<float>{0.5f}), lines(*square));
    EXPECT_EQ((std::vector<float>{-99, -99, -99}), expected(*square));

    // The event at the entry itself is at 0 ms from it.
    timeTest.setEntryAdjusted(true);
    cTestGraphSquare* const atEntry = addSquare(timeGraph, eSquareVerticalLine, entry);
    atEntry->computeResults();
    EXPECT_FALSE(atEntry->hasPoints());

    cTestGraphSquare loose(eSquareVerticalLine);
    loose.setTimeEvent(ttf);
    ttf->setForced(100);
    loose.computeResults();
    EXPECT_FALSE(loose.hasPoints());
    EXPECT_FALSE(loose.isComputedOnce());
}

TEST_F(cTestGraphSquareTest, RectangleIsPlacedOnTheEnvelopeOfTheFirstSerie)
{
    cCriterionValuesForOneFile* const speed = values("Speed");
    cCriterionValuesForOneFile* const acc = values("Acc");
    auto* const serie = new cTestGraphSerie(eSerieYX);
    serie->setGraph(&xyGraph);
    serie->setOrdinate(acc);
    xyGraph.AddObject(serie);
    expect("1", "2", "3");
    cTestGraphSquare* const square = addSquare(xyGraph, eSquareRectangle, ttf);

    // Points at 0, 1 and 2 ms; 15 ticks are 1.5 ms, half way between (20, 200) and (30, 300).
    fillCurve(speed, 1000.0f, 0, {10.0f, 20.0f, 30.0f});
    fillCurve(acc, 1000.0f, 0, {100.0f, 200.0f, 300.0f});
    serie->computeResults(file, false, false);
    ttf->setForced(15);
    square->computeResults();
    EXPECT_EQ((std::vector<float>{25, 25, 250, 250}), lines(*square, true));
    // A rectangle carries no expected times.
    EXPECT_EQ((std::vector<float>{-99, -99, -99}), expected(*square));

    // A second iteration widens the envelope: minimum (25, 240), maximum (27, 250) at 1.5 ms.
    fillCurve(speed, 1000.0f, 0, {12.0f, 22.0f, 32.0f});
    fillCurve(acc, 1000.0f, 0, {90.0f, 190.0f, 290.0f});
    serie->computeResults(file, false, false);
    square->computeResults();
    EXPECT_EQ((std::vector<float>{25, 25, 250, 250, 25, 27, 240, 250}), lines(*square, true));
    EXPECT_EQ(240.0f, square->getY1());
    EXPECT_EQ(27.0f, square->getX2());
}

TEST_F(cTestGraphSquareTest, HiddenSquareWithMaintainedDataIsDrawnAndKeepsItsMarks)
{
    cTestGraphSquare* const square = addSquare(timeGraph, eSquareVerticalLine, ttf);
    EXPECT_EQ(0x00ff00u, square->getColor());
    ttf->setForced(100);
    square->computeResults();
    square->reset(false);
    EXPECT_FALSE(square->hasPoints());
    EXPECT_FALSE(square->isToBeDrawn());

    timeTest.toggleMaintainData(item);
    EXPECT_TRUE(square->isToBeDrawn());
    square->computeResults();
    square->reset(false);
    EXPECT_EQ((std::vector<float>{10.0f}), lines(*square));
    EXPECT_FALSE(square->isComputedOnce());

    cTestGraphSquare loose;
    expectFileGetters(*square, loose, file, "pole_32kph.csh");
}

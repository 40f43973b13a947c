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

// Each case is a fresh vertical line of the event after one iteration; the expected times are those
// of the crash file for "TTF" (the entry has none), counted from the entry under entry adjust.
TEST_F(cTestGraphSquareTest, VerticalLineMarksTheEventWithExpectedTimesFromTheEntry)
{
    struct sCase
    {
        char const* what;
        bool ofTtf, entryAdjusted;
        long entryTicks, ttfTicks; // of 10 kHz
        std::vector<float> lines, expected;
    };
    expect("1", "NF", "30");
    for (sCase const& c : std::vector<sCase>{
             // Entry at 2 ms: the expected minimum of 1 ms falls before it and is dropped, no fire stays -1.
             {"from the entry", true, true, 20, 250, {23}, {-99, -1, 28}},
             {"from 0", true, false, 20, 150, {15}, {1, -1, 30}},
             // No mark; its expected times are left out here: they come out shifted by the -1 of the no-fire.
             {"entry never fired", true, true, -1, 150, {}, {}},
             {"at tick 0", false, false, 0, 0, {}, {-99, -99, -99}},
             {"unlinked", false, false, 5, 5, {0.5f}, {-99, -99, -99}},
             {"the entry itself", false, true, 5, 5, {}, {-99, -99, -99}}})
    {
        timeTest.setEntryAdjusted(c.entryAdjusted);
        cTestGraphSquare* const square = addSquare(timeGraph, eSquareVerticalLine, c.ofTtf ? ttf : entry);
        entry->setForced(c.entryTicks);
        if (c.ofTtf)
            ttf->setForced(c.ttfTicks);
        square->computeResults();
        EXPECT_TRUE(square->isComputedOnce()) << c.what;
        EXPECT_EQ(c.lines, lines(*square)) << c.what;
        EXPECT_TRUE(c.expected.empty() || c.expected == expected(*square)) << c.what;
        EXPECT_EQ(c.entryAdjusted ? algorithm.timeEvent("Entry") : nullptr, square->getReferenceTimeEvent())
            << c.what;
        square->reset(true);
        EXPECT_EQ(nullptr, square->getReferenceTimeEvent()) << c.what;
    }
}

TEST_F(cTestGraphSquareTest, LaterIterationsAddMarksAndTheExpectedTimesAreReadOncePerRun)
{
    cTestGraphSquare* const square = addSquare(timeGraph, eSquareVerticalLine, ttf);
    expect("Not Defined", "12.5", "-1");
    for (long ticks : {230L, -1L, 280L})
    {
        ttf->setForced(ticks);
        square->computeResults();
        expect("5", "6", "7");
    }
    EXPECT_EQ((std::vector<float>{23.0f, 28.0f}), lines(*square)) << "a no-fire adds nothing";
    EXPECT_EQ((std::vector<float>{-99, 12.5f, -1}), expected(*square)) << "a value not defined is left unset";
    EXPECT_EQ(23.0f, square->getX1());
    EXPECT_EQ(28.0f, square->getX2());

    square->reset(true);
    EXPECT_FALSE(square->hasPoints() || square->isComputedOnce());
    EXPECT_EQ((std::vector<float>{-99, -99, -99}), expected(*square));
    square->computeResults();
    EXPECT_EQ((std::vector<float>{5, 6, 7}), expected(*square));

    cTestGraphSquare loose(eSquareVerticalLine);
    loose.setTimeEvent(ttf);
    loose.computeResults();
    EXPECT_FALSE(loose.hasPoints() || loose.isComputedOnce()) << "no graph, no mark";
}

TEST_F(cTestGraphSquareTest, RectangleIsPlacedOnTheEnvelopeOfTheFirstSerie)
{
    cCriterionValuesForOneFile* const speed = values("Speed");
    cCriterionValuesForOneFile* const acc = values("Acc");
    cTestGraphSerie* const serie = addSerie(xyGraph, eSerieYX, acc);
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

// Both graphs show x = px / 2 and y = 100 - py / 4; a line width of 2 makes the tolerance 6 pixels,
// 3 in x and 1.5 in y. Every boundary below is exact in binary.
TEST_F(cTestGraphSquareTest, MouseHitsTheMarksWithinThreeLineWidthsOnTheAxesOfTheirKind)
{
    setMouseScale(2.0, 4.0, 100.0);
    // Lines at 10 and 20 ms, hit between them too, at any height; a rectangle over 25..27 and 60..80.
    cTestGraphSquare* const line = addSquare(timeGraph, eSquareVerticalLine, ttf);
    line->AddDataVertical(10.0f);
    line->AddDataVertical(20.0f);
    cTestGraphSquare* const box = addSquare(xyGraph, eSquareRectangle, ttf);
    box->AddDataSquare(27.0f, 25.0f, 80.0f, 60.0f);
    ASSERT_NE(0u, line->GetCrashFileAddress());
    struct sCase
    {
        cTestGraphSquare* square;
        long px, py;
        bool hit;
    };
    for (sCase const c : std::vector<sCase>{{line, 14, 1000, true}, // x 7
                                            {line, 13, 0, false},   // x 6.5
                                            {line, 30, 0, true},
                                            {line, 46, 0, true},   // x 23
                                            {line, 47, 0, false},  // x 23.5
                                            {box, 44, 74, true},   // x 22, y 81.5
                                            {box, 43, 100, false}, // x 21.5
                                            {box, 60, 166, true},  // x 30, y 58.5
                                            {box, 52, 167, false}, // y 58.25
                                            {box, 52, 73, false}}) // y 81.75
        EXPECT_EQ(c.hit, hits(c.square, c.px, c.py)) << c.px << "," << c.py;
    timeGraph.setLineWidth(1);
    EXPECT_FALSE(hits(line, 14, 0));

    // A horizontal band tests y alone; an unknown kind is never hit.
    box->setKind(eSquareHorizontalBand);
    EXPECT_TRUE(hits(box, 0, 74));
    EXPECT_FALSE(hits(box, 52, 167));
    box->setKind(5);
    EXPECT_FALSE(hits(box, 52, 80));

    // Hidden unless the test keeps the file's results; no graph, no hit and no file.
    line->setToBeDrawn(false);
    EXPECT_FALSE(hits(line, 30, 0));
    timeTest.toggleMaintainData(item);
    EXPECT_TRUE(hits(line, 30, 0));
    cTestGraphSquare loose;
    loose.AddDataVertical(10.0f);
    EXPECT_FALSE(hits(&loose, 20, 0));
}

#include "SimCore/cTestGraphSerie.h"

#include "tests/support/cAlgorithmFixture.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <vector>

namespace
{
// The criteria "Acc" (factor 0.1) and "Speed" (factor 2) and the event "Entry" on one crash file.
// Series are made by hand on the graphs, which own them.
class cTestGraphSerieTest : public cAlgorithmFixture
{
protected:
    cTestGraphSerieTest()
    {
        startGraphRun("Criterion {\nName = Acc\nConversion Factor = 0.1\n}\n"
                      "Criterion {\nName = Speed\nConversion Factor = 2\n}\n",
                      "Time Event {\nName = Entry\n}\n", "/crashes/front_56kph.csh");
        acc = values("Acc");
        speed = values("Speed");
    }

    cCriterionValuesForOneFile* acc = nullptr;
    cCriterionValuesForOneFile* speed = nullptr;
};

using tReader = float (cTestGraphSerie::*)(unsigned int) const;
tReader const kNomT = &cTestGraphSerie::getNomTValue, kNomX = &cTestGraphSerie::getNomXValue,
              kNomY = &cTestGraphSerie::getNomValue, kMinX = &cTestGraphSerie::getMinXValue,
              kMaxX = &cTestGraphSerie::getMaxXValue, kMinY = &cTestGraphSerie::getMinValue,
              kMaxY = &cTestGraphSerie::getMaxValue;

// One coordinate of a curve of the envelope, read point by point (the nominal's count by default).
std::vector<float> column(cTestGraphSerie const* serie, tReader reader, unsigned int count = ~0u)
{
    std::vector<float> out;
    for (unsigned int i = 0; i < (count == ~0u ? serie->getNomSerieSize() : count); ++i)
        out.push_back((serie->*reader)(i));
    return out;
}

cStorage<float> storage(std::initializer_list<float> values)
{
    cStorage<float> out;
    for (float value : values)
        out.add(value);
    return out;
}
} // namespace

// Each case draws a fresh series of "Acc" over time in the crash file's colour; an empty time list
// means no curve at all.
TEST_F(cTestGraphSerieTest, CurveOverTimeFollowsRateT0FactorLsbAndTheEntry)
{
    timeTest.setCrashColor(true);
    file->setColor(0xabcdef);
    struct sCase
    {
        char const* what;
        bool lsb, entryAdjusted, constant;
        long entryTicks; // of 10 kHz
        float rate;
        long t0;
        std::vector<float> samples;
        std::vector<float> times, values;
    };
    std::vector<sCase> const cases{
        // 9 and 13 times 0.1 give 0.9f and 1.3f only when the product is taken in double.
        {"converted", false, false, false, 0, 500.0f, 3000, {9, 13, -20}, {3, 5, 7}, {0.9f, 1.3f, -2.0f}},
        {"raw under LSB", true, false, false, 0, 500.0f, 3000, {9, 13, -20}, {3, 5, 7}, {9, 13, -20}},
        // Samples at 0 to 4 ms, the entry at 2.5 ms: drawn from the first sample after it.
        {"after entry", false, true, false, 25, 1000.0f, 0, {10, 20, 30, 40, 50}, {0.5f, 1.5f}, {4, 5}},
        // An entry at tick 0 is no reference time: every sample, negative times included.
        {"entry at 0", false, true, false, 0, 1000.0f, -2000, {10, 20, 30}, {-2, -1, 0}, {1, 2, 3}},
        {"entry never fired", false, true, false, -1, 1000.0f, 0, {10, 20, 30}, {}, {}},
        // A constant over 11 steps of 1 kHz from T0 = 2 ms has rate 100 Hz; its end is 1000 / 100 -
        // 2000 / 1000 = 8 ms (T0 is subtracted: stored results were drawn so).
        {"constant from the entry", false, true, true, 25, 100.0f, 2000, {4, 4}, {0, 5.5f}, {0.4f, 0.4f}},
        {"constant, entry at its end", false, true, true, 80, 100.0f, 2000, {4, 4}, {}, {}},
        {"constant as samples", false, false, true, 25, 100.0f, 2000, {4, 4}, {2, 12}, {0.4f, 0.4f}}};
    for (sCase const& c : cases)
    {
        timeTest.setLSB(c.lsb);
        timeTest.setEntryAdjusted(c.entryAdjusted);
        cTestGraphSerie* const serie = addSerie(timeGraph, eSerieYT, acc);
        fillCurve(acc, c.rate, c.t0, c.samples);
        acc->setIsAConstant2PointsCriterion(c.constant);
        algorithm.timeEvent("Entry")->getActiveTimeEventValuesForOneFile()->setForced(c.entryTicks);
        EXPECT_TRUE(serie->isAThreshold()) << c.what;
        serie->computeResults(file, false, true);
        EXPECT_EQ(c.times, column(serie, kNomT)) << c.what;
        EXPECT_EQ(c.values, column(serie, kNomY)) << c.what;
        EXPECT_EQ(c.times.empty(), !serie->iData().hasNominal) << c.what;
        EXPECT_FALSE(serie->isAThreshold()) << c.what;
        EXPECT_EQ(0xabcdefu, serie->getColor()) << c.what << ": coloured even when not drawn";
        EXPECT_EQ(c.lsb, serie->getLsbEnabled()) << c.what;
        EXPECT_EQ(c.entryAdjusted ? algorithm.timeEvent("Entry") : nullptr, serie->getReferenceTimeEvent())
            << c.what;
        if (!c.entryAdjusted)
        {
            EXPECT_EQ(c.times, column(serie, kNomX)) << c.what;
            EXPECT_EQ(0u, serie->getMinSerieSize() + serie->getMaxSerieSize()) << c.what;
        }
        serie->reset(true);
        EXPECT_EQ(nullptr, serie->getReferenceTimeEvent()) << c.what;
    }
}

TEST_F(cTestGraphSerieTest, ShortShortcutOrUngraphedCurveIsNotDrawnButColouredOnRequest)
{
    cTestGraphSerie* const serie = addSerie(timeGraph, eSerieYT, acc);
    file->setColor(0xabcdef);
    fillCurve(acc, 1000.0f, 0, {});
    serie->computeResults(file, false, true);
    EXPECT_TRUE(serie->isAThreshold());
    EXPECT_FALSE(serie->iData().hasNominal);
    EXPECT_TRUE(serie->isComputedOnce());
    EXPECT_EQ(0x123456u, serie->getColor()); // the test has crash colour off

    // A shortcut criterion is coloured but not filled.
    timeTest.setCrashColor(true);
    fillCurve(acc, 1000.0f, 0, {1.0f, 2.0f});
    serie->computeResults(file, true, true);
    EXPECT_TRUE(serie->isAThreshold());
    EXPECT_FALSE(serie->iData().hasNominal);
    EXPECT_EQ(0xabcdefu, serie->getColor());
    EXPECT_FALSE(serie->getUseDefaultColor());
    serie->crashColorChanged(file, false); // the criterion's crash colour is off
    EXPECT_EQ(0x123456u, serie->getColor());
    EXPECT_TRUE(serie->getUseDefaultColor());

    cTestGraphSerie loose(eSerieYT);
    loose.setOrdinate(acc);
    loose.setColor(7);
    loose.computeResults(file, false, true);
    EXPECT_EQ(7u, loose.getColor());
    EXPECT_TRUE(loose.isAThreshold());
    EXPECT_FALSE(loose.getGraphEnableStatus());
}

TEST_F(cTestGraphSerieTest, AbscissaSeriesWithEqualRateAndT0PairsSampleBySampleAndWidensTheEnvelope)
{
    cTestGraphSerie* const serie = addSerie(xyGraph, eSerieYX, acc);
    fillCurve(speed, 1000.0f, 1000, {1.0f, 2.0f, 3.0f});
    fillCurve(acc, 1000.0f, 1000, {10.0f, 20.0f, 30.0f});
    serie->computeResults(file, false, false);
    EXPECT_EQ((std::vector<float>{1.0f, 2.0f, 3.0f}), column(serie, kNomT));
    EXPECT_EQ((std::vector<float>{2.0f, 4.0f, 6.0f}), column(serie, kNomX));
    EXPECT_EQ((std::vector<float>{1.0f, 2.0f, 3.0f}), column(serie, kNomY));

    // A second iteration widens minimum and maximum in x and y, point by point.
    fillCurve(speed, 1000.0f, 1000, {0.5f, 2.5f, 3.0f});
    fillCurve(acc, 1000.0f, 1000, {20.0f, 10.0f, 30.0f});
    serie->computeResults(file, false, false);
    ASSERT_EQ(3u, serie->getMinSerieSize());
    ASSERT_EQ(3u, serie->getMaxSerieSize());
    EXPECT_EQ((std::vector<float>{1.0f, 4.0f, 6.0f}), column(serie, kMinX, 3));
    EXPECT_EQ((std::vector<float>{2.0f, 5.0f, 6.0f}), column(serie, kMaxX, 3));
    EXPECT_EQ((std::vector<float>{1.0f, 1.0f, 3.0f}), column(serie, kMinY, 3));
    EXPECT_EQ((std::vector<float>{2.0f, 2.0f, 3.0f}), column(serie, kMaxY, 3));
    EXPECT_EQ(2.0f, serie->getMinTValue(1));
    EXPECT_EQ(3.0f, serie->getMaxTValue(2));

    // The range at a time is the squares' business (their suite reads it); another file has none.
    float xMin = 0, xMax = 0, yMin = 0, yMax = 0;
    EXPECT_FALSE(
        serie->interpolateYXRangeOnTimeEvent(serie->GetCrashFileAddress() + 1, 1.5f, xMin, xMax, yMin, yMax));

    // Raw values with LSB; the abscissa's own series (a curve against itself) gets no points.
    xyTest.setLSB(true);
    cTestGraphSerie* const raw = addSerie(xyGraph, eSerieYX, acc);
    raw->computeResults(file, false, false);
    EXPECT_EQ((std::vector<float>{0.5f, 2.5f, 3.0f}), column(raw, kNomX));
    EXPECT_EQ((std::vector<float>{20.0f, 10.0f, 30.0f}), column(raw, kNomY));
    cTestGraphSerie* const itself = addSerie(xyGraph, eSerieYX, speed);
    itself->computeResults(file, false, false);
    EXPECT_FALSE(itself->iData().hasNominal);
}

TEST_F(cTestGraphSerieTest, AbscissaSeriesOfDifferentRatesInterpolatesBothWays)
{
    cTestGraphSerie* const serie = addSerie(xyGraph, eSerieYX, acc);
    // Abscissa a at 0, 1, 2, 3, 4 ms (1 kHz); ordinate v at 0.5, 2.5, 4.5 ms (500 Hz from 0.5 ms).
    fillCurve(speed, 1000.0f, 0, {10.0f, 20.0f, 30.0f, 40.0f, 50.0f});
    fillCurve(acc, 500.0f, 500, {100.0f, 200.0f, 300.0f});
    serie->computeResults(file, false, false);
    // Where v is later, v is interpolated at a's time: v[j-1] + (v[j] - v[j-1]) * (tx - py) / (ty - py),
    // starting from the dummy v[0] = 0 at -1.5 ms. Where a is later, a is interpolated with the numerator
    // ty - tx: a[i-1] + (a[i] - a[i-1]) * (ty - tx) / (tx - px), which gives 5 and 25 where a straight
    // line gives 15 and 35. x is scaled by 2 and y by 0.1.
    EXPECT_EQ((std::vector<float>{0.0f, 0.5f, 1.0f, 2.0f, 2.5f, 3.0f, 4.0f}), column(serie, kNomT));
    EXPECT_EQ((std::vector<float>{20.0f, 10.0f, 40.0f, 60.0f, 50.0f, 80.0f, 100.0f}), column(serie, kNomX));
    std::vector<float> const ys = column(serie, kNomY);
    std::vector<double> const expectedYs{75, 100, 125, 175, 200, 225, 275};
    ASSERT_EQ(expectedYs.size(), ys.size());
    for (std::size_t k = 0; k < ys.size(); ++k)
        EXPECT_FLOAT_EQ(float(expectedYs[k] * 0.1), ys[k]) << "point " << k;

    // An ordinate that starts later skips the abscissa samples before its own start (its dummy's time,
    // 2 ms here): the walk begins at a's sample of 2 ms, interpolated from v's dummy.
    serie->reset(true);
    fillCurve(acc, 1000.0f, 3000, {100.0f, 200.0f});
    serie->computeResults(file, false, false);
    EXPECT_EQ((std::vector<float>{2.0f, 3.0f, 4.0f}), column(serie, kNomT));
    EXPECT_EQ((std::vector<float>{60.0f, 80.0f, 100.0f}), column(serie, kNomX));
    EXPECT_EQ((std::vector<float>{0.0f, 10.0f, 20.0f}), column(serie, kNomY));
}

TEST_F(cTestGraphSerieTest, MaintainedDataStartsANewEnvelopeAndOtherwiseResetClears)
{
    cTestGraphSerie* const serie = addSerie(timeGraph, eSerieYT, acc);
    for (float level : {2.0f, 1.0f, 3.0f})
    {
        fillCurve(acc, 1000.0f, 0, {10.0f * level, 20.0f});
        serie->computeResults(file, false, false);
    }
    EXPECT_EQ((std::vector<float>{2.0f, 2.0f}), column(serie, kNomY));
    EXPECT_EQ(1.0f, serie->getMinValue(0));
    EXPECT_EQ(3.0f, serie->getMaxValue(0));
    EXPECT_EQ(2.0f, serie->getMaxValue(1));
    EXPECT_EQ(3u, serie->iData().curveCount);

    // Kept by the test: the next run's first curve is the nominal of a second envelope.
    timeTest.toggleMaintainData(item);
    serie->reset(true);
    fillCurve(acc, 1000.0f, 0, {50.0f, 60.0f});
    serie->computeResults(file, false, false);
    EXPECT_EQ(2u, serie->eData().nominalIndices.size());
    EXPECT_EQ((std::vector<float>{5.0f, 6.0f}), column(serie, kNomY));
    EXPECT_EQ(0u, serie->getMinSerieSize());

    timeTest.toggleMaintainData(item);
    serie->reset(true);
    EXPECT_TRUE(serie->eData().curves.empty());
    EXPECT_EQ(0u, serie->getNomSerieSize());
}

TEST_F(cTestGraphSerieTest, SpecificPointsAreDrawnOnlyWhileTheSerieHasNoData)
{
    cTestGraphSerie* const threshold = addSerie(timeGraph, eSerieYT, acc);
    cStorage<float> const xs = storage({0.0f, 10.0f});
    cStorage<float> const ys = storage({40.0f, 90.0f});
    threshold->addSpecificPoints(xs, ys);
    EXPECT_EQ((std::vector<float>{0.0f, 10.0f}), column(threshold, kNomT));
    EXPECT_EQ((std::vector<float>{4.0f, 9.0f}), column(threshold, kNomY));
    EXPECT_TRUE(threshold->isAThreshold());
    threshold->addSpecificPoints(storage({1.0f}), storage({1.0f}));
    EXPECT_EQ((std::vector<float>{4.0f, 9.0f}), column(threshold, kNomY));

    // Against an abscissa the series' own factors are the abscissa's (2) and the ordinate's (0.1).
    cTestGraphSerie* const against = addSerie(xyGraph, eSerieYX, acc);
    against->addSpecificPoints(xs, ys);
    EXPECT_EQ((std::vector<float>{0.0f, 20.0f}), column(against, kNomX));
    EXPECT_EQ((std::vector<float>{4.0f, 9.0f}), column(against, kNomY));

    // Given factors, and none applied under LSB; none at all without a graph.
    cTestGraphSerie* const factored = addSerie(timeGraph, eSerieYT, acc);
    factored->addSpecificPoints(xs, ys, mpf_class(3), mpf_class(0.5));
    EXPECT_EQ((std::vector<float>{0.0f, 30.0f}), column(factored, kNomX));
    EXPECT_EQ((std::vector<float>{20.0f, 45.0f}), column(factored, kNomY));
    timeTest.setLSB(true);
    cTestGraphSerie* const raw = addSerie(timeGraph, eSerieYT, acc);
    raw->addSpecificPoints(xs, ys, mpf_class(3), mpf_class(0.5));
    EXPECT_EQ((std::vector<float>{40.0f, 90.0f}), column(raw, kNomY));
    cTestGraphSerie loose(eSerieYT);
    loose.addSpecificPoints(xs, ys);
    EXPECT_FALSE(loose.iData().hasData);
}

TEST_F(cTestGraphSerieTest, HiddenSerieWithMaintainedDataIsDrawnAndFileGettersFollowTheOrdinate)
{
    cTestGraphSerie* const serie = addSerie(timeGraph, eSerieYT, acc);
    serie->reset(false);
    EXPECT_FALSE(serie->isToBeDrawn());
    timeTest.toggleMaintainData(item);
    EXPECT_TRUE(serie->isToBeDrawn());
    EXPECT_FALSE(serie->GetDrawingEnabled());

    cTestGraphSerie loose(eSerieYT);
    expectFileGetters(*serie, loose, file, "front_56kph.csh");
    EXPECT_EQ(0x123456u, serie->GetDefaultColor());
    EXPECT_FALSE(loose.getLsbEnabled());

    EXPECT_FALSE(serie->getHotPointEnabled());
    timeTest.setHotPointsEnabled(true);
    EXPECT_TRUE(serie->getHotPointEnabled());
    EXPECT_TRUE(serie->getGraphEnableStatus());
    timeGraph.show(false);
    EXPECT_FALSE(serie->getGraphEnableStatus());
}

// Both graphs show x = px / 8 and y = 40 - py / 2; a line width of 2 makes the tolerance 6 pixels,
// 0.75 in x and 3 in y. Every boundary below is exact in binary.
TEST_F(cTestGraphSerieTest, MouseHitsTheCurveOrItsEnvelopeWithinThreeLineWidths)
{
    setMouseScale(8.0, 2.0, 40.0);
    // Over time, "Speed" (factor 2) at 0 to 3 ms: 10, 26, 26, 10.
    cTestGraphSerie* const curve = addSerie(timeGraph, eSerieYT, speed);
    fillCurve(speed, 1000.0f, 0, {5.0f, 13.0f, 13.0f, 5.0f});
    curve->computeResults(file, false, false);
    ASSERT_NE(0u, curve->GetCrashFileAddress());
    struct sCase
    {
        long px, py;
        bool hit;
    };
    for (sCase const c : std::vector<sCase>{{12, 22, true},   // 3 above the top at 1.5 ms
                                            {12, 21, false},  // 3.5 above
                                            {12, 34, true},   // 3 below
                                            {12, 35, false},  // 3.5 below
                                            {2, 28, true},    // at 26, 0.75 ms left of the rise
                                            {1, 28, false},   // 0.875 ms left
                                            {-6, 60, true},   // 0.75 ms before the first sample
                                            {-7, 60, false},  // 0.875 ms before
                                            {8, 18, true},    // on the rise's line, 5 above its top
                                            {30, 60, true},   // 0.75 ms after the last sample
                                            {31, 60, false}}) // 0.875 ms after
        EXPECT_EQ(c.hit, hits(curve, c.px, c.py)) << c.px << "," << c.py;
    timeGraph.setLineWidth(1);
    EXPECT_FALSE(hits(curve, 12, 22));
    EXPECT_TRUE(hits(curve, 12, 25)); // 1.5 above
    timeGraph.setLineWidth(2);

    // Minimum 0, 6, 6, 0 and maximum 20, 36, 36, 20 are hit where the nominal is not; between the
    // curves is no hit.
    for (std::vector<float> const& samples :
         {std::vector<float>{0, 3, 3, 0}, std::vector<float>{10, 18, 18, 10}})
    {
        fillCurve(speed, 1000.0f, 0, samples);
        curve->computeResults(file, false, false);
    }
    EXPECT_TRUE(hits(curve, 12, 68));
    EXPECT_TRUE(hits(curve, 12, 8));
    EXPECT_FALSE(hits(curve, 12, 48));

    // A threshold and a curve against an abscissa may turn back in x: every segment is tried. The
    // threshold's rise at 2 ms (4 to 9) is hit at 8 where the flat segment before it (at 4) is too
    // far, but not 3.5 above its top, though on its line.
    cTestGraphSerie* const threshold = addSerie(timeGraph, eSerieYT, acc);
    threshold->addSpecificPoints(storage({0.0f, 2.0f, 2.0f}), storage({40.0f, 40.0f, 90.0f}));
    EXPECT_TRUE(hits(threshold, 16, 64));
    EXPECT_FALSE(hits(threshold, 16, 55));
    // (6, 10), (2, 20), (4, 30): (4, 15) lies on the first segment, outside the range of the first
    // and last x.
    cTestGraphSerie* const against = addSerie(xyGraph, eSerieYX, acc);
    fillCurve(speed, 1000.0f, 0, {3.0f, 1.0f, 2.0f});
    fillCurve(acc, 1000.0f, 0, {100.0f, 200.0f, 300.0f});
    against->computeResults(file, false, false);
    EXPECT_TRUE(hits(against, 32, 50));

    // Hidden unless the test keeps the file's results; no graph, no hit and no file.
    curve->setToBeDrawn(false);
    EXPECT_FALSE(hits(curve, 12, 34));
    timeTest.toggleMaintainData(item);
    EXPECT_TRUE(hits(curve, 12, 34));
    cTestGraphSerie loose(eSerieYT);
    EXPECT_FALSE(hits(&loose, 0, 0));
}

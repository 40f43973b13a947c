#include "SimCore/cTestGraphSerie.h"

#include "PlotKit/cScatterGraph.h"
#include "SimCore/cCriterion.h"
#include "SimCore/cTestMgr.h"
#include "SimCore/cTimeEvent.h"
#include "tests/support/cResultWorld.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <vector>

namespace
{
// One crash file with the criteria "Acc" (factor 0.1) and "Speed" (factor 2), both storing their curves,
// the event "Entry" (10000 ticks per second), a graph over time and a graph against "Speed", each
// with its own test. Series are made by hand on the graphs, which own them.
struct sSerieStage
{
    sSerieStage()
    {
        algorithm.loadCriteria("Criterion {\nName = Acc\nConversion Factor = 0.1\n}\n"
                               "Criterion {\nName = Speed\nConversion Factor = 2\n}\n");
        algorithm.loadTimeEvents("Time Event {\nName = Entry\n}\n");
        algorithm.setTimeEventsPrecisionFrequency(10000);
        algorithm.criterion("Acc")->forceUse(true);
        algorithm.criterion("Speed")->forceUse(true);
        myActiveAlgorithm = &algorithm;
        file = world.addCrash("/crashes/front_56kph.csh");
        myActiveFile = file;
        timeGraph.getParameter().test = &timeTest;
        timeGraph.getParameter().referenceTimeEvent = algorithm.timeEvent("Entry");
        xyGraph.getParameter().test = &xyTest;
        xyGraph.getParameter().abscissaCriterion = algorithm.criterion("Speed");
        algorithm.resetResults();
        algorithm.changeFileResults();
        algorithm.prepareForTestResults();
        acc = algorithm.criterion("Acc")->getActiveCriterionValuesForOneFile();
        speed = algorithm.criterion("Speed")->getActiveCriterionValuesForOneFile();
    }
    cTestGraphSerie* serie(cScatterGraph& graph, ESerieType type, cCriterionValuesForOneFile* ordinate)
    {
        auto* const made = new cTestGraphSerie(type);
        made->setGraph(&graph);
        made->setOrdinate(ordinate);
        made->setDefaultColor(0x123456);
        graph.AddObject(made);
        return made;
    }
    void entryAt(long ticks)
    {
        algorithm.timeEvent("Entry")->getActiveTimeEventValuesForOneFile()->setForced(ticks);
    }

    cTestMgr timeTest{"Time"};
    cTestMgr xyTest{"Against speed"};
    cScatterGraph timeGraph;
    cScatterGraph xyGraph;
    sResultWorld world;
    cOpenAlgorithm algorithm;
    cKynFile* file = nullptr;
    cCriterionValuesForOneFile* acc = nullptr;
    cCriterionValuesForOneFile* speed = nullptr;
};

// A new iteration's curve: the dummy, then the samples.
void fill(cCriterionValuesForOneFile* values, float rate, long t0, std::initializer_list<float> samples)
{
    values->prepareForTest();
    values->setSamplingRate(rate);
    values->setT0(t0);
    values->addValueForced(0.0f);
    for (float sample : samples)
        values->addValueForced(sample);
}

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

TEST(cTestGraphSerie, CurveOverTimeFollowsRateT0AndFactorAndLsbShowsRawValues)
{
    sSerieStage stage;
    cTestGraphSerie* const converted = stage.serie(stage.timeGraph, eSerieYT, stage.acc);
    // 500 Hz from T0 = 3 ms; 9 and 13 times 0.1 give 0.9f and 1.3f only when the product is taken in double.
    fill(stage.acc, 500.0f, 3000, {9.0f, 13.0f, -20.0f});
    EXPECT_TRUE(converted->isAThreshold());
    converted->computeResults(stage.file, false, false);
    EXPECT_FALSE(converted->isAThreshold());
    EXPECT_EQ((std::vector<float>{3.0f, 5.0f, 7.0f}), column(converted, kNomT));
    EXPECT_EQ((std::vector<float>{3.0f, 5.0f, 7.0f}), column(converted, kNomX));
    EXPECT_EQ((std::vector<float>{0.9f, 1.3f, -2.0f}), column(converted, kNomY));
    EXPECT_EQ(0u, converted->getMinSerieSize());
    EXPECT_EQ(0u, converted->getMaxSerieSize());

    stage.timeTest.setLSB(true);
    cTestGraphSerie* const raw = stage.serie(stage.timeGraph, eSerieYT, stage.acc);
    raw->computeResults(stage.file, false, false);
    EXPECT_EQ((std::vector<float>{9.0f, 13.0f, -20.0f}), column(raw, kNomY));
    EXPECT_TRUE(raw->getLsbEnabled());
}

TEST(cTestGraphSerie, ShortShortcutOrUngraphedCurveIsNotDrawnButColouredOnRequest)
{
    sSerieStage stage;
    cTestGraphSerie* const serie = stage.serie(stage.timeGraph, eSerieYT, stage.acc);
    stage.file->setColor(0xabcdef);
    fill(stage.acc, 1000.0f, 0, {});
    serie->computeResults(stage.file, false, true);
    EXPECT_TRUE(serie->isAThreshold());
    EXPECT_FALSE(serie->iData().hasNominal);
    EXPECT_TRUE(serie->isComputedOnce());
    EXPECT_EQ(0x123456u, serie->getColor()); // the test has crash colour off

    // A shortcut criterion is coloured but not filled.
    stage.timeTest.setCrashColor(true);
    fill(stage.acc, 1000.0f, 0, {1.0f, 2.0f});
    serie->computeResults(stage.file, true, true);
    EXPECT_TRUE(serie->isAThreshold());
    EXPECT_FALSE(serie->iData().hasNominal);
    EXPECT_EQ(0xabcdefu, serie->getColor());
    EXPECT_FALSE(serie->getUseDefaultColor());
    serie->crashColorChanged(stage.file, false);
    EXPECT_EQ(0x123456u, serie->getColor());
    EXPECT_TRUE(serie->getUseDefaultColor());

    cTestGraphSerie loose(eSerieYT);
    loose.setOrdinate(stage.acc);
    loose.setColor(7);
    loose.computeResults(stage.file, false, true);
    EXPECT_EQ(7u, loose.getColor());
    EXPECT_TRUE(loose.isAThreshold());
    EXPECT_FALSE(loose.getGraphEnableStatus());
}

TEST(cTestGraphSerie, EntryAdjustStartsAtTheFirstSampleAfterTheEntryAndAnUnfiredEntryDrawsNothing)
{
    sSerieStage stage;
    stage.timeTest.setEntryAdjusted(true);
    cTestGraphSerie* const serie = stage.serie(stage.timeGraph, eSerieYT, stage.acc);
    // Samples at 0, 1, 2, 3 and 4 ms; the entry at 25 ticks of 10 kHz is 2.5 ms.
    fill(stage.acc, 1000.0f, 0, {10.0f, 20.0f, 30.0f, 40.0f, 50.0f});
    stage.entryAt(25);
    serie->computeResults(stage.file, false, false);
    EXPECT_EQ(stage.algorithm.timeEvent("Entry"), serie->getReferenceTimeEvent());
    EXPECT_EQ((std::vector<float>{0.5f, 1.5f}), column(serie, kNomT));
    EXPECT_EQ((std::vector<float>{4.0f, 5.0f}), column(serie, kNomY));

    // An entry at tick 0 is no reference time: every sample is drawn, negative times included.
    serie->reset(true);
    EXPECT_EQ(nullptr, serie->getReferenceTimeEvent());
    EXPECT_FALSE(serie->iData().hasNominal);
    fill(stage.acc, 1000.0f, -2000, {10.0f, 20.0f, 30.0f});
    stage.entryAt(0);
    serie->computeResults(stage.file, false, false);
    EXPECT_EQ((std::vector<float>{-2.0f, -1.0f, 0.0f}), column(serie, kNomT));

    // No fire of the entry: no curve, the colour changes all the same.
    serie->reset(true);
    stage.timeTest.setCrashColor(true);
    stage.file->setColor(0xabcdef);
    fill(stage.acc, 1000.0f, 0, {10.0f, 20.0f, 30.0f});
    stage.entryAt(-1);
    serie->computeResults(stage.file, false, true);
    EXPECT_FALSE(serie->iData().hasNominal);
    EXPECT_EQ(0xabcdefu, serie->getColor());
}

TEST(cTestGraphSerie, ConstantTwoPointCurveSpansFromTheEntryToTheEndOfTheFile)
{
    sSerieStage stage;
    stage.timeTest.setEntryAdjusted(true);
    cTestGraphSerie* const serie = stage.serie(stage.timeGraph, eSerieYT, stage.acc);
    // A constant 4 over 11 steps of 1 kHz from T0 = 2 ms: rate 100 Hz. Its end is 1000 / 100 - 2000 / 1000
    // = 8 ms (T0 is subtracted: stored results were drawn so), and the entry is at 2.5 ms.
    auto constant = [&]
    {
        fill(stage.acc, 100.0f, 2000, {4.0f, 4.0f});
        stage.acc->setIsAConstant2PointsCriterion(true);
    };
    constant();
    stage.entryAt(25);
    serie->computeResults(stage.file, false, false);
    EXPECT_EQ((std::vector<float>{0.0f, 5.5f}), column(serie, kNomT));
    EXPECT_EQ((std::vector<float>{0.4f, 0.4f}), column(serie, kNomY));

    // An entry at the end leaves no span: nothing is drawn.
    serie->reset(true);
    constant();
    stage.entryAt(80);
    serie->computeResults(stage.file, false, false);
    EXPECT_FALSE(serie->iData().hasNominal);
    EXPECT_FALSE(serie->isAThreshold());

    // Without entry adjust the constant is drawn as its samples.
    stage.timeTest.setEntryAdjusted(false);
    serie->reset(true);
    constant();
    serie->computeResults(stage.file, false, false);
    EXPECT_EQ((std::vector<float>{2.0f, 12.0f}), column(serie, kNomT));
}

TEST(cTestGraphSerie, AbscissaSeriesWithEqualRateAndT0PairsSampleBySampleAndWidensTheEnvelope)
{
    sSerieStage stage;
    cTestGraphSerie* const serie = stage.serie(stage.xyGraph, eSerieYX, stage.acc);
    fill(stage.speed, 1000.0f, 1000, {1.0f, 2.0f, 3.0f});
    fill(stage.acc, 1000.0f, 1000, {10.0f, 20.0f, 30.0f});
    serie->computeResults(stage.file, false, false);
    EXPECT_EQ((std::vector<float>{1.0f, 2.0f, 3.0f}), column(serie, kNomT));
    EXPECT_EQ((std::vector<float>{2.0f, 4.0f, 6.0f}), column(serie, kNomX));
    EXPECT_EQ((std::vector<float>{1.0f, 2.0f, 3.0f}), column(serie, kNomY));

    // A second iteration widens minimum and maximum in x and y, point by point.
    fill(stage.speed, 1000.0f, 1000, {0.5f, 2.5f, 3.0f});
    fill(stage.acc, 1000.0f, 1000, {20.0f, 10.0f, 30.0f});
    serie->computeResults(stage.file, false, false);
    ASSERT_EQ(3u, serie->getMinSerieSize());
    ASSERT_EQ(3u, serie->getMaxSerieSize());
    EXPECT_EQ((std::vector<float>{1.0f, 4.0f, 6.0f}), column(serie, kMinX, 3));
    EXPECT_EQ((std::vector<float>{2.0f, 5.0f, 6.0f}), column(serie, kMaxX, 3));
    EXPECT_EQ((std::vector<float>{1.0f, 1.0f, 3.0f}), column(serie, kMinY, 3));
    EXPECT_EQ((std::vector<float>{2.0f, 2.0f, 3.0f}), column(serie, kMaxY, 3));
    EXPECT_EQ(2.0f, serie->getMinTValue(1));
    EXPECT_EQ(3.0f, serie->getMaxTValue(2));

    // The range at 1.5 ms: nominal (3, 1.5), minimum (2.5, 1), maximum (3.5, 2).
    float xMin = 0, xMax = 0, yMin = 0, yMax = 0;
    EXPECT_TRUE(
        serie->interpolateYXRangeOnTimeEvent(serie->GetCrashFileAddress(), 1.5f, xMin, xMax, yMin, yMax));
    EXPECT_EQ((std::vector<float>{2.5f, 3.5f, 1.0f, 2.0f}), (std::vector<float>{xMin, xMax, yMin, yMax}));
    EXPECT_FALSE(
        serie->interpolateYXRangeOnTimeEvent(serie->GetCrashFileAddress() + 1, 1.5f, xMin, xMax, yMin, yMax));

    // Raw values with LSB; the abscissa's own series (a curve against itself) gets no points.
    stage.xyTest.setLSB(true);
    cTestGraphSerie* const raw = stage.serie(stage.xyGraph, eSerieYX, stage.acc);
    raw->computeResults(stage.file, false, false);
    EXPECT_EQ((std::vector<float>{0.5f, 2.5f, 3.0f}), column(raw, kNomX));
    EXPECT_EQ((std::vector<float>{20.0f, 10.0f, 30.0f}), column(raw, kNomY));
    cTestGraphSerie* const itself = stage.serie(stage.xyGraph, eSerieYX, stage.speed);
    itself->computeResults(stage.file, false, false);
    EXPECT_FALSE(itself->iData().hasNominal);
}

TEST(cTestGraphSerie, AbscissaSeriesOfDifferentRatesInterpolatesBothWays)
{
    sSerieStage stage;
    cTestGraphSerie* const serie = stage.serie(stage.xyGraph, eSerieYX, stage.acc);
    // Abscissa a at 0, 1, 2, 3, 4 ms (1 kHz); ordinate v at 0.5, 2.5, 4.5 ms (500 Hz from 0.5 ms).
    fill(stage.speed, 1000.0f, 0, {10.0f, 20.0f, 30.0f, 40.0f, 50.0f});
    fill(stage.acc, 500.0f, 500, {100.0f, 200.0f, 300.0f});
    serie->computeResults(stage.file, false, false);
    // Where v is later, v is interpolated at a's time: v[j-1] + (v[j] - v[j-1]) * (tx - py) / (ty - py),
    // starting from the dummy v[0] = 0 at -1.5 ms. Where a is later, a is interpolated with the numerator
    // ty - tx: a[i-1] + (a[i] - a[i-1]) * (ty - tx) / (tx - px). x is scaled by 2 and y by 0.1.
    float const y0 = 0.0f + (100.0f - 0.0f) * (0.0f - -1.5f) / (0.5f - -1.5f);   // 75
    float const x1 = 10.0f + (20.0f - 10.0f) * (0.5f - 1.0f) / (1.0f - 0.0f);    // 5, not 15
    float const y2 = 100.0f + (200.0f - 100.0f) * (1.0f - 0.5f) / (2.5f - 0.5f); // 125
    float const y3 = 100.0f + (200.0f - 100.0f) * (2.0f - 0.5f) / (2.5f - 0.5f); // 175
    float const x4 = 30.0f + (40.0f - 30.0f) * (2.5f - 3.0f) / (3.0f - 2.0f);    // 25, not 35
    float const y5 = 200.0f + (300.0f - 200.0f) * (3.0f - 2.5f) / (4.5f - 2.5f); // 225
    float const y6 = 200.0f + (300.0f - 200.0f) * (4.0f - 2.5f) / (4.5f - 2.5f); // 275
    EXPECT_EQ((std::vector<float>{0.0f, 0.5f, 1.0f, 2.0f, 2.5f, 3.0f, 4.0f}), column(serie, kNomT));
    EXPECT_EQ((std::vector<float>{20.0f, 2 * x1, 40.0f, 60.0f, 2 * x4, 80.0f, 100.0f}), column(serie, kNomX));
    std::vector<float> const ys = column(serie, kNomY);
    std::vector<float> const expectedYs{y0, 100.0f, y2, y3, 200.0f, y5, y6};
    ASSERT_EQ(expectedYs.size(), ys.size());
    for (std::size_t k = 0; k < ys.size(); ++k)
        EXPECT_FLOAT_EQ(float(double(expectedYs[k]) * 0.1), ys[k]) << "point " << k;

    // An ordinate that starts later skips the abscissa samples before its own start (its dummy's time,
    // 2 ms here): the walk begins at a's sample of 2 ms, interpolated from v's dummy.
    serie->reset(true);
    fill(stage.acc, 1000.0f, 3000, {100.0f, 200.0f});
    serie->computeResults(stage.file, false, false);
    EXPECT_EQ((std::vector<float>{2.0f, 3.0f, 4.0f}), column(serie, kNomT));
    EXPECT_EQ((std::vector<float>{60.0f, 80.0f, 100.0f}), column(serie, kNomX));
    EXPECT_EQ((std::vector<float>{0.0f, 10.0f, 20.0f}), column(serie, kNomY));
}

TEST(cTestGraphSerie, MaintainedDataStartsANewEnvelopeAndOtherwiseResetClears)
{
    sSerieStage stage;
    cTestGraphSerie* const serie = stage.serie(stage.timeGraph, eSerieYT, stage.acc);
    for (float level : {2.0f, 1.0f, 3.0f})
    {
        fill(stage.acc, 1000.0f, 0, {10.0f * level, 20.0f});
        serie->computeResults(stage.file, false, false);
    }
    EXPECT_EQ((std::vector<float>{2.0f, 2.0f}), column(serie, kNomY));
    EXPECT_EQ(1.0f, serie->getMinValue(0));
    EXPECT_EQ(3.0f, serie->getMaxValue(0));
    EXPECT_EQ(2.0f, serie->getMaxValue(1));
    EXPECT_EQ(3u, serie->iData().curveCount);

    // Kept by the test: the next run's first curve is the nominal of a second envelope.
    stage.timeTest.toggleMaintainData(stage.world.item);
    serie->reset(true);
    fill(stage.acc, 1000.0f, 0, {50.0f, 60.0f});
    serie->computeResults(stage.file, false, false);
    EXPECT_EQ(2u, serie->eData().nominalIndices.size());
    EXPECT_EQ((std::vector<float>{5.0f, 6.0f}), column(serie, kNomY));
    EXPECT_EQ(0u, serie->getMinSerieSize());

    stage.timeTest.toggleMaintainData(stage.world.item);
    serie->reset(true);
    EXPECT_TRUE(serie->eData().curves.empty());
    EXPECT_EQ(0u, serie->getNomSerieSize());
}

TEST(cTestGraphSerie, SpecificPointsAreDrawnOnlyWhileTheSerieHasNoData)
{
    sSerieStage stage;
    cTestGraphSerie* const threshold = stage.serie(stage.timeGraph, eSerieYT, stage.acc);
    cStorage<float> const xs = storage({0.0f, 10.0f});
    cStorage<float> const ys = storage({40.0f, 90.0f});
    threshold->addSpecificPoints(xs, ys);
    EXPECT_EQ((std::vector<float>{0.0f, 10.0f}), column(threshold, kNomT));
    EXPECT_EQ((std::vector<float>{4.0f, 9.0f}), column(threshold, kNomY));
    EXPECT_TRUE(threshold->isAThreshold());
    threshold->addSpecificPoints(storage({1.0f}), storage({1.0f}));
    EXPECT_EQ((std::vector<float>{4.0f, 9.0f}), column(threshold, kNomY));

    // Against an abscissa the series' own factors are the abscissa's (2) and the ordinate's (0.1).
    cTestGraphSerie* const against = stage.serie(stage.xyGraph, eSerieYX, stage.acc);
    against->addSpecificPoints(xs, ys);
    EXPECT_EQ((std::vector<float>{0.0f, 20.0f}), column(against, kNomX));
    EXPECT_EQ((std::vector<float>{4.0f, 9.0f}), column(against, kNomY));

    // Given factors, and none applied under LSB; none at all without a graph.
    cTestGraphSerie* const factored = stage.serie(stage.timeGraph, eSerieYT, stage.acc);
    factored->addSpecificPoints(xs, ys, mpf_class(3), mpf_class(0.5));
    EXPECT_EQ((std::vector<float>{0.0f, 30.0f}), column(factored, kNomX));
    EXPECT_EQ((std::vector<float>{20.0f, 45.0f}), column(factored, kNomY));
    stage.timeTest.setLSB(true);
    cTestGraphSerie* const raw = stage.serie(stage.timeGraph, eSerieYT, stage.acc);
    raw->addSpecificPoints(xs, ys, mpf_class(3), mpf_class(0.5));
    EXPECT_EQ((std::vector<float>{40.0f, 90.0f}), column(raw, kNomY));
    cTestGraphSerie loose(eSerieYT);
    loose.addSpecificPoints(xs, ys);
    EXPECT_FALSE(loose.iData().hasData);
}

TEST(cTestGraphSerie, HiddenSerieWithMaintainedDataIsDrawnAndFileGettersFollowTheOrdinate)
{
    sSerieStage stage;
    cTestGraphSerie* const serie = stage.serie(stage.timeGraph, eSerieYT, stage.acc);
    serie->reset(false);
    EXPECT_FALSE(serie->isToBeDrawn());
    stage.timeTest.toggleMaintainData(stage.world.item);
    EXPECT_TRUE(serie->isToBeDrawn());
    EXPECT_FALSE(serie->GetDrawingEnabled());

    unsigned long long const address = reinterpret_cast<unsigned long long>(stage.file);
    EXPECT_EQ(address, serie->GetCrashFileAddress());
    EXPECT_EQ("front_56kph.csh", serie->GetCrashFileName());
    EXPECT_EQ(0x4639ff, serie->GetCrashFileColor());
    EXPECT_EQ(0x123456u, serie->GetDefaultColor());
    EXPECT_FALSE(serie->SetIfItIsToBeDrawn(address + 8, true));
    EXPECT_FALSE(serie->GetDrawingEnabled());
    EXPECT_TRUE(serie->SetIfItIsToBeDrawn(address, true));
    EXPECT_TRUE(serie->GetDrawingEnabled());

    EXPECT_FALSE(serie->getHotPointEnabled());
    stage.timeTest.setHotPointsEnabled(true);
    EXPECT_TRUE(serie->getHotPointEnabled());
    EXPECT_TRUE(serie->getGraphEnableStatus());
    stage.timeGraph.show(false);
    EXPECT_FALSE(serie->getGraphEnableStatus());

    cTestGraphSerie loose(eSerieYT);
    EXPECT_EQ(0u, loose.GetCrashFileAddress());
    EXPECT_EQ("", loose.GetCrashFileName());
    EXPECT_EQ(0, loose.GetCrashFileColor());
    EXPECT_FALSE(loose.SetIfItIsToBeDrawn(0, false));
    EXPECT_FALSE(loose.getLsbEnabled());
}

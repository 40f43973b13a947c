#include "PlotKit/cEnvelopeGraphSerie.h"

#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <vector>

namespace
{
cStorage<float> list(std::initializer_list<float> values)
{
    cStorage<float> result;
    for (float v : values)
        result.add(v);
    return result;
}

using Values = std::vector<float>;

// The y (or with x set, the x) of every point of the curve; none for no curve.
Values ys(cXYPointList const* curve, bool x = false)
{
    Values result;
    for (unsigned int i = 0; curve != nullptr && i < curve->size(); ++i)
        result.push_back(x ? curve->getX(i) : curve->getY(i));
    return result;
}
Values xs(cXYPointList const* curve)
{
    return ys(curve, true);
}

// A series of one crash file, as SimCore's series are.
class cFileSerie : public cEnvelopeGraphSerie
{
public:
    using cEnvelopeGraphSerie::cEnvelopeGraphSerie;
    unsigned long long GetCrashFileAddress() const override { return 42; }
};
} // namespace

TEST(cEnvelopeGraphSerie, FirstCurveIsNominalAndLaterCurvesWidenMinimumAndMaximum)
{
    cEnvelopeGraphSerie serie(eSerieYT);
    EXPECT_FALSE(serie.iData().hasData);
    EXPECT_EQ(nullptr, serie.getNominalCurve());

    cStorage<float> const times = list({0, 1, 2});
    serie.AddDataYT(times, list({1, 5, 3}), eComputeEnvelope);
    sEnvelopeState state = serie.iData();
    EXPECT_EQ((std::vector<unsigned>{1, 0, 1}),
              (std::vector<unsigned>{state.hasNominal, state.hasMinMax, state.curveCount}));
    EXPECT_EQ(Values({1, 5, 3}), ys(serie.getNominalCurve()));
    EXPECT_EQ(nullptr, serie.getMinimumCurve());

    serie.AddDataYT(times, list({2, 4, 3}), eComputeEnvelope);
    serie.AddDataYT(times, list({0, 6, 4}), eComputeEnvelope);
    state = serie.iData();
    EXPECT_EQ((std::vector<unsigned>{1, 3}), (std::vector<unsigned>{state.hasMinMax, state.curveCount}));
    EXPECT_EQ(Values({1, 5, 3}), ys(serie.getNominalCurve()));
    EXPECT_EQ(Values({0, 4, 3}), ys(serie.getMinimumCurve()));
    EXPECT_EQ(Values({2, 6, 4}), ys(serie.getMaximumCurve()));
    // Over time x stays the time of the nominal sample on all three curves.
    EXPECT_EQ(Values({0, 1, 2}), xs(serie.getMinimumCurve()));
    EXPECT_EQ(Values({0, 1, 2}), xs(serie.getMaximumCurve()));
    EXPECT_EQ(2.0f, serie.getMaximumCurve()->getT(2));
    // The series' own points are the last curve handed over.
    EXPECT_EQ(Values({0, 6, 4}), ys(&serie));

    // eData: one triple, nominal in the middle.
    sEnvelopeData const& data = serie.eData();
    ASSERT_EQ(3u, data.curves.size());
    ASSERT_EQ(std::vector<unsigned int>({1}), data.nominalIndices);
    EXPECT_EQ(serie.getMinimumCurve(), data.curves[0].get());
    EXPECT_EQ(serie.getMaximumCurve(), data.curves[2].get());
}

TEST(cEnvelopeGraphSerie, CurveOverTimeOnOtherTimesIsInterpolatedAtTheNominalTimes)
{
    cEnvelopeGraphSerie serie(eSerieYT);
    serie.AddDataYT(list({0, 1, 2, 3}), list({0, 0, 0, 0}), eComputeEnvelope);
    // Covers 0.5 .. 2.5 ms only: 0 and 3 are outside it and stay; 1 and 2 are interpolated.
    serie.AddDataYT(list({0.5f, 1.5f, 2.5f}), list({2, 4, -2}), eComputeEnvelope);
    EXPECT_EQ(Values({0, 0, 0, 0}), ys(serie.getMinimumCurve()));
    EXPECT_EQ(Values({0, 3, 1, 0}), ys(serie.getMaximumCurve()));

    // A curve that goes on past the nominal's end: its tail is not used, the count stays.
    serie.AddDataYT(list({0, 1, 2, 3, 4, 5}), list({-1, -1, -1, -1, -9, 9}), eComputeEnvelope);
    EXPECT_EQ(Values({-1, -1, -1, -1}), ys(serie.getMinimumCurve()));
    EXPECT_EQ(Values({0, 3, 1, 0}), ys(serie.getMaximumCurve()));
    EXPECT_EQ(4u, serie.getNominalCurve()->size());

    // A shorter curve that starts late (entry adjust): it widens only where it exists.
    serie.AddDataYT(list({2, 3}), list({-5, 7}), eComputeEnvelope);
    EXPECT_EQ(Values({-1, -1, -5, -1}), ys(serie.getMinimumCurve()));
    EXPECT_EQ(Values({0, 3, 1, 7}), ys(serie.getMaximumCurve()));
    EXPECT_EQ(4u, serie.iData().curveCount);
}

TEST(cEnvelopeGraphSerie, CurveAgainstAnAbscissaWidensXAndYByTime)
{
    cEnvelopeGraphSerie serie(eSerieYX);
    serie.AddDataYX(list({0, 1, 2}), list({10, 20, 30}), list({0, 1, 2}), eComputeEnvelope);
    // Points at 0 and 2 ms: at 1 ms the curve is halfway, (1.75, 22.5).
    serie.AddDataYX(list({0.5f, 3}), list({5, 40}), list({0, 2}), eComputeEnvelope);
    EXPECT_EQ(Values({0, 1, 2}), xs(serie.getMinimumCurve()));
    EXPECT_EQ(Values({5, 20, 30}), ys(serie.getMinimumCurve()));
    EXPECT_EQ(Values({0.5f, 1.75f, 3}), xs(serie.getMaximumCurve()));
    EXPECT_EQ(Values({10, 22.5f, 40}), ys(serie.getMaximumCurve()));
    EXPECT_EQ(Values({0, 1, 2}), xs(serie.getNominalCurve()));
    EXPECT_EQ(1.0f, serie.getMaximumCurve()->getT(1));

    // x may go down while time goes up: pairing is by time, never by x.
    serie.AddDataYX(list({9, -9, 0}), list({0, 0, 0}), list({0, 1, 2}), eComputeEnvelope);
    EXPECT_EQ(Values({0, -9, 0}), xs(serie.getMinimumCurve()));
    EXPECT_EQ(Values({9, 1.75f, 3}), xs(serie.getMaximumCurve()));
    EXPECT_EQ(Values({0, 0, 0}), ys(serie.getMinimumCurve()));
}

TEST(cEnvelopeGraphSerie, LastCurveModeReplacesTheNominalAndDropsMinimumAndMaximum)
{
    cEnvelopeGraphSerie serie(eSerieYT);
    cStorage<float> const times = list({0, 1});
    serie.AddDataYT(times, list({1, 1}), eComputeEnvelope);
    serie.AddDataYT(times, list({3, 0}), eComputeEnvelope);
    ASSERT_TRUE(serie.iData().hasMinMax);

    serie.AddDataYT(times, list({7, 8}), eComputeLastCurve);
    EXPECT_EQ((std::vector<unsigned>{0, 1}),
              (std::vector<unsigned>{serie.iData().hasMinMax, serie.iData().curveCount}));
    EXPECT_EQ(Values({7, 8}), ys(serie.getNominalCurve()));
    // Back to envelope mode: the last curve is now the nominal to widen from.
    serie.AddDataYT(times, list({6, 9}), eComputeEnvelope);
    EXPECT_EQ(Values({6, 8}), ys(serie.getMinimumCurve()));
    EXPECT_EQ(Values({7, 9}), ys(serie.getMaximumCurve()));
}

TEST(cEnvelopeGraphSerie, NewEnvelopeKeepsEarlierCurvesAndStartsFromTheNextCurveAgainstAnAbscissaOnly)
{
    cEnvelopeGraphSerie serie(eSerieYX);
    cStorage<float> const t = list({0, 1});
    // Before any curve there is nothing to keep: no empty triple is opened.
    serie.beginNewEnvelope();
    serie.addNewTimeSerie();
    serie.AddDataYX(t, list({1, 2}), t, eComputeEnvelope);
    serie.AddDataYX(t, list({0, 5}), t, eComputeEnvelope);
    EXPECT_EQ(std::vector<unsigned int>({1}), serie.eData().nominalIndices);

    // SimCore calls both at the start of a kept run: one new envelope only.
    serie.beginNewEnvelope();
    serie.addNewTimeSerie();
    EXPECT_EQ(1u, serie.iData().envelopeCount);
    serie.AddDataYX(t, list({4, 4}), t, eComputeEnvelope);
    sEnvelopeData const& data = serie.eData();
    ASSERT_EQ(std::vector<unsigned int>({1, 4}), data.nominalIndices);
    ASSERT_EQ(6u, data.curves.size());
    EXPECT_EQ(Values({1, 2}), ys(data.curves[1].get()));
    EXPECT_EQ(Values({0, 2}), ys(data.curves[0].get()));
    EXPECT_EQ(Values({1, 5}), ys(data.curves[2].get()));
    EXPECT_EQ(Values({4, 4}), ys(data.curves[4].get()));
    EXPECT_TRUE(data.curves[3]->empty());
    sEnvelopeState const state = serie.iData();
    EXPECT_EQ((std::vector<unsigned>{1, 0, 2}),
              (std::vector<unsigned>{state.hasNominal, state.hasMinMax, state.envelopeCount}));

    serie.clear();
    EXPECT_TRUE(serie.eData().curves.empty() && !serie.iData().hasData && serie.empty());
    // After clear the first curve is a nominal again, in the first triple.
    serie.AddDataYX(t, list({3, 3}), t, eComputeEnvelope);
    EXPECT_EQ(std::vector<unsigned int>({1}), serie.eData().nominalIndices);

    // Over time a new time series opens no envelope: the curves keep folding into the one there is.
    cEnvelopeGraphSerie overTime(eSerieYT);
    overTime.AddDataYT(t, list({1, 1}), eComputeEnvelope);
    overTime.addNewTimeSerie();
    overTime.AddDataYT(t, list({2, 0}), eComputeEnvelope);
    EXPECT_EQ(1u, overTime.iData().envelopeCount);
    EXPECT_EQ(Values({2, 1}), ys(overTime.getMaximumCurve()));
}

TEST(cEnvelopeGraphSerie, EmptyCurvesAreIgnoredAndUnequalListsAreRefused)
{
    cEnvelopeGraphSerie serie(eSerieYX);
    cStorage<float> const empty;
    serie.AddDataYX(empty, empty, empty, eComputeEnvelope);
    EXPECT_FALSE(serie.iData().hasData);
    EXPECT_TRUE(serie.eData().curves.empty());

    EXPECT_EQ("cIncompatibleParametersException|cEnvelopeGraphSerie::AddDataYT|Incompatible parameters: 3 "
              "times and 2 values",
              failureOf(
                  [&] {
                      serie.AddDataYT(list({0, 1, 2}), list({0, 1}), eComputeEnvelope);
                  }));
    EXPECT_EQ("cIncompatibleParametersException|cEnvelopeGraphSerie::AddDataYX|Incompatible parameters: 2 x, "
              "2 y and 1 times",
              failureOf(
                  [&] {
                      serie.AddDataYX(list({0, 1}), list({0, 1}), list({0}), eComputeEnvelope);
                  }));
    EXPECT_FALSE(serie.iData().hasData);
}

TEST(cEnvelopeGraphSerie, RangeOnTimeEventSpansNominalMinimumAndMaximum)
{
    cFileSerie serie(eSerieYX);
    float xMin = -1, xMax = -1, yMin = -1, yMax = -1;
    EXPECT_FALSE(serie.interpolateYXRangeOnTimeEvent(42, 1.0f, xMin, xMax, yMin, yMax));

    auto const range = [&](float time)
    {
        EXPECT_TRUE(serie.interpolateYXRangeOnTimeEvent(42, time, xMin, xMax, yMin, yMax)) << time;
        return Values({xMin, xMax, yMin, yMax});
    };
    serie.AddDataYX(list({0, 2}), list({0, 20}), list({0, 2}), eComputeEnvelope);
    EXPECT_EQ(Values({1, 1, 10, 10}), range(1.0f));
    serie.AddDataYX(list({-2, 4}), list({4, 40}), list({0, 2}), eComputeEnvelope);
    // Minimum curve (-2, 0) .. (2, 20), maximum curve (0, 4) .. (4, 40).
    EXPECT_EQ(Values({0, 2, 10, 22}), range(1.0f));
    // Past the last sample: extrapolated from the last two of each curve.
    EXPECT_EQ(Values({4, 8, 40, 76}), range(4.0f));

    // Another crash file, or a series over time: no range.
    EXPECT_FALSE(serie.interpolateYXRangeOnTimeEvent(43, 1.0f, xMin, xMax, yMin, yMax));
    cFileSerie overTime(eSerieYT);
    overTime.AddDataYT(list({0, 2}), list({0, 20}), eComputeEnvelope);
    EXPECT_FALSE(overTime.interpolateYXRangeOnTimeEvent(42, 1.0f, xMin, xMax, yMin, yMax));
}

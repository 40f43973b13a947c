#include "PlotKit/cEnvelopeGraphSerie.h"

#include "tests/support/cPlotDoubles.h"
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

// "nominal | minimum | maximum", each curve as its points.
std::string envelopeOf(cEnvelopeGraphSerie const& serie)
{
    return pointsOf(serie.getNominalCurve()) + " | " + pointsOf(serie.getMinimumCurve()) + " | " +
           pointsOf(serie.getMaximumCurve());
}

// "hasData hasNominal hasMinMax curveCount envelopeCount"
std::string stateOf(cEnvelopeGraphSerie const& serie)
{
    sEnvelopeState const state = serie.iData();
    return std::to_string(state.hasData) + " " + std::to_string(state.hasNominal) + " " +
           std::to_string(state.hasMinMax) + " " + std::to_string(state.curveCount) + " " +
           std::to_string(state.envelopeCount);
}
} // namespace

TEST(cEnvelopeGraphSerie, FirstCurveIsNominalAndLaterCurvesWidenMinimumAndMaximum)
{
    cEnvelopeGraphSerie serie(eSerieYT);
    EXPECT_EQ("0 0 0 0 0", stateOf(serie));
    EXPECT_EQ("none | none | none", envelopeOf(serie));

    cStorage<float> const times = list({0, 1, 2});
    serie.AddDataYT(times, list({1, 5, 3}), eComputeEnvelope);
    EXPECT_EQ("1 1 0 1 1", stateOf(serie));
    EXPECT_EQ("0/1 1/5 2/3 | none | none", envelopeOf(serie));
    serie.AddDataYT(times, list({2, 4, 3}), eComputeEnvelope);
    serie.AddDataYT(times, list({0, 6, 4}), eComputeEnvelope);
    EXPECT_EQ("1 1 1 3 1", stateOf(serie));
    // Over time x stays the time of the nominal sample on all three curves.
    EXPECT_EQ("0/1 1/5 2/3 | 0/0 1/4 2/3 | 0/2 1/6 2/4", envelopeOf(serie));
    EXPECT_EQ(2.0f, serie.getMaximumCurve()->getT(2));
    // The series' own points are the last curve handed over.
    EXPECT_EQ("0/0 1/6 2/4", pointsOf(&serie));
}

TEST(cEnvelopeGraphSerie, CurveOverTimeOnOtherTimesIsInterpolatedAtTheNominalTimes)
{
    cEnvelopeGraphSerie serie(eSerieYT);
    serie.AddDataYT(list({0, 1, 2, 3}), list({0, 0, 0, 0}), eComputeEnvelope);
    // Covers 0.5 .. 2.5 ms only: 0 and 3 are outside it and stay; 1 and 2 are interpolated.
    serie.AddDataYT(list({0.5f, 1.5f, 2.5f}), list({2, 4, -2}), eComputeEnvelope);
    EXPECT_EQ("0/0 1/0 2/0 3/0 | 0/0 1/0 2/0 3/0 | 0/0 1/3 2/1 3/0", envelopeOf(serie));
    // A curve that goes on past the nominal's end: its tail is not used.
    serie.AddDataYT(list({0, 1, 2, 3, 4, 5}), list({-1, -1, -1, -1, -9, 9}), eComputeEnvelope);
    EXPECT_EQ("0/0 1/0 2/0 3/0 | 0/-1 1/-1 2/-1 3/-1 | 0/0 1/3 2/1 3/0", envelopeOf(serie));
    // A shorter curve that starts late (entry adjust): it widens only where it exists.
    serie.AddDataYT(list({2, 3}), list({-5, 7}), eComputeEnvelope);
    EXPECT_EQ("0/0 1/0 2/0 3/0 | 0/-1 1/-1 2/-5 3/-1 | 0/0 1/3 2/1 3/7", envelopeOf(serie));
    EXPECT_EQ("1 1 1 4 1", stateOf(serie));
}

TEST(cEnvelopeGraphSerie, CurveAgainstAnAbscissaWidensXAndYByTime)
{
    cEnvelopeGraphSerie serie(eSerieYX);
    serie.AddDataYX(list({0, 1, 2}), list({10, 20, 30}), list({0, 1, 2}), eComputeEnvelope);
    // Points at 0 and 2 ms: at 1 ms the curve is halfway, (1.75, 22.5).
    serie.AddDataYX(list({0.5f, 3}), list({5, 40}), list({0, 2}), eComputeEnvelope);
    EXPECT_EQ("0/10 1/20 2/30 | 0/5 1/20 2/30 | 0.5/10 1.75/22.5 3/40", envelopeOf(serie));
    EXPECT_EQ(1.0f, serie.getMaximumCurve()->getT(1));
    // x may go down while time goes up: pairing is by time, never by x.
    serie.AddDataYX(list({9, -9, 0}), list({0, 0, 0}), list({0, 1, 2}), eComputeEnvelope);
    EXPECT_EQ("0/10 1/20 2/30 | 0/0 -9/0 0/0 | 9/10 1.75/22.5 3/40", envelopeOf(serie));
}

TEST(cEnvelopeGraphSerie, LastCurveModeReplacesTheNominalAndDropsMinimumAndMaximum)
{
    cEnvelopeGraphSerie serie(eSerieYT);
    cStorage<float> const times = list({0, 1});
    serie.AddDataYT(times, list({1, 1}), eComputeEnvelope);
    serie.AddDataYT(times, list({3, 0}), eComputeEnvelope);
    serie.AddDataYT(times, list({7, 8}), eComputeLastCurve);
    EXPECT_EQ("1 1 0 1 1", stateOf(serie));
    EXPECT_EQ("0/7 1/8 | none | none", envelopeOf(serie));
    // Back to envelope mode: the last curve is now the nominal to widen from.
    serie.AddDataYT(times, list({6, 9}), eComputeEnvelope);
    EXPECT_EQ("0/7 1/8 | 0/6 1/8 | 0/7 1/9", envelopeOf(serie));
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
    serie.AddDataYX(t, list({4, 4}), t, eComputeEnvelope);
    sEnvelopeData const& data = serie.eData();
    EXPECT_EQ(std::vector<unsigned int>({1, 4}), data.nominalIndices);
    std::vector<std::string> curves;
    for (auto const& curve : data.curves)
        curves.push_back(pointsOf(curve.get()));
    EXPECT_EQ(std::vector<std::string>({"0/0 1/2", "0/1 1/2", "0/1 1/5", "", "0/4 1/4", ""}), curves);
    EXPECT_EQ("1 1 0 1 2", stateOf(serie));

    serie.clear();
    EXPECT_TRUE(serie.eData().curves.empty() && serie.empty());
    EXPECT_EQ("0 0 0 0 0", stateOf(serie));
    // After clear the first curve is a nominal again, in the first triple.
    serie.AddDataYX(t, list({3, 3}), t, eComputeEnvelope);
    EXPECT_EQ(std::vector<unsigned int>({1}), serie.eData().nominalIndices);

    // Over time a new time series opens no envelope: the curves keep folding into the one there is.
    cEnvelopeGraphSerie overTime(eSerieYT);
    overTime.AddDataYT(t, list({1, 1}), eComputeEnvelope);
    overTime.addNewTimeSerie();
    overTime.AddDataYT(t, list({2, 0}), eComputeEnvelope);
    EXPECT_EQ("0/1 1/1 | 0/1 1/0 | 0/2 1/1", envelopeOf(overTime));
    EXPECT_EQ(1u, overTime.iData().envelopeCount);
}

TEST(cEnvelopeGraphSerie, EmptyCurvesAreIgnoredAndUnequalListsAreRefused)
{
    cEnvelopeGraphSerie serie(eSerieYX);
    cStorage<float> const empty;
    serie.AddDataYX(empty, empty, empty, eComputeEnvelope);
    cStorage<float> const three = list({0, 1, 2}), two = list({0, 1}), one = list({0});
    EXPECT_EQ(failureOf([&] { serie.AddDataYT(three, two, eComputeEnvelope); }),
              "cIncompatibleParametersException|cEnvelopeGraphSerie::AddDataYT|Incompatible parameters: 3 "
              "times and 2 values");
    EXPECT_EQ(failureOf([&] { serie.AddDataYX(two, two, one, eComputeEnvelope); }),
              "cIncompatibleParametersException|cEnvelopeGraphSerie::AddDataYX|Incompatible parameters: 2 x, "
              "2 y and 1 times");
    EXPECT_EQ("0 0 0 0 0", stateOf(serie));
    EXPECT_TRUE(serie.eData().curves.empty());
}

TEST(cEnvelopeGraphSerie, RangeOnTimeEventSpansNominalMinimumAndMaximum)
{
    tOfCrashFile<cEnvelopeGraphSerie, 42> serie(eSerieYX);
    float xMin = -1, xMax = -1, yMin = -1, yMax = -1;
    EXPECT_FALSE(serie.interpolateYXRangeOnTimeEvent(42, 1.0f, xMin, xMax, yMin, yMax));
    auto const range = [&](float time)
    {
        EXPECT_TRUE(serie.interpolateYXRangeOnTimeEvent(42, time, xMin, xMax, yMin, yMax)) << time;
        return std::vector<float>({xMin, xMax, yMin, yMax});
    };
    serie.AddDataYX(list({0, 2}), list({0, 20}), list({0, 2}), eComputeEnvelope);
    EXPECT_EQ(std::vector<float>({1, 1, 10, 10}), range(1.0f));
    serie.AddDataYX(list({-2, 4}), list({4, 40}), list({0, 2}), eComputeEnvelope);
    // Minimum curve (-2, 0) .. (2, 20), maximum curve (0, 4) .. (4, 40).
    EXPECT_EQ(std::vector<float>({0, 2, 10, 22}), range(1.0f));
    // Past the last sample: extrapolated from the last two of each curve.
    EXPECT_EQ(std::vector<float>({4, 8, 40, 76}), range(4.0f));

    // Another crash file, or a series over time: no range.
    EXPECT_FALSE(serie.interpolateYXRangeOnTimeEvent(43, 1.0f, xMin, xMax, yMin, yMax));
    tOfCrashFile<cEnvelopeGraphSerie, 42> overTime(eSerieYT);
    overTime.AddDataYT(list({0, 2}), list({0, 20}), eComputeEnvelope);
    EXPECT_FALSE(overTime.interpolateYXRangeOnTimeEvent(42, 1.0f, xMin, xMax, yMin, yMax));
}

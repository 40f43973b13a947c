#include "PlotKit/cCountGraphSerie.h"
#include "PlotKit/cMinNomMaxByStringGraphSerie.h"
#include "PlotKit/cMinNomMaxByValueGraphSerie.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

namespace
{
// "name: t t t" of each row, rows separated by " | ".
std::string rowsOf(cMinNomMaxByStringGraphSerie const& serie)
{
    std::ostringstream text;
    for (sNamedTimesRow const& row : serie.getRows())
    {
        text << (&row == &serie.getRows().front() ? "" : " | ") << row.name << ":";
        for (float time : row.times)
            text << " " << time;
    }
    return text.str();
}
} // namespace

TEST(cCountGraphSerie, BinsKeepTheirOrderMergeARepeatedTimeAndShareOneHundredPercent)
{
    cCountGraphSerie serie;
    for (sCountBin const& bin : {sCountBin{-1.0f, 2}, {1.5f, 3}, {2.0f, 1}, {1.5f, 2}})
        serie.AddData(bin.time, bin.count);
    // "time:percent" per bin; exact, the counts being binary fractions of their total of 8.
    std::ostringstream bins;
    double sum = 0.0;
    for (unsigned int i = 0; i < serie.getBins().size(); ++i)
    {
        bins << serie.getBins()[i].time << ":" << serie.getPercent(i) << " ";
        sum += serie.getPercent(i);
    }
    EXPECT_EQ("-1:25 1.5:62.5 2:12.5 ", bins.str());
    EXPECT_EQ(8u, serie.getTotalCount());
    EXPECT_EQ(100.0, sum);

    // A total of 0 gives 0 percent rather than a division by zero.
    serie.clear();
    serie.AddData(3.0f, 0);
    EXPECT_EQ(0u, serie.getTotalCount());
    EXPECT_EQ(0.0, serie.getPercent(0));
}

TEST(cMinNomMaxByValueGraphSerie, TimeRangeSkipsNoFireWhileValueRangeAndNominalTakeEveryPoint)
{
    cMinNomMaxByValueGraphSerie serie;
    float low = 7.0f, high = 7.0f;
    EXPECT_FALSE(serie.getTimeRange(low, high) || serie.getValueRange(low, high) ||
                 serie.getNominalTime(low));
    serie.AddData(-1.0f, 0.5f);
    EXPECT_FALSE(serie.getTimeRange(low, high)) << "no firing point";
    EXPECT_EQ(std::pair(7.0f, 7.0f), std::pair(low, high)) << "outputs untouched";
    for (sTimeValuePoint const& point :
         {sTimeValuePoint{12.0f, 1.0f}, {9.0f, -3.0f}, {-1.0f, 2.0f}, {10.0f, 0.0f}})
        serie.AddData(point.time, point.value);
    ASSERT_TRUE(serie.getTimeRange(low, high));
    EXPECT_EQ(9.0f, low);
    EXPECT_EQ(12.0f, high);
    ASSERT_TRUE(serie.getValueRange(low, high));
    EXPECT_EQ(-3.0f, low);
    EXPECT_EQ(2.0f, high);
    ASSERT_TRUE(serie.getNominalTime(low));
    EXPECT_EQ(-1.0f, low) << "the nominal iteration did not fire";
}

TEST(cMinNomMaxByStringGraphSerie, ConsecutiveNamesMakeOneRowAndReversingPutsTheFirstCrashLast)
{
    cMinNomMaxByStringGraphSerie serie;
    // Nominal, maximum, minimum per crash; "front" comes back after "pole" and opens a row of its own.
    char const* const names[] = {"front", "front", "front", "pole", "pole", "pole", "front", nullptr};
    float const times[] = {20.0f, 25.0f, 18.0f, -1.0f, -1.0f, -1.0f, 30.0f, 5.0f};
    for (unsigned int i = 0; i < 8; ++i)
        serie.AddData(times[i], names[i]);
    EXPECT_EQ("front: 20 25 18 | pole: -1 -1 -1 | front: 30 | : 5", rowsOf(serie));
    serie.reverseVerticalOrder();
    EXPECT_EQ(": 5 | front: 30 | pole: -1 -1 -1 | front: 20 25 18", rowsOf(serie));
    float low = 0.0f, high = 0.0f;
    ASSERT_TRUE(serie.getTimeRange(low, high));
    EXPECT_EQ(5.0f, low);
    EXPECT_EQ(30.0f, high);

    serie.clear();
    serie.AddData(-1.0f, "pole");
    EXPECT_FALSE(serie.getTimeRange(low, high));
    EXPECT_EQ(5.0f, low);
}

#include "PlotKit/cXYPointList.h"

#include <cmath>
#include <gtest/gtest.h>
#include <vector>

using tFloats = std::vector<float>;

TEST(cXYPointList, InterpolatesAtASampleBetweenAndBeyondTheSamplesAndAtEqualTimes)
{
    cXYPointList curve;
    float x = -1;
    float y = -1;
    EXPECT_FALSE(curve.interpolateAtTime(0.0f, x, y));
    EXPECT_EQ(-1.0f, x);

    curve.addPoint(7.0f, 8.0f, 3.0f);
    ASSERT_TRUE(curve.interpolateAtTime(100.0f, x, y));
    EXPECT_EQ(tFloats({7.0f, 8.0f}), tFloats({x, y}));

    curve.clear();
    curve.addPoint(0.0f, 5.0f, 0.0f);
    curve.addPoint(1.0f, 15.0f, 10.0f);
    curve.addPoint(3.0f, 5.0f, 20.0f);
    struct Case
    {
        float time, x, y;
    } const cases[] = {
        {10.0f, 1.0f, 15.0f},   // a sample's own time
        {15.0f, 2.0f, 10.0f},   // halfway between two samples
        {0.0f, 0.0f, 5.0f},     // the first sample
        {-10.0f, -1.0f, -5.0f}, // before the start: along the first two
        {30.0f, 5.0f, -5.0f},   // after the end: along the last two
    };
    for (Case const& c : cases)
    {
        EXPECT_TRUE(curve.interpolateAtTime(c.time, x, y)) << c.time;
        EXPECT_EQ(tFloats({c.x, c.y}), tFloats({x, y})) << c.time;
    }

    // Equal times give the earlier sample instead of dividing by zero.
    curve.clear();
    curve.addPoint(1.0f, 2.0f, 0.0f);
    curve.addPoint(3.0f, 4.0f, 0.0f);
    curve.addPoint(5.0f, 6.0f, 1.0f);
    ASSERT_TRUE(curve.interpolateAtTime(-1.0f, x, y));
    EXPECT_EQ(tFloats({1.0f, 2.0f}), tFloats({x, y}));
    ASSERT_TRUE(curve.interpolateAtTime(0.0f, x, y));
    EXPECT_EQ(1.0f, x);
    EXPECT_FALSE(std::isnan(y));
}

TEST(cXYPointList, PointsWithoutTimeUseXAndCopiesAreIndependent)
{
    cXYPointList curve;
    float xMin = 0, xMax = 0, yMin = 0, yMax = 0;
    EXPECT_FALSE(curve.getBounds(xMin, xMax, yMin, yMax));
    curve.addPoint(2.0f, -1.0f);
    curve.addPoint(-3.0f, 4.0f);
    EXPECT_EQ(-3.0f, curve.getT(1));
    ASSERT_TRUE(curve.getBounds(xMin, xMax, yMin, yMax));
    EXPECT_EQ(tFloats({-3.0f, 2.0f, -1.0f, 4.0f}), tFloats({xMin, xMax, yMin, yMax}));

    cXYPointList copy(curve);
    copy.setY(0, 9.0f);
    EXPECT_EQ(-1.0f, curve.getY(0));
    curve = copy;
    EXPECT_EQ(tFloats({9.0f, 4.0f}), tFloats({curve.getY(0), curve.getY(1)}));
}

#include "PlotKit/cGraphSquare.h"

#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

TEST(cGraphSquare, MarksWidenTheBoundsAndClearDropsThemWithTheExpectedTimes)
{
    cGraphSquare lines(eSquareVerticalLine);
    EXPECT_FALSE(lines.hasPoints());
    lines.AddDataVertical(12.0f);
    lines.AddDataVertical(9.5f);
    lines.AddDataVertical(11.0f);
    ASSERT_EQ(3u, lines.getMarks().size());
    EXPECT_EQ(9.5f, lines.getX1());
    EXPECT_EQ(12.0f, lines.getX2());
    EXPECT_EQ(0.0f, lines.getY1());
    EXPECT_EQ(0.0f, lines.getY2());
    EXPECT_EQ(9.5f, lines.getMarks()[1].x1);
    EXPECT_EQ(9.5f, lines.getMarks()[1].x2);

    lines.setExpectedTime(1, 10.0f);
    lines.clear();
    EXPECT_FALSE(lines.hasPoints());
    EXPECT_FALSE(lines.isExpectedTimeSet(1));
    // The first mark after a clear sets the bounds instead of widening the old ones.
    lines.AddDataVertical(30.0f);
    EXPECT_EQ(30.0f, lines.getX1());
    EXPECT_EQ(30.0f, lines.getX2());

    cGraphSquare rectangle;
    EXPECT_EQ(eSquareRectangle, rectangle.getKind());
    rectangle.AddDataSquare(4.0f, 2.0f, -1.0f, -3.0f); // pairs in reverse order
    EXPECT_EQ(2.0f, rectangle.getMarks()[0].x1);
    EXPECT_EQ(-3.0f, rectangle.getMarks()[0].y1);
    rectangle.AddDataSquare(3.0f, 5.0f, -2.0f, 0.5f);
    EXPECT_EQ(2.0f, rectangle.getX1());
    EXPECT_EQ(5.0f, rectangle.getX2());
    EXPECT_EQ(-3.0f, rectangle.getY1());
    EXPECT_EQ(0.5f, rectangle.getY2());
}

TEST(cGraphSquare, HitTestByKindWithTheToleranceIncluded)
{
    cGraphSquare square(eSquareVerticalLine);
    EXPECT_FALSE(square.hitTest(0.0f, 0.0f, 100.0f, 100.0f)); // no mark
    square.AddDataSquare(10.0f, 20.0f, 100.0f, 200.0f);

    // Vertical line: x alone, bounds plus tolerance inclusive.
    EXPECT_TRUE(square.hitTest(8.0f, 1000.0f, 2.0f, 5.0f));
    EXPECT_TRUE(square.hitTest(22.0f, -1000.0f, 2.0f, 5.0f));
    EXPECT_FALSE(square.hitTest(22.5f, 150.0f, 2.0f, 5.0f));

    square.setKind(eSquareRectangle);
    EXPECT_TRUE(square.hitTest(15.0f, 95.0f, 2.0f, 5.0f));
    EXPECT_TRUE(square.hitTest(8.0f, 205.0f, 2.0f, 5.0f));
    EXPECT_FALSE(square.hitTest(15.0f, 205.5f, 2.0f, 5.0f));
    EXPECT_FALSE(square.hitTest(7.5f, 150.0f, 2.0f, 5.0f));

    square.setKind(eSquareHorizontalBand);
    EXPECT_TRUE(square.hitTest(-1000.0f, 150.0f, 2.0f, 5.0f));
    EXPECT_FALSE(square.hitTest(15.0f, 94.0f, 2.0f, 5.0f));

    square.setKind(3);
    EXPECT_FALSE(square.hitTest(15.0f, 150.0f, 2.0f, 5.0f));
}

TEST(cGraphSquare, ExpectedTimesHaveTheirOwnFlagsAndRefuseABadIndex)
{
    cGraphSquare square(eSquareVerticalLine);
    for (unsigned int i = 0; i < cGraphSquare::kExpectedTimeCount; ++i)
        EXPECT_FALSE(square.isExpectedTimeSet(i));
    square.setExpectedTime(0, -1.0f); // an expected no-fire
    square.setExpectedTime(2, 35.5f);
    EXPECT_TRUE(square.isExpectedTimeSet(0));
    EXPECT_FALSE(square.isExpectedTimeSet(1));
    EXPECT_TRUE(square.isExpectedTimeSet(2));
    EXPECT_EQ(-1.0f, square.getExpectedTime(0));
    EXPECT_EQ(35.5f, square.getExpectedTime(2));

    EXPECT_EQ("cBadListIndex|cGraphSquare::setExpectedTime|List index out of range.",
              failureOf([&] { square.setExpectedTime(3, 1.0f); }));
    EXPECT_EQ("cBadListIndex|cGraphSquare::getExpectedTime|List index out of range.",
              failureOf([&] { square.getExpectedTime(3); }));
    EXPECT_EQ("cBadListIndex|cGraphSquare::isExpectedTimeSet|List index out of range.",
              failureOf([&] { square.isExpectedTimeSet(3); }));

    square.clearExpectedTimes();
    EXPECT_FALSE(square.isExpectedTimeSet(0));
    EXPECT_FALSE(square.isExpectedTimeSet(2));
}

#include "PlotKit/cGraphSquare.h"

#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <sstream>

namespace
{
// "x1 x2 y1 y2" of the bounds, then "[x1 x2 y1 y2]" of each mark.
std::string boundsOf(cGraphSquare const& square)
{
    std::ostringstream text;
    text << square.getX1() << " " << square.getX2() << " " << square.getY1() << " " << square.getY2();
    for (unsigned int i = 0; i < square.getMarks().size(); ++i)
    {
        sSquareMark const& mark = square.getMarks()[i];
        text << " [" << mark.x1 << " " << mark.x2 << " " << mark.y1 << " " << mark.y2 << "]";
    }
    return text.str();
}
} // namespace

TEST(cGraphSquare, MarksWidenTheBoundsAndClearDropsThemWithTheExpectedTimes)
{
    cGraphSquare lines(eSquareVerticalLine);
    EXPECT_FALSE(lines.hasPoints());
    for (float x : {12.0f, 9.5f, 11.0f})
        lines.AddDataVertical(x);
    EXPECT_EQ("9.5 12 0 0 [12 12 0 0] [9.5 9.5 0 0] [11 11 0 0]", boundsOf(lines));
    lines.setExpectedTime(1, 10.0f);
    lines.clear();
    EXPECT_FALSE(lines.hasPoints() || lines.isExpectedTimeSet(1));
    // The first mark after a clear sets the bounds instead of widening the old ones.
    lines.AddDataVertical(30.0f);
    EXPECT_EQ("30 30 0 0 [30 30 0 0]", boundsOf(lines));

    cGraphSquare rectangle;
    EXPECT_EQ(eSquareRectangle, rectangle.getKind());
    rectangle.AddDataSquare(4.0f, 2.0f, -1.0f, -3.0f); // pairs in reverse order
    rectangle.AddDataSquare(3.0f, 5.0f, -2.0f, 0.5f);
    EXPECT_EQ("2 5 -3 0.5 [2 4 -3 -1] [3 5 -2 0.5]", boundsOf(rectangle));
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
    auto const flags = [&]
    {
        return std::to_string(square.isExpectedTimeSet(0)) + std::to_string(square.isExpectedTimeSet(1)) +
               std::to_string(square.isExpectedTimeSet(2));
    };
    EXPECT_EQ("000", flags());
    square.setExpectedTime(0, -1.0f); // an expected no-fire
    square.setExpectedTime(2, 35.5f);
    EXPECT_EQ("101", flags());
    EXPECT_EQ(-1.0f, square.getExpectedTime(0));
    EXPECT_EQ(35.5f, square.getExpectedTime(2));
    EXPECT_EQ("cBadListIndex|cGraphSquare::setExpectedTime|List index out of range.",
              failureOf([&] { square.setExpectedTime(3, 1.0f); }));
    EXPECT_EQ("cBadListIndex|cGraphSquare::getExpectedTime|List index out of range.",
              failureOf([&] { square.getExpectedTime(3); }));
    EXPECT_EQ("cBadListIndex|cGraphSquare::isExpectedTimeSet|List index out of range.",
              failureOf([&] { square.isExpectedTimeSet(3); }));
    square.clearExpectedTimes();
    EXPECT_EQ("000", flags());
}

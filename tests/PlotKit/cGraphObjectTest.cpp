#include "PlotKit/cGraphObject.h"

#include "PlotKit/cGraphHotPoint.h"

#include "tests/support/cPlotDoubles.h"

#include <gtest/gtest.h>
#include <vector>

using cCountedHotPoint = tCounted<cGraphHotPoint>;

TEST(cGraphObject, OwnsItsHotPointsAndWalksThemInOrder)
{
    int deaths = 0;
    cCountedHotPoint* points[3] = {new cCountedHotPoint(deaths), new cCountedHotPoint(deaths),
                                   new cCountedHotPoint(deaths)};
    {
        cGraphObject object;
        unsigned int cursor = 7;
        EXPECT_EQ(nullptr, object.firstHotPoint(cursor));
        EXPECT_EQ(0u, cursor);
        for (cCountedHotPoint* point : points)
            object.addHotPoint(point);
        // Null and a point held already change nothing (a second entry would delete it twice).
        object.addHotPoint(nullptr);
        object.addHotPoint(points[1]);
        ASSERT_EQ(3u, object.getHotPointCount());

        std::vector<cGraphHotPoint*> walked{object.firstHotPoint(cursor)};
        for (int i = 0; i < 4; ++i)
            walked.push_back(object.nextHotPoint(cursor));
        // Past the end the walk stays there.
        EXPECT_EQ((std::vector<cGraphHotPoint*>{points[0], points[1], points[2], nullptr, nullptr}), walked);
        EXPECT_EQ(3u, cursor);
        EXPECT_EQ(&object, points[2]->getOwner());
        EXPECT_EQ(0, deaths);
    }
    EXPECT_EQ(3, deaths);
}

TEST(cGraphObject, BaseAnswersForNoCrashFileAndDrawingFollowsTheObjectsOwnFileOnly)
{
    cGraphObject object;
    object.setColor(0xff0000);
    EXPECT_EQ(0xff0000ul, object.GetDefaultColor());
    EXPECT_TRUE(object.GetDrawingEnabled() && object.getUseDefaultColor());

    unsigned long long file = 99;
    EXPECT_FALSE(object.interceptMouse(CPoint{1, 2}, file));
    EXPECT_EQ(0u, file);
    float a = 0, b = 0, c = 0, d = 0;
    EXPECT_FALSE(object.interpolateYXRangeOnTimeEvent(0, 1.0f, a, b, c, d));

    // Address 0 stands for "no file" and never matches, not even an object of no file.
    EXPECT_FALSE(object.SetIfItIsToBeDrawn(0, false));
    EXPECT_TRUE(object.isToBeDrawn());
    object.setToBeDrawn(false);
    EXPECT_FALSE(object.isToBeDrawn() || object.GetDrawingEnabled());

    tOfCrashFile<cGraphObject, 0x1234> ofFile;
    EXPECT_FALSE(ofFile.SetIfItIsToBeDrawn(0x1235, false));
    EXPECT_TRUE(ofFile.GetDrawingEnabled());
    EXPECT_TRUE(ofFile.SetIfItIsToBeDrawn(0x1234, false));
    EXPECT_FALSE(ofFile.GetDrawingEnabled());
    EXPECT_TRUE(ofFile.SetIfItIsToBeDrawn(0x1234, true));
    EXPECT_TRUE(ofFile.isToBeDrawn());
}

#include "SimCore/cTestMgr.h"

#include "tests/support/cResultWorld.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{
std::vector<std::string> pathTexts(cTestMgr const& test)
{
    return {test.getPathText(0), test.getPathText(1), test.getPathText(2), test.getPathText(3)};
}
} // namespace

// The report generator reads the path texts by index, in an order that is not the setter's.
TEST(cTestMgr, StartsWithEveryFlagOffAndPathTextsGoWhereTheReportGeneratorReadsThem)
{
    cTestMgr test("Front crash");
    EXPECT_EQ("Front crash", test.getTestName());
    EXPECT_EQ("Test", test.getLogger().getTraceName());
    EXPECT_FALSE(test.getHotPointsEnabled() || test.getEntryAdjusted() || test.getCrashColor() ||
                 test.getLSB() || test.isPathInformationSet());
    EXPECT_EQ("Generate Excel", test.getGenerationLabel());
    EXPECT_EQ(nullptr, test.getFirstMaintainDataMppItem());

    test.setPathInformationGeneration("a", "b", "c", "d");
    EXPECT_TRUE(test.isPathInformationSet());
    EXPECT_EQ((std::vector<std::string>{"a", "d", "c", "b"}), pathTexts(test));
    cTestMgr csv("T");
    csv.setCSVPathInformationGeneration("x", "y", "Generate CSV");
    EXPECT_TRUE(csv.isPathInformationSet());
    EXPECT_EQ((std::vector<std::string>{"", "y", "x", ""}), pathTexts(csv));
    EXPECT_EQ("Generate CSV", csv.getGenerationLabel());
}

TEST(cTestMgr, MaintainDataSetTogglesAndGivesItsSmallestPointerFirst)
{
    sResultWorld world;
    cKynMultiPreprocessingItem* const side = world.multiPreprocessing.addItem("Side");
    cTestMgr test("T");
    test.toggleMaintainData(nullptr);
    EXPECT_EQ(0u, test.getMaintainDataMppItemCount());
    test.toggleMaintainData(side);
    test.toggleMaintainData(world.item);
    EXPECT_EQ(2u, test.getMaintainDataMppItemCount());
    EXPECT_EQ(std::min(side, world.item, std::less<cKynMultiPreprocessingItem*>()),
              test.getFirstMaintainDataMppItem());
    test.toggleMaintainData(side);
    EXPECT_FALSE(test.checkForMaintainData(side)) << "a second toggle takes it out again";
    EXPECT_TRUE(test.checkForMaintainData(world.item));
    EXPECT_EQ(world.item, test.getFirstMaintainDataMppItem());

    test.clearMaintainData();
    test.addAllMppItemsToMaintainData();
    EXPECT_EQ(2u, test.getMaintainDataMppItemCount());
    test.removeMaintainData(world.item);
    EXPECT_EQ(side, test.getFirstMaintainDataMppItem());
}

TEST(cTestMgr, MaintainDataForAFileAnswersForTheFirstItemHoldingIt)
{
    sResultWorld world;
    cKynFile* const file = world.addCrash("/data/crash_01.csh");
    cKynMultiPreprocessingItem* const side = world.multiPreprocessing.addItem("Side");
    side->setFileList(world.item->getFileList()); // both items hold the very same file
    cTestMgr test("T");

    test.toggleMaintainData(side);
    EXPECT_FALSE(test.checkForMaintainData(file)) << "the first item, not kept, decides";
    test.toggleMaintainData(world.item);
    EXPECT_TRUE(test.checkForMaintainData(file));
    EXPECT_FALSE(test.checkForMaintainData(static_cast<cKynFile const*>(nullptr)));
    cKynFileList loose;
    EXPECT_FALSE(test.checkForMaintainData(loose.addFile(new cInputFile("/data/crash_01.csh"))));

    myActiveMultiPreprocessingMgr = nullptr;
    EXPECT_FALSE(test.checkForMaintainData(file)) << "without a manager no item holds a file";
    myActiveMultiPreprocessingMgr = &world.multiPreprocessing;
    side->setFileList(nullptr); // the list belongs to the first item
}

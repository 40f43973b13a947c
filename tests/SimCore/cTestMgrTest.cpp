#include "SimCore/cTestMgr.h"

#include "tests/support/cSimCoreFixture.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{
std::string pathTexts(cTestMgr const& test)
{
    return test.getPathText(0) + "|" + test.getPathText(1) + "|" + test.getPathText(2) + "|" +
           test.getPathText(3);
}
using cTestMgrTest = cResultsFixture;
} // namespace

// The report generator reads the path texts by index, in an order that is not the setter's.
TEST_F(cTestMgrTest, StartsWithEveryFlagOffAndPathTextsGoWhereTheReportGeneratorReadsThem)
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
    EXPECT_EQ("a|d|c|b", pathTexts(test));
    cTestMgr csv("T");
    csv.setCSVPathInformationGeneration("x", "y", "Generate CSV");
    EXPECT_TRUE(csv.isPathInformationSet());
    EXPECT_EQ("|y|x|", pathTexts(csv));
    EXPECT_EQ("Generate CSV", csv.getGenerationLabel());
}

// An item toggles in and out of the set; for a file, the first item holding it decides.
TEST_F(cTestMgrTest, MaintainDataSetTogglesAndAFileIsKeptByTheFirstItemHoldingIt)
{
    cKynFile* const file = addCrash("/data/crash_01.csh");
    cKynMultiPreprocessingItem* const side = multiPreprocessing.addItem("Side");
    side->setFileList(item->getFileList()); // both items hold the very same file
    cTestMgr test("T");
    test.toggleMaintainData(nullptr);
    EXPECT_EQ(0u, test.getMaintainDataMppItemCount());
    test.toggleMaintainData(side);
    EXPECT_FALSE(test.checkForMaintainData(file)) << "the first item, not kept, decides";
    test.toggleMaintainData(item);
    EXPECT_TRUE(test.checkForMaintainData(file));
    EXPECT_EQ(2u, test.getMaintainDataMppItemCount());
    EXPECT_EQ(std::min(side, item, std::less<cKynMultiPreprocessingItem*>()),
              test.getFirstMaintainDataMppItem())
        << "the smallest pointer first";
    test.toggleMaintainData(side);
    EXPECT_FALSE(test.checkForMaintainData(side)) << "a second toggle takes it out again";
    EXPECT_TRUE(test.checkForMaintainData(item));
    EXPECT_EQ(item, test.getFirstMaintainDataMppItem());
    EXPECT_FALSE(test.checkForMaintainData(static_cast<cKynFile const*>(nullptr)));
    cKynFileList loose;
    EXPECT_FALSE(test.checkForMaintainData(loose.addFile(new cInputFile("/data/crash_01.csh"))));

    test.clearMaintainData();
    test.addAllMppItemsToMaintainData();
    EXPECT_EQ(2u, test.getMaintainDataMppItemCount());
    test.removeMaintainData(item);
    EXPECT_EQ(side, test.getFirstMaintainDataMppItem());

    myActiveMultiPreprocessingMgr = nullptr;
    test.toggleMaintainData(item);
    EXPECT_FALSE(test.checkForMaintainData(file)) << "without a manager no item holds a file";
    side->setFileList(nullptr); // the list belongs to the first item
}

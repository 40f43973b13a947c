#include "SimCore/cKynMultiPreprocessingMgr.h"

#include "SimCore/cKynMultiPreprocessingItem.h"
#include "SimCore/cTestMgr.h"
#include "StoreKit/cCfgInputFile.h"
#include "tests/support/cSimCoreFixture.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{
typedef std::vector<cKynMultiPreprocessingItem*> tItems;

tItems addItems(cKynMultiPreprocessingMgr& manager, std::vector<std::string> const& names)
{
    tItems items;
    for (std::string const& name : names)
        items.push_back(manager.addItem(name));
    return items;
}

std::vector<std::string> names(cKynMultiPreprocessingMgr const& manager)
{
    std::vector<std::string> result;
    for (cKynMultiPreprocessingItem const* item : manager.getMultiPpItems())
        result.push_back(item->getName());
    return result;
}

class cKynMultiPreprocessingMgrTest : public cResultsFixture
{
protected:
    // The host messages about other items than the fixture's own as "id item lParam", the item named
    // by its index in `items`; all of them are sent, none posted.
    std::vector<std::string> hostMessages(tItems const& items) const
    {
        std::vector<std::string> result;
        for (auto const& m : window.messages())
        {
            auto const* const about = reinterpret_cast<cKynMultiPreprocessingItem*>(m.wParam);
            if (about != item)
                result.push_back(
                    (m.sent ? "" : "posted ") + std::to_string(m.message) + " " +
                    std::to_string(std::find(items.begin(), items.end(), about) - items.begin()) + " " +
                    std::to_string(m.lParam));
        }
        return result;
    }
    std::vector<std::string> errors() const
    {
        std::vector<std::string> result;
        for (auto const& entry : messages.entries())
            result.push_back(entry.kind + ": " + entry.text);
        return result;
    }
    cCfgInputFile* newFile(std::string const& name)
    {
        return cCfgInputFile::createFile(tempPath(name).c_str(), cCfgInputFile::writeMode, "Vehicle", false);
    }
};
} // namespace

TEST_F(cKynMultiPreprocessingMgrTest, SelectionMovesWithinTheCountButNextComparesForEqualityOnly)
{
    cKynMultiPreprocessingMgr manager;
    EXPECT_FALSE(manager.selectFirstItem() || manager.selectItemFromIndex(0));
    EXPECT_TRUE(manager.selectNextItem()) << "0 + 1 is not the count 0";
    EXPECT_EQ(1u, manager.getSelectedItemIndex());

    addItems(manager, {"A", "B"});
    EXPECT_FALSE(manager.selectNextItem()) << "index 1 is already the last";
    EXPECT_EQ(1u, manager.getSelectedItemIndex());
    EXPECT_TRUE(manager.selectFirstItem());
    EXPECT_EQ(0u, manager.getSelectedItemIndex());
    EXPECT_TRUE(manager.selectNextItem());
    EXPECT_EQ("B", manager.getSelectedItem()->getName());
    EXPECT_FALSE(manager.selectItemFromIndex(2));
    EXPECT_TRUE(manager.selectItemFromIndex(0));
    EXPECT_EQ("A", manager.getItemNameByIndex(manager.getSelectedItemIndex()));
}

TEST_F(cKynMultiPreprocessingMgrTest, AddingAndRemovingTellTheHostWithTheItem)
{
    cKynMultiPreprocessingMgr manager;
    tItems const items = addItems(manager, {"A", "B", "C", "D"});
    cKynMultiPreprocessingItem stray("B");
    manager.removeItem(&stray);
    manager.removeItem(nullptr);
    EXPECT_EQ((std::vector<std::string>{"A", "B", "C", "D"}), names(manager))
        << "unknown pointers do nothing";

    manager.selectItemFromIndex(2);
    manager.removeItem(items[1]);
    EXPECT_EQ((std::vector<std::string>{"A", "C", "D"}), names(manager));
    EXPECT_EQ(2u, manager.getSelectedItemIndex()) << "removeItem leaves the index alone";

    EXPECT_TRUE(manager.removeSelectedItem()); // D
    EXPECT_EQ("C", manager.getSelectedItem()->getName());
    manager.selectFirstItem();
    EXPECT_TRUE(manager.removeSelectedItem()); // A: the next item is the selected one now
    EXPECT_EQ(0u, manager.getSelectedItemIndex());
    EXPECT_EQ("C", manager.getSelectedItem()->getName());
    EXPECT_FALSE(manager.removeSelectedItem()) << "the last item stays";
    EXPECT_EQ(1u, manager.getItemCount());

    manager.removeAllItems();
    EXPECT_EQ(0u, manager.getItemCount());
    EXPECT_EQ((std::vector<std::string>{"2536 0 0", "2536 1 0", "2536 2 0", "2536 3 0", "2537 1 0",
                                        "2537 3 0", "2537 0 0", "2537 2 0"}),
              hostMessages(items));
}

TEST_F(cKynMultiPreprocessingMgrTest, RemoveAllItemsLeavesTheSelectedItemsFilesToTheLiveModules)
{
    cKynMultiPreprocessingMgr manager;
    tItems const items = addItems(manager, {"A", "B", "C"});
    cCfgInputFile* const live = newFile("live.cfg");
    items[1]->setVehicleData(live);
    items[0]->setVehicleData(newFile("a_vehicle.cfg"));
    items[0]->setPreprocessingData(newFile("a_preprocessing.cfg"));
    items[2]->setUnitData(newFile("c_unit.cfg"));
    manager.selectItemFromIndex(1);
    manager.removeAllItems();
    EXPECT_EQ(1u, manager.getSelectedItemIndex());
    // The others' files are gone (the sanitizer run sees a leak otherwise); this one is still ours.
    EXPECT_EQ(tempPath("live.cfg"), live->getFileName());
    delete live;
}

TEST_F(cKynMultiPreprocessingMgrTest, NameLookUpsCompareExactlyAndReportAsEachPromises)
{
    cKynMultiPreprocessingMgr manager;
    std::string const noName = "error: Error :\nThere is no item name";
    std::string const noMatch = noName + " corresponding in the list of multipreprocessing items";
    EXPECT_EQ(0xFFFFFFFFu, manager.getItemIndexByName("A"));
    EXPECT_EQ(nullptr, manager.getItemFromName("A"));
    EXPECT_EQ(0xFFFFFFFFu, manager.getItemIndexFromName("A"));
    EXPECT_EQ((std::vector<std::string>{noMatch}), errors()) << "only the index look-up reports";
    messages.clear();

    tItems const items = addItems(manager, {"Front", "Side", "", "Front"});
    EXPECT_EQ(1u, manager.getItemIndexByName("Side"));
    EXPECT_EQ(items[0], manager.getItemFromName("Front"));
    EXPECT_EQ(0u, manager.getItemIndexFromName("Front"));
    EXPECT_EQ(2u, manager.getItemIndexFromName("")) << "an empty name is searched like any other";
    EXPECT_EQ(items[2], manager.getItemFromName(""));
    EXPECT_TRUE(messages.entries().empty());

    EXPECT_EQ(0xFFFFFFFFu, manager.getItemIndexByName(""));
    EXPECT_EQ(0xFFFFFFFFu, manager.getItemIndexByName("side"));
    EXPECT_EQ(nullptr, manager.getItemFromName("Rear"));
    EXPECT_EQ(0xFFFFFFFFu, manager.getItemIndexFromName("Rear"));
    EXPECT_EQ((std::vector<std::string>{noName, noMatch, noMatch}), errors());
}

// Items are found by the very file object; a deleted item leaves every test's maintain-data set.
TEST_F(cKynMultiPreprocessingMgrTest, FindMppItemByFileAndADeletedItemLeavesTheMaintainDataSets)
{
    auto* const first = new cTestMgr("First");
    auto* const second = new cTestMgr("Second");
    computations.addTest(first);
    computations.addTest(second);
    cKynMultiPreprocessingItem* const side = multiPreprocessing.addItem("Side");
    side->setFileList(new cKynFileList);
    cKynFile* const front01 = addCrash("/data/crash_01.csh");
    cKynFile* const side01 = side->getFileList()->addFile(new cInputFile("/data/crash_01.csh"));
    cKynFileList loose;
    multiPreprocessing.addItem("No list"); // an item without a list holds nothing
    EXPECT_EQ(item, multiPreprocessing.findMppItem(front01));
    EXPECT_EQ(side, multiPreprocessing.findMppItem(side01));
    EXPECT_EQ(nullptr, multiPreprocessing.findMppItem(loose.addFile(new cInputFile("/data/crash_01.csh"))));
    EXPECT_EQ(nullptr, multiPreprocessing.findMppItem(nullptr));

    first->toggleMaintainData(side);
    first->toggleMaintainData(item);
    second->toggleMaintainData(side);
    multiPreprocessing.removeItem(side);
    EXPECT_FALSE(first->checkForMaintainData(side));
    EXPECT_TRUE(first->checkForMaintainData(item)) << "the other items stay";
    EXPECT_EQ(0u, second->getMaintainDataMppItemCount());

    // Without a computation manager there is no set to leave.
    myActiveComputationManager = nullptr;
    delete new cKynMultiPreprocessingItem("Alone");
}

TEST_F(cKynMultiPreprocessingMgrTest, ItemCutsStepCountsToTheirLow32Bits)
{
    cKynMultiPreprocessingItem item("Front");
    unsigned long long steps[] = {0x100000005ULL, 6, 0xFFFFFFFFULL, 0x200000000ULL, 9}; // taken by reference
    item.setStepsPointNumber(steps[0], steps[1], steps[2], steps[3], steps[4]);
    EXPECT_EQ((std::vector<uint32_t>{5, 6, 0xFFFFFFFF, 0, 9}),
              (std::vector<uint32_t>{item.getFileIterations(), item.getMechanicalIterations(),
                                     item.getPreprocessingIterations(), item.getAcquisitionIterations(),
                                     item.getAlgorithmIterations()}));
}

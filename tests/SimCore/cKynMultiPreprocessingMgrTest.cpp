#include "SimCore/cKynMultiPreprocessingMgr.h"

#include "BaseKit/Conversions.h"
#include "SimCore/cKynMultiPreprocessingItem.h"
#include "SimCore/cTestMgr.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cConfigurationWriter.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cPipelineFixture.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestHelpers.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
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

namespace
{
class cKynMultiPreprocessingMgrOfProjectTest : public cPipelineFixture
{
protected:
    cKynMultiPreprocessingMgr& manager() const { return *myActiveMultiPreprocessingMgr; }
    cKynMultiPreprocessingItem* itemAt(unsigned int index) const { return manager().getItemFromIndex(index); }
    static cDriftParameter* parameterOf(cDriftParameterMgr& stage, std::string const& name)
    {
        return stage.getParameter(name);
    }
    // The host's change of item: the selected item keeps the live set-up, the other one is loaded.
    void switchTo(unsigned int index)
    {
        ASSERT_TRUE(manager().SaveToSelectedItem());
        ASSERT_TRUE(manager().selectItemFromIndex(index));
        ASSERT_TRUE(manager().LoadFromSelectedItem(false));
    }
    // The live set-up in one line: a parameter of each module as raw value x drift points with the
    // module's default configuration flag, and the vehicle option kept only in the drifts group.
    std::string liveSetUp() const
    {
        std::ostringstream text;
        auto const add = [&](cDriftParameter const* p, bool isDefault)
        { text << rawOf(p).get_d() << "x" << p->getPointNumber() << (isDefault ? " default, " : ", "); };
        add(parameterOf(*myActiveVehicle, "Body Gain"), myActiveVehicle->isDefaultConfiguration());
        add(parameterOf(*channels()[1], "Offset ACU_Y"), myActivePreprocessing->isDefaultConfiguration());
        add(parameterOf(*myActiveUnit, "ADC Gain"), myActiveUnit->isDefaultConfiguration());
        text << (myActiveComputationManager->isMechanicalSameIterationDrifted() ? "not crossed" : "crossed");
        return text.str();
    }
    std::vector<cCfgInputFile*> liveFiles() const
    {
        return {myActiveVehicle->getConfigurationFile(), myActivePreprocessing->getConfigurationFile(),
                myActiveUnit->getConfigurationFile()};
    }
    static std::vector<cCfgInputFile*> filesOf(cKynMultiPreprocessingItem const* item)
    {
        return {item->getVehicleData(), item->getPreprocessingData(), item->getUnitData()};
    }
};
} // namespace

// Each item's set-up (values, drifts, the drifts group's option, the default flags) comes back in the
// live modules, which hold the selected item's very files; the sanitizer run checks that no file is
// freed twice when the project goes.
TEST_F(cKynMultiPreprocessingMgrOfProjectTest, SaveThenLoadGivesEachItemItsSetUpBack)
{
    openProject();
    project->addNewMultiPreprocessingItem("Second");
    cKynMultiPreprocessingItem* const first = itemAt(0);
    cKynMultiPreprocessingItem* const second = itemAt(1);
    std::vector<cCfgInputFile*> const projectFiles = liveFiles();
    addCrash("crash.csh");
    parameterOf(*myActiveVehicle, "Body Gain")->setRawValue(2, /*update=*/true, /*applyLimits=*/true);
    parameterOf(*channels()[1], "Offset ACU_Y")->setRawDrift(0, 2, -1, 1, 0);
    myActiveComputationManager->setMechanicalSameIterationDrifted(true, false);
    myActiveVehicle->setDefaultConfiguration(false);
    std::string const firstSetUp = "2x1, 0x4 default, 1x1 default, not crossed";
    EXPECT_EQ(firstSetUp, liveSetUp());

    switchTo(1);
    EXPECT_EQ(projectFiles, filesOf(first)) << "the first item takes the modules' own files";
    EXPECT_EQ(5u, first->getPreprocessingIterations()) << "1 file x (1 + 4 points of the channels)";
    EXPECT_FALSE(first->getMechanicalDefaultConfiguration());
    EXPECT_EQ(second->getFileList(), myActiveFileList);
    EXPECT_EQ(filesOf(second), liveFiles());
    EXPECT_EQ("1x1 default, 0x1 default, 1x1 default, not crossed", liveSetUp())
        << "an item never saved keeps the options in force";

    parameterOf(*myActiveUnit, "ADC Gain")->setRawDrift(1, 2, 1, 1, 0);
    myActiveComputationManager->setMechanicalSameIterationDrifted(false, false);
    myActivePreprocessing->setDefaultConfiguration(false);
    std::string const secondSetUp = "1x1 default, 0x1, 1x2 default, crossed";
    EXPECT_EQ(secondSetUp, liveSetUp());
    switchTo(0);
    EXPECT_EQ(first->getFileList(), myActiveFileList);
    EXPECT_EQ(projectFiles, liveFiles());
    EXPECT_EQ(firstSetUp, liveSetUp());
    switchTo(1);
    EXPECT_EQ(secondSetUp, liveSetUp());
    EXPECT_EQ(projectFiles, filesOf(first));
}

// The first item holds no file before its first save: its load keeps the modules as they are (the
// channels are not even made again) and runs the rest: file list, flags and drifts group, the latter
// refused during a run unless the host says that it runs.
TEST_F(cKynMultiPreprocessingMgrOfProjectTest, TheFirstItemBeforeItsFirstSaveKeepsTheLiveModules)
{
    cKynMultiPreprocessingMgr none;
    EXPECT_FALSE(none.LoadFromSelectedItem(false) || none.SaveToSelectedItem()) << "index 0 of no item";

    openProject();
    cKynMultiPreprocessingItem* const first = itemAt(0);
    std::vector<cCfgInputFile*> const files = liveFiles();
    std::vector<cChannel*> const made = channels();
    parameterOf(*myActiveVehicle, "Body Gain")->setRawDrift(1, 2, 0, 1, 0);
    myActiveComputationManager->saveComputationConfiguration(first->getDriftsData(), true);
    myActiveVehicle->resetAllDrifts();
    first->setAcquisitionDefaultConfiguration(false);
    myActiveFileList = nullptr;

    myActiveComputationManager->setComputationsState(computationsRunning);
    EXPECT_EQ(1372, lineOf([&] { manager().LoadFromSelectedItem(false); }));
    EXPECT_TRUE(manager().LoadFromSelectedItem(true));
    myActiveComputationManager->setComputationsState(computationsFinished);
    EXPECT_EQ(first->getFileList(), myActiveFileList);
    EXPECT_EQ(files, liveFiles());
    EXPECT_EQ(made, channels());
    EXPECT_EQ(std::vector<cCfgInputFile*>(3, nullptr), filesOf(first));
    EXPECT_EQ("1x3 default, 0x1 default, 1x1, crossed", liveSetUp());
}

// A module that fails to reload stops the load: the modules before it hold the new item's files, the
// others still the old one's, and no flag moves. The host goes back to the item it came from.
TEST_F(cKynMultiPreprocessingMgrOfProjectTest, AReloadFailurePassesThroughAndLeavesTheFlags)
{
    openProject();
    project->addNewMultiPreprocessingItem("Second");
    cKynMultiPreprocessingItem* const first = itemAt(0);
    cKynMultiPreprocessingItem* const second = itemAt(1);
    second->getPreprocessingData()->getTopGroup()->findConfigurationGroup("Channels List", true)->clear();
    second->setMechanicalDefaultConfiguration(false);
    second->setAcquisitionDefaultConfiguration(false);
    ASSERT_TRUE(manager().SaveToSelectedItem());
    manager().selectItemFromIndex(1);
    EXPECT_EQ(
        "cMissingItem|cPreprocessing::loadFromConfiguration|Missing channel \"ACU_X\".\nUnable to load the "
        "new preprocessing.",
        failureOf([&] { manager().LoadFromSelectedItem(false); }));
    EXPECT_EQ(second->getFileList(), myActiveFileList);
    EXPECT_EQ((std::vector<cCfgInputFile*>{second->getVehicleData(), first->getPreprocessingData(),
                                           first->getUnitData()}),
              liveFiles());
    EXPECT_TRUE(myActiveVehicle->isDefaultConfiguration() && myActiveUnit->isDefaultConfiguration());

    manager().selectItemFromIndex(0);
    ASSERT_TRUE(manager().LoadFromSelectedItem(false));
    EXPECT_EQ(filesOf(first), liveFiles());
}

// The first name receives and the second gives. The files are appended anew with their colour, use
// and selection; each module's tree is copied into the receiver's own file; the modified flags come
// from the giver unless its file is not the project's; a giver without files clears the list's flags.
TEST_F(cKynMultiPreprocessingMgrOfProjectTest, CopyGivesTheSecondNamedItemsSetUpToTheFirstNamed)
{
    std::filesystem::copy_file(tempPath("crash.csh"), tempPath("front_LSB_01.csh"));
    std::filesystem::copy_file(tempPath("preprocessing.prp"), tempPath("Reference.prp"));
    openProject();
    myActivePreprocessing->open("Reference.prp", tempFolder()); // saved under a name of its own
    cKynFile* const lsb = addCrash("front_LSB_01.csh");
    lsb->setColor(0x123);
    lsb->setSelectedStatus(true);
    myActiveFileList->addFile(tempPath("crash.bin").c_str(), nullptr)->setColor(0x456);
    parameterOf(*myActiveVehicle, "Body Gain")->setRawValue(3, /*update=*/true, /*applyLimits=*/true);
    myActiveComputationManager->setMechanicalSameIterationDrifted(true, false);
    cKynMultiPreprocessingItem* const giver = itemAt(0);
    giver->setMechanicalModifiedFlag(true);
    giver->setAcquisitionMajorModifiedFlag(true);
    ASSERT_TRUE(manager().SaveToSelectedItem());
    project->addNewMultiPreprocessingItem("Second");
    project->addNewMultiPreprocessingItem("Empty");
    cKynMultiPreprocessingItem* const receiver = itemAt(1);
    receiver->getFileList()->addFile(tempPath("crash.csh").c_str(), nullptr);
    std::vector<cCfgInputFile*> const receiverFiles = filesOf(receiver);
    auto const files = [](cKynMultiPreprocessingItem const* item)
    {
        std::ostringstream text;
        unsigned int cursor = 0;
        for (cKynFile const* f = item->getFileList()->firstFile(cursor); f != nullptr;
             f = item->getFileList()->nextFile(cursor))
            text << getShortName(f->getFileName()) << " " << std::hex << f->getColor() << " "
                 << f->isUsedFile() << f->getSelectedStatus() << "; ";
        return text.str();
    };
    auto const flags = [](cKynMultiPreprocessingItem const* item)
    {
        std::string text;
        for (bool flag : {item->getFileListModifiedFlag(), item->getFileListMajorModifiedFlag(),
                          item->getMechanicalModifiedFlag(), item->getMechanicalMajorModifiedFlag(),
                          item->getPreprocessingModifiedFlag(), item->getPreprocessingMajorModifiedFlag(),
                          item->getAcquisitionModifiedFlag(), item->getAcquisitionMajorModifiedFlag()})
            text += flag ? "1" : "0";
        return text;
    };
    auto const trees = [&](cKynMultiPreprocessingItem const* item)
    {
        std::vector<std::string> texts;
        for (cCfgInputFile const* file : filesOf(item))
            texts.push_back(cConfigurationWriter::write(*file->getTopGroup(), nullptr));
        return texts;
    };
    std::string const givenFiles = files(giver);
    ASSERT_NE(trees(giver), trees(receiver)) << "the first item's trees hold what its save wrote";

    manager().copySourceMultipreprocessingIntoDestinationMultipreprocessing("Second", "Default", nullptr);
    EXPECT_EQ("crash.csh 4639ff 00; front_LSB_01.csh 123 11; crash.bin 456 00; ", files(receiver));
    EXPECT_EQ(givenFiles, files(giver));
    EXPECT_EQ("11101101", flags(receiver)) << "the preprocessing file is not the project's";
    EXPECT_EQ(trees(giver), trees(receiver));
    EXPECT_EQ(receiverFiles, filesOf(receiver));
    EXPECT_EQ(tempPath("vehicle.vcl"), receiver->getVehicleData()->getFileName());
    EXPECT_EQ(itemsOf(*giver->getDriftsData()), itemsOf(*receiver->getDriftsData()));
    std::vector<std::string> reports;
    for (auto const& entry : messages.entries())
        reports.push_back(entry.kind + "|" + entry.title + "|" + entry.text);
    EXPECT_EQ(
        (std::vector<std::string>{"scroll|CRITICAL WARNING: Crash File (CSH) Incompatible with "
                                  "Preprocessing File Detected|The following crash files in LSB units "
                                  "have been loaded in a Reference preprocessing:\n\nfront_LSB_01.csh\n"}),
        reports);

    messages.clear();
    itemAt(2)->setAcquisitionModifiedFlag(true);
    manager().copySourceMultipreprocessingIntoDestinationMultipreprocessing("Second", "Empty", nullptr);
    EXPECT_EQ("00000010", flags(receiver)) << "the giver's own flags: its files are the project's";
    EXPECT_EQ(3u, receiver->getFileList()->getFilesNumber());
    EXPECT_TRUE(receiver->getDriftsData()->informationListEmpty());

    // Loaded, the receiver gives the giver's set-up back: the values and the option come with the drifts.
    manager().copySourceMultipreprocessingIntoDestinationMultipreprocessing("Empty", "Default", nullptr);
    switchTo(2);
    EXPECT_EQ("3x1 default, 0x1 default, 1x1 default, not crossed", liveSetUp());
}

#include "SimCore/cKynMultiPreprocessingMgr.h"

#include "BaseKit/IHostWindow.h"
#include "BaseKit/UserMessages.h"
#include "SimCore/cChannel.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cKynFileList.h"
#include "SimCore/cKynMultiPreprocessingItem.h"
#include "SimCore/cProject.h"
#include "SimCore/cUnit.h"
#include "SimCore/cVehicle.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cConfigurationGroup.h"

cKynMultiPreprocessingMgr* myActiveMultiPreprocessingMgr = nullptr;

namespace
{
// The host's notifications, with the item as first parameter.
uint32_t const kItemAdded = 2536;
uint32_t const kItemAboutToBeDeleted = 2537;
unsigned int const kNoIndex = 0xFFFFFFFF;
char const* const kNoItemName = "Error :\nThere is no item name";
char const* const kNoMatchingItem =
    "Error :\nThere is no item name corresponding in the list of multipreprocessing items";

void tellHost(uint32_t message, cKynMultiPreprocessingItem* item)
{
    SendMessageA(getMainWndH(), message, reinterpret_cast<uintptr_t>(item), 0);
}

// The module's tree written onto the root group of its own configuration file, which is then given to
// the selected item; null for a module without a file. The written tree is appended to what the file
// was loaded from, and a reload reads the first group of each name, i.e. the loaded content: the
// written one would not read back as a preprocessing (a channel writes its test group as "Tests List"
// but reads "Test"). The values and drifts come back through the item's drifts group.
template <class tModule> cCfgInputFile* buildOwnFile(tModule& module)
{
    cCfgInputFile* const file = module.getConfigurationFile();
    if (file != nullptr)
        module.buildFile(file->getTopGroup());
    return file;
}

// One module's share of an item, in the order in which a copy goes through them.
struct sModuleShare
{
    char const* projectKey;
    cCfgInputFile* (cKynMultiPreprocessingItem::*file)() const;
    bool (cKynMultiPreprocessingItem::*modified)() const;
    bool (cKynMultiPreprocessingItem::*majorModified)() const;
    void (cKynMultiPreprocessingItem::*setModified)(bool);
    void (cKynMultiPreprocessingItem::*setMajorModified)(bool);
};

typedef cKynMultiPreprocessingItem tItem;
sModuleShare const kModuleShares[] = {
    {"Vehicle", &tItem::getVehicleData, &tItem::getMechanicalModifiedFlag,
     &tItem::getMechanicalMajorModifiedFlag, &tItem::setMechanicalModifiedFlag,
     &tItem::setMechanicalMajorModifiedFlag},
    {"Preprocessing", &tItem::getPreprocessingData, &tItem::getPreprocessingModifiedFlag,
     &tItem::getPreprocessingMajorModifiedFlag, &tItem::setPreprocessingModifiedFlag,
     &tItem::setPreprocessingMajorModifiedFlag},
    {"Unit", &tItem::getUnitData, &tItem::getAcquisitionModifiedFlag, &tItem::getAcquisitionMajorModifiedFlag,
     &tItem::setAcquisitionModifiedFlag, &tItem::setAcquisitionMajorModifiedFlag},
};

bool holdsWholeSetUp(cKynMultiPreprocessingItem const& item)
{
    for (sModuleShare const& share : kModuleShares)
        if ((item.*share.file)() == nullptr)
            return false;
    return item.getFileList() != nullptr && item.getDriftsData() != nullptr;
}
} // namespace

cKynMultiPreprocessingMgr::cKynMultiPreprocessingMgr() = default;

cKynMultiPreprocessingMgr::~cKynMultiPreprocessingMgr()
{
    removeAllItems();
}

std::string cKynMultiPreprocessingMgr::getItemNameByIndex(unsigned int index) const
{
    return m_items[index]->getName();
}

bool cKynMultiPreprocessingMgr::selectFirstItem()
{
    if (m_items.empty())
        return false;
    m_selectedIndex = 0;
    return true;
}

bool cKynMultiPreprocessingMgr::selectNextItem()
{
    // Compared for equality only: an index already at or past the end of the list still moves on.
    if (m_selectedIndex + 1 == m_items.size())
        return false;
    ++m_selectedIndex;
    return true;
}

bool cKynMultiPreprocessingMgr::selectItemFromIndex(unsigned int index)
{
    if (index >= m_items.size())
        return false;
    m_selectedIndex = index;
    return true;
}

cKynMultiPreprocessingItem* cKynMultiPreprocessingMgr::addItem(std::string name)
{
    auto* const item = new cKynMultiPreprocessingItem(std::move(name));
    try
    {
        m_items.add(item);
    }
    catch (...)
    {
        delete item;
        throw;
    }
    tellHost(kItemAdded, item);
    return item;
}

void cKynMultiPreprocessingMgr::removeItem(cKynMultiPreprocessingItem* item)
{
    for (unsigned int i = 0; i < m_items.size(); ++i)
    {
        if (m_items[i] != item)
            continue;
        m_items.remove(i);
        item->clearData();
        tellHost(kItemAboutToBeDeleted, item);
        delete item;
        return;
    }
}

bool cKynMultiPreprocessingMgr::removeSelectedItem()
{
    // The last item stays: a project always has one set-up.
    if (m_items.size() < 2 || m_selectedIndex >= m_items.size())
        return false;
    cKynMultiPreprocessingItem* const item = m_items[m_selectedIndex];
    m_items.remove(m_selectedIndex);
    item->clearData();
    tellHost(kItemAboutToBeDeleted, item);
    delete item;
    if (m_selectedIndex != 0)
        --m_selectedIndex;
    return true;
}

void cKynMultiPreprocessingMgr::removeAllItems()
{
    for (unsigned int i = 0; i < m_items.size(); ++i)
    {
        cKynMultiPreprocessingItem* const item = m_items[i];
        // The live modules hold the selected item's files as their own and delete them themselves.
        if (i != m_selectedIndex)
            item->clearData();
        tellHost(kItemAboutToBeDeleted, item);
        delete item;
    }
    m_items.freeMemory();
}

bool cKynMultiPreprocessingMgr::LoadFromSelectedItem(bool whileRunning)
{
    if (m_selectedIndex >= m_items.size())
        return false;
    cKynMultiPreprocessingItem* const item = m_items[m_selectedIndex];
    myActiveFileList = item->getFileList();
    std::string const path = myActiveProject != nullptr ? myActiveProject->getLoadingPath() : std::string();
    // keepFile false: the module only holds the item's file and leaves the one it held, which belongs
    // to the item selected before, undeleted.
    if (myActiveVehicle != nullptr && item->getVehicleData() != nullptr)
        myActiveVehicle->loadFromConfiguration(item->getVehicleData(), path, false);
    if (myActivePreprocessing != nullptr && item->getPreprocessingData() != nullptr)
        myActivePreprocessing->loadFromConfiguration(item->getPreprocessingData(), path, false);
    if (myActiveUnit != nullptr && item->getUnitData() != nullptr)
        myActiveUnit->loadFromConfiguration(item->getUnitData(), path, false);
    // The flags belong to the item: a reload with keepFile false leaves the modules' own unchanged.
    if (myActiveVehicle != nullptr)
        myActiveVehicle->setDefaultConfiguration(item->getMechanicalDefaultConfiguration());
    if (myActivePreprocessing != nullptr)
        myActivePreprocessing->setDefaultConfiguration(item->getPreprocessingDefaultConfiguration());
    if (myActiveUnit != nullptr)
        myActiveUnit->setDefaultConfiguration(item->getAcquisitionDefaultConfiguration());
    // Options, values and drifts of vehicle, channels and unit. An item never saved has an empty
    // group: the drifts stay as the reloaded files left them.
    cConfigurationGroup* const drifts = item->getDriftsData();
    if (myActiveComputationManager != nullptr && drifts != nullptr && !drifts->informationListEmpty())
        myActiveComputationManager->loadComputationConfiguration(drifts, true, whileRunning);
    return true;
}

bool cKynMultiPreprocessingMgr::SaveToSelectedItem()
{
    if (m_selectedIndex >= m_items.size())
        return false;
    cKynMultiPreprocessingItem* const item = m_items[m_selectedIndex];
    // The item takes the modules' very files: while it is selected, the modules delete them.
    if (myActiveVehicle != nullptr)
        item->setVehicleData(buildOwnFile(*myActiveVehicle));
    if (myActivePreprocessing != nullptr)
        item->setPreprocessingData(buildOwnFile(*myActivePreprocessing));
    if (myActiveUnit != nullptr)
        item->setUnitData(buildOwnFile(*myActiveUnit));
    cConfigurationGroup* const drifts = item->getDriftsData();
    if (drifts != nullptr)
    {
        drifts->clear();
        if (myActiveComputationManager != nullptr)
            myActiveComputationManager->saveComputationConfiguration(drifts, true);
    }
    if (myActiveVehicle != nullptr)
        item->setMechanicalDefaultConfiguration(myActiveVehicle->isDefaultConfiguration());
    if (myActivePreprocessing != nullptr)
        item->setPreprocessingDefaultConfiguration(myActivePreprocessing->isDefaultConfiguration());
    if (myActiveUnit != nullptr)
        item->setAcquisitionDefaultConfiguration(myActiveUnit->isDefaultConfiguration());
    if (myActiveComputationManager != nullptr)
        myActiveComputationManager->computeAndSaveCurrentMultipreprocessingItemStepsPointNumber();
    return true;
}

void cKynMultiPreprocessingMgr::copySourceMultipreprocessingIntoDestinationMultipreprocessing(
    std::string first, std::string second, cCfgInputFile* crashMappingFile)
{
    // The first name receives, the second gives: cProject passes the host's arguments on unchanged.
    cKynMultiPreprocessingItem* const receiver = getItemFromName(first);
    cKynMultiPreprocessingItem* const giver = getItemFromName(second);
    cCfgInputFile* const projectFile =
        myActiveProject != nullptr ? myActiveProject->getConfigurationFile() : nullptr;
    if (receiver == nullptr || giver == nullptr || !holdsWholeSetUp(*receiver) || !holdsWholeSetUp(*giver) ||
        projectFile == nullptr)
        return;

    cKynFileList const* const given = giver->getFileList();
    // Counted first: an item copied into itself does not walk over the files it gains.
    unsigned int const count = given->getFilesNumber();
    for (unsigned int i = 0; i < count; ++i)
    {
        cKynFile* const file = given->getFile(static_cast<int>(i));
        receiver->addFile(file, crashMappingFile, file->getColor(), file->isUsedFile(),
                          file->getSelectedStatus());
    }
    receiver->setFileListModifiedFlag(count != 0);
    receiver->setFileListMajorModifiedFlag(count != 0);

    for (sModuleShare const& share : kModuleShares)
    {
        cCfgInputFile const* const from = (giver->*share.file)();
        // The content of the tree only: the receiver keeps its file object and its file name.
        *(receiver->*share.file)()->getTopGroup() = *from->getTopGroup();
        std::string value;
        projectFile->getTopGroup()->findItem("", share.projectKey, value, true);
        // A giver file of another name than the project's (saved under a name of the user's) counts as
        // modified in the receiver.
        bool const projectsOwn = from->getFileName().find(value) != std::string::npos;
        (receiver->*share.setModified)(projectsOwn ? (giver->*share.modified)() : true);
        (receiver->*share.setMajorModified)(projectsOwn ? (giver->*share.majorModified)() : true);
    }
    *receiver->getDriftsData() = *giver->getDriftsData();
    receiver->getFileList()->displayMessageForIncompatibleCrashFiles(true);
}

cKynMultiPreprocessingItem const* cKynMultiPreprocessingMgr::findMppItem(cKynFile const* file) const
{
    if (file == nullptr)
        return nullptr;
    for (cKynMultiPreprocessingItem const* item : getMultiPpItems())
        if (item->getFileList() != nullptr && item->getFileList()->containsFile(file))
            return item;
    return nullptr;
}

unsigned int cKynMultiPreprocessingMgr::getItemIndexByName(std::string name) const
{
    if (name.empty())
    {
        doErrorMessage(kNoItemName);
        return kNoIndex;
    }
    unsigned int const index = getItemIndexFromName(name);
    if (index == kNoIndex)
        doErrorMessage(kNoMatchingItem);
    return index;
}

cKynMultiPreprocessingItem* cKynMultiPreprocessingMgr::getItemFromName(std::string name) const
{
    if (m_items.empty())
        return nullptr;
    unsigned int const index = getItemIndexFromName(name);
    if (index == kNoIndex)
    {
        doErrorMessage(kNoMatchingItem);
        return nullptr;
    }
    return m_items[index];
}

unsigned int cKynMultiPreprocessingMgr::getItemIndexFromName(std::string name) const
{
    for (unsigned int i = 0; i < m_items.size(); ++i)
        if (m_items[i]->getName() == name)
            return i;
    return kNoIndex;
}

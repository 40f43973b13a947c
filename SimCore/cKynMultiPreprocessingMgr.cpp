#include "SimCore/cKynMultiPreprocessingMgr.h"

#include "BaseKit/IHostWindow.h"
#include "BaseKit/UserMessages.h"
#include "SimCore/cKynFileList.h"
#include "SimCore/cKynMultiPreprocessingItem.h"

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

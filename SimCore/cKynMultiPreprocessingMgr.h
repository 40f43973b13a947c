// cKynMultiPreprocessingMgr: the hardware set-ups of a project (one per project, published as
// myActiveMultiPreprocessingMgr). It owns the items in the order of adding, keeps which one is
// selected, and finds the item whose crash file list holds a given crash file. The host hears of items
// added and about to be deleted by window messages 2536 and 2537.
#pragma once
#include "BaseKit/cStorage.h"
#include "SimCore/cParameterMgr.h"
#include <cstdint>
#include <string>

class cKynFile;
class cKynMultiPreprocessingItem;

class cKynMultiPreprocessingMgr
{
public:
    cKynMultiPreprocessingMgr();
    cKynMultiPreprocessingMgr(cKynMultiPreprocessingMgr const&) = delete;
    cKynMultiPreprocessingMgr& operator=(cKynMultiPreprocessingMgr const&) = delete;
    // removeAllItems.
    virtual ~cKynMultiPreprocessingMgr();

    unsigned int getItemCount() const { return m_items.size(); }
    sParameterRange<cKynMultiPreprocessingItem> getMultiPpItems() const
    {
        return sParameterRange<cKynMultiPreprocessingItem>(m_items.data(), m_items.data() + m_items.size());
    }
    uint32_t getSelectedItemIndex() const { return m_selectedIndex; }
    // No range check: the caller knows the count.
    std::string getItemNameByIndex(unsigned int index) const;
    cKynMultiPreprocessingItem* getItemFromIndex(unsigned int index) const { return m_items[index]; }
    cKynMultiPreprocessingItem* getSelectedItem() const { return m_items[m_selectedIndex]; }

    bool selectFirstItem();
    // Compares for equality with the count only: on an empty manager it moves from 0 to 1.
    bool selectNextItem();
    bool selectItemFromIndex(unsigned int index);

    // Appends a new item and tells the host (2536, item pointer); the selection stays.
    cKynMultiPreprocessingItem* addItem(std::string name);
    // An unknown pointer does nothing; otherwise out of the list, clearData, 2537, deleted.
    void removeItem(cKynMultiPreprocessingItem* item);
    // Needs two items at least and a valid selection; the index goes down by one unless it is 0.
    bool removeSelectedItem();
    // Deletes every item; the files of the selected one stay with the live modules.
    void removeAllItems();

    // The first item whose file list holds this very object; null for null or none.
    cKynMultiPreprocessingItem const* findMppItem(cKynFile const* file) const;
    // Exact names, first match. 0xFFFFFFFF (and an error message) when there is none.
    unsigned int getItemIndexByName(std::string name) const;
    // Null (with the error message unless the list is empty) when there is none.
    cKynMultiPreprocessingItem* getItemFromName(std::string name) const;
    // 0xFFFFFFFF, silently, when there is none.
    unsigned int getItemIndexFromName(std::string name) const;

private:
    cStorage<cKynMultiPreprocessingItem*> m_items{2000};
    uint32_t m_selectedIndex = 0;
};

// The project's multi-preprocessing manager; null while no project has loaded its modules.
extern cKynMultiPreprocessingMgr* myActiveMultiPreprocessingMgr;

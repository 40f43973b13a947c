// cKynMultiPreprocessingMgr: the hardware set-ups of a project (one per project, published as
// myActiveMultiPreprocessingMgr). It owns the items in the order of adding, keeps which one is
// selected, moves a set-up between its item and the live modules (vehicle, preprocessing, unit, drifts),
// and copies one item's set-up into another. The host hears of items added and about to be deleted by
// window messages 2536 and 2537.
#pragma once
#include "BaseKit/cStorage.h"
#include "SimCore/cParameterMgr.h"
#include <cstdint>
#include <string>

class cCfgInputFile;
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

    // The host calls these two around a change of the selection (also during a run, on message 2067
    // for another item than the selected one: save, select, load with whileRunning true).
    // Load: the selected item's crash file list becomes the active one; the live modules reload from
    // the item's three files, which they hold from then on without deleting the files they held before
    // (those belong to the item selected before); the item's default configuration flags go to the
    // modules; a drifts group that holds information is loaded into the computation manager. A module
    // whose item file is null keeps its set-up: the first item holds no file before its first save,
    // and its set-up is then still the live one. A module's failure goes on: the modules loaded before
    // it stay loaded, the flags stay unchanged. False when the selected index is not below the count.
    bool LoadFromSelectedItem(bool whileRunning);
    // Save: each module writes its tree onto the root group of its configuration file (behind what the
    // file was loaded from, which is what a reload reads), and the selected item then holds that very
    // file (the first item receives its files so); the item's drifts group is filled anew with the
    // computation configuration, which carries the values and drifts; the modules' default
    // configuration flags and the step counts are kept in the item. False when the selected index is
    // not below the count.
    bool SaveToSelectedItem();
    // The item named first RECEIVES the set-up of the item named second: the order is the reverse of
    // what the name says and is kept so, since the project passes its arguments on unchanged. The
    // giver's crash files are appended to the receiver's list (file-list flags true; false when the
    // giver has none); the giver's vehicle, preprocessing and unit trees replace the receiver's (the
    // receiver keeps its file objects and names), with the giver's modified flags when the project's
    // key for the module occurs in the giver's file name, else both flags true; the drifts group is
    // copied; then the incompatible crash files are reported. Both items must exist (an unknown name
    // is reported by the look-up and nothing is copied), hold all three files and a file list, and a
    // project must be active. A project key that is missing throws, and what was copied by then stays.
    void copySourceMultipreprocessingIntoDestinationMultipreprocessing(std::string first, std::string second,
                                                                       cCfgInputFile* crashMappingFile);

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

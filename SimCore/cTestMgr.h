// cTestMgr: one test, the named result view an engineer looks at. Besides its display flags (raw
// values, crash colours, entry adjust, hot points) it holds the maintain-data set: the
// multi-preprocessing items whose results its graphs keep from one run to the next, so that one
// set-up can be compared with another. The computation threads read the flags and the set; they change
// only between runs.
#pragma once
#include "BaseKit/cTraceProvider.h"
#include <set>
#include <string>

class cKynFile;
class cKynMultiPreprocessingItem;

class cTestMgr
{
public:
    explicit cTestMgr(std::string testName);
    cTestMgr(cTestMgr const&) = delete;
    cTestMgr& operator=(cTestMgr const&) = delete;
    virtual ~cTestMgr();

    std::string const& getTestName() const { return m_testName; }
    ObjectLogger& getLogger() { return m_logger; }

    bool getHotPointsEnabled() const { return m_hotPointsEnabled; }
    void setHotPointsEnabled(bool enabled) { m_hotPointsEnabled = enabled; }
    bool getEntryAdjusted() const { return m_entryAdjusted; }
    void setEntryAdjusted(bool adjusted) { m_entryAdjusted = adjusted; }
    bool getCrashColor() const { return m_crashColor; }
    // Stores the flag; the views that apply it to their graphs come with the test views.
    void setCrashColor(bool crashColor) { m_crashColor = crashColor; }
    // True shows raw (LSB) values instead of converted ones.
    bool getLSB() const { return m_lsb; }
    void setLSB(bool lsb) { m_lsb = lsb; }

    // Texts for the host's report generator; this library does not read them.
    void setPathInformationGeneration(std::string a, std::string b, std::string c, std::string d);
    void setCSVPathInformationGeneration(std::string a, std::string b, std::string c);
    bool isPathInformationSet() const { return m_pathInformationSet; }
    std::string const& getPathText(unsigned int index) const { return m_paths[index]; }
    std::string const& getGenerationLabel() const { return m_generationLabel; }

    // The maintain-data set. Null does nothing; an item in the set leaves it, another enters it.
    void toggleMaintainData(cKynMultiPreprocessingItem const* item);
    // Every item of the active multi-preprocessing manager enters the set.
    void addAllMppItemsToMaintainData();
    void removeMaintainData(cKynMultiPreprocessingItem const* item) { m_maintainData.erase(item); }
    void clearMaintainData() { m_maintainData.clear(); }
    unsigned int getMaintainDataMppItemCount() const
    {
        return static_cast<unsigned int>(m_maintainData.size());
    }
    // The smallest pointer of the set, null when it is empty.
    cKynMultiPreprocessingItem const* getFirstMaintainDataMppItem() const;
    bool checkForMaintainData(cKynMultiPreprocessingItem const* item) const;
    // Whether the set holds the first item whose crash file list holds this file (null file: no item).
    bool checkForMaintainData(cKynFile const* file) const;

private:
    ObjectLogger m_logger;
    std::set<cKynMultiPreprocessingItem const*> m_maintainData;
    bool m_hotPointsEnabled = false;
    bool m_entryAdjusted = false;
    bool m_crashColor = false;
    bool m_lsb = false;
    bool m_pathInformationSet = false;
    std::string m_paths[4];
    std::string m_generationLabel = "Generate Excel";
    std::string m_testName;
};

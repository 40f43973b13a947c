// cTestMgr: one test, the named result view an engineer looks at. It owns its points of view (tabs
// of graphs, cTestMgrPointOfView), carries the display flags that their series read (raw values,
// crash colours, entry adjust, hot points) and the maintain-data set: the multi-preprocessing items
// whose results its graphs keep from one run to the next, so that one set-up can be compared with
// another. The computation threads read the flags and the set; they change only between runs.
// The test named "GVT" writes its views back into the algorithm file's "Tests List".
#pragma once
#include "BaseKit/cStorage.h"
#include "BaseKit/cTraceProvider.h"
#include <set>
#include <string>

class cConfigurationGroup;
class cKynFile;
class cKynMultiPreprocessingItem;
class cTestMgrPointOfView;

class cTestMgr
{
public:
    explicit cTestMgr(std::string testName);
    cTestMgr(cTestMgr const&) = delete;
    cTestMgr& operator=(cTestMgr const&) = delete;
    // Deletes the points of view, which delete their graphs.
    virtual ~cTestMgr();

    std::string const& getTestName() const { return m_testName; }
    ObjectLogger& getLogger() { return m_logger; }

    bool getHotPointsEnabled() const { return m_hotPointsEnabled; }
    void setHotPointsEnabled(bool enabled) { m_hotPointsEnabled = enabled; }
    bool getEntryAdjusted() const { return m_entryAdjusted; }
    void setEntryAdjusted(bool adjusted) { m_entryAdjusted = adjusted; }
    bool getCrashColor() const { return m_crashColor; }
    // Stores the flag and passes it on to every view's graphs and their objects.
    void setCrashColor(bool crashColor);
    // True shows raw (LSB) values instead of converted ones.
    bool getLSB() const { return m_lsb; }
    void setLSB(bool lsb) { m_lsb = lsb; }

    // The points of view, owned, in the order of addition. Adding one that is held already, or null,
    // changes nothing; cMemoryAllocationFailed leaves it the caller's.
    void addPointOfView(cTestMgrPointOfView* pointOfView);
    cTestMgrPointOfView* firstPointOfView(unsigned int& cursor) const { return m_pointsOfView.first(cursor); }
    cTestMgrPointOfView* nextPointOfView(unsigned int& cursor) const { return m_pointsOfView.next(cursor); }
    unsigned int getPointOfViewSize() const { return m_pointsOfView.size(); }
    cStorage<cTestMgrPointOfView*> const& getPointOfViews() const { return m_pointsOfView; }
    // The views that a report of this test shows; the host reads it, this library only keeps it.
    void setReportPovFilter(std::set<cTestMgrPointOfView*> const& filter) { m_reportPovFilter = filter; }
    std::set<cTestMgrPointOfView*> const& getReportPovFilter() const { return m_reportPovFilter; }
    // Legend on or off on every graph of every view.
    void setLegendEnabled(bool enabled);

    // The write-back into a test group kept as it was read, changed in place so that the host's
    // layout and keys stay. Views go in order against the sub-groups in order: each view takes the
    // next sub-group whose "Algo" is its algorithm, whose "Drawing Enable" becomes "yes-enable" or
    // "no-disable" as the view is enabled or not.
    void buildFile_Tests(cConfigurationGroup* group) const;
    // The k-th view with the k-th sub-group, and in it the g-th graph with the g-th sub-group when
    // that is a "Graph": the graph's "Drawing Enable" becomes "show" or "hide" (added when missing),
    // and in each sub-group named after one of its objects (a criterion or time event of the active
    // algorithm) "Drawing Enable" becomes "true" or "false" as the object is drawn or not.
    void buildFile_CriteriaTimeEvents(cConfigurationGroup* group) const;

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
    std::set<cTestMgrPointOfView*> m_reportPovFilter;
    std::set<cKynMultiPreprocessingItem const*> m_maintainData;
    cStorage<cTestMgrPointOfView*> m_pointsOfView{10};
    bool m_hotPointsEnabled = false;
    bool m_entryAdjusted = false;
    bool m_crashColor = false;
    bool m_lsb = false;
    bool m_pathInformationSet = false;
    std::string m_paths[4];
    std::string m_generationLabel = "Generate Excel";
    std::string m_testName;
};

// cTestMgrPointOfView: one tab of a test: the graphs it owns and the criteria and time events that it
// shows, all of one stage (vehicle, channel, unit or algorithm). Its two bases list those criteria
// and time events; they hold a link on each but the stage keeps them. A view is configured from a
// group of the stage's "Tests List" in one of three dialects (plain, with a description, or the
// "GVT" one that also carries the algorithm name, the enable state and the tab colours); each reads
// the "Graph" sub-groups into cScatterGraph objects on which the criteria and time events register.
#pragma once

#include "BaseKit/cStorage.h"
#include "SimCore/cCriterion.h"
#include "SimCore/cTimeEvent.h"

#include <string>

class cConfigurationGroup;
class cDriftManager;
class cGraph;
class cTestMgr;

class cTestMgrPointOfView : public cCriterionMgr, public cTimeEventMgr
{
public:
    // The stage to which the view belongs and the test that owns it; neither is owned.
    cTestMgrPointOfView(cDriftManager* stage, cTestMgr* test);
    cTestMgrPointOfView(cTestMgrPointOfView const&) = delete;
    cTestMgrPointOfView& operator=(cTestMgrPointOfView const&) = delete;
    // Deletes the graphs (clearGraphVector); the criteria and time events stay with their stage.
    ~cTestMgrPointOfView() override;

    // The three dialects. Plain: "Name" (mandatory), the graphs, the time events; enabled.
    virtual void setConfiguration(cConfigurationGroup* group);
    // "Name", "Algo" and "Drawing Enable" (mandatory), "Color" and "Text Color" (optional). Only
    // the text "yes-enable" enables the view and loads its graphs and time events: a disabled view
    // has no graph at all.
    virtual void setConfigurationGVT(cConfigurationGroup* group);
    // As the plain dialect, with the description given.
    virtual void setConfigurationPrp(cConfigurationGroup* group, std::string description);
    // Replaces the graphs by one cScatterGraph per "Graph" sub-group, with their criteria. A "Type"
    // other than "Scatter Graph" throws cUnknownGraphTypeException "Error at line number: <n>\n".
    // Null does nothing.
    virtual void loadGraphs(cConfigurationGroup* group);
    // Registers the time events on the graphs: either items "Time Event" (on every graph), or per
    // graph, the k-th sub-group of the group going with the k-th graph, its "Time Event" groups.
    virtual void loadTimeEvents(cConfigurationGroup* group);

    // The graphs, owned, in order.
    void addGraph(cGraph* graph);
    unsigned int getNbGraphs() const { return m_graphs.size(); }
    // cBadListIndex for an index not below the count.
    cGraph* getGraph(unsigned int index) const;
    cGraph* firstGraph(unsigned int& cursor) const { return m_graphs.first(cursor); }
    cGraph* nextGraph(unsigned int& cursor) const { return m_graphs.next(cursor); }
    cStorage<cGraph*> const& GetGraphs() const { return m_graphs; }
    // Takes each graph off the stage's criteria and time events and deletes it.
    void clearGraphVector();

    std::string const& getName() const { return m_name; }
    void setName(std::string const& name) { m_name = name; }
    std::string const& getDescription() const { return m_description; }
    void setDescription(std::string const& description) { m_description = description; }
    std::string const& getAlgo() const { return m_algo; }
    void setAlgo(std::string const& algo) { m_algo = algo; }
    bool getDrawingEnable() const { return m_drawingEnable; }
    void setDrawingEnable(bool enable) { m_drawingEnable = enable; }
    cTestMgr* getTest() const { return m_test; }
    unsigned int getParam() const { return m_param; }
    void setParam(unsigned int param) { m_param = param; }
    cDriftManager* getDriftManager() const { return m_stage; }
    unsigned long getTabColor() const { return m_tabColor; }
    unsigned long getTabTextColor() const { return m_tabTextColor; }

    // Stores the flag in each graph and lets the view's criteria, then its time events, recolour
    // their objects on it.
    void crashColorChanged(bool crashColor);
    void setLegendEnabled(bool enabled);

private:
    // Reads one "Graph" group into a new graph (registered on its criteria); the graph is the
    // caller's, and on a failure it has been taken off the criteria again and deleted.
    cGraph* loadGraph(cConfigurationGroup* group, std::string const& algo);
    void loadCurves(cConfigurationGroup* group, cGraph* graph, std::vector<std::string>& names);
    void loadGraphTimeEvents(cConfigurationGroup* group, cGraph* graph);
    // Adds the criterion or time event of the stage to this view, unless it is there already.
    void show(cCriterion* criterion);
    void show(cTimeEvent* timeEvent);

    cStorage<cGraph*> m_graphs{10};
    std::string m_name;
    std::string m_description;
    std::string m_algo;
    bool m_drawingEnable = false;
    cTestMgr* m_test;
    unsigned int m_param = 0;
    cDriftManager* m_stage;
    unsigned long m_tabColor = 0xf0f0f0;
    unsigned long m_tabTextColor = 0;
};

#include "SimCore/cTestMgr.h"

#include "PlotKit/cGraph.h"
#include "SimCore/cAlgorithm.h"
#include "SimCore/cKynMultiPreprocessingItem.h"
#include "SimCore/cKynMultiPreprocessingMgr.h"
#include "SimCore/cTestMgrPointOfView.h"
#include "StoreKit/cConfigurationGroup.h"

#include <vector>

cTestMgr::cTestMgr(std::string testName) : m_logger("Test"), m_testName(std::move(testName)) {}

void cTestMgr::setPathInformationGeneration(std::string a, std::string b, std::string c, std::string d)
{
    // The host's report generator reads the texts in this order.
    m_paths[0] = std::move(a);
    m_paths[1] = std::move(d);
    m_paths[2] = std::move(c);
    m_paths[3] = std::move(b);
    m_pathInformationSet = true;
}

void cTestMgr::setCSVPathInformationGeneration(std::string a, std::string b, std::string c)
{
    m_paths[2] = std::move(a);
    m_paths[1] = std::move(b);
    m_generationLabel = std::move(c);
    m_pathInformationSet = true;
}

void cTestMgr::toggleMaintainData(cKynMultiPreprocessingItem const* item)
{
    if (item == nullptr)
        return;
    if (m_maintainData.erase(item) == 0)
        m_maintainData.insert(item);
}

void cTestMgr::addAllMppItemsToMaintainData()
{
    if (myActiveMultiPreprocessingMgr == nullptr)
        return;
    for (cKynMultiPreprocessingItem const* item : myActiveMultiPreprocessingMgr->getMultiPpItems())
        if (item != nullptr)
            m_maintainData.insert(item);
}

cKynMultiPreprocessingItem const* cTestMgr::getFirstMaintainDataMppItem() const
{
    return m_maintainData.empty() ? nullptr : *m_maintainData.begin();
}

bool cTestMgr::checkForMaintainData(cKynMultiPreprocessingItem const* item) const
{
    return m_maintainData.count(item) != 0;
}

bool cTestMgr::checkForMaintainData(cKynFile const* file) const
{
    cKynMultiPreprocessingItem const* const item = file != nullptr && myActiveMultiPreprocessingMgr != nullptr
                                                       ? myActiveMultiPreprocessingMgr->findMppItem(file)
                                                       : nullptr;
    // A file of no item asks for the null entry, which nothing puts in the set.
    return m_maintainData.count(item) != 0;
}

cTestMgr::~cTestMgr()
{
    for (unsigned int k = 0; k < m_pointsOfView.size(); ++k)
        delete m_pointsOfView[k];
    m_pointsOfView.clear();
}

void cTestMgr::addPointOfView(cTestMgrPointOfView* pointOfView)
{
    if (pointOfView == nullptr)
        return;
    for (unsigned int k = 0; k < m_pointsOfView.size(); ++k)
        if (m_pointsOfView[k] == pointOfView)
            return;
    m_pointsOfView.add(pointOfView);
}

void cTestMgr::setCrashColor(bool crashColor)
{
    m_crashColor = crashColor;
    for (unsigned int k = 0; k < m_pointsOfView.size(); ++k)
        m_pointsOfView[k]->crashColorChanged(crashColor);
}

void cTestMgr::setLegendEnabled(bool enabled)
{
    for (unsigned int k = 0; k < m_pointsOfView.size(); ++k)
        m_pointsOfView[k]->setLegendEnabled(enabled);
}

void cTestMgr::buildFile_Tests(cConfigurationGroup* group) const
{
    std::vector<cConfigurationGroup*> const groups = group->GetConfigurationGroups();
    std::size_t next = 0;
    for (unsigned int k = 0; k < m_pointsOfView.size(); ++k)
    {
        cTestMgrPointOfView const* const view = m_pointsOfView[k];
        // The view's group is the first one from here on that names its algorithm.
        std::string algo;
        while (next < groups.size() &&
               (groups[next]->findItem("", "Algo", algo, false) == 0 || algo != view->getAlgo()))
            ++next;
        if (next == groups.size())
            return;
        cConfigurationGroup* const viewGroup = groups[next++];
        std::string enable;
        if (viewGroup->findItem("", "Drawing Enable", enable, false) == 0)
            continue;
        if (view->getDrawingEnable() && enable != "yes-enable")
            viewGroup->replaceString(enable, "yes-enable");
        else if (!view->getDrawingEnable() && enable == "yes-enable")
            viewGroup->replaceString(enable, "no-disable");
    }
}

namespace
{
template <class Manager> bool holdsName(Manager const& manager, std::string const& name)
{
    for (auto const* parameter : manager.GetParameters())
        if (parameter->getName() == name)
            return true;
    return false;
}

// The "Drawing Enable" text of a curve or mark group, rewritten to the state of the object shown.
void writeObjectState(cConfigurationGroup* group, bool drawn)
{
    std::string enable;
    if (group->findItem("", "Drawing Enable", enable, false) == 0)
        return;
    if (drawn && enable == "false")
        group->replaceString(enable, "true");
    else if (!drawn && enable == "true")
        group->replaceString(enable, "false");
}

// A graph's "Drawing Enable" ("show" / "hide", added when missing), then that of each sub-group
// named after one of its objects, when the name is a criterion or time event of the algorithm.
void writeGraphState(cConfigurationGroup* group, cGraph const* graph)
{
    std::string enable;
    if (group->findItem("", "Drawing Enable", enable, false) == 0)
        group->addInformation("Drawing Enable", graph->isShown() ? "show" : "hide");
    else if (enable == "show" && !graph->isShown())
        group->replaceString(enable, "hide");
    else if (enable == "hide" && graph->isShown())
        group->replaceString(enable, "show");
    if (myActiveAlgorithm == nullptr)
        return;
    cCriterionMgr const& criteria = *myActiveAlgorithm;
    cTimeEventMgr const& timeEvents = *myActiveAlgorithm;
    std::vector<cConfigurationGroup*> const curves = group->GetConfigurationGroups();
    unsigned int cursor = 0;
    for (cGraphObject const* object = graph->firstGraphObject(cursor); object != nullptr;
         object = graph->nextGraphObject(cursor))
        for (cConfigurationGroup* curve : curves)
        {
            std::string name;
            if (curve->findItem("", "Name", name, false) != 0 && name == object->GetLabel() &&
                (holdsName(criteria, name) || holdsName(timeEvents, name)))
                writeObjectState(curve, object->GetDrawingEnabled());
        }
}
} // namespace

void cTestMgr::buildFile_CriteriaTimeEvents(cConfigurationGroup* group) const
{
    std::vector<cConfigurationGroup*> const viewGroups = group->GetConfigurationGroups();
    for (unsigned int k = 0; k < m_pointsOfView.size() && k < viewGroups.size(); ++k)
    {
        cTestMgrPointOfView const* const view = m_pointsOfView[k];
        std::vector<cConfigurationGroup*> const graphGroups = viewGroups[k]->GetConfigurationGroups();
        for (unsigned int g = 0; g < view->getNbGraphs() && g < graphGroups.size(); ++g)
            if (graphGroups[g]->getName() == "Graph")
                writeGraphState(graphGroups[g], view->getGraph(g));
    }
}

#include "SimCore/cTestMgrPointOfView.h"

#include "BaseKit/cKynException.h"
#include "PlotKit/cScatterGraph.h"
#include "SimCore/cAlgorithm.h"
#include "SimCore/cDriftManager.h"
#include "SimCore/cTestMgr.h"
#include "StoreKit/cConfigurationGroup.h"

#include <memory>
#include <vector>

namespace
{
char const* const kSource = "SimCore/cTestMgrPointOfView";

// An optional text key of the group; `fallback` when absent.
std::string optionalText(cConfigurationGroup const* group, char const* key, std::string fallback)
{
    group->findItem("", key, fallback, false);
    return fallback;
}

std::string mandatoryText(cConfigurationGroup const* group, char const* key)
{
    std::string value;
    group->findItem("", key, value, true);
    return value;
}

// The path under which criteria and time events keep their per-graph settings.
std::string graphPath(cGraph const* graph)
{
    return graph->getTestName() + "." + graph->GetGraphTitle();
}
} // namespace

cTestMgrPointOfView::cTestMgrPointOfView(cDriftManager* stage, cTestMgr* test)
    : cCriterionMgr("Criterion", "Criteria List"), cTimeEventMgr("Time Event", "Time Events List"),
      m_test(test), m_stage(stage)
{
}

cTestMgrPointOfView::~cTestMgrPointOfView()
{
    clearGraphVector();
}

void cTestMgrPointOfView::setConfiguration(cConfigurationGroup* group)
{
    m_name = mandatoryText(group, "Name");
    loadGraphs(group);
    loadTimeEvents(group);
    m_drawingEnable = true;
}

void cTestMgrPointOfView::setConfigurationPrp(cConfigurationGroup* group, std::string description)
{
    m_name = mandatoryText(group, "Name");
    m_description = std::move(description);
    loadGraphs(group);
    loadTimeEvents(group);
    m_drawingEnable = true;
}

void cTestMgrPointOfView::setConfigurationGVT(cConfigurationGroup* group)
{
    m_name = mandatoryText(group, "Name");
    m_algo = mandatoryText(group, "Algo");
    std::string const enable = mandatoryText(group, "Drawing Enable");
    unsigned int colour = 0;
    if (group->findItem("", "Color", colour, false) != 0)
        m_tabColor = colour;
    if (group->findItem("", "Text Color", colour, false) != 0)
        m_tabTextColor = colour;
    m_drawingEnable = enable == "yes-enable";
    if (!m_drawingEnable)
        return; // a disabled view costs nothing: no graph at all
    loadGraphs(group);
    loadTimeEvents(group);
}

void cTestMgrPointOfView::loadGraphs(cConfigurationGroup* group)
{
    if (group == nullptr)
        return;
    clearGraphVector();
    std::string const algo = optionalText(group, "Algo", m_algo);
    for (cConfigurationGroup* graphGroup : group->GetConfigurationGroups())
    {
        if (graphGroup->getName() != "Graph")
            continue;
        cGraph* const graph = loadGraph(graphGroup, algo);
        try
        {
            addGraph(graph);
        }
        catch (...)
        {
            m_stage->removeGraph(graph);
            delete graph;
            throw;
        }
    }
}

cGraph* cTestMgrPointOfView::loadGraph(cConfigurationGroup* group, std::string const& algo)
{
    if (mandatoryText(group, "Type") != "Scatter Graph")
    {
        int line = 0;
        group->findItemLineNumber("Type", line, false);
        throw cUnknownGraphTypeException(kSource, "cTestMgrPointOfView::loadGraphs", __LINE__,
                                         "Error at line number: " + std::to_string(line) + "\n");
    }
    auto graph = std::make_unique<cScatterGraph>();
    try
    {
        graph->setTestAlgo(algo);
        graph->SetGraphTitle(mandatoryText(group, "Name"));
        graph->SetTestName(m_name);
        std::string text;
        if (group->findItem("", "Drawing Enable", text, false) != 0)
            graph->show(text == "show");
        cTestGraphParameter& links = graph->getParameter();
        if (group->findItem("", "Abscissa", text, false) != 0)
        {
            cCriterion* const abscissa = m_stage->cCriterionMgr::getParameter(text);
            show(abscissa);
            abscissa->registerGraph(graph.get(), true);
            links.abscissaCriterion = abscissa;
        }
        if (group->findItem("", "Entry Adjust", text, false) != 0)
        {
            // The entry time is an event of the algorithm whatever stage the view shows.
            cTimeEventMgr* const events =
                myActiveAlgorithm != nullptr ? static_cast<cTimeEventMgr*>(myActiveAlgorithm) : m_stage;
            links.referenceTimeEvent = events->getParameter(text);
        }
        graph->SetXAbscissaTitle(optionalText(group, "X Title", ""));
        graph->SetYAbscissaTitle(optionalText(group, "Y Title", ""));
        graph->setPath(graphPath(graph.get()));
        links.test = m_test;
        std::vector<std::string> names;
        loadCurves(group, graph.get(), names);
        graph->setCriterionList(names);
    }
    catch (...)
    {
        // The criteria registered so far must not keep a graph that is about to go.
        m_stage->removeGraph(graph.get());
        throw;
    }
    return graph.release();
}

void cTestMgrPointOfView::loadCurves(cConfigurationGroup* group, cGraph* graph,
                                     std::vector<std::string>& names)
{
    if (group->GetChildCount() == 0)
    {
        // The short form: one item "Criterion" per curve, each shown.
        for (sInformationItem const& item : group->getInformationRange())
        {
            if (item.key != "Criterion")
                continue;
            names.push_back(item.value);
            cCriterion* const criterion = m_stage->cCriterionMgr::getParameter(item.value);
            show(criterion);
            criterion->registerGraph(graph, true);
        }
        return;
    }
    std::string const path = graphPath(graph);
    for (cConfigurationGroup* curve : group->GetConfigurationGroups())
    {
        if (curve->getName() != "Criterion")
            continue;
        std::string const name = mandatoryText(curve, "Name");
        names.push_back(name);
        cCriterion* const criterion = m_stage->cCriterionMgr::getParameter(name);
        std::string const enable = optionalText(curve, "Drawing Enable", "none");
        criterion->setPath(optionalText(curve, "Path", ""));
        criterion->insertTestGraphPathNameCrit(path, criterion->getPath());
        criterion->insertTestGraphPathCritVisible(path, false);
        criterion->insertParentCritSelectMap(path, false);
        criterion->insertCritSelectMap(path, false);
        show(criterion);
        criterion->registerGraph(graph, enable == "true");
    }
}

void cTestMgrPointOfView::loadTimeEvents(cConfigurationGroup* group)
{
    if (group == nullptr || group->informationListEmpty())
        return;
    // The short form: leading items "Time Event", each shown on every graph.
    for (sInformationItem const& item : group->getInformationRange())
    {
        if (item.key != "Time Event")
        {
            // The long form: the k-th sub-group goes with the k-th graph, whatever its name, so the
            // order of the groups in the file has to match that of the "Graph" groups.
            std::vector<cConfigurationGroup*> const groups = group->GetConfigurationGroups();
            for (unsigned int k = 0; k < groups.size() && k < m_graphs.size(); ++k)
                if (groups[k]->getName() == "Graph")
                    loadGraphTimeEvents(groups[k], m_graphs[k]);
            return;
        }
        cTimeEvent* const timeEvent = m_stage->cTimeEventMgr::getParameter(item.value);
        show(timeEvent);
        for (unsigned int k = 0; k < m_graphs.size(); ++k)
            timeEvent->registerGraph(m_graphs[k], true);
    }
}

void cTestMgrPointOfView::loadGraphTimeEvents(cConfigurationGroup* group, cGraph* graph)
{
    std::string const path = graphPath(graph);
    std::vector<std::string> names;
    for (cConfigurationGroup* mark : group->GetConfigurationGroups())
    {
        if (mark->getName() != "Time Event")
            continue;
        std::string const name = mandatoryText(mark, "Name");
        names.push_back(name);
        cTimeEvent* const timeEvent = m_stage->cTimeEventMgr::getParameter(name);
        std::string const enable = optionalText(mark, "Drawing Enable", "none");
        timeEvent->setPath(optionalText(mark, "Path", ""));
        timeEvent->insertTestGraphPathName(path, timeEvent->getPath());
        timeEvent->insertTestGraphPathTEVisible(path, false);
        timeEvent->insertParentTESelectMap(path, false);
        timeEvent->insertTESelectMap(path, false);
        show(timeEvent);
        timeEvent->registerGraph(graph, enable == "true");
    }
    graph->setTimeEventList(names);
}

void cTestMgrPointOfView::show(cCriterion* criterion)
{
    try
    {
        cCriterionMgr::addParameter(criterion);
    }
    catch (cParameterStillExistException const&)
    {
        // Shown already, on another graph of this view.
    }
}

void cTestMgrPointOfView::show(cTimeEvent* timeEvent)
{
    try
    {
        cTimeEventMgr::addParameter(timeEvent);
    }
    catch (cParameterStillExistException const&)
    {
    }
}

void cTestMgrPointOfView::addGraph(cGraph* graph)
{
    m_graphs.add(graph);
}

cGraph* cTestMgrPointOfView::getGraph(unsigned int index) const
{
    if (index >= m_graphs.size())
        throw cBadListIndex(kSource, "cTestMgrPointOfView::getGraph", __LINE__);
    return m_graphs[index];
}

void cTestMgrPointOfView::clearGraphVector()
{
    for (unsigned int k = 0; k < m_graphs.size(); ++k)
    {
        // The stage's criteria and time events drop their objects on the graph before it goes.
        if (m_stage != nullptr)
            m_stage->removeGraph(m_graphs[k]);
        delete m_graphs[k];
    }
    m_graphs.clear();
}

void cTestMgrPointOfView::crashColorChanged(bool crashColor)
{
    for (unsigned int k = 0; k < m_graphs.size(); ++k)
    {
        m_graphs[k]->setCrashColor(crashColor);
        cCriterionMgr::crashColorChanged(m_graphs[k]);
        cTimeEventMgr::crashColorChanged(m_graphs[k]);
    }
}

void cTestMgrPointOfView::setLegendEnabled(bool enabled)
{
    for (unsigned int k = 0; k < m_graphs.size(); ++k)
    {
        if (enabled)
            m_graphs[k]->EnableLegend();
        else
            m_graphs[k]->DisableLegend();
    }
}

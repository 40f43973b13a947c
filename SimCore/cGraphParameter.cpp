#include "SimCore/cGraphParameter.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"
#include "PlotKit/cGraph.h"
#include "PlotKit/cGraphObject.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cDriftParameter.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cKynFileList.h"
#include "SimCore/cKynMultiPreprocessingMgr.h"
#include "SimCore/cSymbolManager.h"
#include "SimCore/cTestGraphSquare.h"
#include "SimCore/cTestMgr.h"
#include "StoreKit/cConfigurationGroup.h"

#include <memory>

namespace
{
char const* const kSource = "SimCore/cGraphParameter";

// Whether the test of this graph keeps the results of the file from one run to the next.
bool graphMaintains(cGraph const* graph, cKynFile const* file)
{
    cTestMgr const* const test = graph->getParameter().test;
    return test != nullptr && test->checkForMaintainData(file);
}

// Whether some parameter of the pipeline carries a drift, that is whether a run has several iterations.
bool anyParameterDrifted()
{
    if (myActiveComputationManager == nullptr)
        return false;
    cStorage<cDriftParameter*> drifted(10);
    myActiveComputationManager->getDriftedParametersList(drifted);
    for (unsigned int i = 0; i < drifted.size(); ++i)
        if (drifted[i] != nullptr && drifted[i]->isDriftSet())
            return true;
    return false;
}

// Removes every occurrence of the graph from the list.
void removeAll(cStorage<cGraph const*>& graphs, cGraph const* graph)
{
    for (unsigned int i = graphs.size(); i-- > 0;)
        if (graphs[i] == graph)
            graphs.remove(i);
}

bool contains(cStorage<cGraph const*> const& graphs, cGraph const* graph)
{
    for (unsigned int i = 0; i < graphs.size(); ++i)
        if (graphs[i] == graph)
            return true;
    return false;
}
} // namespace

// ---- cParameterValuesForOneFile ----------------------------------------------------------------

cParameterValuesForOneFile::cParameterValuesForOneFile(cKynFile* crashFile) : m_crashFile(crashFile) {}

cParameterValuesForOneFile::~cParameterValuesForOneFile()
{
    // The graphs own the objects: taking them out of their graphs deletes them there.
    for (auto const& entry : m_graphObjects)
        const_cast<cGraph*>(entry.first)->RemoveObject(entry.second);
    m_graphObjects.clear();
}

void cParameterValuesForOneFile::removeGraph(cGraph const* graph)
{
    m_graphObjects.erase(graph);
}

void cParameterValuesForOneFile::changeFile() {}

std::string cParameterValuesForOneFile::getCrashFileName() const
{
    return m_crashFile == nullptr ? std::string() : getShortName(m_crashFile->getFileName());
}

long cParameterValuesForOneFile::getCrashFileColor() const
{
    return m_crashFile == nullptr ? 0 : m_crashFile->getColor();
}

cGraphObject* cParameterValuesForOneFile::getGraphObject(cGraph const* const graph, bool mustExist) const
{
    auto const found = m_graphObjects.find(graph);
    if (found != m_graphObjects.end())
        return found->second;
    if (mustExist)
        throw cBadGraphObjectReference(kSource, "cParameterValuesForOneFile::getGraphObject", __LINE__);
    return nullptr;
}

void cParameterValuesForOneFile::activateGraph(cGraph const* graph, bool on)
{
    cGraphObject* const object = getGraphObject(graph, false);
    if (object == nullptr)
        return;
    object->setToBeDrawn(on);
    if (graph->getParameter().abscissaCriterion == nullptr)
        return;
    // With drifts the marks gather many iterations that cannot be computed again from the curves.
    if (anyParameterDrifted())
        return;
    // A mark on a graph against an abscissa is placed on the curves shown, which just changed.
    cStorage<cGraphObject*> const& objects = graph->getGraphObjects();
    for (unsigned int i = 0; i < objects.size(); ++i)
    {
        auto* const square = dynamic_cast<cTestGraphSquare*>(objects[i]);
        if (square == nullptr)
            continue;
        bool const toBeDrawn = square->GetDrawingEnabled();
        auto const* const file = reinterpret_cast<cKynFile const*>(square->GetCrashFileAddress());
        if (!graphMaintains(graph, file))
            square->clear();
        square->setToBeDrawn(toBeDrawn);
        square->setComputedOnce(false);
        square->setReferenceTimeEvent(nullptr);
        square->computeResults();
    }
}

// ---- cGraphParameter ---------------------------------------------------------------------------

cGraphParameter::cGraphParameter(cConfigurationGroup* group, std::string const& ownerName)
    : cParameter(group, ownerName), m_graphs(10), m_activeGraphs(10)
{
    configureOrAbandon([&] { setConfiguration(group); });
}

cGraphParameter::~cGraphParameter()
{
    m_activeValues = nullptr;
    for (auto const& entry : m_values)
        delete entry.second;
    m_values.clear();
    m_graphs.freeMemory();
    m_activeGraphs.freeMemory();
    m_drawingEnable.clear();
}

void cGraphParameter::setConfiguration(cConfigurationGroup* group)
{
    m_color = 0;
    if (group == nullptr)
        return;
    std::string text;
    if (group->findItem("", "Color", text, false) == 0)
        return;
    TrimLeftAndRight(text, " \t\n", false);
    if (text.compare(0, 2, "0x") != 0)
    {
        // A colour name such as "RED_4" is a constant of the symbol manager. A name it does not know
        // is no failure (the equation parser throws for one): the colour stays 0, unreported.
        mpf_class value;
        try
        {
            if (myActiveSymbolManager != nullptr &&
                myActiveSymbolManager->getConstantValue(text, value, true))
                m_color = value.get_si();
        }
        catch (cKynException const&)
        {
            m_color = 0;
        }
        return;
    }
    long color = 0;
    group->findItem("", "Color", color, false, true);
    m_color = color;
}

void cGraphParameter::buildFile(cConfigurationGroup* group, int flags)
{
    cParameter::buildFile(group, flags);
    if (group == nullptr)
        return;
    group->addInformation("Color", m_color, true);
}

void cGraphParameter::registerGraph(cGraph const* const graph, bool active)
{
    m_graphs.add(graph);
    if (active)
        m_activeGraphs.add(graph);
    m_drawingEnable.emplace(graph, active);
}

bool cGraphParameter::isGraphRegistered(cGraph const* const graph) const
{
    return contains(m_graphs, graph);
}

void cGraphParameter::activateGraph(cGraph const* graph, bool on)
{
    auto const flag = m_drawingEnable.find(graph);
    if (on)
    {
        if (!contains(m_activeGraphs, graph))
        {
            m_activeGraphs.add(graph);
            if (flag != m_drawingEnable.end())
                flag->second = true;
        }
    }
    else
    {
        for (unsigned int i = m_activeGraphs.size(); i-- > 0;)
        {
            if (m_activeGraphs[i] != graph)
                continue;
            m_activeGraphs.remove(i);
            if (flag != m_drawingEnable.end())
                flag->second = false;
        }
    }
    for (auto const& entry : m_values)
        if (entry.second != nullptr)
            entry.second->activateGraph(graph, on);
}

bool cGraphParameter::getDrawingEnable(cGraph const* const graph) const
{
    auto const found = m_drawingEnable.find(graph);
    return found != m_drawingEnable.end() && found->second;
}

void cGraphParameter::setDrawingEnable(cGraph const* const graph, std::string text)
{
    // Views write the flag as "true" or "false"; any other text, "True" included, is false.
    m_drawingEnable[graph] = text == "true";
}

void cGraphParameter::removeGraph(cGraph const* const graph)
{
    for (auto const& entry : m_values)
        if (entry.second != nullptr)
            entry.second->removeGraph(graph);
    removeAll(m_graphs, graph);
    removeAll(m_activeGraphs, graph);
    m_drawingEnable.erase(graph);
}

void cGraphParameter::crashColorChanged(cGraph const* const graph)
{
    if (!isGraphRegistered(graph))
        return;
    for (auto const& entry : m_values)
        if (entry.second != nullptr)
            entry.second->crashColorChanged(entry.first, graph);
}

cGraph const* cGraphParameter::getGraphbyNameandTest(std::string graphTitle, std::string testName) const
{
    for (unsigned int i = 0; i < m_graphs.size(); ++i)
        if (m_graphs[i]->GetGraphTitle() == graphTitle && m_graphs[i]->getTestName() == testName)
            return m_graphs[i];
    return nullptr;
}

void cGraphParameter::removeValuesFromCrashFile(unsigned long long crashFileAddress)
{
    auto const covered = [crashFileAddress](cKynFile const* file)
    {
        if (crashFileAddress != 0)
            return reinterpret_cast<unsigned long long>(file) == crashFileAddress;
        return myActiveFileList != nullptr && myActiveFileList->containsFile(file);
    };
    if (m_activeValues != nullptr && covered(m_activeValues->getCrashFile()))
        m_activeValues = nullptr;
    for (auto entry = m_values.begin(); entry != m_values.end();)
    {
        if (entry->second != nullptr && covered(entry->first))
        {
            delete entry->second;
            entry = m_values.erase(entry);
        }
        else
            ++entry;
    }
}

cParameterValuesForOneFile* cGraphParameter::getValueList(cKynFile const* file) const
{
    auto const found = m_values.find(file);
    if (found == m_values.end())
        throw cBadTimeEventValueReference(kSource, "cGraphParameter::getValueList", __LINE__);
    return found->second;
}

cParameterValuesForOneFile* cGraphParameter::getValueListOrNull(cKynFile const* file) const
{
    auto const found = m_values.find(file);
    return found == m_values.end() ? nullptr : found->second;
}

void cGraphParameter::prepareForTest()
{
    // The pipeline changes the file before the first iteration; nothing to do before that.
    if (m_activeValues != nullptr)
        m_activeValues->prepareForTest();
}

void cGraphParameter::endOfIteration()
{
    if (m_activeValues != nullptr)
        m_activeValues->endOfIteration();
}

void cGraphParameter::changeFile()
{
    cKynFile* const file = myActiveFile;
    auto found = m_values.find(file);
    if (found == m_values.end())
    {
        std::unique_ptr<cParameterValuesForOneFile> values(createNewValuesForOneFile(file));
        values->reset(m_graphs, m_activeGraphs, m_drawingEnable);
        found = m_values.emplace(file, values.get()).first;
        values.release();
    }
    else if (found->second == nullptr)
    {
        // An entry kept empty on purpose: its new values start without the graphs' objects.
        found->second = createNewValuesForOneFile(file);
    }
    if (m_activeValues != nullptr)
        m_activeValues->changeFile();
    m_activeValues = found->second;
}

bool cGraphParameter::isMaintainedByATest(cKynFile const* file) const
{
    if (myActiveMultiPreprocessingMgr == nullptr)
        return false;
    cKynMultiPreprocessingItem const* const item = myActiveMultiPreprocessingMgr->findMppItem(file);
    for (unsigned int i = 0; i < m_graphs.size(); ++i)
    {
        cTestMgr const* const test = m_graphs[i]->getParameter().test;
        if (test != nullptr && test->checkForMaintainData(item))
            return true;
    }
    return false;
}

void cGraphParameter::reset()
{
    m_activeValues = nullptr;
    for (auto entry = m_values.begin(); entry != m_values.end();)
    {
        cKynFile* const file = entry->first;
        bool const inSomeItem = myActiveMultiPreprocessingMgr != nullptr &&
                                myActiveMultiPreprocessingMgr->findMppItem(file) != nullptr;
        bool keep = false;
        if (inSomeItem && entry->second != nullptr)
            keep = file->isUsedFile() || isMaintainedByATest(file);
        if (keep)
        {
            entry->second->reset(m_graphs, m_activeGraphs, m_drawingEnable);
            ++entry;
        }
        else
        {
            // The values of a file nobody computes nor keeps go, and their objects leave the graphs.
            delete entry->second;
            entry = m_values.erase(entry);
        }
    }
}

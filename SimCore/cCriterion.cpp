#include "SimCore/cCriterion.h"

#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "BaseKit/cTraceProvider.h"
#include "PlotKit/cGraph.h"
#include "SimCore/cAlgorithm.h"
#include "SimCore/cEquation.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cKynFileList.h"
#include "SimCore/cTestGraphHotPoint.h"
#include "SimCore/cTestGraphSerie.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cConfigurationGroup.h"

#include <memory>
#include <vector>

// ---- cCriterionValuesForOneFile ----------------------------------------------------------------

cCriterionValuesForOneFile::cCriterionValuesForOneFile(cCriterion* criterion, cKynFile* crashFile)
    : cParameterValuesForOneFile(crashFile), m_criterion(criterion)
{
}

cCriterionValuesForOneFile::~cCriterionValuesForOneFile()
{
    // The private series belong to no graph: they leave the object map before they are deleted, so
    // that the base destructor only hands the graphs the objects they hold.
    for (unsigned int i = 0; i < m_privateSeries.size(); ++i)
    {
        for (auto entry = m_graphObjects.begin(); entry != m_graphObjects.end();)
        {
            if (entry->second == m_privateSeries[i])
                entry = m_graphObjects.erase(entry);
            else
                ++entry;
        }
        delete m_privateSeries[i];
    }
    m_privateSeries.freeMemory();
    m_values.freeMemory();
}

void cCriterionValuesForOneFile::cleanIfNotUsed()
{
    if (!m_isUsed)
        m_values.freeMemory();
}

void cCriterionValuesForOneFile::addSpecificPoints(cStorage<float>& xs, cStorage<float>& ys)
{
    for (auto const& entry : m_graphObjects)
        if (auto* const series = dynamic_cast<cTestGraphSerie*>(entry.second))
            series->addSpecificPoints(xs, ys);
}

void cCriterionValuesForOneFile::addSpecificPoints(cStorage<float>& xs, cStorage<float>& ys,
                                                   mpf_class const& xFactor, mpf_class const& yFactor)
{
    for (auto const& entry : m_graphObjects)
        if (auto* const series = dynamic_cast<cTestGraphSerie*>(entry.second))
            series->addSpecificPoints(xs, ys, mpf_class(xFactor, xFactor.get_prec()),
                                      mpf_class(yFactor, yFactor.get_prec()));
}

void cCriterionValuesForOneFile::removeGraph(cGraph const* graph)
{
    cParameterValuesForOneFile::removeGraph(graph);
    m_isUsed = !m_graphObjects.empty() || m_criterion->isForceUse();
}

void cCriterionValuesForOneFile::reset(cStorage<cGraph const*>& graphs, cStorage<cGraph const*>&,
                                       std::map<cGraph const*, bool>& drawingEnable)
{
    cEquation* const factor = m_criterion->getConversionFactorParameter();
    mpf_class const value = factor != nullptr ? factor->evaluate() : mpf_class(1);
    m_conversionFactor.set_prec(value.get_prec());
    m_conversionFactor = value;
    m_values.freeMemory();
    m_isUsed = m_criterion->isForceUse();
    // Every registered graph gets a series, shown or not: activation only decides the drawing.
    for (unsigned int i = 0; i < graphs.size(); ++i)
    {
        cGraph const* const graph = graphs[i];
        m_isUsed = true;
        auto const flag = drawingEnable.find(graph);
        bool const drawingEnabled = flag != drawingEnable.end() && flag->second;
        bool const giveToGraph = graph->getParameter().abscissaCriterion != m_criterion;
        addGraphObject(const_cast<cGraph*>(graph), m_criterion->getName(), m_criterion->getColor(),
                       giveToGraph, drawingEnabled);
    }
}

void cCriterionValuesForOneFile::addGraphObject(cGraph* const graph, std::string const& label, long colour,
                                                bool giveToGraph, bool drawingEnabled)
{
    if (cGraphObject* const existing = getGraphObject(graph, false))
    {
        if (auto* const series = dynamic_cast<cTestGraphSerie*>(existing))
            series->reset(series->GetDrawingEnabled());
        return;
    }
    bool const overTime = graph->getParameter().abscissaCriterion == nullptr;
    auto series = std::make_unique<cTestGraphSerie>(overTime ? eSerieYT : eSerieYX);
    series->SetLabel(label);
    series->setGraph(graph);
    series->setDefaultColor(static_cast<unsigned long>(colour));
    series->setToBeDrawn(drawingEnabled);
    series->setOrdinate(this);
    for (unsigned int i = 0;; ++i)
    {
        std::unique_ptr<cTestGraphHotPoint> hotPoint(m_criterion->createHotPointCopy(i));
        if (hotPoint == nullptr)
            break;
        hotPoint->setTimeAbscissa(overTime);
        series->addHotPoint(hotPoint.get());
        hotPoint.release();
    }
    // A criterion that is the graph's abscissa is computed for the other curves but never drawn.
    if (giveToGraph)
        graph->AddObject(series.get());
    else
        m_privateSeries.add(series.get());
    m_graphObjects[graph] = series.release();
}

void cCriterionValuesForOneFile::endOfIteration()
{
    for (auto const& entry : m_graphObjects)
    {
        auto* const series = dynamic_cast<cTestGraphSerie*>(entry.second);
        if (series == nullptr || series->getGraph() == nullptr || !series->getGraphEnableStatus())
            continue;
        series->computeResults(m_crashFile, m_criterion->isShortcuted(),
                               m_criterion->isCrashColorActivated());
    }
}

void cCriterionValuesForOneFile::prepareForTest()
{
    // The memory stays for the next iteration of the same file.
    m_values.clear();
    m_lastValue = 0.0f;
    m_hasPoints = false;
}

void cCriterionValuesForOneFile::changeFile()
{
    // The series hold what the curve gave; the curve of a file that is no longer computed goes.
    m_values.freeMemory();
}

void cCriterionValuesForOneFile::crashColorChanged(cKynFile const* file, cGraph const* graph)
{
    auto* const series = dynamic_cast<cTestGraphSerie*>(getGraphObject(graph, false));
    if (series == nullptr || series->getGraph() == nullptr)
        return;
    series->crashColorChanged(file, m_criterion->isCrashColorActivated());
}

// ---- cCriterion --------------------------------------------------------------------------------

cCriterion::cCriterion(cConfigurationGroup* group, std::string const& ownerName, bool forceUse)
    : cGraphParameter(group, ownerName), m_forceUse(forceUse)
{
    try
    {
        setConfiguration(group);
    }
    catch (...)
    {
        for (unsigned int i = 0; i < m_hotPoints.size(); ++i)
            delete m_hotPoints[i];
        m_hotPoints.freeMemory();
        abandonRegistration();
        throw;
    }
}

cCriterion::~cCriterion()
{
    for (unsigned int i = 0; i < m_hotPoints.size(); ++i)
        delete m_hotPoints[i];
    m_hotPoints.freeMemory();
}

void cCriterion::setConfiguration(cConfigurationGroup* group)
{
    if (group == nullptr)
        return;
    group->findItem("", "Crash Color", m_crashColor, false);
    group->findItem("", "Default Sampling Rate", m_defaultSamplingRate, false);
    for (cConfigurationGroup* const subGroup : group->GetConfigurationGroups())
    {
        if (subGroup->getName() != "Hot Point")
            continue;
        std::unique_ptr<cTestGraphHotPoint> hotPoint;
        try
        {
            hotPoint = std::make_unique<cTestGraphHotPoint>(subGroup, static_cast<unsigned long>(m_color),
                                                            "Hot Point");
        }
        catch (cKynException& failure)
        {
            // One bad hot point must not cost the criterion: report it and load the others.
            doException(failure);
            doInformationMessage("Criterion \"" + m_name + "\": hot point ignored.");
            continue;
        }
        m_hotPoints.add(hotPoint.get());
        cTestGraphHotPoint const* const added = hotPoint.release();
        KYN_TRACE_GLOBAL(4, "Hot point (" + added->getAbscissaParameter()->getRegistrationName() + ", " +
                                added->getOrdinateParameter()->getRegistrationName() +
                                ") added to criterion " + m_name);
    }
}

cCriterionValuesForOneFile* cCriterion::getCriterionValueList(cKynFile const* const file) const
{
    return static_cast<cCriterionValuesForOneFile*>(getValueList(file));
}

cTestGraphHotPoint* cCriterion::createHotPointCopy(unsigned int index) const
{
    if (index >= m_hotPoints.size())
        return nullptr;
    cTestGraphHotPoint const* const source = m_hotPoints[index];
    std::unique_ptr<cEquation> condition(cEquation::cloneEquation(source->getCondition()));
    auto* const copy = new cTestGraphHotPoint(source->getAbscissaParameter(), source->getOrdinateParameter(),
                                              condition.get(), source->getColor(), source->GetLabel());
    condition.release();
    return copy;
}

void cCriterion::addSpecificPoints(cStorage<float>& xs, cStorage<float>& ys, double xFactor, double yFactor)
{
    cCriterionValuesForOneFile* const values = getActiveCriterionValuesForOneFile();
    if (values != nullptr)
        values->addSpecificPoints(xs, ys, mpf_class(xFactor), mpf_class(yFactor));
}

void cCriterion::insertTestGraphPathNameCrit(std::string graphPath, std::string path)
{
    m_testGraphNames.emplace(std::move(graphPath), std::move(path));
}

void cCriterion::insertTestGraphPathCritVisible(std::string graphPath, bool visible)
{
    m_testGraphVisible.emplace(std::move(graphPath), visible);
}

bool cCriterion::setCriterionVisibility(std::string const& graphPath, bool visible)
{
    return m_testGraphVisible.insert_or_assign(graphPath, visible).second;
}

void cCriterion::insertParentCritSelectMap(std::string graphPath, bool selected)
{
    m_parentSelect.emplace(std::move(graphPath), selected);
}

bool cCriterion::setParentSelection(std::string const& graphPath, bool selected)
{
    return m_parentSelect.insert_or_assign(graphPath, selected).second;
}

void cCriterion::insertCritSelectMap(std::string graphPath, bool selected)
{
    m_select.emplace(std::move(graphPath), selected);
}

bool cCriterion::setCriterionSelection(std::string const& graphPath, bool selected)
{
    return m_select.insert_or_assign(graphPath, selected).second;
}

cParameterValuesForOneFile* cCriterion::createNewValuesForOneFile(cKynFile* const file)
{
    return new cCriterionValuesForOneFile(this, file);
}

void cCriterion::buildFile(cConfigurationGroup* group, int flags)
{
    cGraphParameter::buildFile(group, flags);
    if (group == nullptr)
        return;
    if ((flags & kFileKeyCrashColor) != 0)
        group->addInformation("Crash Color", m_crashColor);
    if ((flags & kFileKeyDefaultSamplingRate) != 0 && m_defaultSamplingRate != 0.0f)
        group->addInformation("Default Sampling Rate", mpf_class(m_defaultSamplingRate), 12);
    if ((flags & kFileKeyTimeAbscissa) != 0 && myActiveAlgorithm != nullptr)
    {
        // "Time Abscissa" is a setting of the algorithm's own file, copied into the criterion's group.
        cCfgInputFile* const file = myActiveAlgorithm->getConfigurationFile();
        cConfigurationGroup const* const list =
            file == nullptr ? nullptr : file->getTopGroup()->findConfigurationGroup("Criteria List", false);
        if (list != nullptr)
        {
            for (cConfigurationGroup const* const item : list->GetConfigurationGroups())
            {
                std::string name;
                if (item->findItem("", "Name", name, false) == 0 || name != m_name)
                    continue;
                std::string timeAbscissa;
                if (item->findItem("", "Time Abscissa", timeAbscissa, false) != 0)
                    group->addInformation("Time Abscissa", timeAbscissa);
                break;
            }
        }
    }
    // The condition of a hot point is not written back: only the two parameters are.
    for (unsigned int i = 0; i < m_hotPoints.size(); ++i)
    {
        auto hotPointGroup = std::make_unique<cConfigurationGroup>("Hot Point");
        hotPointGroup->addInformation("Abscissa",
                                      m_hotPoints[i]->getAbscissaParameter()->getRegistrationName());
        hotPointGroup->addInformation("Ordinate",
                                      m_hotPoints[i]->getOrdinateParameter()->getRegistrationName());
        group->addConfigurationGroup(hotPointGroup.release());
    }
}

// ---- cCriterionMgr -----------------------------------------------------------------------------

cCriterionMgr::cCriterionMgr(std::string const& itemName, std::string const& listName)
    : cGraphParameterMgr<cCriterion>(itemName, listName)
{
}

cCriterion* cCriterionMgr::getCriterion(std::string const& name)
{
    for (cCriterion* c : GetParameters())
        if (c->getNameRef() == name)
            return c;
    throw cBadReference("SimCore/cParameterMgr", "cBasicParameterMgr<class cCriterion>::getParameter", 94,
                        name);
}

void cCriterionMgr::RemoveValuesForOneFile(unsigned long long crashFileAddress)
{
    if (crashFileAddress != 0)
        return;
    // Collected first: removing closes the gap in the list being walked.
    std::vector<cCriterion*> leaving;
    for (cCriterion* const criterion : GetParameters())
    {
        cCriterionValuesForOneFile const* const values = criterion->getActiveCriterionValuesForOneFile();
        unsigned long long const address = values == nullptr ? 0 : values->getCrashFileAddress();
        bool const inCurrentList = myActiveFileList != nullptr &&
                                   myActiveFileList->containsFile(reinterpret_cast<cKynFile const*>(address));
        if (address == 0 || inCurrentList)
            leaving.push_back(criterion);
    }
    for (cCriterion* const criterion : leaving)
        removeParameter(criterion);
}

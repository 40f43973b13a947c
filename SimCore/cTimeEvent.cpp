#include "SimCore/cTimeEvent.h"

#include "BaseKit/cKynException.h"
#include "PlotKit/cGraph.h"
#include "SimCore/cAlgorithm.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cTestGraphSquare.h"
#include "SimCore/cTestMgr.h"
#include "StoreKit/cConfigurationGroup.h"

#include <memory>

namespace
{
// Growth step of the drift combination kept with each histogram value.
unsigned int const kCombinationGrowthStep = 20;

// Whether the graph's test keeps the results of this crash file across runs.
bool isMaintainedByGraphTest(cGraph const* graph, cKynFile const* file)
{
    cTestMgr const* const test = graph->getParameter().test;
    return test != nullptr && test->checkForMaintainData(file);
}

// Sets the flag of an existing or new key; true when the key was new.
bool setFlag(cTimeEvent::tFlagMap& map, std::string const& key, bool flag)
{
    return map.insert_or_assign(key, flag).second;
}
} // namespace

// ---------------------------------------------------------------------------------------------------
// sIterationHistogramRecord

sIterationHistogramRecord::sIterationHistogramRecord() : combination(kCombinationGrowthStep) {}

sIterationHistogramRecord::~sIterationHistogramRecord()
{
    for (unsigned int i = 0; i < combination.size(); ++i)
        delete combination[i];
    combination.freeMemory();
}

// ---------------------------------------------------------------------------------------------------
// cTimeEventValuesForOneFile

cTimeEventValuesForOneFile::cTimeEventValuesForOneFile(cTimeEvent* timeEvent, cKynFile* crashFile)
    : cParameterValuesForOneFile(crashFile), m_timeEvent(timeEvent)
{
}

cTimeEventValuesForOneFile::~cTimeEventValuesForOneFile()
{
    clearHistogram();
    m_iterationValues.freeMemory();
}

void cTimeEventValuesForOneFile::clearHistogram()
{
    for (auto& entry : m_histogram)
        delete entry.second;
    m_histogram.clear();
}

long cTimeEventValuesForOneFile::getPrecisionFrequency() const
{
    return m_timeEvent->getPrecisionFrequency();
}

bool cTimeEventValuesForOneFile::computeDisplacement() const
{
    return m_timeEvent->computeDisplacement();
}

double cTimeEventValuesForOneFile::getIterationNbrValue(unsigned int index) const
{
    long const ticks = m_iterationValues.at(index);
    if (ticks == -1)
        return -1.0;
    return double(ticks) * (1000.0 / double(getPrecisionFrequency()));
}

structTTF* cTimeEventValuesForOneFile::findFileStructTTF() const
{
    if (!m_timeEvent->isFileLinked() || m_crashFile == nullptr)
        return nullptr;
    return m_crashFile->findStructTTF(m_timeEvent);
}

void cTimeEventValuesForOneFile::setTargetTimeWithDisplacement(mpf_class const& targetDisplacement,
                                                               float offset)
{
    // The target is a property of the nominal run: later iterations drift the vehicle.
    if (m_iterationCount != 0 || myActiveAlgorithm == nullptr)
        return;
    cStorage<mpfClass*> const displacements = myActiveAlgorithm->getDisplacementList();
    mpf_class const factor = myActiveAlgorithm->getDisplacementConversionFactor();
    for (unsigned int i = 0; i < displacements.size(); ++i)
    {
        mpf_class const converted = displacements[i]->get() * factor;
        if (converted >= targetDisplacement)
        {
            m_targetNom = myActiveAlgorithm->getTimeValueInMs(i) - offset;
            return;
        }
    }
}

// The parts of addLastIterationValue, defined first and inline: it runs once per iteration.
inline void cTimeEventValuesForOneFile::countInHistogram(long value)
{
    auto const found = m_histogram.find(value);
    if (found != m_histogram.end())
    {
        ++found->second->count;
        return;
    }
    auto record = std::make_unique<sIterationHistogramRecord>();
    record->count = 1;
    if (myActiveComputationManager != nullptr)
        myActiveComputationManager->getIterationConvertedDriftCombination(m_iterationCount,
                                                                          record->combination);
    m_histogram.emplace(value, record.get());
    record.release();
}

inline void cTimeEventValuesForOneFile::startExtremes(long value, bool withDisplacement,
                                                      mpf_class const& algorithmMax)
{
    if (withDisplacement)
    {
        // A no-fire has no instant: the whole travel of the vehicle stands for it.
        m_maxDisplacement = value == -1 ? algorithmMax : m_computedDisplacement;
        m_nomDisplacement = m_maxDisplacement;
        m_minDisplacement = m_nomDisplacement;
    }
    m_minValue = value;
    m_nomValue = value;
    m_maxValue = value;
}

inline void cTimeEventValuesForOneFile::widenDisplacements(long value, mpf_class const& algorithmMax)
{
    if (value == -1)
    {
        if (m_minValue == -1 && algorithmMax > m_minDisplacement)
            m_minDisplacement = algorithmMax;
        if (m_maxValue == -1 && algorithmMax > m_maxDisplacement)
            m_maxDisplacement = algorithmMax;
        return;
    }
    if (m_minValue == value)
    {
        if (m_computedDisplacement > m_minDisplacement)
            m_minDisplacement = m_computedDisplacement;
    }
    else if (m_minValue > value || m_minValue == -1)
    {
        m_minDisplacement = m_computedDisplacement;
    }
    if (m_maxValue == value)
    {
        if (m_computedDisplacement > m_maxDisplacement)
            m_maxDisplacement = m_computedDisplacement;
    }
    else if (m_maxValue < value)
    {
        m_maxDisplacement = m_computedDisplacement;
    }
}

inline void cTimeEventValuesForOneFile::widenExtremes(long value)
{
    // A no-fire never displaces a real value, and a real value always displaces a no-fire.
    if ((value != -1 && value < m_minValue) || m_minValue == -1)
        m_minValue = value;
    if (m_maxValue < value)
        m_maxValue = value;
}

void cTimeEventValuesForOneFile::addLastIterationValue()
{
    long const value = m_iterationValue;
    countInHistogram(value);

    bool const withDisplacement = computeDisplacement();
    // The algorithm's largest displacement stands in for a no-fire only: the walk over its whole list
    // is made for that case alone, not at every iteration of a study.
    mpf_class algorithmMax(0);
    if (withDisplacement && value == -1 && myActiveAlgorithm != nullptr)
        algorithmMax = myActiveAlgorithm->getMaxDisplacement();

    if (m_iterationCount == 0)
    {
        startExtremes(value, withDisplacement, algorithmMax);
    }
    else
    {
        // The displacements compare with the extremes before this value widens them.
        if (withDisplacement)
            widenDisplacements(value, algorithmMax);
        widenExtremes(value);
    }

    if (myActiveAlgorithm != nullptr && myActiveAlgorithm->isFullMarginFeatureRequested())
        m_iterationValues.add(value);
    ++m_iterationCount;
}

void cTimeEventValuesForOneFile::reset(cStorage<cGraph const*>& graphs, cStorage<cGraph const*>&,
                                       std::map<cGraph const*, bool>& drawingEnable)
{
    m_iterationValue = -1;
    m_minValue = -1;
    m_nomValue = -1;
    m_maxValue = -1;
    m_iterationCount = 0;
    m_iterationValues.clear();
    clearHistogram();
    m_conversionFactor = m_timeEvent->getConversionFactor();

    // An extra time event belongs to one algorithm type: it is marked only on the graphs of a test
    // of that type.
    bool const isExtra = myActiveAlgorithm != nullptr && myActiveAlgorithm->isExtraTimeEvent(m_timeEvent);
    std::string const algoType = m_timeEvent->getAlgoType();
    std::string const label = m_timeEvent->getName();
    for (unsigned int i = 0; i < graphs.size(); ++i)
    {
        cGraph const* const graph = graphs[i];
        if (isExtra && algoType.find(graph->getTestAlgo()) == std::string::npos)
            continue;
        auto const flag = drawingEnable.find(graph);
        bool const drawingEnabled = flag != drawingEnable.end() && flag->second;
        // The graph owns its objects and must be changed to take one.
        addGraphObject(const_cast<cGraph*>(graph), label, drawingEnabled);
    }
}

void cTimeEventValuesForOneFile::addGraphObject(cGraph* const graph, std::string const& label,
                                                bool drawingEnabled)
{
    auto const existing = m_graphObjects.find(graph);
    if (existing != m_graphObjects.end())
    {
        auto* const square = dynamic_cast<cTestGraphSquare*>(existing->second);
        if (square == nullptr)
            return;
        if (!isMaintainedByGraphTest(graph, m_crashFile))
            square->clear();
        square->setToBeDrawn(drawingEnabled);
        square->setReferenceTimeEvent(nullptr);
        square->setComputedOnce(false);
        return;
    }

    bool const againstCriterion = graph->getParameter().abscissaCriterion != nullptr;
    auto square =
        std::make_unique<cTestGraphSquare>(againstCriterion ? eSquareRectangle : eSquareVerticalLine);
    square->SetLabel(label);
    square->setGraph(graph);
    square->setToBeDrawn(drawingEnabled);
    square->setTimeEvent(this);
    m_graphObjects[graph] = square.get();
    try
    {
        graph->AddObject(square.get());
    }
    catch (...)
    {
        // The graph did not take it: it stays ours and goes.
        m_graphObjects.erase(graph);
        throw;
    }
    square.release();
}

void cTimeEventValuesForOneFile::prepareForTest()
{
    m_iterationValue = -1;
}

void cTimeEventValuesForOneFile::endOfIteration()
{
    for (auto const& entry : m_graphObjects)
    {
        auto* const square = dynamic_cast<cTestGraphSquare*>(entry.second);
        if (square != nullptr)
            square->computeResults();
    }
    addLastIterationValue();
}

void cTimeEventValuesForOneFile::crashColorChanged(cKynFile const*, cGraph const*)
{
    // A mark takes the event's colour, never the crash file's.
}

// ---------------------------------------------------------------------------------------------------
// cTimeEvent

cTimeEvent::cTimeEvent(cConfigurationGroup* group, std::string const& ownerName)
    : cGraphParameter(group, ownerName)
{
    // The base registered the name; nothing may keep pointing at a half-built event.
    configureOrAbandon([&] { setConfiguration(group); });
    setUnit("ms");
    m_constructed = true;
}

cTimeEvent::~cTimeEvent() = default;

void cTimeEvent::setConfiguration(cConfigurationGroup* group)
{
    if (group == nullptr)
        return;
    group->findItem("", "File Link", m_fileLink, false);
    group->findItem("", "Compute Displacement", m_computeDisplacement, false);
    // Crash files that carry expected values are checked by the margin tests unless told otherwise.
    m_marginTestLink = m_fileLink;
    group->findItem("", "Margin Test Link", m_marginTestLink, false);
    group->findItem("", "Always Active", m_alwaysActive, false);
    group->findItem("", "Margin Test Path", m_marginTestPath, false);
    group->findItem("", "Algorithm", m_algoType, false);
    group->findItem("", "Category", m_category, false);
    group->findItem("", "Sable Name", m_sableName, false);
    group->findItem("", "Reference", m_reference, false);
    group->findItem("", "Reference Displacement", m_referenceDisplacement, false);
}

cTimeEventValuesForOneFile* cTimeEvent::getTimeEventValueList(cKynFile const* const file) const
{
    return static_cast<cTimeEventValuesForOneFile*>(getValueList(file));
}

bool cTimeEvent::isMarginTestRegistered(cTestMgr const* const test) const
{
    for (unsigned int i = 0; i < m_marginTests.size(); ++i)
        if (m_marginTests[i] == test)
            return true;
    return false;
}

void cTimeEvent::removeMarginTest(cTestMgr const* const test)
{
    for (unsigned int i = 0; i < m_marginTests.size(); ++i)
    {
        if (m_marginTests[i] == test)
        {
            m_marginTests.remove(i);
            return;
        }
    }
}

void cTimeEvent::insertTestGraphPathName(std::string graphPath, std::string path)
{
    m_testGraphNames.insert({std::move(graphPath), std::move(path)});
}

void cTimeEvent::insertTestGraphPathTEVisible(std::string graphPath, bool visible)
{
    m_testGraphVisible.insert({std::move(graphPath), visible});
}

bool cTimeEvent::setTeVisibility(std::string const& graphPath, bool visible)
{
    return setFlag(m_testGraphVisible, graphPath, visible);
}

void cTimeEvent::insertParentTESelectMap(std::string graphPath, bool selected)
{
    m_parentSelect.insert({std::move(graphPath), selected});
}

bool cTimeEvent::setTeParentSelection(std::string const& graphPath, bool selected)
{
    return setFlag(m_parentSelect, graphPath, selected);
}

void cTimeEvent::insertTESelectMap(std::string graphPath, bool selected)
{
    m_select.insert({std::move(graphPath), selected});
}

bool cTimeEvent::setTeSelection(std::string const& graphPath, bool selected)
{
    return setFlag(m_select, graphPath, selected);
}

bool cTimeEvent::canBeStopped() const
{
    // A shown event needs the whole crash, whatever its value.
    if (!m_graphs.empty())
        return false;
    if (m_marginTests.empty())
        return true;
    cTimeEventValuesForOneFile const* const values = getActiveTimeEventValuesForOneFile();
    return values != nullptr && values->isSet();
}

cParameterValuesForOneFile* cTimeEvent::createNewValuesForOneFile(cKynFile* const file)
{
    return new cTimeEventValuesForOneFile(this, file);
}

void cTimeEvent::buildFile(cConfigurationGroup* group, int flags)
{
    cGraphParameter::buildFile(group, flags);
    // "Margin Test Link", "Margin Test Path" and "Always Active" are never written: they belong to the
    // configuration that was read, and a rewritten file drops them on purpose.
    if (flags & kFileKeySableName)
        group->addInformation("Sable Name", m_sableName);
    if (flags & kFileKeyFileLink)
        group->addInformation("File Link", m_fileLink);
    if (flags & kFileKeyCategory)
        group->addInformation("Category", m_category);
    if (flags & kFileKeyAlgorithm)
        group->addInformation("Algorithm", m_algoType);
    if (flags & kFileKeyComputeDisplacement)
        group->addInformation("Compute Displacement", m_computeDisplacement);
    if (flags & kFileKeyReference)
        group->addInformation("Reference", m_reference);
    if (flags & kFileKeyReferenceDisplacement)
        group->addInformation("Reference Displacement", m_referenceDisplacement);
}

std::string cTimeEvent::findOptValue(cKynFile* file, ETtfKind kind)
{
    if (!m_fileLink)
        return "NotDef";
    return file->findStructTTF(this)->asString(kind, getPrecisionValue());
}

// ---------------------------------------------------------------------------------------------------
// cTimeEventMgr

cTimeEventMgr::cTimeEventMgr(std::string const& itemName, std::string const& listName)
    : cGraphParameterMgr<cTimeEvent>(itemName, listName)
{
}

bool cTimeEventMgr::canBeStopped() const
{
    unsigned int i = 0;
    for (cTimeEvent const* event = firstParameter(i); event != nullptr; event = nextParameter(i))
        if (!event->canBeStopped())
            return false;
    return true;
}

void cTimeEventMgr::removeMarginTest(cTestMgr const* const test)
{
    unsigned int i = 0;
    for (cTimeEvent* event = firstParameter(i); event != nullptr; event = nextParameter(i))
        event->removeMarginTest(test);
}

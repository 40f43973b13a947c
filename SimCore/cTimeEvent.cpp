#include "SimCore/cTimeEvent.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"
#include "PlotKit/cCountGraphSerie.h"
#include "PlotKit/cGraph.h"
#include "PlotKit/cMinNomMaxByStringGraphSerie.h"
#include "PlotKit/cMinNomMaxByValueGraphSerie.h"
#include "SimCore/cAlgorithm.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cDriftParameter.h"
#include "SimCore/cKynFileList.h"
#include "SimCore/cTestGraphSquare.h"
#include "SimCore/cTestMgr.h"
#include "StoreKit/cConfigurationGroup.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>

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

// The share of `count` among `total` iterations in percent, computed in float: the hosts show these
// figures as the library has always computed them.
float percentOf(unsigned int count, unsigned int total)
{
    return float(count) * 100.0f / float(total);
}

// The drift values that mean nothing on a plot: the smallest normal and the largest double.
bool isPlotMarker(mpf_class const& value)
{
    double const asDouble = value.get_d();
    return asDouble == 2.2250738585072014e-308 || asDouble == 1.7976931348623157e308;
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

// ---- reports ----

float cTimeEventValuesForOneFile::toMilliseconds(long ticks) const
{
    if (ticks == -1)
        return -1.0f;
    return float(double(ticks) * (1000.0 / double(getPrecisionFrequency())));
}

mpf_class cTimeEventValuesForOneFile::iterationDriftValue(unsigned int iteration,
                                                          cDriftParameter* drift) const
{
    if (myActiveComputationManager != nullptr)
        return myActiveComputationManager->getIterationConvertedDriftValue(iteration, drift);
    // Without a manager no drift was applied: every iteration ran on the parameter's value.
    mpf_class value;
    drift->getConvertedValue(value);
    return value;
}

void cTimeEventValuesForOneFile::buildPerCentSerie(cCountGraphSerie* serie, TTFStudySummary& summary) const
{
    summary.nomTime = toMilliseconds(m_nomValue);
    summary.minTime = toMilliseconds(m_minValue);
    summary.maxTime = toMilliseconds(m_maxValue);

    summary.hasDisplacement = computeDisplacement();
    if (summary.hasDisplacement)
    {
        auto const converted = [](mpf_class const& raw) {
            return myActiveAlgorithm != nullptr ? myActiveAlgorithm->computeConvertedDisplacementValue(raw)
                                                : raw;
        };
        summary.nomDisplacement = converted(m_nomDisplacement);
        summary.minDisplacement = converted(m_minDisplacement);
        summary.maxDisplacement = converted(m_maxDisplacement);
    }

    auto const found = m_histogram.find(m_minValue);
    if (found != m_histogram.end())
    {
        summary.minCombination.assign(found->second->combination);
        summary.percentAtMin = percentOf(found->second->count, m_iterationCount);
    }
    else
    {
        summary.percentAtMin = 0.0f;
    }
    auto const atMax = m_histogram.find(m_maxValue);
    if (atMax != m_histogram.end())
    {
        summary.maxCombination.assign(atMax->second->combination);
        summary.percentAtMax = percentOf(atMax->second->count, m_iterationCount);
    }
    else
    {
        summary.percentAtMax = 0.0f;
    }
    auto const atNom = m_histogram.find(m_nomValue);
    summary.percentAtNom =
        atNom != m_histogram.end() ? percentOf(atNom->second->count, m_iterationCount) : 0.0f;
    auto const noFire = m_histogram.find(-1);
    if (noFire != m_histogram.end())
    {
        summary.noFireCombination.assign(noFire->second->combination);
        summary.percentNoFire = percentOf(noFire->second->count, m_iterationCount);
    }
    else
    {
        summary.percentNoFire = 0.0f;
    }

    summary.timeToPercent.clear();
    for (auto const& [value, record] : m_histogram)
    {
        float const time = toMilliseconds(value);
        // Here the share is taken in double, then stored as float: the map and the extremes' shares
        // may differ in their last digit, as they always have.
        float const percent = float(double(record->count) * 100.0 / double(m_iterationCount));
        summary.timeToPercent.emplace(time, percent);
        if (serie != nullptr)
            serie->AddData(time, record->count);
    }
}

void cTimeEventValuesForOneFile::buildDriftMinNomMaxSerie(cMinNomMaxByValueGraphSerie* serie,
                                                          cDriftParameter* drift,
                                                          DriftStudySummary& summary) const
{
    summary.nomTime = toMilliseconds(m_nomValue);
    summary.minTime = toMilliseconds(m_minValue);
    summary.maxTime = toMilliseconds(m_maxValue);
    auto const atMin = m_histogram.find(m_minValue);
    if (atMin != m_histogram.end())
        summary.minCombination.assign(atMin->second->combination);
    auto const atMax = m_histogram.find(m_maxValue);
    if (atMax != m_histogram.end())
        summary.maxCombination.assign(atMax->second->combination);
    if (serie == nullptr)
        return;
    for (unsigned int i = 0; i < m_iterationValues.size(); ++i)
    {
        mpf_class value = iterationDriftValue(i, drift);
        if (isPlotMarker(value))
            value = 0;
        serie->AddData(toMilliseconds(m_iterationValues[i]), float(value.get_d()));
    }
}

void cTimeEventValuesForOneFile::buildCrashMinNomMaxSerie(cMinNomMaxByStringGraphSerie* serie,
                                                          std::string const& name,
                                                          CrashStudySummary& summary) const
{
    float const nominal = toMilliseconds(m_nomValue);
    float const minimum = toMilliseconds(m_minValue);
    float const maximum = toMilliseconds(m_maxValue);
    if (serie != nullptr)
    {
        serie->AddData(nominal, name.c_str());
        serie->AddData(maximum, name.c_str());
        serie->AddData(minimum, name.c_str());
    }
    summary.minTimes.add(minimum);
    summary.nomTimes.add(nominal);
    summary.maxTimes.add(maximum);
}

void cTimeEventValuesForOneFile::buildTTFDispersionStudy(double threshold, cDriftParameter* drift,
                                                         cStorage<TTFDispersionStudy*>& result) const
{
    // One time per distinct drift value, in ascending drift order; the largest time of a value stands
    // for it (a fire is larger than a no-fire).
    std::vector<mpf_class> values;
    std::vector<double> times;
    for (unsigned int i = 0; i < m_iterationValues.size(); ++i)
    {
        mpf_class const value = iterationDriftValue(i, drift);
        double const time = getIterationNbrValue(i);
        auto const same = std::find(values.begin(), values.end(), value);
        if (same != values.end())
        {
            double& stored = times[std::size_t(same - values.begin())];
            if (time > stored)
                stored = time;
            continue;
        }
        auto const larger = std::upper_bound(values.begin(), values.end(), value);
        times.insert(times.begin() + (larger - values.begin()), time);
        values.insert(larger, value);
    }

    mpf_class current;
    drift->getConvertedValue(current);
    for (std::size_t k = 1; k < values.size(); ++k)
    {
        // Only the drift values up to the parameter's present value are looked at.
        if (values[k] > current)
            return;
        double const smaller = std::min(times[k - 1], times[k]);
        // A jump to or from no fire is a change of decision, not a dispersion of the time.
        if (std::fabs(times[k] - times[k - 1]) >= threshold && smaller != -1.0)
        {
            auto study = std::make_unique<TTFDispersionStudy>();
            study->driftValue = values[k];
            study->minTime = smaller;
            study->maxTime = std::max(times[k - 1], times[k]);
            result.add(study.get());
            study.release();
            return;
        }
    }
}

void cTimeEventValuesForOneFile::buildClosestDriftCombinationsSerie(
    cDriftParameter* drift, DriftClosestNominalStudySummary& summary) const
{
    summary = DriftClosestNominalStudySummary();
    summary.drift = drift;
    unsigned int const count = m_iterationValues.size();
    if (count == 0)
        return;
    summary.hasIterations = true;
    if (drift->getDrift() != nullptr)
        summary.nominalValue = drift->getDrift()->getConvertedNominalValue();
    else
        drift->getConvertedValue(summary.nominalValue);
    summary.nominalFires = m_nomValue != -1;

    unsigned int fired = 0;
    for (unsigned int i = 0; i < count; ++i)
    {
        mpf_class const value = iterationDriftValue(i, drift);
        bool const fires = m_iterationValues[i] != -1;
        if (fires)
            ++fired;
        if (summary.nominalFires && !fires)
            insertIfClosestValue(value, summary.nominalValue, i, summary.closestNoFire);
        else if (!summary.nominalFires && fires)
            insertIfClosestValue(value, summary.nominalValue, i, summary.closestFire);
    }
    summary.percentFire = percentOf(fired, count);
    summary.percentNoFire = 100.0f - summary.percentFire;
}

bool cTimeEventValuesForOneFile::insertIfClosestValue(mpf_class const& value, mpf_class const& nominal,
                                                      unsigned int iteration,
                                                      DriftClosestNominalStudySummary::CloseSummary& close)
{
    // Strict comparisons: of two iterations at the same distance the earlier one stays.
    bool changed = false;
    if (value >= nominal && (!close.hasUpper || value < close.upperValue))
    {
        close.upperValue = value;
        close.upperIteration = iteration;
        close.hasUpper = true;
        changed = true;
    }
    if (value <= nominal && (!close.hasLower || value > close.lowerValue))
    {
        close.lowerValue = value;
        close.lowerIteration = iteration;
        close.hasLower = true;
        changed = true;
    }
    return changed;
}

// ---- computation events ----

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

std::string cTimeEvent::findOptValue(cKynFile* file, ETtfKind kind) const
{
    if (!m_fileLink)
        return "NotDef";
    return file->findStructTTF(this)->asString(kind, getPrecisionValue());
}

// ---- reports ----

template <class tSummary> void cTimeEvent::startSummary(tSummary& summary) const
{
    summary.valid = false;
    summary.minCombination.clearValues();
    summary.maxCombination.clearValues();
    summary.precision = getPrecisionValue();
}

void cTimeEvent::startCrashSummary(CrashStudySummary& summary) const
{
    summary.valid = false;
    summary.minTimes.clear();
    summary.nomTimes.clear();
    summary.maxTimes.clear();
    summary.minExpected.clear();
    summary.optExpected.clear();
    summary.maxExpected.clear();
    summary.crashNames.clear();
    summary.precision = getPrecisionValue();
}

cTimeEventValuesForOneFile* cTimeEvent::valuesAt(cKynFile* file) const
{
    auto const found = m_values.find(file);
    // The text of the hosts' checked map access, which their reports of this failure show.
    if (found == m_values.end())
        throw std::out_of_range("invalid map<K, T> key");
    return static_cast<cTimeEventValuesForOneFile*>(found->second);
}

void cTimeEvent::buildPerCentSerie(cCountGraphSerie* serie, cKynFile* file, TTFStudySummary& summary) const
{
    startSummary(summary);
    summary.noFireCombination.clearValues();
    auto const* const values = static_cast<cTimeEventValuesForOneFile const*>(getValueListOrNull(file));
    if (values == nullptr)
        return;
    values->buildPerCentSerie(serie, summary);
    summary.minExpected = findOptValue(file, eTtfMinimum);
    summary.optExpected = findOptValue(file, eTtfOptimum);
    summary.maxExpected = findOptValue(file, eTtfMaximum);
    summary.valid = true;
}

void cTimeEvent::buildDriftMinNomMaxSerie(cMinNomMaxByValueGraphSerie* serie, cKynFile* file,
                                          cDriftParameter* drift, DriftStudySummary& summary) const
{
    startSummary(summary);
    auto const* const values = static_cast<cTimeEventValuesForOneFile const*>(getValueListOrNull(file));
    if (values == nullptr)
        return;
    values->buildDriftMinNomMaxSerie(serie, drift, summary);
    summary.minExpected = findOptValue(file, eTtfMinimum);
    summary.optExpected = findOptValue(file, eTtfOptimum);
    summary.maxExpected = findOptValue(file, eTtfMaximum);
    // One point is no study: the plot needs the kept value of more than one iteration.
    summary.valid = values->getNbrValue() > 1;
}

void cTimeEvent::buildCrashMinNomMaxSerie(cMinNomMaxByStringGraphSerie* serie,
                                          CrashStudySummary& summary) const
{
    startCrashSummary(summary);
    unsigned int cursor = 0;
    cKynFileList const* const files = myActiveFileList;
    for (cKynFile* file = files != nullptr ? files->firstFile(cursor) : nullptr; file != nullptr;
         file = files->nextFile(cursor))
    {
        auto const* const values = static_cast<cTimeEventValuesForOneFile const*>(getValueListOrNull(file));
        if (values == nullptr)
            continue;
        std::string const name = getShortName(file->getFileName());
        summary.crashNames.push_back(name);
        summary.minExpected.push_back(findOptValue(file, eTtfMinimum));
        summary.optExpected.push_back(findOptValue(file, eTtfOptimum));
        summary.maxExpected.push_back(findOptValue(file, eTtfMaximum));
        values->buildCrashMinNomMaxSerie(serie, name, summary);
    }
    // The bar chart reads from the top: the first crash file of the list on the first row.
    serie->reverseVerticalOrder();
    summary.valid = !m_values.empty();
}

void cTimeEvent::calculateTtfSummary(CrashStudySummary& summary, std::vector<float>& percentNoFire) const
{
    startCrashSummary(summary);
    percentNoFire.clear();
    unsigned int cursor = 0;
    cKynFileList const* const files = myActiveFileList;
    for (cKynFile* file = files != nullptr ? files->firstFile(cursor) : nullptr; file != nullptr;
         file = files->nextFile(cursor))
    {
        if (getValueListOrNull(file) == nullptr)
            continue;
        std::string const name = getShortName(file->getFileName());
        TTFStudySummary study;
        buildPerCentSerie(nullptr, file, study);
        summary.crashNames.push_back(name);
        percentNoFire.push_back(study.percentNoFire);
        summary.minExpected.push_back(study.minExpected);
        summary.optExpected.push_back(study.optExpected);
        summary.maxExpected.push_back(study.maxExpected);
        valuesAt(file)->buildCrashMinNomMaxSerie(nullptr, name, summary);
    }
    summary.valid = !m_values.empty();
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

TtfSummary cTimeEventMgr::CalculateTtfSummary(cTestMgr const* test) const
{
    TtfSummary result;
    unsigned int i = 0;
    for (cTimeEvent const* event = firstParameter(i); event != nullptr; event = nextParameter(i))
    {
        if (test != nullptr && !event->isMarginTestRegistered(test))
            continue;
        SummaryWithTtfName summary;
        summary.timeEventName = event->getName();
        summary.description = event->getDescription();
        event->calculateTtfSummary(summary, summary.percentNoFire);
        // An event without values on any crash file has nothing to report.
        if (summary.valid)
            result.push_back(std::move(summary));
    }
    return result;
}

#include "SimCore/cAlgorithm.h"

#include "BaseKit/IHostWindow.h"
#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "SimCore/SignalCopy.h"
#include "SimCore/cCalibration.h"
#include "SimCore/cChannel.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cEquation.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cProject.h"
#include "SimCore/cTestMgr.h"
#include "SimCore/cUnit.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cConfigurationGroup.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <unordered_set>

cAlgorithm* myActiveAlgorithm = nullptr;

namespace
{
char const* const kSource = "SimCore/cAlgorithm";
char const* const kStageName = "Algorithm";
char const* const kOutOfMemory = "KYN Error (NULL Pointer). Out of memory ?\n";

// Whether a is b within the relative tolerance of a double, or both are too small to tell apart.
bool isNear(double a, double b)
{
    double const scale = std::max(std::fabs(a), std::fabs(b));
    if (scale < DBL_MIN)
        return true;
    return std::fabs(a - b) / scale < DBL_EPSILON;
}

// A sample as the 32-bit signed integer the algorithm reads, truncated toward zero, kept as its bit
// pattern. Values beyond the range stop at its ends and NaN reads 0, so that no input is undefined.
unsigned int truncatedSample(float value)
{
    int32_t whole = 0;
    if (value >= 2147483647.0f)
        whole = std::numeric_limits<int32_t>::max();
    else if (value <= -2147483648.0f)
        whole = std::numeric_limits<int32_t>::min();
    else if (value == value)
        whole = static_cast<int32_t>(value);
    return static_cast<unsigned int>(whole);
}

// Element 0 is the dummy at T0 that every stage puts in front; an empty signal counts as a 0.
float elementZero(cSignalStorage<float> const* signal)
{
    return signal != nullptr && signal->size() != 0 ? (*signal)[0] : 0.0f;
}

// The samples behind element 0.
unsigned int ownSamples(cSignalStorage<float> const* signal)
{
    return signal != nullptr && signal->size() != 0 ? signal->size() - 1 : 0u;
}

// The keys the algorithm file keeps when it is saved; any other item is dropped.
char const* const kKeptItems[] = {"Name",
                                  "Algorithm Version",
                                  "ECU Version",
                                  "Status",
                                  "Validation Plan Reference",
                                  "History File",
                                  "Time Events Precision Frequency",
                                  "Displacement Precision",
                                  "Displacement Unit",
                                  "Displacement Convertion Factor",
                                  "Displacement Conversion Factor"};

std::string projectVersion()
{
    return myActiveProject != nullptr ? myActiveProject->getECUVersionNumber() : std::string();
}

std::string projectName()
{
    return myActiveProject != nullptr ? myActiveProject->getName() : std::string();
}
} // namespace

struct cAlgorithm::sPrivate
{
    ObjectLogger logger{kStageName};
    tEepromValues eepromValues;
    std::unordered_set<cTimeEvent const*> extraTimeEvents;
    bool checkerEnabled = false;
    char calibrationRevision = 0;
};

// ---- construction and configuration ------------------------------------------------------------------

cAlgorithm::cAlgorithm(std::string const& fileName) : cAlgorithm(fileName, nullptr) {}

cAlgorithm::cAlgorithm(std::string const& fileName, cConfigurationGroup* extraTimeEvents)
    : cDriftManager(kStageName, kStageName, QUIT_MSG, RUN_TEST_MSG),
      m_displacementConversionFactor(cEquation::createEquation("1.0")),
      m_private(std::make_unique<sPrivate>())
{
    try
    {
        setConfigurationWithExtraTimeEvents(fileName, extraTimeEvents);
    }
    catch (...)
    {
        delete m_displacementConversionFactor;
        m_displacementConversionFactor = nullptr;
        throw;
    }
}

cAlgorithm::~cAlgorithm()
{
    // The thread runs this object's ProcessMessage: it ends while the object is whole.
    stop(true);
    clearDisplacement();
    delete m_displacementConversionFactor;
}

void cAlgorithm::setConfiguration(std::string const& fileName)
{
    setConfigurationWithExtraTimeEvents(fileName, nullptr);
}

void cAlgorithm::setConfigurationWithExtraTimeEvents(std::string const& fileName, cConfigurationGroup* extra)
{
    cFileConfigured::setConfiguration(fileName);
    cCfgInputFile* const file = getConfigurationFile();
    if (file == nullptr)
        return;
    cConfigurationGroup* const top = file->getTopGroup();
    top->findItem("", "Name", m_algorithmName, true);
    if (top->findItem("", "ECU Version", m_ecuVersion, false) == 0)
        m_ecuVersion = projectVersion();
    long frequency = 0;
    top->findItem("", "Time Events Precision Frequency", frequency, true);
    m_timeEventsPrecisionFrequency = static_cast<int32_t>(frequency);
    // The decimals a time in milliseconds needs: 1000 ticks per second need none, 10000 one, 3000
    // never come out whole and take the most, 6.
    m_timeEventsPrecisionForMs = 0;
    auto ticks = [&] { return std::pow(10.0, m_timeEventsPrecisionForMs) * 1000.0 / double(frequency); };
    while (!isNear(ticks(), std::round(ticks())) && m_timeEventsPrecisionForMs < 6)
        ++m_timeEventsPrecisionForMs;
    top->findItem("", "Displacement Unit", m_displacementUnit, false);
    int precision = m_displacementPrecision;
    if (top->findItem("", "Displacement Precision", precision, false) != 0)
        m_displacementPrecision = precision;

    std::string factor = "1.0";
    if (top->findItem("", "Displacement Conversion Factor", factor, false) == 0)
        top->findItem("", "Displacement Convertion Factor", factor, false);
    try
    {
        setDisplacementConversionFactor(factor);
    }
    catch (cKynException& failure)
    {
        delete m_displacementConversionFactor;
        m_displacementConversionFactor = nullptr;
        doException(failure);
        throw cInvalidSymbolDefinition(kSource, "cAlgorithm::setConfigurationWithExtraTimeEvents", 721,
                                       " The conversion factor of displacement", factor,
                                       "\"" + factor + "\" is not correct");
    }

    cCriterionMgr::loadParameter(top->findConfigurationGroup("Criteria List", true), kStageName);
    loadExtraTimeEvents(extra);
    cTimeEventMgr::loadParameter(top->findConfigurationGroup("Time Events List", true), kStageName);
    for (cCriterion* criterion : cCriterionMgr::GetParameters())
        KYN_TRACE(getLogger(), 3, "Criterion added to algorithm: " + criterion->getName());
    for (cTimeEvent* event : cTimeEventMgr::GetParameters())
        KYN_TRACE(getLogger(), 3, "Time event added to algorithm: " + event->getName());
    setTimeEventsPrecisionFrequency(m_timeEventsPrecisionFrequency);
    m_testGroup = top->findConfigurationGroup("Tests List", true);
}

void cAlgorithm::loadFromConfiguration(cCfgInputFile* file, std::string const&, bool keepFile)
{
    cScopeTrace const scope(getLogger(), "cAlgorithm::loadFromConfiguration L851");
    cCriterionMgr::cleanupAllParameters();
    cTimeEventMgr::cleanupAllParameters();
    cConfigurationGroup* const top = file->getTopGroup();
    KYN_TRACE(getLogger(), 3, "Ready to configure all criteria for algorithm: " + m_algorithmName);
    cCriterionMgr::loadParameter(top->findConfigurationGroup("Criteria List", true), kStageName);
    KYN_TRACE(getLogger(), 3, "Ready to configure all time event for algorithm: " + m_algorithmName);
    cTimeEventMgr::loadParameter(top->findConfigurationGroup("Time Events List", true), kStageName);
    if (holdLoadedFile(file, keepFile))
        m_defaultConfiguration = 0;
}

std::string cAlgorithm::heldItem(char const* key, bool mandatory) const
{
    std::string value;
    cCfgInputFile const* const file = getConfigurationFile();
    if (file == nullptr)
    {
        if (mandatory)
            throw cNULLPointer(kSource, "cAlgorithm::heldItem", __LINE__, kOutOfMemory);
        return value;
    }
    file->getTopGroup()->findItem("", key, value, mandatory);
    return value;
}

std::string cAlgorithm::getSoftVersion() const
{
    return heldItem("Algorithm Version", true);
}

std::string cAlgorithm::getStatus() const
{
    return heldItem("Status", true);
}

std::string cAlgorithm::getValidationPlan() const
{
    return heldItem("Validation Plan Reference", true);
}

std::string cAlgorithm::getHistoryFile() const
{
    return heldItem("History File", false);
}

void cAlgorithm::buildFile(cCfgInputFile* file, bool withTests, bool copyHeader)
{
    cConfigurationGroup* const target = file->getTopGroup();
    cCfgInputFile* const held = getConfigurationFile();
    if (copyHeader && held != nullptr)
    {
        target->clear();
        cConfigurationGroup* const source = held->getTopGroup();
        bool ecuVersion = false;
        unsigned int cursor = 0;
        for (sInformationItem const* item = source->firstInformation(cursor); item != nullptr;
             item = source->nextInformation(cursor))
        {
            if (std::find_if(std::begin(kKeptItems), std::end(kKeptItems),
                             [&](char const* key) { return item->key == key; }) == std::end(kKeptItems))
                continue;
            ecuVersion = ecuVersion || item->key == "ECU Version";
            target->addInformation(item->key, item->value);
        }
        if (!ecuVersion)
            target->addInformation("ECU Version", projectVersion());
        // The same group objects: the caller detaches them again before the new file goes.
        target->addConfigurationGroup(source->findConfigurationGroup("Criteria List", true));
        target->addConfigurationGroup(source->findConfigurationGroup("Time Events List", true));
    }
    cConfigurationGroup* tests = target->findConfigurationGroup("Tests List", false);
    if (tests == nullptr && held != nullptr)
    {
        tests = held->getTopGroup()->findConfigurationGroup("Tests List", true);
        target->addConfigurationGroup(tests);
    }
    m_testGroup = tests;
    // The test named "GVT" writes its views back into the group, which keeps the host's layout.
    if (myActiveComputationManager == nullptr || tests == nullptr)
        return;
    for (cTestMgr const* test : myActiveComputationManager->getTests())
    {
        if (test->getTestName() != "GVT")
            continue;
        if (withTests)
            test->buildFile_Tests(tests);
        else
            test->buildFile_CriteriaTimeEvents(tests);
        return;
    }
}

void cAlgorithm::saveSettings(std::string comment, bool withTests, std::string const& fileName,
                              bool keepBackup, bool keepHeldFile)
{
    if (fileName.empty())
    {
        cCfgInputFile* const held = getConfigurationFile();
        if (held == nullptr)
            throw cNULLPointer(kSource, "cAlgorithm::saveSettings", 903, kOutOfMemory);
        if (!held->isWritable())
            refuseLockedFile(*held, kSource, "cAlgorithm::saveSettings", 912);
        buildFile(held, withTests, false);
        held->save(keepBackup, comment, projectName());
        return;
    }
    cCfgInputFile* const file = cCfgInputFile::createFile(fileName.c_str(), 2, "Algorithm", false);
    // The new file borrows the held file's groups: they are detached again before it goes, whatever
    // happens.
    struct sDetach
    {
        cCfgInputFile* file;
        ~sDetach()
        {
            file->getTopGroup()->clearSubGroupsWithoutDeallocating();
            delete file;
        }
    } const detach{file};
    buildFile(file, withTests, true);
    file->save(keepBackup, comment, projectName());
    if (getConfigurationFile() != nullptr)
        setRealName(getConfigurationFile()->getFileName());
    if (!keepHeldFile)
        setFile(file);
}

void cAlgorithm::save(std::string comment, bool withTests, std::string const& fileName, bool keepBackup)
{
    saveSettings(comment, withTests, fileName, keepBackup, false);
}

void cAlgorithm::setFile(cCfgInputFile* const file)
{
    cCfgInputFile* const held = getConfigurationFile();
    if (held == nullptr || file == nullptr)
        return;
    held->setFileName(file->getFileName());
    held->setWritable(file->isWritable());
}

// ---- the stage --------------------------------------------------------------------------------------

uint32_t cAlgorithm::start(int priority, void* parameter, unsigned long stackSize)
{
    prepareThreadStart();
    return cKynThread::start(priority, parameter, stackSize, false);
}

void cAlgorithm::changeMultiPreprocessingItem()
{
    beginMultiPreprocessingItem();
    m_inputSignals.clear();
    m_defectArrays.clear();
    if (myActivePreprocessing != nullptr)
    {
        for (cChannel* channel : std::vector<cChannel*>(myActivePreprocessing->getChannels().first,
                                                        myActivePreprocessing->getChannels().second))
        {
            auto const found = m_sampleArrays.find(channel);
            if (found != m_sampleArrays.end())
                found->second.clear();
            else
                m_sampleArrays.emplace(channel, cStorage<unsigned int>());
            m_inputSignals[channel] = nullptr;
            m_defectArrays.emplace(channel, cStorage<unsigned int>());
        }
    }
    endMultiPreprocessingItem();
}

void cAlgorithm::reset()
{
    // The calibration's drifts are swept here: its parameters become the stage's, in its order, before
    // the applied drifts are rebuilt from them.
    cDriftParameterMgr::cleanupAllParameters();
    if (myActiveCalibration != nullptr)
        for (cDriftParameter* parameter : myActiveCalibration->GetParameters())
            cDriftParameterMgr::addParameter(parameter);
    cDriftManager::reset();
    resetAlgorithm();
    if (isEepromCheckRequested())
        eepromCheck();
}

void cAlgorithm::changeFile()
{
    cDriftManager::changeFile();
    changeFileFirst();
    changeFileSecond();
    m_anyDefectUsed = myActiveFile != nullptr && myActiveFile->isAnyDefectUsed() ? 1 : 0;
}

void cAlgorithm::runTest(cMessage const* data)
{
    // The unit's outputs are read until the last iteration over them: the unit is released then.
    cHandOverRelease const unit(data);
    unsigned int longest = 0;
    if (myActivePreprocessing != nullptr && myActiveUnit != nullptr)
    {
        unsigned int cursor = 0;
        for (cChannel* channel = myActivePreprocessing->firstChannel(cursor); channel != nullptr;
             channel = myActivePreprocessing->nextChannel(cursor))
        {
            cSignalStorage<float>* const signal = myActiveUnit->getOutputStorage(channel);
            m_inputSignals[channel] = signal;
            longest = std::max(longest, signal->size());
        }
    }
    prepareAllocation(longest);
    if (getAppliedDriftsNumber() == 0)
    {
        performIteration();
        return;
    }
    manageDriftsSequence(0);
    // The calibration is left as the user set it, not at the sweep's last point.
    resetAllNominalValues();
}

void cAlgorithm::prepareForTest()
{
    cDriftManager::prepareForTest();
    if (myActivePreprocessing != nullptr)
    {
        unsigned int cursor = 0;
        for (cChannel* channel = myActivePreprocessing->firstChannel(cursor); channel != nullptr;
             channel = myActivePreprocessing->nextChannel(cursor))
        {
            m_sampleArrays[channel].clear();
            m_defectArrays[channel].clear();
        }
    }
    clearDisplacement();
    m_samplingRate = 0.0f;
    m_t0 = 0;
    m_sampleCount = 0;
}

// Every channel gets sample count integers; a short one is padded with its element 0. The count is
// read once: a store through out may alias the member, which would keep the loop scalar.
void cAlgorithm::fillSampleArrays()
{
    unsigned int const count = m_sampleCount;
    for (auto const& [channel, signal] : m_inputSignals)
    {
        unsigned int* const out = getStorageArray(channel).addUninitialised(count);
        float const* const in = signal->data();
        unsigned int const own = ownSamples(signal);
        unsigned int const pad = truncatedSample(elementZero(signal));
        for (unsigned int s = 0; s < own; ++s)
            out[s] = truncatedSample(in[s + 1]);
        for (unsigned int s = own; s < count; ++s)
            out[s] = pad;
    }
}

// The acceleration of getDisplacementAccValue integrated twice, one number per step from 0.
void cAlgorithm::integrateDisplacement()
{
    if (m_sampleCount != 0)
    {
        m_velocityAccumulator = 0.0;
        m_displacementAccumulator = 0.0;
        m_displacement.reserve(m_sampleCount);
        // Each number is made straight from the double: a temporary mpf_class would cost one more
        // allocation and free per step, the most of what this loop does besides its own numbers.
        m_displacement.add(new mpfClass(0.0));
        for (unsigned int i = 1; i < m_sampleCount; ++i)
        {
            m_velocityAccumulator += double(getDisplacementAccValue(i));
            m_displacementAccumulator += m_velocityAccumulator;
            m_displacement.add(new mpfClass(m_displacementAccumulator));
        }
    }
}

void cAlgorithm::performIteration()
{
    prepareForTest();
    for (auto const& [channel, signal] : m_inputSignals)
        getStorageArray(channel).add(truncatedSample(elementZero(signal)));
    initialiseWithFirstDataSamples();
    for (auto& entry : m_sampleArrays)
        entry.second.clear();

    // A project has at least one channel: without one there is no time origin to read.
    if (m_inputSignals.empty() || m_inputSignals.begin()->second == nullptr)
        throw cBadChannelReference(kSource, "cAlgorithm::performIteration", __LINE__);
    m_t0 = static_cast<int32_t>(m_inputSignals.begin()->second->getT0());
    if (m_t0 < 0)
        throw cNegativeT0Exception(kSource, "cAlgorithm::performIteration", 312);
    for (auto const& [channel, signal] : m_inputSignals)
    {
        if (signal == nullptr)
            throw cBadChannelReference(kSource, "cAlgorithm::performIteration", __LINE__);
        m_sampleCount = std::max(m_sampleCount, ownSamples(signal));
        m_samplingRate = std::max(m_samplingRate, signal->getSamplingRate());
        if (signal->getT0() != m_t0)
            throw cBadT0SynchronizationException(kSource, "cAlgorithm::performIteration", 321);
    }
    fillSampleArrays();
    initialiseForFirstIteration();

    integrateDisplacement();
    if (m_anyDefectUsed == 0)
    {
        for (auto& entry : m_defectArrays)
            entry.second.addCopies(m_sampleCount, 0);
    }
    else
    {
        FillDefectsOnTheFlyMap(m_samplingRate);
    }

    for (m_currentSampleIndex = 0; m_currentSampleIndex < m_sampleCount && !cTimeEventMgr::canBeStopped();
         ++m_currentSampleIndex)
        steps();
    m_keepStepping = 1;
    do
    {
        steps();
        ++m_currentSampleIndex;
    } while (m_keepStepping != 0);
    endOfIteration();
}

void cAlgorithm::steps()
{
    stepPhaseOne();
    stepPhaseTwo();
    stepPhaseThree();
    if (m_gvtWindows != 0)
        stepGvtWindows();
    stepPhaseLast();
}

void cAlgorithm::endOfIteration()
{
    if (m_gvtWindows != 0)
        endOfIterationGvtWindows();
    cDriftManager::endOfIteration();
    if (myActiveComputationManager != nullptr)
    {
        myActiveComputationManager->incrementAlgorithmIterationNbr();
        if (myActiveComputationManager->shouldNotifyAlgorithmIterationNbr())
            SendMessageA(getMainWndH(), kAlgorithmIterationMessage, 0, 0);
    }
}

void cAlgorithm::FillDefectsOnTheFlyMap(float rate)
{
    for (auto& [channel, defects] : m_defectArrays)
    {
        defects.clear();
        unsigned int* const out = defects.addUninitialised(m_sampleCount);
        for (unsigned int n = 0; n < m_sampleCount; ++n)
            out[n] =
                myActiveFile != nullptr && myActiveFile->isDefect(static_cast<cChannel*>(channel), n, rate)
                    ? 1
                    : 0;
    }
}

cSignalStorage<float>* cAlgorithm::getInputData(cKynThread* channel) const
{
    auto const found = m_inputSignals.find(channel);
    if (found == m_inputSignals.end())
        throw cBadChannelReference(kSource, "cAlgorithm::getInputData", 611);
    return found->second;
}

void cAlgorithm::throwUnknownStorageArray()
{
    throw cBadChannelReference(kSource, "cAlgorithm::getStorageArray", 621);
}

cStorage<unsigned int>& cAlgorithm::getStorageArray(cChannel* channel)
{
    return getStorageArray(static_cast<cKynThread*>(channel));
}

cStorage<unsigned int>& cAlgorithm::getDefectOnTheFlySampleArray(cChannel* channel)
{
    auto const found = m_defectArrays.find(channel);
    if (found == m_defectArrays.end())
        throw cBadChannelReference(kSource, "cAlgorithm::getDefectOnTheFlySampleArray", 158);
    return found->second;
}

void cAlgorithm::getCurrentChannelDefect(cChannel* channel, int& defect, unsigned int sample, float)
{
    // The sample's time is computed from the stage's rate, as for the defect arrays.
    defect = myActiveFile != nullptr && myActiveFile->isDefect(channel, sample, m_samplingRate) ? 1 : 0;
}

float cAlgorithm::getTimeValueInMs(unsigned int sample) const
{
    return float(sample) * 1000.0f / m_samplingRate + float(m_t0) / 1000.0f;
}

int32_t cAlgorithm::getDisplacementAccValue(unsigned int)
{
    return 0;
}

void cAlgorithm::eepromCheck()
{
    m_private->eepromValues.clear();
}

void cAlgorithm::prepareAllocation(unsigned int samples)
{
    for (cCriterion* criterion : cCriterionMgr::GetParameters())
    {
        cCriterionValuesForOneFile* const values = criterion->getActiveCriterionValuesForOneFile();
        if (values != nullptr && samples != 0)
            values->getIterationValueList().setGrowthStep(samples);
    }
}

void cAlgorithm::appendAefCheckerEntries(std::vector<AefCheckerEntry>&) {}

std::string cAlgorithm::getAefCheckerXlsxVersionImpl()
{
    return std::string();
}

// ---- the private part -------------------------------------------------------------------------------

ObjectLogger& cAlgorithm::getLogger() const
{
    return m_private->logger;
}

cAlgorithm::tEepromValues& cAlgorithm::getEepromValueList()
{
    return m_private->eepromValues;
}

std::pair<std::string const, long> const* cAlgorithm::firstEepromValueList(tEepromCursor& cursor) const
{
    cursor = m_private->eepromValues.begin();
    return cursor != m_private->eepromValues.end() ? &*cursor : nullptr;
}

std::pair<std::string const, long> const* cAlgorithm::nextEepromValueList(tEepromCursor& cursor) const
{
    if (cursor != m_private->eepromValues.end())
        ++cursor;
    return cursor != m_private->eepromValues.end() ? &*cursor : nullptr;
}

bool cAlgorithm::endOfEepromValueList(tEepromCursor const& cursor) const
{
    return cursor == m_private->eepromValues.end();
}

bool cAlgorithm::EepromValueListEmpty() const
{
    return m_private->eepromValues.empty();
}

bool cAlgorithm::isExtraTimeEvent(cTimeEvent const* timeEvent) const
{
    return m_private->extraTimeEvents.count(timeEvent) != 0;
}

void cAlgorithm::enableAefChecker()
{
    m_private->checkerEnabled = true;
}

bool cAlgorithm::isAefCheckerEnabled() const
{
    return m_private->checkerEnabled;
}

char cAlgorithm::getCalibrationRevisionChar() const
{
    return m_private->calibrationRevision;
}

void cAlgorithm::setCalibrationRevisionChar(char revision)
{
    m_private->calibrationRevision = revision;
}

std::string cAlgorithm::getAefCheckerXlsxVersion()
{
    return isAefCheckerEnabled() ? getAefCheckerXlsxVersionImpl() : std::string();
}

std::vector<AefCheckerEntry> cAlgorithm::getAefCheckerEntries()
{
    std::vector<AefCheckerEntry> entries;
    if (isAefCheckerEnabled())
        appendAefCheckerEntries(entries);
    return entries;
}

// ---- displacement and writers -----------------------------------------------------------------------

cStorage<mpfClass*> cAlgorithm::getDisplacement() const
{
    cStorage<mpfClass*> copy(m_displacement.size() > 0 ? m_displacement.size() : 1);
    for (unsigned int i = 0; i < m_displacement.size(); ++i)
        copy.add(new mpfClass(m_displacement[i]->get()));
    return copy;
}

mpf_class cAlgorithm::getMaxDisplacement() const
{
    if (m_displacement.empty())
        return mpf_class(0);
    mpf_class largest = m_displacement[0]->get();
    for (unsigned int i = 1; i < m_displacement.size(); ++i)
        if (m_displacement[i]->get() > largest)
            largest = m_displacement[i]->get();
    return largest;
}

mpf_class cAlgorithm::getDisplacementConversionFactor() const
{
    // A file whose factor failed leaves the stage without one: the displacement stays in raw units.
    return m_displacementConversionFactor != nullptr ? m_displacementConversionFactor->evaluate()
                                                     : mpf_class(1);
}

mpf_class cAlgorithm::computeConvertedDisplacementValue(mpf_class const& value) const
{
    return value * getDisplacementConversionFactor();
}

cStorage<mpfClass*> cAlgorithm::getConvertedDisplacement() const
{
    mpf_class const factor = getDisplacementConversionFactor();
    cStorage<mpfClass*> converted(m_displacement.size() > 0 ? m_displacement.size() : 1);
    for (unsigned int i = 0; i < m_displacement.size(); ++i)
        converted.add(new mpfClass(mpf_class(m_displacement[i]->get() * factor)));
    return converted;
}

void cAlgorithm::deriveCriterionRate(cCriterionValuesForOneFile* values) const
{
    // The T0 difference stays in microseconds, unscaled: the rate is what such curves carry.
    float const offset = float(values->getT0() - m_t0) * m_samplingRate;
    long const steps = long(m_currentSampleIndex) - roundHalfAway(offset);
    values->setSamplingRate(m_samplingRate / float(steps));
}

void cAlgorithm::setConstant2PointsCriterion(cCriterionValuesForOneFile* values, float value)
{
    if (m_sampleCount < 2)
        return;
    values->setSamplingRate(m_samplingRate / float(m_sampleCount - 1));
    values->setT0(m_t0);
    values->SetHasPointsToTrue();
    if (values->isUsed())
    {
        values->addValue(0.0f);
        values->addValue(value);
        values->addValue(value);
    }
    else
        values->addValue(value);
    values->setIsAConstant2PointsCriterion(true);
}

void cAlgorithm::setTimeEventValue(cTimeEventValuesForOneFile* values, double delay)
{
    setTimeEventValueFromSpecificIteration(values, m_currentSampleIndex, delay);
}

void cAlgorithm::setTimeEventValueFromSpecificIteration(cTimeEventValuesForOneFile* values,
                                                        unsigned int sample, double delay)
{
    if (values->getIterationValue() != -1)
        return;
    double const f = double(values->getPrecisionFrequency());
    float const steps = float(f / m_samplingRate * sample);
    values->setForced(roundHalfAway(m_t0 * (f / 1000000.0) + steps + (f / 1000.0) * delay));
    if (!values->computeDisplacement())
        return;

    long const n = long(m_displacement.size());
    if (delay == 0.0 || std::fabs(delay) < DBL_MIN || std::fabs(delay) < DBL_EPSILON)
    {
        if (long(sample) < n)
            values->setComputedDisplacement(m_displacement[sample]->get());
        return;
    }
    if (n == 0)
        return;
    double const x = m_samplingRate * delay / 1000.0;
    double const whole = double(roundHalfAway(x));
    if (isNear(x, whole))
    {
        long i = std::min(long(whole) + long(sample), n - 1);
        if (i < 0)
            i = 0;
        values->setComputedDisplacement(m_displacement[i]->get());
        return;
    }
    double const f0 = std::floor(x);
    long const i = roundHalfAway(f0) + long(sample);
    if (i >= 1)
    {
        // A positive index falls on the first value: existing results were computed so.
        values->setComputedDisplacement(m_displacement[0]->get());
        return;
    }
    if (i == 0 && n >= 2)
    {
        mpf_class const w(x - f0, 64);
        mpf_class const complement(1 - w, 64);
        values->setComputedDisplacement(m_displacement[1]->get() * complement + m_displacement[0]->get() * w);
        return;
    }
    // A step before the start of the list has no value of its own: the last one stands for it.
    values->setComputedDisplacement(m_displacement[n - 1]->get());
}

void cAlgorithm::loadExtraTimeEvents(cConfigurationGroup* extra)
{
    if (extra == nullptr)
        return;
    unsigned int const first = cTimeEventMgr::getParameterListSize();
    cTimeEventMgr::loadParameter(extra, kStageName);
    m_private->extraTimeEvents.clear();
    for (unsigned int i = first; i < cTimeEventMgr::getParameterListSize(); ++i)
        m_private->extraTimeEvents.insert(cTimeEventMgr::getParameter(i));
}

void cAlgorithm::setTimeEventsPrecisionFrequency(int32_t frequency)
{
    m_timeEventsPrecisionFrequency = frequency;
    unsigned int i = 0;
    for (cTimeEvent* event = cTimeEventMgr::firstParameter(i); event != nullptr;
         event = cTimeEventMgr::nextParameter(i))
        event->setPrecisionFrequency(frequency);
}

void cAlgorithm::setDisplacementConversionFactor(std::string const& text)
{
    cEquation* const factor = cEquation::createEquation(text);
    delete m_displacementConversionFactor;
    m_displacementConversionFactor = factor;
}

void cAlgorithm::addDisplacement(mpf_class const& value)
{
    m_displacement.add(new mpfClass(value));
}

void cAlgorithm::clearDisplacement()
{
    for (unsigned int i = 0; i < m_displacement.size(); ++i)
        delete m_displacement[i];
    m_displacement.freeMemory();
}

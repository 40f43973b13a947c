#include "Host/cFrontalAlgorithm.h"

#include "BaseKit/cKynException.h"
#include "SimCore/cCalibration.h"
#include "SimCore/cChannel.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace
{
char const* const kSource = "Host/cFrontalAlgorithm";

double convertedValue(cCalibration& calibration, char const* name)
{
    mpf_class value;
    calibration.getParameter(name)->getConvertedValue(value);
    return value.get_d();
}
} // namespace

sFrontalSettings sFrontalSettings::read(cCalibration& calibration)
{
    sFrontalSettings s;
    s.resolution = convertedValue(calibration, kResolution);
    s.filterTime = convertedValue(calibration, kFilterTime);
    s.wakeUpThreshold = convertedValue(calibration, kWakeUpThreshold);
    s.leakDeceleration = convertedValue(calibration, kLeakDeceleration);
    s.stage1Window = convertedValue(calibration, kStage1Window);
    s.stage1Threshold = convertedValue(calibration, kStage1Threshold);
    s.stage1ThresholdSlope = convertedValue(calibration, kStage1ThresholdSlope);
    s.safingDeceleration = convertedValue(calibration, kSafingDeceleration);
    s.safingTime = convertedValue(calibration, kSafingTime);
    s.stage2Threshold = convertedValue(calibration, kStage2Threshold);
    s.stage2Window = convertedValue(calibration, kStage2Window);
    return s;
}

unsigned int sFrontalSettings::steps(double milliseconds, double rate)
{
    if (!(milliseconds > 0.0) || !(rate > 0.0))
        return 0;
    double const exact = milliseconds * rate / 1000.0;
    if (exact >= double(UINT_MAX))
        return UINT_MAX;
    // A window of a few microseconds at a slow rate still holds the current sample: only 0 ms means
    // an empty window, which is what the No Deployment values of the windows rely on.
    return std::max(1u, static_cast<unsigned int>(exact + 0.5));
}

cFrontalAlgorithm::cFrontalAlgorithm(std::string const& algorithmFile) : cAlgorithm(algorithmFile) {}

cFrontalAlgorithm::~cFrontalAlgorithm()
{
    stop(true);
}

void cFrontalAlgorithm::beginMultiPreprocessingItem()
{
    m_samples = nullptr;
}

void cFrontalAlgorithm::endMultiPreprocessingItem()
{
    cChannel* channel = nullptr;
    try
    {
        channel = myActivePreprocessing->findChannel(kChannel);
    }
    catch (cBadChannelReference const&)
    {
        throw cGenericException(kSource, "cFrontalAlgorithm::endMultiPreprocessingItem", __LINE__,
                                std::string("The frontal algorithm reads the channel ") + kChannel +
                                    ", which the preprocessing set does not have.");
    }
    m_samples = &getStorageArray(channel);
}

void cFrontalAlgorithm::changeFileFirst()
{
    m_filteredValues =
        cCriterionMgr::getParameter(kFilteredDeceleration)->getActiveCriterionValuesForOneFile();
    m_velocityValues = cCriterionMgr::getParameter(kVelocityChange)->getActiveCriterionValuesForOneFile();
    m_windowedValues =
        cCriterionMgr::getParameter(kWindowedVelocityChange)->getActiveCriterionValuesForOneFile();
    m_thresholdValues = cCriterionMgr::getParameter(kStage1Threshold)->getActiveCriterionValuesForOneFile();
}

void cFrontalAlgorithm::changeFileSecond()
{
    m_wakeUpValue = cTimeEventMgr::getParameter(kWakeUp)->getActiveTimeEventValuesForOneFile();
    m_stage1Value = cTimeEventMgr::getParameter(kFireStage1)->getActiveTimeEventValuesForOneFile();
    m_stage2Value = cTimeEventMgr::getParameter(kFireStage2)->getActiveTimeEventValuesForOneFile();
}

void cFrontalAlgorithm::initialiseForFirstIteration()
{
    if (m_samples == nullptr)
        throw cGenericException(kSource, "cFrontalAlgorithm::initialiseForFirstIteration", __LINE__,
                                std::string("The frontal algorithm runs before its channel ") + kChannel +
                                    " is known: no multi-preprocessing item was started.");
    m_settings = sFrontalSettings::read(*myActiveCalibration);
    double const rate = getSamplingRate();
    m_filterLength = sFrontalSettings::steps(m_settings.filterTime, rate);
    m_windowLength = sFrontalSettings::steps(m_settings.stage1Window, rate);
    m_safingLength = sFrontalSettings::steps(m_settings.safingTime, rate);
    m_stage2Length = sFrontalSettings::steps(m_settings.stage2Window, rate);
    m_kmhPerGStep = rate > 0.0 ? kKmhPerGSecond / rate : 0.0;

    m_inFile = false;
    m_filterSum = 0;
    m_windowSum = 0;
    m_deceleration = m_filtered = m_windowed = m_velocity = 0.0;
    m_threshold = m_settings.stage1Threshold;
    m_awake = false;
    m_safingSteps = 0;
    m_stage1Fired = m_stage2Fired = false;
    m_stage1Step = 0;
}

int32_t cFrontalAlgorithm::getDisplacementAccValue(unsigned int sample)
{
    int32_t const counts = getSample(*m_samples, sample);
    return counts == INT32_MIN ? INT32_MAX : -counts;
}

int64_t cFrontalAlgorithm::leaving(unsigned int length) const
{
    unsigned int const step = getCurrentSampleIndex();
    return step >= length ? getSample(*m_samples, step - length) : 0;
}

void cFrontalAlgorithm::stepPhaseOne()
{
    // The tail loop may run at or past the last sample: nothing is read or written there.
    m_inFile = getCurrentSampleIndex() < getSampleCount();
    if (!m_inFile)
        return;
    int64_t const counts = getSample(*m_samples, getCurrentSampleIndex());
    // Sums of whole counts stay exact however long the file: the windows never drift.
    if (m_filterLength > 0)
        m_filterSum += counts - leaving(m_filterLength);
    if (m_windowLength > 0)
        m_windowSum += counts - leaving(m_windowLength);
    double const resolution = m_settings.resolution;
    m_deceleration = -double(counts) * resolution;
    m_filtered = m_filterLength > 0 ? -double(m_filterSum) * resolution / m_filterLength : 0.0;
    m_windowed = -double(m_windowSum) * resolution * m_kmhPerGStep;
}

void cFrontalAlgorithm::stepPhaseTwo()
{
    if (!m_inFile)
        return;
    // An empty filter or an empty window is a No Deployment value: it stops the algorithm whatever
    // the thresholds, even ones set to 0 outside their bounds.
    if (!m_awake && m_filterLength > 0 && m_filtered >= m_settings.wakeUpThreshold)
    {
        m_awake = true;
        m_velocity = 0.0;
        setTimeEventValue(m_wakeUpValue, 0.0);
    }
    if (m_awake)
        m_velocity =
            std::max(0.0, m_velocity + (m_deceleration - m_settings.leakDeceleration) * m_kmhPerGStep);
    if (m_filtered >= m_settings.safingDeceleration)
        m_safingSteps = std::min(m_safingSteps + 1, UINT_MAX - 1);
    else
        m_safingSteps = 0;
    m_threshold = m_settings.stage1Threshold + m_settings.stage1ThresholdSlope * m_velocity;

    addValueToCriterion(m_filteredValues, float(m_filtered));
    addValueToCriterion(m_velocityValues, float(m_velocity));
    addValueToCriterion(m_windowedValues, float(m_windowed));
    addValueToCriterion(m_thresholdValues, float(m_threshold));
}

void cFrontalAlgorithm::stepPhaseThree()
{
    if (!m_inFile)
        return;
    unsigned int const step = getCurrentSampleIndex();
    // Safing holds when the filtered deceleration has stayed at its level over the whole safing time:
    // one step more than the time counts in steps.
    if (m_awake && !m_stage1Fired && m_windowLength > 0 && m_windowed >= m_threshold &&
        m_safingSteps > m_safingLength)
    {
        m_stage1Fired = true;
        m_stage1Step = step;
        setTimeEventValue(m_stage1Value, 0.0);
    }
    if (m_stage1Fired && !m_stage2Fired && step - m_stage1Step < m_stage2Length &&
        m_windowed >= m_settings.stage2Threshold)
    {
        m_stage2Fired = true;
        setTimeEventValue(m_stage2Value, 0.0);
    }
    // Back to sleep once the leak has used up the velocity change and the deceleration is gone.
    if (m_awake && m_velocity <= 0.0 && m_filtered < m_settings.wakeUpThreshold)
        m_awake = false;
}

void cFrontalAlgorithm::stepPhaseLast()
{
    // The algorithm runs to the last sample whoever waits for its events, so that its time events
    // do not depend on the graphs and margin tests registered.
    if (getCurrentSampleIndex() + 1 >= getSampleCount())
        setKeepStepping(false);
}

void cFrontalAlgorithm::eepromCheck()
{
    cAlgorithm::eepromCheck();
    if (myActiveCalibration == nullptr)
        return;
    tEepromValues& cells = getEepromValueList();
    for (cDriftParameter* parameter : myActiveCalibration->GetParameters())
    {
        std::string const name = parameter->getEepromName();
        if (name.empty())
            continue;
        mpf_class raw;
        parameter->getRawValue(raw);
        double const value = raw.get_d();
        cells[name] = static_cast<long>(value >= 0.0 ? value + 0.5 : value - 0.5);
    }
}

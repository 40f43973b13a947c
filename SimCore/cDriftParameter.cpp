#include "SimCore/cDriftParameter.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/IHostWindow.h"
#include "BaseKit/cKynException.h"
#include "BaseKit/cTraceProvider.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cSymbolManager.h"
#include "StoreKit/cConfigurationGroup.h"

#include <cmath>
#include <cstdlib>
#include <memory>
#include <vector>

namespace
{
char const* const kSource = "SimCore/cDriftParameter";

// Window message that tells the host a parameter or its drift changed.
constexpr uint32_t kParameterChangedMessage = 0x9E3;

// Taken off or added to a limit before comparing a point with it, so that a point that only
// rounding keeps from the limit becomes the limit.
constexpr double kLimitEpsilon = 2.220446049250313e-16;

// Draws are made on 15 bits, 0 to 32767, and one 32768th turns them into [0, 1). The C library's
// wider generators give their 15 high bits, so a narrow one (RAND_MAX 32767) is used as it is.
constexpr double kRandScale = 3.0517578125e-05;

int rand15()
{
    constexpr unsigned int divisor = (static_cast<unsigned int>(RAND_MAX) + 1u) / 32768u;
    return static_cast<int>(static_cast<unsigned int>(std::rand()) / divisor);
}

void postParameterChanged()
{
    PostMessageA(getMainWndH(), kParameterChangedMessage, 0, 0);
}

void invalidateStatisticalModule()
{
    if (myActiveComputationManager != nullptr)
        myActiveComputationManager->invalidateStatisticalModule();
}

std::string convertedText(mpf_class const& value)
{
    std::string text;
    doubleToString(text, value, 20);
    return text;
}

// Normalised cumulative sums of the densities; false when they add up to nothing.
bool buildCumulative(std::vector<double> const& density, std::vector<double>& cumulative)
{
    double total = 0;
    for (double d : density)
        total += d;
    if (total <= 0)
        return false;
    double running = 0;
    for (std::size_t k = 0; k < density.size(); ++k)
    {
        running += density[k];
        cumulative[k] = running / total;
    }
    return true;
}
} // namespace

// ---- cDrift ------------------------------------------------------------------------------------

cDrift::cDrift(mpf_class nominal, mpf_class maximum, mpf_class minimum, mpf_class step, mpf_class factor,
               unsigned char distribution)
    : m_rawMaximum(maximum), m_rawMinimum(minimum), m_rawStep(step), m_rawNominal(nominal),
      m_conversionFactor(factor), m_distribution(distribution), m_points(20)
{
    if (step <= 0)
        throw cBadStepException(kSource, "cDrift::cDrift", __LINE__, step);
    if (distribution >= 2)
        throw cUnknownDistributionTypeException(kSource, "cDrift::cDrift", __LINE__, distribution);
    try
    {
        computePointNumber();
    }
    catch (...)
    {
        freePoints();
        throw;
    }
    invalidateStatisticalModule();
}

cDrift::~cDrift()
{
    freePoints();
    invalidateStatisticalModule();
}

void cDrift::freePoints()
{
    for (unsigned int i = 0; i < m_points.size(); ++i)
        delete m_points[i];
    m_points.clear();
}

std::string cDrift::getStatisticalDistributionName() const
{
    switch (m_distribution)
    {
    case 0:
        return "Uniform";
    case 1:
        return "Gaussian";
    default:
        return "Unknown";
    }
}

void cDrift::setStatisticalDistributionType(unsigned char distribution)
{
    if (distribution >= 2)
        throw cUnknownDistributionTypeException(kSource, "cDrift::setStatisticalDistributionType", __LINE__,
                                                distribution);
    m_distribution = distribution;
}

void cDrift::setConvertedMaximumValue(mpf_class value)
{
    setRawMaximumValue(value / m_conversionFactor);
}

void cDrift::setConvertedMinimumValue(mpf_class value)
{
    setRawMinimumValue(value / m_conversionFactor);
}

void cDrift::setConvertedStepValue(mpf_class value)
{
    setRawStepValue(value / m_conversionFactor);
}

void cDrift::setConvertedNominalValue(mpf_class value)
{
    setRawNominalValue(value / m_conversionFactor);
}

void cDrift::setRawMaximumValue(mpf_class value)
{
    m_rawMaximum = value;
    computePointNumber();
    postParameterChanged();
}

void cDrift::setRawMinimumValue(mpf_class value)
{
    m_rawMinimum = value;
    computePointNumber();
    postParameterChanged();
}

void cDrift::setRawNominalValue(mpf_class value)
{
    m_rawNominal = value;
    computePointNumber();
    postParameterChanged();
}

void cDrift::setRawStepValue(mpf_class value)
{
    if (value <= 0)
        throw cBadStepException(kSource, "cDrift::setRawStepValue", __LINE__, value);
    m_rawStep = value;
    computePointNumber();
    postParameterChanged();
}

mpf_class cDrift::computeSpecificPointRawValue(unsigned int i) const
{
    return m_pointNumber == 0 ? m_rawNominal : m_points[i % m_pointNumber]->value;
}

mpf_class cDrift::computeSpecificPointConvertedValue(unsigned int i) const
{
    return computeSpecificPointRawValue(i) * m_conversionFactor;
}

void cDrift::computePointNumber()
{
    uint32_t const oldCount = m_pointNumber;
    m_pointNumber = 0;
    freePoints();
    auto append = [this](mpf_class const& value)
    {
        auto point = std::make_unique<mpfClass>(value);
        m_points.add(point.get());
        point.release();
        ++m_pointNumber;
    };

    // Down from the nominal value; the minimum always ends the pass as a point of its own.
    mpf_class const lowLimit = m_rawMinimum + kLimitEpsilon;
    for (unsigned long i = 0;; ++i)
    {
        mpf_class value = m_rawNominal - i * m_rawStep;
        bool const last = value <= lowLimit;
        append(last ? m_rawMinimum : value);
        if (last)
            break;
    }
    // Then up to the maximum, when there is room above the nominal value.
    if (m_rawNominal < m_rawMaximum)
    {
        mpf_class const highLimit = m_rawMaximum - kLimitEpsilon;
        for (unsigned long i = 1;; ++i)
        {
            mpf_class value = m_rawNominal + i * m_rawStep;
            bool const last = value >= highLimit;
            append(last ? m_rawMaximum : value);
            if (last)
                break;
        }
    }
    if (m_pointNumber != oldCount)
        invalidateStatisticalModule();
}

void cDrift::getStatisticalDistribution(cStorage<double>& out) const
{
    // Gaussian is a valid index, but no density exists for it yet.
    if (m_distribution != 0)
        throw cUnknownDistributionTypeException(kSource, "cDrift::getStatisticalDistribution", __LINE__,
                                                m_distribution);
    out.clear();
    for (uint32_t i = 0; i < m_pointNumber; ++i)
        out.add(1.0 / m_pointNumber);
}

void cDrift::computeStatisticalDistribution(unsigned int draws, unsigned int limit,
                                            cStorage<unsigned int>& counts)
{
    counts.clear();
    for (uint32_t i = 0; i < m_pointNumber; ++i)
        counts.add(0);
    cStorage<double> densities;
    getStatisticalDistribution(densities);
    std::vector<double> const full(densities.data(), densities.data() + densities.size());
    std::vector<double> density(full);
    std::vector<double> cumulative(density.size());
    if (!buildCumulative(density, cumulative))
        return;
    for (unsigned int draw = 0; draw < draws; ++draw)
    {
        double const r = rand15() * kRandScale;
        std::size_t chosen = 0;
        while (chosen + 1 < cumulative.size() && !(cumulative[chosen] > r))
            ++chosen;
        ++counts[chosen];
        if (counts[chosen] >= limit)
        {
            // The point is full: the others share its probability from now on.
            density[chosen] = 0;
            if (draw + 1 < draws && !buildCumulative(density, cumulative))
            {
                density = full;
                buildCumulative(density, cumulative);
            }
        }
    }
}

// ---- cDriftParameter ---------------------------------------------------------------------------

cDriftParameter::cDriftParameter(cConfigurationGroup* group, std::string const& ownerName)
    : cParameter(group, ownerName)
{
    configureOrAbandon([&] { setConfiguration(group); });
}

cDriftParameter::~cDriftParameter()
{
    try
    {
        clearDrift();
    }
    catch (std::exception const& failure)
    {
        // A parameter that goes cannot refuse to go; the failure is only traced.
        KYN_TRACE_GLOBAL(1, "Drift of parameter " + m_name + " not cleared: " + failure.what());
        delete m_drift;
        m_drift = nullptr;
    }
}

void cDriftParameter::setConfiguration(cConfigurationGroup* group)
{
    char const* const function = "cDriftParameter::setConfiguration";
    // A number, a named constant or a constant expression; absent or not constant keeps value.
    auto readNumber = [&](char const* key, mpf_class& value)
    {
        std::string text;
        if (group->findItem("", key, text, false) == 0)
            return;
        if (myActiveSymbolManager == nullptr)
            throw cNULLPointer(kSource, function, __LINE__,
                               "No active symbol manager for parameter \"" + m_name + "\"");
        myActiveSymbolManager->getConstantValue(text, value, true);
    };

    m_defaultMaximum = m_maximumValue;
    readNumber("Default Maximum Value", m_defaultMaximum);
    m_defaultMaximum = m_defaultMaximum < m_maximumValue ? m_defaultMaximum : m_maximumValue;
    m_usedMaximum = m_defaultMaximum;
    readNumber("Used Maximum Value", m_usedMaximum);
    m_usedMaximum = m_usedMaximum < m_maximumValue ? m_usedMaximum : m_maximumValue;

    m_defaultMinimum = m_minimumValue;
    readNumber("Default Minimum Value", m_defaultMinimum);
    m_defaultMinimum = m_defaultMinimum > m_minimumValue ? m_defaultMinimum : m_minimumValue;
    m_usedMinimum = m_defaultMinimum;
    readNumber("Used Minimum Value", m_usedMinimum);
    m_usedMinimum = m_usedMinimum > m_minimumValue ? m_usedMinimum : m_minimumValue;

    // 5 in physical units unless the file says otherwise.
    m_defaultStep = rawFromConverted(mpf_class(5), function, __LINE__);
    readNumber("Step", m_defaultStep);
    m_usedStep = m_defaultStep;
    readNumber("Used Step", m_usedStep);

    group->findItem("", "Batch Configuration", m_batchConfiguration, false);
    group->findItem("", "Batch Combine", m_batchCombine, false);
    group->findItem("", "Path", m_path, false);
}

void cDriftParameter::buildFile(cConfigurationGroup* group, int mask)
{
    cParameter::buildFile(group, mask);
    if (group == nullptr)
        return;
    auto has = [mask](EParameterFileKey key) { return (mask & key) != 0; };
    int const decimals = getRawDecimals();
    if (has(kFileKeyDefaultMaximumValue))
        group->addInformation("Default Maximum Value", m_defaultMaximum, decimals);
    if (has(kFileKeyDefaultMinimumValue))
        group->addInformation("Default Minimum Value", m_defaultMinimum, decimals);
    if (has(kFileKeyStep))
        group->addInformation("Step", m_defaultStep, decimals);
    if (has(kFileKeyUsedMaximumValue))
        group->addInformation("Used Maximum Value", m_usedMaximum, decimals);
    if (has(kFileKeyUsedMinimumValue))
        group->addInformation("Used Minimum Value", m_usedMinimum, decimals);
    if (has(kFileKeyUsedStep))
        group->addInformation("Used Step", m_usedStep, decimals);
    if (has(kFileKeyBatchConfiguration))
        group->addInformation("Batch Configuration", m_batchConfiguration);
    if (has(kFileKeyBatchCombine))
        group->addInformation("Batch Combine", m_batchCombine);
    if (has(kFileKeyPath))
        group->addInformation("Path", m_path);
}

void cDriftParameter::saveDriftConfiguration(cConfigurationGroup* parent, std::string ownerName,
                                             std::string channelName)
{
    if (parent == nullptr)
        return;
    auto group = std::make_unique<cConfigurationGroup>("Drift");
    int const decimals = getRawDecimals();
    group->addInformation("Name", ownerName);
    if (!channelName.empty())
        group->addInformation("Channel", channelName);
    group->addInformation("Parameter", m_name);
    if (m_drift == nullptr)
    {
        group->addInformation("Nominal", m_rawValue, decimals);
    }
    else
    {
        group->addInformation("Nominal", m_drift->m_rawNominal, decimals);
        group->addInformation("Minimum Value", m_drift->m_rawMinimum, decimals);
        group->addInformation("Maximum Value", m_drift->m_rawMaximum, decimals);
        group->addInformation("Step", m_drift->m_rawStep, decimals);
        group->addInformation("Distribution Type", m_drift->getStatisticalDistributionName());
    }
    parent->addConfigurationGroup(group.release());
}

void cDriftParameter::setConvertedDrift(mpf_class nominal, mpf_class maximum, mpf_class minimum,
                                        mpf_class step, unsigned char distribution)
{
    char const* const function = "cDriftParameter::setConvertedDrift";
    setRawDrift(rawFromConverted(nominal, function, __LINE__), rawFromConverted(maximum, function, __LINE__),
                rawFromConverted(minimum, function, __LINE__), rawFromConverted(step, function, __LINE__),
                distribution);
}

void cDriftParameter::setRawDrift(mpf_class nominal, mpf_class maximum, mpf_class minimum, mpf_class step,
                                  unsigned char distribution)
{
    cDrift* const drift = new cDrift(nominal, maximum, minimum, step, getConversionFactor(), distribution);
    try
    {
        m_usedMaximum = maximum;
        m_usedMinimum = minimum;
        m_usedStep = step;
        setRawValue(nominal, /*update=*/true, /*applyLimits=*/true);
        // Clearing the old drift writes the default value over the nominal just set: hosts have
        // always followed a replaced drift with resetNominalValue.
        if (m_drift != nullptr)
            clearDrift();
    }
    catch (...)
    {
        delete drift;
        throw;
    }
    m_drift = drift;
    KYN_TRACE_GLOBAL(4, "New drift created for parameter " + getLongName() + " with " +
                            convertedText(drift->getConvertedMinimumValue()) +
                            "<=" + convertedText(drift->getConvertedNominalValue()) +
                            "<=" + convertedText(drift->getConvertedMaximumValue()));
    postParameterChanged();
}

void cDriftParameter::clearDrift()
{
    setRawValue(m_defaultValue, /*update=*/true, /*applyLimits=*/true);
    if (m_drift != nullptr)
    {
        delete m_drift;
        m_drift = nullptr;
        KYN_TRACE_GLOBAL(4, "Drift deleted for parameter: " + getLongName());
    }
    postParameterChanged();
}

void cDriftParameter::resetDrift()
{
    clearDrift();
    m_usedMaximum = m_defaultMaximum;
    m_usedMinimum = m_defaultMinimum;
    m_usedStep = m_defaultStep;
}

void cDriftParameter::resetNominalValue()
{
    if (m_drift != nullptr)
        setRawValue(m_drift->m_rawNominal, /*update=*/true, /*applyLimits=*/true);
}

mpf_class cDriftParameter::getDefaultStepValue() const
{
    return m_defaultStep * getConversionFactor();
}

mpf_class cDriftParameter::getDefaultMaximumValue() const
{
    return m_defaultMaximum * getConversionFactor();
}

mpf_class cDriftParameter::getDefaultMinimumValue() const
{
    return m_defaultMinimum * getConversionFactor();
}

mpf_class cDriftParameter::getUsedStepValue() const
{
    return m_usedStep * getConversionFactor();
}

mpf_class cDriftParameter::getUsedMaximumValue() const
{
    return m_usedMaximum * getConversionFactor();
}

mpf_class cDriftParameter::getUsedMinimumValue() const
{
    return m_usedMinimum * getConversionFactor();
}

void cDriftParameter::setUsedStepValue(mpf_class converted)
{
    changeUsedValue(m_usedStep, rawFromConverted(converted, "cDriftParameter::setUsedStepValue", __LINE__),
                    &cDrift::setRawStepValue);
}

void cDriftParameter::setUsedMaximumValue(mpf_class converted)
{
    changeUsedValue(m_usedMaximum,
                    rawFromConverted(converted, "cDriftParameter::setUsedMaximumValue", __LINE__),
                    &cDrift::setRawMaximumValue);
}

void cDriftParameter::setUsedMinimumValue(mpf_class converted)
{
    changeUsedValue(m_usedMinimum,
                    rawFromConverted(converted, "cDriftParameter::setUsedMinimumValue", __LINE__),
                    &cDrift::setRawMinimumValue);
}

void cDriftParameter::changeUsedValue(mpf_class& field, mpf_class const& raw,
                                      void (cDrift::*setter)(mpf_class))
{
    if (raw == field)
        return;
    field = raw;
    if (m_drift != nullptr)
    {
        (m_drift->*setter)(raw);
        postParameterChanged();
    }
}

mpf_class cDriftParameter::evaluate()
{
    mpf_class value;
    getRawValue(value);
    return value;
}

std::string cDriftParameter::getEepromName()
{
    return std::string();
}

// ---- cDriftParameterMgr ------------------------------------------------------------------------

cDriftParameterMgr::cDriftParameterMgr(std::string const& itemName, std::string const& listName)
    : cParameterMgr<cDriftParameter>(itemName, listName, 0), m_currentDrifts(10), m_strides(10)
{
}

void cDriftParameterMgr::resetAllDrifts()
{
    for (cDriftParameter* p : GetParameters())
        p->resetDrift();
}

void cDriftParameterMgr::resetAllNominalValues()
{
    for (cDriftParameter* p : GetParameters())
        p->resetNominalValue();
}

bool cDriftParameterMgr::restoreDriftState(unsigned int iteration)
{
    if (iteration >= m_totalCombinations)
        return false;
    unsigned int const count = m_currentDrifts.size();
    for (unsigned int k = 0; k < count; ++k)
    {
        cDriftParameter* const p = m_currentDrifts[k];
        cDrift const* const drift = p->getDrift();
        // A drift cleared since the last reset has no point to give.
        if (drift == nullptr)
            continue;
        p->setRawValue(drift->pointAt((iteration / m_strides[k]) % drift->m_pointNumber), /*update=*/true,
                       /*applyLimits=*/true);
    }
    return true;
}

void cDriftParameterMgr::getCurrentDrifts(cStorage<cDriftParameter*>& drifts) const
{
    for (cDriftParameter* p : GetParameters())
        if (p->isDriftSet())
            drifts.add(p);
}

void cDriftParameterMgr::getModifiedDriftParams(cStorage<cDriftParameter*>& parameters) const
{
    for (cDriftParameter* p : GetParameters())
    {
        mpf_class value;
        p->getRawValue(value);
        if (std::fabs(value.get_d() - p->getDefaultValue().get_d()) >= 1e-13)
            parameters.add(p);
    }
}

bool cDriftParameterMgr::currentDriftsHaveSameNumberOfIterations(unsigned int& n) const
{
    n = 0;
    bool first = true;
    for (cDriftParameter* p : GetParameters())
    {
        if (!p->isDriftSet())
            continue;
        if (first)
        {
            n = p->getPointNumber();
            first = false;
        }
        else if (p->getPointNumber() != n)
        {
            return false;
        }
    }
    return true;
}

void cDriftParameterMgr::changeFile()
{
    for (cDriftParameter* p : GetParameters())
        p->setProcessed(false);
}

void cDriftParameterMgr::endOfIteration()
{
    for (cDriftParameter* p : GetParameters())
        p->setProcessed(true);
}

bool cDriftParameterMgr::isProcessed()
{
    for (cDriftParameter* p : GetParameters())
        if (!p->isProcessed())
            return false;
    return true;
}

void cDriftParameterMgr::reset()
{
    m_currentDrifts.clear();
    m_strides.clear();
    for (cDriftParameter* p : GetParameters())
    {
        if (p->isDriftSet())
        {
            m_currentDrifts.add(p);
            m_strides.add(1);
        }
    }
    // The last drift moves fastest: its stride is 1, each earlier one spans all those behind it.
    m_totalCombinations = 1;
    for (unsigned int k = m_currentDrifts.size(); k-- > 0;)
    {
        m_strides[k] *= m_totalCombinations;
        m_totalCombinations *= m_currentDrifts[k]->getPointNumber();
    }
}

#include "SimCore/cDriftParameter.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/IHostWindow.h"
#include "BaseKit/cKynException.h"
#include "BaseKit/cTraceProvider.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cSymbolManager.h"
#include "StoreKit/cConfigurationGroup.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <numbers>
#include <numeric>
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

// exp(t^2) erfc(t) for t >= 0: the tail of the normal law without the underflow of erfc far from
// the centre. Past 25 the asymptotic series serves; its tenth term is below 1e-22 there.
double scaledErfc(double t)
{
    if (t < 25)
        return std::exp(t * t) * std::erfc(t);
    double const inverse = 1 / (2 * t * t);
    double term = 1;
    double sum = 1;
    for (int n = 1; n < 10; ++n)
    {
        term *= -(2 * n - 1) * inverse;
        sum += term;
    }
    return sum / (t * std::sqrt(std::numbers::pi));
}

// The normal law of a Gaussian drift: centred on the nominal value, the range being six standard
// deviations, as a sensor tolerance of plus or minus three sigma is written. mass() gives twice the
// mass of an interval of the range times one common factor, exp(ref^2) with ref the distance in
// sigma * sqrt(2) from the nominal value to the range: a nominal far outside the range then still
// spreads its mass over the range instead of underflowing every interval to 0.
class cRangeNormalLaw
{
public:
    cRangeNormalLaw(double nominal, double minimum, double maximum)
        : m_nominal(nominal), m_width((maximum - minimum) / 6 * std::numbers::sqrt2),
          m_ref(nominal < minimum   ? z(minimum)
                : nominal > maximum ? -z(maximum)
                                    : 0)
    {
    }
    // a <= b, both in the range. One-sided intervals take the tail, so that small masses far from
    // the centre keep their precision; only an interval around the nominal value takes erf.
    double mass(double a, double b) const
    {
        double const ta = z(a);
        double const tb = z(b);
        if (ta >= 0)
            return tail(ta) - tail(tb);
        if (tb <= 0)
            return tail(-tb) - tail(-ta);
        return std::erf(tb) - std::erf(ta);
    }

private:
    double z(double x) const { return (x - m_nominal) / m_width; }
    // erfc(t) exp(ref^2) for t >= ref >= 0.
    double tail(double t) const { return std::exp((m_ref - t) * (m_ref + t)) * scaledErfc(t); }

    double m_nominal;
    double m_width;
    double m_ref;
};

// The densities of a Gaussian drift, for points in any order. Each point takes the mass of its share
// of the range, the part of the range closer to it than to any other point; points of one value
// split their share, and a point outside the range has none. The masses are normalised over the
// range.
std::vector<double> gaussianDensities(std::vector<double> const& points, double nominal, double minimum,
                                      double maximum)
{
    std::vector<std::size_t> order(points.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return points[a] < points[b]; });
    // The distinct values in ascending order, as runs of the sorted positions: run g is
    // [starts[g], starts[g + 1]).
    std::vector<std::size_t> starts;
    for (std::size_t k = 0; k < order.size(); ++k)
        if (k == 0 || points[order[k]] != points[order[k - 1]])
            starts.push_back(k);
    starts.push_back(order.size());
    std::size_t const runs = starts.size() - 1;
    auto value = [&](std::size_t run) { return points[order[starts[run]]]; };
    // The upper end of a run's share before it is cut to the range; the last reaches to infinity.
    auto upperEnd = [&](std::size_t run)
    {
        return run + 1 < runs ? std::midpoint(value(run), value(run + 1))
                              : std::numeric_limits<double>::infinity();
    };
    std::vector<double> density(points.size(), 0.0);
    auto spread = [&](std::size_t run, double mass)
    {
        std::size_t const members = starts[run + 1] - starts[run];
        for (std::size_t k = starts[run]; k < starts[run + 1]; ++k)
            density[order[k]] = mass / members;
    };
    // A law with no width, or one beyond the doubles, puts all its mass where the nominal value meets
    // the range: the share holding that place takes it. The minimum is always a point, so a range
    // without width gives everything to it.
    auto allAt = [&](double place)
    {
        std::fill(density.begin(), density.end(), 0.0);
        std::size_t run = 0;
        while (run + 1 < runs && upperEnd(run) < place)
            ++run;
        spread(run, 1.0);
        return density;
    };
    if (!(maximum > minimum))
        return allAt(minimum);
    cRangeNormalLaw const law(nominal, minimum, maximum);
    double total = 0;
    double lower = minimum;
    for (std::size_t run = 0; run < runs; ++run)
    {
        double const upper = std::clamp(upperEnd(run), minimum, maximum);
        double const mass = upper > lower ? std::max(law.mass(lower, upper), 0.0) : 0.0;
        spread(run, mass);
        total += mass;
        lower = std::max(lower, upper);
    }
    if (!(total > 0) || !std::isfinite(total))
        return allAt(std::clamp(nominal, minimum, maximum));
    for (double& d : density)
        d /= total;
    return density;
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
    std::vector<double> density;
    switch (m_distribution)
    {
    case 0:
        density.assign(m_pointNumber, 1.0 / m_pointNumber);
        break;
    case 1:
    {
        std::vector<double> points;
        for (uint32_t i = 0; i < m_pointNumber; ++i)
            points.push_back(pointAt(i).get_d());
        density = gaussianDensities(points, m_rawNominal.get_d(), m_rawMinimum.get_d(), m_rawMaximum.get_d());
        break;
    }
    default:
        throw cUnknownDistributionTypeException(kSource, "cDrift::getStatisticalDistribution", __LINE__,
                                                m_distribution);
    }
    out.clear();
    for (double d : density)
        out.add(d);
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
        if (counts[chosen] >= limit && draw + 1 < draws)
        {
            // The point is full: the others share its probability from now on. Should those left
            // have no density between them (a Gaussian drift gives none to a point outside its
            // range), they share the draws equally, so that no point passes the limit while another
            // has room: the statistical module relies on it to draw no combination twice.
            density[chosen] = 0;
            if (!buildCumulative(density, cumulative))
            {
                for (std::size_t k = 0; k < density.size(); ++k)
                    density[k] = counts[k] < limit ? 1.0 : 0.0;
                if (!buildCumulative(density, cumulative))
                {
                    density = full;
                    buildCumulative(density, cumulative);
                }
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

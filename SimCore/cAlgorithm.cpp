#include "SimCore/cAlgorithm.h"

#include "SimCore/cEquation.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

cAlgorithm* myActiveAlgorithm = nullptr;

namespace
{
char const* const kStageName = "Algorithm";

// Half away from zero, then truncated.
long roundHalfAway(double value)
{
    return static_cast<long>(value >= 0.0 ? value + 0.5 : value - 0.5);
}

// Whether a is b within the relative tolerance of a double, or both are too small to tell apart.
bool isNear(double a, double b)
{
    double const scale = std::max(std::fabs(a), std::fabs(b));
    if (scale < DBL_MIN)
        return true;
    return std::fabs(a - b) / scale < DBL_EPSILON;
}
} // namespace

cAlgorithm::cAlgorithm()
    : cCriterionMgr("Criterion", "Criteria List"), cTimeEventMgr("Time Event", "Time Events List"),
      m_displacementConversionFactor(cEquation::createEquation("1.0"))
{
}

cAlgorithm::~cAlgorithm()
{
    clearDisplacement();
    delete m_displacementConversionFactor;
}

float cAlgorithm::getTimeValueInMs(unsigned int sample) const
{
    return float(sample) * 1000.0f / m_samplingRate + float(m_t0) / 1000.0f;
}

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
    return m_displacementConversionFactor->evaluate();
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

void cAlgorithm::addValueToCriterion(cCriterionValuesForOneFile* values, float value)
{
    if (values->getSize() == 0)
    {
        // The curve starts at the current step, in whole seconds from the stage's T0 (kept as the
        // curves of existing projects were computed).
        long const seconds = roundHalfAway(float(m_currentSampleIndex) / m_samplingRate);
        values->setT0(seconds * 1000000L + m_t0);
        values->SetHasPointsToTrue();
        values->addValue(0.0f);
    }
    if (values->getSize() == 2)
    {
        // The T0 difference stays in microseconds, unscaled: the rate is what such curves carry.
        float const offset = float(values->getT0() - m_t0) * m_samplingRate;
        long const steps = long(m_currentSampleIndex) - roundHalfAway(offset);
        values->setSamplingRate(m_samplingRate / float(steps));
    }
    values->addValue(value);
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
    m_extraTimeEvents.clear();
    for (unsigned int i = first; i < cTimeEventMgr::getParameterListSize(); ++i)
        m_extraTimeEvents.insert(cTimeEventMgr::getParameter(i));
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

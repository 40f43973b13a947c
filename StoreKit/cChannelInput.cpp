#include "StoreKit/cChannelInput.h"

#include "BaseKit/cKynException.h"

#include <cstdlib>
#include <utility>

namespace
{
// The nearest double: mpf_class::get_d truncates, which would turn a rate read as "3333.333" into
// 3333.3329999999996.
double nearestDouble(mpf_class const& value)
{
    mp_exp_t exponent = 0;
    std::string digits = value.get_str(exponent, 10, 25);
    if (digits.empty())
        return 0.0;
    bool const negative = digits.front() == '-';
    if (negative)
        digits.erase(0, 1);
    std::string const text = (negative ? "-0." : "0.") + digits + "e" + std::to_string(exponent);
    return std::strtod(text.c_str(), nullptr);
}
} // namespace

cChannelInput::cChannelInput(std::string name, mpf_class const& samplingRate)
    : m_name(std::move(name)), m_samplingRate(samplingRate), m_samplingRateInHz(nearestDouble(samplingRate))
{
    // A channel in memory has all its samples from the start: none yet, then those added.
    m_samplesPresent.store(true, std::memory_order_release);
}

cChannelInput::cChannelInput(std::string name, std::string unit, mpf_class const& samplingRate,
                             unsigned int sampleCount, IChannelSampleSource const* source,
                             unsigned int sourceIndex)
    : m_name(std::move(name)), m_unit(std::move(unit)), m_samplingRate(samplingRate),
      m_samplingRateInHz(nearestDouble(samplingRate)), m_sampleCount(sampleCount), m_source(source),
      m_sourceIndex(sourceIndex)
{
}

cChannelInput::~cChannelInput() = default;

std::vector<float> const& cChannelInput::getSamples() const
{
    if (!m_samplesPresent.load(std::memory_order_acquire))
        fetchSamples();
    return m_samples;
}

void cChannelInput::fetchSamples() const
{
    std::lock_guard<std::mutex> lock(m_fetchMutex);
    if (m_samplesPresent.load(std::memory_order_relaxed))
        return;
    std::vector<float> samples;
    samples.reserve(m_sampleCount);
    m_source->readChannelSamples(*this, samples);
    if (samples.size() != m_sampleCount)
        throw cGenericException("StoreKit/cChannelInput", "cChannelInput::fetchSamples", __LINE__,
                                "Channel " + m_name + ": " + std::to_string(samples.size()) +
                                    " samples read where the directory declares " +
                                    std::to_string(m_sampleCount));
    m_samples = std::move(samples);
    m_samplesPresent.store(true, std::memory_order_release);
}

void cChannelInput::addSample(float value)
{
    if (m_source != nullptr)
        throw cForbiddenAction("StoreKit/cChannelInput", "cChannelInput::addSample", __LINE__,
                               "the samples of channel " + m_name + " belong to its crash file");
    m_samples.push_back(value);
    ++m_sampleCount;
}

void cChannelInput::releaseSamples()
{
    if (m_source == nullptr)
        return;
    std::lock_guard<std::mutex> lock(m_fetchMutex);
    m_samplesPresent.store(false, std::memory_order_release);
    std::vector<float>().swap(m_samples);
}

float cChannelInput::getEndTimeInMs() const
{
    if (m_sampleCount == 0 || m_samplingRateInHz <= 0.0)
        return 0.0f;
    return static_cast<float>(double(m_sampleCount - 1) * 1000.0 / m_samplingRateInHz);
}

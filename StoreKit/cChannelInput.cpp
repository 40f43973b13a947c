#include "StoreKit/cChannelInput.h"

#include <utility>

cChannelInput::cChannelInput(std::string name, mpf_class const& samplingRate)
    : m_name(std::move(name)), m_samplingRate(samplingRate)
{
}

cChannelInput::~cChannelInput() = default;

float cChannelInput::getEndTimeInMs() const
{
    if (m_samples.empty() || m_samplingRate <= 0)
        return 0.0f;
    return static_cast<float>(double(m_samples.size() - 1) * 1000.0 / m_samplingRate.get_d());
}

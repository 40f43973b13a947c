// cSignalStorage<T>: a sampled signal, the elements of a cStorage<T> together with the sampling
// rate in hertz and the time T0 in microseconds at which the signal starts. By the pipeline's
// convention element 0 is a dummy of value 0 standing at T0 and sample k is element k + 1; the
// container itself adds nothing, the stages that fill a signal do.
#pragma once

#include "BaseKit/cStorage.h"

template <class T> class cSignalStorage : public cStorage<T>
{
public:
    cSignalStorage() = default;
    explicit cSignalStorage(unsigned int growthStep) : cStorage<T>(growthStep) {}
    // Copy and assignment carry the sampling rate and T0 along with the elements.
    cSignalStorage(cSignalStorage const& other) = default;
    cSignalStorage& operator=(cSignalStorage const& other) = default;
    ~cSignalStorage() override = default;

    float getSamplingRate() const { return m_samplingRate; }
    void setSamplingRate(float samplingRate) { m_samplingRate = samplingRate; }
    long getT0() const { return m_t0; }
    void setT0(long t0) { m_t0 = t0; }

private:
    float m_samplingRate = 0.0f;
    long m_t0 = 0;
};

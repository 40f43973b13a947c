// The copies of signals between the stages: a stage hands its result on as a copy with its sampling
// rate and T0, and keeps the destination's memory from one iteration to the next.
#pragma once

#include "BaseKit/cSignalStorage.h"
#include "BaseKit/cStorage.h"

#include <cstring>
#include <memory>

// Appends count floats from src to dst in one step.
inline void appendSamples(float const* src, unsigned int count, cSignalStorage<float>& dst)
{
    if (count != 0)
        std::memcpy(dst.addUninitialised(count), src, count * sizeof(float));
}

// Appends src's elements to dst.
inline void appendSignal(cSignalStorage<float> const& src, cSignalStorage<float>& dst)
{
    appendSamples(src.data(), src.size(), dst);
}

// dst := src's elements, sampling rate and T0.
inline void copySignal(cSignalStorage<float> const& src, cSignalStorage<float>& dst)
{
    dst.clear();
    appendSignal(src, dst);
    dst.setSamplingRate(src.getSamplingRate());
    dst.setT0(src.getT0());
}

// Appends a new empty signal to an owning list; the signal is freed if the list cannot grow.
inline cSignalStorage<float>* addNewSignal(cStorage<cSignalStorage<float>*>& list)
{
    auto signal = std::make_unique<cSignalStorage<float>>();
    list.add(signal.get());
    return signal.release();
}

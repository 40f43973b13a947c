// The copies of signals between the stages: a stage hands its result on as a copy with its sampling
// rate and T0, and keeps the destination's memory from one iteration to the next.
#pragma once

#include "BaseKit/cSignalStorage.h"

// Appends src's elements to dst.
inline void appendSignal(cSignalStorage<float> const& src, cSignalStorage<float>& dst)
{
    dst.reserve(dst.size() + src.size());
    for (unsigned int i = 0; i < src.size(); ++i)
        dst.add(src[i]);
}

// dst := src's elements, sampling rate and T0.
inline void copySignal(cSignalStorage<float> const& src, cSignalStorage<float>& dst)
{
    dst.clear();
    appendSignal(src, dst);
    dst.setSamplingRate(src.getSamplingRate());
    dst.setT0(src.getT0());
}

// cChannelInput: one sensor channel of a crash recording: its name, its sampling rate and its samples.
// The crash input files fill their channels when they load; a recording made in memory (a synthetic
// pulse) fills them directly with addSample.
#pragma once
#include "BaseKit/cStorage.h"
#include <gmpxx.h>
#include <string>

class cChannelInput
{
public:
    cChannelInput(std::string name, mpf_class const& samplingRate);
    virtual ~cChannelInput();

    std::string const& getName() const { return m_name; }
    mpf_class getSamplingRate() const { return m_samplingRate; }
    unsigned int getSampleNumber() const { return m_samples.size(); }
    // Sample by index, no bound check.
    float getDataByIndex(unsigned int index) const { return m_samples[index]; }
    void addSample(float value) { m_samples.add(value); }
    // Drops the samples and gives their memory back.
    void releaseSamples() { m_samples.freeMemory(); }
    // The time of the last sample in milliseconds (0 without samples, or without a rate).
    float getEndTimeInMs() const;

private:
    std::string m_name;
    mpf_class m_samplingRate;
    cStorage<float> m_samples;
};

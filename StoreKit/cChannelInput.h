// cChannelInput: one sensor channel of a crash recording: its name, unit, sampling rate and samples.
// A channel of a recording made in memory (a synthetic pulse) is filled directly with addSample. A
// channel read from a crash file knows its sample count from the file's directory and fetches its
// samples from the file the first time they are asked for, so that a file list holds no samples until
// a computation needs them; releaseSamples gives them back until the next ask.
#pragma once
#include <gmpxx.h>

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

class cChannelInput;

// Where a channel of a crash file finds its samples: the file it belongs to.
class IChannelSampleSource
{
public:
    virtual ~IChannelSampleSource() = default;
    // Fills samples with exactly channel.getSampleNumber() values of that channel, or throws an
    // exception of the cKynException family naming the file (and the line, for a text format).
    virtual void readChannelSamples(cChannelInput const& channel, std::vector<float>& samples) const = 0;
};

class cChannelInput
{
public:
    // A channel in memory, without samples yet.
    cChannelInput(std::string name, mpf_class const& samplingRate);
    // A channel of a crash file: sampleCount samples that source reads on the first ask.
    // sourceIndex is the source's own reference to the channel (its position in the file).
    cChannelInput(std::string name, std::string unit, mpf_class const& samplingRate, unsigned int sampleCount,
                  IChannelSampleSource const* source, unsigned int sourceIndex);
    // Holds a lock and its samples: never copied.
    cChannelInput(cChannelInput const&) = delete;
    cChannelInput& operator=(cChannelInput const&) = delete;
    virtual ~cChannelInput();

    std::string const& getName() const { return m_name; }
    std::string const& getUnit() const { return m_unit; }
    void setUnit(std::string unit) { m_unit = std::move(unit); }
    mpf_class getSamplingRate() const { return m_samplingRate; }
    double getSamplingRateInHz() const { return m_samplingRateInHz; }
    // The number of samples, known before they are read.
    unsigned int getSampleNumber() const { return m_sampleCount; }
    unsigned int getSourceIndex() const { return m_sourceIndex; }

    // Sample by index, no bound check. Reads the samples first when they are not in memory (a read
    // failure throws, see IChannelSampleSource).
    float getDataByIndex(unsigned int index) const
    {
        if (!m_samplesPresent.load(std::memory_order_acquire))
            fetchSamples();
        return m_samples[index];
    }
    // All samples, read first when needed.
    std::vector<float> const& getSamples() const;
    // Whether the samples are in memory now.
    bool hasSamples() const { return m_samplesPresent.load(std::memory_order_acquire); }

    // Appends a sample to a channel in memory. A channel of a file refuses with cForbiddenAction: its
    // samples are the file's.
    void addSample(float value);
    // Gives the samples' memory back. A channel of a file reads them again on the next ask; a channel
    // in memory has nowhere to read them from and keeps them.
    void releaseSamples();
    // The time of the last sample in milliseconds (0 without samples, or without a rate), known before
    // the samples are read.
    float getEndTimeInMs() const;

private:
    void fetchSamples() const;

    std::string m_name;
    std::string m_unit;
    mpf_class m_samplingRate;
    double m_samplingRateInHz;
    unsigned int m_sampleCount = 0;
    IChannelSampleSource const* m_source = nullptr;
    unsigned int m_sourceIndex = 0;
    // Several stages may read one channel from their own threads: the first reader fetches under the
    // lock, the others see the flag set with the samples published.
    mutable std::mutex m_fetchMutex;
    mutable std::atomic<bool> m_samplesPresent{false};
    mutable std::vector<float> m_samples;
};

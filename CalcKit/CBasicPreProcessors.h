// The ten preprocessor types of the sensor chain that CalcKit computes itself: sensitivity, offset,
// measuring range, ADC, resampling, delay, smoothing, integration and a first order low pass.
// Each reset() checks and converts its parameters once; each process() is one plain loop over the
// samples of a signal, with element 0 (the dummy at T0) written as 0.0 and one status byte of 0 per
// element. createPreProcessor builds them from their type texts.
#pragma once

#include "CalcKit/CPreProcessor.h"

#include <utility>

// "Gain" (gain): y = gain x, the sensitivity of a sensor.
class CGainPreProcessor : public CPreProcessor
{
public:
    static constexpr char const* kTypeName = "Gain";
    explicit CGainPreProcessor(std::string name) : CPreProcessor(std::move(name), kTypeName) {}
    void reset() override;

protected:
    void process(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status,
                 unsigned int index) override;

private:
    float m_gain = 1.0f;
};

// "Offset" (offset): y = x + offset, the zero error of a sensor.
class COffsetPreProcessor : public CPreProcessor
{
public:
    static constexpr char const* kTypeName = "Offset";
    explicit COffsetPreProcessor(std::string name) : CPreProcessor(std::move(name), kTypeName) {}
    void reset() override;

protected:
    void process(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status,
                 unsigned int index) override;

private:
    float m_offset = 0.0f;
};

// "Linear" (gain, offset): y = gain x + offset, sensitivity and zero error at once.
class CLinearPreProcessor : public CPreProcessor
{
public:
    static constexpr char const* kTypeName = "Linear";
    explicit CLinearPreProcessor(std::string name) : CPreProcessor(std::move(name), kTypeName) {}
    void reset() override;

protected:
    void process(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status,
                 unsigned int index) override;

private:
    float m_gain = 1.0f;
    float m_offset = 0.0f;
};

// "Saturation" (minimum, maximum): x clamped to the measuring range of the sensor.
class CSaturationPreProcessor : public CPreProcessor
{
public:
    static constexpr char const* kTypeName = "Saturation";
    explicit CSaturationPreProcessor(std::string name) : CPreProcessor(std::move(name), kTypeName) {}
    void reset() override;

protected:
    void process(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status,
                 unsigned int index) override;

private:
    float m_minimum = 0.0f;
    float m_maximum = 0.0f;
};

// "Quantization" (LSB weight, bits): an ADC giving signed counts of the LSB weight, rounded half
// away from zero and clamped to the range of the bits.
class CQuantizationPreProcessor : public CPreProcessor
{
public:
    static constexpr char const* kTypeName = "Quantization";
    explicit CQuantizationPreProcessor(std::string name) : CPreProcessor(std::move(name), kTypeName) {}
    void reset() override;

protected:
    void process(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status,
                 unsigned int index) override;

private:
    double m_lsb = 1.0;
    double m_lowest = 0.0;
    double m_highest = 0.0;
};

// "Resample" (rate): the signal at a new sampling rate in Hz, linearly interpolated, from T0 up to
// the time of the last input sample.
class CResamplePreProcessor : public CPreProcessor
{
public:
    static constexpr char const* kTypeName = "Resample";
    explicit CResamplePreProcessor(std::string name) : CPreProcessor(std::move(name), kTypeName) {}
    void reset() override;

protected:
    void process(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status,
                 unsigned int index) override;

private:
    double m_rate = 0.0;
};

// "Delay" (milliseconds): the signal shifted later by the nearest whole number of samples, zeros in
// front, same length.
class CDelayPreProcessor : public CPreProcessor
{
public:
    static constexpr char const* kTypeName = "Delay";
    explicit CDelayPreProcessor(std::string name) : CPreProcessor(std::move(name), kTypeName) {}
    void reset() override;

protected:
    void process(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status,
                 unsigned int index) override;

private:
    double m_milliseconds = 0.0;
};

// "Moving Average" (samples): the mean of the last N samples, those before the start counted as 0.
class CMovingAveragePreProcessor : public CPreProcessor
{
public:
    static constexpr char const* kTypeName = "Moving Average";
    explicit CMovingAveragePreProcessor(std::string name) : CPreProcessor(std::move(name), kTypeName) {}
    void reset() override;

protected:
    void process(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status,
                 unsigned int index) override;

private:
    unsigned int m_samples = 1;
};

// "Integrator" (gain): the trapezoidal running integral times the gain, from 0 at the first sample,
// e.g. acceleration into velocity.
class CIntegratorPreProcessor : public CPreProcessor
{
public:
    static constexpr char const* kTypeName = "Integrator";
    explicit CIntegratorPreProcessor(std::string name) : CPreProcessor(std::move(name), kTypeName) {}
    void reset() override;

protected:
    void process(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status,
                 unsigned int index) override;

private:
    double m_gain = 1.0;
};

// "First Order Low Pass" (corner frequency): the bilinear transform of fc / (s + fc), prewarped at
// the corner, starting from rest.
class CLowPassPreProcessor : public CPreProcessor
{
public:
    static constexpr char const* kTypeName = "First Order Low Pass";
    explicit CLowPassPreProcessor(std::string name) : CPreProcessor(std::move(name), kTypeName) {}
    void reset() override;

protected:
    void process(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status,
                 unsigned int index) override;

private:
    double m_corner = 0.0;
};

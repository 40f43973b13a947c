#include "CalcKit/CBasicPreProcessors.h"

#include "BaseKit/Conversions.h"

#include <cmath>
#include <numbers>

namespace
{
// One status byte of 0 (sample kept) per element of the output.
void keepAll(cStorage<char>& status, unsigned int count)
{
    status.addCopies(count, 0);
}

// The loop of the sample-by-sample types: the dummy, then f of each sample, written through plain
// pointers into an output appended in one step. f is a lambda the compiler inlines, so the loop
// holds no call and vectorises where f does.
template <class F>
void mapSamples(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status, F f)
{
    unsigned int const count = in.size();
    float const* const x = in.data();
    float* const y = out.addUninitialised(count);
    y[0] = 0.0f;
    for (unsigned int i = 1; i < count; ++i)
        y[i] = f(x[i]);
    keepAll(status, count);
}

std::string text(double value)
{
    return numberToText(mpf_class(value));
}
} // namespace

void CGainPreProcessor::reset()
{
    requireParameters({"gain"});
    m_gain = static_cast<float>(parameterValue(0));
    CPreProcessor::reset();
}

void CGainPreProcessor::process(cSignalStorage<float> const& in, cSignalStorage<float>& out,
                                cStorage<char>& status, unsigned int)
{
    float const gain = m_gain;
    mapSamples(in, out, status, [gain](float x) { return gain * x; });
}

void COffsetPreProcessor::reset()
{
    requireParameters({"offset"});
    m_offset = static_cast<float>(parameterValue(0));
    CPreProcessor::reset();
}

void COffsetPreProcessor::process(cSignalStorage<float> const& in, cSignalStorage<float>& out,
                                  cStorage<char>& status, unsigned int)
{
    float const offset = m_offset;
    mapSamples(in, out, status, [offset](float x) { return x + offset; });
}

void CLinearPreProcessor::reset()
{
    requireParameters({"gain", "offset"});
    m_gain = static_cast<float>(parameterValue(0));
    m_offset = static_cast<float>(parameterValue(1));
    CPreProcessor::reset();
}

void CLinearPreProcessor::process(cSignalStorage<float> const& in, cSignalStorage<float>& out,
                                  cStorage<char>& status, unsigned int)
{
    float const gain = m_gain;
    float const offset = m_offset;
    mapSamples(in, out, status, [gain, offset](float x) { return gain * x + offset; });
}

void CSaturationPreProcessor::reset()
{
    requireParameters({"minimum", "maximum"});
    if (getParameter(0) > getParameter(1))
        fail("minimum " + numberToText(getParameter(0)) + " is above maximum " +
             numberToText(getParameter(1)));
    m_minimum = static_cast<float>(parameterValue(0));
    m_maximum = static_cast<float>(parameterValue(1));
    CPreProcessor::reset();
}

void CSaturationPreProcessor::process(cSignalStorage<float> const& in, cSignalStorage<float>& out,
                                      cStorage<char>& status, unsigned int)
{
    float const minimum = m_minimum;
    float const maximum = m_maximum;
    mapSamples(in, out, status,
               [minimum, maximum](float x) { return x < minimum ? minimum : (x > maximum ? maximum : x); });
}

void CQuantizationPreProcessor::reset()
{
    requireParameters({"LSB weight", "bits"});
    if (getParameter(0) <= 0)
        fail("LSB weight must be above 0, " + numberToText(getParameter(0)) + " given");
    mpf_class const bits = getParameter(1);
    if (!mpf_integer_p(bits.get_mpf_t()) || bits < 1 || bits > 32)
        fail("bits must be a whole number from 1 to 32, " + numberToText(bits) + " given");
    m_lsb = parameterValue(0);
    double const half = std::ldexp(1.0, static_cast<int>(bits.get_si()) - 1);
    m_lowest = -half;
    m_highest = half - 1.0;
    CPreProcessor::reset();
}

void CQuantizationPreProcessor::process(cSignalStorage<float> const& in, cSignalStorage<float>& out,
                                        cStorage<char>& status, unsigned int)
{
    double const lsb = m_lsb;
    double const lowest = m_lowest;
    double const highest = m_highest;
    // Divided rather than multiplied by 1 / LSB: a sample lying exactly on a half count must round as
    // the ADC does, and the reciprocal of a decimal weight would move it off the half.
    mapSamples(in, out, status,
               [lsb, lowest, highest](float x)
               {
                   double const counts = std::round(static_cast<double>(x) / lsb);
                   return static_cast<float>(counts < lowest ? lowest
                                                             : (counts > highest ? highest : counts));
               });
}

void CResamplePreProcessor::reset()
{
    requireParameters({"rate"});
    if (getParameter(0) <= 0)
        fail("rate must be above 0, " + numberToText(getParameter(0)) + " given");
    m_rate = parameterValue(0);
    CPreProcessor::reset();
}

void CResamplePreProcessor::process(cSignalStorage<float> const& in, cSignalStorage<float>& out,
                                    cStorage<char>& status, unsigned int)
{
    requireSamplingRate(in);
    double const inputRate = in.getSamplingRate();
    double const rate = m_rate;
    out.setSamplingRate(static_cast<float>(rate));
    unsigned int const samples = in.size() - 1;
    if (samples == 0)
    {
        out.add(0.0f);
        keepAll(status, 1);
        return;
    }
    // Output sample j stands at j / rate after T0; the last one not after the last input sample.
    // The small tolerance keeps an output sample that falls on the last input sample up to rounding.
    double const span = (samples - 1) * rate / inputRate;
    double const lastOutput = std::floor(span + span * 1e-12 + 1e-9);
    if (!(lastOutput + 2.0 <= 4294967295.0))
        fail("rate " + numberToText(getParameter(0)) + " gives more samples than a signal can hold");
    unsigned int const count = static_cast<unsigned int>(lastOutput) + 1;

    float const* const x = in.data() + 1;
    float* const y = out.addUninitialised(count + 1);
    y[0] = 0.0f;
    for (unsigned int j = 0; j < count; ++j)
    {
        // Computed from j each time, not accumulated, so that long signals do not drift in time.
        double const position = j * inputRate / rate;
        unsigned int const k = static_cast<unsigned int>(position);
        if (k >= samples - 1)
        {
            y[j + 1] = x[samples - 1];
            continue;
        }
        double const fraction = position - k;
        y[j + 1] = static_cast<float>(x[k] + fraction * (static_cast<double>(x[k + 1]) - x[k]));
    }
    keepAll(status, count + 1);
}

void CDelayPreProcessor::reset()
{
    requireParameters({"milliseconds"});
    if (getParameter(0) < 0)
        fail("milliseconds must not be negative, " + numberToText(getParameter(0)) + " given");
    m_milliseconds = parameterValue(0);
    CPreProcessor::reset();
}

void CDelayPreProcessor::process(cSignalStorage<float> const& in, cSignalStorage<float>& out,
                                 cStorage<char>& status, unsigned int)
{
    requireSamplingRate(in);
    unsigned int const count = in.size();
    unsigned int const samples = count - 1;
    double const shift = std::round(m_milliseconds * in.getSamplingRate() / 1000.0);
    unsigned int const zeros = shift < samples ? static_cast<unsigned int>(shift) : samples;
    float const* const x = in.data() + 1;
    float* const y = out.addUninitialised(count);
    y[0] = 0.0f;
    for (unsigned int k = 0; k < zeros; ++k)
        y[k + 1] = 0.0f;
    for (unsigned int k = zeros; k < samples; ++k)
        y[k + 1] = x[k - zeros];
    keepAll(status, count);
}

void CMovingAveragePreProcessor::reset()
{
    requireParameters({"samples"});
    mpf_class const samples = getParameter(0);
    if (!mpf_integer_p(samples.get_mpf_t()) || samples < 1 || !samples.fits_uint_p())
        fail("samples must be a whole number from 1 to 4294967295, " + numberToText(samples) + " given");
    m_samples = static_cast<unsigned int>(samples.get_ui());
    CPreProcessor::reset();
}

void CMovingAveragePreProcessor::process(cSignalStorage<float> const& in, cSignalStorage<float>& out,
                                         cStorage<char>& status, unsigned int)
{
    unsigned int const count = in.size();
    unsigned int const samples = count - 1;
    unsigned int const window = m_samples;
    double const divisor = window;
    float const* const x = in.data() + 1;
    float* const y = out.addUninitialised(count);
    y[0] = 0.0f;
    // A running sum in double: the sample leaving the window is subtracted from the very sum it was
    // added to, so float samples come and go without leaving rounding behind.
    double sum = 0.0;
    for (unsigned int k = 0; k < samples; ++k)
    {
        sum += x[k];
        if (k >= window)
            sum -= x[k - window];
        y[k + 1] = static_cast<float>(sum / divisor);
    }
    keepAll(status, count);
}

void CIntegratorPreProcessor::reset()
{
    requireParameters({"gain"});
    m_gain = parameterValue(0);
    CPreProcessor::reset();
}

void CIntegratorPreProcessor::process(cSignalStorage<float> const& in, cSignalStorage<float>& out,
                                      cStorage<char>& status, unsigned int)
{
    requireSamplingRate(in);
    unsigned int const count = in.size();
    unsigned int const samples = count - 1;
    double const step = m_gain / (2.0 * in.getSamplingRate());
    float const* const x = in.data() + 1;
    float* const y = out.addUninitialised(count);
    y[0] = 0.0f;
    if (samples == 0)
    {
        keepAll(status, count);
        return;
    }
    // The integral accumulates in double: in float a long crash signal would lose its small steps.
    double integral = 0.0;
    y[1] = 0.0f;
    for (unsigned int k = 1; k < samples; ++k)
    {
        integral += step * (static_cast<double>(x[k - 1]) + x[k]);
        y[k + 1] = static_cast<float>(integral);
    }
    keepAll(status, count);
}

void CLowPassPreProcessor::reset()
{
    requireParameters({"corner frequency"});
    if (getParameter(0) <= 0)
        fail("corner frequency must be above 0, " + numberToText(getParameter(0)) + " given");
    m_corner = parameterValue(0);
    CPreProcessor::reset();
}

void CLowPassPreProcessor::process(cSignalStorage<float> const& in, cSignalStorage<float>& out,
                                   cStorage<char>& status, unsigned int)
{
    requireSamplingRate(in);
    double const inputRate = in.getSamplingRate();
    // The prewarping tangent reaches infinity at half the sampling rate: the filter exists below it.
    if (!(m_corner < inputRate / 2.0))
        fail("corner frequency must lie below half the sampling rate (" + text(inputRate / 2.0) + " Hz), " +
             numberToText(getParameter(0)) + " given");
    double const k = std::tan(std::numbers::pi * m_corner / inputRate);
    double const b = k / (1.0 + k);
    double const a = (k - 1.0) / (k + 1.0);
    unsigned int const count = in.size();
    unsigned int const samples = count - 1;
    float const* const x = in.data() + 1;
    float* const y = out.addUninitialised(count);
    y[0] = 0.0f;
    // From rest: the input and the output before the first sample are 0. The state stays in double so
    // that a low corner (a pole close to 1) does not lose the signal's small increments.
    double previousInput = 0.0;
    double state = 0.0;
    for (unsigned int n = 0; n < samples; ++n)
    {
        double const input = x[n];
        state = b * (input + previousInput) - a * state;
        previousInput = input;
        y[n + 1] = static_cast<float>(state);
    }
    keepAll(status, count);
}

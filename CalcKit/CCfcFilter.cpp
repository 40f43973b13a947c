#include "CalcKit/CCfcFilter.h"

#include "BaseKit/Conversions.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>

namespace
{
// The samples whose mean starts a pass in its steady state.
constexpr unsigned int kStartSamples = 10;

double meanOf(double const* first, unsigned int count)
{
    double sum = 0.0;
    for (unsigned int i = 0; i < count; ++i)
        sum += first[i];
    return sum / count;
}

// A positive value rounded to the hundredth, without trailing zeros: "250", "4166.67". The sampling
// rate limits of the classes are fractions of a Hz that no decimal writes exactly.
std::string hundredths(double value)
{
    long long const cents = std::llround(value * 100.0);
    std::string text = std::to_string(cents / 100);
    if (cents % 100 != 0)
    {
        std::string const fraction = std::to_string(100 + cents % 100).substr(1);
        text += "." + (fraction[1] == '0' ? fraction.substr(0, 1) : fraction);
    }
    return text;
}
} // namespace

CCfcFilter::sSection CCfcFilter::section(double cfc, double rate)
{
    double const wa = std::tan(std::numbers::pi * kDesignConstant * cfc / rate);
    double const wa2 = wa * wa;
    double const d = 1.0 + std::numbers::sqrt2 * wa + wa2;
    double const a0 = wa2 / d;
    return {a0, 2.0 * a0, a0, -2.0 * (wa2 - 1.0) / d, (-1.0 + std::numbers::sqrt2 * wa - wa2) / d};
}

unsigned int CCfcFilter::padding(unsigned int samples, double rate)
{
    if (samples == 0)
        return 0;
    // rate / 100 rather than 0.01 x rate: the usual rates then give whole numbers exactly.
    double const tenMilliseconds = std::ceil(rate / 100.0);
    double const wanted = std::max(100.0, tenMilliseconds);
    return wanted < samples - 1 ? static_cast<unsigned int>(wanted) : samples - 1;
}

void CCfcFilter::reset()
{
    requireParameters({"class"});
    mpf_class const cfc = getParameter(0);
    if (cfc != 60 && cfc != 180 && cfc != 600 && cfc != 1000)
        fail("class must be 60, 180, 600 or 1000, " + numberToText(cfc) + " given");
    m_class = cfc.get_d();
    CPreProcessor::reset();
}

void CCfcFilter::process(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status,
                         unsigned int)
{
    requireSamplingRate(in);
    double const rate = in.getSamplingRate();
    // The prewarping tangent passes pi / 2 at rate = 2 k CFC: the section has no meaning at or below it.
    double const lowest = 2.0 * kDesignConstant * m_class;
    if (!(rate > lowest))
        fail("CFC " + numberToText(getParameter(0)) + " needs a sampling rate above " + hundredths(lowest) +
             " Hz, " + numberToText(mpf_class(rate)) + " Hz given");
    sSection const s = section(m_class, rate);

    unsigned int const count = in.size();
    unsigned int const samples = count - 1;
    float* const y = out.addUninitialised(count);
    y[0] = 0.0f;
    status.addCopies(count, 0);
    if (samples == 0)
        return;

    // The padded signal: pad samples mirrored through the first sample, the signal, pad samples
    // mirrored through the last one.
    float const* const x = in.data() + 1;
    unsigned int const pad = padding(samples, rate);
    unsigned int const total = samples + 2 * pad;
    m_padded.resize(total);
    double* const p = m_padded.data();
    double const first = x[0];
    double const last = x[samples - 1];
    for (unsigned int k = 1; k <= pad; ++k)
    {
        p[pad - k] = 2.0 * first - x[k];
        p[pad + samples - 1 + k] = 2.0 * last - x[samples - 1 - k];
    }
    for (unsigned int i = 0; i < samples; ++i)
        p[pad + i] = x[i];

    double const a0 = s.a0, a1 = s.a1, a2 = s.a2, b1 = s.b1, b2 = s.b2;
    unsigned int const start = std::min(kStartSamples, total);

    // One step of the section at padded sample i, with its past in x1, x2, y1, y2.
    double x1 = 0.0, x2 = 0.0, y1 = 0.0, y2 = 0.0;
    auto step = [&](unsigned int i)
    {
        double const xi = p[i];
        double const yi = a0 * xi + a1 * x1 + a2 * x2 + b1 * y1 + b2 * y2;
        x2 = x1;
        x1 = xi;
        y2 = y1;
        y1 = yi;
        return yi;
    };
    // Each pass starts from the steady state of the mean of its first samples (past inputs and
    // outputs all equal to it: the section passes a constant unchanged).
    auto startFrom = [&](double mean) { x1 = x2 = y1 = y2 = mean; };

    // Forward, in place.
    startFrom(meanOf(p, start));
    for (unsigned int i = 0; i < total; ++i)
        p[i] = step(i);

    // Backward from the mean of the last forward outputs, through the end padding, then over the signal
    // itself, written out; the start padding's backward outputs are cropped and so not computed.
    startFrom(meanOf(p + total - start, start));
    for (unsigned int i = total; i-- > pad + samples;)
        step(i);
    float* const signal = y + 1;
    for (unsigned int i = samples; i-- > 0;)
        signal[i] = static_cast<float>(step(pad + i));
}

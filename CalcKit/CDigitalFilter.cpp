#include "CalcKit/CDigitalFilter.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"

#include <algorithm>
#include <array>

CSignal_Time::CSignal_Time(std::string const& name, std::string const& type) : CPreProcessor(name, type) {}

double CSignal_Time::samplingRateOf(cSignalStorage<float> const& in) const
{
    requireSamplingRate(in);
    return in.getSamplingRate();
}

CDigitalFilter::CDigitalFilter(std::string const& name, std::string const& type) : CSignal_Time(name, type) {}

void CDigitalFilter::ClearData()
{
    m_blocks.clear();
    m_checked = false;
}

void CDigitalFilter::AddNewBlock(cStorage<double> a, cStorage<double> b, std::string computationMethod,
                                 std::string filterType)
{
    sBlock block;
    block.a.assign(a.data(), a.data() + a.size());
    block.b.assign(b.data(), b.data() + b.size());
    block.computationMethod = std::move(computationMethod);
    block.filterType = std::move(filterType);
    m_blocks.push_back(std::move(block));
    m_checked = false;
}

void CDigitalFilter::refuse(std::string const& what) const
{
    fail("digital filter \"" + m_filterName + "\": " + what);
}

void CDigitalFilter::CheckFilterData()
{
    m_checked = false;
    if (m_blocks.empty())
        refuse("it has no block.");
    if (m_blocksProcessingMode != "Cascade" && m_blocksProcessingMode != "Parallel")
        refuse("unknown blocks processing mode \"" + m_blocksProcessingMode +
               "\" (\"Cascade\" or \"Parallel\").");
    if (m_minSamplingRate > m_maxSamplingRate)
        refuse("its minimum sampling rate " + numberToText(m_minSamplingRate) +
               " Hz lies above its maximum " + numberToText(m_maxSamplingRate) + " Hz.");
    for (std::size_t k = 0; k < m_blocks.size(); ++k)
    {
        sBlock& block = m_blocks[k];
        std::string const which = "block " + std::to_string(k + 1) + ": ";
        if (block.a.empty())
            refuse(which + "it has no A coefficient.");
        if (block.a[0] == 0.0)
            refuse(which + "A0 is 0.");
        if (block.b.empty())
            refuse(which + "it has no B coefficient.");
        if (block.computationMethod != "Direct Form I" &&
            block.computationMethod != "Direct Form II Transposed")
            refuse(which + "unknown computation method \"" + block.computationMethod +
                   "\" (\"Direct Form I\" or \"Direct Form II Transposed\").");
        if (block.filterType != "IIR" && block.filterType != "FIR")
            refuse(which + "unknown filter type \"" + block.filterType + "\" (\"IIR\" or \"FIR\").");
        if (block.filterType == "FIR" && block.a.size() > 1)
            refuse(which + "an FIR block has A0 only, " + std::to_string(block.a.size()) +
                   " A coefficients given.");
    }
    // Normalised once: the per-sample loops divide by nothing.
    for (sBlock& block : m_blocks)
    {
        double const a0 = block.a[0];
        for (double& c : block.a)
            c /= a0;
        for (double& c : block.b)
            c /= a0;
        block.transposed = block.computationMethod == "Direct Form II Transposed";
    }
    m_parallel = m_blocksProcessingMode == "Parallel";
    m_checked = true;
}

void CDigitalFilter::runBlock(sBlock const& block, double const* x, double* y, unsigned int count)
{
    std::vector<double> const& a = block.a;
    std::vector<double> const& b = block.b;
    // The coefficients to the common order, missing ones 0: a term of 0 changes no sum.
    std::size_t const order = std::max(a.size(), b.size()) - 1;
    std::vector<double> ca(order + 1, 0.0), cb(order + 1, 0.0);
    std::copy(a.begin(), a.end(), ca.begin());
    std::copy(b.begin(), b.end(), cb.begin());
    if (block.transposed)
    {
        // y[n] = b0 x[n] + s1; s_i = b_i x[n] - a_i y[n] + s_{i+1}; s_(order+1) = 0.
        std::vector<double> s(order + 2, 0.0);
        for (unsigned int n = 0; n < count; ++n)
        {
            double const out = cb[0] * x[n] + s[1];
            for (std::size_t i = 1; i <= order; ++i)
                s[i] = cb[i] * x[n] - ca[i] * out + s[i + 1];
            y[n] = out;
        }
        return;
    }
    if (order == 2)
    {
        // The usual block, a biquad, with its past in four variables.
        double x1 = 0.0, x2 = 0.0, y1 = 0.0, y2 = 0.0;
        for (unsigned int n = 0; n < count; ++n)
        {
            double const out = cb[0] * x[n] + cb[1] * x1 + cb[2] * x2 - ca[1] * y1 - ca[2] * y2;
            x2 = x1;
            x1 = x[n];
            y2 = y1;
            y1 = out;
            y[n] = out;
        }
        return;
    }
    // Any order: the past of both sides in rings of order + 1 values, the newest at the front.
    std::vector<double> xs(order + 1, 0.0), ys(order + 1, 0.0);
    for (unsigned int n = 0; n < count; ++n)
    {
        std::copy_backward(xs.begin(), xs.end() - 1, xs.end());
        xs[0] = x[n];
        double out = 0.0;
        for (std::size_t i = 0; i <= order; ++i)
            out += cb[i] * xs[i];
        for (std::size_t i = 1; i <= order; ++i)
            out -= ca[i] * ys[i - 1];
        std::copy_backward(ys.begin(), ys.end() - 1, ys.end());
        ys[0] = out;
        y[n] = out;
    }
}

namespace
{
// The cascade of N biquads (coefficients b0 b1 b2 a1 a2 each), all of them per sample. With N known
// the loop over the blocks unrolls and every block's past stays in registers; N = 0 takes the count
// at run time.
template <std::size_t N>
void biquads(std::array<double, 5> const* q, float const* x, float* y, unsigned int samples,
             std::size_t runtimeBlocks = N)
{
    std::size_t const blocks = N != 0 ? N : runtimeBlocks;
    std::array<std::array<double, 4>, N != 0 ? N : 1> fixed{};
    std::vector<std::array<double, 4>> grown(N != 0 ? 0 : blocks, {0.0, 0.0, 0.0, 0.0});
    std::array<double, 4>* const z = N != 0 ? fixed.data() : grown.data(); // x1 x2 y1 y2
    for (unsigned int n = 0; n < samples; ++n)
    {
        double v = x[n];
        for (std::size_t k = 0; k < blocks; ++k)
        {
            std::array<double, 5> const& c = q[k];
            std::array<double, 4>& s = z[k];
            double const o = c[0] * v + c[1] * s[0] + c[2] * s[1] - c[3] * s[2] - c[4] * s[3];
            s[1] = s[0];
            s[0] = v;
            s[3] = s[2];
            s[2] = o;
            v = o;
        }
        y[n] = static_cast<float>(v);
    }
}
} // namespace

bool CDigitalFilter::runCascadeOfBiquads(cSignalStorage<float> const& in, cSignalStorage<float>& out) const
{
    if (m_parallel)
        return false;
    for (sBlock const& block : m_blocks)
        if (block.transposed || std::max(block.a.size(), block.b.size()) != 3)
            return false;
    // Each sample goes through all the blocks before the next one comes: a block's arithmetic waits only
    // for its own past and for the block before, so the blocks of neighbouring samples overlap in the
    // processor, where block after block over the whole signal would wait at every step. The arithmetic
    // of each block is that of runBlock, in the same order, so the results are the same.
    std::size_t const blocks = m_blocks.size();
    std::vector<std::array<double, 5>> q(blocks); // b0 b1 b2 a1 a2
    for (std::size_t k = 0; k < blocks; ++k)
    {
        sBlock const& block = m_blocks[k];
        auto const at = [](std::vector<double> const& c, std::size_t i) { return i < c.size() ? c[i] : 0.0; };
        q[k] = {at(block.b, 0), at(block.b, 1), at(block.b, 2), at(block.a, 1), at(block.a, 2)};
    }
    unsigned int const count = in.size();
    float* const y = out.addUninitialised(count);
    y[0] = 0.0f;
    switch (blocks)
    {
    case 1:
        biquads<1>(q.data(), in.data() + 1, y + 1, count - 1);
        break;
    case 2:
        biquads<2>(q.data(), in.data() + 1, y + 1, count - 1);
        break;
    case 3:
        biquads<3>(q.data(), in.data() + 1, y + 1, count - 1);
        break;
    case 4:
        biquads<4>(q.data(), in.data() + 1, y + 1, count - 1);
        break;
    case 5:
        biquads<5>(q.data(), in.data() + 1, y + 1, count - 1);
        break;
    case 6:
        biquads<6>(q.data(), in.data() + 1, y + 1, count - 1);
        break;
    default:
        biquads<0>(q.data(), in.data() + 1, y + 1, count - 1, blocks);
        break;
    }
    return true;
}

void CDigitalFilter::process(cSignalStorage<float> const& in, cSignalStorage<float>& out,
                             cStorage<char>& status, unsigned int)
{
    double const rate = samplingRateOf(in);
    if (!m_checked)
        CheckFilterData();
    if (rate < m_minSamplingRate.get_d() || rate > m_maxSamplingRate.get_d())
        refuse("the sampling rate " + numberToText(mpf_class(rate)) + " Hz lies outside " +
               numberToText(m_minSamplingRate) + " .. " + numberToText(m_maxSamplingRate) + " Hz.");
    unsigned int const count = in.size();
    unsigned int const samples = count - 1;
    if (runCascadeOfBiquads(in, out))
    {
        status.addCopies(count, 0);
        return;
    }
    m_input.assign(in.data() + 1, in.data() + count);
    m_output.assign(samples, 0.0);
    if (m_parallel)
    {
        m_sum.assign(samples, 0.0);
        for (sBlock const& block : m_blocks)
        {
            runBlock(block, m_input.data(), m_output.data(), samples);
            for (unsigned int n = 0; n < samples; ++n)
                m_sum[n] += m_output[n];
        }
        m_output.swap(m_sum);
    }
    else
    {
        for (sBlock const& block : m_blocks)
        {
            runBlock(block, m_input.data(), m_output.data(), samples);
            m_input.swap(m_output);
        }
        m_output.swap(m_input);
    }
    float* const y = out.addUninitialised(count);
    y[0] = 0.0f;
    for (unsigned int n = 0; n < samples; ++n)
        y[n + 1] = static_cast<float>(m_output[n]);
    status.addCopies(count, 0);
}

#include "CalcKit/CDigitalFilter.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"

#include <algorithm>

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
    std::size_t const order = std::max(a.size(), b.size()) - 1;
    auto const coefficient = [](std::vector<double> const& c, std::size_t i)
    { return i < c.size() ? c[i] : 0.0; };
    if (block.transposed)
    {
        // y[n] = b0 x[n] + s1; s_i = b_i x[n] - a_i y[n] + s_{i+1}; s_order+1 = 0.
        std::vector<double> s(order + 1, 0.0);
        for (unsigned int n = 0; n < count; ++n)
        {
            double const out = coefficient(b, 0) * x[n] + (order > 0 ? s[1] : 0.0);
            for (std::size_t i = 1; i <= order; ++i)
                s[i] = coefficient(b, i) * x[n] - coefficient(a, i) * out + (i < order ? s[i + 1] : 0.0);
            y[n] = out;
        }
        return;
    }
    for (unsigned int n = 0; n < count; ++n)
    {
        double out = 0.0;
        for (std::size_t i = 0; i < b.size() && i <= n; ++i)
            out += b[i] * x[n - i];
        for (std::size_t i = 1; i < a.size() && i <= n; ++i)
            out -= a[i] * y[n - i];
        y[n] = out;
    }
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

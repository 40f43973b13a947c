// The cost of the filters, each beside a hand-written loop of its arithmetic in the same run: the CFC
// filter here, the digital and pole filters of the files further down.
//
// The CFC filter on a crash signal of 20000 samples (2 s at 10 kHz), CFC 60, beside a
// baseline of the same arithmetic written by hand over plain arrays: the padding, the forward and the
// backward pass in double, the float output. BM_CfcAgainstHandLoop times both in turn in each
// iteration and reports their ratio; per-sample times are in nanoseconds.
#include "CalcKit/CDigitalFilter.h"
#include "CalcKit/CPoleFilter.h"
#include "CalcKit/CPreProcessor.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <numbers>
#include <vector>

namespace
{
constexpr unsigned int kSamples = 20000;
constexpr float kRate = 10000.0f;
constexpr double kClass = 60.0;

// A deceleration pulse of 80 ms with a 1 kHz tone on it, in g.
cSignalStorage<float> crashSignal()
{
    cSignalStorage<float> s;
    s.setSamplingRate(kRate);
    s.setT0(0);
    s.reserve(kSamples + 1);
    s.add(0.0f);
    for (unsigned int k = 0; k < kSamples; ++k)
    {
        double const t = k / double(kRate);
        double const pulse = t < 0.08 ? 30.0 * std::sin(std::numbers::pi * t / 0.08) : 0.0;
        s.add(static_cast<float>(pulse + 5.0 * std::sin(2.0 * std::numbers::pi * 1000.0 * t)));
    }
    return s;
}

// The filter written out by hand for one class and rate: coefficients worked out once, the padded
// signal in a reused array, both passes as straight loops.
class cHandCfc
{
public:
    cHandCfc()
    {
        double const wa = std::tan(std::numbers::pi * (25.0 / 12.0) * kClass / double(kRate));
        double const d = 1.0 + std::numbers::sqrt2 * wa + wa * wa;
        m_a0 = wa * wa / d;
        m_b1 = -2.0 * (wa * wa - 1.0) / d;
        m_b2 = (-1.0 + std::numbers::sqrt2 * wa - wa * wa) / d;
        m_padded.resize(kSamples + 2 * kPad);
    }

    // x and y in the pipeline's layout: the dummy first, then kSamples samples.
    void run(float const* x, float* y)
    {
        double* const p = m_padded.data();
        x += 1;
        for (unsigned int k = 1; k <= kPad; ++k)
        {
            p[kPad - k] = 2.0 * double(x[0]) - x[k];
            p[kPad + kSamples - 1 + k] = 2.0 * double(x[kSamples - 1]) - x[kSamples - 1 - k];
        }
        for (unsigned int i = 0; i < kSamples; ++i)
            p[kPad + i] = x[i];
        double const a0 = m_a0, a1 = 2.0 * m_a0, a2 = m_a0, b1 = m_b1, b2 = m_b2;
        unsigned int const total = kSamples + 2 * kPad;
        double x1 = 0.0;
        for (unsigned int i = 0; i < 10; ++i)
            x1 += p[i];
        x1 /= 10;
        double x2 = x1, y1 = x1, y2 = x1;
        for (unsigned int i = 0; i < total; ++i)
        {
            double const yi = a0 * p[i] + a1 * x1 + a2 * x2 + b1 * y1 + b2 * y2;
            x2 = x1;
            x1 = p[i];
            y2 = y1;
            y1 = yi;
            p[i] = yi;
        }
        x1 = 0.0;
        for (unsigned int i = total - 10; i < total; ++i)
            x1 += p[i];
        x1 /= 10;
        x2 = x1;
        y1 = x1;
        y2 = x1;
        y[0] = 0.0f;
        for (unsigned int i = total; i-- > 0;)
        {
            double const yi = a0 * p[i] + a1 * x1 + a2 * x2 + b1 * y1 + b2 * y2;
            x2 = x1;
            x1 = p[i];
            y2 = y1;
            y1 = yi;
            if (i < kPad)
                break;
            if (i < kPad + kSamples)
                y[i - kPad + 1] = static_cast<float>(yi);
        }
    }

private:
    // 100 samples: 10 ms at 10 kHz are no more.
    static constexpr unsigned int kPad = 100;
    double m_a0 = 0.0, m_b1 = 0.0, m_b2 = 0.0;
    std::vector<double> m_padded;
};

// Both sides over the same input, their storages reused from run to run. The constructor checks once
// that the hand loop gives the preprocessor's output bit for bit, so that the baseline does the same
// work; it aborts with the first difference when it does not.
struct sCfcAndHandLoop
{
    sCfcAndHandLoop() : in(crashSignal()), handOutput(kSamples + 1)
    {
        filter.reset(createPreProcessor("CFC 60", "CFC", ""));
        filter->addParameter(mpf_class(kClass));
        filter->reset();
        runFilter();
        runHand();
        unsigned int k = 0;
        while (k < out.size() && k < handOutput.size() &&
               std::memcmp(&out[k], &handOutput[k], sizeof(float)) == 0)
            ++k;
        if (out.size() != handOutput.size() || k != out.size())
        {
            std::fprintf(stderr,
                         "The hand loop does not give the filter's output: %u elements against %zu, first "
                         "difference at element %u (filter %.9g, hand %.9g).\n",
                         out.size(), handOutput.size(), k, k < out.size() ? out[k] : 0.0f,
                         k < handOutput.size() ? handOutput[k] : 0.0f);
            std::abort();
        }
    }

    void runFilter()
    {
        out.clear();
        filter->Calculate(in, out, status, 0);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }

    void runHand()
    {
        hand.run(in.data(), handOutput.data());
        benchmark::DoNotOptimize(handOutput.data());
        benchmark::ClobberMemory();
    }

    std::unique_ptr<CPreProcessor> filter;
    cSignalStorage<float> const in;
    cSignalStorage<float> out;
    cStorage<char> status;
    cHandCfc hand;
    std::vector<float> handOutput;
};

void perSample(benchmark::State& state)
{
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kSamples));
    state.counters["per_sample"] = benchmark::Counter(
        kSamples, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_Cfc60(benchmark::State& state)
{
    sCfcAndHandLoop bench;
    for (auto _ : state)
        bench.runFilter();
    perSample(state);
}
BENCHMARK(BM_Cfc60);

void BM_Cfc60HandLoop(benchmark::State& state)
{
    sCfcAndHandLoop bench;
    for (auto _ : state)
        bench.runHand();
    perSample(state);
}
BENCHMARK(BM_Cfc60HandLoop);

// The filter and the hand loop in turn, each timed on its own, so that both see the same machine from
// moment to moment: "ratio" is the filter's time over the hand loop's.
void BM_CfcAgainstHandLoop(benchmark::State& state)
{
    using tClock = std::chrono::steady_clock;
    sCfcAndHandLoop bench;
    tClock::duration filterTime{}, handTime{};
    bool filterFirst = true;
    for (auto _ : state)
    {
        // Each side goes first every other time, so that neither always finds the other's data in
        // the cache.
        tClock::time_point const start = tClock::now();
        filterFirst ? bench.runFilter() : bench.runHand();
        tClock::time_point const middle = tClock::now();
        filterFirst ? bench.runHand() : bench.runFilter();
        tClock::time_point const end = tClock::now();
        filterTime += filterFirst ? middle - start : end - middle;
        handTime += filterFirst ? end - middle : middle - start;
        filterFirst = !filterFirst;
    }
    double const runs = static_cast<double>(state.iterations()) * kSamples;
    double const filterNs = std::chrono::duration<double, std::nano>(filterTime).count() / runs;
    double const handNs = std::chrono::duration<double, std::nano>(handTime).count() / runs;
    state.counters["filter_ns"] = filterNs;
    state.counters["hand_ns"] = handNs;
    state.counters["ratio"] = handNs > 0.0 ? filterNs / handNs : 0.0;
}
BENCHMARK(BM_CfcAgainstHandLoop);
} // namespace

// The cost of the filters that come from files: a digital filter of 4 second order blocks in cascade
// and a pole filter of 3 terms (two real poles and a complex pair), each over a crash signal of 20000
// samples, beside a hand-written loop of the same arithmetic in the same run (checked equal at set-up).
// "ratio" is the filter's time over the hand-written loop's; the two go first in turn.
namespace
{
namespace files
{
constexpr unsigned int kFilterSamples = 20000;
constexpr float kFilterRate = 10000.0f;

cSignalStorage<float> filterInput()
{
    cSignalStorage<float> s;
    s.setSamplingRate(kFilterRate);
    s.add(0.0f);
    for (unsigned int k = 0; k < kFilterSamples; ++k)
    {
        double const t = k / double(kFilterRate);
        double const pulse = t < 0.08 ? -30.0 * std::sin(std::numbers::pi * t / 0.08) : 0.0;
        s.add(static_cast<float>(pulse + 2.0 * std::sin(2.0 * std::numbers::pi * 1000.0 * t)));
    }
    return s;
}

// Four low pass biquads (a0 = 1) of growing corner frequency.
std::array<std::array<double, 6>, 4> const kBiquads = {{
    {1.0, -1.561018075800718, 0.641351538057563, 0.020083365564211, 0.040166731128423, 0.020083365564211},
    {1.0, -1.475480443592646, 0.586919508061190, 0.027859766117136, 0.055719532234272, 0.027859766117136},
    {1.0, -1.348967745252795, 0.513981894219676, 0.041253537241720, 0.082507074483441, 0.041253537241720},
    {1.0, -1.142980502539901, 0.412801598096189, 0.067455273889072, 0.134910547778144, 0.067455273889072},
}};

cStorage<double> list(std::initializer_list<double> values)
{
    cStorage<double> l(10);
    for (double v : values)
        l.add(v);
    return l;
}

void fail(char const* what)
{
    std::fprintf(stderr, "CalcKitFilterFilesBench: %s\n", what);
    std::abort();
}

struct sFilters
{
    sFilters() : digital("D", CDigitalFilter::kTypeName), pole("P", cPoleFilter::kTypeName)
    {
        input = filterInput();
        digital.m_filterName = "Four biquads";
        digital.m_blocksProcessingMode = "Cascade";
        digital.m_minSamplingRate = 1000;
        digital.m_maxSamplingRate = 100000;
        for (auto const& q : kBiquads)
            digital.AddNewBlock(list({q[0], q[1], q[2]}), list({q[3], q[4], q[5]}), "Direct Form I", "IIR");
        digital.CheckFilterData();
        pole.m_filterName = "Three terms";
        pole.addRealPole({-2513.27, 2513.27});
        pole.addRealPole({-6283.19, 3000.0});
        pole.addComplexPole({{-1570.8, 2720.7}, {1570.8, -906.9}});
        runDigital();
        runPole();
        std::vector<float> const filtered(out.data() + 1, out.data() + out.size());
        handDigital();
        if (std::vector<float>(hand.begin() + 1, hand.end()) !=
            std::vector<float>(digitalOut.begin() + 1, digitalOut.end()))
            fail("the hand-written digital filter differs from CDigitalFilter");
        handPole();
        if (std::vector<float>(hand.begin() + 1, hand.end()) != filtered)
            fail("the hand-written pole filter differs from cPoleFilter");
    }
    void runDigital()
    {
        out.clear();
        status.clear();
        digital.Calculate(input, out, status, 0);
        digitalOut.assign(out.data(), out.data() + out.size());
    }
    void runPole()
    {
        out.clear();
        status.clear();
        pole.Calculate(input, out, status, 0);
    }
    // The four biquads per sample, Direct Form I in double.
    void handDigital()
    {
        hand.assign(kFilterSamples + 1, 0.0f);
        std::array<std::array<double, 4>, 4> z{}; // x1, x2, y1, y2 per block
        float const* const x = input.data() + 1;
        for (unsigned int n = 0; n < kFilterSamples; ++n)
        {
            double v = x[n];
            for (unsigned int b = 0; b < 4; ++b)
            {
                auto const& q = kBiquads[b];
                auto& s = z[b];
                double const y = q[3] * v + q[4] * s[0] + q[5] * s[1] - q[1] * s[2] - q[2] * s[3];
                s[1] = s[0];
                s[0] = v;
                s[3] = s[2];
                s[2] = y;
                v = y;
            }
            hand[n + 1] = static_cast<float>(v);
        }
    }
    // The three terms per sample, each discretised as cPoleFilter does.
    void handPole()
    {
        double const period = 1.0 / kFilterRate;
        std::array<std::complex<double>, 3> const p = {
            std::complex<double>(-2513.27, 0.0), {-6283.19, 0.0}, {-1570.8, 2720.7}};
        std::array<std::complex<double>, 3> const r = {
            std::complex<double>(2513.27, 0.0), {3000.0, 0.0}, {1570.8, -906.9}};
        std::array<std::complex<double>, 3> a, c, w{};
        for (unsigned int t = 0; t < 3; ++t)
        {
            double const w0 = std::abs(p[t]);
            double const k = w0 / std::tan(w0 * period / 2.0);
            a[t] = (k + p[t]) / (k - p[t]);
            c[t] = r[t] / (k - p[t]);
        }
        hand.assign(kFilterSamples + 1, 0.0f);
        float const* const x = input.data() + 1;
        double previous = 0.0;
        for (unsigned int n = 0; n < kFilterSamples; ++n)
        {
            double const in = x[n];
            double sum = 0.0;
            for (unsigned int t = 0; t < 3; ++t)
            {
                w[t] = a[t] * w[t] + c[t] * (in + previous);
                sum += t == 2 ? 2.0 * w[t].real() : w[t].real();
            }
            hand[n + 1] = static_cast<float>(0.0 * in + 1.0 * sum);
            previous = in;
        }
    }

    cSignalStorage<float> input;
    cSignalStorage<float> out;
    cStorage<char> status;
    CDigitalFilter digital;
    cPoleFilter pole;
    std::vector<float> digitalOut;
    std::vector<float> hand;
};

template <void (sFilters::*Library)(), void (sFilters::*Hand)()> void against(benchmark::State& state)
{
    using tClock = std::chrono::steady_clock;
    sFilters filters;
    tClock::duration libraryTime{}, handTime{};
    bool libraryFirst = true;
    for (auto _ : state)
    {
        tClock::time_point const start = tClock::now();
        (filters.*(libraryFirst ? Library : Hand))();
        tClock::time_point const middle = tClock::now();
        (filters.*(libraryFirst ? Hand : Library))();
        tClock::time_point const end = tClock::now();
        libraryTime += libraryFirst ? middle - start : end - middle;
        handTime += libraryFirst ? end - middle : middle - start;
        libraryFirst = !libraryFirst;
    }
    double const runs = static_cast<double>(state.iterations()) * kFilterSamples;
    double const libraryNs = std::chrono::duration<double, std::nano>(libraryTime).count() / runs;
    double const handNs = std::chrono::duration<double, std::nano>(handTime).count() / runs;
    state.counters["filter_ns"] = libraryNs;
    state.counters["hand_ns"] = handNs;
    state.counters["ratio"] = handNs > 0.0 ? libraryNs / handNs : 0.0;
}

void BM_DigitalFilterOfFourBlocks(benchmark::State& state)
{
    against<&sFilters::runDigital, &sFilters::handDigital>(state);
}
BENCHMARK(BM_DigitalFilterOfFourBlocks);

void BM_PoleFilterOfThreeTerms(benchmark::State& state)
{
    against<&sFilters::runPole, &sFilters::handPole>(state);
}
BENCHMARK(BM_PoleFilterOfThreeTerms);
} // namespace files
} // namespace

// The cost of the filters that come from files: a digital filter of 4 second order blocks in cascade
// and a pole filter of 3 terms (two real poles and a complex pair), each over a crash signal of 20000
// samples, beside a hand-written loop of the same arithmetic in the same run (checked equal at set-up).
// "ratio" is the filter's time over the hand-written loop's; the two go first in turn.
#include "CalcKit/CDigitalFilter.h"
#include "CalcKit/CPoleFilter.h"

#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <vector>

namespace
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
} // namespace

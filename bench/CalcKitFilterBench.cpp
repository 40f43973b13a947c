// The cost of the CFC filter on a crash signal of 20000 samples (2 s at 10 kHz), CFC 60, beside a
// baseline of the same arithmetic written by hand over plain arrays: the padding, the forward and the
// backward pass in double, the float output. BM_CfcAgainstHandLoop times both in turn in each
// iteration and reports their ratio; per-sample times are in nanoseconds.
#include "CalcKit/CPreProcessor.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
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

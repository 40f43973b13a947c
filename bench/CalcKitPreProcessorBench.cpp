// The cost of a channel's sensor chain: five preprocessors over one crash signal of 20000 samples,
// each writing into the next one's input, with the storages reused from run to run as a stage does
// between drift iterations, beside a baseline of the same arithmetic written by hand as one fused
// loop over plain float arrays. Per-sample times are reported as "per_sample" (seconds per sample);
// BM_ChainAgainstFusedLoop times both in turn in each iteration and reports their ratio.
#include "CalcKit/CPreProcessor.h"

#include <benchmark/benchmark.h>

#include <array>
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

// A deceleration pulse of 80 ms with a deterministic ripple on it, in g.
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
        s.add(static_cast<float>(pulse + 2.0 * std::sin(2.0 * std::numbers::pi * 900.0 * t)));
    }
    return s;
}

struct sStage
{
    char const* type;
    std::array<double, 2> parameters;
    unsigned int count;
};

// Sensitivity and offset, measuring range, anti-aliasing filter, smoothing, 12-bit ADC.
constexpr std::array<sStage, 5> kChain = {{
    {"Linear", {0.98, 0.25}, 2},
    {"Saturation", {-50.0, 50.0}, 2},
    {"First Order Low Pass", {400.0}, 1},
    {"Moving Average", {8.0}, 1},
    {"Quantization", {100.0 / 2048.0, 12.0}, 2},
}};

std::unique_ptr<CPreProcessor> build(sStage const& stage)
{
    std::unique_ptr<CPreProcessor> p(createPreProcessor(stage.type, stage.type, ""));
    for (unsigned int i = 0; i < stage.count; ++i)
        p->addParameter(mpf_class(stage.parameters[i]));
    p->reset();
    return p;
}

void perSample(benchmark::State& state, double samplesPerRun)
{
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * samplesPerRun));
    state.counters["per_sample"] = benchmark::Counter(
        samplesPerRun, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_ChainOfFivePreprocessors(benchmark::State& state)
{
    std::array<std::unique_ptr<CPreProcessor>, 5> chain;
    for (unsigned int i = 0; i < kChain.size(); ++i)
        chain[i] = build(kChain[i]);
    std::array<cSignalStorage<float>, 6> signals;
    signals[0] = crashSignal();
    cStorage<char> status;
    for (auto _ : state)
    {
        for (unsigned int i = 0; i < chain.size(); ++i)
        {
            signals[i + 1].clear();
            chain[i]->Calculate(signals[i], signals[i + 1], status, 0);
        }
        benchmark::DoNotOptimize(signals[5].data());
        benchmark::ClobberMemory();
    }
    perSample(state, kSamples);
}
BENCHMARK(BM_ChainOfFivePreprocessors);

// Each link of the chain alone, on the raw signal: where the time of the chain goes.
void BM_OnePreprocessor(benchmark::State& state)
{
    sStage const& stage = kChain[static_cast<std::size_t>(state.range(0))];
    state.SetLabel(stage.type);
    auto p = build(stage);
    cSignalStorage<float> const in = crashSignal();
    cSignalStorage<float> out;
    cStorage<char> status;
    for (auto _ : state)
    {
        out.clear();
        p->Calculate(in, out, status, 0);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    perSample(state, kSamples);
}
BENCHMARK(BM_OnePreprocessor)->DenseRange(0, 4);

// The five links of kChain written by hand as one loop over float arrays, with the constants
// worked out once as the preprocessors' reset() and process() do: the baseline the chain is measured
// against. The output keeps the chain's layout (the dummy 0.0 first) so that the two compare element
// for element.
class cFusedChain
{
public:
    cFusedChain()
        : m_gain(static_cast<float>(kChain[0].parameters[0])),
          m_offset(static_cast<float>(kChain[0].parameters[1])),
          m_minimum(static_cast<float>(kChain[1].parameters[0])),
          m_maximum(static_cast<float>(kChain[1].parameters[1])), m_lsb(kChain[4].parameters[0]),
          m_lowest(-std::ldexp(1.0, static_cast<int>(kChain[4].parameters[1]) - 1)),
          m_highest(-m_lowest - 1.0)
    {
        double const k = std::tan(std::numbers::pi * kChain[2].parameters[0] / double(kRate));
        m_b = k / (1.0 + k);
        m_a = (k - 1.0) / (k + 1.0);
    }

    void run(float const* x, float* y, unsigned int samples) const
    {
        float const gain = m_gain, offset = m_offset, minimum = m_minimum, maximum = m_maximum;
        double const a = m_a, b = m_b, lsb = m_lsb, lowest = m_lowest, highest = m_highest;
        constexpr double kDivisor = kWindow;
        // The moving average's window as a ring; its zeros stand for the samples before the start,
        // and subtracting 0.0 leaves a sum unchanged to the bit.
        std::array<float, kWindow> window{};
        double previousInput = 0.0, state = 0.0, sum = 0.0;
        y[0] = 0.0f;
        for (unsigned int k = 0; k < samples; ++k)
        {
            float linear = gain * x[k + 1] + offset;
            linear = linear < minimum ? minimum : (linear > maximum ? maximum : linear);
            double const input = linear;
            state = b * (input + previousInput) - a * state;
            previousInput = input;
            float const filtered = static_cast<float>(state);
            float& oldest = window[k % kWindow];
            sum += filtered;
            sum -= oldest;
            oldest = filtered;
            double const counts = std::round(static_cast<double>(static_cast<float>(sum / kDivisor)) / lsb);
            y[k + 1] = static_cast<float>(counts < lowest ? lowest : (counts > highest ? highest : counts));
        }
    }

private:
    static constexpr unsigned int kWindow = static_cast<unsigned int>(kChain[3].parameters[0]);
    float m_gain, m_offset, m_minimum, m_maximum;
    double m_lsb, m_lowest, m_highest;
    double m_a = 0.0, m_b = 0.0;
};

// Both sides of the comparison over the same input, with the chain's storages reused as a stage
// reuses them. The constructor checks once that the fused loop gives the chain's output bit for bit,
// so that the baseline does the same work; it aborts with the first difference when it does not.
struct sChainAndFusedLoop
{
    sChainAndFusedLoop() : fusedOutput(kSamples + 1)
    {
        for (unsigned int i = 0; i < kChain.size(); ++i)
            chain[i] = build(kChain[i]);
        signals[0] = crashSignal();
        runChain();
        runFused();
        cSignalStorage<float> const& out = signals[kChain.size()];
        if (out.size() != fusedOutput.size() ||
            std::memcmp(out.data(), fusedOutput.data(), fusedOutput.size() * sizeof(float)) != 0)
        {
            unsigned int k = 0;
            while (k < out.size() && k < fusedOutput.size() &&
                   std::memcmp(&out[k], &fusedOutput[k], sizeof(float)) == 0)
                ++k;
            std::fprintf(stderr,
                         "The fused loop does not give the chain's output: %u elements against %zu, first "
                         "difference at element %u (chain %.9g, fused %.9g).\n",
                         out.size(), fusedOutput.size(), k, k < out.size() ? out[k] : 0.0f,
                         k < fusedOutput.size() ? fusedOutput[k] : 0.0f);
            std::abort();
        }
    }

    void runChain()
    {
        for (unsigned int i = 0; i < chain.size(); ++i)
        {
            signals[i + 1].clear();
            chain[i]->Calculate(signals[i], signals[i + 1], status, 0);
        }
        benchmark::DoNotOptimize(signals[kChain.size()].data());
        benchmark::ClobberMemory();
    }

    void runFused()
    {
        fused.run(signals[0].data(), fusedOutput.data(), kSamples);
        benchmark::DoNotOptimize(fusedOutput.data());
        benchmark::ClobberMemory();
    }

    std::array<std::unique_ptr<CPreProcessor>, kChain.size()> chain;
    std::array<cSignalStorage<float>, kChain.size() + 1> signals;
    cStorage<char> status;
    cFusedChain const fused;
    std::vector<float> fusedOutput;
};

void BM_FusedLoopOfTheChain(benchmark::State& state)
{
    sChainAndFusedLoop bench;
    for (auto _ : state)
        bench.runFused();
    perSample(state, kSamples);
}
BENCHMARK(BM_FusedLoopOfTheChain);

// The chain and the fused loop in turn, each timed on its own, so that both see the same machine
// from moment to moment: "ratio" is the chain's time over the fused loop's, the per-sample times
// are in nanoseconds.
void BM_ChainAgainstFusedLoop(benchmark::State& state)
{
    using tClock = std::chrono::steady_clock;
    sChainAndFusedLoop bench;
    tClock::duration chainTime{}, fusedTime{};
    bool chainFirst = true;
    for (auto _ : state)
    {
        // Each side goes first every other time, so that neither always finds the other's data in
        // the cache.
        tClock::time_point const start = tClock::now();
        chainFirst ? bench.runChain() : bench.runFused();
        tClock::time_point const middle = tClock::now();
        chainFirst ? bench.runFused() : bench.runChain();
        tClock::time_point const end = tClock::now();
        chainTime += chainFirst ? middle - start : end - middle;
        fusedTime += chainFirst ? end - middle : middle - start;
        chainFirst = !chainFirst;
    }
    double const runs = static_cast<double>(state.iterations()) * kSamples;
    double const chainNs = std::chrono::duration<double, std::nano>(chainTime).count() / runs;
    double const fusedNs = std::chrono::duration<double, std::nano>(fusedTime).count() / runs;
    state.counters["chain_ns"] = chainNs;
    state.counters["fused_ns"] = fusedNs;
    state.counters["ratio"] = fusedNs > 0.0 ? chainNs / fusedNs : 0.0;
}
BENCHMARK(BM_ChainAgainstFusedLoop);
} // namespace

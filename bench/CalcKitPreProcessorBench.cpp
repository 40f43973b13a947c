// The cost of a channel's sensor chain: five preprocessors over one crash signal of 20000 samples,
// each writing into the next one's input, with the storages reused from run to run as a stage does
// between drift iterations. Per-sample times are reported as "per_sample" (seconds per sample).
#include "CalcKit/CPreProcessor.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <memory>
#include <numbers>

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
} // namespace

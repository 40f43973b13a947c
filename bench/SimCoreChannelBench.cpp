// The cost of a channel stage's drift sweep over a parameter of its last preprocessor. The channel runs
// the five-stage sensor chain of CalcKitPreProcessorBench (sensitivity and offset, range, anti-aliasing
// filter, smoothing, 12-bit ADC) over the same 20000-sample crash signal at 10 kHz, and sweeps the ADC's
// LSB weight over 9 points. Its first point runs the whole list; every later one re-enters at the ADC on
// the signal stored in front of it, so the sweep should cost one full pass plus eight runs of the ADC
// alone, and little more. BM_ChannelSweepAgainstItsParts times the three in turn and reports their
// ratio; times are in nanoseconds per input sample.
#include "CalcKit/CPreProcessor.h"
#include "SimCore/cChannel.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cKynFileList.h"
#include "SimCore/cSymbolManager.h"
#include "SimCore/cUnit.h"
#include "StoreKit/cConfigurationGroup.h"
#include "StoreKit/cConfigurationReader.h"
#include "StoreKit/cInputFile.h"
#include "tests/support/cIdleComputationManager.h"

#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <numbers>
#include <string>

namespace
{
constexpr unsigned int kSamples = 20000;
constexpr float kRate = 10000.0f;
constexpr unsigned int kPoints = 9;
constexpr unsigned int kLast = 4;
// The LSB of a +-100 g range on 12 bits, swept by 2^-10 g four steps down and four up: all nine
// points are exact in binary, so the reference below sees the very values the channel used.
constexpr double kLsb = 100.0 / 2048.0;
constexpr double kLsbStep = 1.0 / 1024.0;

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

std::string preprocessor(std::string const& name, std::string const& type, std::string const& input,
                         std::string const& output, std::string const& parameters, bool mandatory = false)
{
    return "Preprocessor {\nName = " + name + "\nType = " + type + (mandatory ? "\nMandatory = 1" : "") +
           "\nStarting Criteria {\nName = " + input + "\n}\nFinal Criteria {\nName = " + output +
           "\n}\nParameters List {\n" + parameters + "}\n}\n";
}

// Exact in the file's decimal text: the plain channel's default must be the sweep's nominal point.
std::string number(double v)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.17g", v);
    return text;
}

std::string value(double v)
{
    return "Parameter {\nValue = " + number(v) + "\n}\n";
}

// The "Channel" group of a preprocessing file: the chain of CalcKitPreProcessorBench with the ADC's
// LSB weight as the channel's drift parameter "<name> LSB".
std::string channelText(std::string const& name)
{
    return "Parameters List {\nParameter {\nName = " + name + " LSB\nFloat = 1\nDefault = " + number(kLsb) +
           "\nMaximum Value = 1\nMinimum Value = 0.001\n}\n}\n"
           "Criteria List {\nCriterion {\nName = Input\n}\nCriterion {\nName = Scaled\n}\n"
           "Criterion {\nName = Clipped\n}\nCriterion {\nName = Filtered\n}\nCriterion {\nName = "
           "Smoothed\n}\nCriterion {\nName = Output\n}\n}\n"
           "Preprocessors List {\n" +
           preprocessor("Sensitivity", "Linear", "Input", "Scaled", value(0.98) + value(0.25), true) +
           preprocessor("Range", "Saturation", "Scaled", "Clipped", value(-50.0) + value(50.0)) +
           preprocessor("Anti-aliasing", "First Order Low Pass", "Clipped", "Filtered", value(400.0)) +
           preprocessor("Smoothing", "Moving Average", "Filtered", "Smoothed", value(8.0)) +
           preprocessor("ADC", "Quantization", "Smoothed", "Output",
                        "Parameter {\nName = " + name + " LSB\n}\n" + value(12.0)) +
           "}\nTest {\n}\n";
}

// The end of the pipeline for the channels: each channel posts its results here at the end of its run
// (a nested call in simulation mode), and the unit only counts them.
class cCountingUnit : public cUnit
{
public:
    cCountingUnit() : cUnit("Unit", "", "") {}
    ~cCountingUnit() override { stop(true); }
    unsigned int reports = 0;

protected:
    void runTest(cMessage const*) override { ++reports; }
};

// The globals a channel reaches while it is made, runs and goes: set first, cleared last.
struct sActiveGlobals
{
    sActiveGlobals()
    {
        (myActiveSymbolManager = &symbols)->setConfiguration("");
        myActiveComputationManager = &computations;
    }
    ~sActiveGlobals()
    {
        myActiveComputationManager = nullptr;
        myActiveSymbolManager = nullptr;
    }
    sActiveGlobals(sActiveGlobals const&) = delete;
    sActiveGlobals& operator=(sActiveGlobals const&) = delete;

    cSymbolManager symbols;
    cIdleComputationManager computations;
};

[[noreturn]] void fail(std::string const& what)
{
    std::fprintf(stderr, "SimCoreChannelBench: %s\n", what.c_str());
    std::abort();
}

bool sameSamples(cSignalStorage<float> const& a, cSignalStorage<float> const& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

// Two channels of the same configuration on one crash file: `swept` has the 9-point drift on its LSB,
// `plain` none, so that its run is one full pass of the same list. One channel could not switch its
// drift on and off between runs without a RESET_MSG, which also frees its criteria's memory, and the
// full pass would then be timed with its allocations. The constructor runs both once and checks,
// aborting with what is wrong, that the sweep re-entered at the ADC, that its first result is the plain
// channel's, and that each result is the ADC alone at that point's LSB on the signal stored in front
// of it.
struct sChannelSweep
{
    sChannelSweep() : input(crashSignal())
    {
        myActiveFile = files.addFile(new cInputFile("/data/crash_01.csh"));
        myActiveUnit = &unit;
        for (std::string const name : {"ACU_X", "ACU_Y"})
        {
            cConfigurationGroup group;
            cConfigurationReader::read(channelText(name), "preprocessing.prp", group);
            (name == "ACU_X" ? swept : plain) = std::make_unique<cChannel>(name, "", "Channel", &group, "");
        }
        cDriftParameter* const lsb = swept->cDriftParameterMgr::getParameter("ACU_X LSB");
        lsb->setRawDrift(kLsb, kLsb + 4 * kLsbStep, kLsb - 4 * kLsbStep, kLsbStep, 0);
        if (lsb->getPointNumber() != kPoints)
            fail("the drift has " + std::to_string(lsb->getPointNumber()) + " points, not 9");
        for (cChannel* channel : {swept.get(), plain.get()})
        {
            channel->setInputDataStorage(&input);
            channel->ProcessMessage(RESET_MSG, nullptr);
            channel->ProcessMessage(FILE_CHANGED_MSG, nullptr);
        }
        runSweep();
        runFull();
        check(*lsb->getDrift());
    }
    ~sChannelSweep()
    {
        swept.reset();
        plain.reset();
        myActiveUnit = nullptr;
        myActiveFile = nullptr;
    }
    sChannelSweep(sChannelSweep const&) = delete;
    sChannelSweep& operator=(sChannelSweep const&) = delete;

    void check(cDrift const& drift)
    {
        cStorage<cSignalStorage<float>*>& results = swept->getOutputDataStorage();
        if (results.size() != kPoints || swept->getEntryPreprocessorIndex() != kLast)
            fail("the sweep gave " + std::to_string(results.size()) + " results and last entered at " +
                 std::to_string(swept->getEntryPreprocessorIndex()) + ", not 9 results entering at 4");
        if (unit.reports != 2)
            fail("the unit got " + std::to_string(unit.reports) + " reports, not one per channel");
        if (plain->getOutputDataStorage().size() != 1 ||
            !sameSamples(*results[0], *plain->getOutputDataStorage()[0]))
            fail("the sweep's first result is not the plain channel's");
        if (results[0]->size() != kSamples + 1)
            fail("the channel gives " + std::to_string(results[0]->size()) + " elements, not 20001");
        for (unsigned int k = 0; k < kPoints; ++k)
        {
            std::unique_ptr<CPreProcessor> adc(createPreProcessor("ADC", "Quantization", ""));
            adc->addParameter(drift.computeSpecificPointRawValue(k));
            adc->addParameter(12);
            cSignalStorage<float> expected;
            adc->Calculate(feed(), expected, status, 0);
            if (!sameSamples(*results[k], expected))
                fail("result " + std::to_string(k) + " is not the ADC alone at that point's LSB");
        }
    }

    // The signal stored in front of the swept channel's ADC: where its re-entries start.
    cSignalStorage<float> const& feed() const
    {
        return swept->cPreprocessorMgr::getParameter(kLast)
            ->getStartingCriterionValuesForOneFile(0)
            ->getIterationValueList();
    }

    void runSweep()
    {
        swept->ProcessMessage(RUN_TEST_MSG, nullptr);
        benchmark::ClobberMemory();
    }

    void runFull()
    {
        plain->ProcessMessage(RUN_TEST_MSG, nullptr);
        benchmark::ClobberMemory();
    }

    // The swept channel's own ADC object, eight times over the signal that feeds it, into a storage
    // reused from run to run as the channel reuses its criteria.
    void runLastEightTimes()
    {
        CPreProcessor* const adc = swept->cPreprocessorMgr::getParameter(kLast)->getPreprocessor();
        for (unsigned int i = 1; i < kPoints; ++i)
        {
            adcOutput.clear();
            adc->Calculate(feed(), adcOutput, status, 0);
            benchmark::DoNotOptimize(adcOutput.data());
        }
        benchmark::ClobberMemory();
    }

    sActiveGlobals globals;
    cKynFileList files;
    cCountingUnit unit;
    cSignalStorage<float> input;
    std::unique_ptr<cChannel> swept;
    std::unique_ptr<cChannel> plain;
    cSignalStorage<float> adcOutput;
    cStorage<char> status;
};

// The three in turn, each timed on its own and each first every third time, so that they see the same
// machine from moment to moment and none always finds another's data in the cache. sweep_ns is the
// whole 9-point sweep, full_ns one pass of the plain channel, last_ns one ADC run, each per input
// sample; "ratio" is sweep_ns / (full_ns + 8 last_ns): 1 would be a sweep that costs nothing beyond
// its preprocessors, what is above it is the channel's own work per point (preparing the criteria,
// copying the stored signal in and the result out).
void BM_ChannelSweepAgainstItsParts(benchmark::State& state)
{
    using tClock = std::chrono::steady_clock;
    sChannelSweep bench;
    std::array<tClock::duration, 3> times{};
    unsigned int first = 0;
    for (auto _ : state)
    {
        for (unsigned int i = 0; i < 3; ++i)
        {
            unsigned int const part = (first + i) % 3;
            tClock::time_point const start = tClock::now();
            if (part == 0)
                bench.runSweep();
            else if (part == 1)
                bench.runFull();
            else
                bench.runLastEightTimes();
            times[part] += tClock::now() - start;
        }
        first = (first + 1) % 3;
    }
    double const runs = static_cast<double>(state.iterations()) * kSamples;
    auto const perSample = [runs](tClock::duration d)
    { return std::chrono::duration<double, std::nano>(d).count() / runs; };
    double const sweepNs = perSample(times[0]);
    double const fullNs = perSample(times[1]);
    double const lastNs = perSample(times[2]) / (kPoints - 1);
    state.counters["sweep_ns"] = sweepNs;
    state.counters["full_ns"] = fullNs;
    state.counters["last_ns"] = lastNs;
    state.counters["ratio"] = fullNs + 8 * lastNs > 0.0 ? sweepNs / (fullNs + 8 * lastNs) : 0.0;
}
BENCHMARK(BM_ChannelSweepAgainstItsParts)->Unit(benchmark::kMicrosecond);
} // namespace

// The cost of the algorithm stage's own work around a concrete algorithm: one unit iteration of two
// channels of 4000 samples at 10 kHz, handed to the threshold algorithm of the tests on the pipeline
// project of tests/data. Before the first step the stage turns each channel's floats into an integer
// sample array, fills a defect array per channel, and integrates the acceleration twice into its
// displacement list, one new GMP number per step. BM_AlgorithmIteration times the whole iteration;
// BM_AlgorithmPartsAgainstHandWrittenLoops times the filling and the displacement list inside the same
// iterations, each beside a loop written by hand that does the same work on plain arrays, and reports
// their ratios. Times are in nanoseconds per step, or per channel sample where both channels count.
// What to expect: the filling within 3 ns per channel sample; a displacement number within 1.25 times
// the hand-written one, since each is two small allocations and two frees wherever it is made, and the
// stage adds only a virtual call and two accumulators kept as members per step.
#include "SimCore/cAlgorithm.h"
#include "SimCore/cChannel.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cKynFileList.h"
#include "SimCore/cProject.h"
#include "SimCore/cSymbolManager.h"
#include "SimCore/cUnit.h"
#include "SimCore/cVehicle.h"
#include "tests/support/cTestCalibration.h"
#include "tests/support/cThresholdAlgorithm.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <memory>
#include <numbers>
#include <stdlib.h>
#include <string>
#include <vector>

namespace
{
using tClock = std::chrono::steady_clock;

constexpr unsigned int kSteps = 4000;
constexpr unsigned int kChannels = 2;
constexpr float kRate = 10000.0f;

[[noreturn]] void fail(std::string const& what)
{
    std::fprintf(stderr, "SimCoreAlgorithmBench: %s\n", what.c_str());
    std::abort();
}

double nanoseconds(tClock::duration d)
{
    return std::chrono::duration<double, std::nano>(d).count();
}

// A frontal crash as the unit hands it over, in LSB: a half-sine deceleration of 60 ms, 900 LSB deep
// on ACU_X and 250 on ACU_Y, with a ripple of a few LSB so that the truncation has fractions to cut.
std::vector<float> crashPulse(double depth, double ripple)
{
    std::vector<float> samples(kSteps);
    for (unsigned int k = 0; k < kSteps; ++k)
    {
        double const t = k / double(kRate);
        double const pulse = t < 0.06 ? -depth * std::sin(std::numbers::pi * t / 0.06) : 0.0;
        samples[k] = static_cast<float>(pulse + ripple * std::sin(2.0 * std::numbers::pi * 1100.0 * t));
    }
    return samples;
}

// The test algorithm with the clock read at the seams of the stage's iteration. The stage calls its
// hooks in a fixed order: prepareForTest, initialiseWithFirstDataSamples, the filling of the sample
// arrays, initialiseForFirstIteration, getDisplacementAccValue for steps 1 to n - 1 between the new
// numbers of the displacement list, the defect arrays, then steps(). So:
//  - filling: from the end of prepareForTest to initialiseForFirstIteration (element 0, the T0 checks,
//    both arrays), plus from the last getDisplacementAccValue to the first steps() (the defect arrays,
//    and the last of the n displacement numbers, which adds well under 0.01 ns per channel sample);
//  - displacement: its n - 1 first numbers made, from the end of initialiseForFirstIteration to the
//    last getDisplacementAccValue, and the n numbers of the previous iteration freed, timed here by
//    clearing the list just before prepareForTest, whose own clearing then finds it empty.
class cSeamedThresholdAlgorithm : public cThresholdAlgorithm
{
public:
    using cThresholdAlgorithm::cThresholdAlgorithm;

    struct sSeams
    {
        tClock::time_point begin, freed, prepared, filled, integrating, integrated, stepping, end;
    };
    sSeams seams;

    cStorage<unsigned int>& sampleArray(cChannel* channel) { return getStorageArray(channel); }
    cStorage<unsigned int>& defectArray(cChannel* channel) { return getDefectOnTheFlySampleArray(channel); }

protected:
    void performIteration() override
    {
        m_stepping = false;
        seams.begin = tClock::now();
        cThresholdAlgorithm::performIteration();
        seams.end = tClock::now();
    }
    void prepareForTest() override
    {
        clearDisplacement();
        seams.freed = tClock::now();
        cThresholdAlgorithm::prepareForTest();
        seams.prepared = tClock::now();
    }
    void initialiseForFirstIteration() override
    {
        seams.filled = tClock::now();
        cThresholdAlgorithm::initialiseForFirstIteration();
        seams.integrating = tClock::now();
    }
    int32_t getDisplacementAccValue(unsigned int sample) override
    {
        if (sample + 1 == getSampleCount())
            seams.integrated = tClock::now();
        return cThresholdAlgorithm::getDisplacementAccValue(sample);
    }
    void steps() override
    {
        if (!m_stepping)
        {
            seams.stepping = tClock::now();
            m_stepping = true;
        }
        cThresholdAlgorithm::steps();
    }

private:
    bool m_stepping = false;
};

// The pipeline project copied to a fresh temporary folder and opened as a host opens it, with the
// calibration and the algorithm of the tests; the crash file of the project runs once through vehicle,
// channels, unit and algorithm, so that every stage has its values for the file. Then the unit's two
// outputs are replaced by the 4000-sample pulses, and each run hands them to the algorithm again, as
// the unit does at the end of its iteration (a nested call in simulation mode).
template <class TAlgorithm> struct sAlgorithmBench
{
    sAlgorithmBench()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "simcore-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            fail("no temporary folder at " + pattern);
        folder = pattern + "/";
        std::filesystem::copy(std::string(SIMCORE_TEST_DATA_DIR) + "SimCore/pipeline", folder,
                              std::filesystem::copy_options::recursive);
        cKynThread::setSimulationMode(true);
        (myActiveSymbolManager = &symbols)->setConfiguration("");
        project = std::make_unique<cProject>("pipeline.prt", folder);
        myActiveProject = project.get();
        project->declareChannelName("ACU_X", true);
        project->declareChannelName("ACU_Y", true);
        project->loadDataProcessingModules(folder);
        calibration = std::make_unique<cTestCalibration>(folder + "calibration.cfg");
        myActiveCalibration = calibration.get();
        algorithm = std::make_unique<TAlgorithm>(folder + "algorithm.cfg");
        myActiveAlgorithm = algorithm.get();
        algorithm->cCriterionMgr::getParameter("Acceleration")->forceUse(true);
        algorithm->changeMultiPreprocessingItem();
        runCrashFile();

        auto const range = myActivePreprocessing->getChannels();
        channels.assign(range.first, range.second);
        if (channels.size() != kChannels)
            fail("the project has " + std::to_string(channels.size()) + " channels, not 2");
        for (unsigned int i = 0; i < kChannels; ++i)
        {
            std::vector<float> const pulse = i == 0 ? crashPulse(900.0, 6.3) : crashPulse(250.0, 3.7);
            cSignalStorage<float>& out = *myActiveUnit->getOutputStorage(channels[i]);
            out.clear();
            out.setSamplingRate(kRate);
            out.setT0(0);
            out.add(0.0f);
            for (float v : pulse)
                out.add(v);
        }
        run();
        if (algorithm->getSampleCount() != kSteps)
            fail("the algorithm ran " + std::to_string(algorithm->getSampleCount()) + " steps, not 4000");
    }
    ~sAlgorithmBench()
    {
        algorithm.reset();
        calibration.reset();
        myActiveFile = nullptr;
        project.reset();
        myActiveAlgorithm = nullptr;
        myActiveCalibration = nullptr;
        myActiveProject = nullptr;
        myActiveSymbolManager = nullptr;
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    sAlgorithmBench(sAlgorithmBench const&) = delete;
    sAlgorithmBench& operator=(sAlgorithmBench const&) = delete;

    // RESET_MSG and FILE_CHANGED_MSG to every stage in pipeline order, then the vehicle's run, which
    // reaches the algorithm through the channels and the unit.
    void runCrashFile()
    {
        cKynFile* const crash = myActiveFileList->addFile((folder + "crash.csh").c_str(), nullptr);
        crash->useFile(true, nullptr);
        myActiveFile = crash;
        auto const range = myActivePreprocessing->getChannels();
        for (unsigned int message : {RESET_MSG, FILE_CHANGED_MSG})
        {
            myActiveVehicle->ProcessMessage(message, nullptr);
            for (cChannel* const* channel = range.first; channel != range.second; ++channel)
                (*channel)->ProcessMessage(message, nullptr);
            myActiveUnit->ProcessMessage(message, nullptr);
            algorithm->ProcessMessage(message, nullptr);
        }
        myActiveVehicle->ProcessMessage(RUN_TEST_MSG, nullptr);
    }

    // One unit iteration through the algorithm; the test algorithm's record of it is dropped, so that
    // it does not grow from run to run.
    void run()
    {
        algorithm->ProcessMessage(RUN_TEST_MSG, new cMessage(myActiveUnit));
        algorithm->iterations.clear();
        benchmark::ClobberMemory();
    }

    std::string folder;
    cSymbolManager symbols;
    std::unique_ptr<cProject> project;
    std::unique_ptr<cTestCalibration> calibration;
    std::unique_ptr<TAlgorithm> algorithm;
    std::vector<cChannel*> channels;
};

void BM_AlgorithmIteration(benchmark::State& state)
{
    sAlgorithmBench<cThresholdAlgorithm> bench;
    for (auto _ : state)
        bench.run();
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kSteps);
    state.counters["per_step"] = benchmark::Counter(kSteps, benchmark::Counter::kIsIterationInvariantRate |
                                                                benchmark::Counter::kInvert);
}
BENCHMARK(BM_AlgorithmIteration)->Unit(benchmark::kMicrosecond);

// A sample as the stage reads it: truncated toward zero to a signed 32-bit integer, ends of the range
// kept, NaN as 0, stored as its bit pattern.
unsigned int truncated(float value)
{
    int32_t whole = 0;
    if (value >= 2147483647.0f)
        whole = std::numeric_limits<int32_t>::max();
    else if (value <= -2147483648.0f)
        whole = std::numeric_limits<int32_t>::min();
    else if (value == value)
        whole = static_cast<int32_t>(value);
    return static_cast<unsigned int>(whole);
}

// The stage's work before its first step written by hand, on the same unit outputs: per channel the
// floats behind the dummy element into an integer array and a zero per step into a defect array, both
// kept from run to run as the stage keeps its arrays; and the displacement as the same new numbers in
// a cStorage<mpfClass*>, integrated from ACU_X's integers, then deleted.
struct sHandWritten
{
    explicit sHandWritten(std::vector<cChannel*> const& channels)
    {
        for (unsigned int i = 0; i < kChannels; ++i)
        {
            inputs[i] = myActiveUnit->getOutputStorage(channels[i])->data();
            samples[i].resize(kSteps);
            defects[i].resize(kSteps);
        }
    }

    void fill()
    {
        for (unsigned int i = 0; i < kChannels; ++i)
        {
            float const* const in = inputs[i] + 1;
            unsigned int* const out = samples[i].data();
            for (unsigned int s = 0; s < kSteps; ++s)
                out[s] = truncated(in[s]);
            std::fill(defects[i].begin(), defects[i].end(), 0u);
        }
        benchmark::DoNotOptimize(samples[0].data());
        benchmark::DoNotOptimize(samples[1].data());
        benchmark::DoNotOptimize(defects[0].data());
        benchmark::DoNotOptimize(defects[1].data());
        benchmark::ClobberMemory();
    }

    // The numbers of the previous run freed, then this run's made, as the stage frees its list when
    // it prepares an iteration. Made and freed in one go, the loop would leave its freed blocks in
    // malloc's fast bins, and the stage's next list, whose 32 KB pointer block makes malloc gather
    // them, would pay for both sides; in this order each side finds the heap as its own run left it.
    void renewDisplacement()
    {
        freeDisplacement();
        unsigned int const* const acceleration = samples[0].data();
        displacement.reserve(kSteps);
        displacement.add(new mpfClass(0.0));
        double velocity = 0.0, position = 0.0;
        for (unsigned int s = 1; s < kSteps; ++s)
        {
            velocity += double(static_cast<int32_t>(acceleration[s]));
            position += velocity;
            displacement.add(new mpfClass(position));
        }
        benchmark::ClobberMemory();
    }

    void freeDisplacement()
    {
        for (unsigned int s = 0; s < displacement.size(); ++s)
            delete displacement[s];
        displacement.freeMemory();
    }

    ~sHandWritten() { freeDisplacement(); }
    sHandWritten(sHandWritten const&) = delete;
    sHandWritten& operator=(sHandWritten const&) = delete;

    std::array<float const*, kChannels> inputs{};
    std::array<std::vector<unsigned int>, kChannels> samples;
    std::array<std::vector<unsigned int>, kChannels> defects;
    cStorage<mpfClass*> displacement;
};

// Both sides over the same unit outputs. The constructor checks once that the hand-written loops give
// the stage's arrays and displacement element for element, so that the baselines do the same work; it
// aborts with the first difference when they do not.
struct sPartsBench
{
    sPartsBench() : byHand(stage.channels)
    {
        byHand.fill();
        byHand.renewDisplacement();
        cSeamedThresholdAlgorithm& algorithm = *stage.algorithm;
        for (unsigned int i = 0; i < kChannels; ++i)
        {
            cStorage<unsigned int> const& samples = algorithm.sampleArray(stage.channels[i]);
            cStorage<unsigned int> const& defects = algorithm.defectArray(stage.channels[i]);
            if (samples.size() != kSteps || defects.size() != kSteps)
                fail("channel " + std::to_string(i) + " has " + std::to_string(samples.size()) +
                     " samples and " + std::to_string(defects.size()) + " defects, not 4000");
            for (unsigned int s = 0; s < kSteps; ++s)
                if (samples[s] != byHand.samples[i][s] || defects[s] != 0)
                    fail("channel " + std::to_string(i) + " differs from the hand-written arrays at sample " +
                         std::to_string(s));
        }
        cStorage<mpfClass*> const& displacement = algorithm.getDisplacementList();
        if (displacement.size() != kSteps)
            fail("the displacement holds " + std::to_string(displacement.size()) + " values, not 4000");
        for (unsigned int s = 0; s < kSteps; ++s)
            if (displacement[s]->get() != byHand.displacement[s]->get())
                fail("the displacement differs from the hand-written one at step " + std::to_string(s));
        if (displacement[kSteps - 1]->get() == 0)
            fail("the displacement stays at 0: the pulse does not reach it");
    }

    sAlgorithmBench<cSeamedThresholdAlgorithm> stage;
    sHandWritten byHand;
};

// The stage's iteration, the hand-written filling and the hand-written displacement in turn, each
// first every third time, so that they see the same machine from moment to moment and none always
// finds another's data in the cache. Counters, in nanoseconds:
//  - step_ns: the whole iteration per step, the test algorithm's steps included;
//  - fill_ns, fill_base_ns: the sample and defect arrays per channel sample (8000 per iteration),
//    the stage's (seams above) and the hand-written loop's; fill_ratio is the first over the second;
//  - disp_ns, disp_base_ns: one displacement number made and freed, the stage's (with its virtual
//    getDisplacementAccValue and the accumulators it keeps as members) and the hand-written loop's;
//    disp_ratio is the first over the second.
void BM_AlgorithmPartsAgainstHandWrittenLoops(benchmark::State& state)
{
    sPartsBench bench;
    cSeamedThresholdAlgorithm::sSeams const& seams = bench.stage.algorithm->seams;
    tClock::duration iteration{}, fill{}, made{}, freed{}, fillByHand{}, displacementByHand{};
    unsigned int first = 0;
    for (auto _ : state)
    {
        for (unsigned int i = 0; i < 3; ++i)
        {
            unsigned int const part = (first + i) % 3;
            if (part == 0)
            {
                bench.stage.run();
                iteration += seams.end - seams.begin;
                fill += (seams.filled - seams.prepared) + (seams.stepping - seams.integrated);
                made += seams.integrated - seams.integrating;
                freed += seams.freed - seams.begin;
            }
            else if (part == 1)
            {
                tClock::time_point const start = tClock::now();
                bench.byHand.fill();
                fillByHand += tClock::now() - start;
            }
            else
            {
                tClock::time_point const start = tClock::now();
                bench.byHand.renewDisplacement();
                displacementByHand += tClock::now() - start;
            }
        }
        first = (first + 1) % 3;
    }
    double const runs = static_cast<double>(state.iterations());
    double const fillNs = nanoseconds(fill) / (runs * kSteps * kChannels);
    double const fillBaseNs = nanoseconds(fillByHand) / (runs * kSteps * kChannels);
    // n - 1 numbers made between the seams, n freed.
    double const dispNs = nanoseconds(made) / (runs * (kSteps - 1)) + nanoseconds(freed) / (runs * kSteps);
    double const dispBaseNs = nanoseconds(displacementByHand) / (runs * kSteps);
    state.counters["step_ns"] = nanoseconds(iteration) / (runs * kSteps);
    state.counters["fill_ns"] = fillNs;
    state.counters["fill_base_ns"] = fillBaseNs;
    state.counters["fill_ratio"] = fillBaseNs > 0.0 ? fillNs / fillBaseNs : 0.0;
    state.counters["disp_ns"] = dispNs;
    state.counters["disp_base_ns"] = dispBaseNs;
    state.counters["disp_ratio"] = dispBaseNs > 0.0 ? dispNs / dispBaseNs : 0.0;
}
BENCHMARK(BM_AlgorithmPartsAgainstHandWrittenLoops)->Unit(benchmark::kMicrosecond);
} // namespace

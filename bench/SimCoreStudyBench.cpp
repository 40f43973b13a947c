// The cost of the pipeline around the arithmetic of a drift study. The study runs through the
// computation manager on the pipeline project of tests/data, with the threshold algorithm of the tests
// and its calibration, over two crash recordings of 4000 samples at 10 kHz on ACU_X and ACU_Y that the
// bench writes into its temporary folder: a 56 km/h frontal, and an oblique impact whose lateral peak
// goes past the 50 g range of ACU_Y. Each file runs 27 drift combinations: the vehicle's Body Gain at
// 1, 2, 3 x the channel's Offset ACU_X at 0, -1, 1 x the unit's ADC Gain at 1, 2, 3 (the pipeline's
// parameters are whole numbers). The offset is ACU_X's second preprocessor, so its later points
// re-enter the chain there; ACU_Y has no drift and gives one result per vehicle iteration; the
// calibration's Threshold stays at 10. Beside it, a program written by hand does the same work on
// plain arrays: the vehicle's gain, the channel chains (sensitivity and offset of ACU_X, range and
// offset of ACU_Y), the unit's gain, the signal copies each stage makes, the algorithm stage's integer
// and defect arrays and its displacement (one new GMP number per step, as the stage keeps it), and the
// threshold algorithm's steps. Each set-up first runs both once and aborts, saying what differs,
// unless they agree bit for bit: the unit's two outputs, the time to fire with its displacement and
// the last displacement, in every combination; the minimum, nominal and maximum of "Fire" per file.
//
// BM_StudyAgainstHandWrittenProgram runs the study in simulation mode (the default), and
// BM_StudyWithRealThreads with a thread per stage, each in turn with the program; the study is timed
// from startTest to the end of every stage's work, never the project's opening. Counters: see
// runAgainstHandWritten. What to expect: about two thirds of either side is the GMP numbers of the
// displacement, made and freed. The target is a study within 1.1 times the program. What the pipeline
// adds per step (some 12 ns against 130) comes with the design: five virtual phases and a virtual
// getDisplacementAccValue per step, in two of which the test algorithm looks its sample array up in
// the stage's map, and an unkept criterion that works out the start of its curve at each call. Per
// iteration it adds only its messages, criteria, time events and counters.
#include "SimCore/cAlgorithm.h"
#include "SimCore/cChannel.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cKynFileList.h"
#include "SimCore/cProject.h"
#include "SimCore/cSymbolManager.h"
#include "SimCore/cTestMgr.h"
#include "SimCore/cUnit.h"
#include "SimCore/cVehicle.h"
#include "tests/support/cTestCalibration.h"
#include "tests/support/cThresholdAlgorithm.h"

#include "BaseKit/IHostWindow.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <mutex>
#include <numbers>
#include <stdlib.h>
#include <string>
#include <time.h>
#include <utility>
#include <vector>

namespace
{
using tClock = std::chrono::steady_clock;

constexpr unsigned int kSamples = 4000;
constexpr double kRate = 10000.0;
constexpr unsigned int kFiles = 2;
constexpr unsigned int kPoints = 3;
constexpr unsigned int kCombinations = kPoints * kPoints * kPoints;
// The calibration's default Threshold and the algorithm file's Time Events Precision Frequency.
constexpr float kThreshold = 10.0f;
constexpr double kPrecisionFrequency = 10000.0;
// The range of ACU_Y's saturation in preprocessing.prp.
constexpr float kRangeY = 50.0f;

// The points of each drift in sweep order: the nominal value, down to the minimum, then up to the
// maximum.
struct sDriftPoints
{
    double nominal, minimum, maximum, step;
    std::array<float, kPoints> points;
};
constexpr sDriftPoints kBodyGain{1.0, 1.0, 3.0, 1.0, {1.0f, 2.0f, 3.0f}};
constexpr sDriftPoints kOffset{0.0, -1.0, 1.0, 1.0, {0.0f, -1.0f, 1.0f}};
constexpr sDriftPoints kAdcGain{1.0, 1.0, 3.0, 1.0, {1.0f, 2.0f, 3.0f}};

[[noreturn]] void fail(std::string const& what)
{
    std::fprintf(stderr, "SimCoreStudyBench: %s\n", what.c_str());
    std::abort();
}

double milliseconds(tClock::duration d)
{
    return std::chrono::duration<double, std::milli>(d).count();
}

// The processor time of the calling thread: on a machine shared with other work, the figure that
// leaves out the time the thread waited for a processor.
double threadCpuMilliseconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// ---- the recordings ----------------------------------------------------------------------------------

// One crash recording in g: a half-sine deceleration on ACU_X with a decaying structural ringing, a
// lateral pulse on ACU_Y, and on both a small deterministic noise, so that the truncation to integers
// has fractions to cut and the drifts move the time to fire.
struct sRecording
{
    std::string name;
    std::string crashType;
    int speed;
    std::array<std::vector<float>, 2> channels; // ACU_X, ACU_Y
};

sRecording makeRecording(std::string name, std::string crashType, int speed, double startMs, double lengthMs,
                         double depthX, double peakY, unsigned int seed)
{
    sRecording recording{std::move(name), std::move(crashType), speed, {}};
    unsigned int state = seed;
    auto const noise = [&state]
    {
        state = state * 1103515245u + 12345u;
        return double((state >> 8) & 0xFFFF) / 65535.0 - 0.5;
    };
    for (unsigned int k = 0; k < kSamples; ++k)
    {
        double const t = k / kRate * 1000.0 - startMs;
        double const phase = t > 0.0 && t < lengthMs ? std::sin(std::numbers::pi * t / lengthMs) : 0.0;
        double const ringing =
            t > 0.0 ? 4.0 * std::exp(-t / 30.0) * std::sin(2.0 * std::numbers::pi * t / 2.7) : 0.0;
        recording.channels[0].push_back(static_cast<float>(-depthX * phase + ringing + noise()));
        recording.channels[1].push_back(static_cast<float>(peakY * phase * phase + 0.5 * ringing + noise()));
    }
    return recording;
}

// The recording in CSH, each sample in the shortest text that reads back as the same float.
void writeCsh(sRecording const& recording, std::string const& path)
{
    std::string text =
        "CSH 1\n# Written by the study bench: 4000 samples at 10 kHz on both axes.\nCrash Type = " +
        recording.crashType + "\nVehicle Speed = " + std::to_string(recording.speed) + "\n\n";
    for (char const* channel : {"ACU_X", "ACU_Y"})
        text += "Channel = " + std::string(channel) +
                "\nUnit = g\nSampling Rate = 10000\nSamples = " + std::to_string(kSamples) + "\n";
    for (unsigned int c = 0; c < 2; ++c)
    {
        text += c == 0 ? "Data = ACU_X\n" : "Data = ACU_Y\n";
        for (float sample : recording.channels[c])
        {
            char number[32];
            auto const written = std::to_chars(number, number + sizeof number, sample);
            text.append(number, written.ptr);
            text += '\n';
        }
    }
    std::ofstream out(path, std::ios::binary);
    out << text;
    if (!out.flush())
        fail("cannot write " + path);
}

// ---- the study through the computation manager -----------------------------------------------------

// The host window: counts the ends of tests (2530), for the bench's thread to wait on, and adds up the
// processor time of the thread that sends 2529 (test started) and 2530: in simulation mode the whole
// study runs nested on the manager's thread between the two.
class cStudyHost : public IHostWindow
{
public:
    cStudyHost() : m_previous(setMainWndH(this)) {}
    ~cStudyHost() override { setMainWndH(m_previous); }
    cStudyHost(cStudyHost const&) = delete;
    cStudyHost& operator=(cStudyHost const&) = delete;

    intptr_t sendMessage(uint32_t message, uintptr_t, intptr_t) override
    {
        if (message == 2529)
            m_startedCpu = threadCpuMilliseconds();
        if (message == 2530)
        {
            double const cpu = threadCpuMilliseconds() - m_startedCpu;
            std::lock_guard<std::mutex> lock(m_mutex);
            m_cpu += cpu;
            ++m_ended;
            m_changed.notify_all();
        }
        return 0;
    }
    bool postMessage(uint32_t, uintptr_t, intptr_t) override { return true; }

    unsigned int ended() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_ended;
    }
    double cpuMilliseconds() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_cpu;
    }
    void waitForEnd(unsigned int count)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_changed.wait_for(lock, std::chrono::seconds(60), [&] { return m_ended >= count; }))
            fail("the study did not end within a minute");
    }

private:
    IHostWindow* m_previous;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    unsigned int m_ended = 0;
    double m_startedCpu = 0.0; // written and read on the thread that sends
    double m_cpu = 0.0;
};

// What one algorithm iteration gave: the time to fire in ticks (-1: none), the displacement there, and
// the last displacement of the iteration.
struct sFire
{
    long tick = -1;
    mpf_class displacement;
    mpf_class lastDisplacement;
};

// What the study's algorithm saw and gave in one iteration: the unit's two outputs, and its fire.
struct sIterationResult
{
    std::array<std::vector<float>, 2> unitOutputs;
    sFire fire;
};

// The test algorithm, which records each iteration's results while `recording` is on (the set-up's
// run only; the timed runs leave it off).
class cRecordingThresholdAlgorithm : public cThresholdAlgorithm
{
public:
    using cThresholdAlgorithm::cThresholdAlgorithm;

    bool recording = false;
    std::vector<sIterationResult> results;

protected:
    void initialiseForFirstIteration() override
    {
        cThresholdAlgorithm::initialiseForFirstIteration();
        if (!recording)
            return;
        sIterationResult& result = results.emplace_back();
        for (unsigned int c = 0; c < 2; ++c)
        {
            cSignalStorage<float> const* const signal =
                getInputData(myActivePreprocessing->findChannel(c == 0 ? "ACU_X" : "ACU_Y"));
            result.unitOutputs[c].assign(signal->data(), signal->data() + signal->size());
        }
    }
    void endOfIteration() override
    {
        if (recording && !results.empty())
        {
            cTimeEventValuesForOneFile const* const fire =
                cTimeEventMgr::getParameter("Fire")->getActiveTimeEventValuesForOneFile();
            sFire& seen = results.back().fire;
            seen.tick = fire->getIterationValue();
            seen.displacement = fire->getComputedDisplacement();
            cStorage<mpfClass*> const& displacement = getDisplacementList();
            if (displacement.size() != 0)
                seen.lastDisplacement = displacement[displacement.size() - 1]->get();
        }
        cThresholdAlgorithm::endOfIteration();
    }
};

// "Fire" of one crash file over a study.
struct sFileResult
{
    unsigned int count = 0;
    long minimum = -1, nominal = -1, maximum = -1;
    mpf_class minimumDisplacement, nominalDisplacement, maximumDisplacement;
};

// The pipeline project copied to a fresh temporary folder with the two recordings, opened as a host
// opens it (docs/running-a-study.md), in simulation mode or with a thread per stage; the drifts set
// and a test listed, so that run() is one study: the manager's start to the end of every stage's work.
struct sStudy
{
    sStudy(bool simulation, std::array<sRecording, kFiles> const& recordings)
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "simcore-study-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            fail("no temporary folder at " + pattern);
        folder = pattern + "/";
        std::filesystem::copy(std::string(SIMCORE_TEST_DATA_DIR) + "SimCore/pipeline", folder,
                              std::filesystem::copy_options::recursive);
        for (sRecording const& recording : recordings)
            writeCsh(recording, folder + recording.name);

        cKynThread::setSimulationMode(simulation);
        (myActiveSymbolManager = &symbols)->setConfiguration("");
        project = std::make_unique<cProject>("pipeline.prt", folder);
        myActiveProject = project.get();
        project->declareChannelName("ACU_X", true);
        project->declareChannelName("ACU_Y", true);
        project->loadDataProcessingModules(folder);
        calibration = std::make_unique<cTestCalibration>(folder + "calibration.cfg");
        myActiveCalibration = calibration.get();
        algorithm = std::make_unique<cRecordingThresholdAlgorithm>(folder + "algorithm.cfg");
        myActiveAlgorithm = algorithm.get();
        algorithm->start(0, nullptr, 0);
        for (sRecording const& recording : recordings)
        {
            cKynFile* const file = myActiveFileList->addFile((folder + recording.name).c_str(), nullptr);
            file->useFile(true, nullptr);
            files.push_back(file);
        }
        setDrift(myActiveVehicle->cDriftParameterMgr::getParameter("Body Gain"), kBodyGain);
        setDrift(
            myActivePreprocessing->findChannel("ACU_X")->cDriftParameterMgr::getParameter("Offset ACU_X"),
            kOffset);
        setDrift(myActiveUnit->cDriftParameterMgr::getParameter("ADC Gain"), kAdcGain);
        myActiveComputationManager->addTest(new cTestMgr("Study"));
    }
    ~sStudy()
    {
        if (myActiveComputationManager != nullptr)
            myActiveComputationManager->removeAllTests();
        myActiveFile = nullptr;
        myActiveAlgorithm = nullptr;
        algorithm.reset();
        myActiveCalibration = nullptr;
        calibration.reset();
        project.reset();
        myActiveProject = nullptr;
        myActiveSymbolManager = nullptr;
        cKynThread::setSimulationMode(true);
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    sStudy(sStudy const&) = delete;
    sStudy& operator=(sStudy const&) = delete;

    static void setDrift(cDriftParameter* parameter, sDriftPoints const& drift)
    {
        parameter->setRawDrift(drift.nominal, drift.maximum, drift.minimum, drift.step, 0);
        for (unsigned int i = 0; i < kPoints; ++i)
            if (parameter->getDrift()->getPointNumber() != kPoints ||
                parameter->getDrift()->computeSpecificPointRawValue(i) != drift.points[i])
                fail("the drift of " + parameter->getName() + " does not have the expected points");
    }

    // One study, from the start to the end of every stage's work; the test algorithm's own record of
    // each iteration is dropped afterwards, outside the time, so that it does not grow.
    tClock::duration run()
    {
        unsigned int const ended = host.ended();
        tClock::time_point const start = tClock::now();
        myActiveComputationManager->startTest();
        host.waitForEnd(ended + 1);
        cKynThread::waitUntilPipelineIdle();
        tClock::duration const took = tClock::now() - start;
        algorithm->iterations.clear();
        benchmark::ClobberMemory();
        return took;
    }

    std::array<sFileResult, kFiles> fileResults() const
    {
        std::array<sFileResult, kFiles> out;
        for (unsigned int f = 0; f < kFiles; ++f)
        {
            auto const* values = static_cast<cTimeEventValuesForOneFile const*>(
                algorithm->cTimeEventMgr::getParameter("Fire")->getValueList(files[f]));
            out[f] = {values->getIterationCount(), values->getMinValue(),        values->getNomValue(),
                      values->getMaxValue(),       values->getMinDisplacement(), values->getNomDisplacement(),
                      values->getMaxDisplacement()};
        }
        return out;
    }

    cStudyHost host;
    std::string folder;
    cSymbolManager symbols;
    std::unique_ptr<cProject> project;
    std::unique_ptr<cTestCalibration> calibration;
    std::unique_ptr<cRecordingThresholdAlgorithm> algorithm;
    std::vector<cKynFile*> files;
};

// ---- the same study written by hand ------------------------------------------------------------------

// A sample as the algorithm stage reads it: truncated toward zero to a signed 32-bit integer, the
// ends of the range kept, NaN as 0, stored as its bit pattern.
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

long roundHalfAway(double value)
{
    return static_cast<long>(value >= 0.0 ? value + 0.5 : value - 0.5);
}

// to := from, element for element.
void copy(std::vector<float> const& from, std::vector<float>& to)
{
    to.resize(from.size());
    std::memcpy(to.data(), from.data(), from.size() * sizeof(float));
}

// A sample-by-sample preprocessor: element 0 (the dummy at T0) stays 0.
template <class F> void map(std::vector<float> const& in, std::vector<float>& out, F f)
{
    out.resize(in.size());
    if (in.empty())
        return;
    out[0] = 0.0f;
    for (std::size_t i = 1; i < in.size(); ++i)
        out[i] = f(in[i]);
}

// The study's arithmetic on plain arrays, in the stages' order, with the copies each stage makes of a
// signal: the vehicle appends the recording behind a leading 0 into its input curve and copies its
// output curve into the output it hands on; a channel copies that output in first, stores its first
// iteration's input as its raw input and re-enters every later iteration at the drifted offset, on a
// copy of the curve stored in front of it, and appends its output curve to a result of its own; the
// unit appends the chosen results into its input curves and copies its output curves into the outputs
// the algorithm reads. Every buffer is kept from run to run, as the stages keep theirs.
struct sHandWrittenStudy
{
    explicit sHandWrittenStudy(std::array<sRecording, kFiles> const& recordings) : recordings(recordings) {}
    ~sHandWrittenStudy() { freeDisplacement(); }
    sHandWrittenStudy(sHandWrittenStudy const&) = delete;
    sHandWrittenStudy& operator=(sHandWrittenStudy const&) = delete;

    void run()
    {
        for (unsigned int f = 0; f < kFiles; ++f)
        {
            fileResults[f] = sFileResult{};
            for (unsigned int v = 0; v < kPoints; ++v)
            {
                vehicle(f, v);
                channelX();
                channelY();
                for (unsigned int s = 0; s < kPoints; ++s)
                    for (unsigned int u = 0; u < kPoints; ++u)
                    {
                        unit(s, u);
                        algorithm(f, (v * kPoints + s) * kPoints + u);
                    }
            }
        }
        benchmark::ClobberMemory();
    }

    void vehicle(unsigned int file, unsigned int point)
    {
        float const gain = kBodyGain.points[point];
        for (unsigned int c = 0; c < 2; ++c)
        {
            std::vector<float> const& samples = recordings[file].channels[c];
            vehicleInput[c].resize(samples.size() + 1);
            vehicleInput[c][0] = 0.0f;
            std::memcpy(vehicleInput[c].data() + 1, samples.data(), samples.size() * sizeof(float));
            map(vehicleInput[c], vehicleCurve[c], [gain](float x) { return gain * x; });
            copy(vehicleCurve[c], vehicleOutput[c]);
        }
    }

    // Sensitivity (1) and offset of ACU_X under its three offsets. The first point runs the chain on the
    // vehicle's signal and keeps it as the raw input; each later one re-enters at the offset on a copy
    // of the scaled curve that stayed in front of it.
    void channelX()
    {
        copy(vehicleOutput[0], workingX);
        for (unsigned int point = 0; point < kPoints; ++point)
        {
            if (point == 0)
            {
                copy(workingX, inputX);
                copy(workingX, rawX);
                map(inputX, scaledX, [](float x) { return 1.0f * x; });
            }
            else
            {
                copy(scaledX, workingX);
                copy(workingX, scaledX);
            }
            float const offset = kOffset.points[point];
            map(scaledX, outputX, [offset](float x) { return x + offset; });
            copy(outputX, resultsX[point]);
        }
    }

    // Range (-50, 50) and offset (0) of ACU_Y: one result.
    void channelY()
    {
        copy(vehicleOutput[1], workingY);
        copy(workingY, inputY);
        copy(workingY, rawY);
        map(inputY, clippedY, [](float x) { return x < -kRangeY ? -kRangeY : (x > kRangeY ? kRangeY : x); });
        map(clippedY, outputY, [](float x) { return x + 0.0f; });
        copy(outputY, resultY);
    }

    void unit(unsigned int offsetPoint, unsigned int point)
    {
        float const gain = kAdcGain.points[point];
        std::vector<float> const* const chosen[2] = {&resultsX[offsetPoint], &resultY};
        for (unsigned int c = 0; c < 2; ++c)
        {
            copy(*chosen[c], unitInput[c]);
            map(unitInput[c], unitCurve[c], [gain](float x) { return gain * x; });
            copy(unitCurve[c], unitOutput[c]);
        }
    }

    // The stage's filling and displacement, then the threshold algorithm's steps over the whole
    // recording: the sample of ACU_X as the criterion "Acceleration" (not kept as a curve: its last
    // value, the start of its curve worked out at every step) and "Fire" at the first step where the
    // deceleration reaches the threshold, with the displacement at that step.
    void algorithm(unsigned int file, unsigned int combination)
    {
        unsigned int const count =
            static_cast<unsigned int>(std::max(unitOutput[0].size(), unitOutput[1].size())) - 1;
        for (unsigned int c = 0; c < 2; ++c)
        {
            samples[c].resize(count);
            defects[c].assign(count, 0u);
            float const* const in = unitOutput[c].data() + 1;
            for (unsigned int s = 0; s < count; ++s)
                samples[c][s] = truncated(in[s]);
        }
        freeDisplacement();
        displacement.reserve(count);
        displacement.add(new mpfClass(0.0));
        double velocity = 0.0, position = 0.0;
        for (unsigned int s = 1; s < count; ++s)
        {
            velocity += double(static_cast<int32_t>(samples[0][s]));
            position += velocity;
            displacement.add(new mpfClass(position));
        }

        float const rate = static_cast<float>(kRate);
        sFire& fire = fires[file * kCombinations + combination];
        fire.tick = -1;
        for (unsigned int step = 0; step < count; ++step)
        {
            float const sample = float(static_cast<int32_t>(samples[0][step]));
            accelerationT0 = roundHalfAway(float(step) / rate) * 1000000L;
            acceleration = sample;
            if (fire.tick == -1 && -sample >= kThreshold)
            {
                fire.tick = roundHalfAway(float(kPrecisionFrequency / rate * step));
                fire.displacement = displacement[step]->get();
            }
        }
        benchmark::DoNotOptimize(accelerationT0);
        benchmark::DoNotOptimize(acceleration);
        fire.lastDisplacement = displacement[count - 1]->get();
        fold(fileResults[file], fire);
    }

    // Minimum, nominal (the first iteration) and maximum of the time to fire over a file, with the
    // displacement at each: a no-fire never displaces a time, and the larger displacement of equal
    // times stays. Every iteration of this study fires, which the set-up checks.
    static void fold(sFileResult& r, sFire const& fire)
    {
        if (r.count++ == 0)
        {
            r.minimum = r.nominal = r.maximum = fire.tick;
            r.minimumDisplacement = r.nominalDisplacement = r.maximumDisplacement = fire.displacement;
            return;
        }
        if (fire.tick == r.minimum ? fire.displacement > r.minimumDisplacement : fire.tick < r.minimum)
            r.minimumDisplacement = fire.displacement;
        if (fire.tick == r.maximum ? fire.displacement > r.maximumDisplacement : fire.tick > r.maximum)
            r.maximumDisplacement = fire.displacement;
        r.minimum = std::min(r.minimum, fire.tick);
        r.maximum = std::max(r.maximum, fire.tick);
    }

    void freeDisplacement()
    {
        for (unsigned int s = 0; s < displacement.size(); ++s)
            delete displacement[s];
        displacement.freeMemory();
    }

    std::array<sRecording, kFiles> const& recordings;
    std::array<std::vector<float>, 2> vehicleInput, vehicleCurve, vehicleOutput;
    std::vector<float> workingX, rawX, inputX, scaledX, outputX;
    std::array<std::vector<float>, kPoints> resultsX;
    std::vector<float> workingY, rawY, inputY, clippedY, outputY, resultY;
    std::array<std::vector<float>, 2> unitInput, unitCurve, unitOutput;
    std::array<std::vector<unsigned int>, 2> samples, defects;
    cStorage<mpfClass*> displacement;
    long accelerationT0 = 0;
    float acceleration = 0.0f;
    std::array<sFire, kFiles * kCombinations> fires;
    std::array<sFileResult, kFiles> fileResults;
};

// ---- both, checked against each other --------------------------------------------------------------

std::array<sRecording, kFiles> makeRecordings()
{
    return {makeRecording("frontal_56.csh", "Frontal", 56, 3.0, 70.0, 28.0, 6.0, 17u),
            makeRecording("oblique_40.csh", "Oblique", 40, 5.0, 110.0, 19.0, 62.0, 29u)};
}

std::string mpfText(mpf_class const& value)
{
    return std::to_string(value.get_d());
}

// One combination of the study against the program's state after the same combination.
void checkCombination(sIterationResult const& theirs, sHandWrittenStudy const& byHand, unsigned int k)
{
    std::string const where = "file " + std::to_string(k / kCombinations) + " combination " +
                              std::to_string(k % kCombinations) + ": ";
    for (unsigned int c = 0; c < 2; ++c)
        if (theirs.unitOutputs[c].size() != kSamples + 1 || byHand.unitOutput[c].size() != kSamples + 1 ||
            std::memcmp(theirs.unitOutputs[c].data(), byHand.unitOutput[c].data(),
                        (kSamples + 1) * sizeof(float)) != 0)
            fail(where + "the unit's output of channel " + std::to_string(c) + " differs from the program's");
    sFire const& mine = byHand.fires[k];
    if (mine.tick == -1)
        fail(where + "no fire: the recordings should fire in every combination");
    if (theirs.fire.tick != mine.tick || theirs.fire.displacement != mine.displacement)
        fail(where + "the study fires at " + std::to_string(theirs.fire.tick) + " with " +
             mpfText(theirs.fire.displacement) + ", the program at " + std::to_string(mine.tick) + " with " +
             mpfText(mine.displacement));
    if (theirs.fire.lastDisplacement != mine.lastDisplacement)
        fail(where + "the last displacement of the study is " + mpfText(theirs.fire.lastDisplacement) +
             ", of the program " + mpfText(mine.lastDisplacement));
}

std::string fireText(sFileResult const& r)
{
    return std::to_string(r.count) + " iterations, " + std::to_string(r.minimum) + "/" +
           std::to_string(r.nominal) + "/" + std::to_string(r.maximum) + " at " +
           mpfText(r.minimumDisplacement) + "/" + mpfText(r.nominalDisplacement) + "/" +
           mpfText(r.maximumDisplacement);
}

// The study's first run and the program's, compared; aborts with the first difference. The study
// records its unit outputs and fires in that run only. The program keeps the unit's outputs of its
// last combination alone, so it walks the combinations once more, stopping at each to compare.
void checkAgreement(sStudy& study, sHandWrittenStudy& byHand,
                    std::array<sRecording, kFiles> const& recordings)
{
    study.algorithm->recording = true;
    study.run();
    study.algorithm->recording = false;
    byHand.run();
    if (myActiveComputationManager->getComputationsState() != computationsFinished)
        fail("the study did not finish");
    std::vector<sIterationResult> const& seen = study.algorithm->results;
    if (seen.size() != kFiles * kCombinations)
        fail("the study ran " + std::to_string(seen.size()) + " algorithm iterations, not 54");
    for (unsigned int f = 0; f < kFiles; ++f)
        for (unsigned int v = 0; v < kPoints; ++v)
        {
            byHand.vehicle(f, v);
            byHand.channelX();
            byHand.channelY();
            for (unsigned int o = 0; o < kPoints; ++o)
                for (unsigned int u = 0; u < kPoints; ++u)
                {
                    unsigned int const k = f * kCombinations + (v * kPoints + o) * kPoints + u;
                    byHand.unit(o, u);
                    checkCombination(seen[k], byHand, k);
                }
        }

    std::array<sFileResult, kFiles> const results = study.fileResults();
    for (unsigned int f = 0; f < kFiles; ++f)
    {
        sFileResult const& a = results[f];
        sFileResult const& b = byHand.fileResults[f];
        if (a.count != b.count || a.minimum != b.minimum || a.nominal != b.nominal ||
            a.maximum != b.maximum || a.minimumDisplacement != b.minimumDisplacement ||
            a.nominalDisplacement != b.nominalDisplacement || a.maximumDisplacement != b.maximumDisplacement)
            fail("file " + std::to_string(f) + ": Fire of the study " + fireText(a) + ", of the program " +
                 fireText(b));
        if (a.minimum == a.maximum)
            fail("file " + std::to_string(f) +
                 ": every combination fires at the same step; the drifts do nothing");
    }
    bool clipped = false;
    for (float y : recordings[1].channels[1])
        clipped = clipped || y > kRangeY;
    if (!clipped)
        fail("the oblique recording stays within the range of ACU_Y");
    study.algorithm->results.clear();
}

// The study and the program in turn, each first every other time, so that they see the same machine
// from moment to moment. study_ms and hand_ms are one whole study each, in wall time; ratio is the
// first over the second. In simulation mode cpu_ratio is the same ratio in processor time, the study's
// on the manager's thread from 2529 to 2530 and the program's on the bench's thread, which a busy
// machine disturbs less; with real threads the study's work is spread over the stages' threads, and
// cpu_ratio is not given.
void runAgainstHandWritten(benchmark::State& state, bool simulation)
{
    std::array<sRecording, kFiles> const recordings = makeRecordings();
    sStudy study(simulation, recordings);
    sHandWrittenStudy byHand(recordings);
    checkAgreement(study, byHand, recordings);
    std::array<tClock::duration, 2> times{};
    double const studyCpuBefore = study.host.cpuMilliseconds();
    double handCpu = 0.0;
    unsigned int first = 0;
    for (auto _ : state)
    {
        for (unsigned int i = 0; i < 2; ++i)
        {
            if ((first + i) % 2 == 0)
            {
                times[0] += study.run();
            }
            else
            {
                double const cpu = threadCpuMilliseconds();
                tClock::time_point const start = tClock::now();
                byHand.run();
                times[1] += tClock::now() - start;
                handCpu += threadCpuMilliseconds() - cpu;
            }
        }
        first ^= 1u;
    }
    double const runs = static_cast<double>(state.iterations());
    double const studyMs = milliseconds(times[0]) / runs;
    double const handMs = milliseconds(times[1]) / runs;
    state.counters["study_ms"] = studyMs;
    state.counters["hand_ms"] = handMs;
    state.counters["ratio"] = handMs > 0.0 ? studyMs / handMs : 0.0;
    if (simulation)
        state.counters["cpu_ratio"] =
            handCpu > 0.0 ? (study.host.cpuMilliseconds() - studyCpuBefore) / handCpu : 0.0;
}

void BM_StudyAgainstHandWrittenProgram(benchmark::State& state)
{
    runAgainstHandWritten(state, true);
}
BENCHMARK(BM_StudyAgainstHandWrittenProgram)->Unit(benchmark::kMillisecond)->MinTime(2.0);

void BM_StudyWithRealThreads(benchmark::State& state)
{
    runAgainstHandWritten(state, false);
}
BENCHMARK(BM_StudyWithRealThreads)->Unit(benchmark::kMillisecond)->MinTime(2.0);
} // namespace

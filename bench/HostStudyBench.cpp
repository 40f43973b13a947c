// The reference host's sample study (examples/frontal) against a program written by hand that does
// the same arithmetic on plain arrays. The study is opened as `simcore run` opens it (cStudy with the
// reference frontal algorithm and calibration: the project, the modules, the calibration values, the
// file list with its 8 recordings, the tolerances, the test with the algorithm file's view), and timed
// from the start of its test to its end with everything loaded: 8 crash files of 2000 samples at
// 10 kHz, 27 drift combinations each (Sensitivity ACU_X 1, 0.95, 1.05 x Offset ACU_X 0, -0.5, 0.5 g x
// Stage 1 Base Threshold 114, 104, 124 counts of 0.01 km/h).
//
// The program loads the same recordings once into float arrays and, per file, does what the stages
// do: the vehicle's pass-through gain on both axes; per channel the sensitivity, the offset and the
// 3-pole Bessel low pass (its terms discretised once, as the pole filter does, the recursion written
// out here), ACU_X under its 9 sensor combinations, re-entering at the sensitivity or at the offset as
// the channel does, ACU_Y once; per sensor combination the unit's resampling to 4 kHz and its 12-bit
// quantization of both axes; per calibration point the algorithm stage's integer sample arrays, its
// zero defect arrays and its displacement (one new GMP number per step), then the frontal algorithm's
// steps with its four criteria as curves (the algorithm file's view shows them, so the stage keeps
// them) and its three time events with the displacement at each fire. It also makes the copies each
// stage makes of a signal, and folds the nominal, minimum and maximum time and the no-fire count of
// each event per file. What the study does beyond that is its own: the messages between the stages,
// the drift bookkeeping, the calibration read through GMP at each iteration, the envelopes of the
// view's graphs, the time events' histograms.
//
// Set-up: a first study with an algorithm that records what it saw runs once beside the program and
// must agree with it bit for bit in every file and combination: both axes as the unit resampled them
// and as its ADC gave them, the four criteria curves, the three time events, the displacement at each
// fire and at the last step, the stage 1 threshold in use. Then the study that is timed, with the
// host's own algorithm, must give the program's time of each event in every iteration and its nominal,
// minimum, maximum and no-fire count per file, before the timed runs and again after them. Any
// difference aborts, saying what differs.
//
// Counters: ratio is the study's wall time over the program's, cpu_ratio the same in processor time
// of the process (the study runs on the manager's thread in simulation mode; the program on the
// bench's thread), which a busy machine disturbs less. The target is a ratio of at most 2.
// study_ms/hand_ms are one whole study in wall time; the per-file and per-step figures are processor
// times: *_ms_per_file over the 8 crash files, *_ns_per_step over the algorithm's steps (27 x the 800
// samples of each file at 4 kHz, summed over the files).
//
// What to expect: a ratio near 1.7, about 4.4 ms per file (200 ns per step) for the study against
// 2.6 ms (120 ns) for the program. About half of either side is the GMP numbers of the displacement,
// made and freed. The study adds the envelopes of the view's graphs (some 12 % of its time; without the
// view the ratio falls to about 1.4), the largest displacement that stands in for each fire event that
// did not fire (a walk over the 800 GMP numbers, some 4 %), the virtual phases and the criteria's
// appends at each step, and per iteration its messages, drift bookkeeping and GMP reads of the
// calibration.
#include "Host/cFrontalAlgorithm.h"
#include "Host/cReferenceCalibration.h"
#include "Host/cStudy.h"
#include "Host/cTerminalWindow.h"

#include "SimCore/cCalibration.h"
#include "SimCore/cChannel.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cDriftParameter.h"
#include "SimCore/cFilter.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cUnit.h"
#include "StoreKit/cBinaryInputFile.h"
#include "StoreKit/cChannelInput.h"
#include "StoreKit/cInputFile.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <time.h>
#include <utility>
#include <vector>

namespace
{
using tClock = std::chrono::steady_clock;

constexpr unsigned int kChannels = 2; // ACU_X, ACU_Y
constexpr char const* kChannelNames[kChannels] = {"ACU_X", "ACU_Y"};
constexpr unsigned int kPoints = 3;
constexpr unsigned int kSensorCombinations = kPoints * kPoints;
constexpr unsigned int kCombinations = kSensorCombinations * kPoints;
constexpr unsigned int kEvents = 3;
constexpr char const* kEventNames[kEvents] = {cFrontalAlgorithm::kWakeUp, cFrontalAlgorithm::kFireStage1,
                                              cFrontalAlgorithm::kFireStage2};
// Only the fire events compute the displacement at their instant (frontal.cfg).
constexpr bool kEventDisplacement[kEvents] = {false, true, true};
constexpr unsigned int kCriteria = 4;
constexpr char const* kCriterionNames[kCriteria] = {
    cFrontalAlgorithm::kFilteredDeceleration, cFrontalAlgorithm::kVelocityChange,
    cFrontalAlgorithm::kWindowedVelocityChange, cFrontalAlgorithm::kStage1Threshold};

// The drift points in sweep order (nominal, then down, then up) as tolerances.cfg gives them.
constexpr char const* kSensitivityPoints[kPoints] = {"1", "0.95", "1.05"};
constexpr char const* kOffsetPoints[kPoints] = {"0", "-0.5", "0.5"};
constexpr char const* kThresholdCounts[kPoints] = {"114", "104", "124"};

[[noreturn]] void fail(std::string const& what)
{
    std::fprintf(stderr, "HostStudyBench: %s\n", what.c_str());
    std::abort();
}

double milliseconds(tClock::duration d)
{
    return std::chrono::duration<double, std::milli>(d).count();
}

// The processor time of the whole process: the study's work wherever its threads run it, without the
// time the bench's thread spends waiting for it, and without the time the machine gave to others.
double processCpuMilliseconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// A number of the project's files as the library reads it: GMP at its default precision. The
// preprocessors and the algorithm then compute with its double.
mpf_class number(char const* text)
{
    return mpf_class(text);
}

long roundHalfAway(double value)
{
    return static_cast<long>(value >= 0.0 ? value + 0.5 : value - 0.5);
}

std::string examples()
{
    return std::string(SIMCORE_EXAMPLES_DIR) + "frontal/";
}

// ---- what both sides give -------------------------------------------------------------------------

// One algorithm iteration: each event's time in ticks (-1: none) and, for the fire events, the
// displacement at that instant.
struct sIterationResult
{
    std::array<long, kEvents> ticks{-1, -1, -1};
    std::array<mpf_class, kEvents> displacement;
};

// One event of one crash file over its iterations, as the report rows read it.
struct sEventSummary
{
    unsigned int iterations = 0;
    long nominal = -1, minimum = -1, maximum = -1;
    unsigned int noFire = 0;

    // The nominal is iteration 0; a no-fire never displaces a time and a time always displaces a
    // no-fire.
    void fold(long ticks)
    {
        if (iterations++ == 0)
            nominal = minimum = maximum = ticks;
        else
        {
            if ((ticks != -1 && ticks < minimum) || minimum == -1)
                minimum = ticks;
            maximum = std::max(maximum, ticks);
        }
        noFire += ticks == -1 ? 1u : 0u;
    }
    bool operator==(sEventSummary const&) const = default;
    std::string text() const
    {
        return std::to_string(iterations) + " iterations, nominal/min/max " + std::to_string(nominal) + "/" +
               std::to_string(minimum) + "/" + std::to_string(maximum) + " ticks, " + std::to_string(noFire) +
               " without fire";
    }
};

// ---- the recordings and the calibration as the program reads them ----------------------------------

struct sRecording
{
    std::string name; // as the file list writes it
    float rate = 0.0f;
    std::array<std::vector<float>, kChannels> channels;
};

sRecording loadRecording(std::string const& directory, std::string const& name)
{
    std::unique_ptr<cInputFile> const file(makeAcquisitionFile(
        (directory + name).c_str(), cBinaryInputFile::kModeInput | cBinaryInputFile::kModeBinary, nullptr));
    sRecording recording;
    recording.name = name;
    for (unsigned int c = 0; c < kChannels; ++c)
    {
        cChannelInput const* const channel = file->findChannelInput(kChannelNames[c]);
        if (channel == nullptr)
            fail(name + " has no channel " + kChannelNames[c]);
        recording.channels[c] = channel->getSamples();
        recording.rate = static_cast<float>(channel->getSamplingRateInHz());
    }
    return recording;
}

// frontal.cal's raw values with calibration.cfg's conversion factors, converted as the calibration
// converts them (raw x factor in GMP, the factor a double) and read as doubles, as the algorithm reads
// them; the stage 1 base threshold at each point of its drift.
struct sFrontalCalibration
{
    sFrontalSettings nominal;
    std::array<double, kPoints> thresholds{};

    // A conversion factor is an equation; a constant one folds into a double.
    static double converted(char const* raw, char const* factor)
    {
        return mpf_class(number(raw) * mpf_class(number(factor).get_d())).get_d();
    }
    sFrontalCalibration()
    {
        nominal.resolution = converted("50", "0.001");
        nominal.filterTime = converted("20", "0.1");
        nominal.wakeUpThreshold = converted("200", "0.01");
        nominal.leakDeceleration = converted("25", "0.01");
        nominal.stage1Window = converted("60", "0.1");
        nominal.stage1Threshold = converted(kThresholdCounts[0], "0.01");
        nominal.stage1ThresholdSlope = converted("20", "0.01");
        nominal.safingDeceleration = converted("300", "0.01");
        nominal.safingTime = converted("30", "0.1");
        nominal.stage2Threshold = converted("400", "0.01");
        nominal.stage2Window = converted("300", "0.1");
        for (unsigned int i = 0; i < kPoints; ++i)
            thresholds[i] = converted(kThresholdCounts[i], "0.01");
    }
};

// The terms of a pole filter at one sampling rate, discretised as the pole filter does it (bilinear
// transform prewarped at each pole's own frequency), in the same complex double arithmetic: the
// coefficients come out bit for bit the filter's.
struct sPoleTerms
{
    double direct = 0.0, gain = 1.0;
    std::vector<double> realFeedback, realInput;
    std::vector<double> pairFeedback, pairInput; // re, im per pair

    sPoleTerms(std::string const& file, double rate)
    {
        cKynPoleFilter<cPoleFilter> const filter("Anti-aliasing", file);
        direct = filter.m_directTransfer.get_d();
        gain = filter.m_gain.get_d();
        double const period = 1.0 / rate;
        auto const term = [period](std::complex<double> p, std::complex<double> r)
        {
            double const w0 = std::abs(p);
            double const k = w0 == 0.0 ? 2.0 / period : w0 / std::tan(w0 * period / 2.0);
            return std::make_pair((k + p) / (k - p), r / (k - p));
        };
        for (auto const& [pole, residue] : filter.getRealPoles())
        {
            auto const [feedback, input] =
                term(std::complex<double>(pole, 0.0), std::complex<double>(residue, 0.0));
            realFeedback.push_back(feedback.real());
            realInput.push_back(input.real());
        }
        for (auto const& [pole, residue] : filter.getComplexPoles())
        {
            auto const [feedback, input] = term(pole, residue);
            pairFeedback.insert(pairFeedback.end(), {feedback.real(), feedback.imag()});
            pairInput.insert(pairInput.end(), {input.real(), input.imag()});
        }
        if (realFeedback.size() != 1 || pairFeedback.size() != 2)
            fail("the Bessel filter should have one real pole and one complex pair");
    }
};

// ---- plain array helpers ------------------------------------------------------------------------------

// to := from, element for element (a stage's copy of a signal into storage it keeps).
void copy(std::vector<float> const& from, std::vector<float>& to)
{
    to.resize(from.size());
    std::memcpy(to.data(), from.data(), from.size() * sizeof(float));
}

// A sample-by-sample preprocessor: element 0 (the dummy at T0) stays 0.
template <class F> void map(std::vector<float> const& in, std::vector<float>& out, F f)
{
    out.resize(in.size());
    out[0] = 0.0f;
    for (std::size_t i = 1; i < in.size(); ++i)
        out[i] = f(in[i]);
}

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

// ---- the same study written by hand --------------------------------------------------------------------

// One sensor channel's buffers: the copy of the vehicle's output it works on, the raw input kept for
// a re-entry at the sensitivity, the curves between its preprocessors, and one result per sensor
// combination.
struct sChannel
{
    std::vector<float> working, raw, input, scaled, offset, output;
    std::array<std::vector<float>, kSensorCombinations> results;
};

class cHandWrittenStudy
{
public:
    cHandWrittenStudy(std::vector<sRecording> recordings, sFrontalCalibration const& calibration)
        : m_recordings(std::move(recordings)), m_calibration(calibration),
          m_pole(examples() + "bessel-400hz.flt", double(m_recordings.at(0).rate))
    {
        for (sRecording const& recording : m_recordings)
            if (recording.rate != m_recordings[0].rate)
                fail("the recordings should share one sampling rate: the filter's terms are made for one");
        for (unsigned int i = 0; i < kPoints; ++i)
        {
            m_sensitivity[i] = static_cast<float>(number(kSensitivityPoints[i]).get_d());
            m_offset[i] = static_cast<float>(number(kOffsetPoints[i]).get_d());
        }
        // The stage's rate is the unit's output rate, a float; the algorithm computes in double.
        double const rate = double(m_unitRate);
        sFrontalSettings const& s = m_calibration.nominal;
        m_filterLength = durationSteps(s.filterTime, rate);
        m_windowLength = durationSteps(s.stage1Window, rate);
        m_safingLength = durationSteps(s.safingTime, rate);
        m_stage2Length = durationSteps(s.stage2Window, rate);
        m_kmhPerGStep = 9.80665 * 3.6 / rate;
        m_results.resize(m_recordings.size() * kCombinations);
        m_summaries.resize(m_recordings.size());
    }
    ~cHandWrittenStudy() { freeDisplacement(); }
    cHandWrittenStudy(cHandWrittenStudy const&) = delete;
    cHandWrittenStudy& operator=(cHandWrittenStudy const&) = delete;

    void run()
    {
        walk([](unsigned int, unsigned int) {});
        benchmark::ClobberMemory();
    }

    // The whole study, calling seen(file, combination) after each algorithm iteration.
    template <class F> void walk(F seen)
    {
        for (unsigned int f = 0; f < m_recordings.size(); ++f)
        {
            m_summaries[f] = {};
            vehicle(f);
            channelX();
            channel(m_y, m_vehicleOutput[1], m_sensitivityY, m_offsetY, 0);
            for (unsigned int s = 0; s < kSensorCombinations; ++s)
            {
                unit(s);
                for (unsigned int t = 0; t < kPoints; ++t)
                {
                    algorithm(f, s * kPoints + t, t);
                    seen(f, s * kPoints + t);
                }
            }
        }
    }

    std::size_t files() const { return m_recordings.size(); }
    std::string const& fileName(unsigned int f) const { return m_recordings[f].name; }
    // Steps of the algorithm over a whole study.
    double algorithmSteps() const
    {
        double total = 0.0;
        for (sRecording const& r : m_recordings)
            total += double(resampledCount(unsigned(r.channels[0].size()), double(r.rate))) * kCombinations;
        return total;
    }
    sIterationResult const& result(unsigned int file, unsigned int combination) const
    {
        return m_results[file * kCombinations + combination];
    }
    sEventSummary const& summary(unsigned int file, unsigned int event) const
    {
        return m_summaries[file][event];
    }
    // The state after the last algorithm iteration.
    std::vector<float> const& unitSampled(unsigned int c) const { return m_unitSampled[c]; }
    std::vector<float> const& unitOutput(unsigned int c) const { return m_unitOutput[c]; }
    std::vector<float> const& curve(unsigned int c) const { return m_curves[c]; }
    mpf_class const& lastDisplacement() const { return m_displacement[m_displacement.size() - 1]->get(); }
    double threshold(unsigned int point) const { return m_calibration.thresholds[point]; }

private:
    // A duration in whole steps at rate: 0 for 0 ms, otherwise at least 1 (half away from zero).
    static unsigned int durationSteps(double ms, double rate)
    {
        if (!(ms > 0.0) || !(rate > 0.0))
            return 0;
        double const exact = ms * rate / 1000.0;
        return exact >= double(UINT_MAX) ? UINT_MAX : std::max(1u, static_cast<unsigned int>(exact + 0.5));
    }

    // The number of samples resampled from `samples` at inputRate: from T0 up to the last input
    // sample's time, with a small tolerance for an output sample that falls on it.
    unsigned int resampledCount(unsigned int samples, double inputRate) const
    {
        double const span = (samples - 1) * m_resampleRate / inputRate;
        return static_cast<unsigned int>(std::floor(span + span * 1e-12 + 1e-9)) + 1;
    }

    // The vehicle: the recording behind a leading 0 as its input curve, the mounting gain into its
    // output curve, copied into the output it hands on.
    void vehicle(unsigned int file)
    {
        m_rate = m_recordings[file].rate;
        for (unsigned int c = 0; c < kChannels; ++c)
        {
            std::vector<float> const& samples = m_recordings[file].channels[c];
            m_vehicleInput[c].resize(samples.size() + 1);
            m_vehicleInput[c][0] = 0.0f;
            std::memcpy(m_vehicleInput[c].data() + 1, samples.data(), samples.size() * sizeof(float));
            float const gain = m_vehicleGain;
            map(m_vehicleInput[c], m_vehicleCurve[c], [gain](float x) { return gain * x; });
            copy(m_vehicleCurve[c], m_vehicleOutput[c]);
        }
    }

    // ACU_X under its 9 sensor combinations, the offset moving fastest. The first runs the chain on
    // the vehicle's signal and keeps it as the raw input; a new sensitivity re-enters at the
    // sensitivity from the raw input, a new offset at the offset from the scaled curve that stayed in
    // front of it.
    void channelX()
    {
        copy(m_vehicleOutput[0], m_x.working);
        for (unsigned int s = 0; s < kPoints; ++s)
            for (unsigned int o = 0; o < kPoints; ++o)
            {
                unsigned int const k = s * kPoints + o;
                if (k == 0)
                    copy(m_x.working, m_x.raw);
                else if (o == 0)
                    copy(m_x.raw, m_x.working);
                else
                    copy(m_x.scaled, m_x.working);
                if (o == 0)
                {
                    copy(m_x.working, m_x.input);
                    float const gain = m_sensitivity[s];
                    map(m_x.input, m_x.scaled, [gain](float x) { return gain * x; });
                }
                else
                    copy(m_x.working, m_x.scaled);
                chainFromOffset(m_x, m_offset[o], k);
            }
    }

    // A channel without drifts: one result.
    void channel(sChannel& ch, std::vector<float> const& vehicleOutput, float gain, float offset,
                 unsigned int k)
    {
        copy(vehicleOutput, ch.working);
        copy(ch.working, ch.raw);
        copy(ch.working, ch.input);
        map(ch.input, ch.scaled, [gain](float x) { return gain * x; });
        chainFromOffset(ch, offset, k);
    }

    void chainFromOffset(sChannel& ch, float offset, unsigned int k)
    {
        map(ch.scaled, ch.offset, [offset](float x) { return x + offset; });
        poleFilter(ch.offset, ch.output);
        copy(ch.output, ch.results[k]);
    }

    // The Bessel low pass from rest: the real term in real arithmetic, the complex pair written out,
    // each term fed with the sum of the present and the previous input; the pair counts twice its
    // real part.
    void poleFilter(std::vector<float> const& in, std::vector<float>& out) const
    {
        out.resize(in.size());
        out[0] = 0.0f;
        double const rf = m_pole.realFeedback[0], ri = m_pole.realInput[0];
        double const ar = m_pole.pairFeedback[0], ai = m_pole.pairFeedback[1];
        double const br = m_pole.pairInput[0], bi = m_pole.pairInput[1];
        double const direct = m_pole.direct, gain = m_pole.gain;
        double real = 0.0, wr = 0.0, wi = 0.0, previous = 0.0;
        for (std::size_t n = 1; n < in.size(); ++n)
        {
            double const input = in[n];
            double const both = input + previous;
            double sum = 0.0;
            real = rf * real + ri * both;
            sum += real;
            double const re = (ar * wr - ai * wi) + br * both;
            double const im = (ar * wi + ai * wr) + bi * both;
            wr = re;
            wi = im;
            sum += 2.0 * re;
            out[n] = static_cast<float>(direct * input + gain * sum);
            previous = input;
        }
    }

    // The unit: both axes' chosen results into its input curves, resampled to 4 kHz by linear
    // interpolation, quantized to counts of the LSB (half away from zero, 12 bits), copied into the
    // outputs the algorithm reads.
    void unit(unsigned int sensorCombination)
    {
        std::vector<float> const* const chosen[kChannels] = {&m_x.results[sensorCombination],
                                                             &m_y.results[0]};
        for (unsigned int c = 0; c < kChannels; ++c)
        {
            copy(*chosen[c], m_unitInput[c]);
            resample(m_unitInput[c], m_unitSampled[c], double(m_rate));
            double const lsb = m_lsb, lowest = m_lowest, highest = m_highest;
            map(m_unitSampled[c], m_unitCurve[c],
                [lsb, lowest, highest](float x)
                {
                    double const counts = std::round(static_cast<double>(x) / lsb);
                    return static_cast<float>(counts < lowest ? lowest
                                                              : (counts > highest ? highest : counts));
                });
            copy(m_unitCurve[c], m_unitOutput[c]);
        }
    }

    void resample(std::vector<float> const& in, std::vector<float>& out, double inputRate) const
    {
        unsigned int const samples = unsigned(in.size()) - 1;
        unsigned int const count = resampledCount(samples, inputRate);
        out.resize(count + 1);
        out[0] = 0.0f;
        float const* const x = in.data() + 1;
        double const rate = m_resampleRate;
        for (unsigned int j = 0; j < count; ++j)
        {
            double const position = j * inputRate / rate;
            unsigned int const k = static_cast<unsigned int>(position);
            if (k >= samples - 1)
            {
                out[j + 1] = x[samples - 1];
                continue;
            }
            double const fraction = position - k;
            out[j + 1] = static_cast<float>(x[k] + fraction * (static_cast<double>(x[k + 1]) - x[k]));
        }
    }

    // The algorithm stage's data of an iteration (the integer arrays of both axes, their defect
    // arrays, the displacement of -ACU_X integrated twice, one GMP number per step), then the frontal
    // algorithm's steps at the calibration point.
    void algorithm(unsigned int file, unsigned int combination, unsigned int thresholdPoint)
    {
        unsigned int const count =
            static_cast<unsigned int>(std::max(m_unitOutput[0].size(), m_unitOutput[1].size())) - 1;
        for (unsigned int c = 0; c < kChannels; ++c)
        {
            m_samples[c].resize(count);
            m_defects[c].assign(count, 0u);
            float const* const in = m_unitOutput[c].data() + 1;
            for (unsigned int s = 0; s < count; ++s)
                m_samples[c][s] = truncated(in[s]);
        }
        freeDisplacement();
        m_displacement.reserve(count);
        m_displacement.add(new mpfClass(0.0));
        double velocity = 0.0, position = 0.0;
        for (unsigned int s = 1; s < count; ++s)
        {
            int32_t const counts = static_cast<int32_t>(m_samples[0][s]);
            velocity += double(counts == INT32_MIN ? INT32_MAX : -counts);
            position += velocity;
            m_displacement.add(new mpfClass(position));
        }
        sIterationResult& result = m_results[file * kCombinations + combination];
        frontal(count, m_calibration.thresholds[thresholdPoint], result);
        for (unsigned int e = 0; e < kEvents; ++e)
            m_summaries[file][e].fold(result.ticks[e]);
    }

    // The frontal algorithm over one iteration (docs/reference-algorithm.md's equations): moving sums
    // of whole counts, the leaking velocity change since wake-up, safing, the two stages.
    void frontal(unsigned int count, double stage1Threshold, sIterationResult& result)
    {
        sFrontalSettings const& s = m_calibration.nominal;
        unsigned int const* const x = m_samples[0].data();
        unsigned int const nf = m_filterLength, nw = m_windowLength;
        double const r = s.resolution, kmh = m_kmhPerGStep;
        for (std::vector<float>& curve : m_curves)
        {
            curve.resize(count + 1);
            curve[0] = 0.0f;
        }
        result.ticks = {-1, -1, -1};
        int64_t filterSum = 0, windowSum = 0;
        double velocity = 0.0;
        bool awake = false, stage1 = false, stage2 = false;
        unsigned int safingSteps = 0, stage1Step = 0;
        auto const event = [&](unsigned int e, unsigned int step)
        {
            if (result.ticks[e] != -1)
                return;
            double const f = m_precisionFrequency;
            float const ticks = float(f / m_unitRate * step);
            result.ticks[e] = roundHalfAway(m_t0 * (f / 1000000.0) + ticks + (f / 1000.0) * 0.0);
            if (kEventDisplacement[e])
                result.displacement[e] = m_displacement[step]->get();
        };
        for (unsigned int n = 0; n < count; ++n)
        {
            int64_t const counts = static_cast<int32_t>(x[n]);
            if (nf > 0)
                filterSum += counts - (n >= nf ? static_cast<int32_t>(x[n - nf]) : 0);
            if (nw > 0)
                windowSum += counts - (n >= nw ? static_cast<int32_t>(x[n - nw]) : 0);
            double const deceleration = -double(counts) * r;
            double const filtered = nf > 0 ? -double(filterSum) * r / nf : 0.0;
            double const windowed = -double(windowSum) * r * kmh;

            if (!awake && nf > 0 && filtered >= s.wakeUpThreshold)
            {
                awake = true;
                velocity = 0.0;
                event(0, n);
            }
            if (awake)
                velocity = std::max(0.0, velocity + (deceleration - s.leakDeceleration) * kmh);
            safingSteps = filtered >= s.safingDeceleration ? std::min(safingSteps + 1, UINT_MAX - 1) : 0;
            double const threshold = stage1Threshold + s.stage1ThresholdSlope * velocity;
            m_curves[0][n + 1] = float(filtered);
            m_curves[1][n + 1] = float(velocity);
            m_curves[2][n + 1] = float(windowed);
            m_curves[3][n + 1] = float(threshold);

            if (awake && !stage1 && nw > 0 && windowed >= threshold && safingSteps > m_safingLength)
            {
                stage1 = true;
                stage1Step = n;
                event(1, n);
            }
            if (stage1 && !stage2 && n - stage1Step < m_stage2Length && windowed >= s.stage2Threshold)
            {
                stage2 = true;
                event(2, n);
            }
            if (awake && velocity <= 0.0 && filtered < s.wakeUpThreshold)
                awake = false;
        }
    }

    void freeDisplacement()
    {
        for (unsigned int s = 0; s < m_displacement.size(); ++s)
            delete m_displacement[s];
        m_displacement.freeMemory();
    }

    std::vector<sRecording> const m_recordings;
    sFrontalCalibration const m_calibration;
    sPoleTerms const m_pole;
    // The modules' numbers: the vehicle's mounting gain, the channels' drift points and ACU_Y's
    // nominal sensitivity and offset, the unit's rate and ADC, the algorithm file's tick rate.
    float m_vehicleGain = static_cast<float>(number("1").get_d());
    std::array<float, kPoints> m_sensitivity{}, m_offset{};
    float m_sensitivityY = static_cast<float>(number("1").get_d());
    float m_offsetY = static_cast<float>(number("0").get_d());
    double m_resampleRate = number("4000").get_d();
    float m_unitRate = static_cast<float>(number("4000").get_d());
    double m_lsb = number("0.05").get_d();
    double m_lowest = -std::ldexp(1.0, 12 - 1), m_highest = std::ldexp(1.0, 12 - 1) - 1.0;
    double m_precisionFrequency = 20000.0;
    // The recordings start at crash time zero, and every stage keeps that T0 (in microseconds).
    int32_t m_t0 = 0;
    unsigned int m_filterLength = 0, m_windowLength = 0, m_safingLength = 0, m_stage2Length = 0;
    double m_kmhPerGStep = 0.0;

    float m_rate = 0.0f; // of the current recording, which every signal before the unit keeps
    std::array<std::vector<float>, kChannels> m_vehicleInput, m_vehicleCurve, m_vehicleOutput;
    sChannel m_x, m_y;
    std::array<std::vector<float>, kChannels> m_unitInput, m_unitSampled, m_unitCurve, m_unitOutput;
    std::array<std::vector<unsigned int>, kChannels> m_samples, m_defects;
    cStorage<mpfClass*> m_displacement;
    std::array<std::vector<float>, kCriteria> m_curves;
    std::vector<sIterationResult> m_results;
    std::vector<std::array<sEventSummary, kEvents>> m_summaries;
};

// ---- the study ----------------------------------------------------------------------------------------

// What the checking study's algorithm saw in one iteration.
struct sSeenIteration
{
    std::array<std::vector<float>, kChannels> unitSampled, unitOutputs;
    double stage1Threshold = 0.0;
    sIterationResult result;
    std::array<bool, kCriteria> kept{};
    std::array<std::vector<float>, kCriteria> curves;
    mpf_class lastDisplacement;
};

// The reference algorithm, recording what it reads and gives in every iteration; for the set-up's
// check only, never timed.
class cRecordingFrontalAlgorithm : public cFrontalAlgorithm
{
public:
    using cFrontalAlgorithm::cFrontalAlgorithm;
    ~cRecordingFrontalAlgorithm() override { stop(true); }

    std::vector<sSeenIteration> seen;

protected:
    void initialiseForFirstIteration() override
    {
        cFrontalAlgorithm::initialiseForFirstIteration();
        sSeenIteration& it = seen.emplace_back();
        for (unsigned int c = 0; c < kChannels; ++c)
        {
            cSignalStorage<float> const* const signal =
                getInputData(myActivePreprocessing->findChannel(kChannelNames[c]));
            it.unitOutputs[c].assign(signal->data(), signal->data() + signal->size());
            // The resampled curve before the ADC: the quantization would hide a small difference
            // in the filter or the interpolation.
            std::string const sampled = std::string(kChannelNames[c]) + " Sampled";
            cSignalStorage<float> const& curve = myActiveUnit->cCriterionMgr::getParameter(sampled)
                                                     ->getActiveCriterionValuesForOneFile()
                                                     ->getIterationValueList();
            it.unitSampled[c].assign(curve.data(), curve.data() + curve.size());
        }
        it.stage1Threshold = getSettings().stage1Threshold;
    }
    void endOfIteration() override
    {
        sSeenIteration& it = seen.back();
        for (unsigned int e = 0; e < kEvents; ++e)
        {
            cTimeEventValuesForOneFile const* const values =
                cTimeEventMgr::getParameter(kEventNames[e])->getActiveTimeEventValuesForOneFile();
            it.result.ticks[e] = values->getIterationValue();
            it.result.displacement[e] = values->getComputedDisplacement();
        }
        for (unsigned int c = 0; c < kCriteria; ++c)
        {
            cCriterionValuesForOneFile const* const values =
                cCriterionMgr::getParameter(kCriterionNames[c])->getActiveCriterionValuesForOneFile();
            it.kept[c] = values->isUsed();
            cSignalStorage<float> const& curve = values->getIterationValueList();
            it.curves[c].assign(curve.data(), curve.data() + curve.size());
        }
        cStorage<mpfClass*> const& displacement = getDisplacementList();
        if (displacement.size() != 0)
            it.lastDisplacement = displacement[displacement.size() - 1]->get();
        cFrontalAlgorithm::endOfIteration();
    }
};

// The sample study opened as the simcore command opens it, with the reference calibration and either
// the reference algorithm or the recording one; run() is one whole test, from its start to the end of
// every stage's work.
class cSampleStudy
{
public:
    explicit cSampleStudy(bool recording)
    {
        sStudyOptions options;
        options.project = examples() + "frontal.prt";
        cStudy::tAlgorithmFactory algorithm;
        if (recording)
            algorithm = [this](std::string const& file)
            { return m_recording = new cRecordingFrontalAlgorithm(file); };
        else
            algorithm = [](std::string const& file) { return new cFrontalAlgorithm(file); };
        m_study = std::make_unique<cStudy>(
            options, algorithm, [](std::string const& file) { return new cReferenceCalibration(file); });
        m_study->open();
        for (auto const& [file, position] : m_study->getSelectedFiles())
            m_files.push_back(file);
        if (m_study->getIterationsPerFile() != kCombinations)
            fail("the sample study has " + std::to_string(m_study->getIterationsPerFile()) +
                 " iterations per file, not 27");
    }
    cSampleStudy(cSampleStudy const&) = delete;
    cSampleStudy& operator=(cSampleStudy const&) = delete;

    // Wall time and processor time of one study. The window is new at each run: a window that saw
    // a run end would take the next one as ended before it starts.
    std::pair<tClock::duration, double> run()
    {
        cTerminalWindow window(m_quiet, EProgressMode::eQuiet);
        double const cpu = processCpuMilliseconds();
        tClock::time_point const start = tClock::now();
        m_study->run(window);
        tClock::duration const took = tClock::now() - start;
        double const cpuTook = processCpuMilliseconds() - cpu;
        if (myActiveComputationManager->getComputationsState() != computationsFinished)
            fail("the study did not finish");
        return {took, cpuTook};
    }

    std::vector<cKynFile*> const& files() const { return m_files; }
    std::string const& directory() const { return m_study->getDirectory(); }
    cRecordingFrontalAlgorithm* recording() const { return m_recording; }

    // The time event's values of a file after a run.
    static cTimeEventValuesForOneFile const* eventValues(unsigned int event, cKynFile const* file)
    {
        auto const* const values = static_cast<cTimeEventValuesForOneFile const*>(
            myActiveAlgorithm->cTimeEventMgr::getParameter(kEventNames[event])->getValueListOrNull(file));
        if (values == nullptr)
            fail(std::string("no values of ") + kEventNames[event] + " for " + file->getFileName());
        return values;
    }

private:
    std::ostringstream m_quiet;
    std::unique_ptr<cStudy> m_study;
    std::vector<cKynFile*> m_files;
    cRecordingFrontalAlgorithm* m_recording = nullptr;
};

// ---- both, checked against each other -------------------------------------------------------------------

std::string mpfText(mpf_class const& value)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.17g", value.get_d());
    return text;
}

std::string where(cHandWrittenStudy const& byHand, unsigned int file, unsigned int combination)
{
    return byHand.fileName(file) + " combination " + std::to_string(combination) + ": ";
}

// The settings the study's calibration gives at the nominal point against the program's.
void checkCalibration(sFrontalCalibration const& mine)
{
    sFrontalSettings const theirs = sFrontalSettings::read(*myActiveCalibration);
    double const a[] = {theirs.resolution,           theirs.filterTime,         theirs.wakeUpThreshold,
                        theirs.leakDeceleration,     theirs.stage1Window,       theirs.stage1Threshold,
                        theirs.stage1ThresholdSlope, theirs.safingDeceleration, theirs.safingTime,
                        theirs.stage2Threshold,      theirs.stage2Window};
    sFrontalSettings const& m = mine.nominal;
    double const b[] = {m.resolution,   m.filterTime,      m.wakeUpThreshold,      m.leakDeceleration,
                        m.stage1Window, m.stage1Threshold, m.stage1ThresholdSlope, m.safingDeceleration,
                        m.safingTime,   m.stage2Threshold, m.stage2Window};
    for (unsigned int i = 0; i < std::size(a); ++i)
        if (a[i] != b[i])
            fail(std::string("the calibration in use gives ") + sFrontalSettings::kNames[i] + " = " +
                 mpfText(a[i]) + ", the program " + mpfText(b[i]));
}

// The drifts of the study against the program's points.
void checkDrifts()
{
    cStorage<cDriftParameter*> drifts(10);
    myActiveComputationManager->getDriftedParametersList(drifts);
    char const* const names[] = {"Sensitivity ACU_X", "Offset ACU_X", sFrontalSettings::kStage1Threshold};
    char const* const* const points[] = {kSensitivityPoints, kOffsetPoints, kThresholdCounts};
    if (drifts.size() != 3)
        fail("the study drifts " + std::to_string(drifts.size()) + " parameters, not 3");
    for (unsigned int d = 0; d < 3; ++d)
    {
        if (drifts[d]->getName() != names[d] || drifts[d]->getDrift()->getPointNumber() != kPoints)
            fail("drift " + std::to_string(d) + " is " + drifts[d]->getName() + ", not " + names[d] +
                 " with 3 points");
        for (unsigned int i = 0; i < kPoints; ++i)
            if (drifts[d]->getDrift()->computeSpecificPointRawValue(i) != number(points[d][i]))
                fail(std::string(names[d]) + ": point " + std::to_string(i) + " is not " + points[d][i]);
    }
}

bool sameFloats(std::vector<float> const& a, std::vector<float> const& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

void checkResult(sIterationResult const& theirs, sIterationResult const& mine, std::string const& at)
{
    for (unsigned int e = 0; e < kEvents; ++e)
    {
        if (theirs.ticks[e] != mine.ticks[e])
            fail(at + kEventNames[e] + " at " + std::to_string(theirs.ticks[e]) + " ticks in the study, " +
                 std::to_string(mine.ticks[e]) + " in the program");
        if (kEventDisplacement[e] && mine.ticks[e] != -1 && theirs.displacement[e] != mine.displacement[e])
            fail(at + kEventNames[e] + " with a displacement of " + mpfText(theirs.displacement[e]) +
                 " in the study, " + mpfText(mine.displacement[e]) + " in the program");
    }
}

// The recording study's first run against the program, iteration by iteration, bit for bit.
void checkEveryIteration(cSampleStudy& study, cHandWrittenStudy& byHand,
                         sFrontalCalibration const& calibration)
{
    checkCalibration(calibration);
    checkDrifts();
    study.run();
    std::vector<sSeenIteration> const& seen = study.recording()->seen;
    if (seen.size() != byHand.files() * kCombinations)
        fail("the study ran " + std::to_string(seen.size()) + " algorithm iterations, not 216");
    byHand.walk(
        [&](unsigned int f, unsigned int k)
        {
            sSeenIteration const& it = seen[f * kCombinations + k];
            std::string const at = where(byHand, f, k);
            for (unsigned int c = 0; c < kChannels; ++c)
            {
                if (!sameFloats(it.unitSampled[c], byHand.unitSampled(c)))
                    fail(at + "the unit's resampled " + kChannelNames[c] + " differs from the program's");
                if (!sameFloats(it.unitOutputs[c], byHand.unitOutput(c)))
                    fail(at + "the unit's output of " + kChannelNames[c] + " differs from the program's");
            }
            if (it.stage1Threshold != byHand.threshold(k % kPoints))
                fail(at + "the study's stage 1 base threshold is " + mpfText(it.stage1Threshold) +
                     ", the program's " + mpfText(byHand.threshold(k % kPoints)));
            for (unsigned int c = 0; c < kCriteria; ++c)
            {
                if (!it.kept[c])
                    fail(std::string("the study does not keep the curve of ") + kCriterionNames[c] +
                         ": the program's would be work the study does not do");
                if (!sameFloats(it.curves[c], byHand.curve(c)))
                    fail(at + "the curve of " + kCriterionNames[c] + " differs from the program's");
            }
            checkResult(it.result, byHand.result(f, k), at);
            if (it.lastDisplacement != byHand.lastDisplacement())
                fail(at + "the last displacement is " + mpfText(it.lastDisplacement) + " in the study, " +
                     mpfText(byHand.lastDisplacement()) + " in the program");
        });
}

// A study's time events after a run against the program's last run: every iteration's time and
// each file's summary. The drifts must move the times and the matrix must hold fires and no-fires,
// or the comparison would prove little.
void checkTimeEvents(cSampleStudy const& study, cHandWrittenStudy const& byHand)
{
    if (study.files().size() != byHand.files())
        fail("the study runs " + std::to_string(study.files().size()) + " files, the program " +
             std::to_string(byHand.files()));
    unsigned int fires = 0, noFires = 0, moved = 0;
    for (unsigned int f = 0; f < byHand.files(); ++f)
    {
        cKynFile const* const file = study.files()[f];
        if (file->getFileName() != byHand.fileName(f))
            fail("file " + std::to_string(f) + " is " + file->getFileName() + " in the study, " +
                 byHand.fileName(f) + " in the program");
        for (unsigned int e = 0; e < kEvents; ++e)
        {
            cTimeEventValuesForOneFile const* const values = cSampleStudy::eventValues(e, file);
            cStorage<long> const& ticks = values->getIterationValueList();
            if (ticks.size() != kCombinations)
                fail(byHand.fileName(f) + ": the study kept " + std::to_string(ticks.size()) + " values of " +
                     kEventNames[e]);
            sEventSummary theirs;
            for (unsigned int k = 0; k < kCombinations; ++k)
            {
                if (ticks[k] != byHand.result(f, k).ticks[e])
                    fail(where(byHand, f, k) + kEventNames[e] + " at " + std::to_string(ticks[k]) +
                         " ticks in the study, " + std::to_string(byHand.result(f, k).ticks[e]) +
                         " in the program");
                theirs.fold(ticks[k]);
            }
            auto const noFire = values->getIterationHistogram().find(-1);
            sEventSummary const reported{
                values->getIterationCount(), values->getNomValue(), values->getMinValue(),
                values->getMaxValue(),
                noFire == values->getIterationHistogram().end() ? 0u : noFire->second->count};
            sEventSummary const& mine = byHand.summary(f, e);
            if (!(reported == mine) || !(theirs == mine))
                fail(byHand.fileName(f) + ": " + kEventNames[e] + " of the study " + reported.text() +
                     ", of the program " + mine.text());
            fires += kCombinations - mine.noFire;
            noFires += mine.noFire;
            moved += mine.minimum != mine.maximum ? 1u : 0u;
        }
    }
    if (fires == 0 || noFires == 0 || moved == 0)
        fail("the matrix should give fires, no-fires and times that the drifts move");
}

// The study and the program in turn, each first every other time, so that they see the same machine
// from moment to moment.
void BM_SampleStudyAgainstHandWrittenProgram(benchmark::State& state)
{
    std::vector<sRecording> recordings;
    sFrontalCalibration const calibration;
    std::unique_ptr<cHandWrittenStudy> byHand;
    {
        cSampleStudy checking(true);
        for (cKynFile const* file : checking.files())
            recordings.push_back(loadRecording(checking.directory(), file->getFileName()));
        byHand = std::make_unique<cHandWrittenStudy>(std::move(recordings), calibration);
        checkEveryIteration(checking, *byHand, calibration);
        checkTimeEvents(checking, *byHand);
    }
    cSampleStudy study(false);
    study.run();
    byHand->run();
    checkTimeEvents(study, *byHand);

    std::array<tClock::duration, 2> times{};
    std::array<double, 2> cpu{};
    unsigned int first = 0;
    for (auto _ : state)
    {
        for (unsigned int i = 0; i < 2; ++i)
        {
            if ((first + i) % 2 == 0)
            {
                auto const [took, cpuTook] = study.run();
                times[0] += took;
                cpu[0] += cpuTook;
            }
            else
            {
                double const before = processCpuMilliseconds();
                tClock::time_point const start = tClock::now();
                byHand->run();
                times[1] += tClock::now() - start;
                cpu[1] += processCpuMilliseconds() - before;
            }
        }
        first ^= 1u;
    }
    // The timed runs gave what the checked ones gave.
    checkTimeEvents(study, *byHand);

    double const runs = static_cast<double>(state.iterations());
    double const files = double(byHand->files());
    double const steps = byHand->algorithmSteps();
    double const studyMs = milliseconds(times[0]) / runs, handMs = milliseconds(times[1]) / runs;
    double const studyCpu = cpu[0] / runs, handCpu = cpu[1] / runs;
    state.counters["study_ms"] = studyMs;
    state.counters["hand_ms"] = handMs;
    state.counters["ratio"] = handMs > 0.0 ? studyMs / handMs : 0.0;
    state.counters["cpu_ratio"] = handCpu > 0.0 ? studyCpu / handCpu : 0.0;
    state.counters["study_ms_per_file"] = studyCpu / files;
    state.counters["hand_ms_per_file"] = handCpu / files;
    state.counters["study_ns_per_step"] = studyCpu * 1e6 / steps;
    state.counters["hand_ns_per_step"] = handCpu * 1e6 / steps;
}
BENCHMARK(BM_SampleStudyAgainstHandWrittenProgram)->Unit(benchmark::kMillisecond)->MinTime(2.0);
} // namespace

#include "Host/cPulseGenerator.h"

#include "BaseKit/cKynException.h"
#include "StoreKit/cChannelInput.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <numbers>

namespace
{
char const* const kSource = "Host/cPulseGenerator";

constexpr double kStandardGravity = 9.80665; // m/s^2 in one g
// The 5-30 rule: 5 inches of free occupant travel, less the bag's inflation time.
constexpr double kOccupantTravelM = 0.127;
constexpr double kInflationMs = 30.0;

// Half-width of the sensor noise in g: the sum of two uniform draws, so about 0.03 g rms.
constexpr double kSensorNoiseG = 0.08;

// Rough road: a sum of sinusoids of road displacement, each faded in and out over one of its
// periods, in a band that moves up with the travel speed (road wavelengths from 1 m down to 5 cm,
// never below 20 Hz where the car's suspension takes the road), its rms growing with the speed.
constexpr int kRoadComponents = 48;
constexpr double kRoadLongestWavelengthM = 1.0;
constexpr double kRoadShortestWavelengthM = 0.05;
constexpr double kRoadLowestHz = 20.0;
constexpr double kRoadRmsG = 0.3;
constexpr double kRoadRmsGPerKmh = 0.015;
constexpr double kRoadLateralRatio = 0.4;
// The recording holds at least this many periods of the lowest frequency, so that each fade
// (one period at each end) leaves some steady road between them.
constexpr double kRoadPeriodsInRecording = 4.0;

// Hammer blow near the unit: the second derivative of a Gaussian (its main lobe 1 ms wide, zero net
// velocity), plus the small speed change that the hammer's momentum gives the car (1.5 kg at 6 m/s
// into 1500 kg).
constexpr double kHammerCentreMs = 5.0;
constexpr double kHammerSigmaMs = 0.5;
constexpr double kHammerPeakG = 40.0;
constexpr double kHammerSpeedChangeMs = 0.006;
constexpr double kHammerLateralRatio = 0.15;

// One smooth hump of a crash pulse: sin^2 over [from, to] ms, scaled by weight. It starts and ends
// with zero slope, so a sum of humps is a pulse without steps.
struct sHump
{
    double fromMs;
    double toMs;
    double weight;
};

struct sCrashShape
{
    sHump humps[2];
    double lateralRatio;
};

// Full frontal rigid wall: stiff, over by 80 ms, the front rails' hump then the engine's. Offset
// deformable barrier: a small early hump, then a long and lower main one up to 140 ms, with more
// yaw. Pole: soft while the pole goes between the rails, the peak late when it reaches the engine.
sCrashShape const& crashShape(EPulseKind kind)
{
    static sCrashShape const fullFrontal{{{0.0, 30.0, 0.55}, {12.0, 80.0, 1.0}}, 0.05};
    static sCrashShape const offset{{{0.0, 50.0, 0.35}, {25.0, 140.0, 1.0}}, 0.25};
    static sCrashShape const pole{{{0.0, 60.0, 0.25}, {45.0, 110.0, 1.0}}, 0.12};
    return kind == ePulseOffset ? offset : kind == ePulsePole ? pole : fullFrontal;
}

double crashEndMs(EPulseKind kind)
{
    sCrashShape const& shape = crashShape(kind);
    return std::max(shape.humps[0].toMs, shape.humps[1].toMs);
}

double uniform()
{
    return static_cast<double>(std::rand()) / RAND_MAX;
}

// The integral of samples spaced by dt, taken as linear between them.
double trapezoid(std::vector<double> const& samples, double dt)
{
    if (samples.size() < 2)
        return 0.0;
    double sum = 0.0;
    for (double const sample : samples)
        sum += sample;
    return dt * (sum - (samples.front() + samples.back()) / 2.0);
}

// The second difference of a displacement, as an acceleration: its samples sum to zero speed change
// when the displacement is zero at both ends.
std::vector<double> secondDifference(std::vector<double> const& displacement, double before, double after,
                                     double dt)
{
    size_t const count = displacement.size();
    std::vector<double> acceleration(count);
    for (size_t i = 0; i < count; ++i)
    {
        double const previous = i == 0 ? before : displacement[i - 1];
        double const next = i + 1 == count ? after : displacement[i + 1];
        acceleration[i] = (next - 2.0 * displacement[i] + previous) / (dt * dt);
    }
    return acceleration;
}

// 0 up to 0, 1 from 1, between them with its first and second derivatives 0 at both ends: a fade
// that adds no acceleration of its own at the recording's first and last samples.
double smoothStep(double x)
{
    if (x <= 0.0)
        return 0.0;
    if (x >= 1.0)
        return 1.0;
    return x * x * x * (10.0 + x * (-15.0 + 6.0 * x));
}

// Sensor noise without speed change of its own (integrated linearly between samples, as the 5-30
// rule does): the recording's speed change stays that of the event.
void addSensorNoise(std::vector<double>& samples, double dt)
{
    if (samples.size() < 2)
        return;
    std::vector<double> noise(samples.size());
    for (double& value : noise)
        value = kSensorNoiseG * kStandardGravity * (uniform() + uniform() - 1.0);
    double const offset = trapezoid(noise, dt) / (static_cast<double>(noise.size() - 1) * dt);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] += noise[i] - offset;
}

// The shortest text without exponent that reads back to the same double, in any locale.
std::string numberText(double value)
{
    // Fixed notation never needs more than about 330 characters for a double.
    char buffer[512];
    auto const result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed);
    return std::string(buffer, result.ptr);
}
} // namespace

// ------------------------------------------------------------------------------ cSyntheticRecording

cSyntheticRecording::cSyntheticRecording() : cAcquisitionInputFile("", 0) {}

cSyntheticRecording::~cSyntheticRecording() = default;

void cSyntheticRecording::readChannelSamples(cChannelInput const& channel, std::vector<float>&) const
{
    throw cGenericException(kSource, "cSyntheticRecording::readChannelSamples", __LINE__,
                            "channel " + channel.getName() + " of a recording made in memory has no file");
}

// ---------------------------------------------------------------------------------- cPulseGenerator

char const* cPulseGenerator::kindName(EPulseKind kind)
{
    switch (kind)
    {
    case ePulseFullFrontal:
        return "full-frontal";
    case ePulseOffset:
        return "offset";
    case ePulsePole:
        return "pole";
    case ePulseRoughRoad:
        return "rough-road";
    case ePulseHammer:
        return "hammer";
    }
    return "";
}

std::optional<EPulseKind> cPulseGenerator::kindFromName(std::string const& name)
{
    for (EPulseKind const kind : {ePulseFullFrontal, ePulseOffset, ePulsePole, ePulseRoughRoad, ePulseHammer})
        if (name == kindName(kind))
            return kind;
    return std::nullopt;
}

double cPulseGenerator::defaultSpeedKmh(EPulseKind kind)
{
    switch (kind)
    {
    case ePulseFullFrontal:
        return 56.0;
    case ePulseOffset:
        return 64.0;
    case ePulsePole:
        return 32.0;
    case ePulseRoughRoad:
        return 50.0;
    case ePulseHammer:
        return 0.0;
    }
    return 0.0;
}

double cPulseGenerator::minimumDurationMs(EPulseKind kind)
{
    switch (kind)
    {
    case ePulseFullFrontal:
    case ePulseOffset:
    case ePulsePole:
        return crashEndMs(kind);
    case ePulseRoughRoad:
        // A stretch of road, not one bump: below that the band would move up past 40 Hz.
        return 100.0;
    case ePulseHammer:
        return 2.0 * kHammerCentreMs;
    }
    return 0.0;
}

cPulseGenerator::cPulseGenerator(sPulseSettings const& settings) : m_settings(settings) {}

unsigned int cPulseGenerator::sampleCount() const
{
    // The small allowance keeps a duration that is a whole number of periods from losing its last
    // sample to rounding (200 ms at 10 kHz is 2000 periods, 2001 samples).
    return static_cast<unsigned int>(std::floor(m_settings.durationMs * m_settings.rateHz / 1000.0 + 1e-6)) +
           1;
}

sPulseSamples cPulseGenerator::generate() const
{
    std::srand(m_settings.seed);
    unsigned int const count = sampleCount();
    std::vector<double> longitudinal(count, 0.0);
    std::vector<double> lateral(count, 0.0);
    switch (m_settings.kind)
    {
    case ePulseFullFrontal:
    case ePulseOffset:
    case ePulsePole:
    {
        std::vector<double> const deceleration = crashDeceleration();
        double const lateralRatio = crashShape(m_settings.kind).lateralRatio;
        for (unsigned int i = 0; i < count; ++i)
        {
            longitudinal[i] = -deceleration[i];
            lateral[i] = lateralRatio * deceleration[i];
        }
        break;
    }
    case ePulseRoughRoad:
        addRoadVibration(longitudinal, lateral);
        break;
    case ePulseHammer:
        addHammerBlow(longitudinal, lateral);
        break;
    }
    addSensorNoise(longitudinal, 1.0 / m_settings.rateHz);
    addSensorNoise(lateral, 1.0 / m_settings.rateHz);
    sPulseSamples samples;
    samples.longitudinal.reserve(count);
    samples.lateral.reserve(count);
    for (unsigned int i = 0; i < count; ++i)
    {
        samples.longitudinal.push_back(static_cast<float>(longitudinal[i] / kStandardGravity));
        samples.lateral.push_back(static_cast<float>(lateral[i] / kStandardGravity));
    }
    return samples;
}

std::vector<double> cPulseGenerator::crashDeceleration() const
{
    sCrashShape const& shape = crashShape(m_settings.kind);
    unsigned int const count = sampleCount();
    std::vector<double> deceleration(count, 0.0);
    for (unsigned int i = 0; i < count; ++i)
    {
        double const timeMs = 1000.0 * i / m_settings.rateHz;
        for (sHump const& hump : shape.humps)
            if (timeMs > hump.fromMs && timeMs < hump.toMs)
            {
                double const phase =
                    std::sin(std::numbers::pi * (timeMs - hump.fromMs) / (hump.toMs - hump.fromMs));
                deceleration[i] += hump.weight * phase * phase;
            }
    }
    // Scaled on the samples themselves, so that their integral is the impact speed: the vehicle
    // ends at rest, and since the deceleration is never negative its speed never changes sign.
    double const area = trapezoid(deceleration, 1.0 / m_settings.rateHz);
    double const scale = m_settings.speedKmh / 3.6 / area;
    for (double& value : deceleration)
        value *= scale;
    return deceleration;
}

void cPulseGenerator::addRoadVibration(std::vector<double>& longitudinal, std::vector<double>& lateral) const
{
    double const rate = m_settings.rateHz;
    size_t const count = longitudinal.size();
    double const endS = static_cast<double>(count - 1) / rate;
    double const speedMs = m_settings.speedKmh / 3.6;
    double const lowHz =
        std::max({kRoadLowestHz, speedMs / kRoadLongestWavelengthM, kRoadPeriodsInRecording / endS});
    double const highHz = std::min(0.4 * rate, std::max(4.0 * lowHz, speedMs / kRoadShortestWavelengthM));
    double const rmsG = kRoadRmsG + kRoadRmsGPerKmh * m_settings.speedKmh;

    for (std::vector<double>* axis : {&longitudinal, &lateral})
    {
        // The car moves about a mean position and is back there, at rest, at both ends: the road
        // changes no speed, and the occupant's travel stays within the road's own millimetres.
        std::vector<double> displacement(count, 0.0);
        for (int k = 0; k < kRoadComponents; ++k)
        {
            double const frequency = lowHz * std::pow(highHz / lowHz, uniform());
            double const omega = 2.0 * std::numbers::pi * frequency;
            double const phase = 2.0 * std::numbers::pi * uniform();
            // Even in acceleration across the band: the displacement falls with the frequency squared.
            double const amplitude = (0.5 + uniform()) / (omega * omega);
            double const fadeS = 1.0 / frequency;
            for (size_t i = 0; i < count; ++i)
            {
                double const time = static_cast<double>(i) / rate;
                double const edge = std::min(time, endS - time);
                double const fade = smoothStep(edge / fadeS);
                displacement[i] += fade * amplitude * std::sin(omega * time + phase);
            }
        }
        std::vector<double> const acceleration = secondDifference(displacement, 0.0, 0.0, 1.0 / rate);
        double squares = 0.0;
        for (double const value : acceleration)
            squares += value * value;
        double const rms = std::sqrt(squares / static_cast<double>(count));
        double const target = (axis == &longitudinal ? 1.0 : kRoadLateralRatio) * rmsG * kStandardGravity;
        double const scale = rms > 0.0 ? target / rms : 0.0;
        for (size_t i = 0; i < count; ++i)
            (*axis)[i] += scale * acceleration[i];
    }
}

void cPulseGenerator::addHammerBlow(std::vector<double>& longitudinal, std::vector<double>& lateral) const
{
    double const rate = m_settings.rateHz;
    double const dt = 1.0 / rate;
    size_t const count = longitudinal.size();
    double const centre = kHammerCentreMs / 1000.0;
    double const sigma = kHammerSigmaMs / 1000.0;
    auto bell = [&](double time)
    { return std::exp(-(time - centre) * (time - centre) / (2.0 * sigma * sigma)); };

    std::vector<double> displacement(count);
    for (size_t i = 0; i < count; ++i)
        displacement[i] = bell(static_cast<double>(i) / rate);
    std::vector<double> const spike =
        secondDifference(displacement, bell(-dt), bell(static_cast<double>(count) / rate), dt);
    double const deepest = *std::min_element(spike.begin(), spike.end());
    double const scale = deepest < 0.0 ? kHammerPeakG * kStandardGravity / -deepest : 0.0;

    // The car's own speed change, a 1 ms sin^2 hump under the spike.
    std::vector<double> push(count, 0.0);
    for (size_t i = 0; i < count; ++i)
    {
        double const offset = static_cast<double>(i) / rate - centre;
        if (std::abs(offset) < sigma)
        {
            double const phase = std::cos(std::numbers::pi * offset / (2.0 * sigma));
            push[i] = phase * phase;
        }
    }
    double const area = trapezoid(push, dt);
    double const pushScale = area > 0.0 ? kHammerSpeedChangeMs / area : 0.0;

    for (size_t i = 0; i < count; ++i)
    {
        longitudinal[i] += scale * spike[i] - pushScale * push[i];
        lateral[i] += kHammerLateralRatio * scale * spike[i];
    }
}

std::unique_ptr<cSyntheticRecording> cPulseGenerator::makeRecording(sPulseSamples const& samples,
                                                                    std::optional<double> timeToFireMs) const
{
    static char const* const kPreciseType[] = {"Full width rigid barrier", "Offset deformable barrier",
                                               "Pole", "Rough road", "Hammer blow"};
    static char const* const kObstacle[] = {"Rigid wall", "Deformable barrier", "Rigid pole", "Road",
                                            "Hammer"};
    auto recording = std::make_unique<cSyntheticRecording>();
    EPulseKind const kind = m_settings.kind;
    recording->setText(eCrashCrashType, isCrash(kind) ? "Frontal" : "Misuse");
    recording->setText(eCrashPreciseCrashType, kPreciseType[kind]);
    recording->setText(eCrashObstacleType, kObstacle[kind]);
    recording->setText(eCrashSimulatedEvent, "Yes");
    recording->setText(eCrashNumberOfChannels, "2");
    recording->setText(eCrashChannelsOrientation, "SAE J211 (x forward, y right)");
    if (kind != ePulseHammer)
    {
        std::string const speed = numberText(m_settings.speedKmh);
        recording->setNumberText(eCrashVehicleSpeed, speed);
        if (isCrash(kind))
            recording->setNumberText(eCrashCrashSpeed, speed);
        recording->setText(eCrashCrashSpeedUnit, "km/h");
    }
    recording->setText(eCrashComments, commandLine() + "\n" + requiredTimeToFireText(timeToFireMs));
    recording->setT0Text("0");

    mpf_class const rate(m_settings.rateHz);
    for (auto const& [name, values] :
         {std::pair{"ACU_X", &samples.longitudinal}, {"ACU_Y", &samples.lateral}})
    {
        auto channel = std::make_unique<cChannelInput>(name, rate);
        channel->setUnit("g");
        for (float const value : *values)
            channel->addSample(value);
        recording->addChannelInput(channel.release());
    }
    return recording;
}

std::string cPulseGenerator::commandLine() const
{
    std::string line = "simcore pulse --kind ";
    line += kindName(m_settings.kind);
    if (m_settings.kind != ePulseHammer)
    {
        line += " --speed ";
        line += numberText(m_settings.speedKmh);
    }
    line += " --rate ";
    line += numberText(m_settings.rateHz);
    line += " --duration ";
    line += numberText(m_settings.durationMs);
    line += " --seed ";
    line += std::to_string(m_settings.seed);
    return line;
}

std::optional<double> cPulseGenerator::requiredTimeToFire(std::vector<float> const& longitudinalG,
                                                          double rateHz)
{
    double const dt = 1.0 / rateHz;
    double speed = 0.0;  // of the occupant relative to the vehicle, m/s
    double travel = 0.0; // m
    for (size_t i = 1; i < longitudinalG.size(); ++i)
    {
        double const from = -longitudinalG[i - 1] * kStandardGravity;
        double const to = -longitudinalG[i] * kStandardGravity;
        // The travel after tau seconds into the step, the deceleration linear from `from` to `to`.
        auto travelAt = [&](double tau) {
            return travel + speed * tau + from * tau * tau / 2.0 + (to - from) * tau * tau * tau / (6.0 * dt);
        };
        double const next = travelAt(dt);
        if (next >= kOccupantTravelM)
        {
            // The step's travel is a cubic that starts below the mark and ends on or above it.
            double low = 0.0;
            double high = dt;
            for (int halving = 0; halving < 60; ++halving)
            {
                double const middle = (low + high) / 2.0;
                (travelAt(middle) >= kOccupantTravelM ? high : low) = middle;
            }
            double const reachedMs = 1000.0 * (static_cast<double>(i - 1) / rateHz + high);
            return std::max(0.0, reachedMs - kInflationMs);
        }
        speed += (from + to) / 2.0 * dt;
        travel = next;
    }
    return std::nullopt;
}

std::string cPulseGenerator::requiredTimeToFireText(std::optional<double> timeMs)
{
    std::string text = "required time to fire (5-30 rule): ";
    if (!timeMs)
        return text + "none";
    char buffer[64];
    auto const result = std::to_chars(buffer, buffer + sizeof buffer, *timeMs, std::chars_format::fixed, 1);
    return text.append(buffer, result.ptr).append(" ms");
}

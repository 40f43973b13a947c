// simcore pulse: writes a synthetic crash or misuse recording and prints the time to fire that the
// 5-30 rule requires on it.
#include "Host/Commands.h"

#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "Host/RecordingFiles.h"
#include "Host/cPulseGenerator.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <cmath>
#include <iostream>
#include <memory>

namespace
{
// Beyond these the shapes stop being a car's: the pulse would reach hundreds of g, the spike
// of a hammer blow would fall between samples, and the sensor noise integrated over a long
// recording would start to move the occupant.
constexpr double kMaximumSpeedKmh = 300.0;
constexpr double kMinimumRateHz = 1000.0;
constexpr double kMaximumRateHz = 100000.0;
constexpr double kMaximumDurationMs = 2000.0;

struct sPulseOptions
{
    std::string kind;
    double speed = 0.0;
    double rate = 10000.0;
    double duration = 200.0;
    unsigned int seed = 1;
    std::string out;
    CLI::Option* speedOption = nullptr;
};

// The shortest text without exponent that reads back to the same double, in any locale.
std::string numberText(double value)
{
    // Fixed notation never needs more than about 330 characters for a double.
    char buffer[512];
    auto const result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed);
    return std::string(buffer, result.ptr);
}

// The settings of the options, or "" and the message of the first option that is wrong.
std::string checkedSettings(sPulseOptions const& options, sPulseSettings& settings)
{
    std::optional<EPulseKind> const kind = cPulseGenerator::kindFromName(options.kind);
    if (!kind)
        return "--kind \"" + options.kind +
               "\" is unknown; use full-frontal, offset, pole, rough-road or hammer";
    settings.kind = *kind;
    bool const speedGiven = options.speedOption->count() > 0;
    if (*kind == ePulseHammer && speedGiven)
        return "--speed is refused for hammer: a hammer blow has no speed";
    settings.speedKmh = speedGiven ? options.speed : cPulseGenerator::defaultSpeedKmh(*kind);
    if (*kind != ePulseHammer && !(settings.speedKmh > 0.0 && settings.speedKmh <= kMaximumSpeedKmh))
        return "--speed must be above 0 and at most " + numberText(kMaximumSpeedKmh) + " km/h, not " +
               numberText(settings.speedKmh);
    settings.rateHz = options.rate;
    if (!(options.rate >= kMinimumRateHz && options.rate <= kMaximumRateHz))
        return "--rate must be from " + numberText(kMinimumRateHz) + " to " + numberText(kMaximumRateHz) +
               " Hz, not " + numberText(options.rate);
    settings.durationMs = options.duration;
    if (!(options.duration > 0.0 && options.duration <= kMaximumDurationMs))
        return "--duration must be above 0 and at most " + numberText(kMaximumDurationMs) + " ms, not " +
               numberText(options.duration);
    double const minimum = cPulseGenerator::minimumDurationMs(*kind);
    if (options.duration < minimum)
        return "--duration " + numberText(options.duration) + " ms is too short for " + options.kind +
               ", which needs " + numberText(minimum) + " ms";
    settings.seed = options.seed;
    std::string const outProblem = recordingWriteProblem(options.out);
    if (!outProblem.empty())
        return "--out \"" + options.out + "\": " + outProblem;
    return std::string();
}

int runPulse(sPulseOptions const& options)
{
    sPulseSettings settings;
    std::string const problem = checkedSettings(options, settings);
    if (!problem.empty())
    {
        doErrorMessage("simcore pulse: " + problem);
        return 2;
    }
    try
    {
        cPulseGenerator const generator(settings);
        sPulseSamples const samples = generator.generate();
        std::optional<double> const timeToFire =
            cPulseGenerator::requiredTimeToFire(samples.longitudinal, settings.rateHz);
        std::unique_ptr<cSyntheticRecording> const recording = generator.makeRecording(samples, timeToFire);
        writeRecordingFile(*recording, options.out);
        std::cout << cPulseGenerator::requiredTimeToFireText(timeToFire) << std::endl;
        return 0;
    }
    catch (cKynException const& exception)
    {
        doErrorMessage(std::string("simcore pulse: ") + exception.what());
    }
    catch (std::exception const& exception)
    {
        doErrorMessage("simcore pulse: \"" + options.out + "\": " + exception.what());
    }
    return 2;
}
} // namespace

void addPulseCommand(CLI::App& app, int& status)
{
    auto options = std::make_shared<sPulseOptions>();
    CLI::App* const command = app.add_subcommand(
        "pulse",
        "Writes a synthetic crash or misuse recording (ACU_X and ACU_Y in g, from crash time zero) and "
        "prints the required time to fire by the 5-30 rule, which its comments also hold.");
    command->add_option("--kind", options->kind, "full-frontal, offset, pole, rough-road or hammer")
        ->required();
    options->speedOption = command->add_option(
        "--speed", options->speed,
        "km/h: the impact speed of a crash (56 full frontal, 64 offset, 32 pole when not given), the travel "
        "speed on a rough road (50); refused for hammer");
    command->add_option("--rate", options->rate, "sampling rate in Hz")->capture_default_str();
    command->add_option("--duration", options->duration, "time of the last sample in ms")
        ->capture_default_str();
    command
        ->add_option("--seed", options->seed,
                     "seed of the random draws (sensor noise, road): the same options give the same file")
        ->capture_default_str();
    command->add_option("--out", options->out, "the recording to write: FILE.csh or FILE.bin")->required();
    command->callback([options, &status] { status = runPulse(*options); });
}

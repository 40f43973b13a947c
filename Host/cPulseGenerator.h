// cPulseGenerator: synthetic crash and misuse recordings for sample projects and tests, with the
// required time to fire that the 5-30 rule gives on them. A recording holds the central unit's
// longitudinal and lateral accelerations (ACU_X, ACU_Y, in g, SAE J211: x forward, y right) from
// crash time zero; the same settings always give the same samples (the C generator, seeded).
#pragma once
#include "StoreKit/cAcquisitionInputFile.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

// What the recording shows: three crashes that must fire and two misuse cases that must not.
enum EPulseKind
{
    ePulseFullFrontal,
    ePulseOffset,
    ePulsePole,
    ePulseRoughRoad,
    ePulseHammer
};

struct sPulseSettings
{
    EPulseKind kind = ePulseFullFrontal;
    // km/h: the impact speed of a crash (its whole speed change), the travel speed on a rough road;
    // a hammer blow has none.
    double speedKmh = 56.0;
    double rateHz = 10000.0;
    // The time of the last sample; samples stand at 0, 1 / rate, ... up to it.
    double durationMs = 200.0;
    unsigned int seed = 1;
};

// The two channels of a recording, in g, one sample per 1 / rate from crash time zero.
struct sPulseSamples
{
    std::vector<float> longitudinal;
    std::vector<float> lateral;
};

// A crash recording built in memory: the crash header of a recording on disk, channels filled by
// the caller. The writers of CSH and BIN take it as any other acquisition.
class cSyntheticRecording : public cAcquisitionInputFile
{
public:
    cSyntheticRecording();
    ~cSyntheticRecording() override;
    // Never called: channels made in memory hold their samples.
    void readChannelSamples(cChannelInput const& channel, std::vector<float>& samples) const override;

protected:
    void readDirectory() override {}
};

class cPulseGenerator
{
public:
    // The name the command line gives a kind ("full-frontal", ...), and back; nullopt for no kind.
    static char const* kindName(EPulseKind kind);
    static std::optional<EPulseKind> kindFromName(std::string const& name);
    static bool isCrash(EPulseKind kind) { return kind <= ePulsePole; }
    // The speed of the kind when none is given: the usual crash matrix (56, 64, 32), 50 on a rough
    // road, 0 for a hammer blow.
    static double defaultSpeedKmh(EPulseKind kind);
    // The shortest recording, in ms, that holds the whole event of the kind (a crash pulse ends with
    // the vehicle at rest).
    static double minimumDurationMs(EPulseKind kind);

    // settings are taken as valid: the command line checks them.
    explicit cPulseGenerator(sPulseSettings const& settings);

    // The samples, seeding the C generator with the settings' seed first.
    sPulseSamples generate() const;
    // The recording of samples (from generate) with its header: crash fields, T0 = 0, and in the
    // comments the command line that makes it and the line of requiredTimeToFireText.
    std::unique_ptr<cSyntheticRecording> makeRecording(sPulseSamples const& samples,
                                                       std::optional<double> timeToFireMs) const;

    // The 5-30 rule on a longitudinal acceleration in g (deceleration negative) sampled from crash
    // time zero: the time at which a free occupant has moved 127 mm relative to the vehicle (the
    // double integral of the deceleration, taken as linear between samples), minus the bag's 30 ms
    // of inflation; 0 when that is negative, nullopt when 127 mm are never reached. In ms.
    static std::optional<double> requiredTimeToFire(std::vector<float> const& longitudinalG, double rateHz);
    // "required time to fire (5-30 rule): 23.4 ms", or "...: none".
    static std::string requiredTimeToFireText(std::optional<double> timeMs);

    // The recording's sample count: one sample per 1 / rate from 0 up to the duration.
    unsigned int sampleCount() const;

private:
    std::vector<double> crashDeceleration() const;
    void addRoadVibration(std::vector<double>& longitudinal, std::vector<double>& lateral) const;
    void addHammerBlow(std::vector<double>& longitudinal, std::vector<double>& lateral) const;
    // The command line that makes this recording, for its comments.
    std::string commandLine() const;

    sPulseSettings m_settings;
};

// The reference host's crash-sensing algorithm: a frontal deployment decision on the central unit's
// longitudinal acceleration (channel ACU_X, in ADC counts). It wakes up on the filtered deceleration,
// integrates the velocity change since wake-up with a leak, fires stage 1 when the velocity change over
// a sliding window crosses a threshold that rises with that velocity change and the safing condition
// holds, and stage 2 on a higher threshold within a window after stage 1. The equations and every
// calibration parameter are in docs/reference-algorithm.md.
#pragma once

#include "SimCore/cAlgorithm.h"

#include <cstdint>
#include <string>

class cCalibration;

// The calibration as one iteration uses it, in physical units: read from the active calibration at
// the iteration's drift point; the algorithm turns its times into steps at the iteration's rate.
struct sFrontalSettings
{
    // The calibration parameters, by name.
    static constexpr char const* kResolution = "Sensor Resolution";
    static constexpr char const* kFilterTime = "Filter Time";
    static constexpr char const* kWakeUpThreshold = "Wake Up Threshold";
    static constexpr char const* kLeakDeceleration = "Leak Deceleration";
    static constexpr char const* kStage1Window = "Stage 1 Window";
    static constexpr char const* kStage1Threshold = "Stage 1 Base Threshold";
    static constexpr char const* kStage1ThresholdSlope = "Stage 1 Threshold Slope";
    static constexpr char const* kSafingDeceleration = "Safing Deceleration";
    static constexpr char const* kSafingTime = "Safing Time";
    static constexpr char const* kStage2Threshold = "Stage 2 Threshold";
    static constexpr char const* kStage2Window = "Stage 2 Window";
    static constexpr char const* kNames[] = {kResolution,           kFilterTime,         kWakeUpThreshold,
                                             kLeakDeceleration,     kStage1Window,       kStage1Threshold,
                                             kStage1ThresholdSlope, kSafingDeceleration, kSafingTime,
                                             kStage2Threshold,      kStage2Window};

    double resolution = 0.0;           // g per ADC count
    double filterTime = 0.0;           // ms, moving average of the deceleration
    double wakeUpThreshold = 0.0;      // g, on the filtered deceleration
    double leakDeceleration = 0.0;     // g, taken off the deceleration while integrating
    double stage1Window = 0.0;         // ms, of the windowed velocity change
    double stage1Threshold = 0.0;      // km/h, at no velocity change
    double stage1ThresholdSlope = 0.0; // km/h of threshold per km/h of velocity change
    double safingDeceleration = 0.0;   // g, on the filtered deceleration
    double safingTime = 0.0;           // ms the safing deceleration must have held
    double stage2Threshold = 0.0;      // km/h, on the windowed velocity change
    double stage2Window = 0.0;         // ms after stage 1 in which stage 2 may fire

    // Reads every parameter by its name from calibration (converted values); a missing one throws
    // cBadReference with its name.
    static sFrontalSettings read(cCalibration& calibration);
    // A duration in whole steps at rate: 0 for 0 ms, otherwise at least 1 (half away from zero).
    static unsigned int steps(double milliseconds, double rate);
};

class cFrontalAlgorithm : public cAlgorithm
{
public:
    // The names the algorithm file, the calibration description and the project must use.
    static constexpr char const* kChannel = "ACU_X";
    static constexpr char const* kFilteredDeceleration = "Filtered Deceleration";
    static constexpr char const* kVelocityChange = "Velocity Change";
    static constexpr char const* kWindowedVelocityChange = "Windowed Velocity Change";
    static constexpr char const* kStage1Threshold = "Stage 1 Threshold";
    static constexpr char const* kWakeUp = "Wake Up";
    static constexpr char const* kFireStage1 = "Fire Stage 1";
    static constexpr char const* kFireStage2 = "Fire Stage 2";

    // km/h of velocity change per g held for one second.
    static constexpr double kKmhPerGSecond = 9.80665 * 3.6;

    // Reads the algorithm file: its "Criteria List" and "Time Events List" must hold the criteria and
    // time events named above (cBadReference with the name at the first crash file otherwise).
    explicit cFrontalAlgorithm(std::string const& algorithmFile);
    // The thread runs this class's hooks: it ends while they can still run.
    ~cFrontalAlgorithm() override;

    // The settings of the last iteration.
    sFrontalSettings const& getSettings() const { return m_settings; }

protected:
    void beginMultiPreprocessingItem() override;
    // Finds ACU_X in the item's channels; a set without it throws cGenericException naming it.
    void endMultiPreprocessingItem() override;
    void resetAlgorithm() override {}
    void prepareThreadStart() override {}
    void changeFileFirst() override;
    void changeFileSecond() override;
    // Reads the calibration at this iteration's drift point and starts the state from rest.
    void initialiseForFirstIteration() override;
    // The deceleration in counts (-ACU_X): the displacement is the occupant's forward travel relative
    // to the vehicle, positive in a frontal crash.
    int32_t getDisplacementAccValue(unsigned int sample) override;
    // Phase one: the moving sums; two: wake-up, leaking integral, safing and the criteria; three: the
    // decisions; last: ends the tail loop at the last sample, whatever events were waited for.
    void stepPhaseOne() override;
    void stepPhaseTwo() override;
    void stepPhaseThree() override;
    void stepPhaseLast() override;
    void stepGvtWindows() override {}
    void endOfIterationGvtWindows() override {}
    // Collects the calibration's EEPROM cells (name and raw value, rounded half away from zero).
    void eepromCheck() override;

private:
    // The count leaving a moving window of `length` samples at the current step, 0 before it fills.
    int64_t leaving(unsigned int length) const;

    cStorage<unsigned int> const* m_samples = nullptr;
    cCriterionValuesForOneFile* m_filteredValues = nullptr;
    cCriterionValuesForOneFile* m_velocityValues = nullptr;
    cCriterionValuesForOneFile* m_windowedValues = nullptr;
    cCriterionValuesForOneFile* m_thresholdValues = nullptr;
    cTimeEventValuesForOneFile* m_wakeUpValue = nullptr;
    cTimeEventValuesForOneFile* m_stage1Value = nullptr;
    cTimeEventValuesForOneFile* m_stage2Value = nullptr;

    sFrontalSettings m_settings;
    // The settings in steps and per-step factors at the iteration's rate.
    unsigned int m_filterLength = 0;
    unsigned int m_windowLength = 0;
    unsigned int m_safingLength = 0;
    unsigned int m_stage2Length = 0;
    double m_kmhPerGStep = 0.0;

    // The state of the iteration at the current step.
    bool m_inFile = false;
    int64_t m_filterSum = 0;
    int64_t m_windowSum = 0;
    double m_deceleration = 0.0;
    double m_filtered = 0.0;
    double m_windowed = 0.0;
    double m_velocity = 0.0;
    double m_threshold = 0.0;
    bool m_awake = false;
    unsigned int m_safingSteps = 0;
    bool m_stage1Fired = false;
    unsigned int m_stage1Step = 0;
    bool m_stage2Fired = false;
};

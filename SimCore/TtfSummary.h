// The report structures that a host reads after a run: what the time events found, reduced to
// milliseconds (float, -1.0 for no fire) per crash file, over the crash files, against a drifted
// parameter, and the two answers of a drift study (where near the nominal value the firing decision
// turns over, and where the time to fire jumps). cTimeEvent and cTimeEventValuesForOneFile fill them.
// Plain structures with public fields: a host reads them field by field, so the order of the fields
// is part of the interface and changes only together with the hosts.
#pragma once

#include "BaseKit/cStorage.h"
#include "BaseKit/mpfClass.h"

#include <gmpxx.h>

#include <map>
#include <string>
#include <vector>

class cDriftParameter;

// A drift combination of a report: converted drift values, one per drifted parameter, in the order of
// the computation manager (vehicle, channels, unit, calibration). Unlike the combinations of the
// histogram records it is copied out of, it owns its values: a copy copies them, the destructor deletes
// them, so a report outlives the reset of the values it came from. It is still a cStorage<mpfClass*>
// for the readers of combinations; assigning to it through a plain cStorage reference would share the
// values and must not be done.
class cOwnedDriftCombination : public cStorage<mpfClass*>
{
public:
    cOwnedDriftCombination();
    cOwnedDriftCombination(cOwnedDriftCombination const& other);
    cOwnedDriftCombination& operator=(cOwnedDriftCombination const& other);
    ~cOwnedDriftCombination() override;

    // Deletes the values held, then holds copies of the values of `source`.
    void assign(cStorage<mpfClass*> const& source);
    // Deletes the values held.
    void clearValues();
};

// The report of one time event on one crash file: its extremes with their percentages and drift
// combinations, the expected values, and the percentage of each time.
struct TTFStudySummary
{
    // The combinations of the first iterations that gave the minimum and the maximum value.
    cOwnedDriftCombination minCombination;
    cOwnedDriftCombination maxCombination;
    // The crash file's expected values as text: kinds minimum, optimum, maximum ("NotDef" unlinked).
    std::string minExpected;
    std::string optExpected;
    std::string maxExpected;
    float minTime = -1.0f;
    float maxTime = -1.0f;
    float nomTime = -1.0f;
    // Decimals of the time event, for the host's texts.
    int precision = 0;
    bool valid = false;
    bool hasDisplacement = false;
    // Shares of the iterations, in percent.
    float percentNoFire = 0.0f;
    float percentAtMin = 0.0f;
    float percentAtMax = 0.0f;
    float percentAtNom = 0.0f;
    // Displacements in the algorithm's converted unit at the minimum, maximum and nominal times.
    mpf_class minDisplacement;
    mpf_class maxDisplacement;
    mpf_class nomDisplacement;
    // The combination of the first iteration that did not fire.
    cOwnedDriftCombination noFireCombination;
    // Each time (ms, -1.0 for no fire) with its share of the iterations in percent.
    std::map<float, float> timeToPercent;
};

// The report of one time event against one drifted parameter on one crash file: the head of
// TTFStudySummary, kept as a structure of its own because a host reads it by its own layout.
struct DriftStudySummary
{
    cOwnedDriftCombination minCombination;
    cOwnedDriftCombination maxCombination;
    std::string minExpected;
    std::string optExpected;
    std::string maxExpected;
    float minTime = -1.0f;
    float maxTime = -1.0f;
    float nomTime = -1.0f;
    int precision = 0;
    // Only a study of more than one iteration is worth a plot.
    bool valid = false;
};

// The report of one time event over the crash files of the current list that have its values: one
// element per crash file in every list, in list order.
struct CrashStudySummary
{
    CrashStudySummary();
    CrashStudySummary(CrashStudySummary const& other);
    CrashStudySummary(CrashStudySummary&& other);
    CrashStudySummary& operator=(CrashStudySummary const& other);
    CrashStudySummary& operator=(CrashStudySummary&& other);
    ~CrashStudySummary();

    bool valid = false;
    int precision = 0;
    cStorage<float> minTimes{20};
    cStorage<float> nomTimes{20};
    cStorage<float> maxTimes{20};
    std::vector<std::string> minExpected;
    std::vector<std::string> optExpected;
    std::vector<std::string> maxExpected;
    // Short names of the crash files.
    std::vector<std::string> crashNames;
};

// The same, named after its time event, with the share of no-fire iterations of each crash file.
struct SummaryWithTtfName : public CrashStudySummary
{
    SummaryWithTtfName();
    SummaryWithTtfName(SummaryWithTtfName const& other);
    SummaryWithTtfName(SummaryWithTtfName&& other);
    SummaryWithTtfName& operator=(SummaryWithTtfName const& other);
    SummaryWithTtfName& operator=(SummaryWithTtfName&& other);
    ~SummaryWithTtfName();

    std::string timeEventName;
    std::string description;
    std::vector<float> percentNoFire;
};

// The reports of the time events of a stage, in list order, all made over the same crash file list.
class TtfSummary : public std::vector<SummaryWithTtfName>
{
public:
    // One time event's line for one crash file.
    struct TtfInfo
    {
        std::string timeEventName;
        std::string description;
        std::string minExpected;
        std::string optExpected;
        std::string maxExpected;
        float minTime = -1.0f;
        float nomTime = -1.0f;
        float maxTime = -1.0f;
        float percentNoFire = 0.0f;
    };

    TtfSummary();
    TtfSummary(TtfSummary const& other);
    TtfSummary(TtfSummary&& other);
    TtfSummary& operator=(TtfSummary const& other);
    TtfSummary& operator=(TtfSummary&& other);
    ~TtfSummary();

    // One line per time event for the crash of this short name (exact comparison), at the position the
    // first report gives it; empty for an unknown crash or without reports. The lists are read with
    // checked access: a report over fewer crash files than the first one throws rather than reads past
    // its end.
    std::vector<TtfInfo> getCshSummary(std::string const& crashName) const;
};

// How far from the nominal value of a drifted parameter the firing decision turns over, on one crash
// file: the drift values closest to the nominal, on either side, of the iterations that decide unlike
// the nominal iteration.
struct DriftClosestNominalStudySummary
{
    struct CloseSummary
    {
        // The smallest drift value at or above the nominal value, and its iteration.
        mpf_class upperValue{-1};
        unsigned int upperIteration = 0;
        bool hasUpper = false;
        // The largest drift value at or below the nominal value, and its iteration.
        mpf_class lowerValue{-1};
        unsigned int lowerIteration = 0;
        bool hasLower = false;
    };

    bool hasIterations = false;
    cDriftParameter* drift = nullptr;
    bool nominalFires = false;
    // The drift's nominal value, converted.
    mpf_class nominalValue;
    float percentNoFire = 0.0f;
    float percentFire = 0.0f;
    // Filled when the nominal iteration fires: the iterations that do not.
    CloseSummary closestNoFire;
    // Filled when the nominal iteration does not fire: the iterations that do.
    CloseSummary closestFire;
};

// Where the time to fire jumps: the drift value at which it does, and the times on either side (ms).
struct TTFDispersionStudy
{
    mpf_class driftValue;
    double minTime = -1.0;
    double maxTime = -1.0;
};

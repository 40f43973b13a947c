// The combination map of a batch study: which calibration parameters vary, the values each one
// takes, and how the runs of the study number the cross of those values. The host hands over groups
// of parameters (as the calibration listed them) with the values chosen for them; the calibration
// asks, for each run, the value of each parameter and the name of the run. The group copies are held
// as subgroups, so that the whole configuration can be written as it was used.
#pragma once

#include "StoreKit/cConfigurationGroup.h"

#include <gmpxx.h>
#include <string>
#include <vector>

// The values one batch parameter takes: the list `values` in its order, or, when that list is empty,
// minimum, minimum + step, minimum + 2 step ... up to maximum (reached within 1e-9 of a step).
// Values are raw (LSB) values, kept to 12 decimals.
struct sBatchParameterValues
{
    std::string name{};
    // The label of the parameter in run names; empty: the initials of the name's words.
    std::string initials{};
    std::vector<mpf_class> values{};
    mpf_class minimum{};
    mpf_class maximum{};
    mpf_class step{};
};

// One group of batch parameters. Apart, the group runs every combination of its parameters' values
// (the product of their counts, the last parameter the fastest); together, the parameters move in
// step (the k-th run of the group takes the k-th value of each), so they need as many values each.
struct stParamCombinations
{
    std::vector<sBatchParameterValues> parameters{};
    bool together = false;
};

class cBatchCalibrationConfig : public cConfigurationGroup
{
public:
    explicit cBatchCalibrationConfig(std::string const& name);
    // The map points into the group copies it holds: it is neither copied nor moved.
    cBatchCalibrationConfig(cBatchCalibrationConfig const&) = delete;
    cBatchCalibrationConfig& operator=(cBatchCalibrationConfig const&) = delete;

    // Forgets the groups and the combination information.
    void clear() override;
    void clearCombinationInformation() { clear(); }

    // Adds one group of parameters: a copy of group (the caller keeps its own) becomes a subgroup,
    // and each parameter of combinations must have its "Parameter" group in it (group itself, when it
    // is one, or a direct subgroup). Returns the group's number of combinations. A null group, a
    // parameter without a description, a parameter already in the batch, one without a value, unequal
    // counts of values together, or more than 4294967295 combinations in the group throw
    // cBatchModeCreationFailedException, and nothing is added.
    unsigned int setCombinationInformationAndGroups(cConfigurationGroup const* group,
                                                    stParamCombinations const& combinations);
    // Numbers the cross of the groups from 0: the first group varies the slowest, the last the
    // fastest. More than 4294967295 runs throw cBatchModeCreationFailedException. A lookup computes
    // the map itself when the groups changed since the last call.
    void computeCombinationsMap();
    // The number of runs, 1 with no group.
    unsigned int getCombinationNumber();

    // The batch parameters, in the order of their groups, then of their parameters in the group.
    unsigned int getParameterCount() const { return static_cast<unsigned int>(m_parameters.size()); }
    std::string const& getParameterName(unsigned int parameter) const;
    bool isBatchConfigurationParameter(std::string const& name) const;
    // The label of parameter in the names of the runs; cBadListIndex for an unknown index.
    std::string getInitialsOfParameter(unsigned int parameter) const;
    // The value parameter takes in that run; cBadListIndex for an unknown run or parameter.
    mpf_class getCurrentValueOfParameters(unsigned int combination, unsigned int parameter);

    // Adds to group the items of the parameter's description as the host gave it; false, with group
    // untouched, for a name that is not a batch parameter.
    bool getGroupFromCombinationMap(cConfigurationGroup* group, std::string const& name) const;
    // Adds to group what a value file holds for the parameter in that run: "Name", "Raw Value" and,
    // for a parameter whose description has a lock state, "No Deployment Locked" false, so that the
    // value is taken. False, with group untouched, for a name that is not a batch parameter.
    bool getGroupFromCombinationMap(cConfigurationGroup* group, std::string const& name,
                                    unsigned int combination);

    // The decimal text of a batch value in run names and value groups: 12 decimals at most, without
    // trailing zeros ("12.5", "-3", "0").
    static std::string valueText(mpf_class const& value);
    // The initials of a name: the first character of each word, upper-cased. Words are separated by
    // any character other than a letter or a digit, and a capital after a small letter starts one:
    // "FRONT_THRESHOLD" gives "FT", "sideGain" "SG".
    static std::string initialsOf(std::string const& name);

private:
    struct sParameter
    {
        std::string name;
        std::string initials;
        std::vector<mpf_class> values;
        cConfigurationGroup const* description = nullptr;
        // Run r takes value (r / stride) modulo the count of values.
        unsigned long long stride = 1;
        // The index of its group and, within the group, the product of the counts of the parameters
        // after it (1 for parameters that move together).
        unsigned int group = 0;
        unsigned long long strideInGroup = 1;
    };

    sParameter const& parameterAt(unsigned int parameter, char const* function, int line) const;
    sParameter const* findParameter(std::string const& name) const;
    // The values of one parameter as the record gives them, rounded to what valueText writes.
    static std::vector<mpf_class> valuesOf(sBatchParameterValues const& record);

    std::vector<sParameter> m_parameters;
    // The number of combinations of each group, in order.
    std::vector<unsigned long long> m_groupCounts;
    unsigned int m_combinationNumber = 1;
    bool m_mapComputed = true;
};

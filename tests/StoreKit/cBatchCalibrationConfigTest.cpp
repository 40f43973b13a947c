#include "StoreKit/cBatchCalibrationConfig.h"

#include "StoreKit/cConfigurationReader.h"
#include "tests/support/cConfigurationTexts.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
// Parameters as the calibration lists them; only LOCKABLE has a lock state.
cConfigurationGroup descriptions()
{
    cConfigurationGroup list("Parameters List");
    std::string text = "Parameter {\nName = LOCKABLE\nRaw Value = 3\nNo Deployment Locked = 1\n}\n";
    for (char const* name : {"FRONT_THRESHOLD", "sideGain", "mode 2", "FOUR", "FIVE"})
        text += std::string("Parameter {\nName = ") + name + "\nUnit = g\n}\n";
    cConfigurationReader::read(text, "list.cfg", list);
    return list;
}

// Initials, value and "_" of every parameter in that run.
std::string runOf(cBatchCalibrationConfig& config, unsigned int run)
{
    std::string text;
    for (unsigned int i = 0; i < config.getParameterCount(); ++i)
        text += config.getInitialsOfParameter(i) +
                cBatchCalibrationConfig::valueText(config.getCurrentValueOfParameters(run, i)) + "_";
    return text;
}
} // namespace

// One group apart, one moving together (a label given), one apart over a range whose maximum the step
// of 0.1 reaches only within rounding: the runs are the cross, the first group the slowest and, in a
// group apart, the last parameter the fastest.
TEST(cBatchCalibrationConfig, GroupsCountTheirCombinationsAndRunsNumberTheirCross)
{
    cBatchCalibrationConfig config("Parameters List");
    cConfigurationGroup const list = descriptions();
    EXPECT_EQ(1u, config.getCombinationNumber()) << "no group: one run";
    EXPECT_EQ(2u, config.setCombinationInformationAndGroups(
                      &list, {{{.name = "FRONT_THRESHOLD", .values = {10, 20}}}}));
    EXPECT_EQ(3u, config.setCombinationInformationAndGroups(
                      &list, {{{.name = "sideGain", .minimum = 1, .maximum = 3, .step = 1},
                               {.name = "FOUR", .initials = "X", .values = {0.5, -1, mpf_class(1) / 3}}},
                              true}));
    EXPECT_EQ(8u, config.setCombinationInformationAndGroups(
                      &list, {{{.name = "mode 2", .minimum = 0, .maximum = 0.3, .step = 0.1},
                               {.name = "FIVE", .values = {7, 8}}}}));
    config.computeCombinationsMap();
    EXPECT_EQ(48u, config.getCombinationNumber());
    EXPECT_EQ(3u, config.GetChildCount()) << "a copy of each group";
    EXPECT_EQ("FOUR", config.getParameterName(2));

    unsigned int run = 0;
    for (char const* const threshold : {"10", "20"})
        for (char const* const pair : {"SG1_X0.5_", "SG2_X-1_", "SG3_X0.333333333333_"})
            for (char const* const mode : {"0", "0.1", "0.2", "0.3"})
                for (char const* const five : {"7", "8"})
                    EXPECT_EQ(std::string("FT") + threshold + "_" + pair + "M2" + mode + "_F" + five + "_",
                              runOf(config, run++));
    EXPECT_EQ("cBadListIndex|cBatchCalibrationConfig::getCurrentValueOfParameters|List index out of range.",
              failureOf([&] { config.getCurrentValueOfParameters(48, 0); }));
    EXPECT_EQ("cBadListIndex|cBatchCalibrationConfig::getInitialsOfParameter|List index out of range.",
              failureOf([&] { config.getInitialsOfParameter(5); }));

    // A run's value group has a lock state, released, only for a parameter listed with one.
    cConfigurationGroup value("Parameter");
    EXPECT_TRUE(config.getGroupFromCombinationMap(&value, "sideGain", 9));
    EXPECT_FALSE(config.getGroupFromCombinationMap(&value, "LOCKABLE", 9));
    EXPECT_TRUE(config.getGroupFromCombinationMap(&value, "FIVE"));
    EXPECT_EQ("Name=sideGain@0;Raw Value=2@0;Name=FIVE@0;Unit=g@0;", itemsOf(value));
    config.clearCombinationInformation();
    EXPECT_EQ(0u, config.getParameterCount() + config.GetChildCount());
    EXPECT_EQ(1u, config.getCombinationNumber());
    EXPECT_EQ(2u,
              config.setCombinationInformationAndGroups(&list, {{{.name = "LOCKABLE", .values = {4, 5}}}}));
    value.clear();
    EXPECT_TRUE(config.getGroupFromCombinationMap(&value, "LOCKABLE", 1));
    EXPECT_EQ("Name=LOCKABLE@0;Raw Value=5@0;No Deployment Locked=0@0;", itemsOf(value));
}

// Each refusal names its parameter and adds nothing.
TEST(cBatchCalibrationConfig, BadGroupsAreRefusedWithTheirTextAndAddNothing)
{
    cBatchCalibrationConfig config("Parameters List");
    cConfigurationGroup const list = descriptions();
    ASSERT_EQ(2u, config.setCombinationInformationAndGroups(&list, {{{.name = "FOUR", .values = {1, 2}}}}));
    std::vector<mpf_class> many(2000, 1);
    struct sCase
    {
        cConfigurationGroup const* group;
        stParamCombinations record;
        std::string text;
    };
    std::vector<sCase> const cases = {
        {nullptr, {{{.name = "FIVE", .values = {1}}}}, "Parameter group is missing"},
        {&list, {}, "Parameter group without parameter"},
        {&list, {{{.name = "GHOST", .values = {1}}}}, "Parameter not described in its group: GHOST"},
        {&list,
         {{{.name = "FIVE", .values = {1}}, {.name = "FOUR", .values = {1}}}},
         "Parameter given twice: FOUR"},
        {&list,
         {{{.name = "FIVE", .values = {1}}, {.name = "FIVE", .values = {2}}}},
         "Parameter given twice: FIVE"},
        {&list, {{{.name = "FIVE", .maximum = 1}}}, "No value for parameter: FIVE"},
        {&list, {{{.name = "FIVE", .minimum = 3, .maximum = 1, .step = 1}}}, "No value for parameter: FIVE"},
        {&list, {{{.name = "FIVE", .maximum = 1000000, .step = 1}}}, "Too many values for parameter: FIVE"},
        {&list,
         {{{.name = "FIVE", .values = {1, 2}}, {.name = "sideGain", .values = {1}}}, true},
         "Parameters varying together take different numbers of values: sideGain"},
        {&list,
         {{{.name = "FIVE", .values = many},
           {.name = "sideGain", .values = many},
           {.name = "mode 2", .values = many}}},
         "Too many combinations in the group of parameter: FIVE"},
    };
    for (sCase const& c : cases)
        EXPECT_EQ(
            "cBatchModeCreationFailedException|cBatchCalibrationConfig::setCombinationInformationAndGroups|"
            "Batch mode creation failed: " +
                c.text,
            failureOf([&] { config.setCombinationInformationAndGroups(c.group, c.record); }));
    EXPECT_EQ(1u, config.getParameterCount());
    EXPECT_EQ(1u, config.GetChildCount());
    EXPECT_EQ(2u, config.getCombinationNumber());

    // Two groups of 70000 runs cross to more runs than a batch can number.
    for (char const* name : {"FIVE", "sideGain"})
        EXPECT_EQ(70000u, config.setCombinationInformationAndGroups(
                              &list, {{{.name = name, .minimum = 1, .maximum = 70000, .step = 1}}}));
    EXPECT_EQ("cBatchModeCreationFailedException|cBatchCalibrationConfig::computeCombinationsMap|Batch mode "
              "creation failed: Too many combinations: more than 4294967295",
              failureOf([&] { config.computeCombinationsMap(); }));
}

#include "SimCore/cDriftParameter.h"

#include "StoreKit/cConfigurationWriter.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestHelpers.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <sstream>

namespace
{
using tNumbers = std::vector<double>;

// A drift made directly, so that its points and raw setters can be reached.
struct cTestDrift : cDrift
{
    cTestDrift(mpf_class nominal, mpf_class maximum, mpf_class minimum, mpf_class step, mpf_class factor = 1)
        : cDrift(nominal, maximum, minimum, step, factor, 0)
    {
    }
    using cDrift::computeSpecificPointConvertedValue, cDrift::computeSpecificPointRawValue,
        cDrift::setRawMaximumValue;
    tNumbers points() const
    {
        tNumbers result;
        for (unsigned int i = 0; i < getPointNumber(); ++i)
            result.push_back(computeSpecificPointRawValue(i).get_d());
        return result;
    }
};

struct cTestDriftParameter : cDriftParameter
{
    cTestDriftParameter(cConfigurationGroup* group, std::string const& owner) : cDriftParameter(group, owner)
    {
    }
    using cDriftParameter::buildFile;
    // "value used-maximum used-minimum used-step", the value raw and the range converted, then with a
    // drift " | nominal maximum minimum step points" in the drift's raw units.
    std::string state()
    {
        std::ostringstream text;
        text << evaluate().get_d() << " " << getUsedMaximumValue().get_d() << " "
             << getUsedMinimumValue().get_d() << " " << getUsedStepValue().get_d();
        if (cDrift const* d = getDrift())
            text << " | " << d->getRawNominalValue().get_d() << " " << d->getRawMaximumValue().get_d() << " "
                 << d->getRawMinimumValue().get_d() << " " << d->getRawStepValue().get_d() << " "
                 << d->getPointNumber();
        return text.str();
    }
};
using tDriftPtr = std::unique_ptr<cTestDriftParameter, void (*)(cParameter*)>;

struct cModuleManager : cIdleComputationManager
{
    using cComputationManager::markStatisticalModuleValid;
};

class cDriftParameterTest : public cSimCoreFixture
{
protected:
    // The count of host messages, each of which must be a posted 0x9E3 with both parameters 0.
    size_t posts() const
    {
        for (auto const& m : window.messages())
            EXPECT_TRUE(!m.sent && m.message == 0x9E3 && m.wParam == 0 && m.lParam == 0);
        return window.messages().size();
    }
    static tDriftPtr load(std::string const& keys, std::string const& owner = "")
    {
        cConfigurationGroup group = readGroup("Name = p\nMaximum Value = 100\nMinimum Value = -100\n" + keys);
        return tDriftPtr(new cTestDriftParameter(&group, owner), &cParameter::deleteInstance);
    }
};

std::string const kStepZero = "Invalid step 0: a step must be above 0.";
} // namespace

TEST_F(cDriftParameterTest, PointsGoDownThenUpIndexesWrapAndEachNewCountInvalidatesTheStatisticalModule)
{
    cModuleManager manager;
    myActiveComputationManager = &manager;
    // nominal, maximum, minimum, step -> points; below the minimum the nominal is no point.
    std::vector<std::pair<std::vector<int>, tNumbers>> const cases = {
        {{10, 20, 0, 5}, {10, 5, 0, 15, 20}},
        {{10, 19, 1, 4}, {10, 6, 2, 1, 14, 18, 19}},
        {{10, 10, 0, 5}, {10, 5, 0}},
        {{0, 20, 0, 5}, {0, 5, 10, 15, 20}},
        {{-3, 20, 0, 5}, {0, 2, 7, 12, 17, 20}}};
    for (auto const& [in, expected] : cases)
        EXPECT_EQ(expected, cTestDrift(in[0], in[1], in[2], in[3]).points())
            << in[0] << " " << in[1] << " " << in[2] << " " << in[3];
    cTestDrift d(10, 20, 0, 5, 0.5);
    EXPECT_EQ(0, d.computeSpecificPointRawValue(7));
    EXPECT_EQ(7.5, d.computeSpecificPointConvertedValue(8));
    manager.markStatisticalModuleValid();
    d.setRawMaximumValue(19);
    EXPECT_TRUE(manager.isStatisticalModuleValid()) << "still five points";
    d.setRawMaximumValue(25);
    EXPECT_FALSE(manager.isStatisticalModuleValid());
    EXPECT_EQ(2u, posts());
    manager.markStatisticalModuleValid();
    {
        // 0.1 is inexact in binary: each pass must still end on its limit, with no extra point.
        cTestDrift fine(1, 2, 0, mpf_class("0.1"));
        EXPECT_FALSE(manager.isStatisticalModuleValid()) << "a new drift";
        ASSERT_EQ(21u, fine.getPointNumber());
        EXPECT_EQ(tNumbers({0, 2}), tNumbers({fine.computeSpecificPointRawValue(10).get_d(),
                                              fine.computeSpecificPointRawValue(20).get_d()}));
        manager.markStatisticalModuleValid();
    }
    EXPECT_FALSE(manager.isStatisticalModuleValid()) << "a drift gone";
}

TEST_F(cDriftParameterTest, RefusedDriftsChangeNothingAndAReplacedDriftLeavesTheDefaultValueTellingTheHost)
{
    tDriftPtr p = load("Default = 3\nStep = 7\n");
    auto refusal = [&](int step, int distribution)
    { return failureOf([&] { p->setRawDrift(10, 20, 0, step, distribution); }); };
    EXPECT_EQ("cBadStepException|cDrift::cDrift|" + kStepZero, refusal(0, 0));
    EXPECT_EQ("cBadStepException|cDrift::cDrift|Invalid step -5: a step must be above 0.", refusal(-5, 9))
        << "the step is checked first";
    EXPECT_EQ("cUnknownDistributionTypeException|cDrift::cDrift|Unknown distribution type 2.", refusal(5, 2));
    EXPECT_EQ("3 100 -100 7", p->state());
    p->setRawDrift(10, 20, 0, 5, 0);
    EXPECT_THROW(p->setRawDrift(12, 30, 0, 0, 0), cBadStepException);
    EXPECT_EQ("10 20 0 5 | 10 20 0 5 5", p->state()) << "the drift in place survives a refused one";
    EXPECT_EQ(1u, posts());
    p->setRawDrift(12, 30, 1, 6, 0);
    EXPECT_EQ("3 30 1 6 | 12 30 1 6 6", p->state())
        << "the old drift is cleared after the new nominal was set";
    p->resetNominalValue();
    EXPECT_EQ("12 30 1 6 | 12 30 1 6 6", p->state());
    EXPECT_EQ(3u, posts());
    p->clearDrift();
    p->clearDrift();
    p->resetNominalValue();
    EXPECT_EQ("3 30 1 6", p->state()) << "no nominal left to go to; the used range stays";
    EXPECT_EQ(5u, posts());
    p->resetDrift();
    EXPECT_EQ("3 100 -100 7", p->state());
    // Releasing a parameter clears its drift, which tells the host once more.
    p->setRawDrift(10, 20, 0, 5, 0);
    p.reset();
    EXPECT_EQ(8u, posts());
}

TEST_F(cDriftParameterTest, UsedSettersReachTheDriftWhoseFactorStaysFrozen)
{
    tDriftPtr p = load("Conversion Factor = 0.5\n");
    p->setUsedMaximumValue(10);
    EXPECT_EQ("-100 10 -50 5", p->state());
    EXPECT_EQ(0u, posts()) << "no drift, nothing to tell";
    p->setConvertedDrift(5, 10, 0, 2.5, 0);
    EXPECT_EQ("10 10 0 2.5 | 10 20 0 5 5", p->state());
    p->setUsedMaximumValue(15);
    p->setUsedMaximumValue(15);
    // After setRawDrift's, one from the drift and one from the parameter; an unchanged value is not
    // forwarded.
    EXPECT_EQ(3u, posts());
    p->setUsedMinimumValue(2.5);
    p->setUsedStepValue(5);
    EXPECT_EQ("10 15 2.5 5 | 10 30 5 10 4", p->state()) << "points 10, 5, 20, 30";
    // A bad step is stored as the used step before the drift refuses it.
    EXPECT_EQ("cBadStepException|cDrift::setRawStepValue|" + kStepZero,
              failureOf([&] { p->setUsedStepValue(0); }));
    EXPECT_EQ("10 15 2.5 0 | 10 30 5 10 4", p->state());
    // A new factor moves the used values, not the drift, whose conversions keep the factor it was made with.
    p->setConversionFactor("2");
    EXPECT_EQ(15, p->getDrift()->getConvertedMaximumValue());
    p->getDrift()->setConvertedMaximumValue(20);
    EXPECT_EQ("10 60 10 0 | 10 40 5 10 5", p->state());
}

TEST(cDrift, UniformDrawsWithLimitOneGiveEachPointOnceARound)
{
    cTestDrift d(10, 19, 1, 4);
    cStorage<double> density;
    density.add(9);
    d.getStatisticalDistribution(density);
    EXPECT_EQ(tNumbers(7, 1.0 / 7), toVector(density));
    cStorage<unsigned int> counts;
    counts.add(99);
    std::srand(42);
    d.computeStatisticalDistribution(7, 1, counts);
    EXPECT_EQ(std::vector<unsigned int>(7, 1), toVector(counts));
    // Once every point is full the drawing starts over with all of them.
    d.computeStatisticalDistribution(14, 1, counts);
    EXPECT_EQ(std::vector<unsigned int>(7, 2), toVector(counts));
    d.setStatisticalDistributionType(1);
    EXPECT_THROW(d.setStatisticalDistributionType(2), cUnknownDistributionTypeException);
    EXPECT_EQ(
        "cUnknownDistributionTypeException|cDrift::getStatisticalDistribution|Unknown distribution type 1.",
        failureOf([&] { d.getStatisticalDistribution(density); }));
}

TEST_F(cDriftParameterTest, RangesAreReadWithTheirDefaultsAndClampsAndWrittenByMaskBit)
{
    // The used range follows the default range, which may be a constant expression; the step is 5
    // physical units.
    EXPECT_EQ("-100 20 -10 5",
              load("Conversion Factor = 0.5\nDefault Maximum Value = 40\nDefault Minimum Value = *(-2, 10)\n")
                  ->state());
    tDriftPtr p = load("Precision = 1\nDefault Maximum Value = 500\nDefault Minimum Value = -500\n"
                       "Used Minimum Value = -500\nStep = 4\nBatch Configuration = 1\nBatch Combine = 1\n"
                       "Path = Algo/Front\n");
    int const bits[] = {21, 22, 23, 24, 25, 26, 29, 31, 7}; // in the order their items are written
    int mask = 0;
    for (int bit : bits)
        mask |= static_cast<int>(1u << bit);
    cConfigurationGroup drift;
    p->buildFile(&drift, mask);
    std::istringstream lines(cConfigurationWriter::write(drift, nullptr));
    EXPECT_EQ(readText(SIMCORE_TEST_DATA_DIR "SimCore/drifts/mask-written.cfg"), lines.str());
    std::string line;
    std::getline(lines, line); // the name, written for every mask
    for (int bit : bits)
    {
        cConfigurationGroup one;
        p->buildFile(&one, static_cast<int>(1u << bit));
        std::getline(lines, line);
        EXPECT_EQ("Name = p\n" + line + "\n", cConfigurationWriter::write(one, nullptr)) << "bit " << bit;
    }
    cConfigurationGroup written, rewritten;
    p->buildFile(&written, -1);
    tDriftPtr again(new cTestDriftParameter(&written, ""), &cParameter::deleteInstance);
    again->buildFile(&rewritten, -1);
    EXPECT_EQ(itemsOf(written), itemsOf(rewritten));
}

TEST_F(cDriftParameterTest, SavedDriftHoldsTheValueOrTheRawDriftAndDriftsAreTracedWithTheLongName)
{
    tDriftPtr p = load("Precision = 1\nConversion Factor = 0.5\nDefault = 3\nRaw Value = 7\n", "Front");
    cConfigurationGroup parent("Computation");
    p->saveDriftConfiguration(&parent, "Vehicle", "");
    {
        cRecordingTraceSink trace(4);
        p->setRawDrift(10, 20, 2, 5, 1);
        p->saveDriftConfiguration(&parent, "Unit", "Ch1");
        p->clearDrift();
        EXPECT_EQ(
            std::vector<std::string>({"Value of parameter p changed from 7.000000 to 10.000000",
                                      "New drift created for parameter Front - p with 1.00000000000000000000"
                                      "<=5.00000000000000000000<=10.00000000000000000000",
                                      "Value of parameter p changed from 10.000000 to 3.000000",
                                      "Drift deleted for parameter: Front - p"}),
            trace.texts());
    }
    EXPECT_EQ(readText(SIMCORE_TEST_DATA_DIR "SimCore/drifts/saved-drifts.cfg"),
              cConfigurationWriter::write(parent, nullptr));
}

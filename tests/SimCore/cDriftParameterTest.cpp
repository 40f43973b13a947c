#include "SimCore/cDriftParameter.h"

#include "StoreKit/cConfigurationWriter.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestHelpers.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <numeric>
#include <sstream>
#include <tuple>

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

// The densities of a drift made Gaussian.
template <class tDrift> tNumbers gaussian(tDrift&& drift)
{
    drift.setStatisticalDistributionType(1);
    cStorage<double> density;
    drift.getStatisticalDistribution(density);
    return toVector(density);
}

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
}

TEST(cDrift, GaussianDensityIsTheMassOfEachPointsShareOfTheRangeUnderTheTruncatedNormalLaw)
{
    // nominal, maximum, minimum, step; then for each point in point order its share of the range and
    // the part of that share it holds. Reference: N(nominal, range / 6) by erf, absolute 1e-12.
    std::vector<std::pair<tNumbers, std::vector<std::array<double, 3>>>> const cases = {
        {{10, 20, 0, 5}, {{7.5, 12.5, 1}, {2.5, 7.5, 1}, {0, 2.5, 1}, {12.5, 17.5, 1}, {17.5, 20, 1}}},
        {{4, 20, 0, 5},
         {{2, 6.5, 1}, {0, 2, 1}, {6.5, 11.5, 1}, {11.5, 16.5, 1}, {16.5, 19.5, 1}, {19.5, 20, 1}}},
        // The nominal value still centres the law; the minimum comes twice and its share is split.
        {{-5, 20, 0, 5},
         {{0, 2.5, 0.5}, {0, 2.5, 0.5}, {2.5, 7.5, 1}, {7.5, 12.5, 1}, {12.5, 17.5, 1}, {17.5, 20, 1}}},
        {{25, 20, 0, 10}, {{0, 0, 0}, {10, 20, 1}, {2.5, 10, 1}, {0, 2.5, 1}}}};
    for (auto const& [in, shares] : cases)
    {
        auto mass = [&](double a, double b)
        {
            double const s = (in[1] - in[2]) / 6 * std::sqrt(2.0);
            return std::erf((b - in[0]) / s) - std::erf((a - in[0]) / s);
        };
        tNumbers const density = gaussian(cTestDrift(in[0], in[1], in[2], in[3]));
        ASSERT_EQ(shares.size(), density.size());
        for (size_t i = 0; i < shares.size(); ++i)
            EXPECT_NEAR(shares[i][2] * mass(shares[i][0], shares[i][1]) / mass(in[2], in[1]), density[i],
                        1e-12)
                << "nominal " << in[0] << ", point " << i;
    }
    // A single point holds everything; a range without width puts everything on the minimum.
    EXPECT_EQ(tNumbers({1}), gaussian(cTestDrift(5, 5, 5, 1)));
    EXPECT_EQ(tNumbers({0, 0, 0, 1}), gaussian(cTestDrift(3, 0, 0, 1)));
    // 39 sigma below the range erfc underflows, yet the mass must spread over the first shares.
    // Reference: Simpson's rule (1000 steps a share) on exp(-(x^2 - 2 x nominal) / 2 sigma^2), 1e-10.
    tNumbers const far = gaussian(cTestDrift(-130, 20, 0, 0.25)); // 0, then -129.75 up to 20
    ASSERT_EQ(601u, far.size());
    auto simpson = [](double a, double b)
    {
        auto f = [](double x) { return std::exp(-x * (x + 260) / (2 * 100.0 / 9)); };
        double const h = (b - a) / 1000;
        double sum = f(a) + f(b);
        for (int k = 1; k < 1000; ++k)
            sum += f(a + k * h) * (k % 2 ? 4 : 2);
        return sum * h / 3;
    };
    tNumbers expected(601, 0.0);
    expected[0] = expected[520] = simpson(0, 0.125) / 2;
    for (int k = 1; k <= 80; ++k)
        expected[520 + k] = simpson(0.25 * k - 0.125, std::min(0.25 * k + 0.125, 20.0));
    double const whole = std::accumulate(expected.begin(), expected.end(), 0.0);
    for (size_t i = 0; i < far.size(); ++i)
        EXPECT_NEAR(expected[i] / whole, far[i], 1e-10) << "point " << i;
}

TEST(cDrift, GaussianDrawsFollowTheDensityWithOneRandEachAndNoPointPassesItsLimit)
{
    cTestDrift d(4, 20, 0, 5);
    tNumbers const density = gaussian(d);
    unsigned int const draws = 100000;
    cStorage<unsigned int> counts;
    std::srand(7);
    d.computeStatisticalDistribution(draws, draws, counts);
    int const next = std::rand();
    std::srand(7);
    for (unsigned int i = 0; i < draws; ++i)
        std::rand();
    EXPECT_EQ(std::rand(), next);
    // Each count within 5 binomial deviations, plus 4 for the 15-bit draw, of what the density gives.
    ASSERT_EQ(6u, counts.size());
    for (size_t i = 0; i < density.size(); ++i)
        EXPECT_NEAR(draws * density[i], counts[i], 5 * std::sqrt(draws * density[i]) + 4) << "point " << i;
    EXPECT_EQ(draws, std::accumulate(counts.data(), counts.data() + counts.size(), 0u));
    // Point 0 lies outside the range: it is drawn only once the others are full, but before any
    // passes the limit.
    cTestDrift above(25, 20, 0, 10);
    above.setStatisticalDistributionType(1);
    for (auto const& [drawn, limit, expected] : {std::tuple(3u, 1u, std::vector<unsigned int>{0, 1, 1, 1}),
                                                 std::tuple(4u, 1u, std::vector<unsigned int>(4, 1)),
                                                 std::tuple(8u, 2u, std::vector<unsigned int>(4, 2))})
    {
        above.computeStatisticalDistribution(drawn, limit, counts);
        EXPECT_EQ(expected, toVector(counts)) << drawn << " draws";
    }
    EXPECT_EQ("cUnknownDistributionTypeException|cDrift::setStatisticalDistributionType|Unknown distribution "
              "type 2.",
              failureOf([&] { above.setStatisticalDistributionType(2); }));
    EXPECT_EQ("Gaussian", above.getStatisticalDistributionName());
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

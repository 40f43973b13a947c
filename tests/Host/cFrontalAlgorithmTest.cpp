#include "Host/cFrontalAlgorithm.h"

#include "Host/cReferenceCalibration.h"
#include "SimCore/cConfigurationParameter.h"
#include "SimCore/cTestMgr.h"
#include "SimCore/cTestMgrPointOfView.h"

#include "tests/support/cPipelineFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace
{
// The names of the algorithm and of its calibration.
using F = cFrontalAlgorithm;
using S = sFrontalSettings;
std::string const kExample = std::string(SIMCORE_TEST_DATA_DIR) + "../../examples/frontal/";
char const* const kCriteria[] = {F::kFilteredDeceleration, F::kVelocityChange, F::kWindowedVelocityChange,
                                 F::kStage1Threshold};
double const kStep = F::kKmhPerGSecond / 10000.0; // km/h per g and step at 10 kHz

// A haversine (1 - cos) or half-sine deceleration in g of speed change kmh over 80 ms.
double pulse(bool sine, double kmh, double t)
{
    double const T = 0.08;
    if (t >= T)
        return 0.0;
    return sine ? std::numbers::pi * kmh / 3.6 / (2.0 * T) * std::sin(std::numbers::pi * t / T) / 9.80665
                : kmh / 3.6 / T * (1.0 - std::cos(2.0 * std::numbers::pi * t / T)) / 9.80665;
}

// The shipped algorithm file and calibration description over the two-channel pipeline project; the
// unit's outputs are handed over directly, ACU_X in ADC counts.
class cFrontalAlgorithmTest : public cPipelineFixture
{
protected:
    cFrontalAlgorithmTest()
    {
        openProject();
        calibration = std::make_unique<cReferenceCalibration>(kExample + "calibration.cfg");
        myActiveCalibration = calibration.get();
        algorithm = std::make_unique<cFrontalAlgorithm>(kExample + "frontal.cfg");
        myActiveAlgorithm = algorithm.get();
        for (char const* name : kCriteria)
            algorithm->cCriterionMgr::getParameter(name)->forceUse(true);
        algorithm->changeMultiPreprocessingItem();
        crash = addCrash("crash.csh");
        runFile(crash);
    }
    ~cFrontalAlgorithmTest() override
    {
        myActiveFile = nullptr;
        algorithm.reset();
        calibration.reset();
    }

    void setRaw(char const* name, double raw)
    {
        calibration->getParameter(name)->setRawValue(mpf_class(raw), /*update=*/false, /*applyLimits=*/false);
    }
    // ACU_X as the unit delivers it (the dummy element first), ACU_Y at rest.
    void handOver(std::vector<float> const& counts, float rate)
    {
        for (cChannel* channel : channels())
        {
            cSignalStorage<float>& out = *myActiveUnit->getOutputStorage(channel);
            out.clear();
            out.setSamplingRate(rate);
            out.setT0(0);
            out.add(0.0f);
            for (float count : counts)
                out.add(channel == channels()[0] ? count : 0.0f);
        }
        algorithm->ProcessMessage(RUN_TEST_MSG, new cMessage(myActiveUnit));
    }
    // -400 counts (20 g of deceleration) from step 5 on, 200 steps at 10 kHz.
    void handOverConstantDeceleration()
    {
        std::vector<float> counts(200, -400.0f);
        std::fill(counts.begin(), counts.begin() + 5, 0.0f);
        handOver(counts, 10000.0f);
    }
    // A deceleration in g sampled at 4 kHz from crash time zero for 200 ms, in counts of 0.05 g.
    template <typename F> void handOverPulse(F deceleration)
    {
        std::vector<float> counts;
        for (unsigned int i = 0; i <= 800; ++i)
            counts.push_back(std::round(-deceleration(i / 4000.0) / 0.05f));
        handOver(counts, 4000.0f);
    }

    cTimeEventValuesForOneFile* event(char const* name) const
    {
        return algorithm->cTimeEventMgr::getParameter(name)->getActiveTimeEventValuesForOneFile();
    }
    long tick(char const* name) const { return event(name)->getIterationValue(); }
    // The criterion at a step (its curve holds the dummy element first).
    float value(char const* name, unsigned int step) const
    {
        return algorithm->cCriterionMgr::getParameter(name)
            ->getActiveCriterionValuesForOneFile()
            ->getIterationValueList()[step + 1];
    }

    std::unique_ptr<cReferenceCalibration> calibration;
    std::unique_ptr<cFrontalAlgorithm> algorithm;
    cKynFile* crash = nullptr;
};
} // namespace

// 20 g from step 5 at 10 kHz, m = n - 4 steps into it. Filtered: 5, 10, 15, then 20 g, so it wakes at
// step 5 (tick 10 at 20 kHz) and safing (6 g held 3 steps more) holds from step 9. Velocity change
// 19 g x m steps, windowed 20 g x min(m, 10) steps; threshold 0.3 + 0.5 v. Windowed - 0.5 v =
// 0.0370691 m km/h reaches 0.3 at m = 9: stage 1 at step 13 (tick 26). The windowed change reaches
// 0.68 km/h at m = 10: stage 2 at step 14, one step into its 2-step window. The displacement at stage 1
// is 400 x (1 + ... + 9) counts.
TEST_F(cFrontalAlgorithmTest, AConstantDecelerationFiresAtTheStepsOfTheClosedForms)
{
    calibration->open(std::string(SIMCORE_TEST_DATA_DIR) + "Host/frontal/constant-deceleration.cal", false);
    handOverConstantDeceleration();
    EXPECT_EQ((std::vector<long>{10, 26, 28}),
              (std::vector<long>{tick(F::kWakeUp), tick(F::kFireStage1), tick(F::kFireStage2)}));
    EXPECT_EQ(18000.0, event(F::kFireStage1)->getComputedDisplacement().get_d());
    EXPECT_EQ(0.0f, value(F::kVelocityChange, 4)) << "asleep before the pulse";
    EXPECT_FLOAT_EQ(10.0f, value(F::kFilteredDeceleration, 6));
    EXPECT_FLOAT_EQ(20.0f, value(F::kFilteredDeceleration, 13));
    EXPECT_FLOAT_EQ(float(19 * 9 * kStep), value(F::kVelocityChange, 13));
    EXPECT_FLOAT_EQ(float(20 * 9 * kStep), value(F::kWindowedVelocityChange, 13));
    EXPECT_FLOAT_EQ(float(20 * 10 * kStep), value(F::kWindowedVelocityChange, 150));
    EXPECT_FLOAT_EQ(float(0.3 + 0.5 * 19 * 9 * kStep), value(F::kStage1Threshold, 13));

    // Stage 2 may fire only within its window: one step (the step of stage 1) is too short.
    setRaw(S::kStage2Window, 1);
    handOverConstantDeceleration();
    EXPECT_EQ(26, tick(F::kFireStage1));
    EXPECT_EQ(-1, tick(F::kFireStage2));
    // A longer safing time delays stage 1 to step 16 (11 steps at 6 g), where 0.7060788 km/h still
    // passes 0.3 + 0.5 x 12 x 19 g steps = 0.7024649; one step more and the rising threshold has
    // passed the saturated window for good.
    setRaw(S::kSafingTime, 10);
    handOverConstantDeceleration();
    EXPECT_EQ(32, tick(F::kFireStage1));
    setRaw(S::kSafingTime, 11);
    handOverConstantDeceleration();
    EXPECT_EQ(-1, tick(F::kFireStage1));
}

// Each threshold and window locked alone on its No Deployment value stops the firing it governs
// (stage 2's stop stage 2 only); an empty filter or window even with the thresholds at 0, outside
// their bounds; all locked, as the description leaves them, nothing even wakes up.
TEST_F(cFrontalAlgorithmTest, NoDeploymentValuesPreventFiring)
{
    std::string const values = std::string(SIMCORE_TEST_DATA_DIR) + "Host/frontal/constant-deceleration.cal";
    std::vector<cLockableParameter*> lockable;
    for (char const* name : S::kNames)
        if (auto* const parameter = dynamic_cast<cLockableParameter*>(calibration->getParameter(name)))
            lockable.push_back(parameter);
    ASSERT_EQ(8u, lockable.size());
    for (cLockableParameter* parameter : lockable)
    {
        calibration->open(values, false);
        parameter->lockOnNoDeploymentValue(true, false);
        handOverConstantDeceleration();
        bool const stage2 = parameter->getName().find("Stage 2") == 0;
        EXPECT_EQ(stage2 ? 26 : -1, tick(F::kFireStage1)) << parameter->getName();
        EXPECT_EQ(-1, tick(F::kFireStage2)) << parameter->getName();
    }
    calibration->open(values, false);
    for (char const* threshold : {S::kWakeUpThreshold, S::kStage1Threshold, S::kSafingDeceleration})
        setRaw(threshold, 0);
    setRaw(S::kFilterTime, 0);
    handOverConstantDeceleration();
    EXPECT_EQ(-1, tick(F::kWakeUp));
    setRaw(S::kFilterTime, 4);
    setRaw(S::kStage1Window, 0);
    handOverConstantDeceleration();
    EXPECT_EQ(0, tick(F::kWakeUp));
    EXPECT_EQ(-1, tick(F::kFireStage1));
    for (cLockableParameter* parameter : lockable)
        parameter->lockOnNoDeploymentValue(true, false);
    handOverConstantDeceleration();
    EXPECT_EQ(-1, tick(F::kWakeUp));
}

// The shipped values at 4 kHz (5 ticks a step). On 80 ms haversine and half-sine pulses, 56 km/h fires
// stage 1 before the 5-30 time (14.0 and 11.7 ms) and stage 2, 26 km/h stage 1 alone, 16 and 8 km/h
// nothing. A hammer blow (1 ms of 150 g) passes the threshold, but the filtered deceleration does not
// hold the safing time; a rough road (4 g at 15 Hz) wakes it and holds safing for long stretches, yet
// stays below the threshold, and each period's acceleration half takes its velocity change back to 0.
TEST_F(cFrontalAlgorithmTest, TheShippedValuesFireForSevereCrashesOnly)
{
    calibration->open(kExample + "frontal.cal", true);
    for (bool const sine : {false, true})
    {
        handOverPulse([&](double t) { return pulse(sine, 56.0, t); });
        EXPECT_GE(tick(F::kFireStage1), 5 * 20) << sine;
        EXPECT_LE(tick(F::kFireStage1), (sine ? 11.7 : 14.0) * 20) << sine;
        EXPECT_GT(tick(F::kFireStage2), tick(F::kFireStage1)) << sine;
        handOverPulse([&](double t) { return pulse(sine, 26.0, t); });
        EXPECT_NE(-1, tick(F::kFireStage1)) << sine;
        EXPECT_EQ(-1, tick(F::kFireStage2)) << sine;
        for (double const kmh : {16.0, 8.0})
        {
            handOverPulse([&](double t) { return pulse(sine, kmh, t); });
            EXPECT_NE(-1, tick(F::kWakeUp)) << sine << kmh;
            EXPECT_EQ(-1, tick(F::kFireStage1)) << sine << kmh;
        }
    }
    EXPECT_TRUE(messages.entries().empty());

    handOverPulse(
        [](double t)
        { return t >= 0.01 && t < 0.011 ? 150.0 * std::sin(std::numbers::pi * (t - 0.01) / 0.001) : 0.0; });
    EXPECT_EQ(-1, tick(F::kFireStage1));
    bool passed = false;
    for (unsigned int step = 0; step < 800; ++step)
        passed = passed || value(F::kWindowedVelocityChange, step) >= value(F::kStage1Threshold, step);
    EXPECT_TRUE(passed) << "the safing condition is what keeps it from firing";

    handOverPulse([](double t) { return 4.0 * std::sin(2.0 * std::numbers::pi * 15.0 * t); });
    EXPECT_NE(-1, tick(F::kWakeUp));
    EXPECT_EQ(-1, tick(F::kFireStage1));
    float highest = 0.0f;
    for (unsigned int step = 0; step < 800; ++step)
        highest = std::max(highest, value(F::kVelocityChange, step));
    EXPECT_LT(highest, 3.0f);
    EXPECT_EQ(0.0f, value(F::kVelocityChange, 266));
    EXPECT_EQ(0.0f, value(F::kVelocityChange, 533));
}

// The tail loop steps to the last sample: with no graph the stage stops waiting at once and the tail
// does all the work, with the shipped view registered every step runs before the tail; the time
// events, their displacements and the criteria's last values are the same.
TEST_F(cFrontalAlgorithmTest, TimeEventsDoNotDependOnTheRegisteredGraphs)
{
    calibration->open(kExample + "frontal.cal", true);
    auto const results = [&]
    {
        handOverPulse([](double t) { return pulse(false, 56.0, t); });
        std::vector<double> seen;
        for (char const* name : {F::kWakeUp, F::kFireStage1, F::kFireStage2})
            seen.insert(seen.end(), {double(tick(name)), event(name)->getComputedDisplacement().get_d()});
        for (char const* name : kCriteria)
            seen.push_back(value(name, 799));
        return seen;
    };
    std::vector<double> const alone = results();
    EXPECT_TRUE(algorithm->cTimeEventMgr::canBeStopped());
    EXPECT_NE(-1.0, alone[4]) << "stage 2 fired";

    auto* const test = new cTestMgr("GVT");
    auto* const view = new cTestMgrPointOfView(algorithm.get(), test);
    test->addPointOfView(view);
    view->setConfigurationGVT(algorithm->getTestCfgGroup()->GetConfigurationGroups()[0]);
    myActiveComputationManager->addTest(test);
    runFile(crash);
    ASSERT_FALSE(algorithm->cTimeEventMgr::canBeStopped());
    EXPECT_EQ(alone, results());
    // The view points to the algorithm, which goes before the project.
    myActiveComputationManager->removeAllTests();
}

// The EEPROM check collects each calibration cell's raw value; the algorithm needs ACU_X.
TEST_F(cFrontalAlgorithmTest, EepromCellsAndChannel)
{
    calibration->open(kExample + "frontal.cal", true);
    algorithm->eepromCheckRequest(true);
    runFile(crash);
    std::string cells;
    cAlgorithm::tEepromCursor cursor;
    for (auto const* cell = algorithm->firstEepromValueList(cursor); cell != nullptr;
         cell = algorithm->nextEepromValueList(cursor))
        cells += cell->first + "=" + std::to_string(cell->second) + " ";
    EXPECT_EQ("FRT_FILT_T=20 FRT_S1_THR=114 FRT_S1_WIN=60 FRT_S2_THR=400 FRT_S2_WIN=300 FRT_SAF_A=300 "
              "FRT_SAF_T=30 FRT_WAKE_A=200 ",
              cells);

    openProject({"ACU_Y"});
    EXPECT_EQ("cGenericException|cFrontalAlgorithm::endMultiPreprocessingItem|The frontal algorithm reads "
              "the channel ACU_X, which the preprocessing set does not have.",
              failureOf([&] { algorithm->changeMultiPreprocessingItem(); }));
}

#include "SimCore/TtfSummary.h"

#include "BaseKit/IHostWindow.h"
#include "PlotKit/cCountGraphSerie.h"
#include "PlotKit/cMinNomMaxByStringGraphSerie.h"
#include "PlotKit/cMinNomMaxByValueGraphSerie.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cTestMgr.h"
#include "SimCore/cTimeEvent.h"
#include "tests/support/cPipelineFixture.h"
#include "tests/support/cTestCalibration.h"
#include "tests/support/cTestHelpers.h"
#include "tests/support/cThresholdAlgorithm.h"
#include "tests/support/cWaitingWindow.h"

#include <gtest/gtest.h>

#include <memory>
#include <numeric>
#include <string>
#include <vector>

namespace
{
// The threshold algorithm over three crash files with its Threshold drifted over 5 points, in the order
// 10 5 15 20 25. crash.bin and CRASH.mme hold the pulse 0 -2 -8 -20 -12 -4; crash.csh is rewritten with
// 0 -6 -12 -16 -30 -4. At 10000 ticks per second a step is 0.1 ms, so the iterations fire at
// crash.bin and CRASH.mme: 0.3 0.2 0.3 0.3 NF;  crash.csh: 0.2 0.1 0.3 0.4 0.4.
class TtfSummaryTest : public cPipelineFixture
{
protected:
    void SetUp() override
    {
        writeText(tempPath("crash.csh"),
                  "CSH 1\nChannel = ACU_X\nUnit = g\nSampling Rate = 10000\nSamples = 6\n"
                  "Channel = ACU_Y\nUnit = g\nSampling Rate = 10000\nSamples = 6\n"
                  "Data = ACU_X\n0\n-6\n-12\n-16\n-30\n-4\n"
                  "Data = ACU_Y\n0\n0\n0\n0\n0\n0\n");
        openProject();
        calibration = std::make_unique<cTestCalibration>(tempPath("calibration.cfg"));
        myActiveCalibration = calibration.get();
        algorithm = std::make_unique<cThresholdAlgorithm>(tempPath("algorithm.cfg"));
        myActiveAlgorithm = algorithm.get();
        algorithm->start(0, nullptr, 0);
        // The reports against a drift read the value of every iteration.
        algorithm->fullMarginFeatureRequest(true);
        files = {addCrash("crash.bin"), addCrash("crash.csh"), addCrash("CRASH/CRASH.mme")};
        threshold = calibration->getParameter("Threshold");
        threshold->setRawDrift(10, 25, 5, 5, 0);
        cComputationManager& manager = *myActiveComputationManager;
        manager.addTest(new cTestMgr("Test"));
        manager.startTest();
        ASSERT_TRUE(host.ended.waitFor(1));
        cKynThread::waitUntilPipelineIdle();
        ASSERT_EQ(computationsFinished, manager.getComputationsState());
        fire = algorithm->cTimeEventMgr::getParameter("Fire");
    }
    void TearDown() override
    {
        if (myActiveComputationManager != nullptr)
            myActiveComputationManager->removeAllTests();
        myActiveFile = nullptr;
        myActiveAlgorithm = nullptr;
        algorithm.reset();
        myActiveCalibration = nullptr;
        calibration.reset();
        project.reset();
    }
    cTimeEventValuesForOneFile* values(unsigned int file) const
    {
        return fire->getTimeEventValueList(files[file]);
    }
    // Ticks of 0.1 ms as the reports give them.
    static float ms(long ticks) { return float(double(ticks) * (1000.0 / 10000.0)); }
    static std::vector<float> list(cStorage<float> const& times)
    {
        return std::vector<float>(times.data(), times.data() + times.size());
    }

    cWaitingWindow host;
    std::unique_ptr<cTestCalibration> calibration;
    std::unique_ptr<cThresholdAlgorithm> algorithm;
    std::vector<cKynFile*> files;
    cDriftParameter* threshold = nullptr;
    cTimeEvent* fire = nullptr;
};
} // namespace

TEST_F(TtfSummaryTest, ThresholdStudyOverThreeCrashFiles)
{
    std::vector<long> stored;
    for (unsigned int i = 0; i < 3; ++i)
        stored.insert(stored.end(),
                      {values(i)->getMinValue(), values(i)->getNomValue(), values(i)->getMaxValue()});
    EXPECT_EQ((std::vector<long>{2, 3, 3, 1, 2, 4, 2, 3, 3}), stored);

    TtfSummary const summary = algorithm->CalculateTtfSummary(nullptr);
    ASSERT_EQ(1u, summary.size());
    SummaryWithTtfName const& crashes = summary[0];
    EXPECT_TRUE(crashes.valid);
    EXPECT_EQ((std::vector<std::string>{"crash.bin", "crash.csh", "CRASH.mme"}), crashes.crashNames);
    EXPECT_EQ((std::vector<float>{ms(2), ms(1), ms(2)}), list(crashes.minTimes));
    EXPECT_EQ((std::vector<float>{ms(3), ms(2), ms(3)}), list(crashes.nomTimes));
    EXPECT_EQ((std::vector<float>{ms(3), ms(4), ms(3)}), list(crashes.maxTimes));
    EXPECT_EQ((std::vector<float>{20, 0, 20}), crashes.percentNoFire);

    // crash.bin: one bin per time, the shares summing to 100, the thresholds of the first iterations
    // that gave the minimum, the maximum and no fire.
    TTFStudySummary study;
    cCountGraphSerie counts;
    fire->buildPerCentSerie(&counts, files[0], study);
    EXPECT_EQ((std::map<float, float>{{-1.0f, 20}, {ms(2), 20}, {ms(3), 60}}), study.timeToPercent);
    EXPECT_EQ(100.0f, std::accumulate(study.timeToPercent.begin(), study.timeToPercent.end(), 0.0f,
                                      [](float sum, auto const& bin) { return sum + bin.second; }));
    ASSERT_EQ(3u, counts.getBins().size());
    EXPECT_EQ(3u, counts.getBins()[2].count);
    EXPECT_EQ((std::vector<float>{20, 20, 60, 60}),
              (std::vector<float>{study.percentNoFire, study.percentAtMin, study.percentAtMax,
                                  study.percentAtNom}));
    ASSERT_EQ(1u, study.minCombination.size());
    EXPECT_EQ(
        (std::vector<double>{5, 10, 25}),
        (std::vector<double>{study.minCombination[0]->get().get_d(), study.maxCombination[0]->get().get_d(),
                             study.noFireCombination[0]->get().get_d()}));
    EXPECT_TRUE(study.hasDisplacement && study.nomDisplacement != 0);
    EXPECT_EQ(mpf_class(values(0)->getMaxDisplacement() * 0.5), study.maxDisplacement) << "factor 0.5";

    // The bars: the first crash file on top, each row nominal, maximum, minimum.
    CrashStudySummary bars;
    cMinNomMaxByStringGraphSerie rows;
    fire->buildCrashMinNomMaxSerie(&rows, bars);
    ASSERT_EQ(3u, rows.getRows().size());
    EXPECT_EQ("CRASH.mme crash.bin", rows.getRows()[0].name + " " + rows.getRows()[2].name);
    EXPECT_EQ((std::vector<float>{ms(2), ms(4), ms(1)}), rows.getRows()[1].times);

    DriftStudySummary drift;
    cMinNomMaxByValueGraphSerie points;
    fire->buildDriftMinNomMaxSerie(&points, files[1], threshold, drift);
    std::vector<float> plotted;
    for (sTimeValuePoint const& point : points.getPoints())
        plotted.insert(plotted.end(), {point.value, point.time});
    EXPECT_EQ((std::vector<float>{10, ms(2), 5, ms(1), 15, ms(3), 20, ms(4), 25, ms(4)}), plotted);

    // crash.bin stops firing above its deepest sample, 20: the nearest no-fire is at 25 (iteration 4).
    DriftClosestNominalStudySummary close;
    values(0)->buildClosestDriftCombinationsSerie(threshold, close);
    EXPECT_TRUE(close.nominalFires && close.closestNoFire.hasUpper && !close.closestNoFire.hasLower);
    EXPECT_EQ((std::vector<double>{10, 80, 25, 4}),
              (std::vector<double>{close.nominalValue.get_d(), close.percentFire,
                                   close.closestNoFire.upperValue.get_d(),
                                   double(close.closestNoFire.upperIteration)}));
    values(1)->buildClosestDriftCombinationsSerie(threshold, close);
    EXPECT_EQ(100.0f, close.percentFire);
    EXPECT_FALSE(close.closestNoFire.hasUpper || close.closestNoFire.hasLower);

    // From 5 to 10 the threshold passes the sample -8 of crash.bin: the fire moves from 0.2 to 0.3 ms.
    // The parameter stands on its nominal 10 again after the run.
    cStorage<TTFDispersionStudy*> jumps(4);
    values(0)->buildTTFDispersionStudy(0.05, threshold, jumps);
    ASSERT_EQ(1u, jumps.size());
    EXPECT_EQ(
        (std::vector<double>{10, 0.2, ms(3)}),
        (std::vector<double>{jumps[0]->driftValue.get_d(), jumps[0]->minTime, float(jumps[0]->maxTime)}));
    // Up to 25, the only move of more than 0.15 ms is the one to no fire, which is no jump.
    threshold->setRawValue(mpf_class(25), /*update=*/false, /*applyLimits=*/true);
    values(0)->buildTTFDispersionStudy(0.15, threshold, jumps);
    values(1)->buildTTFDispersionStudy(0.15, threshold, jumps);
    EXPECT_EQ(1u, jumps.size());
    delete jumps[0];
}

#include "SimCore/cAlgorithm.h"

#include "SimCore/cTestMgrPointOfView.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cConfigurationWriter.h"

#include "tests/support/cAlgorithmFixture.h"
#include "tests/support/cConfigurationTexts.h"
#include "tests/support/cPipelineFixture.h"
#include "tests/support/cTestCalibration.h"
#include "tests/support/cTestHelpers.h"
#include "tests/support/cThresholdAlgorithm.h"

#include <gtest/gtest.h>
#include <vector>

namespace
{
std::vector<float> curve(cCriterionValuesForOneFile const* values)
{
    std::vector<float> out;
    for (unsigned int i = 0; i < values->getSize(); ++i)
        out.push_back(values->getIterationValueList()[i]);
    return out;
}

class cAlgorithmTest : public cAlgorithmFixture
{
protected:
    // A used and an unused criterion of one crash file, ready for an iteration at 1000 Hz.
    void startCriteria()
    {
        algorithm.loadCriteria("Criterion {\nName = Used\n}\nCriterion {\nName = Unused\n}\n");
        algorithm.criterion("Used")->forceUse(true);
        myActiveFile = addCrash("/crashes/front_56kph.csh");
        startIteration();
        used = algorithm.criterion("Used")->getActiveCriterionValuesForOneFile();
        unused = algorithm.criterion("Unused")->getActiveCriterionValuesForOneFile();
        algorithm.m_samplingRate = 1000.0f;
    }
    cCriterionValuesForOneFile* used = nullptr;
    cCriterionValuesForOneFile* unused = nullptr;
};
} // namespace

TEST_F(cAlgorithmTest, CriterionWriterStoresTheDummyFirstAndDerivesTheRateAtTheThirdElement)
{
    startCriteria();
    algorithm.m_t0 = 500;
    // Fed at every second step from step 4: the curve's T0 counts whole seconds from the stage's, and
    // its rate counts the steps from there (kept as existing results were computed).
    for (unsigned int step : {4u, 6u, 8u})
    {
        algorithm.m_currentSampleIndex = step;
        algorithm.addValueToCriterion(used, float(step) / 2 - 0.5f);
        if (step < 8)
            algorithm.addValueToCriterion(unused, float(step) / 2 - 0.5f);
        EXPECT_EQ(step == 4 ? 0.0f : 1000.0f / 6.0f, used->getSamplingRate()) << step;
    }
    EXPECT_EQ((std::vector<float>{0.0f, 1.5f, 2.5f, 3.5f}), curve(used));
    EXPECT_EQ(500, used->getT0());

    // The unused criterion keeps its last value only.
    EXPECT_EQ(0u, unused->getSize());
    EXPECT_TRUE(unused->hasPoints());
    EXPECT_EQ(2.5f, unused->getValue(17));
    EXPECT_EQ(2.5f, unused->getLastValue());

    // A start at 1.5 s rounds half away from zero to 2 s.
    algorithm.prepareForTestResults();
    algorithm.m_currentSampleIndex = 1500;
    algorithm.addValueToCriterion(used, 7.0f);
    EXPECT_EQ(2000500, used->getT0());
    EXPECT_EQ((std::vector<float>{0.0f, 7.0f}), curve(used));
}

TEST_F(cAlgorithmTest, ConstantCriterionSpansTheFileAndNeedsTwoSteps)
{
    startCriteria();
    algorithm.m_t0 = 300;
    algorithm.m_sampleCount = 1;
    algorithm.setConstant2PointsCriterion(used, 4.0f);
    EXPECT_FALSE(used->hasPoints() || used->isAConstant2PointsCriterion());

    algorithm.m_sampleCount = 11;
    algorithm.setConstant2PointsCriterion(used, 4.0f);
    algorithm.setConstant2PointsCriterion(unused, 4.0f);
    EXPECT_EQ((std::vector<float>{0.0f, 4.0f, 4.0f}), curve(used));
    EXPECT_EQ(100.0f, used->getSamplingRate());
    EXPECT_EQ(300, used->getT0());
    EXPECT_TRUE(used->isAConstant2PointsCriterion());
    EXPECT_EQ(4.0f, unused->getLastValue());
    EXPECT_EQ(0u, unused->getSize());
    EXPECT_TRUE(unused->isAConstant2PointsCriterion());
}

TEST_F(cAlgorithmTest, TimeEventWriterRoundsTheTickAndTheFirstWriterWins)
{
    algorithm.loadTimeEvents("Time Event {\nName = TTF\n}\nTime Event {\nName = Late\n}\n");
    algorithm.setTimeEventsPrecisionFrequency(10000);
    myActiveFile = addCrash("/crashes/front_56kph.csh");
    startIteration();
    cTimeEventValuesForOneFile* const ttf = algorithm.timeEvent("TTF")->getActiveTimeEventValuesForOneFile();
    cTimeEventValuesForOneFile* const late =
        algorithm.timeEvent("Late")->getActiveTimeEventValuesForOneFile();
    algorithm.m_samplingRate = 2000.0f;
    algorithm.m_t0 = 1500;
    algorithm.m_currentSampleIndex = 7;
    // 1500 us * 0.01 + 5 * 7 + 10 * 0.25 = 52.5 ticks, half away from zero.
    algorithm.setTimeEventValue(ttf, 0.25);
    algorithm.setTimeEventValueFromSpecificIteration(ttf, 1, 0.0);
    EXPECT_EQ(53, ttf->getIterationValue());
    algorithm.setTimeEventValueFromSpecificIteration(late, 3, -2.0);
    EXPECT_EQ(15 + 15 - 20, late->getIterationValue());
    EXPECT_EQ(10000, algorithm.timeEvent("Late")->getPrecisionFrequency());
    EXPECT_FLOAT_EQ(3.0f, algorithm.getTimeValueInMs(3));
}

TEST_F(cAlgorithmTest, TimeEventDisplacementFollowsTheDelayBranches)
{
    algorithm.loadTimeEvents("Time Event {\nName = TTF\nCompute Displacement = 1\n}\n");
    algorithm.setTimeEventsPrecisionFrequency(1000);
    myActiveFile = addCrash("/crashes/front_56kph.csh");
    for (int i = 0; i < 10; ++i)
        algorithm.addDisplacement(mpf_class(10 * i));
    startIteration();
    cTimeEventValuesForOneFile* const ttf = algorithm.timeEvent("TTF")->getActiveTimeEventValuesForOneFile();
    algorithm.m_samplingRate = 2000.0f;
    struct sCase
    {
        unsigned int sample;
        double delay, displacement;
    };
    for (sCase const c :
         {sCase{7, 0.0, 70.0}, sCase{12, 0.0, -99.0}, // past the list: left as it was
          sCase{7, 1.0, 90.0},                        // 2 whole steps later, clamped to the last
          sCase{3, 1.0, 50.0}, sCase{7, 0.25, 0.0},   // between steps at a positive index: the first
          sCase{0, 0.25, 5.0},                        // between steps 0 and 1: interpolated
          sCase{0, -0.75, 90.0}})                     // before the list: the last value
    {
        ttf->setForced(-1);
        ttf->setComputedDisplacement(mpf_class(-99));
        algorithm.setTimeEventValueFromSpecificIteration(ttf, c.sample, c.delay);
        EXPECT_EQ(c.displacement, ttf->getComputedDisplacement().get_d()) << c.sample << " " << c.delay;
    }
}

TEST_F(cAlgorithmTest, DisplacementListMaximumAndConversion)
{
    EXPECT_EQ(0.0, algorithm.getMaxDisplacement().get_d());
    for (int d : {3, 12, -40})
        algorithm.addDisplacement(mpf_class(d));
    EXPECT_EQ(12.0, algorithm.getMaxDisplacement().get_d());
    algorithm.setDisplacementConversionFactor("2.5");
    EXPECT_EQ(30.0, algorithm.computeConvertedDisplacementValue(mpf_class(12)).get_d());
    cStorage<mpfClass*> converted = algorithm.getConvertedDisplacement();
    cStorage<mpfClass*> copy = algorithm.getDisplacement();
    ASSERT_EQ(3u, converted.size());
    ASSERT_EQ(3u, copy.size());
    EXPECT_EQ(-100.0, converted[2]->get().get_d());
    EXPECT_EQ(-40.0, copy[2]->get().get_d());
    EXPECT_NE(copy[2], algorithm.getDisplacementList()[2]);
    for (unsigned int i = 0; i < 3; ++i)
    {
        delete converted[i];
        delete copy[i];
    }
}

TEST_F(cAlgorithmTest, ExtraTimeEventsAreThoseOfTheLastExtraGroup)
{
    algorithm.loadTimeEvents("Time Event {\nName = Own\n}\n");
    cConfigurationGroup extra;
    cConfigurationReader::read("Time Event {\nName = X\n}\nTime Event {\nName = Y\n}\n", "extra.cfg", extra);
    algorithm.loadExtraTimeEvents(&extra);
    EXPECT_FALSE(algorithm.isExtraTimeEvent(algorithm.timeEvent("Own")));
    EXPECT_TRUE(algorithm.isExtraTimeEvent(algorithm.timeEvent("X")));
    EXPECT_TRUE(algorithm.isExtraTimeEvent(algorithm.timeEvent("Y")));
    cConfigurationGroup more;
    cConfigurationReader::read("Time Event {\nName = Z\n}\n", "more.cfg", more);
    algorithm.loadExtraTimeEvents(&more);
    algorithm.loadExtraTimeEvents(nullptr);
    EXPECT_FALSE(algorithm.isExtraTimeEvent(algorithm.timeEvent("X")));
    EXPECT_TRUE(algorithm.isExtraTimeEvent(algorithm.timeEvent("Z")));
    EXPECT_EQ(4u, algorithm.cTimeEventMgr::getParameterListSize());
}

namespace
{
// The threshold algorithm on the pipeline project, with its calibration, as a host sets them up.
class cAlgorithmStageTest : public cPipelineFixture
{
protected:
    cAlgorithmStageTest()
    {
        openProject();
        project->setECUVersionNumber("SW 3.1");
        calibration = std::make_unique<cTestCalibration>(tempPath("calibration.cfg"));
        myActiveCalibration = calibration.get();
        algorithm = std::make_unique<cThresholdAlgorithm>(tempPath("algorithm.cfg"));
        myActiveAlgorithm = algorithm.get();
        algorithm->cCriterionMgr::getParameter("Acceleration")->forceUse(true);
        algorithm->changeMultiPreprocessingItem();
        crash = addCrash("crash.csh");
    }
    ~cAlgorithmStageTest() override
    {
        myActiveFile = nullptr;
        algorithm.reset();
        calibration.reset();
    }
    cTimeEventValuesForOneFile* fire() const
    {
        return algorithm->cTimeEventMgr::getParameter("Fire")->getActiveTimeEventValuesForOneFile();
    }
    // The unit's outputs as given, then one hand-over to the algorithm.
    void handOver(std::vector<std::pair<long, std::vector<float>>> const& signals)
    {
        for (unsigned int i = 0; i < signals.size(); ++i)
        {
            cSignalStorage<float>& out = *myActiveUnit->getOutputStorage(channels()[i]);
            out.clear();
            out.setSamplingRate(10000.0f);
            out.setT0(signals[i].first);
            for (float v : signals[i].second)
                out.add(v);
        }
        algorithm->ProcessMessage(RUN_TEST_MSG, new cMessage(myActiveUnit));
    }

    std::unique_ptr<cTestCalibration> calibration;
    std::unique_ptr<cThresholdAlgorithm> algorithm;
    cKynFile* crash = nullptr;
};
} // namespace

// ACU_X decelerates 2, 8, 20 g at 10 kHz: a threshold of 10 fires at step 3 (tick 3 at 10000 ticks per
// second), where the twice integrated acceleration is -2 - 12 - 42; later steps write again in vain.
// The criterion's curve has the unit's rate and T0.
TEST_F(cAlgorithmStageTest, OneCrashFileRunsFromTheVehicleToTheTimeEvents)
{
    runFile(crash);
    ASSERT_EQ(1u, algorithm->iterations.size());
    EXPECT_EQ(3, fire()->getIterationValue());
    EXPECT_EQ(-42.0, fire()->getComputedDisplacement().get_d());
    cCriterionValuesForOneFile const* const curve =
        algorithm->cCriterionMgr::getParameter("Acceleration")->getActiveCriterionValuesForOneFile();
    EXPECT_EQ((std::vector<float>{0, -2, -8, -20, -12, -4}), samples(curve->getIterationValueList()));
    EXPECT_EQ(10000.0f, curve->getSamplingRate());
    EXPECT_EQ(0, curve->getT0());
    EXPECT_EQ(1u, myActiveComputationManager->getAlgorithmIterationNbr().number);
}

// Each unit iteration reaches the algorithm (2 x 3 channel results, the last channel fastest), and each
// point of a calibration drift is one more iteration; the calibration is back at its value afterwards.
TEST_F(cAlgorithmStageTest, ChannelAndCalibrationDriftsEachGiveAnIteration)
{
    channels()[0]->cDriftParameterMgr::getParameter("Sensitivity ACU_X")->setRawDrift(1, 2, 1, 1, 0);
    channels()[1]->cDriftParameterMgr::getParameter("Offset ACU_Y")->setRawDrift(0, 1, -1, 1, 0);
    runFile(crash);
    std::vector<std::vector<int32_t>> seen;
    for (auto const& iteration : algorithm->iterations)
        seen.push_back(iteration.samples);
    EXPECT_EQ(
        (std::vector<std::vector<int32_t>>{{-20, 50}, {-20, 49}, {-20, 51}, {-40, 50}, {-40, 49}, {-40, 51}}),
        seen);

    channels()[0]->cDriftParameterMgr::getParameter("Sensitivity ACU_X")->clearDrift();
    channels()[1]->cDriftParameterMgr::getParameter("Offset ACU_Y")->clearDrift();
    cDriftParameter* const threshold = calibration->getParameter("Threshold");
    threshold->setRawDrift(10, 15, 5, 5, 0); // 10 5 15
    algorithm->iterations.clear();
    runFile(crash);
    ASSERT_EQ(3u, algorithm->iterations.size());
    EXPECT_EQ(5.0f, algorithm->iterations[1].threshold);
    EXPECT_EQ(3u, fire()->getIterationCount());
    EXPECT_EQ(2, fire()->getMinValue()) << "the threshold of 5 fires at -8 g";
    EXPECT_EQ(3, fire()->getMaxValue());
    mpf_class value;
    threshold->getRawValue(value);
    EXPECT_EQ(10.0, value.get_d());
}

// Short channels are padded with their element 0; the channels must share one T0, and not a negative one.
TEST_F(cAlgorithmStageTest, ShortChannelsArePaddedAndTimeOriginsMustAgree)
{
    runFile(crash);
    algorithm->iterations.clear();
    handOver({{0, {0, -1, -2, -3, -4}}, {0, {9, 5}}});
    ASSERT_EQ(1u, algorithm->iterations.size());
    EXPECT_EQ((std::vector<int32_t>{-4, 9}), algorithm->iterations[0].samples);
    EXPECT_EQ(4u, algorithm->getSampleCount());
    handOver({{0, {0, -1, -2, -3, -4}}, {0, {}}});
    EXPECT_EQ((std::vector<int32_t>{-4, 0}), algorithm->iterations.back().samples)
        << "an empty signal reads 0";
    EXPECT_EQ("SimCore/cAlgorithm|cBadT0SynchronizationException|cAlgorithm::performIteration|" +
                  std::string(cBadT0SynchronizationException("", "", 0).what()),
              failureWithSourceOf(
                  [&] {
                      handOver({{100, {0, 1}}, {200, {0, 1}}});
                  }));
    EXPECT_EQ(321, lineOf([&] { handOver({{100, {0, 1}}, {200, {0, 1}}}); }));
    EXPECT_EQ(312, lineOf([&] { handOver({{-100, {0, 1}}, {-100, {0, 1}}}); }));
}

// What the file gives the stage, and what a save keeps: the listed items (the misspelt factor key as
// it stood, the project's ECU version when the file has none), never the others; the held file then
// follows the new name. A locked file is refused.
TEST_F(cAlgorithmStageTest, TheAlgorithmFileIsReadAndSavedWithTheItemsItKeeps)
{
    EXPECT_EQ("Threshold|SW 3.1|1|3|mm|0.5",
              algorithm->getAlgorithmName() + "|" + algorithm->getEcuVersionFromCfg() + "|" +
                  std::to_string(algorithm->getTimeEventsPrecisionForMs()) + "|" +
                  std::to_string(algorithm->getDisplacementPrecision()) + "|" +
                  algorithm->getDisplacementUnit() + "|" +
                  std::to_string(algorithm->getDisplacementConversionFactor().get_d()).substr(0, 3));
    EXPECT_EQ("1.2|Draft|VP-17|history.txt", algorithm->getSoftVersion() + "|" + algorithm->getStatus() +
                                                 "|" + algorithm->getValidationPlan() + "|" +
                                                 algorithm->getHistoryFile());
    std::string const saved = tempPath("saved.cfg");
    algorithm->save("saved", true, saved, false);
    std::string const text = readText(saved);
    EXPECT_EQ(std::string::npos, text.find("Reviewer"));
    EXPECT_NE(std::string::npos, text.find("Displacement Convertion Factor = 0.5\nECU Version = SW 3.1\n"));
    EXPECT_NE(std::string::npos, text.find("Time Events List {\n    Time Event {\n        Name = Fire\n"));
    EXPECT_EQ(saved, algorithm->getConfigurationFile()->getFileName());
    EXPECT_EQ(tempPath("algorithm.cfg"), algorithm->getRealName());
    EXPECT_EQ("Threshold", cThresholdAlgorithm(saved).getAlgorithmName()) << "the saved file reads back";

    algorithm->getConfigurationFile()->setWritable(false);
    EXPECT_EQ("cFileNotWritableException|cAlgorithm::saveSettings|The file is not writable.",
              failureOf([&] { algorithm->saveSettings("again", true, "", false, false); }));
    writeText(tempPath("bad.cfg"), "Name = Bad\nTime Events Precision Frequency = 3000\n"
                                   "Displacement Conversion Factor = +(\n");
    EXPECT_EQ(
        "cInvalidSymbolDefinition|cAlgorithm::setConfigurationWithExtraTimeEvents|Invalid definition of "
        "\" The conversion factor of displacement\" (\"+(\"): \"+(\" is not correct",
        failureOf([&] { cThresholdAlgorithm(tempPath("bad.cfg")); }));
}

// The algorithm file keeps its "Tests List" through a save and a reload, host keys included, with the
// states of the test "GVT" written into it in place: without the tests flag the graph's state (added)
// and those of its curve and mark, with it the view's enable state.
TEST_F(cAlgorithmStageTest, TheAlgorithmFileRoundTripKeepsItsTestsWithTheGvtStatesWrittenBack)
{
    std::string const views = "Tests List {\n"
                              "    View {\n"
                              "        Name = Review\n"
                              "        Algo = Threshold\n"
                              "        Drawing Enable = yes-enable\n"
                              "        Host Key = kept\n"
                              "        Graph {\n"
                              "            Type = Scatter Graph\n"
                              "            Name = Curves\n"
                              "            Criterion {\n"
                              "                Name = Acceleration\n"
                              "                Drawing Enable = true\n"
                              "            }\n"
                              "            Time Event {\n"
                              "                Name = Fire\n"
                              "                Drawing Enable = false\n"
                              "            }\n"
                              "        }\n"
                              "    }\n"
                              "}\n";
    std::string text = readText(tempPath("algorithm.cfg"));
    text.replace(text.find("Tests List {\n}\n"), 15, views);
    writeText(tempPath("algorithm.cfg"), text);
    myActiveAlgorithm = nullptr;
    algorithm.reset();
    algorithm = std::make_unique<cThresholdAlgorithm>(tempPath("algorithm.cfg"));
    myActiveAlgorithm = algorithm.get();
    algorithm->changeMultiPreprocessingItem();
    auto* const test = new cTestMgr("GVT");
    auto* const view = new cTestMgrPointOfView(algorithm.get(), test);
    test->addPointOfView(view);
    view->setConfigurationGVT(algorithm->getTestCfgGroup()->GetConfigurationGroups()[0]);
    myActiveComputationManager->addTest(test);
    runFile(crash);
    cGraph* const graph = view->getGraph(0);
    ASSERT_EQ(2u, graph->getGraphObjects().size());
    graph->getGraphObjects()[0]->setToBeDrawn(false);
    graph->getGraphObjects()[1]->setToBeDrawn(true);

    std::string states = views;
    states.replace(states.find("true"), 4, "false");
    states.replace(states.find("false\n            }\n        }"), 5, "true");
    states.insert(states.find("            Criterion {"), "            Drawing Enable = show\n");
    algorithm->save("states", false, tempPath("states.cfg"), false);
    EXPECT_NE(std::string::npos, readText(tempPath("states.cfg")).find(states));
    view->setDrawingEnable(false);
    algorithm->save("enable", true, tempPath("enable.cfg"), false);
    std::string enable = states;
    enable.replace(enable.find("yes-enable"), 10, "no-disable");
    EXPECT_NE(std::string::npos, readText(tempPath("enable.cfg")).find(enable));
    cThresholdAlgorithm reread(tempPath("enable.cfg"));
    cConfigurationGroup top;
    top.addConfigurationGroup(new cConfigurationGroup(*reread.getTestCfgGroup()));
    EXPECT_EQ(enable, cConfigurationWriter::write(top, nullptr));
    myActiveComputationManager->removeAllTests();
}

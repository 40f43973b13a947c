#include "SimCore/cAlgorithm.h"

#include "tests/support/cResultWorld.h"

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

// A stage with the events' and criteria's values of one crash file ready for an iteration.
struct sStage
{
    sStage(std::string const& criteria, std::string const& events)
    {
        algorithm.loadCriteria(criteria);
        algorithm.loadTimeEvents(events);
        myActiveAlgorithm = &algorithm;
        myActiveFile = world.addCrash("/crashes/front_56kph.csh");
    }
    void startIteration()
    {
        algorithm.resetResults();
        algorithm.changeFileResults();
        algorithm.prepareForTestResults();
    }
    sResultWorld world;
    cOpenAlgorithm algorithm;
};

// A used and an unused criterion of one crash file, ready for an iteration at 1000 Hz.
struct sCriteriaStage : sStage
{
    sCriteriaStage() : sStage("Criterion {\nName = Used\n}\nCriterion {\nName = Unused\n}\n", "")
    {
        algorithm.criterion("Used")->forceUse(true);
        startIteration();
        used = algorithm.criterion("Used")->getActiveCriterionValuesForOneFile();
        unused = algorithm.criterion("Unused")->getActiveCriterionValuesForOneFile();
        algorithm.m_samplingRate = 1000.0f;
    }
    cCriterionValuesForOneFile* used = nullptr;
    cCriterionValuesForOneFile* unused = nullptr;
};
} // namespace

TEST(cAlgorithm, CriterionWriterStoresTheDummyFirstAndDerivesTheRateAtTheThirdElement)
{
    sCriteriaStage stage;
    cOpenAlgorithm& algorithm = stage.algorithm;
    cCriterionValuesForOneFile* const used = stage.used;
    cCriterionValuesForOneFile* const unused = stage.unused;
    algorithm.m_t0 = 500;

    // Fed at every second step from step 4: the curve's T0 counts whole seconds from the stage's, and
    // its rate counts the steps from there (kept as existing results were computed).
    algorithm.m_currentSampleIndex = 4;
    algorithm.addValueToCriterion(used, 1.5f);
    algorithm.addValueToCriterion(unused, 1.5f);
    EXPECT_EQ((std::vector<float>{0.0f, 1.5f}), curve(used));
    EXPECT_EQ(500, used->getT0());
    EXPECT_EQ(0.0f, used->getSamplingRate());
    algorithm.m_currentSampleIndex = 6;
    algorithm.addValueToCriterion(used, 2.5f);
    algorithm.addValueToCriterion(unused, 2.5f);
    EXPECT_EQ(1000.0f / 6.0f, used->getSamplingRate());
    algorithm.m_currentSampleIndex = 8;
    algorithm.addValueToCriterion(used, 3.5f);
    EXPECT_EQ((std::vector<float>{0.0f, 1.5f, 2.5f, 3.5f}), curve(used));
    EXPECT_EQ(1000.0f / 6.0f, used->getSamplingRate());

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

TEST(cAlgorithm, ConstantCriterionSpansTheFileAndNeedsTwoSteps)
{
    sCriteriaStage stage;
    cOpenAlgorithm& algorithm = stage.algorithm;
    cCriterionValuesForOneFile* const used = stage.used;
    cCriterionValuesForOneFile* const unused = stage.unused;
    algorithm.m_t0 = 300;
    algorithm.m_sampleCount = 1;
    algorithm.setConstant2PointsCriterion(used, 4.0f);
    EXPECT_FALSE(used->hasPoints());
    EXPECT_FALSE(used->isAConstant2PointsCriterion());
    EXPECT_EQ(0u, used->getSize());

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

TEST(cAlgorithm, TimeEventWriterRoundsTheTickAndTheFirstWriterWins)
{
    sStage stage("", "Time Event {\nName = TTF\n}\nTime Event {\nName = Late\n}\n");
    cOpenAlgorithm& algorithm = stage.algorithm;
    algorithm.setTimeEventsPrecisionFrequency(10000);
    stage.startIteration();
    cTimeEventValuesForOneFile* const ttf = algorithm.timeEvent("TTF")->getActiveTimeEventValuesForOneFile();
    cTimeEventValuesForOneFile* const late =
        algorithm.timeEvent("Late")->getActiveTimeEventValuesForOneFile();
    algorithm.m_samplingRate = 2000.0f;
    algorithm.m_t0 = 1500;
    algorithm.m_currentSampleIndex = 7;
    // 1500 us * 0.01 + 5 * 7 + 10 * 0.25 = 52.5 ticks, half away from zero.
    algorithm.setTimeEventValue(ttf, 0.25);
    EXPECT_EQ(53, ttf->getIterationValue());
    algorithm.setTimeEventValueFromSpecificIteration(ttf, 1, 0.0);
    EXPECT_EQ(53, ttf->getIterationValue());
    algorithm.setTimeEventValueFromSpecificIteration(late, 3, -2.0);
    EXPECT_EQ(15 + 15 - 20, late->getIterationValue());
    EXPECT_EQ(10000, algorithm.timeEvent("Late")->getPrecisionFrequency());
    EXPECT_FLOAT_EQ(3.0f, algorithm.getTimeValueInMs(3));
}

TEST(cAlgorithm, TimeEventDisplacementFollowsTheDelayBranches)
{
    sStage stage("", "Time Event {\nName = TTF\nCompute Displacement = 1\n}\n");
    cOpenAlgorithm& algorithm = stage.algorithm;
    algorithm.setTimeEventsPrecisionFrequency(1000);
    for (int i = 0; i < 10; ++i)
        algorithm.addDisplacement(mpf_class(10 * i));
    stage.startIteration();
    cTimeEventValuesForOneFile* const ttf = algorithm.timeEvent("TTF")->getActiveTimeEventValuesForOneFile();
    algorithm.m_samplingRate = 2000.0f;
    auto displacementAt = [&](unsigned int sample, double delay)
    {
        ttf->setForced(-1);
        ttf->setComputedDisplacement(mpf_class(-99));
        algorithm.setTimeEventValueFromSpecificIteration(ttf, sample, delay);
        return ttf->getComputedDisplacement().get_d();
    };
    EXPECT_EQ(70.0, displacementAt(7, 0.0));
    EXPECT_EQ(-99.0, displacementAt(12, 0.0)); // past the list: left as it was
    EXPECT_EQ(90.0, displacementAt(7, 1.0));   // 2 whole steps later, clamped to the last
    EXPECT_EQ(50.0, displacementAt(3, 1.0));
    EXPECT_EQ(0.0, displacementAt(7, 0.25));   // between steps at a positive index: the first value
    EXPECT_EQ(5.0, displacementAt(0, 0.25));   // between steps 0 and 1: interpolated
    EXPECT_EQ(90.0, displacementAt(0, -0.75)); // before the list: the last value
}

TEST(cAlgorithm, DisplacementListMaximumAndConversion)
{
    sResultWorld world;
    cOpenAlgorithm algorithm;
    EXPECT_EQ(0.0, algorithm.getMaxDisplacement().get_d());
    algorithm.addDisplacement(mpf_class(3));
    algorithm.addDisplacement(mpf_class(12));
    algorithm.addDisplacement(mpf_class(-40));
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

TEST(cAlgorithm, ExtraTimeEventsAreThoseOfTheLastExtraGroup)
{
    sResultWorld world;
    cOpenAlgorithm algorithm;
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

#include "SimCore/cAlgorithm.h"

#include "tests/support/cAlgorithmFixture.h"

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

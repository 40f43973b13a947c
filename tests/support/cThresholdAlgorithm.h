// The smallest concrete algorithm, the one docs/writing-an-algorithm.md walks through: it follows the
// longitudinal acceleration of channel ACU_X, writes it as the criterion "Acceleration" at every step,
// and sets the time event "Fire" at the first step where the deceleration reaches the calibration's
// Threshold. Its displacement is that of ACU_X. It records what each iteration saw, for the tests.
#pragma once

#include "SimCore/cAlgorithm.h"
#include "SimCore/cCalibration.h"
#include "SimCore/cChannel.h"

#include <string>
#include <vector>

class cThresholdAlgorithm : public cAlgorithm
{
public:
    explicit cThresholdAlgorithm(std::string const& file) : cAlgorithm(file) {}

    // Per iteration: the threshold used and sample 3 of each channel, in the project's channel order.
    struct sIteration
    {
        float threshold;
        std::vector<int32_t> samples;
    };
    std::vector<sIteration> iterations;

protected:
    // The item's channels are known from here on: the stage's arrays are keyed by them.
    void beginMultiPreprocessingItem() override {}
    // The array of ACU_X is looked up once per item, not at every step.
    void endMultiPreprocessingItem() override
    {
        m_channel = myActivePreprocessing->findChannel("ACU_X");
        m_samples = &getStorageArray(m_channel);
    }
    // The values of the new crash file.
    void changeFileFirst() override
    {
        m_acceleration = cCriterionMgr::getParameter("Acceleration")->getActiveCriterionValuesForOneFile();
    }
    void changeFileSecond() override
    {
        m_fire = cTimeEventMgr::getParameter("Fire")->getActiveTimeEventValuesForOneFile();
    }
    void resetAlgorithm() override {}
    void prepareThreadStart() override {}
    // The calibration as this iteration's drift point left it.
    void initialiseForFirstIteration() override
    {
        mpf_class value;
        myActiveCalibration->getParameter("Threshold")->getConvertedValue(value);
        m_threshold = static_cast<float>(value.get_d());
        sIteration seen{m_threshold, {}};
        unsigned int cursor = 0;
        for (cChannel* c = myActivePreprocessing->firstChannel(cursor); c != nullptr;
             c = myActivePreprocessing->nextChannel(cursor))
            seen.samples.push_back(getSampleCount() > 3 ? getSample(getStorageArray(c), 3) : 0);
        iterations.push_back(seen);
    }
    int32_t getDisplacementAccValue(unsigned int sample) override { return getSample(*m_samples, sample); }
    // The tail loop covers the whole file: the stage may stop early when nobody waits for an event,
    // and this algorithm's results must not depend on that.
    void stepPhaseOne() override
    {
        unsigned int const step = getCurrentSampleIndex();
        m_sample = step < getSampleCount() ? float(getSample(*m_samples, step)) : 0.0f;
    }
    void stepPhaseTwo() override
    {
        if (getCurrentSampleIndex() < getSampleCount())
            addValueToCriterion(m_acceleration, m_sample);
    }
    void stepPhaseThree() override
    {
        if (-m_sample >= m_threshold)
            setTimeEventValue(m_fire, 0.0);
    }
    void stepGvtWindows() override {}
    void endOfIterationGvtWindows() override {}
    void stepPhaseLast() override
    {
        if (getCurrentSampleIndex() + 1 >= getSampleCount())
            setKeepStepping(false);
    }

private:
    cChannel* m_channel = nullptr;
    cStorage<unsigned int> const* m_samples = nullptr;
    cCriterionValuesForOneFile* m_acceleration = nullptr;
    cTimeEventValuesForOneFile* m_fire = nullptr;
    float m_threshold = 0.0f;
    float m_sample = 0.0f;
};

// cAlgorithm: the last stage of the pipeline and the base of the concrete crash-sensing algorithm,
// which the host derives and hands over. The stage steps its subclass sample by sample; the subclass
// writes its criteria and time events through the writers below, which give each curve its time base
// and each time event its tick, and the stage integrates the acceleration into the vehicle's
// displacement. This part holds the stage's criteria and time events, its time base, the writers and
// the displacement; the message loop, the iteration and the file side are added on top of it.
#pragma once
#include "BaseKit/cStorage.h"
#include "BaseKit/mpfClass.h"
#include "SimCore/cCriterion.h"
#include "SimCore/cFileConfigured.h"
#include "SimCore/cTimeEvent.h"
#include <cstdint>
#include <gmpxx.h>
#include <string>
#include <unordered_set>

class cEquation;

class cAlgorithm : public cCriterionMgr, public cTimeEventMgr, public cFileConfigured
{
public:
    cAlgorithm(cAlgorithm const&) = delete;
    cAlgorithm& operator=(cAlgorithm const&) = delete;
    // Frees the displacement list and its conversion factor.
    ~cAlgorithm() override;

    std::string getAlgorithmName() const { return m_algorithmName; }
    void setAlgorithmName(std::string const& name) { m_algorithmName = name; }

    // sample * 1000 / sampling rate + T0 / 1000, in float: the time of a step in milliseconds.
    float getTimeValueInMs(unsigned int sample) const;
    float getCurrentTimeValueInMs() const { return getTimeValueInMs(m_currentSampleIndex); }
    unsigned int getCurrentSampleIndex() const { return m_currentSampleIndex; }
    float getSamplingRate() const { return m_samplingRate; }
    int32_t getT0() const { return m_t0; }
    unsigned int getSampleCount() const { return m_sampleCount; }

    void fullMarginFeatureRequest(bool requested) { m_fullMarginRequested = requested; }
    bool isFullMarginFeatureRequested() const { return m_fullMarginRequested != 0; }
    int32_t getTimeEventsPrecisionFrequency() const { return m_timeEventsPrecisionFrequency; }
    // Whether the event came with the extra group rather than with the algorithm's own file.
    bool isExtraTimeEvent(cTimeEvent const* timeEvent) const
    {
        return m_extraTimeEvents.count(timeEvent) != 0;
    }

    // The displacement, one value per step in raw units: a copy of the list (the values are copies).
    cStorage<mpfClass*> getDisplacement() const;
    cStorage<mpfClass*> const& getDisplacementList() const { return m_displacement; }
    // The largest value, 0 for an empty list.
    mpf_class getMaxDisplacement() const;
    // value * the evaluated displacement conversion factor.
    mpf_class computeConvertedDisplacementValue(mpf_class const& value) const;
    cStorage<mpfClass*> getConvertedDisplacement() const;
    // The evaluated factor.
    mpf_class getDisplacementConversionFactor() const;

protected:
    // A stage without file: precision frequency 0, factor 1.
    cAlgorithm();

    // The writers of the subclass. A criterion's first value also stores the dummy element and the
    // curve's T0, its third derives the curve's sampling rate from the steps between the calls.
    void addValueToCriterion(cCriterionValuesForOneFile* values, float value);
    // A constant over the whole file, as the two points 0 and the last step; nothing below 2 steps.
    void setConstant2PointsCriterion(cCriterionValuesForOneFile* values, float value);
    // The first writer of an iteration wins: the tick of the current step plus delay milliseconds.
    void setTimeEventValue(cTimeEventValuesForOneFile* values, double delay);
    void setTimeEventValueFromSpecificIteration(cTimeEventValuesForOneFile* values, unsigned int sample,
                                                double delay);

    // Loads the time events of the extra group with the stage's name; they and only they become the
    // extra events. A null group leaves the set as it was.
    void loadExtraTimeEvents(cConfigurationGroup* extra);
    // The stage's precision frequency, given to each of its time events.
    void setTimeEventsPrecisionFrequency(int32_t frequency);
    // Replaces the displacement conversion factor by the equation of this text.
    void setDisplacementConversionFactor(std::string const& text);
    // Appends one displacement value (raw units).
    void addDisplacement(mpf_class const& value);
    void clearDisplacement();

    std::string m_algorithmName;
    unsigned int m_currentSampleIndex = 0;
    float m_samplingRate = 0.0f;
    int32_t m_t0 = 0;
    unsigned int m_sampleCount = 0;
    unsigned char m_fullMarginRequested = 0;
    int32_t m_timeEventsPrecisionFrequency = 0;
    cStorage<mpfClass*> m_displacement;
    cEquation* m_displacementConversionFactor = nullptr;

private:
    std::unordered_set<cTimeEvent const*> m_extraTimeEvents;
};

// The project's algorithm, handed over by the host; null before.
extern cAlgorithm* myActiveAlgorithm;

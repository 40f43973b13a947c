// The algorithm stage with its protected writers and loaders opened for the tests, and the
// computation events sent to its results as the pipeline sends them. It has no file and computes
// nothing: each step of the tail loop ends it.
#pragma once
#include "SimCore/cAlgorithm.h"
#include "StoreKit/cConfigurationReader.h"

#include <string>

class cOpenAlgorithm : public cAlgorithm
{
public:
    cOpenAlgorithm() : cAlgorithm(std::string()) {}

    using cAlgorithm::addDisplacement;
    using cAlgorithm::addValueToCriterion;
    using cAlgorithm::clearDisplacement;
    using cAlgorithm::loadExtraTimeEvents;
    using cAlgorithm::m_currentSampleIndex;
    using cAlgorithm::m_sampleCount;
    using cAlgorithm::m_samplingRate;
    using cAlgorithm::m_t0;
    using cAlgorithm::setConstant2PointsCriterion;
    using cAlgorithm::setDisplacementConversionFactor;
    using cAlgorithm::setTimeEventsPrecisionFrequency;
    using cAlgorithm::setTimeEventValue;
    using cAlgorithm::setTimeEventValueFromSpecificIteration;

    // Loads "Criterion" groups of the text as the stage's criteria.
    void loadCriteria(std::string const& text)
    {
        cConfigurationGroup group;
        cConfigurationReader::read(text, "criteria.cfg", group);
        cCriterionMgr::loadParameter(&group, "Algorithm");
    }
    // Loads "Time Event" groups of the text as the stage's time events.
    void loadTimeEvents(std::string const& text)
    {
        cConfigurationGroup group;
        cConfigurationReader::read(text, "events.cfg", group);
        cTimeEventMgr::loadParameter(&group, "Algorithm");
    }
    cCriterion* criterion(std::string const& name) { return cCriterionMgr::getParameter(name); }
    cTimeEvent* timeEvent(std::string const& name) { return cTimeEventMgr::getParameter(name); }

    // The computation events, as the pipeline sends them to the stage's results.
    void resetResults()
    {
        cCriterionMgr::reset();
        cTimeEventMgr::reset();
    }
    void changeFileResults()
    {
        cCriterionMgr::changeFile();
        cTimeEventMgr::changeFile();
    }
    void prepareForTestResults()
    {
        cCriterionMgr::prepareForTest();
        cTimeEventMgr::prepareForTest();
    }
    void endOfIterationResults()
    {
        cCriterionMgr::endOfIteration();
        cTimeEventMgr::endOfIteration();
    }

protected:
    void beginMultiPreprocessingItem() override {}
    void stepGvtWindows() override {}
    void endOfIterationGvtWindows() override {}
    void stepPhaseOne() override {}
    void resetAlgorithm() override {}
    void stepPhaseThree() override {}
    void stepPhaseTwo() override {}
    void stepPhaseLast() override { setKeepStepping(false); }
    void changeFileFirst() override {}
    void changeFileSecond() override {}
    void prepareThreadStart() override {}
    void endMultiPreprocessingItem() override {}
};

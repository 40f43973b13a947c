// A concrete stage for the tests of the drift stage and the preprocessors: its protected side is
// opened, its parameters, criteria and time events load from configuration text, and each iteration
// records the raw values of the applied drifts (and calls a hook), so that a test sees which
// combinations a sweep visited. Use it in a cResultsFixture test (symbols, computation manager).
#pragma once
#include "SimCore/cDriftManager.h"
#include "StoreKit/cConfigurationReader.h"

#include <functional>
#include <string>
#include <vector>

class cTestStage : public cDriftManager
{
public:
    explicit cTestStage(std::string const& name = "Stage")
        : cDriftManager(name, name + "Trace", QUIT_MSG, RUN_TEST_MSG)
    {
    }

    using cDriftManager::changeFile, cDriftManager::endOfIteration, cDriftManager::getAppliedDrifts,
        cDriftManager::getAppliedDriftsNumber, cDriftManager::isFileChanged, cDriftManager::isProcessed,
        cDriftManager::manageDriftsSequence, cDriftManager::manageSameDriftIteratorSequence,
        cDriftManager::prepareForTest, cDriftManager::reset;

    // "Parameter" groups of the text become the stage's drift parameters.
    void loadParameters(std::string const& text)
    {
        cDriftParameterMgr::loadParameter(&read(text), getName());
    }
    void loadCriteria(std::string const& text) { cCriterionMgr::loadParameter(&read(text), getName()); }
    void loadTimeEvents(std::string const& text) { cTimeEventMgr::loadParameter(&read(text), getName()); }
    cDriftParameter* parameter(std::string const& name) { return cDriftParameterMgr::getParameter(name); }
    cCriterion* criterion(std::string const& name) { return cCriterionMgr::getParameter(name); }

    // Each performIteration: the raw values of the applied drifts, in their order.
    std::vector<std::vector<double>> visited;
    unsigned int stepsCount = 0;
    // Called by steps(), e.g. to ask for a stop in the middle of a sweep.
    std::function<void()> onStep;

protected:
    void steps() override
    {
        ++stepsCount;
        if (onStep)
            onStep();
    }
    // The nested sweep when drifts are applied, else one iteration.
    void runTest(cMessage const*) override
    {
        if (getAppliedDriftsNumber() != 0)
            manageDriftsSequence(0);
        else
            performIteration();
    }
    void performIteration() override
    {
        prepareForTest();
        std::vector<double> values;
        mpf_class value;
        for (unsigned int i = 0; i < getAppliedDriftsNumber(); ++i)
            values.push_back((getAppliedDrifts(i)->getRawValue(value), value.get_d()));
        visited.push_back(values);
        steps();
        endOfIteration();
    }

private:
    cConfigurationGroup& read(std::string const& text)
    {
        m_group.clear();
        cConfigurationReader::read(text, getName() + ".cfg", m_group);
        return m_group;
    }

    cConfigurationGroup m_group;
};

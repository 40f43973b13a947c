// The conductor of a computation: the only receiver of START_TEST_MSG and END_OF_TEST_MSG, owner of
// the test views, keeper of the run state that the rest of the model consults (a parameter tells
// the host of a change only while no computation runs). Exactly one exists, published in
// myActiveComputationManager. This class holds its run control; the test walk comes with its
// message handling.
#pragma once

#include "BaseKit/cStorage.h"
#include "BaseKit/cTraceProvider.h"
#include "BaseKit/mpfClass.h"
#include "SimCore/cParameterMgr.h"
#include "SimCore/cThread.h"

#include <atomic>
#include <cstdint>
#include <gmpxx.h>
#include <utility>
#include <vector>

class cDriftParameter;
class cDriftParameterMgr;
class cTestMgr;

// The state of the computations; the number is what the trace prints.
enum EComputationsState : uint32_t
{
    computationsNotStarted = 0,
    computationsRunning = 1,
    computationsFinished = 2,
    computationsFailed = 3,
    computationsCancelled = 4
};

class cComputationManager : public cKynThread
{
public:
    // Thread "Test"; RUN_TEST_MSG lies outside the filter, so it never reaches this queue.
    cComputationManager();
    ~cComputationManager() override;

    ObjectLogger& logger() { return m_logger; }

    // Run control. The flag and the state are read from every thread without a lock: a reader may
    // see a change one poll late, which the run tolerates. They are relaxed atomics so that such a
    // read is defined, at the cost of a plain load or store.
    void askForStop() { m_stopAsked.store(1, std::memory_order_relaxed); }
    bool isStopAsked() const { return m_stopAsked.load(std::memory_order_relaxed) != 0; }
    EComputationsState getComputationsState() const
    {
        return static_cast<EComputationsState>(m_state.load(std::memory_order_relaxed));
    }
    // Traces the change at level 4 and stores the new state.
    void setComputationsState(EComputationsState state);

    // The drawn combinations of the statistical module hold point indexes: a drift whose points
    // change makes them stale until the module is filled again.
    void invalidateStatisticalModule() { m_statisticalModuleValid.store(0, std::memory_order_relaxed); }
    bool isStatisticalModuleValid() const
    {
        return m_statisticalModuleValid.load(std::memory_order_relaxed) != 0;
    }

    // The tests (owned). The first one added starts the manager's thread, the last one removed stops
    // it; a removed test also leaves the margin tests of the active algorithm's time events.
    void addTest(cTestMgr const* test);
    cTestMgr* firstTest(unsigned int& index) const;
    cTestMgr* nextTest(unsigned int& index) const;
    void removeTest(cTestMgr* test);
    void removeAllTests();
    sParameterRange<cTestMgr> getTests() const
    {
        return sParameterRange<cTestMgr>(m_tests.data(), m_tests.data() + m_tests.size());
    }

    // The drift stages in pipeline order (vehicle, channels in order, unit, calibration), set by the
    // project whenever its modules change; not owned.
    void setDriftStages(std::vector<cDriftParameterMgr const*> stages) { m_driftStages = std::move(stages); }
    // Appends the current drifts of every stage, in pipeline order.
    void getDriftedParametersList(cStorage<cDriftParameter*>& parameters) const;
    // The converted drift values of an iteration of one crash file, one new value per drifted
    // parameter in the order of getDriftedParametersList (the values held before are deleted). The
    // last drift varies fastest.
    void getIterationConvertedDriftCombination(unsigned int iteration, cStorage<mpfClass*>& values) const;
    // That iteration's value of the parameter if it is drifted, else its own converted value.
    mpf_class getIterationConvertedDriftValue(unsigned int iteration, cDriftParameter* parameter) const;

protected:
    // Set when the module has been filled.
    void markStatisticalModuleValid() { m_statisticalModuleValid.store(1, std::memory_order_relaxed); }

private:
    ObjectLogger m_logger;
    std::atomic<unsigned char> m_stopAsked{0};
    std::atomic<uint32_t> m_state{computationsNotStarted};
    std::atomic<unsigned char> m_statisticalModuleValid{0};
    cStorage<cTestMgr*> m_tests{10};
    std::vector<cDriftParameterMgr const*> m_driftStages;

    // One point index per drifted parameter, in the order of getDriftedParametersList.
    void getIterationDriftCombinationIdx(unsigned int iteration, cStorage<unsigned int>& pointIndexes) const;
};

// The active computation manager, or null.
extern cComputationManager* myActiveComputationManager;

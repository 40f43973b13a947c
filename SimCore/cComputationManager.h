// The conductor of a computation: the only receiver of START_TEST_MSG and END_OF_TEST_MSG, owner of
// the test views, keeper of the run state that the rest of the model consults (a parameter tells
// the host of a change only while no computation runs). Exactly one exists, published in
// myActiveComputationManager. This class holds its run control; the test walk comes with its
// message handling.
#pragma once

#include "BaseKit/cTraceProvider.h"
#include "SimCore/cThread.h"

#include <cstdint>

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

    // Run control. The flag and the state are plain fields read from every thread.
    void askForStop() { m_stopAsked = true; }
    bool isStopAsked() const { return m_stopAsked != 0; }
    EComputationsState getComputationsState() const { return static_cast<EComputationsState>(m_state); }
    // Traces the change at level 4 and stores the new state.
    void setComputationsState(EComputationsState state);

    // The drawn combinations of the statistical module hold point indexes: a drift whose points
    // change makes them stale until the module is filled again.
    void invalidateStatisticalModule() { m_statisticalModuleValid = 0; }
    bool isStatisticalModuleValid() const { return m_statisticalModuleValid != 0; }

protected:
    // Set when the module has been filled.
    void markStatisticalModuleValid() { m_statisticalModuleValid = 1; }

private:
    ObjectLogger m_logger;
    unsigned char m_stopAsked = 0;
    uint32_t m_state = computationsNotStarted;
    unsigned char m_statisticalModuleValid = 0;
};

// The active computation manager, or null.
extern cComputationManager* myActiveComputationManager;

// cDriftManager: the base of the four computation stages (vehicle, channel, unit, algorithm). A
// stage is one message thread that owns the parameters it can drift, the criteria and time events it
// computes, and a trace. This class fixes what all stages share: the message dispatch, the life of
// one iteration (prepare, compute, end), and the two walks over the drift points of the stage's
// parameters: a nested sweep, or every drifted parameter stepped together.
#pragma once

#include "BaseKit/cTraceProvider.h"
#include "SimCore/cCriterion.h"
#include "SimCore/cDriftParameter.h"
#include "SimCore/cThread.h"
#include "SimCore/cTimeEvent.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

class cGraph;

class cDriftManager : public cKynThread,
                      public cDriftParameterMgr,
                      public cCriterionMgr,
                      public cTimeEventMgr,
                      public cTraceProvider
{
public:
    // The name goes to the thread, the trace name to the trace; every stage passes QUIT_MSG and
    // RUN_TEST_MSG (0x10000, 0x10005) as the message bounds.
    cDriftManager(std::string name, std::string traceName, unsigned int lowestMessage,
                  unsigned int highestMessage);
    // Forces the thread to its end, if one runs: its loop calls this object's ProcessMessage.
    ~cDriftManager() override;

    // QUIT_MSG writes its trace line only, RESET_MSG runs reset(), FILE_CHANGED_MSG changeFile(),
    // RUN_TEST_MSG runTest(data); each is traced at level 4 first (the thread name, then
    // " thread/cDriftManager::ProcessMessage: received RESET_MSG(65537) "). Any other id throws
    // cUnknownMessageError. data is deleted in every case. Always false: a stage never leaves its
    // message loop of its own accord, only a forced stop ends its thread.
    bool ProcessMessage(unsigned int message, cMessage* data) override;

    // Passed on to each criterion, then each time event.
    void removeGraph(cGraph const* const graph) override;
    void removeValuesFromCrashFile(unsigned long long crashFileAddress) override;

    // prepareForTest calls since the last reset.
    uint32_t getIterationNbr() const { return m_iterationNumber; }

    // With real threads a stage hands a storage of its own to its receivers by pointer and must not
    // overwrite it until each has done with it: a receiver calls this once per hand-over it took.
    void releaseHandOver();

protected:
    // One pass of the stage's processing over its current input.
    virtual void steps() = 0;
    // What RUN_TEST_MSG means at this stage.
    virtual void runTest(cMessage const* data) = 0;
    // Prepares, feeds the input, calls steps, stores the output, ends the iteration.
    virtual void performIteration() = 0;
    // The nested sweep over the applied drifts from driftIndex on: the first applied drift is the
    // slowest, the last the fastest, and performIteration runs once per combination. A drift with
    // no point runs nothing below it; the stop flag of the active computation manager ends every
    // level at its next point. runTest calls it with 0.
    virtual void manageDriftsSequence(unsigned int driftIndex);
    // All applied drifts stepped together, point i of each in iteration i. Every drift of the stage
    // must have the same point number, else cForbiddenAction. The stop flag met while the drifts
    // are set still lets that iteration run; it is tested again before the next point.
    virtual void manageSameDriftIteratorSequence();

    // Criteria then time events changeFile; every parameter loses its processed mark; a file
    // change is pending until the next endOfIteration.
    void changeFile() override;
    // Every parameter gets its processed mark; criteria then time events endOfIteration; the file
    // change is over.
    void endOfIteration() override;
    // Criteria then time events reset; the drift list and strides are rebuilt; iteration number 0.
    void reset() override;
    // Criteria then time events prepareForTest; one more iteration.
    void prepareForTest() override;
    // True when every parameter of the stage is processed and no file change is pending. For the
    // derived stages and the host; nothing in the library asks.
    bool isProcessed() override;

    // Whether the active computation manager asks the run to stop (false without one).
    static bool isStopAsked();
    // One iteration more, for a stage that prepares its criteria itself (a channel prepares only
    // those from its entry preprocessor on).
    void countIteration() { ++m_iterationNumber; }
    // One hand-over more to count before a post that passes a storage of this stage (real threads only;
    // in simulation mode the receiver has finished when the post returns).
    void handOver();
    // Waits until every receiver has released what this stage handed over (real threads only).
    void waitForHandOvers();
    // The receiver's side: the sender of the message, when it is a stage, has its hand-over released.
    static void releaseSenderOf(cMessage const* data);
    // Releases the sender of a message once, when asked or at the end of the scope whatever happens.
    class cHandOverRelease
    {
    public:
        explicit cHandOverRelease(cMessage const* data) : m_data(data) {}
        ~cHandOverRelease() { now(); }
        cHandOverRelease(cHandOverRelease const&) = delete;
        cHandOverRelease& operator=(cHandOverRelease const&) = delete;
        void now()
        {
            releaseSenderOf(m_data);
            m_data = nullptr;
        }

    private:
        cMessage const* m_data;
    };
    bool isFileChanged() const { return m_fileChanged != 0; }
    void setFileChanged(bool changed) { m_fileChanged = changed ? 1 : 0; }

private:
    // Walks the stage's parameters, not only the applied drifts.
    template <class F> void forEachDriftParameter(F call) const;

    unsigned char m_fileChanged = 0;
    uint32_t m_iterationNumber = 0;
    std::mutex m_handOverMutex;
    std::condition_variable m_handOversReleased;
    unsigned int m_handOvers = 0;
};

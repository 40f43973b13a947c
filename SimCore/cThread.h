// The message thread at the base of every active object of the computation pipeline: the
// computation manager and the stages (vehicle, channels, unit, algorithm). Each wraps one thread
// running a message loop; stages post numbered messages to one another. In simulation mode (the
// default) stages have no thread and a post becomes a nested ProcessMessage call, so a whole test
// runs on one stack.
#pragma once

#include "BaseKit/cPlatformThread.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

// The six messages of the pipeline, in the application range of the thread queues.
constexpr uint32_t QUIT_MSG = 0x10000;
constexpr uint32_t RESET_MSG = 0x10001;
constexpr uint32_t FILE_CHANGED_MSG = 0x10002;
constexpr uint32_t START_TEST_MSG = 0x10003;
constexpr uint32_t END_OF_TEST_MSG = 0x10004;
constexpr uint32_t RUN_TEST_MSG = 0x10005;

class cKynThread;

// The payload of a message: small enough to travel through a thread queue as one pointer. It is
// handed over with the post and the receiver deletes it.
class cMessage
{
public:
    explicit cMessage(cKynThread* sender = nullptr, float value = 0.0f) : m_sender(sender), m_value(value) {}
    virtual ~cMessage();

    cKynThread* getSender() const { return m_sender; }
    float getValue() const { return m_value; }

private:
    cKynThread* m_sender;
    float m_value;
};

// One entry of a thread's attached (bespoke) queue.
struct sAttachedQueueEntry
{
    uint32_t message;
    cMessage* data;
};

// Lifetime: the thread calls ProcessMessage on this object, so the object must outlive it. A
// forced stop, and so the destructor, makes the thread leave at its next wait for a message and
// joins it; it also ends the threads that earlier unforced stops left running. By the time
// ~cKynThread runs the derived parts are gone, though: a derived class whose ProcessMessage uses
// its own members must stop the thread in its own destructor.
class cKynThread
{
    // Stages and the computation manager build their own cMessage and post it the same way.
    friend class cDriftManager;
    friend class cComputationManager;

public:
    cKynThread();
    cKynThread(std::string name, unsigned int lowestMessage, unsigned int highestMessage);
    cKynThread(cKynThread const&) = delete;
    cKynThread& operator=(cKynThread const&) = delete;
    virtual ~cKynThread();

    // Returns the platform's last error once the thread is set going. In simulation mode an
    // unforced start makes no thread.
    virtual uint32_t start(int priority, void* parameter, unsigned long stackSize, bool forced);
    // Posts QUIT_MSG, gives the thread 100 ms, and releases it. Unforced, a thread still in its loop
    // goes on without a handle (a stage never leaves its loop by itself); forced, it is made to
    // leave at its next wait and joined, with the threads of earlier unforced stops. Returns the
    // exit code field.
    virtual uint32_t stop(bool forced);
    // Handles one message and owns data. True ends the message loop.
    virtual bool ProcessMessage(unsigned int message, cMessage* data) = 0;

    uint32_t getExitCode();
    uint32_t getThreadId() const { return m_threadId; }
    platform::tThreadHandle getThreadHandle() const { return m_hThread; }
    std::string getName() const { return m_name; }

    // Read at each start and each post: change it only while no test runs.
    static void setSimulationMode(bool simulationMode) { bSimulationMode = simulationMode; }
    static bool getSimulationMode() { return bSimulationMode; }

    // The attached queue takes simulation-mode posts to this thread instead of running them nested;
    // the loop serves it before the platform queue. A detach is carried out by the loop when it
    // next finds the queue empty.
    // Blocks until every message posted to a thread's queue through the pipeline's posts has been
    // handled: with real threads the stages of a test may still work after 2530. Call it from the host's
    // own thread, never from a window message handler of the pipeline (it runs on a pipeline thread,
    // which would wait for itself). Returns at once in simulation mode.
    static void waitUntilPipelineIdle();
    // The same, from the handler of a counted message: until only that one is left.
    static void waitUntilOthersHandled();

    void attachQueue();
    void detachQueue();
    bool isAttachedQueueEmpty() const;

protected:
    // The message loop; returns the exit code field once ProcessMessage has returned true.
    virtual uint32_t userEntryPoint(void* parameter);

    // Posts with a cMessage of sender this and the value.
    void postMessageToThread(cKynThread* target, unsigned int message, float value);
    // Posts with no payload.
    static void postMessageToThread(cKynThread* target, unsigned int message);
    // A post into target's platform queue that waitUntilPipelineIdle counts, whatever the mode: up to
    // 3 attempts 100 ms apart; false when none was taken (data is then the caller's again).
    static bool postCounted(cKynThread* target, unsigned int message, cMessage* data);
    // For derived stages (friendship is not inherited) that build the cMessage themselves.
    static void postPreparedMessage(cKynThread* target, unsigned int message, cMessage* data)
    {
        postMessageToThreadWithRetries(target, message, data);
    }

    // The routine given to the platform: runs userEntryPoint and returns 259 whatever it gave.
    static uint32_t entryPoint(void* thread);

    static bool bSimulationMode;

private:
    // The one road of every post. Owns data: if the post fails for good, data is deleted and
    // cMessageError thrown.
    static void postMessageToThreadWithRetries(cKynThread* target, unsigned int message, cMessage* data);

    // The count of posted messages not yet handled, for waitUntilPipelineIdle.
    static void countPost(int change);

    // Terminates and joins the threads that stop(false) left running.
    void endThreadsLeftRunning();

    platform::tThreadHandle m_hThread = nullptr;
    uint32_t m_threadId = 0;
    void* m_userParameter = nullptr;
    // 0xFFFFFFFF until a thread reports. Written by stop on the owner's side while the loop may be
    // returning it: atomic for that alone.
    std::atomic<uint32_t> m_exitCode{0xFFFFFFFF};
    std::string m_name;
    char const* m_nameText;
    unsigned int m_lowestMessage;
    unsigned int m_highestMessage;
    std::unique_ptr<std::deque<sAttachedQueueEntry>> m_attachedQueue;
    bool m_detachRequested = false;

    // Threads released by stop(false) that may still run this object's loop; ended before the
    // object goes.
    std::vector<platform::tThreadHandle> m_threadsLeftRunning;
};

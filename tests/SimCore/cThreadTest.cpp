#include "SimCore/cThread.h"

#include "BaseKit/Conversions.h"
#include "tests/support/cRecordingSinks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

namespace
{
template <class tPredicate> bool eventually(tPredicate pred)
{
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!pred())
    {
        if (std::chrono::steady_clock::now() > deadline)
        {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Sets the simulation mode for one test and restores the default afterwards.
class cSimulationModeGuard
{
public:
    explicit cSimulationModeGuard(bool mode) : m_previous(cKynThread::getSimulationMode())
    {
        cKynThread::setSimulationMode(mode);
    }
    ~cSimulationModeGuard() { cKynThread::setSimulationMode(m_previous); }

private:
    bool m_previous;
};

// A payload that counts its destructions, to see who deletes it.
class cCountedMessage : public cMessage
{
public:
    explicit cCountedMessage(cKynThread* sender = nullptr, float value = 0.0f) : cMessage(sender, value) {}
    ~cCountedMessage() override { ++s_destroyed; }
    static inline std::atomic<int> s_destroyed{0};
};

struct sReceived
{
    unsigned int message;
    float value; // -1 without payload
    cKynThread* sender;
    int depth; // nesting of ProcessMessage calls on this object when it arrived
};

// A stage-like thread that records what reaches it, deletes its payloads, and runs an optional
// hook. With quitOnQuit it leaves its loop on QUIT_MSG like the computation manager.
class cTestThread : public cKynThread
{
public:
    using tHook = std::function<void(cTestThread& self, unsigned int message)>;

    cTestThread(std::string name, bool quitOnQuit = false, unsigned int lowest = QUIT_MSG,
                unsigned int highest = RUN_TEST_MSG)
        : cKynThread(std::move(name), lowest, highest), m_quitOnQuit(quitOnQuit)
    {
    }
    // ProcessMessage uses this class's members: the thread must end before they go.
    ~cTestThread() override { stop(true); }

    using cKynThread::postMessageToThread;
    using cKynThread::postPreparedMessage;

    // Set before the thread runs.
    void setHook(tHook hook) { m_hook = std::move(hook); }

    bool ProcessMessage(unsigned int message, cMessage* data) override
    {
        std::unique_ptr<cMessage> owned(data);
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_received.push_back(
                {message, data ? data->getValue() : -1.0f, data ? data->getSender() : nullptr, m_depth});
        }
        ++m_depth;
        struct sLeave
        {
            int& depth;
            ~sLeave() { --depth; }
        } leave{m_depth};
        if (m_hook)
        {
            m_hook(*this, message);
        }
        return m_quitOnQuit && message == QUIT_MSG;
    }

    std::vector<sReceived> received() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_received;
    }
    bool waitForCount(size_t count) const
    {
        return eventually([&] { return received().size() >= count; });
    }
    // Returns once the thread has made its queue. The probe id lies outside every filter, so it
    // stays queued and goes with the queue.
    bool waitForQueue() const
    {
        return eventually([&] { return platform::PostThreadMessageA(getThreadId(), 0x7F000, 0, 0) != 0; });
    }

private:
    bool m_quitOnQuit;
    tHook m_hook;
    int m_depth = 0;
    mutable std::mutex m_mutex;
    std::vector<sReceived> m_received;
};

// Holds its loop back until the test opens the gate, so that its queue does not exist yet.
class cLateThread : public cTestThread
{
public:
    using cTestThread::cTestThread;
    ~cLateThread() override
    {
        open();
        stop(true);
    }
    void open()
    {
        std::lock_guard<std::mutex> lock(m_gateMutex);
        m_open = true;
        m_gate.notify_all();
    }

protected:
    uint32_t userEntryPoint(void* parameter) override
    {
        {
            std::unique_lock<std::mutex> lock(m_gateMutex);
            m_gate.wait(lock, [&] { return m_open; });
        }
        return cTestThread::userEntryPoint(parameter);
    }

private:
    std::mutex m_gateMutex;
    std::condition_variable m_gate;
    bool m_open = false;
};

// A class that leaves stopping to ~cKynThread; safe only because its handler uses no member.
class cBareStage : public cKynThread
{
public:
    cBareStage() : cKynThread("Bare", QUIT_MSG, RUN_TEST_MSG) {}
    bool ProcessMessage(unsigned int, cMessage* data) override
    {
        delete data;
        ++s_handled;
        return false;
    }
    static inline std::atomic<int> s_handled{0};
};

std::string startedLine(std::string const& name, char simulated, char forced, void const* handle,
                        uint32_t error)
{
    return "Started cKynThread: " + name + ", g_simulatedMode=" + simulated + ", forced=" + forced +
           ", m_hThread=" + addressToString(handle) + ", lastError=" + std::to_string(error);
}
} // namespace

TEST(cKynThread, UnforcedStartInSimulationModeMakesNoThread)
{
    EXPECT_TRUE(cKynThread::getSimulationMode());
    cRecordingTraceSink trace(3);
    cTestThread vehicle("Vehicle");
    EXPECT_EQ(vehicle.getName(), "Vehicle");
    platform::SetLastError(4321);
    EXPECT_EQ(vehicle.start(1, nullptr, 0, false), 4321u);
    EXPECT_EQ(vehicle.getThreadHandle(), nullptr);
    EXPECT_EQ(vehicle.getExitCode(), 0xFFFFFFFFu);
    EXPECT_EQ(vehicle.stop(false), 0xFFFFFFFFu);
    // The second stop finds no handle and only writes its line.
    EXPECT_EQ(vehicle.stop(true), 0xFFFFFFFFu);
    EXPECT_TRUE(vehicle.received().empty());
    std::vector<std::string> const expected{
        startedLine("Vehicle", 'T', 'F', nullptr, 4321),
        "Stopping cKynThread: Vehicle, m_hThread=0x0000000000000000",
        "Stopping cKynThread: Vehicle, m_hThread=0x0000000000000000",
    };
    EXPECT_EQ(trace.texts(), expected);
}

TEST(cKynThread, ForcedStartTracesItsHandleAndForcedStopEndsAStage)
{
    cRecordingTraceSink trace(3);
    cTestThread unit("Unit");
    platform::SetLastError(55);
    EXPECT_EQ(unit.start(0, nullptr, 0, true), 55u);
    platform::tThreadHandle const handle = unit.getThreadHandle();
    ASSERT_NE(handle, nullptr);
    uint32_t const id = unit.getThreadId();
    ASSERT_TRUE(unit.waitForQueue());
    EXPECT_EQ(unit.getExitCode(), platform::STILL_ACTIVE);

    // A stage does not leave its loop on QUIT_MSG: only the terminate of the forced stop ends it.
    EXPECT_EQ(unit.stop(true), platform::STILL_ACTIVE);
    EXPECT_EQ(unit.getThreadHandle(), nullptr);
    platform::SetLastError(0);
    EXPECT_EQ(platform::PostThreadMessageA(id, RESET_MSG, 0, 0), 0);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_INVALID_THREAD_ID);

    std::vector<std::string> const expected{
        startedLine("Unit", 'T', 'T', handle, 55),
        "Stopping cKynThread: Unit, m_hThread=" + addressToString(handle),
    };
    EXPECT_EQ(trace.texts(), expected);
}

TEST(cKynThread, SimulatedPostRunsTheWholeHandlerNestedBeforeReturning)
{
    cRecordingTraceSink trace(4);
    cTestThread poster("Poster");
    cTestThread channel("Channel");
    // Each RUN_TEST_MSG below 3 posts the next one to the same target: the calls recurse.
    channel.setHook(
        [](cTestThread& self, unsigned int message)
        {
            float const value = self.received().back().value;
            if (message == RUN_TEST_MSG && value < 3.0f)
            {
                self.postMessageToThread(&self, RUN_TEST_MSG, value + 1.0f);
            }
        });
    poster.postMessageToThread(&channel, RUN_TEST_MSG, 0.0f);

    auto const received = channel.received();
    ASSERT_EQ(received.size(), 4u);
    for (int i = 0; i < 4; ++i)
    {
        EXPECT_EQ(received[i].message, RUN_TEST_MSG);
        EXPECT_EQ(received[i].value, static_cast<float>(i));
        EXPECT_EQ(received[i].depth, i);
        EXPECT_EQ(received[i].sender, i == 0 ? static_cast<cKynThread*>(&poster) : &channel);
    }
    std::vector<std::string> const line(4, "Posting to cKynThread: Channel, msgId=65541, bespokeQueue=F");
    EXPECT_EQ(trace.texts(), line);

    // Without payload the handler sees null; a failing handler throws through to the poster.
    channel.setHook(
        [](cTestThread&, unsigned int message)
        {
            if (message == RESET_MSG)
            {
                throw cForbiddenAction("SimCore/test", "hook", 1, "Reset refused");
            }
        });
    cTestThread::postMessageToThread(&channel, FILE_CHANGED_MSG);
    EXPECT_EQ(channel.received().back().value, -1.0f);
    EXPECT_EQ(channel.received().back().sender, nullptr);
    EXPECT_THROW(poster.postMessageToThread(&channel, RESET_MSG, 1.0f), cForbiddenAction);
}

TEST(cKynThread, AttachedQueueIsServedFirstAndDetachWaitsUntilItIsEmpty)
{
    cSimulationModeGuard simulation(true);
    cTestThread manager("Test", true, QUIT_MSG, END_OF_TEST_MSG);
    cTestThread stage("Vehicle");
    std::vector<bool> emptyAfterDetach;
    // On its own thread, like the computation manager at the start of a test.
    manager.setHook(
        [&](cTestThread& self, unsigned int message)
        {
            if (message == START_TEST_MSG)
            {
                self.attachQueue();
                stage.postMessageToThread(&self, END_OF_TEST_MSG, 1.0f);
                platform::PostThreadMessageA(self.getThreadId(), FILE_CHANGED_MSG, 0, 0);
                self.attachQueue(); // keeps the queue and its entry
                stage.postMessageToThread(&self, RESET_MSG, 2.0f);
                self.detachQueue();
                emptyAfterDetach.push_back(self.isAttachedQueueEmpty());
            }
            else if (message == FILE_CHANGED_MSG)
            {
                // The queue is gone by now: this post runs nested.
                stage.postMessageToThread(&self, RUN_TEST_MSG, 3.0f);
            }
        });
    manager.start(0, nullptr, 0, true);
    ASSERT_TRUE(manager.waitForQueue());
    ASSERT_NE(platform::PostThreadMessageA(manager.getThreadId(), START_TEST_MSG, 0, 0), 0);
    ASSERT_TRUE(manager.waitForCount(5));

    auto const received = manager.received();
    std::vector<unsigned int> const order{START_TEST_MSG, END_OF_TEST_MSG, RESET_MSG, FILE_CHANGED_MSG,
                                          RUN_TEST_MSG};
    for (size_t i = 0; i < order.size(); ++i)
    {
        EXPECT_EQ(received[i].message, order[i]) << i;
    }
    EXPECT_EQ(received[1].value, 1.0f);
    EXPECT_EQ(received[1].sender, &stage);
    EXPECT_EQ(received[1].depth, 0);
    EXPECT_EQ(received[2].value, 2.0f);
    EXPECT_EQ(received[4].depth, 1);
    EXPECT_EQ(emptyAfterDetach, std::vector<bool>{false});
    manager.stop(true);
    EXPECT_TRUE(manager.isAttachedQueueEmpty());
}

TEST(cKynThread, AttachedQueueTakesSimulatedPostsAndKeepsTheirPayloadsWhenDestroyed)
{
    cRecordingTraceSink trace(4);
    int const destroyedBefore = cCountedMessage::s_destroyed;
    auto* left = new cCountedMessage;
    {
        cTestThread manager("Test");
        EXPECT_TRUE(manager.isAttachedQueueEmpty());
        manager.attachQueue();
        EXPECT_TRUE(manager.isAttachedQueueEmpty());
        cTestThread::postPreparedMessage(&manager, END_OF_TEST_MSG, left);
        manager.detachQueue();
        // Not run, and the detach waits for the loop to find the queue empty.
        EXPECT_FALSE(manager.isAttachedQueueEmpty());
        EXPECT_TRUE(manager.received().empty());
    }
    // Destroying the queue frees its cells but not the payload of an entry left in it.
    EXPECT_EQ(cCountedMessage::s_destroyed, destroyedBefore);
    delete left;
    // The destructors of the test class and of cKynThread each stop.
    std::vector<std::string> const expected{"Posting to cKynThread: Test, msgId=65540, bespokeQueue=T",
                                            "Stopping cKynThread: Test, m_hThread=0x0000000000000000",
                                            "Stopping cKynThread: Test, m_hThread=0x0000000000000000"};
    EXPECT_EQ(trace.texts(), expected);
}

TEST(cKynThread, PostRetriesUntilTheTargetHasMadeItsQueue)
{
    cSimulationModeGuard simulation(false);
    cLateThread late("Late");
    late.start(0, nullptr, 0, false);
    ASSERT_NE(late.getThreadHandle(), nullptr);
    // Opened a little after the first attempt, well before the last one.
    std::thread opener(
        [&]
        {
            platform::Sleep(60);
            late.open();
        });
    platform::SetLastError(0);
    EXPECT_NO_THROW(cTestThread::postPreparedMessage(&late, RUN_TEST_MSG, new cMessage(nullptr, 8.0f)));
    // A failed attempt leaves its error behind; the successful one does not clear it.
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_INVALID_THREAD_ID);
    opener.join();
    ASSERT_TRUE(late.waitForCount(1));
    EXPECT_EQ(late.received()[0].value, 8.0f);
}

TEST(cKynThread, PostFailingThreeTimesDeletesTheMessageAndThrows)
{
    cSimulationModeGuard simulation(false);
    cTestThread never("Never");
    int const destroyedBefore = cCountedMessage::s_destroyed;
    try
    {
        cTestThread::postPreparedMessage(&never, RUN_TEST_MSG, new cCountedMessage);
        FAIL() << "no exception";
    }
    catch (cMessageError const& error)
    {
        EXPECT_EQ(error.getSourceFile(), "SimCore/cThread");
        EXPECT_EQ(error.getFunction(), "cKynThread::postMessageToThreadWithRetries");
        EXPECT_EQ(error.getLine(), 179);
        EXPECT_STREQ(error.what(), "The message could not be posted to the thread.");
    }
    EXPECT_EQ(cCountedMessage::s_destroyed, destroyedBefore + 1);

    // No target at all: the payload goes too.
    EXPECT_THROW(cTestThread::postPreparedMessage(nullptr, RESET_MSG, new cCountedMessage), cNULLPointer);
    EXPECT_EQ(cCountedMessage::s_destroyed, destroyedBefore + 2);
}

TEST(cKynThread, RealThreadLoopDeliversInOrderAndSurvivesFailingHandlers)
{
    cSimulationModeGuard simulation(false);
    cRecordingMessageSink messages;
    cRecordingTraceSink trace(3);
    cTestThread vehicle("Vehicle");
    cTestThread algorithm("Algorithm");
    algorithm.setHook(
        [](cTestThread&, unsigned int message)
        {
            if (message == RESET_MSG)
            {
                throw cForbiddenAction("SimCore/cAlgorithm", "cAlgorithm::reset", 12, "Reset refused");
            }
            if (message == FILE_CHANGED_MSG)
            {
                throw std::runtime_error("no crash file");
            }
        });
    platform::SetLastError(0);
    EXPECT_EQ(algorithm.start(1, nullptr, 0, false), 0u);
    ASSERT_NE(algorithm.getThreadHandle(), nullptr);
    EXPECT_EQ(trace.texts().front(), startedLine("Algorithm", 'F', 'F', algorithm.getThreadHandle(), 0));
    ASSERT_TRUE(algorithm.waitForQueue());
    int const destroyedBefore = cCountedMessage::s_destroyed;
    cTestThread::postPreparedMessage(&algorithm, RESET_MSG, new cCountedMessage);
    cTestThread::postPreparedMessage(&algorithm, FILE_CHANGED_MSG, new cCountedMessage);
    for (int i = 0; i < 10; ++i)
    {
        vehicle.postMessageToThread(&algorithm, RUN_TEST_MSG, static_cast<float>(i));
    }
    ASSERT_TRUE(algorithm.waitForCount(12));
    auto const received = algorithm.received();
    EXPECT_EQ(received[0].message, RESET_MSG);
    EXPECT_EQ(received[1].message, FILE_CHANGED_MSG);
    for (int i = 0; i < 10; ++i)
    {
        EXPECT_EQ(received[i + 2].message, RUN_TEST_MSG);
        EXPECT_EQ(received[i + 2].value, static_cast<float>(i));
        EXPECT_EQ(received[i + 2].sender, &vehicle);
    }
    // The handler's guard deleted the payloads of the failing messages too.
    EXPECT_EQ(cCountedMessage::s_destroyed, destroyedBefore + 2);
    EXPECT_EQ(algorithm.getExitCode(), platform::STILL_ACTIVE);

    auto const shown = messages.entries();
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_EQ(shown[0].kind, "exception");
    EXPECT_EQ(shown[0].title, "cForbiddenAction");
    EXPECT_EQ(shown[0].text, "Reset refused");
    EXPECT_EQ(shown[1].title, "cGenericException");
    EXPECT_EQ(shown[1].text, "no crash file");
}

TEST(cKynThread, ManagerLeavesItsLoopOnQuitAndQueuedPayloadsAreDeleted)
{
    cSimulationModeGuard simulation(false);
    // Default bounds take QUIT_MSG alone: a RESET_MSG waits in the queue until the thread ends.
    class cQuitOnly : public cKynThread
    {
    public:
        bool ProcessMessage(unsigned int message, cMessage* data) override
        {
            delete data;
            return message == QUIT_MSG;
        }
    } quitOnly;
    EXPECT_EQ(quitOnly.getName(), "");
    quitOnly.start(0, nullptr, 0, false);
    uint32_t const id = quitOnly.getThreadId();
    int const destroyedBefore = cCountedMessage::s_destroyed;
    auto* waiting = new cCountedMessage;
    ASSERT_TRUE(eventually(
        [&] {
            return platform::PostThreadMessageA(id, RESET_MSG, 0, reinterpret_cast<intptr_t>(waiting)) != 0;
        }));
    ASSERT_NE(platform::PostThreadMessageA(id, QUIT_MSG, 0, reinterpret_cast<intptr_t>(new cCountedMessage)),
              0);
    EXPECT_TRUE(eventually([&] { return cCountedMessage::s_destroyed == destroyedBefore + 2; }));
    EXPECT_TRUE(eventually([&] { return platform::PostThreadMessageA(id, QUIT_MSG, 0, 0) == 0; }));
    EXPECT_EQ(quitOnly.stop(false), platform::STILL_ACTIVE);
    EXPECT_EQ(quitOnly.getThreadHandle(), nullptr);
}

TEST(cKynThread, UnforcedStopLeavesAStageRunningUntilTheObjectGoes)
{
    cSimulationModeGuard simulation(false);
    auto const probe = [](uint32_t id)
    { return eventually([&] { return platform::PostThreadMessageA(id, 0x7F000, 0, 0) != 0; }); };
    uint32_t first = 0;
    uint32_t second = 0;
    int const handledBefore = cBareStage::s_handled;
    {
        cBareStage stage;
        stage.start(0, nullptr, 0, false);
        first = stage.getThreadId();
        ASSERT_TRUE(probe(first));
        // Started again without a stop: the first thread is kept within reach, still running.
        stage.start(0, nullptr, 0, false);
        second = stage.getThreadId();
        ASSERT_NE(second, first);
        ASSERT_TRUE(probe(second));
        EXPECT_EQ(stage.stop(false), platform::STILL_ACTIVE);
        EXPECT_EQ(stage.getThreadHandle(), nullptr);
        // Both still in their loops without a handle: QUIT_MSG was handled like any message.
        ASSERT_NE(platform::PostThreadMessageA(first, RUN_TEST_MSG, 0, 0), 0);
        ASSERT_NE(platform::PostThreadMessageA(second, RUN_TEST_MSG, 0, 0), 0);
        // Waited for, so that no message is in flight when the derived part goes.
        EXPECT_TRUE(eventually([&] { return cBareStage::s_handled == handledBefore + 3; }));
    }
    for (uint32_t id : {first, second})
    {
        platform::SetLastError(0);
        EXPECT_EQ(platform::PostThreadMessageA(id, RUN_TEST_MSG, 0, 0), 0);
        EXPECT_EQ(platform::GetLastError(), platform::ERROR_INVALID_THREAD_ID);
    }
}

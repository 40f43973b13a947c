#include "SimCore/cThread.h"

#include "BaseKit/Conversions.h"
#include "tests/support/cRecordingSinks.h"

#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

// Message ids in the logs below: 65536 QUIT_MSG, 65537 RESET_MSG, 65538 FILE_CHANGED_MSG,
// 65539 START_TEST_MSG, 65540 END_OF_TEST_MSG, 65541 RUN_TEST_MSG.
namespace
{

// Fails while the thread has no queue: not made yet, or gone with the thread. The probe's id lies
// outside every filter and the pipeline's range, so it stays queued and goes with the queue untouched.
bool canPost(uint32_t threadId)
{
    return platform::PostThreadMessageA(threadId, 0x7F000, 0, 0) != 0;
}

// Sets the simulation mode for one test and restores it afterwards.
struct sSimulationMode
{
    bool previous = cKynThread::getSimulationMode();
    explicit sSimulationMode(bool mode) { cKynThread::setSimulationMode(mode); }
    ~sSimulationMode() { cKynThread::setSimulationMode(previous); }
};

// A payload that counts its destructions, to see who deletes it.
class cCountedMessage : public cMessage
{
public:
    ~cCountedMessage() override { ++s_destroyed; }
    static inline std::atomic<int> s_destroyed{0};
    // A new one as the lParam of a platform post.
    static intptr_t word() { return reinterpret_cast<intptr_t>(new cCountedMessage); }
};

// A stage-like thread that logs what reaches it, deletes its payloads and runs an optional hook. One
// made with the default bounds (QUIT_MSG alone) leaves its loop on QUIT_MSG like the computation
// manager. Its thread makes its queue only once startDelayMs have passed.
class cTestThread : public cKynThread
{
public:
    cTestThread() : m_quitOnQuit(true) {}
    explicit cTestThread(std::string name, unsigned int highest = RUN_TEST_MSG)
        : cKynThread(std::move(name), QUIT_MSG, highest)
    {
    }
    // ProcessMessage uses this class's members: the thread must end before they go.
    ~cTestThread() override { stop(true); }
    using cKynThread::postMessageToThread;
    using cKynThread::postPreparedMessage;

    // Logs "<id> value=<v> from <sender> depth=<calls of ProcessMessage still running on this
    // thread>", leaving out what is absent or zero.
    bool ProcessMessage(unsigned int message, cMessage* data) override
    {
        std::unique_ptr<cMessage> owned(data);
        std::string const entry =
            std::to_string(message) +
            (data ? " value=" + std::to_string(static_cast<int>(data->getValue())) : "") +
            (data && data->getSender() ? " from " + data->getSender()->getName() : "") +
            (t_depth > 0 ? " depth=" + std::to_string(t_depth) : "");
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_received.push_back(entry);
        }
        ++t_depth;
        std::unique_ptr<int, void (*)(int*)> const nesting(&t_depth, [](int* depth) { --*depth; });
        if (hook)
            hook(*this, message);
        return m_quitOnQuit && message == QUIT_MSG;
    }

    std::vector<std::string> received() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_received;
    }

    std::function<void(cTestThread& self, unsigned int message)> hook; // set before the thread runs
    uint32_t startDelayMs = 0;

protected:
    uint32_t userEntryPoint(void* parameter) override
    {
        platform::Sleep(startDelayMs);
        return cKynThread::userEntryPoint(parameter);
    }

private:
    static inline thread_local int t_depth = 0;
    bool m_quitOnQuit = false;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_received;
};

std::string startedLine(std::string const& name, char simulated, char forced, void const* handle,
                        uint32_t error)
{
    return "Started cKynThread: " + name + ", g_simulatedMode=" + simulated + ", forced=" + forced +
           ", m_hThread=" + addressToString(handle) + ", lastError=" + std::to_string(error);
}
} // namespace

TEST(cKynThread, InSimulationModeAPostRunsTheHandlerNestedUnlessAQueueIsAttached)
{
    EXPECT_TRUE(cKynThread::getSimulationMode());
    cTestThread poster("Poster"); // goes after the trace sink, unrecorded
    cRecordingTraceSink trace(4);
    int const destroyedBefore = cCountedMessage::s_destroyed;
    auto* left = new cCountedMessage;
    {
        cTestThread channel("Channel");
        platform::SetLastError(4321);
        EXPECT_EQ(channel.start(1, nullptr, 0, false), 4321u);
        EXPECT_EQ(channel.stop(false), 0xFFFFFFFFu);
        // The first three RUN_TEST_MSG post the next one to the same target: the calls recurse.
        channel.hook = [](cTestThread& self, unsigned int message)
        {
            if (message == RUN_TEST_MSG && self.received().size() < 4)
                self.postMessageToThread(&self, RUN_TEST_MSG, static_cast<float>(self.received().size()));
            if (message == RESET_MSG)
                throw cForbiddenAction("SimCore/test", "hook", 1, "Reset refused");
        };
        poster.postMessageToThread(&channel, RUN_TEST_MSG, 0.0f);
        cTestThread::postMessageToThread(&channel, FILE_CHANGED_MSG);
        // A failing handler throws through to the poster.
        EXPECT_THROW(poster.postMessageToThread(&channel, RESET_MSG, 5.0f), cForbiddenAction);
        std::vector<std::string> const received{"65541 value=0 from Poster",
                                                "65541 value=1 from Channel depth=1",
                                                "65541 value=2 from Channel depth=2",
                                                "65541 value=3 from Channel depth=3",
                                                "65538",
                                                "65537 value=5 from Poster"};
        EXPECT_EQ(channel.received(), received);

        channel.attachQueue();
        cTestThread::postPreparedMessage(&channel, END_OF_TEST_MSG, left);
        channel.detachQueue();
        // Not run, and the detach waits for the loop to find the queue empty.
        EXPECT_FALSE(channel.isAttachedQueueEmpty());
        EXPECT_EQ(channel.received(), received);
    }
    // Destroying the queue frees its cells but not the payload of an entry left in it.
    EXPECT_EQ(cCountedMessage::s_destroyed, destroyedBefore);
    delete left;
    // The destructors of the test class and of cKynThread stop once more each.
    std::string const stopping = "Stopping cKynThread: Channel, m_hThread=0x0000000000000000";
    std::vector<std::string> lines{startedLine("Channel", 'T', 'F', nullptr, 4321), stopping};
    for (char const* id : {"65541", "65541", "65541", "65541", "65538", "65537"})
        lines.push_back("Posting to cKynThread: Channel, msgId=" + std::string(id) + ", bespokeQueue=F");
    lines.insert(lines.end(),
                 {"Posting to cKynThread: Channel, msgId=65540, bespokeQueue=T", stopping, stopping});
    EXPECT_EQ(trace.texts(), lines);
}

TEST(cKynThread, AttachedQueueIsServedFirstAndDetachWaitsUntilItIsEmpty)
{
    cRecordingTraceSink trace(3);
    cTestThread manager("Test", END_OF_TEST_MSG);
    cTestThread stage("Vehicle");
    // On its own thread, like the computation manager at the start of a test.
    manager.hook = [&](cTestThread& self, unsigned int message)
    {
        if (message == START_TEST_MSG)
        {
            self.attachQueue();
            stage.postMessageToThread(&self, END_OF_TEST_MSG, 1.0f);
            platform::PostThreadMessageA(self.getThreadId(), FILE_CHANGED_MSG, 0, 0);
            self.attachQueue(); // keeps the queue and its entry
            stage.postMessageToThread(&self, RESET_MSG, 2.0f);
            self.detachQueue();
            EXPECT_FALSE(self.isAttachedQueueEmpty());
        }
        else if (message == FILE_CHANGED_MSG)
        {
            // The queue is gone by now: this post runs nested.
            stage.postMessageToThread(&self, RUN_TEST_MSG, 3.0f);
        }
    };
    // Forced: a thread even in simulation mode.
    platform::SetLastError(55);
    EXPECT_EQ(manager.start(0, nullptr, 0, true), 55u);
    platform::tThreadHandle const handle = manager.getThreadHandle();
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(manager.getExitCode(), platform::STILL_ACTIVE);
    ASSERT_TRUE(eventually(
        [&] { return platform::PostThreadMessageA(manager.getThreadId(), START_TEST_MSG, 0, 0); }));
    ASSERT_TRUE(eventually([&] { return manager.received().size() == 5; }));

    std::vector<std::string> const received{"65539", "65540 value=1 from Vehicle",
                                            "65537 value=2 from Vehicle", "65538",
                                            "65541 value=3 from Vehicle depth=1"};
    EXPECT_EQ(manager.received(), received);
    manager.stop(true);
    EXPECT_TRUE(manager.isAttachedQueueEmpty());
    std::vector<std::string> const lines{startedLine("Test", 'T', 'T', handle, 55),
                                         "Stopping cKynThread: Test, m_hThread=" + addressToString(handle)};
    EXPECT_EQ(trace.texts(), lines);
}

TEST(cKynThread, PostRetriesUntilTheTargetHasMadeItsQueueThenDeletesTheMessageAndThrows)
{
    sSimulationMode simulation(false);
    cTestThread late("Late");
    // Its queue comes a little after the first attempt, well before the last one.
    late.startDelayMs = 60;
    late.start(0, nullptr, 0, false);
    ASSERT_NE(late.getThreadHandle(), nullptr);
    platform::SetLastError(0);
    EXPECT_NO_THROW(cTestThread::postPreparedMessage(&late, RUN_TEST_MSG, new cMessage(nullptr, 8.0f)));
    // A failed attempt leaves its error behind; the successful one does not clear it.
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_INVALID_THREAD_ID);
    ASSERT_TRUE(eventually([&] { return !late.received().empty(); }));
    EXPECT_EQ(late.received(), std::vector<std::string>{"65541 value=8"});

    // Never started, so it never makes a queue: all three attempts fail.
    cTestThread never("Never");
    int const destroyedBefore = cCountedMessage::s_destroyed;
    try
    {
        cTestThread::postPreparedMessage(&never, RUN_TEST_MSG, new cCountedMessage);
        ADD_FAILURE() << "no exception";
    }
    catch (cMessageError const& error)
    {
        EXPECT_EQ(error.getLocation(),
                  "SimCore/cThread, cKynThread::postMessageToThreadWithRetries, line 179");
        EXPECT_STREQ(error.what(), "The message could not be posted to the thread.");
    }
    EXPECT_EQ(cCountedMessage::s_destroyed, destroyedBefore + 1);
    // No target at all: the payload goes too.
    EXPECT_THROW(cTestThread::postPreparedMessage(nullptr, RESET_MSG, new cCountedMessage), cNULLPointer);
    EXPECT_EQ(cCountedMessage::s_destroyed, destroyedBefore + 2);
}

TEST(cKynThread, RealThreadLoopDeliversInOrderSurvivesFailingHandlersAndEndsOnlyByForcedStop)
{
    sSimulationMode simulation(false);
    cRecordingMessageSink messages;
    cRecordingTraceSink trace(3);
    cTestThread vehicle("Vehicle");
    cTestThread algorithm("Algorithm");
    algorithm.hook = [](cTestThread&, unsigned int message)
    {
        if (message == RESET_MSG)
            throw cForbiddenAction("SimCore/cAlgorithm", "cAlgorithm::reset", 12, "Reset refused");
        if (message == FILE_CHANGED_MSG)
            throw std::runtime_error("no crash file");
    };
    platform::SetLastError(0);
    EXPECT_EQ(algorithm.start(1, nullptr, 0, false), 0u);
    ASSERT_NE(algorithm.getThreadHandle(), nullptr);
    EXPECT_EQ(trace.texts().front(), startedLine("Algorithm", 'F', 'F', algorithm.getThreadHandle(), 0));
    ASSERT_TRUE(eventually([&] { return canPost(algorithm.getThreadId()); }));
    int const destroyedBefore = cCountedMessage::s_destroyed;
    cTestThread::postPreparedMessage(&algorithm, RESET_MSG, new cCountedMessage);
    cTestThread::postPreparedMessage(&algorithm, FILE_CHANGED_MSG, new cCountedMessage);
    vehicle.postMessageToThread(&algorithm, RUN_TEST_MSG, 7.0f);
    std::vector<std::string> const expected{"65537 value=0", "65538 value=0", "65541 value=7 from Vehicle"};
    ASSERT_TRUE(eventually([&] { return algorithm.received().size() == expected.size(); }));
    EXPECT_EQ(algorithm.received(), expected);
    // The handler's guard deleted the payloads of the failing messages too.
    EXPECT_EQ(cCountedMessage::s_destroyed, destroyedBefore + 2);
    auto const shown = messages.entries();
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_EQ(shown[0].kind + " " + shown[0].title + ": " + shown[0].text,
              "exception cForbiddenAction: Reset refused");
    EXPECT_EQ(shown[1].kind + " " + shown[1].title + ": " + shown[1].text,
              "exception cGenericException: no crash file");

    // A stage does not leave its loop on QUIT_MSG: only the terminate of the forced stop ends it.
    uint32_t const id = algorithm.getThreadId();
    EXPECT_EQ(algorithm.stop(true), platform::STILL_ACTIVE);
    EXPECT_FALSE(canPost(id));
}

TEST(cKynThread, ManagerLeavesItsLoopOnQuitAndQueuedPayloadsAreDeleted)
{
    sSimulationMode simulation(false);
    cTestThread manager;
    // The loop ends with this QUIT_MSG still queued, at the lower end of the pipeline's ids.
    manager.hook = [](cTestThread& self, unsigned int)
    { platform::PostThreadMessageA(self.getThreadId(), QUIT_MSG, 0, cCountedMessage::word()); };
    manager.start(0, nullptr, 0, false);
    uint32_t const id = manager.getThreadId();
    int const destroyedBefore = cCountedMessage::s_destroyed;
    // Outside the default bounds, and the last id of the pipeline: it waits in the queue as well.
    intptr_t const waiting = cCountedMessage::word();
    ASSERT_TRUE(eventually([&] { return platform::PostThreadMessageA(id, RUN_TEST_MSG, 0, waiting) != 0; }));
    ASSERT_NE(platform::PostThreadMessageA(id, QUIT_MSG, 0, cCountedMessage::word()), 0);
    EXPECT_TRUE(eventually([&] { return cCountedMessage::s_destroyed == destroyedBefore + 3; }));
    EXPECT_TRUE(eventually([&] { return !canPost(id); }));
    EXPECT_EQ(manager.received(), std::vector<std::string>{"65536 value=0"});
    EXPECT_EQ(manager.stop(false), platform::STILL_ACTIVE);
}

TEST(cKynThread, UnforcedStopLeavesAStageRunningUntilTheObjectGoes)
{
    sSimulationMode simulation(false);
    std::vector<uint32_t> ids;
    {
        cTestThread stage("Stage");
        // Started twice without a stop: the first thread is kept within reach, still running.
        for (int i = 0; i < 2; ++i)
        {
            stage.start(0, nullptr, 0, false);
            ids.push_back(stage.getThreadId());
            ASSERT_TRUE(eventually([&] { return canPost(ids.back()); }));
        }
        EXPECT_EQ(stage.stop(false), platform::STILL_ACTIVE);
        EXPECT_EQ(stage.getThreadHandle(), nullptr);
        // Both still in their loops without a handle: the stop's QUIT_MSG was handled like any message.
        for (uint32_t id : ids)
            ASSERT_NE(platform::PostThreadMessageA(id, RUN_TEST_MSG, 0, 0), 0);
        EXPECT_TRUE(eventually([&] { return stage.received().size() == 3; }));
    }
    EXPECT_FALSE(canPost(ids[0]) || canPost(ids[1]));
}

#include "SimCore/cThread.h"

#include "BaseKit/Conversions.h"
#include "tests/support/cCountedMessage.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <stdexcept>

// Message ids in the logs below: 65536 QUIT_MSG, 65537 RESET_MSG, 65538 FILE_CHANGED_MSG,
// 65539 START_TEST_MSG, 65540 END_OF_TEST_MSG, 65541 RUN_TEST_MSG.
namespace
{
using tTexts = std::vector<std::string>;
// A bounded join: a thread that does not end fails the test instead of hanging it.
constexpr uint32_t kJoinMs = 20000;

// Fails while the thread has no queue: not made yet, or gone with the thread. The probe's id lies
// outside every filter and the pipeline's range, so it stays queued and goes with the queue untouched.
bool canPost(uint32_t threadId)
{
    return platform::PostThreadMessageA(threadId, 0x7F000, 0, 0) != 0;
}

// A stage-like thread that logs what reaches it, deletes its payloads, runs an optional hook and
// then counts the message as handled. One made with the default bounds (QUIT_MSG alone) leaves its
// loop on QUIT_MSG like the computation manager. Its thread makes its queue once startDelayMs passed.
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
        // Declared first, so it counts once the payload is gone, also when the hook throws.
        struct sNotify
        {
            cEventCounter& counter;
            ~sNotify() { counter.notify(); }
        } const notify{handled};
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

    tTexts received() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_received;
    }

    std::function<void(cTestThread& self, unsigned int message)> hook; // set before the thread runs
    uint32_t startDelayMs = 0;
    cEventCounter handled;

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
    tTexts m_received;
};

std::string startedLine(std::string const& name, char simulated, char forced, void const* handle,
                        uint32_t error)
{
    return "Started cKynThread: " + name + ", g_simulatedMode=" + simulated + ", forced=" + forced +
           ", m_hThread=" + addressToString(handle) + ", lastError=" + std::to_string(error);
}

using cKynThreadTest = cSimCoreFixture;
} // namespace

TEST_F(cKynThreadTest, InSimulationModeAPostRunsTheHandlerNestedUnlessAQueueIsAttached)
{
    EXPECT_TRUE(cKynThread::getSimulationMode());
    cTestThread poster("Poster"); // goes after the trace sink, unrecorded
    cRecordingTraceSink trace(4);
    int const destroyedBefore = cCountedMessage::s_destroyed;
    auto* left = new cCountedMessage;
    {
        cTestThread channel("Channel");
        platform::SetLastError(4321);
        EXPECT_EQ(4321u, channel.start(1, nullptr, 0, false));
        EXPECT_EQ(0xFFFFFFFFu, channel.stop(false));
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
        tTexts const received{"65541 value=0 from Poster",
                              "65541 value=1 from Channel depth=1",
                              "65541 value=2 from Channel depth=2",
                              "65541 value=3 from Channel depth=3",
                              "65538",
                              "65537 value=5 from Poster"};
        EXPECT_EQ(received, channel.received());

        channel.attachQueue();
        cTestThread::postPreparedMessage(&channel, END_OF_TEST_MSG, left);
        channel.detachQueue();
        // Not run, and the detach waits for the loop to find the queue empty.
        EXPECT_FALSE(channel.isAttachedQueueEmpty());
        EXPECT_EQ(received, channel.received());
    }
    // Destroying the queue frees its cells but not the payload of an entry left in it.
    EXPECT_EQ(destroyedBefore, cCountedMessage::s_destroyed);
    delete left;
    // The destructors of the test class and of cKynThread stop once more each.
    std::string const stopping = "Stopping cKynThread: Channel, m_hThread=0x0000000000000000";
    tTexts lines{startedLine("Channel", 'T', 'F', nullptr, 4321), stopping};
    for (char const* id : {"65541", "65541", "65541", "65541", "65538", "65537"})
        lines.push_back("Posting to cKynThread: Channel, msgId=" + std::string(id) + ", bespokeQueue=F");
    lines.insert(lines.end(),
                 {"Posting to cKynThread: Channel, msgId=65540, bespokeQueue=T", stopping, stopping});
    EXPECT_EQ(lines, trace.texts());
}

TEST_F(cKynThreadTest, AttachedQueueIsServedFirstAndDetachWaitsUntilItIsEmpty)
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
    EXPECT_EQ(55u, manager.start(0, nullptr, 0, true));
    platform::tThreadHandle const handle = manager.getThreadHandle();
    ASSERT_NE(nullptr, handle);
    EXPECT_EQ(platform::STILL_ACTIVE, manager.getExitCode());
    // The first message goes the retrying way, which waits for the queue; the hook's posts must then
    // find the simulation mode back on.
    cKynThread::setSimulationMode(false);
    cTestThread::postMessageToThread(&manager, QUIT_MSG);
    ASSERT_TRUE(manager.handled.waitFor(1));
    cKynThread::setSimulationMode(true);
    ASSERT_NE(0, platform::PostThreadMessageA(manager.getThreadId(), START_TEST_MSG, 0, 0));
    ASSERT_TRUE(manager.handled.waitFor(6));

    EXPECT_EQ((tTexts{"65536", "65539", "65540 value=1 from Vehicle", "65537 value=2 from Vehicle", "65538",
                      "65541 value=3 from Vehicle depth=1"}),
              manager.received());
    manager.stop(true);
    EXPECT_TRUE(manager.isAttachedQueueEmpty());
    EXPECT_EQ((tTexts{startedLine("Test", 'T', 'T', handle, 55),
                      "Stopping cKynThread: Test, m_hThread=" + addressToString(handle)}),
              trace.texts());
}

TEST_F(cKynThreadTest, PostRetriesUntilTheTargetHasMadeItsQueueThenDeletesTheMessageAndThrows)
{
    cKynThread::setSimulationMode(false);
    cTestThread late("Late");
    // Its queue comes a little after the first attempt, well before the last one.
    late.startDelayMs = 60;
    late.start(0, nullptr, 0, false);
    ASSERT_NE(nullptr, late.getThreadHandle());
    platform::SetLastError(0);
    EXPECT_NO_THROW(cTestThread::postPreparedMessage(&late, RUN_TEST_MSG, new cMessage(nullptr, 8.0f)));
    // A failed attempt leaves its error behind; the successful one does not clear it.
    EXPECT_EQ(platform::ERROR_INVALID_THREAD_ID, platform::GetLastError());
    ASSERT_TRUE(late.handled.waitFor(1));
    EXPECT_EQ(tTexts{"65541 value=8"}, late.received());

    // Never started, so it never makes a queue: all three attempts fail, each followed by 100 ms; the
    // count of attempts shows only in the time they take, a lower bound that no slow machine breaks.
    cTestThread never("Never");
    int const destroyedBefore = cCountedMessage::s_destroyed;
    auto const posted = std::chrono::steady_clock::now();
    try
    {
        cTestThread::postPreparedMessage(&never, RUN_TEST_MSG, new cCountedMessage);
        ADD_FAILURE() << "no exception";
    }
    catch (cMessageError const& error)
    {
        EXPECT_EQ("SimCore/cThread, cKynThread::postMessageToThreadWithRetries, line 179",
                  error.getLocation());
        EXPECT_STREQ("The message could not be posted to the thread.", error.what());
    }
    EXPECT_GE(std::chrono::steady_clock::now() - posted, std::chrono::milliseconds(300));
    EXPECT_EQ(destroyedBefore + 1, cCountedMessage::s_destroyed);
    // No target at all: the payload goes too.
    EXPECT_THROW(cTestThread::postPreparedMessage(nullptr, RESET_MSG, new cCountedMessage), cNULLPointer);
    EXPECT_EQ(destroyedBefore + 2, cCountedMessage::s_destroyed);
}

TEST_F(cKynThreadTest, RealThreadLoopDeliversInOrderSurvivesFailingHandlersAndEndsOnlyByForcedStop)
{
    cKynThread::setSimulationMode(false);
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
    EXPECT_EQ(0u, algorithm.start(1, nullptr, 0, false));
    ASSERT_NE(nullptr, algorithm.getThreadHandle());
    EXPECT_EQ(startedLine("Algorithm", 'F', 'F', algorithm.getThreadHandle(), 0), trace.texts().front());
    // The first post retries until the thread has made its queue.
    cTestThread::postPreparedMessage(&algorithm, RESET_MSG, new cCountedMessage);
    cTestThread::postPreparedMessage(&algorithm, FILE_CHANGED_MSG, new cCountedMessage);
    vehicle.postMessageToThread(&algorithm, RUN_TEST_MSG, 7.0f);
    ASSERT_TRUE(algorithm.handled.waitFor(3));
    EXPECT_EQ((tTexts{"65537 value=0", "65538 value=0", "65541 value=7 from Vehicle"}), algorithm.received());
    tTexts shown;
    for (auto const& entry : messages.entries())
        shown.push_back(entry.kind + " " + entry.title + ": " + entry.text);
    EXPECT_EQ(
        (tTexts{"exception cForbiddenAction: Reset refused", "exception cGenericException: no crash file"}),
        shown);

    // A stage does not leave its loop on QUIT_MSG: only the terminate of the forced stop ends it.
    uint32_t const id = algorithm.getThreadId();
    EXPECT_EQ(platform::STILL_ACTIVE, algorithm.stop(true));
    EXPECT_FALSE(canPost(id));
}

TEST_F(cKynThreadTest, ManagerLeavesItsLoopOnQuitAndQueuedPayloadsAreDeleted)
{
    cKynThread::setSimulationMode(false);
    cTestThread manager;
    // The loop ends with this QUIT_MSG still queued, at the lower end of the pipeline's ids.
    manager.hook = [](cTestThread& self, unsigned int)
    { platform::PostThreadMessageA(self.getThreadId(), QUIT_MSG, 0, cCountedMessage::word()); };
    manager.start(0, nullptr, 0, false);
    uint32_t const id = manager.getThreadId();
    int const destroyedBefore = cCountedMessage::s_destroyed;
    // Outside the default bounds, and the last id of the pipeline: it waits in the queue as well.
    cTestThread::postPreparedMessage(&manager, RUN_TEST_MSG, new cCountedMessage);
    cTestThread::postPreparedMessage(&manager, QUIT_MSG, new cCountedMessage);
    ASSERT_TRUE(platform::JoinThread(manager.getThreadHandle(), kJoinMs));
    EXPECT_EQ(destroyedBefore + 3, cCountedMessage::s_destroyed);
    EXPECT_FALSE(canPost(id));
    EXPECT_EQ(tTexts{"65536 value=0"}, manager.received());
    EXPECT_EQ(platform::STILL_ACTIVE, manager.stop(false));
}

TEST_F(cKynThreadTest, UnforcedStopLeavesAStageRunningUntilTheObjectGoes)
{
    cKynThread::setSimulationMode(false);
    std::vector<uint32_t> ids;
    {
        cTestThread stage("Stage");
        // Started twice without a stop: the first thread is kept within reach, still running.
        for (unsigned int i = 1; i <= 2; ++i)
        {
            stage.start(0, nullptr, 0, false);
            ids.push_back(stage.getThreadId());
            cTestThread::postMessageToThread(&stage, RESET_MSG);
            ASSERT_TRUE(stage.handled.waitFor(i));
        }
        EXPECT_EQ(platform::STILL_ACTIVE, stage.stop(false));
        EXPECT_EQ(nullptr, stage.getThreadHandle());
        // Both still in their loops without a handle: the stop's QUIT_MSG was handled like any message.
        for (uint32_t id : ids)
            ASSERT_NE(0, platform::PostThreadMessageA(id, RUN_TEST_MSG, 0, 0));
        ASSERT_TRUE(stage.handled.waitFor(5));
        tTexts received = stage.received();
        std::sort(received.begin() + 2, received.end());
        EXPECT_EQ((tTexts{"65537", "65537", "65536", "65541", "65541"}), received);
    }
    EXPECT_FALSE(canPost(ids[0]) || canPost(ids[1]));
}

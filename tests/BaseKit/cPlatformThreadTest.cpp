#include "BaseKit/cPlatformThread.h"

#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <utility>
#include <vector>

using namespace platform;

namespace
{
// What a call returns and the last error it leaves behind, starting from ERROR_SUCCESS.
template <class tCall> auto outcome(tCall call)
{
    SetLastError(ERROR_SUCCESS);
    auto const result = call();
    return std::pair(result, GetLastError());
}

// Read only after the counter has been reached or the thread has been joined.
std::vector<sThreadMessage> g_discarded;
cEventCounter g_discardedCount;
void recordDiscarded(sThreadMessage const& message)
{
    g_discarded.push_back(message);
    g_discardedCount.notify();
}

// What a worker is to take and what it saw; read once it has been joined or has been heard of.
struct sWorkerLog
{
    std::vector<std::pair<uint32_t, uint32_t>> filters{{0, 0}};
    std::vector<sThreadMessage> received;
    cEventCounter waiting; // notified as the worker makes its queue with its first GetMessageA
    std::atomic<bool> ran{false};
    std::atomic<bool> done{false};
};

// Takes one message per filter of the log and returns the last id as exit code. Its handler must not
// stop a terminate (cKynException derives from std::exception).
uint32_t takeMessages(void* argument)
{
    auto* log = static_cast<sWorkerLog*>(argument);
    log->ran = true;
    sThreadMessage message{};
    try
    {
        log->waiting.notify();
        for (auto const& [lowest, highest] : log->filters)
        {
            GetMessageA(&message, lowest, highest);
            log->received.push_back(message);
        }
    }
    catch (std::exception const&)
    {
    }
    log->done = true;
    return message.message;
}

// The first post to a worker, once it has said that it waits. Its queue is made at the start of that
// wait, so the post may still come a moment early; it is then given again, as the pipeline's posters do.
bool postFirst(sWorkerLog& log, uint32_t threadId, uint32_t message, uintptr_t wParam = 0,
               intptr_t lParam = 0)
{
    if (!log.waiting.waitFor(1))
        return false;
    for (int attempt = 0; attempt < 1000; ++attempt, Sleep(1))
        if (PostThreadMessageA(threadId, message, wParam, lParam) != 0)
            return true;
    return false;
}
} // namespace

TEST(cPlatformThread, QueueExistsFromTheFirstGetAndTheIdFilterLeavesOthersInOrder)
{
    sWorkerLog log;
    log.filters = {{0x200, 0x200}, {0x100, 0x1FF}, {0x100, 0x1FF}, {0x100, 0x1FF}, {0, 0}};
    uint32_t id = 0;
    tThreadHandle handle = CreateThread(0, &takeMessages, &log, CREATE_SUSPENDED, &id);
    ASSERT_NE(handle, nullptr);
    EXPECT_NE(id, 0u);
    EXPECT_NE(id, GetCurrentThreadId());
    auto const unknownThread = std::pair(0, ERROR_INVALID_THREAD_ID);
    EXPECT_EQ(outcome([&] { return PostThreadMessageA(id, 0x101, 0, 0); }), unknownThread);

    EXPECT_EQ(ResumeThread(handle), 1u);
    ASSERT_TRUE(postFirst(log, id, 0x101, 1, -9));
    using tPost = std::pair<uint32_t, uintptr_t>;
    for (auto const& [message, word] : std::vector<tPost>{{0x300, 2}, {0x102, 3}, {0x103, 4}, {0x200, 5}})
        ASSERT_NE(PostThreadMessageA(id, message, word, 0), 0);
    ASSERT_TRUE(JoinThread(handle));
    std::vector<tPost> order;
    for (auto const& message : log.received)
        order.emplace_back(message.message, message.wParam);
    ASSERT_EQ(order, (std::vector<tPost>{{0x200, 5}, {0x101, 1}, {0x102, 3}, {0x103, 4}, {0x300, 2}}));
    EXPECT_EQ(log.received[1].lParam, -9);
    uint32_t exitCode = 0;
    ASSERT_NE(GetExitCodeThread(handle, &exitCode), 0);
    EXPECT_EQ(exitCode, 0x300u);
    // An ended thread and an id never given out are both unknown.
    EXPECT_EQ(outcome([&] { return PostThreadMessageA(id, 0x101, 0, 0); }), unknownThread);
    EXPECT_EQ(outcome([] { return PostThreadMessageA(0, 0x101, 0, 0); }), unknownThread);
    sThreadMessage message{};
    EXPECT_EQ(outcome([&] { return GetMessageA(&message, 0x10005, 0x10000); }),
              std::pair(-1, ERROR_INVALID_PARAMETER));
    EXPECT_NE(CloseHandle(handle), 0);
}

TEST(cPlatformThread, TerminateWakesABlockedThreadPastItsHandlersAndDiscardsItsFullQueue)
{
    tDiscardedMessageHandler const previous = setDiscardedMessageHandler(&recordDiscarded);
    g_discarded.clear();
    sWorkerLog log;
    log.filters = {{0x500, 0x500}};
    uint32_t id = 0;
    tThreadHandle handle = CreateThread(0, &takeMessages, &log, 0, &id);
    ASSERT_NE(handle, nullptr);
    // Outside the worker's filter: they stay queued until the queue goes with the thread.
    ASSERT_TRUE(postFirst(log, id, 0x100, 0, 1234));
    for (uint32_t i = 1; i < kMaxQueuedMessages; ++i)
        ASSERT_NE(PostThreadMessageA(id, 0x100, i, 0), 0) << i;
    EXPECT_EQ(outcome([&] { return PostThreadMessageA(id, 0x500, 0, 0); }),
              std::pair(0, ERROR_NOT_ENOUGH_QUOTA));
    uint32_t exitCode = 0;
    ASSERT_NE(GetExitCodeThread(handle, &exitCode), 0);
    EXPECT_EQ(exitCode, STILL_ACTIVE);
    EXPECT_FALSE(JoinThread(handle, 0));

    EXPECT_NE(TerminateThread(handle, 77), 0);
    ASSERT_TRUE(JoinThread(handle));
    setDiscardedMessageHandler(previous);
    EXPECT_FALSE(log.done);
    ASSERT_EQ(g_discarded.size(), kMaxQueuedMessages);
    EXPECT_EQ(g_discarded.front().lParam, 1234);
    EXPECT_EQ(g_discarded.back().wParam, kMaxQueuedMessages - 1);
    // A terminate of an ended thread changes nothing.
    EXPECT_NE(TerminateThread(handle, 5), 0);
    ASSERT_NE(GetExitCodeThread(handle, &exitCode), 0);
    EXPECT_EQ(exitCode, 77u);
    EXPECT_NE(CloseHandle(handle), 0);
}

TEST(cPlatformThread, CloseHandleEndsAThreadNeverResumedAndLetsARunningOneGoOn)
{
    // Nothing could resume it any more: it is ended and joined without running.
    sWorkerLog suspended;
    EXPECT_NE(CloseHandle(CreateThread(0, &takeMessages, &suspended, CREATE_SUSPENDED, nullptr)), 0);
    EXPECT_FALSE(suspended.ran);

    static sWorkerLog log; // outlives the detached thread
    log.filters = {{0x10005, 0x10005}};
    tDiscardedMessageHandler const previous = setDiscardedMessageHandler(&recordDiscarded);
    g_discarded.clear();
    unsigned int const discardedBefore = g_discardedCount.count();
    uint32_t id = 0;
    EXPECT_NE(CloseHandle(CreateThread(0, &takeMessages, &log, 0, &id)), 0);
    // The first message is outside the filter: it is still queued when the worker ends, and its discard
    // tells that the queue has gone.
    ASSERT_TRUE(postFirst(log, id, 0x10001, 7));
    ASSERT_NE(PostThreadMessageA(id, 0x10005, 3, 0), 0);
    ASSERT_TRUE(g_discardedCount.waitFor(discardedBefore + 1));
    setDiscardedMessageHandler(previous);
    EXPECT_TRUE(log.done);
    ASSERT_EQ(g_discarded.size(), 1u);
    EXPECT_EQ(g_discarded[0].wParam, 7u);
    EXPECT_EQ(outcome([&] { return PostThreadMessageA(id, 0x10001, 0, 0); }),
              std::pair(0, ERROR_INVALID_THREAD_ID));
}

#include "BaseKit/cPlatformThread.h"

#include "BaseKit/cKynException.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace platform;

namespace
{
// Polls until pred holds; the deadline is generous so that a loaded machine does not fail a test.
template <class tPredicate> bool eventually(tPredicate pred)
{
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    for (; !pred(); std::this_thread::sleep_for(std::chrono::milliseconds(1)))
    {
        if (std::chrono::steady_clock::now() > deadline)
        {
            return false;
        }
    }
    return true;
}

// Posts as soon as the target has made its queue.
bool postWhenReady(uint32_t threadId, uint32_t message, uintptr_t wParam = 0, intptr_t lParam = 0)
{
    return eventually([&] { return PostThreadMessageA(threadId, message, wParam, lParam) != 0; });
}

// The messages handed to the discard handler; read only after the thread has been joined.
std::vector<sThreadMessage> g_discarded;
void recordDiscarded(sThreadMessage const& message)
{
    g_discarded.push_back(message);
}

// What a worker saw; read by the test once the worker has been joined (or through the atomics).
struct sWorkerLog
{
    std::vector<sThreadMessage> received;
    std::atomic<int> count{0};
    std::atomic<bool> ran{false};
    std::atomic<bool> passedWait{false};
    std::atomic<bool> handlerCaughtUnwind{false};
};

// Takes any message and returns its id as exit code.
uint32_t takeOneMessage(void* argument)
{
    auto* log = static_cast<sWorkerLog*>(argument);
    sThreadMessage message{};
    GetMessageA(&message, 0, 0);
    log->received.push_back(message);
    ++log->count;
    return message.message;
}

// Waits for an id that never comes, inside handlers that must not stop a terminate.
uint32_t waitForever(void* argument)
{
    auto* log = static_cast<sWorkerLog*>(argument);
    log->ran = true;
    try
    {
        sThreadMessage message{};
        GetMessageA(&message, 0x500, 0x500);
    }
    catch (cKynException&)
    {
        log->handlerCaughtUnwind = true;
    }
    catch (std::exception&)
    {
        log->handlerCaughtUnwind = true;
    }
    log->passedWait = true;
    return 1;
}
} // namespace

TEST(cPlatformThread, PostFailsUntilTheTargetAsksForAMessage)
{
    sWorkerLog log;
    uint32_t id = 0;
    tThreadHandle handle = CreateThread(0, &takeOneMessage, &log, CREATE_SUSPENDED, &id);
    ASSERT_NE(handle, nullptr);
    EXPECT_NE(id, 0u);
    EXPECT_NE(id, GetCurrentThreadId());
    EXPECT_NE(SetThreadPriority(handle, 2), 0);
    EXPECT_EQ(GetThreadPriority(handle), 2);

    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(PostThreadMessageA(id, 0x10001, 0, 0), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_THREAD_ID);
    uint32_t exitCode = 0;
    ASSERT_NE(GetExitCodeThread(handle, &exitCode), 0);
    EXPECT_EQ(exitCode, STILL_ACTIVE);

    EXPECT_EQ(ResumeThread(handle), 1u);
    ASSERT_TRUE(postWhenReady(id, 0x10003, 7, -9));
    ASSERT_TRUE(JoinThread(handle));
    ASSERT_EQ(log.received.size(), 1u);
    EXPECT_EQ(log.received[0].wParam, 7u);
    EXPECT_EQ(log.received[0].lParam, -9);
    ASSERT_NE(GetExitCodeThread(handle, &exitCode), 0);
    EXPECT_EQ(exitCode, 0x10003u);

    // An ended thread and an id never given out are both unknown.
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(PostThreadMessageA(id, 0x10001, 0, 0), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_THREAD_ID);
    EXPECT_EQ(PostThreadMessageA(0, 0x10001, 0, 0), 0);
    EXPECT_NE(CloseHandle(handle), 0);
}

TEST(cPlatformThread, IdFilterTakesFirstMatchAndLeavesOthersInOrder)
{
    static int const filters[5][2] = {{0x200, 0x200}, {0x100, 0x1FF}, {0x100, 0x1FF}, {0x100, 0x1FF}, {0, 0}};
    auto entry = [](void* argument) -> uint32_t
    {
        auto* log = static_cast<sWorkerLog*>(argument);
        for (auto const& filter : filters)
        {
            sThreadMessage message{};
            if (GetMessageA(&message, filter[0], filter[1]) > 0)
            {
                log->received.push_back(message);
            }
        }
        return 0;
    };
    sWorkerLog log;
    uint32_t id = 0;
    tThreadHandle handle = CreateThread(0, entry, &log, 0, &id);
    ASSERT_NE(handle, nullptr);
    ASSERT_TRUE(postWhenReady(id, 0x101, 1));
    for (auto const& [message, word] :
         std::vector<std::pair<uint32_t, uintptr_t>>{{0x300, 2}, {0x102, 3}, {0x103, 4}, {0x200, 5}})
    {
        ASSERT_NE(PostThreadMessageA(id, message, word, 0), 0);
    }
    ASSERT_TRUE(JoinThread(handle));
    EXPECT_NE(CloseHandle(handle), 0);
    std::vector<std::pair<uint32_t, uintptr_t>> order;
    for (auto const& message : log.received)
    {
        order.emplace_back(message.message, message.wParam);
    }
    std::vector<std::pair<uint32_t, uintptr_t>> const expected{
        {0x200, 5}, {0x101, 1}, {0x102, 3}, {0x103, 4}, {0x300, 2}};
    EXPECT_EQ(order, expected);

    sThreadMessage message{};
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(GetMessageA(&message, 0x10005, 0x10000), -1);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(cPlatformThread, TerminateWakesABlockedThreadPastItsHandlers)
{
    tDiscardedMessageHandler const previous = setDiscardedMessageHandler(&recordDiscarded);
    g_discarded.clear();
    sWorkerLog log;
    uint32_t id = 0;
    tThreadHandle handle = CreateThread(0, &waitForever, &log, 0, &id);
    ASSERT_NE(handle, nullptr);
    // Outside the worker's filter: stays queued until the queue goes with the thread.
    ASSERT_TRUE(postWhenReady(id, 0x100, 0, 1234));
    uint32_t exitCode = 0;
    ASSERT_NE(GetExitCodeThread(handle, &exitCode), 0);
    EXPECT_EQ(exitCode, STILL_ACTIVE);
    EXPECT_FALSE(JoinThread(handle, 0));

    EXPECT_NE(TerminateThread(handle, 77), 0);
    ASSERT_TRUE(JoinThread(handle));
    setDiscardedMessageHandler(previous);
    ASSERT_NE(GetExitCodeThread(handle, &exitCode), 0);
    EXPECT_EQ(exitCode, 77u);
    EXPECT_TRUE(log.ran);
    EXPECT_FALSE(log.passedWait);
    EXPECT_FALSE(log.handlerCaughtUnwind);
    ASSERT_EQ(g_discarded.size(), 1u);
    EXPECT_EQ(g_discarded[0].message, 0x100u);
    EXPECT_EQ(g_discarded[0].lParam, 1234);

    // A terminate of an ended thread changes nothing.
    EXPECT_NE(TerminateThread(handle, 5), 0);
    ASSERT_NE(GetExitCodeThread(handle, &exitCode), 0);
    EXPECT_EQ(exitCode, 77u);
    EXPECT_NE(CloseHandle(handle), 0);
}

TEST(cPlatformThread, ThreadClosedBeforeResumeEndsWithoutRunning)
{
    // Nothing could resume it any more: it is ended and joined.
    sWorkerLog log;
    tThreadHandle handle = CreateThread(0, &waitForever, &log, CREATE_SUSPENDED, nullptr);
    ASSERT_NE(handle, nullptr);
    EXPECT_NE(CloseHandle(handle), 0);
    EXPECT_FALSE(log.ran);
}

TEST(cPlatformThread, CloseHandleLetsARunningThreadGoOn)
{
    static sWorkerLog log; // outlives the detached thread
    uint32_t id = 0;
    tThreadHandle handle = CreateThread(0, &takeOneMessage, &log, 0, &id);
    ASSERT_NE(handle, nullptr);
    EXPECT_NE(CloseHandle(handle), 0);
    ASSERT_TRUE(postWhenReady(id, 0x10005, 3));
    EXPECT_TRUE(eventually([&] { return log.count == 1; }));
    // Its queue goes when it ends.
    EXPECT_TRUE(eventually([&] { return PostThreadMessageA(id, 0x10001, 0, 0) == 0; }));
}

TEST(cPlatformThread, FullQueueRefusesWithNotEnoughQuota)
{
    tDiscardedMessageHandler const previous = setDiscardedMessageHandler(&recordDiscarded);
    g_discarded.clear();
    sWorkerLog log;
    uint32_t id = 0;
    tThreadHandle handle = CreateThread(0, &waitForever, &log, 0, &id);
    ASSERT_NE(handle, nullptr);
    ASSERT_TRUE(postWhenReady(id, 0x100, 0, 0));
    for (uint32_t i = 1; i < kMaxQueuedMessages; ++i)
    {
        ASSERT_NE(PostThreadMessageA(id, 0x100, i, 0), 0) << i;
    }
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(PostThreadMessageA(id, 0x500, 0, 0), 0);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_QUOTA);

    EXPECT_NE(TerminateThread(handle, 0), 0);
    EXPECT_NE(CloseHandle(handle), 0);
    setDiscardedMessageHandler(previous);
    ASSERT_EQ(g_discarded.size(), kMaxQueuedMessages);
    EXPECT_EQ(g_discarded.back().wParam, kMaxQueuedMessages - 1);
}

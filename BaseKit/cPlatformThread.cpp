#include "BaseKit/cPlatformThread.h"

#include "BaseKit/cTraceProvider.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <unordered_map>
#include <utility>

namespace platform
{
namespace
{
// Exit code of a thread whose entry let an exception out: the one Windows gives for an uncaught
// C++ exception, so that an owner reads a failure rather than a normal end.
constexpr uint32_t kUncaughtExceptionExitCode = 0xE06D7363;

// Thrown by GetMessageA/WaitMessage in a thread told to terminate; only the start routine below
// catches it. It derives from nothing, so no handler of the family or of std::exception takes it.
struct sTerminateUnwind
{
};

// Everything the layer knows of one thread, its own or a host's. One mutex guards all of it, and
// one condition variable serves resume, terminate and the arrival of messages.
struct sThreadState
{
    uint32_t id = 0;
    std::mutex mutex;
    std::condition_variable changed;

    // Queue: exists once the thread first asks for a message, goes when the thread ends.
    bool queueCreated = false;
    bool ended = false;
    std::deque<sThreadMessage> queue;
    uint64_t posted = 0; // messages ever queued, for WaitMessage's "new since last look"
    uint64_t seen = 0;

    bool terminateRequested = false;
    uint32_t terminateCode = 0;

    // Only for threads that this layer created.
    bool ownThread = false;
    tThreadEntry entry = nullptr;
    void* argument = nullptr;
    uint32_t suspendCount = 0;
    int priority = 0;
    bool finished = false;
    uint32_t exitCode = STILL_ACTIVE;

    // pthread_join and pthread_detach are each allowed once: guarded apart from the state so that
    // a join can block without holding the state's mutex.
    std::mutex joinMutex;
    pthread_t thread{};
    bool joined = false;
    bool detached = false;
};
} // namespace

struct sThreadHandle
{
    std::shared_ptr<sThreadState> state;
};

namespace
{
std::atomic<uint32_t> g_nextThreadId{1};
std::atomic<tDiscardedMessageHandler> g_discardedMessageHandler{nullptr};
thread_local uint32_t t_lastError = ERROR_SUCCESS;

// Threads with a queue, by id. Never destroyed: a detached thread may still post while the process
// exits, after static destructors have run.
struct sRegistry
{
    std::mutex mutex;
    std::unordered_map<uint32_t, std::shared_ptr<sThreadState>> queues;
};

sRegistry& registry()
{
    static sRegistry* instance = new sRegistry;
    return *instance;
}

// Removes the thread's queue from reach and hands what is left in it to the discard handler.
void retireQueue(sThreadState& state)
{
    {
        std::lock_guard<std::mutex> lock(registry().mutex);
        registry().queues.erase(state.id);
    }
    std::deque<sThreadMessage> left;
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        state.ended = true;
        left.swap(state.queue);
    }
    if (tDiscardedMessageHandler handler = g_discardedMessageHandler.load())
    {
        for (sThreadMessage const& message : left)
        {
            handler(message);
        }
    }
}

// The calling thread's state. A host thread gets one on first use and retires its queue when it
// ends; a thread of the layer has it set by the start routine, which retires the queue itself.
struct sCurrentThread
{
    std::shared_ptr<sThreadState> state;

    ~sCurrentThread()
    {
        if (state && !state->ownThread)
        {
            retireQueue(*state);
        }
    }
};
thread_local sCurrentThread t_current;

sThreadState& currentState()
{
    if (!t_current.state)
    {
        t_current.state = std::make_shared<sThreadState>();
        t_current.state->id = g_nextThreadId.fetch_add(1);
    }
    return *t_current.state;
}

// The caller's state with its queue made and reachable by posters.
sThreadState& currentStateWithQueue()
{
    sThreadState& state = currentState();
    bool create = false;
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        create = !state.queueCreated;
        state.queueCreated = true;
    }
    if (create)
    {
        std::lock_guard<std::mutex> lock(registry().mutex);
        registry().queues[state.id] = t_current.state;
    }
    return state;
}

bool isCurrentThread(sThreadState const& state)
{
    return t_current.state.get() == &state;
}

void* startRoutine(void* raw)
{
    std::unique_ptr<std::shared_ptr<sThreadState>> owned(static_cast<std::shared_ptr<sThreadState>*>(raw));
    t_current.state = *owned;
    sThreadState& state = *t_current.state;

    bool run = false;
    {
        std::unique_lock<std::mutex> lock(state.mutex);
        state.changed.wait(lock, [&] { return state.suspendCount == 0 || state.terminateRequested; });
        run = !state.terminateRequested;
    }

    bool terminated = !run;
    uint32_t exitCode = 0;
    if (run)
    {
        try
        {
            exitCode = state.entry(state.argument);
        }
        catch (sTerminateUnwind const&)
        {
            terminated = true;
        }
        catch (std::exception const& exception)
        {
            exitCode = kUncaughtExceptionExitCode;
            KYN_TRACE_GLOBAL(1, "Thread " + std::to_string(state.id) +
                                    " ended by an uncaught exception: " + exception.what());
        }
        catch (...)
        {
            exitCode = kUncaughtExceptionExitCode;
            KYN_TRACE_GLOBAL(1, "Thread " + std::to_string(state.id) + " ended by an uncaught exception");
        }
    }

    retireQueue(state);
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        state.exitCode = terminated ? state.terminateCode : exitCode;
        state.finished = true;
    }
    state.changed.notify_all();
    return nullptr;
}

size_t defaultStackSize()
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    size_t size = 0;
    pthread_attr_getstacksize(&attributes, &size);
    pthread_attr_destroy(&attributes);
    return size;
}

sThreadState* stateOf(tThreadHandle handle)
{
    if (!handle || !handle->state || !handle->state->ownThread)
    {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return handle->state.get();
}

// Joins the thread unless that was done already; the caller has made sure it ends.
void joinOnce(sThreadState& state)
{
    std::lock_guard<std::mutex> lock(state.joinMutex);
    if (!state.joined && !state.detached)
    {
        pthread_join(state.thread, nullptr);
        state.joined = true;
    }
}
} // namespace

tThreadHandle CreateThread(unsigned long stackSize, tThreadEntry entry, void* argument, uint32_t flags,
                           uint32_t* threadId)
{
    if (!entry || (flags & ~(CREATE_SUSPENDED | STACK_SIZE_PARAM_IS_A_RESERVATION)) != 0)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    auto state = std::make_shared<sThreadState>();
    state->id = g_nextThreadId.fetch_add(1);
    state->ownThread = true;
    state->entry = entry;
    state->argument = argument;
    state->suspendCount = (flags & CREATE_SUSPENDED) ? 1 : 0;

    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    size_t const defaultSize = defaultStackSize();
    if (stackSize > defaultSize)
    {
        size_t const page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        pthread_attr_setstacksize(&attributes, (stackSize + page - 1) / page * page);
    }
    auto* startArgument = new std::shared_ptr<sThreadState>(state);
    int const result = pthread_create(&state->thread, &attributes, &startRoutine, startArgument);
    pthread_attr_destroy(&attributes);
    if (result != 0)
    {
        delete startArgument;
        SetLastError(ERROR_NOT_ENOUGH_QUOTA);
        return nullptr;
    }
    if (threadId)
    {
        *threadId = state->id;
    }
    return new sThreadHandle{std::move(state)};
}

uint32_t GetCurrentThreadId()
{
    return currentState().id;
}

int SetThreadPriority(tThreadHandle handle, int priority)
{
    sThreadState* state = stateOf(handle);
    if (!state)
    {
        return 0;
    }
    std::lock_guard<std::mutex> lock(state->mutex);
    state->priority = priority;
    return 1;
}

int GetThreadPriority(tThreadHandle handle)
{
    sThreadState* state = stateOf(handle);
    if (!state)
    {
        return THREAD_PRIORITY_ERROR_RETURN;
    }
    std::lock_guard<std::mutex> lock(state->mutex);
    return state->priority;
}

uint32_t ResumeThread(tThreadHandle handle)
{
    sThreadState* state = stateOf(handle);
    if (!state)
    {
        return 0xFFFFFFFF;
    }
    uint32_t previous = 0;
    {
        std::lock_guard<std::mutex> lock(state->mutex);
        previous = state->suspendCount;
        if (state->suspendCount > 0)
        {
            --state->suspendCount;
        }
    }
    state->changed.notify_all();
    return previous;
}

int PostThreadMessageA(uint32_t threadId, uint32_t message, uintptr_t wParam, intptr_t lParam)
{
    std::shared_ptr<sThreadState> target;
    {
        std::lock_guard<std::mutex> lock(registry().mutex);
        auto found = registry().queues.find(threadId);
        if (found != registry().queues.end())
        {
            target = found->second;
        }
    }
    if (!target)
    {
        SetLastError(ERROR_INVALID_THREAD_ID);
        return 0;
    }
    {
        std::lock_guard<std::mutex> lock(target->mutex);
        // The registry entry may be a moment older than the thread's end.
        if (target->ended)
        {
            SetLastError(ERROR_INVALID_THREAD_ID);
            return 0;
        }
        if (target->queue.size() >= kMaxQueuedMessages)
        {
            SetLastError(ERROR_NOT_ENOUGH_QUOTA);
            return 0;
        }
        target->queue.push_back({message, wParam, lParam});
        ++target->posted;
    }
    target->changed.notify_all();
    return 1;
}

int GetMessageA(sThreadMessage* out, uint32_t lowest, uint32_t highest)
{
    if (!out || lowest > highest)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return -1;
    }
    bool const any = lowest == 0 && highest == 0;
    sThreadState& state = currentStateWithQueue();
    std::unique_lock<std::mutex> lock(state.mutex);
    for (;;)
    {
        if (state.terminateRequested)
        {
            throw sTerminateUnwind{};
        }
        for (auto it = state.queue.begin(); it != state.queue.end(); ++it)
        {
            if (any || (it->message >= lowest && it->message <= highest))
            {
                *out = *it;
                state.queue.erase(it);
                state.seen = state.posted;
                return 1;
            }
        }
        state.changed.wait(lock);
    }
}

int WaitMessage()
{
    sThreadState& state = currentStateWithQueue();
    std::unique_lock<std::mutex> lock(state.mutex);
    state.changed.wait(lock, [&] { return state.terminateRequested || state.posted != state.seen; });
    if (state.terminateRequested)
    {
        throw sTerminateUnwind{};
    }
    state.seen = state.posted;
    return 1;
}

int GetExitCodeThread(tThreadHandle handle, uint32_t* exitCode)
{
    sThreadState* state = stateOf(handle);
    if (!state)
    {
        return 0;
    }
    if (!exitCode)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    std::lock_guard<std::mutex> lock(state->mutex);
    *exitCode = state->finished ? state->exitCode : STILL_ACTIVE;
    return 1;
}

int TerminateThread(tThreadHandle handle, uint32_t exitCode)
{
    sThreadState* state = stateOf(handle);
    if (!state)
    {
        return 0;
    }
    {
        std::lock_guard<std::mutex> lock(state->mutex);
        if (state->finished || state->terminateRequested)
        {
            return 1;
        }
        state->terminateRequested = true;
        state->terminateCode = exitCode;
    }
    state->changed.notify_all();
    return 1;
}

int CloseHandle(tThreadHandle handle)
{
    sThreadState* state = stateOf(handle);
    if (!state)
    {
        return 0;
    }
    bool join = false;
    {
        std::lock_guard<std::mutex> lock(state->mutex);
        if (!state->finished && !state->terminateRequested && state->suspendCount > 0)
        {
            state->terminateRequested = true;
        }
        join = state->finished || state->terminateRequested;
    }
    state->changed.notify_all();
    if (join && !isCurrentThread(*state))
    {
        joinOnce(*state);
    }
    else
    {
        std::lock_guard<std::mutex> lock(state->joinMutex);
        if (!state->joined && !state->detached)
        {
            pthread_detach(state->thread);
            state->detached = true;
        }
    }
    delete handle;
    return 1;
}

bool JoinThread(tThreadHandle handle, uint32_t milliseconds)
{
    sThreadState* state = stateOf(handle);
    if (!state)
    {
        return false;
    }
    if (isCurrentThread(*state))
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    {
        std::unique_lock<std::mutex> lock(state->mutex);
        auto const hasFinished = [&] { return state->finished; };
        if (milliseconds == INFINITE)
        {
            state->changed.wait(lock, hasFinished);
        }
        else if (!state->changed.wait_for(lock, std::chrono::milliseconds(milliseconds), hasFinished))
        {
            return false;
        }
    }
    joinOnce(*state);
    return true;
}

void Sleep(uint32_t milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

uint32_t GetLastError()
{
    return t_lastError;
}

void SetLastError(uint32_t error)
{
    t_lastError = error;
}

tDiscardedMessageHandler setDiscardedMessageHandler(tDiscardedMessageHandler handler)
{
    return g_discardedMessageHandler.exchange(handler);
}

} // namespace platform

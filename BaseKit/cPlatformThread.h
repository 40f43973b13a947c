// Portable thread queues for the message threads of the pipeline. The calls keep the shape of the
// Windows thread API that the pipeline was written against: threads created suspended and resumed,
// a per-thread message queue reached by thread id, a blocking get with an id filter, exit codes,
// a last error per thread. Everything is built on POSIX threads, mutexes and condition variables.
#pragma once

#include <cstdint>

namespace platform
{

// One queued message: the id and the two words that travel with it.
struct sThreadMessage
{
    uint32_t message;
    uintptr_t wParam;
    intptr_t lParam;
};

// Opaque handle of a thread made by CreateThread; released by CloseHandle.
struct sThreadHandle;
using tThreadHandle = sThreadHandle*;

constexpr uint32_t CREATE_SUSPENDED = 4;
// Accepted for compatibility; the stack is never made smaller than the system default anyway.
constexpr uint32_t STACK_SIZE_PARAM_IS_A_RESERVATION = 0x10000;
// Exit code of a thread that is still running.
constexpr uint32_t STILL_ACTIVE = 259;
constexpr uint32_t INFINITE = 0xFFFFFFFF;
// Returned by GetThreadPriority for a bad handle.
constexpr int THREAD_PRIORITY_ERROR_RETURN = 0x7FFFFFFF;
// A message queue holds at most this many entries; a post beyond fails.
constexpr uint32_t kMaxQueuedMessages = 10000;

// Last-error values, with their Windows numbers.
constexpr uint32_t ERROR_SUCCESS = 0;
constexpr uint32_t ERROR_INVALID_HANDLE = 6;
constexpr uint32_t ERROR_INVALID_PARAMETER = 87;
constexpr uint32_t ERROR_INVALID_THREAD_ID = 1444;
constexpr uint32_t ERROR_NOT_ENOUGH_QUOTA = 1816;

using tThreadEntry = uint32_t (*)(void* argument);

// Starts a thread that runs entry(argument); with CREATE_SUSPENDED it waits for ResumeThread.
// stackSize 0 takes the system default, a larger value is honoured, a smaller one is raised to the
// default. threadId (may be null) receives the thread's id. Null on failure, with the last error set.
tThreadHandle CreateThread(unsigned long stackSize, tThreadEntry entry, void* argument, uint32_t flags,
                           uint32_t* threadId);

// The calling thread's id: small, unique, non-zero, never reused in the process. Threads that the
// layer did not create (the host's) get one on their first call.
uint32_t GetCurrentThreadId();

// The priority is recorded and reported back by GetThreadPriority, but not applied: Linux offers no
// portable per-thread priority to unprivileged processes, and the pipeline's results never depend
// on scheduling.
int SetThreadPriority(tThreadHandle handle, int priority);
int GetThreadPriority(tThreadHandle handle);

// Lets a suspended thread run. Returns the previous suspend count, or 0xFFFFFFFF on a bad handle.
uint32_t ResumeThread(tThreadHandle handle);

// Queues a message for the thread with that id. Non-zero on success; 0 on failure with the last
// error set: ERROR_INVALID_THREAD_ID when the thread is unknown, has ended, or has no queue yet
// (a queue exists only once its thread first asks for a message, so an early post fails and the
// poster retries), ERROR_NOT_ENOUGH_QUOTA when the queue holds kMaxQueuedMessages entries.
int PostThreadMessageA(uint32_t threadId, uint32_t message, uintptr_t wParam, intptr_t lParam);

// Takes the first queued message whose id lies in [lowest, highest] (0, 0: any id), leaving the
// others queued in their order; blocks until there is one. Makes the caller's queue on first use.
// Returns a positive value, or -1 with ERROR_INVALID_PARAMETER for a null out or lowest > highest.
// A thread told to terminate leaves from here (see TerminateThread).
int GetMessageA(sThreadMessage* out, uint32_t lowest, uint32_t highest);

// Blocks until a message arrives that the thread has not seen in an earlier GetMessageA or
// WaitMessage. Makes the caller's queue on first use. Returns non-zero. A thread told to
// terminate leaves from here.
int WaitMessage();

// STILL_ACTIVE while the thread runs, then what its entry returned (or the code of
// TerminateThread). Non-zero on success; 0 with ERROR_INVALID_HANDLE / ERROR_INVALID_PARAMETER.
int GetExitCodeThread(tThreadHandle handle, uint32_t* exitCode);

// A thread cannot be killed safely here. This marks it: at its next GetMessageA or WaitMessage
// (at once if it is blocked in one, or if it was never resumed) the thread unwinds to the layer's
// own start routine and ends with exitCode. The unwinding is a private type that no handler for
// cKynException or std::exception catches; code on the way must not swallow it with catch (...)
// and must not be noexcept. A thread that has already ended is not affected.
int TerminateThread(tThreadHandle handle, uint32_t exitCode);

// Releases the handle. A thread that was told to terminate, has ended, or was never resumed is
// joined first (a never-resumed one is terminated, since nothing could resume it any more); a
// running thread is detached and goes on by itself. A thread closing its own handle is detached.
int CloseHandle(tThreadHandle handle);

// Waits at most milliseconds (INFINITE: no limit) for the thread's end; true once it has ended and
// been joined, so that it no longer touches anything of its owner. False on timeout, on a bad
// handle, or when a thread waits for itself (ERROR_INVALID_PARAMETER).
bool JoinThread(tThreadHandle handle, uint32_t milliseconds = INFINITE);

void Sleep(uint32_t milliseconds);

// Per thread. The calls above set it on failure and leave it alone on success, like their originals.
uint32_t GetLastError();
void SetLastError(uint32_t error);

// Called for each message still queued when a queue goes with its thread, so that an owned payload
// in lParam can be freed. One handler for the process; null means none. Returns the previous one.
using tDiscardedMessageHandler = void (*)(sThreadMessage const& message);
tDiscardedMessageHandler setDiscardedMessageHandler(tDiscardedMessageHandler handler);

} // namespace platform

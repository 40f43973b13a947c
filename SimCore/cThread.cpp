#include "SimCore/cThread.h"

#include <condition_variable>
#include <mutex>

#include "BaseKit/Conversions.h"
#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "BaseKit/cTraceProvider.h"

#include <exception>
#include <utility>

namespace
{
char const* const kSource = "SimCore/cThread";

// Posts are tried this many times, this far apart, before they fail for good. Fixed: the stages
// rely on a thread having made its queue within that time after its start.
constexpr int kPostAttempts = 3;
constexpr uint32_t kPostRetryDelayMs = 100;
// What stop gives a thread to leave its loop after QUIT_MSG.
constexpr uint32_t kStopDelayMs = 100;
constexpr uint32_t kNoExitCode = 0xFFFFFFFF;

char const* flagText(bool flag)
{
    return flag ? "T" : "F";
}

// Messages of the pipeline still queued when a thread ends carry a cMessage that nobody else will
// delete. Other ids are not ours: their words are left alone.
// wParam of a counted post: the loop that handles it counts it off.
uintptr_t const kCountedPost = 1;
std::mutex g_flightMutex;
std::condition_variable g_flightDone;
long g_inFlight = 0;

// A message that a thread's end left in its queue: freed, and no longer waited for.
void deleteDiscardedMessage(platform::sThreadMessage const& message)
{
    if (message.message >= QUIT_MSG && message.message <= RUN_TEST_MSG)
    {
        delete reinterpret_cast<cMessage*>(message.lParam);
    }
    if (message.wParam == kCountedPost)
    {
        std::lock_guard<std::mutex> lock(g_flightMutex);
        if (--g_inFlight <= 1)
            g_flightDone.notify_all();
    }
}
} // namespace

cMessage::~cMessage() = default;

bool cKynThread::bSimulationMode = true;

cKynThread::cKynThread() : cKynThread(std::string(), QUIT_MSG, QUIT_MSG) {}

cKynThread::cKynThread(std::string name, unsigned int lowestMessage, unsigned int highestMessage)
    : m_name(std::move(name)), m_nameText(m_name.c_str()), m_lowestMessage(lowestMessage),
      m_highestMessage(highestMessage)
{
    platform::setDiscardedMessageHandler(&deleteDiscardedMessage);
}

cKynThread::~cKynThread()
{
    stop(true);
    // Entries still queued keep their cMessage: destroying the queue frees only its cells. They are
    // no longer waited for.
    if (m_attachedQueue)
        countPost(-static_cast<int>(m_attachedQueue->size()));
    m_attachedQueue.reset();
}

uint32_t cKynThread::start(int priority, void* parameter, unsigned long stackSize, bool forced)
{
    m_userParameter = parameter;
    if (m_hThread)
    {
        // Started twice without a stop: keep the first thread within reach until the object goes.
        m_threadsLeftRunning.push_back(m_hThread);
        m_hThread = nullptr;
    }
    bool const makeThread = !bSimulationMode || forced;
    if (makeThread)
    {
        // Suspended, so that the fields are in place before the loop reads them.
        m_hThread = platform::CreateThread(stackSize, &cKynThread::entryPoint, this,
                                           platform::CREATE_SUSPENDED, &m_threadId);
        if (m_hThread)
        {
            platform::SetThreadPriority(m_hThread, priority);
        }
    }
    m_exitCode = kNoExitCode;
    if (makeThread && m_hThread)
    {
        platform::ResumeThread(m_hThread);
    }
    uint32_t const lastError = platform::GetLastError();
    KYN_TRACE_GLOBAL(3, std::string("Started cKynThread: ") + m_nameText +
                            ", g_simulatedMode=" + flagText(bSimulationMode) +
                            ", forced=" + flagText(forced) + ", m_hThread=" + addressToString(m_hThread) +
                            ", lastError=" + std::to_string(lastError));
    return lastError;
}

uint32_t cKynThread::stop(bool forced)
{
    KYN_TRACE_GLOBAL(3, std::string("Stopping cKynThread: ") + m_nameText +
                            ", m_hThread=" + addressToString(m_hThread));
    if (m_hThread)
    {
        platform::PostThreadMessageA(m_threadId, QUIT_MSG, 0, 0);
        platform::Sleep(kStopDelayMs);
        uint32_t exitCode = 0;
        if (platform::GetExitCodeThread(m_hThread, &exitCode))
        {
            m_exitCode = exitCode;
        }
        if (m_exitCode == platform::STILL_ACTIVE && forced)
        {
            platform::TerminateThread(m_hThread, kNoExitCode);
        }
        if (forced || platform::JoinThread(m_hThread, 0))
        {
            platform::CloseHandle(m_hThread);
        }
        else
        {
            // The loop may still run on this object: it goes on, but is ended before the object goes.
            m_threadsLeftRunning.push_back(m_hThread);
        }
        m_hThread = nullptr;
    }
    if (forced)
    {
        endThreadsLeftRunning();
    }
    return m_exitCode;
}

void cKynThread::endThreadsLeftRunning()
{
    for (platform::tThreadHandle handle : m_threadsLeftRunning)
    {
        platform::TerminateThread(handle, kNoExitCode);
        platform::CloseHandle(handle);
    }
    m_threadsLeftRunning.clear();
}

uint32_t cKynThread::getExitCode()
{
    if (m_hThread)
    {
        uint32_t exitCode = 0;
        if (platform::GetExitCodeThread(m_hThread, &exitCode))
        {
            m_exitCode = exitCode;
        }
    }
    return m_exitCode;
}

void cKynThread::attachQueue()
{
    if (!m_attachedQueue)
    {
        m_attachedQueue = std::make_unique<std::deque<sAttachedQueueEntry>>();
    }
}

void cKynThread::detachQueue()
{
    m_detachRequested = true;
}

bool cKynThread::isAttachedQueueEmpty() const
{
    return !m_attachedQueue || m_attachedQueue->empty();
}

uint32_t cKynThread::entryPoint(void* thread)
{
    auto* self = static_cast<cKynThread*>(thread);
    self->userEntryPoint(self->m_userParameter);
    // The same value as a running thread's: stop cannot tell an ended loop from a running one, and
    // a forced stop terminates either, which is harmless for an ended one.
    return platform::STILL_ACTIVE;
}

uint32_t cKynThread::userEntryPoint(void*)
{
    bool done = false;
    while (!done)
    {
        uint32_t message = 0;
        cMessage* data = nullptr;
        bool counted = false;
        if (m_attachedQueue && !m_attachedQueue->empty())
        {
            message = m_attachedQueue->front().message;
            data = m_attachedQueue->front().data;
            m_attachedQueue->pop_front();
            counted = true;
        }
        else
        {
            if (m_detachRequested)
            {
                m_attachedQueue.reset();
                m_detachRequested = false;
            }
            platform::sThreadMessage received{};
            if (platform::GetMessageA(&received, m_lowestMessage, m_highestMessage) == -1)
            {
                platform::WaitMessage();
                continue;
            }
            message = received.message;
            data = reinterpret_cast<cMessage*>(received.lParam);
            counted = received.wParam == kCountedPost;
        }
        // A failing handler is reported and the loop goes on: a stage thread survives any failure.
        try
        {
            done = ProcessMessage(message, data);
        }
        catch (cKynException& exception)
        {
            doException(exception);
        }
        catch (std::exception const& exception)
        {
            cGenericException generic(kSource, "cKynThread::userEntryPoint", __LINE__, exception.what());
            doException(generic);
        }
        if (counted)
            countPost(-1);
    }
    return m_exitCode;
}

void cKynThread::postMessageToThread(cKynThread* target, unsigned int message, float value)
{
    postMessageToThreadWithRetries(target, message, new cMessage(this, value));
}

void cKynThread::postMessageToThread(cKynThread* target, unsigned int message)
{
    postMessageToThreadWithRetries(target, message, nullptr);
}

void cKynThread::countPost(int change)
{
    std::lock_guard<std::mutex> lock(g_flightMutex);
    g_inFlight += change;
    if (g_inFlight <= 1)
        g_flightDone.notify_all();
}

void cKynThread::waitUntilPipelineIdle()
{
    std::unique_lock<std::mutex> lock(g_flightMutex);
    g_flightDone.wait(lock, [] { return g_inFlight == 0; });
}

void cKynThread::waitUntilOthersHandled()
{
    std::unique_lock<std::mutex> lock(g_flightMutex);
    g_flightDone.wait(lock, [] { return g_inFlight <= 1; });
}

bool cKynThread::postCounted(cKynThread* target, unsigned int message, cMessage* data)
{
    countPost(1);
    for (int attempt = 0; attempt < kPostAttempts; ++attempt)
    {
        if (platform::PostThreadMessageA(target->m_threadId, message, kCountedPost,
                                         reinterpret_cast<intptr_t>(data)))
            return true;
        platform::Sleep(kPostRetryDelayMs);
    }
    countPost(-1);
    return false;
}

void cKynThread::postMessageToThreadWithRetries(cKynThread* target, unsigned int message, cMessage* data)
{
    if (!target)
    {
        delete data;
        throw cNULLPointer(kSource, "cKynThread::postMessageToThreadWithRetries", __LINE__,
                           "The target thread of message " + std::to_string(message) + " does not exist.");
    }
    KYN_TRACE_GLOBAL(4, std::string("Posting to cKynThread: ") + target->m_nameText +
                            ", msgId=" + std::to_string(message) +
                            ", bespokeQueue=" + flagText(target->m_attachedQueue != nullptr));
    if (!bSimulationMode)
    {
        if (postCounted(target, message, data))
            return;
        delete data;
        // Source, function and line are compared by hosts: they stay as they are.
        throw cMessageError(kSource, "cKynThread::postMessageToThreadWithRetries", 179);
    }
    if (!target->m_attachedQueue)
    {
        target->ProcessMessage(message, data);
        return;
    }
    // Counted like a post to a queue: the manager's walk goes on through these in simulation mode.
    countPost(1);
    target->m_attachedQueue->push_back({message, data});
}

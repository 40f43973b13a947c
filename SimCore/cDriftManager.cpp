#include "SimCore/cDriftManager.h"

#include "BaseKit/cKynException.h"
#include "SimCore/cComputationManager.h"

#include <memory>
#include <utility>

namespace
{
char const* const kSource = "SimCore/cDriftManager";

// The names of the messages a stage knows, as its trace lines print them; null for any other id.
char const* messageName(unsigned int message)
{
    switch (message)
    {
    case QUIT_MSG:
        return "QUIT_MSG";
    case RESET_MSG:
        return "RESET_MSG";
    case FILE_CHANGED_MSG:
        return "FILE_CHANGED_MSG";
    case RUN_TEST_MSG:
        return "RUN_TEST_MSG";
    default:
        return nullptr;
    }
}
} // namespace

cDriftManager::cDriftManager(std::string name, std::string traceName, unsigned int lowestMessage,
                             unsigned int highestMessage)
    : cKynThread(std::move(name), lowestMessage, highestMessage),
      cDriftParameterMgr("Parameter", "Parameters List"), cCriterionMgr("Criterion", "Criteria List"),
      cTimeEventMgr("Time Event", "Time Events List"), cTraceProvider(traceName)
{
}

cDriftManager::~cDriftManager()
{
    // The loop of a running thread calls ProcessMessage, which is gone once this destructor ends:
    // the thread must be ended here, not in ~cKynThread.
    if (getThreadHandle() != nullptr)
        stop(true);
}

bool cDriftManager::ProcessMessage(unsigned int message, cMessage* data)
{
    // The receiver owns the message, whether its handler succeeds or throws.
    std::unique_ptr<cMessage> const guard(data);
    char const* const name = messageName(message);
    if (name == nullptr)
        throw cUnknownMessageError(kSource, "cDriftManager::ProcessMessage", 198);
    KYN_TRACE(*static_cast<cTraceProvider const*>(this), 4,
              getName() + " thread/cDriftManager::ProcessMessage: received " + name + "(" +
                  std::to_string(message) + ") ");
    switch (message)
    {
    case RESET_MSG:
        reset();
        break;
    case FILE_CHANGED_MSG:
        changeFile();
        break;
    case RUN_TEST_MSG:
        runTest(data);
        break;
    default:
        // QUIT_MSG: a stage stays in its loop; only a forced stop ends its thread.
        break;
    }
    return false;
}

void cDriftManager::removeGraph(cGraph const* const graph)
{
    cCriterionMgr::removeGraph(graph);
    cTimeEventMgr::removeGraph(graph);
}

void cDriftManager::removeValuesFromCrashFile(unsigned long long crashFileAddress)
{
    cCriterionMgr::removeValuesFromCrashFile(crashFileAddress);
    cTimeEventMgr::removeValuesFromCrashFile(crashFileAddress);
}

template <class F> void cDriftManager::forEachDriftParameter(F call) const
{
    unsigned int i = 0;
    for (cDriftParameter* p = cDriftParameterMgr::firstParameter(i); p != nullptr;
         p = cDriftParameterMgr::nextParameter(i))
        call(p);
}

void cDriftManager::changeFile()
{
    cCriterionMgr::changeFile();
    cTimeEventMgr::changeFile();
    forEachDriftParameter([](cDriftParameter* p) { p->setProcessed(false); });
    m_fileChanged = 1;
}

void cDriftManager::endOfIteration()
{
    forEachDriftParameter([](cDriftParameter* p) { p->setProcessed(true); });
    cCriterionMgr::endOfIteration();
    cTimeEventMgr::endOfIteration();
    m_fileChanged = 0;
}

void cDriftManager::reset()
{
    cCriterionMgr::reset();
    cTimeEventMgr::reset();
    cDriftParameterMgr::reset();
    m_iterationNumber = 0;
}

void cDriftManager::prepareForTest()
{
    cCriterionMgr::prepareForTest();
    cTimeEventMgr::prepareForTest();
    ++m_iterationNumber;
}

bool cDriftManager::isProcessed()
{
    bool processed = true;
    forEachDriftParameter([&processed](cDriftParameter* p) { processed = processed && p->isProcessed(); });
    return processed && m_fileChanged == 0;
}

void cDriftManager::handOver()
{
    if (getSimulationMode())
        return;
    std::lock_guard<std::mutex> lock(m_handOverMutex);
    ++m_handOvers;
}

void cDriftManager::releaseHandOver()
{
    if (getSimulationMode())
        return;
    std::lock_guard<std::mutex> lock(m_handOverMutex);
    if (m_handOvers != 0 && --m_handOvers == 0)
        m_handOversReleased.notify_all();
}

void cDriftManager::waitForHandOvers()
{
    if (getSimulationMode())
        return;
    std::unique_lock<std::mutex> lock(m_handOverMutex);
    m_handOversReleased.wait(lock, [this] { return m_handOvers == 0; });
}

void cDriftManager::releaseSenderOf(cMessage const* data)
{
    if (data == nullptr)
        return;
    if (auto* const sender = dynamic_cast<cDriftManager*>(data->getSender()))
        sender->releaseHandOver();
}

bool cDriftManager::isStopAsked()
{
    return myActiveComputationManager != nullptr && myActiveComputationManager->isStopAsked();
}

void cDriftManager::manageDriftsSequence(unsigned int driftIndex)
{
    cScopeTrace const scope(*this, "cDriftManager::manageDriftsSequence L91");
    if (driftIndex >= getAppliedDriftsNumber())
        return;
    cDriftParameter* const parameter = getAppliedDrifts(driftIndex);
    // The drift and its point number are read again at each pass: an iteration may change the
    // range (and so the points) of a drift, or clear it, which leaves it without a point.
    for (unsigned int i = 0; parameter->getDrift() != nullptr && i < parameter->getDrift()->getPointNumber();
         ++i)
    {
        if (isStopAsked())
            break;
        parameter->setRawValue(parameter->getDrift()->computeSpecificPointRawValue(i), /*update=*/true,
                               /*applyLimits=*/true);
        parameter->setProcessed(false);
        if (driftIndex + 1 < getAppliedDriftsNumber())
            manageDriftsSequence(driftIndex + 1);
        else
            performIteration();
    }
}

void cDriftManager::manageSameDriftIteratorSequence()
{
    cScopeTrace const scope(*this, "cDriftManager::manageSameDriftIteratorSequence L120");
    // Every drift of the stage counts here, also one set since the last reset.
    uint32_t reference = 0;
    bool sameNumber = true;
    forEachDriftParameter(
        [&](cDriftParameter* p)
        {
            cDrift const* const drift = p->getDrift();
            if (drift == nullptr)
                return;
            if (reference == 0)
                reference = drift->getPointNumber();
            else if (drift->getPointNumber() != reference)
                sameNumber = false;
        });
    if (!sameNumber)
        throw cForbiddenAction(
            kSource, "cDriftManager::manageSameDriftIteratorSequence", __LINE__,
            "The mechanical drifts does not have the same number of points, cannot perform "
            "mechanical step with the same drift iteration.");
    for (uint32_t i = 0; i < reference; ++i)
    {
        if (isStopAsked())
            break;
        // A stop met while the drifts are set ends only this walk: the iteration still runs once
        // with the drifts set so far, and the loop above leaves before the next point. The vehicle's
        // dependent sweep has always behaved so.
        for (unsigned int k = 0; k < getAppliedDriftsNumber() && !isStopAsked(); ++k)
        {
            cDriftParameter* const parameter = getAppliedDrifts(k);
            cDrift const* const drift = parameter->getDrift();
            if (drift == nullptr)
                continue;
            parameter->setRawValue(drift->computeSpecificPointRawValue(i), /*update=*/true,
                                   /*applyLimits=*/true);
            parameter->setProcessed(false);
        }
        performIteration();
    }
}

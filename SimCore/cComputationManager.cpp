#include "SimCore/cComputationManager.h"

#include "BaseKit/IHostWindow.h"
#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "SimCore/cAlgorithm.h"
#include "SimCore/cDriftParameter.h"
#include "SimCore/cTestMgr.h"
#include "SimCore/cVehicle.h"

#include <memory>
#include <string>

cComputationManager* myActiveComputationManager = nullptr;

namespace
{
char const* const kSource = "SimCore/cComputationManager";

void sendToHost(uint32_t message)
{
    SendMessageA(getMainWndH(), message, 0, 0);
}

char const* messageName(unsigned int message)
{
    switch (message)
    {
    case QUIT_MSG:
        return "QUIT_MSG";
    case START_TEST_MSG:
        return "START_TEST_MSG";
    case END_OF_TEST_MSG:
        return "END_OF_TEST_MSG";
    default:
        return nullptr;
    }
}
} // namespace

cComputationManager::cComputationManager()
    : cKynThread("Test", QUIT_MSG, END_OF_TEST_MSG), m_logger("Computations")
{
}

cComputationManager::~cComputationManager()
{
    // The loop calls this object's ProcessMessage: the thread must end before the object does.
    if (getThreadHandle() != nullptr)
        stop(true);
    for (unsigned int i = 0; i < m_tests.size(); ++i)
        delete m_tests[i];
}

bool cComputationManager::ProcessMessage(unsigned int message, cMessage* data)
{
    delete data;
    char const* const name = messageName(message);
    if (name == nullptr)
        throw cUnknownMessageError(kSource, "cComputationManager::ProcessMessage", 884);
    KYN_TRACE(m_logger, 4,
              getName() + " thread/cComputationManager::ProcessMessage: received " + name + "(" +
                  std::to_string(message) + ") ");
    if (message == QUIT_MSG)
        return true;
    if (message == END_OF_TEST_MSG)
        KYN_TRACE(m_logger, 3, "Received END_OF_TEST_MSG");
    // A report of a test that no longer runs falls away; the walk of a running test comes with the
    // run control.
    return false;
}

void cComputationManager::reset()
{
    for (sCounter* counter : {&m_files, &m_mechanical, &m_electronic, &m_acquisition, &m_algorithm})
        counter->number.store(0, std::memory_order_relaxed);
    for (uint32_t message : {kFileIterationMessage, kMechanicalIterationMessage, kElectronicIterationMessage,
                             kAcquisitionIterationMessage, kAlgorithmIterationMessage})
        sendToHost(message);
}

void cComputationManager::setIterationTotals(uint32_t files, uint32_t mechanical, uint32_t electronic,
                                             uint32_t acquisition, uint32_t algorithm)
{
    m_files.total.store(files, std::memory_order_relaxed);
    m_mechanical.total.store(mechanical, std::memory_order_relaxed);
    m_electronic.total.store(electronic, std::memory_order_relaxed);
    m_acquisition.total.store(acquisition, std::memory_order_relaxed);
    m_algorithm.total.store(algorithm, std::memory_order_relaxed);
}

void cComputationManager::setMechanicalSameIterationDrifted(bool same, bool silent)
{
    if (same && myActiveVehicle != nullptr && !silent)
    {
        unsigned int points = 0;
        if (!myActiveVehicle->currentDriftsHaveSameNumberOfIterations(points))
        {
            doErrorMessage("All mechanical drifts must have the same number of points in order to perform a "
                           "dependent sweep.");
            m_mechanicalSameIterationDrifted.store(0, std::memory_order_relaxed);
            sendToHost(kComputationOptionsMessage);
            throw cForbiddenAction(kSource, "cComputationManager::setMechanicalSameIterationDrifted", 252,
                                   "All mechanical drifts must have the same number of points in order to "
                                   "perform a dependent sweep.");
        }
    }
    m_mechanicalSameIterationDrifted.store(same ? 1 : 0, std::memory_order_relaxed);
    sendToHost(kComputationOptionsMessage);
}

void cComputationManager::setComputationsState(EComputationsState state)
{
    KYN_TRACE(m_logger, 4,
              "--- setComputationsState (see EComputationsState): from " +
                  std::to_string(m_state.load(std::memory_order_relaxed)) + " to " +
                  std::to_string(static_cast<uint32_t>(state)));
    m_state.store(state, std::memory_order_relaxed);
}

void cComputationManager::addTest(cTestMgr const* test)
{
    m_tests.add(const_cast<cTestMgr*>(test));
    if (m_tests.size() == 1)
        start(0, nullptr, 0, true);
}

cTestMgr* cComputationManager::firstTest(unsigned int& index) const
{
    if (m_tests.empty())
        return nullptr;
    index = 0;
    return m_tests[0];
}

cTestMgr* cComputationManager::nextTest(unsigned int& index) const
{
    ++index;
    return index < m_tests.size() ? m_tests[index] : nullptr;
}

void cComputationManager::removeTest(cTestMgr* test)
{
    unsigned int index = 0;
    while (index < m_tests.size() && m_tests[index] != test)
        ++index;
    if (index == m_tests.size())
        return;
    m_tests.remove(index);
    // The time events hold the test unowned as a margin test.
    if (myActiveAlgorithm != nullptr)
        myActiveAlgorithm->removeMarginTest(test);
    delete test;
    if (m_tests.empty())
        stop(false);
}

void cComputationManager::removeAllTests()
{
    while (!m_tests.empty())
        removeTest(m_tests[0]);
    stop(false);
}

void cComputationManager::getDriftedParametersList(cStorage<cDriftParameter*>& parameters) const
{
    for (cDriftParameterMgr const* stage : m_driftStages)
        if (stage != nullptr)
            stage->getCurrentDrifts(parameters);
}

void cComputationManager::getIterationDriftCombinationIdx(unsigned int iteration,
                                                          cStorage<unsigned int>& pointIndexes) const
{
    cStorage<cDriftParameter*> drifted(10);
    getDriftedParametersList(drifted);
    pointIndexes.clear();
    for (unsigned int i = 0; i < drifted.size(); ++i)
        pointIndexes.add(0);
    // The number is consumed from the fastest index (the last drift) to the slowest.
    unsigned int rest = iteration;
    for (unsigned int i = drifted.size(); i-- > 0;)
    {
        unsigned int const points = drifted[i]->getPointNumber();
        pointIndexes[i] = rest % points;
        rest /= points;
    }
}

void cComputationManager::getIterationConvertedDriftCombination(unsigned int iteration,
                                                                cStorage<mpfClass*>& values) const
{
    for (unsigned int i = 0; i < values.size(); ++i)
        delete values[i];
    values.clear();
    cStorage<cDriftParameter*> drifted(10);
    getDriftedParametersList(drifted);
    cStorage<unsigned int> indexes(10);
    getIterationDriftCombinationIdx(iteration, indexes);
    values.setGrowthStep(drifted.size() > 0 ? drifted.size() : 1);
    for (unsigned int i = 0; i < drifted.size(); ++i)
        values.add(new mpfClass(drifted[i]->getDrift()->computeSpecificPointConvertedValue(indexes[i])));
}

mpf_class cComputationManager::getIterationConvertedDriftValue(unsigned int iteration,
                                                               cDriftParameter* parameter) const
{
    cStorage<cDriftParameter*> drifted(10);
    getDriftedParametersList(drifted);
    for (unsigned int i = 0; i < drifted.size(); ++i)
    {
        if (drifted[i] != parameter)
            continue;
        cStorage<unsigned int> indexes(10);
        getIterationDriftCombinationIdx(iteration, indexes);
        return parameter->getDrift()->computeSpecificPointConvertedValue(indexes[i]);
    }
    mpf_class value;
    parameter->getConvertedValue(value);
    return value;
}

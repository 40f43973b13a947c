#include "SimCore/cComputationManager.h"

#include "BaseKit/IHostWindow.h"
#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "SimCore/cAlgorithm.h"
#include "SimCore/cCalibration.h"
#include "SimCore/cChannel.h"
#include "SimCore/cDriftParameter.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cKynFileList.h"
#include "SimCore/cKynMultiPreprocessingItem.h"
#include "SimCore/cKynMultiPreprocessingMgr.h"
#include "SimCore/cProject.h"
#include "SimCore/cSymbolManager.h"
#include "SimCore/cTestMgr.h"
#include "SimCore/cUnit.h"
#include "SimCore/cVehicle.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cConfigurationGroup.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
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
    clearStatisticalModule();
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
    switch (message)
    {
    case QUIT_MSG:
        return true;
    case START_TEST_MSG:
        // A second start during a run is ignored.
        if (getComputationsState() == computationsRunning)
            return false;
        try
        {
            attachQueue();
            OnStartTestMsg();
            m_currentItemIndex = 0;
            ProcessNextMultiPpItem();
        }
        catch (cKynException& failure)
        {
            if (getComputationsState() == computationsRunning)
                setComputationsState(computationsFailed);
            sendToHost(kTestEndedMessage);
            doException(failure);
        }
        return false;
    default:
        KYN_TRACE(m_logger, 3, "Received END_OF_TEST_MSG");
        try
        {
            onEndOfTest();
        }
        catch (std::bad_alloc const&)
        {
            cMemoryAllocationFailed failure(kSource, "cComputationManager::ProcessMessage", __LINE__);
            OnEndOfTestException();
            doException(failure);
        }
        catch (cKynException& failure)
        {
            OnEndOfTestException();
            doException(failure);
        }
        return false;
    }
}

void cComputationManager::onEndOfTest()
{
    // Late reports of a finished test fall away here.
    if (getComputationsState() != computationsRunning)
        return;
    // With real threads the vehicle reports once it has handed its last iteration on: the channels,
    // the unit and the algorithm finish this file before the next one becomes the active file.
    if (!getSimulationMode())
        waitUntilOthersHandled();
    if (isStopAsked())
    {
        for (uint32_t message : {kMechanicalIterationMessage, kElectronicIterationMessage,
                                 kAcquisitionIterationMessage, kAlgorithmIterationMessage})
            sendToHost(message);
        KYN_TRACE(m_logger, 3, "Iteration on MPP item cancelled");
        setComputationsState(computationsCancelled);
        resetStagesNominalValues();
        EndOfAlgorithmCheck();
        return;
    }
    if (myActiveFileList == nullptr)
    {
        KYN_TRACE(m_logger, 3, "Iteration on MPP item ends");
        moveToNextItemWithUsedFile();
        ProcessNextMultiPpItem();
        return;
    }
    unsigned int cursor = m_currentFileIndex;
    if (cKynFile* const next = myActiveFileList->nextUsedFile(cursor); next != nullptr)
    {
        m_currentFileIndex = cursor;
        KYN_TRACE(m_logger, 3, "Iteration on MPP item continues " + std::to_string(m_currentFileIndex));
        m_currentIteration.fetch_add(1, std::memory_order_relaxed);
        incrementFileIterationNbr();
        sendToHost(kFileIterationMessage);
        myActiveFile = next;
        changeFile();
        if (myActiveVehicle != nullptr)
            postMessageToThread(myActiveVehicle, RUN_TEST_MSG);
        else
            EndOfAlgorithmCheck();
        return;
    }
    for (uint32_t message : {kMechanicalIterationMessage, kElectronicIterationMessage,
                             kAcquisitionIterationMessage, kAlgorithmIterationMessage})
        sendToHost(message);
    KYN_TRACE(m_logger, 3, "Iteration on MPP item ends");
    resetStagesNominalValues();
    moveToNextItemWithUsedFile();
    ProcessNextMultiPpItem();
}

void cComputationManager::OnStartTestMsg()
{
    cScopeTrace const scope(m_logger, "cComputationManager::OnStartTestMsg L635");
    computeAndSaveCurrentMultipreprocessingItemStepsPointNumber();
    unsigned long long totals[5] = {0, 0, 0, 0, 0};
    if (myActiveMultiPreprocessingMgr != nullptr)
        for (cKynMultiPreprocessingItem const* item : myActiveMultiPreprocessingMgr->getMultiPpItems())
        {
            totals[0] += item->getFileIterations();
            totals[1] += item->getMechanicalIterations();
            totals[2] += item->getPreprocessingIterations();
            totals[3] += item->getAcquisitionIterations();
            totals[4] += item->getAlgorithmIterations();
        }
    setIterationTotals(uint32_t(totals[0]), uint32_t(totals[1]), uint32_t(totals[2]), uint32_t(totals[3]),
                       uint32_t(totals[4]));
    reset();
    setComputationsState(computationsNotStarted);
    if (myActiveAlgorithm != nullptr)
        postMessageToThread(myActiveAlgorithm, RESET_MSG);
    setComputationsState(computationsRunning);
    sendToHost(kTestStartedMessage);
    m_stopAsked.store(0, std::memory_order_relaxed);
    m_selectedItemAtStart =
        myActiveMultiPreprocessingMgr != nullptr ? myActiveMultiPreprocessingMgr->getSelectedItemIndex() : 0;
}

bool cComputationManager::ProcessNextMultiPpItem()
{
    unsigned int const items =
        myActiveMultiPreprocessingMgr != nullptr ? myActiveMultiPreprocessingMgr->getItemCount() : 0;
    while (m_currentItemIndex < items)
    {
        SwitchToMultiPpItem(m_currentItemIndex);
        if (myActiveFileList != nullptr && myActiveFileList->getFilesNumber() != 0)
        {
            m_currentFileIndex = 0;
            unsigned int cursor = 0;
            if (cKynFile* const first = myActiveFileList->firstUsedFile(cursor); first != nullptr)
            {
                m_currentFileIndex = cursor;
                m_currentIteration.fetch_add(1, std::memory_order_relaxed);
                incrementFileIterationNbr();
                sendToHost(kFileIterationMessage);
                myActiveFile = first;
                changeFile();
                if (myActiveVehicle != nullptr)
                {
                    postMessageToThread(myActiveVehicle, RUN_TEST_MSG);
                    return true;
                }
            }
        }
        moveToNextItemWithUsedFile();
    }
    EndOfAlgorithmCheck();
    return false;
}

void cComputationManager::moveToNextItemWithUsedFile()
{
    unsigned int const items =
        myActiveMultiPreprocessingMgr != nullptr ? myActiveMultiPreprocessingMgr->getItemCount() : 0;
    ++m_currentItemIndex;
    // The walk stops at the item count.
    while (m_currentItemIndex < items)
    {
        cKynFileList const* const list =
            myActiveMultiPreprocessingMgr->getItemFromIndex(m_currentItemIndex)->getFileList();
        if (list != nullptr && list->getUsedFileNumber() != 0)
            return;
        ++m_currentItemIndex;
    }
}

void cComputationManager::SwitchToMultiPpItem(unsigned int index)
{
    SendMessageA(getMainWndH(), kSelectMultiPreprocessingItemMessage, index, 1);
    unsigned int points = 0;
    if (myActiveVehicle != nullptr && isMechanicalSameIterationDrifted() &&
        myActiveVehicle->cDriftParameterMgr::getParameterListSize() != 0 &&
        !myActiveVehicle->currentDriftsHaveSameNumberOfIterations(points))
    {
        setComputationsState(computationsFailed);
        sendToHost(kTestEndedMessage);
        throw cForbiddenAction(kSource, "cComputationManager::SwitchToMultiPpItem", 679,
                               "The mechanical drifts do not have the same number of points, cannot perform "
                               "mechanical step with the same drift iteration.");
    }
    // A drift changed since the module was drawn: draw it again with its seed and size, before the
    // stages of the item get their reset.
    if (isStatisticalModuleActive() && !isStatisticalModuleValid())
    {
        doInformationMessage(
            "Some drifts have changed since the last statistical module configuration.\n Kyn "
            "will update the statistical module.");
        fillStatisticalModule(m_seed, m_combinations.size(), false);
    }
    resetForNewMultiPreprocessingItem();
    if (myActiveAlgorithm != nullptr)
        myActiveAlgorithm->changeMultiPreprocessingItem();
}

void cComputationManager::EndOfAlgorithmCheck()
{
    if (!isAttachedQueueEmpty())
        return;
    SendMessageA(getMainWndH(), kSelectMultiPreprocessingItemMessage, m_selectedItemAtStart, 1);
    if (getComputationsState() == computationsRunning)
        setComputationsState(computationsFinished);
    KYN_TRACE(m_logger, 3, "Iteration on all multipreprocessing items ends");
    sendToHost(kTestEndedMessage);
    detachQueue();
}

void cComputationManager::OnEndOfTestException()
{
    setComputationsState(computationsFailed);
    sendToHost(kTestEndedMessage);
    resetStagesNominalValues();
}

void cComputationManager::resetStagesNominalValues()
{
    if (myActiveVehicle != nullptr)
        myActiveVehicle->resetAllNominalValues();
    if (myActivePreprocessing != nullptr)
    {
        unsigned int cursor = 0;
        for (cChannel* c = myActivePreprocessing->firstChannel(cursor); c != nullptr;
             c = myActivePreprocessing->nextChannel(cursor))
            c->resetAllNominalValues();
    }
    if (myActiveUnit != nullptr)
        myActiveUnit->resetAllNominalValues();
}

void cComputationManager::startTest()
{
    if (getThreadHandle() == nullptr)
        throw cForbiddenAction(kSource, "cComputationManager::startTest", __LINE__,
                               "No test is listed: the computation manager has no thread to run a test on.");
    if (!postCounted(this, START_TEST_MSG, nullptr))
        throw cMessageError(kSource, "cComputationManager::startTest", __LINE__);
}

uint32_t cComputationManager::start(int priority, void* parameter, unsigned long stackSize)
{
    return cKynThread::start(priority, parameter, stackSize, true);
}

void cComputationManager::resetForNewMultiPreprocessingItem()
{
    if (myActiveVehicle != nullptr)
        postMessageToThread(myActiveVehicle, RESET_MSG);
    if (myActivePreprocessing != nullptr)
    {
        unsigned int cursor = 0;
        for (cChannel* c = myActivePreprocessing->firstChannel(cursor); c != nullptr;
             c = myActivePreprocessing->nextChannel(cursor))
            postMessageToThread(c, RESET_MSG);
    }
    if (myActiveUnit != nullptr)
        postMessageToThread(myActiveUnit, RESET_MSG);
    m_currentIteration.store(0, std::memory_order_relaxed);
}

void cComputationManager::changeFile()
{
    if (myActiveVehicle != nullptr)
        postMessageToThread(myActiveVehicle, FILE_CHANGED_MSG);
    if (myActivePreprocessing != nullptr)
    {
        unsigned int cursor = 0;
        for (cChannel* c = myActivePreprocessing->firstChannel(cursor); c != nullptr;
             c = myActivePreprocessing->nextChannel(cursor))
            postMessageToThread(c, FILE_CHANGED_MSG);
    }
    if (myActiveUnit != nullptr)
        postMessageToThread(myActiveUnit, FILE_CHANGED_MSG);
    if (myActiveAlgorithm != nullptr)
        postMessageToThread(myActiveAlgorithm, FILE_CHANGED_MSG);
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

namespace
{
// Each channel of the active preprocessing set, in order.
template <class F> void forEachChannel(F call)
{
    if (myActivePreprocessing == nullptr)
        return;
    unsigned int cursor = 0;
    for (cChannel* c = myActivePreprocessing->firstChannel(cursor); c != nullptr;
         c = myActivePreprocessing->nextChannel(cursor))
        call(*c);
}

void emptyForQuery(cStorage<cDriftParameter*>& parameters)
{
    parameters.setGrowthStep(10);
    parameters.clear();
}

// The product of the point numbers of a stage's current drifts, 1 with none.
unsigned long long pointProduct(cDriftParameterMgr const& stage)
{
    cStorage<cDriftParameter*> drifts(10);
    stage.getCurrentDrifts(drifts);
    unsigned long long product = 1;
    for (unsigned int i = 0; i < drifts.size(); ++i)
        product *= drifts[i]->getPointNumber();
    return product;
}
} // namespace

void cComputationManager::getDriftedParametersList(cStorage<cDriftParameter*>& parameters) const
{
    emptyForQuery(parameters);
    if (myActiveVehicle != nullptr)
        myActiveVehicle->getCurrentDrifts(parameters);
    forEachChannel([&](cChannel& c) { c.getCurrentDrifts(parameters); });
    if (myActiveUnit != nullptr)
        myActiveUnit->getCurrentDrifts(parameters);
    if (myActiveCalibration != nullptr)
        myActiveCalibration->getCurrentDrifts(parameters);
}

void cComputationManager::getMechanicalDriftedParameters(cStorage<cDriftParameter*>& parameters) const
{
    emptyForQuery(parameters);
    if (myActiveVehicle != nullptr)
        myActiveVehicle->getCurrentDrifts(parameters);
}

void cComputationManager::getPreprocessiogDriftedParameters(cStorage<cDriftParameter*>& parameters) const
{
    emptyForQuery(parameters);
    forEachChannel([&](cChannel& c) { c.getCurrentDrifts(parameters); });
}

void cComputationManager::getAcquisitionDriftedParameters(cStorage<cDriftParameter*>& parameters) const
{
    emptyForQuery(parameters);
    if (myActiveUnit != nullptr)
        myActiveUnit->getCurrentDrifts(parameters);
}

void cComputationManager::getAlgorithmDriftedParameters(cStorage<cDriftParameter*>& parameters) const
{
    emptyForQuery(parameters);
    if (myActiveCalibration != nullptr)
        myActiveCalibration->getCurrentDrifts(parameters);
}

void cComputationManager::getModifiedMechanicalParams(cStorage<cDriftParameter*>& parameters) const
{
    emptyForQuery(parameters);
    if (myActiveVehicle != nullptr)
        myActiveVehicle->getModifiedDriftParams(parameters);
}

void cComputationManager::getModifiedElectronicParams(cStorage<cDriftParameter*>& parameters) const
{
    emptyForQuery(parameters);
    forEachChannel([&](cChannel& c) { c.getModifiedDriftParams(parameters); });
}

void cComputationManager::getModifiedAcquisitionParams(cStorage<cDriftParameter*>& parameters) const
{
    emptyForQuery(parameters);
    if (myActiveUnit != nullptr)
        myActiveUnit->getModifiedDriftParams(parameters);
}

unsigned int cComputationManager::getDriftParameterIdx(cDriftParameter* parameter) const
{
    cStorage<cDriftParameter*> drifted(10);
    getDriftedParametersList(drifted);
    for (unsigned int i = 0; i < drifted.size(); ++i)
        if (drifted[i] == parameter)
            return i;
    return 0xFFFFFFFF;
}

void cComputationManager::getCurrentMultipreprocessingItemStepsPointNumber(
    unsigned long long& files, unsigned long long& mechanical, cStorage<unsigned long long>& channels,
    unsigned long long& electronic, unsigned long long& acquisition, unsigned long long& algorithm) const
{
    files = myActiveFileList != nullptr ? myActiveFileList->getUsedFileNumber() : 0;
    mechanical = 1;
    if (myActiveVehicle != nullptr)
    {
        cStorage<cDriftParameter*> drifts(10);
        myActiveVehicle->getCurrentDrifts(drifts);
        if (drifts.size() != 0)
            mechanical = isMechanicalSameIterationDrifted() ? drifts[0]->getPointNumber()
                                                            : pointProduct(*myActiveVehicle);
    }
    channels.clear();
    electronic = 1;
    forEachChannel(
        [&](cChannel& c)
        {
            channels.add(pointProduct(c));
            electronic *= channels[channels.size() - 1];
        });
    if (isStatisticalModuleActive())
        electronic = m_combinations.size();
    acquisition = myActiveUnit != nullptr ? pointProduct(*myActiveUnit) : 1;
    algorithm = myActiveCalibration != nullptr ? pointProduct(*myActiveCalibration) : 1;
}

void cComputationManager::computeAndSaveCurrentMultipreprocessingItemStepsPointNumber()
{
    if (myActiveMultiPreprocessingMgr == nullptr || myActiveMultiPreprocessingMgr->getItemCount() == 0)
        return;
    unsigned long long files = 0, mechanical = 0, electronic = 0, acquisition = 0, algorithm = 0;
    cStorage<unsigned long long> channels(10);
    getCurrentMultipreprocessingItemStepsPointNumber(files, mechanical, channels, electronic, acquisition,
                                                     algorithm);
    unsigned long long sum = 0;
    for (unsigned int i = 0; i < channels.size(); ++i)
        sum += channels[i];
    unsigned long long savedFiles = files;
    unsigned long long savedMechanical = files * mechanical;
    unsigned long long savedElectronic = sum * files * mechanical;
    unsigned long long savedAcquisition = files * mechanical * electronic * acquisition;
    unsigned long long savedAlgorithm = savedAcquisition * algorithm;
    myActiveMultiPreprocessingMgr->getSelectedItem()->setStepsPointNumber(
        savedFiles, savedMechanical, savedElectronic, savedAcquisition, savedAlgorithm);
}

void cComputationManager::getTotalStepsPointNumber(unsigned long long& files, unsigned long long& mechanical,
                                                   unsigned long long& electronic,
                                                   unsigned long long& acquisition,
                                                   unsigned long long& algorithm)
{
    computeAndSaveCurrentMultipreprocessingItemStepsPointNumber();
    files = mechanical = electronic = acquisition = algorithm = 0;
    if (myActiveMultiPreprocessingMgr == nullptr)
        return;
    for (cKynMultiPreprocessingItem const* item : myActiveMultiPreprocessingMgr->getMultiPpItems())
    {
        files += item->getFileIterations();
        mechanical += item->getMechanicalIterations();
        electronic += item->getPreprocessingIterations();
        acquisition += item->getAcquisitionIterations();
        algorithm += item->getAlgorithmIterations();
    }
}

unsigned long long cComputationManager::getIterationNumberForOneFile() const
{
    unsigned long long files = 0, mechanical = 0, electronic = 0, acquisition = 0, algorithm = 0;
    cStorage<unsigned long long> channels(10);
    getCurrentMultipreprocessingItemStepsPointNumber(files, mechanical, channels, electronic, acquisition,
                                                     algorithm);
    return mechanical * electronic * acquisition * algorithm;
}

bool cComputationManager::isIterationNumberForOneFileValid() const
{
    unsigned long long files = 0, mechanical = 0, electronic = 0, acquisition = 0, algorithm = 0;
    cStorage<unsigned long long> channels(10);
    getCurrentMultipreprocessingItemStepsPointNumber(files, mechanical, channels, electronic, acquisition,
                                                     algorithm);
    // Each factor is at most 32 bits wide, so a product of two that already fit cannot wrap 64 bits.
    unsigned long long product = files;
    for (unsigned long long factor : {mechanical, electronic, acquisition, algorithm})
    {
        if (product > 0xFFFFFFFFull || factor > 0xFFFFFFFFull)
            return false;
        product *= factor;
    }
    return product <= 0xFFFFFFFFull;
}

void cComputationManager::getIterationDriftCombinationIdx(unsigned int iteration,
                                                          cStorage<unsigned int>& pointIndexes) const
{
    // The number is consumed from the fastest index (the calibration's last drift) to the slowest (the
    // vehicle's first), each index put in front of those found before.
    std::vector<unsigned int> reversed;
    unsigned int rest = iteration;
    auto const consume = [&](cStorage<cDriftParameter*> const& drifts)
    {
        for (unsigned int i = drifts.size(); i-- > 0;)
        {
            unsigned int const points = drifts[i]->getPointNumber();
            reversed.push_back(rest % points);
            rest /= points;
        }
    };
    cStorage<cDriftParameter*> drifts(10);
    getAlgorithmDriftedParameters(drifts);
    consume(drifts);
    getAcquisitionDriftedParameters(drifts);
    consume(drifts);
    if (isStatisticalModuleActive() && !m_combinations.empty())
    {
        sDriftCombination const* const drawn = m_combinations[rest % m_combinations.size()];
        for (unsigned int i = drawn->driftPointIndexes.size(); i-- > 0;)
            reversed.push_back(drawn->driftPointIndexes[i]);
        rest /= m_combinations.size();
    }
    else
    {
        getPreprocessiogDriftedParameters(drifts);
        consume(drifts);
    }
    getMechanicalDriftedParameters(drifts);
    if (isMechanicalSameIterationDrifted())
    {
        // The vehicle's drifts step together: each takes the same rest.
        for (unsigned int i = drifts.size(); i-- > 0;)
            reversed.push_back(rest % drifts[i]->getPointNumber());
    }
    else
    {
        consume(drifts);
    }
    pointIndexes.clear();
    for (auto index = reversed.rbegin(); index != reversed.rend(); ++index)
        pointIndexes.add(*index);
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

// ---- statistical module ---------------------------------------------------------------------------

void cComputationManager::setStatisticalModuleActivation(bool active, bool silent)
{
    m_statisticalModuleActive.store(active ? 1 : 0, std::memory_order_relaxed);
    if (active && (m_combinations.empty() || silent))
        fillStatisticalModule(static_cast<unsigned int>(std::time(nullptr)), 1, silent);
    sendToHost(kComputationOptionsMessage);
}

void cComputationManager::clearStatisticalModule()
{
    for (unsigned int i = 0; i < m_combinations.size(); ++i)
        delete m_combinations[i];
    m_combinations.clear();
    m_statisticalConfigurationFileName.clear();
    invalidateStatisticalModule();
}

void cComputationManager::fillStatisticalModule(unsigned int seed, unsigned int count, bool silent)
{
    cScopeTrace const scope(m_logger, "cComputationManager::fillStatisticalModule L281");
    clearStatisticalModule();
    m_seed = seed;
    m_combinations.setGrowthStep(count != 0 ? count : 1);
    std::vector<cDriftParameter*> drifts;
    std::vector<unsigned int> driftsPerChannel;
    forEachChannel(
        [&](cChannel& c)
        {
            cStorage<cDriftParameter*> own(10);
            c.getCurrentDrifts(own);
            for (unsigned int i = 0; i < own.size(); ++i)
                drifts.push_back(own[i]);
            driftsPerChannel.push_back(own.size());
        });
    unsigned int n = count;
    if (!silent)
    {
        unsigned long long total = 1;
        for (cDriftParameter* d : drifts)
            total *= d->getPointNumber();
        n = static_cast<unsigned int>(std::min<unsigned long long>(count != 0 ? count : 1, total));
        if (n != count)
            doInformationMessage("Incorrect computations number:\n" + std::to_string(count) +
                                 " has been replaced by " + std::to_string(n));
    }
    for (unsigned int i = 0; i < n; ++i)
        m_combinations.add(new sDriftCombination);
    std::srand(seed);
    // Runs of consecutive combinations, each given by its end; drift by drift, each run splits by the
    // drift's points, so that no two combinations can end up the same.
    std::vector<unsigned int> ends{n};
    for (std::size_t d = 0; d < drifts.size(); ++d)
    {
        unsigned int limit = 1;
        for (std::size_t e = d + 1; e < drifts.size(); ++e)
            limit *= drifts[e]->getPointNumber();
        std::vector<unsigned int> newEnds;
        unsigned int begin = 0;
        for (unsigned int end : ends)
        {
            cStorage<unsigned int> counts(10);
            drifts[d]->getDrift()->computeStatisticalDistribution(end - begin, limit, counts);
            unsigned int next = begin;
            for (unsigned int p = 0; p < counts.size(); ++p)
            {
                for (unsigned int k = 0; k < counts[p]; ++k)
                    m_combinations[next + k]->driftPointIndexes.add(p);
                if (counts[p] != 0)
                    newEnds.push_back(next += counts[p]);
            }
            begin = end;
        }
        ends = newEnds;
    }
    // The first combination is always the nominal point of every drift, whatever was drawn.
    if (!drifts.empty() && n != 0)
        for (unsigned int i = 0; i < m_combinations[0]->driftPointIndexes.size(); ++i)
            m_combinations[0]->driftPointIndexes[i] = 0;
    // Each channel's ID is the position of its points in its own nested sweep, the last drift fastest.
    unsigned int offset = 0;
    for (unsigned int k : driftsPerChannel)
    {
        std::vector<unsigned int> weights(k, 1);
        for (unsigned int i = k; i-- > 1;)
            weights[i - 1] = weights[i] * drifts[offset + i]->getPointNumber();
        for (unsigned int c = 0; c < m_combinations.size(); ++c)
        {
            unsigned int id = 0;
            for (unsigned int i = 0; i < k; ++i)
                id += m_combinations[c]->driftPointIndexes[offset + i] * weights[i];
            m_combinations[c]->channelIds.add(id);
        }
        offset += k;
    }
    markStatisticalModuleValid();
    if (!cTraceProvider::isLogging(4))
        return;
    KYN_TRACE(m_logger, 4, "----- List of the drift combinations drawn -----");
    for (unsigned int c = 0; c < m_combinations.size(); ++c)
    {
        std::string line = "Iteration " + std::to_string(c) + ":";
        for (unsigned int i = 0; i < m_combinations[c]->driftPointIndexes.size(); ++i)
        {
            unsigned int const point = m_combinations[c]->driftPointIndexes[i];
            mpf_class const value = drifts[i]->getDrift()->computeSpecificPointConvertedValue(point);
            line.append("\t").append(drifts[i]->getLongName()).append(" = ");
            line.append(std::to_string(value.get_d())).append("(").append(std::to_string(point)).append(")");
        }
        KYN_TRACE(m_logger, 4, line);
    }
    KYN_TRACE(m_logger, 4, "----- List of the channel ID combinations drawn -----");
    for (unsigned int c = 0; c < m_combinations.size(); ++c)
    {
        std::string line = "Iteration " + std::to_string(c) + ":";
        unsigned int channel = 0;
        forEachChannel(
            [&](cChannel& ch)
            {
                line.append("\t").append(ch.getName()).append(" ID = ");
                line.append(std::to_string(m_combinations[c]->channelIds[channel++]));
            });
        KYN_TRACE(m_logger, 4, line);
    }
}

void cComputationManager::getFirstPreprocessingDriftCombination(unsigned int& index,
                                                                cStorage<unsigned int>& channelIds) const
{
    index = 0;
    channelIds.clear();
    if (index < m_combinations.size())
        for (unsigned int i = 0; i < m_combinations[index]->channelIds.size(); ++i)
            channelIds.add(m_combinations[index]->channelIds[i]);
}

void cComputationManager::getNextPreprocessingDriftCombination(unsigned int& index,
                                                               cStorage<unsigned int>& channelIds) const
{
    ++index;
    channelIds.clear();
    if (index < m_combinations.size())
        for (unsigned int i = 0; i < m_combinations[index]->channelIds.size(); ++i)
            channelIds.add(m_combinations[index]->channelIds[i]);
}

// ---- computation configuration ------------------------------------------------------------------------

namespace
{
constexpr uint32_t kConfigurationNotLoadedMessage = 2534;
char const* const kDriftsGroup = "Drifts Configuration";

// A value of the configuration: a number, a project constant or a constant expression.
mpf_class constantOf(cConfigurationGroup const& group, char const* key, std::string const& text)
{
    mpf_class value;
    if (myActiveSymbolManager == nullptr || !myActiveSymbolManager->getConstantValue(text, value, true))
        throw cGenericException(kSource, "cComputationManager::setDrifts", __LINE__,
                                std::string(key) + " = " + text + ": not a constant value (" +
                                    group.getName() + ", line " + std::to_string(group.getLineNumber()) +
                                    ")");
    return value;
}

// The flag of an option key standing in the group with the text "1".
bool optionSet(cConfigurationGroup const& group, char const* key)
{
    std::string text;
    return group.findItem("", key, text, false) != 0 && text == "1";
}

std::string selectedItemName()
{
    return myActiveMultiPreprocessingMgr != nullptr && myActiveMultiPreprocessingMgr->getItemCount() != 0
               ? myActiveMultiPreprocessingMgr->getSelectedItem()->getName()
               : std::string();
}
} // namespace

void cComputationManager::loadComputationConfiguration(std::string fileName)
{
    m_statisticalConfigurationFileName = fileName;
    std::unique_ptr<cCfgInputFile> file;
    try
    {
        file.reset(cCfgInputFile::createFile(fileName.c_str(), cCfgInputFile::readMode, nullptr, true));
        file->open();
        loadComputationConfiguration(file->getTopGroup(), false, false);
    }
    catch (cKynException& failure)
    {
        m_statisticalConfigurationFileName.clear();
        if (getComputationsState() == computationsRunning)
            PostMessageA(getMainWndH(), kConfigurationNotLoadedMessage, 0, 0);
        doException(failure);
    }
}

void cComputationManager::loadComputationConfiguration(cConfigurationGroup* group, bool silent,
                                                       bool whileRunning)
{
    setDrifts(group->findConfigurationGroup(kDriftsGroup, true), silent, whileRunning);
    setDriftConfigurationParameters(group, silent, whileRunning);
}

void cComputationManager::setDrifts(cConfigurationGroup* group, bool keepDrifts, bool whileRunning)
{
    if (!whileRunning && getComputationsState() == computationsRunning)
        throw cTestAlreadyRunningException(kSource, "cComputationManager::setDrifts", 1372,
                                           "Unable to change drifts while computation is running");
    if (!keepDrifts)
    {
        if (myActiveVehicle != nullptr)
            myActiveVehicle->resetAllDrifts();
        forEachChannel([](cChannel& c) { c.resetAllDrifts(); });
        if (myActiveUnit != nullptr)
            myActiveUnit->resetAllDrifts();
    }
    if (myActiveAlgorithm != nullptr)
    {
        if (optionSet(*group, "Enable Full Margin"))
            myActiveAlgorithm->fullMarginFeatureRequest(true);
        if (optionSet(*group, "Enable On All Multipreprocessing"))
            myActiveAlgorithm->fullMarginFeatureRequestOnAllMultipreprocessing(true);
        if (optionSet(*group, "Enable Full Drift Distribution"))
            myActiveAlgorithm->fullDriftDistributionRequest(true);
        if (optionSet(*group, "Enable TTD Dispersion Study"))
            myActiveAlgorithm->setTTDDispersionStudyRequest(true);
    }
    if (optionSet(*group, "Mechanical Drifts Not Crossed"))
        setMechanicalSameIterationDrifted(true, keepDrifts);

    cDriftParameter* parameter = nullptr;
    for (cConfigurationGroup* drift : group->GetConfigurationGroups())
    {
        std::string stage;
        std::string name;
        drift->findItem("", "Name", stage, true);
        if (stage == "Vehicle" && myActiveVehicle != nullptr)
        {
            drift->findItem("", "Parameter", name, true);
            parameter = myActiveVehicle->cDriftParameterMgr::getParameter(name);
        }
        else if (stage == "Preprocessing" && myActivePreprocessing != nullptr)
        {
            std::string channelName;
            std::string description;
            drift->findItem("", "Channel", channelName, true);
            cChannel* const channel = myActivePreprocessing->findChannel(channelName);
            drift->findItem("", "Channel Description", description, false);
            if (!description.empty() && description != channel->getDescription())
                throw cMissingItem(kSource, "cComputationManager::setDrifts", 1440,
                                   channelName + " (" + description + ")", "",
                                   "  Unable to load drifts configuration.");
            drift->findItem("", "Parameter", name, true);
            parameter = channel->cDriftParameterMgr::getParameter(name);
        }
        else if (stage == "Unit" && myActiveUnit != nullptr)
        {
            drift->findItem("", "Parameter", name, true);
            parameter = myActiveUnit->cDriftParameterMgr::getParameter(name);
        }
        else if (stage == "Calibration" && myActiveCalibration != nullptr)
        {
            drift->findItem("", "Parameter", name, true);
            parameter = myActiveCalibration->getParameter(name);
        }
        // Any other name works on the parameter of the group before (kept: files rely on it).
        if (parameter == nullptr)
            continue;
        std::string text;
        drift->findItem("", "Nominal", text, true);
        mpf_class const nominal = constantOf(*drift, "Nominal", text);
        std::string maximum;
        std::string minimum;
        std::string step;
        bool const hasMaximum = drift->findItem("", "Maximum Value", maximum, false) != 0;
        bool const hasMinimum = drift->findItem("", "Minimum Value", minimum, false) != 0;
        bool const hasStep = drift->findItem("", "Step", step, false) != 0;
        if (hasMaximum != hasMinimum || hasMaximum != hasStep)
            throw cMissingItem(kSource, "cComputationManager::setDrifts", 1501, parameter->getLongName(),
                               "Min, Max or Step value of parameter ", "Unable to load drifts configuration");
        if (!hasMaximum)
        {
            parameter->setRawValue(nominal, /*update=*/true, /*applyLimits=*/true);
            continue;
        }
        std::string distribution;
        drift->findItem("", "Distribution Type", distribution, false);
        unsigned char const type = distribution.empty() || distribution == "Uniform" ? 0
                                   : distribution == "Gaussian"                      ? 1
                                                                                     : 2;
        parameter->setRawDrift(nominal, constantOf(*drift, "Maximum Value", maximum),
                               constantOf(*drift, "Minimum Value", minimum), constantOf(*drift, "Step", step),
                               type);
    }
}

void cComputationManager::setDriftConfigurationParameters(cConfigurationGroup* group, bool silent,
                                                          bool whileRunning)
{
    if (!whileRunning && getComputationsState() == computationsRunning)
        throw cTestAlreadyRunningException(
            kSource, "cComputationManager::setDriftConfigurationParameters", 1511,
            "Unable to change computation option while computation is running");
    bool flag = false;
    group->findItem("", "Mechanical Drifts Not Crossed", flag, true);
    setMechanicalSameIterationDrifted(flag, silent);
    bool fullMargin = false;
    bool onAllItems = false;
    bool driftDistribution = false;
    bool dispersion = false;
    group->findItem("", "Enable Full Margin", fullMargin, true);
    group->findItem("", "Enable On All Multipreprocessing", onAllItems, true);
    group->findItem("", "Enable Full Drift Distribution", driftDistribution, false);
    group->findItem("", "Enable TTD Dispersion Study", dispersion, false);
    if (myActiveAlgorithm != nullptr)
    {
        myActiveAlgorithm->fullMarginFeatureRequest(fullMargin);
        myActiveAlgorithm->fullMarginFeatureRequestOnAllMultipreprocessing(onAllItems);
        myActiveAlgorithm->fullDriftDistributionRequest(driftDistribution);
        myActiveAlgorithm->setTTDDispersionStudyRequest(dispersion);
    }
    bool active = false;
    group->findItem("", "Statistical Module Active", active, true);
    setStatisticalModuleActivation(active, silent);
    if (!active)
        return;
    unsigned int seed = 0;
    unsigned int number = 0;
    group->findItem("", "Statistical Random Seed", seed, true);
    group->findItem("", "Statistical Iteration Number", number, true);
    fillStatisticalModule(seed, number, silent);
}

void cComputationManager::saveComputationConfiguration(std::string fileName)
{
    std::unique_ptr<cCfgInputFile> file;
    try
    {
        file.reset(cCfgInputFile::createFile(fileName.c_str(), cCfgInputFile::writeMode,
                                             "Computation Configuration", false));
        saveComputationConfiguration(file->getTopGroup(), false);
        file->save(false, std::string(),
                   myActiveProject != nullptr ? myActiveProject->getName() : std::string());
    }
    catch (cKynException& failure)
    {
        doException(failure);
    }
}

void cComputationManager::saveComputationConfiguration(cConfigurationGroup* group, bool skipCheck)
{
    if (!skipCheck)
        checkComputationOptions(true);
    bool const algorithm = myActiveAlgorithm != nullptr;
    group->addInformation("Mechanical Drifts Not Crossed", isMechanicalSameIterationDrifted());
    group->addInformation("Enable Full Margin",
                          algorithm && myActiveAlgorithm->isFullMarginFeatureRequested());
    group->addInformation("Enable On All Multipreprocessing",
                          algorithm &&
                              myActiveAlgorithm->isFullMarginFeatureRequestedOnAllMultipreprocessing());
    group->addInformation("Enable Full Drift Distribution",
                          algorithm && myActiveAlgorithm->isFullDriftDistributionRequested());
    group->addInformation("Enable TTD Dispersion Study",
                          algorithm && myActiveAlgorithm->getTTDDispersionStudyRequest());
    group->addInformation("Statistical Module Active", isStatisticalModuleActive());
    if (isStatisticalModuleActive())
    {
        group->addInformation("Statistical Random Seed", std::to_string(m_seed));
        group->addInformation("Statistical Iteration Number", std::to_string(m_combinations.size()));
    }
    auto drifts = std::make_unique<cConfigurationGroup>(kDriftsGroup);
    if (myActiveVehicle != nullptr)
        for (cDriftParameter* p : myActiveVehicle->cDriftParameterMgr::GetParameters())
            p->saveDriftConfiguration(drifts.get(), "Vehicle", std::string());
    forEachChannel(
        [&](cChannel& c)
        {
            for (cDriftParameter* p : c.cDriftParameterMgr::GetParameters())
                p->saveDriftConfiguration(drifts.get(), "Preprocessing", c.getName());
        });
    if (myActiveUnit != nullptr)
        for (cDriftParameter* p : myActiveUnit->cDriftParameterMgr::GetParameters())
            p->saveDriftConfiguration(drifts.get(), "Unit", std::string());
    group->addConfigurationGroup(drifts.release());
}

void cComputationManager::checkComputationOptions(bool strict)
{
    char const* const function = "cComputationManager::checkComputationOptions";
    std::string const item = "MultiPreprocessing item '" + selectedItemName() + "':\n";
    unsigned int points = 0;
    if (isMechanicalSameIterationDrifted() && myActiveVehicle != nullptr &&
        myActiveVehicle->cDriftParameterMgr::getParameterListSize() != 0 &&
        !myActiveVehicle->currentDriftsHaveSameNumberOfIterations(points))
    {
        char const* const text =
            "The mechanical drifts do not have the same number of points, cannot perform "
            "mechanical step with the same drift iteration.";
        if (strict)
            throw cForbiddenAction(kSource, function, 161, text);
        doErrorMessage(item + text + "\n'Do not cross mechanical drifts' option will be deactivated.");
        m_mechanicalSameIterationDrifted.store(0, std::memory_order_relaxed);
        sendToHost(kComputationOptionsMessage);
    }
    if (!isStatisticalModuleActive())
        return;
    if (m_combinations.empty())
    {
        if (strict)
            throw cForbiddenAction(kSource, function, 179,
                                   "Statistical module configuration: no iteration programmed.");
        doErrorMessage(item +
                       "Statistical module configuration: no iteration programmed.\nStatistical module will "
                       "be deactivated.");
        clearStatisticalModule();
        return;
    }
    unsigned long long total = 1;
    forEachChannel([&](cChannel& c) { total *= pointProduct(c); });
    if (total <= m_combinations.size())
    {
        if (strict)
            throw cForbiddenAction(kSource, function, 210,
                                   "Statistical module configuration: too many iterations programmed.");
        // "Deactivated" is the emptied module: the flag stays, and the next check finds no iteration.
        doErrorMessage(item +
                       "Statistical module configuration: too many iterations programmed.\nStatistical "
                       "module has been deactivated.");
        clearStatisticalModule();
    }
}

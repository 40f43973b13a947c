// The conductor of a computation: the only receiver of START_TEST_MSG and END_OF_TEST_MSG, owner of
// the test views, keeper of the run state that the rest of the model consults (a parameter tells
// the host of a change only while no computation runs). Exactly one exists, published in
// myActiveComputationManager. It also keeps the five progress counters that the stages advance and
// the host shows, and the two options the vehicle and the unit read. The walk over items and files
// that START_TEST_MSG begins is added with the run control.
#pragma once

#include "BaseKit/cStorage.h"
#include "BaseKit/cTraceProvider.h"
#include "BaseKit/mpfClass.h"
#include "SimCore/cParameterMgr.h"
#include "SimCore/cThread.h"

#include <atomic>
#include <cstdint>
#include <gmpxx.h>
#include <utility>
#include <vector>

class cDriftParameter;
class cDriftParameterMgr;
class cTestMgr;

// The state of the computations; the number is what the trace prints.
enum EComputationsState : uint32_t
{
    computationsNotStarted = 0,
    computationsRunning = 1,
    computationsFinished = 2,
    computationsFailed = 3,
    computationsCancelled = 4
};

// One progress counter: the iterations run so far in this test and the number the test expects
// (0 until a test has summed the totals).
struct sIterationCount
{
    uint32_t number;
    uint32_t total;
};

// The window messages of the progress counters, in the order reset() sends them.
constexpr uint32_t kFileIterationMessage = 2524;
constexpr uint32_t kMechanicalIterationMessage = 2525;
constexpr uint32_t kElectronicIterationMessage = 2526;
constexpr uint32_t kAcquisitionIterationMessage = 2527;
constexpr uint32_t kAlgorithmIterationMessage = 2528;
constexpr uint32_t kComputationOptionsMessage = 2533;

class cComputationManager : public cKynThread
{
public:
    // Thread "Test"; RUN_TEST_MSG lies outside the filter, so it never reaches this queue.
    cComputationManager();
    ~cComputationManager() override;

    ObjectLogger& logger() { return m_logger; }

    // The messages that need no running test. QUIT_MSG ends the loop (true). END_OF_TEST_MSG is
    // ignored while no test runs: a late report of an ended test falls away. START_TEST_MSG is only
    // traced here. Any other id throws cUnknownMessageError (line 884). Each is traced at level 4
    // first ("Test thread/cComputationManager::ProcessMessage: received QUIT_MSG(65536) "); data is
    // deleted at entry in every case.
    bool ProcessMessage(unsigned int message, cMessage* data) override;

    // Run control. The flag and the state are read from every thread without a lock: a reader may
    // see a change one poll late, which the run tolerates. They are relaxed atomics so that such a
    // read is defined, at the cost of a plain load or store.
    void askForStop() { m_stopAsked.store(1, std::memory_order_relaxed); }
    bool isStopAsked() const { return m_stopAsked.load(std::memory_order_relaxed) != 0; }
    EComputationsState getComputationsState() const
    {
        return static_cast<EComputationsState>(m_state.load(std::memory_order_relaxed));
    }
    // Traces the change at level 4 and stores the new state.
    void setComputationsState(EComputationsState state);

    // Progress. The stages add 1 from their own threads, the host reads on a window message: relaxed
    // atomics, for display only. Each getter gives the number and the total of its kind.
    sIterationCount getFileIterationNbr() const { return load(m_files); }
    sIterationCount getMechanicalIterationNbr() const { return load(m_mechanical); }
    sIterationCount getElectronicIterationNbr() const { return load(m_electronic); }
    sIterationCount getAcquisitionIterationNbr() const { return load(m_acquisition); }
    sIterationCount getAlgorithmIterationNbr() const { return load(m_algorithm); }
    // File iterations within the current multi-preprocessing item.
    uint32_t getCurrentIterationNbr() const { return m_currentIteration.load(std::memory_order_relaxed); }
    void incrementFileIterationNbr() { m_files.number.fetch_add(1, std::memory_order_relaxed); }
    void incrementMechanicalIterationNbr() { m_mechanical.number.fetch_add(1, std::memory_order_relaxed); }
    void incrementElectronicIterationNbr() { m_electronic.number.fetch_add(1, std::memory_order_relaxed); }
    void incrementAcquisitionIterationNbr() { m_acquisition.number.fetch_add(1, std::memory_order_relaxed); }
    void incrementAlgorithmIterationNbr() { m_algorithm.number.fetch_add(1, std::memory_order_relaxed); }
    // Whether the host is told of the counter's present number. File: always. Mechanical and
    // electronic: always below a total of 20, else when the number is a multiple of total / 20, so
    // that the host hears about 20 times per test. Acquisition and algorithm: every tenth.
    bool shouldNotifyFileIterationNbr() const { return true; }
    bool shouldNotifyMechanicalIterationNbr() const { return twentiethOfTotal(m_mechanical); }
    bool shouldNotifyElectronicIterationNbr() const { return twentiethOfTotal(m_electronic); }
    bool shouldNotifyAcquisitionIterationNbr() const { return tenth(m_acquisition); }
    bool shouldNotifyAlgorithmIterationNbr() const { return tenth(m_algorithm); }
    // Zeroes the five numbers (the totals stay) and sends 2524 to 2528 in that order, so that the
    // host clears its progress.
    virtual void reset();

    // The vehicle's drifts step together (point i of each in iteration i) instead of crossing. Set
    // on, every drift of the vehicle must have the same number of points: otherwise, unless silent,
    // an error message, the flag off, 2533, and cForbiddenAction (line 252); silent sets it all the
    // same, and the run refuses it later. 2533 tells the host of the option.
    void setMechanicalSameIterationDrifted(bool same, bool silent);
    bool isMechanicalSameIterationDrifted() const
    {
        return m_mechanicalSameIterationDrifted.load(std::memory_order_relaxed) != 0;
    }
    // The unit explores a drawn sample of the channels' results instead of their full cross.
    bool isStatisticalModuleActive() const
    {
        return m_statisticalModuleActive.load(std::memory_order_relaxed) != 0;
    }

    // The drawn combinations of the statistical module hold point indexes: a drift whose points
    // change makes them stale until the module is filled again.
    void invalidateStatisticalModule() { m_statisticalModuleValid.store(0, std::memory_order_relaxed); }
    bool isStatisticalModuleValid() const
    {
        return m_statisticalModuleValid.load(std::memory_order_relaxed) != 0;
    }

    // The tests (owned). The first one added starts the manager's thread, the last one removed stops
    // it; a removed test also leaves the margin tests of the active algorithm's time events.
    void addTest(cTestMgr const* test);
    cTestMgr* firstTest(unsigned int& index) const;
    cTestMgr* nextTest(unsigned int& index) const;
    void removeTest(cTestMgr* test);
    void removeAllTests();
    sParameterRange<cTestMgr> getTests() const
    {
        return sParameterRange<cTestMgr>(m_tests.data(), m_tests.data() + m_tests.size());
    }

    // The drift stages in pipeline order (vehicle, channels in order, unit, calibration), set by the
    // project whenever its modules change; not owned.
    void setDriftStages(std::vector<cDriftParameterMgr const*> stages) { m_driftStages = std::move(stages); }
    // Appends the current drifts of every stage, in pipeline order.
    void getDriftedParametersList(cStorage<cDriftParameter*>& parameters) const;
    // The converted drift values of an iteration of one crash file, one new value per drifted
    // parameter in the order of getDriftedParametersList (the values held before are deleted). The
    // last drift varies fastest.
    void getIterationConvertedDriftCombination(unsigned int iteration, cStorage<mpfClass*>& values) const;
    // That iteration's value of the parameter if it is drifted, else its own converted value.
    mpf_class getIterationConvertedDriftValue(unsigned int iteration, cDriftParameter* parameter) const;

protected:
    // The totals the notification rules divide, summed by a test at its start.
    void setIterationTotals(uint32_t files, uint32_t mechanical, uint32_t electronic, uint32_t acquisition,
                            uint32_t algorithm);
    // Set when the module has been filled.
    void markStatisticalModuleValid() { m_statisticalModuleValid.store(1, std::memory_order_relaxed); }

private:
    struct sCounter
    {
        std::atomic<uint32_t> number{0};
        std::atomic<uint32_t> total{0};
    };
    static sIterationCount load(sCounter const& c)
    {
        return {c.number.load(std::memory_order_relaxed), c.total.load(std::memory_order_relaxed)};
    }
    static bool twentiethOfTotal(sCounter const& c)
    {
        sIterationCount const n = load(c);
        return n.total < 20 || n.number % (n.total / 20) == 0;
    }
    static bool tenth(sCounter const& c) { return c.number.load(std::memory_order_relaxed) % 10 == 0; }

    ObjectLogger m_logger;
    std::atomic<unsigned char> m_stopAsked{0};
    std::atomic<uint32_t> m_state{computationsNotStarted};
    std::atomic<unsigned char> m_statisticalModuleValid{0};
    std::atomic<unsigned char> m_statisticalModuleActive{0};
    std::atomic<unsigned char> m_mechanicalSameIterationDrifted{0};
    std::atomic<uint32_t> m_currentIteration{0};
    sCounter m_files;
    sCounter m_mechanical;
    sCounter m_electronic;
    sCounter m_acquisition;
    sCounter m_algorithm;
    cStorage<cTestMgr*> m_tests{10};
    std::vector<cDriftParameterMgr const*> m_driftStages;

    // One point index per drifted parameter, in the order of getDriftedParametersList.
    void getIterationDriftCombinationIdx(unsigned int iteration, cStorage<unsigned int>& pointIndexes) const;
};

// The active computation manager, or null.
extern cComputationManager* myActiveComputationManager;

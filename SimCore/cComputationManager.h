// The conductor of a computation: the only receiver of START_TEST_MSG and END_OF_TEST_MSG, owner of
// the test views, keeper of the run state that the rest of the model consults (a parameter tells
// the host of a change only while no computation runs). Exactly one exists, published in
// myActiveComputationManager. A test walks the multi-preprocessing items and, within each, the used
// crash files: for each file the vehicle is started and its END_OF_TEST_MSG moves the walk on. The
// manager keeps the five progress counters that the stages advance and the host shows, and the
// options the vehicle and the unit read.
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
class cConfigurationGroup;
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
// The host makes the item of that index (wParam, lParam 1) the active one before returning.
constexpr uint32_t kSelectMultiPreprocessingItemMessage = 2067;
constexpr uint32_t kTestStartedMessage = 2529;
constexpr uint32_t kTestEndedMessage = 2530;

// One drawn combination of the statistical module: a point index per current drift of the channels (in
// channel order, then each channel's drift order), and per channel the position of that combination in
// the channel's own sweep, which is where its result stands in the channel's output list.
struct sDriftCombination
{
    cStorage<unsigned int> driftPointIndexes{10};
    cStorage<unsigned int> channelIds{10};
};

class cComputationManager : public cKynThread
{
public:
    // Thread "Test"; RUN_TEST_MSG lies outside the filter, so it never reaches this queue.
    cComputationManager();
    ~cComputationManager() override;

    ObjectLogger& logger() { return m_logger; }

    // QUIT_MSG ends the loop (true). START_TEST_MSG starts a test unless one runs; a failure sets the
    // state failed, sends 2530 and is reported. END_OF_TEST_MSG of the running test moves on to the next
    // used file, the next item, or the end (cancelled when a stop was asked); ignored while no test
    // runs. Any other id throws cUnknownMessageError (line 884). Each is traced at level 4 first
    // ("Test thread/cComputationManager::ProcessMessage: received QUIT_MSG(65536) "); data is deleted at
    // entry in every case.
    bool ProcessMessage(unsigned int message, cMessage* data) override;

    // The host's start of a test: START_TEST_MSG into this manager's own thread queue, never as a nested
    // call (the test would run on the host's thread while the manager's waits), in simulation mode too.
    // Up to 3 attempts 100 ms apart (a new thread's queue exists once it first waits), then
    // cMessageError. Without a listed test there is no thread: cForbiddenAction. The end comes as 2530.
    void startTest();

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
    // Virtual operations added to those of cKynThread, in the order of their slots.
    // Always a thread, also in simulation mode.
    virtual uint32_t start(int priority, void* parameter, unsigned long stackSize);
    // Zeroes the five numbers (the totals stay) and sends 2524 to 2528 in that order, so that the
    // host clears its progress.
    virtual void reset();
    // RESET_MSG to vehicle, channels and unit (each that exists); the current iteration to 0.
    virtual void resetForNewMultiPreprocessingItem();
    // FILE_CHANGED_MSG to vehicle, channels, unit and algorithm, each that exists, in that order.
    virtual void changeFile();
    using cKynThread::start;

    // The vehicle's drifts step together (point i of each in iteration i) instead of crossing. Set
    // on, every drift of the vehicle must have the same number of points: otherwise, unless silent,
    // an error message, the flag off, 2533, and cForbiddenAction (line 252); silent sets it all the
    // same, and the run refuses it later. 2533 tells the host of the option.
    void setMechanicalSameIterationDrifted(bool same, bool silent);
    bool isMechanicalSameIterationDrifted() const
    {
        return m_mechanicalSameIterationDrifted.load(std::memory_order_relaxed) != 0;
    }
    // The statistical module: a drawn sample of the channels' drift combinations replaces their full
    // cross in the unit. Activation stores the flag (filling an empty module, or refilling when silent,
    // with the time as seed and one combination) and sends 2533.
    void setStatisticalModuleActivation(bool active, bool silent);
    // Deletes the combinations; the configuration file name empties, the module is not valid.
    void clearStatisticalModule();
    // Draws count combinations with srand(seed): no combination twice, each point's share following
    // its drift's distribution by nested stratification; the first is point 0 of every drift. Unless
    // silent, a count of 0 or above the number of combinations is replaced, with a message.
    void fillStatisticalModule(unsigned int seed, unsigned int count, bool silent);
    unsigned int getStatisticalCombinationNumber() const { return m_combinations.size(); }
    sDriftCombination const* getStatisticalCombination(unsigned int k) const { return m_combinations[k]; }
    unsigned int getStatisticalRandomSeed() const { return m_seed; }
    std::string getStatisticalConfigurationFileName() const { return m_statisticalConfigurationFileName; }
    // The computation configuration: the options and the drifts of vehicle, channels, unit and
    // calibration, in a file ("Computation Configuration") or in a group of another file. A file that
    // fails is reported (and 2534 posted while a test runs); the group forms throw.
    void loadComputationConfiguration(std::string fileName);
    void loadComputationConfiguration(cConfigurationGroup* group, bool silent, bool whileRunning);
    // The "Drift" groups of the "Drifts Configuration" group: each sets a parameter's nominal value, or
    // its drift with "Maximum Value", "Minimum Value" and "Step" (all three or none, line 1501).
    void setDrifts(cConfigurationGroup* group, bool keepDrifts, bool whileRunning);
    void setDriftConfigurationParameters(cConfigurationGroup* group, bool silent, bool whileRunning);
    void saveComputationConfiguration(std::string fileName);
    // The options, then the drifts of vehicle, channels and unit (the calibration's are not written);
    // unless skipCheck, the options must pass checkComputationOptions(true) first.
    void saveComputationConfiguration(cConfigurationGroup* group, bool skipCheck);
    // The options against the drifts in force: the vehicle's stepped-together drifts need one point
    // number (line 161); an active module needs combinations (179), fewer than all (210). strict
    // throws cForbiddenAction; otherwise the user is told and the option repaired.
    void checkComputationOptions(bool strict);

    // The channel IDs of combination index (first: index 0, next: index + 1), empty past the end.
    void getFirstPreprocessingDriftCombination(unsigned int& index, cStorage<unsigned int>& channelIds) const;
    void getNextPreprocessingDriftCombination(unsigned int& index, cStorage<unsigned int>& channelIds) const;
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

    // The drifted parameters, each query emptying the storage first (growth step 10): all of them in
    // pipeline order (vehicle, channels in order, unit, active calibration), or those of one stage.
    void getDriftedParametersList(cStorage<cDriftParameter*>& parameters) const;
    void getMechanicalDriftedParameters(cStorage<cDriftParameter*>& parameters) const;
    void getPreprocessiogDriftedParameters(cStorage<cDriftParameter*>& parameters) const;
    void getAcquisitionDriftedParameters(cStorage<cDriftParameter*>& parameters) const;
    void getAlgorithmDriftedParameters(cStorage<cDriftParameter*>& parameters) const;
    // The parameters whose value differs from their default, of the vehicle, the channels, the unit.
    void getModifiedMechanicalParams(cStorage<cDriftParameter*>& parameters) const;
    void getModifiedElectronicParams(cStorage<cDriftParameter*>& parameters) const;
    void getModifiedAcquisitionParams(cStorage<cDriftParameter*>& parameters) const;
    // The position in getDriftedParametersList, 0xFFFFFFFF when the parameter is not drifted.
    unsigned int getDriftParameterIdx(cDriftParameter* parameter) const;

    // The iterations each stage runs for the active objects: used files; vehicle (the first drift's
    // points when its drifts step together, else the product, 1 without drift); each channel's product;
    // all channels' (their product, or the statistical module's combinations when it is active); unit;
    // calibration.
    void getCurrentMultipreprocessingItemStepsPointNumber(
        unsigned long long& files, unsigned long long& mechanical, cStorage<unsigned long long>& channels,
        unsigned long long& electronic, unsigned long long& acquisition, unsigned long long& algorithm) const;
    // Saves into the selected item: files, files x mechanical, the channels' sum x files x mechanical,
    // files x mechanical x electronic x acquisition, and that x algorithm (each cut to 32 bits).
    void computeAndSaveCurrentMultipreprocessingItemStepsPointNumber();
    // The selected item's counts saved, then the five counts summed over all items.
    void getTotalStepsPointNumber(unsigned long long& files, unsigned long long& mechanical,
                                  unsigned long long& electronic, unsigned long long& acquisition,
                                  unsigned long long& algorithm);
    // The iterations of one crash file: mechanical x electronic x acquisition x algorithm of the active
    // objects. Valid while every partial product from the files on (files, x mechanical, ..., x
    // algorithm) fits into 32 bits, since the stages count iterations in 32 bits.
    unsigned long long getIterationNumberForOneFile() const;
    bool isIterationNumberForOneFileValid() const;
    // The converted drift values of an iteration of one crash file, one new value per drifted
    // parameter in the order of getDriftedParametersList (the values held before are deleted). The
    // last drift varies fastest.
    void getIterationConvertedDriftCombination(unsigned int iteration, cStorage<mpfClass*>& values) const;
    // That iteration's value of the parameter if it is drifted, else its own converted value.
    mpf_class getIterationConvertedDriftValue(unsigned int iteration, cDriftParameter* parameter) const;

protected:
    // The start of a test: step counts saved and summed into the totals, counters reset, the algorithm
    // reset, state running, 2529, stop flag cleared, the selected item remembered.
    void OnStartTestMsg();
    // Walks from the current item to the first used file of an item and starts the vehicle on it (true);
    // with none left, EndOfAlgorithmCheck (false).
    bool ProcessNextMultiPpItem();
    // 2067 for the item, the mechanical same-iteration check (line 679), the stages reset, the
    // algorithm told.
    void SwitchToMultiPpItem(unsigned int index);
    // Unless the attached queue still holds messages: the item selected at the start given back (2067),
    // finished if running, 2530, the queue detached.
    void EndOfAlgorithmCheck();
    // A failure during the walk: failed, 2530, nominal values back.
    void OnEndOfTestException();
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
    cStorage<sDriftCombination*> m_combinations;
    unsigned int m_seed = 0;
    std::string m_statisticalConfigurationFileName;
    uint32_t m_selectedItemAtStart = 0;
    uint32_t m_currentFileIndex = 0;
    uint32_t m_currentItemIndex = 0;

    // The END_OF_TEST_MSG of the running test.
    void onEndOfTest();
    // The next item index that has a used file, from m_currentItemIndex + 1 on.
    void moveToNextItemWithUsedFile();
    // resetAllNominalValues on vehicle, each channel and unit.
    void resetStagesNominalValues();

    // One point index per drifted parameter, in the order of getDriftedParametersList.
    void getIterationDriftCombinationIdx(unsigned int iteration, cStorage<unsigned int>& pointIndexes) const;
};

// The active computation manager, or null.
extern cComputationManager* myActiveComputationManager;

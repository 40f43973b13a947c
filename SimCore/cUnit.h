// cUnit: the acquisition step, between the channels and the algorithm. It waits until every channel
// has reported its results for one vehicle iteration, then walks the combinations of those results
// (the full cross: the first channel slowest, the last fastest), runs each through its own
// preprocessor chain under each point of its own drifts, and gives one set of sampled signals per
// iteration to the algorithm. The channels' results are reused across the cross, never recomputed.
// Configured from a unit file (.cfg); the project makes one, published in myActiveUnit.
#pragma once

#include "BaseKit/cSignalStorage.h"
#include "BaseKit/cStorage.h"
#include "BaseKit/cTraceProvider.h"
#include "SimCore/cDriftManager.h"
#include "SimCore/cFileConfigured.h"
#include "SimCore/cKynPreprocessor.h"

#include <cstdint>
#include <memory>
#include <string>

class cCfgInputFile;
class cChannel;
class cConfigurationGroup;

class cUnit : public cDriftManager, public cPreprocessorChainMgr, public cFileConfigured
{
public:
    // Reads the unit file (joined to path when relative; none for an empty name); a failure frees
    // what was made and goes on.
    cUnit(std::string const& name, std::string const& fileName, std::string const& path);
    // Ends the thread, then frees the outputs and the test group.
    ~cUnit() override;

    static std::string getFileFilter(unsigned char kind);
    static std::string getDefaultExtension(unsigned char kind);

    // Trace, then setConfiguration.
    virtual void open(std::string const& fileName, std::string const& path);
    // To a named file: written anew as "Unit" and kept. To the empty name: the held file, refused when
    // locked (cFileNotWritableException line 170) or absent (cNULLPointer line 161).
    virtual void saveSettings(std::string comment, std::string const& fileName, bool keepBackup);
    // The unit has a thread in simulation mode too: the start is always forced.
    virtual uint32_t start(int priority, void* parameter, unsigned long stackSize);
    // Reads the file. On failure with an earlier file held, the failure is reported, "Old acquisition
    // set will be reloaded" shown and the earlier file read again; with none, the exception goes on.
    virtual void setConfiguration(std::string const& fileName, std::string const& path);
    // Checks the parameters (same registered names) and the criteria (both criteria of every used
    // channel) before anything is replaced, then loads parameters, criteria (each channel + " Output"
    // always stored), preprocessors and a copy of the "Tests List". keepFile: the file becomes its own.
    virtual void loadFromConfiguration(cCfgInputFile* file, std::string const& path, bool keepFile);
    // "Name", "Parameters List" (mask 0x7F5827F), "Criteria List" (mask 0x2000B), "Preprocessors
    // List" and the kept "Tests List".
    virtual void buildFile(cConfigurationGroup* group);
    using cFileConfigured::saveSettings;
    using cFileConfigured::setConfiguration;
    using cKynThread::start;

    // The output the algorithm reads for that channel, by its position in the active preprocessing
    // set; cBadChannelReference when it is not one of its channels.
    cSignalStorage<float>* getOutputStorage(cChannel const* channel) const;
    // The signal chosen for channel i in the iteration in progress (null between explorations).
    cSignalStorage<float> const* getCurrentInput(unsigned int i) const { return m_currentInputs[i]; }
    unsigned int getCurrentInputNumber() const { return m_currentInputs.size(); }
    // Deletes the outputs.
    void clearAllDataStorage();
    cConfigurationGroup* getTestCfgGroup() const { return m_testGroup.get(); }
    bool isDefaultConfiguration() const { return m_defaultConfiguration != 0; }
    void setDefaultConfiguration(bool value) { m_defaultConfiguration = value ? 1 : 0; }
    uint32_t getFileIteration() const { return m_fileIteration; }

    using cDriftManager::ProcessMessage;

protected:
    void steps() override { cPreprocessorChainMgr::Calculate(); }
    // One empty slot and one output per channel of the active preprocessing set.
    void reset() override;
    void changeFile() override;
    void prepareForTest() override;
    // The current inputs into their criteria, the chain, the outputs out.
    void performIteration() override;
    // A channel's results: its slot is filled; once all are, the exploration runs, the slots empty
    // and the channels' drifted parameters go back to their nominal values.
    void runTest(cMessage const* data) override;
    // One acquisition iteration more (2527 every tenth).
    void endOfIteration() override;

    // The full cross from channelIndex on: each result of that channel in turn, the last channel
    // running the unit's own sweep (or one iteration) for each.
    void performRecursiveExploration(unsigned int channelIndex);
    // The drawn combinations of the statistical module instead: for each, every channel's result of
    // that ID (its drifts restored to that point), then the unit's own sweep or one iteration.
    void performPartialExploration();

private:
    void destroyAllUnitContent();

    ObjectLogger m_logger{"Unit"};
    unsigned char m_defaultConfiguration = 1;
    std::unique_ptr<cConfigurationGroup> m_testGroup;
    cStorage<cStorage<cSignalStorage<float>*>*> m_channelResults{20};
    cStorage<cSignalStorage<float>*> m_currentInputs{20};
    cStorage<cCriterionValuesForOneFile*> m_inputValues{20};
    cStorage<cCriterionValuesForOneFile*> m_outputValues{20};
    cStorage<cSignalStorage<float>*> m_outputs{20};
    uint32_t m_fileIteration = 0;
    uint32_t m_sampleCursor = 0;
};

// The project's unit, or null; published once its thread has started.
extern cUnit* myActiveUnit;

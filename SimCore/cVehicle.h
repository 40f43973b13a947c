// cVehicle: the first stage of the pipeline, the mechanical step. For a crash file it reads the
// acceleration signal of every used channel out of the recording, passes them through its own
// preprocessor chain under each point of its mechanical drifts, and hands one output signal per
// used channel to each channel stage. It is configured from a mechanical file (.vcl); the project
// makes exactly one, published in myActiveVehicle.
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
class cChannelInput;
class cConfigurationGroup;

class cVehicle : public cDriftManager, public cPreprocessorChainMgr, public cFileConfigured
{
public:
    // One output per used channel of the active project, then the mechanical file (joined to path
    // when relative; none for an empty name).
    cVehicle(std::string name, std::string const& fileName, std::string const& path);
    // Stops the thread first, then frees the outputs.
    ~cVehicle() override;

    static std::string getFileFilter(unsigned char kind);
    static std::string getDefaultExtension(unsigned char kind);

    // Trace, then setConfiguration.
    virtual void open(std::string const& fileName, std::string const& path, bool rethrow);
    // To a named file: written anew as "Mechanical Step" and kept. To the empty name: the held file,
    // refused when locked (cFileNotWritableException line 482) or absent (cNULLPointer line 471).
    virtual void saveSettings(std::string comment, std::string const& fileName, bool keepBackup);
    // Reads the file. A failure names the file ("\nFile: "); with an earlier file held it is
    // reported, "Old mechanical set will be reloaded" shown and the earlier file read again. The
    // exception goes on when rethrow is set, and always when no earlier file is held.
    virtual void setConfiguration(std::string const& fileName, std::string const& path, bool rethrow);
    // Checks the criteria (both criteria of every used channel) and the parameters (same registered
    // names) before anything is replaced, then loads parameters, criteria, preprocessors and a copy of
    // the "Tests List". keepFile: the file becomes this stage's own.
    virtual void loadFromConfiguration(cCfgInputFile* file, std::string const& path, bool keepFile);
    // "Name", "Parameters List" (mask 0x7F582FF), "Criteria List" (mask 0x1002000B), "Preprocessors
    // List" and the kept "Tests List".
    virtual void buildFile(cConfigurationGroup* group);
    using cFileConfigured::saveSettings;
    using cFileConfigured::setConfiguration;

    cConfigurationGroup* getTestCfgGroup() const { return m_testGroup.get(); }
    bool isDefaultConfiguration() const { return m_defaultConfiguration != 0; }
    void setDefaultConfiguration(bool value) { m_defaultConfiguration = value ? 1 : 0; }
    uint32_t getFileIteration() const { return m_fileIteration; }
    // The signal handed to channel i in the last iteration.
    cSignalStorage<float>* getOutput(unsigned int i) const { return m_outputs[i]; }
    unsigned int getOutputNumber() const { return m_outputs.size(); }

    using cDriftManager::ProcessMessage;

protected:
    void steps() override { cPreprocessorChainMgr::Calculate(); }
    // The inputs of the active file, and the values of the criteria named like each used channel
    // and channel + " Output".
    void changeFile() override;
    void prepareForTest() override;
    // The inputs into their criteria (a leading 0.0 at T0 0 first), the chain, the outputs out.
    void performIteration() override;
    // The mechanical sweep (stepped together when the manager says so), then END_OF_TEST_MSG.
    void runTest(cMessage const* data) override;
    // One mechanical iteration more (2525 as the manager's rule says), then each output to its
    // channel with RUN_TEST_MSG, unless a stop is asked by then.
    void endOfIteration() override;

private:
    void loadCriteria(cConfigurationGroup* group);
    void destroyContent();

    ObjectLogger m_logger{"Vehicle"};
    uint32_t m_sampleCursor = 0;
    std::unique_ptr<cConfigurationGroup> m_testGroup;
    cStorage<cChannelInput*> m_inputs;
    cStorage<cCriterionValuesForOneFile*> m_inputValues{20};
    cStorage<cCriterionValuesForOneFile*> m_outputValues{20};
    cStorage<cSignalStorage<float>*> m_outputs{10};
    uint32_t m_fileIteration = 0;
    unsigned char m_defaultConfiguration = 1;
};

// The project's vehicle, or null.
extern cVehicle* myActiveVehicle;

// The electronic step of the pipeline and the set that holds it. A cChannel is one sensor channel:
// it takes the vehicle's output for its channel, passes it through its preprocessor list under each
// point of its own drifts and keeps one result per point for the unit. Between two drift points only
// the preprocessors from the first one touched by the changed parameter onward run again, on the
// signal stored at that position. cPreprocessing is the set of all channels of a project, read from
// and written to one .prp file; a reload replaces the set only once every channel of the new file has
// been found and checked, so that a bad file changes nothing.
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
#include <utility>

class cCfgInputFile;
class cConfigurationGroup;

class cChannel : public cDriftManager, public cPreprocessorMgr
{
public:
    // Thread name `name`, trace name `traceName`; configured at once from group (see
    // setConfiguration). A failure leaves no object.
    cChannel(std::string name, std::string description, std::string traceName, cConfigurationGroup* group,
             std::string const& path);
    // Stops the thread, then frees the results.
    ~cChannel() override;

    // The vehicle's output for this channel, set before each RUN_TEST_MSG. Not owned.
    void setInputDataStorage(cSignalStorage<float>* input) { m_currentInput = input; }
    // One result per iteration of the last run, in sweep order; the unit reads them by position.
    cStorage<cSignalStorage<float>*>& getOutputDataStorage() { return m_outputs; }
    std::string getDescription() const { return m_description; }
    cConfigurationGroup* getTestCfgGroup() const { return m_testGroup.get(); }
    // Empties each result, keeping the entries for the next run.
    void clearDataStorage();

    // The check made before a reload of the preprocessing set replaces this channel: the parameters of
    // group must offer the same names as this channel's (cParameterMgr::checkComplianceForReloading),
    // and "Criteria List" and "Preprocessors List" must be there. A null group throws cNULLPointer.
    void checkAllCompliance(cConfigurationGroup* group);

    // "Name", "Description", "Parameters List" (mask 0x7F5827F), "Criteria List" (mask 0x2000B),
    // "Preprocessors List" and, when a test group is kept, "Tests List". The constructor reads the
    // test group under the name "Test": a file meant to be read back needs it renamed.
    virtual void buildFile(cConfigurationGroup* group);

    // The result number of the run in progress and the entry preprocessor of the iteration.
    unsigned int getEntryPreprocessorIndex() const { return m_entryPreprocessorIndex; }
    // The input as the first iteration of the run received it.
    cSignalStorage<float> const& getRawInput() const { return m_rawInput; }

    // The stage's own messages; reachable for the set and for tests.
    using cDriftManager::ProcessMessage;

protected:
    // The criteria that a re-entry starts from keep their signal: the starting criteria of every
    // preprocessor that names a drifted parameter, and the final criteria of the last preprocessor.
    void reset() override;
    // The criterion "Input" gives the values of the active file; the preprocessors follow.
    void changeFile() override;
    // Decides where this iteration enters the list: the first preprocessor whose parameters changed
    // since it last ran, or the first of all on the first iteration of a run. The preprocessors before
    // the entry keep what they computed and are not prepared.
    void prepareForTest() override;
    // Feeds the working input to the entry, runs steps and ends the iteration.
    void performIteration() override;
    // Runs the list from the entry; the samples the skip mask keeps become the current result.
    void steps() override;
    // The sweep over the channel's drifts, one result each, then RUN_TEST_MSG to the active unit.
    void runTest(cMessage const* data) override;
    // One result more, one electronic iteration more (2526 as the manager's rule says).
    void endOfIteration() override;

    // Loads "Parameters List", "Criteria List" and "Preprocessors List" of group, and a copy of its
    // mandatory group "Test". A null group does nothing.
    void setConfiguration(cConfigurationGroup* group, std::string const& path);

private:
    void checkParametersCompliance(cConfigurationGroup* group);
    cKynPreprocessor* lastPreprocessor() const;
    // The preprocessor at that position (the index overload, beside the name overload).
    cKynPreprocessor* getParameterByIndex(unsigned int index) const;

    ObjectLogger m_logger;
    cCriterionValuesForOneFile* m_inputValues = nullptr;
    uint32_t m_entryPreprocessorIndex = 0;
    std::unique_ptr<cConfigurationGroup> m_testGroup;
    cSignalStorage<float> m_rawInput;
    cSignalStorage<float>* m_currentInput = nullptr;
    cStorage<cSignalStorage<float>*> m_outputs;
    cSignalStorage<float> m_workingInput;
    cStorage<char> m_skipMask;
    uint32_t m_resultCount = 0;
    cSignalStorage<float>* m_lastOutput = nullptr;
    cSignalStorage<float>* m_currentOutput = nullptr;
    std::string m_description;
};

// The host's view of the preprocessing set.
class IPreprocessing
{
public:
    virtual ~IPreprocessing() = default;
    virtual cChannel* findChannel(std::string const& name) = 0;
};

class cPreprocessing : public IPreprocessing, public cFileConfigured
{
public:
    // Reads file (joined to path when relative); a failure deletes the channels made so far and goes
    // on. An empty file name makes an empty set.
    cPreprocessing(std::string const& name, std::string const& file, std::string const& path);
    // Deletes the channels (their threads stopped by the owner before).
    ~cPreprocessing() override;

    static std::string getFileFilter(unsigned char kind);
    static std::string getDefaultExtension(unsigned char kind);

    // The first channel of that thread name; cBadChannelReference (line 584) when none.
    cChannel* findChannel(std::string const& name) override;
    // cBadChannelReference (line 595) when index is not below the count.
    cChannel* findChannel(unsigned int index);
    // The position of the channel, 0xFFFFFFFF when it is not one of this set.
    int findChannelIdx(cChannel const* channel) const;
    cChannel* firstChannel(unsigned int& cursor) const { return m_channels.first(cursor); }
    cChannel* nextChannel(unsigned int& cursor) const { return m_channels.next(cursor); }
    unsigned int getChannelNbr() const { return m_channels.size(); }
    std::pair<cChannel* const*, cChannel* const*> getChannels() const
    {
        return {m_channels.data(), m_channels.data() + m_channels.size()};
    }
    std::string getName() const { return m_name; }
    bool isDefaultConfiguration() const { return m_defaultConfiguration; }
    void setDefaultConfiguration(bool value) { m_defaultConfiguration = value; }

    // Trace, then setConfiguration.
    virtual void open(std::string const& file, std::string const& path);
    // To a named file: written anew as "Preprocessing", kept as this set's file. To the empty name: the
    // held file, refused when it is locked (cFileNotWritableException line 813) or absent (cNULLPointer
    // line 804).
    virtual void saveSettings(std::string comment, std::string const& file, bool keepBackup);
    // Reads file (joined to path when relative). On failure with an earlier file held, the failure is
    // reported, "Old preprocessing set will be reloaded" shown, and the earlier file read again; with
    // none, the exception goes on with "\nFile: <name>" appended. An empty name does nothing.
    virtual void setConfiguration(std::string const& file, std::string const& path);
    // "Name" and a "Channels List" with one "Channel" group per channel.
    virtual void buildFile(cConfigurationGroup* group);
    using cFileConfigured::saveSettings;
    using cFileConfigured::setConfiguration;

    // One channel per used channel of the active project, in the project's order, from the "Channel"
    // groups of "Channels List" (templates expanded). Every channel is found and checked against the
    // one it replaces before the old set goes; each new channel's thread starts at once. keepFile: the
    // file becomes this set's own; otherwise it stays its owner's (a multi-preprocessing item).
    void loadFromConfiguration(cCfgInputFile* file, std::string const& path, bool keepFile);
    void buildFileForBatchMode(cConfigurationGroup* group) { buildFile(group); }
    void removeValuesFromCrashFile(unsigned long long crashFileAddress);

    // Both criteria of each used channel, C and "C Output", must be in group: cMissingItem (lines 502
    // and 504) otherwise. False for a null group.
    static bool checkCriteriaListCompliance(cConfigurationGroup* group);

private:
    void removeAllChannels();

    // Set while the earlier file is read again after a failed load.
    static thread_local bool s_reloading;

    bool m_defaultConfiguration = true;
    cStorage<cChannel*> m_channels{20};
    std::string m_name;
};

// The project's preprocessing set, or null.
extern cPreprocessing* myActivePreprocessing;

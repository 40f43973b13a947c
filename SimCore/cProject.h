// cProject: the entry to all data of a study. It reads the project file (.prt), creates the two
// long-lived services (computation manager, symbol manager) and, on request, the data-processing
// modules: the vehicle, the preprocessing set with its channels, the acquisition unit and the
// multi-preprocessing manager with the first crash file list. Each is published in its myActive...
// global for the stages and services that reach it without a pointer in hand.
#pragma once

#include "BaseKit/cTraceProvider.h"
#include "SimCore/cFileConfigured.h"

#include <gmpxx.h>

#include <string>
#include <vector>

class cAlgorithm;
class cCalibration;
class cCfgInputFile;
class cChannel;
class cComputationManager;
class cConfigurationGroup;
class cDriftParameter;
class cDriftParameterMgr;
class cKynMultiPreprocessingItem;
class cKynMultiPreprocessingMgr;
class cPreprocessing;
class cSymbolManager;
class cUnit;
class cVehicle;
class IKynFile;
class IPreprocessing;

// The host's view of the project.
class IProject
{
public:
    virtual ~IProject() = default;
    // Appends name to the declared channels and, when used, to the used channels (no duplicate
    // check). The stages size themselves from the used channels when they are made: declare every
    // channel before loadDataProcessingModules.
    virtual void declareChannelName(std::string const& name, bool used) = 0;
    // The project takes the host's calibration and algorithm over (deleting one it held before) and
    // publishes them as myActiveCalibration and myActiveAlgorithm.
    virtual void setCalibration(cCalibration const* const calibration) = 0;
    virtual void setAlgorithm(cAlgorithm const* const algorithm) = 0;
    virtual cCfgInputFile* getConfigurationFile() const = 0;
    virtual void loadDataProcessingModules(std::string const& workingDirectory) = 0;
    virtual void clearDataProcessingModules() = 0;
    virtual std::string getECUVersionNumber() = 0;
    virtual std::string getECUVersionComments() = 0;

protected:
    virtual void setConfiguration(std::string const& projectFilePath, std::string const& basePath) = 0;
};

class cProject : public IProject, public cFileConfigured
{
public:
    // Opens projectFilePath (joined to basePath when relative) and reads "Name" (mandatory),
    // "Customer" and "Unit Type"; a file that cannot be opened gives cGenericException "Failed to open
    // project file: <path>". Then makes and publishes the computation and symbol managers, configures
    // the symbols from "Symbols" (basePath + value, or none) and opens "Drift Studies" when given.
    // A failure after the file is read deletes what was made and leaves both globals null.
    cProject(std::string const& projectFilePath, std::string const& basePath);
    // Removes the tests (their views show the stages), deletes the algorithm, then the calibration
    // (nulling their globals), clears the modules, then
    // deletes the symbol manager and the computation manager (nulling their globals), the drift studies
    // file and the channel mapping.
    ~cProject() override;

    static std::string getFileFilter(unsigned char kind);
    static std::string getDefaultExtension(unsigned char kind);

    void declareChannelName(std::string const& name, bool used) override;
    void setCalibration(cCalibration const* const calibration) override;
    void setAlgorithm(cAlgorithm const* const algorithm) override;
    cCfgInputFile* getConfigurationFile() const override { return cFileConfigured::getConfigurationFile(); }
    // Makes the modules from the files that "Vehicle", "Preprocessing" and "Unit" name (joined to
    // workingDirectory), starts their threads in stage order (vehicle, channels, unit), publishes them,
    // and adds the item "Default" whose crash file list becomes the active one. On any failure the
    // modules are cleared and the exception goes on: the project stays usable and the call may be
    // repeated once the file is repaired.
    void loadDataProcessingModules(std::string const& workingDirectory) override;
    // Nulls the four module globals, empties the tests' maintain-data sets, then stops and deletes the
    // vehicle, the channels with their set, the unit and the multi-preprocessing manager, in this order.
    // Each step looks at its pointer first: safe on a half-built project and when run twice.
    void clearDataProcessingModules() override;
    // A new item of the multi-preprocessing manager with an empty crash file list. Every item after
    // the first gets its own vehicle, preprocessing and unit files, opened from the project's keys;
    // the first works on the live modules. A failure deletes what this call made and goes on.
    void addNewMultiPreprocessingItem(std::string name);

    // Reads the file that "Channel Mapping" names (joined to directory) and keeps a copy of its
    // "Channel Name Mapping" group, which every crash file read from then on applies to its channel
    // names. Without the key nothing changes; a second call replaces the copy. A failure carries
    // "\nFile: " and the path.
    void buildChannelNameMappingVector(std::string const& directory);
    // Null until buildChannelNameMappingVector found a mapping file.
    cConfigurationGroup const* getChannelMappingVector() const { return m_channelMappingVector; }
    // Applies the project file's "Calibration" group, entry by entry in file order, to the parameters
    // of manager: "No Deployment Value" (set, then the value taken), "Neutral Value" (stored only, not
    // marked defined), "Minimum Value" and "Maximum Value" (overwritten without a check), "Unit",
    // "Conversion Factor" and "Description". An unknown name stops with getParameter's exception, the
    // entries before it applied.
    void applyCalibrationDelta(cDriftParameterMgr* manager);

    // The multi-preprocessing manager's items.
    unsigned int getMultiPreprocessingItemCount() const;
    std::string getMultiPreprocessingItemName(unsigned int index) const;
    unsigned int getMultiPreprocessingItemIndexFromName(std::string name) const;
    cKynMultiPreprocessingItem* getMultiPreprocessingItemFromName(std::string name) const;
    // The item named first receives the set-up of the item named second (the order of the names is the
    // reverse of the operation's name, and stays so for the hosts that call it).
    void copySourceMultipreprocessingIntoDestinationMultipreprocessing(std::string first, std::string second,
                                                                       cCfgInputFile* crashMappingFile);

    std::string getName() const { return m_name; }
    std::string getCustomer() const { return m_customer; }
    void setCustomer(std::string const& customer) { m_customer = customer; }
    std::string getUnitType() const { return m_unitType; }
    void setUnitType(std::string const& unitType) { m_unitType = unitType; }
    // Filled by the host only: the filters find the ECU's files under the path, and the algorithm
    // file falls back on the version.
    std::string getECUVersionNumber() override { return m_ecuVersionNumber; }
    void setECUVersionNumber(std::string const& version) { m_ecuVersionNumber = version; }
    std::string getECUFilePath() const { return m_ecuFilePath; }
    void setECUFilePath(std::string const& path) { m_ecuFilePath = path; }
    std::string getECUVersionComments() override { return m_ecuVersionComments; }
    void setECUVersionComments(std::string const& comments) { m_ecuVersionComments = comments; }

    // Every declared channel, used or not, in the order of declaration.
    std::vector<std::string> getBinChannelList() const { return m_declaredChannels; }
    unsigned int getUsedChannelNumber() const { return static_cast<unsigned int>(m_usedChannels.size()); }
    // No range check.
    std::string const& getUsedChannelName(unsigned int index) const { return m_usedChannels[index]; }
    std::vector<std::string> const& getUsedChannels() const { return m_usedChannels; }

    cKynMultiPreprocessingMgr* getMultiPpMgr() const { return m_multiPreprocessingMgr; }
    // Borrowed from the host, never deleted here; given to each new crash file list.
    cCfgInputFile* getCrashMappingFile() const { return m_crashMappingFile; }
    void setCrashMappingFile(cCfgInputFile* file) { m_crashMappingFile = file; }
    // The file of "Drift Studies", or null when the key is absent.
    cCfgInputFile* getDriftStudiesConfigurationFile() const { return m_driftStudiesFile; }
    std::string getLoadingPath() const { return m_loadingPath; }
    // The first constructor argument as it was given.
    std::string getProjectFilePath() const { return m_projectFilePath; }

protected:
    void setConfiguration(std::string const& projectFilePath, std::string const& basePath) override;

private:
    // The value of a mandatory key of the project file's root group.
    std::string mandatoryKey(char const* key) const;
    void deleteServices();

    ObjectLogger m_logger{"Project"};
    std::string m_name;
    cKynMultiPreprocessingMgr* m_multiPreprocessingMgr = nullptr;
    cUnit* m_unit = nullptr;
    cPreprocessing* m_preprocessing = nullptr;
    cVehicle* m_vehicle = nullptr;
    cCalibration* m_calibration = nullptr;
    cAlgorithm* m_algorithm = nullptr;
    cSymbolManager* m_symbolManager = nullptr;
    cComputationManager* m_computationManager = nullptr;
    cCfgInputFile* m_crashMappingFile = nullptr;
    cCfgInputFile* m_driftStudiesFile = nullptr;
    std::vector<std::string> m_declaredChannels;
    std::vector<std::string> m_usedChannels;
    cConfigurationGroup* m_channelMappingVector = nullptr;
    std::string m_ecuVersionNumber;
    std::string m_ecuFilePath;
    std::string m_customer;
    std::string m_unitType;
    std::string m_ecuVersionComments;
    std::string m_loadingPath;
    std::string m_projectFilePath;
};

// The host's project; the host stores it here itself and deleteActiveProject clears it.
extern cProject* myActiveProject;

// ---- host facade: what a host reaches without holding the objects ---------------------------------

class HActiveCalibrationFile;

// A token for the active calibration: its operations are static and go to myActiveCalibration, which
// the host checks with getActiveCalibration() first.
class HActiveCalibration
{
public:
    static HActiveCalibration dummyCalibration;
    // The token of the calibration's value file (.cal or .aef), or null before one is loaded.
    static HActiveCalibrationFile* getCalibrationFile();
    // The .aef file the values came from, empty for values of a .cal.
    static std::string getIsAefFileLoad();
    static cDriftParameterMgr& getUserCalibrationMgr();
};

class HActiveCalibrationFile
{
public:
    static HActiveCalibrationFile dummyFile;
    // The name of the active calibration's value file.
    static std::string const& getFileName();
};

// The token of the active calibration, or null while there is none.
HActiveCalibration* getActiveCalibration();
IPreprocessing* getActivePreprocessing();
IProject* getActiveProject();
IKynFile* getActiveFile();
// Deletes the active project, if any, and nulls myActiveProject.
void deleteActiveProject();
// The active multi-preprocessing manager's selected index and item count; cNULLPointer without one.
unsigned int getActiveMppManagerSelectedItemIndex();
unsigned int getActiveMppManagerItemCount();
mpf_class getActiveFileBumperTemperature();
// A channel's parameter manager; null for a null channel.
cDriftParameterMgr* asDriftParamMgr(cChannel* channel);
// getParameter(name) of the active vehicle's and unit's parameters (its exception for an unknown name).
cDriftParameter* getActiveVehicleDriftParameter(std::string const& name);
cDriftParameter* getActiveUnitDriftParameter(std::string const& name);
// findItem on the root group of the active project's file (any group and key the host keeps there);
// 1 when found.
int findActiveProjectConfigFileItem(char const* group, char const* item, std::string& value, bool mandatory);
// Whether any expected time to fire of any crash file of any item is set (not "-1", no fire).
bool areAnyOptimalsSet();
// Sets every expected time to fire that is set back to no fire; true when one was.
bool resetAllOptimals();

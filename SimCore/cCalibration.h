// The calibration of the ECU algorithm: the parameters the algorithm is tuned with. A description
// file (read once, at construction) says which parameters exist, with their bounds, No Deployment
// values and EEPROM names; a value file (.cal, or an .aef EEPROM image) gives them values and can be
// replaced at any time under the lock rules, every decision of which is reported to the engineer.
// The class is abstract: the host derives its concrete calibration.
#pragma once

#include "BaseKit/cStorage.h"
#include "SimCore/cDriftParameter.h"
#include "SimCore/cFileConfigured.h"

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

class cBatchCalibrationConfig;
struct stParamCombinations;
class cCfgInputFile;
class cConfigurationGroup;
struct sMergedItem;

// One line of a host's information panel: a label and its value.
struct InformationItem
{
    std::string label;
    std::string value;
};

// Lists of information items keep the traditional spelling in their failure texts.
template <> struct cStorageTypeName<InformationItem>
{
    static std::string get() { return "struct InformationItem"; }
};

class cCalibration : public cDriftParameterMgr, public cFileConfigured
{
public:
    // Reads the description file (an empty path gives an empty calibration); afterwards every
    // lockable parameter is locked on its No Deployment value. A malformed description throws its
    // family exception with "\nFile: " and the path appended.
    explicit cCalibration(std::string const& descriptionPath);
    cCalibration(cCalibration const&) = delete;
    cCalibration& operator=(cCalibration const&) = delete;
    ~cCalibration() override;

    using cDriftParameterMgr::buildFile;

    // Virtual operations added to those of cDriftParameterMgr, in the order of their slots.
    // Writes the values to path (a new .cal), or, with path empty, to the file in use: over it when it
    // is a .cal, to its sibling .cal when the values came from an .aef. A locked file is refused with
    // a warning and cFileNotWritableException, nothing written. Unless a keep flag is set, a newly
    // written file becomes the file in use and is loaded back.
    virtual void saveSettings(std::string comment, std::string const& path, bool saveOption,
                              bool keepCurrentFile, bool keepCurrentFile2);
    // saveSettings without a backup of the file overwritten.
    virtual void save(std::string comment, std::string const& path, bool keepCurrentFile,
                      bool keepCurrentFile2);
    // Loads a .cal file under the lock rules; a file that cannot be opened throws cGenericException
    // "Failed to open calibration file: <path>", and a failed load keeps the file in use.
    virtual void open(std::string const& path, bool showWarnings);
    // Writes the EEPROM parameters as an .aef (path empty: the file in use with extension ".aef");
    // the written file becomes the file in use. True when the file was written.
    virtual bool saveAefFile(std::string comment, std::string const& path);
    // Loads an .aef file: every parameter with an EEPROM name reads its cell; a cell that cannot be
    // read is reported and leaves its parameter unlocked with its old value.
    virtual void openAefFile(std::string const& path);
    // Run after each edit: writes the working copy of the values into directory (which ends in '/'),
    // "DefaultCalTmpFile.caltemp" or, with a value file in use, its base name + ".caltemp", with
    // algoTab and item ("Default" when empty) as its root keys; then keeps the numbered history
    // "CalibrationTemporaryUndoRedoFile<N>.cal" from which the host undoes and redoes. currentStep
    // (the number the next history step takes) and redoCount (the steps ahead of it still on disk)
    // belong to the host and start at 0; they count in a byte, so 255 is followed by 0. The gesture
    // flag (BaseKit/GestureFlag.h) says whether the edit ends a gesture; it is cleared once a step is
    // written. A file that cannot be written is reported through doErrorMessage and ends the
    // operation without an exception; the calibration and its value file are not touched. The first
    // argument is not used.
    virtual void saveTmpFile(std::string comment, std::string const& directory, std::string fileComment,
                             unsigned char& currentStep, unsigned char& redoCount, std::string algoTab,
                             std::string item);
    // Loads a working copy or history step: its root keys go to algoTab and item (left as they are
    // when absent), its "Parameters List" (mandatory) is applied under the load rules, with the
    // reports only when undoStep and redoStep are both 0, and its "User Parameters List" updates the
    // user parameters. The file does not become the value file in use. A file that cannot be read,
    // parsed or applied throws, with every parameter as it was before.
    virtual void openTmpFile(std::string const& path, std::string& algoTab, std::string& item,
                             unsigned char undoStep, unsigned char redoStep);
    // The host's information panels; nothing here.
    virtual void generateInformation(std::vector<std::string>& lines);
    virtual void generateConfigurationInformation(cStorage<InformationItem*>& items);
    virtual void generateDisplayInformation(cStorage<InformationItem*>& items);
    // The algorithm generation the description belongs to, which the host answers with; the library
    // never calls it.
    virtual std::string getAlgorithmGeneration() const = 0;
    // Loads the values of an open .cal file ("Parameters List" is mandatory) and adopts the file; a
    // failure before the swap leaves the file in use in place (the caller still owns file then).
    virtual void setFile(cCfgInputFile* const file, bool showWarnings);
    // Applies the parameter groups of a value file under the lock rules and reports. partial: only
    // the parameters present in group are touched, and nothing is reported missing.
    virtual void loadCalibrationValues(cConfigurationGroup* group, bool showWarnings, bool partial);
    // Creates the parameters of a "Parameters List" (folders read recursively); null reads nothing.
    virtual void loadCalibrationDescription(cConfigurationGroup* group);
    // Creates the user parameters of a "User Parameters List"; null reads nothing.
    virtual void loadUserCalibrationDescription(cConfigurationGroup* group);

    // The merging tool. openFileForMerge makes one record per calibration parameter (getMergedItem),
    // with the project's values as text, then reads the .cal or .aef at path (extension in any case)
    // into the records' file side; the calibration itself is not touched. Another extension is
    // refused with "Wrong extension, file not loaded." and false, the old records kept; a file that
    // cannot be read throws, with the new records holding no file data.
    bool openFileForMerge(std::string path) override;
    // Applies each record's result (raw value, lock) to its parameter, then runs the dependencies
    // once all hold their final values, and warns when these changed a result. With askConfirmation,
    // anything but a yes to the question leaves everything as it was (false). Tells the host (2190,
    // then 2532).
    bool injectMergeResultInCurrentProject(bool askConfirmation) override;
    // A typed raw value made legal for the record's parameter, as text; "" without a parameter.
    std::string checkFormat(std::string value, sMergedItem* item) override;
    // Appends a new item (label, value) to items, which then owns it.
    static void addInformationItem(cStorage<InformationItem*>& items, std::string label, std::string value);

    // Clears the file's tree and writes "Name" (name), "Algo Tab Selected" (tab), "Item Selected"
    // (item), then the parameters and the user parameters with name, values and lock state.
    void buildFile(cCfgInputFile* file, std::string const& name, std::string const& tab,
                   std::string const& item);
    // Replaces the file in use (the old one is deleted) and tells the host (2194).
    void setCalibrationFile(cCfgInputFile* file);
    // Every parameter lets go of its No Deployment value.
    void unlockNoDeployment();
    // The algorithms whose parameters saveAefFile writes (by the part of their path before "/"),
    // for every calibration of the process; an empty set writes all.
    static void setAlgosToSave(std::unordered_set<std::string> algorithms);

    std::string const& getIsAefFileLoad() const { return m_aefFileLoad; }
    void setIsAefFileLoad(std::string const& path) { m_aefFileLoad = path; }
    cCfgInputFile* getCalibrationFile() const { return m_calibrationFile; }
    std::string const& getName() const { return m_name; }
    int32_t getCalibrationMinimumUserRights() const { return m_calibrationMinimumUserRights; }
    cDriftParameterMgr& getUserCalibrationMgr() { return m_userCalibrationMgr; }
    int32_t getUserCalibrationMinimumUserRights() const { return m_userCalibrationMinimumUserRights; }
    bool getExistBatchConfigParams() const { return m_existBatchConfigParams; }

    // ---- Batch mode: a study run once per combination of chosen calibration values ----
    // The parameters that may vary in a batch, as a new group "Parameters List" that the caller owns:
    // one "Parameter" (name, unit, bounds, raw value, lock) per parameter without an EEPROM name
    // that has both "Batch Configuration" and "Batch Combine". Starts a new batch configuration.
    cConfigurationGroup* fillListOfBatchConfigParams();
    // Hands each group with its record (combinations[i] for groups[i]) to the batch configuration
    // and numbers the runs; returns their number, 1 with no group. The caller keeps its groups. A
    // group refused by the configuration (see cBatchCalibrationConfig) clears the combination
    // information and its failure goes on.
    unsigned int buildCombinationsForBatchMode(cStorage<cConfigurationGroup*> groups,
                                               stParamCombinations* const combinations);
    void clearCombinationInformation();
    // For each batch parameter in order: its initials, its value in that run, "_". "" with none.
    std::string getBatchParamsCombinationName(unsigned int combination);
    // Clears group and writes the values of that run into a subgroup "Parameters List": every
    // parameter without an EEPROM name that has "Batch Configuration", with its batch value when it
    // varies, else with its present raw value and lock.
    void buildFileForBatchMode(cConfigurationGroup* group, unsigned int combination);
    // Loads the "Parameters List" of a run over the present calibration, under the lock rules with
    // their warnings; the parameters it does not name keep value and lock. A null group throws
    // cBatchModeLoadingFailedException.
    void loadFileForBatchMode(cConfigurationGroup* group);
    cBatchCalibrationConfig* getBatchConfiguration() const { return m_batchConfiguration; }

    // The file dialogs: 1 .cal, 2 .aef, 3 .caltemp, anything else .cal and .aef together.
    static std::string getFileFilter(unsigned char kind);
    static std::string getDefaultExtension(unsigned char kind);

protected:
    // Reads the description: "Name", "Parameters List" (mandatory), "User Parameters List".
    void setConfiguration(std::string const& path) override;

private:
    // The two file sides of openFileForMerge; the records exist already.
    bool openCalFileForMerge(std::string const& path);
    bool openAefFileForMerge(std::string const& path);

    // The rule of brothers: for each key (a path, or an EEPROM name; keyOf gives a parameter's),
    // locks the parameters of that key unless one of its lockable members vetoes it. Returns the
    // lines of the parameters locked, and adds their number to count.
    std::string lockBrothers(std::vector<std::string> const& paths, std::string (*key)(cDriftParameter*),
                             unsigned int& count);

    std::string m_aefFileLoad;
    cCfgInputFile* m_calibrationFile = nullptr;
    std::string m_name;
    int32_t m_calibrationMinimumUserRights = 6;
    cDriftParameterMgr m_userCalibrationMgr;
    int32_t m_userCalibrationMinimumUserRights = 6;
    cBatchCalibrationConfig* m_batchConfiguration = nullptr;
    bool m_existBatchConfigParams = false;
    // User parameters read after a duplicate name: never added to the list, held here so that they
    // are released with the calibration.
    std::vector<cDriftParameter*> m_unlistedUserParameters;
};

// The calibration of the project, or null; the project sets it.
extern cCalibration* myActiveCalibration;

// cKynMultiPreprocessingItem: one hardware set-up of a project: a named bundle of a crash file list, the
// vehicle, preprocessing and unit files and the drifts. Only the selected item is loaded in the live
// modules; the others lie parked in their configuration trees (see cKynMultiPreprocessingMgr).
#pragma once
#include <cstdint>
#include <string>

class cCfgInputFile;
class cConfigurationGroup;
class cKynFile;
class cKynFileList;

class cKynMultiPreprocessingItem
{
public:
    explicit cKynMultiPreprocessingItem(std::string name);
    // Member by member, pointers included: the copy shares the files.
    cKynMultiPreprocessingItem(cKynMultiPreprocessingItem const&) = default;
    cKynMultiPreprocessingItem& operator=(cKynMultiPreprocessingItem const&) = default;
    // Leaves the maintain-data set of every test of the active computation manager, then deletes the
    // file list and the drifts group (not the three files: clearData does).
    virtual ~cKynMultiPreprocessingItem();

    long getColor() const { return m_color; }
    void setColor(long color) { m_color = color; }
    std::string getName() const { return m_name; }
    void setName(std::string const& name) { m_name = name; }
    cKynFileList* getFileList() const { return m_fileList; }
    void setFileList(cKynFileList* fileList) { m_fileList = fileList; }
    cCfgInputFile* getPreprocessingData() const { return m_preprocessingData; }
    void setPreprocessingData(cCfgInputFile* file) { m_preprocessingData = file; }
    cCfgInputFile* getVehicleData() const { return m_vehicleData; }
    void setVehicleData(cCfgInputFile* file) { m_vehicleData = file; }
    cCfgInputFile* getUnitData() const { return m_unitData; }
    void setUnitData(cCfgInputFile* file) { m_unitData = file; }
    bool getMechanicalDefaultConfiguration() const { return m_mechanicalDefault; }
    void setMechanicalDefaultConfiguration(bool const& value) { m_mechanicalDefault = value; }
    bool getPreprocessingDefaultConfiguration() const { return m_preprocessingDefault; }
    void setPreprocessingDefaultConfiguration(bool const& value) { m_preprocessingDefault = value; }
    bool getAcquisitionDefaultConfiguration() const { return m_acquisitionDefault; }
    void setAcquisitionDefaultConfiguration(bool const& value) { m_acquisitionDefault = value; }
    cConfigurationGroup* getDriftsData() const { return m_driftsData; }
    void setDriftsData(cConfigurationGroup* group) { m_driftsData = group; }
    bool getFileListModifiedFlag() const { return m_fileListModified; }
    void setFileListModifiedFlag(bool value) { m_fileListModified = value; }
    bool getFileListMajorModifiedFlag() const { return m_fileListMajorModified; }
    void setFileListMajorModifiedFlag(bool value) { m_fileListMajorModified = value; }
    bool getPreprocessingModifiedFlag() const { return m_preprocessingModified; }
    void setPreprocessingModifiedFlag(bool value) { m_preprocessingModified = value; }
    bool getPreprocessingMajorModifiedFlag() const { return m_preprocessingMajorModified; }
    void setPreprocessingMajorModifiedFlag(bool value) { m_preprocessingMajorModified = value; }
    bool getMechanicalModifiedFlag() const { return m_mechanicalModified; }
    void setMechanicalModifiedFlag(bool value) { m_mechanicalModified = value; }
    bool getMechanicalMajorModifiedFlag() const { return m_mechanicalMajorModified; }
    void setMechanicalMajorModifiedFlag(bool value) { m_mechanicalMajorModified = value; }
    bool getAcquisitionModifiedFlag() const { return m_acquisitionModified; }
    void setAcquisitionModifiedFlag(bool value) { m_acquisitionModified = value; }
    bool getAcquisitionMajorModifiedFlag() const { return m_acquisitionMajorModified; }
    void setAcquisitionMajorModifiedFlag(bool value) { m_acquisitionMajorModified = value; }
    uint32_t getFileIterations() const { return m_fileIterations; }
    uint32_t getMechanicalIterations() const { return m_mechanicalIterations; }
    uint32_t getPreprocessingIterations() const { return m_preprocessingIterations; }
    uint32_t getAcquisitionIterations() const { return m_acquisitionIterations; }
    uint32_t getAlgorithmIterations() const { return m_algorithmIterations; }

    // Deletes vehicle, preprocessing and unit data, in this order; the pointers stay as they are,
    // since the item is deleted right after.
    void clearData();
    // Stores the five step counts, each cut to its low 32 bits.
    void setStepsPointNumber(unsigned long long& files, unsigned long long& mechanical,
                             unsigned long long& electronic, unsigned long long& acquisition,
                             unsigned long long& algorithm);
    // A new crash file of this item's list for the recording of source (opened again from its path),
    // with the given colour, use and selection, and the expected times to fire of source. The file
    // list must exist. Gives the new file.
    cKynFile* addFile(cKynFile* source, cCfgInputFile* crashMappingFile, long colour, bool used,
                      bool selected);

private:
    long m_color = 0;
    std::string m_name;
    cKynFileList* m_fileList = nullptr;
    cCfgInputFile* m_preprocessingData = nullptr;
    cCfgInputFile* m_vehicleData = nullptr;
    cCfgInputFile* m_unitData = nullptr;
    bool m_mechanicalDefault = true;
    bool m_preprocessingDefault = true;
    bool m_acquisitionDefault = true;
    cConfigurationGroup* m_driftsData;
    bool m_fileListModified = false;
    bool m_fileListMajorModified = false;
    bool m_preprocessingModified = false;
    bool m_preprocessingMajorModified = false;
    bool m_mechanicalModified = false;
    bool m_mechanicalMajorModified = false;
    bool m_acquisitionModified = false;
    bool m_acquisitionMajorModified = false;
    uint32_t m_fileIterations = 0;
    uint32_t m_mechanicalIterations = 0;
    uint32_t m_preprocessingIterations = 0;
    uint32_t m_acquisitionIterations = 0;
    uint32_t m_algorithmIterations = 0;
    std::string m_spare;
};

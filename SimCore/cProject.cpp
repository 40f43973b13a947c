#include "SimCore/cProject.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"
#include "SimCore/cAlgorithm.h"
#include "SimCore/cCalibration.h"
#include "SimCore/cChannel.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cConfigurationParameter.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cKynFileList.h"
#include "SimCore/cKynMultiPreprocessingItem.h"
#include "SimCore/cKynMultiPreprocessingMgr.h"
#include "SimCore/cSymbolManager.h"
#include "SimCore/cTestMgr.h"
#include "SimCore/cUnit.h"
#include "SimCore/cVehicle.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cConfigurationGroup.h"

#include <memory>

cProject* myActiveProject = nullptr;

namespace
{
char const* const kSource = "SimCore/cProject";

// A configuration file opened for reading; owned by the caller.
std::unique_ptr<cCfgInputFile> openForReading(std::string const& path)
{
    std::unique_ptr<cCfgInputFile> file(cCfgInputFile::createFile(path.c_str(), 1, nullptr, false));
    file->open();
    return file;
}
} // namespace

cProject::cProject(std::string const& projectFilePath, std::string const& basePath)
{
    setConfiguration(projectFilePath, basePath);
    m_projectFilePath = projectFilePath;
    try
    {
        m_computationManager = new cComputationManager;
        myActiveComputationManager = m_computationManager;
        m_symbolManager = new cSymbolManager;
        myActiveSymbolManager = m_symbolManager;
        std::string value;
        cCfgInputFile* const file = getConfigurationFile();
        if (file != nullptr && file->getTopGroup()->findItem("", "Symbols", value, false))
            m_symbolManager->setConfiguration(basePath + value);
        else
            m_symbolManager->setConfiguration(std::string());
        if (file != nullptr && file->getTopGroup()->findItem("", "Drift Studies", value, false))
            m_driftStudiesFile = openForReading(basePath + value).release();
    }
    catch (...)
    {
        deleteServices();
        throw;
    }
}

cProject::~cProject()
{
    // The tests' views point to the stages and hold links on their results: they go before them.
    if (m_computationManager != nullptr)
        m_computationManager->removeAllTests();
    // The algorithm's thread runs the host's subclass: it ends before that part of the object goes.
    if (m_algorithm != nullptr)
        m_algorithm->stop(false);
    delete m_algorithm;
    m_algorithm = nullptr;
    myActiveAlgorithm = nullptr;
    delete m_calibration;
    m_calibration = nullptr;
    myActiveCalibration = nullptr;
    clearDataProcessingModules();
    deleteServices();
    delete m_channelMappingVector;
    m_channelMappingVector = nullptr;
}

void cProject::setCalibration(cCalibration const* const calibration)
{
    // The host hands over an object it made for us: the project owns it from here on.
    cCalibration* const owned = const_cast<cCalibration*>(calibration);
    if (owned != m_calibration)
        delete m_calibration;
    myActiveCalibration = m_calibration = owned;
}

void cProject::setAlgorithm(cAlgorithm const* const algorithm)
{
    cAlgorithm* const owned = const_cast<cAlgorithm*>(algorithm);
    if (owned != m_algorithm && m_algorithm != nullptr)
    {
        m_algorithm->stop(false);
        delete m_algorithm;
    }
    myActiveAlgorithm = m_algorithm = owned;
}

void cProject::deleteServices()
{
    delete m_symbolManager;
    m_symbolManager = nullptr;
    myActiveSymbolManager = nullptr;
    delete m_computationManager;
    m_computationManager = nullptr;
    myActiveComputationManager = nullptr;
    delete m_driftStudiesFile;
    m_driftStudiesFile = nullptr;
}

std::string cProject::getFileFilter(unsigned char)
{
    return "Project Files (*.prt)|*.prt|All Files (*.*)|*.*||";
}

std::string cProject::getDefaultExtension(unsigned char)
{
    return "prt";
}

void cProject::setConfiguration(std::string const& projectFilePath, std::string const& basePath)
{
    std::string const fullPath =
        PathIsRelativeA(projectFilePath.c_str()) ? basePath + projectFilePath : projectFilePath;
    try
    {
        cFileConfigured::setConfiguration(fullPath);
    }
    catch (cFstreamOpenException const&)
    {
        throw cGenericException(kSource, "cProject::setConfiguration", 169,
                                "Failed to open project file: " + fullPath);
    }
    cCfgInputFile* const file = getConfigurationFile();
    if (file == nullptr)
        return;
    cConfigurationGroup* const top = file->getTopGroup();
    top->findItem("", "Name", m_name, true);
    top->findItem("", "Customer", m_customer, false);
    top->findItem("", "Unit Type", m_unitType, false);
}

std::string cProject::mandatoryKey(char const* key) const
{
    std::string value;
    cCfgInputFile* const file = getConfigurationFile();
    if (file == nullptr)
        throw cNULLPointer(kSource, "cProject::mandatoryKey", __LINE__,
                           std::string("The project has no file to read \"") + key + "\" from.");
    file->getTopGroup()->findItem("", key, value, true);
    return value;
}

void cProject::declareChannelName(std::string const& name, bool used)
{
    m_declaredChannels.push_back(name);
    if (used)
        m_usedChannels.push_back(name);
}

void cProject::loadDataProcessingModules(std::string const& workingDirectory)
{
    m_loadingPath = workingDirectory;
    try
    {
        myActiveMultiPreprocessingMgr = m_multiPreprocessingMgr = new cKynMultiPreprocessingMgr;
        myActiveVehicle = m_vehicle =
            new cVehicle(m_name + " Vehicle", mandatoryKey("Vehicle"), workingDirectory);
        myActivePreprocessing = m_preprocessing =
            new cPreprocessing(m_name + " Preprocessing", mandatoryKey("Preprocessing"), workingDirectory);
        m_unit = new cUnit(m_name + " Acquisition", mandatoryKey("Unit"), workingDirectory);
        m_vehicle->start(0, nullptr, 0, false);
        // The channels started their threads as they were made.
        m_unit->start(0, nullptr, 0);
        myActiveUnit = m_unit;
        addNewMultiPreprocessingItem("Default");
        if (m_multiPreprocessingMgr->getItemCount() != 0)
            m_multiPreprocessingMgr->selectItemFromIndex(0);
        myActiveFileList =
            m_multiPreprocessingMgr->getItemFromIndex(m_multiPreprocessingMgr->getSelectedItemIndex())
                ->getFileList();
    }
    catch (...)
    {
        clearDataProcessingModules();
        throw;
    }
}

void cProject::clearDataProcessingModules()
{
    myActiveVehicle = nullptr;
    myActivePreprocessing = nullptr;
    myActiveUnit = nullptr;
    myActiveMultiPreprocessingMgr = nullptr;
    if (m_computationManager != nullptr)
        for (cTestMgr* test : m_computationManager->getTests())
            test->clearMaintainData();
    if (m_vehicle != nullptr)
    {
        m_vehicle->stop(false);
        delete m_vehicle;
        m_vehicle = nullptr;
    }
    if (m_preprocessing != nullptr)
    {
        unsigned int cursor = 0;
        for (cChannel* channel = m_preprocessing->firstChannel(cursor); channel != nullptr;
             channel = m_preprocessing->nextChannel(cursor))
            channel->stop(false);
        delete m_preprocessing;
        m_preprocessing = nullptr;
    }
    if (m_unit != nullptr)
    {
        m_unit->stop(false);
        delete m_unit;
        m_unit = nullptr;
    }
    delete m_multiPreprocessingMgr;
    m_multiPreprocessingMgr = nullptr;
}

void cProject::addNewMultiPreprocessingItem(std::string name)
{
    auto fileList = std::make_unique<cKynFileList>(m_crashMappingFile, std::string());
    cKynMultiPreprocessingItem* const item = m_multiPreprocessingMgr->addItem(name);
    item->setFileList(fileList.release());
    if (m_multiPreprocessingMgr->getItemCount() <= 1)
        return;
    std::unique_ptr<cCfgInputFile> vehicle;
    std::unique_ptr<cCfgInputFile> preprocessing;
    std::unique_ptr<cCfgInputFile> unit;
    try
    {
        vehicle = openForReading(m_loadingPath + mandatoryKey("Vehicle"));
        preprocessing = openForReading(m_loadingPath + mandatoryKey("Preprocessing"));
        unit = openForReading(m_loadingPath + mandatoryKey("Unit"));
    }
    catch (...)
    {
        m_multiPreprocessingMgr->removeItem(item);
        throw;
    }
    // The item owns its three files from here on.
    item->setVehicleData(vehicle.release());
    item->setPreprocessingData(preprocessing.release());
    item->setUnitData(unit.release());
}

void cProject::buildChannelNameMappingVector(std::string const& directory)
{
    std::string value;
    cCfgInputFile* const projectFile = getConfigurationFile();
    if (projectFile == nullptr || !projectFile->getTopGroup()->findItem("", "Channel Mapping", value, false))
        return;
    std::string const path = directory + value;
    KYN_TRACE(m_logger, 3, "Ready to open channel mapping file: " + path);
    try
    {
        std::unique_ptr<cCfgInputFile> const file = openForReading(path);
        // Found first, so that a file without the group leaves the project as it was.
        cConfigurationGroup const* const mapping =
            file->getTopGroup()->findConfigurationGroup("Channel Name Mapping", true);
        if (m_channelMappingVector == nullptr)
            m_channelMappingVector = new cConfigurationGroup;
        *m_channelMappingVector = *mapping;
    }
    catch (cKynException& failure)
    {
        failure.addFileName(path);
        throw;
    }
}

void cProject::applyCalibrationDelta(cDriftParameterMgr* manager)
{
    cCfgInputFile* const file = getConfigurationFile();
    if (file == nullptr || manager == nullptr)
        return;
    cConfigurationGroup* const delta = file->getTopGroup()->findConfigurationGroup("Calibration", false);
    if (delta == nullptr)
        return;
    for (cConfigurationGroup* entry : delta->GetConfigurationGroups())
    {
        std::string name;
        if (entry->getName() != "Parameter" || !entry->findItem("", "Name", name, false))
            continue;
        cDriftParameter* const parameter = manager->getParameter(name);
        mpf_class number;
        std::string text;
        bool const noDeployment = entry->findItem("", "No Deployment Value", number, false) != 0;
        mpf_class const noDeploymentValue = number;
        bool const neutral = entry->findItem("", "Neutral Value", number, false) != 0;
        auto* const lockable = dynamic_cast<cLockableParameter*>(parameter);
        if ((noDeployment || neutral) && lockable == nullptr)
            throw cBadReference(kSource, "cProject::applyCalibrationDelta", __LINE__,
                                "The calibration delta gives a No Deployment or a Neutral value to \"" +
                                    name + "\", which is not a lockable parameter.");
        if (noDeployment)
        {
            lockable->setNoDeploymentValue(noDeploymentValue);
            lockable->setRawValue(noDeploymentValue, /*update=*/true, /*applyLimits=*/false);
        }
        // The delta overwrites these as they stand: the neutral value is not marked defined, and the
        // limits are not checked against the value.
        if (neutral)
            lockable->setNeutralValue(number);
        if (entry->findItem("", "Minimum Value", number, false))
            parameter->setMinimumValue(number);
        if (entry->findItem("", "Maximum Value", number, false))
            parameter->setMaximumValue(number);
        if (entry->findItem("", "Unit", text, false))
            parameter->setUnit(text);
        if (entry->findItem("", "Conversion Factor", text, false))
            parameter->setConversionFactor(text);
        if (entry->findItem("", "Description", text, false))
            parameter->setDescription(text);
    }
}

unsigned int cProject::getMultiPreprocessingItemCount() const
{
    return m_multiPreprocessingMgr->getItemCount();
}

std::string cProject::getMultiPreprocessingItemName(unsigned int index) const
{
    return m_multiPreprocessingMgr->getItemNameByIndex(index);
}

unsigned int cProject::getMultiPreprocessingItemIndexFromName(std::string name) const
{
    return m_multiPreprocessingMgr->getItemIndexFromName(name);
}

cKynMultiPreprocessingItem* cProject::getMultiPreprocessingItemFromName(std::string name) const
{
    return m_multiPreprocessingMgr->getItemFromName(name);
}

void cProject::copySourceMultipreprocessingIntoDestinationMultipreprocessing(std::string first,
                                                                             std::string second,
                                                                             cCfgInputFile* crashMappingFile)
{
    m_multiPreprocessingMgr->copySourceMultipreprocessingIntoDestinationMultipreprocessing(first, second,
                                                                                           crashMappingFile);
}

// ---- host facade ------------------------------------------------------------------------------------

HActiveCalibration HActiveCalibration::dummyCalibration;
HActiveCalibrationFile HActiveCalibrationFile::dummyFile;

HActiveCalibrationFile* HActiveCalibration::getCalibrationFile()
{
    return myActiveCalibration->getCalibrationFile() != nullptr ? &HActiveCalibrationFile::dummyFile
                                                                : nullptr;
}

std::string HActiveCalibration::getIsAefFileLoad()
{
    return myActiveCalibration->getIsAefFileLoad();
}

cDriftParameterMgr& HActiveCalibration::getUserCalibrationMgr()
{
    return myActiveCalibration->getUserCalibrationMgr();
}

std::string const& HActiveCalibrationFile::getFileName()
{
    return myActiveCalibration->getCalibrationFile()->getFileName();
}

HActiveCalibration* getActiveCalibration()
{
    return myActiveCalibration != nullptr ? &HActiveCalibration::dummyCalibration : nullptr;
}

IPreprocessing* getActivePreprocessing()
{
    return myActivePreprocessing;
}

IProject* getActiveProject()
{
    return myActiveProject;
}

IKynFile* getActiveFile()
{
    return myActiveFile;
}

void deleteActiveProject()
{
    delete myActiveProject;
    myActiveProject = nullptr;
}

namespace
{
cKynMultiPreprocessingMgr& activeMppManager(char const* function)
{
    if (myActiveMultiPreprocessingMgr == nullptr)
        throw cNULLPointer(kSource, function, __LINE__,
                           "No project has loaded its modules: there is no multi-preprocessing manager.");
    return *myActiveMultiPreprocessingMgr;
}

// Calls visit on every stored expected time to fire, item by item, file by file, event by event, kind by
// kind, until visit returns false.
template <typename F> void forEachOptimal(F visit)
{
    if (myActiveMultiPreprocessingMgr == nullptr)
        return;
    for (cKynMultiPreprocessingItem* item : myActiveMultiPreprocessingMgr->getMultiPpItems())
    {
        cKynFileList const* const list = item->getFileList();
        if (list == nullptr)
            continue;
        unsigned int cursor = 0;
        for (cKynFile* file = list->firstFile(cursor); file != nullptr; file = list->nextFile(cursor))
            for (auto const& [event, ttf] : file->getTtfSettings())
                for (ETtfKind kind : {eTtfMinimum, eTtfOptimum, eTtfMaximum})
                    if (!visit(*ttf, kind))
                        return;
    }
}
} // namespace

unsigned int getActiveMppManagerSelectedItemIndex()
{
    return activeMppManager("getActiveMppManagerSelectedItemIndex").getSelectedItemIndex();
}

unsigned int getActiveMppManagerItemCount()
{
    return activeMppManager("getActiveMppManagerItemCount").getItemCount();
}

mpf_class getActiveFileBumperTemperature()
{
    if (myActiveFile == nullptr)
        throw cNULLPointer(kSource, "getActiveFileBumperTemperature", __LINE__,
                           "There is no active crash file.");
    return myActiveFile->getBumperTemperature();
}

cDriftParameterMgr* asDriftParamMgr(cChannel* channel)
{
    return channel;
}

cDriftParameter* getActiveVehicleDriftParameter(std::string const& name)
{
    return myActiveVehicle->cDriftParameterMgr::getParameter(name);
}

cDriftParameter* getActiveUnitDriftParameter(std::string const& name)
{
    return myActiveUnit->cDriftParameterMgr::getParameter(name);
}

int findActiveProjectConfigFileItem(char const* group, char const* item, std::string& value, bool mandatory)
{
    cCfgInputFile* const file =
        myActiveProject != nullptr ? myActiveProject->getConfigurationFile() : nullptr;
    if (file == nullptr)
    {
        if (mandatory)
            throw cNULLPointer(kSource, "findActiveProjectConfigFileItem", __LINE__,
                               "There is no active project file to read from.");
        return 0;
    }
    return file->getTopGroup()->findItem(group != nullptr ? group : "", item, value, mandatory) != 0 ? 1 : 0;
}

bool areAnyOptimalsSet()
{
    bool set = false;
    forEachOptimal(
        [&](structTTF const& ttf, ETtfKind kind)
        {
            set = !ttf.isNoFire(kind);
            return !set;
        });
    return set;
}

bool resetAllOptimals()
{
    bool replaced = false;
    forEachOptimal(
        [&](structTTF& ttf, ETtfKind kind)
        {
            if (!ttf.isNoFire(kind))
            {
                ttf.setTtfValue(kind, "NF");
                replaced = true;
            }
            return true;
        });
    return replaced;
}

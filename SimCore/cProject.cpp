#include "SimCore/cProject.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"
#include "SimCore/cChannel.h"
#include "SimCore/cComputationManager.h"
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
    clearDataProcessingModules();
    deleteServices();
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

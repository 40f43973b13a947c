#include "SimCore/cKynMultiPreprocessingItem.h"

#include "SimCore/cComputationManager.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cKynFileList.h"
#include "SimCore/cTestMgr.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cConfigurationGroup.h"

cKynMultiPreprocessingItem::cKynMultiPreprocessingItem(std::string name)
    : m_name(std::move(name)), m_driftsData(new cConfigurationGroup(""))
{
}

cKynMultiPreprocessingItem::~cKynMultiPreprocessingItem()
{
    // The tests keep this item's results only as long as the item exists.
    if (myActiveComputationManager != nullptr)
        for (cTestMgr* test : myActiveComputationManager->getTests())
            test->removeMaintainData(this);
    delete m_fileList;
    delete m_driftsData;
}

void cKynMultiPreprocessingItem::clearData()
{
    delete m_vehicleData;
    delete m_preprocessingData;
    delete m_unitData;
}

void cKynMultiPreprocessingItem::setStepsPointNumber(unsigned long long& files,
                                                     unsigned long long& mechanical,
                                                     unsigned long long& electronic,
                                                     unsigned long long& acquisition,
                                                     unsigned long long& algorithm)
{
    m_fileIterations = static_cast<uint32_t>(files);
    m_mechanicalIterations = static_cast<uint32_t>(mechanical);
    m_preprocessingIterations = static_cast<uint32_t>(electronic);
    m_acquisitionIterations = static_cast<uint32_t>(acquisition);
    m_algorithmIterations = static_cast<uint32_t>(algorithm);
}

cKynFile* cKynMultiPreprocessingItem::addFile(cKynFile* source, cCfgInputFile* crashMappingFile, long colour,
                                              bool used, bool selected)
{
    cKynFile* const file = m_fileList->addFile(source->getFileName().c_str(), crashMappingFile);
    file->setColor(colour);
    file->useFile(used, nullptr);
    file->setSelectedStatus(selected);
    file->copyTTFSettings(source);
    return file;
}

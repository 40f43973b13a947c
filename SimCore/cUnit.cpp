#include "SimCore/cUnit.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/IHostWindow.h"
#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "SimCore/SignalCopy.h"
#include "SimCore/cAlgorithm.h"
#include "SimCore/cChannel.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cProject.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cConfigurationGroup.h"

#include <vector>

cUnit* myActiveUnit = nullptr;

namespace
{
char const* const kSource = "SimCore/cUnit";
int const kParameterMask = 0x7F5827F;
int const kCriterionMask = 0x2000B;

std::vector<std::string> usedChannels()
{
    return myActiveProject != nullptr ? myActiveProject->getUsedChannels() : std::vector<std::string>();
}

unsigned int channelNumber()
{
    return myActivePreprocessing != nullptr ? myActivePreprocessing->getChannelNbr() : 0;
}
} // namespace

cUnit::cUnit(std::string const& name, std::string const& fileName, std::string const& path)
    : cDriftManager(name, "Unit", QUIT_MSG, RUN_TEST_MSG)
{
    try
    {
        setConfiguration(fileName, path);
    }
    catch (cKynException&)
    {
        destroyAllUnitContent();
        throw;
    }
}

cUnit::~cUnit()
{
    // The unit's thread runs this object's ProcessMessage: it ends while the object is whole.
    stop(true);
    destroyAllUnitContent();
}

void cUnit::destroyAllUnitContent()
{
    clearAllDataStorage();
    m_testGroup.reset();
}

void cUnit::clearAllDataStorage()
{
    for (unsigned int i = 0; i < m_outputs.size(); ++i)
        delete m_outputs[i];
    m_outputs.clear();
}

std::string cUnit::getFileFilter(unsigned char)
{
    return "Config Files (*.cfg)|*.cfg|All Files (*.*)|*.*||";
}

std::string cUnit::getDefaultExtension(unsigned char)
{
    return "cfg";
}

uint32_t cUnit::start(int priority, void* parameter, unsigned long stackSize)
{
    return cKynThread::start(priority, parameter, stackSize, true);
}

void cUnit::open(std::string const& fileName, std::string const& path)
{
    KYN_TRACE(m_logger, 4, "Ready to open the acquisition configuration file: " + fileName);
    setConfiguration(fileName, path);
}

void cUnit::setConfiguration(std::string const& fileName, std::string const& path)
{
    if (fileName.empty())
        return;
    std::string const fullName = PathIsRelativeA(fileName.c_str()) ? path + fileName : fileName;
    cCfgInputFile* file = nullptr;
    try
    {
        file = cCfgInputFile::createFile(fullName.c_str(), 1, nullptr, false);
        file->open();
        loadFromConfiguration(file, path, true);
    }
    catch (cKynException& failure)
    {
        if (file != getConfigurationFile())
            delete file;
        cCfgInputFile const* const earlier = getConfigurationFile();
        // A held file of the same name that fails in its turn is not read again.
        if (earlier == nullptr || earlier == file || earlier->getFileName() == fullName)
            throw;
        std::string const earlierName = earlier->getFileName();
        doException(failure);
        doInformationMessage("Old acquisition set will be reloaded");
        unsigned char const defaultConfiguration = m_defaultConfiguration;
        setConfiguration(earlierName, path);
        m_defaultConfiguration = defaultConfiguration;
    }
}

void cUnit::loadFromConfiguration(cCfgInputFile* file, std::string const& path, bool keepFile)
{
    cScopeTrace const scope(m_logger, "cUnit::loadFromConfiguration L245");
    cConfigurationGroup* const top = file->getTopGroup();
    cConfigurationGroup* const parameters = top->findConfigurationGroup("Parameters List", true);
    cConfigurationGroup* const criteria = top->findConfigurationGroup("Criteria List", true);
    cConfigurationGroup* const preprocessors = top->findConfigurationGroup("Preprocessors List", true);
    cConfigurationGroup* const tests = top->findConfigurationGroup("Tests List", true);
    // Both checks run before anything goes, so that a bad file leaves the old set whole.
    cDriftParameterMgr::checkComplianceForReloading(parameters);
    cPreprocessing::checkCriteriaListCompliance(criteria);

    cPreprocessorChainMgr::cleanupAllParameters();
    cDriftParameterMgr::cleanupAllParameters();
    cCriterionMgr::cleanupAllParameters();
    m_testGroup.reset();

    std::string const name = getName();
    KYN_TRACE(m_logger, 3, "Ready to configure all parameters for unit: " + name);
    cDriftParameterMgr::loadParameter(parameters, name);
    KYN_TRACE(m_logger, 3, "Ready to configure all criteria for unit: " + name);
    cCriterionMgr::loadParameter(criteria, name);
    // The algorithm reads the unit's outputs: they are always stored.
    for (std::string const& channel : usedChannels())
        getCriterion(channel + " Output")->forceUse(true);
    KYN_TRACE(m_logger, 3, "Ready to configure all preprocessors for unit: " + name);
    cPreprocessorChainMgr::loadPreprocessors(preprocessors, path, this);
    m_testGroup = std::make_unique<cConfigurationGroup>(*tests);

    if (holdLoadedFile(file, keepFile))
        m_defaultConfiguration = 0;
}

void cUnit::buildFile(cConfigurationGroup* group)
{
    group->addInformation("Name", getName());
    cDriftParameterMgr::buildFile(group, kParameterMask);
    cCriterionMgr::buildFile(group, kCriterionMask);
    cPreprocessorChainMgr::buildFile(group, 0);
    if (m_testGroup != nullptr)
        group->addConfigurationGroup(new cConfigurationGroup(*m_testGroup));
}

void cUnit::saveSettings(std::string comment, std::string const& fileName, bool keepBackup)
{
    if (saveOwnFile(comment, fileName, keepBackup, "Unit", {kSource, "cUnit::saveSettings", 161, 170},
                    [this](cConfigurationGroup* group) { buildFile(group); }))
        m_defaultConfiguration = 0;
}

cSignalStorage<float>* cUnit::getOutputStorage(cChannel const* channel) const
{
    int const index = myActivePreprocessing != nullptr ? myActivePreprocessing->findChannelIdx(channel) : -1;
    if (index < 0 || static_cast<unsigned int>(index) >= m_outputs.size())
        throw cBadChannelReference(kSource, "cUnit::getOutputStorage", __LINE__);
    return m_outputs[static_cast<unsigned int>(index)];
}

void cUnit::reset()
{
    cDriftManager::reset();
    m_channelResults.clear();
    m_currentInputs.clear();
    clearAllDataStorage();
    for (unsigned int i = 0; i < channelNumber(); ++i)
    {
        m_channelResults.add(nullptr);
        m_currentInputs.add(nullptr);
        addNewSignal(m_outputs);
    }
}

void cUnit::changeFile()
{
    waitForHandOvers();
    cDriftManager::changeFile();
    cPreprocessorChainMgr::changeFile();
    m_inputValues.clear();
    m_outputValues.clear();
    for (std::string const& channel : usedChannels())
    {
        m_inputValues.add(getCriterion(channel)->getActiveCriterionValuesForOneFile());
        m_outputValues.add(getCriterion(channel + " Output")->getActiveCriterionValuesForOneFile());
    }
    for (unsigned int i = 0; i < m_channelResults.size(); ++i)
        m_channelResults[i] = nullptr;
    for (unsigned int i = 0; i < m_currentInputs.size(); ++i)
        m_currentInputs[i] = nullptr;
    for (unsigned int i = 0; i < m_outputs.size(); ++i)
        m_outputs[i]->clear();
    m_fileIteration = 0;
}

void cUnit::prepareForTest()
{
    cScopeTrace const scope(m_logger, "cUnit::prepareForTest L409");
    cDriftManager::prepareForTest();
    cPreprocessorChainMgr::prepareForTest();
    for (unsigned int i = 0; i < m_outputs.size(); ++i)
        m_outputs[i]->clear();
    m_sampleCursor = 0;
}

void cUnit::runTest(cMessage const* data)
{
    cChannel* const sender = data != nullptr ? dynamic_cast<cChannel*>(data->getSender()) : nullptr;
    int const index = myActivePreprocessing != nullptr ? myActivePreprocessing->findChannelIdx(sender) : -1;
    if (sender == nullptr || index < 0 || static_cast<unsigned int>(index) >= m_channelResults.size())
        throw cBadChannelReference(kSource, "cUnit::runTest", 501);
    m_channelResults[static_cast<unsigned int>(index)] = &sender->getOutputDataStorage();
    for (unsigned int i = 0; i < m_channelResults.size(); ++i)
        if (m_channelResults[i] == nullptr)
            return;
    // Every channel's results are read until the exploration ends: each is released then, whatever
    // happens.
    struct sReleaseChannels
    {
        ~sReleaseChannels()
        {
            unsigned int cursor = 0;
            for (cChannel* c = myActivePreprocessing->firstChannel(cursor); c != nullptr;
                 c = myActivePreprocessing->nextChannel(cursor))
                c->releaseHandOver();
        }
    } const releaseChannels;
    bool const statistical =
        myActiveComputationManager != nullptr && myActiveComputationManager->isStatisticalModuleActive();
    KYN_TRACE(m_logger, 3,
              std::string("Performing exploration. Statistical module active: ") + (statistical ? "T" : "F"));
    if (statistical)
        performPartialExploration();
    else
        performRecursiveExploration(0);
    for (unsigned int i = 0; i < m_channelResults.size(); ++i)
        m_channelResults[i] = nullptr;
    // The exploration moved the channels' parameters to their sweep positions.
    KYN_TRACE(m_logger, 3, "Restore drifts nominal values for all channels");
    unsigned int cursor = 0;
    for (cChannel* channel = myActivePreprocessing->firstChannel(cursor); channel != nullptr;
         channel = myActivePreprocessing->nextChannel(cursor))
        for (cDriftParameter* parameter : channel->cDriftParameterMgr::GetParameters())
            if (parameter->getDrift() != nullptr)
                parameter->setRawValue(parameter->getDrift()->getRawNominalValue(), /*update=*/true,
                                       /*applyLimits=*/true);
}

void cUnit::performRecursiveExploration(unsigned int channelIndex)
{
    if (channelIndex >= channelNumber() || channelIndex >= m_channelResults.size())
        throw cBadChannelReference("SimCore/cChannel", "cPreprocessing::findChannel", 595);
    cChannel* const channel = myActivePreprocessing->findChannel(channelIndex);
    cStorage<cSignalStorage<float>*> const& results = *m_channelResults[channelIndex];
    bool const last = channelIndex + 1 == m_channelResults.size();
    for (unsigned int s = 0; s < results.size(); ++s)
    {
        if (isStopAsked())
            return;
        KYN_TRACE(m_logger, 4,
                  "Recursive exploration iteration - channel number: " + std::to_string(channelIndex) +
                      " data storage number: " + std::to_string(s));
        channel->restoreDriftState(s);
        m_currentInputs[channelIndex] = results[s];
        if (!last)
        {
            performRecursiveExploration(channelIndex + 1);
        }
        else if (getAppliedDriftsNumber() != 0)
        {
            manageDriftsSequence(0);
            resetAllNominalValues();
        }
        else
        {
            performIteration();
        }
    }
}

void cUnit::performPartialExploration()
{
    cComputationManager const& manager = *myActiveComputationManager;
    cStorage<unsigned int> ids(10);
    unsigned int k = 0;
    for (manager.getFirstPreprocessingDriftCombination(k, ids); k < manager.getStatisticalCombinationNumber();
         manager.getNextPreprocessingDriftCombination(k, ids))
    {
        if (isStopAsked())
            return;
        unsigned int c = 0;
        for (cChannel* channel : std::vector<cChannel*>(myActivePreprocessing->getChannels().first,
                                                        myActivePreprocessing->getChannels().second))
        {
            unsigned int const id = c < ids.size() ? ids[c] : 0;
            KYN_TRACE(m_logger, 4,
                      "Partial exploration iteration - channel number: " + std::to_string(c) +
                          " data storage number: " + std::to_string(id));
            channel->restoreDriftState(id);
            cStorage<cSignalStorage<float>*> const& results = *m_channelResults[c];
            if (id >= results.size())
                throw cBadChannelReference(kSource, "cUnit::performPartialExploration", __LINE__);
            m_currentInputs[c] = results[id];
            ++c;
        }
        if (getAppliedDriftsNumber() != 0)
        {
            manageDriftsSequence(0);
            resetAllNominalValues();
        }
        else
        {
            performIteration();
        }
    }
}

void cUnit::performIteration()
{
    // The algorithm reads the outputs until it has run over them.
    waitForHandOvers();
    prepareForTest();
    for (unsigned int i = 0; i < m_currentInputs.size() && i < m_inputValues.size(); ++i)
    {
        cSignalStorage<float> const& input = *m_currentInputs[i];
        cCriterionValuesForOneFile* const values = m_inputValues[i];
        values->setSamplingRate(input.getSamplingRate());
        values->setT0(input.getT0());
        appendSignal(input, values->getIterationValueList());
        values->SetHasPointsToTrue();
    }
    steps();
    for (unsigned int i = 0; i < m_outputs.size() && i < m_outputValues.size(); ++i)
        copySignal(m_outputValues[i]->getIterationValueList(), *m_outputs[i]);
    endOfIteration();
}

void cUnit::endOfIteration()
{
    cDriftManager::endOfIteration();
    ++m_fileIteration;
    if (myActiveComputationManager != nullptr)
    {
        myActiveComputationManager->incrementAcquisitionIterationNbr();
        if (myActiveComputationManager->shouldNotifyAcquisitionIterationNbr())
            SendMessageA(getMainWndH(), kAcquisitionIterationMessage, 0, 0);
    }
    if (isStopAsked())
    {
        resetAllNominalValues();
        return;
    }
    KYN_TRACE(m_logger, 4, "Ready to send results of the iteration for active file to algorithm");
    if (myActiveAlgorithm != nullptr)
    {
        handOver();
        postPreparedMessage(myActiveAlgorithm, RUN_TEST_MSG, new cMessage(this, 0.0f));
    }
}

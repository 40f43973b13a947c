#include "SimCore/cVehicle.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/IHostWindow.h"
#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "SimCore/SignalCopy.h"
#include "SimCore/cChannel.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cProject.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cChannelInput.h"
#include "StoreKit/cConfigurationGroup.h"
#include "StoreKit/cInputFile.h"

#include <vector>

cVehicle* myActiveVehicle = nullptr;

namespace
{
char const* const kSource = "SimCore/cVehicle";
char const* const kOutOfMemory = "KYN Error (NULL Pointer). Out of memory ?\n";
int const kParameterMask = 0x7F582FF;
int const kCriterionMask = 0x1002000B;
// A recording and a criterion that both lack a sampling rate run at this one.
float const kFallbackSamplingRate = 10000.0f;

std::vector<std::string> usedChannels()
{
    return myActiveProject != nullptr ? myActiveProject->getUsedChannels() : std::vector<std::string>();
}
} // namespace

cVehicle::cVehicle(std::string name, std::string const& fileName, std::string const& path)
    : cDriftManager(name, "Vehicle", QUIT_MSG, RUN_TEST_MSG)
{
    for (std::size_t i = 0; i < usedChannels().size(); ++i)
        addNewSignal(m_outputs);
    try
    {
        setConfiguration(fileName, path, false);
    }
    catch (...)
    {
        destroyContent();
        throw;
    }
}

cVehicle::~cVehicle()
{
    stop(false);
    // A thread that the unforced stop left in its loop calls ProcessMessage on this object: it ends
    // here, while the object is whole.
    stop(true);
    destroyContent();
}

void cVehicle::destroyContent()
{
    for (unsigned int i = 0; i < m_outputs.size(); ++i)
        delete m_outputs[i];
    m_outputs.clear();
}

std::string cVehicle::getFileFilter(unsigned char)
{
    return "Mechanical Files (*.vcl)|*.vcl|All Files (*.*)|*.*||";
}

std::string cVehicle::getDefaultExtension(unsigned char)
{
    return "vcl";
}

void cVehicle::open(std::string const& fileName, std::string const& path, bool rethrow)
{
    KYN_TRACE(m_logger, 4, "Ready to open vehicle configuration file: " + fileName);
    setConfiguration(fileName, path, rethrow);
}

void cVehicle::setConfiguration(std::string const& fileName, std::string const& path, bool rethrow)
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
        failure.addFileName(file != nullptr ? file->getFileName() : fullName);
        if (file != getConfigurationFile())
            delete file;
        cCfgInputFile const* const earlier = getConfigurationFile();
        if (earlier == nullptr || earlier == file)
            throw;
        std::string const earlierName = earlier->getFileName();
        failure.addFileName(earlierName);
        doException(failure);
        failure.appendText("\n\nOld mechanical set will be reloaded");
        doInformationMessage("Old mechanical set will be reloaded");
        unsigned char const defaultConfiguration = m_defaultConfiguration;
        // Read with rethrow off: a held file that fails in its turn is reported, not reloaded again.
        if (earlierName != fullName)
            setConfiguration(earlierName, path, false);
        m_defaultConfiguration = defaultConfiguration;
        if (rethrow)
            throw;
    }
}

void cVehicle::loadFromConfiguration(cCfgInputFile* file, std::string const& path, bool keepFile)
{
    cScopeTrace const scope(m_logger, "cVehicle::loadFromConfiguration L371");
    cConfigurationGroup* const top = file->getTopGroup();
    cConfigurationGroup* const parameters = top->findConfigurationGroup("Parameters List", true);
    cConfigurationGroup* const criteria = top->findConfigurationGroup("Criteria List", true);
    cConfigurationGroup* const preprocessors = top->findConfigurationGroup("Preprocessors List", true);
    cConfigurationGroup* const tests = top->findConfigurationGroup("Tests List", true);
    // Both checks run before anything goes, so that a bad file leaves the old set whole.
    cPreprocessing::checkCriteriaListCompliance(criteria);
    cDriftParameterMgr::checkComplianceForReloading(parameters);

    cPreprocessorChainMgr::cleanupAllParameters();
    cDriftParameterMgr::cleanupAllParameters();
    cCriterionMgr::cleanupAllParameters();
    m_testGroup.reset();

    std::string const name = getName();
    KYN_TRACE(m_logger, 3, "Ready to configure all parameters for vehicle: " + name);
    cDriftParameterMgr::loadParameter(parameters, name);
    KYN_TRACE(m_logger, 3, "Ready to configure all criteria for vehicle: " + name);
    loadCriteria(criteria);
    KYN_TRACE(m_logger, 3, "Ready to configure all preprocessors for vehicle: " + name);
    cPreprocessorChainMgr::loadPreprocessors(preprocessors, path, this);
    m_testGroup = std::make_unique<cConfigurationGroup>(*tests);

    if (holdLoadedFile(file, keepFile))
        m_defaultConfiguration = 0;
}

void cVehicle::loadCriteria(cConfigurationGroup* group)
{
    if (group == nullptr)
        throw cNULLPointer(kSource, "cVehicle::loadCriteria", __LINE__, kOutOfMemory);
    try
    {
        cCriterionMgr::loadParameter(group, getName());
    }
    catch (cKynException& failure)
    {
        failure.appendText("\nLine: " + std::to_string(group->getLineNumber()));
        throw;
    }
    // A vehicle output is always stored: the channels read it.
    for (std::string const& channel : usedChannels())
        getCriterion(channel + " Output")->forceUse(true);
}

void cVehicle::buildFile(cConfigurationGroup* group)
{
    group->addInformation("Name", getName());
    cDriftParameterMgr::buildFile(group, kParameterMask);
    cCriterionMgr::buildFile(group, kCriterionMask);
    cPreprocessorChainMgr::buildFile(group, 0);
    if (m_testGroup != nullptr)
        group->addConfigurationGroup(new cConfigurationGroup(*m_testGroup));
}

void cVehicle::saveSettings(std::string comment, std::string const& fileName, bool keepBackup)
{
    if (saveOwnFile(comment, fileName, keepBackup, "Mechanical Step",
                    {kSource, "cVehicle::saveSettings", 471, 482},
                    [this](cConfigurationGroup* group) { buildFile(group); }))
        m_defaultConfiguration = 0;
}

void cVehicle::changeFile()
{
    cDriftManager::changeFile();
    cPreprocessorChainMgr::changeFile();
    m_inputs.clear();
    m_inputValues.clear();
    m_outputValues.clear();
    cInputFile const* const recording = myActiveFile != nullptr ? myActiveFile->getInputFile() : nullptr;
    for (std::string const& channel : usedChannels())
    {
        // A channel the recording lacks adds no input and is not reported: its criteria still add
        // their values, so the lists go out of step (kept: the channels of a project are checked
        // against each crash file when the file list loads).
        cChannelInput* const input = recording != nullptr ? recording->findChannelInput(channel) : nullptr;
        if (input != nullptr)
            m_inputs.add(input);
        m_inputValues.add(getCriterion(channel)->getActiveCriterionValuesForOneFile());
        m_outputValues.add(getCriterion(channel + " Output")->getActiveCriterionValuesForOneFile());
    }
    m_fileIteration = 0;
}

void cVehicle::runTest(cMessage const*)
{
    if (getAppliedDriftsNumber() != 0)
    {
        if (myActiveComputationManager != nullptr &&
            myActiveComputationManager->isMechanicalSameIterationDrifted())
            manageSameDriftIteratorSequence();
        else
            manageDriftsSequence(0);
    }
    else
    {
        performIteration();
    }
    resetAllNominalValues();
    if (myActiveComputationManager != nullptr)
        postPreparedMessage(myActiveComputationManager, END_OF_TEST_MSG, new cMessage(this, 0.0f));
}

void cVehicle::prepareForTest()
{
    cScopeTrace const scope(m_logger, "cVehicle::prepareForTest L148");
    cDriftManager::prepareForTest();
    cPreprocessorChainMgr::prepareForTest();
    for (unsigned int i = 0; i < m_outputs.size(); ++i)
        m_outputs[i]->clear();
    m_sampleCursor = 0;
}

void cVehicle::performIteration()
{
    // The channels copy their input first thing: the outputs are free again once each has.
    waitForHandOvers();
    prepareForTest();
    for (unsigned int i = 0; i < m_inputs.size() && i < m_inputValues.size(); ++i)
    {
        cChannelInput const* const input = m_inputs[i];
        cCriterionValuesForOneFile* const values = m_inputValues[i];
        float rate = static_cast<float>(input->getSamplingRateInHz());
        if (rate == 0.0f)
            rate = values->getCriterion()->getDefaultSamplingRate();
        if (rate == 0.0f)
            rate = kFallbackSamplingRate;
        values->setSamplingRate(rate);
        values->setT0(0);
        // Every signal of the pipeline starts with a leading 0.0 at T0; the algorithm skips it.
        cSignalStorage<float>& signal = values->getIterationValueList();
        std::vector<float> const& samples = input->getSamples();
        signal.add(0.0f);
        appendSamples(samples.data(), static_cast<unsigned int>(samples.size()), signal);
        values->SetHasPointsToTrue();
    }
    steps();
    for (unsigned int i = 0; i < m_outputs.size() && i < m_outputValues.size(); ++i)
        copySignal(m_outputValues[i]->getIterationValueList(), *m_outputs[i]);
    endOfIteration();
}

void cVehicle::endOfIteration()
{
    cDriftManager::endOfIteration();
    ++m_fileIteration;
    if (myActiveComputationManager != nullptr)
    {
        myActiveComputationManager->incrementMechanicalIterationNbr();
        if (myActiveComputationManager->shouldNotifyMechanicalIterationNbr())
            SendMessageA(getMainWndH(), kMechanicalIterationMessage, 0, 0);
    }
    KYN_TRACE(m_logger, 3,
              "Ready to send results of iteration " + std::to_string(m_fileIteration) +
                  " for active file to channels");
    if (myActivePreprocessing == nullptr)
        return;
    unsigned int i = 0;
    for (cChannel* channel = myActivePreprocessing->firstChannel(i);
         channel != nullptr && i < m_outputs.size(); channel = myActivePreprocessing->nextChannel(i))
    {
        if (isStopAsked())
            continue;
        channel->setInputDataStorage(m_outputs[i]);
        handOver();
        postPreparedMessage(channel, RUN_TEST_MSG, new cMessage(this, 0.0f));
    }
}

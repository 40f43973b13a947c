#include "SimCore/cChannel.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/IHostWindow.h"
#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "SimCore/SignalCopy.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cProject.h"
#include "SimCore/cUnit.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cConfigurationGroup.h"

#include <algorithm>
#include <cstring>
#include <vector>

cPreprocessing* myActivePreprocessing = nullptr;
thread_local bool cPreprocessing::s_reloading = false;

namespace
{
char const* const kSource = "SimCore/cChannel";
char const* const kOutOfMemory = "KYN Error (NULL Pointer). Out of memory ?\n";
// The keys of a channel's parameters and criteria as the preprocessing file holds them.
int const kParameterMask = 0x7F5827F;
int const kCriterionMask = 0x2000B;

// The used channels of the active project, in its order; none without a project.
std::vector<std::string> usedChannels()
{
    return myActiveProject != nullptr ? myActiveProject->getUsedChannels() : std::vector<std::string>();
}

// The trace of the preprocessing set.
ObjectLogger& logger()
{
    static ObjectLogger instance("Preprocessing");
    return instance;
}

} // namespace

// ---- cChannel --------------------------------------------------------------------------------------

cChannel::cChannel(std::string name, std::string description, std::string traceName,
                   cConfigurationGroup* group, std::string const& path)
    : cDriftManager(std::move(name), traceName, QUIT_MSG, RUN_TEST_MSG), m_logger(traceName),
      m_description(std::move(description))
{
    setConfiguration(group, path);
}

cChannel::~cChannel()
{
    // The project stops the channels unforced; a thread left in its loop calls ProcessMessage on this
    // object and ends here, while the object is whole.
    stop(true);
    for (unsigned int i = 0; i < m_outputs.size(); ++i)
        delete m_outputs[i];
}

void cChannel::clearDataStorage()
{
    for (unsigned int i = 0; i < m_outputs.size(); ++i)
        m_outputs[i]->clear();
}

cKynPreprocessor* cChannel::getParameterByIndex(unsigned int index) const
{
    return cPreprocessorMgr::getParameter(index);
}

cKynPreprocessor* cChannel::lastPreprocessor() const
{
    return getParameterByIndex(cPreprocessorMgr::getParameterListSize() - 1);
}

void cChannel::setConfiguration(cConfigurationGroup* group, std::string const& path)
{
    if (group == nullptr)
        return;
    std::string const name = getName();
    KYN_TRACE(m_logger, 4, "Ready to configure all parameters for channel: " + name);
    cDriftParameterMgr::loadParameter(group->findConfigurationGroup("Parameters List", true), name);
    KYN_TRACE(m_logger, 4, "Ready to configure all criteria for channel: " + name);
    cCriterionMgr::loadParameter(group->findConfigurationGroup("Criteria List", true), name);
    KYN_TRACE(m_logger, 4, "Ready to configure all preprocessors for channel: " + name);
    cPreprocessorMgr::loadPreprocessors(group->findConfigurationGroup("Preprocessors List", true), path,
                                        this);
    m_testGroup = std::make_unique<cConfigurationGroup>(*group->findConfigurationGroup("Test", true));
    KYN_TRACE(m_logger, 4, "End of configuration of: " + name);
}

void cChannel::checkAllCompliance(cConfigurationGroup* group)
{
    if (group == nullptr)
        throw cNULLPointer(kSource, "cChannel::checkAllCompliance", __LINE__, kOutOfMemory);
    checkParametersCompliance(group->findConfigurationGroup("Parameters List", true));
    // Criteria and preprocessors are made anew on a reload: only their lists must be there.
    group->findConfigurationGroup("Criteria List", true);
    group->findConfigurationGroup("Preprocessors List", true);
}

void cChannel::checkParametersCompliance(cConfigurationGroup* group)
{
    try
    {
        cDriftParameterMgr::checkComplianceForReloading(group);
    }
    catch (cKynException&)
    {
        cKynException where;
        where.setStr(kSource, "cChannel::checkParametersCompliance", __LINE__,
                     "Error found in channel \"" + getName() + "\"");
        doException(where);
        throw;
    }
}

void cChannel::buildFile(cConfigurationGroup* group)
{
    group->addInformation("Name", getName());
    group->addInformation("Description", m_description);
    cDriftParameterMgr::buildFile(group, kParameterMask);
    cCriterionMgr::buildFile(group, kCriterionMask);
    cPreprocessorMgr::buildFile(group, 0);
    if (m_testGroup != nullptr)
    {
        auto tests = std::make_unique<cConfigurationGroup>(*m_testGroup);
        tests->setName("Tests List");
        group->addConfigurationGroup(tests.release());
    }
}

void cChannel::reset()
{
    unsigned int i = 0;
    for (cCriterion* c = cCriterionMgr::firstParameter(i); c != nullptr; c = cCriterionMgr::nextParameter(i))
        c->forceUse(false);
    // Where a drifted parameter acts, a re-entry starts: the signal in front of it must stay stored.
    for (cDriftParameter* parameter : cDriftParameterMgr::GetParameters())
    {
        if (!parameter->isDriftSet())
            continue;
        unsigned int k = 0;
        for (cKynPreprocessor* p = cPreprocessorMgr::firstParameter(k); p != nullptr;
             p = cPreprocessorMgr::nextParameter(k))
        {
            if (p->find(parameter) == p->getParameterEquationListSize())
                continue;
            unsigned int s = 0;
            for (cCriterion* c = p->firstStartingCriterion(s); c != nullptr; c = p->nextStartingCriterion(s))
                c->forceUse(true);
        }
    }
    cKynPreprocessor* const last = lastPreprocessor();
    unsigned int f = 0;
    for (cCriterion* c = last->firstFinalCriterion(f); c != nullptr; c = last->nextFinalCriterion(f))
        c->forceUse(true);
    cDriftManager::reset();
}

void cChannel::changeFile()
{
    cDriftManager::changeFile();
    m_inputValues = cCriterionMgr::getParameter("Input")->getActiveCriterionValuesForOneFile();
    cPreprocessorMgr::changeFile();
}

void cChannel::runTest(cMessage const* data)
{
    cHandOverRelease vehicle(data);
    // The unit reads this channel's results until its exploration is over.
    waitForHandOvers();
    for (unsigned int i = 0; i < m_outputs.size(); ++i)
        m_outputs[i]->clear();
    m_entryPreprocessorIndex = 0;
    m_resultCount = 0;
    cCriterionValuesForOneFile* const last = lastPreprocessor()->getFinalCriterionValuesForOneFile(0);
    // A run needs the vehicle's signal and the values of a crash file (FILE_CHANGED_MSG first).
    if (m_currentInput == nullptr || last == nullptr || m_inputValues == nullptr)
        throw cNULLPointer(kSource, "cChannel::runTest", __LINE__,
                           "Channel " + getName() + ": no input signal or no crash file to run on.");
    m_lastOutput = &last->getIterationValueList();
    // The vehicle overwrites its output with its next iteration: take a copy before anything else.
    copySignal(*m_currentInput, m_workingInput);
    vehicle.now();
    setFileChanged(true);
    m_rawInput.clear();
    if (getAppliedDriftsNumber() != 0)
        manageDriftsSequence(0);
    else
        performIteration();
    if (isStopAsked())
    {
        resetAllNominalValues();
        return;
    }
    // The list keeps its entries between runs to save allocations, but holds exactly this run's results.
    while (m_outputs.size() > m_resultCount)
    {
        delete m_outputs[m_outputs.size() - 1];
        m_outputs.remove(m_outputs.size() - 1);
    }
    resetAllNominalValues();
    KYN_TRACE(m_logger, 4, getName() + ": Ready to send results for active file to acquisition");
    handOver();
    postPreparedMessage(myActiveUnit, RUN_TEST_MSG, new cMessage(this, 0.0f));
}

void cChannel::prepareForTest()
{
    cScopeTrace const scope(m_logger, "cChannel::prepareForTest L137");
    m_entryPreprocessorIndex = 0;
    bool const fileChanged = isFileChanged();
    if (fileChanged && cPreprocessorMgr::getParameterListSize() != 0)
        KYN_TRACE(m_logger, 4,
                  getName() + ": (first iteration) Entry Preprocessor detected is " +
                      getParameterByIndex(0)->getName());
    bool found = false;
    unsigned int index = 0;
    for (cKynPreprocessor* p = cPreprocessorMgr::firstParameter(index); p != nullptr;
         p = cPreprocessorMgr::nextParameter(index))
    {
        if (!fileChanged && !found)
        {
            // Before the entry, a preprocessor whose parameters did not change keeps its result.
            if (p->isProcessed())
                continue;
            KYN_TRACE(m_logger, 4, getName() + ": Entry Preprocessor detected is " + p->getName());
            m_entryPreprocessorIndex = index;
            if (p->isMandatory())
                copySignal(m_rawInput, m_workingInput);
            else
                copySignal(p->getStartingCriterionValuesForOneFile(0)->getIterationValueList(),
                           m_workingInput);
            found = true;
        }
        cPreprocessorMgr::prepareForTest(p);
    }
    unsigned int t = 0;
    for (cTimeEvent* e = cTimeEventMgr::firstParameter(t); e != nullptr; e = cTimeEventMgr::nextParameter(t))
        e->prepareForTest();
    countIteration();
    if (m_outputs.size() <= m_resultCount)
        addNewSignal(m_outputs);
    m_currentOutput = m_outputs[m_resultCount];
}

void cChannel::performIteration()
{
    prepareForTest();
    if (isFileChanged())
    {
        for (cSignalStorage<float>* target : {&m_inputValues->getIterationValueList(), &m_rawInput})
        {
            target->setSamplingRate(m_workingInput.getSamplingRate());
            target->setT0(m_workingInput.getT0());
            appendSignal(m_workingInput, *target);
        }
        m_inputValues->SetHasPointsToTrue();
    }
    else
    {
        cCriterionValuesForOneFile* const start =
            getParameterByIndex(m_entryPreprocessorIndex)->getStartingCriterionValuesForOneFile(0);
        start->setSamplingRate(m_workingInput.getSamplingRate());
        start->setT0(m_workingInput.getT0());
        appendSignal(m_workingInput, start->getIterationValueList());
        start->SetHasPointsToTrue();
    }
    steps();
    endOfIteration();
}

void cChannel::steps()
{
    if (!cPreprocessorMgr::Calculate(m_entryPreprocessorIndex, m_skipMask))
        return;
    m_currentOutput->setSamplingRate(m_lastOutput->getSamplingRate());
    m_currentOutput->setT0(m_lastOutput->getT0());
    unsigned int const n = std::min(m_skipMask.size(), m_lastOutput->size());
    char const* const mask = m_skipMask.data();
    // No present type drops a sample: a mask of zeros is copied in one pass.
    if (n != 0 && mask[0] == 0 && std::memcmp(mask, mask + 1, n - 1) == 0)
    {
        appendSamples(m_lastOutput->data(), n, *m_currentOutput);
        return;
    }
    for (unsigned int i = 0; i < n; ++i)
        if (mask[i] == 0)
            m_currentOutput->add((*m_lastOutput)[i]);
}

void cChannel::endOfIteration()
{
    cScopeTrace const scope(m_logger, "cChannel::endOfIteration L315");
    cDriftManager::endOfIteration();
    ++m_resultCount;
    if (myActiveComputationManager != nullptr)
    {
        myActiveComputationManager->incrementElectronicIterationNbr();
        if (myActiveComputationManager->shouldNotifyElectronicIterationNbr())
            SendMessageA(getMainWndH(), kElectronicIterationMessage, 0, 0);
    }
}

// ---- cPreprocessing --------------------------------------------------------------------------------

cPreprocessing::cPreprocessing(std::string const& name, std::string const& file, std::string const& path)
    : m_name(name)
{
    try
    {
        setConfiguration(file, path);
    }
    catch (cKynException&)
    {
        removeAllChannels();
        throw;
    }
}

cPreprocessing::~cPreprocessing()
{
    removeAllChannels();
}

std::string cPreprocessing::getFileFilter(unsigned char)
{
    return "Preprocessing Files (*.prp)|*.prp|All Files (*.*)|*.*||";
}

std::string cPreprocessing::getDefaultExtension(unsigned char)
{
    return "prp";
}

cChannel* cPreprocessing::findChannel(std::string const& name)
{
    for (unsigned int i = 0; i < m_channels.size() && m_channels[i] != nullptr; ++i)
        if (m_channels[i]->getName() == name)
            return m_channels[i];
    throw cBadChannelReference(kSource, "cPreprocessing::findChannel", 584);
}

cChannel* cPreprocessing::findChannel(unsigned int index)
{
    if (index >= m_channels.size())
        throw cBadChannelReference(kSource, "cPreprocessing::findChannel", 595);
    return m_channels[index];
}

int cPreprocessing::findChannelIdx(cChannel const* channel) const
{
    for (unsigned int i = 0; i < m_channels.size(); ++i)
        if (m_channels[i] == channel)
            return static_cast<int>(i);
    return static_cast<int>(0xFFFFFFFF);
}

void cPreprocessing::open(std::string const& file, std::string const& path)
{
    KYN_TRACE(logger(), 4, "Ready to open preprocessing configuration file: " + file);
    setConfiguration(file, path);
}

void cPreprocessing::setConfiguration(std::string const& file, std::string const& path)
{
    if (file.empty())
        return;
    std::string const fullName = PathIsRelativeA(file.c_str()) ? path + file : file;
    cCfgInputFile* newFile = nullptr;
    try
    {
        newFile = cCfgInputFile::createFile(fullName.c_str(), 1, nullptr, false);
        newFile->open();
        loadFromConfiguration(newFile, path, true);
    }
    catch (cKynException& failure)
    {
        if (newFile != nullptr)
        {
            failure.addFileName(newFile->getFileName());
            if (newFile != getConfigurationFile())
                delete newFile;
        }
        cCfgInputFile const* const earlier = getConfigurationFile();
        // A held file that fails in its turn (changed on disk since) ends the reloading.
        if (earlier == nullptr || earlier == newFile || s_reloading)
            throw;
        std::string const earlierName = earlier->getFileName();
        failure.addFileName(earlierName);
        doException(failure);
        doInformationMessage("Old preprocessing set will be reloaded");
        bool const defaultConfiguration = m_defaultConfiguration;
        s_reloading = true;
        try
        {
            setConfiguration(earlierName, path);
        }
        catch (...)
        {
            s_reloading = false;
            throw;
        }
        s_reloading = false;
        m_defaultConfiguration = defaultConfiguration;
    }
}

void cPreprocessing::loadFromConfiguration(cCfgInputFile* file, std::string const& path, bool keepFile)
{
    cScopeTrace const scope(logger(), "cPreprocessing::loadFromConfiguration L682");
    cConfigurationGroup* const list = file->getTopGroup()->findConfigurationGroup("Channels List", true);
    std::vector<std::string> const used = usedChannels();
    std::vector<cConfigurationGroup*> found;
    for (unsigned int i = 0; i < used.size(); ++i)
    {
        bool seen = false;
        for (cConfigurationGroup* group : list->GetConfigurationGroups())
        {
            if (group->getName() != "Channel")
                continue;
            std::string name;
            group->findItem("", "Name", name, true);
            // Every group is completed from its template, also one of another channel.
            cCfgInputFile::loadTemplate(group, path, "Template", "@@", name);
            if (name != used[i])
                continue;
            found.push_back(group);
            seen = true;
        }
        if (!seen)
            throw cMissingItem(kSource, "cPreprocessing::loadFromConfiguration", 718,
                               i < m_channels.size() ? m_channels[i]->getName() : used[i], "channel",
                               "Unable to load the new preprocessing.");
        if (m_channels.size() != 0 && i < m_channels.size() && i < found.size())
            m_channels[i]->checkAllCompliance(found[i]);
    }
    removeAllChannels();
    for (cConfigurationGroup* group : found)
    {
        std::string name;
        std::string description;
        group->findItem("", "Name", name, true);
        group->findItem("", "Description", description, false);
        KYN_TRACE(logger(), 3, "Ready to configure the preprocessing for channel " + name);
        cChannel* const channel = new cChannel(name, description, "Channel", group, path);
        try
        {
            m_channels.add(channel);
        }
        catch (...)
        {
            delete channel;
            throw;
        }
        channel->start(1, nullptr, 0, false);
    }
    if (holdLoadedFile(file, keepFile))
        m_defaultConfiguration = false;
}

void cPreprocessing::buildFile(cConfigurationGroup* group)
{
    group->addInformation("Name", m_name);
    auto list = std::make_unique<cConfigurationGroup>("Channels List");
    for (unsigned int i = 0; i < m_channels.size() && m_channels[i] != nullptr; ++i)
    {
        auto channel = std::make_unique<cConfigurationGroup>("Channel");
        m_channels[i]->buildFile(channel.get());
        list->addConfigurationGroup(channel.release());
    }
    group->addConfigurationGroup(list.release());
}

void cPreprocessing::saveSettings(std::string comment, std::string const& file, bool keepBackup)
{
    if (saveOwnFile(comment, file, keepBackup, "Preprocessing",
                    {kSource, "cPreprocessing::saveSettings", 804, 813},
                    [this](cConfigurationGroup* group) { buildFile(group); }))
        m_defaultConfiguration = false;
}

void cPreprocessing::removeValuesFromCrashFile(unsigned long long crashFileAddress)
{
    for (unsigned int i = 0; i < m_channels.size() && m_channels[i] != nullptr; ++i)
        m_channels[i]->removeValuesFromCrashFile(crashFileAddress);
}

bool cPreprocessing::checkCriteriaListCompliance(cConfigurationGroup* group)
{
    if (group == nullptr)
        return false;
    for (std::string const& channel : usedChannels())
    {
        std::string const output = channel + " Output";
        bool seenChannel = false;
        bool seenOutput = false;
        for (cConfigurationGroup* criterion : group->GetConfigurationGroups())
        {
            if (criterion->getName() != "Criterion")
                continue;
            std::string name;
            criterion->findItem("", "Name", name, true);
            seenChannel = seenChannel || name == channel;
            seenOutput = seenOutput || name == output;
            if (seenChannel && seenOutput)
                break;
        }
        if (!seenChannel)
            throw cMissingItem(kSource, "cPreprocessing::checkCriteriaListCompliance", 502, channel,
                               "criterion", "Unable to load the file.");
        if (!seenOutput)
            throw cMissingItem(kSource, "cPreprocessing::checkCriteriaListCompliance", 504, output,
                               "criterion", "Unable to load the file.");
    }
    return true;
}

void cPreprocessing::removeAllChannels()
{
    for (unsigned int i = 0; i < m_channels.size() && m_channels[i] != nullptr; ++i)
        delete m_channels[i];
    m_channels.clear();
}

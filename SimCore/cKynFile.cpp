#include "SimCore/cKynFile.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"
#include "BaseKit/cTraceProvider.h"
#include "SimCore/cAlgorithm.h"
#include "SimCore/cChannel.h"
#include "SimCore/cProject.h"
#include "SimCore/cTimeEvent.h"
#include "StoreKit/CSensorDefect.h"
#include "StoreKit/CSensorDefectChannelConfiguration.h"
#include "StoreKit/cBinInputFile.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cConfigurationGroup.h"
#include "StoreKit/cCshInputFile.h"
#include "StoreKit/cInputFile.h"
#include "StoreKit/cMmeInputFile.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

cKynFile* myActiveFile = nullptr;

namespace
{
char const* const kSource = "SimCore/cKynFile";
char const* const kNoFire = "-1";
char const* const kNotDefined = "-2";
char const* const kFreeTextPrefix = "S:";

// Relative closeness at the precision of a double: how a typed "-1" or "-2" is recognised.
bool near(double a, double b)
{
    double const largest = std::max(std::fabs(a), std::fabs(b));
    return std::fabs(a - b) / largest < 2.220446049250313e-16;
}

long frequencyOf(cTimeEvent const* timeEvent)
{
    return timeEvent != nullptr ? timeEvent->getPrecisionFrequency() : 0;
}

// The time events of the active algorithm; none while there is no algorithm.
cTimeEventMgr* activeTimeEvents()
{
    return myActiveAlgorithm != nullptr ? static_cast<cTimeEventMgr*>(myActiveAlgorithm) : nullptr;
}

// The channels of the active preprocessing set, in its order up to a null entry; none without a set.
std::vector<std::string> activePreprocessingChannelNames()
{
    std::vector<std::string> names;
    if (myActivePreprocessing == nullptr)
        return names;
    unsigned int cursor = 0;
    for (cChannel* channel = myActivePreprocessing->firstChannel(cursor); channel != nullptr;
         channel = myActivePreprocessing->nextChannel(cursor))
        names.push_back(channel->getName());
    return names;
}

// The channel names the active project declares, used or not; none without a project.
std::vector<std::string> activeProjectDeclaredChannels()
{
    return myActiveProject != nullptr ? myActiveProject->getBinChannelList() : std::vector<std::string>();
}
// The project's "Channel Name Mapping" group, null when the project has none: recorded channels are
// then looked up under their project names.
cConfigurationGroup const* activeProjectChannelMapping()
{
    return myActiveProject != nullptr ? myActiveProject->getChannelMappingVector() : nullptr;
}

bool hasExtension(std::string const& path, char const* extension)
{
    std::string found = GetExtension(path.c_str());
    toLower(found);
    return found == extension;
}
} // namespace

// ---------------------------------------------------------------------------------------------- structTTF

structTTF::structTTF(cTimeEvent* event, std::string minimum, std::string optimum, std::string maximum,
                     float w)
    : timeEvent(event), values{std::move(minimum), std::move(optimum), std::move(maximum)}, weight(w)
{
}

bool structTTF::setTtfValue(ETtfKind kind, std::string text)
{
    trimSpaceLR(text);
    std::string& value = values[kind];
    double number = 0.0;
    if (strtodStrict(text, number))
    {
        if (near(number, -1.0) || (number < 0.0 && !near(number, -2.0)))
            value = kNoFire;
        else if (near(number, -2.0))
            value = kNotDefined;
        else
        {
            // Milliseconds become ticks of the event's frequency, rounded half away from zero.
            double const ticks = static_cast<double>(frequencyOf(timeEvent)) * number / 1000.0;
            // Adding 0.0 turns the -0 of a zero time into 0, so that it is written "0".
            double const rounded = std::trunc(ticks > 0.0 ? ticks + 0.5 : ticks - 0.5) + 0.0;
            char buffer[400];
            std::snprintf(buffer, sizeof buffer, "%.0f", rounded);
            value = buffer;
        }
        return true;
    }
    std::string lower = text;
    toLower(lower);
    if (lower == "nf")
        value = kNoFire;
    else if (lower == "not defined" || lower == "notdef")
        value = kNotDefined;
    else
        value = kFreeTextPrefix + text;
    return true;
}

bool structTTF::asMilliseconds(ETtfKind kind, double& milliseconds) const
{
    std::string const& value = values[kind];
    if (isNoFire(kind) || isNotDefined(kind) || value.compare(0, 2, kFreeTextPrefix) == 0)
        return false;
    long const frequency = frequencyOf(timeEvent);
    // Without a frequency a tick has no duration: the value cannot be given in milliseconds.
    if (frequency == 0)
        return false;
    milliseconds = static_cast<double>(std::strtoll(value.c_str(), nullptr, 10)) * 1000.0 /
                   static_cast<double>(frequency);
    return true;
}

std::string structTTF::asString(ETtfKind kind, int precision) const
{
    if (isNoFire(kind))
        return "NF";
    if (isNotDefined(kind))
        return "NotDef";
    std::string const& value = values[kind];
    if (value.find(kFreeTextPrefix) != std::string::npos)
        return value.substr(2);
    double milliseconds = 0.0;
    if (!asMilliseconds(kind, milliseconds))
        return std::string();
    std::string text;
    doubleToString(text, mpf_class(milliseconds), precision);
    return text;
}

std::string structTTF::asXmlString(ETtfKind kind, int precision) const
{
    if (isNotDefined(kind))
        return "Not defined";
    return asString(kind, precision);
}

// ---------------------------------------------------------------------------------------------- cKynFile

cKynFile::cKynFile(char const* path, int mode, cCfgInputFile* crashMappingFile)
    : cKynFile(makeAcquisitionFile(path, mode,
                                   crashMappingFile != nullptr ? crashMappingFile->getTopGroup() : nullptr))
{
}

cKynFile::cKynFile(cInputFile* recording) : m_inputFile(recording)
{
    try
    {
        FillMapOfFileChannelDefects();
        initialiseTtfSettings();
    }
    catch (...)
    {
        // No destructor runs for a constructor that fails: give back what was taken.
        clearTtfSettings();
        clearChannelDefects();
        delete m_inputFile;
        throw;
    }
}

cKynFile::~cKynFile()
{
    clearTtfSettings();
    clearChannelDefects();
    delete m_inputFile;
}

void cKynFile::initialiseTtfSettings()
{
    clearTtfSettings();
    cTimeEventMgr const* const events = activeTimeEvents();
    if (events == nullptr)
        return;
    // A new crash file expects no fire for every kind until the user says otherwise.
    for (cTimeEvent* event : events->GetParameters())
    {
        if (!event->isFileLinked())
            continue;
        auto ttf = std::make_unique<structTTF>(event, kNoFire, kNoFire, kNoFire, 1.0f);
        m_ttfSettings[event] = ttf.get();
        ttf.release();
    }
}

void cKynFile::clearTtfSettings()
{
    for (auto const& entry : m_ttfSettings)
        delete entry.second;
    m_ttfSettings.clear();
}

void cKynFile::clearChannelDefects()
{
    m_currentChannelConfiguration = nullptr;
    for (auto const& entry : m_channelDefects)
        delete entry.second;
    m_channelDefects.clear();
}

cAcquisitionInputFile* cKynFile::acquisition() const
{
    return dynamic_cast<cAcquisitionInputFile*>(m_inputFile);
}

std::string cKynFile::headerText(ECrashText field) const
{
    cAcquisitionInputFile const* const recording = acquisition();
    return recording != nullptr ? recording->getText(field) : std::string();
}

mpf_class cKynFile::headerNumber(ECrashNumber field) const
{
    cAcquisitionInputFile const* const recording = acquisition();
    return recording != nullptr ? recording->getNumber(field) : mpf_class(0);
}

long cKynFile::getInstrumentationNumber() const
{
    cAcquisitionInputFile const* const recording = acquisition();
    return recording != nullptr ? recording->getInstrumentationNumber() : 0;
}

cChannelInput* cKynFile::firstChannelInput(unsigned int& cursor) const
{
    return m_inputFile->firstChannelInput(cursor);
}

cChannelInput* cKynFile::nextChannelInput(unsigned int& cursor) const
{
    return m_inputFile->nextChannelInput(cursor);
}

unsigned int cKynFile::getChannelInputSize() const
{
    return m_inputFile->getChannelInputSize();
}

void cKynFile::addChannelInput(cChannelInput* const channel)
{
    m_inputFile->addChannelInput(channel);
}

int cKynFile::save()
{
    cAcquisitionInputFile* const recording = acquisition();
    // A recording made in memory has no format to be written in.
    if (recording == nullptr)
        throw cFileNotWritableException(kSource, "cKynFile::save", __LINE__);
    recording->save();
    return 1;
}

std::string cKynFile::getFileName() const
{
    return m_inputFile->getFileName();
}

std::string cKynFile::extractName() const
{
    return m_inputFile->extractName();
}

int cKynFile::load(std::string* errorText)
{
    if (m_loaded)
        return 1;
    int const result =
        m_inputFile->load(activeProjectDeclaredChannels(), activeProjectChannelMapping(), errorText);
    // Even a failed read counts as loaded, so that a bad recording is not read again at every use.
    m_loaded = true;
    return result;
}

void cKynFile::useFile(bool use, std::string* errorText)
{
    m_used = use;
    if (use)
    {
        load(errorText);
        KYN_TRACE_GLOBAL(3, "File selected for use: " + getFileName());
    }
    else if (m_loaded)
    {
        // Only files in use keep their samples in memory.
        m_inputFile->release();
        m_loaded = false;
        KYN_TRACE_GLOBAL(3, "File unselected for use: " + getFileName());
    }
}

structTTF* cKynFile::firstTTFSetting(tTtfCursor& cursor) const
{
    cursor = m_ttfSettings.begin();
    return cursor != m_ttfSettings.end() ? cursor->second : nullptr;
}

structTTF* cKynFile::nextTTFSetting(tTtfCursor& cursor) const
{
    if (cursor == m_ttfSettings.end())
        return nullptr;
    ++cursor;
    return cursor != m_ttfSettings.end() ? cursor->second : nullptr;
}

structTTF* cKynFile::findStructTTF(cTimeEvent const* timeEvent) const
{
    structTTF* const ttf = tryFindStructTTF(timeEvent);
    if (ttf == nullptr)
        throw cStructTTFSearchedException(kSource, "cKynFile::findStructTTF", __LINE__);
    return ttf;
}

structTTF* cKynFile::tryFindStructTTF(cTimeEvent const* timeEvent) const
{
    auto const found = m_ttfSettings.find(const_cast<cTimeEvent*>(timeEvent));
    return found != m_ttfSettings.end() ? found->second : nullptr;
}

void cKynFile::copyTTFSettings(cKynFile* other)
{
    auto source = other->m_ttfSettings.begin();
    for (auto target = m_ttfSettings.begin();
         target != m_ttfSettings.end() && source != other->m_ttfSettings.end(); ++target, ++source)
    {
        structTTF* const to = target->second;
        structTTF const* const from = source->second;
        // Both maps come from one algorithm and normally share their events: nothing to assign then.
        if (to->timeEvent != from->timeEvent && to->timeEvent != nullptr && from->timeEvent != nullptr)
            *to->timeEvent = *from->timeEvent;
        for (int kind = eTtfMinimum; kind <= eTtfMaximum; ++kind)
            to->values[kind] = from->values[kind];
        to->weight = from->weight;
    }
}

bool cKynFile::loadTTFSettings(cConfigurationGroup* group)
{
    if (group == nullptr)
        return true;
    try
    {
        for (cConfigurationGroup* settings : group->GetConfigurationGroups())
        {
            if (settings->getName() != "Time Event Settings")
                continue;
            std::string name;
            std::string texts[3];
            float weight = 1.0f;
            settings->findItem("", "Time Event", name, true);
            settings->findItem("", "Minimum Value", texts[eTtfMinimum], true);
            settings->findItem("", "Optimum", texts[eTtfOptimum], true);
            settings->findItem("", "Maximum Value", texts[eTtfMaximum], true);
            settings->findItem("", "Weight", weight, true);
            cTimeEventMgr* const events = activeTimeEvents();
            // Without an algorithm no event is known to the project.
            if (events == nullptr)
                return false;
            structTTF* const ttf = findStructTTF(events->getParameter(name));
            ttf->setTtfValue(eTtfMinimum, texts[eTtfMinimum]);
            ttf->setTtfValue(eTtfOptimum, texts[eTtfOptimum]);
            ttf->setTtfValue(eTtfMaximum, texts[eTtfMaximum]);
            ttf->weight = weight;
        }
    }
    catch (cKynException const&)
    {
        // The caller warns once for the whole list; the entries read so far stay.
        return false;
    }
    return true;
}

void cKynFile::buildFile(cConfigurationGroup* group) const
{
    if (group->getName() == "Time Event Settings List")
        buildTtfSettings(group);
    else if (group->getName() == "Channel Defects List")
        buildChannelDefects(group, false);
    else
    {
        auto ttf = std::make_unique<cConfigurationGroup>("Time Event Settings List");
        buildTtfSettings(ttf.get());
        group->addConfigurationGroup(ttf.release());
        auto defects = std::make_unique<cConfigurationGroup>("Channel Defects List");
        buildChannelDefects(defects.get(), false);
        group->addConfigurationGroup(defects.release());
    }
}

void cKynFile::buildTtfSettings(cConfigurationGroup* group) const
{
    // The events go in the order of the algorithm's list, not of the map (which follows addresses), so
    // that saving the same list twice writes the same text.
    std::vector<structTTF const*> ordered;
    if (cTimeEventMgr const* const events = activeTimeEvents())
        for (cTimeEvent* event : events->GetParameters())
            if (structTTF const* const ttf = tryFindStructTTF(event))
                ordered.push_back(ttf);
    for (auto const& entry : m_ttfSettings)
        if (std::find(ordered.begin(), ordered.end(), entry.second) == ordered.end())
            ordered.push_back(entry.second);
    for (structTTF const* const ttf : ordered)
    {
        auto settings = std::make_unique<cConfigurationGroup>("Time Event Settings");
        settings->addInformation("Time Event", ttf->timeEvent != nullptr ? ttf->timeEvent->getName() : "");
        settings->addInformation("Minimum Value", ttf->asString(eTtfMinimum, 12));
        settings->addInformation("Optimum", ttf->asString(eTtfOptimum, 12));
        settings->addInformation("Maximum Value", ttf->asString(eTtfMaximum, 12));
        settings->addInformation("Weight", mpf_class(ttf->weight), 12);
        group->addConfigurationGroup(settings.release());
    }
}

void cKynFile::buildFileForBatchMode(cConfigurationGroup* group) const
{
    buildChannelDefects(group, true);
}

void cKynFile::buildChannelDefects(cConfigurationGroup* group, bool usedOnly) const
{
    for (auto const& [channel, configuration] : m_channelDefects)
    {
        cStorage<CSensorDefect*> const& defects = configuration->getDefects();
        bool anyUsed = false;
        for (unsigned int i = 0; i < defects.size(); ++i)
            anyUsed = anyUsed || defects[i]->isUsedDefect();
        if (defects.empty() || (usedOnly && !anyUsed))
            continue;
        auto channelGroup = std::make_unique<cConfigurationGroup>("Channel Defects");
        channelGroup->addInformation("Channel Name", channel);
        for (unsigned int i = 0; i < defects.size(); ++i)
        {
            CSensorDefect const* const defect = defects[i];
            if (usedOnly && !defect->isUsedDefect())
                continue;
            auto settings = std::make_unique<cConfigurationGroup>("Defects Settings");
            settings->addInformation("Defect Name", defect->getDefectName());
            settings->addInformation("Defect Type", defect->getDefectTypeAsString());
            settings->addInformation("Defect From", mpf_class(defect->getDefectFrom()), 12);
            settings->addInformation("Defect To", mpf_class(defect->getDefectTo()), 12);
            settings->addInformation("Used", defect->isUsedDefect());
            channelGroup->addConfigurationGroup(settings.release());
        }
        group->addConfigurationGroup(channelGroup.release());
    }
}

// ---------------------------------------------------------------------------------------------- defects

void cKynFile::FillMapOfFileChannelDefects()
{
    FillMapOfFileChannelDefects(activePreprocessingChannelNames());
}

void cKynFile::FillMapOfFileChannelDefects(std::vector<std::string> const& channelNames)
{
    load(nullptr);
    bool const isCsh = hasExtension(getFileName(), "csh");
    cAcquisitionInputFile const* const recording = acquisition();
    for (std::string const& name : channelNames)
    {
        if (m_channelDefects.count(name) != 0)
            continue;
        cChannelInput const* const input = m_inputFile->findChannelInput(name);
        // A channel the recording lacks spans nothing: no sample of it can be defective.
        float const end = input != nullptr ? input->getEndTimeInMs() : 0.0f;
        auto configuration = std::make_unique<CSensorDefectChannelConfiguration>(0.0f, end);
        if (isCsh && recording != nullptr)
        {
            cChannelDefectRecord const record = recording->getChannelDefectRecord(name);
            int const count = record.getCSHChannelDefectNumber();
            for (int i = 0; i < count; ++i)
            {
                std::string const defectName = record.getCSHChannelDefectName(i);
                double const from = record.getCSHChannelDefectFrom(i);
                double const to = record.getCSHChannelDefectTo(i);
                if (defectName == " " || from == -1.0 || to == -1.0)
                    continue;
                auto defect =
                    std::make_unique<CSensorDefect>(defectName, eDefectDeclaredInRecording,
                                                    static_cast<float>(from), static_cast<float>(to), false);
                defect->setEnableDefectPopup(defect->getDefectTo() == end);
                configuration->addDefect(defect.release());
            }
        }
        m_channelDefects.emplace(name, configuration.get());
        configuration.release();
    }
}

bool cKynFile::loadMapOfFileChannelDefects(cConfigurationGroup* group)
{
    if (group == nullptr)
        return true;
    bool result = true;
    // What the list says replaces what the recording declared.
    for (auto const& entry : m_channelDefects)
        entry.second->clearDefects();
    for (cConfigurationGroup const* const channelGroup : group->GetConfigurationGroups())
    {
        if (channelGroup->getName() != "Channel Defects")
            continue;
        std::string channel;
        CSensorDefectChannelConfiguration* configuration = nullptr;
        try
        {
            channelGroup->findItem("", "Channel Name", channel, true);
            auto const found = m_channelDefects.find(channel);
            if (found != m_channelDefects.end())
                configuration = found->second;
        }
        catch (cKynException const&)
        {
            result = false;
        }
        if (configuration == nullptr)
            continue;
        for (cConfigurationGroup const* const settings : channelGroup->GetConfigurationGroups())
        {
            if (settings->getName() != "Defects Settings")
                continue;
            try
            {
                std::string name;
                std::string type;
                float from = 0.0f;
                float to = 0.0f;
                bool used = false;
                settings->findItem("", "Defect Name", name, true);
                settings->findItem("", "Defect Type", type, true);
                settings->findItem("", "Defect From", from, true);
                settings->findItem("", "Defect To", to, true);
                settings->findItem("", "Used", used, true);
                auto defect = std::make_unique<CSensorDefect>();
                defect->setDefectName(name);
                defect->setDefectTypeAsString(type);
                defect->setDefectFrom(from);
                defect->setDefectTo(to);
                defect->setEnableDefectPopup(to == configuration->getEndOfChannel());
                CSensorDefect* const added = defect.get();
                configuration->addDefect(defect.release());
                if (used)
                    addUsedDefect(added, channel);
            }
            catch (cKynException const&)
            {
                // The caller warns once for the whole list; the other defects are read.
                result = false;
            }
        }
    }
    return result;
}

void cKynFile::addUsedDefect(CSensorDefect* defect, std::string channel)
{
    changeStateSensorDefect(defect, std::move(channel), true);
}

void cKynFile::removeUsedDefect(CSensorDefect* defect, std::string channel)
{
    changeStateSensorDefect(defect, std::move(channel), false);
}

void cKynFile::changeStateSensorDefect(CSensorDefect* defect, std::string channel, bool used)
{
    auto const found = m_channelDefects.find(channel);
    if (found == m_channelDefects.end() || defect == nullptr)
        return;
    if (CSensorDefect* const own = found->second->findDefect(defect->getDefectName()))
        own->setUsedDefect(used);
}

bool cKynFile::isAnyDefectUsed() const
{
    for (auto const& entry : m_channelDefects)
    {
        cStorage<CSensorDefect*> const& defects = entry.second->getDefects();
        for (unsigned int i = 0; i < defects.size(); ++i)
            if (defects[i]->isUsedDefect())
                return true;
    }
    return false;
}

bool cKynFile::isDefect(cChannel const* channel, unsigned int sample, float frequency)
{
    return isDefect(channel->getName(), sample, frequency);
}

bool cKynFile::isDefect(std::string const& channelName, unsigned int sample, float frequency)
{
    auto const found = m_channelDefects.find(channelName);
    m_currentChannelConfiguration = found != m_channelDefects.end() ? found->second : nullptr;
    CSensorDefectChannelConfiguration const* const configuration = m_currentChannelConfiguration;
    if (configuration == nullptr)
        return false;
    // Single precision, as the sample times of the algorithm stage are compared with it.
    float const time = (1.0f / frequency) * 1000.0f * static_cast<float>(sample);
    if (time < configuration->getStartOfChannel() || time > configuration->getEndOfChannel())
        return false;
    cStorage<CSensorDefect*> const& defects = configuration->getDefects();
    for (unsigned int i = 0; i < defects.size(); ++i)
    {
        CSensorDefect const* const defect = defects[i];
        // The type whose text is "Added on the fly": only the user's defects act on the samples.
        if (defect->isUsedDefect() && defect->getDefectType() == eDefectAddedOnTheFly &&
            defect->getDefectFrom() <= time && time <= defect->getDefectTo())
            return true;
    }
    return false;
}

// ---------------------------------------------------------------------------------------------- formats

cInputFile* makeAcquisitionFile(char const* path, int mode, cConfigurationGroup* crashMapping)
{
    char const* const function = "makeAcquisitionFile";
    std::string const text = path != nullptr ? path : "";
    std::unique_ptr<cAcquisitionInputFile> file;
    if (hasExtension(text, "csh"))
        file = std::make_unique<cCshInputFile>(text.c_str(), mode);
    else if (hasExtension(text, "bin"))
        file = std::make_unique<cBinInputFile>(text.c_str(), mode);
    else if (hasExtension(text, "mme"))
        file = std::make_unique<cMmeInputFile>(text.c_str(), mode);
    else
        throw cFstreamOpenException(kSource, function, __LINE__, text);
    if (!file->isOpen())
    {
        int const error = errno;
        errno = 0;
        // EMFILE (24): the process has no file handle left, which the list reports on its own line.
        if (error == EMFILE)
            throw cTooManyOpenFilesException(kSource, function, __LINE__, text);
        throw cFstreamOpenException(kSource, function, __LINE__, text);
    }
    file->setCrashMapping(crashMapping);
    file->read();
    if (!file->isOpen())
        throw cFstreamOpenException(kSource, function, __LINE__, text);
    // An idle crash file holds no handle: a list of many files would run out of them.
    file->closeStream();
    return file.release();
}

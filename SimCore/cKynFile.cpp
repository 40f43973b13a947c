#include "SimCore/cKynFile.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"
#include "BaseKit/cTraceProvider.h"
#include "SimCore/cAlgorithm.h"
#include "SimCore/cTimeEvent.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cConfigurationGroup.h"
#include "StoreKit/cInputFile.h"

#include <algorithm>
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
        initialiseTtfSettings();
    }
    catch (...)
    {
        // No destructor runs for a constructor that fails: give back what was taken.
        clearTtfSettings();
        delete m_inputFile;
        throw;
    }
}

cKynFile::~cKynFile()
{
    clearTtfSettings();
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
    // The declared channel names come from the active project; without one, none are declared.
    std::vector<std::string> const declaredChannels;
    int const result = m_inputFile->load(declaredChannels, nullptr, errorText);
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

cInputFile* makeAcquisitionFile(char const* path, int mode, cConfigurationGroup* crashMapping)
{
    // The stream mode and the channel mapping are for the readers of the crash formats.
    static_cast<void>(mode);
    static_cast<void>(crashMapping);
    std::string const text = path != nullptr ? path : "";
    std::string extension = GetExtension(path);
    toLower(extension);
    if (extension == "csh")
        throw cFstreamOpenException(kSource, "makeAcquisitionFile", __LINE__,
                                    text + " (reading CSH files is not available yet)");
    if (extension == "bin")
        throw cFstreamOpenException(kSource, "makeAcquisitionFile", __LINE__,
                                    text + " (reading BIN files is not available yet)");
    throw cFstreamOpenException(kSource, "makeAcquisitionFile", __LINE__, text);
}

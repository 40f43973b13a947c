#include "StoreKit/cAcquisitionInputFile.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"
#include "StoreKit/cConfigurationGroup.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <unistd.h>

namespace
{
char const* const kSource = "StoreKit/cAcquisitionInputFile";

char const* const kTextKeys[eCrashTextCount] = {
    "Precise Crash Type", "Crash Type",      "Hand Driven Car",  "Obstacle Type", "Test Reference",
    "Vehicle Code",       "Test Number",     "Side Of Impact",   "Event Code",    "Crash Speed Unit",
    "Number Of Channels", "Simulated Event", "Test Phase",       "Unit Type",     "Channels Orientation",
    "Series Number",      "Comments",        "Catapult Test",    "Bumper Shield", "Bumper Foam",
    "Bumper Code",        "Impactor Type",   "Impact Speed Unit"};

char const* const kNumberKeys[eCrashNumberCount] = {
    "Crash Angle",        "Crash Speed",   "Horizontal Covering", "Obstacle Mass",
    "Vehicle Mass",       "Vehicle Speed", "Vertical Covering",   "Y Position",
    "Bumper Temperature", "Impactor Mass", "Impact Speed"};

char const* const kT0Key = "T0";

bool isNumber(std::string const& text)
{
    double ignored = 0.0;
    return strtodStrict(text, ignored);
}

bool isWholeNumber(std::string const& text)
{
    if (text.empty())
        return false;
    char* end = nullptr;
    errno = 0;
    std::strtol(text.c_str(), &end, 10);
    bool const whole = errno == 0 && end == text.c_str() + text.size();
    errno = 0;
    return whole;
}
} // namespace

cChannelDefectRecord::cChannelDefectRecord(std::vector<sDeclaredDefect> defects)
    : m_known(true), m_defects(std::move(defects))
{
}

cAcquisitionInputFile::cAcquisitionInputFile(char const* path, int mode) : cBinaryInputFile(path, mode) {}

cAcquisitionInputFile::~cAcquisitionInputFile() = default;

char const* cAcquisitionInputFile::textKey(ECrashText field)
{
    return kTextKeys[field];
}

char const* cAcquisitionInputFile::numberKey(ECrashNumber field)
{
    return kNumberKeys[field];
}

mpf_class cAcquisitionInputFile::getNumber(ECrashNumber field) const
{
    std::string const& text = m_numbers[field];
    return text.empty() ? mpf_class(0) : convertStringToDouble(text);
}

bool cAcquisitionInputFile::setNumberText(ECrashNumber field, std::string const& text)
{
    if (!text.empty() && !isNumber(text))
        return false;
    m_numbers[field] = text;
    return true;
}

bool cAcquisitionInputFile::setInstrumentationNumberText(std::string const& text)
{
    if (!text.empty() && !isWholeNumber(text))
        return false;
    m_instrumentationNumber = text;
    return true;
}

long cAcquisitionInputFile::getInstrumentationNumber() const
{
    return m_instrumentationNumber.empty() ? 0 : std::strtol(m_instrumentationNumber.c_str(), nullptr, 10);
}

void cAcquisitionInputFile::addExtraHeaderItem(std::string key, std::string value)
{
    m_extraItems.emplace_back(std::move(key), std::move(value));
}

std::string cAcquisitionInputFile::getHeaderItem(std::string const& key) const
{
    for (int field = 0; field < eCrashTextCount; ++field)
        if (key == kTextKeys[field])
            return m_texts[field];
    for (int field = 0; field < eCrashNumberCount; ++field)
        if (key == kNumberKeys[field])
            return m_numbers[field];
    if (key == instrumentationNumberKey())
        return m_instrumentationNumber;
    if (key == kT0Key)
        return m_t0;
    for (auto const& [itemKey, value] : m_extraItems)
        if (itemKey == key)
            return value;
    return std::string();
}

void cAcquisitionInputFile::addHeaderItem(std::string const& key, std::string const& value, unsigned int line)
{
    m_rawItems.emplace_back(key, value);
    for (int field = 0; field < eCrashTextCount; ++field)
    {
        if (key == kTextKeys[field])
        {
            m_texts[field] = value;
            return;
        }
    }
    for (int field = 0; field < eCrashNumberCount; ++field)
    {
        if (key == kNumberKeys[field])
        {
            if (!setNumberText(static_cast<ECrashNumber>(field), value))
                failAtLine(line, key + " \"" + value + "\" is no number");
            return;
        }
    }
    if (key == instrumentationNumberKey())
    {
        if (!setInstrumentationNumberText(value))
            failAtLine(line, key + " \"" + value + "\" is no whole number");
        return;
    }
    if (key == kT0Key)
    {
        if (!value.empty() && !isNumber(value))
            failAtLine(line, std::string(kT0Key) + " \"" + value + "\" is no number");
        m_t0 = value;
        return;
    }
    addExtraHeaderItem(key, value);
}

void cAcquisitionInputFile::read()
{
    // The directory is read once: a second read would add every channel again.
    if (m_directoryRead)
        return;
    m_directoryRead = true;
    readDirectory();
    m_defects.resize(getChannelInputSize());
    applyCrashMapping();
}

void cAcquisitionInputFile::applyCrashMapping()
{
    tHeaderItems mapping = defaultCrashMapping();
    if (m_crashMapping != nullptr)
        for (auto const& item : m_crashMapping->getInformationRange())
            mapping.emplace_back(item.key, item.value);
    for (auto const& [fieldKey, headerKey] : mapping)
    {
        std::string const* found = nullptr;
        for (auto const& [key, value] : m_rawItems)
        {
            if (key == headerKey)
            {
                found = &value;
                break;
            }
        }
        if (found == nullptr)
            continue;
        for (int field = 0; field < eCrashTextCount; ++field)
            if (fieldKey == kTextKeys[field])
                m_texts[field] = *found;
        // A foreign value that is no number leaves a number field as it was: the header is the lab's,
        // not ours to refuse.
        for (int field = 0; field < eCrashNumberCount; ++field)
            if (fieldKey == kNumberKeys[field])
                setNumberText(static_cast<ECrashNumber>(field), *found);
        if (fieldKey == instrumentationNumberKey())
            setInstrumentationNumberText(*found);
    }
}

cChannelDefectRecord cAcquisitionInputFile::getChannelDefectRecord(std::string const& channelName) const
{
    unsigned int cursor = 0;
    unsigned int index = 0;
    for (cChannelInput* channel = firstChannelInput(cursor); channel != nullptr;
         channel = nextChannelInput(cursor), ++index)
    {
        if (channel->getName() == channelName)
            return cChannelDefectRecord(index < m_defects.size() ? m_defects[index]
                                                                 : std::vector<sDeclaredDefect>());
    }
    return cChannelDefectRecord();
}

std::vector<sDeclaredDefect> const& cAcquisitionInputFile::getDeclaredDefects(unsigned int channelIndex) const
{
    static std::vector<sDeclaredDefect> const none;
    return channelIndex < m_defects.size() ? m_defects[channelIndex] : none;
}

void cAcquisitionInputFile::setDeclaredDefects(unsigned int channelIndex,
                                               std::vector<sDeclaredDefect> defects)
{
    if (m_defects.size() <= channelIndex)
        m_defects.resize(channelIndex + 1);
    m_defects[channelIndex] = std::move(defects);
}

void cAcquisitionInputFile::save()
{
    throw cFileNotWritableException(kSource, "cAcquisitionInputFile::save", __LINE__);
}

void cAcquisitionInputFile::failAtLine(unsigned int line, std::string const& what) const
{
    if (line == 0)
        fail(what);
    failInFile(getFileName(), line, what);
}

void cAcquisitionInputFile::failInFile(std::string const& file, unsigned int line,
                                       std::string const& what) const
{
    throw cGenericException(kSource, "cAcquisitionInputFile::read", __LINE__,
                            "Bad crash recording \"" + file + "\" at line " + std::to_string(line) + ": " +
                                what);
}

void cAcquisitionInputFile::fail(std::string const& what) const
{
    throw cGenericException(kSource, "cAcquisitionInputFile::read", __LINE__,
                            "Bad crash recording \"" + getFileName() + "\": " + what);
}

void cAcquisitionInputFile::replaceFileContent(std::string const& path, std::string const& bytes)
{
    std::string const temporary = path + ".tmp-" + std::to_string(::getpid());
    {
        std::ofstream output(temporary, std::ios::out | std::ios::binary | std::ios::trunc);
        output.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        output.close();
        if (!output)
        {
            std::remove(temporary.c_str());
            throw cFstreamOpenException(kSource, "cAcquisitionInputFile::replaceFileContent", __LINE__, path);
        }
    }
    if (std::rename(temporary.c_str(), path.c_str()) != 0)
    {
        std::remove(temporary.c_str());
        throw cFstreamOpenException(kSource, "cAcquisitionInputFile::replaceFileContent", __LINE__, path);
    }
}

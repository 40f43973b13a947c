#include "StoreKit/cCshInputFile.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"

#include <algorithm>
#include <cfloat>
#include <charconv>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <system_error>

// The CSH text, line by line:
//
//   CSH 1                          format and version
//   Crash Type = Frontal           header: crash fields by their keys, "T0", then any other items
//   Channel = ACU_X                a channel of the directory, then its keys:
//   Unit = g                         unit (may be empty)
//   Sampling Rate = 20000            in Hz, a number above 0
//   Samples = 4                      the number of sample lines of its data section
//   Defect = broken wire             a declared defect (any number, each with its two times in ms)
//   Defect From = 10
//   Defect To = 20
//   Data = ACU_X                   the samples of each channel, in directory order, one per line
//   0.5
//
// Blank lines and lines starting with '#' are allowed before the first "Data". A value is trimmed; a
// value with blanks at its ends, a leading '"', or a line break or backslash is written in double quotes
// with the escapes \\ \" \n \r \t. Samples are written in the shortest form that reads back to the same
// float, and rates in the shortest form of their double (the precision of a BIN file), so that a read,
// write, read round trip is exact.

namespace
{
char const* const kMagic = "CSH";
int const kVersion = 1;
char const* const kChannelKey = "Channel";
char const* const kDataKey = "Data";

// One line of the text: its content without the line break, and the offset behind it.
struct sLine
{
    std::string_view text;
    size_t next;
};

sLine lineAt(std::string_view text, size_t from)
{
    size_t const end = text.find('\n', from);
    size_t const stop = end == std::string_view::npos ? text.size() : end;
    std::string_view line = text.substr(from, stop - from);
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    return {line, end == std::string_view::npos ? text.size() : end + 1};
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

bool needsQuotes(std::string const& value)
{
    if (value.empty())
        return false;
    if (value.front() == ' ' || value.front() == '\t' || value.back() == ' ' || value.back() == '\t' ||
        value.front() == '"')
        return true;
    return value.find_first_of("\\\n\r") != std::string::npos;
}

std::string encoded(std::string const& value)
{
    if (!needsQuotes(value))
        return value;
    std::string text = "\"";
    for (char const c : value)
    {
        switch (c)
        {
        case '\\':
            text += "\\\\";
            break;
        case '"':
            text += "\\\"";
            break;
        case '\n':
            text += "\\n";
            break;
        case '\r':
            text += "\\r";
            break;
        case '\t':
            text += "\\t";
            break;
        default:
            text += c;
        }
    }
    return text + "\"";
}

// The value as written; false for a quoted value that is not closed or holds an unknown escape.
bool decoded(std::string_view text, std::string& value)
{
    if (text.empty() || text.front() != '"')
    {
        value.assign(text);
        return true;
    }
    if (text.size() < 2 || text.back() != '"')
        return false;
    value.clear();
    for (size_t i = 1; i + 1 < text.size(); ++i)
    {
        char const c = text[i];
        if (c == '"')
            return false;
        if (c != '\\')
        {
            value += c;
            continue;
        }
        if (i + 2 >= text.size())
            return false;
        switch (text[++i])
        {
        case '\\':
            value += '\\';
            break;
        case '"':
            value += '"';
            break;
        case 'n':
            value += '\n';
            break;
        case 'r':
            value += '\r';
            break;
        case 't':
            value += '\t';
            break;
        default:
            return false;
        }
    }
    return true;
}

bool parseCount(std::string const& text, unsigned int& count)
{
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

bool parseSample(std::string_view text, float& sample)
{
    text = trimmed(text);
    char const* begin = text.data();
    if (!text.empty() && text.front() == '+')
        ++begin;
    auto const [end, error] = std::from_chars(begin, text.data() + text.size(), sample);
    return !text.empty() && error == std::errc() && end == text.data() + text.size();
}

template <class tNumber> std::string shortestText(tNumber value)
{
    char buffer[64];
    auto const result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

std::string readAll(std::ifstream& stream)
{
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

// A key fit for a line of its own: no '=', no line break, no blanks at its ends, not empty.
bool isWritableKey(std::string const& key)
{
    return !key.empty() && key.find_first_of("=\n\r") == std::string::npos && trimmed(key) == key &&
           key.front() != '#';
}
} // namespace

cCshInputFile::cCshInputFile(char const* path, int mode) : cAcquisitionInputFile(path, mode) {}

cCshInputFile::~cCshInputFile() = default;

void cCshInputFile::readDirectory()
{
    std::string const text = readAll(stream());
    std::string_view const view(text);
    sLine line = lineAt(view, 0);
    unsigned int lineNumber = 1;
    {
        std::string_view const first = trimmed(line.text);
        if (first.substr(0, 4) != "CSH ")
            failAtLine(1, "not a CSH recording: the first line must be \"CSH 1\"");
        std::string const version(trimmed(first.substr(4)));
        if (version != std::to_string(kVersion))
            failAtLine(1, "version \"" + version + "\" is not supported");
    }

    struct sChannelEntry
    {
        std::string name;
        std::string unit;
        std::string rate;
        std::string samples;
        unsigned int line = 0;
        std::vector<sDeclaredDefect> defects;
        bool hasFrom = false;
        bool hasTo = false;
    };
    std::vector<sChannelEntry> entries;
    m_dataOffset = std::string::npos;
    for (size_t offset = line.next; offset < view.size(); offset = line.next)
    {
        line = lineAt(view, offset);
        ++lineNumber;
        std::string_view const content = trimmed(line.text);
        if (content.empty() || content.front() == '#')
            continue;
        size_t const equals = content.find('=');
        if (equals == std::string_view::npos)
            failAtLine(lineNumber, "expected \"key = value\"");
        std::string const key(trimmed(content.substr(0, equals)));
        std::string value;
        if (!decoded(trimmed(content.substr(equals + 1)), value))
            failAtLine(lineNumber,
                       "the quoted value of " + key + " is not closed or holds an unknown escape");
        if (key == kDataKey)
        {
            m_dataOffset = offset;
            m_dataLine = lineNumber;
            break;
        }
        if (key == kChannelKey)
        {
            if (value.empty())
                failAtLine(lineNumber, "a channel without a name");
            for (sChannelEntry const& entry : entries)
                if (entry.name == value)
                    failAtLine(lineNumber, "channel " + value + " is declared twice");
            entries.push_back({value, "", "", "", lineNumber, {}, false, false});
            continue;
        }
        if (entries.empty())
        {
            addHeaderItem(key, value, lineNumber);
            continue;
        }
        sChannelEntry& entry = entries.back();
        if (key == "Unit")
            entry.unit = value;
        else if (key == "Sampling Rate")
        {
            double rate = 0.0;
            if (!strtodStrict(value, rate) || !(rate > 0.0))
                failAtLine(lineNumber, "the sampling rate \"" + value + "\" is no number above 0");
            entry.rate = value;
        }
        else if (key == "Samples")
        {
            unsigned int count = 0;
            if (!parseCount(value, count))
                failAtLine(lineNumber, "the sample count \"" + value + "\" is no whole number");
            entry.samples = value;
        }
        else if (key == "Defect")
        {
            if (!entry.defects.empty() && (!entry.hasFrom || !entry.hasTo))
                failAtLine(lineNumber, "defect " + entry.defects.back().name + " of channel " + entry.name +
                                           " lacks \"Defect From\" or \"Defect To\"");
            entry.defects.push_back({value, -1.0, -1.0});
            entry.hasFrom = entry.hasTo = false;
        }
        else if (key == "Defect From" || key == "Defect To")
        {
            double time = 0.0;
            if (entry.defects.empty())
                failAtLine(lineNumber, key + " before any \"Defect\" of channel " + entry.name);
            if (!strtodStrict(value, time))
                failAtLine(lineNumber, key + " \"" + value + "\" is no number");
            bool& seen = key == "Defect From" ? entry.hasFrom : entry.hasTo;
            if (seen)
                failAtLine(lineNumber, key + " given twice for defect " + entry.defects.back().name);
            seen = true;
            (key == "Defect From" ? entry.defects.back().from : entry.defects.back().to) = time;
        }
        else
            failAtLine(lineNumber, "unknown channel key \"" + key + "\" in channel " + entry.name);
    }

    for (sChannelEntry const& entry : entries)
    {
        if (entry.rate.empty())
            failAtLine(entry.line, "channel " + entry.name + " has no \"Sampling Rate\"");
        if (entry.samples.empty())
            failAtLine(entry.line, "channel " + entry.name + " has no \"Samples\"");
        if (!entry.defects.empty() && (!entry.hasFrom || !entry.hasTo))
            failAtLine(entry.line, "defect " + entry.defects.back().name + " of channel " + entry.name +
                                       " lacks \"Defect From\" or \"Defect To\"");
    }
    if (m_dataOffset == std::string::npos && !entries.empty())
        failAtLine(lineNumber,
                   "the recording ends before the samples (no \"Data = " + entries.front().name + "\")");
    // Every sample takes a line of at least one character: a count that the rest of the file cannot
    // hold is refused here, before any memory is set aside for it.
    unsigned long long declared = 0;
    for (unsigned int index = 0; index < entries.size(); ++index)
    {
        sChannelEntry& entry = entries[index];
        unsigned int count = 0;
        parseCount(entry.samples, count);
        declared += count;
        if (declared > (view.size() - m_dataOffset) / 2 + 1)
            failAtLine(entry.line, "channel " + entry.name + " declares " + entry.samples +
                                       " samples, more than the rest of the recording holds");
        // The end time in milliseconds is kept as a float, so a tiny rate over many samples is refused.
        double rate = 0.0;
        strtodStrict(entry.rate, rate);
        if (count > 1 && double(count - 1) * 1000.0 / rate > double(FLT_MAX))
            failAtLine(entry.line, "channel " + entry.name + ": sampling rate " + entry.rate +
                                       " Hz is out of range for " + entry.samples + " samples");
        addChannelInput(
            new cChannelInput(entry.name, entry.unit, convertStringToDouble(entry.rate), count, this, index));
        setDeclaredDefects(index, std::move(entry.defects));
    }
}

void cCshInputFile::indexSections(std::string const& text) const
{
    std::string_view const view(text);
    std::vector<sSection> sections;
    size_t offset = m_dataOffset;
    unsigned int lineNumber = m_dataLine;
    unsigned int cursor = 0;
    for (cChannelInput const* channel = firstChannelInput(cursor); channel != nullptr;
         channel = nextChannelInput(cursor))
    {
        // Blank lines may stand between sections.
        sLine line = lineAt(view, offset);
        while (offset < view.size() && trimmed(line.text).empty())
        {
            offset = line.next;
            ++lineNumber;
            line = lineAt(view, offset);
        }
        if (offset >= view.size())
            failAtLine(lineNumber, "the recording ends before \"Data = " + channel->getName() + "\"");
        std::string_view const content = trimmed(line.text);
        size_t const equals = content.find('=');
        std::string name;
        if (equals == std::string_view::npos || trimmed(content.substr(0, equals)) != kDataKey ||
            !decoded(trimmed(content.substr(equals + 1)), name) || name != channel->getName())
            failAtLine(lineNumber, "expected \"Data = " + channel->getName() + "\"");
        sSection section;
        section.begin = line.next;
        section.firstLine = lineNumber + 1;
        offset = line.next;
        ++lineNumber;
        for (unsigned int i = 0; i < channel->getSampleNumber(); ++i)
        {
            if (offset >= view.size())
                failAtLine(lineNumber, "channel " + channel->getName() + " ends after " + std::to_string(i) +
                                           " of its " + std::to_string(channel->getSampleNumber()) +
                                           " samples");
            offset = lineAt(view, offset).next;
            ++lineNumber;
        }
        section.end = offset;
        sections.push_back(section);
    }
    for (; offset < view.size(); ++lineNumber)
    {
        sLine const line = lineAt(view, offset);
        if (!trimmed(line.text).empty())
            failAtLine(lineNumber, "text after the samples of the last channel");
        offset = line.next;
    }
    m_sections = std::move(sections);
}

void cCshInputFile::readChannelSamples(cChannelInput const& channel, std::vector<float>& samples) const
{
    sSection section;
    {
        std::lock_guard<std::mutex> lock(m_sectionsMutex);
        if (m_sections.empty() && getChannelInputSize() > 0)
        {
            std::ifstream whole(getFileName(), std::ios::in | std::ios::binary);
            if (!whole.is_open())
                throw cFstreamOpenException("StoreKit/cCshInputFile", "cCshInputFile::readChannelSamples",
                                            __LINE__, getFileName());
            indexSections(readAll(whole));
        }
        section = m_sections.at(channel.getSourceIndex());
    }
    std::ifstream input(getFileName(), std::ios::in | std::ios::binary);
    if (!input.is_open())
        throw cFstreamOpenException("StoreKit/cCshInputFile", "cCshInputFile::readChannelSamples", __LINE__,
                                    getFileName());
    std::string block(section.end - section.begin, '\0');
    input.seekg(static_cast<std::streamoff>(section.begin));
    input.read(block.data(), static_cast<std::streamsize>(block.size()));
    if (input.gcount() != static_cast<std::streamsize>(block.size()))
        fail("the file changed since it was opened");
    std::string_view const view(block);
    samples.clear();
    samples.reserve(channel.getSampleNumber());
    unsigned int lineNumber = section.firstLine;
    for (size_t offset = 0; offset < view.size(); ++lineNumber)
    {
        sLine const line = lineAt(view, offset);
        float sample = 0.0f;
        if (!parseSample(line.text, sample))
            failAtLine(lineNumber, "sample \"" + std::string(trimmed(line.text)) + "\" of channel " +
                                       channel.getName() + " is no number");
        samples.push_back(sample);
        offset = line.next;
    }
}

void cCshInputFile::writeFile(cInputFile const& recording, std::string const& path)
{
    replaceFileContent(path, textOf(recording, path));
}

std::string cCshInputFile::textOf(cInputFile const& recording, std::string const& path)
{
    auto fail = [&](std::string const& what)
    {
        throw cGenericException("StoreKit/cCshInputFile", "cCshInputFile::writeFile", __LINE__,
                                "Cannot write crash recording \"" + path + "\": " + what);
    };
    auto item = [&](std::string& text, std::string const& key, std::string const& value)
    {
        if (!isWritableKey(key) || key == kChannelKey || key == kDataKey)
            fail("the header key \"" + key + "\" cannot stand in a CSH file");
        text += key + " = " + encoded(value) + "\n";
    };
    std::string text = std::string(kMagic) + " " + std::to_string(kVersion) + "\n";
    auto const* acquisition = dynamic_cast<cAcquisitionInputFile const*>(&recording);
    if (acquisition != nullptr)
    {
        for (int field = 0; field < eCrashTextCount; ++field)
            if (!acquisition->getText(static_cast<ECrashText>(field)).empty())
                item(text, textKey(static_cast<ECrashText>(field)),
                     acquisition->getText(static_cast<ECrashText>(field)));
        for (int field = 0; field < eCrashNumberCount; ++field)
            if (!acquisition->getNumberText(static_cast<ECrashNumber>(field)).empty())
                item(text, numberKey(static_cast<ECrashNumber>(field)),
                     acquisition->getNumberText(static_cast<ECrashNumber>(field)));
        if (!acquisition->getInstrumentationNumberText().empty())
            item(text, instrumentationNumberKey(), acquisition->getInstrumentationNumberText());
        if (!acquisition->getT0Text().empty())
            item(text, "T0", acquisition->getT0Text());
        for (auto const& [key, value] : acquisition->getExtraHeaderItems())
            item(text, key, value);
    }
    unsigned int cursor = 0;
    unsigned int index = 0;
    for (cChannelInput const* channel = recording.firstChannelInput(cursor); channel != nullptr;
         channel = recording.nextChannelInput(cursor), ++index)
    {
        if (channel->getName().empty())
            fail("a channel without a name");
        if (!(channel->getSamplingRate() > 0))
            fail("channel " + channel->getName() + " has no sampling rate above 0");
        text += std::string(kChannelKey) + " = " + encoded(channel->getName()) + "\n";
        text += "Unit = " + encoded(channel->getUnit()) + "\n";
        text += "Sampling Rate = " + shortestText(channel->getSamplingRateInHz()) + "\n";
        text += "Samples = " + std::to_string(channel->getSampleNumber()) + "\n";
        if (acquisition != nullptr)
        {
            for (sDeclaredDefect const& defect : acquisition->getDeclaredDefects(index))
            {
                text += "Defect = " + encoded(defect.name) + "\n";
                text += "Defect From = " + shortestText(defect.from) + "\n";
                text += "Defect To = " + shortestText(defect.to) + "\n";
            }
        }
    }
    cursor = 0;
    for (cChannelInput* channel = recording.firstChannelInput(cursor); channel != nullptr;
         channel = recording.nextChannelInput(cursor))
    {
        text += std::string(kDataKey) + " = " + encoded(channel->getName()) + "\n";
        bool const hadSamples = channel->hasSamples();
        for (float const sample : channel->getSamples())
        {
            text += shortestText(sample);
            text += '\n';
        }
        // A crash file out of use holds no samples: what was read only to be written goes again.
        if (!hadSamples)
            channel->releaseSamples();
    }
    return text;
}

void cCshInputFile::save()
{
    std::string const text = textOf(*this, getFileName());
    replaceFileContent(getFileName(), text);
    // The samples now stand elsewhere in the file: find the first section again and index anew.
    std::lock_guard<std::mutex> lock(m_sectionsMutex);
    m_sections.clear();
    // The first line that opens a data section: keys and values never hold a line break unescaped.
    size_t const data = text.find("\nData = ");
    m_dataOffset = data == std::string::npos ? std::string::npos : data + 1;
    m_dataLine = data == std::string::npos
                     ? 0
                     : static_cast<unsigned int>(std::count(text.begin(), text.begin() + data + 1, '\n')) + 1;
}

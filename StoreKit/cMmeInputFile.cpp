#include "StoreKit/cMmeInputFile.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"

#include <algorithm>
#include <cctype>
#include <cfloat>
#include <charconv>
#include <climits>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string_view>
#include <utility>

namespace
{
char const* const kSource = "StoreKit/cMmeInputFile";
char const* const kNoValue = "NOVALUE";

// Blanks, tabs and the CR of a CRLF line end.
std::string_view trimmed(std::string_view text)
{
    size_t begin = 0;
    size_t end = text.size();
    while (begin < end && (text[begin] == ' ' || text[begin] == '\t' || text[begin] == '\r'))
        ++begin;
    while (end > begin && (text[end - 1] == ' ' || text[end - 1] == '\t' || text[end - 1] == '\r'))
        --end;
    return text.substr(begin, end - begin);
}

std::string lowerCase(std::string_view text)
{
    std::string result(text);
    toLower(result);
    return result;
}

std::string_view withoutBom(std::string_view text)
{
    return text.substr(0, 3) == "\xEF\xBB\xBF" ? text.substr(3) : text;
}

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isValidUtf8(std::string_view text)
{
    size_t i = 0;
    while (i < text.size())
    {
        unsigned char const lead = static_cast<unsigned char>(text[i]);
        size_t length = 0;
        unsigned char low = 0x80;
        unsigned char high = 0xBF;
        if (lead < 0x80)
            length = 1;
        else if (lead >= 0xC2 && lead <= 0xDF)
            length = 2;
        else if (lead >= 0xE0 && lead <= 0xEF)
        {
            length = 3;
            low = lead == 0xE0 ? 0xA0 : 0x80;
            high = lead == 0xED ? 0x9F : 0xBF;
        }
        else if (lead >= 0xF0 && lead <= 0xF4)
        {
            length = 4;
            low = lead == 0xF0 ? 0x90 : 0x80;
            high = lead == 0xF4 ? 0x8F : 0xBF;
        }
        else
            return false;
        if (text.size() - i < length)
            return false;
        for (size_t k = 1; k < length; ++k)
        {
            unsigned char const next = static_cast<unsigned char>(text[i + k]);
            if (next < (k == 1 ? low : 0x80) || next > (k == 1 ? high : 0xBF))
                return false;
        }
        i += length;
    }
    return true;
}

void appendUtf8(std::string& out, unsigned int codePoint)
{
    if (codePoint < 0x80)
        out += static_cast<char>(codePoint);
    else if (codePoint < 0x800)
    {
        out += static_cast<char>(0xC0 | (codePoint >> 6));
        out += static_cast<char>(0x80 | (codePoint & 0x3F));
    }
    else
    {
        out += static_cast<char>(0xE0 | (codePoint >> 12));
        out += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (codePoint & 0x3F));
    }
}

// Windows-1252 is Latin-1 except for 0x80-0x9F, where it has printable characters (0xFFFD where it
// defines none): reading every non-UTF-8 text this way serves both encodings that laboratories write.
std::string windows1252ToUtf8(std::string_view text)
{
    static unsigned short const k80To9F[32] = {
        0x20AC, 0xFFFD, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
        0x2039, 0x0152, 0xFFFD, 0x017D, 0xFFFD, 0xFFFD, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
        0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0xFFFD, 0x017E, 0x0178};
    std::string out;
    out.reserve(text.size() + text.size() / 4);
    for (char const c : text)
    {
        unsigned char const byte = static_cast<unsigned char>(c);
        appendUtf8(out, byte >= 0x80 && byte <= 0x9F ? k80To9F[byte - 0x80] : byte);
    }
    return out;
}

std::string toUtf8(std::string_view text)
{
    return isValidUtf8(text) ? std::string(text) : windows1252ToUtf8(text);
}

// One "name:value" line, split at the first colon (values such as timestamps hold colons).
struct sHeaderLine
{
    unsigned int line = 0;
    std::string name;
    std::string value;
};

// The pair of a header line; false when it has no colon. NOVALUE gives an empty value.
bool splitNameValue(std::string_view text, std::string_view& name, std::string_view& value)
{
    size_t const colon = text.find(':');
    if (colon == std::string_view::npos)
        return false;
    name = trimmed(text.substr(0, colon));
    value = trimmed(text.substr(colon + 1));
    if (value == kNoValue)
        value = std::string_view();
    return true;
}

// The .mme and the .chn: every non-blank line is a pair; file is the path errors name.
template <typename Fail>
std::vector<sHeaderLine> readHeaderLines(std::string_view bytes, std::string const& file, Fail const& failAt)
{
    std::string const text = toUtf8(withoutBom(bytes));
    std::vector<sHeaderLine> lines;
    size_t position = 0;
    for (unsigned int number = 1; position < text.size(); ++number)
    {
        size_t end = text.find('\n', position);
        if (end == std::string::npos)
            end = text.size();
        std::string_view const line = trimmed(std::string_view(text).substr(position, end - position));
        position = end + 1;
        if (line.empty())
            continue;
        std::string_view name;
        std::string_view value;
        if (!splitNameValue(line, name, value))
            failAt(file, number, "\"" + std::string(line) + "\" is no \"name:value\" line");
        if (name.empty())
            failAt(file, number, "\"" + std::string(line) + "\" has no name before its colon");
        lines.push_back({number, std::string(name), std::string(value)});
    }
    return lines;
}

std::string readWholeFile(std::string const& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in.is_open())
        throw cFstreamOpenException(kSource, "cMmeInputFile::readDirectory", __LINE__, path);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool parseWholeNumber(std::string_view text, unsigned long long& out)
{
    if (text.empty() || text[0] < '0' || text[0] > '9')
        return false;
    auto const result = std::from_chars(text.data(), text.data() + text.size(), out);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

// The text of -seconds x 1000, exactly as the decimal digits give it: "-0.01" s gives "10" ms. The
// text has been checked to be a finite decimal number.
std::string negatedMilliseconds(std::string const& seconds)
{
    std::string_view text = seconds;
    bool negative = false;
    if (!text.empty() && (text[0] == '+' || text[0] == '-'))
    {
        negative = text[0] == '-';
        text.remove_prefix(1);
    }
    size_t const exponentAt = text.find_first_of("eE");
    std::string_view const mantissa = text.substr(0, exponentAt);
    long long exponent = 3;
    if (exponentAt != std::string_view::npos)
    {
        std::string_view exponentText = text.substr(exponentAt + 1);
        bool const negativeExponent = !exponentText.empty() && exponentText[0] == '-';
        if (!exponentText.empty() && (exponentText[0] == '+' || exponentText[0] == '-'))
            exponentText.remove_prefix(1);
        unsigned long long magnitude = 0;
        if (!parseWholeNumber(exponentText, magnitude) || magnitude > 60)
        {
            // Far outside any crash recording's time: a rounded form is enough.
            double value = 0.0;
            strtodStrict(seconds, value);
            return numberToText(mpf_class(-value * 1000.0));
        }
        exponent += negativeExponent ? -static_cast<long long>(magnitude) : static_cast<long long>(magnitude);
    }
    size_t const point = mantissa.find('.');
    std::string digits(mantissa.substr(0, point));
    if (point != std::string_view::npos)
    {
        digits += mantissa.substr(point + 1);
        exponent -= static_cast<long long>(mantissa.size() - point - 1);
    }
    // digits x 10^exponent, written without an exponent.
    long long integerDigits = static_cast<long long>(digits.size()) + exponent;
    if (exponent > 0)
        digits.append(static_cast<size_t>(exponent), '0');
    if (integerDigits <= 0)
    {
        digits.insert(0, static_cast<size_t>(1 - integerDigits), '0');
        integerDigits = 1;
    }
    std::string integerPart = digits.substr(0, static_cast<size_t>(integerDigits));
    std::string fraction = digits.substr(static_cast<size_t>(integerDigits));
    integerPart.erase(0, std::min(integerPart.find_first_not_of('0'), integerPart.size() - 1));
    fraction.erase(fraction.find_last_not_of('0') + 1);
    std::string result = fraction.empty() ? integerPart : integerPart + "." + fraction;
    bool const zero = result.find_first_not_of("0.") == std::string::npos;
    return !negative && !zero ? "-" + result : result;
}

// The names in a folder, by their lower-case form: a test copied between systems keeps its files
// but not always their case.
class cFolderNames
{
public:
    cFolderNames(std::string const& folder, bool directories)
    {
        std::error_code error;
        std::filesystem::directory_iterator it(folder.empty() ? "." : folder, error);
        for (; !error && it != std::filesystem::directory_iterator(); it.increment(error))
        {
            std::error_code kindError;
            if (it->is_directory(kindError) != directories)
                continue;
            std::string const name = it->path().filename().string();
            m_names[lowerCase(name)].push_back(name);
        }
    }
    // The name as it stands in the folder ("" if none); of several that differ only in case, the
    // one spelt as asked, else the first in byte order, so that the choice never depends on the
    // order of the listing.
    std::string find(std::string const& name) const
    {
        auto const found = m_names.find(lowerCase(name));
        if (found == m_names.end())
            return std::string();
        std::vector<std::string> const& spellings = found->second;
        if (std::find(spellings.begin(), spellings.end(), name) != spellings.end())
            return name;
        return *std::min_element(spellings.begin(), spellings.end());
    }

private:
    std::map<std::string, std::vector<std::string>> m_names;
};

bool isCrashFieldKey(std::string const& key)
{
    for (int field = 0; field < eCrashTextCount; ++field)
        if (key == cAcquisitionInputFile::textKey(static_cast<ECrashText>(field)))
            return true;
    for (int field = 0; field < eCrashNumberCount; ++field)
        if (key == cAcquisitionInputFile::numberKey(static_cast<ECrashNumber>(field)))
            return true;
    return key == cAcquisitionInputFile::instrumentationNumberKey() || key == "T0";
}

std::string threeDigits(unsigned int number)
{
    std::string text = std::to_string(number);
    return text.size() < 3 ? std::string(3 - text.size(), '0') + text : text;
}

// A sample line as a float; nullptr, or what is wrong with it.
char const* parseSample(std::string_view sample, float& value)
{
    // A decimal number only: from_chars alone would also take "inf" and "nan".
    size_t const digitAt = sample[0] == '+' || sample[0] == '-' ? 1 : 0;
    if (digitAt >= sample.size() ||
        !(std::isdigit(static_cast<unsigned char>(sample[digitAt])) || sample[digitAt] == '.'))
        return "is no number";
    char const* const last = sample.data() + sample.size();
    auto const result = std::from_chars(sample.data() + (sample[0] == '+' ? 1 : 0), last, value);
    if (result.ptr != last || (result.ec != std::errc() && result.ec != std::errc::result_out_of_range))
        return "is no number";
    if (result.ec == std::errc::result_out_of_range)
    {
        // Too small for a float reads as zero; too large is refused.
        double wide = 0.0;
        if (!strtodStrict(std::string(sample), wide) || std::fabs(wide) > FLT_MAX)
            return "is out of the range of a float";
        value = static_cast<float>(wide);
    }
    return nullptr;
}

char const* const kVelocityKey = "Velocity test object 1";
} // namespace

// The header of one channel file: its pairs, and where its sample lines begin.
struct cMmeInputFile::sChannelHeader
{
    std::vector<sHeaderLine> lines;
    unsigned int firstSampleLine = 1;
    std::streamoff firstSampleOffset = 0;
    unsigned long long fileSize = 0;
};

cMmeInputFile::cMmeInputFile(char const* path, int mode) : cAcquisitionInputFile(path, mode) {}

cMmeInputFile::~cMmeInputFile() = default;

cAcquisitionInputFile::tHeaderItems cMmeInputFile::defaultCrashMapping() const
{
    // There is no date field among the crash fields: "Date of the test" stays a header item of its own.
    return {{"Crash Type", "Type of the test"},
            {"Precise Crash Type", "Subtype of the test"},
            {"Test Reference", "Laboratory test ref. number"},
            {"Comments", "Title"},
            {"Vehicle Code", "Name of test object 1"},
            {"Vehicle Speed", kVelocityKey},
            {"Crash Speed", kVelocityKey},
            {"Vehicle Mass", "Mass test object 1"},
            {"Side Of Impact", "Impact side test object 1"}};
}

void cMmeInputFile::readHeader(std::string const& bytes)
{
    auto const failAt = [this](std::string const& file, unsigned int line, std::string const& what)
    { failInFile(file, line, what); };
    for (sHeaderLine const& item : readHeaderLines(bytes, getFileName(), failAt))
    {
        // A laboratory's "Comments" is not our comment field (that one comes from the title): keys
        // that happen to be spelt like a crash field stay header items, whatever their value.
        if (isCrashFieldKey(item.name))
            addExtraHeaderItem(item.name, item.value);
        else
            addHeaderItem(item.name, item.value, item.line);
        double velocity = 0.0;
        if (item.name == kVelocityKey && strtodStrict(item.value, velocity))
            setText(eCrashCrashSpeedUnit, "m/s"); // every ISO-MME velocity is in m/s
    }
}

std::vector<std::pair<unsigned int, std::string>>
cMmeInputFile::readChannelList(std::string const& chnPath) const
{
    auto const failAt = [this](std::string const& file, unsigned int line, std::string const& what)
    { failInFile(file, line, what); };
    std::string const namePrefix = "name of channel ";
    std::vector<std::pair<unsigned int, std::string>> channels;
    std::map<unsigned int, unsigned int> lineOfChannel;
    sHeaderLine const* declaredCount = nullptr;
    std::vector<sHeaderLine> const lines = readHeaderLines(readWholeFile(chnPath), chnPath, failAt);
    for (sHeaderLine const& item : lines)
    {
        std::string const key = lowerCase(item.name);
        if (key == "number of channels")
        {
            declaredCount = item.value.empty() ? nullptr : &item;
            continue;
        }
        if (key.compare(0, namePrefix.size(), namePrefix) != 0)
            continue;
        unsigned long long number = 0;
        std::string_view const numberText = std::string_view(key).substr(namePrefix.size());
        if (!parseWholeNumber(numberText, number) || number == 0 || number > 999999)
            failInFile(chnPath, item.line, "\"" + item.name + "\" does not end in a channel number from 1");
        auto const [previous, isNew] = lineOfChannel.emplace(static_cast<unsigned int>(number), item.line);
        if (!isNew)
            failInFile(chnPath, item.line,
                       "channel " + threeDigits(previous->first) + " is named again (first at line " +
                           std::to_string(previous->second) + ")");
        // The channel code, optionally followed by " / " and a free description.
        std::string_view code = item.value;
        code = trimmed(code.substr(0, code.find(" / ")));
        if (code.empty())
            failInFile(chnPath, item.line,
                       "channel " + threeDigits(previous->first) + " has no channel code");
        channels.emplace_back(static_cast<unsigned int>(number), std::string(code));
    }
    if (declaredCount != nullptr)
    {
        unsigned long long count = 0;
        if (!parseWholeNumber(declaredCount->value, count))
            failInFile(chnPath, declaredCount->line,
                       "Number of channels \"" + declaredCount->value + "\" is no whole number");
        if (count != channels.size())
            failInFile(chnPath, declaredCount->line,
                       "Number of channels is " + declaredCount->value + " but " +
                           std::to_string(channels.size()) + " channels are named");
    }
    return channels;
}

cMmeInputFile::sChannelHeader cMmeInputFile::readChannelHeader(std::string const& path) const
{
    std::ifstream in(path, std::ios::binary);
    if (!in.is_open())
        throw cFstreamOpenException(kSource, "cMmeInputFile::readDirectory", __LINE__, path);
    sChannelHeader header;
    // The header ends at the first line that is no pair: the samples follow. Its bytes are decoded
    // once the whole header is known, as a UTF-8 test holds for the whole text.
    std::vector<std::pair<unsigned int, std::string>> rawLines;
    std::string headerBytes;
    std::string line;
    unsigned int number = 1;
    for (;; ++number)
    {
        std::streamoff const start = in.tellg();
        if (!std::getline(in, line))
        {
            in.clear();
            in.seekg(0, std::ios::end);
            header.firstSampleOffset = in.tellg();
            break;
        }
        std::string_view text = line;
        if (number == 1)
            text = withoutBom(text);
        text = trimmed(text);
        if (text.empty())
            continue;
        if (text.find(':') == std::string_view::npos)
        {
            header.firstSampleOffset = start;
            in.seekg(0, std::ios::end);
            break;
        }
        rawLines.emplace_back(number, std::string(text));
        headerBytes.append(text).push_back('\n');
    }
    header.firstSampleLine = number;
    header.fileSize = static_cast<unsigned long long>(in.tellg());
    bool const utf8 = isValidUtf8(headerBytes);
    for (auto const& [lineNumber, text] : rawLines)
    {
        std::string_view name;
        std::string_view value;
        splitNameValue(text, name, value);
        header.lines.push_back({lineNumber, utf8 ? std::string(name) : windows1252ToUtf8(name),
                                utf8 ? std::string(value) : windows1252ToUtf8(value)});
    }
    return header;
}

void cMmeInputFile::readDirectory()
{
    if (!stream().is_open())
        throw cFstreamOpenException(kSource, "cMmeInputFile::readDirectory", __LINE__, getFileName());
    readHeader(std::string(std::istreambuf_iterator<char>(stream()), std::istreambuf_iterator<char>()));

    std::string const folder = getDirectory();
    std::string const test = extractName();
    std::string channelFolder = cFolderNames(folder, true).find("Channel");
    std::string const chnName = test + ".chn";
    if (channelFolder.empty())
        throw cFstreamOpenException(kSource, "cMmeInputFile::readDirectory", __LINE__,
                                    folder + "Channel/" + chnName);
    channelFolder = folder + channelFolder + "/";
    cFolderNames const channelFiles(channelFolder, false);
    std::string const chnFound = channelFiles.find(chnName);
    if (chnFound.empty())
        throw cFstreamOpenException(kSource, "cMmeInputFile::readDirectory", __LINE__,
                                    channelFolder + chnName);

    sStart start;
    for (auto const& [number, code] : readChannelList(channelFolder + chnFound))
    {
        std::string const fileName = test + "." + threeDigits(number);
        std::string const found = channelFiles.find(fileName);
        if (found.empty())
            throw cFstreamOpenException(kSource, "cMmeInputFile::readDirectory", __LINE__,
                                        channelFolder + fileName);
        addChannel(channelFolder + found, code, start);
    }
}

void cMmeInputFile::addChannel(std::string const& path, std::string const& code, sStart& start)
{
    sChannelHeader const header = readChannelHeader(path);
    std::string unit;
    sHeaderLine const* interval = nullptr;
    sHeaderLine const* firstSample = nullptr;
    sHeaderLine const* count = nullptr;
    for (sHeaderLine const& item : header.lines)
    {
        std::string const key = lowerCase(item.name);
        if (key == "unit")
            unit = item.value;
        else if (key == "sampling interval")
            interval = &item;
        else if (key == "time of first sample")
            firstSample = &item;
        else if (key == "number of samples")
            count = &item;
        else if (key == "reference channel" && lowerCase(item.value) == "explicit")
            failInFile(path, item.line,
                       "the channel has an explicit time reference (Reference channel: explicit); only "
                       "implicit times, from the first sample time and the sampling interval, are read");
        // "Channel code" repeats the .chn, which names the channel when the two differ.
    }

    double seconds = 0.0;
    if (interval == nullptr || interval->value.empty())
        failInFile(path, header.firstSampleLine, "no \"Sampling interval\" in the channel header");
    if (!strtodStrict(interval->value, seconds) || !(seconds > 0.0))
        failInFile(path, interval->line,
                   "Sampling interval \"" + interval->value + "\" is no positive number of seconds");
    mpf_class const rate = mpf_class(1) / convertStringToDouble(interval->value);

    unsigned long long samples = 0;
    if (count == nullptr || count->value.empty())
        failInFile(path, header.firstSampleLine, "no \"Number of samples\" in the channel header");
    if (!parseWholeNumber(count->value, samples) || samples > UINT_MAX)
        failInFile(path, count->line, "Number of samples \"" + count->value + "\" is no whole number");
    // Each sample takes a line of at least one character: a larger count cannot be read, and
    // reserving room for it would be a waste the file can't justify.
    unsigned long long const sampleBytes =
        header.fileSize - static_cast<unsigned long long>(header.firstSampleOffset);
    if (samples > 0 && 2 * samples - 1 > sampleBytes)
        failInFile(path, count->line,
                   "Number of samples " + count->value + " is more than the file's " +
                       std::to_string(sampleBytes) + " bytes of sample lines can hold");

    // Without a first sample time the channel starts at zero.
    std::string const time = firstSample == nullptr || firstSample->value.empty() ? "0" : firstSample->value;
    unsigned int const timeLine = firstSample == nullptr ? header.firstSampleLine : firstSample->line;
    double timeSeconds = 0.0;
    if (!strtodStrict(time, timeSeconds))
        failInFile(path, timeLine, "Time of first sample \"" + time + "\" is no number");
    if (start.channel.empty())
    {
        start = {time, timeSeconds, code};
        setT0Text(negatedMilliseconds(time));
    }
    else if (timeSeconds != start.seconds)
    {
        failInFile(path, timeLine,
                   "Time of first sample " + time + " s differs from the " + start.text + " s of channel " +
                       start.channel + ": the channels of a recording must start together");
    }

    unsigned int const index = static_cast<unsigned int>(m_channelFiles.size());
    m_channelFiles.push_back(
        {path, header.firstSampleLine, header.firstSampleOffset, static_cast<unsigned int>(samples)});
    addChannelInput(new cChannelInput(code, unit, rate, static_cast<unsigned int>(samples), this, index));
}

void cMmeInputFile::readChannelSamples(cChannelInput const& channel, std::vector<float>& samples) const
{
    unsigned int const index = channel.getSourceIndex();
    if (index >= m_channelFiles.size())
        fail("no channel file for channel " + channel.getName());
    sChannelFile const& file = m_channelFiles[index];
    std::ifstream in(file.path, std::ios::binary);
    if (!in.is_open())
        throw cFstreamOpenException(kSource, "cMmeInputFile::readChannelSamples", __LINE__, file.path);
    in.seekg(0, std::ios::end);
    std::streamoff const size = in.tellg();
    if (size < file.firstSampleOffset)
        failInFile(file.path, file.firstSampleLine, "the file ends before its samples");
    std::string text(static_cast<size_t>(size - file.firstSampleOffset), '\0');
    in.seekg(file.firstSampleOffset);
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (in.gcount() != static_cast<std::streamsize>(text.size()))
        failInFile(file.path, file.firstSampleLine, "the samples cannot be read");

    samples.clear();
    samples.reserve(std::min<size_t>(file.sampleCount, text.size() / 2 + 1));
    std::string const declared = std::to_string(file.sampleCount);
    unsigned int line = file.firstSampleLine;
    unsigned int blankLine = 0; // blank lines may only close the file
    for (size_t position = 0; position < text.size(); ++line)
    {
        size_t end = text.find('\n', position);
        if (end == std::string::npos)
            end = text.size();
        std::string_view const sample = trimmed(std::string_view(text).substr(position, end - position));
        position = end + 1;
        if (sample.empty())
        {
            blankLine = blankLine == 0 ? line : blankLine;
            continue;
        }
        if (blankLine != 0)
            failInFile(file.path, blankLine, "empty line among the samples");
        if (samples.size() == file.sampleCount)
            failInFile(file.path, line,
                       "more sample lines than the " + declared + " of \"Number of samples\"");
        if (sample == kNoValue)
            failInFile(file.path, line, "NOVALUE sample: a channel with missing samples cannot be read");
        float value = 0.0f;
        if (char const* const wrong = parseSample(sample, value))
            failInFile(file.path, line, "sample \"" + toUtf8(sample) + "\" " + wrong);
        samples.push_back(value);
    }
    if (samples.size() < file.sampleCount)
        failInFile(file.path, line,
                   "the file ends after " + std::to_string(samples.size()) + " of the " + declared +
                       " samples of \"Number of samples\"");
}

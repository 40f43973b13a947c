#include "StoreKit/cBinInputFile.h"

#include "BaseKit/cKynException.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <system_error>
#include <unistd.h>

// The BIN layout, version 1. Every number is little-endian whatever the host; a text is a uint32 byte
// length followed by that many bytes of UTF-8 (no terminating zero).
//
//   byte 0    8 bytes  magic "SIMCBIN" and a zero byte
//   byte 8    uint32   version, 1
//   byte 12   uint32   D, the byte length of the directory
//   byte 16   D bytes  the directory:
//                        uint32 header item count, then per item: text key, text value
//                        uint32 channel count, then per channel: text name, text unit,
//                          float64 sampling rate in Hz, uint32 sample count,
//                          uint64 byte offset of its sample block in the file
//   byte 16+D uint32   CRC-32 (zlib) of the D directory bytes
//   then per channel, at its offset: sample count float32 samples, then the CRC-32 of those bytes
//
// The header items are written in this order: the crash text fields that are not empty by their keys,
// the number fields that are not empty by their keys with their exact text, "Instrumentation Number",
// "T0", then the recording's other header items in their order. The writer puts the sample blocks right
// behind the directory checksum, in channel order; the reader only asks that each block lie behind the
// directory and inside the file. A checksum per block lets the directory be checked when the file is
// opened and each channel's samples when they are first read.
//
// Failure texts name what is wrong after "Bad crash recording "<path>": ". A checksum failure gives
// the checksum stored in the file first, then the one its content gives.

namespace
{
char const* const kSource = "StoreKit/cBinInputFile";

constexpr unsigned char kMagic[8] = {'S', 'I', 'M', 'C', 'B', 'I', 'N', 0};
constexpr std::uint32_t kVersion = 1;
constexpr std::uint64_t kHeaderSize = 16;
// The smallest directory entries: a header item of two empty texts, a channel with empty texts.
constexpr std::uint64_t kMinItemSize = 4 + 4;
constexpr std::uint64_t kMinChannelSize = 4 + 4 + 8 + 4 + 8;

std::uint32_t loadU32(unsigned char const* p)
{
    return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 |
           std::uint32_t(p[3]) << 24;
}

std::uint64_t loadU64(unsigned char const* p)
{
    return std::uint64_t(loadU32(p)) | std::uint64_t(loadU32(p + 4)) << 32;
}

void putU32(std::string& out, std::uint32_t value)
{
    for (int shift = 0; shift < 32; shift += 8)
        out.push_back(static_cast<char>((value >> shift) & 0xff));
}

void putU64(std::string& out, std::uint64_t value)
{
    putU32(out, static_cast<std::uint32_t>(value));
    putU32(out, static_cast<std::uint32_t>(value >> 32));
}

void putText(std::string& out, std::string const& text)
{
    putU32(out, static_cast<std::uint32_t>(text.size()));
    out += text;
}

std::uint32_t checksum(void const* data, std::uint64_t size)
{
    return static_cast<std::uint32_t>(crc32_z(0L, static_cast<Bytef const*>(data), size));
}

std::string hex(std::uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", static_cast<unsigned int>(value));
    return text;
}

std::string checksumMismatch(std::string const& what, std::uint32_t stored, std::uint32_t computed)
{
    return what + " checksum " + hex(stored) + " does not match " + hex(computed);
}

// Samples are float32 little-endian in the file: on a little-endian host the bytes are the floats.
void samplesFromFileOrder(std::vector<float>& samples)
{
    if constexpr (std::endian::native != std::endian::little)
        for (float& sample : samples)
            sample = std::bit_cast<float>(loadU32(reinterpret_cast<unsigned char const*>(&sample)));
}

// The file size, or -1 when the stream cannot tell it; the stream is left at byte 0.
std::int64_t streamSize(std::istream& in)
{
    in.seekg(0, std::ios::end);
    std::streamoff const size = in.tellg();
    in.seekg(0, std::ios::beg);
    return in ? static_cast<std::int64_t>(size) : -1;
}

bool readAt(std::istream& in, std::uint64_t position, void* into, std::uint64_t size)
{
    in.seekg(static_cast<std::streamoff>(position), std::ios::beg);
    in.read(static_cast<char*>(into), static_cast<std::streamsize>(size));
    return in.good() || (in.eof() && static_cast<std::uint64_t>(in.gcount()) == size);
}

std::string rateText(double rate)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g", rate);
    return text;
}

// A rate the channel can work with: its end time in milliseconds must be a float.
bool usableRate(double rate, std::uint32_t count)
{
    if (!std::isfinite(rate) || rate <= 0.0)
        return false;
    return count <= 1 || double(count - 1) * 1000.0 / rate <= double(FLT_MAX);
}

// Gives back, when the write is over, the samples it had to read.
class cFetchedSamples
{
public:
    cFetchedSamples() = default;
    cFetchedSamples(cFetchedSamples const&) = delete;
    cFetchedSamples& operator=(cFetchedSamples const&) = delete;
    ~cFetchedSamples()
    {
        for (cChannelInput* channel : m_channels)
            channel->releaseSamples();
    }
    std::vector<float> const& fetch(cChannelInput& channel)
    {
        if (!channel.hasSamples())
            m_channels.push_back(&channel);
        return channel.getSamples();
    }

private:
    std::vector<cChannelInput*> m_channels;
};

struct sChannelOut
{
    cChannelInput const* channel;
    std::vector<float> const* samples;
};

cAcquisitionInputFile::tHeaderItems headerItemsOf(cInputFile const& recording)
{
    cAcquisitionInputFile::tHeaderItems items;
    auto const* acquisition = dynamic_cast<cAcquisitionInputFile const*>(&recording);
    if (acquisition == nullptr)
        return items;
    for (int field = 0; field < eCrashTextCount; ++field)
    {
        std::string const& text = acquisition->getText(static_cast<ECrashText>(field));
        if (!text.empty())
            items.emplace_back(cAcquisitionInputFile::textKey(static_cast<ECrashText>(field)), text);
    }
    for (int field = 0; field < eCrashNumberCount; ++field)
    {
        std::string const& text = acquisition->getNumberText(static_cast<ECrashNumber>(field));
        if (!text.empty())
            items.emplace_back(cAcquisitionInputFile::numberKey(static_cast<ECrashNumber>(field)), text);
    }
    if (!acquisition->getInstrumentationNumberText().empty())
        items.emplace_back(cAcquisitionInputFile::instrumentationNumberKey(),
                           acquisition->getInstrumentationNumberText());
    if (!acquisition->getT0Text().empty())
        items.emplace_back("T0", acquisition->getT0Text());
    for (auto const& item : acquisition->getExtraHeaderItems())
        items.push_back(item);
    return items;
}

// Writes bytes to a new file; false when any step fails.
bool writeBlocks(std::string const& path, std::string const& head, std::vector<sChannelOut> const& channels)
{
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr)
        return false;
    bool written = std::fwrite(head.data(), 1, head.size(), file) == head.size();
    std::string swapped;
    for (sChannelOut const& out : channels)
    {
        std::vector<float> const& samples = *out.samples;
        std::uint64_t const bytes = samples.size() * 4;
        void const* data = samples.data();
        if constexpr (std::endian::native != std::endian::little)
        {
            swapped.clear();
            for (float sample : samples)
                putU32(swapped, std::bit_cast<std::uint32_t>(sample));
            data = swapped.data();
        }
        std::string crc;
        putU32(crc, checksum(data, bytes));
        // An empty channel has no sample bytes, and its vector may have no storage to point to.
        written = written && (bytes == 0 || std::fwrite(data, 1, bytes, file) == bytes) &&
                  std::fwrite(crc.data(), 1, crc.size(), file) == crc.size();
    }
    // On the disk before the rename, so that a crash cannot leave an empty recording behind.
    written = written && std::fflush(file) == 0 && ::fsync(::fileno(file)) == 0;
    return std::fclose(file) == 0 && written;
}
} // namespace

cBinInputFile::cBinInputFile(char const* path, int mode) : cAcquisitionInputFile(path, mode) {}

cBinInputFile::~cBinInputFile() = default;

void cBinInputFile::readDirectory()
{
    m_blockOffsets.clear();
    std::ifstream& in = stream();
    std::int64_t const signedSize = streamSize(in);
    if (signedSize < 0)
        fail("read error at byte 0");
    std::uint64_t const size = static_cast<std::uint64_t>(signedSize);

    unsigned char head[kHeaderSize] = {};
    std::uint64_t const headBytes = std::min(size, kHeaderSize);
    if (!readAt(in, 0, head, headBytes))
        fail("read error at byte 0");
    if (std::memcmp(head, kMagic, std::min<std::uint64_t>(headBytes, sizeof kMagic)) != 0)
        fail("not a BIN recording (bad magic)");
    if (size < kHeaderSize)
        fail("truncated at byte " + std::to_string(size) + " (the header ends at byte " +
             std::to_string(kHeaderSize) + ")");
    std::uint32_t const version = loadU32(head + 8);
    if (version != kVersion)
        fail("version " + std::to_string(version) + " is not supported");
    std::uint64_t const directorySize = loadU32(head + 12);
    std::uint64_t const directoryEnd = kHeaderSize + directorySize + 4;
    if (size < directoryEnd)
        fail("truncated at byte " + std::to_string(size) + " (the directory ends at byte " +
             std::to_string(directoryEnd) + ")");

    // Bounded by the file size checked above.
    std::vector<unsigned char> directory(directorySize + 4);
    if (!readAt(in, kHeaderSize, directory.data(), directory.size()))
        fail("read error at byte " + std::to_string(kHeaderSize));
    std::uint32_t const stored = loadU32(directory.data() + directorySize);
    std::uint32_t const computed = checksum(directory.data(), directorySize);
    if (stored != computed)
        fail(checksumMismatch("directory", stored, computed));

    std::uint64_t position = 0;
    auto take = [&](std::uint64_t bytes) -> unsigned char const*
    {
        if (directorySize - position < bytes)
            fail("directory entry at byte " + std::to_string(kHeaderSize + position) +
                 " runs past the end of the directory");
        unsigned char const* at = directory.data() + position;
        position += bytes;
        return at;
    };
    auto text = [&]
    {
        std::uint32_t const length = loadU32(take(4));
        unsigned char const* at = take(length);
        return std::string(reinterpret_cast<char const*>(at), length);
    };
    // A count is checked against the bytes left before anything is made for it.
    auto count = [&](char const* what, std::uint64_t entrySize)
    {
        std::uint32_t const value = loadU32(take(4));
        if (value > (directorySize - position) / entrySize)
            fail(std::string(what) + " count " + std::to_string(value) + " does not fit in the directory");
        return value;
    };

    std::uint32_t const itemCount = count("header item", kMinItemSize);
    for (std::uint32_t item = 0; item < itemCount; ++item)
    {
        std::string key = text();
        std::string value = text();
        addHeaderItem(key, value, 0);
    }
    std::uint32_t const channelCount = count("channel", kMinChannelSize);
    for (std::uint32_t index = 0; index < channelCount; ++index)
    {
        std::string name = text();
        std::string unit = text();
        double const rate = std::bit_cast<double>(loadU64(take(8)));
        std::uint32_t const samples = loadU32(take(4));
        std::uint64_t const offset = loadU64(take(8));
        if (!usableRate(rate, samples))
            fail("channel " + name + ": sampling rate " + rateText(rate) + " Hz is out of range");
        if (offset < directoryEnd)
            fail("channel " + name + ": sample block starts inside the directory");
        if (offset > size || size - offset < std::uint64_t(samples) * 4 + 4)
            fail("channel " + name + ": sample block ends past the end of the file");
        m_blockOffsets.push_back(offset);
        auto channel = std::make_unique<cChannelInput>(std::move(name), std::move(unit), mpf_class(rate),
                                                       samples, this, index);
        addChannelInput(channel.get());
        channel.release();
    }
    if (position != directorySize)
        fail("directory has " + std::to_string(directorySize - position) +
             " unused bytes after its last channel");
}

void cBinInputFile::readChannelSamples(cChannelInput const& channel, std::vector<float>& samples) const
{
    std::string const& path = getFileName();
    std::string const& name = channel.getName();
    if (channel.getSourceIndex() >= m_blockOffsets.size())
        fail("channel " + name + " is not in the directory");
    errno = 0;
    std::ifstream in(path, std::ios::in | std::ios::binary);
    if (!in.is_open())
    {
        if (errno == EMFILE || errno == ENFILE)
            throw cTooManyOpenFilesException(kSource, "cBinInputFile::readChannelSamples", __LINE__, path);
        throw cFstreamOpenException(kSource, "cBinInputFile::readChannelSamples", __LINE__, path);
    }
    // The file may have changed since its directory was read: check the block again.
    std::uint64_t const offset = m_blockOffsets[channel.getSourceIndex()];
    std::uint64_t const bytes = std::uint64_t(channel.getSampleNumber()) * 4;
    std::int64_t const size = streamSize(in);
    if (size < 0 || offset > std::uint64_t(size) || std::uint64_t(size) - offset < bytes + 4)
        fail("channel " + name + ": sample block ends past the end of the file");

    samples.resize(channel.getSampleNumber());
    unsigned char crc[4];
    if (!readAt(in, offset, samples.data(), bytes) || !readAt(in, offset + bytes, crc, 4))
        fail("channel " + name + ": read error at byte " + std::to_string(offset));
    std::uint32_t const stored = loadU32(crc);
    std::uint32_t const computed = checksum(samples.data(), bytes);
    if (stored != computed)
    {
        samples.clear();
        fail(checksumMismatch("channel " + name + ": sample block", stored, computed));
    }
    samplesFromFileOrder(samples);
}

std::vector<std::uint64_t> cBinInputFile::writeRecording(cInputFile const& recording, std::string const& path)
{
    cFetchedSamples fetched;
    std::vector<sChannelOut> channels;
    unsigned int cursor = 0;
    for (cChannelInput* channel = recording.firstChannelInput(cursor); channel != nullptr;
         channel = recording.nextChannelInput(cursor))
    {
        std::vector<float> const& samples = fetched.fetch(*channel);
        if (samples.size() > UINT32_MAX)
            throw cGenericException(kSource, "cBinInputFile::writeFile", __LINE__,
                                    "Channel " + channel->getName() +
                                        " has more samples than a BIN recording holds");
        channels.push_back({channel, &samples});
    }

    std::string directory;
    cAcquisitionInputFile::tHeaderItems const items = headerItemsOf(recording);
    putU32(directory, static_cast<std::uint32_t>(items.size()));
    for (auto const& [key, value] : items)
    {
        putText(directory, key);
        putText(directory, value);
    }
    putU32(directory, static_cast<std::uint32_t>(channels.size()));
    // The blocks follow the directory, whose size the offsets do not change.
    std::uint64_t directorySize = directory.size();
    for (sChannelOut const& out : channels)
        directorySize += 4 + out.channel->getName().size() + 4 + out.channel->getUnit().size() + 8 + 4 + 8;
    std::vector<std::uint64_t> offsets;
    std::uint64_t offset = kHeaderSize + directorySize + 4;
    for (sChannelOut const& out : channels)
    {
        putText(directory, out.channel->getName());
        putText(directory, out.channel->getUnit());
        putU64(directory, std::bit_cast<std::uint64_t>(out.channel->getSamplingRateInHz()));
        putU32(directory, static_cast<std::uint32_t>(out.samples->size()));
        putU64(directory, offset);
        offsets.push_back(offset);
        offset += out.samples->size() * 4 + 4;
    }

    std::string head(reinterpret_cast<char const*>(kMagic), sizeof kMagic);
    putU32(head, kVersion);
    putU32(head, static_cast<std::uint32_t>(directory.size()));
    head += directory;
    putU32(head, checksum(directory.data(), directory.size()));

    // Named after the process, so that no file of the user's is taken for the temporary one.
    std::string const temporary = path + ".tmp-" + std::to_string(::getpid());
    std::error_code error;
    bool written = writeBlocks(temporary, head, channels);
    if (written)
    {
        std::filesystem::rename(temporary, path, error);
        written = !error;
    }
    if (!written)
    {
        std::filesystem::remove(temporary, error);
        throw cFstreamOpenException(kSource, "cBinInputFile::writeFile", __LINE__, path);
    }
    return offsets;
}

void cBinInputFile::writeFile(cInputFile const& recording, std::string const& path)
{
    std::vector<std::uint64_t> offsets = writeRecording(recording, path);
    // A BIN recording written over its own file reads its samples from the new layout from now on.
    if (auto const* bin = dynamic_cast<cBinInputFile const*>(&recording);
        bin != nullptr && bin->getFileName() == path)
        bin->m_blockOffsets = std::move(offsets);
}

void cBinInputFile::save()
{
    writeFile(*this, getFileName());
}

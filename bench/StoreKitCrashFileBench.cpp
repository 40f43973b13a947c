// Reading a crash recording of 16 channels of 20,000 samples, the size of a long, well instrumented
// crash test, in each format, each beside a baseline of the same work by hand in the same run: BIN
// against a plain read of the file and a crc32 over it, CSH against std::from_chars over the same
// numbers in memory. ISO-MME is reported. Bytes per second are those of the file (or of the text).
#include "StoreKit/cBinInputFile.h"
#include "StoreKit/cCshInputFile.h"
#include "StoreKit/cMmeInputFile.h"

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace
{
unsigned int const kChannels = 16;
unsigned int const kSamples = 20000;

// A crash pulse per channel: a damped oscillation with a little noise, deterministic.
struct sRecordings
{
    sRecordings()
    {
        folder = (std::filesystem::temp_directory_path() / ("simcore-bench-" + std::to_string(::getpid())))
                     .string() +
                 "/";
        std::filesystem::create_directories(folder + "T01/Channel");
        cInputFile memory("bench");
        unsigned int seed = 12345;
        for (unsigned int c = 0; c < kChannels; ++c)
        {
            auto* channel =
                new cChannelInput("10TUNN0000" + std::to_string(10 + c) + "ACXP", mpf_class(20000));
            channel->setUnit("g");
            for (unsigned int i = 0; i < kSamples; ++i)
            {
                seed = seed * 1103515245u + 12345u;
                float const noise = static_cast<float>((seed >> 16) & 0x7fff) / 32768.0f - 0.5f;
                float const t = static_cast<float>(i) / 20000.0f;
                channel->addSample(-40.0f * std::exp(-t * 20.0f) * std::sin(t * 300.0f + c) + noise);
            }
            memory.addChannelInput(channel);
        }
        cBinInputFile::writeFile(memory, folder + "crash.bin");
        cCshInputFile::writeFile(memory, folder + "crash.csh");
        writeMme(memory);
        // The numbers of the CSH text alone, one per line, for the from_chars baseline.
        unsigned int cursor = 0;
        for (cChannelInput* channel = memory.firstChannelInput(cursor); channel;
             channel = memory.nextChannelInput(cursor))
        {
            for (float const sample : channel->getSamples())
            {
                char buffer[32];
                numbers.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, sample).ptr);
                numbers += '\n';
            }
        }
    }
    ~sRecordings()
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }

    // An ISO-MME test folder of the same channels, written the way laboratories write them.
    void writeMme(cInputFile const& memory)
    {
        std::ofstream(folder + "T01/T01.mme")
            << "Data format edition number  :1.6\r\nTitle                       :bench\r\n";
        std::ofstream list(folder + "T01/Channel/T01.chn");
        list << "Instrumentation standard    :ISO 6487\r\nNumber of channels          :" << kChannels
             << "\r\n";
        unsigned int cursor = 0;
        unsigned int index = 1;
        for (cChannelInput* channel = memory.firstChannelInput(cursor); channel;
             channel = memory.nextChannelInput(cursor), ++index)
        {
            char number[16];
            std::snprintf(number, sizeof number, "%03u", index);
            list << "Name of channel " << number << "         :" << channel->getName() << " / tunnel X\r\n";
            std::ofstream file(folder + "T01/Channel/T01." + number);
            file << "Channel code                :" << channel->getName() << "\r\n"
                 << "Unit                        :g\r\nReference channel           :implicit\r\n"
                 << "Time of first sample        :0.0\r\nSampling interval           :0.00005\r\n"
                 << "Number of samples           :" << kSamples << "\r\n";
            for (float const sample : channel->getSamples())
            {
                char buffer[32];
                std::snprintf(buffer, sizeof buffer, "%.6E", static_cast<double>(sample));
                file << buffer << "\r\n";
            }
        }
    }

    std::string folder;
    std::string numbers;
};

sRecordings& recordings()
{
    static sRecordings instance;
    return instance;
}

// Opens a recording as a crash file list does and reads every sample, as a computation does.
template <class tRecording> void readWhole(benchmark::State& state, std::string const& path)
{
    for (auto _ : state)
    {
        tRecording file(path.c_str(), 0x21);
        file.read();
        file.closeStream();
        double sum = 0.0;
        unsigned int cursor = 0;
        for (cChannelInput* channel = file.firstChannelInput(cursor); channel;
             channel = file.nextChannelInput(cursor))
            sum += channel->getSamples().back();
        benchmark::DoNotOptimize(sum);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(std::filesystem::file_size(path)));
}

void BM_ReadBin(benchmark::State& state)
{
    readWhole<cBinInputFile>(state, recordings().folder + "crash.bin");
}
BENCHMARK(BM_ReadBin)->Unit(benchmark::kMillisecond);

// The floor of any BIN reader: the bytes of the file read in one go and a crc32 over them.
void BM_PlainReadAndCrc32ByHand(benchmark::State& state)
{
    std::string const path = recordings().folder + "crash.bin";
    auto const size = std::filesystem::file_size(path);
    for (auto _ : state)
    {
        std::vector<unsigned char> bytes(size);
        std::ifstream input(path, std::ios::binary);
        input.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size));
        uLong const crc = crc32(crc32(0L, Z_NULL, 0), bytes.data(), static_cast<uInt>(bytes.size()));
        benchmark::DoNotOptimize(crc);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(size));
}
BENCHMARK(BM_PlainReadAndCrc32ByHand)->Unit(benchmark::kMillisecond);

void BM_ReadCsh(benchmark::State& state)
{
    readWhole<cCshInputFile>(state, recordings().folder + "crash.csh");
}
BENCHMARK(BM_ReadCsh)->Unit(benchmark::kMillisecond);

// The floor of any text reader: std::from_chars over the same numbers, already in memory.
void BM_FromCharsInMemoryByHand(benchmark::State& state)
{
    std::string const& text = recordings().numbers;
    for (auto _ : state)
    {
        std::vector<float> samples;
        samples.reserve(kChannels * kSamples);
        char const* position = text.data();
        char const* const end = text.data() + text.size();
        while (position < end)
        {
            float value = 0.0f;
            position = std::from_chars(position, end, value).ptr + 1;
            samples.push_back(value);
        }
        benchmark::DoNotOptimize(samples.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}
BENCHMARK(BM_FromCharsInMemoryByHand)->Unit(benchmark::kMillisecond);

void BM_ReadIsoMme(benchmark::State& state)
{
    std::string const path = recordings().folder + "T01/T01.mme";
    readWhole<cMmeInputFile>(state, path);
    std::uintmax_t bytes = 0;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(recordings().folder + "T01"))
        if (entry.is_regular_file())
            bytes += entry.file_size();
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}
BENCHMARK(BM_ReadIsoMme)->Unit(benchmark::kMillisecond);
} // namespace

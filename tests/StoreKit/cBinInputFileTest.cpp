#include "StoreKit/cBinInputFile.h"

#include "BaseKit/cKynException.h"
#include "StoreKit/cChannelInput.h"

#include "tests/support/cConfigurationTexts.h"
#include "tests/support/cKitFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdio>
#include <filesystem>
#include <memory>

namespace
{
std::string const kGolden = SIMCORE_TEST_DATA_DIR "StoreKit/crash/bin/small.bin";

std::unique_ptr<cBinInputFile> openBin(std::string const& path)
{
    auto file = std::make_unique<cBinInputFile>(path.c_str(), 0x21);
    file->read();
    file->closeStream();
    return file;
}

void addChannel(cInputFile& recording, char const* name, char const* unit, double rate,
                std::vector<float> const& samples)
{
    auto* channel = new cChannelInput(name, mpf_class(rate));
    channel->setUnit(unit);
    recording.addChannelInput(channel);
    for (float sample : samples)
        channel->addSample(sample);
}

// The recording of the golden file, made in memory (its path is never opened).
void fillGoldenRecording(cBinInputFile& recording)
{
    recording.setText(eCrashCrashType, "Full frontal");
    recording.setText(eCrashComments, "Béton, 0° ✓");
    recording.setNumberText(eCrashCrashSpeed, "56.00");
    recording.setNumberText(eCrashVehicleMass, "1250");
    recording.setInstrumentationNumberText("42");
    recording.setT0Text("-10.5");
    recording.addExtraHeaderItem("Laboratory", "Lab: A");
    recording.addExtraHeaderItem("Note", "");
    addChannel(recording, "ACU_X", "g", 10000.0, {0.0f, 1.5f, -2.25f, 1e-7f, 3.4e38f});
    addChannel(recording, "ACU_Y", "m/(s*s)", 12500.5, {-1.0f, 0.125f, 7.0f});
    addChannel(recording, "EMPTY", "", 1000.0, {});
}

// Every header item and channel in one line; samples as hexadecimal floats, so equality is exact.
std::string describe(cAcquisitionInputFile const& file)
{
    std::string text = file.getCrashType() + "|" + file.getComments() + "|" +
                       file.getNumberText(eCrashCrashSpeed) + "|" + file.getNumberText(eCrashVehicleMass) +
                       "|" + file.getInstrumentationNumberText() + "|" + file.getT0Text() + "|";
    for (auto const& [key, value] : file.getExtraHeaderItems())
        text += key + "=" + value + ";";
    unsigned int cursor = 0;
    for (cChannelInput* channel = file.firstChannelInput(cursor); channel;
         channel = file.nextChannelInput(cursor))
    {
        char numbers[64];
        std::snprintf(numbers, sizeof numbers, "|%.17g Hz|%u|%g ms:", channel->getSamplingRateInHz(),
                      channel->getSampleNumber(), double(channel->getEndTimeInMs()));
        text += "\n" + channel->getName() + "|" + channel->getUnit() + numbers;
        for (float sample : channel->getSamples())
        {
            std::snprintf(numbers, sizeof numbers, " %a", double(sample));
            text += numbers;
        }
    }
    return text;
}

void putU32(std::string& bytes, std::size_t at, std::uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        bytes[at + i] = static_cast<char>(value >> (8 * i));
}

// Writes a little-endian uint32 into the directory and gives the directory a matching checksum, so that
// the reader gets past the checksum to the field itself.
void patchDirectory(std::string& bytes, std::size_t at, std::uint32_t value)
{
    putU32(bytes, at, value);
    std::uint32_t const size = std::uint32_t(std::uint8_t(bytes[12])) | std::uint32_t(std::uint8_t(bytes[13]))
                                                                            << 8;
    putU32(bytes, 16 + size, crc32(0, reinterpret_cast<Bytef const*>(bytes.data() + 16), size));
}

using cBinInputFileTest = cKitFixture;
} // namespace

TEST_F(cBinInputFileTest, GoldenFileReadsLazilyAndWritesBackByteIdentical)
{
    cBinInputFile memory(tempPath("never-opened.bin").c_str(), 0x21);
    fillGoldenRecording(memory);
    cBinInputFile::writeFile(memory, tempPath("made.bin"));
    EXPECT_EQ(readText(tempPath("made.bin")), readText(kGolden)); // the writer is deterministic

    std::unique_ptr<cBinInputFile> golden = openBin(kGolden);
    EXPECT_EQ(golden->getChannelInputSize(), 3u);
    EXPECT_FALSE(golden->findChannelInput("ACU_X")->hasSamples() ||
                 golden->findChannelInput("ACU_Y")->hasSamples());
    EXPECT_EQ(golden->findChannelInput("ACU_X")->getEndTimeInMs(), 0.4f); // known before the samples
    EXPECT_EQ(describe(*golden),
              "Full frontal|Béton, 0° ✓|56.00|1250|42|-10.5|Laboratory=Lab: A;Note=;\n"
              "ACU_X|g|10000 Hz|5|0.4 ms: 0x0p+0 0x1.8p+0 -0x1.2p+1 0x1.ad7f2ap-24 0x1.ff933cp+127\n"
              "ACU_Y|m/(s*s)|12500.5 Hz|3|0.159994 ms: -0x1p+0 0x1p-3 0x1.cp+2\n"
              "EMPTY||1000 Hz|0|0 ms:");

    // Read, write, read: the same bytes and the same recording; the samples the write had to read are
    // given back.
    golden->release();
    cBinInputFile::writeFile(*golden, tempPath("again.bin"));
    EXPECT_FALSE(golden->findChannelInput("ACU_Y")->hasSamples());
    EXPECT_EQ(readText(tempPath("again.bin")), readText(kGolden));
    EXPECT_EQ(describe(*openBin(tempPath("again.bin"))), describe(*golden));

    // A recording in memory has channels only.
    cInputFile plain;
    addChannel(plain, "SIDE", "g", 2000.0, {2.5f});
    cBinInputFile::writeFile(plain, tempPath("plain.bin"));
    EXPECT_EQ(describe(*openBin(tempPath("plain.bin"))), "||||||\nSIDE|g|2000 Hz|1|0 ms: 0x1.4p+1");
}

TEST_F(cBinInputFileTest, SamplesAreReadOnDemandAndCheckedThen)
{
    std::string const path = tempPath("copy.bin");
    std::filesystem::copy_file(kGolden, path);
    std::unique_ptr<cBinInputFile> file = openBin(path);
    cChannelInput* x = file->findChannelInput("ACU_X");
    EXPECT_EQ(x->getDataByIndex(2), -2.25f);
    EXPECT_TRUE(x->hasSamples());
    file->release();
    EXPECT_FALSE(x->hasSamples());
    EXPECT_EQ(x->getDataByIndex(1), 1.5f);

    // A header that grows moves the blocks: samples given back after a save come from the new layout.
    file->setText(eCrashTestNumber, "T-2024-0815 with a longer test number");
    file->save();
    file->release();
    EXPECT_EQ(x->getDataByIndex(4), 3.4e38f);
    EXPECT_EQ(openBin(path)->getTestNumber(), "T-2024-0815 with a longer test number");

    // A damaged block shows only when its channel is asked for; a vanished file at the next read.
    std::string bytes = readText(path);
    bytes[bytes.size() - 12] ^= 0x01; // the last sample of ACU_Y
    writeText(path, bytes);
    file = openBin(path);
    EXPECT_EQ(file->findChannelInput("ACU_X")->getDataByIndex(0), 0.0f);
    EXPECT_EQ(failureOf([&] { file->findChannelInput("ACU_Y")->getSamples(); }),
              "cGenericException|cAcquisitionInputFile::read|Bad crash recording \"" + path +
                  "\": channel ACU_Y: sample block checksum 0x3cbe74b9 does not match 0x840213dc");
    std::filesystem::remove(path);
    EXPECT_EQ(failureOf([&] { file->findChannelInput("ACU_Y")->getSamples(); }),
              "cFstreamOpenException|cBinInputFile::readChannelSamples|Unable to open file: " + path);
}

TEST_F(cBinInputFileTest, DamagedFilesNameWhatIsWrong)
{
    std::string const golden = readText(kGolden);
    std::size_t const countOfX = golden.find("ACU_X") + 5 + 4 + 1 + 8; // behind name, unit and rate
    std::size_t const itemCount = 16;
    struct sCase
    {
        std::string bytes;
        std::string what;
    };
    auto changed = [&](auto change)
    {
        std::string bytes = golden;
        change(bytes);
        return bytes;
    };
    sCase const cases[] = {
        {"SIMCBIX", "not a BIN recording (bad magic)"},
        {"SIMCB", "truncated at byte 5 (the header ends at byte 16)"},
        {changed([](std::string& b) { b[8] = 7; }), "version 7 is not supported"},
        {golden.substr(0, 200), "truncated at byte 200 (the directory ends at byte 327)"},
        {golden.substr(0, golden.size() - 1), "channel EMPTY: sample block ends past the end of the file"},
        {changed([](std::string& b) { b[40] ^= 0x20; }),
         "directory checksum 0x62744b16 does not match 0xe6be8e4e"},
        {changed([&](std::string& b) { patchDirectory(b, itemCount, 4000000000u); }),
         "header item count 4000000000 does not fit in the directory"},
        // A sample count that would take 16 GB is refused before anything is allocated.
        {changed([&](std::string& b) { patchDirectory(b, countOfX, 4000000000u); }),
         "channel ACU_X: sample block ends past the end of the file"},
        {changed([&](std::string& b) { patchDirectory(b, countOfX - 4, 0x7ff80000u); }),
         "channel ACU_X: sampling rate nan Hz is out of range"},
        {changed([&](std::string& b) { patchDirectory(b, countOfX + 4, 20); }),
         "channel ACU_X: sample block starts inside the directory"},
        {changed([](std::string& b) { putU32(b, 12, 400); }),
         "truncated at byte 371 (the directory ends at byte 420)"},
    };
    std::string const path = tempPath("bad.bin");
    for (sCase const& c : cases)
    {
        writeText(path, c.bytes);
        EXPECT_EQ(failureOf([&] { openBin(path); }),
                  "cGenericException|cAcquisitionInputFile::read|Bad crash recording \"" + path +
                      "\": " + c.what);
    }
}

TEST_F(cBinInputFileTest, AFailedWriteKeepsWhatWasThereAndLeavesNoTemporary)
{
    // A folder in the way makes the rename fail after the temporary file is complete.
    std::string const path = tempPath("kept.bin");
    std::filesystem::create_directory(path);
    writeText(path + "/inside", "old");
    cInputFile plain;
    addChannel(plain, "SIDE", "g", 2000.0, {2.5f});
    EXPECT_EQ(failureOf([&] { cBinInputFile::writeFile(plain, path); }),
              "cFstreamOpenException|cBinInputFile::writeFile|Unable to open file: " + path);
    EXPECT_EQ(readText(path + "/inside"), "old");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(tempFolder()), {}), 1);
    EXPECT_EQ(failureOf([&] { cBinInputFile::writeFile(plain, tempPath("no/such/folder.bin")); }),
              "cFstreamOpenException|cBinInputFile::writeFile|Unable to open file: " +
                  tempPath("no/such/folder.bin"));
}

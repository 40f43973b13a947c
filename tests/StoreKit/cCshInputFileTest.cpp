#include "StoreKit/cCshInputFile.h"

#include "BaseKit/cKynException.h"
#include "StoreKit/cBinInputFile.h"
#include "tests/support/cKitFixture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace
{
std::string const kGolden = SIMCORE_TEST_DATA_DIR "StoreKit/crash/csh/";

std::string fileText(std::string const& path)
{
    std::ifstream input(path, std::ios::binary);
    std::ostringstream text;
    text << input.rdbuf();
    return text.str();
}

void writeText(std::string const& path, std::string const& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

// Opens a recording as a crash file list does: directory read, stream closed.
std::unique_ptr<cCshInputFile> openCsh(std::string const& path)
{
    auto file = std::make_unique<cCshInputFile>(path.c_str(), 0x21);
    file->read();
    file->closeStream();
    return file;
}

std::vector<float> samplesOf(cInputFile const& file, std::string const& channel)
{
    return file.findChannelInput(channel)->getSamples();
}

// The message of the exception that opening the text as a CSH file and reading every sample gives.
std::string failureOf(std::string const& path, std::string const& text)
{
    writeText(path, text);
    try
    {
        auto const file = openCsh(path);
        unsigned int cursor = 0;
        for (cChannelInput* channel = file->firstChannelInput(cursor); channel;
             channel = file->nextChannelInput(cursor))
            channel->getSamples();
    }
    catch (cKynException const& exception)
    {
        return exception.what();
    }
    return "no failure";
}

class cCshInputFileTest : public cKitFixture
{
};
} // namespace

// Header fields, extras and T0 come from the header; the directory gives channels and defects at once,
// while samples wait for their first use and come back after a release. CRLF line ends read the same.
TEST_F(cCshInputFileTest, ReadsTheHeaderAndDirectoryAtOnceAndSamplesOnFirstUse)
{
    std::string const crlf = tempPath("crlf.csh");
    std::string text = fileText(kGolden + "small.csh");
    std::string withCr;
    for (char const c : text)
        withCr += c == '\n' ? std::string("\r\n") : std::string(1, c);
    writeText(crlf, withCr);
    for (std::string const& path : {kGolden + "small.csh", crlf})
    {
        auto const file = openCsh(path);
        EXPECT_EQ("Frontal", file->getCrashType());
        EXPECT_EQ("  lab note: \"A\"\nsecond line", file->getComments());
        EXPECT_EQ(56, file->getVehicleSpeed());
        EXPECT_EQ(0, file->getCrashSpeed()) << "absent numbers are 0";
        EXPECT_EQ(12, file->getInstrumentationNumber());
        EXPECT_EQ("1.5", file->getT0Text());
        EXPECT_EQ("Test Centre 3", file->getHeaderItem("Laboratory"));
        ASSERT_EQ(2u, file->getChannelInputSize());
        cChannelInput const* x = file->findChannelInput("ACU_X");
        EXPECT_EQ("g", x->getUnit());
        EXPECT_EQ(20000, x->getSamplingRate());
        EXPECT_EQ(4u, x->getSampleNumber());
        EXPECT_FLOAT_EQ(0.15f, x->getEndTimeInMs());
        cChannelDefectRecord const defects = file->getChannelDefectRecord("ACU_X");
        ASSERT_EQ(1, defects.getCSHChannelDefectNumber());
        EXPECT_EQ("wire loose", defects.getCSHChannelDefectName(0));
        EXPECT_EQ(0.15, defects.getCSHChannelDefectTo(0));
        EXPECT_EQ(0, file->getChannelDefectRecord("ACU_Y").getCSHChannelDefectNumber());
        EXPECT_EQ(-1, file->getChannelDefectRecord("ACU_Z").getCSHChannelDefectNumber());

        EXPECT_FALSE(x->hasSamples());
        EXPECT_EQ((std::vector<float>{0.0f, -1.5f, 22.5f, 0.1f}), samplesOf(*file, "ACU_X"));
        EXPECT_FALSE(file->findChannelInput("ACU_Y")->hasSamples()) << "only the channel asked for is read";
        file->release();
        EXPECT_FALSE(x->hasSamples());
        EXPECT_EQ(-1.5f, x->getDataByIndex(1));
        EXPECT_EQ((std::vector<float>{1.0f, 2.0f, 3.0f}), samplesOf(*file, "ACU_Y"));
    }
}

// Writing gives the canonical text (golden), and read, write, read gives the same recording back,
// including texts that need quoting and floats whose shortest form is long.
TEST_F(cCshInputFileTest, WritesTheCanonicalTextAndRoundTripsExactly)
{
    std::string const written = tempPath("written.csh");
    cCshInputFile::writeFile(*openCsh(kGolden + "small.csh"), written);
    EXPECT_EQ(fileText(kGolden + "small-written.csh"), fileText(written));
    // Saving the hand-written file over itself rewrites it canonically; its samples, read only to be
    // written, are given back and come from their new place in the file when next asked for.
    std::string const own = tempPath("own.csh");
    std::filesystem::copy_file(kGolden + "small.csh", own);
    auto const again = openCsh(own);
    again->save();
    EXPECT_EQ(fileText(kGolden + "small-written.csh"), fileText(own));
    EXPECT_FALSE(again->findChannelInput("ACU_Y")->hasSamples());
    EXPECT_EQ((std::vector<float>{1.0f, 2.0f, 3.0f}), samplesOf(*again, "ACU_Y"));

    cInputFile memory("pulse");
    auto* channel = new cChannelInput("\"odd\" name ", mpf_class("3333.333"));
    memory.addChannelInput(channel);
    std::vector<float> const values{1e-45f, -0.0f, 3.4028235e38f, 0.1f, -1.17549435e-38f, 16777217.0f};
    for (float const value : values)
        channel->addSample(value);
    std::string const path = tempPath("memory.csh");
    cCshInputFile::writeFile(memory, path);
    auto const read = openCsh(path);
    unsigned int cursor = 0;
    cChannelInput const* back = read->firstChannelInput(cursor);
    ASSERT_NE(nullptr, back);
    EXPECT_EQ("\"odd\" name ", back->getName());
    EXPECT_EQ(mpf_class("3333.333"), back->getSamplingRate());
    // Converted to BIN, the rate is the nearest double of the text, not a truncation of it.
    cBinInputFile::writeFile(*read, tempPath("memory.bin"));
    cBinInputFile bin(tempPath("memory.bin").c_str(), 0x21);
    bin.read();
    EXPECT_EQ(3333.333, bin.firstChannelInput(cursor = 0)->getSamplingRateInHz());
    std::vector<float> const readBack = back->getSamples();
    ASSERT_EQ(values.size(), readBack.size());
    for (size_t i = 0; i < values.size(); ++i)
        EXPECT_EQ(0, std::memcmp(&values[i], &readBack[i], sizeof(float)))
            << "sample " << i << " bit for bit";
}

// Each fault names the file and the line, and a fault among the samples shows when they are read.
TEST_F(cCshInputFileTest, MalformedTextNamesTheFileAndTheLine)
{
    std::string const path = tempPath("bad.csh");
    std::string const at = "Bad crash recording \"" + path + "\" at line ";
    std::string const channel = "Channel = A\nSampling Rate = 1000\nSamples = 2\n";
    struct
    {
        std::string text;
        std::string message;
    } const cases[] = {
        {"CSV 1\n", at + "1: not a CSH recording: the first line must be \"CSH 1\""},
        {"CSH 2\n", at + "1: version \"2\" is not supported"},
        {"CSH 1\nCrash Type Frontal\n", at + "2: expected \"key = value\""},
        {"CSH 1\nVehicle Speed = fast\n", at + "2: Vehicle Speed \"fast\" is no number"},
        {"CSH 1\nComments = \"open\n",
         at + "2: the quoted value of Comments is not closed or holds an unknown escape"},
        {"CSH 1\n" + channel + "Gain = 2\n", at + "5: unknown channel key \"Gain\" in channel A"},
        {"CSH 1\nChannel = A\nSamples = 1\nData = A\n1\n", at + "2: channel A has no \"Sampling Rate\""},
        {"CSH 1\n" + channel + "Sampling Rate = -5\n",
         at + "5: the sampling rate \"-5\" is no number above 0"},
        {"CSH 1\nChannel = A\nSampling Rate = 1e-300\nSamples = 3\nData = A\n1\n2\n3\n",
         at + "2: channel A: sampling rate 1e-300 Hz is out of range for 3 samples"},
        {"CSH 1\nChannel = A\nSampling Rate = 1000\nSamples = 888888883\nData = A\n1\n2\n",
         at + "2: channel A declares 888888883 samples, more than the rest of the recording holds"},
        {"CSH 1\n" + channel + "Defect From = 1\n", at + "5: Defect From before any \"Defect\" of channel A"},
        {"CSH 1\n" + channel, at + "4: the recording ends before the samples (no \"Data = A\")"},
        {"CSH 1\n" + channel + "Data = A\n1\nx2\n", at + "7: sample \"x2\" of channel A is no number"},
        {"CSH 1\n" + channel + "Data = A\n1\n", at + "7: channel A ends after 1 of its 2 samples"},
        {"CSH 1\n" + channel + "Data = B\n1\n2\n", at + "5: expected \"Data = A\""},
        {"CSH 1\n" + channel + "Data = A\n1\n2\n3\n", at + "8: text after the samples of the last channel"},
    };
    for (auto const& [text, message] : cases)
        EXPECT_EQ(message, failureOf(path, text)) << text;
}

// A number may carry a "+" sign, which the multi-precision parser itself refuses.
TEST_F(cCshInputFileTest, SignedNumbersRead)
{
    std::string const path = tempPath("signed.csh");
    writeText(
        path,
        "CSH 1\nVehicle Speed = +56\nChannel = A\nSampling Rate = +1e4\nSamples = 2\nData = A\n+1\n-2\n");
    auto const file = openCsh(path);
    EXPECT_EQ(mpf_class(56), file->getNumber(eCrashVehicleSpeed));
    EXPECT_EQ(mpf_class(10000), file->findChannelInput("A")->getSamplingRate());
    EXPECT_EQ((std::vector<float>{1.0f, -2.0f}), samplesOf(*file, "A"));
}

#include "StoreKit/cMmeInputFile.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"
#include "StoreKit/cConfigurationGroup.h"

#include "tests/support/cConfigurationTexts.h"
#include "tests/support/cKitFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <charconv>
#include <filesystem>
#include <memory>

namespace
{
std::string const kGolden = SIMCORE_TEST_DATA_DIR "StoreKit/crash/mme/";

std::unique_ptr<cMmeInputFile> openTest(std::string const& path, cConfigurationGroup const* mapping = nullptr)
{
    auto file = std::make_unique<cMmeInputFile>(path.c_str(), 0x21);
    file->setCrashMapping(mapping);
    file->read();
    file->closeStream();
    return file;
}

std::string shortest(float value)
{
    char buffer[32];
    return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

// Everything the reader gives, one item a line: fields, T0, the other header items, then per channel
// its directory and its samples.
std::string dump(cMmeInputFile const& file)
{
    std::string text;
    for (int field = 0; field < eCrashTextCount; ++field)
        text += std::string(cAcquisitionInputFile::textKey(ECrashText(field))) + "=" +
                file.getText(ECrashText(field)) + "\n";
    for (int field = 0; field < eCrashNumberCount; ++field)
        text += std::string(cAcquisitionInputFile::numberKey(ECrashNumber(field))) + "=" +
                file.getNumberText(ECrashNumber(field)) + "\n";
    text +=
        "Instrumentation Number=" + file.getInstrumentationNumberText() + "\nT0=" + file.getT0Text() + "\n";
    for (auto const& [key, value] : file.getExtraHeaderItems())
        text += "extra " + key + "=" + value + "\n";
    unsigned int cursor = 0;
    for (cChannelInput* channel = file.firstChannelInput(cursor); channel != nullptr;
         channel = file.nextChannelInput(cursor))
    {
        text += "channel " + channel->getName() + "|" + channel->getUnit() + "|" +
                numberToText(channel->getSamplingRate()) + " Hz|" +
                std::to_string(channel->getSampleNumber()) + " samples|" +
                shortest(channel->getEndTimeInMs()) + " ms|";
        for (float const sample : channel->getSamples())
            text += " " + shortest(sample);
        text += "\n";
    }
    return text;
}

class cMmeInputFileTest : public cKitFixture
{
protected:
    // A copy of the golden test in the temporary folder, to spoil one file of it.
    std::string copyGolden()
    {
        std::filesystem::copy(kGolden + "TEST01", tempPath("TEST01"),
                              std::filesystem::copy_options::recursive);
        return tempPath("TEST01/");
    }
    static void replaceIn(std::string const& path, std::string const& from, std::string const& to)
    {
        std::string text = readText(path);
        ASSERT_NE(text.find(from), std::string::npos) << from;
        writeText(path, text.replace(text.find(from), from.size(), to));
    }
};
} // namespace

TEST_F(cMmeInputFileTest, GoldenTestReadsToItsExpectedText)
{
    // Mixed-case names, CRLF, a Windows-1252 header, a channel file in UTF-8 with a BOM, NOVALUE
    // values, padded names, a sample too small for a float and a pre-trigger of 0.3 ms.
    std::unique_ptr<cMmeInputFile> file = openTest(kGolden + "TEST01/TEST01.MME");
    EXPECT_EQ(dump(*file), readText(kGolden + "TEST01-expected.txt"));
    EXPECT_EQ(file->getHeaderItem("Date of the test"), "2023-05-17");
    EXPECT_EQ(file->getChannelDefectRecord("10TUNN000000ACXP").getCSHChannelDefectNumber(), 0);
    EXPECT_EQ(failureOf([&] { file->save(); }),
              "cFileNotWritableException|cAcquisitionInputFile::save|The file is not writable.");

    // The project's crash mapping applies on top of the format's own.
    cConfigurationGroup mapping("Crash Mapping");
    mapping.addInformation("Test Phase", "Regulation");
    mapping.addInformation("Crash Type", "Laboratory name");
    file = openTest(kGolden + "TEST01/TEST01.MME", &mapping);
    EXPECT_EQ(file->getTestPhase() + "|" + file->getCrashType() + "|" + file->getPreciseCrashType(),
              "ECE R94|Crash Lab North|RIGID BARRIER");
}

TEST_F(cMmeInputFileTest, SamplesAreReadOnFirstAskAndAgainAfterRelease)
{
    std::string const folder = copyGolden();
    std::unique_ptr<cMmeInputFile> file = openTest(folder + "TEST01.MME");
    unsigned int cursor = 0;
    cChannelInput* const first = file->firstChannelInput(cursor);
    cChannelInput* const second = file->nextChannelInput(cursor);
    EXPECT_FALSE(first->hasSamples() || second->hasSamples());
    EXPECT_EQ(first->getDataByIndex(1), -1.25f);
    EXPECT_TRUE(first->hasSamples() && !second->hasSamples());

    replaceIn(folder + "channel/TEST01.001", "-1.2500000E+00", "-7.5");
    EXPECT_EQ(first->getDataByIndex(1), -1.25f); // held in memory until released
    file->release();
    EXPECT_FALSE(first->hasSamples());
    EXPECT_EQ(first->getDataByIndex(1), -7.5f);
}

TEST_F(cMmeInputFileTest, MissingFilesNameThePathLookedFor)
{
    struct sCase
    {
        char const* remove;
        char const* missing;
    };
    for (sCase const& c :
         {sCase{"channel/Test01.003", "channel/TEST01.003"},
          sCase{"channel/test01.chn", "channel/TEST01.chn"}, sCase{"channel", "Channel/TEST01.chn"}})
    {
        std::string const folder = copyGolden();
        std::filesystem::remove_all(folder + c.remove);
        EXPECT_EQ(failureOf([&] { openTest(folder + "TEST01.MME"); }),
                  "cFstreamOpenException|cMmeInputFile::readDirectory|Unable to open file: " + folder +
                      c.missing);
        std::filesystem::remove_all(folder);
    }
}

TEST_F(cMmeInputFileTest, BadDirectoriesAreRefusedWithFileAndLine)
{
    struct sCase
    {
        char const* file;
        char const* from;
        char const* to;
        char const* error; // after "Bad crash recording "<folder><file>" at line "
    };
    sCase const cases[] = {
        {"channel/TEST01.001", ":implicit", ":explicit",
         "9: the channel has an explicit time reference (Reference channel: explicit); only implicit times, "
         "from "
         "the first sample time and the sampling interval, are read"},
        {"channel/Test01.003", ":-0.00030", ":-0.0002",
         "7: Time of first sample -0.0002 s differs from the -0.0003 s of channel 10TUNN000000ACXP: the "
         "channels "
         "of a recording must start together"},
        {"channel/TEST01.001", "Sampling interval           :0.0001", "Sampling interval           :NOVALUE",
         "11: no \"Sampling interval\" in the channel header"},
        {"channel/TEST01.001", ":0.0001", ":-1",
         "6: Sampling interval \"-1\" is no positive number of seconds"},
        {"channel/TEST01.001", "Number of samples           :6", "Number of samples           :6.5",
         "8: Number of samples \"6.5\" is no whole number"},
        {"channel/TEST01.001", ":6\r", ":4000000000\r",
         "8: Number of samples 4000000000 is more than the file's 71 bytes of sample lines can hold"},
        {"channel/test01.chn", ":3\r", ":2\r", "2: Number of channels is 2 but 3 channels are named"},
        {"channel/test01.chn", "channel 002", "channel 001",
         "4: channel 001 is named again (first at line 3)"},
        {"TEST01.MME", "Title                       :", "Title ",
         "5: \"Title Full frontal 56 km/h rigid barrier\" "
         "is no \"name:value\" line"},
    };
    for (sCase const& c : cases)
    {
        std::string const folder = copyGolden();
        replaceIn(folder + c.file, c.from, c.to);
        EXPECT_EQ(failureOf([&] { openTest(folder + "TEST01.MME"); }),
                  "cGenericException|cAcquisitionInputFile::read|Bad crash recording \"" + folder + c.file +
                      "\" at line " + c.error);
        std::filesystem::remove_all(folder);
    }
}

TEST_F(cMmeInputFileTest, BadSamplesAreRefusedWhenFirstAskedFor)
{
    struct sCase
    {
        char const* from;
        char const* to;
        char const* error; // after "Bad crash recording "<channel file>" at line "
    };
    sCase const cases[] = {
        {" -3.75E+01", "NOVALUE", "14: NOVALUE sample: a channel with missing samples cannot be read"},
        {" -3.75E+01", " -3,75", "14: sample \"-3,75\" is no number"},
        {" -3.75E+01", "nan", "14: sample \"nan\" is no number"},
        {" -3.75E+01", "1e39", "14: sample \"1e39\" is out of the range of a float"},
        {"+4\r\n", "", "16: the file ends after 5 of the 6 samples of \"Number of samples\""},
        {"+4\r\n", "+4\r\n5\r\n", "17: more sample lines than the 6 of \"Number of samples\""},
        {"1.0E-02\r\n", "\r\n", "15: empty line among the samples"},
    };
    for (sCase const& c : cases)
    {
        std::string const folder = copyGolden();
        replaceIn(folder + "channel/TEST01.001", c.from, c.to);
        std::unique_ptr<cMmeInputFile> file = openTest(folder + "TEST01.MME");
        unsigned int cursor = 0;
        cChannelInput* const channel = file->firstChannelInput(cursor);
        EXPECT_EQ(failureOf([&] { channel->getDataByIndex(0); }),
                  "cGenericException|cAcquisitionInputFile::read|Bad crash recording \"" + folder +
                      "channel/TEST01.001\" at line " + c.error);
        EXPECT_FALSE(channel->hasSamples());
        std::filesystem::remove_all(folder);
    }
}

#include "StoreKit/cAefInputFile.h"

#include "BaseKit/cKynException.h"

#include "tests/support/cConfigurationTexts.h"
#include "tests/support/cKitFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <set>

namespace
{
std::string const g_data = SIMCORE_TEST_DATA_DIR "StoreKit/aef/";

std::unique_ptr<cAefInputFile> openAef(std::string const& path, int mode = 1)
{
    std::unique_ptr<cAefInputFile> file(cAefInputFile::createFile(path.c_str(), mode));
    file->open();
    return file;
}

// "code value" of a read that reports by code, the code starting at a value the read must overwrite.
std::string codeAndValue(cAefInputFile const& file, std::string const& name, unsigned char size,
                         bool isUnsigned, mpf_class const& minimum, mpf_class const& maximum)
{
    unsigned int code = 99;
    mpf_class const value = file.getItemValue(name, size, isUnsigned, minimum, maximum, &code);
    return std::to_string(code) + " " + mpz_class(value).get_str();
}

using cAefInputFileTest = cKitFixture;
} // namespace

TEST_F(cAefInputFileTest, ValuesRoundTripPerSizeAndSignWithInclusiveBounds)
{
    struct sCase
    {
        unsigned char size;
        bool isUnsigned;
        char const* value;
        char const* text;
    };
    sCase const cases[] = {
        {1, true, "255", "0xFF"},
        {1, false, "-128", "0x80"},
        {1, false, "127", "0x7F"},
        {1, true, "0", "0x00"},
        {2, false, "-1", "0xFFFF"},
        {2, true, "65535", "0xFFFF"},
        {3, false, "-2", "0xFFFFFE"},
        {4, false, "-2147483648", "0x80000000"},
        {4, true, "4294967295", "0xFFFFFFFF"},
        {8, true, "18446744073709551615", "0xFFFFFFFFFFFFFFFF"},
        {8, false, "-9223372036854775808", "0x8000000000000000"},
    };
    std::string const path = tempPath("round.aef");
    std::unique_ptr<cAefInputFile> written = openAef(path, 2);
    for (unsigned int i = 0; i < std::size(cases); ++i)
        written->addItem("C" + std::to_string(i), mpf_class(mpz_class(cases[i].value)), cases[i].size);
    EXPECT_EQ(written->save("", "P"), 1);

    std::unique_ptr<cAefInputFile> file = openAef(path);
    cConfigurationGroup const& params = *file->getTopGroup()->findConfigurationGroup("PARAM", true);
    for (unsigned int i = 0; i < std::size(cases); ++i)
    {
        sCase const& c = cases[i];
        std::string const name = "C" + std::to_string(i);
        SCOPED_TRACE(name);
        mpf_class const v(mpz_class(c.value));
        std::string text;
        params.findItemValue(name, text, true);
        EXPECT_EQ(text, c.text);
        EXPECT_EQ(codeAndValue(*file, name, c.size, c.isUnsigned, v, v), std::string("0 ") + c.value);
        EXPECT_EQ(codeAndValue(*file, name, c.size, c.isUnsigned, v + 1, v + 10), "2 0");
        EXPECT_EQ(codeAndValue(*file, name, c.size, c.isUnsigned, v - 10, v - 1), "2 0");
    }
}

TEST_F(cAefInputFileTest, AMissingNameAndAnUnusableValueFailByCodeOrWithTheirTexts)
{
    std::string const path = g_data + "read-input.aef";
    std::unique_ptr<cAefInputFile> file = openAef(path);
    EXPECT_EQ(file->getCalibrationName(), "front.cal");
    // Hand-edited forms read; the first of two items of a name counts.
    EXPECT_EQ(codeAndValue(*file, "LOWER", 1, true, 0, 255), "0 255");
    EXPECT_EQ(codeAndValue(*file, "BARE", 1, false, -128, 127), "0 127");
    EXPECT_EQ(codeAndValue(*file, "WIDE", 2, true, 0, 65535), "0 256");
    EXPECT_EQ(codeAndValue(*file, "SIGNED", 1, false, -100, 100), "0 -56");
    EXPECT_EQ(codeAndValue(*file, "NONE", 1, true, 0, 255), "1 0");
    EXPECT_EQ(codeAndValue(*file, "WIDE", 1, true, 0, 255), "2 0");

    auto const failure = [&](char const* name, unsigned char size, bool isUnsigned, int minimum, int maximum)
    { return failureOf([&] { file->getItemValue(name, size, isUnsigned, minimum, maximum, nullptr); }); };
    auto const invalid = [&](char const* value, char const* name, int line, char const* reason)
    {
        return "cGenericException|cAefInputFile::getItemValue|Invalid value \"" + std::string(value) +
               "\" of EEPROM name \"" + name + "\" in group \"PARAM\" at line " + std::to_string(line) +
               " of file \"" + path + "\": " + reason;
    };
    EXPECT_EQ(failure("NONE", 1, true, 0, 255),
              "cMissingItem|cAefInputFile::getItemValue|Missing EEPROM name "
              "\"NONE\".\nIn group \"PARAM\" (line 5) of file \"" +
                  path + "\".");
    EXPECT_EQ(failure("WIDE", 1, true, 0, 255),
              invalid("0x0100", "WIDE", 8, "a hexadecimal number of at most 1 byte is expected."));
    EXPECT_EQ(failure("WORD", 2, true, 0, 255),
              invalid("0xG1", "WORD", 9, "a hexadecimal number is expected."));
    EXPECT_EQ(failure("EMPTY", 2, true, 0, 255),
              invalid("", "EMPTY", 10, "a hexadecimal number is expected."));
    EXPECT_EQ(failure("SIGNED", 1, true, 0, 100),
              invalid("0xC8", "SIGNED", 11, "200 is outside the bounds 0 and 100."));
    EXPECT_EQ(failure("LOWER", 9, true, 0, 255),
              invalid("0xff", "LOWER", 6, "an EEPROM size of 1 to 8 bytes is expected, not 9."));
}

TEST_F(cAefInputFileTest, AWrittenFileMatchesItsGoldenTextAndRefusalsAddNothing)
{
    std::string const path = tempPath("front.aef");
    std::unique_ptr<cAefInputFile> file(cAefInputFile::createFile(path.c_str(), 2));
    file->addCalibrationName("/studies/old.cal");
    file->addItem("THR_FRONT", 127, 1);
    file->addCalibrationName("/studies/front.cal"); // one name per file: replaced, not added
    file->addItem("OFFSET", -10, 2);
    file->addItem("GAIN", 65536, 4);
    file->addItem("TRUNCATED", mpf_class(-2.9), 1);

    std::string const refused = "cGenericException|cAefInputFile::addItem|Cannot add EEPROM name ";
    std::string const toFile = " to file \"" + path + "\": ";
    EXPECT_EQ(failureOf([&] { file->addItem("GAIN", 1, 4); }),
              refused + "\"GAIN\"" + toFile +
                  "the name is already in group \"PARAM\" (a cell holds one value).");
    EXPECT_EQ(failureOf([&] { file->addItem("X", 256, 1); }),
              refused + "\"X\"" + toFile + "the value 256 does not fit in 1 byte.");
    EXPECT_EQ(failureOf([&] { file->addItem("X", -32769, 2); }),
              refused + "\"X\"" + toFile + "the value -32769 does not fit in 2 bytes.");
    EXPECT_EQ(failureOf([&] { file->addItem("X", 1, 0); }),
              refused + "\"X\"" + toFile + "an EEPROM size of 1 to 8 bytes is expected, not 0.");

    EXPECT_EQ(file->save("Thresholds of test 12", "Demo project"), 1);
    EXPECT_EQ(readText(path), readText(g_data + "written-expected.aef"));
    EXPECT_EQ(openAef(path)->getCalibrationName(), "/studies/front.cal");

    // A locked file is refused and left as it was, and a save leaves no temporary or backup file.
    file->addItem("LATE", 1, 1);
    file->setWritable(false);
    EXPECT_THROW(file->save("", "P"), cFileNotWritableException);
    EXPECT_EQ(readText(path), readText(g_data + "written-expected.aef"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(tempFolder()), {}), 1);
}

// Each error-NAME-input.aef is refused with the "class|function|text" of error-NAME-expected.txt, where
// @DATA@ stands for the folder; the tree that was there before stays.
TEST_F(cAefInputFileTest, MalformedFilesAreRefusedWithTheFileAndTheLine)
{
    std::set<std::string> inputs;
    for (auto const& entry : std::filesystem::directory_iterator(g_data))
    {
        std::string const name = entry.path().filename().string();
        if (name.starts_with("error-") && name.ends_with("-input.aef"))
            inputs.insert(name.substr(0, name.size() - 10));
    }
    ASSERT_EQ(inputs.size(), 4u);
    std::unique_ptr<cAefInputFile> file = openAef(g_data + "read-input.aef");
    for (std::string const& name : inputs)
    {
        SCOPED_TRACE(name);
        std::string expected = readText(g_data + name + "-expected.txt");
        expected.erase(expected.find_last_not_of('\n') + 1);
        expected.replace(expected.find("@DATA@"), 6, g_data);
        file->setFileName(g_data + name + "-input.aef");
        EXPECT_EQ(failureOf([&] { file->open(); }), expected);
        EXPECT_EQ(codeAndValue(*file, "LOWER", 1, true, 0, 255), "0 255");
    }
    EXPECT_EQ(failureOf([&] { delete cAefInputFile::createFile(nullptr, 1); }),
              "cGenericException|cAefInputFile::createFile|An EEPROM file cannot be created without a path.");
}

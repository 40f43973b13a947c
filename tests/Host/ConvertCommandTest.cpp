#include "Host/Commands.h"

#include "tests/support/cKitFixture.h"

#include <CLI/CLI.hpp>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace
{
std::string const kData = SIMCORE_TEST_DATA_DIR;

std::string fileBytes(std::string const& path)
{
    std::ifstream input(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << input.rdbuf();
    return bytes.str();
}

class ConvertCommand : public cKitFixture
{
protected:
    int run(std::string const& in, std::string const& out)
    {
        CLI::App app("simcore");
        int status = -1;
        addConvertCommand(app, status);
        std::vector<std::string> arguments{out, in, "convert"}; // CLI11 takes the words last first
        app.parse(arguments);
        return status;
    }
};
} // namespace

TEST_F(ConvertCommand, ConvertsBetweenTheFormats)
{
    // ISO-MME to CSH: header fields, the test's other keys in order, T0 and samples.
    ASSERT_EQ(run(kData + "StoreKit/crash/mme/TEST01/TEST01.MME", tempPath("test01.csh")), 0);
    EXPECT_EQ(fileBytes(tempPath("test01.csh")), fileBytes(kData + "Host/convert/TEST01.csh"));

    // CSH through BIN and back is exact, the crash header and the comments' line breaks included.
    std::string const pulse = kData + "Host/pulse/full-frontal-26.csh";
    ASSERT_EQ(run(pulse, tempPath("ff26.bin")), 0);
    ASSERT_EQ(run(tempPath("ff26.bin"), tempPath("ff26.csh")), 0);
    EXPECT_EQ(fileBytes(tempPath("ff26.csh")), fileBytes(pulse));
    EXPECT_TRUE(messages.entries().empty());
}

TEST_F(ConvertCommand, RefusesWhatItCannotReadOrWrite)
{
    // A sample that is no number shows only when the samples are read, for the write.
    std::string const damaged = tempPath("damaged.csh");
    std::string const text =
        "CSH 1\nChannel = ACU_X\nUnit = g\nSampling Rate = 1000\nSamples = 2\nData = ACU_X\n0\n1.2.3\n";
    std::ofstream(damaged, std::ios::binary) << text;
    std::string const unknown = tempPath("damaged.txt");
    std::ofstream(unknown, std::ios::binary) << text;
    struct sCase
    {
        std::string in;
        std::string out;
        std::string message;
    };
    // The output is refused before the input is opened, which here does not exist.
    std::vector<sCase> const cases = {
        {tempPath("none.csh"), tempPath("out.mme"),
         "simcore convert: \"" + tempPath("out.mme") + "\": ISO-MME is read only; write .csh or .bin"},
        {tempPath("none.csh"), tempPath("out.csv"),
         "simcore convert: \"" + tempPath("out.csv") + "\": no recording format; write .csh or .bin"},
        {tempPath("none.csh"), tempPath("out.csh"),
         "simcore convert: Unable to open file: " + tempPath("none.csh")},
        {unknown, tempPath("out.csh"), "simcore convert: Unable to open file: " + unknown},
        {damaged, tempPath("out.bin"),
         "simcore convert: Bad crash recording \"" + damaged +
             "\" at line 8: sample \"1.2.3\" of channel ACU_X is no number"},
    };
    for (sCase const& c : cases)
    {
        SCOPED_TRACE(c.message);
        messages.clear();
        EXPECT_EQ(run(c.in, c.out), 2);
        ASSERT_EQ(messages.entries().size(), 1u);
        EXPECT_EQ(messages.entries()[0].kind, "error");
        EXPECT_EQ(messages.entries()[0].text, c.message);
        EXPECT_FALSE(std::filesystem::exists(c.out));
    }
}

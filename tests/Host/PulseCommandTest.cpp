#include "Host/Commands.h"

#include "Host/cPulseGenerator.h"
#include "SimCore/cKynFile.h"
#include "StoreKit/cChannelInput.h"
#include "tests/support/cKitFixture.h"

#include <CLI/CLI.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace
{
std::string const kGolden = SIMCORE_TEST_DATA_DIR "Host/pulse/";

std::string fileBytes(std::string const& path)
{
    std::ifstream input(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << input.rdbuf();
    return bytes.str();
}

std::unique_ptr<cAcquisitionInputFile> openRecording(std::string const& path)
{
    std::unique_ptr<cInputFile> file(makeAcquisitionFile(path.c_str(), 0x21, nullptr));
    return std::unique_ptr<cAcquisitionInputFile>(dynamic_cast<cAcquisitionInputFile*>(file.release()));
}

class PulseCommand : public cKitFixture
{
protected:
    // Runs "simcore pulse ..." in this process: the exit status, and what it printed in `printed`.
    int run(std::vector<std::string> arguments)
    {
        CLI::App app("simcore");
        int status = -1;
        addPulseCommand(app, status);
        arguments.insert(arguments.begin(), "pulse");
        std::reverse(arguments.begin(), arguments.end()); // CLI11 takes the words last first
        testing::internal::CaptureStdout();
        try
        {
            app.parse(arguments);
        }
        catch (...)
        {
            printed = testing::internal::GetCapturedStdout();
            throw;
        }
        printed = testing::internal::GetCapturedStdout();
        return status;
    }

    std::string printed;
};
} // namespace

TEST_F(PulseCommand, WritesTheRecordingAndPrintsItsTimeToFire)
{
    // The golden recording's comments hold the command line that made it.
    std::string const path = tempPath("ff26.csh");
    ASSERT_EQ(
        run({"--kind", "full-frontal", "--speed", "26", "--rate", "1000", "--duration", "80", "--out", path}),
        0);
    EXPECT_EQ(fileBytes(path), fileBytes(kGolden + "full-frontal-26.csh"));
    EXPECT_EQ(printed, "required time to fire (5-30 rule): 26.4 ms\n");
    EXPECT_TRUE(messages.entries().empty());

    // Read back as any crash file: the printed time is the rule's on the recorded samples.
    std::unique_ptr<cAcquisitionInputFile> const recording = openRecording(path);
    EXPECT_EQ(recording->getComments(),
              "simcore pulse --kind full-frontal --speed 26 --rate 1000 --duration 80 --seed 1\n" +
                  printed.substr(0, printed.size() - 1));
    EXPECT_EQ(recording->getT0Text(), "0");
    EXPECT_EQ(recording->getCrashSpeed(), 26);
    cChannelInput const* const x = recording->findChannelInput("ACU_X");
    ASSERT_NE(x, nullptr);
    EXPECT_EQ(x->getUnit(), "g");
    EXPECT_EQ(x->getSampleNumber(), 81u);
    EXPECT_EQ(recording->findChannelInput("ACU_Y")->getUnit(), "g");
    EXPECT_EQ(cPulseGenerator::requiredTimeToFireText(
                  cPulseGenerator::requiredTimeToFire(x->getSamples(), 1000.0)) +
                  "\n",
              printed);

    // A hammer blow has no speed fields and never needs the bag; 10 kHz and 200 ms by default.
    ASSERT_EQ(run({"--kind", "hammer", "--out", tempPath("hammer.bin")}), 0);
    EXPECT_EQ(printed, "required time to fire (5-30 rule): none\n");
    std::unique_ptr<cAcquisitionInputFile> const hammer = openRecording(tempPath("hammer.bin"));
    EXPECT_EQ(hammer->getNumberText(eCrashVehicleSpeed), "");
    EXPECT_EQ(hammer->getComments(), "simcore pulse --kind hammer --rate 10000 --duration 200 --seed 1\n"
                                     "required time to fire (5-30 rule): none");
    EXPECT_EQ(hammer->findChannelInput("ACU_Y")->getSampleNumber(), 2001u);
}

TEST_F(PulseCommand, TheSameOptionsGiveTheSameBytes)
{
    auto make = [&](std::string const& seed, std::string const& name)
    {
        EXPECT_EQ(run({"--kind", "rough-road", "--speed", "40", "--seed", seed, "--out", tempPath(name)}), 0);
        return fileBytes(tempPath(name));
    };
    std::string const first = make("7", "a.bin");
    EXPECT_EQ(make("7", "b.bin"), first);
    EXPECT_NE(make("8", "c.bin"), first);
    // CSH holds the very same samples.
    make("7", "a.csh");
    EXPECT_EQ(openRecording(tempPath("a.csh"))->findChannelInput("ACU_Y")->getSamples(),
              openRecording(tempPath("a.bin"))->findChannelInput("ACU_Y")->getSamples());
}

TEST_F(PulseCommand, BadOptionsExitWithTwoAndTheirMessage)
{
    std::string const out = tempPath("p.csh");
    struct sCase
    {
        std::vector<std::string> arguments;
        std::string message;
    };
    std::vector<sCase> const cases = {
        {{"--kind", "hammer", "--speed", "3", "--out", out},
         "simcore pulse: --speed is refused for hammer: a hammer blow has no speed"},
        {{"--kind", "frontal", "--out", out},
         "simcore pulse: --kind \"frontal\" is unknown; use full-frontal, offset, pole, rough-road or "
         "hammer"},
        {{"--kind", "pole", "--out", tempPath("p.txt")},
         "simcore pulse: --out \"" + tempPath("p.txt") + "\": no recording format; write .csh or .bin"},
        {{"--kind", "pole", "--out", tempPath("p.MME")},
         "simcore pulse: --out \"" + tempPath("p.MME") + "\": ISO-MME is read only; write .csh or .bin"},
        {{"--kind", "offset", "--speed", "0", "--out", out},
         "simcore pulse: --speed must be above 0 and at most 300 km/h, not 0"},
        {{"--kind", "pole", "--rate", "999.5", "--out", out},
         "simcore pulse: --rate must be from 1000 to 100000 Hz, not 999.5"},
        {{"--kind", "offset", "--duration", "139.9", "--out", out},
         "simcore pulse: --duration 139.9 ms is too short for offset, which needs 140 ms"},
        {{"--kind", "pole", "--out", tempPath("none/p.csh")},
         "simcore pulse: Unable to open file: " + tempPath("none/p.csh")},
    };
    for (sCase const& c : cases)
    {
        SCOPED_TRACE(c.message);
        messages.clear();
        EXPECT_EQ(run(c.arguments), 2);
        ASSERT_EQ(messages.entries().size(), 1u);
        EXPECT_EQ(messages.entries()[0].kind, "error");
        EXPECT_EQ(messages.entries()[0].text, c.message);
        EXPECT_EQ(printed, "");
    }
    EXPECT_TRUE(std::filesystem::is_empty(tempFolder()));
    // Syntax goes to CLI11, whose errors the simcore command turns into exit status 2.
    EXPECT_THROW(run({"--kind", "pole"}), CLI::RequiredError);
    EXPECT_THROW(run({"--kind", "pole", "--speed", "fast", "--out", out}), CLI::ConversionError);
}

#include "Host/cReferenceCalibration.h"

#include "tests/support/cConfigurationTexts.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

namespace
{
std::string const kExample = std::string(SIMCORE_TEST_DATA_DIR) + "../../examples/frontal/";
std::string const kData = std::string(SIMCORE_TEST_DATA_DIR) + "Host/calibration/";

std::string information(cCalibration& calibration)
{
    std::vector<std::string> lines;
    calibration.generateInformation(lines);
    std::string text;
    for (std::string const& line : lines)
        text += line + "\n";
    return text;
}

class cReferenceCalibrationTest : public cSimCoreFixture
{
};
} // namespace

// The shipped description leaves the eight thresholds and windows locked on their No Deployment values
// until frontal.cal unlocks them without a report; saved again, the values give back frontal.cal.
// The information lines (golden file) show both states.
TEST_F(cReferenceCalibrationTest, TheShippedValuesUnlockEveryThresholdAndRoundTrip)
{
    cReferenceCalibration calibration(kExample + "calibration.cfg");
    EXPECT_EQ("Frontal 1", calibration.getAlgorithmGeneration());
    std::string const locked = information(calibration);
    calibration.open(kExample + "frontal.cal", true);
    EXPECT_TRUE(messages.entries().empty());
    std::string expected = readText(kData + "information-expected.txt");
    for (std::string const name : {"calibration.cfg", "frontal.cal"})
        for (size_t at = expected.find("<" + name + ">"); at != std::string::npos;
             at = expected.find("<" + name + ">"))
            expected.replace(at, name.size() + 2, kExample + name);
    EXPECT_EQ(expected, locked + "\n" + information(calibration));

    calibration.save("The reference values of the frontal algorithm", tempPath("saved.cal"), true, true);
    std::string saved = readText(tempPath("saved.cal"));
    saved.replace(saved.find(tempPath("saved.cal")), tempPath("saved.cal").size(), "frontal.cal");
    EXPECT_EQ(readText(kExample + "frontal.cal"), saved);
}

// A description without every parameter of the frontal algorithm is refused, naming them and the file;
// the generation is the description's name when it names none.
TEST_F(cReferenceCalibrationTest, ADescriptionLackingParametersIsRefused)
{
    EXPECT_EQ("cGenericException|cReferenceCalibration::cReferenceCalibration|The calibration description "
              "lacks parameters of the frontal algorithm: Leak Deceleration, Stage 2 Window\nFile: " +
                  kData + "incomplete.cfg",
              failureOf([] { cReferenceCalibration(kData + "incomplete.cfg"); }));
    std::string text = readText(kExample + "calibration.cfg");
    text.erase(text.find("Algorithm Generation"),
               text.find("Parameters List") - text.find("Algorithm Generation"));
    writeText(tempPath("unnamed.cfg"), text);
    EXPECT_EQ("Frontal reference calibration",
              cReferenceCalibration(tempPath("unnamed.cfg")).getAlgorithmGeneration());
}

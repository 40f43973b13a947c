#include "SimCore/cFilter.h"

#include "SimCore/cKynPreprocessor.h"
#include "StoreKit/cConfigurationReader.h"
#include "tests/support/cConfigurationTexts.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestHelpers.h"
#include "tests/support/cTestStage.h"

#include <gtest/gtest.h>

namespace
{
using cFilterTest = cResultsFixture;

std::string const kFlt = "Name = Sensor AAF\nDirect Transfer = 0.25\nGain = 2\n"
                         "Complex Pole {\nPoleRealPart = -471.2388980384690\nPoleImaginaryPart = 816.2\n"
                         "ResidueRealPart = 1\nResidueImaginaryPart = -2\n}\n"
                         "Note {\nText = not a pole\n}\n"
                         "Real Pole {\nPole = -1256.6370614359172\nResidue = 1256.6370614359172\n}\n"
                         "Real Pole {\nPole = -10\nResidue = 3\n}\n";
} // namespace

// The pole file: its keys, each kind of pole in its own list in file order, other groups passed over,
// every value widened from float (its further digits lost, as the format says).
TEST_F(cFilterTest, APoleFileGivesItsPolesInFileOrderThroughFloat)
{
    writeText(tempPath("aaf.flt"), kFlt);
    cKynPoleFilter<cStabilizedPoleFilter> filter("AAF", tempPath("aaf.flt"));
    EXPECT_EQ("AAF|Stabilized Pole Filter|Sensor AAF|0.25|2",
              filter.getName() + "|" + filter.getType() + "|" + filter.getFilterName() + "|" +
                  std::to_string(filter.m_directTransfer.get_d()).substr(0, 4) + "|" +
                  std::to_string(filter.m_gain.get_d()).substr(0, 1));
    ASSERT_EQ(2u, filter.getRealPoles().size());
    EXPECT_EQ(double(-1256.6370614359172f), filter.getRealPoles()[0].first);
    EXPECT_NE(-1256.6370614359172, filter.getRealPoles()[0].first);
    EXPECT_EQ((std::pair<double, double>{-10.0, 3.0}), filter.getRealPoles()[1]);
    ASSERT_EQ(1u, filter.getComplexPoles().size());
    EXPECT_EQ(std::complex<double>(1.0, -2.0), filter.getComplexPoles()[0].second);
    EXPECT_EQ("flt|dft", cKynFilter::getDefaultExtension(0) + "|" + cKynDFilter::getDefaultExtension(7));
}

// The digital filter file: a hole in the numbering ("A0", "A1", "A3") leaves an item unread and is
// refused after an error message; a block without coefficients reaches the check, which refuses it;
// both name the file.
TEST_F(cFilterTest, ADigitalFileRefusesAHoleAndTheCheckNamesTheFile)
{
    std::string const head = "Name = ECU LP\nBlocks Processing Mode = Cascade\nMin Sampling Rate = 1000\n"
                             "Max Sampling Rate = 20000\n";
    std::string const method = "Computation Method = Direct Form I\nFilter Type = IIR\n";
    writeText(tempPath("hole.dft"), head + "Block {\n" + method + "A0 = 1\nA1 = 0.5\nA3 = 0.1\nB0 = 1\n}\n");
    EXPECT_EQ("cIncompatibleParametersException|cKynDigitalFilter::readBlocksDataFromConfigurationFile|"
              "Incompatible parameters: Block\nFile: " +
                  tempPath("hole.dft"),
              failureOf([&] { cKynDigitalFilter<CDigitalFilter>("D", tempPath("hole.dft")); }));
    ASSERT_EQ(1u, messages.entries().size());
    EXPECT_EQ("Error when reading filter file: all information were not read.\nPlease check that there is no "
              "'hole' or no multiple declaration in coefficients data.",
              messages.entries()[0].text);

    writeText(tempPath("empty.dft"), head + "Block {\n" + method + "}\n");
    EXPECT_EQ(
        "cIncompatibleParametersException|CPreProcessor::fail|Incompatible parameters: preprocessor "
        "\"D\" of type \"Digital Filter\": digital filter \"ECU LP\": block 1: it has no A coefficient.\n"
        "File: " +
            tempPath("empty.dft"),
        failureOf([&] { cKynDigitalFilter<CDigitalFilter>("D", tempPath("empty.dft")); }));
}

// A filter preprocessor reads "Filter" beside the preprocessing file first, then as a path of its own;
// its filter name is the file's.
TEST_F(cFilterTest, AFilterPreprocessorFindsItsFileAndGivesItsName)
{
    writeText(tempPath("aaf.flt"), kFlt);
    cTestStage stage;
    stage.loadCriteria("Criterion {\nName = In\n}\nCriterion {\nName = Out\n}\n");
    cConfigurationGroup config;
    auto const group = [&](std::string const& filter)
    {
        config.clear();
        cConfigurationReader::read(
            "Preprocessor {\nName = AAF\nType = Pole Filter\nFilter = " + filter +
                "\nStarting Criteria {\nName = In\n}\nFinal Criteria {\nName = Out\n}\n"
                "Parameters List {\n}\n}\n",
            "stage.prp", config);
        return config.GetConfigurationGroups()[0];
    };
    cKynPreprocessor beside(group("aaf.flt"), &stage, tempFolder());
    EXPECT_EQ("Sensor AAF", beside.getFilterName());
    cKynPreprocessor whole(group(tempPath("aaf.flt")), &stage, "/nowhere/");
    EXPECT_EQ("Sensor AAF", whole.getFilterName());
    EXPECT_TRUE(whole.isFilter());
}

#include "SimCore/cChannel.h"

#include "StoreKit/cCfgInputFile.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cPipelineFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace
{
std::string const kData = std::string(SIMCORE_TEST_DATA_DIR) + "SimCore/channels/";
using tResults = std::vector<std::vector<float>>;

class cChannelTest : public cPipelineFixture
{
protected:
    // The pipeline project with ACU_X as five steps: linear, clip, gain, average, quantization.
    cChannel* openFiveSteps()
    {
        std::filesystem::copy_file(kData + "five.prp", tempPath("preprocessing.prp"),
                                   std::filesystem::copy_options::overwrite_existing);
        openProject();
        return myActivePreprocessing->findChannel("ACU_X");
    }
    static cDriftParameter* parameter(cChannel* channel, std::string const& name)
    {
        return channel->cDriftParameterMgr::getParameter(name);
    }
    static tResults results(cChannel* channel)
    {
        tResults all;
        for (cSignalStorage<float>* result : toVector(channel->getOutputDataStorage()))
            all.push_back(samples(*result));
        return all;
    }
    static std::vector<float> finalValues(cChannel* channel, unsigned int preprocessor)
    {
        cKynPreprocessor* const p = channel->cPreprocessorMgr::getParameter(preprocessor);
        return samples(p->getFinalCriterionValuesForOneFile(0)->getIterationValueList());
    }
    std::string channelList() const
    {
        std::string text;
        for (cChannel* channel : channels())
            text += channel->getName() + "(" + channel->getDescription() + ")" +
                    std::to_string(channel->cDriftParameterMgr::getParameterListSize()) + " ";
        return text;
    }
};
using cPreprocessingTest = cChannelTest;
} // namespace

TEST_F(cChannelTest, DriftOnTheThirdStepReentersThereAndEachResultIsThatOfAFullPass)
{
    cChannel* const channel = openFiveSteps();
    cDriftParameter* const gain = parameter(channel, "Gain ACU_X");
    cKynFile* const crash = addCrash("crash.csh");
    gain->setRawDrift(1, 2, 0.5, 0.5, 0); // points 1, 0.5, 1.5, 2
    cRecordingTraceSink trace(4);
    runFile(crash);
    std::string entries;
    for (std::string const& line : trace.texts())
        if (line.find("Entry Preprocessor detected is ") != std::string::npos)
            entries += line + "\n";
    EXPECT_EQ("ACU_X: (first iteration) Entry Preprocessor detected is Linear\n"
              "ACU_X: Entry Preprocessor detected is Gain\nACU_X: Entry Preprocessor detected is Gain\n"
              "ACU_X: Entry Preprocessor detected is Gain\n"
              "ACU_Y: (first iteration) Entry Preprocessor detected is Sensitivity\n",
              entries);
    EXPECT_EQ(2u, channel->getEntryPreprocessorIndex());
    EXPECT_EQ(5u, myActiveComputationManager->getElectronicIterationNbr().number); // 4 of ACU_X, 1 of ACU_Y
    // Kept between iterations: where the re-entry starts, and the channel's output.
    std::string kept;
    for (cCriterion* criterion : channel->cCriterionMgr::GetParameters())
        kept += criterion->getName() + (criterion->isForceUse() ? "+ " : "- ");
    EXPECT_EQ("Input- Shifted- Clipped+ Scaled- Averaged- Output+ ", kept);
    // The steps before the entry were neither prepared nor run again: their outputs are the first pass's.
    EXPECT_EQ((std::vector<float>{1, -3, -15, -39, -23, -7}), finalValues(channel, 0));
    EXPECT_EQ((std::vector<float>{1, -3, -15, -30, -23, -7}), finalValues(channel, 1));
    tResults const swept = results(channel);
    ASSERT_EQ(4u, swept.size());
    // Gain 2, averaged over two samples, in counts of 0.5 (by hand).
    EXPECT_EQ((std::vector<float>{2, -4, -36, -90, -106, -60}), swept[3]);
    std::vector<double> const points{1, 0.5, 1.5, 2};
    for (unsigned int k = 0; k < points.size(); ++k)
    {
        gain->clearDrift();
        gain->setRawValue(mpf_class(points[k]), /*update=*/true, /*applyLimits=*/true);
        runFile(crash);
        EXPECT_EQ(tResults{swept[k]}, results(channel)) << "gain " << points[k];
    }
    // The list keeps exactly the results of the last sweep: three points, then two.
    gain->setRawDrift(1, 1.5, 0.5, 0.5, 0);
    runFile(crash);
    EXPECT_EQ((tResults{swept[0], swept[1], swept[2]}), results(channel));
    gain->setRawDrift(1, 2, 1, 1, 0);
    runFile(crash);
    EXPECT_EQ((tResults{swept[0], swept[3]}), results(channel));
}

TEST_F(cPreprocessingTest, ChannelsComeInTheProjectsOrderFromTheirGroupsOrTemplates)
{
    // The file gives ACU_Y (from the template), a group of another name, an unused ACU_Z, then ACU_X.
    openFiveSteps();
    EXPECT_EQ("ACU_X(Five steps)1 ACU_Y()2 ", channelList());
    // The template's "Offset @@" took the name of the channel that uses it.
    EXPECT_EQ("no exception",
              failureOf([] { parameter(myActivePreprocessing->findChannel("ACU_Y"), "Offset ACU_Y"); }));
    // An unused channel's group is completed from its template all the same.
    cConfigurationGroup* const top = myActivePreprocessing->getConfigurationFile()->getTopGroup();
    cConfigurationGroup* const z =
        top->findConfigurationGroup("Channels List", true)->GetConfigurationGroups()[2];
    EXPECT_NE(nullptr, z->findConfigurationGroup("Preprocessors List", false));
    EXPECT_TRUE(myActivePreprocessing->isDefaultConfiguration());

    // Each group of a name given twice becomes a channel.
    myActivePreprocessing->open(kData + "duplicate.prp", tempFolder());
    EXPECT_EQ("ACU_X()2 ACU_X(Again)2 ACU_Y()2 ", channelList());
    EXPECT_FALSE(myActivePreprocessing->isDefaultConfiguration());
    EXPECT_TRUE(messages.entries().empty());
}

TEST_F(cPreprocessingTest, BadReloadIsReportedAndTheEarlierFileIsReadAgain)
{
    auto withFiles = [&](std::string const& text, std::string const& file)
    { return text + "\nFile: " + kData + file + "\nFile: " + tempPath("preprocessing.prp") + "\n"; };
    std::pair<std::string, std::string> const cases[] = {
        {"missing-channel.prp",
         "exception|cMissingItem|" +
             withFiles("Missing channel \"ACU_Y\".\nUnable to load the new preprocessing.",
                       "missing-channel.prp")},
        {"non-compliant.prp",
         "exception|cKynException|Error found in channel \"ACU_Y\"\nexception|cIncompatibleNewParameterSet|" +
             withFiles("The new parameter set does not match the registered symbols: RangeY",
                       "non-compliant.prp")},
    };
    openProject();
    cKynFile* const crash = addCrash("crash.csh");
    for (auto const& [file, reports] : cases)
    {
        messages.clear();
        cChannel* const x = myActivePreprocessing->findChannel("ACU_X");
        parameter(x, "Offset ACU_X")->setRawValue(mpf_class(5), /*update=*/true, /*applyLimits=*/true);
        EXPECT_EQ("no exception",
                  failureOf([&] { myActivePreprocessing->open(kData + file, tempFolder()); }));
        std::string recorded;
        for (auto const& entry : messages.entries())
            recorded += entry.kind + "|" + entry.title + "|" + entry.text + "\n";
        EXPECT_EQ(reports + "information||Old preprocessing set will be reloaded\n", recorded);
        // The earlier file is read again (the offset is back at its default); the set is whole and runs.
        EXPECT_EQ(tempPath("preprocessing.prp"),
                  myActivePreprocessing->getConfigurationFile()->getFileName());
        EXPECT_TRUE(myActivePreprocessing->isDefaultConfiguration());
        runFile(crash);
        EXPECT_EQ((tResults{{0, -2, -8, -20, -12, -4}}), results(channels()[0])) << file;
        EXPECT_EQ((tResults{{0, 1, 3, 50, -2, 0}}), results(channels()[1])) << file;
    }
    // With no earlier file the failure reaches the caller, and no set is made.
    auto firstLoad = [&] { cPreprocessing("First", kData + "missing-channel.prp", tempFolder()); };
    EXPECT_EQ(
        "SimCore/cChannel|cMissingItem|cPreprocessing::loadFromConfiguration|Missing channel \"ACU_Y\".\n"
        "Unable to load the new preprocessing.\nFile: " +
            kData + "missing-channel.prp",
        failureWithSourceOf(firstLoad));
    EXPECT_EQ(718, lineOf(firstLoad));
}

TEST_F(cPreprocessingTest, SavedFileIsTheGoldenOneAndReadsBackOnceItsTestGroupIsRenamed)
{
    openProject();
    std::string const golden = readText(kData + "pipeline-saved.prp");
    myActivePreprocessing->saveSettings("Saved", tempPath("saved.prp"), false);
    EXPECT_EQ(golden, readText(tempPath("saved.prp")));
    EXPECT_FALSE(myActivePreprocessing->isDefaultConfiguration());
    // The channel writes "Tests List" but reads "Test": renamed, the file gives the same set back,
    // which the held file then receives whole, not added to what it had.
    std::string text = golden;
    for (size_t at = text.find("Tests List {"); at != std::string::npos; at = text.find("Tests List {"))
        text.replace(at, 12, "Test {");
    writeText(tempPath("back.prp"), text);
    myActivePreprocessing->open(tempPath("back.prp"), "");
    EXPECT_TRUE(messages.entries().empty());
    myActivePreprocessing->saveSettings("Saved", "", false);
    EXPECT_EQ(golden, readText(tempPath("back.prp")));

    myActivePreprocessing->getConfigurationFile()->setWritable(false);
    writeText(tempPath("back.prp"), "kept");
    auto lockedSave = [&] { myActivePreprocessing->saveSettings("Saved", "", false); };
    EXPECT_EQ(
        "SimCore/cChannel|cFileNotWritableException|cPreprocessing::saveSettings|The file is not writable.",
        failureWithSourceOf(lockedSave));
    EXPECT_EQ(813, lineOf(lockedSave));
    EXPECT_EQ("kept", readText(tempPath("back.prp")));
    ASSERT_EQ(2u, messages.entries().size()); // one warning for each of the two refused saves
    EXPECT_EQ(0u, messages.entries()[0].text.find("The file " + tempPath("back.prp") + " is locked.\n\n"));

    cPreprocessing withoutFile("Empty", "", "");
    auto saveWithoutFile = [&] { withoutFile.saveSettings("", "", false); };
    EXPECT_EQ("cNULLPointer|cPreprocessing::saveSettings|KYN Error (NULL Pointer). Out of memory ?\n",
              failureOf(saveWithoutFile));
    EXPECT_EQ(804, lineOf(saveWithoutFile));
}

TEST_F(cPreprocessingTest, LookupsFailWithTheirOriginAndCriteriaListsNeedBothCriteriaOfEachChannel)
{
    openProject();
    auto byName = [] { myActivePreprocessing->findChannel("ACU_Z"); };
    auto byIndex = [] { myActivePreprocessing->findChannel(2u); };
    EXPECT_EQ("SimCore/cChannel|cBadChannelReference|cPreprocessing::findChannel|Bad channel reference.",
              failureWithSourceOf(byName));
    EXPECT_EQ(584, lineOf(byName));
    EXPECT_EQ(595, lineOf(byIndex));
    EXPECT_EQ("ACU_Y", myActivePreprocessing->findChannel(1u)->getName());
    EXPECT_EQ(1, myActivePreprocessing->findChannelIdx(channels()[1]));
    cPreprocessing other("Other", "preprocessing.prp", tempFolder());
    EXPECT_EQ(static_cast<int>(0xFFFFFFFF), myActivePreprocessing->findChannelIdx(other.findChannel(0u)));
    EXPECT_EQ("cNULLPointer|cChannel::checkAllCompliance|KYN Error (NULL Pointer). Out of memory ?\n",
              failureOf([&] { channels()[0]->checkAllCompliance(nullptr); }));

    EXPECT_FALSE(cPreprocessing::checkCriteriaListCompliance(nullptr));
    auto compliance = [](std::vector<std::string> const& names)
    {
        std::string text;
        for (std::string const& name : names)
            text += "Criterion {\nName = " + name + "\n}\n";
        cConfigurationGroup group = readGroup(text, "Criteria List");
        bool complies = false;
        auto check = [&] { complies = cPreprocessing::checkCriteriaListCompliance(&group); };
        std::string const failure = failureOf(check);
        return (complies ? "true" : failure) + "@" + std::to_string(lineOf(check));
    };
    EXPECT_EQ("true@0", compliance({"ACU_Y Output", "ACU_X Output", "ACU_Y", "Other", "ACU_X"}));
    EXPECT_EQ("cMissingItem|cPreprocessing::checkCriteriaListCompliance|Missing criterion \"ACU_Y\".\n"
              "Unable to load the file.@502",
              compliance({"ACU_X", "ACU_X Output", "ACU_Y Output"}));
    EXPECT_EQ("cMissingItem|cPreprocessing::checkCriteriaListCompliance|Missing criterion \"ACU_Y Output\".\n"
              "Unable to load the file.@504",
              compliance({"ACU_X", "ACU_X Output", "ACU_Y", "ACU_Y Outputs"}));
}

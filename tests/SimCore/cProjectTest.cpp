#include "SimCore/cProject.h"

#include "SimCore/cComputationManager.h"
#include "SimCore/cKynMultiPreprocessingItem.h"
#include "SimCore/cKynMultiPreprocessingMgr.h"
#include "SimCore/cSymbolManager.h"
#include "StoreKit/cCfgInputFile.h"
#include "tests/support/cPipelineFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace
{
using cProjectTest = cPipelineFixture;

// The threads of this process.
std::size_t threadCount()
{
    std::size_t count = 0;
    for (auto const& entry : std::filesystem::directory_iterator("/proc/self/task"))
        count += entry.is_directory() ? 1 : 0;
    return count;
}
} // namespace

// The services exist from the constructor on and go with the project; the path given is kept as it
// was, and an absolute one ignores the base path. A file that cannot be opened, or lacks "Name",
// leaves nothing behind.
TEST_F(cProjectTest, OpensItsFileAndServicesAndLeavesNothingWhenItFails)
{
    writeText(tempPath("studies.cfg"), "Drift {\n}\n");
    writeText(tempPath("full.prt"), readText(tempPath("pipeline.prt")) + "Drift Studies = ../studies.cfg\n");
    std::filesystem::create_directory(tempPath("base"));
    {
        cProject project(tempPath("full.prt"), tempPath("base/"));
        EXPECT_EQ("Pipeline|Test Lab|ACU-2",
                  project.getName() + "|" + project.getCustomer() + "|" + project.getUnitType());
        EXPECT_EQ(tempPath("full.prt"), project.getProjectFilePath());
        ASSERT_NE(nullptr, myActiveComputationManager);
        ASSERT_NE(nullptr, myActiveSymbolManager);
        EXPECT_EQ(tempPath("base/../studies.cfg"),
                  project.getDriftStudiesConfigurationFile() == nullptr
                      ? std::string("none")
                      : project.getDriftStudiesConfigurationFile()->getFileName())
            << "the key joins the base path, whatever the project's own path";
    }
    EXPECT_EQ(nullptr, myActiveComputationManager);
    EXPECT_EQ(nullptr, myActiveSymbolManager);

    EXPECT_EQ("SimCore/cProject|cGenericException|cProject::setConfiguration|Failed to open project file: " +
                  tempPath("none.prt"),
              failureWithSourceOf([&] { cProject("none.prt", tempFolder()); }));
    writeText(tempPath("nameless.prt"), "Vehicle = vehicle.vcl\n");
    EXPECT_NE("no exception", failureOf([&] { cProject("nameless.prt", tempFolder()); }));
    EXPECT_EQ(nullptr, myActiveComputationManager);

    cProject& project = openProject({}, false);
    EXPECT_EQ(nullptr, project.getDriftStudiesConfigurationFile());
    project.declareChannelName("ACU_X", true);
    project.declareChannelName("ACU_Z", false);
    project.declareChannelName("ACU_X", true);
    EXPECT_EQ((std::vector<std::string>{"ACU_X", "ACU_Z", "ACU_X"}), project.getBinChannelList());
    EXPECT_EQ(2u, project.getUsedChannelNumber());
}

// Modules are made in stage order under the project's name and published; the first item works on
// them with an empty list; a second item opens its own three files, and fails whole when one is gone.
// Clearing twice is harmless.
TEST_F(cProjectTest, LoadsTheModulesAndTheFirstItemAndClearsThemAgain)
{
    cProject& project = openProject();
    ASSERT_NE(nullptr, myActiveVehicle);
    EXPECT_EQ("Pipeline Vehicle", myActiveVehicle->getName());
    EXPECT_EQ("Pipeline Preprocessing", myActivePreprocessing->getName());
    EXPECT_EQ("Pipeline Acquisition", myActiveUnit->getName());
    EXPECT_EQ(2u, myActivePreprocessing->getChannelNbr());
    ASSERT_EQ(1u, myActiveMultiPreprocessingMgr->getItemCount());
    cKynMultiPreprocessingItem* const first = myActiveMultiPreprocessingMgr->getItemFromIndex(0);
    EXPECT_EQ("Default", first->getName());
    EXPECT_EQ(first->getFileList(), myActiveFileList);
    EXPECT_EQ(nullptr, first->getVehicleData());
    EXPECT_EQ(tempFolder(), project.getLoadingPath());

    project.addNewMultiPreprocessingItem("Second");
    cKynMultiPreprocessingItem* const second = myActiveMultiPreprocessingMgr->getItemFromIndex(1);
    ASSERT_NE(nullptr, second->getUnitData());
    EXPECT_EQ(tempPath("unit.cfg"), second->getUnitData()->getFileName());
    std::filesystem::remove(tempPath("unit.cfg"));
    EXPECT_NE("no exception", failureOf([&] { project.addNewMultiPreprocessingItem("Third"); }));
    EXPECT_EQ(2u, myActiveMultiPreprocessingMgr->getItemCount()) << "the failed item is gone";

    project.clearDataProcessingModules();
    project.clearDataProcessingModules();
    EXPECT_EQ(nullptr, myActiveVehicle);
    EXPECT_EQ(nullptr, myActivePreprocessing);
    EXPECT_EQ(nullptr, myActiveUnit);
    EXPECT_EQ(nullptr, myActiveMultiPreprocessingMgr);
}

// With real threads the channels run when the unit file turns out missing: the failure clears them all,
// no thread is left, and the repaired project loads.
TEST_F(cProjectTest, AFailedLoadWithRealThreadsLeavesNoThreadAndCanBeRepeated)
{
    cKynThread::setSimulationMode(false);
    std::string const unitText = readText(tempPath("unit.cfg"));
    std::filesystem::remove(tempPath("unit.cfg"));
    std::size_t const before = threadCount();
    cProject& project = openProject({"ACU_X", "ACU_Y"}, false);
    std::string const failure = failureOf([&] { project.loadDataProcessingModules(tempFolder()); });
    EXPECT_EQ(0u, failure.find("cFstreamOpenException|")) << failure;
    EXPECT_EQ(before, threadCount());
    EXPECT_EQ(nullptr, myActiveVehicle);
    EXPECT_EQ(nullptr, myActivePreprocessing);

    writeText(tempPath("unit.cfg"), unitText);
    project.loadDataProcessingModules(tempFolder());
    ASSERT_NE(nullptr, myActiveUnit);
    EXPECT_EQ(before + 4, threadCount()) << "vehicle, two channels, unit";
}

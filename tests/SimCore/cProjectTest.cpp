#include "SimCore/cProject.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/IHostWindow.h"
#include "PlotKit/cScatterGraph.h"

#include "SimCore/cComputationManager.h"
#include "SimCore/cConfigurationParameter.h"
#include "SimCore/cCriterion.h"
#include "SimCore/cKynMultiPreprocessingItem.h"
#include "SimCore/cKynMultiPreprocessingMgr.h"
#include "SimCore/cSymbolManager.h"
#include "SimCore/cTestMgr.h"
#include "SimCore/cTimeEvent.h"
#include "StoreKit/cCfgInputFile.h"
#include "tests/support/cPipelineFixture.h"
#include "tests/support/cTestCalibration.h"
#include "tests/support/cTestHelpers.h"
#include "tests/support/cThresholdAlgorithm.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

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

// A module file that is missing fails with its path, as the module reports it, and leaves the project
// as it was, without a thread (with real threads the channels already ran when the unit file turns out
// missing): once the file is back, the modules load. A channel mapping file without its group fails
// naming the file; with it, crash files read their recorded channels under the mapped names.
TEST_F(cProjectTest, BadModuleAndMappingFilesFailWithTheirPathAndTheProjectLoadsOnceRepaired)
{
    cKynThread::setSimulationMode(false);
    std::size_t const before = threadCount();
    cProject& project = openProject({"ACU_X", "ACU_Y"}, false);
    // The unit, unlike the vehicle and the preprocessing set, adds no file name of its own.
    for (auto const& [name, suffix] : {std::pair<std::string, bool>{"vehicle.vcl", true},
                                       {"preprocessing.prp", true},
                                       {"unit.cfg", false}})
    {
        std::filesystem::rename(tempPath(name), tempPath("away"));
        EXPECT_EQ("cFstreamOpenException|cCfgInputFile::open|Unable to open file: " + tempPath(name) +
                      (suffix ? "\nFile: " + tempPath(name) : ""),
                  failureOf([&] { project.loadDataProcessingModules(tempFolder()); }));
        EXPECT_EQ(nullptr, myActiveMultiPreprocessingMgr);
        EXPECT_EQ(before, threadCount());
        std::filesystem::rename(tempPath("away"), tempPath(name));
    }
    project.loadDataProcessingModules(tempFolder());
    EXPECT_NE(nullptr, myActiveUnit);
    EXPECT_EQ(before + 4, threadCount()) << "vehicle, two channels, unit";

    writeText(tempPath("mapped.prt"), readText(tempPath("pipeline.prt")) + "Channel Mapping = mapping.cfg\n");
    writeText(tempPath("mapping.cfg"), "Channel Names {\n    ACU_X = 10TUNN000000ACXP\n}\n");
    cProject& mapped = openProject({"ACU_X", "ACU_Y"}, true, "mapped.prt");
    EXPECT_EQ("cMissingItem|cConfigurationGroup::findConfigurationGroup|Missing group \"Channel Name "
              "Mapping\".\nIn file \"" +
                  tempPath("mapping.cfg") + "\".\nFile: " + tempPath("mapping.cfg"),
              failureOf([&] { mapped.buildChannelNameMappingVector(tempFolder()); }));
    EXPECT_EQ(nullptr, mapped.getChannelMappingVector());
    writeText(tempPath("mapping.cfg"), "Channel Name Mapping {\n    ACU_X = 10TUNN000000ACXP\n}\n");
    mapped.buildChannelNameMappingVector(tempFolder());
    std::string recording = readText(tempPath("crash.csh"));
    for (std::size_t at = recording.find("ACU_X"); at != std::string::npos; at = recording.find("ACU_X"))
        recording.replace(at, 5, "10TUNN000000ACXP");
    writeText(tempPath("mapped.csh"), recording);
    cKynFile* const file = addCrash("mapped.csh");
    ASSERT_NE(nullptr, file->getInputFile()->findChannelInput("ACU_X"));
    EXPECT_EQ(2u, file->getChannelInputSize());
}

// The project file's calibration delta, entry by entry in file order: each key as it says, the neutral
// value stored without being marked defined and the limits without a check; groups of another name and
// entries without "Name" are passed over; an unknown name stops the walk, the entries before applied.
TEST_F(cProjectTest, ACalibrationDeltaChangesExactlyWhatItsKeysSay)
{
    writeText(tempPath("calibration.cfg"),
              "Name = Delta calibration\nParameters List {\n"
              "Parameter {\nName = Gate\nMinimum Value = 0\nMaximum Value = 100\nDefault = 10\n"
              "No Deployment Value = 90\n}\n"
              "Parameter {\nName = Mode\nMaximum Value = 10\nDefault = 3\n}\n}\n");
    writeText(
        tempPath("delta.prt"),
        readText(tempPath("pipeline.prt")) +
            "Calibration {\n"
            "Parameter {\nName = Gate\nNo Deployment Value = 40\nNeutral Value = 7\nMinimum Value = 30\n"
            "Maximum Value = 20\nUnit = km/h\nConversion Factor = 0.5\nDescription = Gate speed\n}\n"
            "Other {\nName = Mode\nUnit = x\n}\nParameter {\nUnit = y\n}\n"
            "Parameter {\nName = Mode\nDescription = Mode of fire\n}\n"
            "Parameter {\nName = Nope\nUnit = z\n}\n"
            "Parameter {\nName = Mode\nUnit = never\n}\n}\n");
    cProject& project = openProject({"ACU_X"}, true, "delta.prt");
    project.setCalibration(new cTestCalibration(tempPath("calibration.cfg")));
    cCalibration& calibration = *myActiveCalibration;
    EXPECT_EQ("cBadReference|cBasicParameterMgr::getParameter|Bad reference: Nope",
              failureOf([&] { project.applyCalibrationDelta(&calibration); }));
    auto* const gate = dynamic_cast<cLockableParameter*>(calibration.getParameter("Gate"));
    ASSERT_NE(nullptr, gate);
    mpf_class value;
    gate->getRawValue(value);
    EXPECT_EQ(
        "40 40 7 0 30 20 km/h 0.5 Gate speed",
        numberToText(gate->getNoDeploymentValue()) + " " + numberToText(value) + " " +
            numberToText(gate->getNeutralValue()) + " " + std::to_string(gate->isNeutralValueDefined()) +
            " " + numberToText(gate->getMinimumValue()) + " " + numberToText(gate->getMaximumValue()) + " " +
            gate->getUnit() + " " + numberToText(gate->getConversionFactor()) + " " + gate->getDescription());
    cDriftParameter* const mode = calibration.getParameter("Mode");
    EXPECT_EQ("|Mode of fire", mode->getUnit() + "|" + mode->getDescription());
}

// The host's end of a study: the project goes with its calibration, algorithm, modules and services,
// every global it set is null again (the active file and file list are the host's to clear), and no
// thread is left.
TEST_F(cProjectTest, DeletingTheActiveProjectLeavesNoGlobalAndNoThread)
{
    cKynThread::setSimulationMode(false);
    std::size_t const before = threadCount();
    writeText(tempPath("linked.cfg"),
              std::regex_replace(readText(tempPath("algorithm.cfg")), std::regex("Compute Displacement = 1"),
                                 "Compute Displacement = 1\nFile Link = 1"));
    cProject& opened = openProject();
    opened.setCalibration(new cTestCalibration(tempPath("calibration.cfg")));
    opened.setAlgorithm(new cThresholdAlgorithm(tempPath("linked.cfg")));
    myActiveAlgorithm->start(0, nullptr, 0);
    myActiveComputationManager->addTest(new cTestMgr("Test"));
    EXPECT_EQ(&HActiveCalibration::dummyCalibration, getActiveCalibration());
    EXPECT_EQ(nullptr, HActiveCalibration::getCalibrationFile()) << "a description, no value file";

    // Expected times to fire: none set on new files; one set, then all back to no fire.
    cKynFile* const file = addCrash("crash.csh");
    addCrash("crash.bin");
    EXPECT_FALSE(areAnyOptimalsSet());
    file->findStructTTF(myActiveAlgorithm->cTimeEventMgr::getParameter("Fire"))
        ->setTtfValue(eTtfMaximum, "5");
    EXPECT_TRUE(areAnyOptimalsSet());
    EXPECT_TRUE(resetAllOptimals());
    EXPECT_FALSE(areAnyOptimalsSet());
    EXPECT_FALSE(resetAllOptimals());

    EXPECT_EQ(before + 6, threadCount()) << "vehicle, two channels, unit, algorithm, computations";
    project.release(); // the host's project from here on
    deleteActiveProject();
    EXPECT_EQ(before, threadCount());
    for (void const* global :
         {static_cast<void const*>(myActiveProject), static_cast<void const*>(myActiveAlgorithm),
          static_cast<void const*>(myActiveCalibration), static_cast<void const*>(myActiveComputationManager),
          static_cast<void const*>(myActiveSymbolManager), static_cast<void const*>(myActiveVehicle),
          static_cast<void const*>(myActivePreprocessing), static_cast<void const*>(myActiveUnit),
          static_cast<void const*>(myActiveMultiPreprocessingMgr)})
        EXPECT_EQ(nullptr, global);
    EXPECT_EQ(nullptr, getActiveCalibration());
    deleteActiveProject(); // none left: nothing happens
}

namespace
{
// The host's side of a run over several items: on 2067 the item asked for becomes the live one (the
// selected item saved, the other one selected and loaded); the selected item itself needs nothing.
class cItemSwitchingHost : public IHostWindow
{
public:
    cItemSwitchingHost() : m_previous(setMainWndH(this)) {}
    ~cItemSwitchingHost() override { setMainWndH(m_previous); }
    intptr_t sendMessage(uint32_t message, uintptr_t index, intptr_t) override
    {
        if (message == 2067)
        {
            cKynMultiPreprocessingMgr& items = *myActiveMultiPreprocessingMgr;
            switched.push_back(static_cast<unsigned int>(index));
            if (index != items.getSelectedItemIndex())
            {
                items.SaveToSelectedItem();
                items.selectItemFromIndex(static_cast<unsigned int>(index));
                items.LoadFromSelectedItem(true);
            }
        }
        if (message == kTestEndedMessage)
            ended.notify();
        return 0;
    }
    bool postMessage(uint32_t, uintptr_t, intptr_t) override { return true; }
    // Runs a test and waits for every stage.
    void run()
    {
        unsigned int const before = ended.count();
        switched.clear();
        myActiveComputationManager->startTest();
        ASSERT_TRUE(ended.waitFor(before + 1));
        cKynThread::waitUntilPipelineIdle();
        EXPECT_EQ(computationsFinished, myActiveComputationManager->getComputationsState());
    }

    std::vector<unsigned int> switched;
    cEventCounter ended;

private:
    IHostWindow* m_previous;
};
} // namespace

// One recording under two set-ups, the second with a doubled ACU_X sensitivity: the run switches the
// host to each item and back to the one selected at the start, each item's file gives its own time to
// fire, and the curves of the first item outlive a later run that skips it only while its test keeps
// them. The sanitizer run checks that the items' files are freed once.
TEST_F(cProjectTest, ARunWalksTwoItemsAndTheTestKeepsTheCurvesOfTheItemItMaintains)
{
    cItemSwitchingHost host;
    cScatterGraph graph; // outlives the criteria that draw on it
    cProject& opened = openProject();
    opened.setCalibration(new cTestCalibration(tempPath("calibration.cfg")));
    opened.setAlgorithm(new cThresholdAlgorithm(tempPath("algorithm.cfg")));
    myActiveAlgorithm->start(0, nullptr, 0);
    cKynFile* const first = addCrash("crash.csh");
    opened.addNewMultiPreprocessingItem("Second");
    cKynMultiPreprocessingMgr& items = *myActiveMultiPreprocessingMgr;
    ASSERT_TRUE(items.SaveToSelectedItem());
    items.selectItemFromIndex(1);
    ASSERT_TRUE(items.LoadFromSelectedItem(false));
    channels()[0]->cDriftParameterMgr::getParameter("Sensitivity ACU_X")->setRawValue(2, true, true);
    cKynFile* const second = addCrash("crash.csh");
    auto* const test = new cTestMgr("Test");
    myActiveComputationManager->addTest(test);
    test->toggleMaintainData(items.getItemFromIndex(0));
    graph.getParameter().test = test;
    cCriterion* const acceleration = myActiveAlgorithm->cCriterionMgr::getParameter("Acceleration");
    acceleration->registerGraph(&graph, true);

    host.run();
    EXPECT_EQ((std::vector<unsigned int>{0, 1, 1}), host.switched) << "each item, then the one of the start";
    EXPECT_EQ(1u, items.getSelectedItemIndex());
    mpf_class sensitivity;
    channels()[0]->cDriftParameterMgr::getParameter("Sensitivity ACU_X")->getRawValue(sensitivity);
    EXPECT_EQ(2.0, sensitivity.get_d()) << "the second set-up is live again";
    cTimeEvent* const fire = myActiveAlgorithm->cTimeEventMgr::getParameter("Fire");
    auto const fireTick = [&](cKynFile* file)
    { return static_cast<cTimeEventValuesForOneFile const*>(fire->getValueList(file))->getNomValue(); };
    // -20 g at tick 3 crosses the threshold of 10 g; doubled, -16 g at tick 2 does.
    EXPECT_EQ("3 2", std::to_string(fireTick(first)) + " " + std::to_string(fireTick(second)));

    first->useFile(false, nullptr);
    host.run();
    EXPECT_EQ((std::vector<unsigned int>{0, 1, 1}), host.switched)
        << "the walk starts on the first item, though it has no used file now";
    EXPECT_NE(nullptr, acceleration->getValueListOrNull(first)) << "kept by the test";
    test->toggleMaintainData(items.getItemFromIndex(0));
    host.run();
    EXPECT_EQ(nullptr, acceleration->getValueListOrNull(first));
    EXPECT_NE(nullptr, acceleration->getValueListOrNull(second));

    myActiveFile = nullptr;
    project.reset();
}

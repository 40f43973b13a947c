// The small project of tests/data/SimCore/pipeline (two channels ACU_X and ACU_Y, a vehicle chain, a
// unit chain, one crash recording in each format), copied into the test's folder and opened as a
// host does: project, channel declarations, modules. runFile drives vehicle, channels and unit over
// one crash file the way the computation manager does.
#pragma once

#include "SimCore/cAlgorithm.h"
#include "SimCore/cChannel.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cKynFileList.h"
#include "SimCore/cProject.h"
#include "SimCore/cUnit.h"
#include "SimCore/cVehicle.h"
#include "tests/support/cConfigurationTexts.h"
#include "tests/support/cSimCoreFixture.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

class cPipelineFixture : public cSimCoreFixture
{
protected:
    cPipelineFixture()
    {
        std::filesystem::copy(std::string(SIMCORE_TEST_DATA_DIR) + "SimCore/pipeline", tempFolder(),
                              std::filesystem::copy_options::recursive);
    }
    ~cPipelineFixture() override
    {
        myActiveFile = nullptr;
        project.reset();
    }

    // Opens pipeline.prt (or another project file of the folder), declares the used channels and,
    // with load, makes the modules. The project is published as the host does. A project opened
    // before goes first: its end clears the globals of the services.
    cProject& openProject(std::vector<std::string> const& channels = {"ACU_X", "ACU_Y"}, bool load = true,
                          std::string const& file = "pipeline.prt")
    {
        myActiveFile = nullptr;
        project.reset();
        project = std::make_unique<cProject>(file, tempFolder());
        myActiveProject = project.get();
        for (std::string const& channel : channels)
            project->declareChannelName(channel, true);
        if (load)
            project->loadDataProcessingModules(tempFolder());
        return *project;
    }

    // A crash file of the active list, in use.
    cKynFile* addCrash(std::string const& name)
    {
        cKynFile* const file = myActiveFileList->addFile(tempPath(name).c_str(), nullptr);
        file->useFile(true, nullptr);
        return file;
    }

    // RESET_MSG and FILE_CHANGED_MSG to vehicle, channels, unit and the active algorithm, in that order,
    // then RUN_TEST_MSG to the vehicle. In simulation mode the whole sweep has run when this returns.
    void runFile(cKynFile* file)
    {
        myActiveFile = file;
        for (unsigned int message : {RESET_MSG, FILE_CHANGED_MSG})
        {
            myActiveVehicle->ProcessMessage(message, nullptr);
            for (cChannel* channel : channels())
                channel->ProcessMessage(message, nullptr);
            myActiveUnit->ProcessMessage(message, nullptr);
            if (myActiveAlgorithm != nullptr)
                myActiveAlgorithm->ProcessMessage(message, nullptr);
        }
        myActiveVehicle->ProcessMessage(RUN_TEST_MSG, nullptr);
    }

    std::vector<cChannel*> channels() const
    {
        auto const range = myActivePreprocessing->getChannels();
        return std::vector<cChannel*>(range.first, range.second);
    }

    // The samples of a signal behind its leading dummy element.
    static std::vector<float> samples(cSignalStorage<float> const& signal)
    {
        return signal.size() == 0 ? std::vector<float>()
                                  : std::vector<float>(signal.data() + 1, signal.data() + signal.size());
    }

    std::unique_ptr<cProject> project;
};

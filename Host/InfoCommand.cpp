// simcore info PROJECT.prt: what a study of the project would run, without running it.
#include "Host/Commands.h"
#include "Host/cStudy.h"

#include "BaseKit/cKynException.h"
#include "SimCore/cChannel.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cDriftParameter.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cKynFileList.h"
#include "SimCore/cKynMultiPreprocessingItem.h"
#include "SimCore/cKynMultiPreprocessingMgr.h"
#include "SimCore/cProject.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

int describeProject(std::string const& project, cStudy::tAlgorithmFactory algorithm,
                    cStudy::tCalibrationFactory calibration, std::ostream& out, std::ostream& err)
{
    try
    {
        sStudyOptions options;
        options.project = project;
        cStudy study(options, std::move(algorithm), std::move(calibration));
        study.open();
        out << "project: " << project << "\n";
        for (cKynMultiPreprocessingItem* item : myActiveMultiPreprocessingMgr->getMultiPpItems())
        {
            cKynFileList* const list = item != nullptr ? item->getFileList() : nullptr;
            if (list == nullptr)
                continue;
            out << "item: " << item->getName() << " (" << list->getUsedFileNumber() << " of "
                << list->getFilesNumber() << " files used)\n";
            unsigned int cursor = 0;
            for (cKynFile* file = list->firstFile(cursor); file != nullptr; file = list->nextFile(cursor))
                out << "  " << (file->isUsedFile() ? "* " : "  ") << file->getFileName() << "\n";
        }
        out << "channels:";
        auto const channels = myActivePreprocessing->getChannels();
        for (cChannel* const* channel = channels.first; channel != channels.second; ++channel)
            out << " " << (*channel)->getName();
        out << "\n";
        cStorage<cDriftParameter*> drifts(10);
        myActiveComputationManager->getDriftedParametersList(drifts);
        out << "drifts:" << (drifts.empty() ? " none" : "") << "\n";
        for (unsigned int d = 0; d < drifts.size(); ++d)
        {
            cDrift const* const drift = drifts[d]->getDrift();
            out << "  " << drifts[d]->getName() << ": " << drift->getConvertedMinimumValue().get_d() << " to "
                << drift->getConvertedMaximumValue().get_d() << " step "
                << drift->getConvertedStepValue().get_d() << ", nominal "
                << drift->getConvertedNominalValue().get_d() << ", " << drift->getPointNumber()
                << " points\n";
        }
        out << "iterations per file: " << study.getIterationsPerFile() << "\n";
        return 0;
    }
    catch (cKynException const& e)
    {
        err << "simcore info: " << e.what() << "\n";
    }
    catch (std::exception const& e)
    {
        err << "simcore info: " << e.what() << "\n";
    }
    return 2;
}

void addInfoCommand(CLI::App& app, int& status, cStudy::tAlgorithmFactory algorithm,
                    cStudy::tCalibrationFactory calibration)
{
    CLI::App* const command =
        app.add_subcommand("info", "Describe a project: items, crash files, channels, drifts "
                                   "and the number of iterations per file.");
    auto project = std::make_shared<std::string>();
    command->add_option("project", *project, "the project file (.prt)")->required();
    command->callback([&status, project, algorithm, calibration]
                      { status = describeProject(*project, algorithm, calibration, std::cout, std::cerr); });
}

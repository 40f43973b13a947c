// The globals that results (criteria, time events, their graph objects) work in, for the tests: an
// active symbol manager and computation manager, a multi-preprocessing manager with one item whose
// crash file list is the active one, and a concrete algorithm that opens the stage's protected side.
// Everything is reset when the world goes. Graphs must outlive the parameters whose objects they hold,
// so tests declare their graphs before the algorithm.
#pragma once
#include "SimCore/cAlgorithm.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cKynFileList.h"
#include "SimCore/cKynMultiPreprocessingItem.h"
#include "SimCore/cKynMultiPreprocessingMgr.h"
#include "SimCore/cSymbolManager.h"
#include "StoreKit/cConfigurationReader.h"
#include "StoreKit/cInputFile.h"
#include "tests/support/cOpenAlgorithm.h"
#include "tests/support/cRecordingSinks.h"
#include "tests/support/cSimCoreFixture.h"

#include <string>

struct sResultWorld
{
    sResultWorld()
    {
        (myActiveSymbolManager = &symbols)->setConfiguration("");
        myActiveComputationManager = &computations;
        myActiveMultiPreprocessingMgr = &multiPreprocessing;
        item = multiPreprocessing.addItem("Default");
        item->setFileList(new cKynFileList);
        myActiveFileList = item->getFileList();
    }
    ~sResultWorld()
    {
        myActiveFile = nullptr;
        myActiveFileList = nullptr;
        myActiveAlgorithm = nullptr;
        multiPreprocessing.removeAllItems();
        myActiveMultiPreprocessingMgr = nullptr;
        computations.removeAllTests();
        myActiveComputationManager = nullptr;
        myActiveSymbolManager = nullptr;
    }

    // A crash file of the active list around an empty recording at path; in use when `used`.
    cKynFile* addCrash(std::string const& path, bool used = true)
    {
        cKynFile* const file = myActiveFileList->addFile(new cInputFile(path));
        file->useFile(used, nullptr);
        return file;
    }

    cRecordingMessageSink messages;
    cSymbolManager symbols;
    cIdleComputationManager computations;
    cKynMultiPreprocessingMgr multiPreprocessing;
    cKynMultiPreprocessingItem* item = nullptr;
};

// The fixtures of the SimCore suites. cSimCoreFixture starts and ends every test with all the
// myActive... globals null, the thread mode at its start value and the host's mouse gesture flag
// down, and publishes a configured symbol manager, since every parameter registers itself while it
// is read. cResultsFixture adds what results and stages run in: an active computation manager that
// handles no message, and a multi-preprocessing manager with one item whose crash file list is the
// active one. Graphs must outlive the parameters whose objects they hold, so tests declare their
// graphs before the stage. A global added to the library is added to resetActiveGlobals() in the
// same change.
#pragma once

#include "BaseKit/GestureFlag.h"
#include "SimCore/cAlgorithm.h"
#include "SimCore/cCalibration.h"
#include "SimCore/cChannel.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cKynFileList.h"
#include "SimCore/cKynMultiPreprocessingItem.h"
#include "SimCore/cKynMultiPreprocessingMgr.h"
#include "SimCore/cProject.h"
#include "SimCore/cSymbolManager.h"
#include "SimCore/cThread.h"
#include "SimCore/cUnit.h"
#include "SimCore/cVehicle.h"
#include "StoreKit/cInputFile.h"
#include "tests/support/cIdleComputationManager.h"
#include "tests/support/cKitFixture.h"

#include <string>

inline void resetActiveGlobals()
{
    myActiveFile = nullptr;
    myActiveFileList = nullptr;
    myActiveAlgorithm = nullptr;
    myActiveCalibration = nullptr;
    myActiveMultiPreprocessingMgr = nullptr;
    myActiveComputationManager = nullptr;
    myActiveSymbolManager = nullptr;
    myActiveProject = nullptr;
    myActiveVehicle = nullptr;
    myActivePreprocessing = nullptr;
    myActiveUnit = nullptr;
    cKynThread::setSimulationMode(true);
    setLButtonUp(false);
}

class cSimCoreFixture : public cKitFixture
{
protected:
    cSimCoreFixture()
    {
        resetActiveGlobals();
        (myActiveSymbolManager = &symbols)->setConfiguration("");
    }
    ~cSimCoreFixture() override { resetActiveGlobals(); }

    cSymbolManager symbols;
};

class cResultsFixture : public cSimCoreFixture
{
protected:
    cResultsFixture()
    {
        myActiveComputationManager = &computations;
        myActiveMultiPreprocessingMgr = &multiPreprocessing;
        item = multiPreprocessing.addItem("Default");
        item->setFileList(new cKynFileList);
        myActiveFileList = item->getFileList();
    }
    ~cResultsFixture() override
    {
        // The files go before the test managers and the symbols that their values point into.
        myActiveFile = nullptr;
        myActiveFileList = nullptr;
        multiPreprocessing.removeAllItems();
        computations.removeAllTests();
    }

    // A crash file of the active list around an empty recording at path; in use when `used`.
    cKynFile* addCrash(std::string const& path, bool used = true)
    {
        cKynFile* const file = myActiveFileList->addFile(new cInputFile(path));
        file->useFile(used, nullptr);
        return file;
    }

    cIdleComputationManager computations;
    cKynMultiPreprocessingMgr multiPreprocessing;
    cKynMultiPreprocessingItem* item = nullptr;
};

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
#include "tests/support/cRecordingSinks.h"

#include <string>

// A computation manager that handles no message: the tests drive the results directly.
class cIdleComputationManager : public cComputationManager
{
public:
    bool ProcessMessage(unsigned int message, cMessage* data) override
    {
        delete data;
        return message == QUIT_MSG;
    }
};

// The algorithm stage with its protected writers and loaders opened for the tests.
class cOpenAlgorithm : public cAlgorithm
{
public:
    using cAlgorithm::addDisplacement;
    using cAlgorithm::addValueToCriterion;
    using cAlgorithm::clearDisplacement;
    using cAlgorithm::loadExtraTimeEvents;
    using cAlgorithm::m_currentSampleIndex;
    using cAlgorithm::m_sampleCount;
    using cAlgorithm::m_samplingRate;
    using cAlgorithm::m_t0;
    using cAlgorithm::setConstant2PointsCriterion;
    using cAlgorithm::setDisplacementConversionFactor;
    using cAlgorithm::setTimeEventsPrecisionFrequency;
    using cAlgorithm::setTimeEventValue;
    using cAlgorithm::setTimeEventValueFromSpecificIteration;

    // Loads "Criterion" groups of the text as the stage's criteria.
    void loadCriteria(std::string const& text)
    {
        cConfigurationGroup group;
        cConfigurationReader::read(text, "criteria.cfg", group);
        cCriterionMgr::loadParameter(&group, "Algorithm");
    }
    // Loads "Time Event" groups of the text as the stage's time events.
    void loadTimeEvents(std::string const& text)
    {
        cConfigurationGroup group;
        cConfigurationReader::read(text, "events.cfg", group);
        cTimeEventMgr::loadParameter(&group, "Algorithm");
    }
    cCriterion* criterion(std::string const& name) { return cCriterionMgr::getParameter(name); }
    cTimeEvent* timeEvent(std::string const& name) { return cTimeEventMgr::getParameter(name); }

    // The computation events, as the pipeline sends them to the stage's results.
    void resetResults()
    {
        cCriterionMgr::reset();
        cTimeEventMgr::reset();
    }
    void changeFileResults()
    {
        cCriterionMgr::changeFile();
        cTimeEventMgr::changeFile();
    }
    void prepareForTestResults()
    {
        cCriterionMgr::prepareForTest();
        cTimeEventMgr::prepareForTest();
    }
    void endOfIterationResults()
    {
        cCriterionMgr::endOfIteration();
        cTimeEventMgr::endOfIteration();
    }
};

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

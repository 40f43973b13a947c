#include "Host/cStudy.h"

#include "Host/cReportData.h"

#include "BaseKit/cKynException.h"
#include "Host/Version.h"
#include "Host/cTerminalWindow.h"
#include "SimCore/cAlgorithm.h"
#include "SimCore/cCalibration.h"
#include "SimCore/cChannel.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cKynFileList.h"
#include "SimCore/cKynMultiPreprocessingItem.h"
#include "SimCore/cKynMultiPreprocessingMgr.h"
#include "SimCore/cProject.h"
#include "SimCore/cTestMgr.h"
#include "SimCore/cTestMgrPointOfView.h"
#include "SimCore/cTimeEvent.h"
#include "SimCore/cUnit.h"
#include "SimCore/cVehicle.h"
#include "StoreKit/cConfigurationGroup.h"
#include "StoreKit/cConfigurationReader.h"

#include <openssl/evp.h>

#include <charconv>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace
{
std::string readWholeFile(std::string const& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw std::runtime_error("Unable to read \"" + path + "\"");
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// The SHA-256 of a file in lower-case hexadecimal.
std::string sha256Of(std::string const& path)
{
    std::string const bytes = readWholeFile(path);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("Unable to compute the checksum of \"" + path + "\"");
    static char const hex[] = "0123456789abcdef";
    std::string text;
    for (unsigned int i = 0; i < length; ++i)
        text.append(1, hex[digest[i] >> 4]).append(1, hex[digest[i] & 15]);
    return text;
}

nlohmann::json fileRecord(std::string const& path)
{
    if (path.empty())
        return nullptr;
    return {{"path", path}, {"sha256", sha256Of(path)}};
}

double milliseconds(long ticks, double frequency)
{
    return ticks == -1 ? -1.0 : double(ticks) * 1000.0 / frequency;
}

sExpectedTime expectedTime(structTTF const* settings, ETtfKind kind)
{
    sExpectedTime expected;
    if (settings == nullptr || settings->isNotDefined(kind))
        return expected;
    if (settings->isNoFire(kind))
        expected.kind = sExpectedTime::eNoFire;
    else if (settings->asMilliseconds(kind, expected.milliseconds))
        expected.kind = sExpectedTime::eMilliseconds;
    else
    {
        expected.kind = sExpectedTime::eText;
        expected.text = settings->asString(kind, 0);
    }
    return expected;
}

// The value for the report, to 15 significant digits: a drift point converted from its raw value
// carries the rounding of the conversion (104 counts of 0.01 km/h come out as 1.0399999999999998),
// which a reader should not see; 15 digits are what a double holds exactly.
double toDouble(mpf_class const& value)
{
    char text[32];
    std::to_chars_result const written =
        std::to_chars(text, text + sizeof text, value.get_d(), std::chars_format::general, 15);
    double rounded = 0.0;
    std::from_chars(text, written.ptr, rounded);
    return rounded;
}

// The stages whose "Tests List" may hold views, in pipeline order.
std::vector<cDriftManager*> stagesWithTests()
{
    std::vector<cDriftManager*> stages{myActiveVehicle};
    auto const channels = myActivePreprocessing->getChannels();
    for (cChannel* const* channel = channels.first; channel != channels.second; ++channel)
        stages.push_back(*channel);
    stages.push_back(myActiveUnit);
    stages.push_back(myActiveAlgorithm);
    return stages;
}

cConfigurationGroup* testGroupOf(cDriftManager* stage)
{
    if (stage == myActiveVehicle)
        return myActiveVehicle->getTestCfgGroup();
    if (stage == myActiveUnit)
        return myActiveUnit->getTestCfgGroup();
    if (stage == myActiveAlgorithm)
        return myActiveAlgorithm->getTestCfgGroup();
    return static_cast<cChannel*>(stage)->getTestCfgGroup();
}
} // namespace

cStudy::cStudy(sStudyOptions options, tAlgorithmFactory algorithm, tCalibrationFactory calibration)
    : m_options(std::move(options)), m_algorithmFactory(std::move(algorithm)),
      m_calibrationFactory(std::move(calibration))
{
}

cStudy::~cStudy()
{
    myActiveFile = nullptr;
    deleteActiveProject();
    cKynThread::setSimulationMode(m_previousSimulationMode);
    if (!m_previousDirectory.empty())
    {
        std::error_code ignored;
        std::filesystem::current_path(m_previousDirectory, ignored);
    }
}

std::string cStudy::hostKey(char const* key, bool mandatory) const
{
    std::string value;
    findActiveProjectConfigFileItem("", key, value, mandatory);
    return value;
}

void cStudy::open()
{
    namespace fs = std::filesystem;
    fs::path const project = fs::absolute(m_options.project);
    if (!fs::is_regular_file(project))
        throw std::runtime_error("Project file not found: " + m_options.project);
    if (!m_options.calibrationValues.empty())
        m_options.calibrationValues = fs::absolute(m_options.calibrationValues).string();
    m_directory = project.parent_path().string() + "/";
    m_previousDirectory = fs::current_path().string();
    fs::current_path(m_directory);

    // A stage's thread is made when the project loads: the mode is chosen before.
    m_previousSimulationMode = cKynThread::getSimulationMode();
    cKynThread::setSimulationMode(!m_options.realThreads);
    myActiveProject = new cProject(project.filename().string(), m_directory);
    declareChannels();
    myActiveProject->loadDataProcessingModules(m_directory);
    openCalibration();
    myActiveProject->setAlgorithm(m_algorithmFactory(m_directory + hostKey("Algorithm File", true)));
    myActiveAlgorithm->start(0, nullptr, 0);
    if (!hostKey("Channel Mapping", false).empty())
        myActiveProject->buildChannelNameMappingVector(m_directory);
    myActiveProject->applyCalibrationDelta(myActiveCalibration);

    std::string const fileList = m_directory + hostKey("File List", true);
    if (!fs::is_regular_file(fileList))
        throw std::runtime_error("File list not found: " + fileList);
    myActiveFileList->open(fileList, nullptr, true);
    std::string const configuration = hostKey("Computation Configuration", false);
    if (!configuration.empty())
    {
        // Read as a group, so that a bad line fails here with its file and line instead of a report.
        std::string const path = m_directory + configuration;
        cConfigurationGroup group;
        cConfigurationReader::read(readWholeFile(path), path, group);
        myActiveComputationManager->loadComputationConfiguration(&group, false, false);
    }
    // The jump study and the per-iteration output read the value of every iteration.
    myActiveAlgorithm->fullMarginFeatureRequest(true);
    myActiveAlgorithm->fullMarginFeatureRequestOnAllMultipreprocessing(true);
    selectShard();
    buildTests();
    m_iterationsPerFile = myActiveComputationManager->getIterationNumberForOneFile();
}

void cStudy::declareChannels()
{
    // Every channel of the preprocessing file, declared before the modules are made.
    std::string const path = m_directory + hostKey("Preprocessing", true);
    cConfigurationGroup top;
    cConfigurationReader::read(readWholeFile(path), path, top);
    cConfigurationGroup* const channels = top.findConfigurationGroup("Channels List", true);
    for (cConfigurationGroup* channel : channels->GetConfigurationGroups())
    {
        if (channel->getName() != "Channel")
            continue;
        std::string name;
        channel->findItem("", "Name", name, true);
        myActiveProject->declareChannelName(name, true);
    }
}

void cStudy::openCalibration()
{
    myActiveProject->setCalibration(
        m_calibrationFactory(m_directory + hostKey("Calibration Description", true)));
    std::string const values = hostKey("Calibration Values", false);
    m_calibrationValuesPath = !m_options.calibrationValues.empty() ? m_options.calibrationValues
                              : values.empty()                     ? std::string()
                                                                   : m_directory + values;
    if (!m_calibrationValuesPath.empty())
    {
        if (!std::filesystem::is_regular_file(m_calibrationValuesPath))
            throw std::runtime_error("Calibration values not found: " + m_calibrationValuesPath);
        myActiveCalibration->open(m_calibrationValuesPath, true);
    }
}

void cStudy::selectShard()
{
    // Positions count the used files over all items and their lists, so that every shard of a study
    // agrees on them whatever it runs.
    unsigned int position = 0;
    for (cKynMultiPreprocessingItem* item : myActiveMultiPreprocessingMgr->getMultiPpItems())
    {
        cKynFileList* const list = item != nullptr ? item->getFileList() : nullptr;
        if (list == nullptr)
            continue;
        std::vector<cKynFile*> used;
        unsigned int cursor = 0;
        for (cKynFile* file = list->firstUsedFile(cursor); file != nullptr; file = list->nextUsedFile(cursor))
            used.push_back(file);
        for (cKynFile* file : used)
        {
            bool const mine =
                m_options.shardCount == 0 || position % m_options.shardCount == m_options.shard - 1;
            if (mine)
            {
                m_files.emplace_back(file, position);
                m_itemOfFile[file] = item->getName();
            }
            else
                file->useFile(false, nullptr);
            ++position;
        }
    }
}

void cStudy::buildTests()
{
    // One test for the whole study, with a view per group of each stage's "Tests List", read in the
    // plain dialect. The test is listed even without a view: the manager runs only while one is.
    auto test = std::make_unique<cTestMgr>("Study");
    for (cDriftManager* stage : stagesWithTests())
    {
        cConfigurationGroup* const group = stage != nullptr ? testGroupOf(stage) : nullptr;
        if (group == nullptr)
            continue;
        for (cConfigurationGroup* viewGroup : group->GetConfigurationGroups())
        {
            auto view = std::make_unique<cTestMgrPointOfView>(stage, test.get());
            view->setConfiguration(viewGroup);
            test->addPointOfView(view.release());
        }
    }
    if (m_options.report && test->getPointOfViewSize() == 0)
        addDefaultViews(*test);
    m_test = test.get();
    myActiveComputationManager->addTest(test.release());
}

void cStudy::addDefaultViews(cTestMgr& test)
{
    // Per stage with criteria, a view with a graph over time per criterion, each with the stage's
    // time events: what an engineer looks at first when the project chose nothing.
    for (cDriftManager* stage : stagesWithTests())
    {
        if (stage == nullptr || stage->cCriterionMgr::getParameterListSize() == 0)
            continue;
        std::string const name = stage == myActiveVehicle     ? "Vehicle"
                                 : stage == myActiveUnit      ? "Unit"
                                 : stage == myActiveAlgorithm ? "Algorithm"
                                                              : static_cast<cChannel*>(stage)->getName();
        cConfigurationGroup view("View");
        view.addInformation("Name", name);
        for (cCriterion const* criterion : stage->cCriterionMgr::GetParameters())
        {
            auto graph = std::make_unique<cConfigurationGroup>("Graph");
            graph->addInformation("Type", "Scatter Graph");
            graph->addInformation("Name", criterion->getName());
            graph->addInformation("Drawing Enable", "show");
            graph->addInformation("X Title", "t (ms)");
            std::string const unit = criterion->getUnit();
            graph->addInformation("Y Title", unit.empty() ? criterion->getName()
                                                          : criterion->getName() + " (" + unit + ")");
            auto curve = std::make_unique<cConfigurationGroup>("Criterion");
            curve->addInformation("Name", criterion->getName());
            curve->addInformation("Drawing Enable", "true");
            graph->addConfigurationGroup(curve.release());
            for (cTimeEvent const* event : stage->cTimeEventMgr::GetParameters())
            {
                auto mark = std::make_unique<cConfigurationGroup>("Time Event");
                mark->addInformation("Name", event->getName());
                mark->addInformation("Drawing Enable", "true");
                graph->addConfigurationGroup(mark.release());
            }
            view.addConfigurationGroup(graph.release());
        }
        auto pointOfView = std::make_unique<cTestMgrPointOfView>(stage, &test);
        pointOfView->setConfiguration(&view);
        test.addPointOfView(pointOfView.release());
    }
}

void cStudy::run(cTerminalWindow& window)
{
    myActiveComputationManager->startTest();
    window.waitForEnd();
    cKynThread::waitUntilPipelineIdle();
}

void cStudy::askForStop()
{
    if (myActiveComputationManager != nullptr)
        myActiveComputationManager->askForStop();
}

cStudyReport cStudy::report(double durationSeconds) const
{
    cStudyReport report;
    report.shard = m_options.shard;
    report.shardCount = m_options.shardCount;
    double const frequency = double(myActiveAlgorithm->getTimeEventsPrecisionFrequency());
    int const precision = int(myActiveAlgorithm->getTimeEventsPrecisionForMs());
    cStorage<cDriftParameter*> drifts(10);
    myActiveComputationManager->getDriftedParametersList(drifts);
    for (unsigned int d = 0; d < drifts.size(); ++d)
        report.driftNames.push_back(drifts[d]->getName());
    std::vector<cTimeEvent*> events;
    for (cTimeEvent* event : myActiveAlgorithm->cTimeEventMgr::GetParameters())
    {
        events.push_back(event);
        report.eventNames.push_back(event->getName());
    }
    for (auto const& [file, position] : m_files)
    {
        std::string const& item = m_itemOfFile.at(file);
        // A file whose iterations did not all run (a cancelled study) gives no row.
        if (!isComplete(file))
            continue;
        ++report.filesCompleted;
        for (cTimeEvent* event : events)
        {
            auto* const values = static_cast<cTimeEventValuesForOneFile*>(event->getValueListOrNull(file));
            sTtfRow row;
            row.item = item;
            row.file = file->getFileName();
            row.event = event->getName();
            row.position = position;
            row.precision = precision;
            row.fileLinked = event->isFileLinked();
            structTTF const* const settings = event->isFileLinked() ? file->findStructTTF(event) : nullptr;
            row.expectedMin = expectedTime(settings, eTtfMinimum);
            row.expectedOpt = expectedTime(settings, eTtfOptimum);
            row.expectedMax = expectedTime(settings, eTtfMaximum);
            row.nominal = milliseconds(values->getNomValue(), frequency);
            row.minimum = milliseconds(values->getMinValue(), frequency);
            row.maximum = milliseconds(values->getMaxValue(), frequency);
            row.iterations = values->getIterationCount();
            auto const noFire = values->getIterationHistogram().find(-1);
            row.noFire = noFire == values->getIterationHistogram().end() ? 0 : noFire->second->count;
            report.rows.push_back(row);
            for (unsigned int d = 0; d < drifts.size(); ++d)
            {
                cStorage<TTFDispersionStudy*> found(2);
                values->buildTTFDispersionStudy(m_options.jumpMs, drifts[d], found);
                for (unsigned int k = 0; k < found.size(); ++k)
                {
                    report.jumps.push_back(sJump{item, row.file, row.event, drifts[d]->getName(),
                                                 toDouble(found[k]->driftValue), found[k]->minTime,
                                                 found[k]->maxTime});
                    delete found[k];
                }
            }
        }
        if (!m_options.perIteration)
            continue;
        for (unsigned int i = 0; i < m_iterationsPerFile; ++i)
        {
            sIterationRow row{item, file->getFileName(), position, i, {}, {}};
            for (unsigned int d = 0; d < drifts.size(); ++d)
                row.driftValues.push_back(
                    toDouble(myActiveComputationManager->getIterationConvertedDriftValue(i, drifts[d])));
            for (cTimeEvent* event : events)
                row.eventTimes.push_back(
                    static_cast<cTimeEventValuesForOneFile*>(event->getValueListOrNull(file))
                        ->getIterationNbrValue(i));
            report.iterations.push_back(row);
        }
    }
    report.cancelled = myActiveComputationManager->getComputationsState() != computationsFinished;
    report.traceability = traceability(durationSeconds);
    return report;
}

bool cStudy::isComplete(cKynFile* file) const
{
    bool complete = myActiveAlgorithm->cTimeEventMgr::getParameterListSize() > 0;
    for (cTimeEvent* event : myActiveAlgorithm->cTimeEventMgr::GetParameters())
    {
        auto const* values = static_cast<cTimeEventValuesForOneFile const*>(event->getValueListOrNull(file));
        complete = complete && values != nullptr && values->getIterationCount() == m_iterationsPerFile;
    }
    return complete;
}

nlohmann::json cStudy::reportData(int plotWidth) const
{
    std::vector<sReportFile> files;
    for (auto const& [file, position] : m_files)
        if (isComplete(file))
            files.push_back(sReportFile{file, m_itemOfFile.at(file), position});
    return collectReportData(*m_test, files, plotWidth);
}

nlohmann::json cStudy::traceability(double durationSeconds) const
{
    std::time_t const now = std::time(nullptr);
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&now));
    std::string const configuration = hostKey("Computation Configuration", false);
    nlohmann::json record = {
        {"project", fileRecord(m_directory + std::filesystem::path(m_options.project).filename().string())},
        {"calibration_description", fileRecord(m_directory + hostKey("Calibration Description", true))},
        {"calibration_values", fileRecord(m_calibrationValuesPath)},
        {"file_list", fileRecord(m_directory + hostKey("File List", true))},
        {"computation_configuration",
         configuration.empty() ? nlohmann::json(nullptr) : fileRecord(m_directory + configuration)},
        {"simcore_version", simcoreVersion()},
        {"date", date},
        {"iterations_per_file", m_iterationsPerFile},
        {"files", m_files.size()},
        {"real_threads", m_options.realThreads},
        {"duration_s", durationSeconds},
    };
    nlohmann::json drifts = nlohmann::json::array();
    cStorage<cDriftParameter*> parameters(10);
    myActiveComputationManager->getDriftedParametersList(parameters);
    for (unsigned int d = 0; d < parameters.size(); ++d)
    {
        cDrift const* const drift = parameters[d]->getDrift();
        drifts.push_back({{"parameter", parameters[d]->getName()},
                          {"nominal", toDouble(drift->getConvertedNominalValue())},
                          {"minimum", toDouble(drift->getConvertedMinimumValue())},
                          {"maximum", toDouble(drift->getConvertedMaximumValue())},
                          {"step", toDouble(drift->getConvertedStepValue())},
                          {"points", drift->getPointNumber()},
                          {"distribution", drift->getStatisticalDistributionName()}});
    }
    record["drifts"] = drifts;
    if (myActiveComputationManager->isStatisticalModuleActive())
        record["statistical_module"] = {
            {"seed", myActiveComputationManager->getStatisticalRandomSeed()},
            {"combinations", myActiveComputationManager->getStatisticalCombinationNumber()}};
    else
        record["statistical_module"] = nullptr;
    return record;
}

// cStudy: one study of the simcore command, from a project file to a report. It opens the project the
// way the library wants a host to (channels from the preprocessing file declared first, then the
// modules, the calibration with its values, the algorithm, the crash file list, the computation
// configuration), builds the tests and their views from the stages' "Tests List", runs the test, and
// turns the time events' values into report rows. The concrete algorithm and calibration come from
// factories, so that the reference ones and the tests' own can run the same study.
#pragma once

#include "Host/cStudyReport.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

class cAlgorithm;
class cCalibration;
class cKynFile;
class cTerminalWindow;
class cTestMgr;

struct sStudyOptions
{
    std::string project;
    // A values file (.cal) to run instead of the project's "Calibration Values"; empty: the project's.
    std::string calibrationValues;
    bool realThreads = false;
    // Shard K of N (1 <= K <= N); 0 and 0 for the whole study.
    unsigned int shard = 0;
    unsigned int shardCount = 0;
    bool perIteration = false;
    // The smallest jump of a time to fire, in ms, that the jump study reports.
    double jumpMs = 1.0;
    // A study report is wanted: a project whose stages list no view gets default ones.
    bool report = false;
};

class cStudy
{
public:
    typedef std::function<cAlgorithm*(std::string const& file)> tAlgorithmFactory;
    typedef std::function<cCalibration*(std::string const& descriptionFile)> tCalibrationFactory;

    cStudy(sStudyOptions options, tAlgorithmFactory algorithm, tCalibrationFactory calibration);
    cStudy(cStudy const&) = delete;
    cStudy& operator=(cStudy const&) = delete;
    // Deletes the project with everything it made, and gives back the working directory.
    ~cStudy();

    // Opens everything. The crash file list names its recordings relative to the project's folder, so
    // the study works in that folder until it ends. Bad input throws (cKynException naming file and
    // line, or std::runtime_error).
    void open();
    // Runs the test and returns once the run is over (2530, and every stage idle).
    void run(cTerminalWindow& window);
    // Asks the running test to stop (the stages stop at their next drift point).
    void askForStop();
    // The rows of the files that ran all their iterations, the per-iteration values when asked, the
    // jumps and the traceability.
    cStudyReport report(double durationSeconds) const;
    // What the study report draws (Host/cReportData.h) of the files that ran all their iterations,
    // curves thinned to `plotWidth` pixel columns.
    nlohmann::json reportData(int plotWidth) const;

    // The project's folder, with its trailing '/'.
    std::string const& getDirectory() const { return m_directory; }
    unsigned long long getIterationsPerFile() const { return m_iterationsPerFile; }
    // The used crash files of this shard, in walk order, with their positions in the whole walk.
    std::vector<std::pair<cKynFile*, unsigned int>> const& getSelectedFiles() const { return m_files; }

private:
    void declareChannels();
    void openCalibration();
    void selectShard();
    void buildTests();
    void addDefaultViews(cTestMgr& test);
    // Whether the file ran all its iterations.
    bool isComplete(cKynFile* file) const;
    std::string hostKey(char const* key, bool mandatory) const;
    nlohmann::json traceability(double durationSeconds) const;

    sStudyOptions m_options;
    tAlgorithmFactory m_algorithmFactory;
    tCalibrationFactory m_calibrationFactory;
    std::string m_directory;
    std::string m_previousDirectory;
    bool m_previousSimulationMode = true;
    std::vector<std::pair<cKynFile*, unsigned int>> m_files;
    // The item of each selected file, by name.
    std::map<cKynFile const*, std::string> m_itemOfFile;
    unsigned long long m_iterationsPerFile = 0;
    std::string m_calibrationValuesPath;
    // The study's one test; the computation manager owns it.
    cTestMgr* m_test = nullptr;
};

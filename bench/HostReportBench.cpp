// The study report of the simcore host: how long writing it takes, and how large it grows.
//
// BM_SampleStudyReport runs the sample study of examples/frontal (8 crash files, 27 iterations each)
// once with the report requested, then times what `simcore run --report` adds at its end: the report
// data taken from the graphs and time events, report-data.json written, and report.html rendered and
// written. The target is under a second.
//
// BM_ReportOf200CrashFiles runs the sample's project over 200 synthetic recordings (the five kinds of
// `simcore pulse` at speeds and seeds that vary, BIN files in the bench's temporary folder), 27
// iterations each, and reports the sizes of report.html and report-data.json in MB. The target is a
// page under 20 MB. The time of that benchmark is that of the report only, as above.
#include "Host/RecordingFiles.h"
#include "Host/cFrontalAlgorithm.h"
#include "Host/cPulseGenerator.h"
#include "Host/cReferenceCalibration.h"
#include "Host/cReportPage.h"
#include "Host/cStudy.h"
#include "Host/cTerminalWindow.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include <unistd.h>

namespace
{
namespace fs = std::filesystem;

[[noreturn]] void fail(std::string const& what)
{
    std::fprintf(stderr, "HostReportBench: %s\n", what.c_str());
    std::abort();
}

// The sample project copied into a folder of the bench's own.
std::string copyOfTheSample(std::string const& name)
{
    fs::path const folder =
        fs::temp_directory_path() / ("simcore-report-bench-" + std::to_string(::getpid())) / name;
    fs::remove_all(folder);
    fs::create_directories(folder.parent_path());
    fs::copy(std::string(SIMCORE_EXAMPLES_DIR) + "frontal", folder, fs::copy_options::recursive);
    return folder.string() + "/";
}

// A crash file list of 200 recordings made by the pulse generator, written beside the project.
void writeMatrixOf200(std::string const& folder)
{
    fs::create_directories(folder + "matrix");
    std::ostringstream list;
    list << "@File Type = File List\n";
    EPulseKind const kinds[] = {ePulseFullFrontal, ePulseOffset, ePulsePole, ePulseRoughRoad, ePulseHammer};
    for (unsigned int i = 0; i < 200; ++i)
    {
        sPulseSettings settings;
        settings.kind = kinds[i % 5];
        settings.speedKmh = settings.kind == ePulseHammer ? 0.0 : 16.0 + double((i * 7) % 56);
        settings.seed = i + 1;
        cPulseGenerator const generator(settings);
        sPulseSamples const samples = generator.generate();
        std::string const name = "matrix/" + std::string(cPulseGenerator::kindName(settings.kind)) + "_" +
                                 std::to_string(i) + "_MSS_1.bin";
        writeRecordingFile(*generator.makeRecording(samples, std::nullopt), folder + name);
        list << "File {\nName = " << name
             << "\nUsed = 1\nTime Event Settings List {\n}\nChannel Defects List {\n}\n}\n";
    }
    std::ofstream(folder + "matrix.fls") << list.str();
    std::string project;
    {
        std::ifstream in(folder + "frontal.prt");
        std::ostringstream text;
        text << in.rdbuf();
        project = text.str();
    }
    std::size_t const at = project.find("File List = frontal.fls");
    if (at == std::string::npos)
        fail("the sample project names no \"File List = frontal.fls\"");
    project.replace(at, 23, "File List = matrix.fls");
    std::ofstream(folder + "frontal.prt") << project;
}

// A study of the project in `folder`, run with the report requested.
std::unique_ptr<cStudy> runStudy(std::string const& folder)
{
    sStudyOptions options;
    options.project = folder + "frontal.prt";
    options.report = true;
    auto study = std::make_unique<cStudy>(
        options, [](std::string const& file) { return new cFrontalAlgorithm(file); },
        [](std::string const& file) { return new cReferenceCalibration(file); });
    study->open();
    std::ostringstream progress;
    cTerminalWindow window(progress, EProgressMode::eQuiet);
    study->run(window);
    return study;
}

// What simcore run --report writes at the end of the run.
void writeReport(cStudy const& study, std::string const& out)
{
    cStudyReport report = study.report(0.0);
    report.filesTotal = unsigned(study.getSelectedFiles().size());
    report.write(out, false);
    writeReportData(out, study.reportData(reportPlotWidth()));
    writeReportPage(out);
}

double megabytes(std::string const& path)
{
    return double(fs::file_size(path)) / 1e6;
}

void timeReport(benchmark::State& state, std::string const& folder, unsigned int expectedFiles)
{
    std::unique_ptr<cStudy> const study = runStudy(folder);
    if (study->getSelectedFiles().size() != expectedFiles)
        fail("the study ran " + std::to_string(study->getSelectedFiles().size()) + " files, not " +
             std::to_string(expectedFiles));
    std::string const out = folder + "out";
    for (auto _ : state)
        writeReport(*study, out);
    state.counters["files"] = double(expectedFiles);
    state.counters["page_MB"] = megabytes(out + "/report.html");
    state.counters["data_MB"] = megabytes(out + "/report-data.json");
    state.counters["page_kB_per_file"] = megabytes(out + "/report.html") * 1e3 / expectedFiles;
}

void BM_SampleStudyReport(benchmark::State& state)
{
    timeReport(state, copyOfTheSample("sample"), 8);
}
BENCHMARK(BM_SampleStudyReport)->Unit(benchmark::kMillisecond)->Iterations(5);

void BM_ReportOf200CrashFiles(benchmark::State& state)
{
    std::string const folder = copyOfTheSample("matrix");
    writeMatrixOf200(folder);
    timeReport(state, folder, 200);
}
BENCHMARK(BM_ReportOf200CrashFiles)->Unit(benchmark::kMillisecond)->Iterations(1);
} // namespace

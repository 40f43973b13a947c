// cStudyReport: what a study found, as the simcore command writes it: one row per multi-preprocessing
// item, crash file and time event with the expected window and the times to fire over the drift
// iterations, the verdict of each row, and the traceability of the run. It writes ttf.csv,
// summary.json and per-iteration.csv, reads them back from shard folders and merges them. It holds
// plain data only: the study fills it from the library's results.
#pragma once

#include <nlohmann/json.hpp>

#include <iosfwd>
#include <string>
#include <vector>

// An expected time of a crash file for a time event: a number of milliseconds, no fire ("NF"), not
// defined ("NotDef") or a free text, as the crash file list gives it.
struct sExpectedTime
{
    enum EKind
    {
        eMilliseconds,
        eNoFire,
        eNotDefined,
        eText
    };
    EKind kind = eNotDefined;
    double milliseconds = 0.0;
    std::string text;
};

enum class EVerdict
{
    eOk,
    eEarly,
    eLate,
    eMissed,
    eUnwanted,
    eUndefined
};

struct sTtfRow
{
    std::string item;
    // The crash file as the .fls names it.
    std::string file;
    std::string event;
    // The position of the file in the walk over all items and their used files, from 0: the order of
    // an unsharded run, which a merge restores.
    unsigned int position = 0;
    // Decimals of the event's times in ms.
    int precision = 0;
    // The event has a file link: without one the row's verdict is undefined.
    bool fileLinked = false;
    sExpectedTime expectedMin;
    sExpectedTime expectedOpt;
    sExpectedTime expectedMax;
    // Times in ms: the nominal iteration's (-1 no fire), the smallest and largest over the iterations
    // that fired (-1 when none fired).
    double nominal = -1.0;
    double minimum = -1.0;
    double maximum = -1.0;
    unsigned int iterations = 0;
    unsigned int noFire = 0;
};

// One iteration of one crash file, for per-iteration.csv: the drifted parameters' converted values and
// each time event's time in ms (-1 no fire).
struct sIterationRow
{
    std::string item;
    std::string file;
    unsigned int position = 0;
    unsigned int iteration = 0;
    std::vector<double> driftValues;
    std::vector<double> eventTimes;
};

// Where the TTF of a crash file and time event jumps under one drifted parameter.
struct sJump
{
    std::string item;
    std::string file;
    std::string event;
    std::string parameter;
    double driftValue = 0.0;
    double smallestMs = 0.0;
    double largestMs = 0.0;
};

class cStudyReport
{
public:
    // The verdict of a row: no-fire rows (optimum NF) are unwanted when an iteration fired; must-fire
    // rows (numeric optimum) are missed, late, early or ok, the first that applies; others undefined, as
    // are rows without a file link or without a single iteration.
    // Times are compared as ttf.csv writes them, at the row's precision, so that a verdict always agrees
    // with the numbers beside it.
    static EVerdict verdictOf(sTtfRow const& row);
    static char const* verdictText(EVerdict verdict);
    // Whether the verdict fails a study (the exit status 1).
    static bool fails(EVerdict verdict);

    // The exit status of the command that produced the report: 130 when it was cancelled; 0 for a
    // completed shard whatever its verdicts, since only the merge sees the whole study; otherwise 1
    // when a row fails and 0 when none does (undefined rows do not count).
    int exitStatus() const;

    // The three files as text. ttf.csv and per-iteration.csv are RFC 4180 (CRLF, quotes where a field
    // needs them), with '.' as the decimal point whatever the locale; a cancelled run's ttf.csv starts
    // with a comment line saying so.
    void writeTtfCsv(std::ostream& out) const;
    // The fields of one row of ttf.csv, as text.
    static std::vector<std::string> ttfFields(sTtfRow const& row);
    void writePerIterationCsv(std::ostream& out) const;
    nlohmann::json toJson() const;
    // Reads what toJson wrote; `path` names the file in the failures (cGenericException).
    static cStudyReport fromJson(nlohmann::json const& summary, std::string const& path);

    // Writes ttf.csv and summary.json into `folder`, which it creates, and per-iteration.csv when asked.
    void write(std::string const& folder, bool perIteration) const;
    // Reads summary.json of a folder written by write(), and its per-iteration.csv when there is one
    // (hasPerIteration, when given, says whether there was). Failures name the file and the line.
    static cStudyReport read(std::string const& folder, bool* hasPerIteration = nullptr);
    // Joins the folders of the shards of one study, given in any order, into the report of the
    // unsharded run: rows by position, then in the order their shard wrote them. Refuses (with a
    // cGenericException naming the folder) an unsharded or cancelled folder, shards of different
    // projects (traceability member "project") or counts, a repeated or a missing shard.
    // perIteration says whether every shard had a per-iteration.csv, so that the merge has the rows.
    static cStudyReport merge(std::vector<std::string> const& folders, bool& perIteration);

    std::vector<sTtfRow> rows;
    std::vector<sIterationRow> iterations;
    // Column names of per-iteration.csv behind item, file and iteration.
    std::vector<std::string> driftNames;
    std::vector<std::string> eventNames;
    std::vector<sJump> jumps;
    // The traceability record and the run's counts, written as they are into summary.json. Its member
    // "project" identifies the study when shards are merged.
    nlohmann::json traceability = nlohmann::json::object();
    bool cancelled = false;
    unsigned int filesCompleted = 0;
    // The files the run had to do (a shard's share of them); 0 when not known.
    unsigned int filesTotal = 0;
    // 0 / 0 for an unsharded run.
    unsigned int shard = 0;
    unsigned int shardCount = 0;
};

#include "Host/cStudyReport.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <ostream>
#include <set>
#include <sstream>
#include <utility>

namespace
{
char const* const kSource = "Host/cStudyReport";
char const* const kTtfCsv = "ttf.csv";
char const* const kSummaryJson = "summary.json";
char const* const kPerIterationCsv = "per-iteration.csv";

std::string joinPath(std::string const& folder, char const* name)
{
    if (folder.empty() || folder.back() == '/')
        return folder + name;
    return folder + "/" + name;
}

// RFC 4180: a field with a comma, a quote or a line break is quoted, its quotes doubled.
std::string csvField(std::string const& text)
{
    if (text.find_first_of(",\"\r\n") == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (char c : text)
    {
        if (c == '"')
            quoted += '"';
        quoted += c;
    }
    return quoted + "\"";
}

void writeRecord(std::ostream& out, std::vector<std::string> const& fields)
{
    for (size_t i = 0; i < fields.size(); ++i)
        out << (i == 0 ? "" : ",") << csvField(fields[i]);
    out << "\r\n";
}

// Both are built by hand, without printf or streams, so that no locale puts a ',' in a number.
std::string shortestText(double value);

std::string fixedText(double value, int decimals)
{
    if (!std::isfinite(value))
        return shortestText(value);
    std::string text;
    doubleToString(text, mpf_class(value), decimals);
    return text;
}

std::string shortestText(double value)
{
    char buffer[32];
    return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

// -1 marks an event that did not fire: it stays -1 whatever the precision.
std::string timeText(double milliseconds, int precision)
{
    return milliseconds == -1.0 ? "-1" : fixedText(milliseconds, precision);
}

std::string expectedText(sExpectedTime const& expected, int precision)
{
    switch (expected.kind)
    {
    case sExpectedTime::eMilliseconds:
        return fixedText(expected.milliseconds, precision);
    case sExpectedTime::eNoFire:
        return "-1";
    case sExpectedTime::eNotDefined:
    case sExpectedTime::eText:
        return "";
    }
    return "";
}

// The value as ttf.csv shows it.
double atPrecision(double milliseconds, int precision)
{
    std::string const text = fixedText(milliseconds, precision);
    double value = 0.0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

[[noreturn]] void fail(char const* function, int line, std::string const& text)
{
    throw cGenericException(kSource, function, line, text);
}

std::string readText(std::string const& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw cFstreamOpenException(kSource, "cStudyReport::read", __LINE__, path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

template <class tWriter> void writeFile(std::string const& path, tWriter const& writer)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out)
        throw cFstreamOpenException(kSource, "cStudyReport::write", __LINE__, path);
    writer(out);
    out.close();
    if (!out)
        fail("cStudyReport::write", __LINE__, "Could not write " + path);
}

// A number as JSON, or "NF", "NotDef", {"text": ...}: what the crash file list gave.
nlohmann::json expectedToJson(sExpectedTime const& expected)
{
    switch (expected.kind)
    {
    case sExpectedTime::eMilliseconds:
        return expected.milliseconds;
    case sExpectedTime::eNoFire:
        return "NF";
    case sExpectedTime::eNotDefined:
        return "NotDef";
    case sExpectedTime::eText:
        return nlohmann::json{{"text", expected.text}};
    }
    return nullptr;
}

sExpectedTime expectedFromJson(nlohmann::json const& value)
{
    sExpectedTime expected;
    if (value.is_number())
    {
        expected.kind = sExpectedTime::eMilliseconds;
        expected.milliseconds = value.get<double>();
    }
    else if (value == "NF")
        expected.kind = sExpectedTime::eNoFire;
    else if (value == "NotDef")
        expected.kind = sExpectedTime::eNotDefined;
    else
    {
        expected.kind = sExpectedTime::eText;
        expected.text = value.at("text").get<std::string>();
    }
    return expected;
}

// Records of an RFC 4180 text, each with the line it starts on. A bare LF ends a record too.
std::vector<std::pair<int, std::vector<std::string>>> parseCsv(std::string const& text,
                                                               std::string const& path)
{
    std::vector<std::pair<int, std::vector<std::string>>> records;
    std::vector<std::string> fields;
    std::string field;
    int line = 1;
    int recordLine = 1;
    bool quoted = false;
    bool fieldStarted = false;
    for (size_t i = 0; i < text.size(); ++i)
    {
        char const c = text[i];
        if (quoted)
        {
            if (c != '"')
            {
                line += c == '\n' ? 1 : 0;
                field += c;
            }
            else if (i + 1 < text.size() && text[i + 1] == '"')
                field += text[++i];
            else
                quoted = false;
        }
        else if (c == '"' && field.empty())
            quoted = fieldStarted = true;
        else if (c == ',')
        {
            fields.push_back(std::move(field));
            field.clear();
            fieldStarted = true;
        }
        else if (c == '\n' || (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n'))
        {
            i += c == '\r' ? 1 : 0;
            fields.push_back(std::move(field));
            field.clear();
            records.emplace_back(recordLine, std::move(fields));
            fields.clear();
            fieldStarted = false;
            recordLine = ++line;
        }
        else
        {
            field += c;
            fieldStarted = true;
        }
    }
    if (quoted)
        fail("cStudyReport::read", __LINE__,
             path + " line " + std::to_string(recordLine) + ": unclosed quote");
    if (fieldStarted || !field.empty())
    {
        fields.push_back(std::move(field));
        records.emplace_back(recordLine, std::move(fields));
    }
    return records;
}

double numberOf(std::string const& text, std::string const& where)
{
    double value = 0.0;
    auto const result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size())
        fail("cStudyReport::read", __LINE__, where + ": not a number: \"" + text + "\"");
    return value;
}

// The iterations of per-iteration.csv, each given the position of its file: the files come in the
// order of summary.json's rows, each with its iterations in rising order, so a change of file or an
// iteration that does not rise starts the next file (one crash file may be listed twice).
void readPerIteration(cStudyReport& report, std::string const& path)
{
    auto const records = parseCsv(readText(path), path);
    std::vector<std::string> header = {"item", "file", "iteration"};
    header.insert(header.end(), report.driftNames.begin(), report.driftNames.end());
    header.insert(header.end(), report.eventNames.begin(), report.eventNames.end());
    if (records.empty() || records.front().second != header)
        fail("cStudyReport::read", __LINE__, path + " line 1: the columns are not those of summary.json");

    std::vector<sTtfRow const*> files;
    for (sTtfRow const& row : report.rows)
        if (files.empty() || files.back()->position != row.position)
            files.push_back(&row);
    size_t file = 0;
    bool first = true;
    for (size_t r = 1; r < records.size(); ++r)
    {
        auto const& [line, fields] = records[r];
        std::string const where = path + " line " + std::to_string(line);
        if (fields.size() != header.size())
            fail("cStudyReport::read", __LINE__,
                 where + ": " + std::to_string(fields.size()) + " fields for " +
                     std::to_string(header.size()) + " columns");
        sIterationRow row;
        row.item = fields[0];
        row.file = fields[1];
        auto const parsed =
            std::from_chars(fields[2].data(), fields[2].data() + fields[2].size(), row.iteration);
        if (parsed.ec != std::errc() || parsed.ptr != fields[2].data() + fields[2].size())
            fail("cStudyReport::read", __LINE__, where + ": not an iteration number: \"" + fields[2] + "\"");
        bool const sameFile = !first && files[file]->item == row.item && files[file]->file == row.file &&
                              row.iteration > report.iterations.back().iteration;
        if (!first && !sameFile)
            ++file;
        first = false;
        if (file >= files.size() || files[file]->item != row.item || files[file]->file != row.file)
            fail("cStudyReport::read", __LINE__,
                 where + ": " + row.item + ", " + row.file + " is not the next file of summary.json");
        row.position = files[file]->position;
        for (size_t d = 0; d < report.driftNames.size(); ++d)
            row.driftValues.push_back(numberOf(fields[3 + d], where));
        for (size_t e = 0; e < report.eventNames.size(); ++e)
            row.eventTimes.push_back(numberOf(fields[3 + report.driftNames.size() + e], where));
        report.iterations.push_back(std::move(row));
    }
}

std::string shardText(cStudyReport const& report)
{
    return std::to_string(report.shard) + "/" + std::to_string(report.shardCount);
}

std::string filesCompletedText(cStudyReport const& report)
{
    return std::to_string(report.filesCompleted) +
           (report.filesTotal > 0 ? " of " + std::to_string(report.filesTotal) : std::string()) +
           " files completed";
}

// What identifies the study of a shard.
nlohmann::json projectOf(nlohmann::json const& traceability)
{
    return traceability.is_object() ? traceability.value("project", nlohmann::json()) : nlohmann::json();
}

std::string projectText(nlohmann::json const& traceability)
{
    nlohmann::json const project = projectOf(traceability);
    if (project.is_string())
        return project.get<std::string>();
    if (project.is_object() && project.contains("path") && project["path"].is_string())
        return project["path"].get<std::string>();
    return project.dump();
}

// The members that every shard shares stay at the top; each shard's own (its date, counts, duration)
// go to its entry of "shards".
nlohmann::json mergedTraceability(std::vector<cStudyReport> const& shards,
                                  std::vector<std::string> const& folders)
{
    nlohmann::json merged = nlohmann::json::object();
    std::set<std::string> ownMembers;
    for (cStudyReport const& shard : shards)
        for (auto const& [key, value] : shard.traceability.items())
        {
            bool const shared =
                std::all_of(shards.begin(), shards.end(),
                            [&](cStudyReport const& other)
                            { return other.traceability.contains(key) && other.traceability[key] == value; });
            if (shared)
                merged[key] = value;
            else
                ownMembers.insert(key);
        }
    nlohmann::json entries = nlohmann::json::array();
    for (size_t i = 0; i < shards.size(); ++i)
    {
        nlohmann::json entry = {{"shard", shards[i].shard},
                                {"folder", folders[i]},
                                {"files_completed", shards[i].filesCompleted}};
        for (std::string const& key : ownMembers)
            if (shards[i].traceability.contains(key))
                entry[key] = shards[i].traceability[key];
        entries.push_back(std::move(entry));
    }
    merged["shards"] = std::move(entries);
    return merged;
}
} // namespace

EVerdict cStudyReport::verdictOf(sTtfRow const& row)
{
    // Without a single iteration nothing fired or missed: there is nothing to judge.
    if (!row.fileLinked || row.iterations == 0)
        return EVerdict::eUndefined;
    bool const anyFired = row.noFire < row.iterations;
    if (row.expectedOpt.kind == sExpectedTime::eNoFire)
        return anyFired ? EVerdict::eUnwanted : EVerdict::eOk;
    if (row.expectedOpt.kind != sExpectedTime::eMilliseconds)
        return EVerdict::eUndefined;
    if (row.noFire > 0)
        return EVerdict::eMissed;
    if (row.expectedMax.kind == sExpectedTime::eMilliseconds &&
        atPrecision(row.maximum, row.precision) > atPrecision(row.expectedMax.milliseconds, row.precision))
        return EVerdict::eLate;
    if (row.expectedMin.kind == sExpectedTime::eMilliseconds &&
        atPrecision(row.minimum, row.precision) < atPrecision(row.expectedMin.milliseconds, row.precision))
        return EVerdict::eEarly;
    return EVerdict::eOk;
}

char const* cStudyReport::verdictText(EVerdict verdict)
{
    switch (verdict)
    {
    case EVerdict::eOk:
        return "ok";
    case EVerdict::eEarly:
        return "early";
    case EVerdict::eLate:
        return "late";
    case EVerdict::eMissed:
        return "missed";
    case EVerdict::eUnwanted:
        return "unwanted";
    case EVerdict::eUndefined:
        return "undefined";
    }
    return "undefined";
}

bool cStudyReport::fails(EVerdict verdict)
{
    switch (verdict)
    {
    case EVerdict::eEarly:
    case EVerdict::eLate:
    case EVerdict::eMissed:
    case EVerdict::eUnwanted:
        return true;
    case EVerdict::eOk:
    case EVerdict::eUndefined:
        return false;
    }
    return false;
}

int cStudyReport::exitStatus() const
{
    if (cancelled)
        return 130;
    if (shardCount > 0)
        return 0;
    bool const anyFails =
        std::any_of(rows.begin(), rows.end(), [](sTtfRow const& row) { return fails(verdictOf(row)); });
    return anyFails ? 1 : 0;
}

void cStudyReport::writeTtfCsv(std::ostream& out) const
{
    if (cancelled)
        out << "# cancelled: " << filesCompletedText(*this) << "\r\n";
    writeRecord(out, {"item", "file", "event", "expected_min_ms", "expected_opt_ms", "expected_max_ms",
                      "ttf_nominal_ms", "ttf_min_ms", "ttf_max_ms", "iterations", "no_fire", "verdict"});
    for (sTtfRow const& row : rows)
        writeRecord(out, ttfFields(row));
}

std::vector<std::string> cStudyReport::ttfFields(sTtfRow const& row)
{
    return {row.item,
            row.file,
            row.event,
            expectedText(row.expectedMin, row.precision),
            expectedText(row.expectedOpt, row.precision),
            expectedText(row.expectedMax, row.precision),
            timeText(row.nominal, row.precision),
            timeText(row.minimum, row.precision),
            timeText(row.maximum, row.precision),
            std::to_string(row.iterations),
            std::to_string(row.noFire),
            verdictText(verdictOf(row))};
}

void cStudyReport::writePerIterationCsv(std::ostream& out) const
{
    std::vector<std::string> header = {"item", "file", "iteration"};
    header.insert(header.end(), driftNames.begin(), driftNames.end());
    header.insert(header.end(), eventNames.begin(), eventNames.end());
    writeRecord(out, header);
    // An event's times are written at its precision, as in ttf.csv; an event without rows has none
    // and is written exactly.
    std::vector<int> precisions;
    for (std::string const& event : eventNames)
    {
        auto const row = std::find_if(rows.begin(), rows.end(),
                                      [&](sTtfRow const& candidate) { return candidate.event == event; });
        precisions.push_back(row == rows.end() ? -1 : row->precision);
    }
    for (sIterationRow const& iteration : iterations)
    {
        if (iteration.driftValues.size() != driftNames.size() ||
            iteration.eventTimes.size() != eventNames.size())
            fail("cStudyReport::writePerIterationCsv", __LINE__,
                 "Iteration " + std::to_string(iteration.iteration) + " of " + iteration.file + " has " +
                     std::to_string(iteration.driftValues.size()) + " drift values and " +
                     std::to_string(iteration.eventTimes.size()) + " event times for " +
                     std::to_string(driftNames.size()) + " drifts and " + std::to_string(eventNames.size()) +
                     " events");
        std::vector<std::string> fields = {iteration.item, iteration.file,
                                           std::to_string(iteration.iteration)};
        for (double value : iteration.driftValues)
            fields.push_back(shortestText(value));
        for (size_t e = 0; e < iteration.eventTimes.size(); ++e)
        {
            double const time = iteration.eventTimes[e];
            fields.push_back(precisions[e] < 0 && time != -1.0 ? shortestText(time)
                                                               : timeText(time, precisions[e]));
        }
        writeRecord(out, fields);
    }
}

nlohmann::json cStudyReport::toJson() const
{
    nlohmann::json verdicts = nlohmann::json::object();
    for (EVerdict verdict : {EVerdict::eOk, EVerdict::eEarly, EVerdict::eLate, EVerdict::eMissed,
                             EVerdict::eUnwanted, EVerdict::eUndefined})
        verdicts[verdictText(verdict)] = 0;
    nlohmann::json jsonRows = nlohmann::json::array();
    for (sTtfRow const& row : rows)
    {
        char const* const verdict = verdictText(verdictOf(row));
        verdicts[verdict] = verdicts[verdict].get<unsigned int>() + 1;
        jsonRows.push_back({{"item", row.item},
                            {"file", row.file},
                            {"event", row.event},
                            {"position", row.position},
                            {"precision", row.precision},
                            {"file_linked", row.fileLinked},
                            {"expected_min_ms", expectedToJson(row.expectedMin)},
                            {"expected_opt_ms", expectedToJson(row.expectedOpt)},
                            {"expected_max_ms", expectedToJson(row.expectedMax)},
                            {"ttf_nominal_ms", row.nominal},
                            {"ttf_min_ms", row.minimum},
                            {"ttf_max_ms", row.maximum},
                            {"iterations", row.iterations},
                            {"no_fire", row.noFire},
                            {"verdict", verdict}});
    }
    nlohmann::json jsonJumps = nlohmann::json::array();
    for (sJump const& jump : jumps)
        jsonJumps.push_back({{"item", jump.item},
                             {"file", jump.file},
                             {"event", jump.event},
                             {"parameter", jump.parameter},
                             {"drift_value", jump.driftValue},
                             {"smallest_ms", jump.smallestMs},
                             {"largest_ms", jump.largestMs}});
    nlohmann::json shardJson = nullptr;
    if (shardCount > 0)
        shardJson = {{"k", shard}, {"n", shardCount}};
    return {{"status", cancelled ? "cancelled" : "complete"},
            {"files_completed", filesCompleted},
            {"files_total", filesTotal},
            {"shard", shardJson},
            {"verdicts", verdicts},
            {"traceability", traceability},
            {"rows", jsonRows},
            {"jumps", jsonJumps},
            {"per_iteration_columns", {{"drifts", driftNames}, {"events", eventNames}}}};
}

cStudyReport cStudyReport::fromJson(nlohmann::json const& summary, std::string const& path)
{
    cStudyReport report;
    try
    {
        std::string const status = summary.at("status").get<std::string>();
        if (status != "complete" && status != "cancelled")
            fail("cStudyReport::fromJson", __LINE__, path + ": unknown status \"" + status + "\"");
        report.cancelled = status == "cancelled";
        report.filesCompleted = summary.at("files_completed").get<unsigned int>();
        report.filesTotal = summary.at("files_total").get<unsigned int>();
        nlohmann::json const& shard = summary.at("shard");
        if (!shard.is_null())
        {
            report.shard = shard.at("k").get<unsigned int>();
            report.shardCount = shard.at("n").get<unsigned int>();
        }
        report.traceability = summary.at("traceability");
        for (nlohmann::json const& value : summary.at("rows"))
        {
            sTtfRow row;
            row.item = value.at("item").get<std::string>();
            row.file = value.at("file").get<std::string>();
            row.event = value.at("event").get<std::string>();
            row.position = value.at("position").get<unsigned int>();
            row.precision = value.at("precision").get<int>();
            row.fileLinked = value.at("file_linked").get<bool>();
            row.expectedMin = expectedFromJson(value.at("expected_min_ms"));
            row.expectedOpt = expectedFromJson(value.at("expected_opt_ms"));
            row.expectedMax = expectedFromJson(value.at("expected_max_ms"));
            row.nominal = value.at("ttf_nominal_ms").get<double>();
            row.minimum = value.at("ttf_min_ms").get<double>();
            row.maximum = value.at("ttf_max_ms").get<double>();
            row.iterations = value.at("iterations").get<unsigned int>();
            row.noFire = value.at("no_fire").get<unsigned int>();
            report.rows.push_back(std::move(row));
        }
        for (nlohmann::json const& value : summary.at("jumps"))
            report.jumps.push_back(
                {value.at("item").get<std::string>(), value.at("file").get<std::string>(),
                 value.at("event").get<std::string>(), value.at("parameter").get<std::string>(),
                 value.at("drift_value").get<double>(), value.at("smallest_ms").get<double>(),
                 value.at("largest_ms").get<double>()});
        nlohmann::json const& columns = summary.at("per_iteration_columns");
        report.driftNames = columns.at("drifts").get<std::vector<std::string>>();
        report.eventNames = columns.at("events").get<std::vector<std::string>>();
    }
    catch (nlohmann::json::exception const& error)
    {
        fail("cStudyReport::fromJson", __LINE__, path + ": not a study summary: " + error.what());
    }
    return report;
}

void cStudyReport::write(std::string const& folder, bool perIteration) const
{
    std::filesystem::create_directories(folder);
    writeFile(joinPath(folder, kTtfCsv), [this](std::ostream& out) { writeTtfCsv(out); });
    writeFile(joinPath(folder, kSummaryJson), [this](std::ostream& out) { out << toJson().dump(2) << '\n'; });
    if (perIteration)
        writeFile(joinPath(folder, kPerIterationCsv),
                  [this](std::ostream& out) { writePerIterationCsv(out); });
}

cStudyReport cStudyReport::read(std::string const& folder, bool* hasPerIteration)
{
    std::string const path = joinPath(folder, kSummaryJson);
    nlohmann::json summary;
    try
    {
        summary = nlohmann::json::parse(readText(path));
    }
    catch (nlohmann::json::exception const& error)
    {
        fail("cStudyReport::read", __LINE__, path + ": " + error.what());
    }
    cStudyReport report = fromJson(summary, path);
    std::string const perIterationPath = joinPath(folder, kPerIterationCsv);
    bool const perIteration = std::filesystem::exists(perIterationPath);
    if (perIteration)
        readPerIteration(report, perIterationPath);
    if (hasPerIteration != nullptr)
        *hasPerIteration = perIteration;
    return report;
}

cStudyReport cStudyReport::merge(std::vector<std::string> const& folders, bool& perIteration)
{
    char const* const function = "cStudyReport::merge";
    if (folders.empty())
        fail(function, __LINE__, "No shard folder to merge");
    std::vector<cStudyReport> shards;
    std::map<unsigned int, size_t> byShard;
    perIteration = true;
    for (size_t i = 0; i < folders.size(); ++i)
    {
        std::string const& folder = folders[i];
        if (!std::filesystem::exists(joinPath(folder, kSummaryJson)))
            fail(function, __LINE__, folder + ": no summary.json: not the output folder of a study");
        bool hasPerIteration = false;
        shards.push_back(read(folder, &hasPerIteration));
        perIteration = perIteration && hasPerIteration;
        cStudyReport const& shard = shards.back();
        if (shard.shardCount == 0)
            fail(function, __LINE__, folder + ": not a shard: its run had no --shard");
        if (shard.shard < 1 || shard.shard > shard.shardCount)
            fail(function, __LINE__, folder + ": shard " + shardText(shard) + " is out of range");
        if (shard.cancelled)
            fail(function, __LINE__,
                 folder + ": shard " + shardText(shard) + " is incomplete: cancelled with " +
                     filesCompletedText(shard));
        cStudyReport const& first = shards.front();
        if (shard.shardCount != first.shardCount)
            fail(function, __LINE__,
                 folder + ": shard " + shardText(shard) + " is not one of the " +
                     std::to_string(first.shardCount) + " shards of " + folders.front());
        if (projectOf(shard.traceability) != projectOf(first.traceability))
            fail(function, __LINE__,
                 folder + ": shard " + shardText(shard) + " is of project " +
                     projectText(shard.traceability) + ", not of project " + projectText(first.traceability) +
                     " like " + folders.front());
        auto const [repeated, inserted] = byShard.emplace(shard.shard, i);
        if (!inserted)
            fail(function, __LINE__,
                 folder + ": shard " + shardText(shard) + " repeats " + folders[repeated->second]);
    }
    unsigned int const count = shards.front().shardCount;
    for (unsigned int k = 1; k <= count; ++k)
        if (byShard.count(k) == 0)
        {
            std::string given;
            for (std::string const& folder : folders)
                given += (given.empty() ? "" : ", ") + folder;
            fail(function, __LINE__,
                 "shard " + std::to_string(k) + "/" + std::to_string(count) +
                     " is missing among the folders given: " + given);
        }

    // Shards in the order of K, then a stable sort by position: one position belongs to one shard, so
    // rows of one file keep the order their shard wrote them in.
    std::vector<cStudyReport> ordered;
    std::vector<std::string> orderedFolders;
    for (auto const& [k, index] : byShard)
    {
        ordered.push_back(std::move(shards[index]));
        orderedFolders.push_back(folders[index]);
    }
    cStudyReport merged;
    merged.traceability = mergedTraceability(ordered, orderedFolders);
    merged.driftNames = ordered.front().driftNames;
    merged.eventNames = ordered.front().eventNames;
    std::vector<std::pair<unsigned int, sJump>> jumps;
    bool totalKnown = true;
    for (cStudyReport& shard : ordered)
    {
        merged.filesCompleted += shard.filesCompleted;
        merged.filesTotal += shard.filesTotal;
        totalKnown = totalKnown && shard.filesTotal > 0;
        for (sJump& jump : shard.jumps)
        {
            auto const row =
                std::find_if(shard.rows.begin(), shard.rows.end(),
                             [&](sTtfRow const& candidate)
                             { return candidate.item == jump.item && candidate.file == jump.file; });
            jumps.emplace_back(row == shard.rows.end() ? 0 : row->position, std::move(jump));
        }
        std::move(shard.rows.begin(), shard.rows.end(), std::back_inserter(merged.rows));
        std::move(shard.iterations.begin(), shard.iterations.end(), std::back_inserter(merged.iterations));
    }
    if (!totalKnown)
        merged.filesTotal = 0;
    std::stable_sort(merged.rows.begin(), merged.rows.end(),
                     [](sTtfRow const& a, sTtfRow const& b) { return a.position < b.position; });
    std::stable_sort(merged.iterations.begin(), merged.iterations.end(),
                     [](sIterationRow const& a, sIterationRow const& b) { return a.position < b.position; });
    std::stable_sort(jumps.begin(), jumps.end(),
                     [](auto const& a, auto const& b) { return a.first < b.first; });
    for (auto& [position, jump] : jumps)
        merged.jumps.push_back(std::move(jump));
    return merged;
}

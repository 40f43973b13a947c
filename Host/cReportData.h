// report-data.json: what the study report draws, taken from the graphs and time events after a run.
// Everything is kept per crash file, with the file's position in the walk of the whole study, so that
// the data of shards join by putting their files side by side in the order of the positions.
//
//   "format": 1, "plot_width": pixels the curves were thinned for,
//   "graphs": [{"view", "title", "x_title", "y_title", "over_time", "legend"}],
//   "drifts": [parameter names], "events": [time event names],
//   "files": [{"item", "file", "name", "position", "color",
//              "graphs": [{"graph": index into "graphs",
//                          "series": [{"label", "color", "t": times, "nominal": {"y", and "x" against
//                                      an abscissa criterion}, "minimum", "maximum" (null: one curve)}],
//                          "squares": [{"label", "color", "kind", "marks": [[x1, x2, y1, y2]],
//                                       "expected": [min, opt, max or null]}],
//                          "hot_points": [{"label", "color", "x", "y"}]}],
//              "events": [{"event", "histogram": [[time, count]], "bar": [nominal, maximum, minimum],
//                          "drifts": [[[value, time]] per drift]}]}]
//
// Times are milliseconds, -1 for no fire; numbers are written with the precision of a float.
#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

class cKynFile;
class cTestMgr;

// A crash file that ran all its iterations.
struct sReportFile
{
    cKynFile* file;
    std::string item;
    unsigned int position;
};

// The data of the graphs of `test`'s views that are shown, and of every time event of the active
// algorithm against every drifted parameter, for the given files. Curves over time are thinned to
// `plotWidth` pixel columns.
nlohmann::json collectReportData(cTestMgr const& test, std::vector<sReportFile> const& files, int plotWidth);

// The data of the shards of one study as one: the files of all, in the order of their positions.
// The shards must have drawn the same graphs, drifts and events; `folders` name them in the message.
nlohmann::json mergeReportData(std::vector<nlohmann::json> const& shards,
                               std::vector<std::string> const& folders);

#include "Host/cReportData.h"

#include "Host/cReportPage.h"

#include "BaseKit/Conversions.h"
#include "PlotKit/cCountGraphSerie.h"
#include "PlotKit/cEnvelopeGraphSerie.h"
#include "PlotKit/cGraph.h"
#include "PlotKit/cGraphHotPoint.h"
#include "PlotKit/cGraphSquare.h"
#include "PlotKit/cMinNomMaxByStringGraphSerie.h"
#include "PlotKit/cMinNomMaxByValueGraphSerie.h"
#include "PlotKit/cSvgRenderer.h"
#include "SimCore/TtfSummary.h"
#include "SimCore/cAlgorithm.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cTestMgr.h"
#include "SimCore/cTestMgrPointOfView.h"
#include "SimCore/cTimeEvent.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <stdexcept>

namespace
{
// A float as the double of the same shortest text, so that the file holds "0.3", not the float's
// exact binary value 0.30000001192092896.
double number(float value)
{
    char text[32];
    std::to_chars_result const written = std::to_chars(text, text + sizeof text, value);
    double result = 0.0;
    std::from_chars(text, written.ptr, result);
    return result;
}

nlohmann::json numbers(std::vector<float> const& values)
{
    nlohmann::json list = nlohmann::json::array();
    for (float value : values)
        list.push_back(number(value));
    return list;
}

// Colours for the curves of a graph whose criteria leave theirs at the default black, so that the
// curves can be told apart (0x00BBGGRR), and for the marks of time events, in colours that the curves
// do not take.
constexpr unsigned long kPalette[] = {0xB4771F, 0x0E7FFF, 0x2CA02C, 0xCFBE17, 0x22BDBC, 0xC277E3};
constexpr unsigned long kMarkPalette[] = {0x2827D6, 0xBD6794, 0x4B568C, 0x7F7F7F};

std::vector<float> valuesOf(cStorage<float> const& storage)
{
    return std::vector<float>(storage.data(), storage.data() + storage.size());
}

// Of the points `indices` of a curve, those without which the polyline would move by half a pixel or
// more somewhere (Ramer-Douglas-Peucker), for a drawing of `xScale` and `yScale` pixels per unit.
std::vector<unsigned int> simplified(std::vector<unsigned int> const& indices, std::vector<float> const& xs,
                                     std::vector<float> const& ys, double xScale, double yScale)
{
    if (indices.size() < 3)
        return indices;
    std::vector<bool> keep(indices.size(), false);
    keep.front() = keep.back() = true;
    std::vector<std::pair<size_t, size_t>> spans{{0, indices.size() - 1}};
    while (!spans.empty())
    {
        auto const [first, last] = spans.back();
        spans.pop_back();
        double const ax = xs[indices[first]] * xScale, ay = ys[indices[first]] * yScale;
        double const dx = xs[indices[last]] * xScale - ax, dy = ys[indices[last]] * yScale - ay;
        double const length = std::hypot(dx, dy);
        double farthest = 0.0;
        size_t at = first;
        for (size_t k = first + 1; k < last; ++k)
        {
            double const px = xs[indices[k]] * xScale - ax, py = ys[indices[k]] * yScale - ay;
            double const distance = length > 0.0 ? std::abs(px * dy - py * dx) / length : std::hypot(px, py);
            if (!(distance <= farthest))
            {
                farthest = distance;
                at = k;
            }
        }
        if (at != first && !(farthest < 0.5))
        {
            keep[at] = true;
            spans.push_back({first, at});
            spans.push_back({at, last});
        }
    }
    std::vector<unsigned int> kept;
    for (size_t k = 0; k < indices.size(); ++k)
        if (keep[k])
            kept.push_back(indices[k]);
    return kept;
}

// The indices of the points to keep of an envelope over time, whose curves all lie on the nominal's
// times: those that any curve needs once thinned to the pixel columns and simplified to half a pixel.
// The vertical scale takes the envelope's own range over the whole picture height: the graph's
// range is never smaller, nor its plot higher, so the drawing is never coarser than assumed.
std::vector<unsigned int> keptOverTime(std::vector<cXYPointList const*> const& curves, int plotWidth)
{
    std::vector<float> const times = valuesOf(curves.front()->getXs());
    float yMin = 0.0f, yMax = 0.0f;
    for (size_t c = 0; c < curves.size(); ++c)
    {
        float x1 = 0.0f, x2 = 0.0f, y1 = 0.0f, y2 = 0.0f;
        curves[c]->getBounds(x1, x2, y1, y2);
        yMin = c == 0 ? y1 : std::min(yMin, y1);
        yMax = c == 0 ? y2 : std::max(yMax, y2);
    }
    double const span = double(times.back()) - double(times.front());
    double const xScale = span > 0.0 ? plotWidth / span : 1.0;
    double const yScale = yMax > yMin ? kReportGraphHeight / (double(yMax) - double(yMin)) : 1.0;
    std::vector<bool> keep(times.size(), false);
    for (cXYPointList const* curve : curves)
    {
        std::vector<float> const ys = valuesOf(curve->getYs());
        std::vector<float> keptX, keptY;
        cSvgRenderer::thinCurve(times, ys, times.front(), times.back(), plotWidth, keptX, keptY);
        // Thinning keeps points in order: walk both lists together.
        std::vector<unsigned int> thinned;
        for (size_t i = 0, k = 0; i < times.size() && k < keptX.size(); ++i)
            if (times[i] == keptX[k] && ys[i] == keptY[k])
            {
                thinned.push_back(unsigned(i));
                ++k;
            }
        for (unsigned int i : simplified(thinned, times, ys, xScale, yScale))
            keep[i] = true;
    }
    std::vector<unsigned int> indices;
    for (unsigned int i = 0; i < keep.size(); ++i)
        if (keep[i])
            indices.push_back(i);
    return indices;
}

// Against an abscissa criterion: one point in every few when there are more than two per pixel
// column, the first and the last always.
std::vector<unsigned int> keptAgainstCriterion(unsigned int count, int plotWidth)
{
    unsigned int const limit = 2u * unsigned(std::max(plotWidth, 1));
    unsigned int const stride = count > limit ? (count + limit - 1) / limit : 1;
    std::vector<unsigned int> indices;
    for (unsigned int i = 0; i < count; i += stride)
        indices.push_back(i);
    if (count > 0 && indices.back() != count - 1)
        indices.push_back(count - 1);
    return indices;
}

// The envelope's curves at the kept points of the nominal's times: "t", and per curve "y" (and "x"
// against an abscissa criterion); minimum and maximum are null while the envelope has one curve.
nlohmann::json seriesData(cEnvelopeGraphSerie const& series, unsigned long colour, int plotWidth)
{
    bool const overTime = series.getSerieType() == eSerieYT;
    cXYPointList const* const nominal = series.getNominalCurve();
    std::vector<cXYPointList const*> curves{nominal};
    cXYPointList const* const minimum = series.getMinimumCurve();
    cXYPointList const* const maximum = series.getMaximumCurve();
    bool const band = minimum != nullptr && maximum != nullptr &&
                      minimum->getXs().size() == nominal->getXs().size() &&
                      maximum->getXs().size() == nominal->getXs().size();
    if (band)
    {
        curves.push_back(minimum);
        curves.push_back(maximum);
    }
    unsigned int const count = nominal->getXs().size();
    std::vector<unsigned int> const kept = count == 0 ? std::vector<unsigned int>()
                                           : overTime ? keptOverTime(curves, plotWidth)
                                                      : keptAgainstCriterion(count, plotWidth);
    auto const pick = [&](cStorage<float> const& values)
    {
        nlohmann::json list = nlohmann::json::array();
        for (unsigned int i : kept)
            list.push_back(number(values[i]));
        return list;
    };
    auto const curve = [&](cXYPointList const* list) -> nlohmann::json
    {
        if (list == nullptr)
            return nullptr;
        nlohmann::json data = {{"y", pick(list->getYs())}};
        if (!overTime)
            data["x"] = pick(list->getXs());
        return data;
    };
    return {{"label", series.GetLabel()},
            {"color", colour},
            {"t", pick(overTime ? nominal->getXs() : nominal->getTs())},
            {"nominal", curve(nominal)},
            {"minimum", curve(band ? minimum : nullptr)},
            {"maximum", curve(band ? maximum : nullptr)}};
}

nlohmann::json squareData(cGraphSquare const& square, unsigned long colour)
{
    nlohmann::json marks = nlohmann::json::array();
    cStorage<sSquareMark> const& held = square.getMarks();
    for (unsigned int i = 0; i < held.size(); ++i)
        marks.push_back({number(held[i].x1), number(held[i].x2), number(held[i].y1), number(held[i].y2)});
    nlohmann::json expected = nlohmann::json::array();
    for (unsigned int i = 0; i < cGraphSquare::kExpectedTimeCount; ++i)
        expected.push_back(square.isExpectedTimeSet(i) ? nlohmann::json(number(square.getExpectedTime(i)))
                                                       : nlohmann::json(nullptr));
    return {{"label", square.GetLabel()},
            {"color", colour},
            {"kind", square.getKind()},
            {"marks", marks},
            {"expected", expected}};
}

// What graph `graph` draws of crash file `file`: null when nothing.
nlohmann::json graphDataOfFile(cGraph const& graph, unsigned long long file, int plotWidth)
{
    nlohmann::json series = nlohmann::json::array();
    nlohmann::json squares = nlohmann::json::array();
    nlohmann::json hotPoints = nlohmann::json::array();
    cStorage<cGraphObject*> const& objects = graph.getGraphObjects();
    unsigned int curveIndex = 0;
    for (unsigned int i = 0; i < objects.size(); ++i)
    {
        cGraphObject* const object = objects[i];
        if (object->GetCrashFileAddress() != file || !object->isToBeDrawn())
            continue;
        if (auto const* const envelope = dynamic_cast<cEnvelopeGraphSerie const*>(object))
        {
            unsigned long const colour =
                object->getColor() != 0 ? object->getColor() : kPalette[curveIndex % std::size(kPalette)];
            ++curveIndex;
            if (envelope->getNominalCurve() == nullptr)
                continue;
            series.push_back(seriesData(*envelope, colour, plotWidth));
        }
        else if (auto const* const square = dynamic_cast<cGraphSquare const*>(object))
        {
            unsigned long const colour = object->getColor() != 0
                                             ? object->getColor()
                                             : kMarkPalette[squares.size() % std::size(kMarkPalette)];
            if (square->hasPoints())
                squares.push_back(squareData(*square, colour));
        }
        unsigned int cursor = 0;
        for (cGraphHotPoint* point = object->getHotPointEnabled() ? object->firstHotPoint(cursor) : nullptr;
             point != nullptr; point = object->nextHotPoint(cursor))
        {
            if (!point->isConditionTrue())
                continue;
            float x = 0.0f;
            float y = 0.0f;
            point->getPosition(x, y);
            hotPoints.push_back({{"label", point->GetLabel()},
                                 {"color", point->getColor()},
                                 {"x", number(x)},
                                 {"y", number(y)}});
        }
    }
    if (series.empty() && squares.empty() && hotPoints.empty())
        return nullptr;
    return {{"series", series}, {"squares", squares}, {"hot_points", hotPoints}};
}

nlohmann::json eventDataOfFile(cTimeEvent const& event, cKynFile* file, std::string const& name,
                               std::vector<cDriftParameter*> const& drifts)
{
    auto const* const values = static_cast<cTimeEventValuesForOneFile const*>(event.getValueListOrNull(file));
    if (values == nullptr)
        return nullptr;
    cCountGraphSerie histogram;
    TTFStudySummary counts;
    values->buildPerCentSerie(&histogram, counts);
    nlohmann::json bins = nlohmann::json::array();
    for (sCountBin const& bin : histogram.getBins())
        bins.push_back({number(bin.time), bin.count});

    cMinNomMaxByStringGraphSerie bar;
    CrashStudySummary extremes;
    values->buildCrashMinNomMaxSerie(&bar, name, extremes);
    nlohmann::json times = nlohmann::json::array();
    if (!bar.getRows().empty())
        times = numbers(bar.getRows().front().times);

    nlohmann::json byDrift = nlohmann::json::array();
    for (cDriftParameter* drift : drifts)
    {
        cMinNomMaxByValueGraphSerie points;
        DriftStudySummary summary;
        values->buildDriftMinNomMaxSerie(&points, drift, summary);
        nlohmann::json list = nlohmann::json::array();
        for (sTimeValuePoint const& point : points.getPoints())
            list.push_back({number(point.value), number(point.time)});
        byDrift.push_back(list);
    }
    return {{"event", event.getName()}, {"histogram", bins}, {"bar", times}, {"drifts", byDrift}};
}
} // namespace

nlohmann::json collectReportData(cTestMgr const& test, std::vector<sReportFile> const& files, int plotWidth)
{
    std::vector<cGraph const*> graphs;
    nlohmann::json graphList = nlohmann::json::array();
    unsigned int cursor = 0;
    for (cTestMgrPointOfView* view = test.firstPointOfView(cursor); view != nullptr;
         view = test.nextPointOfView(cursor))
    {
        if (!view->getDrawingEnable())
            continue;
        cStorage<cGraph*> const& viewGraphs = view->GetGraphs();
        for (unsigned int g = 0; g < viewGraphs.size(); ++g)
        {
            cGraph* const graph = viewGraphs[g];
            if (!graph->isShown())
                continue;
            graphs.push_back(graph);
            graphList.push_back({{"view", view->getName()},
                                 {"title", graph->GetGraphTitle()},
                                 {"x_title", graph->GetXAbscissaTitle()},
                                 {"y_title", graph->GetYAbscissaTitle()},
                                 {"over_time", graph->getParameter().abscissaCriterion == nullptr},
                                 {"legend", graph->isLegendEnabled()}});
        }
    }

    std::vector<cDriftParameter*> drifts;
    cStorage<cDriftParameter*> drifted(10);
    myActiveComputationManager->getDriftedParametersList(drifted);
    nlohmann::json driftNames = nlohmann::json::array();
    for (unsigned int d = 0; d < drifted.size(); ++d)
    {
        drifts.push_back(drifted[d]);
        driftNames.push_back(drifted[d]->getName());
    }
    std::vector<cTimeEvent*> events;
    nlohmann::json eventNames = nlohmann::json::array();
    for (cTimeEvent* event : myActiveAlgorithm->cTimeEventMgr::GetParameters())
    {
        events.push_back(event);
        eventNames.push_back(event->getName());
    }

    nlohmann::json fileList = nlohmann::json::array();
    for (sReportFile const& entry : files)
    {
        std::string const name = getShortName(entry.file->getFileName());
        nlohmann::json fileGraphs = nlohmann::json::array();
        auto const address = reinterpret_cast<unsigned long long>(entry.file);
        for (unsigned int g = 0; g < graphs.size(); ++g)
        {
            nlohmann::json data = graphDataOfFile(*graphs[g], address, plotWidth);
            if (data.is_null())
                continue;
            data["graph"] = g;
            fileGraphs.push_back(std::move(data));
        }
        nlohmann::json fileEvents = nlohmann::json::array();
        for (cTimeEvent const* event : events)
        {
            nlohmann::json data = eventDataOfFile(*event, entry.file, name, drifts);
            if (!data.is_null())
                fileEvents.push_back(std::move(data));
        }
        fileList.push_back({{"item", entry.item},
                            {"file", entry.file->getFileName()},
                            {"name", name},
                            {"position", entry.position},
                            {"color", entry.file->getColor()},
                            {"graphs", fileGraphs},
                            {"events", fileEvents}});
    }
    return {{"format", 1},          {"plot_width", plotWidth}, {"graphs", graphList},
            {"drifts", driftNames}, {"events", eventNames},    {"files", fileList}};
}

nlohmann::json mergeReportData(std::vector<nlohmann::json> const& shards,
                               std::vector<std::string> const& folders)
{
    if (shards.empty())
        throw std::runtime_error("no report data to merge");
    nlohmann::json merged = shards.front();
    merged["files"] = nlohmann::json::array();
    std::vector<nlohmann::json> files;
    for (size_t i = 0; i < shards.size(); ++i)
    {
        for (char const* key : {"format", "plot_width", "graphs", "drifts", "events"})
            if (shards[i].value(key, nlohmann::json()) != shards.front().value(key, nlohmann::json()))
                throw std::runtime_error("the report data of " + folders[i] + " and of " + folders.front() +
                                         " differ in \"" + key + "\": not the shards of one study");
        for (nlohmann::json const& file : shards[i].at("files"))
            files.push_back(file);
    }
    std::stable_sort(files.begin(), files.end(),
                     [](nlohmann::json const& a, nlohmann::json const& b)
                     { return a.at("position").get<unsigned int>() < b.at("position").get<unsigned int>(); });
    for (nlohmann::json& file : files)
        merged["files"].push_back(std::move(file));
    return merged;
}

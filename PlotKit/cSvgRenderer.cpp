#include "PlotKit/cSvgRenderer.h"

#include "BaseKit/cKynException.h"
#include "PlotKit/cCountGraphSerie.h"
#include "PlotKit/cEnvelopeGraphSerie.h"
#include "PlotKit/cGraph.h"
#include "PlotKit/cGraphHotPoint.h"
#include "PlotKit/cGraphSquare.h"
#include "PlotKit/cMinNomMaxByStringGraphSerie.h"
#include "PlotKit/cMinNomMaxByValueGraphSerie.h"
#include "PlotKit/cSvgWriter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <utility>

namespace
{
char const* const kSource = "PlotKit/cSvgRenderer";

// Margins around the plot area. The left one holds the y tick labels, crash names on bar charts
// included, and the rotated y title; the top one the title, then the labels of expected times.
constexpr int kMarginLeft = 88;
constexpr int kMarginRight = 16;
constexpr int kMarginTop = 40;
// x tick labels and the x title; the legend's rows come below them.
constexpr int kMarginBottom = 44;
constexpr int kLegendRowHeight = 16;
constexpr int kMaxLegendRows = 4;
// The no-fire slot left of a time axis (histogram, bars by name) and the no-fire line below one,
// each with a dashed line that parts it from the axis a few pixels before the axis starts.
constexpr int kNoFireColumn = 44;
constexpr int kNoFireColumnLine = 30;
constexpr int kNoFireRow = 28;
constexpr int kNoFireRowLine = 20;
constexpr int kMinWidth = 240;
constexpr int kMinHeight = 160;
// Smallest distance between ticks, and the rough width of a character of the 10-11 px font.
constexpr int kXTickSpacing = 70;
constexpr int kYTickSpacing = 36;
constexpr int kCharWidth = 7;
constexpr int kRowNameChars = 14;
// The rough width of a character of a crash name (10 px font), and where the names start, right of the
// rotated y title.
constexpr int kRowNameCharWidth = 6;
constexpr int kRowNameStart = 28;
constexpr int kLegendLabelChars = 32;

constexpr float kNoFire = -1.0f;

// The parts one after the other. Appending, rather than summing a literal and std::string, keeps
// GCC 12's -Wrestrict quiet in the optimised builds.
template <class... tParts> std::string joined(tParts const&... parts)
{
    std::string text;
    (text.append(parts), ...);
    return text;
}

char const* const kAxisColour = "#333333";
char const* const kGridColour = "#e4e4e4";
char const* const kTextColour = "#222222";
char const* const kMutedColour = "#888888";

// The colour an object shows: its default one, or its crash file's while it shows that.
std::string colourOf(cGraphObject const& object)
{
    return cSvgWriter::colour(object.getUseDefaultColor()
                                  ? object.GetDefaultColor()
                                  : static_cast<unsigned long>(object.GetCrashFileColor()));
}

// A percentage with at most one decimal: "62.5", "25".
std::string percentText(double percent)
{
    std::string text = cSvgWriter::number(percent, 1);
    if (text.size() > 2 && text.compare(text.size() - 2, 2, ".0") == 0)
        text.resize(text.size() - 2);
    return text;
}

// Indices of the points of the curve (xs, ys) that thinning keeps, in order.
void thinIndices(float const* xs, float const* ys, std::size_t count, double xMin, double xMax, int pixels,
                 std::vector<std::size_t>& kept)
{
    kept.clear();
    bool const scaled = pixels > 0 && std::isfinite(xMin) && std::isfinite(xMax) && xMax > xMin;
    if (!scaled)
    {
        for (std::size_t i = 0; i < count; ++i)
            kept.push_back(i);
        return;
    }
    double const perUnit = pixels / (xMax - xMin);
    // Column of a finite x; a point on the right edge belongs to the last column.
    auto const columnOf = [&](float x)
    {
        double column = std::floor((x - xMin) * perUnit);
        if (x >= xMin && x <= xMax)
            column = std::min(column, double(pixels - 1));
        return static_cast<long long>(std::clamp(column, -1.0e15, 1.0e15));
    };
    std::size_t start = 0;
    while (start < count)
    {
        std::size_t end = start + 1;
        std::size_t lowest = start, highest = start;
        if (std::isfinite(xs[start]))
        {
            long long const column = columnOf(xs[start]);
            for (; end < count && std::isfinite(xs[end]) && columnOf(xs[end]) == column; ++end)
            {
                lowest = ys[end] < ys[lowest] ? end : lowest;
                highest = ys[end] > ys[highest] ? end : highest;
            }
        }
        std::array<std::size_t, 4> run{start, std::min(lowest, highest), std::max(lowest, highest), end - 1};
        for (std::size_t index : run)
            if (kept.empty() || kept.back() != index)
                kept.push_back(index);
        start = end;
    }
}

// The values seen along one axis, and whether each end is drawn on the frame (the time span of a
// curve, the zero of a histogram) rather than a little inside it, clear of the frame.
struct sSpan
{
    double low = 0.0;
    double high = 0.0;
    bool set = false;
    bool tightLow = false;
    bool tightHigh = false;

    void add(double value, bool tight = false)
    {
        if (!std::isfinite(value))
            return;
        if (!set || value < low)
            low = value, tightLow = tight;
        else if (value == low)
            tightLow = tightLow || tight;
        if (!set || value > high)
            high = value, tightHigh = tight;
        else if (value == high)
            tightHigh = tightHigh || tight;
        set = true;
    }
};

// One axis: the range of its linear part, its ticks and the pixels its two ends are drawn at.
struct sAxis
{
    double low = 0.0;
    double high = 1.0;
    double step = 0.2;
    int decimals = 1;
    int from = 0;
    int to = 1;

    int toPixel(double value) const
    {
        double const pixel = from + (value - low) * (to - from) / (high - low);
        return static_cast<int>(std::lround(std::clamp(pixel, -1.0e6, 1.0e6)));
    }
    std::vector<double> ticks() const
    {
        std::vector<double> values;
        long long const first = static_cast<long long>(std::ceil(low / step - 1e-9));
        long long const last = static_cast<long long>(std::floor(high / step + 1e-9));
        for (long long k = first; k <= last && values.size() < 100; ++k)
            values.push_back(double(k) * step);
        return values;
    }
};

// The span with a margin of 4 % at its loose ends, and ticks of 1, 2 or 5 times a power of ten at
// least `spacing` pixels apart. A single value gets 10 % of itself (or 1) on each side; no value
// gives 0 to 1.
sAxis niceAxis(sSpan const& span, int pixels, int spacing)
{
    double low = span.set ? span.low : 0.0;
    double high = span.set ? span.high : 1.0;
    if (!(high - low > 0.0))
    {
        double const pad = low == 0.0 ? 1.0 : std::fabs(low) * 0.1;
        low -= pad;
        high += pad;
    }
    else if (span.set)
    {
        double const margin = 0.04 * (high - low);
        low -= span.tightLow ? 0.0 : margin;
        high += span.tightHigh ? 0.0 : margin;
    }
    if (!std::isfinite(high - low))
        low = 0.0, high = 1.0;
    double const raw = (high - low) / std::max(1, pixels / spacing);
    double const magnitude = std::pow(10.0, std::floor(std::log10(raw)));
    sAxis axis;
    axis.step = 10.0 * magnitude;
    for (double factor : {1.0, 2.0, 5.0})
        if (factor * magnitude >= raw * (1.0 - 1e-9))
        {
            axis.step = factor * magnitude;
            break;
        }
    axis.low = low;
    axis.high = high;
    axis.decimals = axis.step >= 1.0 ? 0 : std::min(17, int(std::ceil(-std::log10(axis.step) - 1e-9)));
    return axis;
}

struct sLegendEntry
{
    std::string label;
    std::string colour;
    bool line;
};

// One rendering: what the graph holds, the layout chosen for it, and the text written.
class cPicture
{
public:
    cPicture(cGraph& graph, int width, int height) : m_graph(graph), m_width(width), m_height(height) {}

    std::string draw();

private:
    void gather();
    void gatherSquare(cGraphSquare const& square);
    void gatherHotPoints(cGraphObject const& object);
    void layOut();
    void layOutLegend(int width);
    void setScale();

    void drawAxes();
    void drawNoFireSlots();
    void drawEnvelope(cEnvelopeGraphSerie const& serie, std::string const& colour);
    void drawSquare(cGraphSquare const& square, std::string const& colour);
    void drawExpectedTimes(cGraphSquare const& square, std::string const& colour);
    void drawHotPoints(cGraphObject const& object);
    void drawHistogram(cCountGraphSerie const& serie, std::string const& colour);
    void drawTimesByValue(cMinNomMaxByValueGraphSerie const& serie, std::string const& colour);
    void drawBarsByName(cMinNomMaxByStringGraphSerie const& serie, std::string const& colour);
    void drawTitles();
    void drawLegend();

    // The pixel points of a curve thinned to the x axis, split where a value is not finite.
    std::vector<cSvgPointList> curvePieces(cXYPointList const& curve) const;
    // The polygon of the band between the minimum and the maximum curve.
    cSvgPointList bandOutline(cXYPointList const& minimum, cXYPointList const& maximum) const;
    int noFireColumnCentre() const { return m_left + kNoFireColumnLine / 2; }
    int noFireRowCentre() const { return m_bottom - kNoFireRowLine / 2; }
    int rowPitch() const { return std::max(1, (m_y.from - m_y.to) / std::max<int>(1, int(m_rowCount))); }

    cGraph& m_graph;
    int m_width;
    int m_height;
    cSvgWriter m_svg;
    std::vector<cGraphObject const*> m_drawn;

    sSpan m_xSpan;
    sSpan m_ySpan;
    bool m_anything = false;
    bool m_noFireColumn = false;
    bool m_noFireRow = false;
    // Bars by name put their rows on the y axis, named after the first such series.
    cMinNomMaxByStringGraphSerie const* m_rows = nullptr;
    std::size_t m_rowCount = 0;
    // The longest crash name of a bar chart, in bytes: the left margin widens to hold it.
    std::size_t m_longestName = 0;

    std::vector<sLegendEntry> m_legend;
    std::vector<int> m_legendRowStarts;
    std::size_t m_legendHidden = 0;

    int m_left = 0;
    int m_top = 0;
    int m_right = 0;
    int m_bottom = 0;
    sAxis m_x;
    sAxis m_y;
    // Count of "NF" notes of expected no-fires written so far, which stack down the plot's corner.
    int m_noFireNotes = 0;
};

std::string cPicture::draw()
{
    gather();
    layOut();
    setScale();
    m_svg.open("svg")
        .attr("xmlns", "http://www.w3.org/2000/svg")
        .attr("width", m_width)
        .attr("height", m_height);
    m_svg.attr("viewBox", joined("0 0 ", std::to_string(m_width), " ", std::to_string(m_height)));
    m_svg.attr("font-family", "sans-serif").attr("font-size", 11).text() += ">\n";
    m_svg.open("rect").attr("width", m_width).attr("height", m_height).attr("fill", "#ffffff").close();
    drawAxes();
    drawNoFireSlots();
    for (cGraphObject const* object : m_drawn)
    {
        std::string const colour = colourOf(*object);
        if (auto const* serie = dynamic_cast<cEnvelopeGraphSerie const*>(object))
            drawEnvelope(*serie, colour);
        else if (auto const* square = dynamic_cast<cGraphSquare const*>(object))
            drawSquare(*square, colour);
        else if (auto const* counts = dynamic_cast<cCountGraphSerie const*>(object))
            drawHistogram(*counts, colour);
        else if (auto const* byValue = dynamic_cast<cMinNomMaxByValueGraphSerie const*>(object))
            drawTimesByValue(*byValue, colour);
        else if (auto const* byName = dynamic_cast<cMinNomMaxByStringGraphSerie const*>(object))
            drawBarsByName(*byName, colour);
        drawHotPoints(*object);
    }
    m_svg.open("rect").attr("x", m_left).attr("y", m_top).attr("width", m_right - m_left);
    m_svg.attr("height", m_bottom - m_top).attr("fill", "none").attr("stroke", kAxisColour).close();
    if (!m_anything)
        m_svg.label((m_left + m_right) / 2, (m_top + m_bottom) / 2, "middle", "no data", kMutedColour, 12);
    drawTitles();
    drawLegend();
    m_svg.text() += "</svg>\n";
    return std::move(m_svg.text());
}

void cPicture::gather()
{
    unsigned int cursor = 0;
    for (cGraphObject* object = m_graph.firstGraphObject(cursor); object != nullptr;
         object = m_graph.nextGraphObject(cursor))
    {
        if (!object->isToBeDrawn())
            continue;
        m_drawn.push_back(object);
        if (!object->GetLabel().empty())
        {
            bool const line = dynamic_cast<cEnvelopeGraphSerie const*>(object) != nullptr;
            m_legend.push_back({cSvgWriter::escape(object->GetLabel()), colourOf(*object), line});
        }
        gatherHotPoints(*object);
        if (auto const* serie = dynamic_cast<cEnvelopeGraphSerie const*>(object))
        {
            for (cXYPointList const* curve :
                 {serie->getMinimumCurve(), serie->getNominalCurve(), serie->getMaximumCurve()})
                for (unsigned int i = 0; curve != nullptr && i < curve->size(); ++i)
                {
                    // A curve over time spans the time axis from edge to edge.
                    m_xSpan.add(curve->getX(i), serie->getSerieType() == eSerieYT);
                    m_ySpan.add(curve->getY(i));
                    m_anything = true;
                }
        }
        else if (auto const* square = dynamic_cast<cGraphSquare const*>(object))
            gatherSquare(*square);
        else if (auto const* counts = dynamic_cast<cCountGraphSerie const*>(object))
        {
            // Half the smallest gap between bins pads the time axis, so the outer bars fit in.
            std::set<float> times;
            for (unsigned int i = 0; i < counts->getBins().size(); ++i)
            {
                float const time = counts->getBins()[i].time;
                m_ySpan.add(0.0, true);
                m_ySpan.add(counts->getPercent(i));
                m_anything = true;
                if (time == kNoFire)
                    m_noFireColumn = true;
                else if (std::isfinite(time))
                    times.insert(time);
            }
            double gap = 0.0;
            for (auto time = times.begin(); time != times.end() && std::next(time) != times.end(); ++time)
            {
                double const distance = double(*std::next(time)) - double(*time);
                gap = gap == 0.0 ? distance : std::min(gap, distance);
            }
            gap = gap == 0.0 ? 1.0 : gap;
            if (!times.empty())
            {
                m_xSpan.add(*times.begin() - gap / 2, true);
                m_xSpan.add(*times.rbegin() + gap / 2, true);
            }
        }
        else if (auto const* byValue = dynamic_cast<cMinNomMaxByValueGraphSerie const*>(object))
        {
            for (sTimeValuePoint const& point : byValue->getPoints())
            {
                m_xSpan.add(point.value);
                m_anything = true;
                if (point.time == kNoFire)
                    m_noFireRow = true;
                else
                    m_ySpan.add(point.time);
            }
        }
        else if (auto const* byName = dynamic_cast<cMinNomMaxByStringGraphSerie const*>(object))
        {
            m_rows = m_rows != nullptr ? m_rows : byName;
            m_rowCount = std::max(m_rowCount, byName->getRows().size());
            for (sNamedTimesRow const& row : byName->getRows())
                m_longestName = std::max(m_longestName, row.name.size());
            for (sNamedTimesRow const& row : byName->getRows())
                for (float time : row.times)
                {
                    m_anything = true;
                    if (time == kNoFire)
                        m_noFireColumn = true;
                    else
                        m_xSpan.add(time);
                }
        }
    }
}

void cPicture::gatherSquare(cGraphSquare const& square)
{
    cStorage<sSquareMark> const& marks = square.getMarks();
    for (unsigned int i = 0; i < marks.size(); ++i)
    {
        sSquareMark const& mark = marks[i];
        switch (square.getKind())
        {
        case eSquareVerticalLine:
            m_xSpan.add(mark.x1);
            break;
        case eSquareRectangle:
            m_xSpan.add(mark.x1);
            m_xSpan.add(mark.x2);
            m_ySpan.add(mark.y1);
            m_ySpan.add(mark.y2);
            break;
        case eSquareHorizontalBand:
            m_ySpan.add(mark.y1);
            m_ySpan.add(mark.y2);
            break;
        default:
            continue; // a kind the model does not know draws nothing
        }
        m_anything = true;
    }
    if (square.getKind() != eSquareVerticalLine)
        return;
    for (unsigned int index = 0; index < cGraphSquare::kExpectedTimeCount; ++index)
        if (square.isExpectedTimeSet(index))
        {
            m_anything = true;
            if (square.getExpectedTime(index) != kNoFire)
                m_xSpan.add(square.getExpectedTime(index));
        }
}

void cPicture::gatherHotPoints(cGraphObject const& object)
{
    unsigned int cursor = 0;
    for (cGraphHotPoint* point = object.firstHotPoint(cursor); point != nullptr;
         point = object.nextHotPoint(cursor))
    {
        if (!point->isConditionTrue())
            continue;
        float x = 0.0f, y = 0.0f;
        point->getPosition(x, y);
        m_xSpan.add(x);
        m_ySpan.add(y);
        m_anything = true;
    }
}

void cPicture::layOut()
{
    // The left margin widens to hold the crash names of a bar chart; the plot keeps at least half the
    // width.
    m_left = std::clamp(kRowNameStart + kRowNameCharWidth * int(m_longestName), kMarginLeft,
                        std::max(kMarginLeft, m_width / 2));
    m_right = m_width - kMarginRight;
    m_top = kMarginTop;
    if (m_graph.isLegendEnabled())
        layOutLegend(m_right - m_left);
    int const legendRows = static_cast<int>(m_legendRowStarts.size());
    m_bottom = m_height - kMarginBottom - (legendRows > 0 ? legendRows * kLegendRowHeight + 4 : 0);
    m_bottom = std::max(m_bottom, m_top + 40);

    m_x = niceAxis(m_xSpan, m_right - m_left - (m_noFireColumn ? kNoFireColumn : 0), kXTickSpacing);
    m_x.from = m_left + (m_noFireColumn ? kNoFireColumn : 0);
    m_x.to = m_right;
    if (m_rows != nullptr)
    {
        // Row i at height i, row 0 at the bottom.
        m_y.low = -0.5;
        m_y.high = double(m_rowCount) - 0.5;
        m_y.step = 1.0;
        m_y.decimals = 0;
        if (m_rowCount == 0)
            m_y.high = 0.5;
    }
    else
        m_y = niceAxis(m_ySpan, m_bottom - m_top - (m_noFireRow ? kNoFireRow : 0), kYTickSpacing);
    m_y.from = m_bottom - (m_noFireRow ? kNoFireRow : 0);
    m_y.to = m_top;
}

// Entries flow left to right in rows of `width` pixels; past the last row "+N more" says what is left.
void cPicture::layOutLegend(int width)
{
    // As many rows as leave the plot 80 pixels of height, one at least.
    int const rows =
        std::clamp((m_height - kMarginTop - kMarginBottom - 4 - 80) / kLegendRowHeight, 1, kMaxLegendRows);
    int used = width;
    for (std::size_t i = 0; i < m_legend.size(); ++i)
    {
        m_legend[i].label = cSvgWriter::shortened(m_legend[i].label, kLegendLabelChars);
        int const entry = 28 + kCharWidth * static_cast<int>(cSvgWriter::characterCount(m_legend[i].label));
        if (used + entry > width && used > 0)
        {
            if (int(m_legendRowStarts.size()) == rows)
            {
                m_legendHidden = m_legend.size() - i;
                m_legend.resize(i);
                break;
            }
            m_legendRowStarts.push_back(static_cast<int>(i));
            used = 0;
        }
        used += entry;
    }
}

void cPicture::setScale()
{
    double const xPerUnit = (m_x.to - m_x.from) / (m_x.high - m_x.low);
    double const yPerUnit = (m_y.from - m_y.to) / (m_y.high - m_y.low);
    m_graph.setXPixelsPerUnit(xPerUnit);
    m_graph.setYPixelsPerUnit(yPerUnit);
    m_graph.setLeftValue(m_x.low - (m_x.from - m_left) / xPerUnit);
    m_graph.setTopValue(m_y.high);
}

// Ticks and grid lines; an axis along which nothing drawn has a value (only fire-time lines, only
// no-fires) gets none, since its numbers would mean nothing.
void cPicture::drawAxes()
{
    // Grid lines and tick marks go into one path each: a report holds hundreds of graphs.
    std::string grid, ticks;
    auto const move = [](std::string& path, int x, int y, char direction, int to)
    {
        path += joined("M", std::to_string(x), " ", std::to_string(y), std::string(1, direction),
                       std::to_string(to));
    };
    std::vector<std::pair<int, std::string>> xLabels, yLabels;
    bool const xValues = m_xSpan.set || !m_anything, yValues = m_ySpan.set || !m_anything;
    for (double value : xValues ? m_x.ticks() : std::vector<double>())
    {
        int const x = m_x.toPixel(value);
        move(grid, x, m_top, 'V', m_bottom);
        move(ticks, x, m_bottom, 'V', m_bottom + 4);
        xLabels.emplace_back(x, cSvgWriter::number(value, m_x.decimals));
    }
    if (m_rows != nullptr)
    {
        // The crash names, as many characters as the left margin holds; rows closer than a line of
        // text name every k-th row.
        std::size_t const nameChars =
            std::max<std::size_t>(kRowNameChars, std::size_t((m_left - kRowNameStart) / kRowNameCharWidth));
        std::vector<sNamedTimesRow> const& rows = m_rows->getRows();
        std::size_t const every = std::max<std::size_t>(1, (12 + rowPitch() - 1) / rowPitch());
        for (std::size_t i = 0; i < rows.size(); i += every)
        {
            int const y = m_y.toPixel(double(i));
            move(ticks, m_left - 4, y, 'H', m_left);
            yLabels.emplace_back(y, cSvgWriter::shortened(cSvgWriter::escape(rows[i].name), nameChars));
        }
    }
    for (double value : m_rows == nullptr && yValues ? m_y.ticks() : std::vector<double>())
    {
        int const y = m_y.toPixel(value);
        move(grid, m_x.from, y, 'H', m_right);
        move(ticks, m_left - 4, y, 'H', m_left);
        yLabels.emplace_back(y, cSvgWriter::number(value, m_y.decimals));
    }
    if (!grid.empty())
        m_svg.open("path").attr("d", grid).attr("fill", "none").attr("stroke", kGridColour).close();
    if (!ticks.empty())
        m_svg.open("path").attr("d", ticks).attr("fill", "none").attr("stroke", kAxisColour).close();
    for (auto const& [x, text] : xLabels)
        m_svg.label(x, m_bottom + 16, "middle", text, kTextColour, 10);
    for (auto const& [y, text] : yLabels)
        m_svg.label(m_left - 6, y + 4, "end", text, kTextColour, 10);
}

void cPicture::drawNoFireSlots()
{
    if (m_noFireColumn)
    {
        m_svg.line(m_left + kNoFireColumnLine, m_top, m_left + kNoFireColumnLine, m_bottom, kMutedColour,
                   "3 3");
        m_svg.label(noFireColumnCentre(), m_bottom + 16, "middle", "NF", kTextColour, 10);
    }
    if (m_noFireRow)
    {
        m_svg.line(m_left, m_bottom - kNoFireRowLine, m_right, m_bottom - kNoFireRowLine, kMutedColour,
                   "3 3");
        m_svg.label(m_left - 6, noFireRowCentre() + 4, "end", "NF", kTextColour, 10);
    }
}

std::vector<cSvgPointList> cPicture::curvePieces(cXYPointList const& curve) const
{
    std::vector<std::size_t> kept;
    thinIndices(curve.getXs().data(), curve.getYs().data(), curve.size(), m_x.low, m_x.high,
                m_x.to - m_x.from, kept);
    std::vector<cSvgPointList> pieces(1);
    for (std::size_t index : kept)
    {
        float const x = curve.getX(static_cast<unsigned int>(index));
        float const y = curve.getY(static_cast<unsigned int>(index));
        if (std::isfinite(x) && std::isfinite(y))
            pieces.back().add(m_x.toPixel(x), m_y.toPixel(y));
        else if (pieces.back().count() > 0)
            pieces.emplace_back();
    }
    return pieces;
}

cSvgPointList cPicture::bandOutline(cXYPointList const& minimum, cXYPointList const& maximum) const
{
    cSvgPointList outline;
    std::vector<std::size_t> kept;
    // Along the maximum curve, then back along the minimum curve.
    for (cXYPointList const* curve : {&maximum, &minimum})
    {
        thinIndices(curve->getXs().data(), curve->getYs().data(), curve->size(), m_x.low, m_x.high,
                    m_x.to - m_x.from, kept);
        if (curve == &minimum)
            std::reverse(kept.begin(), kept.end());
        for (std::size_t index : kept)
        {
            float const x = curve->getX(static_cast<unsigned int>(index));
            float const y = curve->getY(static_cast<unsigned int>(index));
            if (std::isfinite(x) && std::isfinite(y))
                outline.add(m_x.toPixel(x), m_y.toPixel(y));
        }
    }
    return outline;
}

void cPicture::drawEnvelope(cEnvelopeGraphSerie const& serie, std::string const& colour)
{
    cXYPointList const* const minimum = serie.getMinimumCurve();
    cXYPointList const* const maximum = serie.getMaximumCurve();
    if (minimum != nullptr && maximum != nullptr && !minimum->empty() && !maximum->empty())
    {
        cSvgPointList const band = bandOutline(*minimum, *maximum);
        if (band.count() > 2)
            m_svg.open("polygon")
                .attr("points", band.text())
                .attr("fill", colour)
                .attr("fill-opacity", "0.2")
                .close();
    }
    cXYPointList const* const nominal = serie.getNominalCurve();
    if (nominal == nullptr)
        return;
    for (cSvgPointList const& piece : curvePieces(*nominal))
    {
        if (piece.count() == 1)
        {
            // A single point has no line to show: a dot instead.
            m_svg.open("circle").attr("cx", piece.lastX()).attr("cy", piece.lastY()).attr("r", 2);
            m_svg.attr("fill", colour).close();
        }
        else if (piece.count() > 1)
        {
            m_svg.open("polyline").attr("points", piece.text()).attr("fill", "none").attr("stroke", colour);
            m_svg.attr("stroke-width", 2).attr("stroke-linejoin", "round").close();
        }
    }
}

void cPicture::drawSquare(cGraphSquare const& square, std::string const& colour)
{
    cStorage<sSquareMark> const& marks = square.getMarks();
    // Marks of many iterations fall on few pixels: each distinct pixel shape is drawn once.
    std::set<std::array<int, 4>> shapes;
    for (unsigned int i = 0; i < marks.size(); ++i)
    {
        sSquareMark const& mark = marks[i];
        if (!std::isfinite(mark.x1) || !std::isfinite(mark.x2) || !std::isfinite(mark.y1) ||
            !std::isfinite(mark.y2))
            continue;
        switch (square.getKind())
        {
        case eSquareVerticalLine:
            shapes.insert({m_x.toPixel(mark.x1), m_top, m_x.toPixel(mark.x1), m_bottom});
            break;
        case eSquareRectangle:
            shapes.insert(
                {m_x.toPixel(mark.x1), m_y.toPixel(mark.y2), m_x.toPixel(mark.x2), m_y.toPixel(mark.y1)});
            break;
        case eSquareHorizontalBand:
            shapes.insert({m_x.from, m_y.toPixel(mark.y2), m_right, m_y.toPixel(mark.y1)});
            break;
        default:
            break;
        }
    }
    if (square.getKind() == eSquareVerticalLine && shapes.size() > 1)
    {
        // The spread of the fire times over the run, as a light band behind the lines.
        int const x1 = shapes.begin()->at(0), x2 = shapes.rbegin()->at(0);
        m_svg.open("rect")
            .attr("x", x1)
            .attr("y", m_top)
            .attr("width", x2 - x1)
            .attr("height", m_bottom - m_top);
        m_svg.attr("fill", colour).attr("fill-opacity", "0.15").close();
    }
    if (!shapes.empty())
    {
        std::string path;
        for (std::array<int, 4> const& shape : shapes)
        {
            std::string const x1 = std::to_string(shape[0]), y1 = std::to_string(shape[1]);
            std::string const x2 = std::to_string(shape[2]), y2 = std::to_string(shape[3]);
            if (square.getKind() == eSquareVerticalLine)
                path += joined("M", x1, " ", y1, "V", y2);
            else
                path += joined("M", x1, " ", y1, "H", x2, "V", y2, "H", x1, "Z");
        }
        bool const line = square.getKind() == eSquareVerticalLine;
        m_svg.open("path").attr("d", path).attr("fill", line ? std::string("none") : colour);
        if (!line)
            m_svg.attr("fill-opacity", square.getKind() == eSquareRectangle ? "0.1" : "0.15");
        m_svg.attr("stroke", square.getKind() == eSquareHorizontalBand ? std::string("none") : colour);
        m_svg.attr("stroke-width", line ? 2 : 1).close();
    }
    if (square.getKind() == eSquareVerticalLine)
        drawExpectedTimes(square, colour);
}

// The expected window: dashed lines labelled min, opt and max above the plot (min to the left of its
// line, max to the right, opt a row higher, so that close times keep their labels apart); an expected
// no-fire has no time to draw and is said in a note in the plot's top right corner.
void cPicture::drawExpectedTimes(cGraphSquare const& square, std::string const& colour)
{
    static char const* const names[cGraphSquare::kExpectedTimeCount] = {"min", "opt", "max"};
    static char const* const anchors[cGraphSquare::kExpectedTimeCount] = {"end", "middle", "start"};
    std::string noFire;
    for (unsigned int index = 0; index < cGraphSquare::kExpectedTimeCount; ++index)
    {
        if (!square.isExpectedTimeSet(index))
            continue;
        float const time = square.getExpectedTime(index);
        if (time == kNoFire)
        {
            noFire.append(noFire.empty() ? "" : "/").append(names[index]);
            continue;
        }
        int const x = m_x.toPixel(time);
        m_svg.line(x, m_top, x, m_bottom, colour.c_str(), "6 3");
        int const shift = index == 0 ? -2 : index == 2 ? 2 : 0;
        m_svg.label(x + shift, index == 1 ? m_top - 14 : m_top - 4, anchors[index], names[index], colour, 10);
    }
    if (noFire.empty())
        return;
    m_svg.label(m_right - 4, m_top + 14 + 14 * m_noFireNotes++, "end", joined("expected ", noFire, ": NF"),
                colour, 11);
}

void cPicture::drawHotPoints(cGraphObject const& object)
{
    unsigned int cursor = 0;
    for (cGraphHotPoint* point = object.firstHotPoint(cursor); point != nullptr;
         point = object.nextHotPoint(cursor))
    {
        float x = 0.0f, y = 0.0f;
        point->getPosition(x, y);
        if (!point->isConditionTrue() || !std::isfinite(x) || !std::isfinite(y))
            continue;
        m_svg.open("circle").attr("cx", m_x.toPixel(x)).attr("cy", m_y.toPixel(y)).attr("r", 4);
        m_svg.attr("fill", cSvgWriter::colour(point->getColor())).attr("stroke", kTextColour).close();
    }
}

void cPicture::drawHistogram(cCountGraphSerie const& serie, std::string const& colour)
{
    std::vector<sCountBin> const& bins = serie.getBins();
    std::set<int> columns;
    for (sCountBin const& bin : bins)
        if (bin.time != kNoFire && std::isfinite(bin.time))
            columns.insert(m_x.toPixel(bin.time));
    // The bar width follows the closest two bins, within 2 and 24 pixels.
    int pitch = 30;
    for (auto next = columns.begin(); !columns.empty() && std::next(next) != columns.end(); ++next)
        pitch = std::min(pitch, *std::next(next) - *next);
    int const width = std::clamp(pitch * 4 / 5, 2, 24);
    int const base = m_y.toPixel(0.0);
    for (unsigned int i = 0; i < bins.size(); ++i)
    {
        bool const noFire = bins[i].time == kNoFire;
        if (!noFire && !std::isfinite(bins[i].time))
            continue;
        int const x = noFire ? noFireColumnCentre() : m_x.toPixel(bins[i].time);
        int const top = m_y.toPixel(serie.getPercent(i));
        if (base > top)
        {
            m_svg.open("rect").attr("x", x - width / 2).attr("y", top).attr("width", width);
            m_svg.attr("height", base - top).attr("fill", colour).attr("fill-opacity", "0.75");
            m_svg.attr("stroke", colour).close();
        }
        if (pitch >= 22 || noFire)
            m_svg.label(x, top - 3, "middle", percentText(serie.getPercent(i)), kTextColour, 9);
    }
}

void cPicture::drawTimesByValue(cMinNomMaxByValueGraphSerie const& serie, std::string const& colour)
{
    std::vector<sTimeValuePoint> const& points = serie.getPoints();
    std::set<std::pair<int, int>> drawn;
    for (sTimeValuePoint const& point : points)
    {
        if (!std::isfinite(point.value) || (point.time != kNoFire && !std::isfinite(point.time)))
            continue;
        int const x = m_x.toPixel(point.value);
        int const y = point.time == kNoFire ? noFireRowCentre() : m_y.toPixel(point.time);
        // Iterations of one drift value and time fall on one pixel: one dot for all.
        if (drawn.insert({x, y}).second)
            m_svg.open("circle").attr("cx", x).attr("cy", y).attr("r", 3).attr("fill", colour).close();
    }
    if (points.empty() || !std::isfinite(points[0].value))
        return;
    // Iteration 0 is the nominal: ringed and named.
    int const x = m_x.toPixel(points[0].value);
    int const y = points[0].time == kNoFire ? noFireRowCentre() : m_y.toPixel(points[0].time);
    m_svg.open("circle").attr("cx", x).attr("cy", y).attr("r", 6).attr("fill", "none");
    m_svg.attr("stroke", kTextColour).attr("stroke-width", 2).close();
    m_svg.label(x + 9, y - 6, "start", "nominal", kTextColour, 10);
}

// Per row a bar from the smallest to the largest firing time, a dark tick at the nominal (the row's
// first time), and a no-fire mark in the NF column: filled when the nominal itself did not fire.
void cPicture::drawBarsByName(cMinNomMaxByStringGraphSerie const& serie, std::string const& colour)
{
    std::vector<sNamedTimesRow> const& rows = serie.getRows();
    int const half = std::clamp(rowPitch() * 3 / 10, 1, 8);
    for (std::size_t i = 0; i < rows.size(); ++i)
    {
        int const y = m_y.toPixel(double(i));
        sSpan span;
        bool noFire = false;
        for (float time : rows[i].times)
        {
            noFire = noFire || time == kNoFire;
            if (time != kNoFire)
                span.add(time);
        }
        if (span.set)
        {
            int const x1 = m_x.toPixel(span.low), x2 = std::max(m_x.toPixel(span.high), x1 + 2);
            m_svg.open("rect")
                .attr("x", x1)
                .attr("y", y - half)
                .attr("width", x2 - x1)
                .attr("height", 2 * half);
            m_svg.attr("fill", colour).attr("fill-opacity", "0.5").attr("stroke", colour).close();
        }
        float const nominal = rows[i].times.empty() ? kNoFire : rows[i].times[0];
        if (nominal != kNoFire && std::isfinite(nominal))
        {
            int const x = m_x.toPixel(nominal);
            m_svg.open("line").attr("x1", x).attr("y1", y - half - 3).attr("x2", x).attr("y2", y + half + 3);
            m_svg.attr("stroke", kTextColour).attr("stroke-width", 2).close();
        }
        if (noFire)
        {
            int const size = std::min(half, 4);
            m_svg.open("rect")
                .attr("x", noFireColumnCentre() - size)
                .attr("y", y - size)
                .attr("width", 2 * size);
            m_svg.attr("height", 2 * size).attr("fill", nominal == kNoFire ? colour : std::string("#ffffff"));
            m_svg.attr("stroke", colour).close();
        }
    }
}

void cPicture::drawTitles()
{
    if (!m_graph.GetGraphTitle().empty())
    {
        m_svg.open("text")
            .attr("x", m_width / 2)
            .attr("y", 16)
            .attr("text-anchor", "middle")
            .attr("font-size", 13);
        m_svg.attr("font-weight", "bold")
            .attr("fill", kTextColour)
            .content(cSvgWriter::escape(m_graph.GetGraphTitle()));
    }
    if (!m_graph.GetXAbscissaTitle().empty())
        m_svg.label((m_left + m_right) / 2, m_bottom + 34, "middle",
                    cSvgWriter::escape(m_graph.GetXAbscissaTitle()), kTextColour, 11);
    if (!m_graph.GetYAbscissaTitle().empty())
    {
        int const y = (m_top + m_bottom) / 2;
        m_svg.open("text").attr("x", 14).attr("y", y).attr("text-anchor", "middle").attr("font-size", 11);
        m_svg.attr("transform", joined("rotate(-90 14 ", std::to_string(y), ")")).attr("fill", kTextColour);
        m_svg.content(cSvgWriter::escape(m_graph.GetYAbscissaTitle()));
    }
}

void cPicture::drawLegend()
{
    for (std::size_t row = 0; row < m_legendRowStarts.size(); ++row)
    {
        std::size_t const end =
            row + 1 < m_legendRowStarts.size() ? m_legendRowStarts[row + 1] : m_legend.size();
        int const y = m_bottom + kMarginBottom + 4 + int(row) * kLegendRowHeight;
        int x = m_left;
        for (std::size_t i = m_legendRowStarts[row]; i < end; ++i)
        {
            sLegendEntry const& entry = m_legend[i];
            if (entry.line)
                m_svg.open("line")
                    .attr("x1", x)
                    .attr("y1", y)
                    .attr("x2", x + 16)
                    .attr("y2", y)
                    .attr("stroke", entry.colour)
                    .attr("stroke-width", 2)
                    .close();
            else
                m_svg.open("rect")
                    .attr("x", x + 3)
                    .attr("y", y - 5)
                    .attr("width", 10)
                    .attr("height", 10)
                    .attr("fill", entry.colour)
                    .close();
            m_svg.label(x + 22, y + 4, "start", entry.label, kTextColour, 11);
            x += 28 + kCharWidth * static_cast<int>(cSvgWriter::characterCount(entry.label));
        }
        if (row + 1 == m_legendRowStarts.size() && m_legendHidden > 0)
            m_svg.label(x, y + 4, "start", joined("+", std::to_string(m_legendHidden), " more"), kMutedColour,
                        11);
    }
}
} // namespace

cSvgRenderer::cSvgRenderer(int width, int height) : m_width(width), m_height(height)
{
    if (width < kMinWidth || height < kMinHeight)
        throw cIncompatibleParametersException(
            kSource, "cSvgRenderer::cSvgRenderer", __LINE__,
            joined("a picture of ", std::to_string(width), " x ", std::to_string(height),
                   " pixels is smaller than ", std::to_string(kMinWidth), " x ", std::to_string(kMinHeight)));
}

std::string cSvgRenderer::render(cGraph& graph) const
{
    return cPicture(graph, m_width, m_height).draw();
}

void cSvgRenderer::thinCurve(std::vector<float> const& xs, std::vector<float> const& ys, double xMin,
                             double xMax, int pixels, std::vector<float>& keptXs, std::vector<float>& keptYs)
{
    if (xs.size() != ys.size())
        throw cIncompatibleParametersException(
            kSource, "cSvgRenderer::thinCurve", __LINE__,
            joined(std::to_string(xs.size()), " x and ", std::to_string(ys.size()), " y"));
    std::vector<std::size_t> kept;
    thinIndices(xs.data(), ys.data(), xs.size(), xMin, xMax, pixels, kept);
    std::vector<float> newXs, newYs;
    newXs.reserve(kept.size());
    newYs.reserve(kept.size());
    for (std::size_t index : kept)
    {
        newXs.push_back(xs[index]);
        newYs.push_back(ys[index]);
    }
    keptXs = std::move(newXs);
    keptYs = std::move(newYs);
}

int cSvgRenderer::plotWidth() const
{
    return m_width - kMarginLeft - kMarginRight;
}

std::string cSvgRenderer::escapeXml(std::string const& text)
{
    return cSvgWriter::escape(text);
}

std::string cSvgRenderer::formatNumber(double value, int decimals)
{
    return cSvgWriter::number(value, decimals);
}

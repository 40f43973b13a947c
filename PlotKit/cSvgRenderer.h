// cSvgRenderer: draws one graph of the model as a self-contained SVG element, for study reports that
// are read in a browser or printed: axes with nice ticks, titles, a legend, and each graph object by
// its kind (envelopes, time-event marks, hot points, the three TTF summaries). The output is plain
// text with whole-pixel coordinates and locale-free numbers, so one graph always gives the same bytes.
#pragma once

#include <string>
#include <vector>

class cGraph;

class cSvgRenderer
{
public:
    // The size of the whole picture in pixels (plot area plus margins for ticks, titles, legend).
    // A picture smaller than 240 x 160 leaves no room for a plot: cIncompatibleParametersException.
    explicit cSvgRenderer(int width = 720, int height = 360);

    int getWidth() const { return m_width; }
    int getHeight() const { return m_height; }

    // The graph as one <svg ...>...</svg> element (xmlns set, no XML declaration, no script, no
    // style sheet, no id, no external reference), to be inlined into an HTML page beside other
    // graphs or saved as a .svg file. The axis ranges cover what the graph's drawn objects hold,
    // rounded out to nice ticks, and the graph's drawing scale is set to the plot area: pixel
    // column 0 and row 0 are the plot area's left and top edges.
    std::string render(cGraph& graph) const;

    // Curve thinning: of a curve over x in [xMin, xMax] drawn on `pixels` columns, the points kept:
    // per run of consecutive points in one pixel column the first, the lowest, the highest and the
    // last, in their order, so that the drawn polyline covers the same pixels. A point outside
    // [xMin, xMax] gets a column of its own beyond the edge, a point of non-finite x is always
    // kept, and with no usable scale (pixels < 1, xMax <= xMin) every point is kept. Lists of
    // different lengths throw cIncompatibleParametersException. The outputs may be the inputs.
    static void thinCurve(std::vector<float> const& xs, std::vector<float> const& ys, double xMin,
                          double xMax, int pixels, std::vector<float>& keptXs, std::vector<float>& keptYs);

    // The width in pixels of the plot area for a picture of this renderer's size (what thinCurve
    // should be given for a curve of a graph this renderer draws).
    int plotWidth() const;

    // Text made safe for XML content and attribute values: & < > " ' escaped, control characters
    // that XML forbids replaced by '?', and bytes that are not UTF-8 taken as Latin-1 (the legacy
    // encoding of crash file names and titles) and re-encoded, so the page always parses.
    static std::string escapeXml(std::string const& text);

    // `value` with exactly `decimals` digits after the point (0 to 17), the same in every locale;
    // never "-0". Non-finite values give "nan", "inf" or "-inf".
    static std::string formatNumber(double value, int decimals);

private:
    int m_width;
    int m_height;
};

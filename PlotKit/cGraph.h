// cGraph: one graph of a result view: its identity (test, title, path), display settings, the names
// of the criteria and time events it shows, and the objects drawn on it, which it owns. SimCore's
// views create graphs, its result objects add their series and marks, and a renderer reads it all,
// drawing through the scale set here (pixel column 0 shows the left value, row 0 the top value).
#pragma once

#include "BaseKit/cStorage.h"
#include "PlotKit/cEnvelopeGraphSerie.h"
#include "PlotKit/cGraphObject.h"
#include "PlotKit/cTestGraphParameter.h"

#include <string>
#include <vector>

class cGraph
{
public:
    cGraph(cGraph const&) = delete;
    cGraph& operator=(cGraph const&) = delete;
    // Deletes the objects still held, in order.
    virtual ~cGraph();

    // The type of graph as configuration files name it.
    virtual std::string getGraphType() const = 0;

    void setTestAlgo(std::string const& algo) { m_testAlgo = algo; }
    std::string const& getTestAlgo() const { return m_testAlgo; }
    void SetTestName(std::string const& name) { m_testName = name; }
    std::string const& getTestName() const { return m_testName; }
    void SetGraphTitle(std::string const& title) { m_title = title; }
    std::string const& GetGraphTitle() const { return m_title; }
    void setPath(std::string const& path) { m_path = path; }
    std::string const& getPath() const { return m_path; }
    // The enable flag: a hidden graph is neither drawn nor computed. Shown after construction.
    void show(bool shown) { m_shown = shown; }
    bool isShown() const { return m_shown; }
    void SetXAbscissaTitle(std::string const& title) { m_xTitle = title; }
    std::string const& GetXAbscissaTitle() const { return m_xTitle; }
    void SetYAbscissaTitle(std::string const& title) { m_yTitle = title; }
    std::string const& GetYAbscissaTitle() const { return m_yTitle; }
    // Legend, enabled after construction.
    void EnableLegend() { m_legend = true; }
    void DisableLegend() { m_legend = false; }
    bool isLegendEnabled() const { return m_legend; }
    void setCriterionList(std::vector<std::string> const& names) { m_criterionList = names; }
    std::vector<std::string> const& getCriterionList() const { return m_criterionList; }
    void setTimeEventList(std::vector<std::string> const& names) { m_timeEventList = names; }
    std::vector<std::string> const& getTimeEventList() const { return m_timeEventList; }
    // Whether the objects show their crash file's colour; false after construction.
    void setCrashColor(bool crashColor) { m_crashColor = crashColor; }
    bool getCrashColor() const { return m_crashColor; }

    // Takes ownership of the object. Null, or an object held already, changes nothing; when the
    // list cannot grow, cMemoryAllocationFailed is thrown and the object stays the caller's.
    void AddObject(cGraphObject* object);
    // Takes the object out of the list and deletes it. An object not in the list is no failure and
    // is left alone; the pointer is only compared, so it may already be gone.
    void RemoveObject(cGraphObject* object);
    cStorage<cGraphObject*> const& getGraphObjects() const { return m_objects; }
    // Walk in order of addition: null, with cursor == count, behind the last.
    cGraphObject* firstGraphObject(unsigned int& cursor) const { return m_objects.first(cursor); }
    cGraphObject* nextGraphObject(unsigned int& cursor) const { return m_objects.next(cursor); }

    cTestGraphParameter& getParameter() { return m_parameter; }
    cTestGraphParameter const& getParameter() const { return m_parameter; }

    // The mode handed to the series at each hand-over; eComputeEnvelope after construction.
    EComputeMode getComputeMode() const { return m_computeMode; }
    void setComputeMode(EComputeMode mode) { m_computeMode = mode; }

    // Asks the first object that is a series (cEnvelopeGraphSerie), and that one only, for its
    // range at `time` on crash file `file` (interpolateYXRangeOnTimeEvent); false with no series.
    bool getFirstGraphSeriesYXRangeOnTimeEvent(unsigned long long file, float time, float& xMin, float& xMax,
                                               float& yMin, float& yMax) const;

    // Drawing scale, set by the renderer (pixels per unit are positive): pixel column px shows
    // x = left value + px / x pixels per unit, pixel row py shows y = top value - py / y pixels per
    // unit. Line width in pixels. After construction: 1, 1, 0, 0 and 1.
    double getXPixelsPerUnit() const { return m_xPixelsPerUnit; }
    void setXPixelsPerUnit(double pixels) { m_xPixelsPerUnit = pixels; }
    double getYPixelsPerUnit() const { return m_yPixelsPerUnit; }
    void setYPixelsPerUnit(double pixels) { m_yPixelsPerUnit = pixels; }
    double getLeftValue() const { return m_leftValue; }
    void setLeftValue(double value) { m_leftValue = value; }
    double getTopValue() const { return m_topValue; }
    void setTopValue(double value) { m_topValue = value; }
    int getLineWidth() const { return m_lineWidth; }
    void setLineWidth(int width) { m_lineWidth = width; }
    // The values under a pixel, and a length in pixels as a length on each axis.
    double xFromPixel(long px) const { return m_leftValue + double(px) / m_xPixelsPerUnit; }
    double yFromPixel(long py) const { return m_topValue - double(py) / m_yPixelsPerUnit; }
    double pixelsToXUnits(double pixels) const { return pixels / m_xPixelsPerUnit; }
    double pixelsToYUnits(double pixels) const { return pixels / m_yPixelsPerUnit; }

protected:
    cGraph();

private:
    std::string m_testAlgo;
    std::string m_testName;
    std::string m_title;
    std::string m_path;
    bool m_shown = true;
    std::string m_xTitle;
    std::string m_yTitle;
    bool m_legend = true;
    std::vector<std::string> m_criterionList;
    std::vector<std::string> m_timeEventList;
    bool m_crashColor = false;
    cStorage<cGraphObject*> m_objects{10};
    cTestGraphParameter m_parameter;
    EComputeMode m_computeMode = eComputeEnvelope;
    double m_xPixelsPerUnit = 1.0;
    double m_yPixelsPerUnit = 1.0;
    double m_leftValue = 0.0;
    double m_topValue = 0.0;
    int m_lineWidth = 1;
};

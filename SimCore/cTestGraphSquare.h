// cTestGraphSquare: the mark of one time event on one crash file on one graph: a vertical line at the
// event's time on a graph over time, with the crash file's expected minimum, optimum and maximum
// times, or a rectangle around the curves at that time on a graph of one criterion against another.
// Each iteration adds its mark, so the marks show the spread of the event over a drift study.
#pragma once
#include "PlotKit/cGraphSquare.h"
#include <string>

class cGraph;
class cTimeEvent;
class cTimeEventValuesForOneFile;

class cTestGraphSquare : public cGraphSquare
{
public:
    explicit cTestGraphSquare(int kind = eSquareVerticalLine);
    ~cTestGraphSquare() override;

    void setGraph(cGraph* graph) { m_graph = graph; }
    cGraph* getGraph() const { return m_graph; }
    void setTimeEvent(cTimeEventValuesForOneFile* values) { m_timeEvent = values; }
    cTimeEventValuesForOneFile* getTimeEvent() const { return m_timeEvent; }
    cTimeEvent* getReferenceTimeEvent() const { return m_referenceTimeEvent; }
    void setReferenceTimeEvent(cTimeEvent* reference) { m_referenceTimeEvent = reference; }
    bool isComputedOnce() const { return m_computedOnce; }
    void setComputedOnce(bool computedOnce) { m_computedOnce = computedOnce; }

    // Adds the mark of the iteration just finished (and, the first time, the expected times).
    void computeResults();
    // A new run: the marks go unless the graph's test keeps this crash file's results.
    void reset(bool toBeDrawn);

    // The colour of the time event.
    unsigned long getColor() const override;
    // Whether the mouse is within 3 line widths of the marks (cGraphSquare::hitTest); `file`
    // receives the crash file address. False while not drawn.
    bool interceptMouse(CPoint point, unsigned long long& file) override;
    bool isToBeDrawn() const override;
    bool SetIfItIsToBeDrawn(unsigned long long address, bool toBeDrawn) override;
    unsigned long long GetCrashFileAddress() const override;
    std::string GetCrashFileName() const override;
    long GetCrashFileColor() const override;

private:
    bool isMaintained() const;

    cGraph* m_graph = nullptr;
    cTimeEvent* m_referenceTimeEvent = nullptr;
    cTimeEventValuesForOneFile* m_timeEvent = nullptr;
    bool m_computedOnce = false;
};

// cScatterGraph: the graph of a result view, and the only kind that views make: series drawn as
// points joined by lines over a linear x axis (time in ms, or an abscissa criterion) and y axis, with
// the marks of time events on top.
#pragma once

#include "PlotKit/cGraph.h"

class cScatterGraph : public cGraph
{
public:
    cScatterGraph();
    ~cScatterGraph() override;

    // "Scatter Graph", the type text of the configuration.
    std::string getGraphType() const override;
};

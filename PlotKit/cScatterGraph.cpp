#include "PlotKit/cScatterGraph.h"

cScatterGraph::cScatterGraph() = default;

cScatterGraph::~cScatterGraph() = default;

std::string cScatterGraph::getGraphType() const
{
    return "Scatter Graph";
}

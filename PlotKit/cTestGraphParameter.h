// cTestGraphParameter: the block of result-view links that every graph carries for SimCore. The graph
// library never looks inside it: SimCore's test objects read the reference time event (entry adjust),
// the abscissa criterion of a graph of one criterion against another, and the test that owns the view.
// The three pointers are set once when the view is loaded; none of them is owned.
#pragma once

class cTimeEvent;
class cCriterion;
class cTestMgr;

struct cTestGraphParameter
{
    cTimeEvent* referenceTimeEvent = nullptr;
    cCriterion* abscissaCriterion = nullptr;
    cTestMgr* test = nullptr;
};

#include "PlotKit/cGraph.h"

#include "PlotKit/cGraphSquare.h"
#include "PlotKit/cScatterGraph.h"
#include "PlotKit/cTestGraphParameter.h"

#include "tests/support/cPlotDoubles.h"

#include <gtest/gtest.h>
#include <vector>

namespace
{
using cCountedObject = tCounted<cGraphObject>;

// A series that answers the range question with fixed numbers and records that it was asked.
class cAnsweringSerie : public cEnvelopeGraphSerie
{
public:
    explicit cAnsweringSerie(float value) : cEnvelopeGraphSerie(eSerieYX), m_value(value) {}
    bool interpolateYXRangeOnTimeEvent(unsigned long long file, float time, float& xMin, float& xMax,
                                       float& yMin, float& yMax) override
    {
        ++m_calls;
        m_file = file;
        m_time = time;
        xMin = xMax = yMin = yMax = m_value;
        return true;
    }
    int m_calls = 0;
    unsigned long long m_file = 0;
    float m_time = 0.0f;

private:
    float m_value;
};

// An object that, like a result object going with its graph, asks the graph to remove it while
// being deleted.
class cSelfRemovingObject : public tCounted<cGraphObject>
{
public:
    cSelfRemovingObject(cGraph& graph, int& deaths) : tCounted<cGraphObject>(deaths), m_graph(graph) {}
    ~cSelfRemovingObject() override { m_graph.RemoveObject(this); }

private:
    cGraph& m_graph;
};

std::vector<cGraphObject*> walk(cGraph const& graph)
{
    std::vector<cGraphObject*> result;
    unsigned int cursor = 0;
    for (cGraphObject* object = graph.firstGraphObject(cursor); object != nullptr;
         object = graph.nextGraphObject(cursor))
        result.push_back(object);
    EXPECT_EQ(graph.getGraphObjects().size(), cursor);
    return result;
}
} // namespace

TEST(cGraph, RemoveObjectDeletesAndTheDestructorDeletesTheRestEvenObjectsThatRemoveThemselves)
{
    int deaths = 0;
    auto* a = new cCountedObject(deaths);
    auto* b = new cCountedObject(deaths);
    auto* c = new cCountedObject(deaths);
    {
        cScatterGraph graph;
        EXPECT_EQ(std::vector<cGraphObject*>{}, walk(graph));
        graph.AddObject(a);
        graph.AddObject(b);
        graph.AddObject(c);
        // Null and an object held already change nothing (a second entry would delete it twice).
        graph.AddObject(nullptr);
        graph.AddObject(b);
        EXPECT_EQ((std::vector<cGraphObject*>{a, b, c}), walk(graph));

        graph.RemoveObject(b);
        EXPECT_EQ(1, deaths);
        EXPECT_EQ((std::vector<cGraphObject*>{a, c}), walk(graph));

        // Not in the list: neither a failure nor a deletion. The pointer is only compared, so even
        // that of an object already gone is safe (the sanitizer run checks it is never read).
        cCountedObject outsider(deaths);
        graph.RemoveObject(&outsider);
        graph.RemoveObject(b);
        graph.RemoveObject(nullptr);
        EXPECT_EQ(1, deaths);
        EXPECT_EQ(2u, graph.getGraphObjects().size());
    }
    // a and c with the graph, and the outsider on the stack.
    EXPECT_EQ(4, deaths);

    // Objects that ask the graph to remove them while being deleted, as result objects do.
    {
        cScatterGraph graph;
        graph.AddObject(new cSelfRemovingObject(graph, deaths));
        graph.AddObject(new cSelfRemovingObject(graph, deaths));
    }
    EXPECT_EQ(6, deaths);
}

TEST(cGraph, RangeOnTimeEventAsksTheFirstSeriesOnly)
{
    cScatterGraph graph;
    float xMin = -1, xMax = -1, yMin = -1, yMax = -1;
    EXPECT_FALSE(graph.getFirstGraphSeriesYXRangeOnTimeEvent(5, 1.0f, xMin, xMax, yMin, yMax));

    // A square ahead of the series is no series and is passed over.
    graph.AddObject(new cGraphSquare(eSquareRectangle));
    EXPECT_FALSE(graph.getFirstGraphSeriesYXRangeOnTimeEvent(5, 1.0f, xMin, xMax, yMin, yMax));
    auto* first = new cAnsweringSerie(3.0f);
    auto* second = new cAnsweringSerie(4.0f);
    graph.AddObject(first);
    graph.AddObject(second);

    ASSERT_TRUE(graph.getFirstGraphSeriesYXRangeOnTimeEvent(5, 2.5f, xMin, xMax, yMin, yMax));
    EXPECT_EQ((std::vector<float>{3, 3, 1, 5, 2.5f, 0}),
              (std::vector<float>{xMin, yMax, float(first->m_calls), float(first->m_file), first->m_time,
                                  float(second->m_calls)}));

    // With the first series gone the next one answers; a real series of no data says false.
    graph.RemoveObject(first);
    graph.RemoveObject(second);
    graph.AddObject(new cEnvelopeGraphSerie(eSerieYX));
    graph.AddObject(new cAnsweringSerie(4.0f));
    EXPECT_FALSE(graph.getFirstGraphSeriesYXRangeOnTimeEvent(0, 2.5f, xMin, xMax, yMin, yMax));
}

// A new graph has an empty parameter block; its scale maps rows down the screen to values down the axis.
TEST(cGraph, NewScatterGraphIsEmptyAndScalesFromTheTopLeftCorner)
{
    cScatterGraph graph;
    EXPECT_EQ("Scatter Graph", graph.getGraphType());
    EXPECT_EQ(eComputeEnvelope, graph.getComputeMode());
    EXPECT_TRUE(graph.getParameter().referenceTimeEvent == nullptr &&
                graph.getParameter().abscissaCriterion == nullptr && graph.getParameter().test == nullptr);
    graph.setXPixelsPerUnit(4.0);
    graph.setYPixelsPerUnit(0.5);
    graph.setLeftValue(-10.0);
    graph.setTopValue(100.0);
    graph.setLineWidth(2);
    EXPECT_EQ((std::vector<double>{-10, -7.5, 100, 80, 1.5, 12}),
              (std::vector<double>{graph.xFromPixel(0), graph.xFromPixel(10), graph.yFromPixel(0),
                                   graph.yFromPixel(10), graph.pixelsToXUnits(3.0 * graph.getLineWidth()),
                                   graph.pixelsToYUnits(3.0 * graph.getLineWidth())}));
}

#include "PlotKit/cGraph.h"

cGraph::cGraph() = default;

cGraph::~cGraph()
{
    // Each slot is emptied before its object goes, so that an object whose destructor calls back
    // RemoveObject finds nothing to delete a second time.
    for (unsigned int i = 0; i < m_objects.size(); ++i)
    {
        cGraphObject* const object = m_objects[i];
        m_objects[i] = nullptr;
        delete object;
    }
    m_objects.clear();
}

void cGraph::AddObject(cGraphObject* object)
{
    if (object == nullptr)
        return;
    for (unsigned int i = 0; i < m_objects.size(); ++i)
    {
        if (m_objects[i] == object)
            return;
    }
    m_objects.add(object);
}

void cGraph::RemoveObject(cGraphObject* object)
{
    if (object == nullptr)
        return;
    for (unsigned int i = 0; i < m_objects.size(); ++i)
    {
        if (m_objects[i] == object)
        {
            m_objects.remove(i);
            delete object;
            return;
        }
    }
}

bool cGraph::getFirstGraphSeriesYXRangeOnTimeEvent(unsigned long long file, float time, float& xMin,
                                                   float& xMax, float& yMin, float& yMax) const
{
    for (unsigned int i = 0; i < m_objects.size(); ++i)
    {
        if (auto* const series = dynamic_cast<cEnvelopeGraphSerie*>(m_objects[i]))
            return series->interpolateYXRangeOnTimeEvent(file, time, xMin, xMax, yMin, yMax);
    }
    return false;
}

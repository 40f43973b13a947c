#include "PlotKit/cMinNomMaxByValueGraphSerie.h"

#include <algorithm>

cMinNomMaxByValueGraphSerie::cMinNomMaxByValueGraphSerie() = default;

cMinNomMaxByValueGraphSerie::~cMinNomMaxByValueGraphSerie() = default;

void cMinNomMaxByValueGraphSerie::AddData(float time, float value)
{
    m_points.push_back(sTimeValuePoint{time, value});
}

void cMinNomMaxByValueGraphSerie::clear()
{
    m_points.clear();
}

bool cMinNomMaxByValueGraphSerie::getTimeRange(float& minimum, float& maximum) const
{
    bool found = false;
    for (sTimeValuePoint const& point : m_points)
    {
        if (point.time == -1.0f)
            continue;
        minimum = found ? std::min(minimum, point.time) : point.time;
        maximum = found ? std::max(maximum, point.time) : point.time;
        found = true;
    }
    return found;
}

bool cMinNomMaxByValueGraphSerie::getValueRange(float& minimum, float& maximum) const
{
    if (m_points.empty())
        return false;
    auto const [low, high] = std::minmax_element(m_points.begin(), m_points.end(),
                                                 [](sTimeValuePoint const& a, sTimeValuePoint const& b)
                                                 { return a.value < b.value; });
    minimum = low->value;
    maximum = high->value;
    return true;
}

bool cMinNomMaxByValueGraphSerie::getNominalTime(float& time) const
{
    if (m_points.empty())
        return false;
    time = m_points.front().time;
    return true;
}

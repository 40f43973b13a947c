#include "PlotKit/cMinNomMaxByStringGraphSerie.h"

#include <algorithm>

cMinNomMaxByStringGraphSerie::cMinNomMaxByStringGraphSerie() = default;

cMinNomMaxByStringGraphSerie::~cMinNomMaxByStringGraphSerie() = default;

void cMinNomMaxByStringGraphSerie::AddData(float time, char const* name)
{
    std::string const key = name != nullptr ? name : "";
    if (m_rows.empty() || m_rows.back().name != key)
        m_rows.push_back(sNamedTimesRow{key, {}});
    m_rows.back().times.push_back(time);
}

void cMinNomMaxByStringGraphSerie::reverseVerticalOrder()
{
    std::reverse(m_rows.begin(), m_rows.end());
}

void cMinNomMaxByStringGraphSerie::clear()
{
    m_rows.clear();
}

bool cMinNomMaxByStringGraphSerie::getTimeRange(float& minimum, float& maximum) const
{
    bool found = false;
    for (sNamedTimesRow const& row : m_rows)
        for (float const time : row.times)
        {
            if (time == -1.0f)
                continue;
            minimum = found ? std::min(minimum, time) : time;
            maximum = found ? std::max(maximum, time) : time;
            found = true;
        }
    return found;
}

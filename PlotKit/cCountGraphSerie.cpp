#include "PlotKit/cCountGraphSerie.h"

cCountGraphSerie::cCountGraphSerie() = default;

cCountGraphSerie::~cCountGraphSerie() = default;

void cCountGraphSerie::AddData(float time, unsigned int count)
{
    m_total += count;
    for (sCountBin& bin : m_bins)
        if (bin.time == time)
        {
            bin.count += count;
            return;
        }
    m_bins.push_back(sCountBin{time, count});
}

void cCountGraphSerie::clear()
{
    m_bins.clear();
    m_total = 0;
}

double cCountGraphSerie::getPercent(unsigned int index) const
{
    return m_total == 0 ? 0.0 : double(m_bins[index].count) * 100.0 / double(m_total);
}

#include "PlotKit/cXYPointList.h"

namespace
{
// Curves are short-lived in number but may be many: a small growth step keeps the memory of a point
// list near its count when points are added one by one. Whole curves are copied at their exact size.
constexpr unsigned int kPointGrowthStep = 256;
} // namespace

cXYPointList::cXYPointList() : m_xs(kPointGrowthStep), m_ys(kPointGrowthStep), m_ts(kPointGrowthStep) {}

cXYPointList::~cXYPointList() = default;

void cXYPointList::addPoint(float x, float y, float time)
{
    m_xs.add(x);
    m_ys.add(y);
    m_ts.add(time);
}

void cXYPointList::assignPoints(cStorage<float> const& xs, cStorage<float> const& ys,
                                cStorage<float> const& times)
{
    m_xs = xs;
    m_ys = ys;
    m_ts = times;
}

void cXYPointList::clear()
{
    m_xs.clear();
    m_ys.clear();
    m_ts.clear();
}

bool cXYPointList::getBounds(float& xMin, float& xMax, float& yMin, float& yMax) const
{
    unsigned int const count = size();
    if (count == 0)
        return false;
    xMin = xMax = m_xs[0];
    yMin = yMax = m_ys[0];
    for (unsigned int i = 1; i < count; ++i)
    {
        xMin = m_xs[i] < xMin ? m_xs[i] : xMin;
        xMax = m_xs[i] > xMax ? m_xs[i] : xMax;
        yMin = m_ys[i] < yMin ? m_ys[i] : yMin;
        yMax = m_ys[i] > yMax ? m_ys[i] : yMax;
    }
    return true;
}

bool cXYPointList::interpolateAtTime(float time, float& x, float& y) const
{
    unsigned int const count = size();
    if (count == 0)
        return false;
    if (count == 1)
    {
        x = m_xs[0];
        y = m_ys[0];
        return true;
    }
    unsigned int k = 0;
    for (; k < count; ++k)
    {
        if (m_ts[k] == time)
        {
            x = m_xs[k];
            y = m_ys[k];
            return true;
        }
        if (m_ts[k] > time)
            break;
    }
    // Before the first sample: the first two; after the last: the last two.
    if (k == 0)
        k = 1;
    else if (k == count)
        k = count - 1;
    double const span = double(m_ts[k]) - double(m_ts[k - 1]);
    if (span == 0.0)
    {
        x = m_xs[k - 1];
        y = m_ys[k - 1];
        return true;
    }
    double const ratio = (double(time) - double(m_ts[k - 1])) / span;
    x = float(double(m_xs[k - 1]) + (double(m_xs[k]) - double(m_xs[k - 1])) * ratio);
    y = float(double(m_ys[k - 1]) + (double(m_ys[k]) - double(m_ys[k - 1])) * ratio);
    return true;
}

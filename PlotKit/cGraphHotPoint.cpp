#include "PlotKit/cGraphHotPoint.h"

cGraphHotPoint::cGraphHotPoint() = default;

cGraphHotPoint::cGraphHotPoint(unsigned long color, std::string const& label) : m_color(color), m_label(label)
{
}

cGraphHotPoint::~cGraphHotPoint() = default;

void cGraphHotPoint::getPosition(float& x, float& y) const
{
    x = m_x;
    y = m_y;
}

void cGraphHotPoint::setAbscissa(float x)
{
    m_x = x;
}

void cGraphHotPoint::setOrdinate(float y)
{
    m_y = y;
}

std::string cGraphHotPoint::getAbscissaName() const
{
    return std::string();
}

std::string cGraphHotPoint::getOrdinateName() const
{
    return std::string();
}

bool cGraphHotPoint::isConditionTrue() const
{
    return true;
}

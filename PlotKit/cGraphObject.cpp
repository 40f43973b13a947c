#include "PlotKit/cGraphObject.h"

#include "PlotKit/cGraphHotPoint.h"

#include <algorithm>

cGraphObject::cGraphObject() = default;

cGraphObject::~cGraphObject() = default;

unsigned long cGraphObject::getColor() const
{
    return m_color;
}

bool cGraphObject::getHotPointEnabled() const
{
    return false;
}

bool cGraphObject::getLsbEnabled() const
{
    return false;
}

bool cGraphObject::interceptMouse(CPoint, unsigned long long& file)
{
    file = 0;
    return false;
}

bool cGraphObject::interpolateYXRangeOnTimeEvent(unsigned long long, float, float&, float&, float&, float&)
{
    return false;
}

bool cGraphObject::isToBeDrawn() const
{
    return m_toBeDrawn;
}

bool cGraphObject::SetIfItIsToBeDrawn(unsigned long long address, bool toBeDrawn)
{
    unsigned long long const own = GetCrashFileAddress();
    if (own == 0 || address != own)
        return false;
    m_toBeDrawn = toBeDrawn;
    return true;
}

unsigned long long cGraphObject::GetCrashFileAddress() const
{
    return 0;
}

std::string cGraphObject::GetCrashFileName() const
{
    return std::string();
}

long cGraphObject::GetCrashFileColor() const
{
    return 0;
}

unsigned long cGraphObject::GetDefaultColor() const
{
    return getColor();
}

void cGraphObject::addHotPoint(cGraphHotPoint* hotPoint)
{
    if (hotPoint == nullptr)
        return;
    bool const held = std::any_of(m_hotPoints.begin(), m_hotPoints.end(),
                                  [hotPoint](auto const& point) { return point.get() == hotPoint; });
    if (held)
        return;
    m_hotPoints.emplace_back(hotPoint);
    hotPoint->setOwner(this);
}

cGraphHotPoint* cGraphObject::firstHotPoint(unsigned int& cursor) const
{
    cursor = 0;
    return m_hotPoints.empty() ? nullptr : m_hotPoints[0].get();
}

cGraphHotPoint* cGraphObject::nextHotPoint(unsigned int& cursor) const
{
    unsigned int const count = getHotPointCount();
    cursor = cursor < count ? cursor + 1 : count;
    return cursor < count ? m_hotPoints[cursor].get() : nullptr;
}

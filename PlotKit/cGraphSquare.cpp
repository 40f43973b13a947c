#include "PlotKit/cGraphSquare.h"

#include "BaseKit/cKynException.h"

namespace
{
// One mark per iteration: a small step keeps a square of a single-iteration run small.
constexpr unsigned int kMarkGrowthStep = 16;
} // namespace

cGraphSquare::cGraphSquare(int kind) : m_kind(kind), m_marks(kMarkGrowthStep) {}

cGraphSquare::~cGraphSquare() = default;

void cGraphSquare::clear()
{
    m_marks.clear();
    m_x1 = m_x2 = m_y1 = m_y2 = 0.0f;
    m_hasYBounds = false;
    clearExpectedTimes();
}

void cGraphSquare::AddDataVertical(float x)
{
    m_marks.add(sSquareMark{x, x, 0.0f, 0.0f});
    if (m_marks.size() == 1)
    {
        m_x1 = m_x2 = x;
        return;
    }
    m_x1 = x < m_x1 ? x : m_x1;
    m_x2 = x > m_x2 ? x : m_x2;
}

void cGraphSquare::AddDataSquare(float x1, float x2, float y1, float y2)
{
    sSquareMark const mark{x1 < x2 ? x1 : x2, x1 < x2 ? x2 : x1, y1 < y2 ? y1 : y2, y1 < y2 ? y2 : y1};
    m_marks.add(mark);
    if (m_marks.size() == 1)
    {
        m_x1 = mark.x1;
        m_x2 = mark.x2;
    }
    else
    {
        m_x1 = mark.x1 < m_x1 ? mark.x1 : m_x1;
        m_x2 = mark.x2 > m_x2 ? mark.x2 : m_x2;
    }
    if (!m_hasYBounds)
    {
        m_y1 = mark.y1;
        m_y2 = mark.y2;
        m_hasYBounds = true;
        return;
    }
    m_y1 = mark.y1 < m_y1 ? mark.y1 : m_y1;
    m_y2 = mark.y2 > m_y2 ? mark.y2 : m_y2;
}

bool cGraphSquare::hitTest(float x, float y, float xTolerance, float yTolerance) const
{
    if (!hasPoints())
        return false;
    bool const inX = x >= m_x1 - xTolerance && x <= m_x2 + xTolerance;
    bool const inY = y >= m_y1 - yTolerance && y <= m_y2 + yTolerance;
    switch (m_kind)
    {
    case eSquareVerticalLine:
        return inX;
    case eSquareRectangle:
        return inX && inY;
    case eSquareHorizontalBand:
        return inY;
    default:
        // The kind is a plain int read from outside: unknown kinds are never hit.
        return false;
    }
}

void cGraphSquare::setExpectedTime(unsigned int index, float time)
{
    if (index >= kExpectedTimeCount)
        throw cBadListIndex("PlotKit/cGraphSquare", "cGraphSquare::setExpectedTime", __LINE__);
    m_expectedTimes[index] = time;
    m_expectedTimeSet[index] = true;
}

float cGraphSquare::getExpectedTime(unsigned int index) const
{
    if (index >= kExpectedTimeCount)
        throw cBadListIndex("PlotKit/cGraphSquare", "cGraphSquare::getExpectedTime", __LINE__);
    return m_expectedTimes[index];
}

bool cGraphSquare::isExpectedTimeSet(unsigned int index) const
{
    if (index >= kExpectedTimeCount)
        throw cBadListIndex("PlotKit/cGraphSquare", "cGraphSquare::isExpectedTimeSet", __LINE__);
    return m_expectedTimeSet[index];
}

void cGraphSquare::clearExpectedTimes()
{
    for (unsigned int i = 0; i < kExpectedTimeCount; ++i)
    {
        m_expectedTimes[i] = 0.0f;
        m_expectedTimeSet[i] = false;
    }
}

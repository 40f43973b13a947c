// cGraphSquare: the mark of a time event on a graph: a vertical line at the event's time on a graph
// over time, a rectangle around the curve points at that time on a graph of one criterion against
// another. Each iteration adds a mark, so the bounds show the spread of the event over a run. It also
// carries the expected minimum, optimum and maximum times of the event in its crash file.
#pragma once

#include "BaseKit/cStorage.h"
#include "PlotKit/cGraphObject.h"

// The shapes of a square; any other kind draws nothing and is never hit.
enum ESquareKind
{
    eSquareRectangle = 0,
    eSquareVerticalLine = 1,
    eSquareHorizontalBand = 2
};

// One mark. A vertical line has x1 == x2 and spans the whole height of the graph: its y1, y2 are 0.
struct sSquareMark
{
    float x1;
    float x2;
    float y1;
    float y2;
};

class cGraphSquare : public cGraphObject
{
public:
    static constexpr unsigned int kExpectedTimeCount = 3;

    explicit cGraphSquare(int kind = eSquareRectangle);
    ~cGraphSquare() override;

    int getKind() const { return m_kind; }
    void setKind(int kind) { m_kind = kind; }

    // Drops the marks and the expected times.
    void clear();
    // A vertical line at x.
    void AddDataVertical(float x);
    // A rectangle; each pair may come in either order.
    void AddDataSquare(float x1, float x2, float y1, float y2);
    bool hasPoints() const { return !m_marks.empty(); }
    cStorage<sSquareMark> const& getMarks() const { return m_marks; }

    // The bounds of all marks, x1 <= x2 and y1 <= y2; 0 without marks. The y bounds come from
    // rectangles only, a vertical line having no height of its own.
    float getX1() const { return m_x1; }
    float getX2() const { return m_x2; }
    float getY1() const { return m_y1; }
    float getY2() const { return m_y2; }

    // Whether (x, y) is on the marks with the given tolerances, bounds included: a vertical line
    // tests x alone, a rectangle x and y, a horizontal band y alone; any other kind, or no mark,
    // gives false.
    bool hitTest(float x, float y, float xTolerance, float yTolerance) const;

    // Expected times by index 0 minimum, 1 optimum, 2 maximum (ms, -1 for an expected no-fire).
    // Setting a time sets its flag; an index from 3 on throws cBadListIndex.
    void setExpectedTime(unsigned int index, float time);
    float getExpectedTime(unsigned int index) const;
    bool isExpectedTimeSet(unsigned int index) const;
    void clearExpectedTimes();

private:
    int m_kind;
    cStorage<sSquareMark> m_marks;
    float m_x1 = 0.0f;
    float m_x2 = 0.0f;
    float m_y1 = 0.0f;
    float m_y2 = 0.0f;
    bool m_hasYBounds = false;
    float m_expectedTimes[kExpectedTimeCount] = {0.0f, 0.0f, 0.0f};
    bool m_expectedTimeSet[kExpectedTimeCount] = {false, false, false};
};

// cXYPointList: one curve of the graph library, a list of (x, y) points each with the time at which
// it was taken. On a curve over time the time is x itself; on a curve of one criterion against
// another it is what pairs the points of successive curves (envelopes) and places time events on the
// curve. The envelope series keep their minimum, nominal and maximum curves in this form.
#pragma once

#include "BaseKit/cStorage.h"

class cXYPointList
{
public:
    cXYPointList();
    cXYPointList(cXYPointList const& other) = default;
    cXYPointList& operator=(cXYPointList const& other) = default;
    virtual ~cXYPointList();

    // Appends one point; the first form takes x as the time.
    void addPoint(float x, float y) { addPoint(x, y, x); }
    void addPoint(float x, float y, float time);
    // Replaces the points by copies of the three lists, which must have one count (the callers
    // check it). The memory already held is reused when it is large enough.
    void assignPoints(cStorage<float> const& xs, cStorage<float> const& ys, cStorage<float> const& times);
    // Forgets the points and keeps the memory.
    void clear();

    unsigned int size() const { return m_xs.size(); }
    bool empty() const { return m_xs.empty(); }
    float getX(unsigned int index) const { return m_xs[index]; }
    float getY(unsigned int index) const { return m_ys[index]; }
    float getT(unsigned int index) const { return m_ts[index]; }
    // Overwrite one coordinate of an existing point; no bound check (the envelope's inner loop).
    void setX(unsigned int index, float x) { m_xs[index] = x; }
    void setY(unsigned int index, float y) { m_ys[index] = y; }
    cStorage<float> const& getXs() const { return m_xs; }
    cStorage<float> const& getYs() const { return m_ys; }
    cStorage<float> const& getTs() const { return m_ts; }

    // The smallest and largest x and y; false, outputs untouched, without points.
    bool getBounds(float& xMin, float& xMax, float& yMin, float& yMax) const;

    // The point of the curve at `time`: the first sample whose time equals it, else a linear
    // interpolation between the sample before the first later one and that one. A time before the
    // first sample is extrapolated from the first two, one after the last from the last two; two
    // samples of one time give the earlier sample. One point gives that point; none gives false.
    bool interpolateAtTime(float time, float& x, float& y) const;

private:
    cStorage<float> m_xs;
    cStorage<float> m_ys;
    cStorage<float> m_ts;
};

// cGraphHotPoint: a point on a series that the user can drag. The graph library only draws it and
// hands the drag over; SimCore's cTestGraphHotPoint binds the two coordinates to two parameters and
// overrides the six operations below. The base keeps the position itself, has no names and no
// condition, so that a plain hot point is a freely movable marker.
#pragma once

#include <string>

class cGraphObject;

class cGraphHotPoint
{
public:
    cGraphHotPoint();
    cGraphHotPoint(unsigned long color, std::string const& label);
    cGraphHotPoint(cGraphHotPoint const&) = delete;
    cGraphHotPoint& operator=(cGraphHotPoint const&) = delete;
    virtual ~cGraphHotPoint();

    unsigned long getColor() const { return m_color; }
    void setColor(unsigned long color) { m_color = color; }
    std::string const& GetLabel() const { return m_label; }
    void SetLabel(std::string const& label) { m_label = label; }
    // The series that the point sits on; not owned (the series owns the point).
    cGraphObject* getOwner() const { return m_owner; }
    void setOwner(cGraphObject* owner) { m_owner = owner; }
    // True when the abscissa is a time (a graph over time), false against an abscissa criterion.
    bool getTimeAbscissa() const { return m_timeAbscissa; }
    void setTimeAbscissa(bool timeAbscissa) { m_timeAbscissa = timeAbscissa; }

    // Where the point is drawn.
    virtual void getPosition(float& x, float& y) const;
    // A drag moved the point to this abscissa / ordinate.
    virtual void setAbscissa(float x);
    virtual void setOrdinate(float y);
    // Names shown beside the point for its two coordinates; empty here.
    virtual std::string getAbscissaName() const;
    virtual std::string getOrdinateName() const;
    // Whether the point is active (drawn and draggable); always here.
    virtual bool isConditionTrue() const;

private:
    unsigned long m_color = 0;
    std::string m_label;
    cGraphObject* m_owner = nullptr;
    bool m_timeAbscissa = false;
    float m_x = 0.0f;
    float m_y = 0.0f;
};

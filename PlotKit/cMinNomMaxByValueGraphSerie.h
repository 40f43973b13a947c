// cMinNomMaxByValueGraphSerie: the time to fire against the value of one drifted parameter, one point
// per iteration of a drift study. A renderer draws each point at x = the drift value, y = the time in
// ms; a point of time -1 is an iteration that did not fire and is drawn on a no-fire line of its own
// below the time axis. The smallest, the nominal (first point) and the largest time of the firing
// points are kept for the axis and for a min/nominal/max marker.
#pragma once

#include "PlotKit/cGraphObject.h"

#include <vector>

struct sTimeValuePoint
{
    // Time to fire in ms, -1 for no fire.
    float time;
    // The drift value of the iteration, in the parameter's converted unit.
    float value;
};

class cMinNomMaxByValueGraphSerie : public cGraphObject
{
public:
    cMinNomMaxByValueGraphSerie();
    ~cMinNomMaxByValueGraphSerie() override;

    // Appends the point of one iteration, in iteration order.
    void AddData(float time, float value);
    // Drops the points.
    void clear();

    std::vector<sTimeValuePoint> const& getPoints() const { return m_points; }
    // Over the points of time other than -1: false, outputs untouched, when none fired.
    bool getTimeRange(float& minimum, float& maximum) const;
    // Over all points: false, outputs untouched, without points.
    bool getValueRange(float& minimum, float& maximum) const;
    // The time of the first point (iteration 0, the nominal); false without points.
    bool getNominalTime(float& time) const;

private:
    std::vector<sTimeValuePoint> m_points;
};

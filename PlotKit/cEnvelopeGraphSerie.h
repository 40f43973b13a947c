// cEnvelopeGraphSerie: a series that gathers the curves of the successive iterations of a run into an
// envelope: the first curve is the nominal, each further one widens a minimum and a maximum curve
// point by point. SimCore's cTestGraphSerie hands one curve over at the end of each iteration. Curves
// of earlier runs that a test keeps stay beside the current envelope, each as its own triple.
#pragma once

#include "PlotKit/cGraphObject.h"
#include "PlotKit/cXYPointList.h"

#include <memory>
#include <vector>

// What the x of a series is: 0 time, 1 the value of an abscissa criterion.
enum ESerieType
{
    eSerieYT = 0,
    eSerieYX = 1
};

// How a curve handed over joins the envelope; the graph chooses it (cGraph::getComputeMode).
enum EComputeMode
{
    // The first curve of an envelope is its nominal, each further one widens minimum and maximum.
    eComputeEnvelope = 0,
    // The curve becomes the nominal and minimum and maximum are dropped: only the last curve shows.
    eComputeLastCurve = 1
};

// All curves of a series. Envelope e takes three places: its minimum curve at 3e, its nominal at
// 3e + 1, its maximum at 3e + 2, and nominalIndices[e] is 3e + 1: the minimum of the nominal at index
// i is at i - 1, the maximum at i + 1. The last index is the current envelope. Minimum and maximum
// are empty while an envelope has one curve only.
struct sEnvelopeData
{
    std::vector<std::unique_ptr<cXYPointList>> curves;
    std::vector<unsigned int> nominalIndices;
};

// The state of the current (last) envelope.
struct sEnvelopeState
{
    bool hasNominal = false;
    bool hasMinMax = false;
    // Some curve of some envelope has points.
    bool hasData = false;
    // Curves that went into the current envelope (a last-curve hand-over counts as the first).
    unsigned int curveCount = 0;
    unsigned int envelopeCount = 0;
};

// Its own point list (the cXYPointList base) is the last curve handed over, as it came: the curve of
// the iteration just finished, which a view can draw over the envelope.
class cEnvelopeGraphSerie : public cXYPointList, public cGraphObject
{
public:
    explicit cEnvelopeGraphSerie(ESerieType type);
    ~cEnvelopeGraphSerie() override;

    ESerieType getSerieType() const { return m_type; }

    // Drops all curves, of every envelope, and the last curve.
    void clear();
    // Keeps the curves held and makes the next curve handed over the nominal of a new envelope (a
    // new run whose earlier results a test keeps). Nothing happens before the current envelope has
    // a curve, so that calling it twice, or on an empty series, opens no empty envelope.
    void beginNewEnvelope();
    // The same for a series against an abscissa, whose curves are paired by time; nothing on a
    // series over time.
    void addNewTimeSerie();

    // Folds one curve over time: times (ms) are x and pair the curve with the nominal. Each sample
    // of the nominal widens minimum and maximum with the value of the curve at its time: the sample
    // of equal time, or the linear interpolation between the two samples around it. Nominal samples
    // outside the time span of the curve are left as they are, and samples of the curve beyond the
    // nominal's span are not used: the envelope lives on the nominal's time base. Times ascend.
    // Lists of different counts throw cIncompatibleParametersException; an empty curve changes
    // nothing but the last curve.
    void AddDataYT(cStorage<float> const& times, cStorage<float> const& values, EComputeMode mode);
    // Folds one curve against an abscissa: point k of the curve was taken at times[k], and the
    // pairing with the nominal is by time as above, with x widened as well as y. So the minimum
    // curve holds, at each nominal time, the smallest x and the smallest y of all curves there.
    void AddDataYX(cStorage<float> const& xs, cStorage<float> const& ys, cStorage<float> const& times,
                   EComputeMode mode);

    sEnvelopeData const& eData() const { return m_data; }
    sEnvelopeState iData() const;
    // The curves of the current envelope; null when it has none (minimum and maximum: with one curve).
    cXYPointList const* getNominalCurve() const;
    cXYPointList const* getMinimumCurve() const;
    cXYPointList const* getMaximumCurve() const;

    // For a series against an abscissa of crash file `file` with a nominal curve: the point of the
    // nominal at `time` (cXYPointList::interpolateAtTime), widened by the points of the minimum and
    // maximum curves at that time when the envelope has them. False otherwise.
    bool interpolateYXRangeOnTimeEvent(unsigned long long file, float time, float& xMin, float& xMax,
                                       float& yMin, float& yMax) override;

private:
    void fold(cStorage<float> const& xs, cStorage<float> const& ys, cStorage<float> const& times,
              EComputeMode mode, bool widenX);
    // Widens minimum and maximum at each nominal sample with the curve (xs, ys, times).
    void widen(cXYPointList& minimum, cXYPointList& maximum, cXYPointList const& nominal,
               cStorage<float> const& xs, cStorage<float> const& ys, cStorage<float> const& times,
               bool widenX);

    ESerieType m_type;
    sEnvelopeData m_data;
    unsigned int m_curveCount = 0;
    bool m_startNewEnvelope = false;
};

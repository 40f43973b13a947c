#include "SimCore/cTestGraphSerie.h"

#include "PlotKit/cGraph.h"
#include "SimCore/cCriterion.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cTestMgr.h"
#include "SimCore/cTimeEvent.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace
{
// The scratch lists of computeResults: created on the first call in each thread and kept for the
// thread's life, so that a run does not allocate once they have grown. A project computes criteria
// on several stage threads at once, hence one set per thread.
struct sCurveScratch
{
    cStorage<float> times;
    cStorage<float> xs;
    cStorage<float> ys;
};

sCurveScratch& curveScratch()
{
    thread_local sCurveScratch scratch;
    scratch.times.clear();
    scratch.xs.clear();
    scratch.ys.clear();
    return scratch;
}

// The two copies that addSpecificPoints converts before it hands them over.
struct sGivenCurveScratch
{
    cStorage<float> xs;
    cStorage<float> ys;
};

sGivenCurveScratch& givenCurveScratch()
{
    thread_local sGivenCurveScratch scratch;
    scratch.xs.clear();
    scratch.ys.clear();
    return scratch;
}

cTestMgr* testOf(cGraph const* graph)
{
    return graph != nullptr ? graph->getParameter().test : nullptr;
}

// Time in ms of element k of a stored curve (element 0 is the dummy at T0), less the entry time.
float sampleTime(unsigned int k, float rate, long t0, float refMs)
{
    return float(static_cast<long>(k) - 1) * 1000.0f / rate + float(t0) / 1000.0f - refMs;
}

// A float sample times a double factor, rounded back to float once.
float scaled(float sample, double factor)
{
    return float(double(sample) * factor);
}

// The mouse in graph units, with the hit tolerance on each axis: 3 line widths of the graph's scale.
struct sMouseProbe
{
    double x;
    double y;
    double xTolerance;
    double yTolerance;
};

// Whether the mouse is on the segment from point k - 1 to point k of a curve. The two tests run
// along the segment's whole line; a walk over all segments first passes over those whose box,
// widened by the tolerances, excludes the mouse (withBox). The one segment of a curve over time is
// tested without it, so that its line is hit beyond its ends too.
bool hitsSegment(sMouseProbe const& mouse, cStorage<float> const& xs, cStorage<float> const& ys,
                 unsigned int k, bool withBox)
{
    double const x0 = xs[k - 1];
    double const y0 = ys[k - 1];
    double const x1 = xs[k];
    double const y1 = ys[k];
    if (withBox &&
        (mouse.x < std::min(x0, x1) - mouse.xTolerance || mouse.x > std::max(x0, x1) + mouse.xTolerance ||
         mouse.y < std::min(y0, y1) - mouse.yTolerance || mouse.y > std::max(y0, y1) + mouse.yTolerance))
        return false;
    double const dx = x1 - x0;
    double const dy = y1 - y0;
    // The segment's y at the mouse's x finds a flat segment, its x at the mouse's y a steep one. A
    // segment of length 0 is found through its neighbours.
    if (dx != 0.0 && std::fabs(y0 + dy * (mouse.x - x0) / dx - mouse.y) <= mouse.yTolerance)
        return true;
    return dy != 0.0 && std::fabs(x0 + dx * (mouse.y - y0) / dy - mouse.x) <= mouse.xTolerance;
}

// Whether the mouse is on a curve. A curve whose x may go back (a threshold the host gave, a curve
// against an abscissa) is walked segment by segment. On a curve over time x ascends: only the
// segment that ends at the first sample at or beyond the mouse is tested, found by bisection.
bool hitsCurve(sMouseProbe const& mouse, cXYPointList const* curve, bool anyOrder)
{
    if (curve == nullptr || curve->size() < 2)
        return false;
    cStorage<float> const& xs = curve->getXs();
    cStorage<float> const& ys = curve->getYs();
    unsigned int const count = curve->size();
    if (anyOrder)
    {
        for (unsigned int k = 1; k < count; ++k)
            if (hitsSegment(mouse, xs, ys, k, true))
                return true;
        return false;
    }
    if (mouse.x < xs[0] - mouse.xTolerance || mouse.x > xs[count - 1] + mouse.xTolerance)
        return false;
    unsigned int low = 0;
    unsigned int high = count;
    while (low < high)
    {
        unsigned int const middle = low + (high - low) / 2;
        if (double(xs[middle]) < mouse.x)
            low = middle + 1;
        else
            high = middle;
    }
    // A mouse before the first sample (within the tolerance) is tested on the first segment, one
    // after the last sample on the last segment.
    return hitsSegment(mouse, xs, ys, std::clamp(low, 1u, count - 1), false);
}
} // namespace

cTestGraphSerie::cTestGraphSerie(ESerieType type) : cEnvelopeGraphSerie(type) {}

cTestGraphSerie::~cTestGraphSerie() = default;

bool cTestGraphSerie::isMaintained() const
{
    cTestMgr const* const test = testOf(m_graph);
    return test != nullptr && m_ordinate != nullptr && test->checkForMaintainData(m_ordinate->getCrashFile());
}

void cTestGraphSerie::applyColor(cKynFile const* file, bool crashColor)
{
    if (m_graph == nullptr)
        return;
    cTestMgr const* const test = testOf(m_graph);
    if (test != nullptr && test->getCrashColor() && crashColor && file != nullptr)
    {
        setColor(static_cast<unsigned long>(file->getColor()));
        setUseDefaultColor(false);
    }
    else
    {
        setColor(m_defaultColor);
        setUseDefaultColor(true);
    }
}

void cTestGraphSerie::reset(bool toBeDrawn)
{
    if (!isMaintained())
        clear();
    m_computedOnce = false;
    setToBeDrawn(toBeDrawn);
    m_referenceTimeEvent = nullptr;
}

void cTestGraphSerie::crashColorChanged(cKynFile const* file, bool crashColor)
{
    applyColor(file, crashColor);
}

bool cTestGraphSerie::getGraphEnableStatus() const
{
    return m_graph != nullptr && m_graph->isShown();
}

void cTestGraphSerie::computeResults(cKynFile const* file, bool shortcut, bool crashColor)
{
    cTestMgr const* const test = testOf(m_graph);
    if (!m_computedOnce)
    {
        beginRun(test, file);
        m_computedOnce = true;
    }
    applyColor(file, crashColor);
    if (shortcut)
        return;
    if (m_graph == nullptr || m_ordinate == nullptr)
        return;
    cSignalStorage<float> const& values = m_ordinate->getIterationValueList();
    if (values.size() < 2)
        return;
    m_isAThreshold = false;

    bool const lsb = test != nullptr && test->getLSB();
    double const yf = lsb ? 1.0 : m_ordinate->getConversionFactor().get_d();
    long refTicks = 0;
    float refMs = 0.0f;
    if (!findEntryTime(test, refTicks, refMs))
        return;

    sCurveScratch& scratch = curveScratch();
    EComputeMode const mode = m_graph->getComputeMode();
    if (getSerieType() == eSerieYX)
    {
        if (pairWithAbscissa(values, lsb, yf, refTicks, refMs, scratch.times, scratch.xs, scratch.ys))
            AddDataYX(scratch.xs, scratch.ys, scratch.times, mode);
        return;
    }
    sampleOverTime(values, yf, refTicks, refMs, scratch.times, scratch.ys);
    AddDataYT(scratch.times, scratch.ys, mode);
}

void cTestGraphSerie::beginRun(cTestMgr const* test, cKynFile const* file)
{
    // A test that keeps the earlier runs' curves gets this run's curves as a new envelope.
    if (test != nullptr && test->checkForMaintainData(file))
    {
        beginNewEnvelope();
        if (getSerieType() == eSerieYX)
            addNewTimeSerie();
    }
}

bool cTestGraphSerie::findEntryTime(cTestMgr const* test, long& refTicks, float& refMs)
{
    if (m_referenceTimeEvent == nullptr && test != nullptr && test->getEntryAdjusted())
        m_referenceTimeEvent = m_graph->getParameter().referenceTimeEvent;
    if (m_referenceTimeEvent == nullptr)
        return true;
    cTimeEventValuesForOneFile const* const reference =
        m_referenceTimeEvent->getActiveTimeEventValuesForOneFile();
    refTicks = reference != nullptr ? reference->getIterationValue() : -1;
    // Without an entry time the curve has no origin: nothing is drawn for this iteration.
    if (refTicks == -1)
        return false;
    refMs = 1000.0f / float(m_referenceTimeEvent->getPrecisionFrequency()) * float(refTicks);
    return true;
}

bool cTestGraphSerie::pairWithAbscissa(cSignalStorage<float> const& values, bool lsb, double yf,
                                       long refTicks, float refMs, cStorage<float>& times,
                                       cStorage<float>& xs, cStorage<float>& ys) const
{
    unsigned int const n = values.size();
    double xf = 1.0;
    cCriterion const* const abscissaCriterion = m_graph->getParameter().abscissaCriterion;
    // The abscissa's own series (kept off the graph) would be a curve against itself.
    if (abscissaCriterion == nullptr || abscissaCriterion == m_ordinate->getCriterion())
        return false;
    cCriterionValuesForOneFile const* const abscissa =
        abscissaCriterion->getActiveCriterionValuesForOneFile();
    if (abscissa == nullptr)
        return false;
    cSignalStorage<float> const& a = abscissa->getIterationValueList();
    unsigned int const m = a.size();
    if (!lsb)
        xf = abscissa->getConversionFactor().get_d();

    float const rateX = abscissa->getSamplingRate();
    long const t0X = abscissa->getT0();
    float const rateY = m_ordinate->getSamplingRate();
    long const t0Y = m_ordinate->getT0();
    auto tX = [&](unsigned int k) { return sampleTime(k, rateX, t0X, refMs); };
    auto tY = [&](unsigned int k) { return sampleTime(k, rateY, t0Y, refMs); };

    unsigned int i = 1;
    unsigned int j = 1;
    if (refTicks != 0)
    {
        while (i < m && tX(i) < 0.0f)
            ++i;
        while (j < n && tY(j) < 0.0f)
            ++j;
    }
    if (j >= n || i >= m)
        return false;

    // Start both walks at the later of the two signals' starts.
    float const sx = float(t0X) / 1000.0f - refMs - 1000.0f / rateX;
    float const sy = float(t0Y) / 1000.0f - refMs - 1000.0f / rateY;
    if (sy > tX(i))
    {
        while (i < m && tX(i) < sy)
            ++i;
    }
    else if (sx > tY(j))
    {
        while (j < n && tY(j) < sx)
            ++j;
    }

    while (j < n && i < m)
    {
        float const tx = tX(i);
        float const ty = tY(j);
        if (tx == ty)
        {
            times.add(tx);
            xs.add(scaled(a[i], xf));
            ys.add(scaled(values[j], yf));
            ++i;
            ++j;
        }
        else if (ty > tx)
        {
            float const py = tY(j - 1);
            float const yi = values[j - 1] + (values[j] - values[j - 1]) * (tx - py) / (ty - py);
            times.add(tx);
            xs.add(scaled(a[i], xf));
            ys.add(scaled(yi, yf));
            ++i;
        }
        else
        {
            // Not the mirror of the branch above: the numerator is ty - tx. Stored results and
            // reference studies were produced this way and must keep agreeing.
            float const px = tX(i - 1);
            float const xi = a[i - 1] + (a[i] - a[i - 1]) * (ty - tx) / (tx - px);
            times.add(ty);
            xs.add(scaled(xi, xf));
            ys.add(scaled(values[j], yf));
            ++j;
        }
    }
    return true;
}

void cTestGraphSerie::sampleOverTime(cSignalStorage<float> const& values, double yf, long refTicks,
                                     float refMs, cStorage<float>& times, cStorage<float>& ys) const
{
    unsigned int const n = values.size();
    float const rate = m_ordinate->getSamplingRate();
    long const t0 = m_ordinate->getT0();
    bool drawSamples = true;
    if (m_ordinate->isAConstant2PointsCriterion() && refTicks != 0)
    {
        // A constant is drawn from the entry time to the end of the file.
        float const end = float(1000.0 / double(rate) - double(t0) / 1000.0);
        drawSamples = false;
        float const endMagnitude = std::fabs(end);
        float const refMagnitude = std::fabs(refMs);
        if (endMagnitude >= FLT_MIN || refMagnitude >= FLT_MIN)
        {
            float const d = end - refMs;
            if (d / std::max(endMagnitude, refMagnitude) > FLT_EPSILON)
            {
                float const y = scaled(values[1], yf);
                times.add(0.0f);
                ys.add(y);
                times.add(d);
                ys.add(y);
            }
        }
    }
    if (drawSamples)
    {
        // Element 0 is the dummy at T0 and is never drawn.
        for (unsigned int k = 0; k + 1 < n; ++k)
        {
            float const t = float(k) * 1000.0f / rate + float(t0) / 1000.0f - refMs;
            if (t >= 0.0f || refTicks == 0)
            {
                times.add(t);
                ys.add(scaled(values[k + 1], yf));
            }
        }
    }
}

void cTestGraphSerie::addSpecificPoints(cStorage<float> const& xs, cStorage<float> const& ys)
{
    if (m_graph == nullptr)
        return;
    mpf_class const yFactor = m_ordinate != nullptr ? m_ordinate->getConversionFactor() : mpf_class(1);
    mpf_class xFactor(1);
    if (getSerieType() == eSerieYX)
    {
        cCriterion const* const abscissaCriterion = m_graph->getParameter().abscissaCriterion;
        cCriterionValuesForOneFile const* const abscissa =
            abscissaCriterion != nullptr ? abscissaCriterion->getActiveCriterionValuesForOneFile() : nullptr;
        if (abscissa != nullptr)
            xFactor = abscissa->getConversionFactor();
    }
    addSpecificPoints(xs, ys, xFactor, yFactor);
}

void cTestGraphSerie::addSpecificPoints(cStorage<float> const& xs, cStorage<float> const& ys,
                                        mpf_class const& xFactor, mpf_class const& yFactor)
{
    if (m_graph == nullptr)
        return;
    sGivenCurveScratch& scratch = givenCurveScratch();
    scratch.xs = xs;
    scratch.ys = ys;
    if (!getLsbEnabled())
    {
        double const xf = xFactor.get_d();
        double const yf = yFactor.get_d();
        for (unsigned int k = 0; k < scratch.xs.size(); ++k)
            scratch.xs[k] = scaled(scratch.xs[k], xf);
        for (unsigned int k = 0; k < scratch.ys.size(); ++k)
            scratch.ys[k] = scaled(scratch.ys[k], yf);
    }
    // A given curve only stands in for computed ones: once a run has drawn, it is left out.
    if (!iData().hasData)
        AddDataYT(scratch.xs, scratch.ys, m_graph->getComputeMode());
}

float cTestGraphSerie::getMinValue(unsigned int index) const
{
    cXYPointList const* const curve = getMinimumCurve();
    return curve != nullptr ? curve->getY(index) : 0.0f;
}

float cTestGraphSerie::getNomValue(unsigned int index) const
{
    cXYPointList const* const curve = getNominalCurve();
    return curve != nullptr ? curve->getY(index) : 0.0f;
}

float cTestGraphSerie::getMaxValue(unsigned int index) const
{
    cXYPointList const* const curve = getMaximumCurve();
    return curve != nullptr ? curve->getY(index) : 0.0f;
}

float cTestGraphSerie::getMinXValue(unsigned int index) const
{
    cXYPointList const* const curve = getMinimumCurve();
    return curve != nullptr ? curve->getX(index) : 0.0f;
}

float cTestGraphSerie::getNomXValue(unsigned int index) const
{
    cXYPointList const* const curve = getNominalCurve();
    return curve != nullptr ? curve->getX(index) : 0.0f;
}

float cTestGraphSerie::getMaxXValue(unsigned int index) const
{
    cXYPointList const* const curve = getMaximumCurve();
    return curve != nullptr ? curve->getX(index) : 0.0f;
}

float cTestGraphSerie::getMinTValue(unsigned int index) const
{
    cXYPointList const* const curve = getMinimumCurve();
    return curve != nullptr ? curve->getT(index) : 0.0f;
}

float cTestGraphSerie::getNomTValue(unsigned int index) const
{
    cXYPointList const* const curve = getNominalCurve();
    return curve != nullptr ? curve->getT(index) : 0.0f;
}

float cTestGraphSerie::getMaxTValue(unsigned int index) const
{
    cXYPointList const* const curve = getMaximumCurve();
    return curve != nullptr ? curve->getT(index) : 0.0f;
}

unsigned int cTestGraphSerie::getMinSerieSize() const
{
    cXYPointList const* const curve = getMinimumCurve();
    return curve != nullptr ? curve->size() : 0;
}

unsigned int cTestGraphSerie::getNomSerieSize() const
{
    cXYPointList const* const curve = getNominalCurve();
    return curve != nullptr ? curve->size() : 0;
}

unsigned int cTestGraphSerie::getMaxSerieSize() const
{
    cXYPointList const* const curve = getMaximumCurve();
    return curve != nullptr ? curve->size() : 0;
}

bool cTestGraphSerie::getHotPointEnabled() const
{
    cTestMgr const* const test = testOf(m_graph);
    return test != nullptr && test->getHotPointsEnabled();
}

bool cTestGraphSerie::getLsbEnabled() const
{
    cTestMgr const* const test = testOf(m_graph);
    return test != nullptr && test->getLSB();
}

bool cTestGraphSerie::interceptMouse(CPoint point, unsigned long long& file)
{
    file = GetCrashFileAddress();
    if (m_graph == nullptr || !isToBeDrawn())
        return false;
    double const tolerance = 3.0 * double(m_graph->getLineWidth());
    sMouseProbe const mouse{m_graph->xFromPixel(point.x), m_graph->yFromPixel(point.y),
                            m_graph->pixelsToXUnits(tolerance), m_graph->pixelsToYUnits(tolerance)};
    bool const anyOrder = m_isAThreshold || getSerieType() == eSerieYX;
    if (hitsCurve(mouse, getNominalCurve(), anyOrder))
        return true;
    return iData().hasMinMax &&
           (hitsCurve(mouse, getMinimumCurve(), anyOrder) || hitsCurve(mouse, getMaximumCurve(), anyOrder));
}

bool cTestGraphSerie::interpolateYXRangeOnTimeEvent(unsigned long long file, float time, float& xMin,
                                                    float& xMax, float& yMin, float& yMax)
{
    cXYPointList const* const nominal = getNominalCurve();
    if (m_isAThreshold || getSerieType() != eSerieYX || file != GetCrashFileAddress() || nominal == nullptr)
        return false;
    float x = 0.0f;
    float y = 0.0f;
    nominal->interpolateAtTime(time, x, y);
    xMin = xMax = x;
    yMin = yMax = y;
    cXYPointList const* const minimum = getMinimumCurve();
    cXYPointList const* const maximum = getMaximumCurve();
    if (minimum != nullptr && maximum != nullptr)
    {
        for (cXYPointList const* bound : {minimum, maximum})
        {
            if (!bound->interpolateAtTime(time, x, y))
                continue;
            xMin = std::min(xMin, x);
            xMax = std::max(xMax, x);
            yMin = std::min(yMin, y);
            yMax = std::max(yMax, y);
        }
    }
    return true;
}

bool cTestGraphSerie::isToBeDrawn() const
{
    return GetDrawingEnabled() || isMaintained();
}

bool cTestGraphSerie::SetIfItIsToBeDrawn(unsigned long long address, bool toBeDrawn)
{
    unsigned long long const own = GetCrashFileAddress();
    if (own == 0 || address != own)
        return false;
    setToBeDrawn(toBeDrawn);
    return true;
}

unsigned long long cTestGraphSerie::GetCrashFileAddress() const
{
    return m_ordinate != nullptr ? m_ordinate->getCrashFileAddress() : 0;
}

std::string cTestGraphSerie::GetCrashFileName() const
{
    return m_ordinate != nullptr ? m_ordinate->getCrashFileName() : std::string();
}

long cTestGraphSerie::GetCrashFileColor() const
{
    return m_ordinate != nullptr ? m_ordinate->getCrashFileColor() : 0;
}

unsigned long cTestGraphSerie::GetDefaultColor() const
{
    return m_defaultColor;
}

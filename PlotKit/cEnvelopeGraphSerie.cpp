#include "PlotKit/cEnvelopeGraphSerie.h"

#include "BaseKit/cKynException.h"

#include <initializer_list>
#include <string>

cEnvelopeGraphSerie::cEnvelopeGraphSerie(ESerieType type) : m_type(type) {}

cEnvelopeGraphSerie::~cEnvelopeGraphSerie() = default;

void cEnvelopeGraphSerie::clear()
{
    cXYPointList::clear();
    m_data.curves.clear();
    m_data.nominalIndices.clear();
    m_curveCount = 0;
    m_startNewEnvelope = false;
}

void cEnvelopeGraphSerie::beginNewEnvelope()
{
    if (m_curveCount > 0)
        m_startNewEnvelope = true;
}

void cEnvelopeGraphSerie::addNewTimeSerie()
{
    if (m_type == eSerieYX)
        beginNewEnvelope();
}

void cEnvelopeGraphSerie::AddDataYT(cStorage<float> const& times, cStorage<float> const& values,
                                    EComputeMode mode)
{
    if (times.size() != values.size())
        throw cIncompatibleParametersException(
            "PlotKit/cEnvelopeGraphSerie", "cEnvelopeGraphSerie::AddDataYT", __LINE__,
            std::to_string(times.size()) + " times and " + std::to_string(values.size()) + " values");
    // Over time the x of a point is its time: the envelope widens y only, at the nominal's times.
    fold(times, values, times, mode, false);
}

void cEnvelopeGraphSerie::AddDataYX(cStorage<float> const& xs, cStorage<float> const& ys,
                                    cStorage<float> const& times, EComputeMode mode)
{
    if (xs.size() != ys.size() || xs.size() != times.size())
        throw cIncompatibleParametersException(
            "PlotKit/cEnvelopeGraphSerie", "cEnvelopeGraphSerie::AddDataYX", __LINE__,
            std::to_string(xs.size()) + " x, " + std::to_string(ys.size()) + " y and " +
                std::to_string(times.size()) + " times");
    fold(xs, ys, times, mode, true);
}

void cEnvelopeGraphSerie::fold(cStorage<float> const& xs, cStorage<float> const& ys,
                               cStorage<float> const& times, EComputeMode mode, bool widenX)
{
    assignPoints(xs, ys, times);
    if (xs.empty())
        return;
    if (m_data.nominalIndices.empty() || m_startNewEnvelope)
    {
        // The three places of the new envelope are made before they are counted, so that a failed
        // allocation leaves the layout of eData() whole.
        std::unique_ptr<cXYPointList> minimum = std::make_unique<cXYPointList>();
        std::unique_ptr<cXYPointList> nominal = std::make_unique<cXYPointList>();
        std::unique_ptr<cXYPointList> maximum = std::make_unique<cXYPointList>();
        m_data.curves.reserve(m_data.curves.size() + 3);
        m_data.nominalIndices.reserve(m_data.nominalIndices.size() + 1);
        m_data.curves.push_back(std::move(minimum));
        m_data.curves.push_back(std::move(nominal));
        m_data.curves.push_back(std::move(maximum));
        m_data.nominalIndices.push_back(static_cast<unsigned int>(m_data.curves.size() - 2));
        m_curveCount = 0;
        m_startNewEnvelope = false;
    }
    unsigned int const index = m_data.nominalIndices.back();
    cXYPointList& minimum = *m_data.curves[index - 1];
    cXYPointList& nominal = *m_data.curves[index];
    cXYPointList& maximum = *m_data.curves[index + 1];
    if (m_curveCount == 0 || mode == eComputeLastCurve)
    {
        nominal.assignPoints(xs, ys, times);
        minimum.clear();
        maximum.clear();
        m_curveCount = 1;
        return;
    }
    if (m_curveCount == 1)
    {
        // Second curve: minimum and maximum start as the nominal and widen from there.
        minimum = nominal;
        maximum = nominal;
    }
    widen(minimum, maximum, nominal, xs, ys, times, widenX);
    ++m_curveCount;
}

void cEnvelopeGraphSerie::widen(cXYPointList& minimum, cXYPointList& maximum, cXYPointList const& nominal,
                                cStorage<float> const& xs, cStorage<float> const& ys,
                                cStorage<float> const& times, bool widenX)
{
    // Both time lists ascend, so one cursor walks the curve once: O(nominal + curve), no allocation.
    // Minimum, maximum and nominal always have the same count: both are copies of the nominal.
    unsigned int const nominalCount = nominal.size();
    unsigned int const count = times.size();
    unsigned int j = 0;
    for (unsigned int k = 0; k < nominalCount; ++k)
    {
        float const t = nominal.getT(k);
        while (j < count && times[j] < t)
            ++j;
        if (j == count)
            break; // the curve ends before this nominal time, and before every later one
        float x;
        float y;
        if (times[j] == t)
        {
            x = xs[j];
            y = ys[j];
        }
        else if (j == 0)
        {
            continue; // the curve starts after this nominal time
        }
        else
        {
            double const ratio =
                (double(t) - double(times[j - 1])) / (double(times[j]) - double(times[j - 1]));
            x = float(double(xs[j - 1]) + (double(xs[j]) - double(xs[j - 1])) * ratio);
            y = float(double(ys[j - 1]) + (double(ys[j]) - double(ys[j - 1])) * ratio);
        }
        if (y < minimum.getY(k))
            minimum.setY(k, y);
        if (y > maximum.getY(k))
            maximum.setY(k, y);
        if (widenX && x < minimum.getX(k))
            minimum.setX(k, x);
        if (widenX && x > maximum.getX(k))
            maximum.setX(k, x);
    }
}

sEnvelopeState cEnvelopeGraphSerie::iData() const
{
    sEnvelopeState state;
    state.envelopeCount = static_cast<unsigned int>(m_data.nominalIndices.size());
    if (m_data.nominalIndices.empty())
        return state;
    // Empty curves are never stored, so an envelope that exists has a nominal with points.
    state.hasNominal = true;
    state.hasData = true;
    state.hasMinMax = getMinimumCurve() != nullptr;
    state.curveCount = m_curveCount;
    return state;
}

cXYPointList const* cEnvelopeGraphSerie::getNominalCurve() const
{
    if (m_data.nominalIndices.empty())
        return nullptr;
    return m_data.curves[m_data.nominalIndices.back()].get();
}

cXYPointList const* cEnvelopeGraphSerie::getMinimumCurve() const
{
    if (m_data.nominalIndices.empty() || m_data.curves[m_data.nominalIndices.back() - 1]->empty())
        return nullptr;
    return m_data.curves[m_data.nominalIndices.back() - 1].get();
}

cXYPointList const* cEnvelopeGraphSerie::getMaximumCurve() const
{
    if (m_data.nominalIndices.empty() || m_data.curves[m_data.nominalIndices.back() + 1]->empty())
        return nullptr;
    return m_data.curves[m_data.nominalIndices.back() + 1].get();
}

bool cEnvelopeGraphSerie::interpolateYXRangeOnTimeEvent(unsigned long long file, float time, float& xMin,
                                                        float& xMax, float& yMin, float& yMax)
{
    cXYPointList const* const nominal = getNominalCurve();
    if (m_type != eSerieYX || file != GetCrashFileAddress() || nominal == nullptr)
        return false;
    float x;
    float y;
    nominal->interpolateAtTime(time, x, y);
    xMin = xMax = x;
    yMin = yMax = y;
    for (cXYPointList const* bound : {getMinimumCurve(), getMaximumCurve()})
    {
        if (bound == nullptr || !bound->interpolateAtTime(time, x, y))
            continue;
        xMin = x < xMin ? x : xMin;
        xMax = x > xMax ? x : xMax;
        yMin = y < yMin ? y : yMin;
        yMax = y > yMax ? y : yMax;
    }
    return true;
}

#include "SimCore/cTestGraphSquare.h"

#include "PlotKit/cGraph.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cTestMgr.h"
#include "SimCore/cTimeEvent.h"

#include <initializer_list>

cTestGraphSquare::cTestGraphSquare(int kind) : cGraphSquare(kind) {}

cTestGraphSquare::~cTestGraphSquare() = default;

bool cTestGraphSquare::isMaintained() const
{
    cTestMgr const* const test = m_graph != nullptr ? m_graph->getParameter().test : nullptr;
    return test != nullptr && m_timeEvent != nullptr &&
           test->checkForMaintainData(m_timeEvent->getCrashFile());
}

void cTestGraphSquare::computeResults()
{
    if (m_graph == nullptr || m_timeEvent == nullptr)
        return;
    long value = m_timeEvent->getIterationValue();
    cTestMgr const* const test = m_graph->getParameter().test;
    if (m_referenceTimeEvent == nullptr && test != nullptr && test->getEntryAdjusted())
        m_referenceTimeEvent = m_graph->getParameter().referenceTimeEvent;
    long reference = 0;
    if (m_referenceTimeEvent != nullptr)
    {
        cTimeEventValuesForOneFile const* const values =
            m_referenceTimeEvent->getActiveTimeEventValuesForOneFile();
        reference = values != nullptr ? values->getIterationValue() : -1;
    }
    double const frequency = double(m_timeEvent->getPrecisionFrequency());

    if (!m_computedOnce)
    {
        cTimeEvent* const event = m_timeEvent->getTimeEvent();
        structTTF const* expected = nullptr;
        if (event != nullptr && event->isFileLinked() && m_timeEvent->getCrashFile() != nullptr)
            // A file made before the event was linked has no entry for it: no expected times then.
            expected = m_timeEvent->getCrashFile()->tryFindStructTTF(event);
        if (getKind() == eSquareVerticalLine && expected != nullptr)
        {
            for (ETtfKind const kind : {eTtfMinimum, eTtfOptimum, eTtfMaximum})
            {
                if (expected->isNotDefined(kind))
                    continue;
                if (expected->isNoFire(kind))
                {
                    setExpectedTime(kind, -1.0f);
                    continue;
                }
                double milliseconds = 0.0;
                if (!expected->asMilliseconds(kind, milliseconds))
                    continue; // a free text has no place on the time axis
                // Expected times are drawn relative to the entry event; one before it has no place.
                double const fromEntry = milliseconds - double(reference) * 1000.0 / frequency;
                if (fromEntry >= 0.0)
                    setExpectedTime(kind, float(fromEntry));
            }
        }
        m_computedOnce = true;
    }

    if (value == -1 || reference == -1)
        return;
    if (m_referenceTimeEvent != nullptr)
        value -= reference;
    float const ms = float(value) * (1000.0f / float(frequency));
    if (!(ms > 0.0f))
        return;
    if (getKind() == eSquareVerticalLine)
    {
        AddDataVertical(ms);
    }
    else if (getKind() == eSquareRectangle)
    {
        float x1 = 0.0f;
        float x2 = 0.0f;
        float y1 = 0.0f;
        float y2 = 0.0f;
        if (m_graph->getFirstGraphSeriesYXRangeOnTimeEvent(GetCrashFileAddress(), ms, x1, x2, y1, y2))
            AddDataSquare(x1, x2, y1, y2);
    }
}

void cTestGraphSquare::reset(bool toBeDrawn)
{
    if (!isMaintained())
        clear();
    m_computedOnce = false;
    setToBeDrawn(toBeDrawn);
    m_referenceTimeEvent = nullptr;
}

unsigned long cTestGraphSquare::getColor() const
{
    cTimeEvent const* const event = m_timeEvent != nullptr ? m_timeEvent->getTimeEvent() : nullptr;
    return event != nullptr ? static_cast<unsigned long>(event->getColor()) : cGraphSquare::getColor();
}

bool cTestGraphSquare::interceptMouse(CPoint point, unsigned long long& file)
{
    file = GetCrashFileAddress();
    if (m_graph == nullptr || !isToBeDrawn())
        return false;
    double const tolerance = 3.0 * double(m_graph->getLineWidth());
    return hitTest(float(m_graph->xFromPixel(point.x)), float(m_graph->yFromPixel(point.y)),
                   float(m_graph->pixelsToXUnits(tolerance)), float(m_graph->pixelsToYUnits(tolerance)));
}

bool cTestGraphSquare::isToBeDrawn() const
{
    return GetDrawingEnabled() || isMaintained();
}

bool cTestGraphSquare::SetIfItIsToBeDrawn(unsigned long long address, bool toBeDrawn)
{
    unsigned long long const own = GetCrashFileAddress();
    if (own == 0 || address != own)
        return false;
    setToBeDrawn(toBeDrawn);
    return true;
}

unsigned long long cTestGraphSquare::GetCrashFileAddress() const
{
    return m_timeEvent != nullptr ? m_timeEvent->getCrashFileAddress() : 0;
}

std::string cTestGraphSquare::GetCrashFileName() const
{
    return m_timeEvent != nullptr ? m_timeEvent->getCrashFileName() : std::string();
}

long cTestGraphSquare::GetCrashFileColor() const
{
    return m_timeEvent != nullptr ? m_timeEvent->getCrashFileColor() : 0;
}

// Doubles and helpers of the PlotKit tests: graph objects that count their destructions (so that a
// test sees who deletes them) or belong to one crash file (as SimCore's series and squares do), and
// the points of a curve as one text, so that a test compares a whole curve in one assertion.
#pragma once

#include "PlotKit/cXYPointList.h"

#include <sstream>
#include <string>
#include <utility>

template <class tBase> class tCounted : public tBase
{
public:
    template <class... tArguments>
    explicit tCounted(int& deaths, tArguments&&... arguments)
        : tBase(std::forward<tArguments>(arguments)...), m_deaths(deaths)
    {
    }
    ~tCounted() override { ++m_deaths; }

private:
    int& m_deaths;
};

template <class tBase, unsigned long long tAddress> class tOfCrashFile : public tBase
{
public:
    using tBase::tBase;
    unsigned long long GetCrashFileAddress() const override { return tAddress; }
};

// "x/y" of every point, separated by blanks; "none" for no curve.
inline std::string pointsOf(cXYPointList const* curve)
{
    if (!curve)
        return "none";
    std::ostringstream text;
    for (unsigned int i = 0; i < curve->size(); ++i)
        text << (i ? " " : "") << curve->getX(i) << "/" << curve->getY(i);
    return text.str();
}

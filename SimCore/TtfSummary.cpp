#include "SimCore/TtfSummary.h"

#include <memory>

namespace
{
// The growth step of the combinations, as that of the histogram records they are copied from.
unsigned int const kCombinationGrowthStep = 20;
} // namespace

// ---------------------------------------------------------------------------------------------------
// cOwnedDriftCombination

cOwnedDriftCombination::cOwnedDriftCombination() : cStorage<mpfClass*>(kCombinationGrowthStep) {}

cOwnedDriftCombination::cOwnedDriftCombination(cOwnedDriftCombination const& other)
    : cStorage<mpfClass*>(other.getGrowthStep())
{
    assign(other);
}

cOwnedDriftCombination& cOwnedDriftCombination::operator=(cOwnedDriftCombination const& other)
{
    if (this != &other)
        assign(other);
    return *this;
}

cOwnedDriftCombination::~cOwnedDriftCombination()
{
    clearValues();
}

void cOwnedDriftCombination::assign(cStorage<mpfClass*> const& source)
{
    if (&source == this)
        return;
    clearValues();
    reserve(source.size());
    for (unsigned int i = 0; i < source.size(); ++i)
    {
        auto value = std::make_unique<mpfClass>(source[i]->get());
        add(value.get());
        value.release();
    }
}

void cOwnedDriftCombination::clearValues()
{
    for (unsigned int i = 0; i < size(); ++i)
        delete (*this)[i];
    clear();
}

// ---------------------------------------------------------------------------------------------------
// The summaries' special members, defined here so that a host links to one definition of each.

CrashStudySummary::CrashStudySummary() = default;
CrashStudySummary::CrashStudySummary(CrashStudySummary const& other) = default;
CrashStudySummary::CrashStudySummary(CrashStudySummary&& other) = default;
CrashStudySummary& CrashStudySummary::operator=(CrashStudySummary const& other) = default;
CrashStudySummary& CrashStudySummary::operator=(CrashStudySummary&& other) = default;
CrashStudySummary::~CrashStudySummary() = default;

SummaryWithTtfName::SummaryWithTtfName() = default;
SummaryWithTtfName::SummaryWithTtfName(SummaryWithTtfName const& other) = default;
SummaryWithTtfName::SummaryWithTtfName(SummaryWithTtfName&& other) = default;
SummaryWithTtfName& SummaryWithTtfName::operator=(SummaryWithTtfName const& other) = default;
SummaryWithTtfName& SummaryWithTtfName::operator=(SummaryWithTtfName&& other) = default;
SummaryWithTtfName::~SummaryWithTtfName() = default;

TtfSummary::TtfSummary() = default;
TtfSummary::TtfSummary(TtfSummary const& other) = default;
TtfSummary::TtfSummary(TtfSummary&& other) = default;
TtfSummary& TtfSummary::operator=(TtfSummary const& other) = default;
TtfSummary& TtfSummary::operator=(TtfSummary&& other) = default;
TtfSummary::~TtfSummary() = default;

std::vector<TtfSummary::TtfInfo> TtfSummary::getCshSummary(std::string const& crashName) const
{
    std::vector<TtfInfo> lines;
    if (empty())
        return lines;
    std::vector<std::string> const& names = front().crashNames;
    unsigned int index = 0;
    while (index < names.size() && names[index] != crashName)
        ++index;
    if (index == names.size())
        return lines;
    // Every report was made over the same crash file list: the first one's position holds for all.
    for (SummaryWithTtfName const& summary : *this)
    {
        TtfInfo line;
        line.timeEventName = summary.timeEventName;
        line.description = summary.description;
        line.minExpected = summary.minExpected.at(index);
        line.optExpected = summary.optExpected.at(index);
        line.maxExpected = summary.maxExpected.at(index);
        line.minTime = summary.minTimes.at(index);
        line.nomTime = summary.nomTimes.at(index);
        line.maxTime = summary.maxTimes.at(index);
        line.percentNoFire = summary.percentNoFire.at(index);
        lines.push_back(std::move(line));
    }
    return lines;
}

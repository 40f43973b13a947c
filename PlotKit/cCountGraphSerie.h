// cCountGraphSerie: a percentage histogram of times to fire. Each bin is one time (ms, as the time
// event's values give it, -1 for no fire) with the number of iterations that gave it; a renderer
// draws one bar per bin, its height the bin's share of all counts in percent, the no-fire bin (time
// -1) apart from the others and labelled as such. Bins keep the order in which they were added,
// which the time events make ascending (no fire first).
#pragma once

#include "PlotKit/cGraphObject.h"

#include <vector>

struct sCountBin
{
    float time;
    unsigned int count;
};

class cCountGraphSerie : public cGraphObject
{
public:
    cCountGraphSerie();
    ~cCountGraphSerie() override;

    // Appends a bin. A time equal to that of a bin already held adds its count to that bin.
    void AddData(float time, unsigned int count);
    // Drops the bins.
    void clear();

    std::vector<sCountBin> const& getBins() const { return m_bins; }
    // The sum of all counts.
    unsigned long long getTotalCount() const { return m_total; }
    // Bin `index`'s share of the total count in percent (0 while the total is 0); no bound check.
    double getPercent(unsigned int index) const;

private:
    std::vector<sCountBin> m_bins;
    unsigned long long m_total = 0;
};

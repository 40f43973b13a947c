// cMinNomMaxByStringGraphSerie: one bar per crash file, from its minimum to its maximum time to fire,
// with a mark at the nominal time. The time events add, per crash file, the nominal, the maximum and
// the minimum time under the crash's short name, in that order; consecutive additions under one name
// make one row. A renderer draws row i at height i of a rising vertical axis, so row 0 is at the
// bottom: reverseVerticalOrder, called once all rows are in, puts the first crash at the top. A time
// of -1 (no fire) has no place on the time axis and is drawn as a no-fire mark at the row's start.
#pragma once

#include "PlotKit/cGraphObject.h"

#include <string>
#include <vector>

struct sNamedTimesRow
{
    std::string name;
    // The times in the order they were added: nominal, maximum, minimum for a crash file.
    std::vector<float> times;
};

class cMinNomMaxByStringGraphSerie : public cGraphObject
{
public:
    cMinNomMaxByStringGraphSerie();
    ~cMinNomMaxByStringGraphSerie() override;

    // Appends `time` to the last row when it bears `name`, else opens a row for it. A null name is
    // taken as the empty one.
    void AddData(float time, char const* name);
    // Reverses the order of the rows (not of the times within a row).
    void reverseVerticalOrder();
    // Drops the rows.
    void clear();

    std::vector<sNamedTimesRow> const& getRows() const { return m_rows; }
    // The smallest and largest time other than -1 over all rows; false, outputs untouched, when
    // there is none.
    bool getTimeRange(float& minimum, float& maximum) const;

private:
    std::vector<sNamedTimesRow> m_rows;
};

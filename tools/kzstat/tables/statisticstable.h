#ifndef KZSTATPROGRAM_STATISTICSTABLE_H
#define KZSTATPROGRAM_STATISTICSTABLE_H

#include <string>
#include <vector>

#include "figures/statistics.h"
#include "reading/runreader.h"
#include "terminal/table.h"
#include "text/percentile.h"

namespace kzstatprogram {

struct TableLayout {
    std::size_t nameWidth;  ///< names are cut to this many characters
    bool hasTypes = true;
};

/// One row per name, with these percentiles among its numbers. A column of `sparklines` is there
/// where there are any, in the order of the rows.
kzterminal::Table TableOf(const std::vector<Statistics>& rows,
                          const std::vector<Percentile>& percentiles, const TableLayout& layout,
                          const std::vector<std::string>& sparklines = {});

/// What a run is and how much of it is stored, as a line.
std::string DescribeRun(RunReader& run, const SliceRange& range);

/// What was noted of the run, such as gaps, a line each; what is too much for a terminal is
/// counted.
std::vector<std::string> DescribeNotes(RunReader& run);

}  // namespace kzstatprogram

#endif

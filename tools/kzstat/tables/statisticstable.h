#ifndef KZSTATPROGRAM_STATISTICSTABLE_H
#define KZSTATPROGRAM_STATISTICSTABLE_H

#include <string>
#include <vector>

#include "figures/statistics.h"
#include "reading/runreader.h"
#include "tables/latestvalues.h"
#include "terminal/output.h"
#include "text/percentile.h"

namespace kzstatprogram {

/// What a table has beside the statistics of its rows. Compatible.
struct TableContents {
    std::vector<Percentile> percentiles;
    bool mustHavePercentiles = false;      ///< also where there is no room for all of them
    const LatestValues* latest = nullptr;  ///< sparklines of these, with their scale; may be null
};

/// The titles and one line per name, in at most `room` columns. Where there is no room for all
/// statistics, those that say least are left out first. Names of errors that happened are `Bad`.
std::vector<kzterminal::Output::Line> TableOf(const std::vector<Statistics>& rows,
                                              const TableContents& contents, std::size_t room);

/// What was run, when and how much of it is stored and, if the range is that of the load, when it
/// was under load: a line each.
std::vector<std::string> DescribeRun(RunReader& run, const SliceRange& range);

/// What was noted of the run, such as gaps, a line each; what is too much for a terminal is
/// counted.
std::vector<std::string> DescribeNotes(RunReader& run);

}  // namespace kzstatprogram

#endif

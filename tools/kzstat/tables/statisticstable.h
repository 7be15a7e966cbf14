#ifndef KZSTATPROGRAM_STATISTICSTABLE_H
#define KZSTATPROGRAM_STATISTICSTABLE_H

#include <string>
#include <vector>

#include "figures/statistics.h"
#include "kzjournalreader.h"
#include "tables/table.h"

namespace kzstatprogram {

/// The names of the columns, which `--sort` takes.
std::vector<std::string> SortableColumns();

bool IsNumberColumn(const std::string& column);

/// REQUIRES: a column of numbers.
std::optional<double> ValueOf(const Statistics& row, const std::string& column);

/// Texts in order; numbers from the largest on, those that are missing last.
/// REQUIRES: a sortable column.
void SortBy(const std::string& column, std::vector<Statistics>& rows);

/// One row per name. Names are cut to `nameWidth` characters. A column of `sparklines` is there
/// where there are any, in the order of the rows.
Table TableOf(const std::vector<Statistics>& rows, std::size_t nameWidth,
              const std::vector<std::string>& sparklines = {});

/// What a run is and how far it has come, as a line.
std::string DescribeRun(kzjournal::Reader& journal, const kzjournal::TimeRange& range);

/// Every name of the run over the range.
std::vector<Statistics> StatisticsOf(kzjournal::Reader& journal, const kzjournal::TimeRange& range);

}  // namespace kzstatprogram

#endif

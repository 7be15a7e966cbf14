#ifndef KZSTATPROGRAM_STATISTICSCOLUMNS_H
#define KZSTATPROGRAM_STATISTICSCOLUMNS_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "figures/statistics.h"
#include "text/percentile.h"

namespace kzstatprogram {

/// A statistic that is a number, and the title by which a table, an order and a condition name it.
struct NumberColumn {
    std::string title;
    std::function<std::optional<double>(const Statistics&)> valueOf;
    /// What single values are. Those of a counter tell in which steps it was counted, which is 1
    /// nearly always and hides its sum.
    bool isOfValues = false;
};

/// In the order of a table.
std::vector<NumberColumn> NumberColumns(const std::vector<Percentile>& percentiles);

/// The titles of what rows can be sorted by: the numbers, and "name" and "type".
std::vector<std::string> SortableColumns(const std::vector<Percentile>& percentiles);

/// Any percentile has a title. Nothing where there is no such column.
std::optional<NumberColumn> FindNumberColumn(const std::string& title);

/// Texts in order; numbers from the largest on, those that are missing last.
/// REQUIRES: a sortable column.
void SortBy(const std::string& column, std::vector<Statistics>& rows);

}  // namespace kzstatprogram

#endif

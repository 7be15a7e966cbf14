#ifndef KZSTATPROGRAM_STATISTICSCOLUMNS_H
#define KZSTATPROGRAM_STATISTICSCOLUMNS_H

#include <optional>
#include <string>
#include <vector>

#include "figures/statistics.h"

namespace kzstatprogram {

/// A statistic that is a number, and the title by which a table, an order and a condition name it.
struct NumberColumn {
    const char* title;
    std::optional<double> (*valueOf)(const Statistics&);
};

/// In the order of a table.
const std::vector<NumberColumn>& NumberColumns();

/// The titles of what rows can be sorted by: the numbers, and "name" and "type".
std::vector<std::string> SortableColumns();

bool IsNumberColumn(const std::string& column);

/// REQUIRES: a column of numbers.
std::optional<double> ValueOf(const Statistics& row, const std::string& column);

/// Texts in order; numbers from the largest on, those that are missing last.
/// REQUIRES: a sortable column.
void SortBy(const std::string& column, std::vector<Statistics>& rows);

}  // namespace kzstatprogram

#endif

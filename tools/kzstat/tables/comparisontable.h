#ifndef KZSTATPROGRAM_COMPARISONTABLE_H
#define KZSTATPROGRAM_COMPARISONTABLE_H

#include <optional>
#include <string>
#include <vector>

#include "figures/comparison.h"
#include "terminal/table.h"

namespace kzstatprogram {

/// One quantity of one name in both runs. Compatible.
struct ComparisonRow {
    std::string name;
    std::string quantity;  ///< with its unit: "mean ms"
    std::optional<double> before;
    std::optional<double> after;
    std::optional<double> probability;
    bool isMarked = false;
};

/// What the means of a difference are means of, with its unit.
std::string QuantityOf(const Difference& difference);

/// For each difference a row of what was tested and, below it, a row per percentile: as
/// rows, any number of percentiles fits a terminal.
std::vector<ComparisonRow> RowsOf(const std::vector<Difference>& differences);

/// Names are cut to `nameWidth` characters.
kzterminal::Table TableOf(const std::vector<ComparisonRow>& rows, std::size_t nameWidth);

}  // namespace kzstatprogram

#endif

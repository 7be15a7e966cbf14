#include "figures/statisticscolumns.h"

#include <algorithm>

#include "text/texts.h"

namespace kzstatprogram {
namespace {

/// Percentiles come before it.
constexpr char kMaximum[] = "max";

std::vector<NumberColumn> ColumnsWithoutPercentiles() {
    // A counter counts what its values add up to.
    return {{"count", [](const Statistics& row) { return row.count ? row.count : row.sum; }},
            {"rate", [](const Statistics& row) { return row.rate; }},
            {"min", [](const Statistics& row) { return row.minimum; }, true},
            {"mean", [](const Statistics& row) { return row.average; }, true},
            {kMaximum, [](const Statistics& row) { return row.maximum; }, true},
            {"stddev",
             [](const Statistics& row) {
                 return row.deviation ? std::optional<double>(row.deviation->value) : std::nullopt;
             }},
            {"sum", [](const Statistics& row) { return row.sum; }},
            {"last", [](const Statistics& row) { return row.current; }}};
}

NumberColumn ColumnOf(const Percentile& percentile) {
    return {percentile.title,
            [quantile = percentile.quantile](const Statistics& row) {
                return QuantileOf(row, quantile);
            },
            true};
}

}  // namespace

std::vector<NumberColumn> NumberColumns(const std::vector<Percentile>& percentiles) {
    std::vector<NumberColumn> columns;
    for (NumberColumn& column : ColumnsWithoutPercentiles()) {
        if (column.title == kMaximum)
            for (const Percentile& percentile : percentiles)
                columns.push_back(ColumnOf(percentile));
        columns.push_back(std::move(column));
    }
    return columns;
}

std::vector<std::string> SortableColumns(const std::vector<Percentile>& percentiles) {
    std::vector<std::string> names{"name", "type"};
    for (const NumberColumn& column : NumberColumns(percentiles)) names.push_back(column.title);
    return names;
}

std::optional<NumberColumn> FindNumberColumn(const std::string& title) {
    for (const NumberColumn& column : ColumnsWithoutPercentiles())
        if (column.title == title) return column;
    const std::optional<Percentile> percentile = FindPercentile(title);
    return percentile ? std::optional(ColumnOf(*percentile)) : std::nullopt;
}

void SortBy(const std::string& column, std::vector<Statistics>& rows) {
    std::sort(rows.begin(), rows.end(),
              [](const Statistics& a, const Statistics& b) { return a.name < b.name; });
    if (column == "type")
        std::stable_sort(rows.begin(), rows.end(), [](const Statistics& a, const Statistics& b) {
            return TypeText(a.type) < TypeText(b.type);
        });
    if (const std::optional<NumberColumn> numbers = FindNumberColumn(column))
        std::stable_sort(rows.begin(), rows.end(), [&](const Statistics& a, const Statistics& b) {
            // Nothing is less than any number.
            return numbers->valueOf(a) > numbers->valueOf(b);
        });
}

}  // namespace kzstatprogram

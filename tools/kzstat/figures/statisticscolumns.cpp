#include "figures/statisticscolumns.h"

#include <algorithm>

#include "text/texts.h"

namespace kzstatprogram {

const std::vector<NumberColumn>& NumberColumns() {
    static const std::vector<NumberColumn> columns{
        {"count", [](const Statistics& row) { return row.count; }},
        {"rate", [](const Statistics& row) { return row.rate; }},
        {"min", [](const Statistics& row) { return row.minimum; }},
        {"mean", [](const Statistics& row) { return row.average; }},
        {"p50", [](const Statistics& row) { return row.p50; }},
        {"p95", [](const Statistics& row) { return row.p95; }},
        {"p99", [](const Statistics& row) { return row.p99; }},
        {"max", [](const Statistics& row) { return row.maximum; }},
        {"stddev",
         [](const Statistics& row) {
             return row.deviation ? std::optional<double>(row.deviation->value) : std::nullopt;
         }},
        {"sum", [](const Statistics& row) { return row.sum; }},
        {"last", [](const Statistics& row) { return row.current; }}};
    return columns;
}

std::vector<std::string> SortableColumns() {
    std::vector<std::string> names{"name", "type"};
    for (const NumberColumn& column : NumberColumns()) names.push_back(column.title);
    return names;
}

bool IsNumberColumn(const std::string& column) {
    return std::any_of(NumberColumns().begin(), NumberColumns().end(),
                       [&](const NumberColumn& known) { return column == known.title; });
}

std::optional<double> ValueOf(const Statistics& row, const std::string& column) {
    const auto known = std::find_if(NumberColumns().begin(), NumberColumns().end(),
                                    [&](const NumberColumn& each) { return column == each.title; });
    return known->valueOf(row);
}

void SortBy(const std::string& column, std::vector<Statistics>& rows) {
    std::sort(rows.begin(), rows.end(),
              [](const Statistics& a, const Statistics& b) { return a.name < b.name; });
    if (column == "type")
        std::stable_sort(rows.begin(), rows.end(), [](const Statistics& a, const Statistics& b) {
            return TypeText(a.type) < TypeText(b.type);
        });
    if (IsNumberColumn(column))
        std::stable_sort(rows.begin(), rows.end(), [&](const Statistics& a, const Statistics& b) {
            // Nothing is less than any number.
            return ValueOf(a, column) > ValueOf(b, column);
        });
}

}  // namespace kzstatprogram

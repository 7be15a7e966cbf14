#include "tables/statisticstable.h"

#include <algorithm>
#include <functional>
#include <iterator>

#include "terminal/terminaltext.h"
#include "text/numbers.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

using Number = std::optional<double>;

std::string TypeText(const Statistics& row) {
    return CKZStatPointTypeEnum::GetStringFromEnumType(row.type);
}

std::string Cell(const Number& value) {
    return value ? ReadableNumber(*value) : "-";
}

/// A deviation that rounding may have made up is shown as the bound that it stays below.
std::string Cell(const std::optional<CKZStatDeviation>& deviation) {
    if (!deviation) return "-";
    if (deviation->value <= deviation->error && deviation->error > 0)
        return std::string("<").append(ReadableNumber(deviation->value + deviation->error));
    return ReadableNumber(deviation->value);
}

Number DeviationValue(const Statistics& row) {
    return row.deviation ? Number(row.deviation->value) : std::nullopt;
}

struct NumberColumn {
    const char* title;
    std::function<Number(const Statistics&)> valueOf;
};

const std::vector<NumberColumn>& NumberColumns() {
    static const std::vector<NumberColumn> columns{
        {"count", &Statistics::count}, {"rate", &Statistics::rate},
        {"min", &Statistics::minimum}, {"mean", &Statistics::average},
        {"max", &Statistics::maximum}, {"stddev", DeviationValue},
        {"sum", &Statistics::sum},     {"last", &Statistics::current}};
    return columns;
}

std::vector<std::string> CellsOf(const Statistics& row, std::size_t nameWidth) {
    std::vector<std::string> cells{kzterminal::Cut(kzterminal::Printable(row.name), nameWidth),
                                   TypeText(row), row.unit};
    for (const NumberColumn& column : NumberColumns())
        cells.push_back(std::string(column.title) == "stddev" ? Cell(row.deviation)
                                                              : Cell(column.valueOf(row)));
    return cells;
}

}  // namespace

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
            return TypeText(a) < TypeText(b);
        });
    if (IsNumberColumn(column))
        std::stable_sort(rows.begin(), rows.end(), [&](const Statistics& a, const Statistics& b) {
            // Nothing is less than any number.
            return ValueOf(a, column) > ValueOf(b, column);
        });
}

Table TableOf(const std::vector<Statistics>& rows, std::size_t nameWidth,
              const std::vector<std::string>& sparklines) {
    std::vector<Table::Column> columns{
        {"name", Table::Left}, {"type", Table::Left}, {"unit", Table::Left}};
    for (const NumberColumn& column : NumberColumns())
        columns.push_back({column.title, Table::Right});
    if (!sparklines.empty()) columns.insert(columns.begin() + 1, {"latest", Table::Right});

    Table table(std::move(columns));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        std::vector<std::string> cells = CellsOf(rows[i], nameWidth);
        if (!sparklines.empty()) cells.insert(cells.begin() + 1, sparklines[i]);
        table.Add(std::move(cells));
    }
    return table;
}

std::string DescribeRun(kzjournal::Reader& journal, const kzjournal::TimeRange& range) {
    const kzjournal::Run& run = journal.Facts();
    const long long slices = journal.CountSlices(range);
    std::string line = kzterminal::Printable(run.generator) + " on " +
                       kzterminal::Printable(run.host) + " since " + WallClock(run.startTime) +
                       ", " + std::to_string(slices) + " slices of " +
                       ReadableNumber(run.sliceLength) + " s";
    if (const long long lost = journal.LostSlices(); lost > 0)
        line += ", " + std::to_string(lost) + " lost";
    return line + (journal.HasEnded() ? "" : ", not ended");
}

std::vector<Statistics> StatisticsOf(kzjournal::Reader& journal,
                                     const kzjournal::TimeRange& range) {
    const double seconds =
        static_cast<double>(journal.CountSlices(range)) * journal.Facts().sliceLength;
    std::vector<Statistics> rows;
    for (const CKZStatMessageRecord& record : journal.Summary(range))
        rows.push_back(StatisticsOf(record, seconds));
    return rows;
}

}  // namespace kzstatprogram

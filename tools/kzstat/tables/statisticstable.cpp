#include "tables/statisticstable.h"

#include "figures/statisticscolumns.h"
#include "terminal/terminaltext.h"
#include "text/numbers.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

std::string Cell(const std::optional<double>& value) {
    return value ? ReadableNumber(*value) : "-";
}

/// A deviation that rounding may have made up is shown as the bound that it stays below.
std::string Cell(const std::optional<CKZStatDeviation>& deviation) {
    if (!deviation) return "-";
    if (deviation->value <= deviation->error && deviation->error > 0)
        return std::string("<").append(ReadableNumber(deviation->value + deviation->error));
    return ReadableNumber(deviation->value);
}

std::vector<std::string> CellsOf(const Statistics& row, std::size_t nameWidth) {
    std::vector<std::string> cells{kzterminal::Cut(row.name, nameWidth), TypeText(row.type),
                                   row.unit};
    for (const NumberColumn& column : NumberColumns())
        cells.push_back(std::string(column.title) == "stddev" ? Cell(row.deviation)
                                                              : Cell(column.valueOf(row)));
    return cells;
}

}  // namespace

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

}  // namespace kzstatprogram

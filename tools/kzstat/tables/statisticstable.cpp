#include "tables/statisticstable.h"

#include <algorithm>

#include "figures/statisticscolumns.h"
#include "terminal/terminaltext.h"
#include "text/numbers.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

using kzterminal::Table;

constexpr std::size_t kMaxNotes = 10;

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

std::vector<std::string> CellsOf(const Statistics& row, const std::vector<NumberColumn>& columns,
                                 std::size_t nameWidth) {
    std::vector<std::string> cells{kzterminal::Cut(row.name, nameWidth), TypeText(row.type),
                                   row.unit};
    for (const NumberColumn& column : columns)
        cells.push_back(column.title == "stddev" ? Cell(row.deviation) : Cell(column.valueOf(row)));
    return cells;
}

}  // namespace

Table TableOf(const std::vector<Statistics>& rows, const std::vector<Percentile>& percentiles,
              std::size_t nameWidth, const std::vector<std::string>& sparklines) {
    std::vector<Table::Column> columns{
        {"name", Table::Left}, {"type", Table::Left}, {"unit", Table::Left}};
    const std::vector<NumberColumn> numbers = NumberColumns(percentiles);
    for (const NumberColumn& column : numbers) columns.push_back({column.title, Table::Right});
    if (!sparklines.empty()) columns.insert(columns.begin() + 1, {"latest", Table::Right});

    Table table(std::move(columns));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        std::vector<std::string> cells = CellsOf(rows[i], numbers, nameWidth);
        if (!sparklines.empty()) cells.insert(cells.begin() + 1, sparklines[i]);
        table.Add(std::move(cells));
    }
    return table;
}

std::string DescribeRun(kzjournal::Reader& journal, const kzjournal::TimeRange& range) {
    const kzjournal::Run& run = journal.Facts();
    std::string line = kzterminal::Printable(run.generator) + " on " +
                       kzterminal::Printable(run.host) + " since " + WallClock(run.startTime) +
                       ", " + CompletenessText(journal) + " of " + ReadableNumber(run.sliceLength) +
                       " s";
    if (const long long chosen = journal.CountSlices(range); chosen < journal.CountSlices())
        line += ", " + std::to_string(chosen) + " in the range";
    return line;
}

std::vector<std::string> DescribeNotes(kzjournal::Reader& journal) {
    const std::vector<kzjournal::Note> notes = journal.Notes();
    std::vector<std::string> lines;
    for (const kzjournal::Note& note : notes) {
        if (lines.size() == kMaxNotes) break;
        lines.push_back(WallClock(note.time) + "  " + kzterminal::Printable(note.text));
    }
    if (notes.size() > kMaxNotes)
        lines.push_back("... and " + std::to_string(notes.size() - kMaxNotes) + " more notes");
    return lines;
}

}  // namespace kzstatprogram

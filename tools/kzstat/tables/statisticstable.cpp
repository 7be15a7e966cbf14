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

std::string Cell(const NumberColumn& column, const Statistics& row) {
    return column.title == "stddev" ? Cell(row.deviation) : Cell(column.valueOf(row));
}

}  // namespace

Table TableOf(const std::vector<Statistics>& rows, const std::vector<Percentile>& percentiles,
              const TableLayout& layout, const std::vector<std::string>& sparklines) {
    const std::vector<NumberColumn> numbers = NumberColumns(percentiles);
    std::vector<Table::Column> columns{{"name", Table::Left}};
    if (!sparklines.empty()) columns.push_back({"latest", Table::Right});
    if (layout.hasTypes) columns.push_back({"type", Table::Left});
    columns.push_back({"unit", Table::Left});
    for (const NumberColumn& column : numbers) columns.push_back({column.title, Table::Right});

    Table table(std::move(columns));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Statistics& row = rows[i];
        std::vector<std::string> cells{kzterminal::Cut(row.name, layout.nameWidth)};
        if (!sparklines.empty()) cells.push_back(sparklines[i]);
        if (layout.hasTypes) cells.push_back(TypeText(row.type));
        cells.push_back(row.unit);
        for (const NumberColumn& column : numbers) cells.push_back(Cell(column, row));
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

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

/// "under load 0:00 to 0:30".
std::string LoadText(const kzjournal::LoadSpan& load) {
    std::string text = load.end ? "under load " : "under load since ";
    text.append(TimeOfRun(load.begin.value_or(0)));
    if (load.end) text.append(" to ").append(TimeOfRun(*load.end));
    return text;
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

std::string DescribeRun(RunReader& run, const SliceRange& range) {
    const kzjournal::Run& facts = run.Facts();
    std::string line = kzterminal::Printable(facts.generator) + " on " +
                       kzterminal::Printable(facts.host) + " since " + WallClock(facts.startTime) +
                       ", " + CompletenessText(run) + " of " + ReadableNumber(facts.sliceLength) +
                       " s";
    const long long all = run.CountSlices();
    const long long chosen = run.CountSlices(range);
    if (range.isOfLoad)
        return line + ", " + LoadText(range.load) + ", " + std::to_string(chosen) + " of " +
               std::to_string(all) + " slices";
    if (chosen < all) line += ", " + std::to_string(chosen) + " in the range";
    return line;
}

std::vector<std::string> DescribeNotes(RunReader& run) {
    const std::vector<kzjournal::Note> notes = run.Notes();
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

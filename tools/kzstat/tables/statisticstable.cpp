#include "tables/statisticstable.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>
#include <string_view>

#include "figures/statisticscolumns.h"
#include "tables/sparkline.h"
#include "terminal/bytes.h"
#include "terminal/namewords.h"
#include "terminal/table.h"
#include "terminal/terminaltext.h"
#include "text/numbers.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

using kzterminal::Output;
using kzterminal::Table;

constexpr std::size_t kMaxNotes = 10;

constexpr std::size_t kMinNameColumns = 16;
constexpr std::size_t kMinShareOfNames = 5;  // a fifth
constexpr char kLatest[] = "latest";
constexpr char kScaleOfLatest[] = "to";
constexpr std::size_t kSlicesInNarrowSparkline = 10;
constexpr std::size_t kSlicesInSparkline = 20;
constexpr std::size_t kRoomForWideSparkline = 120;

/// What is left out first where there is no room; `sum` repeats what `count` has of counters.
constexpr const char* kLeftOut[] = {"type", "stddev", "sum", "last", "min", "p50",
                                    "mean", "rate",   "p95", "unit", "p99"};
/// Beside sparklines, which show the rate and the last value of counters.
constexpr const char* kLeftOutBesideLatest[] = {"type", "stddev", "sum",   "last", "min", "p50",
                                                "rate", "mean",   kLatest, "p95",  "p99"};

/// What a table of these contents shows of its rows. Compatible.
class StatisticsTable {
public:
    StatisticsTable(const TableContents& contents, std::size_t room)
        : m_contents(contents),
          m_isForPeople(room != std::string::npos),
          m_nameColumns(std::max(kMinNameColumns, room / kMinShareOfNames)),
          m_slices(room < kRoomForWideSparkline ? kSlicesInNarrowSparkline : kSlicesInSparkline),
          m_numbers(NumberColumns(contents.percentiles)),
          m_table(Columns()) {}

    void Add(const Statistics& row) {
        std::vector<std::string> cells{kzterminal::Printable(row.name)};
        if (m_contents.latest != nullptr) AddLatest(row, cells);
        cells.push_back(TypeText(row.type));
        if (m_contents.latest == nullptr) cells.push_back(row.unit);
        for (const NumberColumn& column : m_numbers) cells.push_back(Cell(column, row));
        m_table.Add(std::move(cells));
    }

    std::vector<std::string> Lines(std::size_t room) const { return m_table.Lines(room); }

private:
    std::string Cell(const Statistics& row, double value) const {
        return m_isForPeople && IsInBytes(row) ? kzterminal::ReadableBytes(value)
                                               : ReadableNumber(value);
    }

    std::string CellWithUnit(const Statistics& row, double value) const {
        const bool lacksUnit = *row.unit != '\0' && !IsInBytes(row);
        return Cell(row, value) + (lacksUnit ? std::string(" ") + row.unit : "");
    }

    std::string DeviationCell(const Statistics& row) const {
        const std::optional<double> bound = BoundOfDeviation(*row.deviation);
        if (bound) return std::string("<").append(Cell(row, *bound));
        return Cell(row, row.deviation->value);
    }

    std::string Cell(const NumberColumn& column, const Statistics& row) const {
        const std::optional<double> value = column.valueOf(row);
        if (!value || (column.isOfValues && IsAddedUp(row.type))) return "-";
        return column.title == "stddev" ? DeviationCell(row) : Cell(row, *value);
    }

    void AddLatest(const Statistics& row, std::vector<std::string>& cells) const {
        const std::vector<double> latest = m_contents.latest->Of(row.name, m_slices);
        double greatest = 0;
        for (const double value : latest)
            if (value > greatest) greatest = value;
        cells.push_back(Sparkline(latest));
        cells.push_back(CellWithUnit(row, greatest));
    }

    std::vector<Table::Column> Columns() const {
        std::vector<Table::Column> columns{
            {"name", Table::Left, Table::kAlwaysShown, m_nameColumns}};
        const auto add = [&](const std::string& title, Table::Alignment alignment) {
            columns.push_back({title, alignment, RankOf(title)});
        };
        if (m_contents.latest != nullptr) add(kLatest, Table::Right);
        if (m_contents.latest != nullptr) add(kScaleOfLatest, Table::Right);
        add("type", Table::Left);
        if (m_contents.latest == nullptr) add("unit", Table::Left);
        for (const NumberColumn& column : m_numbers) add(column.title, Table::Right);
        return columns;
    }

    int RankOf(const std::string& title) const {
        const bool isPercentile = FindPercentile(title).has_value();
        if (isPercentile && m_contents.mustHavePercentiles) return Table::kAlwaysShown;
        if (m_contents.latest == nullptr) return RankIn(kLeftOut, title);
        // A scale says nothing without its sparkline.
        return RankIn(kLeftOutBesideLatest, title == kScaleOfLatest ? kLatest : title);
    }

    template <class List>
    static int RankIn(const List& list, std::string_view title) {
        const auto found = std::find(std::begin(list), std::end(list), title);
        return found == std::end(list) ? Table::kAlwaysShown
                                       : static_cast<int>(found - std::begin(list));
    }

    const TableContents& m_contents;
    const bool m_isForPeople;         // programs take plain numbers
    const std::size_t m_nameColumns;  // names are cut to no less
    const std::size_t m_slices;       // in a sparkline
    const std::vector<NumberColumn> m_numbers;
    Table m_table;
};

bool TellsOfErrors(const Statistics& row) {
    return kzterminal::NamesErrors(row.name) && row.count.value_or(row.sum.value_or(0)) > 0;
}

/// The test, if the host named it, and the program with what of its arguments is stored.
std::string WhatWasRun(const kzjournal::Run& facts) {
    const std::string& name = facts.testName.empty() ? facts.generator : facts.testName;
    if (facts.commandLine.empty()) return name;
    const std::string program = facts.commandLine.substr(0, facts.commandLine.find(' '));
    return name == program ? facts.commandLine : name + ": " + facts.commandLine;
}

/// "0:36", or "0:36 (0:30 with slices)".
std::string DurationText(RunReader& run) {
    const double sliceLength = run.Facts().sliceLength;
    const double withSlices = static_cast<double>(run.CountSlices()) * sliceLength;
    const std::optional<kzjournal::Slice> last = run.LastSlice();
    const double whole = last ? last->elapsed : 0;
    if (std::abs(whole - withSlices) < sliceLength / 2) return TimeOfRun(whole);
    return TimeOfRun(whole) + " (" + TimeOfRun(withSlices) + " with slices)";
}

/// "under load 0:00 to 0:30".
std::string LoadText(const kzjournal::LoadSpan& load) {
    std::string text = load.end ? "under load " : "under load since ";
    text.append(TimeOfRun(load.begin.value_or(0)));
    if (load.end) text.append(" to ").append(TimeOfRun(*load.end));
    return text;
}

}  // namespace

std::vector<Output::Line> TableOf(const std::vector<Statistics>& rows,
                                  const TableContents& contents, std::size_t room) {
    StatisticsTable table(contents, room);
    for (const Statistics& row : rows) table.Add(row);
    std::vector<Output::Line> lines;
    for (std::string& line : table.Lines(room)) {
        const bool isTitle = lines.empty();
        const bool isBad = !isTitle && TellsOfErrors(rows[lines.size() - 1]);
        lines.push_back({std::move(line), isTitle ? Output::Striking
                                          : isBad ? Output::Bad
                                                  : Output::Plain});
    }
    return lines;
}

std::vector<std::string> DescribeRun(RunReader& run, const SliceRange& range) {
    const kzjournal::Run& facts = run.Facts();
    const long long all = run.CountSlices();
    const long long chosen = run.CountSlices(range.underLoad);
    std::string when = WallClock(facts.startTime) + ", for " + DurationText(run) + ", " +
                       CompletenessText(run) + " of " + ReadableNumber(facts.sliceLength) + " s";
    if (!range.isOfLoad && chosen < all) when += ", " + std::to_string(chosen) + " in the range";
    std::vector<std::string> lines{kzterminal::Printable(WhatWasRun(facts) + ", on " + facts.host),
                                   when};
    if (range.isOfLoad)
        lines.push_back(LoadText(range.load) + ", " + std::to_string(chosen) + " of " +
                        std::to_string(all) + " slices");
    return lines;
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

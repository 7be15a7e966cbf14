#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "commands/commands.h"
#include "commands/percentileoption.h"
#include "commands/rangeoptions.h"
#include "figures/livesummary.h"
#include "figures/statisticscolumns.h"
#include "tables/latestvalues.h"
#include "tables/namewidth.h"
#include "tables/statisticstable.h"
#include "terminal/screen.h"
#include "terminal/stopsignal.h"
#include "terminal/terminaltext.h"
#include "text/numbers.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

constexpr std::chrono::milliseconds kBetweenLooks{200};

struct ShowOptions {
    std::string journal;
    std::string sortColumn = "name";
    bool follows = false;
    PercentileOption percentiles;
    RangeOptions range;
};

/// Those that the user asks for, and the usual ones where the run has some.
std::vector<Percentile> PercentilesFor(const std::vector<Statistics>& rows,
                                       const ShowOptions& options) {
    const bool hasSome = std::any_of(rows.begin(), rows.end(), [](const Statistics& row) {
        return row.distribution.has_value();
    });
    return options.percentiles.Chosen(hasSome ? UsualPercentiles() : std::vector<Percentile>());
}

bool Fits(const std::vector<std::string>& table, const Output& output) {
    return !output.IsTerminal() || std::all_of(table.begin(), table.end(), [&](const auto& line) {
        return kzterminal::WidthOf(line) <= output.Width();
    });
}

std::vector<std::string> LinesOf(RunReader& run, std::vector<Statistics> rows,
                                 const ShowOptions& options, const Output& output,
                                 const LatestValues* latest) {
    SortBy(options.sortColumn, rows);
    std::vector<std::string> sparklines;
    if (latest != nullptr)
        for (const Statistics& row : rows) sparklines.push_back(latest->LineOf(row.name));
    const std::vector<Percentile> percentiles = PercentilesFor(rows, options);
    std::vector<std::string> lines =
        TableOf(rows, percentiles, {NameWidth(output)}, sparklines).Lines();
    // A type is as wide as three numbers, and says less.
    if (!Fits(lines, output))
        lines = TableOf(rows, percentiles, {NameWidth(output), false}, sparklines).Lines();
    const std::vector<std::string> notes = DescribeNotes(run);
    lines.insert(lines.begin(), notes.begin(), notes.end());
    lines.insert(lines.begin(), DescribeRun(run, options.range.RangeOf(run)));
    return lines;
}

void Print(const std::vector<std::string>& lines, Output& output) {
    for (const std::string& line : lines) output.WriteLine(output.Fit(line));
}

/// Draws the table again with each slice until the run has ended or the user has seen enough.
void FollowOnScreen(RunReader& run, const ShowOptions& options, Output& output) {
    LatestValues latest;
    LiveSummary summary;
    kzterminal::Screen screen(output);
    bool hasEnded = false;
    do {
        hasEnded = run.HasEnded();
        latest.Update(run);
        const SliceRange range = options.range.RangeOf(run);
        summary.Update(run, range);
        screen.Draw(
            LinesOf(run, StatisticsOf(summary, SecondsOf(run, range)), options, output, &latest));
    } while (!hasEnded && !kzterminal::WaitForStop(kBetweenLooks));
}

std::string LineOf(const kzjournal::Slice& slice, std::size_t position,
                   const std::vector<Percentile>& percentiles) {
    const CKZStatMessageRecord& record = slice.records[position];
    const auto number = [](double value) { return std::string(" ").append(ReadableNumber(value)); };
    std::string line = ReadableNumber(slice.elapsed) + " " +
                       kzterminal::Printable(TextOf(record.name)) + " count" +
                       number(record.lasts.count);
    if (record.lasts.count > 0)
        line += " min" + number(record.lasts.minimum) + " mean" + number(record.lasts.Average()) +
                " max" + number(record.lasts.maximum) + " sum" + number(record.lasts.sum);
    CKZStatDistribution distribution;
    if (slice.ReadDistribution(position, distribution) && record.lasts.count > 0)
        for (const Percentile& percentile : percentiles)
            line += " " + percentile.title + number(distribution.Quantile(percentile.quantile));
    return line;
}

/// As the reader selects slices: the range that a slice covers selects that slice.
bool IsIn(RunReader& run, const kzjournal::TimeRange& range, const kzjournal::Slice& slice) {
    const double begin = slice.elapsed - run.Facts().sliceLength;
    return run.CountSlices({std::max(range.from, begin), std::min(range.to, slice.elapsed)}) > 0;
}

/// Writes a line per name with each slice in the range, for programs that read along and choose for
/// themselves: the load bounds nothing.
void FollowInLines(RunReader& run, const ShowOptions& options, Output& output) {
    const std::vector<Percentile> percentiles = options.percentiles.Chosen(UsualPercentiles());
    int lastSliceId = 0;
    bool hasEnded = false;
    do {
        hasEnded = run.HasEnded();
        const SliceRange range = options.range.RangeWithoutLoad(run);
        run.ForEachSliceAfter(lastSliceId, [&](const kzjournal::Slice& slice) {
            lastSliceId = slice.id;
            if (!IsIn(run, range, slice)) return;
            for (std::size_t i = 0; i < slice.records.size(); ++i)
                output.WriteLine(LineOf(slice, i, percentiles));
        });
        output.Flush();
    } while (!hasEnded && !kzterminal::WaitForStop(kBetweenLooks));
}

/// Of percentiles: the parser has refused everything else.
void RefuseToSortByWhatIsNotShown(const ShowOptions& options) {
    const std::vector<std::string> columns =
        SortableColumns(options.percentiles.Chosen(UsualPercentiles()));
    if (std::find(columns.begin(), columns.end(), options.sortColumn) == columns.end())
        throw UsageError("--sort", options.sortColumn + " is not shown; see --percentiles");
}

ExitStatus Show(const ShowOptions& options, const RunOpener& runs, Output& output) {
    RefuseToSortByWhatIsNotShown(options);
    CheckJournals({options.journal});
    const std::unique_ptr<RunReader> run = runs.Open(options.journal);
    if (options.follows) {
        kzterminal::CatchStopSignals();
        if (!output.CanRedraw()) {
            FollowInLines(*run, options, output);
            TellOnStandardError(DescribeJournal(*run, options.journal));
            return kDone;
        }
        FollowOnScreen(*run, options, output);
    }
    std::vector<Statistics> rows = StatisticsOf(*run, options.range.RangeOf(*run));
    Print(LinesOf(*run, std::move(rows), options, output, nullptr), output);
    return kDone;
}

}  // namespace

void DeclareShow(CommandLine& line, const RunOpener& runs) {
    Command command = line.AddCommand("show", "Print a table with a row per name");
    const auto options = std::make_shared<ShowOptions>();
    DeclareJournal(command, "RUN", options->journal);
    command.Add("--sort", options->sortColumn, "The column to sort by; numbers in descending order")
        .OneOf(SortableColumns(UsualPercentiles()),
               [](const std::string& title) { return FindPercentile(title).has_value(); })
        .ValueName("COLUMN");
    command.AddFlag("--follow", options->follows,
                    "Continue until the run ends: redraw the table on a terminal, otherwise"
                    " print a line per name and slice");
    options->percentiles.Declare(command,
                                 "The percentiles to show, such as 50,99.9; by default 50,95,99");
    options->range.Declare(command);
    command.Footer("Example: kzstat show run.kzj --sort mean --skip-warmup");
    command.Does([options, &runs](Output& output) { return Show(*options, runs, output); });
}

}  // namespace kzstatprogram

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "commands/commands.h"
#include "commands/percentileoption.h"
#include "commands/rangeoptions.h"
#include "figures/interruptions.h"
#include "figures/livesummary.h"
#include "figures/saturation.h"
#include "figures/statisticscolumns.h"
#include "tables/latestvalues.h"
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

using Lines = std::vector<Output::Line>;

/// What a table shows beside the figures of the range.
struct Beside {
    std::optional<Saturation> saturation;
    std::vector<Interruption> interruptions;
    const LatestValues* latest = nullptr;
};

Lines LinesOf(RunReader& run, std::vector<Statistics> rows, const ShowOptions& options,
              const Output& output, const Beside& beside) {
    SortBy(options.sortColumn, rows);
    Lines lines;
    for (std::string& line : DescribeRun(run, options.range.RangeOf(run)))
        lines.push_back({std::move(line)});
    if (beside.saturation)
        lines.push_back({kzconditions::DescribeSaturation(*beside.saturation), Output::Bad});
    for (std::string& line : DescribeInterruptions(run, beside.interruptions))
        lines.push_back({std::move(line), Output::Bad});
    for (std::string& line : DescribeNotes(run)) lines.push_back({std::move(line)});
    const TableContents contents{PercentilesFor(rows, options),
                                 options.percentiles.numbers.has_value(), beside.latest};
    const std::size_t room = output.IsTerminal() ? output.Width() : std::string::npos;
    for (Output::Line& line : TableOf(rows, contents, room)) lines.push_back(std::move(line));
    return lines;
}

void Print(const Lines& lines, Output& output) {
    for (const Output::Line& line : lines) output.WriteLine(output.Fit(line.text), line.style);
}

/// Whether a run that is followed has come to its end. Asked before it is read: what it has then is
/// all.
enum class Ending { None, Ended, Abandoned };

Ending EndingOf(RunReader& run) {
    if (run.HasEnded()) return Ending::Ended;
    return run.IsAbandoned() ? Ending::Abandoned : Ending::None;
}

/// Draws the table again with each slice until the run has ended or the user has seen enough.
Ending FollowOnScreen(RunReader& run, const ShowOptions& options, Output& output) {
    LatestValues latest;
    LiveSummary summary;
    SaturationFinder saturation(run.Facts().sliceLength);
    InterruptionFinder interruptions(run.Facts().sliceLength);
    kzterminal::Screen screen(output);
    Ending ending = Ending::None;
    do {
        ending = EndingOf(run);
        latest.Update(run);
        const SliceRange range = options.range.RangeOf(run);
        summary.Update(run, range);
        AddNews(run, saturation);
        interruptions.Update(run);
        screen.Draw(
            LinesOf(run, StatisticsOf(summary, SecondsOf(run, range)), options, output,
                    {saturation.Get(), Within(interruptions.Get(), range.Time()), &latest}));
    } while (ending == Ending::None && !kzterminal::WaitForStop(kBetweenLooks));
    return ending;
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
Ending FollowInLines(RunReader& run, const ShowOptions& options, Output& output) {
    const std::vector<Percentile> percentiles = options.percentiles.Chosen(UsualPercentiles());
    int lastSliceId = 0;
    Ending ending = Ending::None;
    do {
        ending = EndingOf(run);
        const SliceRange range = options.range.RangeWithoutLoad(run);
        run.ForEachSliceAfter(lastSliceId, [&](const kzjournal::Slice& slice) {
            lastSliceId = slice.id;
            if (!IsIn(run, range, slice)) return;
            for (std::size_t i = 0; i < slice.records.size(); ++i)
                output.WriteLine(LineOf(slice, i, percentiles));
        });
        output.Flush();
    } while (ending == Ending::None && !kzterminal::WaitForStop(kBetweenLooks));
    return ending;
}

void PrintTable(RunReader& run, const ShowOptions& options, const RunOpener& runs, Output& output) {
    const SliceRange range = options.range.RangeOf(run);
    const Beside beside{FindSaturation(run, runs, options.journal, range.underLoad),
                        FindInterruptions(run, runs, options.journal, range.Time())};
    Print(LinesOf(run, StatisticsOf(run, range), options, output, beside), output);
}

/// On a terminal the table stays as it was at the end.
void Follow(RunReader& run, const ShowOptions& options, const RunOpener& runs, Output& output) {
    kzterminal::CatchStopSignals();
    Ending ending = Ending::None;
    if (output.CanRedraw()) {
        ending = FollowOnScreen(run, options, output);
        PrintTable(run, options, runs, output);
        output.Flush();
    } else {
        ending = FollowInLines(run, options, output);
    }
    const std::string news = DescribeJournal(run, options.journal);
    if (ending == Ending::Abandoned)
        TellOnStandardError(news + "; the process that wrote it is gone");
    else if (!output.CanRedraw())
        TellOnStandardError(news);
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
    if (options.follows)
        Follow(*run, options, runs, output);
    else
        PrintTable(*run, options, runs, output);
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

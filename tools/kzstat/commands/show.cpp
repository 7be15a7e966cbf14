#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/rangeoptions.h"
#include "figures/statisticscolumns.h"
#include "kzjournalreader.h"
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
constexpr std::size_t kMinNameColumns = 20;

struct ShowOptions {
    std::string journal;
    std::string sortColumn = "name";
    bool follows = false;
    RangeOptions range;
};

/// Names of any length leave room for their numbers on a terminal, and are whole elsewhere.
std::size_t NameWidth(const Output& output) {
    if (!output.IsTerminal()) return std::string::npos;
    return std::max(output.Width() / 3, kMinNameColumns);
}

std::vector<std::string> LinesOf(kzjournal::Reader& journal, const ShowOptions& options,
                                 const Output& output, const LatestValues* latest) {
    const kzjournal::TimeRange range = options.range.RangeOf(journal);
    // Percentiles take reading the whole run, which a table that is drawn again and again cannot.
    std::vector<Statistics> rows = latest != nullptr ? StatisticsOf(journal, range)
                                                     : StatisticsWithPercentilesOf(journal, range);
    SortBy(options.sortColumn, rows);
    std::vector<std::string> sparklines;
    if (latest != nullptr)
        for (const Statistics& row : rows) sparklines.push_back(latest->LineOf(row.name));
    std::vector<std::string> lines = TableOf(rows, NameWidth(output), sparklines).Lines();
    const std::vector<std::string> notes = DescribeNotes(journal);
    lines.insert(lines.begin(), notes.begin(), notes.end());
    lines.insert(lines.begin(), DescribeRun(journal, range));
    return lines;
}

void Print(const std::vector<std::string>& lines, Output& output) {
    for (const std::string& line : lines) output.WriteLine(output.Fit(line));
}

/// Draws the table again with each slice until the run has ended or the user has seen enough.
void FollowOnScreen(kzjournal::Reader& journal, const ShowOptions& options, Output& output) {
    LatestValues latest;
    kzterminal::Screen screen(output);
    bool hasEnded = false;
    do {
        hasEnded = journal.HasEnded();
        latest.Update(journal);
        screen.Draw(LinesOf(journal, options, output, &latest));
    } while (!hasEnded && !kzterminal::WaitForStop(kBetweenLooks));
}

std::string LineOf(const kzjournal::Slice& slice, const CKZStatMessageRecord& record) {
    const auto number = [](double value) { return std::string(" ").append(ReadableNumber(value)); };
    std::string line = ReadableNumber(slice.elapsed) + " " +
                       kzterminal::Printable(TextOf(record.name)) + " count" +
                       number(record.lasts.count);
    if (record.lasts.count > 0)
        line += " min" + number(record.lasts.minimum) + " mean" + number(record.lasts.Average()) +
                " max" + number(record.lasts.maximum) + " sum" + number(record.lasts.sum);
    return line;
}

/// Writes a line per name with each slice, for programs that read along.
void FollowInLines(kzjournal::Reader& journal, Output& output) {
    int lastSliceId = 0;
    bool hasEnded = false;
    do {
        hasEnded = journal.HasEnded();
        journal.ForEachSliceAfter(lastSliceId, [&](const kzjournal::Slice& slice) {
            for (const CKZStatMessageRecord& record : slice.records)
                output.WriteLine(LineOf(slice, record));
            lastSliceId = slice.id;
        });
        output.Flush();
    } while (!hasEnded && !kzterminal::WaitForStop(kBetweenLooks));
}

ExitStatus Show(const ShowOptions& options, Output& output) {
    CheckJournals({options.journal});
    kzjournal::Reader journal(options.journal);
    if (options.follows) {
        kzterminal::CatchStopSignals();
        if (!output.CanRedraw()) {
            FollowInLines(journal, output);
            TellOnStandardError(DescribeJournal(journal, options.journal));
            return kDone;
        }
        FollowOnScreen(journal, options, output);
    }
    Print(LinesOf(journal, options, output, nullptr), output);
    return kDone;
}

}  // namespace

void DeclareShow(CommandLine& line) {
    Command command = line.AddCommand("show", "Print a table with a row per name");
    const auto options = std::make_shared<ShowOptions>();
    DeclareJournal(command, "RUN", options->journal);
    command.Add("--sort", options->sortColumn, "The column to sort by; numbers in descending order")
        .OneOf(SortableColumns())
        .ValueName("COLUMN");
    command.AddFlag("--follow", options->follows,
                    "Continue until the run ends: redraw the table on a terminal, otherwise"
                    " print a line per name and slice");
    options->range.Declare(command);
    command.Footer("Example: kzstat show run.kzj --sort mean --skip-warmup");
    command.Does([options](Output& output) { return Show(*options, output); });
}

}  // namespace kzstatprogram

#include <charconv>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "commands/commands.h"
#include "kzjournalannotate.h"
#include "ryp/clock.h"
#include "terminal/terminaltext.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

constexpr double kSecondsPerDay = 86400;

struct NoteOptions {
    std::string journal;
    std::string text;
    std::optional<std::string> at;
};

/// Takes a number of digits off the front; no value where there is none below `end`.
std::optional<int> TakeNumber(std::string_view& text, int end) {
    int number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || number < 0 || number >= end) return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
    return number;
}

bool TakeColon(std::string_view& text) {
    if (text.empty() || text.front() != ':') return false;
    text.remove_prefix(1);
    return true;
}

/// The seconds of a day of "12:03" or "12:03:10".
std::optional<double> TimeOfDay(std::string_view text) {
    const std::optional<int> hours = TakeNumber(text, 24);
    if (!hours || !TakeColon(text)) return std::nullopt;
    const std::optional<int> minutes = TakeNumber(text, 60);
    std::optional<int> seconds = 0;
    if (TakeColon(text)) seconds = TakeNumber(text, 60);
    if (!minutes || !seconds || !text.empty()) return std::nullopt;
    return *hours * 3600.0 + *minutes * 60.0 + *seconds;
}

/// The seconds of "90", "90s", "1.5m" or "2h".
std::optional<double> TimeOfRunIn(std::string_view text) {
    double number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || !(number >= 0) || !std::isfinite(number)) return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
    if (text.empty() || text == "s") return number;
    if (text == "m") return number * 60;
    if (text == "h") return number * 3600;
    return std::nullopt;
}

/// Moments of a run, to the second, as they are shown. Compatible.
struct RunSpan {
    double start;
    double end;  // infinite while the run goes on

    bool BeginsAfter(double moment) const { return moment < std::floor(start); }
    bool EndsBefore(double moment) const { return moment > end + 1; }
};

RunSpan SpanOf(RunReader& run) {
    const double start = run.Facts().startTime;
    if (!run.HasEnded()) return {start, HUGE_VAL};
    const std::optional<kzjournal::Slice> last = run.LastSlice();
    return {start, last ? last->endTime : start};
}

/// A time of day is the first such moment of the run; if there is none, that of its first day.
double MomentOf(const std::string& at, const RunSpan& run) {
    if (const std::optional<double> seconds = TimeOfDay(at)) {
        const double midnight = std::floor(run.start / kSecondsPerDay) * kSecondsPerDay;
        const double moment = midnight + *seconds;
        const double nextDay = moment + kSecondsPerDay;
        return run.BeginsAfter(moment) && !run.EndsBefore(nextDay) ? nextDay : moment;
    }
    if (const std::optional<double> seconds = TimeOfRunIn(at)) return run.start + *seconds;
    throw UsageError("--at", (at.empty() ? "an empty text" : at) +
                                 " is no time such as 90s, 1.5m, 12:03 or 12:03:10");
}

/// Empty if it is not.
std::string WhyOutside(double moment, const RunSpan& run) {
    if (run.BeginsAfter(moment))
        return WallClock(moment) + " is before the start of the run at " + WallClock(run.start);
    if (run.EndsBefore(moment))
        return WallClock(moment) + " is after the end of the run at " + WallClock(run.end);
    return {};
}

double CheckedMoment(const NoteOptions& options, RunReader& run) {
    const RunSpan span = SpanOf(run);
    const double moment = options.at ? MomentOf(*options.at, span) : RyPSysTime();
    const std::string why = WhyOutside(moment, span);
    if (why.empty()) return moment;
    if (options.at) throw UsageError("--at", why);
    throw UsageError("now, " + why + "; see --at");
}

void RefuseBlank(const std::string& text) {
    if (text.find_first_not_of(" \t\n\v\f\r") == std::string::npos)
        throw UsageError("TEXT", "it is blank");
}

ExitStatus AddNoteTo(const NoteOptions& options, const RunOpener& runs, Output& output) {
    RefuseBlank(options.text);
    CheckJournals({options.journal});
    const double moment = CheckedMoment(options, *runs.Open(options.journal));
    kzjournal::AddNote(options.journal, {moment, options.text});
    output.WriteLine(WallClock(moment) + "  " + kzterminal::Printable(options.text));
    return kDone;
}

}  // namespace

void DeclareNote(CommandLine& line, const RunOpener& runs) {
    Command command = line.AddCommand("note", "Add a note to a run, also while it is active");
    const auto options = std::make_shared<NoteOptions>();
    DeclareJournal(command, "RUN", options->journal);
    command.Add("TEXT", options->text, "The note, of at most 64 KB").Required();
    command
        .Add("--at", options->at,
             "The moment: a time of the run (90s, 1.5m) or of the day in UTC (12:03:10); now if it"
             " is left out")
        .ValueName("TIME");
    command.Footer("Example: kzstat note run.kzj --at 12:03:10 'cache cleared'");
    command.Does([options, &runs](Output& output) { return AddNoteTo(*options, runs, output); });
}

}  // namespace kzstatprogram

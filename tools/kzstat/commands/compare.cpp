#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/percentileoption.h"
#include "commands/rangeoptions.h"
#include "figures/comparison.h"
#include "figures/failcondition.h"
#include "kzjournalreader.h"
#include "tables/comparisonjson.h"
#include "tables/comparisontable.h"
#include "tables/namewidth.h"
#include "terminal/terminaltext.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

constexpr char kJson[] = "json";

struct CompareOptions {
    std::string before;
    std::string after;
    std::string format = "table";
    std::vector<std::string> conditions;
    PercentileOption percentiles;
    RangeOptions range;
};

/// What a comparison is of. Its differences point into it.
struct Runs {
    ComparedRun before;
    ComparedRun after;
};

void Print(const std::vector<ComparisonRow>& rows, Output& output) {
    const std::vector<std::string> lines = TableOf(rows, NameWidth(output)).Lines();
    for (std::size_t i = 0; i < lines.size(); ++i)
        output.WriteLine(output.Fit(lines[i]),
                         i > 0 && rows[i - 1].isSignificant ? Output::Striking : Output::Plain);
}

void PrintNames(const char* where, const std::vector<std::string>& names, Output& output) {
    for (const std::string& name : names)
        output.WriteLine(std::string("only in the ") + where +
                         " run: " + kzterminal::Printable(name));
}

/// Tells a failure as soon as it is known: a later condition may be one that cannot be checked.
ExitStatus PrintFailures(const Runs& runs, const std::vector<FailCondition>& conditions,
                         Output& output) {
    ExitStatus status = kDone;
    for (const FailCondition& condition : conditions) {
        output.Flush();
        const std::optional<std::string> failure = condition.Check(runs.before, runs.after);
        if (!failure) continue;
        output.WriteLine("failed: " + *failure, Output::Bad);
        status = kDoesNotHold;
    }
    return status;
}

ExitStatus CompareForPeople(const CompareOptions& options,
                            const std::vector<FailCondition>& conditions, Output& output) {
    const std::vector<Percentile> percentiles = options.percentiles.Chosen(UsualPercentiles());
    const auto read = [&](const std::string& path) {
        kzjournal::Reader journal(path);
        output.WriteLine(DescribeJournal(journal, path));
        return ReadForComparison(journal, options.range.RangeOf(journal));
    };
    const Runs runs{read(options.before), read(options.after)};
    Print(RowsOf(Compare(runs.before, runs.after), percentiles), output);
    PrintNames("first", OnlyIn(runs.before, runs.after), output);
    PrintNames("second", OnlyIn(runs.after, runs.before), output);
    return PrintFailures(runs, conditions, output);
}

ExitStatus CompareForPrograms(const CompareOptions& options,
                              const std::vector<FailCondition>& conditions, Output& output) {
    const std::vector<Percentile> percentiles = options.percentiles.Chosen(UsualPercentiles());
    ComparisonReport report;
    const auto read = [&](const std::string& path, ComparisonReport::Run& run) {
        kzjournal::Reader journal(path);
        run = {path, journal.Facts().id, CompletenessText(journal), {}};
        return ReadForComparison(journal, options.range.RangeOf(journal));
    };
    const Runs runs{read(options.before, report.before), read(options.after, report.after)};
    report.differences = Compare(runs.before, runs.after);
    report.before.namesOfItAlone = OnlyIn(runs.before, runs.after);
    report.after.namesOfItAlone = OnlyIn(runs.after, runs.before);
    for (const FailCondition& condition : conditions)
        if (const auto failure = condition.Check(runs.before, runs.after))
            report.failures.push_back(*failure);
    output.Write(JsonOf(report, percentiles));
    return report.failures.empty() ? kDone : kDoesNotHold;
}

ExitStatus Compare(const CompareOptions& options, const std::vector<FailCondition>& conditions,
                   Output& output) {
    CheckJournals({options.before, options.after});
    return options.format == kJson ? CompareForPrograms(options, conditions, output)
                                   : CompareForPeople(options, conditions, output);
}

/// Refuses a mistake as the rest of the command line does.
std::vector<FailCondition> ConditionsOf(const CompareOptions& options) {
    try {
        return {options.conditions.begin(), options.conditions.end()};
    } catch (const kzjournal::Error& error) {
        throw UsageError("--fail-if", error.what());
    }
}

}  // namespace

void DeclareCompare(CommandLine& line) {
    Command command =
        line.AddCommand("compare", "Compare two runs by name and mark significant differences");
    const auto options = std::make_shared<CompareOptions>();
    DeclareJournal(command, "FIRST", options->before, "The journal of the first run");
    DeclareJournal(command, "SECOND", options->after, "The journal of the second run");
    command
        .Add("--fail-if", options->conditions,
             "Exit with status 1 if a statistic changed by more than this ('login.time mean +10%'),"
             " or if that of the second run is so ('login.time p95 > 250ms')")
        .ValueName("CONDITION")
        .Repeatable();
    command.Add("--format", options->format, "table, or json for programs")
        .OneOf({options->format, kJson})
        .ValueName("FORMAT")
        .ShowsDefault();
    options->percentiles.Declare(
        command, "The percentiles to compare, such as 50,99.9; by default 50,95,99");
    options->range.Declare(command);
    command.Footer(
        "A '*' marks names with p < 0.01. Expect about 1 % false positives.\n"
        "Example: kzstat compare old.kzj new.kzj --fail-if 'login.time p95 > 250ms'");
    command.Does(
        [options](Output& output) { return Compare(*options, ConditionsOf(*options), output); });
}

}  // namespace kzstatprogram

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "commands/commands.h"
#include "commands/comparisonoptions.h"
#include "commands/rangeoptions.h"
#include "figures/comparedsides.h"
#include "figures/comparison.h"
#include "figures/failcondition.h"
#include "figures/interruptions.h"
#include "tables/comparisonjson.h"
#include "tables/comparisontable.h"
#include "tables/namewidth.h"
#include "terminal/terminaltext.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

constexpr char kJson[] = "json";

struct CompareOptions {
    std::vector<std::vector<std::string>> groups;
    std::string format = "table";
    std::vector<std::string> conditions;
    ComparisonOptions comparison;
    RangeOptions range;
};

using Paths = std::vector<std::string>;

/// What the user wants compared. Compatible.
struct Sides {
    Paths before;
    Paths after;
};

Sides SidesOf(const CompareOptions& options) {
    const auto& groups = options.groups;
    if (groups.size() == 1 && groups[0].size() == 2) return {{groups[0][0]}, {groups[0][1]}};
    if (groups.size() == 2 && !groups[0].empty() && !groups[1].empty())
        return {groups[0], groups[1]};
    throw UsageError("name two runs, or several runs a side with -- between the sides");
}

using ReadRun = std::function<ComparedRun(const std::string& path)>;

std::vector<ComparedRun> ReadAll(const Paths& paths, const ReadRun& read) {
    std::vector<ComparedRun> runs;
    for (const std::string& path : paths) runs.push_back(read(path));
    return runs;
}

ComparedSides Read(const Sides& sides, const ReadRun& readBefore, const ReadRun& readAfter) {
    std::vector<ComparedRun> before = ReadAll(sides.before, readBefore);
    return SidesOf(std::move(before), ReadAll(sides.after, readAfter));
}

void Print(const std::vector<ComparisonRow>& rows, Output& output) {
    const std::vector<std::string> lines = TableOf(rows, NameWidth(output)).Lines();
    for (std::size_t i = 0; i < lines.size(); ++i)
        output.WriteLine(output.Fit(lines[i]),
                         i > 0 && rows[i - 1].isMarked ? Output::Striking : Output::Plain);
}

/// Says why names are not marked that might differ: once for all of them.
void PrintReasons(const ComparedSides& compared, const std::vector<Difference>& differences,
                  Output& output) {
    if (const auto reason = ReasonWhyNothingIsTested(compared.before, compared.after)) {
        output.WriteLine(*reason);
        return;
    }
    const auto untested = std::count_if(
        differences.begin(), differences.end(),
        [](const Difference& each) { return each.finding == Finding::TooFewSamples; });
    const bool areSlices = compared.before.sampling == Sampling::Slices;
    if (untested > 0)
        output.WriteLine("not tested: " + std::to_string(untested) + " of " +
                         std::to_string(differences.size()) + " names, with values in fewer than " +
                         std::to_string(areSlices ? kLeastSlices : kLeastRuns) +
                         (areSlices ? " slices" : " runs") + " of a side");
}

void PrintNames(const char* where, const std::vector<std::string>& names, bool areSides,
                Output& output) {
    for (const std::string& name : names)
        output.WriteLine(std::string("only in the ") + where + (areSides ? " runs: " : " run: ") +
                         kzterminal::Printable(name));
}

/// What came of all conditions, as printable lines. Compatible.
struct FailFindings {
    std::vector<std::string> failures;
    std::vector<std::string> unknown;  ///< what cannot be told

    ExitStatus Status() const {
        if (!failures.empty()) return kDoesNotHold;
        return unknown.empty() ? kDone : kFailed;
    }
};

FailFindings Check(const std::vector<FailCondition>& conditions, const ComparedSides& sides) {
    using kzconditions::Outcome;
    FailFindings findings;
    for (const FailCondition& condition : conditions) {
        FailFinding finding = condition.Check(sides.before, sides.after);
        if (finding.outcome == Outcome::Failed)
            findings.failures.push_back(std::move(finding.line));
        else if (finding.outcome == Outcome::CannotTell)
            findings.unknown.push_back(std::move(finding.line));
    }
    return findings;
}

void Print(const FailFindings& findings, Output& output) {
    for (const std::string& line : findings.failures)
        output.WriteLine("failed: " + line, Output::Bad);
    for (const std::string& line : findings.unknown)
        output.WriteLine("cannot tell: " + line, Output::Bad);
}

ExitStatus CompareForPeople(const CompareOptions& options, const Sides& sides,
                            const std::vector<FailCondition>& conditions, const RunOpener& runs,
                            Output& output) {
    const std::vector<Percentile> percentiles = options.comparison.Percentiles();
    const Sampling sampling = SamplingOf(sides.before.size(), sides.after.size());
    const auto read = [&](const std::string& path) {
        const std::unique_ptr<RunReader> run = runs.Open(path);
        const SliceRange range = options.range.RangeWithSlicesOf(*run, path);
        output.WriteLine(DescribeJournal(*run, path));
        // The figures of a run that stood still are not those of one that did not.
        for (const std::string& line : DescribeInterruptions(*run, runs, path, range.Time()))
            output.WriteLine(kzterminal::Printable(path) + ": " + line, Output::Bad);
        return ReadForComparison(*run, range, sampling, percentiles);
    };
    const ComparedSides compared = Read(sides, read, read);
    const std::vector<Difference> differences =
        Compare(compared.before, compared.after, options.comparison.Least(), percentiles);
    const bool areSides = compared.before.sampling == Sampling::Runs;
    Print(RowsOf(differences), output);
    PrintReasons(compared, differences, output);
    PrintNames("first", compared.onlyBefore, areSides, output);
    PrintNames("second", compared.onlyAfter, areSides, output);
    const FailFindings findings = Check(conditions, compared);
    Print(findings, output);
    return findings.Status();
}

ExitStatus CompareForPrograms(const CompareOptions& options, const Sides& sides,
                              const std::vector<FailCondition>& conditions, const RunOpener& runs,
                              Output& output) {
    const std::vector<Percentile> percentiles = options.comparison.Percentiles();
    const Sampling sampling = SamplingOf(sides.before.size(), sides.after.size());
    ComparisonReport report;
    const auto readInto = [&](ComparisonReport::Side& side) {
        return [&, &side = side](const std::string& path) {
            const std::unique_ptr<RunReader> run = runs.Open(path);
            const SliceRange range = options.range.RangeWithSlicesOf(*run, path);
            side.runs.push_back({path, run->Facts().id, CompletenessText(*run),
                                 DescribeInterruptions(*run, runs, path, range.Time())});
            return ReadForComparison(*run, range, sampling, percentiles);
        };
    };
    const ComparedSides compared = Read(sides, readInto(report.before), readInto(report.after));
    report.Add(compared, options.comparison.Least(), percentiles);
    const FailFindings findings = Check(conditions, compared);
    report.failures = findings.failures;
    report.unknown = findings.unknown;
    output.Write(JsonOf(report));
    return findings.Status();
}

ExitStatus Compare(const CompareOptions& options, const std::vector<FailCondition>& conditions,
                   const RunOpener& runs, Output& output) {
    const Sides sides = SidesOf(options);
    Paths all = sides.before;
    all.insert(all.end(), sides.after.begin(), sides.after.end());
    CheckJournals(all);
    return options.format == kJson ? CompareForPrograms(options, sides, conditions, runs, output)
                                   : CompareForPeople(options, sides, conditions, runs, output);
}

/// Refuses a mistake as the rest of the command line does.
std::vector<FailCondition> ConditionsOf(const CompareOptions& options) {
    std::vector<kzconditions::Condition> conditions;
    try {
        kzconditions::AddNew(kzconditions::ConditionsOf(options.conditions), conditions);
    } catch (const kzjournal::Error& error) {
        throw UsageError("--fail-if", error.what());
    }
    return {conditions.begin(), conditions.end()};
}

}  // namespace

void DeclareCompare(CommandLine& line, const RunOpener& runs) {
    Command command =
        line.AddCommand("compare", "Compare two runs by name and mark significant differences");
    const auto options = std::make_shared<CompareOptions>();
    command
        .AddGroups("RUN", options->groups,
                   "The journals of two runs, or of several runs a side: A1 A2 A3 -- B1 B2 B3")
        .Required()
        .ValueName("FILE");
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
    options->comparison.Declare(command);
    options->range.Declare(command);
    command.Footer(
        "A '*' marks means, rates and percentiles whose difference is at least that of --least\n"
        "and has p < 0.01. Of two runs, slices are the samples: at least 30 a side. Of several,\n"
        "runs are: at least 2 a side.\n"
        "Expect false positives in about 1 % of the names.\n"
        "Exits with status 1 if a condition failed, and else 2 if one cannot be told.\n"
        "Example: kzstat compare old.kzj new.kzj --fail-if 'login.time p95 > 250ms'");
    command.Does([options, &runs](Output& output) {
        return Compare(*options, ConditionsOf(*options), runs, output);
    });
}

}  // namespace kzstatprogram

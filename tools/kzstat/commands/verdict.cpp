#include "conditions/verdict.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/rangeoptions.h"
#include "conditions/conditionfile.h"
#include "figures/figuresofstatistics.h"
#include "figures/statistics.h"
#include "tables/verdictformats.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

using kzconditions::Condition;
using kzconditions::Outcome;

struct VerdictOptions {
    std::string journal;
    std::vector<std::string> conditions;
    std::optional<std::string> conditionsFile;
    std::optional<std::string> baseline;
    std::string format = "text";
    RangeOptions range;
};

struct Format {
    const char* name;
    std::string (*write)(const VerdictReport& report);
};
constexpr Format kFormats[] = {
    {"text", TextOf}, {"json", JsonOf}, {"junit", JUnitOf}, {"github", WorkflowCommandsOf}};

std::vector<std::string> FormatNames() {
    std::vector<std::string> names;
    for (const Format& each : kFormats) names.emplace_back(each.name);
    return names;
}

std::string Write(const VerdictReport& report, const std::string& format) {
    for (const Format& each : kFormats)
        if (format == each.name) return each.write(report);
    return {};
}

/// What the command line says must be so. Throws UsageError.
std::vector<Condition> ConditionsOf(const VerdictOptions& options) {
    std::vector<Condition> conditions;
    try {
        conditions = kzconditions::ConditionsOf(options.conditions);
    } catch (const kzjournal::Error& error) {
        throw UsageError("--require", error.what());
    }
    if (options.conditionsFile)
        for (Condition& each : kzconditions::ReadConditions(*options.conditionsFile))
            conditions.push_back(std::move(each));
    return conditions;
}

/// A run as far as it is judged. Compatible.
struct JudgedRun {
    VerdictReport::Run facts;
    std::vector<Statistics> statistics;
};

JudgedRun ReadForVerdict(RunReader& run, const std::string& path, const RangeOptions& range) {
    return {{path, run.Facts().id, run.Facts().generator, CompletenessText(run)},
            StatisticsOf(run, range.RangeOf(run))};
}

ExitStatus StatusOf(Outcome verdict) {
    if (verdict == Outcome::Passed) return kDone;
    return verdict == Outcome::Failed ? kDoesNotHold : kFailed;
}

ExitStatus Judge(const VerdictOptions& options, const RunOpener& runs, Output& output) {
    const std::vector<Condition> conditions = ConditionsOf(options);
    std::vector<std::string> journals{options.journal};
    if (options.baseline) journals.push_back(*options.baseline);
    CheckJournals(journals);
    const std::unique_ptr<RunReader> run = runs.Open(options.journal);
    if (conditions.empty())
        throw UsageError("no condition was given; see --require and --conditions");
    const JudgedRun judged = ReadForVerdict(*run, options.journal, options.range);
    JudgedRun baseline;
    if (options.baseline)
        baseline = ReadForVerdict(*runs.Open(*options.baseline), *options.baseline, options.range);

    const FiguresOfStatistics figures("the run", judged.statistics);
    const FiguresOfStatistics before("the baseline", baseline.statistics);
    VerdictReport report{judged.facts, std::nullopt, {}, {}};
    if (options.baseline) report.baseline = baseline.facts;
    report.judgements = kzconditions::JudgeAll(conditions, kzconditions::Demand::Must, figures,
                                               options.baseline ? &before : nullptr);
    output.Write(Write(report, options.format));
    return StatusOf(kzconditions::VerdictOf(report.judgements));
}

}  // namespace

void DeclareVerdict(CommandLine& line, const RunOpener& runs) {
    Command command =
        line.AddCommand("verdict", "Say by conditions whether a run passed, for CI systems");
    const auto options = std::make_shared<VerdictOptions>();
    DeclareJournal(command, "RUN", options->journal);
    command
        .Add("--require", options->conditions,
             "What must be so: 'request.time p95 < 250ms', 'errors share < 1%', or, with"
             " --baseline, by how much it may change: 'request.time p95 +10%'")
        .ValueName("CONDITION")
        .Repeatable();
    command
        .Add("--conditions", options->conditionsFile,
             "A file of conditions, one per line; lines that begin with # are comments")
        .ValueName("FILE");
    command.Add("--baseline", options->baseline, "The journal of the run to compare with")
        .ValueName("FILE");
    command.Add("--format", options->format, "For people, for programs, or as CI systems read it")
        .OneOf(FormatNames())
        .ValueName("FORMAT")
        .ShowsDefault();
    options->range.Declare(command);
    command.Footer(
        "Exits with status 0 if all conditions passed, 1 if one failed, and 2 if one cannot be"
        " told.\n"
        "Example: kzstat verdict run.kzj --require 'request.time p95 < 250ms'");
    command.Does([options, &runs](Output& output) { return Judge(*options, runs, output); });
}

}  // namespace kzstatprogram

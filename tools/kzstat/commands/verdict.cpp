#include "conditions/verdict.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/rangeoptions.h"
#include "conditions/conditionfile.h"
#include "conditions/earlystop.h"
#include "figures/figuresofstatistics.h"
#include "figures/interruptions.h"
#include "figures/saturation.h"
#include "figures/statistics.h"
#include "kzjournalannotate.h"
#include "tables/verdictformats.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

using kzconditions::Condition;
using kzconditions::Judgement;
using kzconditions::Outcome;

struct VerdictOptions {
    std::string journal;
    std::vector<std::string> conditions;
    std::optional<std::string> conditionsFile;
    std::optional<std::string> baseline;
    bool stores = false;
    std::string format = "text";
    RangeOptions range;
};

struct Format {
    const char* name;
    std::string (*write)(const VerdictReport& report);
};
constexpr char kRun[] = "the run";
constexpr char kBaseline[] = "the baseline";
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
        kzconditions::AddNew(kzconditions::ConditionsOf(options.conditions), conditions);
    } catch (const kzjournal::Error& error) {
        throw UsageError("--require", error.what());
    }
    if (options.conditionsFile)
        kzconditions::AddNew(kzconditions::ReadConditions(*options.conditionsFile), conditions);
    return conditions;
}

/// A run as far as it is judged. Compatible.
struct JudgedRun {
    VerdictReport::Run facts;
    std::vector<Statistics> statistics;
    std::vector<std::string> warnings;
    std::vector<std::string> conditions;  ///< that are stored in it
    std::optional<Judgement> earlyStop;   ///< if it was stopped early
};

/// What makes the figures of a run say less than they seem to. A format says by itself that it is a
/// warning.
std::vector<std::string> WarningsOf(RunReader& run, const RunOpener& runs, const std::string& path,
                                    const char* title, const SliceRange& range) {
    using State = kzjournal::Completeness::State;
    std::vector<std::string> warnings;
    const State state = run.GetCompleteness().state;
    if (state == State::Lacking) warnings.push_back(std::string(title) + " lacks slices");
    if (state == State::NotEnded)
        warnings.push_back(std::string(title) + " has not ended, or was killed");
    if (const auto saturation = FindSaturation(run, runs, path, range.underLoad))
        warnings.push_back(std::string(title) + ": " + kzconditions::SaturationText(*saturation));
    for (const std::string& line : DescribeInterruptions(run, runs, path, range.Time()))
        warnings.push_back(std::string(title) + ": " + line);
    return warnings;
}

JudgedRun ReadForVerdict(const RunOpener& runs, const std::string& path, const char* title,
                         const RangeOptions& options) {
    const std::unique_ptr<RunReader> run = runs.Open(path);
    const SliceRange range = options.RangeOf(*run);
    return {{path, run->Facts().id, run->Facts().generator, CompletenessText(*run)},
            StatisticsOf(*run, range),
            WarningsOf(*run, runs, path, title, range),
            run->Conditions(),
            kzconditions::EarlyStopIn(run->Notes())};
}

ExitStatus StatusOf(Outcome verdict) {
    if (verdict == Outcome::Passed) return kDone;
    return verdict == Outcome::Failed ? kDoesNotHold : kFailed;
}

/// What a run has stored may be no condition.
bool MeansTheSame(const std::string& stored, const Condition& condition) {
    try {
        return kzconditions::MeanTheSame(kzconditions::ConditionOf(stored), condition);
    } catch (const kzjournal::Error&) {
        return false;
    }
}

/// Those that the run does not have yet.
void Store(const std::vector<Condition>& conditions, const JudgedRun& run) {
    std::vector<std::string> added;
    for (const Condition& each : conditions)
        if (std::none_of(run.conditions.begin(), run.conditions.end(),
                         [&](const std::string& stored) { return MeansTheSame(stored, each); }))
            added.push_back(each.text);
    if (!added.empty()) kzjournal::AddConditions(run.facts.path, added);
}

/// By what the command line says or else by what the run has stored; one that was stopped early
/// has failed besides. `baseline` may be null.
std::vector<Judgement> Judge(const std::vector<Condition>& given, const JudgedRun& run,
                             const JudgedRun* baseline) {
    using kzconditions::Demand;
    const FiguresOfStatistics figures(kRun, run.statistics);
    std::optional<FiguresOfStatistics> before;
    if (baseline != nullptr) before.emplace(kBaseline, baseline->statistics);
    const FiguresOfStatistics* const with = before ? &*before : nullptr;
    std::vector<Judgement> judgements =
        given.empty() ? kzconditions::JudgeTexts(run.conditions, Demand::Must, figures, with)
                      : kzconditions::JudgeAll(given, Demand::Must, figures, with);
    if (run.earlyStop) judgements.push_back(*run.earlyStop);
    return judgements;
}

VerdictReport ReportOf(std::vector<Judgement> judgements, const JudgedRun& run,
                       const JudgedRun* baseline) {
    VerdictReport report{run.facts, std::nullopt, run.warnings, std::move(judgements)};
    if (baseline == nullptr) return report;
    report.baseline = baseline->facts;
    report.warnings.insert(report.warnings.end(), baseline->warnings.begin(),
                           baseline->warnings.end());
    if (baseline->earlyStop)
        report.warnings.push_back(std::string(kBaseline) +
                                  " was stopped early: " + baseline->earlyStop->text);
    return report;
}

ExitStatus Verdict(const VerdictOptions& options, const RunOpener& runs, Output& output) {
    const std::vector<Condition> given = ConditionsOf(options);
    if (options.stores && given.empty()) throw UsageError("--store", "no condition was given");
    std::vector<std::string> journals{options.journal};
    if (options.baseline) journals.push_back(*options.baseline);
    CheckJournals(journals);
    const JudgedRun run = ReadForVerdict(runs, options.journal, kRun, options.range);
    if (given.empty() && run.conditions.empty() && !run.earlyStop)
        throw UsageError(
            "no condition was given, and the run has none; see --require and --conditions");
    std::optional<JudgedRun> baseline;
    if (options.baseline)
        baseline = ReadForVerdict(runs, *options.baseline, kBaseline, options.range);
    if (options.stores) Store(given, run);

    const JudgedRun* const before = baseline ? &*baseline : nullptr;
    const VerdictReport report = ReportOf(Judge(given, run, before), run, before);
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
    command.AddFlag("--store", options->stores,
                    "Store the conditions in the run, by which it is judged where none are given");
    command.Add("--format", options->format, "For people, for programs, or as CI systems read it")
        .OneOf(FormatNames())
        .ValueName("FORMAT")
        .ShowsDefault();
    options->range.Declare(command);
    command.Footer(
        "Exits with status 0 if all conditions passed, 1 if one failed or the run was stopped "
        "early,"
        " and 2\nif one cannot be told.\n"
        "Example: kzstat verdict run.kzj --require 'request.time p95 < 250ms'");
    command.Does([options, &runs](Output& output) { return Verdict(*options, runs, output); });
}

}  // namespace kzstatprogram

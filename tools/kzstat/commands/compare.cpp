#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/rangeoptions.h"
#include "figures/comparison.h"
#include "figures/failcondition.h"
#include "kzjournalreader.h"
#include "terminal/table.h"
#include "terminal/terminaltext.h"
#include "text/numbers.h"

namespace kzstatprogram {
namespace {

using kzterminal::Table;

/// Rarer than that by chance counts as a change.
constexpr double kSignificance = 0.01;

struct CompareOptions {
    std::string before;
    std::string after;
    std::vector<std::string> conditions;
    RangeOptions range;
};

bool IsChanged(const Difference& difference) {
    return difference.probability && *difference.probability < kSignificance;
}

std::string ProbabilityText(const std::optional<double>& probability) {
    if (!probability) return "-";
    return *probability < 0.001 ? "<0.001" : ReadableNumber(*probability);
}

std::string Signed(double value) {
    return std::string(value > 0 ? "+" : "").append(ReadableNumber(value));
}

std::string ShareText(double from, double to) {
    if (from == 0) return "-";
    return Signed(100 * (to - from) / std::abs(from)) + "%";
}

/// What the means are means of.
std::string Quantity(const Statistics& row) {
    if (row.deviation) return std::string("mean ").append(row.unit);
    return IsLevel(row.type) ? "level" : "rate/s";
}

Table TableOf(const std::vector<Difference>& differences) {
    Table table({{"", Table::Left},
                 {"name", Table::Left},
                 {"of", Table::Left},
                 {"first", Table::Right},
                 {"second", Table::Right},
                 {"difference", Table::Right},
                 {"", Table::Right},
                 {"p", Table::Right}});
    for (const Difference& each : differences) {
        const double from = each.sampleBefore.mean;
        const double to = each.sampleAfter.mean;
        table.Add({IsChanged(each) ? "*" : " ", kzterminal::Printable(each.before->name),
                   Quantity(*each.before), ReadableNumber(from), ReadableNumber(to),
                   Signed(to - from), ShareText(from, to), ProbabilityText(each.probability)});
    }
    return table;
}

void Print(const std::vector<Difference>& differences, Output& output) {
    const std::vector<std::string> lines = TableOf(differences).Lines();
    for (std::size_t i = 0; i < lines.size(); ++i)
        output.WriteLine(lines[i],
                         i > 0 && IsChanged(differences[i - 1]) ? Output::Striking : Output::Plain);
}

void PrintNames(const char* where, const std::vector<std::string>& names, Output& output) {
    for (const std::string& name : names)
        output.WriteLine(std::string("only in the ") + where +
                         " run: " + kzterminal::Printable(name));
}

ExitStatus Compare(const CompareOptions& options, const std::vector<FailCondition>& conditions,
                   Output& output) {
    CheckJournals({options.before, options.after});
    const auto read = [&](const std::string& path) {
        kzjournal::Reader journal(path);
        output.WriteLine(DescribeJournal(journal, path));
        return ReadForComparison(journal, options.range.RangeOf(journal));
    };
    const ComparedRun before = read(options.before);
    const ComparedRun after = read(options.after);
    Print(Compare(before, after), output);
    PrintNames("first", OnlyIn(before, after), output);
    PrintNames("second", OnlyIn(after, before), output);

    ExitStatus status = kDone;
    for (const FailCondition& condition : conditions) {
        const std::optional<std::string> change = condition.Check(before, after);
        if (!change) continue;
        output.WriteLine("failed: " + *change, Output::Bad);
        status = kDoesNotHold;
    }
    return status;
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
    options->range.Declare(command);
    command.Footer(
        "A '*' marks names with p < 0.01. Expect about 1 % false positives.\n"
        "Example: kzstat compare old.kzj new.kzj --fail-if 'login.time p95 > 250ms'");
    command.Does(
        [options](Output& output) { return Compare(*options, ConditionsOf(*options), output); });
}

}  // namespace kzstatprogram

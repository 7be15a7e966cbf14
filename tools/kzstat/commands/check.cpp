#include <algorithm>
#include <memory>
#include <string>

#include "commands/commands.h"
#include "figures/conservation.h"
#include "figures/violation.h"
#include "merge/mergecheck.h"
#include "terminal/terminaltext.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

/// What reads them verifies them. Throws Violation.
void CheckAnnotations(RunReader& run) {
    try {
        run.Notes();
        run.Conditions();
    } catch (const kzjournal::Error& damage) {
        throw Violation(damage.what());
    }
}

/// Throws Violation.
void CheckSlices(RunReader& run, bool isMerged) {
    // Asked for first: slices may come while others are read.
    const long long expected = run.ExpectedSlices();
    const long long lost = run.LostSlices();
    Conservation conservation(run.Facts().sliceLength, isMerged);
    try {
        run.ForEachSliceAfter(0, [&](const kzjournal::Slice& slice) { conservation.Check(slice); });
        run.CheckSums();
    } catch (const kzjournal::Error& damage) {
        throw Violation(damage.what());
    }
    const int slices = conservation.Slices();
    const std::string end = "after slice " + std::to_string(conservation.LastSliceId()) + ": ";
    if (const long long missing = std::max(lost, expected - slices); missing > 0)
        throw Violation(end + SlicesText(missing) + " could not be kept");
    // Asked for again: it has grown by the slices that came meanwhile.
    if (const long long most = run.ExpectedSlices(); most < slices)
        throw Violation(end + "there should be only " + SlicesText(most));
}

/// The slices of a run that the run with this name was made of.
void CheckSource(const RunOpener& runs, const std::string& name, const kzjournal::Source& source) {
    const std::unique_ptr<RunReader> run = runs.Open(name, source.number);
    try {
        CheckSlices(*run, false);
    } catch (const Violation& violation) {
        throw Violation("source " + std::to_string(source.number) + ", " +
                        kzterminal::Printable(source.run.generator) + " on " +
                        kzterminal::Printable(source.run.host) + ": " + violation.what());
    }
}

/// Sees whether the run with this name is what the runs give that it was made of.
void CheckMergeOf(const RunOpener& runs, const std::string& name) {
    try {
        CheckMerge(runs, name);
    } catch (const kzjournal::Error& error) {
        throw Violation(error.what());
    }
}

/// Returns what is right with the run. Throws Violation.
std::string CheckRun(RunReader& run, const RunOpener& runs, const std::string& name) {
    const bool isMerged = IsMerged(run);
    CheckSlices(run, isMerged);
    CheckAnnotations(run);
    int sources = 0;
    for (const kzjournal::Source& source : run.Sources()) {
        if (source.isMerged) continue;
        CheckSource(runs, name, source);
        ++sources;
    }
    if (isMerged) CheckMergeOf(runs, name);
    return std::string("every value accounted for") +
           (sources == 0 ? "" : ", as in its " + std::to_string(sources) + " sources");
}

ExitStatus Check(const std::string& name, const RunOpener& runs, Output& output) {
    CheckJournals({name});
    const std::unique_ptr<RunReader> run = runs.Open(name);
    // Asked for first: slices may come meanwhile.
    const std::string completeness = CompletenessText(*run);
    try {
        output.WriteLine(completeness + ", " + CheckRun(*run, runs, name));
        return kDone;
    } catch (const Violation& violation) {
        output.WriteLine(completeness);
        output.WriteLine(violation.what());
        return kDoesNotHold;
    }
}

}  // namespace

void DeclareCheck(CommandLine& line, const RunOpener& runs) {
    Command command = line.AddCommand(
        "check", "Check that a run is complete and every value is counted exactly once");
    const auto journal = std::make_shared<std::string>();
    DeclareJournal(command, "RUN", *journal);
    command.Footer("Example: kzstat check run.kzj || echo 'do not trust this run'");
    command.Does([journal, &runs](Output& output) { return Check(*journal, runs, output); });
}

}  // namespace kzstatprogram

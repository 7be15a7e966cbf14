#include <algorithm>
#include <memory>
#include <string>

#include "commands/commands.h"
#include "figures/conservation.h"
#include "figures/violation.h"
#include "kzjournalreader.h"
#include "merge/mergecheck.h"
#include "terminal/terminaltext.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

/// Throws Violation.
void CheckSlices(kzjournal::Reader& journal, bool isMerged) {
    // Asked for first: slices may come while others are read.
    const long long expected = journal.ExpectedSlices();
    const long long lost = journal.LostSlices();
    Conservation conservation(journal.Facts().sliceLength, isMerged);
    try {
        journal.ForEachSliceAfter(
            0, [&](const kzjournal::Slice& slice) { conservation.Check(slice); });
        journal.CheckSums();
    } catch (const kzjournal::Error& damage) {
        throw Violation(damage.what());
    }
    const int slices = conservation.Slices();
    const std::string end = "after slice " + std::to_string(conservation.LastSliceId()) + ": ";
    if (const long long missing = std::max(lost, expected - slices); missing > 0)
        throw Violation(end + std::to_string(missing) + " slices could not be kept");
    // Asked for again: it has grown by the slices that came meanwhile.
    if (const long long most = journal.ExpectedSlices(); most < slices)
        throw Violation(end + "there should be only " + std::to_string(most) + " slices");
}

/// The slices of a run that the run at `path` was made of.
void CheckSource(const std::string& path, const kzjournal::Source& source) {
    kzjournal::Reader journal(path, source.number);
    try {
        CheckSlices(journal, false);
    } catch (const Violation& violation) {
        throw Violation("source " + std::to_string(source.number) + ", " +
                        kzterminal::Printable(source.run.generator) + " on " +
                        kzterminal::Printable(source.run.host) + ": " + violation.what());
    }
}

/// Sees whether the run at `path` is what the runs give that it was made of.
void CheckMergeOf(const std::string& path) {
    try {
        CheckMerge(path);
    } catch (const kzjournal::Error& error) {
        throw Violation(error.what());
    }
}

/// Returns what is right with the run. Throws Violation.
std::string CheckRun(kzjournal::Reader& journal, const std::string& path) {
    const bool isMerged = IsMerged(journal);
    CheckSlices(journal, isMerged);
    int sources = 0;
    for (const kzjournal::Source& source : journal.Sources()) {
        if (source.isMerged) continue;
        CheckSource(path, source);
        ++sources;
    }
    if (isMerged) CheckMergeOf(path);
    return std::string("every value accounted for") +
           (sources == 0 ? "" : ", as in its " + std::to_string(sources) + " sources");
}

ExitStatus Check(const std::string& path, Output& output) {
    CheckJournals({path});
    kzjournal::Reader journal(path);
    // Asked for first: slices may come meanwhile.
    const std::string completeness = CompletenessText(journal);
    try {
        output.WriteLine(completeness + ", " + CheckRun(journal, path));
        return kDone;
    } catch (const Violation& violation) {
        output.WriteLine(completeness);
        output.WriteLine(violation.what());
        return kDoesNotHold;
    }
}

}  // namespace

void DeclareCheck(CommandLine& line) {
    Command command = line.AddCommand(
        "check", "Check that a run is complete and every value is counted exactly once");
    const auto journal = std::make_shared<std::string>();
    DeclareJournal(command, "RUN", *journal);
    command.Footer("Example: kzstat check run.kzj || echo 'do not trust this run'");
    command.Does([journal](Output& output) { return Check(*journal, output); });
}

}  // namespace kzstatprogram

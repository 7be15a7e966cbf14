#include <algorithm>
#include <memory>
#include <string>

#include "commands.h"
#include "conservation.h"
#include "kzjournalreader.h"
#include "texts.h"

namespace kzstat {
namespace {

/// Ends the walk through the slices at the first violation.
struct Violation {
    std::string text;
};

/// Returns the number of slices. Throws Violation.
int CheckSlices(kzjournal::Reader& journal) {
    // Asked for first: slices may come while others are read.
    const long long expected = journal.ExpectedSlices();
    const long long lost = journal.LostSlices();
    Conservation conservation(journal.Facts().sliceLength);
    try {
        journal.ForEachSliceAfter(0, [&](const kzjournal::Slice& slice) {
            const std::string violation = conservation.Check(slice);
            if (!violation.empty()) throw Violation{violation};
        });
    } catch (const kzjournal::Error& damage) {
        throw Violation{damage.what()};
    }
    const int slices = conservation.Slices();
    if (const long long missing = std::max(lost, expected - slices); missing > 0)
        throw Violation{"after slice " + std::to_string(slices) + ": " + std::to_string(missing) +
                        " slices could not be kept"};
    return slices;
}

/// The slices of a run that the run at `path` was made of.
void CheckSource(const std::string& path, const kzjournal::Source& source) {
    kzjournal::Reader journal(path, source.number);
    try {
        CheckSlices(journal);
    } catch (const Violation& violation) {
        throw Violation{"source " + std::to_string(source.number) + ", " +
                        Printable(source.run.generator) + " on " + Printable(source.run.host) +
                        ": " + violation.text};
    }
}

/// What is right with the run, as a line. Throws Violation.
std::string CheckRun(const std::string& path) {
    kzjournal::Reader journal(path);
    const int slices = CheckSlices(journal);
    int sources = 0;
    for (const kzjournal::Source& source : journal.Sources()) {
        if (source.isMerged) continue;
        CheckSource(path, source);
        ++sources;
    }
    return std::to_string(slices) + " slices, every value accounted for" +
           (sources == 0 ? "" : ", as in its " + std::to_string(sources) + " sources");
}

ExitStatus Check(const std::string& path, Output& output) {
    try {
        output.WriteLine(CheckRun(path));
        return kDone;
    } catch (const Violation& violation) {
        output.WriteLine(violation.text);
        return kDoesNotHold;
    }
}

}  // namespace

void DeclareCheck(CommandLine& line) {
    Command command = line.AddCommand(
        "check", "See whether a run is whole: nothing missing, nothing counted twice");
    const auto journal = std::make_shared<std::string>();
    DeclareJournal(command, "RUN", *journal);
    command.Footer("Example: kzstat check run.kzj || echo 'do not trust this run'");
    command.Does([journal](Output& output) { return Check(*journal, output); });
}

}  // namespace kzstat

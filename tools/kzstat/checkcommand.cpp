#include <memory>
#include <string>

#include "commands.h"
#include "conservation.h"
#include "kzjournalreader.h"

namespace kzstat {
namespace {

/// Ends the walk through the slices at the first violation.
struct Violation {
    std::string text;
};

ExitStatus Check(const std::string& path, Output& output) {
    kzjournal::Reader journal(path);
    Conservation conservation(journal.Facts().sliceLength);
    try {
        journal.ForEachSliceAfter(0, [&](const CKZStatMessage& slice) {
            const std::string violation = conservation.Check(slice);
            if (!violation.empty()) throw Violation{violation};
        });
    } catch (const Violation& violation) {
        output.WriteLine(violation.text);
        return kDoesNotHold;
    }
    const std::string slices = std::to_string(conservation.Slices());
    if (const long long lost = journal.LostSlices(); lost > 0) {
        output.WriteLine("after slice " + slices + ": " + std::to_string(lost) +
                         " slices could not be kept");
        return kDoesNotHold;
    }
    output.WriteLine(slices + " slices, every value accounted for");
    return kDone;
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

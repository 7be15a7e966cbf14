#ifndef KZJOURNALKEEP_H
#define KZJOURNALKEEP_H

#include <string>
#include <vector>

#include "kzjournal_export.h"
#include "kzstatrun.h"

namespace kzjournal {

/// What a journal has of a run beside the run's own facts. Compatible.
struct KeepOptions {
    std::string testName;     ///< what is tested, in the host's words
    std::string commandLine;  ///< as in `Run`; if empty, the name of the program
    /// What the run is to meet, a text each; `kzstat verdict` judges them.
    std::vector<std::string> conditions;
};

/// Writes `run` to a new file at `path`: its name, start and slice length, the options, each slice
/// as it is delivered with its cost and notes, and with it when the load began and ended, as far as
/// is known.
///
/// Every fault is added to the complaints of the run, which logs it and returns it from `Finish`: a
/// file that cannot be created (nothing is kept then), each problem that makes slices wait or lost,
/// once (see `Writer::Append` and `Writer::Close`), slices that had ended before this call (they
/// count as lost), and a run that has ended (no file is created). No fault stops the load. `Finish`
/// and the destructor of the run close the file, which takes at most 2 seconds.
///
/// Throws nothing but std::bad_alloc. Safe for concurrent use; several files may keep one run.
KZJOURNAL_EXPORT void Keep(CKZStatRun& run, const std::string& path, const KeepOptions& options);
/// The same without conditions.
KZJOURNAL_EXPORT void Keep(CKZStatRun& run, const std::string& path,
                           const std::string& testName = "", const std::string& commandLine = "");

}  // namespace kzjournal

#endif

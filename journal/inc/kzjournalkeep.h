#ifndef KZJOURNALKEEP_H
#define KZJOURNALKEEP_H

#include <string>

#include "kzjournal_export.h"
#include "kzstatrun.h"

namespace kzjournal {

/// Keeps `run` in a new file at `path`: each slice as it is delivered, and at the end when the load
/// began and ended. The file tells the name, the start and the slice length of the run, and
/// `testName`: what was tested, in the words of the host.
///
/// Every fault is added to the complaints of the run, which logs it and returns it from `Finish`:
/// a file that cannot be made (nothing is kept then, as by `Writer::Open`), slices that wait or are
/// lost (as by `Writer::Append` and `Writer::Close`), slices that had ended before this was called
/// (which count as lost), and a run that is over (no file is made). None of them stops the load.
/// `Finish` and the destructor of the run close the file, which takes 2 seconds at most.
///
/// Throws nothing but std::bad_alloc. Safe for concurrent use; several files may keep one run.
KZJOURNAL_EXPORT void Keep(CKZStatRun& run, const std::string& path,
                           const std::string& testName = "");

}  // namespace kzjournal

#endif

#ifndef KZJOURNALANNOTATE_H
#define KZJOURNALANNOTATE_H

#include <string>
#include <vector>

#include "kzjournal_export.h"
#include "kzjournalerror.h"
#include "kzjournalrun.h"

namespace kzjournal {

// Both add to the run of an existing journal, also while the run is active: in one short
// transaction, for which a slice of its writer waits no longer than for its own disk. What they
// have added is on the disk when they return. They throw `Error` where nothing was added: the file
// is no journal of the present schema or may not be written, the facts or annotations of its run
// are damaged, its writer has held it locked for 2 seconds, or a text is longer than 64 KB. Safe
// for concurrent use.

/// Adds a note. Its `source` is not looked at.
KZJOURNAL_EXPORT void AddNote(const std::string& path, const Note& note);

/// Adds conditions that the run is to meet, after those that it has: all of them or none. The texts
/// are not interpreted.
KZJOURNAL_EXPORT void AddConditions(const std::string& path, const std::vector<std::string>& texts);

}  // namespace kzjournal

#endif

#ifndef KZJOURNALANNOTATE_H
#define KZJOURNALANNOTATE_H

#include <string>

#include "kzjournal_export.h"
#include "kzjournalerror.h"
#include "kzjournalrun.h"

namespace kzjournal {

// Both add to the run of an existing journal, also while the run is active: in one short
// transaction, for which a slice of its writer waits no longer than for its own disk. What they
// have added is on the disk when they return. They throw `Error` where nothing was added: the file
// is no journal of the present schema or may not be written, its writer has held it locked for 2
// seconds, or the text is longer than 64 KB. Safe for concurrent use.

/// Adds a note. Its `source` is not looked at.
KZJOURNAL_EXPORT void AddNote(const std::string& path, const Note& note);

/// Adds a condition that the run is to meet, after those that it has. The text is not interpreted.
KZJOURNAL_EXPORT void AddCondition(const std::string& path, const std::string& text);

}  // namespace kzjournal

#endif

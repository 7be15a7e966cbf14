#ifndef KZFILES_FILECHECKS_H
#define KZFILES_FILECHECKS_H

#include <string>
#include <vector>

namespace kzfiles {

// All throw kzjournal::Error. They are safe for concurrent use.

/// Throws if `path` leads to a pipe, a device or a socket: no journal is in one, and to open one
/// may wait forever.
void RefuseUnlessFile(const std::string& path);

/// Throws if `output` leads to one of the journals, or to a companion that a journal has or may
/// have beside it. Links and other spellings are seen through.
void RefuseToOverwrite(const std::vector<std::string>& journals, const std::string& output);

/// Throws if a journal, or another file of the same kind of database, stands at `output`: nothing
/// but a journal replaces one.
void RefuseToReplaceAJournal(const std::string& output);

/// As `RefuseToOverwrite` for standard output, to which a shell appends by `>>`.
void RefuseToOverwriteByStandardOutput(const std::vector<std::string>& journals);

}  // namespace kzfiles

#endif

#ifndef KZJOURNALANNOTATIONS_H
#define KZJOURNALANNOTATIONS_H

#include <SQLiteCpp/SQLiteCpp.h>

#include <string>
#include <vector>

#include "kzjournalrun.h"
#include "runrow.h"

namespace kzjournal {

/// Why the text or time can never be kept; empty if it can.
std::string WhyImpossible(const Note& note);
std::string WhyImpossible(const std::string& condition);

// Both add to a run, within the transaction of the caller, and throw `SQLite::Exception`.
// REQUIRES: it is not impossible.
void InsertNote(SQLite::Database& database, int run, const Note& note);
void InsertCondition(SQLite::Database& database, int run, const std::string& text);

/// What was noted of a run and asked of it, in the order in which it was.
struct Annotations {
    std::vector<Note> notes;
    std::vector<std::string> conditions;
};

/// Reads those of the run of `row`, which was read within the same transaction. Throws `Error`,
/// with `path`, where they are not as they were stored; older schemas have no checksum of them and
/// no conditions.
Annotations ReadAnnotations(SQLite::Database& database, const std::string& path, const RunRow& row,
                            int schemaVersion);

}  // namespace kzjournal

#endif

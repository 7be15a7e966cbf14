#ifndef KZJOURNALMAKER_H
#define KZJOURNALMAKER_H

#include <SQLiteCpp/SQLiteCpp.h>

#include <optional>
#include <string>
#include <vector>

#include "kzjournalrun.h"
#include "writerlock.h"

namespace kzjournal {

/// A journal that this process writes, as others can see before there is a run to be read in it.
struct WritableJournal {
    SQLite::Database database;
    WriterLock lock;
};

/// Makes the journal of `run` with its conditions, readable by its owner only. The file must be
/// new, empty, or left without a slice by a run that was killed. With what is written then, a
/// commit is on the disk when it returns. Throws `Error`.
WritableJournal MakeJournal(const std::string& path, const Run& run,
                            const std::vector<std::string>& conditions);

/// Copies the journal that `from` has open, wherever its file is now, into a new file beside
/// `path`: PATH.recovered-N with the first free number. It is written like the one from
/// `MakeJournal`. Throws `Error`; no file is left then.
WritableJournal CopyBeside(SQLite::Database& from, const std::string& path);

/// The full path of the file, whatever becomes of the folder of the process.
std::string PathOf(const SQLite::Database& database);

/// Adds the row of a run: number 0, or a source within `parent`. REQUIRES: a transaction. Throws
/// `SQLite::Exception`.
void InsertRun(SQLite::Database& database, int number, std::optional<int> parent, const Run& run,
               bool isMerged);

/// Leaves the write-ahead log, whose companions are gone then. Returns false where somebody else
/// has the file open. Throws `SQLite::Exception`.
bool LeaveTheLog(SQLite::Database& database);

}  // namespace kzjournal

#endif

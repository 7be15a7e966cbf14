#include "kzjournalannotate.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "annotations.h"
#include "fileplaces.h"
#include "journalfile.h"
#include "journalmaker.h"
#include "readabledatabase.h"
#include "runrow.h"

namespace kzjournal {
namespace {

/// The writer holds the file for as long as its disk takes for a slice.
constexpr int kWaitForWriterMilliseconds = 2000;

[[noreturn]] void Refuse(const std::string& path, const std::string& why) {
    throw Error("cannot write " + path + ": " + why);
}

/// Throws unless there is a journal of the present schema, whole and beside its own companions.
void CheckIsPresentJournal(const std::string& path) {
    ReadableDatabase file(path);
    const int version = file.Read([&] { return SchemaVersionOf(file.Get()); });
    if (version < kSchemaVersion)
        Refuse(path, "its schema " + std::to_string(version) + " is older than " +
                         std::to_string(kSchemaVersion) +
                         "; runs of earlier releases are only read");
}

/// Without a log, pages of the file are replaced in place. If the system stopped that behind a size
/// limit, it could not be undone behind it either: a part of the file would stay in FILE-journal.
void RefuseAFileAboveTheSizeLimit(const std::string& path) {
    struct stat facts = {};
    rlimit limit = {};
    if (stat(path.c_str(), &facts) != 0 || getrlimit(RLIMIT_FSIZE, &limit) != 0) return;
    if (limit.rlim_cur != RLIM_INFINITY && static_cast<rlim_t>(facts.st_size) > limit.rlim_cur)
        Refuse(path, "it is larger than the size limit of files (ulimit -f)");
}

bool HasLog(SQLite::Database& database) {
    return database.execAndGet("PRAGMA journal_mode").getString() == "wal";
}

/// In the log a commit is on the disk only now: so the writer, which waits for the lock of the
/// file, does not wait for this disk access.
void PutLogOnDisk(const std::string& path) {
    const std::string log = path + "-wal";
    const int file = open(log.c_str(), O_RDONLY | O_CLOEXEC);
    // Where the writer has just put the log into the file, it is on the disk already.
    if (file < 0 && errno == ENOENT) return;
    const bool isDone = file >= 0 && fsync(file) == 0;
    const int error = errno;
    if (file >= 0) close(file);
    if (!isDone) Refuse(path, std::strerror(error));
}

/// REQUIRES: the run has ended, so that no writer does it any more. Fails without a word: the log
/// has everything, and whoever adds next tries again.
void PutLogIntoFile(SQLite::Database& database, const FilePlaces& places) {
    try {
        // Others that add wait meanwhile, and must not give up because of a reader.
        database.setBusyTimeout(kLockWaitMilliseconds);
        const bool isComplete =
            database.execAndGet("PRAGMA wal_checkpoint(TRUNCATE)").getInt() == 0;
        // What took the name of the log may belong to another run.
        if (isComplete && places.Displaced().empty()) LeaveTheLog(database);
    } catch (const SQLite::Exception&) {
    }
}

std::string Cause(const std::string& path, const SQLite::Exception& error) {
    const bool isFolder = error.getExtendedErrorCode() == SQLITE_READONLY_DIRECTORY ||
                          error.getErrorCode() == SQLITE_CANTOPEN;
    if (isFolder && access(path.c_str(), W_OK) == 0)
        return "cannot write " + path + ": no file may be made in its folder";
    return Explain("write", path, error);
}

/// What is damaged must not be sealed anew.
RunRow ReadSoundRow(SQLite::Database& database, const std::string& path) {
    RunRow row = ReadRunRow(database, path, kSchemaVersion, 0);
    ReadAnnotations(database, path, row, kSchemaVersion);
    return row;
}

/// `insert` adds to the run 0.
template <class Insert>
void Annotate(const std::string& path, Insert insert) {
    CheckIsPresentJournal(path);
    try {
        SQLite::Database database(FileNameOf(path), SQLite::OPEN_READWRITE,
                                  kWaitForWriterMilliseconds);
        sqlite3_db_config(database.getHandle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        const bool hasLog = HasLog(database);
        if (!hasLog) RefuseAFileAboveTheSizeLimit(path);
        database.exec("PRAGMA wal_autocheckpoint = 0");
        database.exec(hasLog ? "PRAGMA synchronous = NORMAL" : "PRAGMA synchronous = FULL");
        SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
        // Once more, since another file may have come in its place.
        CheckIsJournal(database, path);
        const FilePlaces places(PathOf(database));
        const RunRow row = ReadSoundRow(database, path);
        insert(database);
        transaction.commit();
        if (!hasLog) return;
        PutLogOnDisk(path);
        if (row.endTime) PutLogIntoFile(database, places);
    } catch (const SQLite::Exception& error) {
        throw Error(Cause(path, error));
    }
}

}  // namespace

void AddNote(const std::string& path, const Note& note) {
    if (const std::string why = WhyImpossible(note); !why.empty())
        Refuse(path, "the note is impossible: " + why);
    Annotate(path, [&](SQLite::Database& database) { InsertNote(database, 0, note); });
}

void AddConditions(const std::string& path, const std::vector<std::string>& texts) {
    for (const std::string& text : texts)
        if (const std::string why = WhyImpossible(text); !why.empty())
            Refuse(path, "a condition is impossible: " + why);
    Annotate(path, [&](SQLite::Database& database) {
        for (const std::string& text : texts) InsertCondition(database, 0, text);
    });
}

}  // namespace kzjournal

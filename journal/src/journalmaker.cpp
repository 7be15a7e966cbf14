#include "journalmaker.h"

#include <SQLiteCpp/Backup.h>
#include <SQLiteCpp/VariadicBind.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "annotations.h"
#include "journalfile.h"
#include "kzjournalerror.h"
#include "runrow.h"

namespace kzjournal {
namespace {

constexpr mode_t kOwnerOnly = 0600;

[[noreturn]] void RefuseAsInUse(const std::string& path) {
    throw Error("cannot keep a run in " + path + ": it is in use already; choose another path");
}

/// Other programs would open a database in memory, or another file, by such a name.
void RefuseNamesOfNoFile(const std::string& path) {
    if (path.empty()) throw Error("cannot keep a run in a file without a name; choose a path");
    if (path == ":memory:" || path.starts_with("file:"))
        throw Error("cannot keep a run in " + path +
                    ": databases have another meaning for this name; put ./ before it");
}

/// Returns 0 or the error of the system.
int CreateFile(const std::string& path) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly);
    if (file < 0) return errno;
    close(file);
    return 0;
}

/// A file that is there stays as it is.
void CreateOrFindFile(const std::string& path) {
    const int error = CreateFile(path);
    if (error == 0) return;
    struct stat facts = {};
    const bool isThere = stat(path.c_str(), &facts) == 0;
    if (isThere && S_ISDIR(facts.st_mode)) throw Error("cannot open " + path + ": it is a folder");
    // A pipe would be waited for.
    if (isThere && !S_ISREG(facts.st_mode))
        throw Error("cannot open " + path + ": it is not a file");
    if (!isThere || error != EEXIST)
        throw Error("cannot open " + path + ": " + std::strerror(error));
}

bool HasBytes(const std::string& path) {
    struct stat facts = {};
    return stat(path.c_str(), &facts) == 0 && facts.st_size > 0;
}

/// The database removes what it finds beside an empty file. A journal is never empty while it has
/// such a companion.
void RefuseAPartOfAnotherRun(const std::string& path) {
    if (HasBytes(path)) return;
    for (const char* const suffix : {"-wal", "-journal"})
        if (HasBytes(path + suffix))
            throw Error(std::string("cannot keep a run in ")
                            .append(path)
                            .append(": ")
                            .append(path)
                            .append(suffix)
                            .append(" holds a part of another run; move it away"));
}

SQLite::Database OpenForWriting(const std::string& path) {
    return {FileNameOf(path), SQLite::OPEN_READWRITE, kLockWaitMilliseconds};
}

bool HasTables(SQLite::Database& database) {
    return database.execAndGet("SELECT count(*) FROM sqlite_master").getInt() > 0;
}

/// With these, a commit is on the disk when it returns. The change of mode writes one page, which
/// is safe without a rollback journal on the disk; a process that is killed here would leave that
/// one behind.
void EnterTheLog(SQLite::Database& database) {
    // Fails where another process has come first, which the caller is about to see.
    database.tryExec("PRAGMA journal_mode = MEMORY");
    database.exec("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL");
}

/// A run and what it is to meet. Compatible.
struct NewRun {
    const Run& run;
    const std::vector<std::string>& conditions;
};

void RefuseWhatIsImpossible(const std::string& path, const NewRun& added) {
    std::string reason = WhyImpossible(added.run);
    for (const std::string& condition : added.conditions)
        if (reason.empty() && !WhyImpossible(condition).empty())
            reason = "a condition is impossible: " + WhyImpossible(condition);
    if (!reason.empty()) throw Error("cannot keep a run in " + path + ": " + reason);
}

void InsertNewRun(SQLite::Database& database, const NewRun& added) {
    InsertRun(database, 0, std::nullopt, added.run, false);
    for (const std::string& condition : added.conditions) InsertCondition(database, 0, condition);
}

WriterLock FillEmptyFile(SQLite::Database& database, const std::string& path, const NewRun& added) {
    EnterTheLog(database);
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    // Once more, since another process may have come first.
    if (HasTables(database)) RefuseAsInUse(path);
    CreateTables(database);
    InsertNewRun(database, added);
    WriterLock lock(PathOf(database));
    transaction.commit();
    return lock;
}

/// The id of the run in a journal that has neither a slice nor an end; empty for anything else.
std::string RunWithoutSlices(SQLite::Database& database) {
    if (database.execAndGet("PRAGMA application_id").getInt() != kApplicationId ||
        database.execAndGet("PRAGMA user_version").getInt() != kSchemaVersion)
        return {};
    return database
        .execAndGet(
            "SELECT CASE WHEN count(*) = 1 AND max(end_time) IS NULL"
            " AND NOT EXISTS (SELECT 1 FROM slices) THEN max(run_id) ELSE '' END FROM runs")
        .getString();
}

/// Takes over the file of a run that was killed before its first slice. A writer that lives keeps
/// others from leaving the log. Of several that take the file over at once, the first one wins.
WriterLock TakeOver(SQLite::Database& database, const std::string& path, const NewRun& added) {
    const std::string killed = RunWithoutSlices(database);
    if (killed.empty() || !LeaveTheLog(database)) RefuseAsInUse(path);
    EnterTheLog(database);
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    if (RunWithoutSlices(database) != killed) RefuseAsInUse(path);
    database.exec("DELETE FROM runs; DELETE FROM notes; DELETE FROM conditions");
    InsertNewRun(database, added);
    WriterLock lock(PathOf(database));
    transaction.commit();
    return lock;
}

WritableJournal CopyInto(SQLite::Database& from, const std::string& path) {
    SQLite::Database copy = OpenForWriting(path);
    copy.exec("PRAGMA journal_mode = MEMORY");
    // All at once: another program that writes would make it begin again and again.
    const int code = SQLite::Backup(copy, from).executeStep();
    if (code != SQLITE_DONE) throw SQLite::Exception("the run cannot be copied", code);
    EnterTheLog(copy);
    // Any commit: the first one in the log puts the names of the files on the disk, too.
    copy.exec("PRAGMA user_version = " + std::to_string(kSchemaVersion));
    WriterLock lock(path);
    return {std::move(copy), std::move(lock)};
}

}  // namespace

WritableJournal MakeJournal(const std::string& path, const Run& run,
                            const std::vector<std::string>& conditions) {
    RefuseNamesOfNoFile(path);
    RefuseWhatIsImpossible(path, {run, conditions});
    RefuseAPartOfAnotherRun(path);
    CreateOrFindFile(path);
    try {
        SQLite::Database database = OpenForWriting(path);
        const NewRun added{run, conditions};
        WriterLock lock = HasTables(database) ? TakeOver(database, path, added)
                                              : FillEmptyFile(database, path, added);
        return {std::move(database), std::move(lock)};
    } catch (const SQLite::Exception& error) {
        throw Error(ExplainMaking(path, error));
    }
}

WritableJournal CopyBeside(SQLite::Database& from, const std::string& path) {
    std::string copyPath;
    int error = EEXIST;
    for (int number = 1; error == EEXIST; ++number) {
        copyPath = path + ".recovered-" + std::to_string(number);
        if (!HasBytes(copyPath + "-wal") && !HasBytes(copyPath + "-journal"))
            error = CreateFile(copyPath);
    }
    if (error != 0) throw Error("cannot open " + copyPath + ": " + std::strerror(error));
    try {
        return CopyInto(from, copyPath);
    } catch (const SQLite::Exception& failure) {
        unlink(copyPath.c_str());
        throw Error(Explain("write", copyPath, failure));
    } catch (const Error&) {
        unlink(copyPath.c_str());
        throw;
    }
}

std::string PathOf(const SQLite::Database& database) {
    return sqlite3_db_filename(database.getHandle(), "main");
}

void InsertRun(SQLite::Database& database, int number, std::optional<int> parent, const Run& run,
               bool isMerged) {
    SQLite::Statement insert(
        database,
        "INSERT INTO runs (number, run_id, generator, test_name, start_time, slice_length, host,"
        " command_line, is_merged, parent, load_begin, load_end)"
        " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    SQLite::bind(insert, number, run.id, run.generator, run.testName, run.startTime,
                 run.sliceLength, run.host, run.commandLine, static_cast<int>(isMerged));
    BindOptional(insert, 10, parent);
    BindOptional(insert, 11, run.loadBegin);
    BindOptional(insert, 12, run.loadEnd);
    insert.exec();
    RunSeal(database).Seal(number);
}

bool LeaveTheLog(SQLite::Database& database) {
    // In memory for the same reason as above.
    const int code = database.tryExec("PRAGMA journal_mode = MEMORY");
    if (code != SQLITE_OK && code != SQLITE_BUSY && code != SQLITE_LOCKED)
        throw SQLite::Exception(database.getHandle(), code);
    return database.execAndGet("PRAGMA journal_mode").getString() != "wal";
}

}  // namespace kzjournal

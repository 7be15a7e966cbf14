#include "journalfile.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>

#include "kzjournalreader.h"

namespace kzjournal {
namespace {

std::string RunsTable(bool hasAnnotations) {
    return std::string(
               "CREATE TABLE runs ("
               " number INTEGER PRIMARY KEY,"
               " parent INTEGER REFERENCES runs,"
               " run_id TEXT NOT NULL UNIQUE,"
               " generator TEXT NOT NULL,"
               " test_name TEXT NOT NULL,"
               " start_time REAL NOT NULL,"
               " slice_length REAL NOT NULL,"
               " host TEXT NOT NULL,"
               " command_line TEXT NOT NULL,"
               " load_begin REAL,"
               " load_end REAL,"
               " end_time REAL,"
               " expected_slices INTEGER NOT NULL DEFAULT 0,"
               " lost_slices INTEGER NOT NULL DEFAULT 0,"
               " is_merged INTEGER NOT NULL,"
               " checksum INTEGER NOT NULL DEFAULT 0") +
           (hasAnnotations ? ", annotations_checksum INTEGER NOT NULL DEFAULT 0" : "") + ");";
}

constexpr char kCostColumns[] =
    " measured REAL,"
    " processor_time REAL,"
    " processors REAL,"
    " busiest_thread REAL,"
    " longest_wait REAL,"
    " involuntary_switches INTEGER,"
    " reporter_wait REAL,"
    " pack_time REAL,"
    " listener_time REAL,"
    " timer_lateness REAL,"
    " start_lateness REAL,"
    " cost_checksum INTEGER NOT NULL,";

/// Old ones have messages and a cost that nobody filled.
std::string SlicesTable(bool isOld) {
    return std::string(
               "CREATE TABLE slices ("
               " run_number INTEGER NOT NULL,"
               " slice_id INTEGER NOT NULL,"
               " elapsed REAL NOT NULL,"
               " end_time REAL NOT NULL,"
               " chunk INTEGER NOT NULL,"
               " checksum INTEGER NOT NULL,") +
           // Last, since what stands behind a message is read through all of its pages.
           (isOld ? " cost REAL, message BLOB NOT NULL," : kCostColumns) +
           " PRIMARY KEY (run_number, slice_id));"
           "CREATE INDEX slices_by_time ON slices (run_number, elapsed, slice_id);";
}

constexpr char kOtherTables[] =
    "CREATE TABLE names (name_id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE);"

    "CREATE TABLE chunks ("
    " run_number INTEGER NOT NULL,"
    " chunk INTEGER NOT NULL,"
    " slices INTEGER NOT NULL,"
    " first_elapsed REAL NOT NULL,"
    " last_elapsed REAL NOT NULL,"
    " PRIMARY KEY (run_number, chunk)) WITHOUT ROWID;"

    "CREATE TABLE slice_sources ("
    " slice_id INTEGER NOT NULL,"
    " run_number INTEGER NOT NULL,"
    " PRIMARY KEY (slice_id, run_number)) WITHOUT ROWID;"

    "CREATE TABLE notes ("
    " note_id INTEGER PRIMARY KEY,"
    " run_number INTEGER NOT NULL,"
    " time REAL NOT NULL,"
    " text TEXT NOT NULL);";

// Never filled by those who wrote it.
constexpr char kUnusedConditionsTable[] =
    "CREATE TABLE conditions ("
    " condition_id INTEGER PRIMARY KEY,"
    " text TEXT NOT NULL,"
    " measured REAL,"
    " holds INTEGER);";

constexpr char kConditionsTable[] =
    "CREATE TABLE conditions ("
    " condition_id INTEGER PRIMARY KEY,"
    " run_number INTEGER NOT NULL,"
    " text TEXT NOT NULL);";

// What a chunk has beside its records. A message and a distribution are either among the recent
// ones or in a block.
constexpr char kBlockTables[] =
    "CREATE TABLE recent_messages ("
    " run_number INTEGER NOT NULL,"
    " slice_id INTEGER NOT NULL,"
    " chunk INTEGER NOT NULL,"
    " message BLOB NOT NULL,"
    " PRIMARY KEY (run_number, slice_id)) WITHOUT ROWID;"

    "CREATE TABLE message_blocks ("
    " run_number INTEGER NOT NULL,"
    " chunk INTEGER NOT NULL,"
    " first_slice_id INTEGER NOT NULL,"
    " block BLOB NOT NULL,"
    " PRIMARY KEY (run_number, chunk, first_slice_id)) WITHOUT ROWID;"

    "CREATE TABLE distribution_blocks ("
    " run_number INTEGER NOT NULL,"
    " chunk INTEGER NOT NULL,"
    " number INTEGER NOT NULL,"
    " block BLOB NOT NULL,"
    " PRIMARY KEY (run_number, chunk, number)) WITHOUT ROWID;"

    "CREATE TABLE name_chunks ("
    " run_number INTEGER NOT NULL,"
    " chunk INTEGER NOT NULL,"
    " name_id INTEGER NOT NULL,"
    " records INTEGER NOT NULL,"
    " checksum INTEGER NOT NULL,"
    " PRIMARY KEY (run_number, chunk, name_id)) WITHOUT ROWID;"

    "CREATE TABLE sums ("
    " run_number INTEGER NOT NULL,"
    " level INTEGER NOT NULL,"
    " number INTEGER NOT NULL,"
    " slices INTEGER NOT NULL,"
    " first_slice_id INTEGER NOT NULL,"
    " first_elapsed REAL NOT NULL,"
    " last_slice_id INTEGER NOT NULL,"
    " last_elapsed REAL NOT NULL,"
    " end_time REAL NOT NULL,"
    " checksum INTEGER NOT NULL,"
    " block BLOB NOT NULL,"
    " PRIMARY KEY (run_number, level, number)) WITHOUT ROWID;";

// A slice's records go into `recent_records`, at its end, where the hook waits for few pages only;
// from there they move in bulk to `records`, where those of a name lie side by side within each
// chunk. Users see both as one, as `statistics`. Counts have the affinity INTEGER: a whole number
// is kept as one, whatever its size, and any other as the double that it is.
std::string RecordsTable(const char* name, const char* key, bool hasPercentiles,
                         bool hasDistribution) {
    return std::string("CREATE TABLE ") + name +
           " ("
           " run_number INTEGER NOT NULL,"
           " chunk INTEGER NOT NULL,"
           " name_id INTEGER NOT NULL,"
           " slice_id INTEGER NOT NULL,"
           " elapsed REAL NOT NULL,"
           " type INTEGER NOT NULL,"
           " last_minimum REAL,"
           " last_maximum REAL,"
           " last_count INTEGER,"
           " last_sum REAL,"
           " last_sum_of_squares REAL,"
           " minimum REAL,"
           " maximum REAL,"
           " count INTEGER,"
           " sum REAL,"
           " sum_of_squares REAL," +
           (hasPercentiles ? " last_p50 REAL, last_p90 REAL, last_p95 REAL, last_p99 REAL,"
                             " last_p999 REAL,"
                           : "") +
           (hasDistribution ? " distribution BLOB," : "") + " PRIMARY KEY (" + key +
           ")) WITHOUT ROWID;";
}

/// Without a value a minimum, maximum or average is NULL here.
std::string StatisticsFrom(const char* tables, bool hasPercentiles) {
    return std::string(
               "SELECT run_id AS run, generator, slice_id, elapsed, name, type,"
               " CASE WHEN count > 0 THEN minimum END AS minimum,"
               " CASE WHEN count > 0 THEN maximum END AS maximum,"
               " count, sum, sum_of_squares,"
               " CASE WHEN count > 0 THEN sum / count END AS average,"
               " CASE WHEN last_count > 0 THEN last_minimum END AS last_minimum,"
               " CASE WHEN last_count > 0 THEN last_maximum END AS last_maximum,"
               " last_count, last_sum, last_sum_of_squares,"
               " CASE WHEN last_count > 0 THEN last_sum / last_count END AS last_average") +
           (hasPercentiles ? std::string(", ") + kPercentileColumns : "") +
           " FROM runs CROSS JOIN " + tables + " WHERE runs.number = 0";
}

std::string Schema(int version) {
    const bool hasPercentiles = version >= kPercentilesSchemaVersion;
    const bool hasBlocks = version >= kBlocksSchemaVersion;
    // Chunk by chunk, so that the records of a name are found by the key.
    return RunsTable(hasBlocks) + SlicesTable(!hasBlocks) + kOtherTables +
           (hasBlocks ? kConditionsTable : kUnusedConditionsTable) +
           (hasBlocks ? kBlockTables : "") +
           RecordsTable("records", "run_number, chunk, name_id, slice_id", hasPercentiles,
                        !hasBlocks) +
           RecordsTable("recent_records", "run_number, slice_id, name_id", hasPercentiles, true) +
           "CREATE VIEW statistics AS " +
           StatisticsFrom(
               "chunks ON chunks.run_number = runs.number CROSS JOIN names CROSS JOIN records r"
               " ON r.run_number = runs.number AND r.chunk = chunks.chunk"
               " AND r.name_id = names.name_id",
               hasPercentiles) +
           " UNION ALL " +
           StatisticsFrom(
               "recent_records r ON r.run_number = runs.number CROSS JOIN names"
               " ON names.name_id = r.name_id",
               hasPercentiles) +
           ";";
}

struct SchemaEntry {
    std::string kind;
    std::string table;
    std::string sql;

    bool operator==(const SchemaEntry&) const = default;
};

using SchemaEntries = std::map<std::string, SchemaEntry>;  // by name

SchemaEntries EntriesOf(SQLite::Database& database) {
    SchemaEntries entries;
    SQLite::Statement query(database, "SELECT name, type, tbl_name, sql FROM sqlite_master");
    while (query.executeStep())
        entries[query.getColumn(0).getString()] = {query.getColumn(1).getString(),
                                                   query.getColumn(2).getString(),
                                                   query.getColumn(3).getString()};
    return entries;
}

SchemaEntries EntriesOfSchema(int version) {
    SQLite::Database database(":memory:", SQLite::OPEN_READWRITE);
    database.exec(Schema(version));
    return EntriesOf(database);
}

/// REQUIRES: a schema that is read.
const SchemaEntries& KnownEntries(int version) {
    static const auto known = [] {
        std::map<int, SchemaEntries> schemas;
        for (int each = kOldestSchemaVersion; each <= kSchemaVersion; ++each)
            schemas.emplace(each, EntriesOfSchema(each));
        return schemas;
    }();
    return known.at(version);
}

/// A view or a virtual table in place of a table could make reading endless, and an index could
/// hide rows. What else is in the file is not read.
void CheckSchema(SQLite::Database& database, const std::string& path, int version) {
    const SchemaEntries& known = KnownEntries(version);
    const SchemaEntries entries = EntriesOf(database);
    for (const auto& [name, entry] : known) {
        const auto found = entries.find(name);
        if (found == entries.end())
            throw Error(std::string("cannot read ")
                            .append(path)
                            .append(": it is damaged (")
                            .append(name)
                            .append(" is missing)"));
        if (!(found->second == entry))
            throw Error(std::string("cannot read ")
                            .append(path)
                            .append(": its ")
                            .append(name)
                            .append(" is not that of a journal"));
    }
    for (const auto& [name, entry] : entries)
        if (entry.kind == "index" && known.count(entry.table) > 0 && known.count(name) == 0)
            throw Error("cannot read " + path + ": " + entry.table +
                        " has an index that no journal has; drop it");
}

int Pragma(SQLite::Database& database, const char* name) {
    return database.execAndGet(std::string("PRAGMA ") + name).getInt();
}

bool HasSizeLimit() {
    rlimit limit = {};
    return getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
}

std::string Cause(const SQLite::Exception& error) {
    switch (error.getErrorCode()) {
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return "another program holds it locked; close that program";
        case SQLITE_FULL:
            return "the disk is full; make room on it";
        case SQLITE_NOTADB:
            return "it is not a journal";
        case SQLITE_CORRUPT:
            return "it is damaged (" + std::string(error.what()) + ")";
        case SQLITE_READONLY:
            if (error.getExtendedErrorCode() == SQLITE_READONLY_DBMOVED)
                return "it was removed or moved while it was written";
            return "it may not be written; choose another path or change its permissions";
        case SQLITE_IOERR:
            // The database does not tell the two apart.
            if ((error.getExtendedErrorCode() == SQLITE_IOERR_WRITE ||
                 error.getExtendedErrorCode() == SQLITE_IOERR_SHMSIZE) &&
                HasSizeLimit())
                return "the disk does not work, or the size limit of files is reached; check both"
                       " (ulimit -f)";
            return "the disk does not work; check it";
        default:
            return error.what();
    }
}

/// What the system says to whoever opens the file, or an empty text. The database tries several
/// ways and keeps what it heard last.
std::string SystemsCause(const std::string& path, int flags) {
    struct stat facts = {};
    if (stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode)) return "it is a folder";
    const int file = open(path.c_str(), flags | O_CLOEXEC);
    if (file < 0) return std::strerror(errno);
    close(file);
    return {};
}

}  // namespace

std::string FileNameOf(const std::string& path) {
    return path.starts_with('/') ? path : "./" + path;
}

void CreateTables(SQLite::Database& database) {
    database.exec("PRAGMA application_id = " + std::to_string(kApplicationId) +
                  "; PRAGMA user_version = " + std::to_string(kSchemaVersion) + ";" +
                  Schema(kSchemaVersion));
}

void CheckIsJournal(SQLite::Database& database, const std::string& path) {
    if (Pragma(database, "application_id") != kApplicationId)
        throw Error("cannot read " + path + ": it is not a journal");
    const int version = SchemaVersionOf(database);
    if (version < kOldestSchemaVersion)
        throw Error("cannot read " + path + ": its schema " + std::to_string(version) +
                    " is older than " + std::to_string(kOldestSchemaVersion) +
                    "; read it with the release that wrote it");
    if (version > kSchemaVersion)
        throw Error("cannot read " + path + ": its schema " + std::to_string(version) +
                    " is newer than " + std::to_string(kSchemaVersion) +
                    "; read it with a newer release");
    CheckSchema(database, path, version);
}

int SchemaVersionOf(SQLite::Database& database) {
    return Pragma(database, "user_version");
}

std::string Explain(const char* what, const std::string& path, const SQLite::Exception& error) {
    return std::string("cannot ") + what + " " + path + ": " + Cause(error);
}

std::string ExplainMaking(const std::string& path, const SQLite::Exception& error) {
    // Only where the database could not open it: whoever closes a file that the process has open
    // elsewhere takes that one's locks away.
    const bool couldNotOpen = error.getErrorCode() == SQLITE_CANTOPEN;
    const std::string cause = couldNotOpen ? SystemsCause(path, O_RDWR) : "";
    return cause.empty() ? Explain("open", path, error) : "cannot open " + path + ": " + cause;
}

std::string ExplainReading(const std::string& path, const SQLite::Exception& error) {
    const int code = error.getErrorCode();
    const bool couldNotOpen = code == SQLITE_CANTOPEN || code == SQLITE_IOERR;
    const std::string cause = couldNotOpen ? SystemsCause(path, O_RDONLY) : "";
    if (!cause.empty()) return "cannot read " + path + ": " + cause;
    return Explain("read", path, error);
}

}  // namespace kzjournal

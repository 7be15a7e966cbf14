#ifndef KZJOURNALFILE_H
#define KZJOURNALFILE_H

#include <SQLiteCpp/SQLiteCpp.h>

#include <cstddef>
#include <optional>
#include <string>

namespace kzjournal {

/// The tables and views are described in docs/journal.md. The number grows with every change that
/// a reader must know of.
inline constexpr int kSchemaVersion = 5;

/// The oldest schema that is read. Schema 3 has neither distributions nor percentiles.
inline constexpr int kOldestSchemaVersion = 3;

/// Of the slice, in the order of `kStoredQuantiles`.
inline constexpr char kPercentileColumns[] = "last_p50, last_p90, last_p95, last_p99, last_p999";

/// Marks the file as a journal, in the database's own header.
inline constexpr int kApplicationId = 0x4b5a6a31;

/// The first schemas with percentiles, with blocks, costs and annotations, and whose writers hold a
/// `WriterLock`.
inline constexpr int kPercentilesSchemaVersion = 4;
inline constexpr int kBlocksSchemaVersion = 5;
inline constexpr int kWriterLockSchemaVersion = 5;

/// Slices whose records move together from `recent_records` to `records`, so that a page there is
/// written once for many slices.
inline constexpr int kChunkSlices = 240;

/// No message or text in a journal is longer.
inline constexpr int kMaxValueBytes = 64 << 20;

/// No row in a journal is longer: one value with what stands beside it.
inline constexpr int kMaxRowBytes = kMaxValueBytes + (1 << 20);

/// The records of a chunk have no more bytes of distributions than this, and those of its last
/// slice, which has at most `kMaxValueBytes`: a reader takes a chunk as a whole.
inline constexpr std::size_t kMaxChunkBytes = std::size_t{8} << 20;

/// The slices of a chunk have no more bytes of messages than this, and the message of the last one.
inline constexpr std::size_t kMaxChunkMessageBytes = std::size_t{16} << 20;

/// Moments and times of a run lie within it, on either side of 0: the year 9999. What computes with
/// them never overflows then.
inline constexpr double kMaxSeconds = 253402300799;

/// Slices are not shorter, so that a run has no more of them than can be counted.
inline constexpr double kMinSliceLength = 1e-6;

/// No note and no condition is longer.
inline constexpr int kMaxAnnotationBytes = 64 << 10;

/// How long a database call waits for another process that holds the file locked.
inline constexpr int kLockWaitMilliseconds = 200;

/// `path` as the database takes it for a file, whatever it is called: no name, ":memory:" and
/// "file:..." would be databases that are gone when they are closed.
std::string FileNameOf(const std::string& path);

/// Makes an empty journal of an empty database, within the transaction of the caller. Throws
/// `SQLite::Exception`.
void CreateTables(SQLite::Database& database);

/// Binds NULL where there is no number.
template <class Number>
void BindOptional(SQLite::Statement& statement, int column, const std::optional<Number>& number) {
    if (number)
        statement.bind(column, *number);
    else
        statement.bind(column);
}

/// Throws `Error` unless the database is a journal of a schema that is read, with the tables, views
/// and indexes of that schema.
void CheckIsJournal(SQLite::Database& database, const std::string& path);

/// REQUIRES: a journal.
int SchemaVersionOf(SQLite::Database& database);

// Lines for the user about what the database said: at work, when making a journal, and when opening
// one that is there.
std::string Explain(const char* what, const std::string& path, const SQLite::Exception& error);
std::string ExplainMaking(const std::string& path, const SQLite::Exception& error);
std::string ExplainReading(const std::string& path, const SQLite::Exception& error);

}  // namespace kzjournal

#endif

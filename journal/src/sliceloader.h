#ifndef KZJOURNALSLICELOADER_H
#define KZJOURNALSLICELOADER_H

#include <SQLiteCpp/SQLiteCpp.h>

#include <cstdint>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kzjournalslice.h"
#include "slicechecksum.h"

namespace kzjournal {

/// A number of the database, which makes NULL of a NaN.
double DoubleAt(SQLite::Statement& row, int column);

/// Minimum, maximum, count, sum and sum of squares, from `column` on.
CKZStatAggregate AggregateAt(SQLite::Statement& row, int column);

/// Reads slices of one run as a whole and verifies each by its checksum. All operations throw
/// `Error` and `SQLite::Exception`. Compatible.
class SliceLoader {
public:
    /// `database` must outlive the loader.
    SliceLoader(SQLite::Database& database, std::string path, int run)
        : m_database(database), m_path(std::move(path)), m_run(run) {}

    /// The first slices of `ids`, in that order: as many as lie in one chunk, at least one. They
    /// are from one moment of a file that is being written, and no transaction stays open.
    std::vector<Slice> Load(std::span<const int> ids);

    /// Null where there is no such name. Valid as long as the loader.
    const RWCString* FindName(std::int64_t id);

private:
    /// A slice and the checksum of what was read of it so far.
    struct Unverified {
        Slice slice;
        SliceChecksum computed;
        std::int64_t stored;
    };

    struct Batch {
        int chunk = 0;  // of all of them
        std::vector<Unverified> slices;
    };

    Batch ReadFacts(std::span<const int> ids);
    void ReadRecords(Batch& batch);
    void ReadRecent(Unverified& unverified);
    void ReadFromChunk(Unverified& unverified, int chunk);
    void ReadWholeChunk(Batch& batch);
    int SlicesInChunk(int chunk);
    void AddRecord(Unverified& unverified, SQLite::Statement& row);
    void LoadNewNames();
    [[noreturn]] void ThrowDamaged(int sliceId) const;

    SQLite::Database& m_database;
    const std::string m_path;
    const int m_run;
    std::unordered_map<std::int64_t, RWCString> m_names;
    std::int64_t m_lastNameId = 0;
};

}  // namespace kzjournal

#endif

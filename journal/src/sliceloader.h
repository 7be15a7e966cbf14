#ifndef KZJOURNALSLICELOADER_H
#define KZJOURNALSLICELOADER_H

#include <SQLiteCpp/SQLiteCpp.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "chunkblocks.h"
#include "journalfile.h"
#include "kzjournalslice.h"
#include "slicechecksum.h"

namespace kzjournal {

/// A number of the database, which makes NULL of a NaN.
double DoubleAt(SQLite::Statement& row, int column);

/// The id of a slice or chunk. No value where it is none, which `int` could hide.
std::optional<int> IdAt(SQLite::Statement& row, int column);

/// The bytes of a text or blob; empty where it is NULL. Valid until the row is left.
std::string_view BytesAt(SQLite::Statement& row, int column);

/// Whether it is a number of seconds within `kMaxSeconds`.
bool IsMoment(SQLite::Statement& row, int column);

/// Minimum, maximum, count, sum and sum of squares, from `column` on.
CKZStatAggregate AggregateAt(SQLite::Statement& row, int column);

/// A chunk that was read as a whole: how many records there are of each name, by ascending id.
using RecordCounts = std::vector<std::pair<std::int64_t, int>>;

/// Reads slices of one run as a whole and verifies each by its checksum. All operations throw
/// `Error` and `SQLite::Exception`. Compatible.
class SliceLoader {
public:
    /// `database`, and `limit` unless it is null, must outlive the loader.
    SliceLoader(SQLite::Database& database, std::string path, int run, int schemaVersion,
                StepLimit* limit)
        : m_database(database),
          m_path(std::move(path)),
          m_run(run),
          m_version(schemaVersion),
          m_messageBlocks(database, run, limit),
          m_distributionBlocks{DistributionBlockReader(database, run, limit),
                               DistributionBlockReader(database, run, limit)} {}

    /// The first slices of `ids`, in that order: at least one, and more as long as they lie in one
    /// chunk and their messages are not too long together. They
    /// are from one moment of a file that is being written, and no transaction stays open.
    std::vector<Slice> Load(std::span<const int> ids);

    /// Whether the records of the chunk have been moved out of the recent ones.
    bool IsClosed(int chunk) { return SlicesInChunk(chunk) > 0; }

    /// Whether the slices are of a schema with blocks.
    bool HasBlocks() const { return m_version >= kBlocksSchemaVersion; }

    /// Verifies all slices of a closed chunk, which are `ids`.
    RecordCounts Verify(int chunk, std::span<const int> ids);

    /// The name of this id; null where there is none. Valid as long as the loader.
    const RWCString* FindName(std::int64_t id);

    /// No value where there is no such name.
    std::optional<std::int64_t> FindId(const std::string& name);

    [[noreturn]] void ThrowDamaged(int sliceId) const;

private:
    /// A slice and the checksum of what was read of it so far.
    struct Unverified {
        Slice slice;
        SliceChecksum computed;
        std::int64_t stored;
    };

    struct Batch {
        int chunk = 0;          // of all of them
        int slicesInChunk = 0;  // 0 as long as it is open
        std::vector<Unverified> slices;
        std::size_t bytes = 0;  // of the messages
    };

    std::string SelectRecords(bool isRecent) const;
    std::string FactsQuery() const;
    Batch ReadFacts(std::span<const int> ids);
    void AddSlice(Batch& batch, SQLite::Statement& facts, int id);
    std::string ReadMessage(SQLite::Statement& facts, const Batch& batch, int id);
    std::string ReadRecentMessage(int id);
    template <class Action>
    bool Sized(int sliceId, Action action) const;
    bool Step(SQLite::Statement& query, int sliceId) const;
    void ReadRecords(Batch& batch);
    void LoadDistributions(int chunk, int sliceId);
    void ReadRecent(Unverified& unverified);
    void ReadFromChunk(Unverified& unverified, int chunk);
    RecordCounts ReadWholeChunk(Batch& batch);
    int SlicesInChunk(int chunk);
    void AddRecord(Unverified& unverified, SQLite::Statement& row, bool isInBlock);
    void LoadNewNames();
    std::vector<Slice> Verified(Batch&& batch) const;

    SQLite::Database& m_database;
    const std::string m_path;
    const int m_run;
    const int m_version;
    MessageBlockReader m_messageBlocks;
    // Of the chunk that is read and of the one before: where a pause has set time back, slices of
    // both alternate.
    std::array<DistributionBlockReader, 2> m_distributionBlocks;
    std::size_t m_currentBlocks = 0;
    std::unordered_map<std::int64_t, RWCString> m_names;
    std::unordered_map<std::string_view, std::int64_t> m_ids;  // by the names in m_names
    std::int64_t m_lastNameId = 0;
    std::size_t m_distributionBytes = 0;  // of the batch that is read
};

}  // namespace kzjournal

#endif

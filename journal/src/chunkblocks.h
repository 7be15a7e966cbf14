#ifndef KZJOURNALCHUNKBLOCKS_H
#define KZJOURNALCHUNKBLOCKS_H

#include <SQLiteCpp/SQLiteCpp.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "block.h"
#include "kzstataggregate.h"

namespace kzjournal {

// The messages of the slices of a closed chunk, and the distributions of its records, are in blocks
// of neighbours. docs/journal.md says what a block holds.

/// Writes the messages of one chunk, in ascending order of the slices. All operations throw
/// `SQLite::Exception`. Compatible.
class MessageBlockWriter {
public:
    /// `database` and `packer` must outlive the writer.
    MessageBlockWriter(SQLite::Database& database, BlockPacker& packer, int run, int chunk);

    void Add(int sliceId, std::string_view message);
    /// To be called at the end.
    void Flush();

private:
    BlockPacker& m_packer;
    SQLite::Statement m_insert;
    int m_firstSliceId = 0;
    int m_lastSliceId = 0;
    std::string m_bytes;
};

/// Writes the distributions of one chunk, in ascending order of the names and, within a name, of
/// the slices. All operations throw `SQLite::Exception`. Compatible.
class DistributionBlockWriter {
public:
    /// `database` and `packer` must outlive the writer.
    DistributionBlockWriter(SQLite::Database& database, BlockPacker& packer, int run, int chunk);

    /// `lasts` is as it is read from the record.
    void Add(std::int64_t nameId, int sliceId, std::string_view form,
             const CKZStatAggregate& lasts);
    /// To be called at the end.
    void Flush();

private:
    BlockPacker& m_packer;
    SQLite::Statement m_insert;
    int m_number = 0;
    std::int64_t m_lastNameId = 0;
    int m_lastSliceId = 0;
    std::string m_bytes;
};

/// Reads messages of closed chunks. Throws `SQLite::Exception`. Compatible.
class MessageBlockReader {
public:
    /// `database`, and `limit` unless it is null, must outlive the reader.
    MessageBlockReader(SQLite::Database& database, int run, StepLimit* limit)
        : m_database(database), m_run(run), m_limit(limit) {}

    /// Returns false where the message is not there or damaged.
    bool Find(int chunk, int sliceId, std::string& message);

private:
    struct Entry {
        int sliceId;
        std::string_view message;
    };

    bool Load(int chunk, int sliceId);
    bool Parse(std::size_t maxEntries);

    SQLite::Database& m_database;
    const int m_run;
    StepLimit* const m_limit;
    // The block that was read last: a closed chunk never changes.
    int m_chunk = 0;
    std::string m_bytes;
    std::vector<Entry> m_entries;
};

/// Reads the distributions of closed chunks. Throws `SQLite::Exception`. Compatible.
class DistributionBlockReader {
public:
    /// `database`, and `limit` unless it is null, must outlive the reader.
    DistributionBlockReader(SQLite::Database& database, int run, StepLimit* limit)
        : m_database(database), m_run(run), m_limit(limit) {}

    /// Whether the chunk is the one that was loaded last.
    bool Has(int chunk) const { return chunk == m_chunk; }

    /// Reads those of the chunk. Returns false where they are damaged.
    bool Load(int chunk);

    /// The form for the record with these `lasts` in the chunk that was loaded last; empty where it
    /// has none. Valid until the next call.
    std::string_view FormOf(std::int64_t nameId, int sliceId, const CKZStatAggregate& lasts);

private:
    struct Entry {
        std::int64_t nameId;
        int sliceId;
        bool lacksExtremes;
        std::string_view bytes;
    };

    bool LoadBlocks(int chunk);
    bool Parse(std::string_view bytes, std::size_t maxEntries);

    SQLite::Database& m_database;
    const int m_run;
    StepLimit* const m_limit;
    // The chunk that was read last, which never changes.
    int m_chunk = 0;
    std::deque<std::string> m_blocks;
    std::vector<Entry> m_entries;
    std::string m_form;
};

}  // namespace kzjournal

#endif

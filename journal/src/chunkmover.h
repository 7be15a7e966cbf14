#ifndef KZJOURNALCHUNKMOVER_H
#define KZJOURNALCHUNKMOVER_H

#include <SQLiteCpp/SQLiteCpp.h>

#include <cstdint>
#include <string>
#include <vector>

#include "block.h"
#include "kzstataggregate.h"

namespace kzjournal {

/// Slices of a run that move together out of the recent tables.
struct Chunk {
    int run;
    int number;  // the id of the first slice in it
    int slices;
    double firstElapsed;
    double lastElapsed;
};

/// Moves chunks: their records to where those of a name lie side by side, messages and
/// distributions into blocks. All operations throw `SQLite::Exception`. Compatible.
class ChunkMover {
public:
    /// Moves all of the chunk within a transaction of its own.
    void Move(SQLite::Database& database, const Chunk& chunk);

private:
    /// What is kept of a record beside its row.
    struct Record {
        std::int64_t nameId;
        int sliceId;
        double elapsed;
        CKZStatAggregate lasts;
        std::size_t formBegin;
        std::size_t formSize;
    };

    static void MoveRows(SQLite::Database& database, const Chunk& chunk);
    static void DeleteMoved(SQLite::Database& database, const Chunk& chunk);
    void MoveMessages(SQLite::Database& database, const Chunk& chunk);
    void ReadRecords(SQLite::Database& database, const Chunk& chunk);
    void MoveDistributions(SQLite::Database& database, const Chunk& chunk);
    void SealNames(SQLite::Database& database, const Chunk& chunk) const;

    // These keep their memory.
    BlockPacker m_packer;
    std::vector<Record> m_records;  // by name and slice
    std::string m_forms;
};

}  // namespace kzjournal

#endif

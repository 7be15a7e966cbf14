#include "chunkmover.h"

#include <SQLiteCpp/VariadicBind.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "chunkblocks.h"
#include "journalfile.h"
#include "namechecksum.h"
#include "sliceloader.h"

namespace kzjournal {
namespace {

/// All columns of `records`.
std::string RecordColumns() {
    return std::string(
               "run_number, chunk, name_id, slice_id, elapsed, type, last_minimum, last_maximum,"
               " last_count, last_sum, last_sum_of_squares, minimum, maximum, count, sum,"
               " sum_of_squares, ") +
           kPercentileColumns;
}

constexpr char kOfChunk[] = " WHERE run_number = ? AND chunk = ?";

void ExecuteFor(SQLite::Database& database, const Chunk& chunk, const std::string& sql) {
    SQLite::Statement statement(database, sql);
    SQLite::bind(statement, chunk.run, chunk.number);
    statement.exec();
}

void InsertChunk(SQLite::Database& database, const Chunk& chunk) {
    SQLite::Statement insert(database, "INSERT INTO chunks VALUES (?, ?, ?, ?, ?)");
    SQLite::bind(insert, chunk.run, chunk.number, chunk.slices, chunk.firstElapsed,
                 chunk.lastElapsed);
    insert.exec();
}

}  // namespace

void ChunkMover::Move(SQLite::Database& database, const Chunk& chunk) {
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    MoveRows(database, chunk);
    MoveMessages(database, chunk);
    ReadRecords(database, chunk);
    MoveDistributions(database, chunk);
    SealNames(database, chunk);
    InsertChunk(database, chunk);
    DeleteMoved(database, chunk);
    transaction.commit();
}

void ChunkMover::DeleteMoved(SQLite::Database& database, const Chunk& chunk) {
    SQLite::Statement others(
        database, "SELECT 1 FROM recent_messages WHERE run_number != ? OR chunk != ? LIMIT 1");
    SQLite::bind(others, chunk.run, chunk.number);
    const bool isAll = !others.executeStep();
    others.reset();
    for (const char* const table : {"recent_records", "recent_messages"}) {
        const std::string sql = std::string("DELETE FROM ") + table;
        // Much faster than row by row.
        if (isAll)
            database.exec(sql);
        else
            ExecuteFor(database, chunk, sql + kOfChunk);
    }
}

void ChunkMover::MoveRows(SQLite::Database& database, const Chunk& chunk) {
    const std::string columns = RecordColumns();
    ExecuteFor(database, chunk,
               std::string("INSERT INTO records (")
                   .append(columns)
                   .append(") SELECT ")
                   .append(columns)
                   .append(" FROM recent_records")
                   .append(kOfChunk)
                   .append(" ORDER BY name_id, slice_id"));
}

void ChunkMover::MoveMessages(SQLite::Database& database, const Chunk& chunk) {
    MessageBlockWriter blocks(database, m_packer, chunk.run, chunk.number);
    SQLite::Statement query(database, std::string("SELECT slice_id, message FROM recent_messages")
                                          .append(kOfChunk)
                                          .append(" ORDER BY slice_id"));
    SQLite::bind(query, chunk.run, chunk.number);
    while (query.executeStep()) blocks.Add(query.getColumn(0).getInt(), BytesAt(query, 1));
    blocks.Flush();
}

/// Sorted here: the database would sort the distributions, too.
void ChunkMover::ReadRecords(SQLite::Database& database, const Chunk& chunk) {
    m_records.clear();
    m_forms.clear();
    SQLite::Statement query(
        database, std::string("SELECT name_id, slice_id, elapsed, last_minimum, last_maximum,"
                              " last_count, last_sum, last_sum_of_squares, distribution"
                              " FROM recent_records") +
                      kOfChunk);
    SQLite::bind(query, chunk.run, chunk.number);
    while (query.executeStep()) {
        const std::string_view form = BytesAt(query, 8);
        m_records.push_back({query.getColumn(0).getInt64(), query.getColumn(1).getInt(),
                             query.getColumn(2).getDouble(), AggregateAt(query, 3), m_forms.size(),
                             form.size()});
        m_forms.append(form);
    }
    std::sort(m_records.begin(), m_records.end(), [](const Record& a, const Record& b) {
        return std::pair(a.nameId, a.sliceId) < std::pair(b.nameId, b.sliceId);
    });
}

void ChunkMover::MoveDistributions(SQLite::Database& database, const Chunk& chunk) {
    DistributionBlockWriter blocks(database, m_packer, chunk.run, chunk.number);
    const std::string_view forms = m_forms;
    for (const Record& record : m_records)
        blocks.Add(record.nameId, record.sliceId, forms.substr(record.formBegin, record.formSize),
                   record.lasts);
    blocks.Flush();
}

/// One name through time is read, and verified, without the others.
void ChunkMover::SealNames(SQLite::Database& database, const Chunk& chunk) const {
    SQLite::Statement name(database, "SELECT name FROM names WHERE name_id = ?");
    SQLite::Statement insert(database, "INSERT INTO name_chunks VALUES (?, ?, ?, ?, ?)");
    for (auto begin = m_records.begin(); begin != m_records.end();) {
        name.reset();
        name.bind(1, static_cast<int64_t>(begin->nameId));
        name.executeStep();
        NameChecksum checksum(name.getColumn(0).getString());
        auto end = begin;
        for (; end != m_records.end() && end->nameId == begin->nameId; ++end)
            checksum.Add(end->sliceId, end->elapsed, end->lasts);
        insert.reset();
        SQLite::bind(insert, chunk.run, chunk.number, static_cast<int64_t>(begin->nameId),
                     static_cast<int>(end - begin), static_cast<int64_t>(checksum.Value()));
        insert.exec();
        begin = end;
    }
}

}  // namespace kzjournal

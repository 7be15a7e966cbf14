#include "sliceloader.h"

#include <SQLiteCpp/VariadicBind.h>

#include <algorithm>
#include <cmath>

#include "journalfile.h"
#include "kzjournalreader.h"
#include "slicechecksum.h"

namespace kzjournal {
namespace {

/// A look-up costs as much as reading a few records in their order.
constexpr int kRecordsPerLookUp = 4;

/// What `AddRecord` reads, of the table `r`.
std::string SelectRecords(const char* from) {
    return std::string(
               "SELECT r.slice_id, r.name_id, r.type, r.elapsed, r.last_minimum, r.last_maximum,"
               " r.last_count, r.last_sum, r.last_sum_of_squares, r.minimum, r.maximum, r.count,"
               " r.sum, r.sum_of_squares ") +
           from;
}

}  // namespace

double DoubleAt(SQLite::Statement& row, int column) {
    const SQLite::Column value = row.getColumn(column);
    const double number = value.getDouble();
    // NULL reads as 0, and whether it is one costs as much as its reading.
    return number == 0 && value.isNull() ? std::nan("") : number;
}

CKZStatAggregate AggregateAt(SQLite::Statement& row, int column) {
    CKZStatAggregate aggregate;
    aggregate.minimum = DoubleAt(row, column);
    aggregate.maximum = DoubleAt(row, column + 1);
    aggregate.count = DoubleAt(row, column + 2);
    aggregate.sum = DoubleAt(row, column + 3);
    aggregate.sumSqr = DoubleAt(row, column + 4);
    return aggregate;
}

std::vector<Slice> SliceLoader::Load(std::span<const int> ids) {
    // One view of all tables: the writer moves records from one to the other.
    const SQLite::Transaction view(m_database);
    Batch batch = ReadFacts(ids);
    ReadRecords(batch);
    for (std::size_t i = 0; i < batch.slices.size(); ++i)
        Verify(batch.slices[i], batch.checksums[i]);
    return std::move(batch.slices);
}

SliceLoader::Batch SliceLoader::ReadFacts(std::span<const int> ids) {
    SQLite::Statement query(m_database,
                            "SELECT chunk, elapsed, end_time, checksum, message FROM slices"
                            " WHERE run_number = ? AND slice_id = ?");
    Batch batch;
    for (const int id : ids.first(std::min<std::size_t>(ids.size(), kChunkSlices))) {
        query.reset();
        SQLite::bind(query, m_run, id);
        if (!query.executeStep()) ThrowDamaged(id);
        const int chunk = query.getColumn(0).getInt();
        if (batch.slices.empty()) batch.chunk = chunk;
        if (chunk != batch.chunk) break;
        batch.slices.push_back({id,
                                query.getColumn(1).getDouble(),
                                query.getColumn(2).getDouble(),
                                query.getColumn(4).getString(),
                                {}});
        batch.checksums.push_back(query.getColumn(3).getInt64());
    }
    return batch;
}

void SliceLoader::ReadRecords(Batch& batch) {
    const int slicesInChunk = SlicesInChunk(batch.chunk);
    const bool isWhole = static_cast<int>(batch.slices.size()) * kRecordsPerLookUp > slicesInChunk;
    if (slicesInChunk == 0)
        for (Slice& slice : batch.slices) ReadRecent(slice);
    else if (isWhole)
        ReadWholeChunk(batch);
    else
        for (Slice& slice : batch.slices) ReadFromChunk(slice, batch.chunk);
}

/// 0 as long as its records wait among the recent ones.
int SliceLoader::SlicesInChunk(int chunk) {
    SQLite::Statement query(m_database,
                            "SELECT slices FROM chunks WHERE run_number = ? AND chunk = ?");
    SQLite::bind(query, m_run, chunk);
    return query.executeStep() ? query.getColumn(0).getInt() : 0;
}

void SliceLoader::ReadRecent(Slice& slice) {
    SQLite::Statement query(
        m_database, SelectRecords("FROM recent_records r WHERE run_number = ? AND slice_id = ?"));
    SQLite::bind(query, m_run, slice.id);
    while (query.executeStep()) AddRecord(slice, query);
}

/// Name by name, since the records of a slice lie apart.
void SliceLoader::ReadFromChunk(Slice& slice, int chunk) {
    SQLite::Statement query(
        m_database, SelectRecords("FROM names n CROSS JOIN records r ON r.run_number = ?"
                                  " AND r.chunk = ? AND r.name_id = n.name_id AND r.slice_id = ?"));
    SQLite::bind(query, m_run, chunk, slice.id);
    while (query.executeStep()) AddRecord(slice, query);
}

void SliceLoader::ReadWholeChunk(Batch& batch) {
    std::unordered_map<int, Slice*> slices;
    for (Slice& slice : batch.slices) slices.emplace(slice.id, &slice);
    SQLite::Statement query(m_database,
                            SelectRecords("FROM records r WHERE run_number = ? AND chunk = ?"));
    SQLite::bind(query, m_run, batch.chunk);
    while (query.executeStep()) {
        const auto slice = slices.find(query.getColumn(0).getInt());
        if (slice != slices.end()) AddRecord(*slice->second, query);
    }
}

void SliceLoader::AddRecord(Slice& slice, SQLite::Statement& row) {
    const RWCString* const name = FindName(row.getColumn(1).getInt64());
    if (name == nullptr || row.getColumn(3).getDouble() != slice.elapsed) ThrowDamaged(slice.id);
    slice.records.push_back(
        {*name, static_cast<CKZStatPointTypeEnum::PointType>(row.getColumn(2).getInt()),
         AggregateAt(row, 9), AggregateAt(row, 4)});
}

const RWCString* SliceLoader::FindName(std::int64_t id) {
    if (id > m_lastNameId) LoadNewNames();
    const auto known = m_names.find(id);
    return known == m_names.end() ? nullptr : &known->second;
}

/// Names never go away and get ascending ids.
void SliceLoader::LoadNewNames() {
    SQLite::Statement query(m_database,
                            "SELECT name_id, name FROM names WHERE name_id > ? ORDER BY name_id");
    query.bind(1, m_lastNameId);
    while (query.executeStep()) {
        m_lastNameId = query.getColumn(0).getInt64();
        const std::string name = query.getColumn(1).getString();
        m_names.emplace(m_lastNameId, RWCString(name.data(), name.size()));
    }
}

void SliceLoader::Verify(const Slice& slice, std::int64_t checksum) const {
    SliceChecksum computed(slice.id, slice.elapsed, slice.endTime, slice.message);
    for (const CKZStatMessageRecord& record : slice.records)
        computed.Add({record.name.data(), record.name.length()}, record.type, record.totals,
                     record.lasts, {});
    if (computed.Value() != checksum) ThrowDamaged(slice.id);
}

void SliceLoader::ThrowDamaged(int sliceId) const {
    throw Error("cannot read " + m_path + ": slice " + std::to_string(sliceId) +
                (m_run == 0 ? std::string() : " of source " + std::to_string(m_run)) +
                " is damaged");
}

}  // namespace kzjournal

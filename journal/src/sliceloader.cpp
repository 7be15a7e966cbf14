#include "sliceloader.h"

#include <SQLiteCpp/VariadicBind.h>
#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string_view>

#include "journalfile.h"
#include "kzjournalreader.h"
#include "messageid.h"
#include "slicecosts.h"

namespace kzjournal {
namespace {

/// A look-up costs as much as reading a few records in their order.
constexpr int kRecordsPerLookUp = 4;

// These bound the memory of a batch. A chunk is read in one, as a rule; those of older schemas have
// up to 256 slices.
constexpr std::size_t kMaxBatchBytes = std::size_t{16} << 20;
constexpr std::size_t kMaxBatchSlices = 256;

Percentiles PercentilesAt(SQLite::Statement& row, int column) {
    Percentiles percentiles;
    for (double& percentile : percentiles) percentile = DoubleAt(row, column++);
    return percentiles;
}

}  // namespace

double DoubleAt(SQLite::Statement& row, int column) {
    const SQLite::Column value = row.getColumn(column);
    const double number = value.getDouble();
    // NULL reads as 0, and whether it is one costs as much as its reading.
    return number == 0 && value.isNull() ? std::nan("") : number;
}

std::optional<int> IdAt(SQLite::Statement& row, int column) {
    const SQLite::Column value = row.getColumn(column);
    const std::int64_t id = value.getInt64();
    const bool isId = value.isInteger() && id >= 1 && id <= std::numeric_limits<int>::max();
    return isId ? std::optional(static_cast<int>(id)) : std::nullopt;
}

std::string_view BytesAt(SQLite::Statement& row, int column) {
    const SQLite::Column value = row.getColumn(column);
    const void* const bytes = value.getBlob();
    return bytes == nullptr ? std::string_view()
                            : std::string_view(static_cast<const char*>(bytes),
                                               static_cast<std::size_t>(value.getBytes()));
}

bool IsMoment(SQLite::Statement& row, int column) {
    const SQLite::Column value = row.getColumn(column);
    return value.isFloat() && std::abs(value.getDouble()) <= kMaxSeconds;
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

/// Names the slice whose message, or block, is longer than any.
template <class Action>
bool SliceLoader::Sized(int sliceId, Action action) const {
    try {
        return action();
    } catch (const SQLite::Exception& error) {
        if (error.getErrorCode() != SQLITE_TOOBIG) throw;
        ThrowDamaged(sliceId);
    }
}

/// What `AddRecord` reads, of the table `r`.
std::string SliceLoader::SelectRecords(bool isRecent) const {
    return std::string(
               "SELECT r.slice_id, r.name_id, r.type, r.elapsed, r.last_minimum, r.last_maximum,"
               " r.last_count, r.last_sum, r.last_sum_of_squares, r.minimum, r.maximum, r.count,"
               " r.sum, r.sum_of_squares, ") +
           (isRecent || !HasBlocks() ? "r.distribution, " : "NULL, ") +
           (m_version >= kPercentilesSchemaVersion ? kPercentileColumns
                                                   : "NULL, NULL, NULL, NULL, NULL") +
           " ";
}

std::string SliceLoader::FactsQuery() const {
    return std::string("SELECT chunk, elapsed, end_time, checksum, ") +
           (HasBlocks() ? kSelectCost : "message") +
           " FROM slices WHERE run_number = ? AND slice_id = ?";
}

std::vector<Slice> SliceLoader::Load(std::span<const int> ids) {
    // One view of all tables: the writer moves records from one to the other.
    const SQLite::Transaction view(m_database);
    Batch batch = ReadFacts(ids);
    ReadRecords(batch);
    return Verified(std::move(batch));
}

RecordCounts SliceLoader::Verify(int chunk, std::span<const int> ids) {
    const SQLite::Transaction view(m_database);
    RecordCounts counts;
    while (!ids.empty()) {
        Batch batch = ReadFacts(ids);
        if (batch.chunk != chunk) ThrowDamaged(ids.front());
        // Each pass over the chunk counts all of it.
        counts = ReadWholeChunk(batch);
        ids = ids.subspan(Verified(std::move(batch)).size());
    }
    return counts;
}

std::vector<Slice> SliceLoader::Verified(Batch&& batch) const {
    std::vector<Slice> slices;
    slices.reserve(batch.slices.size());
    for (Unverified& unverified : batch.slices) {
        if (unverified.computed.Value() != unverified.stored) ThrowDamaged(unverified.slice.id);
        slices.push_back(std::move(unverified.slice));
    }
    return slices;
}

SliceLoader::Batch SliceLoader::ReadFacts(std::span<const int> ids) {
    SQLite::Statement query(m_database, FactsQuery());
    Batch batch;
    m_distributionBytes = 0;
    for (const int id : ids.first(std::min(ids.size(), kMaxBatchSlices))) {
        query.reset();
        SQLite::bind(query, m_run, id);
        if (!Step(query, id) || !IsMoment(query, 1) || !IsMoment(query, 2)) ThrowDamaged(id);
        const std::optional<int> chunk = IdAt(query, 0);
        if (!chunk) ThrowDamaged(id);
        if (batch.slices.empty()) {
            batch.chunk = *chunk;
            batch.slicesInChunk = SlicesInChunk(*chunk);
        }
        if (*chunk != batch.chunk || batch.bytes > kMaxBatchBytes) break;
        AddSlice(batch, query, id);
    }
    return batch;
}

void SliceLoader::AddSlice(Batch& batch, SQLite::Statement& facts, int id) {
    Slice slice{id,
                facts.getColumn(1).getDouble(),
                facts.getColumn(2).getDouble(),
                ReadMessage(facts, batch, id),
                {},
                {}};
    if (HasBlocks() && !ReadCost(facts, 4, id, slice.cost)) ThrowDamaged(id);
    const bool isTooLong = slice.message.size() > static_cast<std::size_t>(kMaxValueBytes);
    if (isTooLong || IsOfAnotherSlice(slice.message, id)) ThrowDamaged(id);
    batch.bytes += slice.message.size();
    const SliceChecksum computed(id, slice.elapsed, slice.endTime, slice.message);
    batch.slices.push_back({std::move(slice), computed, facts.getColumn(3).getInt64()});
}

std::string SliceLoader::ReadMessage(SQLite::Statement& facts, const Batch& batch, int id) {
    if (!HasBlocks()) return facts.getColumn(4).getString();
    if (batch.slicesInChunk == 0) return ReadRecentMessage(id);
    std::string message;
    if (!Sized(id, [&] { return m_messageBlocks.Find(batch.chunk, id, message); }))
        ThrowDamaged(id);
    return message;
}

std::string SliceLoader::ReadRecentMessage(int id) {
    SQLite::Statement query(
        m_database, "SELECT message FROM recent_messages WHERE run_number = ? AND slice_id = ?");
    SQLite::bind(query, m_run, id);
    if (!Step(query, id)) ThrowDamaged(id);
    return query.getColumn(0).getString();
}

bool SliceLoader::Step(SQLite::Statement& query, int sliceId) const {
    return Sized(sliceId, [&] { return query.executeStep(); });
}

void SliceLoader::ReadRecords(Batch& batch) {
    const bool isWhole =
        static_cast<int>(batch.slices.size()) * kRecordsPerLookUp > batch.slicesInChunk;
    const bool isClosed = batch.slicesInChunk > 0;
    if (!isClosed)
        for (Unverified& each : batch.slices) ReadRecent(each);
    else if (isWhole)
        ReadWholeChunk(batch);
    else
        for (Unverified& each : batch.slices) ReadFromChunk(each, batch.chunk);
}

void SliceLoader::LoadDistributions(int chunk, int sliceId) {
    if (!HasBlocks()) return;
    if (!m_distributionBlocks[m_currentBlocks].Has(chunk)) m_currentBlocks = 1 - m_currentBlocks;
    if (!Sized(sliceId, [&] { return m_distributionBlocks[m_currentBlocks].Load(chunk); }))
        ThrowDamaged(sliceId);
}

/// 0 as long as its records wait among the recent ones.
int SliceLoader::SlicesInChunk(int chunk) {
    SQLite::Statement query(m_database,
                            "SELECT slices FROM chunks WHERE run_number = ? AND chunk = ?");
    SQLite::bind(query, m_run, chunk);
    return query.executeStep() ? query.getColumn(0).getInt() : 0;
}

void SliceLoader::ReadRecent(Unverified& unverified) {
    SQLite::Statement query(
        m_database,
        SelectRecords(true) +
            "FROM recent_records r WHERE run_number = ? AND slice_id = ? ORDER BY name_id");
    SQLite::bind(query, m_run, unverified.slice.id);
    std::int64_t lastName = 0;
    while (query.executeStep()) {
        const std::int64_t name = query.getColumn(1).getInt64();
        // Damage can repeat them.
        if (name <= lastName) ThrowDamaged(unverified.slice.id);
        lastName = name;
        AddRecord(unverified, query, false);
    }
}

/// Name by name, since the records of a slice lie apart.
void SliceLoader::ReadFromChunk(Unverified& unverified, int chunk) {
    LoadDistributions(chunk, unverified.slice.id);
    SQLite::Statement query(m_database,
                            SelectRecords(false) +
                                "FROM names n CROSS JOIN records r ON r.run_number = ?"
                                " AND r.chunk = ? AND r.name_id = n.name_id AND r.slice_id = ?");
    SQLite::bind(query, m_run, chunk, unverified.slice.id);
    while (query.executeStep()) AddRecord(unverified, query, HasBlocks());
}

RecordCounts SliceLoader::ReadWholeChunk(Batch& batch) {
    LoadDistributions(batch.chunk, batch.slices.front().slice.id);
    std::unordered_map<int, Unverified*> slices;
    for (Unverified& each : batch.slices) slices.emplace(each.slice.id, &each);
    // In the order of the key, in which damage can repeat what was read already.
    SQLite::Statement query(m_database, SelectRecords(false) +
                                            "FROM records r WHERE run_number = ? AND chunk = ?"
                                            " ORDER BY name_id, slice_id");
    SQLite::bind(query, m_run, batch.chunk);
    RecordCounts counts;
    std::pair<std::int64_t, std::int64_t> last{};
    while (query.executeStep()) {
        const std::pair key(std::int64_t{query.getColumn(1).getInt64()},
                            std::int64_t{query.getColumn(0).getInt64()});
        if (key <= last) ThrowDamaged(batch.slices.front().slice.id);
        if (counts.empty() || key.first != last.first) counts.emplace_back(key.first, 0);
        ++counts.back().second;
        last = key;
        const auto slice = slices.find(query.getColumn(0).getInt());
        if (slice != slices.end()) AddRecord(*slice->second, query, HasBlocks());
    }
    return counts;
}

void SliceLoader::AddRecord(Unverified& unverified, SQLite::Statement& row, bool isInBlock) {
    Slice& slice = unverified.slice;
    const RWCString* const name = FindName(row.getColumn(1).getInt64());
    if (name == nullptr || row.getColumn(3).getDouble() != slice.elapsed) ThrowDamaged(slice.id);
    if (!row.getColumn(0).isInteger()) ThrowDamaged(slice.id);
    const CKZStatMessageRecord& record = slice.records.emplace_back(CKZStatMessageRecord{
        *name, static_cast<CKZStatPointTypeEnum::PointType>(row.getColumn(2).getInt()),
        AggregateAt(row, 9), AggregateAt(row, 4)});
    const std::string_view distribution =
        isInBlock ? m_distributionBlocks[m_currentBlocks].FormOf(row.getColumn(1).getInt64(),
                                                                 slice.id, record.lasts)
                  : BytesAt(row, 14);
    const Percentiles percentiles = PercentilesAt(row, 15);
    // Damage can make many records share one that is long.
    m_distributionBytes += distribution.size();
    if (m_distributionBytes > kMaxChunkBytes + static_cast<std::size_t>(kMaxValueBytes))
        ThrowDamaged(slice.id);
    slice.distributions.Add(distribution, percentiles);
    unverified.computed.Add(name->view(), record.type, record.totals, record.lasts, distribution,
                            percentiles);
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
        const std::int64_t id = query.getColumn(0).getInt64();
        // Damage can repeat them.
        if (id <= m_lastNameId) throw Error("cannot read " + m_path + ": its names are damaged");
        m_lastNameId = id;
        const std::string name = query.getColumn(1).getString();
        const auto added = m_names.emplace(id, RWCString(name.data(), name.size())).first;
        m_ids.emplace(added->second.view(), id);
    }
}

std::optional<std::int64_t> SliceLoader::FindId(const std::string& name) {
    LoadNewNames();
    const auto found = m_ids.find(name);
    return found == m_ids.end() ? std::nullopt : std::optional(found->second);
}

void SliceLoader::ThrowDamaged(int sliceId) const {
    throw Error("cannot read " + m_path + ": slice " + std::to_string(sliceId) +
                (m_run == 0 ? std::string() : " of source " + std::to_string(m_run)) +
                " is damaged");
}

}  // namespace kzjournal

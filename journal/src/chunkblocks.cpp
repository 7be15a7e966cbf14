#include "chunkblocks.h"

#include <SQLiteCpp/VariadicBind.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "journalfile.h"
#include "packednumbers.h"
#include "sliceloader.h"

namespace kzjournal {
namespace {

/// Ids and lengths of an entry take no more.
constexpr std::size_t kMaxEntryHeadBytes = 32;

/// Of the distributions of a chunk, unpacked, with the heads of their entries.
constexpr std::size_t kMaxUnpackedChunkBytes = 2 * kMaxChunkBytes + kMaxValueBytes;

constexpr std::uint64_t kMaxName = std::numeric_limits<std::int64_t>::max();

constexpr std::size_t kExtremesBytes = 2 * sizeof(double);

/// Where the minimum and the maximum stand in the form of a distribution; no value if it has none.
std::optional<std::size_t> PlaceOfExtremes(std::string_view form) {
    PackedReader reader(form);
    const auto version = reader.TakeBytes(1);
    const auto nanCount = reader.TakeNumber();
    const auto buckets = reader.TakeNumber();
    if (!version || !nanCount || !buckets || *buckets == 0) return std::nullopt;
    std::string head;
    AppendNumber(head, *nanCount);
    AppendNumber(head, *buckets);
    return 1 + head.size();
}

std::string ExtremesOf(const CKZStatAggregate& lasts) {
    std::string bytes;
    AppendDouble(bytes, lasts.minimum);
    AppendDouble(bytes, lasts.maximum);
    return bytes;
}

/// The file has a row for each entry of a block, so that a few small blocks cannot have entries
/// without end.
std::size_t MaxRowsIn(SQLite::Database& database) {
    constexpr std::int64_t kMinRowBytes = 16;
    const std::int64_t bytes = database.execAndGet("PRAGMA page_count").getInt64() *
                               database.execAndGet("PRAGMA page_size").getInt64();
    return static_cast<std::size_t>(bytes / kMinRowBytes);
}

void InsertBlock(SQLite::Statement& insert, int key, const std::string& block) {
    insert.tryReset();
    insert.bind(3, key);
    insert.bindNoCopy(4, block.data(), static_cast<int>(block.size()));
    insert.exec();
}

}  // namespace

MessageBlockWriter::MessageBlockWriter(SQLite::Database& database, BlockPacker& packer, int run,
                                       int chunk)
    : m_packer(packer), m_insert(database, "INSERT INTO message_blocks VALUES (?, ?, ?, ?)") {
    SQLite::bind(m_insert, run, chunk);
}

void MessageBlockWriter::Add(int sliceId, std::string_view message) {
    if (m_bytes.size() + message.size() + kMaxEntryHeadBytes > kMaxSharedBlockBytes) Flush();
    if (m_bytes.empty()) m_firstSliceId = sliceId;
    AppendNumber(m_bytes, static_cast<std::uint64_t>(sliceId - m_lastSliceId));
    AppendNumber(m_bytes, message.size());
    m_bytes.append(message);
    m_lastSliceId = sliceId;
}

void MessageBlockWriter::Flush() {
    if (m_bytes.empty()) return;
    InsertBlock(m_insert, m_firstSliceId, m_packer.Pack(m_bytes));
    m_bytes.clear();
    m_lastSliceId = 0;
}

DistributionBlockWriter::DistributionBlockWriter(SQLite::Database& database, BlockPacker& packer,
                                                 int run, int chunk)
    : m_packer(packer), m_insert(database, "INSERT INTO distribution_blocks VALUES (?, ?, ?, ?)") {
    SQLite::bind(m_insert, run, chunk);
}

void DistributionBlockWriter::Add(std::int64_t nameId, int sliceId, std::string_view form,
                                  const CKZStatAggregate& lasts) {
    if (form.empty()) return;
    if (m_bytes.size() + form.size() + kMaxEntryHeadBytes > kMaxSharedBlockBytes) Flush();
    if (nameId != m_lastNameId) m_lastSliceId = 0;
    AppendNumber(m_bytes, static_cast<std::uint64_t>(nameId - m_lastNameId));
    AppendNumber(m_bytes, static_cast<std::uint64_t>(sliceId - m_lastSliceId));
    m_lastNameId = nameId;
    m_lastSliceId = sliceId;
    // The record has them already, as a rule.
    const std::optional<std::size_t> extremes = PlaceOfExtremes(form);
    const bool isShorter = extremes && form.substr(*extremes, kExtremesBytes) == ExtremesOf(lasts);
    const std::size_t head = isShorter ? *extremes : form.size();
    const std::string_view rest = form.substr(isShorter ? head + kExtremesBytes : head);
    AppendNumber(m_bytes, (head + rest.size()) * 2 + (isShorter ? 1 : 0));
    m_bytes.append(form.substr(0, head)).append(rest);
}

void DistributionBlockWriter::Flush() {
    if (m_bytes.empty()) return;
    InsertBlock(m_insert, ++m_number, m_packer.Pack(m_bytes));
    m_bytes.clear();
    m_lastNameId = 0;
    m_lastSliceId = 0;
}

bool MessageBlockReader::Find(int chunk, int sliceId, std::string& message) {
    const auto isAt = [&](auto entry) {
        return entry != m_entries.end() && entry->sliceId == sliceId;
    };
    const auto find = [&] {
        return std::lower_bound(m_entries.begin(), m_entries.end(), sliceId,
                                [](const Entry& entry, int id) { return entry.sliceId < id; });
    };
    if (chunk != m_chunk || !isAt(find()))
        if (!Load(chunk, sliceId) || !isAt(find())) return false;
    message = find()->message;
    return true;
}

/// The block of the chunk that has the slice, if any has.
bool MessageBlockReader::Load(int chunk, int sliceId) {
    m_chunk = 0;
    SQLite::Statement query(m_database,
                            "SELECT block FROM message_blocks WHERE run_number = ? AND chunk = ?"
                            " AND first_slice_id <= ? ORDER BY first_slice_id DESC LIMIT 1");
    SQLite::bind(query, m_run, chunk, sliceId);
    if (!query.executeStep()) return false;
    std::optional<std::string> bytes =
        UnpackBlock(BytesAt(query, 0), kMaxValueBytes + kMaxEntryHeadBytes, m_limit);
    if (!bytes) return false;
    m_bytes = std::move(*bytes);
    if (!Parse(MaxRowsIn(m_database))) return false;
    m_chunk = chunk;
    return true;
}

bool MessageBlockReader::Parse(std::size_t maxEntries) {
    m_entries.clear();
    PackedReader reader(m_bytes);
    int last = 0;
    while (!reader.IsAtEnd()) {
        const std::optional<int> id = reader.TakeId(last);
        const std::optional<std::uint64_t> size = reader.TakeNumber();
        if (!id || !size) return false;
        const std::optional<std::string_view> message = reader.TakeBytes(*size);
        if (!message || m_entries.size() >= maxEntries) return false;
        m_entries.push_back({*id, *message});
        last = *id;
    }
    return true;
}

bool DistributionBlockReader::Load(int chunk) {
    if (chunk == m_chunk) return true;
    m_chunk = 0;
    m_blocks.clear();
    m_entries.clear();
    if (!LoadBlocks(chunk)) return false;
    m_chunk = chunk;
    return true;
}

bool DistributionBlockReader::LoadBlocks(int chunk) {
    SQLite::Statement query(m_database,
                            "SELECT block FROM distribution_blocks WHERE run_number = ?"
                            " AND chunk = ? ORDER BY number");
    SQLite::bind(query, m_run, chunk);
    const std::size_t maxEntries = MaxRowsIn(m_database);
    std::size_t left = kMaxUnpackedChunkBytes;
    while (query.executeStep()) {
        std::optional<std::string> bytes = UnpackBlock(BytesAt(query, 0), left, m_limit);
        if (!bytes) return false;
        left -= bytes->size();
        m_blocks.push_back(std::move(*bytes));
        if (!Parse(m_blocks.back(), maxEntries)) return false;
    }
    return true;
}

bool DistributionBlockReader::Parse(std::string_view bytes, std::size_t maxEntries) {
    PackedReader reader(bytes);
    Entry entry{0, 0, false, {}};
    while (!reader.IsAtEnd()) {
        const std::optional<std::uint64_t> nameStep = reader.TakeNumber();
        if (!nameStep || *nameStep > kMaxName - static_cast<std::uint64_t>(entry.nameId))
            return false;
        if (*nameStep != 0) entry.sliceId = 0;
        entry.nameId += static_cast<std::int64_t>(*nameStep);
        const std::optional<int> sliceId = reader.TakeId(entry.sliceId);
        const std::optional<std::uint64_t> size = reader.TakeNumber();
        if (!sliceId || !size) return false;
        entry.sliceId = *sliceId;
        entry.lacksExtremes = *size % 2 != 0;
        const std::optional<std::string_view> form = reader.TakeBytes(*size / 2);
        if (!form || m_entries.size() >= maxEntries) return false;
        entry.bytes = *form;
        const auto key = [](const Entry& each) { return std::pair(each.nameId, each.sliceId); };
        if (!m_entries.empty() && key(m_entries.back()) >= key(entry)) return false;
        m_entries.push_back(entry);
    }
    return true;
}

std::string_view DistributionBlockReader::FormOf(std::int64_t nameId, int sliceId,
                                                 const CKZStatAggregate& lasts) {
    const std::pair key(nameId, sliceId);
    const auto entry = std::lower_bound(m_entries.begin(), m_entries.end(), key,
                                        [](const Entry& each, auto wanted) {
                                            return std::pair(each.nameId, each.sliceId) < wanted;
                                        });
    if (entry == m_entries.end() || std::pair(entry->nameId, entry->sliceId) != key) return {};
    if (!entry->lacksExtremes) return entry->bytes;
    const std::size_t place =
        std::min(PlaceOfExtremes(entry->bytes).value_or(0), entry->bytes.size());
    m_form.assign(entry->bytes.substr(0, place));
    m_form.append(ExtremesOf(lasts)).append(entry->bytes.substr(place));
    return m_form;
}

}  // namespace kzjournal

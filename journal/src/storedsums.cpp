#include "storedsums.h"

#include <SQLiteCpp/VariadicBind.h>

#include <algorithm>
#include <optional>

#include "journalfile.h"
#include "kzjournalerror.h"
#include "packednumbers.h"
#include "sliceloader.h"
#include "wordhash.h"

namespace kzjournal {
namespace {

/// The names of a sum, with their distributions; generous, since a distribution takes 4 MB at most
/// and those of a slice `kMaxValueBytes`.
constexpr std::size_t kMaxUnpackedSumBytes = kMaxRowBytes;

void AppendAggregate(std::string& bytes, const CKZStatAggregate& aggregate) {
    for (const double value :
         {aggregate.minimum, aggregate.maximum, aggregate.count, aggregate.sum, aggregate.sumSqr})
        AppendDouble(bytes, value);
}

std::optional<CKZStatAggregate> TakeAggregate(PackedReader& reader) {
    CKZStatAggregate aggregate;
    for (double* const value : {&aggregate.minimum, &aggregate.maximum, &aggregate.count,
                                &aggregate.sum, &aggregate.sumSqr}) {
        const std::optional<double> taken = reader.TakeDouble();
        if (!taken) return std::nullopt;
        *value = *taken;
    }
    return aggregate;
}

/// Over all that is stored of the sum, names instead of their ids.
std::int64_t ChecksumOf(int run, const SumFacts& facts, const Slice& sum) {
    WordHash hash;
    for (const std::int64_t number :
         {std::int64_t{run}, std::int64_t{facts.level}, facts.number, std::int64_t{facts.slices},
          std::int64_t{facts.firstId}, std::int64_t{facts.lastId}})
        hash.AddWhole(number);
    for (const double moment : {facts.firstElapsed, facts.lastElapsed, facts.endTime})
        hash.Add(moment);
    for (std::size_t i = 0; i < sum.records.size(); ++i) {
        const CKZStatMessageRecord& record = sum.records[i];
        hash.Add(record.name.view());
        hash.AddWhole(record.type);
        hash.Add(record.lasts);
        hash.Add(sum.distributions.FormOf(i));
    }
    return static_cast<std::int64_t>(hash.Value());
}

std::string ContentOf(const Slice& sum,
                      const std::function<std::int64_t(std::string_view)>& nameIdOf) {
    std::string bytes;
    for (std::size_t i = 0; i < sum.records.size(); ++i) {
        const CKZStatMessageRecord& record = sum.records[i];
        AppendNumber(bytes, static_cast<std::uint64_t>(nameIdOf(record.name.view())));
        AppendNumber(bytes, static_cast<std::uint64_t>(record.type));
        AppendAggregate(bytes, record.lasts);
        const std::string_view form = sum.distributions.FormOf(i);
        AppendNumber(bytes, form.size());
        bytes.append(form);
    }
    return bytes;
}

}  // namespace

void InsertSum(SQLite::Database& database, BlockPacker& packer, int run, const SumFacts& facts,
               const Slice& sum, const std::function<std::int64_t(std::string_view)>& nameIdOf) {
    SQLite::Statement insert(database, "INSERT INTO sums VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    SQLite::bind(insert, run, facts.level, static_cast<int64_t>(facts.number), facts.slices,
                 facts.firstId, facts.firstElapsed, facts.lastId, facts.lastElapsed, facts.endTime,
                 static_cast<int64_t>(ChecksumOf(run, facts, sum)));
    const std::string& block = packer.Pack(ContentOf(sum, nameIdOf));
    insert.bindNoCopy(11, static_cast<const void*>(block.data()), static_cast<int>(block.size()));
    insert.exec();
}

void StoredSums::Update() {
    for (int level = 1; level <= kSumLevels; ++level) Update(level);
}

void StoredSums::Update(int level) {
    Level& known = m_levels[static_cast<std::size_t>(level) - 1];
    SQLite::Statement query(
        m_database,
        "SELECT number, slices, first_slice_id, first_elapsed, last_slice_id, last_elapsed,"
        " end_time FROM sums WHERE run_number = ? AND level = ? AND number > ? ORDER BY number");
    SQLite::bind(query, m_run, level, static_cast<int64_t>(known.lastNumber));
    while (query.executeStep()) {
        const SumFacts facts{level,
                             query.getColumn(0).getInt64(),
                             query.getColumn(1).getInt(),
                             query.getColumn(2).getInt(),
                             query.getColumn(3).getDouble(),
                             query.getColumn(4).getInt(),
                             query.getColumn(5).getDouble(),
                             query.getColumn(6).getDouble()};
        known.sums.insert_or_assign(facts.firstId, facts);
        known.lastNumber = facts.number;
    }
}

const SumFacts* StoredSums::FindFrom(int level, int sliceId) const {
    const Level& known = m_levels[static_cast<std::size_t>(level) - 1];
    const auto found = known.sums.find(sliceId);
    return found == known.sums.end() ? nullptr : &found->second;
}

Slice StoredSums::Load(const SumFacts& facts,
                       const std::function<const RWCString*(std::int64_t)>& nameOf) const {
    SQLite::Statement query(m_database,
                            "SELECT checksum, block FROM sums"
                            " WHERE run_number = ? AND level = ? AND number = ?");
    SQLite::bind(query, m_run, facts.level, static_cast<int64_t>(facts.number));
    if (!query.executeStep()) ThrowDamaged(facts);
    const std::optional<std::string> content =
        UnpackBlock(BytesAt(query, 1), kMaxUnpackedSumBytes, m_limit);
    if (!content) ThrowDamaged(facts);
    Slice sum{facts.lastId, facts.lastElapsed, facts.endTime, {}, {}, {}};
    for (PackedReader reader(*content); !reader.IsAtEnd();) {
        const std::optional<std::uint64_t> nameId = reader.TakeNumber();
        const std::optional<std::uint64_t> type = reader.TakeNumber();
        const std::optional<CKZStatAggregate> lasts = TakeAggregate(reader);
        const std::optional<std::uint64_t> size = reader.TakeNumber();
        if (!nameId || !type || !lasts || !size) ThrowDamaged(facts);
        const std::optional<std::string_view> form = reader.TakeBytes(*size);
        const RWCString* const name = nameOf(static_cast<std::int64_t>(*nameId));
        if (!form || name == nullptr) ThrowDamaged(facts);
        sum.records.push_back(
            {*name, static_cast<CKZStatPointTypeEnum::PointType>(*type), {}, *lasts});
        sum.distributions.Add(*form, PercentilesOf({}));
    }
    if (ChecksumOf(m_run, facts, sum) != query.getColumn(0).getInt64()) ThrowDamaged(facts);
    return sum;
}

void StoredSums::ThrowDamaged(const SumFacts& facts) const {
    throw Error("cannot read " + m_path + ": the sum of slices " + std::to_string(facts.firstId) +
                " to " + std::to_string(facts.lastId) +
                (m_run == 0 ? std::string() : " of source " + std::to_string(m_run)) +
                " is damaged");
}

}  // namespace kzjournal

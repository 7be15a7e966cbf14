#include "summaker.h"

#include <algorithm>
#include <exception>
#include <new>
#include <span>
#include <tuple>

#include "journalfile.h"
#include "sliceloader.h"
#include "slicesum.h"

namespace kzjournal {
namespace {

constexpr std::size_t kMaxParts = 60;

// These bound the time that one sum takes.
constexpr std::size_t kMaxSliceRecords = std::size_t{1} << 16;
constexpr std::size_t kMaxSumRecords = std::size_t{1} << 15;

/// A sum of fewer slices saves less than it takes.
constexpr std::size_t kMinSlices = 12;

/// Bounds the memory of slices that are read.
constexpr std::size_t kSlicesAtOnce = 8;

}  // namespace

void SumMaker::Count(int run, int sliceId, double elapsed, std::size_t records) noexcept {
    try {
        Add(run, sliceId, elapsed, records);
    } catch (const std::bad_alloc&) {
    }
}

void SumMaker::Add(int run, int sliceId, double elapsed, std::size_t records) {
    Run& known = m_runs[run];
    known.slices.emplace_back(elapsed, sliceId);
    known.records += records;
    if (known.slices.size() < kMaxParts && known.records < kMaxSliceRecords) return;
    if (known.slices.size() >= kMinSlices) m_works.push_back({run, std::move(known.slices), {}});
    known.slices.clear();
    known.records = 0;
}

void SumMaker::MakeNext(SQLite::Database& database, const std::string& path,
                        const NameIds& nameIdOf) {
    const Work work = std::move(m_works.front());
    m_works.pop_front();
    try {
        if (work.sums.empty())
            MakeOfSlices(database, path, work, nameIdOf);
        else
            MakeOfSums(database, path, work, nameIdOf);
    } catch (const std::exception&) {
    }
}

void SumMaker::MakeOfSlices(SQLite::Database& database, const std::string& path, const Work& work,
                            const NameIds& nameIdOf) {
    std::vector<SliceKey> slices = work.slices;
    std::sort(slices.begin(), slices.end());
    std::vector<int> ids;
    ids.reserve(slices.size());
    for (const auto& [elapsed, id] : slices) ids.push_back(id);
    SliceLoader loader(database, path, work.run, kSchemaVersion, nullptr);
    SliceSum sum;
    for (std::span<const int> left = ids; !left.empty();) {
        const std::vector<Slice> loaded =
            loader.Load(left.first(std::min(left.size(), kSlicesAtOnce)));
        for (const Slice& slice : loaded)
            if (!sum.Add(slice)) return;
        left = left.subspan(loaded.size());
    }
    const Slice made = sum.Get();
    SumFacts facts{1,
                   0,
                   static_cast<int>(slices.size()),
                   slices.front().second,
                   slices.front().first,
                   made.id,
                   made.elapsed,
                   made.endTime};
    Store(database, work.run, facts, made, nameIdOf);
    CountSum(work.run, facts, made.records.size());
}

void SumMaker::CountSum(int run, const SumFacts& facts, std::size_t records) {
    Run& known = m_runs[run];
    known.sums.push_back(facts);
    known.sumRecords += records;
    if (known.sums.size() < kMaxParts && known.sumRecords < kMaxSumRecords) return;
    if (known.sums.size() > 1) m_works.push_back({run, {}, std::move(known.sums)});
    known.sums.clear();
    known.sumRecords = 0;
}

void SumMaker::MakeOfSums(SQLite::Database& database, const std::string& path, const Work& work,
                          const NameIds& nameIdOf) {
    std::vector<SumFacts> parts = work.sums;
    std::sort(parts.begin(), parts.end(), [](const SumFacts& a, const SumFacts& b) {
        return std::tie(a.firstElapsed, a.firstId) < std::tie(b.firstElapsed, b.firstId);
    });
    SliceLoader names(database, path, work.run, kSchemaVersion, nullptr);
    const StoredSums stored(database, path, work.run, nullptr);
    SliceSum sum;
    int slices = 0;
    for (const SumFacts& part : parts) {
        if (!sum.Add(stored.Load(part, [&](std::int64_t id) { return names.FindName(id); })))
            return;
        slices += part.slices;
    }
    const SumFacts& last =
        *std::max_element(parts.begin(), parts.end(), [](const SumFacts& a, const SumFacts& b) {
            return std::tie(a.lastElapsed, a.lastId) < std::tie(b.lastElapsed, b.lastId);
        });
    SumFacts facts{2,
                   0,
                   slices,
                   parts.front().firstId,
                   parts.front().firstElapsed,
                   last.lastId,
                   last.lastElapsed,
                   last.endTime};
    Store(database, work.run, facts, sum.Get(), nameIdOf);
}

void SumMaker::Store(SQLite::Database& database, int run, SumFacts& facts, const Slice& sum,
                     const NameIds& nameIdOf) {
    std::int64_t& made = m_runs[run].made[static_cast<std::size_t>(facts.level) - 1];
    facts.number = made + 1;
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    InsertSum(database, m_packer, run, facts, sum, nameIdOf);
    transaction.commit();
    made = facts.number;
}

}  // namespace kzjournal

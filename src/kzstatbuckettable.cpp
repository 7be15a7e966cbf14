#include "kzstatbuckettable.h"

#include <algorithm>
#include <numeric>

void CKZStatBucketTable::Increment(Bucket bucket) {
    Count& count = FindOrCreateRow(bucket)[PlaceOf(bucket)];
    if (count == kMost) FindOrCreateCarries().Increment(bucket);
    ++count;
}

/// Makes all room first, which may run out of memory, then adds, which cannot.
void CKZStatBucketTable::Add(const CKZStatBucketTable& other) {
    Counts sums;
    // Mostly, nothing is carried.
    const auto isPlain = [&](Bucket first, const Count* added) {
        return !other.HasCarries(first) && BitsOfSums(first, added) <= kMost;
    };
    for (const Power& power : other.m_powers) {
        const Bucket first = FirstBucketOf(power);
        const Count* const added = other.RowAt(power.row);
        const std::uint64_t bits =
            isPlain(first, added) ? BitsOfSums(first, added) : AddUp(first, other, sums);
        if (bits != 0) MakeRoomFor(first, bits);
    }
    for (const Power& power : other.m_powers) {
        const Bucket first = FirstBucketOf(power);
        const Count* const added = other.RowAt(power.row);
        Count* const own = FindRow(first);
        if (own == nullptr) continue;
        if (isPlain(first, added)) {
            for (unsigned at = 0; at < kRow; ++at)
                own[at] = static_cast<Count>(own[at] + added[at]);
        } else {
            AddUp(first, other, sums);
            Pack(first, sums);
        }
    }
}

/// All bits of the sums with `added`, which tell how many the largest has, without looking for it.
std::uint32_t CKZStatBucketTable::BitsOfSums(Bucket bucket, const Count* added) const {
    static constexpr Count kNoCounts[kRow]{};
    const Count* const found = FindRow(bucket);
    const Count* const own = found != nullptr ? found : kNoCounts;
    std::uint32_t bits = 0;
    for (unsigned at = 0; at < kRow; ++at) bits |= std::uint32_t{own[at]} + added[at];
    return bits;
}

/// The same with what is carried.
std::uint64_t CKZStatBucketTable::AddUp(Bucket bucket, const CKZStatBucketTable& other,
                                        Counts& sums) const {
    Counts added;
    Unpack(bucket, sums);
    other.Unpack(bucket, added);
    std::uint64_t bits = 0;
    for (unsigned at = 0; at < kRow; ++at) bits |= sums[at] += added[at];
    return bits;
}

void CKZStatBucketTable::Clear() {
    std::fill(m_counts.begin(), m_counts.end(), Count{0});
    if (m_carries != nullptr) m_carries->Clear();
}

CKZStatBucketTable::Bucket CKZStatBucketTable::OfRank(std::uint64_t rank) const {
    Counts counts;
    for (const Power& power : m_powers) {
        const Bucket first = FirstBucketOf(power);
        Unpack(first, counts);
        const std::uint64_t sum = std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
        if (rank > sum) {
            rank -= sum;
            continue;
        }
        Bucket bucket = first;
        for (; rank > counts[PlaceOf(bucket)]; ++bucket) rank -= counts[PlaceOf(bucket)];
        return bucket;
    }
    return kzstatbucket::kLimit;
}

std::uint64_t CKZStatBucketTable::CountBelow(Bucket limit) const {
    Counts counts;
    std::uint64_t below = 0;
    for (const Power& power : m_powers) {
        const Bucket first = FirstBucketOf(power);
        if (first >= limit) break;
        Unpack(first, counts);
        const Bucket end = std::min(first + kRow, limit);
        for (Bucket bucket = first; bucket < end; ++bucket) below += counts[PlaceOf(bucket)];
    }
    return below;
}

std::size_t CKZStatBucketTable::GetMemorySize() const {
    const std::size_t own =
        m_counts.capacity() * sizeof m_counts[0] + m_powers.capacity() * sizeof m_powers[0];
    return own + (m_carries != nullptr ? sizeof *m_carries + m_carries->GetMemorySize() : 0);
}

bool CKZStatBucketTable::operator==(const CKZStatBucketTable& other) const {
    return HasCountsOf(other) && other.HasCountsOf(*this);
}

/// Whether those of the powers of two that the other one has are the same.
bool CKZStatBucketTable::HasCountsOf(const CKZStatBucketTable& other) const {
    Counts own;
    Counts theirs;
    return std::all_of(other.m_powers.begin(), other.m_powers.end(), [&](const Power& power) {
        Unpack(FirstBucketOf(power), own);
        other.Unpack(FirstBucketOf(power), theirs);
        return own == theirs;
    });
}

/// Its power of two, or the one before which that would stand.
std::vector<CKZStatBucketTable::Power>::const_iterator CKZStatBucketTable::Search(
    Bucket bucket) const {
    return std::lower_bound(m_powers.begin(), m_powers.end(), bucket / kRow,
                            [](const Power& a, Bucket wanted) { return a.number < wanted; });
}

const CKZStatBucketTable::Count* CKZStatBucketTable::SearchRow(Bucket bucket) const {
    const auto found = Search(bucket);
    return found != m_powers.end() && found->number == bucket / kRow ? RowAt(found->row) : nullptr;
}

/// Of the power of two of a bucket.
CKZStatBucketTable::Hint CKZStatBucketTable::SearchOrCreateRow(Bucket bucket) {
    const auto front = static_cast<std::uint16_t>(kzstatbucket::FrontOf(bucket) / kRow);
    const auto found = Search(bucket);
    if (found != m_powers.end() && found->number == bucket / kRow) return {front, found->row};

    const std::size_t rows = m_powers.size() + 1;
    // As few more as may be without copying a large table for each.
    constexpr std::size_t kShare = 64;
    m_counts.reserve(kRow * std::min(rows + rows / kShare, kAllPowers));
    m_counts.resize(kRow * rows);
    const auto row = static_cast<std::uint16_t>(rows - 1);
    m_powers.insert(found, {static_cast<std::uint16_t>(bucket / kRow), row});
    return {front, row};
}

CKZStatBucketTable& CKZStatBucketTable::FindOrCreateCarries() {
    if (m_carries == nullptr) m_carries = std::make_unique<CKZStatBucketTable>();
    return *m_carries;
}

std::uint64_t CKZStatBucketTable::GetCount(Bucket bucket) const {
    const Count* const row = FindRow(bucket);
    if (row == nullptr) return 0;
    const std::uint64_t carries = m_carries != nullptr ? m_carries->GetCount(bucket) : 0;
    return (carries << kCountBits) + row[PlaceOf(bucket)];
}

void CKZStatBucketTable::Unpack(Bucket bucket, Counts& counts) const {
    const Count* const row = FindRow(bucket);
    if (row == nullptr) {
        counts.fill(0);
    } else if (m_carries == nullptr) {
        std::copy_n(row, kRow, counts.begin());
    } else {
        m_carries->Unpack(bucket, counts);
        for (unsigned at = 0; at < kRow; ++at) counts[at] = (counts[at] << kCountBits) + row[at];
    }
}

/// Overwrites the counts of a power of two, and those in `counts`. REQUIRES: there is room.
void CKZStatBucketTable::Pack(Bucket bucket, Counts& counts) {
    Count* const row = FindRow(bucket);
    if (row == nullptr) return;  // nothing is carried
    for (unsigned at = 0; at < kRow; ++at) {
        row[at] = static_cast<Count>(counts[at]);
        counts[at] >>= kCountBits;
    }
    if (m_carries != nullptr) m_carries->Pack(bucket, counts);
}

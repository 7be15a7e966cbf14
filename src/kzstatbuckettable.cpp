#include "kzstatbuckettable.h"

#include <algorithm>
#include <numeric>

/// Makes all room first, which may run out of memory, then adds, which cannot.
void CKZStatBucketTable::Add(const CKZStatBucketTable& other) {
    Counts sums;
    // Mostly, nothing is carried.
    const auto isPlain = [&](Bucket first, const Count* added) {
        return !other.HasCarries(first) && BitsOfSums(first, added) <= kMost;
    };
    for (std::size_t row = 0; row < other.m_powers.size(); ++row) {
        const Bucket first = other.FirstBucketOf(row);
        const Count* const added = other.RowAt(row);
        const std::uint64_t bits =
            isPlain(first, added) ? BitsOfSums(first, added) : AddUp(first, other, sums);
        if (bits != 0) MakeRoomFor(first, bits);
    }
    for (std::size_t row = 0; row < other.m_powers.size(); ++row) {
        const Bucket first = other.FirstBucketOf(row);
        const Count* const added = other.RowAt(row);
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
    CloseWindow();
    std::fill(m_counts.begin(), m_counts.end(), Count{0});
    if (m_carries != nullptr) m_carries->Clear();
}

CKZStatBucketTable::Bucket CKZStatBucketTable::OfRank(std::uint64_t rank) const {
    Counts counts;
    for (std::size_t row = 0; row < m_powers.size(); ++row) {
        const Bucket first = FirstBucketOf(row);
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
    for (std::size_t row = 0; row < m_powers.size(); ++row) {
        const Bucket first = FirstBucketOf(row);
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
    return std::all_of(other.m_powers.begin(), other.m_powers.end(), [&](std::uint16_t power) {
        Unpack(power * kRow, own);
        other.Unpack(power * kRow, theirs);
        return own == theirs;
    });
}

/// The row of its power of two, or the one before which that would lie.
std::size_t CKZStatBucketTable::Search(Bucket bucket) const {
    const auto found = std::lower_bound(m_powers.begin(), m_powers.end(), bucket / kRow);
    return static_cast<std::size_t>(found - m_powers.begin());
}

const CKZStatBucketTable::Count* CKZStatBucketTable::SearchRow(Bucket bucket) const {
    const std::size_t row = Search(bucket);
    return HasRow(row, bucket / kRow) ? RowAt(row) : nullptr;
}

CKZStatBucketTable::Hint CKZStatBucketTable::SearchOrCreateRow(Bucket bucket, std::size_t reach) {
    const std::size_t power = bucket / kRow;
    const std::size_t row = Search(bucket);
    std::size_t first = power;
    if (!HasRow(row, power)) {
        std::size_t end = power + 1;
        if (power > kPowerOfZero) {
            if (row > 0 && m_powers[row - 1] > kPowerOfZero && power - m_powers[row - 1] <= reach)
                first = m_powers[row - 1] + 1U;
            if (row < m_powers.size() && m_powers[row] - power <= reach) end = m_powers[row];
        }
        CreateRows(row, first, end - first);
    }
    return {static_cast<std::uint16_t>(power), static_cast<std::uint16_t>(row + (power - first))};
}

/// Of adjacent powers, before that row.
void CKZStatBucketTable::CreateRows(std::size_t row, std::size_t power, std::size_t count) {
    const std::size_t rows = m_powers.size() + count;
    // As few more as may be without copying a large table for each.
    constexpr std::size_t kShare = 64;
    m_counts.reserve(kRow * std::min(rows + rows / kShare, kAllPowers));
    m_powers.reserve(rows);
    m_window = {};
    const auto at = static_cast<std::ptrdiff_t>(row);
    m_counts.insert(m_counts.begin() + at * kRow, kRow * count, Count{0});
    const auto powers = m_powers.insert(m_powers.begin() + at, count, 0);
    std::iota(powers, powers + static_cast<std::ptrdiff_t>(count),
              static_cast<std::uint16_t>(power));
}

void CKZStatBucketTable::MoveWindow(double least, double greatest) {
    // Zero has a row as well, but not one where denormal numbers find their count by their bits.
    const std::size_t power = m_hint.power;
    if (power <= kPowerOfZero) return;
    if (power < m_window.firstPower || power > m_window.lastPower) FindRowsOfWindow();

    const double lowest =
        std::max(least, kzstatbucket::LowestMagnitude(m_window.firstPower * kRow));
    m_window.lowest = std::bit_cast<std::uint64_t>(lowest);
    m_window.width = std::min(std::bit_cast<std::uint64_t>(greatest) + 1,
                              kzstatbucket::LowestBits((m_window.lastPower + 1U) * kRow)) -
                     m_window.lowest;
}

/// Around the row that was asked for last.
void CKZStatBucketTable::FindRowsOfWindow() {
    std::size_t first = m_hint.row;
    std::size_t last = first;
    while (first > 0 && m_hint.row - first < kMostBeside &&
           HasRow(first - 1, m_powers[first] - 1U) && m_powers[first - 1] > kPowerOfZero)
        --first;
    while (last - m_hint.row < kMostBeside && HasRow(last + 1, m_powers[last] + 1U)) ++last;
    m_window.firstPower = m_powers[first];
    m_window.lastPower = m_powers[last];
    m_window.origin =
        kzstatbucket::FrontOf(FirstBucketOf(first)) - static_cast<Bucket>(first) * kRow;
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

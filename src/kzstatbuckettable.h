#ifndef KZSTATBUCKETTABLE_H
#define KZSTATBUCKETTABLE_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "kzstatbucket.h"

/// Counts by bucket, in memory only for powers of two that have or had values, and for some that
/// lie between two of them.
///
/// Each power of two has a row of counts of 16 bits; the rows lie in one piece of memory, in the
/// order of their values. A second table, which is there once it is needed, counts how often a
/// count has exceeded 16 bits.
///
/// Compatible: one thread at a time changes an object and no other reads it meanwhile.
class CKZStatBucketTable {
public:
    using Bucket = kzstatbucket::Number;

    CKZStatBucketTable() = default;
    /// Leave the other one useless.
    CKZStatBucketTable(CKZStatBucketTable&&) = default;
    CKZStatBucketTable& operator=(CKZStatBucketTable&&) = default;

    // Each counts one more value. REQUIRES: the counts of all buckets add up to less than 2^64 - 1.

    /// Returns false and counts nothing if the value is not in the window.
    bool TryIncrement(double value) {
        if (std::bit_cast<std::uint64_t>(value) - m_window.lowest >= m_window.width) [[unlikely]]
            return false;
        Count& count = m_counts[kzstatbucket::FrontOf(value) - m_window.origin];
        if (++count != 0) [[likely]]
            return true;
        --count;
        return false;
    }
    /// Makes rows for powers between this one and the nearest, too, if these are few: values around
    /// two means often take turns, and shall find both in the window. If memory runs out, throws
    /// and counts nothing.
    void Increment(Bucket bucket) {
        if (m_hint.power != bucket / kRow) m_hint = SearchOrCreateRow(bucket, kReach);
        Count& count = m_counts[std::size_t{m_hint.row} * kRow + PlaceOf(bucket)];
        if (count == kMost) FindOrCreateCarries().Increment(bucket);
        ++count;
    }

    /// Moves the window to those values from `least` to `greatest` that lie in the power of two of
    /// the one that was counted last and in the adjacent ones, up to the next that has no row. It
    /// stays there until a row is made. Does nothing if that one is not positive, or denormal.
    /// REQUIRES: what was called last is `Increment`, for one of those values.
    void MoveWindow(double least, double greatest);
    void CloseWindow() { m_window.width = 0; }

    /// Adds all counts. If memory runs out, throws and adds nothing. REQUIRES: the counts of both
    /// add up to less than 2^64.
    void Add(const CKZStatBucketTable& other);

    // If memory runs out, these throw and change no count.

    /// Makes room for a count that is as large.
    void MakeRoomFor(Bucket bucket, std::uint64_t count) {
        FindOrCreateRow(bucket);
        if (count > kMost) FindOrCreateCarries().MakeRoomFor(bucket, count >> kCountBits);
    }
    /// Makes room for so many more. REQUIRES: the sum does not exceed 64 bits.
    void MakeRoomForMore(Bucket bucket, std::uint64_t more) {
        const Count count = FindOrCreateRow(bucket)[PlaceOf(bucket)];
        if (more > static_cast<Count>(kMost - count)) MakeRoomFor(bucket, GetCount(bucket) + more);
    }

    /// REQUIRES: there is room.
    void Add(Bucket bucket, std::uint64_t more) {
        Count& count = FindOrCreateRow(bucket)[PlaceOf(bucket)];
        const std::uint64_t sum = count + more;
        count = static_cast<Count>(sum);
        if (sum > kMost) m_carries->Add(bucket, sum >> kCountBits);
    }

    /// Sets all counts to 0, closes the window and keeps the memory.
    void Clear();

    /// Calls `visit(bucket, count)` for each count that is not 0, in ascending order.
    template <class Visit>
    void ForEach(const Visit& visit) const {
        for (std::size_t row = 0; row < m_powers.size(); ++row) ForEachOf(row, visit);
    }

    /// The first bucket that has at least `rank` values in it and below. REQUIRES: there is one.
    Bucket OfRank(std::uint64_t rank) const;
    /// The number of values in the buckets below this one.
    std::uint64_t CountBelow(Bucket limit) const;

    std::size_t GetMemorySize() const;

    bool operator==(const CKZStatBucketTable& other) const;

private:
    // Counts of one byte would soon exceed it, some earlier than others, which the processor could
    // not foresee.
    using Count = std::uint16_t;
    static constexpr unsigned kCountBits = std::numeric_limits<Count>::digits;
    static constexpr Count kMost = std::numeric_limits<Count>::max();

    static constexpr unsigned kRow = kzstatbucket::kPerPowerOfTwo;
    using Counts = std::array<std::uint64_t, kRow>;  // in the order of a row

    static constexpr std::size_t kAllPowers = kzstatbucket::kLimit / kRow;
    static constexpr std::uint16_t kNone = kAllPowers;
    static constexpr std::size_t kPowerOfZero = kzstatbucket::kZero / kRow;

    /// A gap between two powers is filled if they are at most so far apart: a factor of 65,536,
    /// since what is found takes microseconds, and what is not, a tenth of a second. Fifteen rows
    /// take 4 KB.
    static constexpr std::size_t kReach = 16;

    /// A window has no more powers than this on each side of the value that it was moved to.
    static constexpr std::size_t kMostBeside = 32;

    /// Positive values whose counts lie in the order of their bits, so that neither a search nor a
    /// comparison of numbers of powers is needed to find one.
    struct Window {
        std::uint64_t lowest = 0;  // the bits of the least value
        std::uint64_t width = 0;   // so many values from there on
        std::uint32_t origin = 0;  // the front whose count would be the first of all, modulo 2^32
        // Of the rows that it may have: the numbers of their powers, the last one less than the
        // first if they are not known.
        std::uint16_t firstPower = kNone;
        std::uint16_t lastPower = 0;
    };

    /// Where the row of a power of two is.
    struct Hint {
        std::uint16_t power = kNone;  // the number of its buckets, without the lowest bits
        std::uint16_t row = 0;
    };

    Bucket FirstBucketOf(std::size_t row) const { return m_powers[row] * kRow; }
    static unsigned PlaceOf(Bucket bucket) { return kzstatbucket::FrontOf(bucket) % kRow; }

    // Of the power of two of a bucket. Null if there is none.

    const Count* FindRow(Bucket bucket) const {
        return m_hint.power == bucket / kRow ? RowAt(m_hint.row) : SearchRow(bucket);
    }
    Count* FindRow(Bucket bucket) {
        return const_cast<Count*>(std::as_const(*this).FindRow(bucket));
    }
    const Count* SearchRow(Bucket bucket) const;
    const Count* RowAt(std::size_t row) const { return m_counts.data() + row * kRow; }
    Count* FindOrCreateRow(Bucket bucket) {
        if (m_hint.power != bucket / kRow) m_hint = SearchOrCreateRow(bucket, 0);
        return m_counts.data() + std::size_t{m_hint.row} * kRow;
    }
    /// With one that it creates, those between it and the nearest within `reach`.
    Hint SearchOrCreateRow(Bucket bucket, std::size_t reach);
    void CreateRows(std::size_t row, std::size_t power, std::size_t count);
    void FindRowsOfWindow();

    bool HasCarries(Bucket bucket) const {
        return m_carries != nullptr && m_carries->FindRow(bucket) != nullptr;
    }
    CKZStatBucketTable& FindOrCreateCarries();

    std::size_t Search(Bucket bucket) const;
    bool HasRow(std::size_t row, std::size_t power) const {
        return row < m_powers.size() && m_powers[row] == power;
    }
    std::uint64_t GetCount(Bucket bucket) const;
    void Unpack(Bucket bucket, Counts& counts) const;
    void Pack(Bucket bucket, Counts& counts);
    std::uint32_t BitsOfSums(Bucket bucket, const Count* added) const;
    std::uint64_t AddUp(Bucket bucket, const CKZStatBucketTable& other, Counts& sums) const;
    template <class Visit>
    void ForEachOf(std::size_t row, const Visit& visit) const;
    bool HasCountsOf(const CKZStatBucketTable& other) const;

    // First what a value reads besides its count, so that it lies together with what a distribution
    // has for it.
    Window m_window;
    Hint m_hint;  // to the row that was asked for last: zeros often come among other values
    std::vector<Count> m_counts;
    std::vector<std::uint16_t> m_powers;  // by row, ascending: the numbers of their buckets
    std::unique_ptr<CKZStatBucketTable> m_carries;  // counts of 2^16 values each
};

template <class Visit>
void CKZStatBucketTable::ForEachOf(std::size_t row, const Visit& visit) const {
    const Bucket first = FirstBucketOf(row);
    // The rows of negative values run backwards.
    const unsigned flip = PlaceOf(first);
    if (HasCarries(first)) {
        Counts counts;
        Unpack(first, counts);
        for (unsigned at = 0; at < kRow; ++at)
            if (counts[at ^ flip] != 0) visit(first + at, counts[at ^ flip]);
        return;
    }
    const Count* const inRow = RowAt(row);
    std::uint64_t word = 0;
    constexpr unsigned kPerWord = sizeof word / sizeof inRow[0];
    for (unsigned begin = 0; begin < kRow; begin += kPerWord) {
        std::memcpy(&word, inRow + ((begin ^ flip) & ~(kPerWord - 1)), sizeof word);
        if (word == 0) continue;
        for (unsigned at = begin; at < begin + kPerWord; ++at)
            if (inRow[at ^ flip] != 0) visit(first + at, std::uint64_t{inRow[at ^ flip]});
    }
}

#endif

#ifndef KZSTATBUCKETTABLE_H
#define KZSTATBUCKETTABLE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "kzstatbucket.h"

/// Counts by bucket, in memory only for powers of two that have or had values.
///
/// Each power of two has a row of counts of 16 bits; the rows lie in one piece of memory, in the
/// order in which they were needed. A second table, which is there once it is needed, counts how
/// often a count has exceeded 16 bits.
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

    /// Returns false and counts nothing if that takes more than a moment. REQUIRES: not NaN.
    bool TryIncrement(double value) {
        const Bucket front = kzstatbucket::FrontOf(value);
        const Hint& hint = m_hints[front / kRow % kHints];
        if (hint.power == front / kRow) return TryIncrement(hint, front % kRow);
        return m_hintOfZero.power != kNone && kzstatbucket::Of(value) == kzstatbucket::kZero &&
               TryIncrement(m_hintOfZero, 0);
    }
    /// If memory runs out, throws and counts nothing.
    void Increment(Bucket bucket);

    /// Until the next change of a bucket, `TryIncrement` returns false.
    void ForgetHints() {
        m_hints.fill({});
        m_hintOfZero = {};
    }

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

    /// Sets all counts to 0 and keeps the memory.
    void Clear();

    /// Calls `visit(bucket, count)` for each count that is not 0, in ascending order.
    template <class Visit>
    void ForEach(const Visit& visit) const {
        for (const Power& power : m_powers) ForEachOf(power, visit);
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

    /// As many adjacent powers of two have hints that do not displace one another.
    static constexpr std::uint32_t kHints = 8;

    /// Where the row of a power of two is.
    struct Hint {
        std::uint16_t power = kNone;  // the front of its values
        std::uint16_t row = 0;
    };

    struct Power {
        std::uint16_t number;  // of its buckets, without the lowest bits
        std::uint16_t row;
    };

    bool TryIncrement(const Hint& hint, unsigned at) {
        Count& count = m_counts[std::size_t{hint.row} * kRow + at];
        if (++count != 0) return true;
        --count;
        return false;
    }

    static Bucket FirstBucketOf(const Power& power) { return power.number * kRow; }
    static unsigned PlaceOf(Bucket bucket) { return kzstatbucket::FrontOf(bucket) % kRow; }

    // Of the power of two of a bucket. Null if there is none.

    const Count* FindRow(Bucket bucket) const {
        const Hint& hint = HintOf(bucket);
        return hint.power == kzstatbucket::FrontOf(bucket) / kRow ? RowAt(hint.row)
                                                                  : SearchRow(bucket);
    }
    Count* FindRow(Bucket bucket) {
        return const_cast<Count*>(std::as_const(*this).FindRow(bucket));
    }
    const Hint& HintOf(Bucket bucket) const {
        if (bucket == kzstatbucket::kZero) return m_hintOfZero;
        return m_hints[kzstatbucket::FrontOf(bucket) / kRow % kHints];
    }
    const Count* SearchRow(Bucket bucket) const;
    const Count* RowAt(std::size_t row) const { return m_counts.data() + row * kRow; }
    Count* FindOrCreateRow(Bucket bucket) {
        Hint& hint = const_cast<Hint&>(std::as_const(*this).HintOf(bucket));
        if (hint.power != kzstatbucket::FrontOf(bucket) / kRow) hint = SearchOrCreateRow(bucket);
        return m_counts.data() + std::size_t{hint.row} * kRow;
    }
    Hint SearchOrCreateRow(Bucket bucket);

    bool HasCarries(Bucket bucket) const {
        return m_carries != nullptr && m_carries->FindRow(bucket) != nullptr;
    }
    CKZStatBucketTable& FindOrCreateCarries();

    std::vector<Power>::const_iterator Search(Bucket bucket) const;
    std::uint64_t GetCount(Bucket bucket) const;
    void Unpack(Bucket bucket, Counts& counts) const;
    void Pack(Bucket bucket, Counts& counts);
    std::uint32_t BitsOfSums(Bucket bucket, const Count* added) const;
    std::uint64_t AddUp(Bucket bucket, const CKZStatBucketTable& other, Counts& sums) const;
    template <class Visit>
    void ForEachOf(const Power& power, const Visit& visit) const;
    bool HasCountsOf(const CKZStatBucketTable& other) const;

    // First what a value reads besides its count, so that it lies together with what a distribution
    // has for it.

    // Of the powers that were asked for last, by the lowest bits of their fronts. Each read that
    // this saves may be one that waits for memory.
    std::array<Hint, kHints> m_hints{};
    std::vector<Count> m_counts;
    // The denormal numbers share the bucket of zero, but not its front. Besides, zeros often come
    // among other values.
    Hint m_hintOfZero;
    std::vector<Power> m_powers;                    // by number, ascending
    std::unique_ptr<CKZStatBucketTable> m_carries;  // counts of 2^16 values each
};

template <class Visit>
void CKZStatBucketTable::ForEachOf(const Power& power, const Visit& visit) const {
    const Bucket first = FirstBucketOf(power);
    // The rows of negative values run backwards.
    const unsigned flip = PlaceOf(first);
    if (HasCarries(first)) {
        Counts counts;
        Unpack(first, counts);
        for (unsigned at = 0; at < kRow; ++at)
            if (counts[at ^ flip] != 0) visit(first + at, counts[at ^ flip]);
        return;
    }
    const Count* const row = RowAt(power.row);
    std::uint64_t word = 0;
    constexpr unsigned kPerWord = sizeof word / sizeof row[0];
    for (unsigned begin = 0; begin < kRow; begin += kPerWord) {
        std::memcpy(&word, row + ((begin ^ flip) & ~(kPerWord - 1)), sizeof word);
        if (word == 0) continue;
        for (unsigned at = begin; at < begin + kPerWord; ++at)
            if (row[at ^ flip] != 0) visit(first + at, std::uint64_t{row[at ^ flip]});
    }
}

#endif

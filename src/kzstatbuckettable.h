#ifndef KZSTATBUCKETTABLE_H
#define KZSTATBUCKETTABLE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "kzstatbucket.h"

/// The counts of the buckets of one power of two. They all have the same width, which grows with
/// the largest of them and never shrinks.
///
/// Compatible: one thread at a time changes an object and no other reads it meanwhile.
class CKZStatBucketBlock {
public:
    static constexpr unsigned kSize = kzstatbucket::kPerPowerOfTwo;
    using Counts = std::array<std::uint64_t, kSize>;

    /// `key` is the number of each of its buckets, without the lowest bits.
    explicit CKZStatBucketBlock(std::uint32_t key);

    std::uint32_t GetKey() const { return m_key; }
    std::size_t GetMemorySize() const { return std::size_t{kSize} * m_width; }

    /// Where the counts of a block are, as long as it is neither widened nor destroyed.
    struct Place {
        static constexpr std::uint16_t kNoKey = 0xFFFF;  // no power of two has it

        std::uint64_t* words = nullptr;
        std::uint16_t key = kNoKey;
        std::uint8_t width = 0;

        /// Returns false if the count is as large as the width allows.
        bool TryIncrement(unsigned at) const {
            switch (width) {
                case 2:
                    return TryIncrementAs<std::uint16_t>(at);
                case 4:
                    return TryIncrementAs<std::uint32_t>(at);
                default:
                    return TryIncrementAs<std::uint64_t>(at);
            }
        }

    private:
        template <class Counter>
        bool TryIncrementAs(unsigned at) const {
            char* const place = reinterpret_cast<char*>(words) + at * sizeof(Counter);
            Counter count;
            std::memcpy(&count, place, sizeof count);
            if (count == std::numeric_limits<Counter>::max()) return false;
            ++count;
            std::memcpy(place, &count, sizeof count);
            return true;
        }
    };
    Place GetPlace() const { return {m_words.get(), m_key, m_width}; }

    /// If memory runs out, throws and counts nothing. REQUIRES: the count is below 2^64 - 1.
    void Increment(unsigned at);

    /// Makes the counts wide enough for `count`. If memory runs out, throws and changes nothing.
    void MakeRoomFor(std::uint64_t count);
    /// The same for the sums with `counts`. REQUIRES: none of them exceeds 64 bits.
    void MakeRoomForSums(const Counts& counts);

    /// REQUIRES: there is room.
    void Add(const Counts& counts);
    void Add(unsigned at, std::uint64_t more);

    std::uint64_t GetCount(unsigned at) const;
    void Clear();
    void Unpack(Counts& counts) const;
    bool IsEmpty() const;

    /// True if the keys and the counts are the same; widths do not matter.
    bool operator==(const CKZStatBucketBlock& other) const;

    /// Calls `visit(at, count)` for each count that is not 0, in ascending order.
    template <class Visit>
    void ForEach(const Visit& visit) const {
        AsTyped([&](auto zero) {
            using Counter = decltype(zero);
            constexpr unsigned kBytesPerWord = 8;
            constexpr unsigned kPerWord = kBytesPerWord / sizeof(Counter);
            for (unsigned first = 0; first < kSize; first += kPerWord) {
                if (m_words[first / kPerWord] == 0) continue;
                for (unsigned at = first; at < first + kPerWord; ++at)
                    if (const Counter count = Get<Counter>(at); count != 0) visit(at, count);
            }
        });
    }

private:
    template <class Counter>
    Counter Get(unsigned at) const {
        Counter count;
        std::memcpy(&count, CountAt<Counter>(at), sizeof count);
        return count;
    }

    template <class Counter>
    void Put(unsigned at, Counter count) {
        std::memcpy(CountAt<Counter>(at), &count, sizeof count);
    }

    template <class Counter>
    char* CountAt(unsigned at) const {
        return reinterpret_cast<char*>(m_words.get()) + at * sizeof(Counter);
    }

    /// Calls `act` with a zero of the type that the counts have.
    template <class Act>
    void AsTyped(const Act& act) const {
        switch (m_width) {
            case 2:
                return act(std::uint16_t{0});
            case 4:
                return act(std::uint32_t{0});
            default:
                return act(std::uint64_t{0});
        }
    }

    // Counts of one byte would soon have to grow, some earlier than others, and which width a
    // bucket has could not be foreseen by the processor.
    static constexpr std::uint8_t kMinWidth = 2;

    void Widen(unsigned width);

    std::unique_ptr<std::uint64_t[]> m_words;
    std::uint16_t m_key;
    std::uint8_t m_width = kMinWidth;  // bytes of each count
};

/// Counts by bucket, in blocks that are there only for powers of two that have or had values.
///
/// Compatible: one thread at a time changes an object and no other reads it meanwhile.
class CKZStatBucketTable {
public:
    using Bucket = kzstatbucket::Number;

    CKZStatBucketTable() = default;
    CKZStatBucketTable(const CKZStatBucketTable&) = delete;
    CKZStatBucketTable& operator=(const CKZStatBucketTable&) = delete;

    // Each counts one more value. REQUIRES: the counts of all buckets add up to less than 2^64 - 1.

    /// Returns false and counts nothing if that takes more than a moment.
    bool TryIncrement(Bucket bucket) {
        const std::uint32_t key = KeyOf(bucket);
        const CKZStatBucketBlock::Place& hint = m_hints[key % kHints];
        return hint.key == key && hint.TryIncrement(PlaceOf(bucket));
    }
    /// If memory runs out, throws and counts nothing.
    void Increment(Bucket bucket);

    /// Adds all counts. If memory runs out, throws and adds nothing. REQUIRES: the counts of both
    /// add up to less than 2^64.
    void Add(const CKZStatBucketTable& other);

    /// Adds to buckets in ascending order: looks up the block of each power of two once, so that no
    /// block may be made meanwhile without it.
    ///
    /// Compatible: one thread at a time per object.
    class Walk {
    public:
        explicit Walk(CKZStatBucketTable& table) : m_table(table) {}

        // If memory runs out, these throw and change no count.

        /// Makes room for a count that is as large.
        void MakeRoomFor(Bucket bucket, std::uint64_t count) {
            CKZStatBucketBlock& block = BlockOf(bucket);
            block.MakeRoomFor(count);
            m_table.Hint(block);
        }
        /// Makes room for so many more. REQUIRES: the sum does not exceed 64 bits.
        void MakeRoomForMore(Bucket bucket, std::uint64_t more) {
            MakeRoomFor(bucket, BlockOf(bucket).GetCount(PlaceOf(bucket)) + more);
        }
        /// REQUIRES: there is room.
        void Add(Bucket bucket, std::uint64_t more) { BlockOf(bucket).Add(PlaceOf(bucket), more); }

    private:
        CKZStatBucketBlock& BlockOf(Bucket bucket) {
            const std::uint32_t key = KeyOf(bucket);
            if (m_block == nullptr || m_block->GetKey() != key)
                m_block = &m_table.FindOrCreate(key);
            return *m_block;
        }

        CKZStatBucketTable& m_table;
        CKZStatBucketBlock* m_block = nullptr;
    };

    /// Sets all counts to 0 and keeps the memory.
    void Clear();

    /// Calls `visit(bucket, count)` for each count that is not 0, in ascending order.
    template <class Visit>
    void ForEach(const Visit& visit) const {
        for (const CKZStatBucketBlock& block : m_blocks) {
            const Bucket first = FirstBucketOf(block);
            block.ForEach([&](unsigned at, std::uint64_t count) { visit(first + at, count); });
        }
    }

    /// The first bucket that has at least `rank` values in it and below. REQUIRES: there is one.
    Bucket OfRank(std::uint64_t rank) const;
    /// The number of values in the buckets below this one.
    std::uint64_t CountBelow(Bucket limit) const;

    std::size_t GetMemorySize() const;

    bool operator==(const CKZStatBucketTable& other) const;

private:
    /// As many adjacent powers of two have hints that do not displace one another.
    static constexpr std::uint32_t kHints = 8;

    static std::uint32_t KeyOf(Bucket bucket) { return bucket / CKZStatBucketBlock::kSize; }
    static unsigned PlaceOf(Bucket bucket) { return bucket % CKZStatBucketBlock::kSize; }

    static Bucket FirstBucketOf(const CKZStatBucketBlock& block) {
        return block.GetKey() * CKZStatBucketBlock::kSize;
    }

    CKZStatBucketBlock& FindOrCreate(std::uint32_t key);
    /// Of a block that was made or widened.
    void Hint(const CKZStatBucketBlock& block) {
        m_hints[block.GetKey() % kHints] = block.GetPlace();
    }

    std::vector<CKZStatBucketBlock> m_blocks;  // by key, ascending
    // Of the blocks that were asked for last, by the lowest bits of their keys. Each read that this
    // saves may be one that waits for memory.
    std::array<CKZStatBucketBlock::Place, kHints> m_hints{};
};

#endif

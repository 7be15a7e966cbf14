#include "kzstatbuckettable.h"

#include <algorithm>
#include <numeric>

CKZStatBucketBlock::CKZStatBucketBlock(std::uint32_t key)
    : m_words(std::make_unique<std::uint64_t[]>(std::size_t{kSize} * kMinWidth /
                                                sizeof(std::uint64_t))),
      m_key(static_cast<std::uint16_t>(key)) {}

void CKZStatBucketBlock::Increment(unsigned at) {
    if (GetPlace().TryIncrement(at)) return;
    Widen(2U * m_width);
    GetPlace().TryIncrement(at);
}

void CKZStatBucketBlock::MakeRoomFor(std::uint64_t count) {
    unsigned width = m_width;
    while (width < sizeof count && count >> (8 * width) != 0) width *= 2;
    if (width != m_width) Widen(width);
}

void CKZStatBucketBlock::MakeRoomForSums(const Counts& counts) {
    Counts own;
    Unpack(own);
    // As many bits as the largest sum, without looking for it.
    std::uint64_t bits = 0;
    for (unsigned at = 0; at < kSize; ++at) bits |= own[at] + counts[at];
    MakeRoomFor(bits);
}

void CKZStatBucketBlock::Add(const Counts& counts) {
    AsTyped([&](auto zero) {
        using Counter = decltype(zero);
        for (unsigned at = 0; at < kSize; ++at)
            Put(at, static_cast<Counter>(Get<Counter>(at) + counts[at]));
    });
}

void CKZStatBucketBlock::Add(unsigned at, std::uint64_t more) {
    AsTyped([&](auto zero) {
        using Counter = decltype(zero);
        Put(at, static_cast<Counter>(Get<Counter>(at) + more));
    });
}

std::uint64_t CKZStatBucketBlock::GetCount(unsigned at) const {
    std::uint64_t count = 0;
    AsTyped([&](auto zero) { count = Get<decltype(zero)>(at); });
    return count;
}

void CKZStatBucketBlock::Clear() {
    std::memset(m_words.get(), 0, GetMemorySize());
}

void CKZStatBucketBlock::Unpack(Counts& counts) const {
    AsTyped([&](auto zero) {
        for (unsigned at = 0; at < kSize; ++at) counts[at] = Get<decltype(zero)>(at);
    });
}

bool CKZStatBucketBlock::IsEmpty() const {
    const std::size_t words = GetMemorySize() / sizeof m_words[0];
    return std::all_of(m_words.get(), m_words.get() + words, [](auto word) { return word == 0; });
}

bool CKZStatBucketBlock::operator==(const CKZStatBucketBlock& other) const {
    if (m_key != other.m_key) return false;
    Counts own;
    Unpack(own);
    Counts theirs;
    other.Unpack(theirs);
    return own == theirs;
}

void CKZStatBucketBlock::Widen(unsigned width) {
    Counts counts;
    Unpack(counts);
    m_words = std::make_unique<std::uint64_t[]>(std::size_t{kSize} * width / sizeof counts[0]);
    m_width = static_cast<std::uint8_t>(width);
    Add(counts);
}

void CKZStatBucketTable::Increment(Bucket bucket) {
    CKZStatBucketBlock& block = FindOrCreate(KeyOf(bucket));
    block.Increment(PlaceOf(bucket));
    Hint(block);
}

/// Makes all room first, which may run out of memory, then adds, which cannot.
void CKZStatBucketTable::Add(const CKZStatBucketTable& other) {
    CKZStatBucketBlock::Counts counts;
    for (const CKZStatBucketBlock& block : other.m_blocks) {
        if (block.IsEmpty()) continue;
        block.Unpack(counts);
        CKZStatBucketBlock& own = FindOrCreate(block.GetKey());
        own.MakeRoomForSums(counts);
        Hint(own);
    }
    auto own = m_blocks.begin();
    for (const CKZStatBucketBlock& block : other.m_blocks) {
        while (own != m_blocks.end() && own->GetKey() < block.GetKey()) ++own;
        if (own == m_blocks.end() || own->GetKey() != block.GetKey()) continue;
        block.Unpack(counts);
        own->Add(counts);
    }
}

void CKZStatBucketTable::Clear() {
    for (CKZStatBucketBlock& block : m_blocks) block.Clear();
}

CKZStatBucketTable::Bucket CKZStatBucketTable::OfRank(std::uint64_t rank) const {
    CKZStatBucketBlock::Counts counts;
    for (const CKZStatBucketBlock& block : m_blocks) {
        block.Unpack(counts);
        const std::uint64_t sum = std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
        if (rank > sum) {
            rank -= sum;
            continue;
        }
        unsigned at = 0;
        for (; rank > counts[at]; ++at) rank -= counts[at];
        return FirstBucketOf(block) + at;
    }
    return kzstatbucket::kLimit;
}

std::uint64_t CKZStatBucketTable::CountBelow(Bucket limit) const {
    std::uint64_t below = 0;
    ForEach([&](Bucket bucket, std::uint64_t count) { below += bucket < limit ? count : 0; });
    return below;
}

std::size_t CKZStatBucketTable::GetMemorySize() const {
    std::size_t size = m_blocks.capacity() * sizeof m_blocks[0];
    for (const CKZStatBucketBlock& block : m_blocks) size += block.GetMemorySize();
    return size;
}

bool CKZStatBucketTable::operator==(const CKZStatBucketTable& other) const {
    const auto isEmpty = [](const CKZStatBucketBlock& block) { return block.IsEmpty(); };
    auto theirs = other.m_blocks.begin();
    const auto end = other.m_blocks.end();
    for (const CKZStatBucketBlock& block : m_blocks) {
        if (block.IsEmpty()) continue;
        theirs = std::find_if_not(theirs, end, isEmpty);
        if (theirs == end || block != *theirs++) return false;
    }
    return std::all_of(theirs, end, isEmpty);
}

CKZStatBucketBlock& CKZStatBucketTable::FindOrCreate(std::uint32_t key) {
    auto at = std::lower_bound(m_blocks.begin(), m_blocks.end(), key,
                               [](const CKZStatBucketBlock& block, std::uint32_t wanted) {
                                   return block.GetKey() < wanted;
                               });
    if (at == m_blocks.end() || at->GetKey() != key) {
        at = m_blocks.insert(at, CKZStatBucketBlock(key));
    }
    return *at;
}

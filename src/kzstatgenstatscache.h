#ifndef KZSTATGENSTATSCACHE_H
#define KZSTATGENSTATSCACHE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "kzstatpointtypeenum.h"
#include "ryp/texthash.h"

/// Reported values that are not aggregated yet, in the order of their arrival. They are packed,
/// each next to its name, so that a burst of reports touches few cache lines. Memory grows with
/// what is cached: most names are short, and there is a cache for each client.
///
/// Written by one thread at a time. Any thread may call `Count`: a load of 0 acquires what the
/// thread that called `Clear` did before.
class CKZStatGenStatsCache {
public:
    using PointType = CKZStatPointTypeEnum::PointType;

    static constexpr int kCapacity = 20;
    static constexpr std::size_t kMaxNameBytes = 256;

    /// A name cut to its first `kMaxNameBytes` bytes, which stay the caller's, and its hash.
    struct Name {
        explicit Name(const char* name)
            : text(name, strnlen(name, kMaxNameBytes)), hash(RyPTextHash::Of(text)) {}
        Name(std::string_view cutText, unsigned hashOfText) : text(cutText), hash(hashOfText) {}

        std::string_view text;
        unsigned hash;
    };

    struct Value {
        Name name;  // in the cache; no NUL follows it
        double value;
        PointType type;
        std::uint32_t expected;  // see `Place`
    };

    CKZStatGenStatsCache() : m_count(0), m_end(0), m_capacity(0) {}
    CKZStatGenStatsCache(const CKZStatGenStatsCache&) = delete;
    CKZStatGenStatsCache& operator=(const CKZStatGenStatsCache&) = delete;

    int Count() const { return m_count.load(std::memory_order_acquire); }

    /// What the look-up of a name goes by: its hash, and where it is expected, which the owner of
    /// the cache sets.
    struct Place {
        unsigned hash;
        std::uint32_t expected;
    };
    /// Of the name that was added as number `index`.
    Place& PlaceAt(int index) { return HeaderAt(m_offsets[index])->place; }

    /// Prefetches the bytes that the first values will be written to: those of a client that has
    /// not reported for a while are in none of the processor's caches.
    void Prefetch() const {
        if (m_bytes == nullptr) return;
        for (std::size_t line = 0; line <= kLinesAhead; ++line)
            __builtin_prefetch(m_bytes.get() + line * kCacheLine, 1);
    }

    /// Bytes allocated for values.
    unsigned Capacity() const { return m_capacity; }
    /// Allocates at least `bytes`. If it throws std::bad_alloc, the cache is unchanged.
    void Reserve(unsigned bytes) {
        if (bytes > m_capacity) GrowTo(bytes);
    }

    /// Keeps a copy of the name and returns the new `Count`. If it throws std::bad_alloc, the cache
    /// is unchanged. REQUIRES: `Count` is below `kCapacity`.
    int Add(const Name& name, double value, PointType type);

    /// Reads the values one after the other. REQUIRES: the cache does not change meanwhile, and no
    /// more values are read than there are.
    class Reader {
    public:
        explicit Reader(const CKZStatGenStatsCache& cache) : m_cache(cache) {}
        Value operator()();

    private:
        const CKZStatGenStatsCache& m_cache;
        std::size_t m_offset = 0;
    };

    /// Drops the oldest `count` values.
    void DropFirst(int count);
    /// Drops the newest value. REQUIRES: since it was added, only older values were dropped.
    void DropLast();
    void Clear();

private:
    static constexpr std::size_t kCacheLine = 64;
    static constexpr std::size_t kLinesAhead = 3;

    struct Header {
        double value;
        PointType type;
        unsigned length;
        Place place;
    };

    static std::size_t BytesFor(std::size_t nameLength) {
        constexpr std::size_t kAlignment = alignof(Header);
        return sizeof(Header) + (nameLength + kAlignment - 1) / kAlignment * kAlignment;
    }
    Header* HeaderAt(std::size_t offset) const {
        return std::launder(reinterpret_cast<Header*>(m_bytes.get() + offset));
    }
    void GrowFor(unsigned end);
    void GrowTo(unsigned bytes);

    std::atomic<int> m_count;
    unsigned m_end;  // of the bytes in use
    unsigned m_capacity;
    std::unique_ptr<char[]> m_bytes;  // m_capacity of them
    // Where each value begins. Not initialised, since one is made per client and slice; only
    // written elements are read.
    std::uint16_t m_offsets[kCapacity];
};

inline int CKZStatGenStatsCache::Add(const Name& name, double value, PointType type) {
    const int count = m_count.load(std::memory_order_relaxed);
    const unsigned end = m_end + static_cast<unsigned>(BytesFor(name.text.size()));
    if (end > m_capacity) GrowFor(end);
    char* const at = m_bytes.get() + m_end;
    __builtin_prefetch(at + kLinesAhead * kCacheLine, 1);
    new (at) Header{value, type, static_cast<unsigned>(name.text.size()), {name.hash, 0}};
    RyPTextHash::Copy(at + sizeof(Header), name.text);
    m_offsets[count] = static_cast<std::uint16_t>(m_end);
    m_end = end;
    m_count.store(count + 1, std::memory_order_release);
    return count + 1;
}

inline CKZStatGenStatsCache::Value CKZStatGenStatsCache::Reader::operator()() {
    const Header* const header = m_cache.HeaderAt(m_offset);
    const char* const name = m_cache.m_bytes.get() + m_offset + sizeof(Header);
    m_offset += BytesFor(header->length);
    return {Name({name, header->length}, header->place.hash), header->value, header->type,
            header->place.expected};
}

#endif

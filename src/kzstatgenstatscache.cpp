#include "kzstatgenstatscache.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

// Five values with names of up to sixteen bytes.
constexpr unsigned kSmallestCapacity = 160;

}  // namespace

/// Twice as much each time, so that few growths serve a client with many or long names.
void CKZStatGenStatsCache::GrowFor(unsigned end) {
    GrowTo(std::max({end, 2 * m_capacity, kSmallestCapacity}));
}

void CKZStatGenStatsCache::GrowTo(unsigned bytes) {
    std::unique_ptr<char[]> grown(new char[bytes]);  // not initialised: written before it is read
    if (m_end > 0) std::memcpy(grown.get(), m_bytes.get(), m_end);
    m_bytes = std::move(grown);
    m_capacity = bytes;
}

void CKZStatGenStatsCache::DropFirst(int count) {
    std::size_t offset = 0;
    for (int i = 0; i < count; ++i) offset += BytesFor(HeaderAt(offset)->length);
    std::memmove(m_bytes.get(), m_bytes.get() + offset, m_end - offset);
    std::copy(m_hashes + count, m_hashes + Count(), m_hashes);
    m_end -= static_cast<unsigned>(offset);
    m_lastBegin -= static_cast<unsigned>(offset);
    m_count.store(m_count.load(std::memory_order_relaxed) - count, std::memory_order_release);
}

void CKZStatGenStatsCache::DropLast() {
    m_end = m_lastBegin;
    m_count.store(m_count.load(std::memory_order_relaxed) - 1, std::memory_order_release);
}

void CKZStatGenStatsCache::Clear() {
    m_end = 0;
    m_count.store(0, std::memory_order_release);
}

#include "kzstatgenstatscache.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

// Five values with names of up to sixteen bytes.
constexpr unsigned kSmallestCapacity = 200;

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
    const int left = Count() - count;
    const unsigned begin = left > 0 ? m_offsets[count] : m_end;
    std::memmove(m_bytes.get(), m_bytes.get() + begin, m_end - begin);
    for (int i = 0; i < left; ++i)
        m_offsets[i] = static_cast<std::uint16_t>(m_offsets[count + i] - begin);
    m_end -= begin;
    m_count.store(left, std::memory_order_release);
}

void CKZStatGenStatsCache::DropLast() {
    const int last = m_count.load(std::memory_order_relaxed) - 1;
    m_end = m_offsets[last];
    m_count.store(last, std::memory_order_release);
}

void CKZStatGenStatsCache::Clear() {
    m_end = 0;
    m_count.store(0, std::memory_order_release);
}

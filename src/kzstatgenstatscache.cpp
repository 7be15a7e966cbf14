#include "kzstatgenstatscache.h"

#include <algorithm>
#include <cstring>

void CKZStatGenStatsCache::DropFirst(int count) {
    std::size_t offset = 0;
    for (int i = 0; i < count; ++i) offset += BytesFor(HeaderAt(offset)->length);
    std::memmove(m_bytes, m_bytes + offset, m_end - offset);
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

#include "ryp/arena.h"

#include <algorithm>
#include <functional>
#include <new>

namespace {

constexpr std::size_t kAlignment = std::max(alignof(double), sizeof(void*));
constexpr std::size_t kMinBlockBytes = 1350;

std::size_t RoundedUp(std::size_t bytes) {
    return (bytes + kAlignment - 1) / kAlignment * kAlignment;
}

}  // namespace

struct RyPArena::Block {
    Block* older;
    std::size_t bytes;

    char* Begin() { return reinterpret_cast<char*>(this) + RoundedUp(sizeof(Block)); }
    bool Holds(const char* address) {
        // Of the library, since the operators are defined within one object only.
        return !std::less<>()(address, Begin()) && std::less<>()(address, Begin() + bytes);
    }
};

RyPArena::RyPArena() : m_newest(nullptr), m_free(nullptr), m_left(0), m_used(0) {}

RyPArena::~RyPArena() {
    while (m_newest != nullptr) {
        Block* const older = m_newest->older;
        ::operator delete(m_newest);
        m_newest = older;
    }
}

void RyPArena::AddBlock(std::size_t bytes) {
    void* const memory = ::operator new(RoundedUp(sizeof(Block)) + bytes);
    m_newest = new (memory) Block{m_newest, bytes};
    m_free = m_newest->Begin();
    m_left = bytes;
}

void* RyPArena::Allocate(std::size_t bytes) {
    bytes = RoundedUp(bytes);
    // A quarter of what is in use: few blocks, and little memory that is never handed out.
    if (bytes > m_left) AddBlock(std::max({bytes, kMinBlockBytes, RoundedUp(m_used / 4)}));
    char* const memory = m_free;
    m_free += bytes;
    m_left -= bytes;
    m_used += bytes;
    return memory;
}

void RyPArena::Reserve(std::size_t bytes) {
    if (bytes > m_left) AddBlock(RoundedUp(bytes));
}

bool RyPArena::Holds(const void* address) const {
    for (Block* block = m_newest; block != nullptr; block = block->older)
        if (block->Holds(static_cast<const char*>(address))) return true;
    return false;
}

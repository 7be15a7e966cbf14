#ifndef RYP_ARENA_H
#define RYP_ARENA_H

#include <cstddef>

#include "kzplatform_export.h"

/// Memory that is handed out piece by piece and freed all at once, with the arena. It runs no
/// destructors. Compatible: one thread at a time per object.
class KZPLATFORM_EXPORT RyPArena {
public:
    RyPArena();
    ~RyPArena();
    RyPArena(const RyPArena&) = delete;
    RyPArena& operator=(const RyPArena&) = delete;

    /// `bytes` of memory, aligned for every type that needs no more than a double or a pointer
    /// does. Throws std::bad_alloc where there is none left; the arena is then as it was.
    void* Allocate(std::size_t bytes);

    /// Sees to it that the next `bytes` come out of one piece, however few are asked for at once.
    /// Throws as `Allocate` does.
    void Reserve(std::size_t bytes);

    /// Whether the arena handed out the memory at `address`.
    bool Holds(const void* address) const;

    /// Bytes handed out so far.
    std::size_t Used() const { return m_used; }

private:
    struct Block;

    void AddBlock(std::size_t bytes);

    Block* m_newest;
    char* m_free;  // in the newest block
    std::size_t m_left;
    std::size_t m_used;
};

#endif

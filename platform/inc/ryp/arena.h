#ifndef RYP_ARENA_H
#define RYP_ARENA_H

#include <cstddef>

#include "kzplatform_export.h"

/// Allocates memory that is freed all at once, with the arena. It runs no destructors. Compatible:
/// one thread at a time per object.
class KZPLATFORM_EXPORT RyPArena {
public:
    RyPArena();
    ~RyPArena();
    RyPArena(const RyPArena&) = delete;
    RyPArena& operator=(const RyPArena&) = delete;

    /// Returns `bytes` of memory, aligned for doubles and pointers. If it throws std::bad_alloc,
    /// the arena is unchanged.
    void* Allocate(std::size_t bytes);

    /// Allocates a block from which the next `bytes` are taken. Throws as `Allocate` does.
    void Reserve(std::size_t bytes);

    /// True if `address` is in memory that the arena returned.
    bool Holds(const void* address) const;

    /// Bytes returned so far.
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

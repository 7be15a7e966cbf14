#ifndef KZSTATNAMEINDEX_H
#define KZSTATNAMEINDEX_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "kzstat_export.h"
#include "ryp/texthash.h"

/// A hash index of names. It holds positions and hashes only: the names stay with the caller, for
/// example in a vector of records, and may move there.
///
/// Compatible: one thread at a time changes it and no other reads it meanwhile.
class CKZStatNameIndex {
public:
    static constexpr std::size_t kNone = ~std::size_t{0};

    /// The position of `name`, or `kNone`. `nameAt(position)` is the name that was added with that
    /// position.
    template <class NameAt>
    std::size_t Find(std::string_view name, const NameAt& nameAt) const {
        if (m_slots.empty()) return kNone;
        const std::uint32_t hash = RyPTextHash::Of(name);
        for (std::size_t at = Home(hash); m_slots[at].number != 0; at = Next(at)) {
            const std::size_t position = m_slots[at].number - 1;
            if (m_slots[at].hash == hash && nameAt(position) == name) return position;
        }
        return kNone;
    }

    /// Adds the name at `position`, below 2^32 - 1. REQUIRES: no equal name was added.
    void Add(std::string_view name, std::size_t position) {
        if (2 * (m_count + 1) > m_slots.size()) Grow();
        Put({RyPTextHash::Of(name), static_cast<std::uint32_t>(position + 1)});
        ++m_count;
    }

    void Clear() {
        m_slots.clear();
        m_count = 0;
    }

private:
    struct Slot {
        std::uint32_t hash;
        std::uint32_t number;  // the position + 1; 0 if the slot is free
    };

    static constexpr std::size_t kFirstSlots = 16;

    // The number of slots is a power of two; the low bits of the hash are mixed well enough.
    std::size_t Home(std::uint32_t hash) const { return hash & (m_slots.size() - 1); }
    std::size_t Next(std::size_t at) const { return (at + 1) & (m_slots.size() - 1); }

    void Put(const Slot& slot) {
        std::size_t at = Home(slot.hash);
        while (m_slots[at].number != 0) at = Next(at);
        m_slots[at] = slot;
    }

    void Grow() {
        std::vector<Slot> former(m_slots.empty() ? kFirstSlots : 2 * m_slots.size());
        former.swap(m_slots);
        for (const Slot& slot : former)
            if (slot.number != 0) Put(slot);
    }

    std::vector<Slot> m_slots;
    std::size_t m_count = 0;
};

#endif

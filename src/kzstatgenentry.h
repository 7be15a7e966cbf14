#ifndef KZSTATGENENTRY_H
#define KZSTATGENENTRY_H

#include <cstring>
#include <new>
#include <string_view>

#include "kzstatgenmeasurement.h"
#include "ryp/arena.h"
#include "ryp/collectablestring.h"

// A name and its measurement, side by side in the arena of their dictionary: what is read together
// lies together, and a dictionary is freed without a visit to each of them. Like everything else in
// a collection they may be deleted, which leaves the memory to the arena.

class CKZStatGenArenaName final : public CKZCollectableString {
public:
    /// `text` lies in the arena, too.
    explicit CKZStatGenArenaName(const char* text) : CKZCollectableString(text, false) {}
    static void* operator new(std::size_t, void* memory) { return memory; }
    static void operator delete(void*) {}
};

class CKZStatGenArenaMeasurement final : public CKZStatGenMeasurement {
public:
    using CKZStatGenMeasurement::CKZStatGenMeasurement;
    static void* operator new(std::size_t, void* memory) { return memory; }
    static void operator delete(void*) {}
};

struct CKZStatGenEntry {
    CKZStatGenArenaName* name;
    CKZStatGenArenaMeasurement* measurement;

    /// Throws std::bad_alloc where the arena does.
    static CKZStatGenEntry Make(RyPArena& arena, std::string_view name,
                                CKZStatPointTypeEnum::PointType type) {
        constexpr std::size_t kAlignment = alignof(CKZStatGenArenaMeasurement);
        const std::size_t roomForText = (name.size() + kAlignment) / kAlignment * kAlignment;
        char* const memory = static_cast<char*>(arena.Allocate(
            sizeof(CKZStatGenArenaName) + roomForText + sizeof(CKZStatGenArenaMeasurement)));
        char* const text = memory + sizeof(CKZStatGenArenaName);
        std::memcpy(text, name.data(), name.size());
        text[name.size()] = '\0';
        return {new (memory) CKZStatGenArenaName(text),
                new (text + roomForText) CKZStatGenArenaMeasurement(type)};
    }
};

#endif

#ifndef KZSTATGENENTRY_H
#define KZSTATGENENTRY_H

#include <cstring>
#include <new>
#include <string_view>

#include "kzstatgenmeasurement.h"
#include "ryp/arena.h"
#include "ryp/collectablestring.h"
#include "ryp/texthash.h"

// A name and its measurement, side by side in the arena of their dictionary: what is read together
// lies together, and a dictionary is freed without a visit to each of them. Like everything else in
// a collection they may be deleted, which leaves the memory to the arena.

class CKZStatGenArenaName final : public CKZCollectableString {
public:
    /// `text` lies in the arena, too, with a NUL behind it.
    explicit CKZStatGenArenaName(std::string_view text) : CKZCollectableString(text) {}
    static void* operator new(std::size_t, void* memory) { return memory; }
    static void operator delete(void*) {}
};

/// Its name follows it: whoever adds a value compares the name first, and then has both at hand.
class CKZStatGenArenaMeasurement final : public CKZStatGenMeasurement {
public:
    /// There is room for the name and a NUL behind the object.
    CKZStatGenArenaMeasurement(PointType type, std::string_view name)
        : CKZStatGenMeasurement(type, name.size()) {
        std::memcpy(TextToFill(), name.data(), name.size());
        TextToFill()[name.size()] = '\0';
    }
    static void* operator new(std::size_t, void* memory) { return memory; }
    static void operator delete(void*) {}

    /// The whole name, with a NUL behind it.
    const char* Text() const { return reinterpret_cast<const char*>(this + 1); }
    /// Cut at 511 bytes, which still makes it longer than every name that is reported.
    std::string_view Name() const { return {Text(), NameLength()}; }
    /// False also if both are cut.
    bool HasNameOf(const CKZStatGenArenaMeasurement& other) const {
        return NameLength() < kMaxNameLength && RyPTextHash::AreEqual(Name(), other.Name());
    }

private:
    char* TextToFill() { return reinterpret_cast<char*>(this + 1); }
};

struct CKZStatGenEntry {
    CKZStatGenArenaName* name;
    CKZStatGenArenaMeasurement* measurement;

    /// Throws std::bad_alloc where the arena does.
    static CKZStatGenEntry Make(RyPArena& arena, std::string_view name,
                                CKZStatPointTypeEnum::PointType type) {
        char* const memory = static_cast<char*>(arena.Allocate(
            sizeof(CKZStatGenArenaName) + sizeof(CKZStatGenArenaMeasurement) + name.size() + 1));
        auto* const measurement =
            new (memory + sizeof(CKZStatGenArenaName)) CKZStatGenArenaMeasurement(type, name);
        const std::string_view kept(measurement->Text(), name.size());
        return {new (memory) CKZStatGenArenaName(kept), measurement};
    }
};

#endif

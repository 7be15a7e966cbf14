#ifndef KZ_TESTS_VIRTUAL_SLOTS_H
#define KZ_TESTS_VIRTUAL_SLOTS_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>

#include "rw/collect.h"

/// The streams are opaque; the operations get an address to pass on and nothing looks behind it.
template <class Stream>
Stream& SomeStream() {
    alignas(std::max_align_t) static char storage[64];
    return *reinterpret_cast<Stream*>(storage);
}

/// A `Base`, itself a collectable, that overrides every operation of the collectable and notes
/// which one ran last. Compatible; the note is one for all objects.
template <class Base>
class SlotRecorder : public Base {
public:
    static inline std::string s_ran;
    static inline bool s_deleted = false;

    static void* operator new(std::size_t size) { return ::operator new(size); }
    static void* operator new(std::size_t, void* place) { return place; }
    static void operator delete(void* memory) {
        s_deleted = true;
        ::operator delete(memory);
    }

    RWCollectable* newSpecies() const override { return Ran("newSpecies", nullptr); }
    RWCollectable* copy() const override { return Ran("copy", nullptr); }
    RWClassID isA() const override { return Ran("isA", RWClassID{77}); }
    RWCollectable* self() override { return Ran("self", this); }
    const RWCollectable* self() const override { return Ran("self const", this); }
    ~SlotRecorder() override { s_ran = "destructor"; }
    RWspace binaryStoreSize() const override { return Ran("binaryStoreSize", RWspace{5}); }
    int compareTo(const RWCollectable*) const override { return Ran("compareTo", 3); }
    unsigned hash() const override { return Ran("hash", 9U); }
    bool isEqual(const RWCollectable*) const override { return Ran("isEqual", true); }
    void restoreGuts(RWFile&) override { s_ran = "restoreGuts file"; }
    void restoreGuts(RWvistream&) override { s_ran = "restoreGuts stream"; }
    void saveGuts(RWFile&) const override { s_ran = "saveGuts file"; }
    void saveGuts(RWvostream&) const override { s_ran = "saveGuts stream"; }

protected:
    template <class Result>
    static Result Ran(const std::string& operation, Result result) {
        s_ran = operation;
        return result;
    }
};

#if defined(__x86_64__)

/// Calls what stands in a slot of an object's table of virtual operations, as a caller compiled
/// elsewhere does. `Base` is the one base whose table the object begins with. References travel as
/// pointers, everything else as declared.
template <class Result, class Base, class... Arguments>
Result CallSlot(std::size_t slot, const Base& object, Arguments... arguments) {
    void* const* table = nullptr;
    std::memcpy(&table, static_cast<const void*>(&object), sizeof table);
    const auto operation = reinterpret_cast<Result (*)(const Base*, Arguments...)>(table[slot]);
    return operation(&object, arguments...);
}

/// The operation of a `Recorder` that stands in a slot.
template <class Recorder, class Result, class... Arguments>
std::string RanThroughSlot(std::size_t slot, Arguments... arguments) {
    const Recorder object;
    Recorder::s_ran = "none";
    static_cast<void>(CallSlot<Result, RWCollectable>(slot, object, arguments...));
    return Recorder::s_ran;
}

/// The slots of a collectable, the same in every class derived from it.
template <class Recorder>
void ExpectSlotsOfACollectable(const RWCollectable* other) {
    EXPECT_EQ((RanThroughSlot<Recorder, RWCollectable*>(0)), "newSpecies");
    EXPECT_EQ((RanThroughSlot<Recorder, RWCollectable*>(1)), "copy");
    EXPECT_EQ((RanThroughSlot<Recorder, RWClassID>(2)), "isA");
    EXPECT_EQ((RanThroughSlot<Recorder, RWCollectable*>(3)), "self");
    EXPECT_EQ((RanThroughSlot<Recorder, const RWCollectable*>(4)), "self const");
    EXPECT_EQ((RanThroughSlot<Recorder, RWspace>(7)), "binaryStoreSize");
    EXPECT_EQ((RanThroughSlot<Recorder, int>(8, other)), "compareTo");
    EXPECT_EQ((RanThroughSlot<Recorder, unsigned>(9)), "hash");
    EXPECT_EQ((RanThroughSlot<Recorder, bool>(10, other)), "isEqual");
    EXPECT_EQ((RanThroughSlot<Recorder, void>(11, &SomeStream<RWFile>())), "restoreGuts file");
    EXPECT_EQ((RanThroughSlot<Recorder, void>(12, &SomeStream<RWvistream>())),
              "restoreGuts stream");
    EXPECT_EQ((RanThroughSlot<Recorder, void>(13, &SomeStream<RWFile>())), "saveGuts file");
    EXPECT_EQ((RanThroughSlot<Recorder, void>(14, &SomeStream<RWvostream>())), "saveGuts stream");
}

/// Slot 5 ends an object in place; slot 6 gives its memory back too.
template <class Recorder>
void ExpectDestructorSlots() {
    alignas(Recorder) std::byte storage[sizeof(Recorder)];
    const RWCollectable* const inPlace = new (storage) Recorder;
    Recorder::s_ran = "none";
    Recorder::s_deleted = false;
    CallSlot<void>(5, *inPlace);
    EXPECT_EQ(Recorder::s_ran, "destructor");
    EXPECT_FALSE(Recorder::s_deleted);

    const RWCollectable* const onTheHeap = new Recorder;
    Recorder::s_ran = "none";
    CallSlot<void>(6, *onTheHeap);
    EXPECT_EQ(Recorder::s_ran, "destructor");
    EXPECT_TRUE(Recorder::s_deleted);
}

#endif  // __x86_64__

#endif

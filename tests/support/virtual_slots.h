#ifndef KZ_TESTS_VIRTUAL_SLOTS_H
#define KZ_TESTS_VIRTUAL_SLOTS_H

#include <cstddef>
#include <cstring>

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

#endif  // __x86_64__

#endif

#ifndef KZ_TESTS_TESTPEER_H
#define KZ_TESTS_TESTPEER_H

#include <memory>
#include <string>

#include "kzstatgenstore.h"
#include "kzstatisticsgenerator.h"
#include "support/message.h"

/// As its dump tells it. REQUIRES: nobody changes the slice meanwhile.
inline int IdOf(CKZStatGenSlice& slice) {
    RWCString text;
    const std::unique_ptr<CKZStatGenMeasurementDictionary> merged(slice.DumpSlice(text));
    const std::string readable = Readable(text);
    return std::stoi(readable.substr(readable.find('|') + 1));
}

/// What tests of the inside look up. The library's classes name it as their friend. It changes
/// nothing and takes no locks: its caller is the only thread that uses the objects.
struct CKZStatGenTestPeer {
    static int CachedCount(const CKZStatGenMeasurementDictionary& dictionary) {
        return dictionary.GetStore().Cache().Count();
    }
    static CKZStatGenClient* OwnerOf(const CKZStatGenMeasurementDictionary& dictionary) {
        return dictionary.m_client;
    }
    static CKZStatGenSlice* SliceOf(const CKZStatGenMeasurementDictionary& dictionary) {
        return dictionary.m_slice;
    }

    static CKZStatGenSlice* CurrentSlice(const CKZStatGenMain& main) RYP_NO_THREAD_SAFETY_ANALYSIS {
        return main.m_currentSlice;
    }
    static std::size_t SlicesInTimeline(const CKZStatGenMain& main) RYP_NO_THREAD_SAFETY_ANALYSIS {
        return main.m_timeline.entries();
    }
    /// Calls `visit` with each slice of the timeline.
    template <class Visitor>
    static void ForEachSlice(const CKZStatGenMain& main,
                             Visitor visit) RYP_NO_THREAD_SAFETY_ANALYSIS {
        for (RWHashDictionaryIterator next(main.m_timeline); next() != nullptr;)
            visit(*static_cast<CKZStatGenSlice*>(next.value()));
    }
    /// The dictionaries of the slice that a client is in.
    static int ClientsIn(const CKZStatGenSlice& slice) RYP_NO_THREAD_SAFETY_ANALYSIS {
        int clients = 0;
        const auto count = [&](const RWCollectable* value) {
            const auto* dictionary = static_cast<const CKZStatGenMeasurementDictionary*>(value);
            clients += dictionary != nullptr && OwnerOf(*dictionary) != nullptr;
        };
        for (RWHashDictionaryIterator next(slice); next() != nullptr;) count(next.value());
        for (const auto& further : slice.m_furtherDictionaries) count(further.dictionary);
        slice.ForEachShelf([&](std::size_t, const auto& shelf) {
            for (const auto& filed : shelf.dictionaries) count(filed.dictionary);
            for (const auto& filed : shelf.taken) count(filed.dictionary);
        });
        return clients;
    }
    static int CountShelves(const CKZStatGenSlice& slice) {
        int shelves = 0;
        slice.ForEachShelf([&](std::size_t, const auto&) { ++shelves; });
        return shelves;
    }
    /// How many dictionaries of `lane` clients still hold.
    static int HeldIn(const CKZStatGenSlice& slice, const CKZStatGenMain& main,
                      const CKZStatGenLane& lane) {
        int held = 0;
        slice.ForEachShelf([&](std::size_t position, const auto& shelf) {
            if (position == main.m_clientsLock->PositionOf(lane)) held = shelf.held;
        });
        return held;
    }
    static const CKZStatGenLanes& LanesOf(const CKZStatGenMain& main) {
        return *main.m_clientsLock;
    }
    static RyPEventQueue& PackQueue(CKZStatGenMain& main) { return main.m_packQueue; }
    static RyPEventQueue& GarbageQueue(CKZStatGenMain& main) { return main.m_garbageQueue; }
    static void EndAtOnce(CKZStatGenMain& main) { main.EndAtOnce(); }
    static auto& LockOf(CKZStatGenMeasurementDictionary& dictionary) { return *dictionary.m_lock; }

    static CKZStatGenMeasurementDictionary* DictionaryOf(const CKZStatGenClient& client)
        RYP_NO_THREAD_SAFETY_ANALYSIS {
        return client.m_dictionary;
    }
};

#endif

#include "kzstatgenstore.h"

#include <algorithm>

#include "kzstatgendistributions.h"
#include "kzstatgenentry.h"
#include "kzstatlog.h"
#include "ryp/texthash.h"

using Dictionary = CKZStatGenMeasurementDictionary;

int Dictionary::Store::AddLast(Dictionary& dictionary, const Name& name, double value,
                               PointType type) {
    Store& store = dictionary.GetStore();
    const int cached = store.CacheValue(dictionary, name, value, type);
    if (cached == 0) return 0;
    store.m_statsCache.PlaceAt(cached - 1).expected = kNone;
    return cached < dictionary.m_cacheLimit ? 1 : dictionary.FlushFullCache();
}

int Dictionary::Store::AddLastOfClient(Dictionary& dictionary, const Name& name, double value,
                                       PointType type) {
    Store& store = dictionary.GetStore();
    const int cached = store.CacheValue(dictionary, name, value, type);
    if (cached == 0) return 0;
    dictionary.PrefetchBucket(name.hash);
    store.FetchForFlush(dictionary, cached - 1);
    return cached < dictionary.m_cacheLimit ? 1 : dictionary.FlushFullCache();
}

/// Returns how many values are cached then; 0 where the value was refused.
inline int Dictionary::Store::CacheValue(const Dictionary& dictionary, const Name& name,
                                         double value, PointType type) {
    if (dictionary.RefusesValues()) return 0;
    if (KzIsTracing()) TraceCaching(name, value);
    if (m_statsCache.Count() == 0) PrefetchForBurst(dictionary);
    return m_statsCache.Add(name, value, type);
}

/// A client that has not reported for a while finds its dictionary far away.
inline void Dictionary::Store::PrefetchForBurst(const Dictionary& dictionary) const {
    m_statsCache.Prefetch();
    __builtin_prefetch(dictionary.m_lock.get(), 1);
}

void Dictionary::Store::Flush(Dictionary& dictionary, CKZStatGenDistributionTable* distributions) {
    if (dictionary.GetStore().m_statsCache.Count() == 0) return;
    if (distributions == nullptr) {
        if (dictionary.LeavesFlushToPackThread()) return;
        distributions = dictionary.FindTable();
    }
    if (distributions == nullptr)
        FlushValues<false>(dictionary, nullptr);
    else
        FlushValues<true>(dictionary, distributions);
}

/// Twice, so that values of which no distributions are collected cost what they did without them.
template <bool kCollects>
void Dictionary::Store::FlushValues(Dictionary& dictionary,
                                    CKZStatGenDistributionTable* distributions) {
    Store& store = dictionary.GetStore();
    CKZStatGenStatsCache& cache = store.m_statsCache;
    const int count = cache.Count();
    store.FetchRest(dictionary, count);
    dictionary.NoteChange();
    const bool isTracing = KzIsTracing();
    int flushed = 0;
    try {
        for (CKZStatGenStatsCache::Reader next(cache); flushed < count; ++flushed) {
            const CKZStatGenStatsCache::Value cached = next();
            CKZStatGenMeasurement* const measurement =
                MeasurementFor<kCollects>(dictionary, cached, distributions);
            // First, since it may run out of memory.
            if (kCollects) distributions->Add(measurement->m_distribution, cached.value);
            measurement->TakeValue(cached.value);
            if (isTracing) TraceAdding(cached, *measurement);
        }
    } catch (...) {
        cache.DropFirst(flushed);
        dictionary.ForgetNewestIfEmpty();
        throw;
    }
    cache.Clear();
}

/// The measurement of a cached value, which is expected at that position. Where distributions are
/// collected, one of another type is not; it is told that there is one.
template <bool kCollects>
inline CKZStatGenMeasurement* Dictionary::Store::MeasurementFor(
    Dictionary& dictionary, const CKZStatGenStatsCache::Value& cached,
    CKZStatGenDistributionTable* distributions) {
    const std::vector<Entry>& entries = dictionary.Entries();
    if (cached.expected < entries.size() && !dictionary.MayHoldOthers()) {
        auto* const made = static_cast<CKZStatGenArenaMeasurement*>(entries[cached.expected].value);
        if ((!kCollects || made->m_type == cached.type) &&
            RyPTextHash::AreEqual(made->Name(), cached.name.text))
            return made;
    }
    CKZStatGenMeasurement* const measurement =
        dictionary.FindOrCreate(cached.name.text, cached.name.hash, cached.type, distributions);
    if (kCollects && measurement->m_type != cached.type)
        distributions->NoteOtherType(measurement->m_distribution);
    return measurement;
}

/// Fetches what a flush will read while values still come in: the names of a client have mostly
/// left the processor's caches when its turn comes again. A look-up reads bucket, entry and
/// measurement one after the other, so each is asked for a few values after the one before.
/// `newest` is the position of the value that was cached last.
inline void Dictionary::Store::FetchForFlush(const Dictionary& dictionary, int newest) {
    const int second = newest - kFetchDistance;
    if (second >= 0) FetchEntry(dictionary, second);
    const int third = second - kFetchDistance;
    if (third >= 0) FetchMeasurement(dictionary, third);
}

/// What `FetchForFlush` would do for `count` cached values if more of them came in.
inline void Dictionary::Store::FetchRest(const Dictionary& dictionary, int count) {
    for (int i = std::max(count - kFetchDistance, 0); i < count; ++i) FetchEntry(dictionary, i);
    for (int i = std::max(count - 2 * kFetchDistance, 0); i < count; ++i)
        FetchMeasurement(dictionary, i);
}

inline void Dictionary::Store::FetchEntry(const Dictionary& dictionary, int position) {
    CKZStatGenStatsCache::Place& place = m_statsCache.PlaceAt(position);
    place.expected = dictionary.PrefetchEntry(place.hash);
}

/// The aggregates and the name of the cached value at `position`. They take two lines, or three
/// where they begin behind the first quarter of one.
inline void Dictionary::Store::FetchMeasurement(const Dictionary& dictionary, int position) {
    constexpr std::size_t kTypicalNameBytes = 24;
    CKZStatGenStatsCache::Place& place = m_statsCache.PlaceAt(position);
    const Index found = dictionary.SameHashFrom(place.expected, place.hash);
    place.expected = found;
    const std::vector<Entry>& entries = dictionary.Entries();
    if (found >= entries.size() || dictionary.MayHoldOthers()) return;
    const auto* const made = static_cast<const CKZStatGenArenaMeasurement*>(entries[found].value);
    const char* const aggregates = reinterpret_cast<const char*>(&made->m_totals);
    __builtin_prefetch(aggregates, 1);
    __builtin_prefetch(aggregates + kCacheLine, 1);
    __builtin_prefetch(reinterpret_cast<const char*>(made + 1) + kTypicalNameBytes);
}

/// The position of the measurement with the name of `added`.
Dictionary::Index Dictionary::Store::FindOrCreate(Dictionary& dictionary, const Entry& added) {
    const std::string_view name = KzTextOf(added.key);
    const std::vector<Entry>& entries = dictionary.Entries();
    const Index known = dictionary.FindEntry(added.hash, [name](const RWCollectable* key) {
        return RyPTextHash::AreEqual(KzTextOf(key), name);
    });
    if (known != kNone && entries[known].value != nullptr) return known;
    dictionary.Create(name, added.hash, KzMeasurementOf(added.value)->m_type);
    return static_cast<Index>(entries.size() - 1);
}

/// `areMade`: both dictionaries made all their entries, so each name lies behind its measurement.
inline bool Dictionary::Store::IsSameName(const Entry& a, const Entry& b, bool areMade) {
    if (a.hash != b.hash) return false;
    if (!areMade) return RyPTextHash::AreEqual(KzTextOf(a.key), KzTextOf(b.key));
    return static_cast<const CKZStatGenArenaMeasurement*>(a.value)->HasNameOf(
        *static_cast<const CKZStatGenArenaMeasurement*>(b.value));
}

/// Names mostly lie in the same order in all dictionaries, so one is looked up only where it is not
/// the next of `target`. Unchecked by the analysis: `target` belongs to this thread.
template <class Add>
void Dictionary::Store::ForEachAddition(Dictionary& target, const Dictionary& source,
                                        Add add) RYP_NO_THREAD_SAFETY_ANALYSIS {
    if (!source.isEmpty()) target.NoteChange();
    const bool areMade = !target.MayHoldOthers() && !source.MayHoldOthers();
    const std::vector<Entry>& entries = target.Entries();
    const Entry* next = entries.data();
    for (const Entry& added : source.Entries()) {
        if (added.value == nullptr) break;
        PrefetchPairAfter(source.Entries(), &added);
        PrefetchPairAfter(entries, next);
        const bool isNext = next != entries.data() + entries.size() && next->value != nullptr &&
                            IsSameName(*next, added, areMade);
        if (!isNext) {
            const Index found = FindOrCreate(target, added);
            next = entries.data() + found;
        }
        add(*KzMeasurementOf(next->value), *KzMeasurementOf(added.value));
        ++next;
    }
}

void Dictionary::Store::AddCollected(Dictionary& target, const Dictionary& source,
                                     Additions& additions) {
    AddAll(target, source, additions,
           [](CKZStatGenMeasurement& sum, const CKZStatGenMeasurement& added) {
               sum.TakeMarks(added);
           });
}

void Dictionary::Store::AddUncollected(Dictionary& target, const Dictionary& source) {
    Additions additions;
    AddAll(target, source, additions,
           [](CKZStatGenMeasurement& sum, const CKZStatGenMeasurement& added) {
               sum.NoteUncollected(added);
           });
}

/// Calls `mark` with each measurement and what is added to it.
template <class Mark>
void Dictionary::Store::AddAll(Dictionary& target, const Dictionary& source, Additions& additions,
                               Mark mark) {
    const Lock::LockGuard guard(*source.m_lock);
    // All names first, which may run out of memory, then all values, which cannot: so the source
    // is added whole or not at all.
    additions.clear();
    additions.reserve(source.entries());
    ForEachAddition(target, source,
                    [&](CKZStatGenMeasurement& sum, const CKZStatGenMeasurement& added) {
                        additions.push_back({&sum, &added});
                    });
    const bool isTracing = KzIsTracing();
    for (const auto& [sum, added] : additions) {
        mark(*sum, *added);
        sum->AddAggregates(*added, isTracing);
    }
}

void Dictionary::Store::Merge(Dictionary& target, const Dictionary& source) {
    const Lock::LockGuard guard(*source.m_lock);
    const bool isTracing = KzIsTracing();
    ForEachAddition(target, source,
                    [isTracing](CKZStatGenMeasurement& sum, const CKZStatGenMeasurement& added) {
                        sum.TakeMarks(added);
                        sum.AddAggregates(added, isTracing);
                    });
}

void Dictionary::Store::PrefetchObject(const Dictionary& dictionary) {
    const char* const entriesAndChanges = reinterpret_cast<const char*>(&dictionary);
    __builtin_prefetch(entriesAndChanges);
    __builtin_prefetch(entriesAndChanges + kCacheLine, 1);
    __builtin_prefetch(dictionary.m_store);
    __builtin_prefetch(&dictionary.m_lock);
}

void Dictionary::Store::PrefetchEntries(const Dictionary& dictionary) {
    if (dictionary.MayBeFlushed()) return;
    // Those of the first pairs; the processor itself sees to the following ones.
    const char* const entries = reinterpret_cast<const char*>(dictionary.Entries().data());
    for (std::size_t at = 0; at <= kMergeDistance * sizeof(Entry); at += kCacheLine)
        __builtin_prefetch(entries + at);
    __builtin_prefetch(dictionary.m_lock.get(), 1);
}

void Dictionary::Store::PrefetchFirstPairs(const Dictionary& dictionary) {
    if (dictionary.MayBeFlushed()) return;
    const std::vector<Entry>& entries = dictionary.Entries();
    for (std::size_t first = 0; first < std::min(kMergeDistance, entries.size()); ++first)
        PrefetchMeasurement(entries[first].value);
}

#ifndef KZSTATGENSTORE_H
#define KZSTATGENSTORE_H

#include <cstddef>
#include <new>
#include <string_view>
#include <vector>

#include "kzstatgenmeasurementdictionary.h"
#include "kzstatgenstatscache.h"
#include "ryp/collectablestring.h"

/// What is tuned of a dictionary: the packed cache of values that are not aggregated yet, the
/// position at which each name is expected, and the prefetching of what a flush or a merge reads
/// next. Lies within its dictionary, which each operation is given, and is guarded as that is: by
/// the lane while a client reports, by the dictionary's lock while values are aggregated.
class KZSTAT_NO_EXPORT CKZStatGenMeasurementDictionary::Store {
public:
    using Dictionary = CKZStatGenMeasurementDictionary;
    using Name = CKZStatGenStatsCache::Name;

    /// A measurement, and one to be added to it.
    struct Addition {
        CKZStatGenMeasurement* target;
        const CKZStatGenMeasurement* source;
    };
    using Additions = std::vector<Addition>;

    CKZStatGenStatsCache& Cache() { return m_statsCache; }
    const CKZStatGenStatsCache& Cache() const { return m_statsCache; }

    /// `AddLast` for a client, which holds the lane.
    static int AddLastOfClient(Dictionary& dictionary, const Name& name, double value,
                               PointType type);
    /// `AddLast` for one who holds no lock that would allow to look a name up before the flush.
    static int AddLast(Dictionary& dictionary, const Name& name, double value, PointType type);

    /// Values that could not be aggregated because memory ran out stay cached. They go into
    /// `distributions`, too, or, if that is null, into those of slice and lane.
    static void Flush(Dictionary& dictionary, CKZStatGenDistributionTable* distributions)
        RYP_REQUIRES(*dictionary.m_lock);

    // Each adds the measurements of `source`, whose lock it takes, into `target`, which belongs to
    // the thread that merges. Throws std::bad_alloc.

    /// Values of which the distributions are collected, if they are, under the numbers of `source`.
    /// If it throws, no value was added. Uses the memory of `additions`.
    static void AddCollected(Dictionary& target, const Dictionary& source, Additions& additions);
    /// Values of which no distributions are collected here. If it throws, no value was added.
    static void AddUncollected(Dictionary& target, const Dictionary& source);
    /// `AddCollected` into a dictionary that is thrown away if it throws.
    static void Merge(Dictionary& target, const Dictionary& source);

    // Each waits for memory unless the one before was called a while ago.

    static void PrefetchObject(const Dictionary& dictionary);
    /// Passes over a dictionary that its client may still flush, which moves the entries.
    static void PrefetchEntries(const Dictionary& dictionary);
    /// The same.
    static void PrefetchFirstPairs(const Dictionary& dictionary);
    /// Aggregates and name of the measurement that comes some entries after `entry`, which may be
    /// behind the last one.
    static void PrefetchPairAfter(const std::vector<Entry>& entries, const Entry* entry) {
        const Entry* const end = entries.data() + entries.size();
        if (end - entry > static_cast<std::ptrdiff_t>(kMergeDistance))
            PrefetchMeasurement(entry[kMergeDistance].value);
    }

private:
    // In values: about as long as memory takes to answer.
    static constexpr int kFetchDistance = 2;
    // In pairs that are merged.
    static constexpr std::size_t kMergeDistance = 6;

    static constexpr std::size_t kCacheLine = 64;

    int CacheValue(const Dictionary& dictionary, const Name& name, double value, PointType type);
    void PrefetchForBurst(const Dictionary& dictionary) const;
    void FetchForFlush(const Dictionary& dictionary, int newest);
    void FetchRest(const Dictionary& dictionary, int count);
    void FetchEntry(const Dictionary& dictionary, int position);
    void FetchMeasurement(const Dictionary& dictionary, int position);
    template <bool kCollects>
    static void FlushValues(Dictionary& dictionary, CKZStatGenDistributionTable* distributions)
        RYP_REQUIRES(*dictionary.m_lock);
    template <bool kCollects>
    static CKZStatGenMeasurement* MeasurementFor(Dictionary& dictionary,
                                                 const CKZStatGenStatsCache::Value& cached,
                                                 CKZStatGenDistributionTable* distributions)
        RYP_REQUIRES(*dictionary.m_lock);
    template <class Mark>
    static void AddAll(Dictionary& target, const Dictionary& source, Additions& additions,
                       Mark mark);
    template <class Add>
    static void ForEachAddition(Dictionary& target, const Dictionary& source, Add add);
    static bool IsSameName(const Entry& a, const Entry& b, bool areMade);
    static Index FindOrCreate(Dictionary& dictionary, const Entry& added)
        RYP_REQUIRES(*dictionary.m_lock);
    static void PrefetchMeasurement(const RWCollectable* measurement);

    // In the dictionary's source, under whose name they are logged.
    static void TraceCaching(const Name& name, double value);
    static void TraceAdding(const CKZStatGenStatsCache::Value& cached,
                            const CKZStatGenMeasurement& measurement);

    CKZStatGenStatsCache m_statsCache;
};

inline CKZStatGenMeasurementDictionary::Store& CKZStatGenMeasurementDictionary::GetStore() {
    return *std::launder(reinterpret_cast<Store*>(m_store));
}

inline const CKZStatGenMeasurementDictionary::Store& CKZStatGenMeasurementDictionary::GetStore()
    const {
    return *std::launder(reinterpret_cast<const Store*>(m_store));
}

inline bool CKZStatGenMeasurementDictionary::MayBeFlushed() const {
    return GetStore().Cache().Count() > 0;
}

/// From the type on: what comes before it is not read. Works for a null one, too.
inline void CKZStatGenMeasurementDictionary::Store::PrefetchMeasurement(
    const RWCollectable* measurement) {
    constexpr std::size_t kBegin = 4 * sizeof(double);
    constexpr std::size_t kTypicalNameBytes = 24;
    const char* const begin = reinterpret_cast<const char*>(measurement) + kBegin;
    __builtin_prefetch(begin);
    __builtin_prefetch(begin + kCacheLine);
    __builtin_prefetch(reinterpret_cast<const char*>(measurement) + sizeof(CKZStatGenMeasurement) +
                       kTypicalNameBytes);
}

/// As the dictionary makes it; the name of every entry is one.
inline std::string_view KzTextOf(const RWCollectable* key) {
    const auto& name = *static_cast<const CKZCollectableString*>(key);
    return {name.data(), name.length()};
}

inline CKZStatGenMeasurement* KzMeasurementOf(RWCollectable* value) {
    return static_cast<CKZStatGenMeasurement*>(value);
}

#endif

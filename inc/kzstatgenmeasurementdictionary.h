#ifndef KZSTATGENMEASUREMENTDICTIONARY_H
#define KZSTATGENMEASUREMENTDICTIONARY_H

#include <atomic>
#include <cstddef>
#include <memory>
#include <string_view>

#include "kzstat_export.h"
#include "kzstatgenlane.h"
#include "kzstatgenmeasurement.h"
#include "rw/hashdict.h"
#include "rw/mutex.h"
#include "rw/recursive.h"
#include "ryp/annotations.h"
#include "ryp/arena.h"
#include "ryp/collectablestring.h"

class CKZStatGenClient;
class CKZStatGenDistributionTable;
class CKZStatGenSlice;
class RWCString;

/// The measurements of one client in one slice, or a free-standing merge of many, by name. It owns
/// its keys and measurements. A name keeps the type under which it was
/// first reported; only `SetValues` replaces it. `AddLast` cuts names to their first 256 bytes; the
/// other operations take a name as it is.
///
/// Values reported one by one go into a small cache first and are aggregated in bulk, when the
/// cache is full or when a flush is asked for. A dictionary without a slice flushes every value at
/// once.
///
/// Threads. One thread at a time reports (`AddLast`); clients see to that with the lane that they
/// share with their dictionary. Flushing, setting, resetting and dumping take the dictionary's own
/// lock, the last in the lock order; flushing and setting in a dictionary of a slice take its lane
/// before it, so that no client's report is under way. Queries and `ResetLasts` take none: the
/// dictionary must not change meanwhile, as is the case on the pack thread.
class KZSTAT_EXPORT CKZStatGenMeasurementDictionary : public RWHashDictionary {
public:
    using PointType = CKZStatPointTypeEnum::PointType;

    /// A free-standing dictionary.
    CKZStatGenMeasurementDictionary();
    /// A dictionary of `slice`, which must outlive it, without a client; null makes it
    /// free-standing.
    explicit CKZStatGenMeasurementDictionary(CKZStatGenSlice* slice);
    /// Makes a client that still holds this dictionary forget it. Cached values are dropped.
    ~CKZStatGenMeasurementDictionary() override;

    /// Records one value; returns 0 when the slice is closed and the value was refused, else 1.
    /// If memory runs out while the cache is flushed, the exception passes through and this value
    /// was not recorded; earlier ones are kept. REQUIRES: `name` is not null.
    int AddLast(const char* name, double value, PointType type);

    /// Aggregates the cached values, in the order of their arrival. Always returns 1. Values that
    /// could not be aggregated because memory ran out stay cached. Takes no lock if
    /// there are none.
    int FlushStatsCache();

    /// Replaces the aggregates and the type of a name. The sums of squares stored are the squares
    /// of the sums, and `sumSqr` is not used. Nothing changes when the slice is closed.
    void SetValues(const char* name, double minimum, double maximum, int count, double sum,
                   double sumSqr, double lastsMinimum, double lastsMaximum, int lastsCount,
                   double lastsSum, PointType type);

    /// Adds every measurement of `source`, whose lock it takes, into this dictionary, whose own
    /// lock it does not take. Values cached in `source` are not included. If memory runs out, the
    /// exception passes through and no value was added.
    void AddValuesOfDict(CKZStatGenMeasurementDictionary* source, AddType addType);

    /// Empties the measurement of `name`; an unknown name does nothing.
    void Reset(const char* name);
    /// Empties the lasts of every measurement.
    void ResetLasts();

    /// Replaces `text` with the records of all measurements, in no particular order; cached values
    /// are not part of them.
    void DumpDict(RWCString& text);
    /// The same with the lasts records.
    void DumpLasts(RWCString& text);
    /// Writes all measurements to standard output, for debugging.
    void Print();

    /// The measurement of `name`, owned by the dictionary; null for an unknown name. The caller may
    /// change it.
    CKZStatGenMeasurement* GetMeasurement(const char* name) const;

    /// The type of `name`; `NotSet` for an unknown name.
    PointType GetType(const char* name) const;

    /// Statistics by name, each -1 for an unknown name. Averages are sum / count, or -1 where the
    /// count is 0; counts are truncated to the range of an int. The standard deviation is never
    /// computed and so is 0 for every known name.
    ///
    /// GetMinimum REQUIRES: the name exists (unchecked).
    double GetMinimum(const char* name) const;
    double GetMaximum(const char* name) const;
    int GetCount(const char* name) const;
    double GetSum(const char* name);
    double GetSumSqr(const char* name);
    double GetStddev(const char* name);
    double GetAverage(const char* name) const;
    double GetLastsMinimum(const char* name) const;
    double GetLastsMaximum(const char* name) const;
    int GetLastsCount(const char* name) const;
    double GetLastsSum(const char* name);
    double GetLastsSumSqr(const char* name);
    double GetLastsAverage(const char* name) const;

private:
    friend class CKZStatGenClient;
    friend class CKZStatGenMain;
    friend class CKZStatGenSlice;
    friend class CKZStatSliceValues;
    friend struct CKZStatGenTestPeer;

    using Lock = RWTRecursiveLock<RWMutexLock>;

    /// The values that are not aggregated yet, and what is tuned to aggregate them fast.
    class Store;

    /// What a dictionary takes, in entries and bytes: room to make for the next one that is like
    /// it.
    struct Size {
        std::size_t names = 0;
        std::size_t arena = 0;
        unsigned cache = 0;
    };

    /// A dictionary of `client`, which may be null, that belongs to no slice yet. Throws
    /// std::bad_alloc.
    CKZStatGenMeasurementDictionary(CKZStatGenClient* client, CKZStatGenLane& lane, int cacheLimit,
                                    const Size& expected);
    CKZStatGenMeasurementDictionary(CKZStatGenSlice* slice, CKZStatGenClient* client,
                                    CKZStatGenLane* lane, int cacheLimit);

    Store& GetStore();
    const Store& GetStore() const;

    int FlushFullCache();
    bool RefusesValues() const;
    /// `FlushStatsCache` for a caller who holds the lane, or for the pack thread, which gives its
    /// own table of distributions if any are collected.
    int FlushWhileNobodyReports(CKZStatGenDistributionTable* packThreads = nullptr);
    bool HasNothingToFlush() const;
    /// Whether a late flush of the client may still be under way, which changes the entries.
    bool MayBeFlushed() const;
    bool HasValues() const { return MayBeFlushed() || !isEmpty(); }
    CKZStatGenMeasurement* Find(std::string_view name) const;
    CKZStatGenMeasurement* Find(std::string_view name, unsigned hash) const;
    CKZStatGenMeasurement* FindOrCreate(std::string_view name, unsigned hash, PointType type,
                                        CKZStatGenDistributionTable* distributions)
        RYP_REQUIRES(*m_lock);
    CKZStatGenMeasurement* Create(std::string_view name, unsigned hash, PointType type,
                                  CKZStatGenMeasurement::DistributionNumber number =
                                      CKZStatGenMeasurement::kNoDistribution) RYP_REQUIRES(*m_lock);
    void ForgetNewestIfEmpty() RYP_REQUIRES(*m_lock);
    bool LeavesFlushToPackThread() const;
    CKZStatGenDistributionTable* FindTable() const;
    CKZStatGenClient* Owner() const { return m_client.load(std::memory_order_relaxed); }
    void ForgetOwner() { m_client.store(nullptr, std::memory_order_relaxed); }
    Size GetSize() const;
    void MakeRoomForNames(const Size& expected);
    double CountValues() const;
    bool HasChanged() const {
        return IsNotedAsChanged() || (HasHandedOut() && HoldsChangedMeasurement());
    }
    bool HoldsChangedMeasurement() const;
    void NoteMerged();
    template <class Visitor>
    void ForEachMeasurement(Visitor visit) const;
    template <class Query>
    auto Ask(const char* name, Query query) const;
    template <class Record>
    void DumpRecords(RWCString& text, Record record);

    // In the order in which a report reads and writes them.
    CKZStatGenSlice* m_slice;      // constant once the dictionary is filed there
    CKZStatGenLane* const m_lane;  // null in a free-standing dictionary
    // Set before the dictionary is filed and cleared under the lane, for good: who finds it null
    // need not take the lane, who finds a client takes it and looks again. Relaxed: the lane orders
    // it.
    std::atomic<CKZStatGenClient*> m_client;
    const int m_cacheLimit;  // values are aggregated once so many are cached
    // The store, in place, since every report goes through it. Written by the reporting thread
    // without m_lock and by a flush under it. The lane keeps the two apart.
    static constexpr std::size_t kStoreBytes = 64;
    alignas(void*) unsigned char m_store[kStoreBytes];
    const std::unique_ptr<Lock> m_lock;
    RyPArena m_arena RYP_GUARDED_BY(*m_lock);  // of the names and measurements made here
    // Entries, and bytes of the arena, when the newest was made, for readers without m_lock.
    // Relaxed: an estimate is enough for them.
    std::atomic<std::size_t> m_namesMade;
    std::atomic<std::size_t> m_bytesMade;
};

/// Names and measurements; what others put in without a measurement is passed over.
template <class Visitor>
void CKZStatGenMeasurementDictionary::ForEachMeasurement(Visitor visit) const {
    for (const Entry& entry : Entries()) {
        if (entry.value == nullptr) continue;
        const auto& name = *static_cast<const CKZCollectableString*>(entry.key);
        visit(std::string_view(name.data(), name.length()),
              *static_cast<const CKZStatGenMeasurement*>(entry.value));
    }
}

#endif

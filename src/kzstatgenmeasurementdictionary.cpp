#include "kzstatgenmeasurementdictionary.h"

#include <algorithm>
#include <cstring>
#include <iostream>
#include <optional>

#include "kzstatgendistributions.h"
#include "kzstatgenentry.h"
#include "kzstatgenstore.h"
#include "kzstatisticsgenerator.h"
#include "kzstatlog.h"
#include "rw/cstring.h"
#include "ryp/collectablestring.h"
#include "ryp/texthash.h"
#include "ryp/truncate.h"

namespace {

constexpr std::size_t kBuckets = 33;
constexpr std::size_t kExpectedRecordLength = 128;
constexpr double kUnknown = -1.0;

const CKZCollectableString& NameOf(const RWCollectable* key) {
    return *static_cast<const CKZCollectableString*>(key);
}

std::string_view TextOf(const char* name) {
    return name == nullptr ? "" : name;
}

}  // namespace

CKZStatGenMeasurementDictionary::CKZStatGenMeasurementDictionary()
    : CKZStatGenMeasurementDictionary(nullptr) {}

CKZStatGenMeasurementDictionary::CKZStatGenMeasurementDictionary(CKZStatGenSlice* slice)
    : CKZStatGenMeasurementDictionary(slice, nullptr,
                                      slice == nullptr ? nullptr : &slice->LaneWithoutClient(),
                                      slice == nullptr ? 0 : slice->StatsCacheSize()) {}

CKZStatGenMeasurementDictionary::CKZStatGenMeasurementDictionary(CKZStatGenClient* client,
                                                                 CKZStatGenLane& lane,
                                                                 int cacheLimit,
                                                                 const Size& expected)
    : CKZStatGenMeasurementDictionary(nullptr, client, &lane, cacheLimit) {
    MakeRoomForNames(expected);
    if (expected.cache > 0) GetStore().Cache().Reserve(expected.cache);
}

CKZStatGenMeasurementDictionary::CKZStatGenMeasurementDictionary(CKZStatGenSlice* slice,
                                                                 CKZStatGenClient* client,
                                                                 CKZStatGenLane* lane,
                                                                 int cacheLimit)
    : RWHashDictionary(kBuckets),
      m_slice(slice),
      m_lane(lane),
      m_client(client),
      m_cacheLimit(cacheLimit),
      m_lock(std::make_unique<Lock>()),
      m_namesMade(0),
      m_bytesMade(0) {
    static_assert(sizeof(Store) <= kStoreBytes && alignof(Store) <= alignof(void*));
    new (m_store) Store;
    NoteChange();  // nobody has merged it yet
}

CKZStatGenMeasurementDictionary::~CKZStatGenMeasurementDictionary() {
    if (Owner() != nullptr) Owner()->ReleaseDictionary();
    GetStore().~Store();
    // What was made here goes with the arena; what others put in is deleted one by one.
    if (!MayHoldOthers()) return;
    for (const Entry& entry : Entries()) {
        if (!m_arena.Holds(entry.key)) delete entry.key;
        if (!m_arena.Holds(entry.value)) delete entry.value;
    }
}

bool CKZStatGenMeasurementDictionary::RefusesValues() const {
    return m_slice != nullptr && !m_slice->IsOpen();
}

int CKZStatGenMeasurementDictionary::AddLast(const char* name, double value, PointType type) {
    // As a client does: the slice may be closed between the test of its flag and the caching, and
    // clients of the lane write to the same distributions.
    std::optional<RyPWordLock::LockGuard> lane;
    if (m_lane != nullptr) lane.emplace(*m_lane);
    return Store::AddLast(*this, Store::Name(name), value, type);
}

void CKZStatGenMeasurementDictionary::Store::TraceCaching(const Name& name, double value) {
    // The whole name as it was reported: what was cut off still follows.
    KZ_TRACE("Caching stat: %s=%f", name.text.data(), value);
}

void CKZStatGenMeasurementDictionary::Store::TraceAdding(const CKZStatGenStatsCache::Value& cached,
                                                         const CKZStatGenMeasurement& measurement) {
    const std::string_view name = cached.name.text;
    KZ_TRACE("Adding stat: %s=%f", RWCString(name.data(), name.size()), cached.value);
    measurement.TraceValue(cached.value);
}

int CKZStatGenMeasurementDictionary::FlushFullCache() {
    if (m_slice != nullptr) KZ_TRACE("Flushing stats due to cache full");
    try {
        return FlushWhileNobodyReports();
    } catch (...) {
        // The flush stopped at this value or before it, so it is the last one left: taken back,
        // since its reporter learns that it failed.
        GetStore().Cache().DropLast();
        throw;
    }
}

/// Whether the distributions of its lane may belong to another slice by now. The pack thread
/// flushes then, which has passed the lane since.
bool CKZStatGenMeasurementDictionary::LeavesFlushToPackThread() const {
    return RefusesValues() && m_slice->Collects();
}

/// Where the values that are flushed under the lane go, too; null where no distributions are
/// collected. Throws std::bad_alloc.
CKZStatGenDistributionTable* CKZStatGenMeasurementDictionary::FindTable() const {
    return m_slice == nullptr ? nullptr : m_slice->FindTable(*m_lane);
}

bool CKZStatGenMeasurementDictionary::HasNothingToFlush() const {
    KZ_TRACE("In FlushStatsCache");
    // Whoever emptied the cache has aggregated its values before.
    if (MayBeFlushed()) return false;
    KZ_TRACE("Nothing to flush");
    return true;
}

int CKZStatGenMeasurementDictionary::FlushStatsCache() {
    if (HasNothingToFlush()) return 1;
    // A client that reports adds to the cache without m_lock, so it is kept out.
    std::optional<RyPWordLock::LockGuard> lane;
    if (m_lane != nullptr) lane.emplace(*m_lane);
    const Lock::LockGuard guard(*m_lock);
    Store::Flush(*this, nullptr);
    return 1;
}

int CKZStatGenMeasurementDictionary::FlushWhileNobodyReports(
    CKZStatGenDistributionTable* packThreads) {
    if (HasNothingToFlush()) return 1;
    const Lock::LockGuard guard(*m_lock);
    Store::Flush(*this, packThreads);
    return 1;
}

CKZStatGenMeasurement* CKZStatGenMeasurementDictionary::FindOrCreate(
    std::string_view name, unsigned hash, PointType type,
    CKZStatGenDistributionTable* distributions) {
    NoteChange();
    CKZStatGenMeasurement* const known = Find(name, hash);
    if (known != nullptr) return known;
    return Create(name, hash, type,
                  distributions != nullptr ? distributions->NumberOf(name, type)
                                           : CKZStatGenMeasurement::kNoDistribution);
}

CKZStatGenMeasurement* CKZStatGenMeasurementDictionary::Create(
    std::string_view name, unsigned hash, PointType type,
    CKZStatGenMeasurement::DistributionNumber number) {
    const CKZStatGenEntry made = CKZStatGenEntry::Make(m_arena, name, type);
    static_cast<CKZStatGenMeasurement*>(made.measurement)->m_distribution =
        number & CKZStatGenMeasurement::kNoDistribution;
    InsertNew(made.name, made.measurement, hash);
    m_namesMade.store(entries(), std::memory_order_relaxed);
    m_bytesMade.store(m_arena.Used(), std::memory_order_relaxed);
    return made.measurement;
}

/// Of a name whose first value could not be collected, and so was not added: nobody has reported it
/// unless that is tried again.
void CKZStatGenMeasurementDictionary::ForgetNewestIfEmpty() {
    if (isEmpty() || Entries().back().value == nullptr) return;
    const Entry& newest = Entries().back();
    const CKZStatGenMeasurement& made = *KzMeasurementOf(newest.value);
    const bool isCollected = made.m_distribution < CKZStatGenMeasurement::kRefusedDistribution;
    if (isCollected && made.m_totals.count == 0 && !made.m_isAltered) remove(newest.key);
}

/// Does not wait for m_lock, which the pack thread may hold for long.
CKZStatGenMeasurementDictionary::Size CKZStatGenMeasurementDictionary::GetSize() const {
    return {m_namesMade.load(std::memory_order_relaxed),
            m_bytesMade.load(std::memory_order_relaxed), GetStore().Cache().Capacity()};
}

/// Unchecked by the analysis: no other thread uses this dictionary yet. REQUIRES: it is empty.
void CKZStatGenMeasurementDictionary::MakeRoomForNames(const Size& expected)
    RYP_NO_THREAD_SAFETY_ANALYSIS {
    Reserve(expected.names);
    m_arena.Reserve(expected.arena);
}

/// How many values were reported, cached ones included: with m_lock held no flush is under way that
/// would show a value twice.
double CKZStatGenMeasurementDictionary::CountValues() const {
    const Lock::LockGuard guard(*m_lock);
    double values = GetStore().Cache().Count();
    for (const Entry& entry : Entries())
        if (entry.value != nullptr)
            values += std::max(KzMeasurementOf(entry.value)->m_totals.count, 0.0);
    return values;
}

void CKZStatGenMeasurementDictionary::SetValues(const char* name, double minimum, double maximum,
                                                int count, double sum, double /*sumSqr*/,
                                                double lastsMinimum, double lastsMaximum,
                                                int lastsCount, double lastsSum, PointType type) {
    // A client that reports looks at the map without m_lock, so it is kept out.
    std::optional<RyPWordLock::LockGuard> lane;
    if (m_lane != nullptr) lane.emplace(*m_lane);
    // Before m_lock, for which whoever shares the lane would wait while a closed slice is folded.
    if (RefusesValues()) return;
    const Lock::LockGuard guard(*m_lock);
    CKZStatGenMeasurement* const measurement =
        FindOrCreate(TextOf(name), RyPTextHash::Of(TextOf(name)), type, nullptr);
    KZ_TRACE(" ----------------- ");
    KZ_TRACE(" CKZStatGenMeasurementDictionary::SetValues ");
    // The squares of the sums stand in for the sums of squares: consumers rely on it.
    const double sumSquared = sum * sum;
    measurement->SetValues(minimum, maximum, count, sum, sumSquared, lastsMinimum, lastsMaximum,
                           lastsCount, lastsSum, lastsSum * lastsSum, type);
    KZ_TRACE("Sum =  %d     SumSqr = %d ", RyPTruncate<long long>(sum),
             RyPTruncate<long long>(sumSquared));
    KZ_TRACE(" ----------------- ");
}

void CKZStatGenMeasurementDictionary::AddValuesOfDict(CKZStatGenMeasurementDictionary* source,
                                                      AddType) {
    Store::AddUncollected(*this, *source);
}

void CKZStatGenMeasurementDictionary::Reset(const char* name) {
    const Lock::LockGuard guard(*m_lock);
    CKZStatGenMeasurement* const measurement = Find(TextOf(name));
    if (measurement == nullptr) return;
    NoteChange();
    measurement->Reset();
}

void CKZStatGenMeasurementDictionary::ResetLasts() {
    bool isChanged = false;
    for (const Entry& entry : Entries()) {
        Store::PrefetchPairAfter(Entries(), &entry);
        CKZStatGenMeasurement* const measurement = KzMeasurementOf(entry.value);
        if (measurement == nullptr) continue;
        isChanged = isChanged || !measurement->HasEmptyLasts();
        measurement->EmptyLasts();
    }
    if (isChanged) NoteChange();
}

/// Whether a measurement was changed by its own operations since `NoteMerged`.
bool CKZStatGenMeasurementDictionary::HoldsChangedMeasurement() const {
    return std::any_of(Entries().begin(), Entries().end(), [](const Entry& entry) {
        return entry.value != nullptr && KzMeasurementOf(entry.value)->m_isChanged;
    });
}

/// `HasChanged` tells from now on whether a merge would give something else than one made here.
void CKZStatGenMeasurementDictionary::NoteMerged() {
    ForgetChange();
    if (!HasHandedOut()) return;
    for (const Entry& entry : Entries())
        if (entry.value != nullptr) KzMeasurementOf(entry.value)->m_isChanged = false;
}

template <class Record>
void CKZStatGenMeasurementDictionary::DumpRecords(RWCString& text, Record record) {
    const Lock::LockGuard guard(*m_lock);
    text.remove(0);
    text.capacity(entries() * kExpectedRecordLength);
    for (const Entry& entry : Entries())
        if (entry.value != nullptr)
            (KzMeasurementOf(entry.value)->*record)(text, NameOf(entry.key).data());
    text.capacity(text.length());
}

void CKZStatGenMeasurementDictionary::DumpDict(RWCString& text) {
    DumpRecords(text, &CKZStatGenMeasurement::AppendDump);
}

void CKZStatGenMeasurementDictionary::DumpLasts(RWCString& text) {
    DumpRecords(text, &CKZStatGenMeasurement::DumpLasts);
}

void CKZStatGenMeasurementDictionary::Print() {
    const Lock::LockGuard guard(*m_lock);
    for (const Entry& entry : Entries()) {
        if (entry.value == nullptr) continue;
        std::cout << NameOf(entry.key).data() << ":";
        KzMeasurementOf(entry.value)->Print();
    }
}

CKZStatGenMeasurement* CKZStatGenMeasurementDictionary::GetMeasurement(const char* name) const {
    CKZStatGenMeasurement* const measurement = Find(TextOf(name));
    if (measurement != nullptr) NoteHandedOut();
    return measurement;
}

CKZStatPointTypeEnum::PointType CKZStatGenMeasurementDictionary::GetType(const char* name) const {
    const CKZStatGenMeasurement* const measurement = Find(TextOf(name));
    return measurement == nullptr ? CKZStatPointTypeEnum::NotSet : measurement->m_type;
}

CKZStatGenMeasurement* CKZStatGenMeasurementDictionary::Find(std::string_view name) const {
    return Find(name, RyPTextHash::Of(name));
}

CKZStatGenMeasurement* CKZStatGenMeasurementDictionary::Find(std::string_view name,
                                                             unsigned hash) const {
    const Index index = FindEntry(hash, [name](const RWCollectable* key) {
        return RyPTextHash::AreEqual(KzTextOf(key), name);
    });
    return index == kNone ? nullptr : KzMeasurementOf(Entries()[index].value);
}

/// What `query` answers for the measurement of `name`, or -1.
template <class Query>
auto CKZStatGenMeasurementDictionary::Ask(const char* name, Query query) const {
    const CKZStatGenMeasurement* const measurement = Find(TextOf(name));
    using Answer = decltype(query(*measurement));
    return measurement == nullptr ? static_cast<Answer>(kUnknown) : query(*measurement);
}

double CKZStatGenMeasurementDictionary::GetMinimum(const char* name) const {
    return Find(TextOf(name))->m_totals.minimum;
}

double CKZStatGenMeasurementDictionary::GetMaximum(const char* name) const {
    return Ask(name, [](const CKZStatGenMeasurement& m) { return m.m_totals.maximum; });
}

int CKZStatGenMeasurementDictionary::GetCount(const char* name) const {
    return Ask(name,
               [](const CKZStatGenMeasurement& m) { return RyPTruncate<int>(m.m_totals.count); });
}

double CKZStatGenMeasurementDictionary::GetSum(const char* name) {
    return Ask(name, [](const CKZStatGenMeasurement& m) { return m.m_totals.sum; });
}

double CKZStatGenMeasurementDictionary::GetSumSqr(const char* name) {
    return Ask(name, [](const CKZStatGenMeasurement& m) { return m.m_totals.sumSqr; });
}

double CKZStatGenMeasurementDictionary::GetStddev(const char* name) {
    return Ask(name, [](const CKZStatGenMeasurement& m) { return m.m_stddev; });
}

double CKZStatGenMeasurementDictionary::GetAverage(const char* name) const {
    return Ask(name, [](const CKZStatGenMeasurement& m) { return m.m_totals.Average(); });
}

double CKZStatGenMeasurementDictionary::GetLastsMinimum(const char* name) const {
    return Ask(name, [](const CKZStatGenMeasurement& m) { return m.m_lasts.minimum; });
}

double CKZStatGenMeasurementDictionary::GetLastsMaximum(const char* name) const {
    return Ask(name, [](const CKZStatGenMeasurement& m) { return m.m_lasts.maximum; });
}

int CKZStatGenMeasurementDictionary::GetLastsCount(const char* name) const {
    return Ask(name,
               [](const CKZStatGenMeasurement& m) { return RyPTruncate<int>(m.m_lasts.count); });
}

double CKZStatGenMeasurementDictionary::GetLastsSum(const char* name) {
    return Ask(name, [](const CKZStatGenMeasurement& m) { return m.m_lasts.sum; });
}

double CKZStatGenMeasurementDictionary::GetLastsSumSqr(const char* name) {
    return Ask(name, [](const CKZStatGenMeasurement& m) { return m.m_lasts.sumSqr; });
}

double CKZStatGenMeasurementDictionary::GetLastsAverage(const char* name) const {
    return Ask(name, [](const CKZStatGenMeasurement& m) { return m.m_lasts.Average(); });
}

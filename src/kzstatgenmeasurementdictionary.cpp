#include "kzstatgenmeasurementdictionary.h"

#include <algorithm>
#include <cstring>
#include <iostream>
#include <optional>

#include "kzstatgenentry.h"
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

// In values: about as long as memory takes to answer.
constexpr int kFetchDistance = 2;
// In pairs that are merged.
constexpr std::size_t kMergeDistance = 6;

constexpr std::size_t kCacheLine = 64;
constexpr std::size_t kLinesOfPair = 3;

const CKZCollectableString& NameOf(const RWCollectable* key) {
    return *static_cast<const CKZCollectableString*>(key);
}

std::string_view TextOf(const RWCollectable* key) {
    return {NameOf(key).data(), NameOf(key).length()};
}

std::string_view TextOf(const char* name) {
    return name == nullptr ? "" : name;
}

RWCString Printable(const CKZStatGenStatsCache::Name& name) {
    return {name.text.data(), name.text.size()};
}

CKZStatGenMeasurement* MeasurementOf(RWCollectable* value) {
    return static_cast<CKZStatGenMeasurement*>(value);
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
    if (expected.cache > 0) m_statsCache.Reserve(expected.cache);
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
    NoteChange();  // nobody has merged it yet
}

CKZStatGenMeasurementDictionary::~CKZStatGenMeasurementDictionary() {
    if (Owner() != nullptr) Owner()->ReleaseDictionary();
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
    const int cached = Cache(Name(name), value, type);
    if (cached == 0) return 0;
    // Looked up at the flush: who reports here holds no lock that would allow it sooner.
    m_statsCache.PlaceAt(cached - 1).expected = kNone;
    return FlushWhereFull(cached);
}

int CKZStatGenMeasurementDictionary::AddLastOfClient(const Name& name, double value,
                                                     PointType type) {
    const int cached = Cache(name, value, type);
    if (cached == 0) return 0;
    PrefetchBucket(name.hash);
    FetchForFlush(cached - 1);
    return FlushWhereFull(cached);
}

/// Returns how many values are cached then; 0 where the value was refused.
inline int CKZStatGenMeasurementDictionary::Cache(const Name& name, double value, PointType type) {
    if (RefusesValues()) return 0;
    // The whole name as it was reported: what was cut off still follows.
    KZ_TRACE("Caching stat: %s=%f", name.text.data(), value);
    if (m_statsCache.Count() == 0) PrefetchForBurst();
    return m_statsCache.Add(name, value, type);
}

/// A client that has not reported for a while finds its dictionary far away.
inline void CKZStatGenMeasurementDictionary::PrefetchForBurst() const {
    m_statsCache.Prefetch();
    __builtin_prefetch(m_lock.get(), 1);
}

inline int CKZStatGenMeasurementDictionary::FlushWhereFull(int cached) {
    if (cached < m_cacheLimit) return 1;
    if (m_slice != nullptr) KZ_TRACE("Flushing stats due to cache full");
    try {
        return FlushWhileNobodyReports();
    } catch (...) {
        // The flush stopped at this value or before it, so it is the last one left: taken back,
        // since its reporter learns that it failed.
        m_statsCache.DropLast();
        throw;
    }
}

bool CKZStatGenMeasurementDictionary::HasNothingToFlush() const {
    KZ_TRACE("In FlushStatsCache");
    // Whoever emptied the cache has aggregated its values before.
    if (m_statsCache.Count() > 0) return false;
    KZ_TRACE("Nothing to flush");
    return true;
}

int CKZStatGenMeasurementDictionary::FlushStatsCache() {
    if (HasNothingToFlush()) return 1;
    // A client that reports adds to the cache without m_lock, so it is kept out.
    std::optional<RyPWordLock::LockGuard> lane;
    if (m_lane != nullptr) lane.emplace(*m_lane);
    const Lock::LockGuard guard(*m_lock);
    FlushValues();
    return 1;
}

int CKZStatGenMeasurementDictionary::FlushWhileNobodyReports() {
    if (HasNothingToFlush()) return 1;
    const Lock::LockGuard guard(*m_lock);
    FlushValues();
    return 1;
}

void CKZStatGenMeasurementDictionary::FlushValues() {
    const int count = m_statsCache.Count();
    FetchRest(count);
    NoteChange();
    const bool isTracing = KzIsTracing();
    int flushed = 0;
    try {
        for (CKZStatGenStatsCache::Reader next(m_statsCache); flushed < count; ++flushed) {
            const CKZStatGenStatsCache::Value cached = next();
            CKZStatGenMeasurement* const measurement = MeasurementFor(cached);
            measurement->TakeValue(cached.value);
            if (isTracing) TraceFlushed(cached, *measurement);
        }
    } catch (...) {
        m_statsCache.DropFirst(flushed);
        throw;
    }
    m_statsCache.Clear();
}

void CKZStatGenMeasurementDictionary::TraceFlushed(const CKZStatGenStatsCache::Value& cached,
                                                   const CKZStatGenMeasurement& measurement) {
    KZ_TRACE("Adding stat: %s=%f", Printable(cached.name), cached.value);
    measurement.TraceValue(cached.value);
}

/// The measurement of a cached value, which is expected at that position.
inline CKZStatGenMeasurement* CKZStatGenMeasurementDictionary::MeasurementFor(
    const CKZStatGenStatsCache::Value& cached) {
    if (cached.expected < Entries().size() && !MayHoldOthers()) {
        auto* const made =
            static_cast<CKZStatGenArenaMeasurement*>(Entries()[cached.expected].value);
        if (RyPTextHash::AreEqual(made->Name(), cached.name.text)) return made;
    }
    return FindOrCreate(cached.name.text, cached.name.hash, cached.type);
}

/// Fetches what a flush will read while values still come in: the names of a client have mostly
/// left the processor's caches when its turn comes again. A look-up reads bucket, entry and
/// measurement one after the other, so each is asked for a few values after the one before.
/// `newest` is the position of the value that was cached last.
inline void CKZStatGenMeasurementDictionary::FetchForFlush(int newest) {
    const int second = newest - kFetchDistance;
    if (second >= 0) FetchEntry(second);
    const int third = second - kFetchDistance;
    if (third >= 0) FetchMeasurement(third);
}

/// What `FetchForFlush` would do for `count` cached values if more of them came in.
inline void CKZStatGenMeasurementDictionary::FetchRest(int count) {
    for (int i = std::max(count - kFetchDistance, 0); i < count; ++i) FetchEntry(i);
    for (int i = std::max(count - 2 * kFetchDistance, 0); i < count; ++i) FetchMeasurement(i);
}

inline void CKZStatGenMeasurementDictionary::FetchEntry(int position) {
    CKZStatGenStatsCache::Place& place = m_statsCache.PlaceAt(position);
    place.expected = PrefetchEntry(place.hash);
}

/// The aggregates and the name of the cached value at `position`. They take two lines, or three
/// where they begin behind the first quarter of one.
inline void CKZStatGenMeasurementDictionary::FetchMeasurement(int position) {
    constexpr std::size_t kUsualName = 24;
    CKZStatGenStatsCache::Place& place = m_statsCache.PlaceAt(position);
    const Index found = SameHashFrom(place.expected, place.hash);
    place.expected = found;
    if (found >= Entries().size() || MayHoldOthers()) return;
    const auto* const made = static_cast<const CKZStatGenArenaMeasurement*>(Entries()[found].value);
    const char* const aggregates = reinterpret_cast<const char*>(&made->m_totals);
    __builtin_prefetch(aggregates, 1);
    __builtin_prefetch(aggregates + kCacheLine, 1);
    __builtin_prefetch(reinterpret_cast<const char*>(made + 1) + kUsualName);
}

CKZStatGenMeasurement* CKZStatGenMeasurementDictionary::FindOrCreate(std::string_view name,
                                                                     unsigned hash,
                                                                     PointType type) {
    NoteChange();
    CKZStatGenMeasurement* const known = Find(name, hash);
    return known != nullptr ? known : Create(name, hash, type);
}

CKZStatGenMeasurement* CKZStatGenMeasurementDictionary::Create(std::string_view name, unsigned hash,
                                                               PointType type) {
    const CKZStatGenEntry made = CKZStatGenEntry::Make(m_arena, name, type);
    InsertNew(made.name, made.measurement, hash);
    m_namesMade.store(entries(), std::memory_order_relaxed);
    m_bytesMade.store(m_arena.Used(), std::memory_order_relaxed);
    return made.measurement;
}

/// Does not wait for m_lock, which the pack thread may hold for long.
CKZStatGenMeasurementDictionary::Size CKZStatGenMeasurementDictionary::GetSize() const {
    return {m_namesMade.load(std::memory_order_relaxed),
            m_bytesMade.load(std::memory_order_relaxed), m_statsCache.Capacity()};
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
    double values = m_statsCache.Count();
    for (const Entry& entry : Entries())
        if (entry.value != nullptr)
            values += std::max(MeasurementOf(entry.value)->m_totals.count, 0.0);
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
        FindOrCreate(TextOf(name), RyPTextHash::Of(TextOf(name)), type);
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
    const Lock::LockGuard guard(*source->m_lock);
    // All names first, which may run out of memory, then all values, which cannot: so the source
    // is added whole or not at all.
    const std::vector<Addition> additions = PrepareAdditions(*source);
    const bool isTracing = KzIsTracing();
    for (const auto& [target, added] : additions) {
        if (isTracing)
            target->AddAggregates(added->m_totals, added->m_lasts);
        else
            target->TakeAggregates(added->m_totals, added->m_lasts);
    }
}

/// Unchecked by the analysis: what is merged into belongs to the thread that merges, so that this
/// dictionary's lock is not taken.
std::vector<CKZStatGenMeasurementDictionary::Addition>
CKZStatGenMeasurementDictionary::PrepareAdditions(const CKZStatGenMeasurementDictionary& source)
    RYP_NO_THREAD_SAFETY_ANALYSIS {
    std::vector<Addition> additions;
    additions.reserve(source.entries());
    if (!source.isEmpty()) NoteChange();
    Index position = kNone;
    for (std::size_t next = 0; next < source.entries(); ++next) {
        const Entry& added = source.Entries()[next];
        if (added.value == nullptr) break;
        source.PrefetchPair(next + kMergeDistance);
        PrefetchPair(position + 1 + kMergeDistance);
        position = FindOrCreate(added, position + 1);
        additions.push_back({MeasurementOf(Entries()[position].value), MeasurementOf(added.value)});
    }
    return additions;
}

void CKZStatGenMeasurementDictionary::PrefetchObject() const {
    const char* const entriesAndChanges = reinterpret_cast<const char*>(this);
    __builtin_prefetch(entriesAndChanges);
    __builtin_prefetch(entriesAndChanges + kCacheLine, 1);
    __builtin_prefetch(&m_statsCache);
    __builtin_prefetch(&m_lock);
}

/// Waits unless `PrefetchObject` was called a while ago. Passes over a dictionary that its client
/// may still flush, which moves the entries.
void CKZStatGenMeasurementDictionary::PrefetchEntries() const {
    if (MayBeFlushed()) return;
    __builtin_prefetch(Entries().data());
    __builtin_prefetch(m_lock.get(), 1);
}

/// The same after `PrefetchEntries`.
void CKZStatGenMeasurementDictionary::PrefetchFirstPairs() const {
    if (MayBeFlushed()) return;
    for (std::size_t position = 0; position < kMergeDistance; ++position) PrefetchPair(position);
}

/// Name, aggregates and text of the entry at `position`, if there is one.
inline void CKZStatGenMeasurementDictionary::PrefetchPair(std::size_t position) const {
    if (position >= entries()) return;
    const char* const pair = reinterpret_cast<const char*>(Entries()[position].key);
    for (std::size_t line = 0; line < kLinesOfPair; ++line)
        __builtin_prefetch(pair + line * kCacheLine);
}

/// The position of the measurement with the name of `added`. Names mostly lie in the same order in
/// all dictionaries, so it is looked up only where it is not the `expected` one.
inline CKZStatGenMeasurementDictionary::Index CKZStatGenMeasurementDictionary::FindOrCreate(
    const Entry& added, Index expected) {
    const std::string_view name = TextOf(added.key);
    const auto isName = [name](const RWCollectable* key) {
        return RyPTextHash::AreEqual(TextOf(key), name);
    };
    const bool isExpected = expected < entries() && Entries()[expected].hash == added.hash &&
                            isName(Entries()[expected].key);
    const Index known = isExpected ? expected : FindEntry(added.hash, isName);
    if (known != kNone && Entries()[known].value != nullptr) return known;
    Create(name, added.hash, MeasurementOf(added.value)->m_type);
    return static_cast<Index>(entries() - 1);
}

void CKZStatGenMeasurementDictionary::Reset(const char* name) {
    const Lock::LockGuard guard(*m_lock);
    CKZStatGenMeasurement* const measurement = Find(TextOf(name));
    if (measurement == nullptr) return;
    NoteChange();
    measurement->Reset();
}

void CKZStatGenMeasurementDictionary::ResetLasts() {
    for (std::size_t position = 0; position < entries(); ++position) {
        PrefetchPair(position + kMergeDistance);
        CKZStatGenMeasurement* const measurement = MeasurementOf(Entries()[position].value);
        if (measurement == nullptr) continue;
        if (!measurement->IsResetLasts()) NoteChange();
        measurement->EmptyLasts();
    }
}

/// Whether a measurement was changed by its own operations since `NoteMerged`.
bool CKZStatGenMeasurementDictionary::HoldsChangedMeasurement() const {
    return std::any_of(Entries().begin(), Entries().end(), [](const Entry& entry) {
        return entry.value != nullptr && MeasurementOf(entry.value)->m_isChanged;
    });
}

/// `HasChanged` tells from now on whether a merge would give something else than one made here.
void CKZStatGenMeasurementDictionary::NoteMerged() {
    ForgetChange();
    if (!HasHandedOut()) return;
    for (const Entry& entry : Entries())
        if (entry.value != nullptr) MeasurementOf(entry.value)->m_isChanged = false;
}

template <class Record>
void CKZStatGenMeasurementDictionary::DumpRecords(RWCString& text, Record record) {
    const Lock::LockGuard guard(*m_lock);
    text.remove(0);
    text.capacity(entries() * kExpectedRecordLength);
    for (const Entry& entry : Entries())
        if (entry.value != nullptr)
            (MeasurementOf(entry.value)->*record)(text, NameOf(entry.key).data());
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
        MeasurementOf(entry.value)->Print();
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
        return RyPTextHash::AreEqual(TextOf(key), name);
    });
    return index == kNone ? nullptr : MeasurementOf(Entries()[index].value);
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

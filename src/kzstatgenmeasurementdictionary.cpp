#include "kzstatgenmeasurementdictionary.h"

#include <algorithm>
#include <cstring>
#include <iostream>

#include "kzstatisticsgenerator.h"
#include "kzstatlog.h"
#include "rw/cstring.h"
#include "ryp/collectablestring.h"
#include "ryp/truncate.h"

namespace {

constexpr std::size_t kBuckets = 33;
constexpr std::size_t kExpectedRecordLength = 128;
constexpr double kUnknown = -1.0;

const char* NameOf(const RWCollectable* key) {
    return static_cast<const CKZCollectableString*>(key)->data();
}

CKZStatGenMeasurement* MeasurementOf(RWCollectable* value) {
    return static_cast<CKZStatGenMeasurement*>(value);
}

}  // namespace

CKZStatGenMeasurementDictionary::CKZStatGenMeasurementDictionary()
    : CKZStatGenMeasurementDictionary(nullptr) {}

CKZStatGenMeasurementDictionary::CKZStatGenMeasurementDictionary(CKZStatGenSlice* slice)
    : RWHashDictionary(kBuckets),
      m_lock(std::make_unique<Lock>()),
      m_slice(slice),
      m_client(nullptr),
      m_cachedCount(0),
      m_changed(true) {}

CKZStatGenMeasurementDictionary::~CKZStatGenMeasurementDictionary() {
    if (m_client != nullptr) m_client->ReleaseDictionary();
    clearAndDestroy();
}

bool CKZStatGenMeasurementDictionary::RefusesValues() const {
    return m_slice != nullptr && !m_slice->IsOpen();
}

int CKZStatGenMeasurementDictionary::CacheLimit() const {
    return m_slice == nullptr ? 0 : m_slice->StatsCacheSize();
}

int CKZStatGenMeasurementDictionary::AddLast(const char* name, double value, PointType type) {
    if (RefusesValues()) return 0;
    KZ_TRACE("Caching stat: %s=%f", name, value);
    CacheValue(name, value, type);
    if (m_cachedCount.load(std::memory_order_relaxed) < CacheLimit()) return 1;
    if (m_slice != nullptr) KZ_TRACE("Flushing stats due to cache full");
    try {
        return FlushStatsCache();
    } catch (...) {
        // The flush stopped at this value or before it, so it is the last one left: taken back,
        // since its reporter learns that it failed.
        m_cachedCount.fetch_sub(1, std::memory_order_relaxed);
        throw;
    }
}

void CKZStatGenMeasurementDictionary::CacheValue(const char* name, double value, PointType type) {
    const int count = m_cachedCount.load(std::memory_order_relaxed);
    StatsCacheEntry& entry = m_statsCache[count];
    const std::size_t length = strnlen(name, kLongestName);
    std::memcpy(entry.name, name, length);
    entry.name[length] = '\0';
    entry.value = value;
    entry.type = type;
    m_cachedCount.store(count + 1, std::memory_order_release);
}

int CKZStatGenMeasurementDictionary::FlushStatsCache() {
    KZ_TRACE("In FlushStatsCache");
    // Acquire: whoever emptied the cache has aggregated its values before.
    if (m_cachedCount.load(std::memory_order_acquire) == 0) {
        KZ_TRACE("Nothing to flush");
        return 1;
    }
    const Lock::LockGuard guard(*m_lock);
    FlushEntries();
    return 1;
}

void CKZStatGenMeasurementDictionary::FlushEntries() {
    const int count = m_cachedCount.load(std::memory_order_acquire);
    int flushed = 0;
    try {
        for (; flushed < count; ++flushed) {
            const StatsCacheEntry& entry = m_statsCache[flushed];
            KZ_TRACE("Adding stat: %s=%f", entry.name, entry.value);
            FindOrCreate(entry.name, entry.type)->AddLast(entry.value);
        }
    } catch (...) {
        DropCachedEntries(flushed);
        throw;
    }
    m_cachedCount.store(0, std::memory_order_release);
}

void CKZStatGenMeasurementDictionary::DropCachedEntries(int count) {
    const int cached = m_cachedCount.load(std::memory_order_relaxed);
    std::move(m_statsCache + count, m_statsCache + cached, m_statsCache);
    m_cachedCount.store(cached - count, std::memory_order_release);
}

CKZStatGenMeasurement* CKZStatGenMeasurementDictionary::FindOrCreate(const char* name,
                                                                     PointType type) {
    NoteChange();
    if (CKZStatGenMeasurement* const known = Find(name)) return known;
    auto key = std::make_unique<CKZCollectableString>(name, true);
    auto measurement = std::make_unique<CKZStatGenMeasurement>(type);
    insertKeyAndValue(key.get(), measurement.get());
    key.release();
    return measurement.release();
}

void CKZStatGenMeasurementDictionary::SetValues(const char* name, double minimum, double maximum,
                                                int count, double sum, double /*sumSqr*/,
                                                double lastsMinimum, double lastsMaximum,
                                                int lastsCount, double lastsSum, PointType type) {
    const Lock::LockGuard guard(*m_lock);
    if (RefusesValues()) return;
    CKZStatGenMeasurement* const measurement = FindOrCreate(name, type);
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
                                                      AddType addType) {
    const Lock::LockGuard guard(*source->m_lock);
    // All names first, which may run out of memory, then all values, which cannot: so the source
    // is added whole or not at all.
    const std::vector<Addition> additions = PrepareAdditions(*source);
    for (const Addition& addition : additions)
        addition.target->AddValues(*addition.source, addType);
}

std::vector<CKZStatGenMeasurementDictionary::Addition>
CKZStatGenMeasurementDictionary::PrepareAdditions(const CKZStatGenMeasurementDictionary& source) {
    std::vector<Addition> additions;
    additions.reserve(source.entries());
    RWHashDictionaryIterator next(source);
    while (const RWCollectable* const key = next()) {
        const CKZStatGenMeasurement* const added = MeasurementOf(next.value());
        if (added == nullptr) break;
        additions.push_back({FindOrCreate(NameOf(key), added->m_type), added});
    }
    return additions;
}

void CKZStatGenMeasurementDictionary::Reset(const char* name) {
    const Lock::LockGuard guard(*m_lock);
    if (CKZStatGenMeasurement* const measurement = GetMeasurement(name)) measurement->Reset();
}

void CKZStatGenMeasurementDictionary::ResetLasts() {
    RWHashDictionaryIterator next(*this);
    while (next() != nullptr) {
        CKZStatGenMeasurement* const measurement = MeasurementOf(next.value());
        if (!measurement->IsResetLasts()) NoteChange();
        measurement->ResetLasts();
    }
}

template <class Record>
void CKZStatGenMeasurementDictionary::DumpRecords(RWCString& text, Record record) {
    const Lock::LockGuard guard(*m_lock);
    text.remove(0);
    text.capacity(entries() * kExpectedRecordLength);
    RWHashDictionaryIterator next(*this);
    while (const RWCollectable* const key = next())
        (MeasurementOf(next.value())->*record)(text, NameOf(key));
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
    RWHashDictionaryIterator next(*this);
    while (const RWCollectable* const key = next()) {
        std::cout << NameOf(key) << ":";
        MeasurementOf(next.value())->Print();
    }
}

CKZStatGenMeasurement* CKZStatGenMeasurementDictionary::GetMeasurement(const char* name) const {
    NoteChange();
    return Find(name);
}

CKZStatGenMeasurement* CKZStatGenMeasurementDictionary::Find(const char* name) const {
    const CKZCollectableString key(name, false);
    return MeasurementOf(findValue(&key));
}

/// What `query` answers for the measurement of `name`, or -1.
template <class Query>
auto CKZStatGenMeasurementDictionary::Ask(const char* name, Query query) const {
    const CKZStatGenMeasurement* const measurement = Find(name);
    using Answer = decltype(query(*measurement));
    return measurement == nullptr ? static_cast<Answer>(kUnknown) : query(*measurement);
}

double CKZStatGenMeasurementDictionary::GetMinimum(const char* name) const {
    return Find(name)->m_totals.minimum;
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

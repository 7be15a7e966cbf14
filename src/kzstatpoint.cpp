#include "kzstatpoint.h"

// The value rules hold in every build, also where the host's flags switch assertions off.
#undef NDEBUG
#include <cassert>
#include <cmath>
#include <cstring>
#include <memory>

#include "kzstatlog.h"
#include "kzstatpointkind.h"
#include "rw/collint.h"
#include "ryp/truncate.h"

namespace {

using Types = CKZStatPointTypeEnum;

constexpr double kEmpty = -1;

// ------------------------------------------------------------------ what the kinds differ in

/// How a kind makes the point that stands for its totals at a later time: the range clone takes
/// time, minimum, maximum, sum and count; the last-minimum clone takes the last minimum in place
/// of the maximum, which stays empty.
enum class FakeForTotal { Range, LastMinimum, None, Own };

struct Facts {
    Types::PointType type;
    const char* name;
    FakeForTotal fake;
};

template <class Kind>
constexpr Facts kFacts{};

template <class Kind>
const CKZStatPointKind& KindOf() {
    return *CKZStatPointKind::Find(kFacts<Kind>.type);
}

// clang-format off
template <> constexpr Facts kFacts<CKZStatPointMeasurement> =
    {Types::Measurement, "CKZStatPointMeasurement", FakeForTotal::Range};
template <> constexpr Facts kFacts<CKZStatPointTimer> =
    {Types::Timer, "CKZStatPointTimer", FakeForTotal::Range};
template <> constexpr Facts kFacts<CKZStatPointCounter> =
    {Types::Counter, "CKZStatPointCounter", FakeForTotal::Range};
template <> constexpr Facts kFacts<CKZStatPointAccumulator> =
    {Types::Accumulator, "CKZStatPointAccumulator", FakeForTotal::LastMinimum};
template <> constexpr Facts kFacts<CKZStatPointLoadSize> =
    {Types::LoadSize, "CKZStatPointLoadSize", FakeForTotal::Own};
template <> constexpr Facts kFacts<CKZStatPointTransactionCounter> =
    {Types::TransactionCounter, "CKZStatPointTransactionCounter", FakeForTotal::LastMinimum};
template <> constexpr Facts kFacts<CKZStatPointTransactionTimer> =
    {Types::TransactionTimer, "CKZStatPointTransactionTimer", FakeForTotal::LastMinimum};
template <> constexpr Facts kFacts<CKZStatPointTransactionReasonCounter> =
    {Types::TransactionReasonCounter, "CKZStatPointTransactionReasonCounter", FakeForTotal::LastMinimum};
template <> constexpr Facts kFacts<CKZStatPointMeasurementPerSec> =
    {Types::MeasurementPerSec, "CKZStatPointMeasurementPerSec", FakeForTotal::None};
template <> constexpr Facts kFacts<CKZStatPointCounterPerSec> =
    {Types::CounterPerSec, "CKZStatPointCounterPerSec", FakeForTotal::None};
template <> constexpr Facts kFacts<CKZStatPointPerfMon> =
    {Types::NTPerformance, "CKZStatPointPerfMon", FakeForTotal::None};
template <> constexpr Facts kFacts<CKZStatPointAccumulatorPerSec> =
    {Types::AccumulatorPerSec, "CKZStatPointAccumulatorPerSec", FakeForTotal::None};
// clang-format on

// ------------------------------------------------------------------------- rules of folding

void TakeIfAbove(double& value, double candidate) {
    if (candidate > value) value = candidate;
}

/// An empty minimum takes any candidate that is not empty itself.
void TakeMinimum(double& value, double candidate) {
    if (candidate != kEmpty && (candidate < value || value == kEmpty)) value = candidate;
}

/// Unlike the minimum of the run, an empty last minimum stays empty. This is meant.
void TakeLastMinimum(double& value, double candidate) {
    if (candidate != kEmpty && candidate < value) value = candidate;
}

void AddIfPositive(double& value, double addend) {
    if (addend > 0) value += addend;
}

double AverageOf(double sum, double count) {
    return count > 0 ? sum / count : kEmpty;
}

/// The sum of two values of which either may be missing.
double SumOrOther(double value, double other) {
    if (value < 0) return other;
    return other >= 0 ? value + other : value;
}

/// The values of a point that `operator&` and `operator/` change, in their order. The setters of
/// the averages end the process for a value that breaks the rule.
struct Field {
    double (CKZStatPoint::*get)() const;
    void (CKZStatPoint::*set)(double);
};

constexpr Field kFieldsButTime[] = {
    {&CKZStatPoint::GetMin, &CKZStatPoint::SetMin},
    {&CKZStatPoint::GetMax, &CKZStatPoint::SetMax},
    {&CKZStatPoint::GetCount, &CKZStatPoint::SetCount},
    {&CKZStatPoint::GetSum, &CKZStatPoint::SetSum},
    {&CKZStatPoint::GetSTDev, &CKZStatPoint::SetSTDev},
    {&CKZStatPoint::GetAverage, &CKZStatPoint::SetAverage},
    {&CKZStatPoint::GetLastMin, &CKZStatPoint::SetLastMin},
    {&CKZStatPoint::GetLastMax, &CKZStatPoint::SetLastMax},
    {&CKZStatPoint::GetLastCount, &CKZStatPoint::SetLastCount},
    {&CKZStatPoint::GetLastSum, &CKZStatPoint::SetLastSum},
    {&CKZStatPoint::GetLastSTDev, &CKZStatPoint::SetLastSTDev},
    {&CKZStatPoint::GetLastAverage, &CKZStatPoint::SetLastAverage},
};

constexpr MeasurementArrayItem Filled(double value) {
    return {value, value, value, value, value, value, value,
            value, value, value, value, value, value};
}

}  // namespace

// ------------------------------------------------------------------------------- the point

CKZStatPoint::CKZStatPoint() : m_values(Filled(kEmpty)) {}
CKZStatPoint::CKZStatPoint(MeasurementArrayItem item) : m_values(item) {}
CKZStatPoint::CKZStatPoint(const CKZStatPoint& other) = default;
CKZStatPoint& CKZStatPoint::operator=(const CKZStatPoint& other) = default;
CKZStatPoint::~CKZStatPoint() = default;

const char* CKZStatPoint::nameOf() const {
    return "CKZStatPoint";
}

void CKZStatPoint::SetEmpty() {
    m_values = Filled(kEmpty);
}
void CKZStatPoint::SetToZero() {
    m_values = Filled(0);
}

void CKZStatPoint::SetAverage(double average) {
    m_values.average = average;
    assert((average >= 0 || average == -1) && !std::isinf(average) && !std::isnan(average));
}

void CKZStatPoint::SetLastAverage(double lastAverage) {
    m_values.lastAverage = lastAverage;
    // Without the clauses against infinity and NaN: an infinite last average passes. This is meant.
    assert(lastAverage >= 0 || lastAverage == -1);
}

double CKZStatPoint::GetValueByType(StatisticsDataType type) {
    switch (type) {
        case StatMin:
            return GetMin();
        case StatMax:
            return GetMax();
        case StatCount:
            return GetCount();
        case StatSum:
            return GetSum();
        case StatAverage:
            return GetAverage();
        case StatSTDev:
            return GetSTDev();
        case StatLastMin:
            return GetLastMin();
        case StatLastMax:
            return GetLastMax();
        case StatLastCount:
            return GetLastCount();
        case StatLastSum:
            return GetLastSum();
        case StatLastAverage:
            return GetLastAverage();
        case StatLastSTDev:
            return GetLastSTDev();
        case StatCurrentValue:
            return GetCurrentValue();
    }
    return kEmpty;
}

void CKZStatPoint::AddValues(MeasurementArrayItem item) {
    MeasurementArrayItem& own = m_values;
    if (own.time == kEmpty) {
        own = item;
        return;
    }
    TakeMinimum(own.min, item.min);
    TakeIfAbove(own.max, item.max);
    AddIfPositive(own.sum, item.sum);
    AddIfPositive(own.stdev, item.stdev);
    AddIfPositive(own.count, item.count);
    own.average = AverageOf(own.sum, own.count);

    TakeLastMinimum(own.lastMin, item.lastMin);
    TakeIfAbove(own.lastMax, item.lastMax);
    AddIfPositive(own.lastSum, item.lastSum);
    AddIfPositive(own.lastStdev, item.lastStdev);
    AddIfPositive(own.lastCount, item.lastCount);
    own.lastAverage = AverageOf(own.lastSum, own.lastCount);
}

CKZStatPoint& CKZStatPoint::operator+(const CKZStatPoint& other) {
    if (other.GetTime() == kEmpty)
        assert(0 && "Attempting to add an invalid CKZStatPoint with time == -1");
    // An empty point becomes the other one and is then merged with it all the same, so that its
    // counts and sums come out doubled. This is meant.
    if (GetTime() == kEmpty) *this = other;
    MergeTotals(other);
    MergeLasts(other);
    CheckLasts();
    return *this;
}

void CKZStatPoint::MergeTotals(const CKZStatPoint& other) {
    // Unlike AddValues, a minimum of 0 is passed over and an empty one is not filled. This is
    // meant.
    if (other.GetMin() > 0 && GetMin() > other.GetMin()) SetMin(other.GetMin());
    if (other.GetMax() > GetMax()) SetMax(other.GetMax());
    SetCount(SumOrOther(GetCount(), other.GetCount()));
    SetSum(SumOrOther(GetSum(), other.GetSum()));
    SetSTDev(SumOrOther(GetSTDev(), other.GetSTDev()));
    SetAverage(AverageOf(GetSum(), GetCount()));
}

void CKZStatPoint::MergeLasts(const CKZStatPoint& other) {
    if (other.GetLastMin() == kEmpty && other.GetLastMax() == kEmpty) return;
    if (GetLastMin() == kEmpty && GetLastMax() == kEmpty) {
        SetLastMin(other.GetLastMin());
        SetLastMax(other.GetLastMax());
        SetLastCount(other.GetLastCount());
        SetLastSum(other.GetLastSum());
        SetLastSTDev(other.GetLastSTDev());
        SetLastAverage(other.GetLastAverage());
        return;
    }
    if (GetLastMin() == kEmpty || GetLastMin() > other.GetLastMin()) SetLastMin(other.GetLastMin());
    if (GetLastMax() == kEmpty || other.GetLastMax() > GetLastMax()) SetLastMax(other.GetLastMax());
    SetLastCount(GetLastCount() + other.GetLastCount());
    SetLastSum(GetLastSum() + other.GetLastSum());
    SetLastSTDev(GetLastSTDev() + other.GetLastSTDev());
    SetLastAverage(GetLastSum() / GetLastCount());
}

void CKZStatPoint::CheckLasts() const {
    const bool hasMinimum = GetLastMin() != kEmpty;
    const bool hasMaximum = GetLastMax() != kEmpty;
    const char* fault = nullptr;
    if (!hasMinimum && GetLastMax() > 0) {
        fault = "Assertion failed: last_min == -1 && last_max > 0";
    } else if (!hasMinimum && GetLastCount() > 0) {
        fault = "Assertion failed: last_count > 0 && last_min == -1";
    } else if (hasMinimum && GetLastMin() > 0 && !hasMaximum) {
        fault = "Assertion failed: last_min > 0 && last_max == -1";
    } else if (hasMinimum && GetLastCount() > 0 && !hasMaximum) {
        fault = "Assertion failed: last_count > 0 && last_max == -1";
    }
    if (fault == nullptr) return;
    KZ_LOG_ERROR(fault, " | last_min: ", GetLastMin(), " | last_max: ", GetLastMax(),
                 " | last_count: ", GetLastCount());
    assert(0);
}

CKZStatPoint& CKZStatPoint::operator&(const CKZStatPoint& other) {
    if (other.GetTime() == kEmpty) return *this;
    for (const Field& field : kFieldsButTime)
        (this->*field.set)((this->*field.get)() + (other.*field.get)());
    return *this;
}

CKZStatPoint& CKZStatPoint::operator/(int n) {
    if (n == 0) return *this;
    for (const Field& field : kFieldsButTime) (this->*field.set)((this->*field.get)() / n);
    return *this;
}

bool CKZStatPoint::isEqual(const RWCollectable* other) const {
    const auto& point = *static_cast<const CKZStatPoint*>(other);
    if (std::strcmp(nameOf(), point.nameOf()) != 0) return false;
    const MeasurementArrayItem& a = m_values;
    const MeasurementArrayItem& b = point.m_values;
    return a.min == b.min && a.max == b.max && a.count == b.count && a.sum == b.sum &&
           a.average == b.average && a.lastMin == b.lastMin && a.lastMax == b.lastMax &&
           a.lastCount == b.lastCount && a.lastSum == b.lastSum && a.lastAverage == b.lastAverage;
}

int CKZStatPoint::compareTo(const RWCollectable* other) const {
    if (isEqual(other)) return 0;
    return static_cast<const CKZStatPoint*>(other)->GetTime() > GetTime() ? -1 : 1;
}

unsigned CKZStatPoint::hash() const {
    return RWCollectableInt(RyPTruncate<int>(m_values.time)).hash();
}

// ------------------------------------------------------------------------------- the kinds

template <class Kind>
CKZStatPoint* CKZStatPointOf<Kind>::Clone() {
    return new Kind(GetValues());
}

template <class Kind>
CKZStatPoint* CKZStatPointOf<Kind>::CloneFakeForTotal(double time) {
    constexpr FakeForTotal fake = kFacts<Kind>.fake;
    if (fake == FakeForTotal::None || GetTime() >= time) return nullptr;
    auto clone = std::make_unique<Kind>();
    clone->SetTime(time);
    clone->SetMin(GetMin());
    if (fake == FakeForTotal::LastMinimum) {
        clone->SetLastMin(GetLastMin());  // in place of the maximum, which stays empty: meant
    } else {
        clone->SetMax(GetMax());
    }
    clone->SetSum(GetSum());
    clone->SetCount(GetCount());
    return clone.release();
}

template <class Kind>
double CKZStatPointOf<Kind>::GetCurrentValue() {
    return KindOf<Kind>().CurrentValueIndex() == StatLastSum ? GetLastSum() : GetLastAverage();
}

template <class Kind>
StatisticsDataType CKZStatPointOf<Kind>::GetCurrentValueIndex() {
    return KindOf<Kind>().CurrentValueIndex();
}

template <class Kind>
int CKZStatPointOf<Kind>::GetMask() {
    return KindOf<Kind>().mask;
}

template <class Kind>
void CKZStatPointOf<Kind>::GetType(PointType& type) {
    type = kFacts<Kind>.type;
}

template <class Kind>
CKZStatPoint::PointType CKZStatPointOf<Kind>::GetType() {
    return kFacts<Kind>.type;
}

template <class Kind>
const char* CKZStatPointOf<Kind>::nameOf() const {
    return kFacts<Kind>.name;
}

template class CKZStatPointOf<CKZStatPointMeasurement>;
template class CKZStatPointOf<CKZStatPointTimer>;
template class CKZStatPointOf<CKZStatPointCounter>;
template class CKZStatPointOf<CKZStatPointAccumulator>;
template class CKZStatPointOf<CKZStatPointLoadSize>;
template class CKZStatPointOf<CKZStatPointTransactionCounter>;
template class CKZStatPointOf<CKZStatPointTransactionTimer>;
template class CKZStatPointOf<CKZStatPointTransactionReasonCounter>;
template class CKZStatPointOf<CKZStatPointMeasurementPerSec>;
template class CKZStatPointOf<CKZStatPointCounterPerSec>;
template class CKZStatPointOf<CKZStatPointPerfMon>;
template class CKZStatPointOf<CKZStatPointAccumulatorPerSec>;

CKZStatPointMeasurement::~CKZStatPointMeasurement() = default;
CKZStatPointTimer::~CKZStatPointTimer() = default;
CKZStatPointCounter::~CKZStatPointCounter() = default;
CKZStatPointAccumulator::~CKZStatPointAccumulator() = default;
CKZStatPointLoadSize::~CKZStatPointLoadSize() = default;
CKZStatPointTransactionCounter::~CKZStatPointTransactionCounter() = default;
CKZStatPointTransactionTimer::~CKZStatPointTransactionTimer() = default;
CKZStatPointTransactionReasonCounter::~CKZStatPointTransactionReasonCounter() = default;
CKZStatPointMeasurementPerSec::~CKZStatPointMeasurementPerSec() = default;
CKZStatPointCounterPerSec::~CKZStatPointCounterPerSec() = default;
CKZStatPointPerfMon::~CKZStatPointPerfMon() = default;
CKZStatPointAccumulatorPerSec::~CKZStatPointAccumulatorPerSec() = default;

// -------------------------------------------------------------------------- the load size

CKZStatPoint& CKZStatPointLoadSize::operator+(const CKZStatPoint& other) {
    return CKZStatPoint::operator+(other);
}

CKZStatPoint* CKZStatPointLoadSize::CloneFakeForTotal(double time) {
    if (GetTime() >= time) return nullptr;
    KZ_TRACE(" Clone Fake point for Total LoadSize time = %d ", RyPTruncate<int>(time));
    auto clone = std::make_unique<CKZStatPointLoadSize>();
    clone->SetTime(time);
    clone->SetMin(GetMin());
    clone->SetMax(GetMax());
    clone->SetSum(GetSum() * GetTime() / time);
    return clone.release();
}

void CKZStatPointLoadSize::AddValues(MeasurementArrayItem item) {
    MeasurementArrayItem& own = Values();
    if (own.time == kEmpty) {
        own = item;
        return;
    }
    TakeMinimum(own.min, item.min);
    TakeIfAbove(own.max, item.max);
    own.sum += item.sum;
    own.count += item.count;
    own.average = own.sum;  // a level has no samples to divide by: the slot carries the sum

    TakeLastMinimum(own.lastMin, item.lastMin);
    TakeIfAbove(own.lastMax, item.lastMax);
    own.lastSum += item.lastSum;
    own.lastCount += item.lastCount;
    own.lastAverage = own.lastSum;
}

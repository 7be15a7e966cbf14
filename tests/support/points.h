#ifndef KZ_TESTS_POINTS_H
#define KZ_TESTS_POINTS_H

#include <iterator>
#include <memory>
#include <ostream>
#include <typeinfo>

#include "kzstatpoint.h"

// --------------------------------------------------------------------------------- records

/// The two halves of a record. What is not named is empty.
struct PointTotals {
    double min = -1, max = -1, count = -1, sum = -1, average = -1, stdev = -1;
};
struct PointLasts {
    double min = -1, max = -1, count = -1, sum = -1, average = -1, stdev = -1;
};

constexpr MeasurementArrayItem RecordOf(double time, const PointTotals& totals,
                                        const PointLasts& lasts = {}) {
    return {time,           totals.min,    totals.max, totals.count, totals.sum,
            totals.average, totals.stdev,  lasts.min,  lasts.max,    lasts.count,
            lasts.sum,      lasts.average, lasts.stdev};
}

constexpr MeasurementArrayItem FilledRecord(double value) {
    return {value, value, value, value, value, value, value,
            value, value, value, value, value, value};
}

inline constexpr MeasurementArrayItem kEmptyRecord = FilledRecord(-1);
/// Every value another one.
inline constexpr MeasurementArrayItem kNumberedRecord = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13};

/// As a run of eight values leaves it, four of them in the latest slice.
inline constexpr MeasurementArrayItem kFullRecord =
    RecordOf(10, {.min = 2, .max = 9, .count = 8, .sum = 40, .average = 5, .stdev = 1.5},
             {.min = 3, .max = 7, .count = 4, .sum = 18, .average = 4.5, .stdev = 0.5});
/// Two further values, and what they make of the full record as further samples. Averages that fit
/// nothing show that nobody reads them.
inline constexpr MeasurementArrayItem kFurtherRecord =
    RecordOf(20, {.min = 1, .max = 12, .count = 2, .sum = 10, .average = 77, .stdev = 0.25},
             {.min = 2, .max = 8, .count = 1, .sum = 7, .average = 88, .stdev = 0.125});
inline constexpr MeasurementArrayItem kFullAndFurther =
    RecordOf(10, {.min = 1, .max = 12, .count = 10, .sum = 50, .average = 5, .stdev = 1.75},
             {.min = 2, .max = 8, .count = 5, .sum = 25, .average = 5, .stdev = 0.625});

/// One value of a record by its name.
struct PointField {
    const char* name;
    double MeasurementArrayItem::*value;
};

/// In the order of the record.
inline constexpr PointField kPointFields[] = {
    {"time", &MeasurementArrayItem::time},
    {"min", &MeasurementArrayItem::min},
    {"max", &MeasurementArrayItem::max},
    {"count", &MeasurementArrayItem::count},
    {"sum", &MeasurementArrayItem::sum},
    {"average", &MeasurementArrayItem::average},
    {"stdev", &MeasurementArrayItem::stdev},
    {"lastMin", &MeasurementArrayItem::lastMin},
    {"lastMax", &MeasurementArrayItem::lastMax},
    {"lastCount", &MeasurementArrayItem::lastCount},
    {"lastSum", &MeasurementArrayItem::lastSum},
    {"lastAverage", &MeasurementArrayItem::lastAverage},
    {"lastStdev", &MeasurementArrayItem::lastStdev},
};

/// `record` with one value replaced.
constexpr MeasurementArrayItem With(MeasurementArrayItem record,
                                    double MeasurementArrayItem::*field, double value) {
    record.*field = value;
    return record;
}

inline bool operator==(const MeasurementArrayItem& a, const MeasurementArrayItem& b) {
    for (const PointField& field : kPointFields)
        if (a.*field.value != b.*field.value) return false;
    return true;
}

/// Shows the values by their names, so that a failed expectation tells which one differs.
inline std::ostream& operator<<(std::ostream& out, const MeasurementArrayItem& record) {
    for (const PointField& field : kPointFields)
        out << (&field == kPointFields ? "" : " ") << field.name << '=' << record.*field.value;
    return out;
}

// ----------------------------------------------------------------------------------- kinds

using PointOwner = std::unique_ptr<CKZStatPoint>;

/// Which values a point's stand-in for its totals at a later time takes over.
enum class FakePoint { Range, LastMinimum, LoadSize, None };

/// What is known of one kind, and its constructors.
struct PointKind {
    const char* name;
    CKZStatPoint::PointType type;
    int mask;
    StatisticsDataType current;
    FakePoint fake;
    const std::type_info* classInfo;
    PointOwner (*makeEmpty)();
    PointOwner (*make)(const MeasurementArrayItem& record);
    PointOwner (*convert)(const CKZStatPoint& other);
};

template <class Kind>
PointKind PointKindOf(const char* name, CKZStatPoint::PointType type, int mask,
                      StatisticsDataType current, FakePoint fake) {
    return {name,
            type,
            mask,
            current,
            fake,
            &typeid(Kind),
            []() -> PointOwner { return std::make_unique<Kind>(); },
            [](const MeasurementArrayItem& record) -> PointOwner {
                return std::make_unique<Kind>(record);
            },
            [](const CKZStatPoint& other) -> PointOwner { return std::make_unique<Kind>(other); }};
}

// clang-format off
inline const PointKind kPointKinds[] = {
    PointKindOf<CKZStatPointMeasurement>(
        "CKZStatPointMeasurement", CKZStatPointTypeEnum::Measurement, 1043, StatLastAverage, FakePoint::Range),
    PointKindOf<CKZStatPointTimer>(
        "CKZStatPointTimer", CKZStatPointTypeEnum::Timer, 1047, StatLastAverage, FakePoint::Range),
    PointKindOf<CKZStatPointCounter>(
        "CKZStatPointCounter", CKZStatPointTypeEnum::Counter, 539, StatLastSum, FakePoint::Range),
    PointKindOf<CKZStatPointAccumulator>(
        "CKZStatPointAccumulator", CKZStatPointTypeEnum::Accumulator, 539, StatLastSum, FakePoint::LastMinimum),
    PointKindOf<CKZStatPointLoadSize>(
        "CKZStatPointLoadSize", CKZStatPointTypeEnum::LoadSize, 531, StatLastSum, FakePoint::LoadSize),
    PointKindOf<CKZStatPointTransactionCounter>(
        "CKZStatPointTransactionCounter", CKZStatPointTypeEnum::TransactionCounter, 539, StatLastSum, FakePoint::LastMinimum),
    PointKindOf<CKZStatPointTransactionTimer>(
        "CKZStatPointTransactionTimer", CKZStatPointTypeEnum::TransactionTimer, 1047, StatLastAverage, FakePoint::LastMinimum),
    PointKindOf<CKZStatPointTransactionReasonCounter>(
        "CKZStatPointTransactionReasonCounter", CKZStatPointTypeEnum::TransactionReasonCounter, 539, StatLastSum, FakePoint::LastMinimum),
    PointKindOf<CKZStatPointMeasurementPerSec>(
        "CKZStatPointMeasurementPerSec", CKZStatPointTypeEnum::MeasurementPerSec, 1043, StatLastAverage, FakePoint::None),
    PointKindOf<CKZStatPointCounterPerSec>(
        "CKZStatPointCounterPerSec", CKZStatPointTypeEnum::CounterPerSec, 531, StatLastSum, FakePoint::None),
    PointKindOf<CKZStatPointPerfMon>(
        "CKZStatPointPerfMon", CKZStatPointTypeEnum::NTPerformance, 1043, StatLastAverage, FakePoint::None),
    PointKindOf<CKZStatPointAccumulatorPerSec>(
        "CKZStatPointAccumulatorPerSec", CKZStatPointTypeEnum::AccumulatorPerSec, 531, StatLastSum, FakePoint::None),
};
// clang-format on
static_assert(std::size(kPointKinds) == 12);

/// Names the tests of the kind.
inline std::ostream& operator<<(std::ostream& out, const PointKind& kind) {
    return out << kind.name;
}

#endif

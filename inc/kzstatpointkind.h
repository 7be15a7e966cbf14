#ifndef KZSTATPOINTKIND_H
#define KZSTATPOINTKIND_H

#include <array>

#include "kzstat_export.h"
#include "kzstataggregate.h"
#include "kzstatpoint.h"
#include "kzstatpointtypeenum.h"

/// What a point type means: the one table for all code that shows, merges or draws statistics.
/// Constant, and so safe for concurrent use.
struct KZSTAT_EXPORT CKZStatPointKind {
    /// How the values of a slice become the value of the slice.
    enum Reading {
        Sampled,  ///< by their average: each value is a sample
        AddedUp,  ///< by their sum: a number of events or an amount
        Level     ///< by their sum, one value per generator: a state
    };

    /// What is counted per second.
    enum Rate {
        NoRate,
        RateOfValues,  ///< the number of values
        RateOfSums     ///< the sum of the values
    };

    CKZStatPointTypeEnum::PointType type;
    const char* name;  ///< "Timer": what `CKZStatPointTypeEnum::GetStringFromEnumType` returns
    const char* unit;  ///< of the values; empty if the host decides
    bool isDuration;   ///< the unit is a unit of time
    Reading reading;
    Rate rate;
    int mask;  ///< the meaningful statistics: bit k for the one numbered k in `StatisticsDataType`

    /// Which statistic is the value of a slice: `StatLastAverage` or `StatLastSum`.
    StatisticsDataType CurrentValueIndex() const {
        return reading == Sampled ? StatLastAverage : StatLastSum;
    }

    /// The amount in a span of time, for a rate or a chart: the count or the sum of the aggregate;
    /// for a level the level itself, and NaN for kinds without a rate.
    double Flow(const CKZStatAggregate& aggregate) const;

    /// The kind of `type`; null if it is not one of the twelve types.
    static const CKZStatPointKind* Find(CKZStatPointTypeEnum::PointType type);
    /// All twelve, in the order of their types.
    static const std::array<CKZStatPointKind, 12>& All();
};

#endif

#ifndef KZSTATPOINTKIND_H
#define KZSTATPOINTKIND_H

#include <array>

#include "kzstat_export.h"
#include "kzstataggregate.h"
#include "kzstatpoint.h"
#include "kzstatpointtypeenum.h"

/// What a point type means: the one table that all ask who show, merge or draw statistics.
/// Constant, and so safe for concurrent use.
struct KZSTAT_EXPORT CKZStatPointKind {
    /// How the values of a slice become the value of the slice.
    enum Reading {
        Sampled,  ///< by their average: each value says something of its own, and values spread
        AddedUp,  ///< by their sum: how often, how much
        Level     ///< by their sum, one value per generator: the state of the moment
    };

    /// What is counted per second.
    enum Rate {
        NoRate,
        RateOfValues,  ///< the values: how often something took its time
        RateOfSums     ///< their sum
    };

    CKZStatPointTypeEnum::PointType type;
    const char* name;  ///< "Timer": what `CKZStatPointTypeEnum::GetStringFromEnumType` answers
    const char* unit;  ///< of the values; empty where it is up to the host
    bool isDuration;   ///< the unit is one of time
    Reading reading;
    Rate rate;
    int mask;  ///< the meaningful statistics: bit k for the one numbered k in `StatisticsDataType`

    /// Which statistic is the value of a slice: `StatLastAverage` or `StatLastSum`.
    StatisticsDataType CurrentValueIndex() const {
        return reading == Sampled ? StatLastAverage : StatLastSum;
    }

    /// What went through in a span of time, for a rate or a chart: the count or the sum of the
    /// aggregate; of a level the level itself, and NaN where nothing is counted.
    double Flow(const CKZStatAggregate& aggregate) const;

    /// The kind of `type`; null for `NotSet` and whatever is not one of the twelve types.
    static const CKZStatPointKind* Find(CKZStatPointTypeEnum::PointType type);
    /// All twelve, in the order of their types.
    static const std::array<CKZStatPointKind, 12>& All();
};

#endif

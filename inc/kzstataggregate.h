#ifndef KZSTATAGGREGATE_H
#define KZSTATAGGREGATE_H

#include "kzstat_export.h"

/// A standard deviation, and how far rounding may have moved it from that of the values themselves.
struct CKZStatDeviation {
    double value;  ///< -1 where there are no values
    double error;
};

/// What is kept of a number of values: of one name in one slice, in a run, or of many together.
///
/// Whether there are values is told by the count alone, never by a mark, so that every double may
/// be a value: negative ones, -1, zero, infinities, NaN. Minimum and maximum mean nothing without
/// values; those that `Add` leaves hold -1 then. A measurement of the generator goes by that mark
/// instead, and the aggregates that come from one inherit what follows: its minimum or maximum may
/// have lost a value of exactly -1, its maximum is -1 where all values lie below, and a NaN that
/// came first stays.
///
/// Compatible: one thread at a time per object.
struct KZSTAT_EXPORT CKZStatAggregate {
    double minimum = -1;
    double maximum = -1;
    double count = 0;  ///< a whole number, exact up to 2^53
    double sum = 0;
    double sumSqr = 0;  ///< of the squares of the values

    bool HasValues() const { return count > 0; }

    /// sum / count; -1 where there are no values.
    double Average() const { return HasValues() ? sum / count : -1; }

    /// sqrt(max(0, sumSqr / count - (sum / count)^2)), computed in extended precision, so that the
    /// formula adds nothing to the error of its terms. Where the values lie close together far from
    /// 0 the terms nearly cancel out; the error says what is left of the truth then, and is
    /// infinite where a term overflows. It covers the additions by which the sums were made of that
    /// many values, in any order. It covers neither sums from elsewhere (`SetValues`, a message of
    /// three decimals) nor values that were taken away again by a negative count.
    CKZStatDeviation Deviation() const;

    /// Takes one more value. A NaN counts and makes the sums NaN; minimum and maximum pass it over
    /// as long as there is any other value.
    void Add(double value);

    /// Takes the values of `other`: its count, sum and sum of squares are added, which rounds as
    /// additions of doubles do, and so depends on their order. Nothing changes where the count of
    /// `other` is 0. A negative count takes values away and knows nothing of minimum and maximum:
    /// these stay while there are values.
    void Add(const CKZStatAggregate& other);
};

#endif

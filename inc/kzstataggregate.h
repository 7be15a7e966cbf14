#ifndef KZSTATAGGREGATE_H
#define KZSTATAGGREGATE_H

#include "kzstat_export.h"

/// A standard deviation, and a bound of its error by rounding.
struct CKZStatDeviation {
    double value;  ///< -1 if there are no values
    double error;
};

/// The aggregate of any number of values: of one name in a slice or a run, or of several names.
///
/// An aggregate is empty if its count is 0, so every double may be a value: -1, other negative
/// numbers, infinities and NaN. Minimum and maximum of an empty aggregate mean nothing; `Add`
/// leaves them at -1. A measurement of the generator takes -1 in minimum and maximum for "empty"
/// instead, so an aggregate that comes from one may have lost a value of exactly -1 there; its
/// maximum is -1 if all values are below, and a NaN that came first stays.
///
/// Compatible: one thread at a time per object.
struct KZSTAT_EXPORT CKZStatAggregate {
    double minimum = -1;
    double maximum = -1;
    double count = 0;  ///< a whole number, exact up to 2^53
    double sum = 0;
    double sumSqr = 0;  ///< of the squares of the values

    bool HasValues() const { return count > 0; }

    /// sum / count; -1 if there are no values.
    double Average() const { return HasValues() ? sum / count : -1; }

    /// sqrt(max(0, sumSqr / count - (sum / count)^2)), computed in extended precision, so that the
    /// formula adds nothing to the error of its terms. If the values lie close together and far
    /// from 0, the terms nearly cancel out; the error is then large, and infinite if a term
    /// overflows. It covers the additions that made the sums from that many values, in any order.
    /// It covers neither sums from elsewhere (`SetValues`, a message of three decimals) nor values
    /// that a negative count took away.
    CKZStatDeviation Deviation() const;

    /// Adds one value. A NaN counts and makes the sums NaN; minimum and maximum ignore it if there
    /// is any other value.
    void Add(double value);

    /// Adds the count, sum and sum of squares of `other`, which rounds as additions of doubles do
    /// and so depends on their order. Does nothing if the count of `other` is 0. A negative count
    /// takes values away; minimum and maximum stay as long as there are values.
    void Add(const CKZStatAggregate& other);
};

#endif

#ifndef KZSTATGENMEASUREMENT_H
#define KZSTATGENMEASUREMENT_H

#include <cstddef>
#include <cstdint>

#include "kzstat_export.h"
#include "kzstataggregate.h"
#include "kzstatpointtypeenum.h"
#include "rw/collect.h"

class RWCString;

/// The situation in which one measurement is added into another. Both add in the same way.
enum AddType : int {
    AddForDump = 0,   ///< a slice merges its dictionaries into the one that it dumps
    AddFromSlice = 1  ///< a slice adds the dictionaries of another into its own
};

/// The aggregate of all values that were reported under one name: the totals, which cover the
/// measurement's life, and the lasts, which cover the time since they were last reset.
///
/// An empty minimum or maximum holds -1. A value of exactly -1 is taken for empty too: the next
/// value replaces it. Counts are whole numbers held in doubles.
///
/// The caller holds the dictionary's lock, or is the only thread that uses it.
class KZSTAT_EXPORT CKZStatGenMeasurement : public RWCollectable {
public:
    using PointType = CKZStatPointTypeEnum::PointType;

    /// An empty measurement of `type`. The type does not affect aggregation.
    explicit CKZStatGenMeasurement(PointType type);
    ~CKZStatGenMeasurement() override;
    CKZStatGenMeasurement(const CKZStatGenMeasurement& other);
    CKZStatGenMeasurement& operator=(const CKZStatGenMeasurement& other);

    /// Empties totals and lasts; the type stays.
    void Reset();
    /// Empties the lasts.
    void ResetLasts();
    /// True when the lasts are empty: minimum and maximum -1, count, sum and sum of squares 0.
    bool IsResetLasts();

    /// Records one value in totals and lasts. Any double is accepted.
    void AddLast(double value);

    /// Adds aggregates. Does nothing if `count` is 0, even if `lastsCount` is not; the lasts stay
    /// if `lastsCount` is 0. An empty maximum takes only a maximum above -1.
    void AddValues(double minimum, double maximum, int count, double sum, double sumSqr,
                   double lastsMinimum, double lastsMaximum, int lastsCount, double lastsSum,
                   double lastsSumSqr, AddType addType);
    /// The same with the aggregates of `source`, whose counts may exceed an int.
    void AddValues(const CKZStatGenMeasurement& source, AddType addType);

    /// Overwrites aggregates and type.
    void SetValues(double minimum, double maximum, int count, double sum, double sumSqr,
                   double lastsMinimum, double lastsMaximum, int lastsCount, double lastsSum,
                   double lastsSumSqr, PointType type);

    /// Appends the record of this measurement to `out`: name, type, then minimum, maximum, count,
    /// sum, sum of squares and average of the totals and the same of the lasts. Each field ends
    /// with the byte 0x01. Doubles have three decimals, counts none; average = sum / count, or -1
    /// if the count is 0. `name` is not escaped. REQUIRES: `name` is not null.
    void AppendDump(RWCString& out, const char* name);

    /// Appends the lasts record: name, type, then minimum, maximum, count, sum and sum of squares
    /// of the lasts. It has no average. REQUIRES: `name` is not null.
    void DumpLasts(RWCString& out, const char* name);

    /// The type under which the name was first reported, or that of the last `SetValues`.
    PointType GetType() const { return m_type; }
    /// What was recorded since construction or `Reset`. The reference sees later changes.
    const CKZStatAggregate& GetTotals() const { return m_totals; }
    /// What was recorded since the lasts were reset. The reference sees later changes.
    const CKZStatAggregate& GetLasts() const { return m_lasts; }

    /// Writes two lines to standard output, for debugging.
    void Print();

protected:
    static constexpr unsigned kNameLengthBits = 9;
    /// More than any name has that is reported.
    static constexpr std::size_t kMaxNameLength = (std::size_t{1} << kNameLengthBits) - 1;

    /// One behind which its dictionary puts a name of so many bytes, of which only as many as
    /// `kMaxNameLength` are told.
    CKZStatGenMeasurement(PointType type, std::size_t nameLength);
    std::size_t NameLength() const { return m_nameLength; }

private:
    friend class CKZStatGenDistributions;
    friend class CKZStatGenDistributionNames;
    friend class CKZStatGenDistributionTable;
    friend class CKZStatGenKnownDistributions;
    friend class CKZStatGenMeasurementDictionary;

    /// Of the name, where the generator collects the distribution of its values.
    using DistributionNumber = std::uint32_t;
    static constexpr unsigned kDistributionBits = 21;
    static constexpr DistributionNumber kNoDistribution =
        (DistributionNumber{1} << kDistributionBits) - 1;
    static constexpr DistributionNumber kRefusedDistribution = kNoDistribution - 1;

    static constexpr double kEmpty = -1;

    static void TakeValue(CKZStatAggregate& aggregate, double value);
    static void TakeAggregate(CKZStatAggregate& aggregate, const CKZStatAggregate& other);

    void NoteOwnChange();
    void TakeMarks(const CKZStatGenMeasurement& added);
    void NoteUncollected(const CKZStatGenMeasurement& added);
    void Empty();
    void EmptyLasts();
    bool HasEmptyLasts() const;
    void TakeValue(double value);
    void TraceValue(double value) const;
    void TakeAggregates(const CKZStatAggregate& totals, const CKZStatAggregate& lasts);
    void AddAggregates(const CKZStatAggregate& totals, const CKZStatAggregate& lasts);
    void AddAggregates(const CKZStatGenMeasurement& added, bool isTracing);
    void TraceAddition(double sum, double sumSqr, bool isAdded) const;
    void TraceTotals(const char* occasion) const;

    double m_stddev;         // set by Reset only: nobody computes it
    double m_reservedTotal;  // set by Reset only
    double m_reservedLasts;  // set by Reset and ResetLasts only
    PointType m_type;
    // In four bytes together, since there is a measurement for each client and name.
    DistributionNumber m_distribution : kDistributionBits;
    const std::uint32_t m_nameLength : kNameLengthBits;  // of the name behind this object, or 0
    bool m_isChanged : 1;  // by a public operation, which the dictionary does not see
    // By such an operation, here or in what was added: the distribution does not tell the same.
    bool m_isAltered : 1;
    // Side by side: every value changes both. Last: a dictionary puts the name behind them.
    CKZStatAggregate m_totals;
    CKZStatAggregate m_lasts;
};

/// Takes -1 for empty, unlike `CKZStatAggregate::Add`, which tests the count.
inline void CKZStatGenMeasurement::TakeValue(CKZStatAggregate& aggregate, double value) {
    if (aggregate.minimum > value || aggregate.minimum == kEmpty) aggregate.minimum = value;
    if (value > aggregate.maximum || aggregate.maximum == kEmpty) aggregate.maximum = value;
    aggregate.count += 1;
    aggregate.sum += value;
    aggregate.sumSqr += value * value;
}

inline void CKZStatGenMeasurement::TakeValue(double value) {
    TakeValue(m_totals, value);
    TakeValue(m_lasts, value);
}

inline void CKZStatGenMeasurement::TakeAggregate(CKZStatAggregate& aggregate,
                                                 const CKZStatAggregate& other) {
    if (aggregate.minimum > other.minimum || aggregate.minimum == kEmpty)
        aggregate.minimum = other.minimum;
    // Unlike a single value, an aggregate below the empty mark does not fill an empty maximum.
    if (other.maximum > aggregate.maximum) aggregate.maximum = other.maximum;
    aggregate.count += other.count;
    aggregate.sum += other.sum;
    aggregate.sumSqr += other.sumSqr;
}

inline void CKZStatGenMeasurement::EmptyLasts() {
    m_lasts = {};
    m_reservedLasts = kEmpty;
}

inline bool CKZStatGenMeasurement::HasEmptyLasts() const {
    return m_lasts.minimum == kEmpty && m_lasts.maximum == kEmpty && m_lasts.count == 0 &&
           m_lasts.sum == 0 && m_lasts.sumSqr == 0;
}

/// Stores only what changes: a read of the number soon after a store into the same word waits.
inline void CKZStatGenMeasurement::TakeMarks(const CKZStatGenMeasurement& added) {
    if (added.m_isAltered) m_isAltered = true;
    // The marks for none come behind all numbers.
    if (added.m_distribution < m_distribution) m_distribution = added.m_distribution;
}

/// Without the number, which another generator may have given.
inline void CKZStatGenMeasurement::NoteUncollected(const CKZStatGenMeasurement& added) {
    if (added.m_totals.count != 0 && !m_isAltered) m_isAltered = true;
}

inline void CKZStatGenMeasurement::TakeAggregates(const CKZStatAggregate& totals,
                                                  const CKZStatAggregate& lasts) {
    if (totals.count == 0) return;
    TakeAggregate(m_totals, totals);
    if (lasts.count != 0) TakeAggregate(m_lasts, lasts);
}

/// `isTracing` is asked for once for many of them.
inline void CKZStatGenMeasurement::AddAggregates(const CKZStatGenMeasurement& added,
                                                 bool isTracing) {
    if (isTracing)
        AddAggregates(added.m_totals, added.m_lasts);
    else
        TakeAggregates(added.m_totals, added.m_lasts);
}

#endif

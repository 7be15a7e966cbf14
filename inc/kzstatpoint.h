#ifndef KZSTATPOINT_H
#define KZSTATPOINT_H

#include "kzstat_export.h"
#include "kzstatpointtypeenum.h"
#include "rw/collect.h"

/// The thirteen statistics of one name at one moment. -1 stands for "no value" in each; a record
/// whose time is -1 is empty. Compatible.
struct MeasurementArrayItem {
    double time;     ///< the moment, in seconds
    double min;      ///< smallest value of the run
    double max;      ///< largest value of the run
    double count;    ///< number of values of the run
    double sum;      ///< sum of the values of the run
    double average;  ///< sum / count
    double stdev;    ///< standard deviation over the run
    double lastMin;  ///< the same seven of the latest slice
    double lastMax;
    double lastCount;
    double lastSum;
    double lastAverage;  ///< lastSum / lastCount
    double lastStdev;
};

/// Selects one statistic of a point. The numbers 0 to 11 are also the bit positions of a kind's
/// mask. The time has no selector.
enum StatisticsDataType : int {
    StatMin = 0,
    StatMax = 1,
    StatCount = 2,
    StatSum = 3,
    StatAverage = 4,
    StatSTDev = 5,
    StatLastMin = 6,
    StatLastMax = 7,
    StatLastCount = 8,
    StatLastSum = 9,
    StatLastAverage = 10,
    StatLastSTDev = 11,
    StatCurrentValue = 12  ///< the statistic that the point's kind defines as its value
};

/// The statistics of one name at one moment, to be merged, averaged and compared. Twelve kinds, one
/// per point type, define which statistics are meaningful and which one is the current value.
///
/// A point is empty while its time is -1. An invalid average (see `SetAverage`) and an
/// inconsistent merge end the process by a failed assertion, in every build.
///
/// A point is owned by whoever made it. Compatible: one thread at a time per object.
class KZSTAT_EXPORT CKZStatPoint : public RWCollectable {
public:
    using PointType = CKZStatPointTypeEnum::PointType;

    /// An empty point: all thirteen values -1.
    CKZStatPoint();
    /// Takes the values of `item` as they are.
    CKZStatPoint(MeasurementArrayItem item);
    CKZStatPoint(const CKZStatPoint& other);
    CKZStatPoint& operator=(const CKZStatPoint& other);

    // The order of the virtual operations is part of the binary interface.

    ~CKZStatPoint() override;

    /// 0 for equal points; otherwise -1 if `other` is later and 1 if it is not, so two unequal
    /// points of the same time each sort after the other. REQUIRES: `other` is a point.
    int compareTo(const RWCollectable* other) const override;
    /// That of the time truncated to an int.
    unsigned hash() const override;
    /// True for a point of the same kind whose values are all equal; the time and the standard
    /// deviations do not count. REQUIRES: `other` is a point.
    bool isEqual(const RWCollectable* other) const override;

    /// Merges `other` into this point and returns this point. Counts, sums and standard deviations
    /// are added, average = sum / count; the last values likewise, if `other` has any. A minimum
    /// of 0 or below in `other` is ignored. Merging into an empty point counts `other` twice.
    ///
    /// Ends the process if `other` is empty, if an average becomes invalid (a last count of 0 after
    /// the merge with a last sum of 0 makes it so), or, after logging an error, if there are last
    /// values without a last minimum or maximum.
    virtual CKZStatPoint& operator+(const CKZStatPoint& other);
    /// Adds every value of `other` but the time, even if it is -1, and returns this point. An empty
    /// `other` changes nothing. Ends the process if an average becomes invalid.
    virtual CKZStatPoint& operator&(const CKZStatPoint& other);
    /// Divides every value but the time by `n`, even if it is -1, and returns this point. An `n` of
    /// 0 changes nothing. Ends the process if an average becomes invalid: -1 divided by 2 does.
    virtual CKZStatPoint& operator/(int n);

    /// A new point of the same kind with the same values; owned by the caller.
    virtual CKZStatPoint* Clone() = 0;
    /// A new point of the same kind that stands for this point's totals at the later moment `time`;
    /// owned by the caller. Null if the kind has none, or if this point's time is not before
    /// `time`.
    virtual CKZStatPoint* CloneFakeForTotal(double time) = 0;
    /// The statistic that the kind shows as its value.
    virtual double GetCurrentValue() = 0;
    virtual StatisticsDataType GetCurrentValueIndex() = 0;
    /// The statistics that are meaningful: bit k is set for the statistic numbered k.
    virtual int GetMask() = 0;
    virtual void GetType(PointType& type) = 0;
    virtual PointType GetType() = 0;

    /// Adds `item` to this point. An empty point takes all its values, the time included; any other
    /// point keeps its time. Sums, counts and standard deviations above 0 are added, average =
    /// sum / count or -1. An empty last minimum stays empty. Never ends the process.
    virtual void AddValues(MeasurementArrayItem item);
    /// The name of the class.
    virtual const char* nameOf() const;

    /// Sets all thirteen values to -1, or to 0.
    void SetEmpty();
    void SetToZero();

    MeasurementArrayItem GetValues() const { return m_values; }
    /// The statistic selected; -1 for a number that is no selector.
    double GetValueByType(StatisticsDataType type);

    double GetTime() const { return m_values.time; }
    double GetMin() const { return m_values.min; }
    double GetMax() const { return m_values.max; }
    double GetCount() const { return m_values.count; }
    double GetSum() const { return m_values.sum; }
    double GetAverage() const { return m_values.average; }
    double GetSTDev() const { return m_values.stdev; }
    double GetLastMin() const { return m_values.lastMin; }
    double GetLastMax() const { return m_values.lastMax; }
    double GetLastCount() const { return m_values.lastCount; }
    double GetLastSum() const { return m_values.lastSum; }
    double GetLastAverage() const { return m_values.lastAverage; }
    double GetLastSTDev() const { return m_values.lastStdev; }

    void SetTime(double time) { m_values.time = time; }
    void SetMin(double min) { m_values.min = min; }
    void SetMax(double max) { m_values.max = max; }
    void SetCount(double count) { m_values.count = count; }
    void SetSum(double sum) { m_values.sum = sum; }
    /// Stores `average`, then ends the process unless it is finite and either -1 or not negative.
    void SetAverage(double average);
    void SetSTDev(double stdev) { m_values.stdev = stdev; }
    void SetLastMin(double lastMin) { m_values.lastMin = lastMin; }
    void SetLastMax(double lastMax) { m_values.lastMax = lastMax; }
    void SetLastCount(double lastCount) { m_values.lastCount = lastCount; }
    void SetLastSum(double lastSum) { m_values.lastSum = lastSum; }
    /// Stores `lastAverage`, then ends the process unless it is -1 or not negative. Positive
    /// infinity is valid; NaN is not.
    void SetLastAverage(double lastAverage);
    void SetLastSTDev(double lastStdev) { m_values.lastStdev = lastStdev; }

protected:
    /// For kinds that add values without the asserting setters.
    MeasurementArrayItem& Values() { return m_values; }

private:
    void MergeTotals(const CKZStatPoint& other);
    void MergeLasts(const CKZStatPoint& other);
    void CheckLasts() const;

    MeasurementArrayItem m_values;
};

/// The operations of a kind, from its row in the table in kzstatpoint.cpp.
template <class Kind>
class KZSTAT_EXPORT CKZStatPointOf : public CKZStatPoint {
public:
    /// An empty point.
    CKZStatPointOf() = default;
    CKZStatPointOf(MeasurementArrayItem item) : CKZStatPoint(item) {}
    /// Takes the values of a point of any kind.
    CKZStatPointOf(const CKZStatPoint& other) : CKZStatPoint(other.GetValues()) {}

    CKZStatPoint* Clone() override;
    CKZStatPoint* CloneFakeForTotal(double time) override;
    double GetCurrentValue() override;
    StatisticsDataType GetCurrentValueIndex() override;
    int GetMask() override;
    void GetType(PointType& type) override;
    PointType GetType() override;
    const char* nameOf() const override;
};

class KZSTAT_EXPORT CKZStatPointMeasurement : public CKZStatPointOf<CKZStatPointMeasurement> {
public:
    using CKZStatPointOf::CKZStatPointOf;
    ~CKZStatPointMeasurement() override;
};

class KZSTAT_EXPORT CKZStatPointTimer : public CKZStatPointOf<CKZStatPointTimer> {
public:
    using CKZStatPointOf::CKZStatPointOf;
    ~CKZStatPointTimer() override;
};

class KZSTAT_EXPORT CKZStatPointCounter : public CKZStatPointOf<CKZStatPointCounter> {
public:
    using CKZStatPointOf::CKZStatPointOf;
    ~CKZStatPointCounter() override;
};

class KZSTAT_EXPORT CKZStatPointAccumulator : public CKZStatPointOf<CKZStatPointAccumulator> {
public:
    using CKZStatPointOf::CKZStatPointOf;
    ~CKZStatPointAccumulator() override;
};

/// A level, not a series of samples: `AddValues` adds sums and counts whatever their sign, and the
/// averages hold the sums.
class KZSTAT_EXPORT CKZStatPointLoadSize : public CKZStatPointOf<CKZStatPointLoadSize> {
public:
    using CKZStatPointOf::CKZStatPointOf;
    ~CKZStatPointLoadSize() override;
    CKZStatPoint& operator+(const CKZStatPoint& other) override;
    /// The sum is scaled down to the longer span: sum * this time / time.
    CKZStatPoint* CloneFakeForTotal(double time) override;
    void AddValues(MeasurementArrayItem item) override;
};

class KZSTAT_EXPORT CKZStatPointTransactionCounter
    : public CKZStatPointOf<CKZStatPointTransactionCounter> {
public:
    using CKZStatPointOf::CKZStatPointOf;
    ~CKZStatPointTransactionCounter() override;
};

class KZSTAT_EXPORT CKZStatPointTransactionTimer
    : public CKZStatPointOf<CKZStatPointTransactionTimer> {
public:
    using CKZStatPointOf::CKZStatPointOf;
    ~CKZStatPointTransactionTimer() override;
};

class KZSTAT_EXPORT CKZStatPointTransactionReasonCounter
    : public CKZStatPointOf<CKZStatPointTransactionReasonCounter> {
public:
    using CKZStatPointOf::CKZStatPointOf;
    ~CKZStatPointTransactionReasonCounter() override;
};

class KZSTAT_EXPORT CKZStatPointMeasurementPerSec
    : public CKZStatPointOf<CKZStatPointMeasurementPerSec> {
public:
    using CKZStatPointOf::CKZStatPointOf;
    ~CKZStatPointMeasurementPerSec() override;
};

class KZSTAT_EXPORT CKZStatPointCounterPerSec : public CKZStatPointOf<CKZStatPointCounterPerSec> {
public:
    using CKZStatPointOf::CKZStatPointOf;
    ~CKZStatPointCounterPerSec() override;
};

/// The kind of the type `NTPerformance`.
class KZSTAT_EXPORT CKZStatPointPerfMon : public CKZStatPointOf<CKZStatPointPerfMon> {
public:
    using CKZStatPointOf::CKZStatPointOf;
    ~CKZStatPointPerfMon() override;
};

class KZSTAT_EXPORT CKZStatPointAccumulatorPerSec
    : public CKZStatPointOf<CKZStatPointAccumulatorPerSec> {
public:
    using CKZStatPointOf::CKZStatPointOf;
    ~CKZStatPointAccumulatorPerSec() override;
};

#endif

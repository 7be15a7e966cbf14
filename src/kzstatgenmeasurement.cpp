#include "kzstatgenmeasurement.h"

#include <algorithm>
#include <iostream>

#include "kzstatlog.h"
#include "kzstatmessage.h"
#include "rw/cstring.h"
#include "ryp/truncate.h"

namespace {

constexpr char kRule[] = " ----------------- ";

long long Whole(double value) {
    return RyPTruncate<long long>(value);
}

}  // namespace

CKZStatGenMeasurement::CKZStatGenMeasurement(PointType type) : CKZStatGenMeasurement(type, 0) {}

CKZStatGenMeasurement::CKZStatGenMeasurement(PointType type, std::size_t nameLength)
    : m_type(type),
      m_distribution(kNoDistribution),
      m_nameLength(std::min(nameLength, kMaxNameLength) & kMaxNameLength),
      m_isChanged(false),
      m_isAltered(false) {
    Empty();
}

CKZStatGenMeasurement::~CKZStatGenMeasurement() = default;

/// Without the distribution, which is that of another name's or dictionary's values.
CKZStatGenMeasurement::CKZStatGenMeasurement(const CKZStatGenMeasurement& other)
    : RWCollectable(other),
      m_distribution(kNoDistribution),
      m_nameLength(other.m_nameLength),
      m_isChanged(false),
      m_isAltered(false) {
    *this = other;
}

/// Without the name behind this object, which stays.
CKZStatGenMeasurement& CKZStatGenMeasurement::operator=(const CKZStatGenMeasurement& other) {
    NoteOwnChange();
    m_stddev = other.m_stddev;
    m_reservedTotal = other.m_reservedTotal;
    m_reservedLasts = other.m_reservedLasts;
    m_type = other.m_type;
    m_totals = other.m_totals;
    m_lasts = other.m_lasts;
    return *this;
}

void CKZStatGenMeasurement::NoteOwnChange() {
    m_isChanged = true;
    m_isAltered = true;
}

void CKZStatGenMeasurement::Reset() {
    NoteOwnChange();
    Empty();
}

void CKZStatGenMeasurement::ResetLasts() {
    NoteOwnChange();
    EmptyLasts();
}

void CKZStatGenMeasurement::Empty() {
    m_totals = {};
    m_stddev = 0;
    m_reservedTotal = kEmpty;
    EmptyLasts();
}

bool CKZStatGenMeasurement::IsResetLasts() {
    return HasEmptyLasts();
}

void CKZStatGenMeasurement::AddLast(double value) {
    NoteOwnChange();
    TakeValue(value);
    if (KzIsTracing()) TraceValue(value);
}

/// REQUIRES: `value` was taken last.
void CKZStatGenMeasurement::TraceValue(double value) const {
    KZ_TRACE(kRule);
    KZ_TRACE(" CKZStatGenMeasurement::AddLast ( %d )", Whole(value));
    KZ_TRACE(" tsum = %d    tsumSqr = %d\\n", Whole(m_totals.sum), Whole(m_totals.sumSqr));
    KZ_TRACE(kRule);
}

void CKZStatGenMeasurement::TraceTotals(const char* occasion) const {
    KZ_TRACE(occasion);
    KZ_TRACE(" array[tsum] = %d    array[tsumSqr] = %d\\n", Whole(m_totals.sum),
             Whole(m_totals.sumSqr));
}

void CKZStatGenMeasurement::AddValues(double minimum, double maximum, int count, double sum,
                                      double sumSqr, double lastsMinimum, double lastsMaximum,
                                      int lastsCount, double lastsSum, double lastsSumSqr,
                                      AddType) {
    NoteOwnChange();
    AddAggregates(
        {minimum, maximum, static_cast<double>(count), sum, sumSqr},
        {lastsMinimum, lastsMaximum, static_cast<double>(lastsCount), lastsSum, lastsSumSqr});
}

void CKZStatGenMeasurement::AddValues(const CKZStatGenMeasurement& source, AddType) {
    NoteOwnChange();
    AddAggregates(source.m_totals, source.m_lasts);
}

void CKZStatGenMeasurement::AddAggregates(const CKZStatAggregate& totals,
                                          const CKZStatAggregate& lasts) {
    // For the trace, before a measurement that is added to itself changes them.
    const double sum = totals.sum;
    const double sumSqr = totals.sumSqr;
    const bool isAdded = totals.count != 0;
    TakeAggregates(totals, lasts);
    if (KzIsTracing()) TraceAddition(sum, sumSqr, isAdded);
}

void CKZStatGenMeasurement::TraceAddition(double sum, double sumSqr, bool isAdded) const {
    KZ_TRACE(kRule);
    KZ_TRACE(" CKZStatGenMeasurement::AddValues (sum = %d  sSqr = %d)\\n", Whole(sum),
             Whole(sumSqr));
    if (isAdded) TraceTotals(" After Add, the values are :");
}

void CKZStatGenMeasurement::SetValues(double minimum, double maximum, int count, double sum,
                                      double sumSqr, double lastsMinimum, double lastsMaximum,
                                      int lastsCount, double lastsSum, double lastsSumSqr,
                                      PointType type) {
    NoteOwnChange();
    KZ_TRACE(kRule);
    KZ_TRACE(" CKZStatGenMeasurement::SetValues ");
    m_totals = {minimum, maximum, static_cast<double>(count), sum, sumSqr};
    m_lasts = {lastsMinimum, lastsMaximum, static_cast<double>(lastsCount), lastsSum, lastsSumSqr};
    m_type = type;
    TraceTotals(" After Set, the values are :");
    KZ_TRACE(kRule);
}

void CKZStatGenMeasurement::AppendDump(RWCString& out, const char* name) {
    KZ_TRACE(kRule);
    KZ_TRACE(" AppendDump NAME = %s ", name);
    KZ_TRACE(" array[tsum] = %d    array[tsumSqr] = %d\\n", Whole(m_totals.sum),
             Whole(m_totals.sumSqr));

    CKZStatMessageWriter(out).WriteRecord(name, m_type, m_totals, m_lasts);

    KZ_TRACE(" String = %s ", out);
    KZ_TRACE(kRule);
}

void CKZStatGenMeasurement::DumpLasts(RWCString& out, const char* name) {
    CKZStatMessageWriter(out).WriteLastsRecord(name, m_type, m_lasts);
}

void CKZStatGenMeasurement::Print() {
    std::cout << " Type " << static_cast<int>(m_type) << " minimum = " << m_totals.minimum
              << " maximum = " << m_totals.maximum << " count = " << m_totals.count
              << " sum = " << m_totals.sum << std::endl;
    std::cout << "lasts: minimum = " << m_lasts.minimum << " maximum = " << m_lasts.maximum
              << " count = " << m_lasts.count << " sum = " << m_lasts.sum << std::endl;
}

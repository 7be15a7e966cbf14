#include "conservation.h"

#include <cmath>
#include <set>

#include "numbers.h"
#include "rw/cstring.h"
#include "ryp/numbertext.h"
#include "texts.h"

namespace kzstat {
namespace {

using Aggregate = CKZStatAggregate;

// Messages carry thousandths.
constexpr double kRounding = 0.0005;
constexpr double kUnitRoundoff = 1.2e-16;
/// Between one double and the next, where the wall clock is.
constexpr double kClockStep = 2.4e-7;

std::string Exact(double value) {
    RWCString text;
    RyPDoubleToString(value, text, 3);
    return text.data();
}

/// How far sums of `slices` rounded numbers may be from the rounded sum.
double Tolerance(double size, int slices, double count) {
    return (slices + 1) * kRounding + (slices + count) * kUnitRoundoff * std::abs(size);
}

}  // namespace

std::string Conservation::Check(const CKZStatMessage& slice) {
    std::string violation = CheckPlace(slice);
    m_sliceId = slice.GetSliceId();
    for (const CKZStatMessageRecord& record : slice.GetRecords())
        if (violation.empty()) violation = CheckRecord(record);
    if (violation.empty()) violation = CheckMissingNames(slice);
    if (violation.empty()) return {};
    return "slice " + std::to_string(slice.GetSliceId()) + ": " + violation;
}

std::string Conservation::CheckPlace(const CKZStatMessage& slice) {
    if (slice.GetSliceId() != m_sliceId + 1)
        return "it comes after slice " + std::to_string(m_sliceId);
    const double end = slice.GetSliceId() * m_sliceLength;
    const double tolerance = 2 * kRounding + slice.GetSliceId() * kClockStep;
    // A pause moves all times after it to earlier ones.
    if (slice.GetElapsed() < end - m_pauses - tolerance) m_pauses = end - slice.GetElapsed();
    if (slice.GetElapsed() > end - m_pauses + tolerance)
        return "it ends at " + Exact(slice.GetElapsed()) + " s instead of " +
               Exact(end - m_pauses) + " s";
    return {};
}

std::string Conservation::CheckRecord(const CKZStatMessageRecord& record) {
    const std::string name = TextOf(record.name);
    Aggregate& sums = m_sums[name];
    sums.count += record.lasts.count;
    sums.sum += record.lasts.sum;
    sums.sumSqr += record.lasts.sumSqr;
    const auto violation = [&](const char* what, double total, double sum,
                               std::string (*textOf)(double) = Exact) {
        return "the " + std::string(what) + " of " + Printable(name) + " is " + textOf(total) +
               " for the run, but its slices add up to " + textOf(sum);
    };
    const Aggregate& totals = record.totals;
    if (totals.count != sums.count)
        return violation("count", totals.count, sums.count, ReadableNumber);
    // A sum of parts of either sign may be near 0 while they are not: the squares know.
    const double size = std::sqrt(totals.count * totals.sumSqr);
    if (std::abs(totals.sum - sums.sum) > Tolerance(size, m_sliceId, totals.count))
        return violation("sum", totals.sum, sums.sum);
    if (std::abs(totals.sumSqr - sums.sumSqr) > Tolerance(totals.sumSqr, m_sliceId, totals.count))
        return violation("sum of squares", totals.sumSqr, sums.sumSqr);
    return {};
}

/// Totals never forget a name.
std::string Conservation::CheckMissingNames(const CKZStatMessage& slice) const {
    if (slice.GetRecords().size() == m_sums.size()) return {};
    std::set<std::string> present;
    for (const CKZStatMessageRecord& record : slice.GetRecords())
        present.insert(TextOf(record.name));
    for (const auto& [name, sums] : m_sums)
        if (present.count(name) == 0) return Printable(name) + " is missing";
    return "a name stands in it twice";
}

}  // namespace kzstat

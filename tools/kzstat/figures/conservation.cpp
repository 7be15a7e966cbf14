#include "figures/conservation.h"

#include <cmath>
#include <limits>
#include <set>

#include "figures/violation.h"
#include "kzjournalerror.h"
#include "kzstatpointkind.h"
#include "terminal/terminaltext.h"
#include "text/numbers.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

using Limits = std::numeric_limits<double>;

/// By how much an addition of doubles may be off, in parts of its result.
constexpr double kRoundoff = Limits::epsilon() / 2;
constexpr double kMaxReadable = 1e15;

/// Never rounded; whole numbers are for people.
std::string Exact(double value) {
    const bool isReadable = value == std::floor(value) && std::abs(value) < kMaxReadable;
    return isReadable ? ReadableNumber(value) : ExactNumber(value);
}

/// Between a double of the size of `value` and the next one.
double StepAt(double value) {
    return std::nextafter(std::abs(value), Limits::infinity()) - std::abs(value);
}

/// At least the sum of the magnitudes of all values.
double MagnitudeOf(const CKZStatAggregate& totals) {
    // The sum of squares is the better bound for values of many sizes, the extremes for values of
    // about one size. The squares of very small values were rounded to 0, and an extreme of -1 gave
    // way to the next value.
    const double squares = totals.sumSqr + totals.count * Limits::denorm_min();
    const double extreme = std::fmax(std::abs(totals.minimum), std::abs(totals.maximum));
    return std::fmin(std::sqrt(totals.count * squares), totals.count * std::fmax(extreme, 1));
}

bool AreSame(double a, double b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

/// Where the error has no bound, either sum may have overflowed on its way.
bool AreClose(double a, double b, double error) {
    if (error == Limits::infinity()) return true;
    if (std::isfinite(a) && std::isfinite(b)) return std::abs(a - b) <= error;
    return AreSame(a, b);
}

}  // namespace

void Conservation::Check(const kzjournal::Slice& slice) {
    std::string violation = CheckPlace(slice);
    ++m_slices;
    m_sliceId = slice.id;
    m_elapsed = slice.elapsed;
    m_endTime = slice.endTime;
    for (std::size_t i = 0; i < slice.records.size() && violation.empty(); ++i) {
        violation = CheckRecord(slice.records[i]);
        if (violation.empty()) violation = CheckDistribution(slice, i);
    }
    if (violation.empty()) violation = CheckMissingNames(slice);
    if (!violation.empty()) throw Violation("slice " + std::to_string(slice.id) + ": " + violation);
}

/// The end of a slice on the wall clock is that of the one before and the slice length, and the
/// time since the start is the difference of two such: each may be off by half a step of doubles
/// of its size. A pause moves all times since the start to earlier ones, but none on the wall
/// clock.
std::string Conservation::CheckPlace(const kzjournal::Slice& slice) {
    const bool isInPlace = m_mayHaveGaps ? slice.id > m_sliceId : slice.id == m_sliceId + 1;
    if (!isInPlace) return "it comes after slice " + std::to_string(m_sliceId);
    const double length = (slice.id - m_sliceId) * m_sliceLength;
    const double end = m_elapsed + length;
    const double error = StepAt(slice.endTime) + 2 * StepAt(end);
    if (!(slice.elapsed <= end + error))
        return "it ends at " + Exact(slice.elapsed) + " s instead of " + Exact(end) + " s";
    const double duration = slice.endTime - m_endTime;
    if (m_sliceId == 0 || duration >= length - error) return {};
    return "it takes " + ReadableNumber(duration) + " s on the wall clock instead of " +
           Exact(length) + " s";
}

std::string Conservation::CheckRecord(const CKZStatMessageRecord& record) {
    const std::string name = TextOf(record.name);
    const CKZStatAggregate& totals = record.totals;
    Sums& sums = m_sums.try_emplace(name, Sums{record.type}).first->second;
    if (record.type != sums.type)
        return kzterminal::Printable(name) + " is of type " + TypeText(record.type) +
               ", but was of type " + TypeText(sums.type) + " before";
    if (record.type != CKZStatPointTypeEnum::NotSet && !CKZStatPointKind::Find(record.type))
        return kzterminal::Printable(name) + " is of the unknown type " + TypeText(record.type);
    sums.count += record.lasts.count;
    sums.sum += record.lasts.sum;
    sums.sumSqr += record.lasts.sumSqr;
    sums.largestCount = std::fmax(sums.largestCount, record.lasts.count);
    const auto violation = [&](const char* what, double total, double sum) {
        return "the " + std::string(what) + " of " + kzterminal::Printable(name) + " is " +
               Exact(total) + " for the run, but its slices add up to " + Exact(sum);
    };
    if (totals.count != sums.count) return violation("count", totals.count, sums.count);
    // Either sum was made by a tree of additions over the values: each addition rounds by its share
    // of the magnitudes below it, and no value lies below more additions than these.
    const double additions = totals.count + sums.largestCount + m_sliceId;
    if (!AreClose(totals.sum, sums.sum, additions * kRoundoff * MagnitudeOf(totals)))
        return violation("sum", totals.sum, sums.sum);
    if (!AreClose(totals.sumSqr, sums.sumSqr, (additions + 1) * kRoundoff * totals.sumSqr))
        return violation("sum of squares", totals.sumSqr, sums.sumSqr);
    return {};
}

std::string Conservation::CheckDistribution(const kzjournal::Slice& slice, std::size_t position) {
    const CKZStatMessageRecord& record = slice.records[position];
    const std::string name = kzterminal::Printable(TextOf(record.name));
    bool isStored = false;
    try {
        isStored = slice.ReadDistribution(position, m_distribution);
    } catch (const kzjournal::Error&) {
        return "the distribution of " + name + " cannot be decoded";
    }
    // No percentiles belong to no distribution.
    if (!isStored) m_distribution.Clear();
    const auto count = static_cast<double>(m_distribution.GetCount());
    if (isStored && count != record.lasts.count)
        return "the distribution of " + name + " has " + Exact(count) +
               " values, but its count is " + Exact(record.lasts.count);
    const kzjournal::Percentiles expected = kzjournal::PercentilesOf(m_distribution);
    const kzjournal::Percentiles& stored = slice.distributions.PercentilesOf(position);
    for (std::size_t i = 0; i < expected.size(); ++i)
        if (!AreSame(stored[i], expected[i]))
            return std::string("p")
                .append(ReadableNumber(kzjournal::kStoredQuantiles[i] * 100))
                .append(" of " + name + " is " + Exact(stored[i]) + ", but " + Exact(expected[i]) +
                        " by its distribution");
    return {};
}

/// Totals never forget a name.
std::string Conservation::CheckMissingNames(const kzjournal::Slice& slice) const {
    if (slice.records.size() == m_sums.size()) return {};
    std::set<std::string> missing;
    for (const auto& [name, sums] : m_sums) missing.insert(name);
    for (const CKZStatMessageRecord& record : slice.records) missing.erase(TextOf(record.name));
    return missing.empty() ? "a name stands in it twice"
                           : kzterminal::Printable(*missing.begin()) + " is missing";
}

}  // namespace kzstatprogram

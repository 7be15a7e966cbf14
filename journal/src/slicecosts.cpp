#include "slicecosts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "sliceloader.h"
#include "wordhash.h"

namespace kzjournal {
namespace {

/// In the order of `kSelectCost`.
constexpr std::array kNumbers = {
    &CKZStatSliceCost::measured,     &CKZStatSliceCost::processorTime,
    &CKZStatSliceCost::processors,   &CKZStatSliceCost::busiestThread,
    &CKZStatSliceCost::longestWait,  &CKZStatSliceCost::involuntarySwitches,
    &CKZStatSliceCost::reporterWait, &CKZStatSliceCost::packTime,
    &CKZStatSliceCost::listenerTime, &CKZStatSliceCost::timerLateness,
    &CKZStatSliceCost::startLateness};

/// Unknown, or no less than 0 and finite.
bool IsPossible(double number) {
    return std::isnan(number) || (number >= 0 && std::isfinite(number));
}

std::int64_t ChecksumOf(int sliceId, const CKZStatSliceCost& cost) {
    WordHash hash;
    hash.AddWhole(sliceId);
    for (const auto number : kNumbers) hash.Add(cost.*number);
    return static_cast<std::int64_t>(hash.Value());
}

}  // namespace

void BindCost(SQLite::Statement& statement, int column, int sliceId,
              const std::optional<CKZStatSliceCost>& cost) {
    CKZStatSliceCost bound = cost.value_or(CKZStatSliceCost());
    for (const auto number : kNumbers)
        if (!IsPossible(bound.*number)) bound.*number = CKZStatSliceCost::kUnknown;
    // The database makes NULL of a NaN.
    for (const auto number : kNumbers) statement.bind(column++, bound.*number);
    statement.bind(column, static_cast<int64_t>(ChecksumOf(sliceId, bound)));
}

bool ReadCost(SQLite::Statement& row, int column, int sliceId,
              std::optional<CKZStatSliceCost>& cost) {
    CKZStatSliceCost read;
    for (const auto number : kNumbers) {
        read.*number = DoubleAt(row, column++);
        if (!IsPossible(read.*number)) return false;
    }
    if (row.getColumn(column).getInt64() != ChecksumOf(sliceId, read)) return false;
    const bool isThere = std::any_of(kNumbers.begin(), kNumbers.end(),
                                     [&](const auto number) { return !std::isnan(read.*number); });
    cost = isThere ? std::optional(read) : std::nullopt;
    return true;
}

}  // namespace kzjournal

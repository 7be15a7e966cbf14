#ifndef KZCONDITIONS_UNIT_H
#define KZCONDITIONS_UNIT_H

#include <optional>
#include <string_view>

namespace kzconditions {

// These functions are safe for concurrent use.

/// True for "ns", "us", "ms", "s", "bytes", "B", "kB", "MB" and "GB".
bool IsUnit(std::string_view text);

/// True for those of time.
bool IsUnitOfTime(std::string_view text);

/// A number of `from` in `to`: 2 "s" are 2000 "ms". Nothing where they measure different things, or
/// one is no unit.
std::optional<double> Convert(double number, std::string_view from, std::string_view to);

}  // namespace kzconditions

#endif

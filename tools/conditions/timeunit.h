#ifndef KZCONDITIONS_TIMEUNIT_H
#define KZCONDITIONS_TIMEUNIT_H

#include <optional>
#include <string_view>

namespace kzconditions {

/// How many nanoseconds one "ns", "us", "ms" or "s" is, so that one unit is a whole multiple of
/// another; nothing for other texts. Safe for concurrent use.
std::optional<double> NanosecondsIn(std::string_view unit);

}  // namespace kzconditions

#endif

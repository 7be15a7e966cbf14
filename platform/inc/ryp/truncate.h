#ifndef RYP_TRUNCATE_H
#define RYP_TRUNCATE_H

#include <limits>

/// `value` truncated toward zero. A value outside the range of `Integer` gives the nearest end of
/// that range and NaN gives 0, so no double causes undefined behaviour. Every conversion of a
/// double to an integer in this project uses it. Safe for concurrent use.
template <class Integer>
constexpr Integer RyPTruncate(double value) {
    using Limits = std::numeric_limits<Integer>;
    if (value != value) return 0;
    // The upper end may round up to a power of two as a double, hence ">=" on that side.
    if (value >= static_cast<double>(Limits::max())) return Limits::max();
    if (value <= static_cast<double>(Limits::min())) return Limits::min();
    return static_cast<Integer>(value);
}

#endif

#ifndef KZ_STRESS_NAMES_H
#define KZ_STRESS_NAMES_H

#include <cstddef>
#include <string>
#include <vector>

#include "kzstatpointtypeenum.h"

/// A name under which values are reported. Compatible.
struct Name {
    std::string text;
    CKZStatPointTypeEnum::PointType type;
    bool isTimer;  // its values have fractions; those of all others are whole
};

/// All names of the program: whole values first, then timers. Constant; safe for concurrent use.
const std::vector<Name>& Names();

inline constexpr std::size_t kWholeNames = 10;
inline constexpr std::size_t kTimers = 2;

#endif

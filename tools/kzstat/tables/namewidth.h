#ifndef KZSTATPROGRAM_NAMEWIDTH_H
#define KZSTATPROGRAM_NAMEWIDTH_H

#include <algorithm>
#include <cstddef>
#include <string>

#include "terminal/output.h"

namespace kzstatprogram {

constexpr std::size_t kMinNameColumns = 20;

/// Names of any length leave room for their numbers on a terminal, and are whole elsewhere.
inline std::size_t NameWidth(const kzterminal::Output& output) {
    if (!output.IsTerminal()) return std::string::npos;
    return std::max(output.Width() / 3, kMinNameColumns);
}

}  // namespace kzstatprogram

#endif

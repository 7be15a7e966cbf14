#include "terminal/bytes.h"

#include <cmath>
#include <iterator>

#include "rw/cstring.h"
#include "ryp/numbertext.h"

namespace kzterminal {
namespace {

constexpr const char* kUnits[] = {"B", "kB", "MB", "GB", "TB", "PB", "EB"};
constexpr double kStep = 1000;

/// So that rounding gives no fourth digit.
int DecimalsOf(double size) {
    if (size >= 99.95 || size == std::floor(size)) return 0;
    return size >= 9.995 ? 1 : 2;
}

}  // namespace

std::string ReadableBytes(double bytes) {
    RWCString text;
    if (!std::isfinite(bytes)) {
        RyPDoubleToString(bytes, text, 0);
        return text.data();
    }
    double amount = bytes;
    const char* const* unit = std::begin(kUnits);
    for (; std::abs(amount) >= kStep - 0.5 && unit != std::end(kUnits) - 1; ++unit) amount /= kStep;
    RyPDoubleToString(amount, text, DecimalsOf(std::abs(amount)));
    return std::string(text.data()) + " " + *unit;
}

}  // namespace kzterminal

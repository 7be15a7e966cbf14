#include "terminal/numbers.h"

#include <charconv>
#include <cmath>

#include "rw/cstring.h"
#include "ryp/numbertext.h"

namespace kzterminal {
namespace {

constexpr double kMaxReadable = 1e15;
constexpr double kMinReadable = 1e-6;

int DecimalsOf(double size) {
    if (size == std::floor(size) || size >= 1000) return 0;
    if (size >= 100) return 1;
    if (size >= 1) return 2;
    // A duration in seconds is often a fraction of a thousandth.
    int decimals = 3;
    for (double limit = 0.01; size < limit; limit /= 10) ++decimals;
    return decimals;
}

bool IsReadable(double size) {
    return size == 0 || (size >= kMinReadable && size < kMaxReadable) || !std::isfinite(size);
}

}  // namespace

std::string ReadableNumber(double value) {
    const double size = std::abs(value);
    if (!IsReadable(size)) {
        char text[32];
        std::snprintf(text, sizeof text, "%.3e", value);
        return text;
    }
    RWCString text;
    RyPDoubleToString(value, text, std::isfinite(size) ? DecimalsOf(size) : 0);
    return text.data();
}

std::string ExactNumber(double value) {
    char text[64];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

}  // namespace kzterminal

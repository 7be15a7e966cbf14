#include "text/numbers.h"

#include <charconv>
#include <cmath>

#include "rw/cstring.h"
#include "ryp/numbertext.h"

namespace kzstatprogram {
namespace {

constexpr double kMaxReadable = 1e15;

int DecimalsOf(double size) {
    if (size == std::floor(size) || size >= 1000) return 0;
    if (size >= 100) return 1;
    return size >= 1 ? 2 : 3;
}

}  // namespace

std::string ReadableNumber(double value) {
    const double size = std::abs(value);
    if (size >= kMaxReadable && std::isfinite(size)) {
        char text[32];
        std::snprintf(text, sizeof text, "%.3e", value);
        return text;
    }
    RWCString text;
    RyPDoubleToString(value, text, DecimalsOf(size));
    return text.data();
}

std::string ExactNumber(double value) {
    char text[64];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

}  // namespace kzstatprogram

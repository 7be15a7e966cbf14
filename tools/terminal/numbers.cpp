#include "terminal/numbers.h"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "rw/cstring.h"
#include "ryp/numbertext.h"
#include "ryp/truncate.h"

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

std::string TimeOfRun(double seconds) {
    constexpr long long perMinute = 600;
    constexpr long long perHour = 60 * perMinute;
    const bool isNegative = seconds <= -0.05;
    const auto tenths = RyPTruncate<long long>(std::abs(seconds) * 10 + 0.5);
    const long long minutes = tenths / perMinute;
    char text[64] = {};
    if (tenths >= perHour)
        std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", minutes / 60, minutes % 60,
                      tenths % perMinute / 10);
    else
        std::snprintf(text, sizeof text, "%lld:%02lld", minutes, tenths % perMinute / 10);
    std::string time = isNegative ? "-" : "";
    time.append(text);
    if (tenths % 10 > 0) time.append(".").append(std::to_string(tenths % 10));
    return time;
}

}  // namespace kzterminal

#include "ryp/numbertext.h"

#include <locale.h>
#include <stdlib.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

#include "rw/cstring.h"

namespace {

/// Sign, every digit before the point of the largest double, and the point.
constexpr std::size_t kLongestWholePart = std::numeric_limits<double>::max_exponent10 + 3;

void AppendFixed(double value, int precision, char* begin, char* end, RWCString& text) {
    const auto result = std::to_chars(begin, end, value, std::chars_format::fixed, precision);
    text.append(begin, static_cast<std::size_t>(result.ptr - begin));
}

locale_t CLocale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
}

}  // namespace

void RyPDoubleToString(double value, RWCString& text, int precision) {
    text.remove(0);
    RyPAppendDouble(value, text, precision);
}

void RyPAppendDouble(double value, RWCString& text, int precision) {
    if (std::isnan(value)) {
        text += "nan";  // without the sign that some NaNs carry
        return;
    }
    constexpr int kUsualPrecision = 64;
    precision = std::max(precision, 0);
    if (precision <= kUsualPrecision) {
        char buffer[kLongestWholePart + kUsualPrecision];
        AppendFixed(value, precision, buffer, buffer + sizeof buffer, text);
    } else {
        std::string buffer(kLongestWholePart + static_cast<std::size_t>(precision), '\0');
        AppendFixed(value, precision, buffer.data(), buffer.data() + buffer.size(), text);
    }
}

void RyPIntToString(long long value, RWCString& text) {
    text.remove(0);
    RyPAppendInt(value, text);
}

void RyPAppendInt(long long value, RWCString& text) {
    char buffer[std::numeric_limits<long long>::digits10 + 3];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    text.append(buffer, static_cast<std::size_t>(result.ptr - buffer));
}

double RyPStringToDouble(const char* text) {
    return strtod_l(text, nullptr, CLocale());
}

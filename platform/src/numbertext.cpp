#include "ryp/numbertext.h"

#include <locale.h>
#include <stdlib.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <optional>
#include <string>

#include "rw/cstring.h"

namespace {

/// Sign, every digit before the point of the largest double, and the point.
constexpr std::size_t kMaxWholePartChars = std::numeric_limits<double>::max_exponent10 + 3;

constexpr int kSignificandBits = std::numeric_limits<double>::digits - 1;  // without the first
constexpr int kExponentBias = 1075;  // of a significand that is read as a whole number

/// By which a significand may be multiplied and still fit into 63 bits.
constexpr std::uint64_t kPowersOfTen[] = {1, 10, 100, 1000};

/// A magnitude below 2^52 times `power`, correctly rounded, ties to even. Statistics are mostly of
/// that size, and whole numbers do in a tenth of the time what the general conversion does.
std::optional<std::uint64_t> Scaled(double magnitude, std::uint64_t power) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &magnitude, sizeof bits);
    // The number is significand / 2^shift.
    const int shift = kExponentBias - static_cast<int>(bits >> kSignificandBits);
    if (shift <= 0) return std::nullopt;
    constexpr int kBits = std::numeric_limits<std::uint64_t>::digits;
    if (shift >= kBits) return 0;  // below a half even when multiplied
    constexpr std::uint64_t kFirstBit = std::uint64_t{1} << kSignificandBits;
    const std::uint64_t product = ((bits & (kFirstBit - 1)) | kFirstBit) * power;
    const std::uint64_t number = product >> shift;
    const std::uint64_t rest = product << (kBits - shift);
    constexpr std::uint64_t kHalf = std::uint64_t{1} << (kBits - 1);
    return number + (rest > kHalf || (rest == kHalf && number % 2 == 1) ? 1 : 0);
}

/// Writes `scaled` / `power`, where `power` is 10 to the power of `decimals`. Returns the end.
char* WriteScaled(std::uint64_t scaled, std::uint64_t power, int decimals, char* begin, char* end) {
    char* const point = std::to_chars(begin, end, scaled / power).ptr;
    if (decimals == 0) return point;
    *point = '.';
    std::uint64_t fraction = scaled % power;
    for (int i = decimals; i > 0; --i, fraction /= 10)
        point[i] = static_cast<char>('0' + fraction % 10);
    return point + 1 + decimals;
}

char* WriteFixed(double value, int precision, char* begin, char* end) {
    if (static_cast<std::size_t>(precision) < std::size(kPowersOfTen)) {
        const std::uint64_t power = kPowersOfTen[precision];
        if (const auto scaled = Scaled(std::abs(value), power)) {
            if (std::signbit(value)) *begin++ = '-';
            return WriteScaled(*scaled, power, precision, begin, end);
        }
    }
    return std::to_chars(begin, end, value, std::chars_format::fixed, precision).ptr;
}

void AppendFixed(double value, int precision, char* begin, char* end, RWCString& text) {
    const char* const written = WriteFixed(value, precision, begin, end);
    text.append(begin, static_cast<std::size_t>(written - begin));
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
    constexpr int kMaxStackPrecision = 64;
    precision = std::max(precision, 0);
    if (precision <= kMaxStackPrecision) {
        char buffer[kMaxWholePartChars + kMaxStackPrecision];
        AppendFixed(value, precision, buffer, buffer + sizeof buffer, text);
    } else {
        std::string buffer(kMaxWholePartChars + static_cast<std::size_t>(precision), '\0');
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

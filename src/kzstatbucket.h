#ifndef KZSTATBUCKET_H
#define KZSTATBUCKET_H

#include <bit>
#include <cstdint>

/// The buckets of a distribution, numbered in the order of their values: the sign, the exponent and
/// the top bits of the mantissa of a double, read as a whole number. Of the denormal numbers, which
/// have too few bits for this, none has a bucket of its own.
namespace kzstatbucket {

using Number = std::uint32_t;

inline constexpr unsigned kMantissaBits = 7;
inline constexpr unsigned kPerPowerOfTwo = 1U << kMantissaBits;
inline constexpr unsigned kIgnoredBits = 52 - kMantissaBits;
inline constexpr std::uint64_t kSign = std::uint64_t{1} << 63;
inline constexpr std::uint64_t kExponent = std::uint64_t{0x7FF} << 52;

inline constexpr Number kLimit = Number{1} << (12 + kMantissaBits);  // no number is as high
inline constexpr Number kZero = kLimit / 2;
inline constexpr Number kSmallestNormal = kZero + kPerPowerOfTwo;
inline constexpr Number kInfinity = kZero + 0x7FF * kPerPowerOfTwo;

/// The bucket of -x, if this is the bucket of x and x is not zero.
constexpr Number Mirrored(Number bucket) {
    return kLimit - 1 - bucket;
}

/// REQUIRES: `value` is not NaN.
inline Number Of(double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    if ((bits & kExponent) == 0) return kZero;
    // The magnitude of a negative number counts downwards.
    const std::uint64_t flipped = (bits & kSign) != 0 ? ~std::uint64_t{0} : kSign;
    return static_cast<Number>((bits ^ flipped) >> kIgnoredBits);
}

/// The sign, the exponent and the top bits of the mantissa as they stand in a double. That of the
/// smallest magnitude, of a bucket.
inline Number FrontOf(double value) {
    return static_cast<Number>(std::bit_cast<std::uint64_t>(value) >> kIgnoredBits);
}
constexpr Number FrontOf(Number bucket) {
    return bucket < kZero ? Mirrored(bucket) : bucket - kZero;
}

/// Whether there is a value with this bucket.
constexpr bool IsUsed(Number bucket) {
    if (bucket < kZero) bucket = Mirrored(bucket);
    return bucket == kZero || (bucket >= kSmallestNormal && bucket <= kInfinity);
}

// Of the smallest magnitude in the bucket. REQUIRES: `bucket` is `kZero` or above.

constexpr std::uint64_t LowestBits(Number bucket) {
    return std::uint64_t{bucket - kZero} << kIgnoredBits;
}
inline double LowestMagnitude(Number bucket) {
    return std::bit_cast<double>(LowestBits(bucket));
}

struct Bounds {
    double low;
    double high;
};

/// Of a bucket that is used.
inline Bounds BoundsOf(Number bucket) {
    if (bucket < kZero) {
        const Bounds mirrored = BoundsOf(Mirrored(bucket));
        return {-mirrored.high, -mirrored.low};
    }
    const double low = LowestMagnitude(bucket);
    if (bucket == kZero || bucket == kInfinity) return {low, low};
    return {low, LowestMagnitude(bucket + 1)};
}

/// The middle of a bucket that is used.
inline double MiddleOf(Number bucket) {
    if (bucket < kZero) return -MiddleOf(Mirrored(bucket));
    const double low = LowestMagnitude(bucket);
    if (bucket == kZero || bucket == kInfinity) return low;
    const std::uint64_t half = std::uint64_t{1} << (kIgnoredBits - 1);
    return std::bit_cast<double>(std::bit_cast<std::uint64_t>(low) | half);
}

}  // namespace kzstatbucket

#endif

#ifndef KZSTATDISTRIBUTIONFORM_H
#define KZSTATDISTRIBUTIONFORM_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "kzstatbucket.h"

// The encoded form of a distribution (docs/distribution.md): its writer and its reader.

namespace kzstatdistributionform {

inline constexpr unsigned char kVersion = 1;

// The first byte of a bucket has a gap, the low bits of its count and a mark that more follow.
inline constexpr unsigned kGapBits = 2;
inline constexpr unsigned kLongGap = (1U << kGapBits) - 1;
inline constexpr unsigned kCountBits = 5;
inline constexpr unsigned kMoreMark = 0x80;

/// Writes to the end of a string, which throws if memory runs out.
///
/// Compatible: one thread at a time per object.
class Writer {
public:
    explicit Writer(std::string& bytes) : m_bytes(bytes) {}

    void WriteByte(std::uint64_t byte) { m_bytes.push_back(static_cast<char>(byte)); }

    /// Seven bits in each byte, the lowest first; the top bit of a byte says that more follow.
    void WriteNumber(std::uint64_t number) {
        for (; number >= kMoreMark; number >>= 7) WriteByte((number & (kMoreMark - 1)) | kMoreMark);
        WriteByte(number);
    }

    /// The bits of the double, the lowest byte first.
    void WriteDouble(double value) {
        const auto bits = std::bit_cast<std::uint64_t>(value);
        for (unsigned shift = 0; shift < 64; shift += 8) WriteByte((bits >> shift) & 0xFF);
    }

    /// `gap` is the number of empty buckets before this one, `count` is 1 at least.
    void WriteBucket(std::uint64_t gap, std::uint64_t count) {
        const std::uint64_t low = (count - 1) & ((1U << kCountBits) - 1);
        const std::uint64_t rest = (count - 1) >> kCountBits;
        WriteByte((rest != 0 ? kMoreMark : 0) | low << kGapBits |
                  (gap < kLongGap ? gap : kLongGap));
        if (rest != 0) WriteNumber(rest);
        if (gap >= kLongGap) WriteNumber(gap - kLongGap);
    }

private:
    std::string& m_bytes;
};

/// Reads from the front of a text. Whatever `Writer` does not write it refuses, and from then on
/// everything.
///
/// Compatible: one thread at a time per object.
class Reader {
public:
    explicit Reader(std::string_view bytes) : m_left(bytes) {}

    /// False once something was refused.
    bool IsGood() const { return m_isGood; }
    void Refuse() { m_isGood = false; }
    std::size_t BytesLeft() const { return m_left.size(); }

    std::uint8_t ReadByte() {
        if (m_left.empty()) {
            Refuse();
            return 0;
        }
        const auto byte = static_cast<std::uint8_t>(m_left.front());
        m_left.remove_prefix(1);
        return byte;
    }

    std::uint64_t ReadNumber() {
        std::uint64_t number = 0;
        for (unsigned shift = 0; shift < 64; shift += 7) {
            const std::uint64_t byte = ReadByte();
            const std::uint64_t bits = byte & (kMoreMark - 1);
            number |= bits << shift;
            if (byte >= kMoreMark) continue;
            // The tenth byte has one bit to give, and a last byte of 0 would be one too many.
            if ((bits << shift) >> shift != bits || (byte == 0 && shift > 0)) m_isGood = false;
            return number;
        }
        m_isGood = false;
        return 0;
    }

    double ReadDouble() {
        std::uint64_t bits = 0;
        for (unsigned shift = 0; shift < 64; shift += 8) bits |= std::uint64_t{ReadByte()} << shift;
        return std::bit_cast<double>(bits);
    }

    struct Bucket {
        std::uint64_t gap;
        std::uint64_t count;
    };

    Bucket ReadBucket() {
        const unsigned first = ReadByte();
        Bucket bucket{first & kLongGap, ((first & (kMoreMark - 1)) >> kGapBits) + 1U};
        if ((first & kMoreMark) != 0) {
            const std::uint64_t rest = ReadNumber();
            // A count of 2^64 is refused too, which comes out as 0.
            bucket.count += rest << kCountBits;
            if (rest == 0 || rest >> (64 - kCountBits) != 0 || bucket.count == 0) m_isGood = false;
        }
        if (bucket.gap < kLongGap) return bucket;
        const std::uint64_t longer = ReadNumber();
        // Any more leads out of the buckets.
        if (longer >= kzstatbucket::kLimit) m_isGood = false;
        bucket.gap += longer;
        return bucket;
    }

private:
    std::string_view m_left;
    bool m_isGood = true;
};

}  // namespace kzstatdistributionform

#endif

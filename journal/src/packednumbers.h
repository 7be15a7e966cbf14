#ifndef KZJOURNALPACKEDNUMBERS_H
#define KZJOURNALPACKEDNUMBERS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace kzjournal {

/// Appends a whole number in as few bytes as possible: seven bits in each, the lowest first; the
/// highest bit of a byte is set if more follow.
inline void AppendNumber(std::string& bytes, std::uint64_t number) {
    for (; number >= 0x80; number >>= 7) bytes += static_cast<char>(number | 0x80);
    bytes += static_cast<char>(number);
}

/// Appends the bits of a double, the lowest byte first.
inline void AppendDouble(std::string& bytes, double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    for (std::size_t i = 0; i < sizeof bits; ++i) bytes += static_cast<char>(bits >> (8 * i));
}

/// Takes from bytes what the functions above have appended. Once something was not there, nothing
/// is any more. Compatible.
class PackedReader {
public:
    /// What `bytes` refers to must outlive the reader.
    explicit PackedReader(std::string_view bytes) : m_left(bytes) {}

    bool IsAtEnd() const { return m_left.empty(); }

    std::optional<std::uint64_t> TakeNumber() {
        std::uint64_t number = 0;
        for (std::size_t i = 0; i < m_left.size() && i < kMaxNumberBytes; ++i) {
            const auto byte = static_cast<unsigned char>(m_left[i]);
            number |= std::uint64_t{byte & 0x7fU} << (7 * i);
            if (byte >= 0x80) continue;
            m_left.remove_prefix(i + 1);
            return number;
        }
        return Fail<std::uint64_t>();
    }

    /// A number from 1 that an `int` holds.
    std::optional<int> TakeId(int before = 0) {
        const std::optional<std::uint64_t> step = TakeNumber();
        const auto most = static_cast<std::uint64_t>(std::numeric_limits<int>::max() - before);
        if (!step || *step == 0 || *step > most) return Fail<int>();
        return before + static_cast<int>(*step);
    }

    std::optional<double> TakeDouble() {
        const std::optional<std::string_view> bytes = TakeBytes(sizeof(std::uint64_t));
        if (!bytes) return std::nullopt;
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < sizeof bits; ++i)
            bits |= std::uint64_t{static_cast<unsigned char>((*bytes)[i])} << (8 * i);
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    std::optional<std::string_view> TakeBytes(std::uint64_t count) {
        if (count > m_left.size()) return Fail<std::string_view>();
        const std::string_view taken = m_left.substr(0, static_cast<std::size_t>(count));
        m_left.remove_prefix(taken.size());
        return taken;
    }

private:
    // 63 bits, more than any number here has.
    static constexpr std::size_t kMaxNumberBytes = 9;

    template <class Value>
    std::optional<Value> Fail() {
        m_left = {};
        return std::nullopt;
    }

    std::string_view m_left;
};

}  // namespace kzjournal

#endif

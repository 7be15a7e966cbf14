#ifndef KZJOURNALWORDHASH_H
#define KZJOURNALWORDHASH_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "kzstataggregate.h"

namespace kzjournal {

/// A hash of 64-bit words. Each step is a bijection of the state, so that two inputs of one length
/// that differ in one word never have the same hash. docs/journal.md says how it is computed.
/// Compatible.
class WordHash {
public:
    void Add(std::uint64_t word) {
        m_hash = (m_hash ^ word) * 0x9e3779b97f4a7c15;
        // Multiplying moves differences upwards only.
        m_hash ^= m_hash >> 32;
    }

    void Add(double value) {
        // The database keeps neither the bits of a NaN nor the sign of a zero.
        const double kept = value == 0 ? 0 : value;
        std::uint64_t bits = 0x7ff8000000000000;
        if (!std::isnan(kept)) std::memcpy(&bits, &kept, sizeof bits);
        Add(bits);
    }

    void Add(std::string_view text) {
        Add(std::uint64_t{text.size()});
        for (; text.size() >= kWord; text.remove_prefix(kWord)) Add(LittleEndian(text, kWord));
        if (!text.empty()) Add(LittleEndian(text, text.size()));
    }

    void Add(const CKZStatAggregate& aggregate) {
        Add(aggregate.minimum);
        Add(aggregate.maximum);
        Add(aggregate.count);
        Add(aggregate.sum);
        Add(aggregate.sumSqr);
    }

    void AddWhole(std::int64_t value) { Add(static_cast<std::uint64_t>(value)); }

    std::uint64_t Value() const { return m_hash; }

private:
    static constexpr std::size_t kWord = sizeof(std::uint64_t);

    static std::uint64_t LittleEndian(std::string_view text, std::size_t bytes) {
        std::uint64_t word = 0;
        for (std::size_t i = 0; i < bytes; ++i)
            word |= std::uint64_t{static_cast<unsigned char>(text[i])} << (8 * i);
        return word;
    }

    std::uint64_t m_hash = 0xcbf29ce484222325;
};

}  // namespace kzjournal

#endif

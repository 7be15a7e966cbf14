#ifndef RYP_TEXTHASH_H
#define RYP_TEXTHASH_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

/// Hash, comparison and copy of texts, optimised for names: a text of 8 to 24 bytes is read as
/// three words, which overlap below 24 bytes, without a loop and so without unpredictable branches.
class RyPTextHash {
public:
    /// The hash of a text, the same for every string class of the platform. Valid within
    /// the process only; does not resist names that were chosen to collide.
    static unsigned Of(std::string_view text) {
        const std::size_t length = text.size();
        const char* const bytes = Opaque(text.data());
        std::uint64_t hash = length * kFactors[0];
        if (IsUsual(length)) {
            hash += Part(Word(bytes), 0) + Part(Word(bytes + Middle(length)), 1) +
                    Part(Word(bytes + length - kWord), 2);
        } else if (length < kWord) {
            hash += Part(ShortWord(bytes, length), 0);
        } else {
            for (std::size_t at = 0; at + kWord < length; at += kWord)
                hash = Spread(hash) + Part(Word(bytes + at), 0);
            hash = Spread(hash) + Part(Word(bytes + length - kWord), 1);
        }
        return static_cast<unsigned>(Spread(hash) >> 32);
    }

    static bool AreEqual(std::string_view a, std::string_view b) {
        const std::size_t length = a.size();
        if (length != b.size()) return false;
        if (!IsUsual(length)) return a == b;
        const char* const left = Opaque(a.data());
        const char* const right = Opaque(b.data());
        const std::size_t middle = Middle(length);
        const std::size_t last = length - kWord;
        return ((Word(left) ^ Word(right)) | (Word(left + middle) ^ Word(right + middle)) |
                (Word(left + last) ^ Word(right + last))) == 0;
    }

    static void Copy(char* to, std::string_view text) {
        const std::size_t length = text.size();
        if (!IsUsual(length)) {
            std::memcpy(to, text.data(), length);
            return;
        }
        const char* const bytes = Opaque(text.data());
        const std::uint64_t first = Word(bytes);
        const std::uint64_t middle = Word(bytes + Middle(length));
        const std::uint64_t last = Word(bytes + length - kWord);
        std::memcpy(to, &first, kWord);
        std::memcpy(to + Middle(length), &middle, kWord);
        std::memcpy(to + length - kWord, &last, kWord);
    }

private:
    static constexpr std::size_t kWord = sizeof(std::uint64_t);
    // Odd, with bits spread over the word.
    static constexpr std::uint64_t kFactors[] = {0x9e3779b97f4a7c15U, 0xc2b2ae3d27d4eb4fU,
                                                 0xff51afd7ed558ccdU};

    /// Hides from the compiler which object the bytes belong to; otherwise it warns of reads beyond
    /// that object which the length rules out.
    static const char* Opaque(const char* bytes) {
        __asm__("" : "+r"(bytes));
        return bytes;
    }

    static bool IsUsual(std::size_t length) { return length - kWord <= 2 * kWord; }
    static std::size_t Middle(std::size_t length) { return std::min(kWord, length - kWord); }

    /// High bits reach low ones by the shift, low bits reach high ones by the multiplication.
    static std::uint64_t Part(std::uint64_t word, int factor) {
        return (word ^ (word >> 31)) * kFactors[factor];
    }
    static std::uint64_t Spread(std::uint64_t hash) {
        hash ^= hash >> 29;
        return hash * kFactors[1];
    }

    static std::uint64_t Word(const char* bytes) {
        std::uint64_t word;
        std::memcpy(&word, bytes, sizeof word);
        return word;
    }

    /// Fewer than eight bytes in one word.
    static std::uint64_t ShortWord(const char* bytes, std::size_t length) {
        std::uint64_t word = 0;
        for (std::size_t i = 0; i < length; ++i)
            word = (word << 8) | static_cast<unsigned char>(bytes[i]);
        return word;
    }
};

#endif

#include "ryp/texthash.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

constexpr std::size_t kLongest = 70;

/// Different bytes at every place.
std::string TextOf(std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i) text += static_cast<char>('!' + i);
    return text;
}

TEST(TextHash, IsTheSameForTheSameBytesElsewhere) {
    for (std::size_t length = 0; length <= kLongest; ++length) {
        const std::string text = TextOf(length);
        const std::string shifted = "x" + text;
        EXPECT_EQ(RyPTextHash::Of(text), RyPTextHash::Of(std::string_view(shifted).substr(1)))
            << length;
    }
}

TEST(TextHash, DependsOnEveryByte) {
    for (std::size_t length = 1; length <= kLongest; ++length) {
        for (std::size_t i = 0; i < length; ++i) {
            std::string changed = TextOf(length);
            changed[i] = '\0';
            EXPECT_NE(RyPTextHash::Of(changed), RyPTextHash::Of(TextOf(length)))
                << length << " bytes, byte " << i;
        }
    }
}

TEST(TextHash, DependsOnTheLength) {
    std::set<unsigned> hashes;
    for (std::size_t length = 0; length <= kLongest; ++length)
        hashes.insert(RyPTextHash::Of(std::string(length, '\0')));
    EXPECT_EQ(hashes.size(), kLongest + 1);
}

TEST(TextHash, SpreadsNamesThatDifferInANumber) {
    std::set<unsigned> hashes;
    constexpr unsigned kNames = 100'000;
    for (unsigned i = 0; i < kNames; ++i)
        hashes.insert(RyPTextHash::Of("step" + std::to_string(i) + ".response"));
    // About one pair in a hundred thousand would collide by chance alone.
    EXPECT_GT(hashes.size(), kNames - 20);
}

TEST(TextHash, FindsTextsEqualThatAre) {
    for (std::size_t length = 0; length <= kLongest; ++length) {
        const std::string copy = TextOf(length);
        EXPECT_TRUE(RyPTextHash::AreEqual(copy, TextOf(length))) << length;
    }
}

TEST(TextHash, SeesADifferenceInEveryByte) {
    for (std::size_t length = 1; length <= kLongest; ++length) {
        for (std::size_t i = 0; i < length; ++i) {
            std::string changed = TextOf(length);
            changed[i] = ' ';
            EXPECT_FALSE(RyPTextHash::AreEqual(changed, TextOf(length)))
                << length << " bytes, byte " << i;
        }
    }
}

TEST(TextHash, TellsATextFromItsBeginning) {
    for (std::size_t length = 1; length <= kLongest; ++length)
        EXPECT_FALSE(RyPTextHash::AreEqual(TextOf(length - 1), TextOf(length))) << length;
}

TEST(TextHash, CopiesEveryByteAndNoMore) {
    for (std::size_t length = 0; length <= kLongest; ++length) {
        std::string target(kLongest + 1, '~');
        RyPTextHash::Copy(target.data(), TextOf(length));
        EXPECT_EQ(target, TextOf(length) + std::string(kLongest + 1 - length, '~')) << length;
    }
}

}  // namespace

#include "ryp/arena.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

TEST(Arena, HandsOutMemoryThatDoesNotOverlap) {
    RyPArena arena;
    std::vector<unsigned char*> pieces;
    for (unsigned char i = 0; i < 200; ++i) {
        pieces.push_back(static_cast<unsigned char*>(arena.Allocate(40)));
        std::memset(pieces.back(), i, 40);
    }
    for (unsigned char i = 0; i < 200; ++i)
        for (int at = 0; at < 40; ++at) ASSERT_EQ(pieces[i][at], i);
}

TEST(Arena, AlignsEveryPieceForADouble) {
    RyPArena arena;
    for (const std::size_t bytes : {1U, 3U, 8U, 9U, 17U, 5000U}) {
        const auto address = reinterpret_cast<std::uintptr_t>(arena.Allocate(bytes));
        EXPECT_EQ(address % alignof(double), 0U) << bytes;
    }
}

TEST(Arena, HandsOutPiecesLargerThanItsBlocks) {
    RyPArena arena;
    char* const large = static_cast<char*>(arena.Allocate(100'000));
    std::memset(large, 1, 100'000);
    EXPECT_TRUE(arena.Holds(large));
    EXPECT_TRUE(arena.Holds(large + 99'999));
}

TEST(Arena, HoldsWhatItHandedOutAndNothingElse) {
    RyPArena arena;
    RyPArena other;
    const int outside = 0;
    EXPECT_FALSE(arena.Holds(&outside));
    std::vector<void*> pieces;
    for (int i = 0; i < 100; ++i) pieces.push_back(arena.Allocate(100));
    for (const void* const piece : pieces) {
        EXPECT_TRUE(arena.Holds(piece));
        EXPECT_FALSE(other.Holds(piece));
    }
    EXPECT_FALSE(arena.Holds(&outside));
    EXPECT_FALSE(arena.Holds(nullptr));
}

TEST(Arena, TellsHowMuchItHandedOut) {
    RyPArena arena;
    EXPECT_EQ(arena.Used(), 0U);
    arena.Allocate(8);
    arena.Allocate(16);
    EXPECT_EQ(arena.Used(), 24U);
}

TEST(Arena, HandsOutWhatWasReservedInOnePiece) {
    RyPArena arena;
    arena.Reserve(10'000);
    const char* const first = static_cast<char*>(arena.Allocate(5000));
    const char* const second = static_cast<char*>(arena.Allocate(5000));
    EXPECT_EQ(second, first + 5000);
}

TEST(Arena, ReservingWhatIsThereChangesNothing) {
    RyPArena arena;
    const char* const first = static_cast<char*>(arena.Allocate(8));
    arena.Reserve(8);
    EXPECT_EQ(static_cast<char*>(arena.Allocate(8)), first + 8);
}

}  // namespace

#include "text/texts.h"

#include <gtest/gtest.h>

namespace {

TEST(WallClock, IsInUtc) {
    EXPECT_EQ("2023-11-14 22:13:20 UTC", kzstatprogram::WallClock(1.7e9));
}

}  // namespace

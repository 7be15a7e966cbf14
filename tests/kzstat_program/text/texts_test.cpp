#include "text/texts.h"

#include <gtest/gtest.h>

namespace {

TEST(WallClock, IsInUtc) {
    EXPECT_EQ("2023-11-14 22:13:20 UTC", kzstatprogram::WallClock(1.7e9));
}

TEST(TimeOfRun, IsToATenthOfASecond) {
    EXPECT_EQ("0:00", kzstatprogram::TimeOfRun(0.04));
    EXPECT_EQ("0:30.5", kzstatprogram::TimeOfRun(30.46));
    EXPECT_EQ("1:00", kzstatprogram::TimeOfRun(59.96));
    EXPECT_EQ("10:09", kzstatprogram::TimeOfRun(609));
    EXPECT_EQ("1:02:03", kzstatprogram::TimeOfRun(3723));
    EXPECT_EQ("-0:00.5", kzstatprogram::TimeOfRun(-0.5));
}

}  // namespace

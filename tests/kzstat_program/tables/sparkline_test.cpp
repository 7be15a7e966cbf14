#include "tables/sparkline.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>

namespace {

TEST(Sparkline, RisesFromTheLeastToTheGreatest) {
    std::setlocale(LC_CTYPE, "C");
    EXPECT_EQ("_.-=+*%#", kzstatprogram::Sparkline({1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ("_ #", kzstatprogram::Sparkline({1, std::nan(""), 2}));
    EXPECT_EQ("__", kzstatprogram::Sparkline({5, 5}));
    EXPECT_EQ("", kzstatprogram::Sparkline({}));
}

}  // namespace

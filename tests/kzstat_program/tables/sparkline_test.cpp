#include "tables/sparkline.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>

namespace {

class Sparkline : public testing::Test {
protected:
    Sparkline() { std::setlocale(LC_CTYPE, "C"); }
};

TEST_F(Sparkline, RisesFromZeroToTheGreatest) {
    EXPECT_EQ("_.-=+*%#", kzstatprogram::Sparkline({0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ("+ #", kzstatprogram::Sparkline({1, std::nan(""), 2}));
    EXPECT_EQ("##", kzstatprogram::Sparkline({5, 5}));
    EXPECT_EQ("__", kzstatprogram::Sparkline({0, 0}));
    EXPECT_EQ("", kzstatprogram::Sparkline({}));
}

TEST_F(Sparkline, BeginsAtTheLeastBelowZero) {
    EXPECT_EQ("_+#", kzstatprogram::Sparkline({-1, 0, 1}));
    EXPECT_EQ("_#", kzstatprogram::Sparkline({-2, 0}));
}

}  // namespace

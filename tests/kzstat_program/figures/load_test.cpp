#include "figures/load.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/slicemaker.h"

namespace {

using Types = CKZStatPointTypeEnum;

double LoadOf(const std::vector<Reported>& reported) {
    kzjournal::Slice slice{};
    slice.records = SliceMaker().NextSlice(reported).records;
    return kzstatprogram::LoadIn(slice);
}

TEST(Load, IsTheSumOfAllLoadSizes) {
    EXPECT_EQ(42, LoadOf({{"browsers", Types::LoadSize, {40}},
                          {"login", Types::Timer, {100}},
                          {"robots", Types::LoadSize, {2}}}));
}

TEST(Load, IsNoNumberWhereNoneWasReported) {
    EXPECT_TRUE(std::isnan(LoadOf({{"login", Types::Timer, {100}}})));
    EXPECT_TRUE(std::isnan(LoadOf({})));
}

}  // namespace

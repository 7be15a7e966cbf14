#include "figures/figuresofstatistics.h"

#include <gmock/gmock.h>

#include "conditions/condition.h"
#include "figures/statisticscolumns.h"

namespace {

using kzstatprogram::FiguresOfStatistics;
using testing::ElementsAre;
using testing::Eq;
using testing::Optional;

kzstatprogram::Statistics Login() {
    kzstatprogram::Statistics row;
    row.name = "login";
    row.unit = "ms";
    row.count = 2;
    row.distribution.emplace();
    row.distribution->Add(10);
    return row;
}

TEST(FiguresOfStatistics, AreThoseOfTheirColumns) {
    const std::vector<kzstatprogram::Statistics> rows{Login()};
    const FiguresOfStatistics figures("the run", rows);
    EXPECT_THAT(figures.Names(), ElementsAre("login"));
    EXPECT_EQ("ms", figures.Find("login")->unit);
    EXPECT_TRUE(figures.Find("login")->hasDistribution);
    EXPECT_THAT(figures.ValueOf("login", "count"), Optional(2));
    EXPECT_THAT(figures.ValueOf("login", "p99.9"), Optional(10));
    EXPECT_THAT(figures.ValueOf("login", "mean"), Eq(std::nullopt));
}

TEST(FiguresOfStatistics, AreNoneOfAnUnknownName) {
    const std::vector<kzstatprogram::Statistics> rows{Login()};
    const FiguresOfStatistics figures("the run", rows);
    EXPECT_FALSE(figures.Find("logout"));
    EXPECT_THAT(figures.ValueOf("logout", "count"), Eq(std::nullopt));
}

TEST(FiguresOfStatistics, AreAllThatConditionsMayNameButShares) {
    for (const auto& column : kzstatprogram::NumberColumns(kzstatprogram::UsualPercentiles()))
        EXPECT_EQ(column.title,
                  kzconditions::ConditionOf("login " + column.title + " < 5").statistic);
}

}  // namespace

#include "figures/failcondition.h"

#include <gmock/gmock.h>

#include <cmath>

namespace {

using kzstatprogram::FailCondition;
using testing::Optional;

/// A run in which the mean of "login time" is `mean`.
kzstatprogram::ComparedRun RunWithMean(double mean) {
    kzstatprogram::Statistics row;
    row.name = "login time";
    row.unit = "ms";
    row.count = 4;
    row.average = mean;
    return {{row}, {{}}};
}

/// A run of logins with these times.
kzstatprogram::ComparedRun RunWithTimes(const std::vector<double>& times) {
    kzstatprogram::ComparedRun run = RunWithMean(1);
    run.statistics.front().distribution.emplace();
    for (const double time : times) run.statistics.front().distribution->Add(time);
    return run;
}

std::optional<std::string> Check(const std::string& condition, double before, double after) {
    return FailCondition(condition).Check(RunWithMean(before), RunWithMean(after));
}

TEST(FailCondition, TakesNoMoreThanItsShareUpwards) {
    EXPECT_FALSE(Check("login time mean +10%", 100, 110));
    EXPECT_THAT(Check("login time mean +10%", 100, 111),
                Optional(std::string("login time mean +10%: 100 became 111")));
    EXPECT_FALSE(Check("login time mean +10%", 100, 1));
}

TEST(FailCondition, TakesNoMoreThanItsShareDownwards) {
    EXPECT_FALSE(Check("login time mean -10%", 100, 90));
    EXPECT_TRUE(Check("login time mean -10%", 100, 89));
    EXPECT_FALSE(Check("login time mean -10%", 100, 1000));
}

TEST(FailCondition, TakesValuesAsTheyAre) {
    EXPECT_FALSE(Check("login time mean +2.5", 10, 12.5));
    EXPECT_TRUE(Check("login time mean +2.5", 10, 12.6));
    EXPECT_TRUE(Check("login time mean -0", 10, 9.9));
}

TEST(FailCondition, OfAShareOfAValueBelowZeroLooksUpwards) {
    EXPECT_FALSE(Check("login time mean +10%", -100, -90));
    EXPECT_TRUE(Check("login time mean +10%", -100, -89));
}

TEST(FailCondition, BoundsTheSecondRun) {
    EXPECT_FALSE(Check("login time mean > 250ms", 300, 250));
    EXPECT_THAT(Check("login time mean > 250ms", 100, 251),
                Optional(std::string("login time mean > 250ms: it is 251 ms")));
    EXPECT_FALSE(FailCondition("login time mean > 250").Check({}, RunWithMean(250)));
}

TEST(FailCondition, KnowsEachComparison) {
    const auto failing = [](const std::string& comparison) {
        std::string means;
        for (const int mean : {9, 10, 11})
            if (Check("login time mean " + comparison + " 10", 0, mean))
                means += std::to_string(mean) + " ";
        return means;
    };
    EXPECT_EQ("11 ", failing(">"));
    EXPECT_EQ("10 11 ", failing(">="));
    EXPECT_EQ("9 ", failing("<"));
    EXPECT_EQ("9 10 ", failing("<="));
}

TEST(FailCondition, ConvertsUnitsOfTime) {
    for (const char* const limit :
         {"0.25s", "250 ms", "250000us", "250000000 ns", "250", "2.5e2"}) {
        const std::string condition = std::string("login time mean > ") + limit;
        EXPECT_FALSE(Check(condition, 0, 250)) << limit;
        EXPECT_TRUE(Check(condition, 0, 250.001)) << limit;
    }
}

TEST(FailCondition, NeedsNoBlanksAroundAComparison) {
    EXPECT_TRUE(Check("login time mean>=250ms", 0, 250));
    EXPECT_TRUE(Check("login time mean >-5", 0, -4));
    EXPECT_TRUE(Check("login time mean > -5", 0, -4));
    EXPECT_FALSE(Check("login time mean > -5", 0, -6));
}

TEST(FailCondition, MayEndWithBlanks) {
    EXPECT_TRUE(Check("login time mean > 5ms  ", 0, 6));
    EXPECT_TRUE(Check("login time mean +10% ", 100, 111));
}

TEST(FailCondition, BoundsAnyPercentile) {
    const auto check = [](const std::string& condition) {
        return FailCondition(condition).Check({}, RunWithTimes({100, 200, 300, 400}));
    };
    EXPECT_FALSE(check("login time p25 > 100.5ms"));
    EXPECT_TRUE(check("login time p99.9 >= 400ms"));
    EXPECT_THAT(check("login time p75.5 > 0.4s"), testing::Eq(std::nullopt));
    EXPECT_THAT(check("login time p75.5 > 0.399s"),
                Optional(std::string("login time p75.5 > 0.399s: it is 400 ms")));
}

TEST(FailCondition, BoundsACountWithoutAUnit) {
    EXPECT_THAT(Check("login time count < 5", 0, 0),
                Optional(std::string("login time count < 5: it is 4")));
    EXPECT_THROW(FailCondition("login time count < 5ms"), kzjournal::Error);
    EXPECT_THROW(FailCondition("login time rate < 5s"), kzjournal::Error);
}

TEST(FailCondition, IsNotKeptQuietByNaN) {
    EXPECT_TRUE(Check("login time mean > 250ms", 0, std::nan("")));
    EXPECT_TRUE(Check("login time mean < 250ms", 0, std::nan("")));
}

TEST(FailCondition, RefusesAPercentileThatIsUnknown) {
    const FailCondition condition("login time p95 > 250ms");
    EXPECT_THROW(condition.Check({}, RunWithMean(1)), kzjournal::Error);
    EXPECT_THROW(condition.Check({}, RunWithTimes({})), kzjournal::Error);
    EXPECT_THROW(condition.Check({}, RunWithTimes({std::nan("")})), kzjournal::Error);
    EXPECT_THROW(FailCondition("login time p95 +1%").Check(RunWithMean(1), RunWithTimes({1})),
                 kzjournal::Error);
}

TEST(FailCondition, RefusesAUnitOfTimeForWhatHasNone) {
    kzstatprogram::ComparedRun run = RunWithMean(1);
    run.statistics.front().unit = "";
    EXPECT_THROW(FailCondition("login time mean > 1ms").Check({}, run), kzjournal::Error);
    EXPECT_FALSE(FailCondition("login time mean > 1").Check({}, run));
}

TEST(FailCondition, RefusesWhatIsNone) {
    for (const char* const text : {"",
                                   "mean +10%",
                                   "login mean",
                                   "login mean 10%",
                                   "login avg +1%",
                                   "login mean +",
                                   "login mean +x%",
                                   "login mean +-1",
                                   "login mean +nan",
                                   "login mean >",
                                   "login mean > x",
                                   "login mean > 5 days",
                                   "login mean > 5%",
                                   "> 5",
                                   "mean > 5",
                                   "login p0 > 5",
                                   "login p100 > 5",
                                   "login mean >> 5",
                                   "login mean => 5",
                                   "login mean == 5",
                                   "login mean > inf",
                                   "login mean > 5ms ms"})
        EXPECT_THROW(FailCondition condition(text), kzjournal::Error) << text;
}

TEST(FailCondition, RefusesARunWithoutTheName) {
    EXPECT_THROW(Check("logout mean +10%", 1, 1), kzjournal::Error);
    EXPECT_THROW(Check("login time max +10%", 1, 1), kzjournal::Error);
}

}  // namespace

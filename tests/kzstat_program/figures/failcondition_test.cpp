#include "figures/failcondition.h"

#include <gmock/gmock.h>

#include <cmath>

namespace {

using kzconditions::ConditionOf;
using kzconditions::Outcome;
using kzstatprogram::FailCondition;
using testing::HasSubstr;
using testing::Optional;
using testing::StartsWith;

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

/// What happened; nothing where the condition keeps quiet.
std::optional<std::string> Check(const std::string& condition,
                                 const kzstatprogram::ComparedRun& before,
                                 const kzstatprogram::ComparedRun& after) {
    const kzstatprogram::FailFinding finding =
        FailCondition(ConditionOf(condition)).Check(before, after);
    EXPECT_NE(Outcome::CannotTell, finding.outcome) << finding.line;
    if (finding.outcome == Outcome::Passed) return std::nullopt;
    return finding.line;
}
std::optional<std::string> Check(const std::string& condition, double before, double after) {
    return Check(condition, RunWithMean(before), RunWithMean(after));
}

/// Why it cannot be told.
std::string ReasonOf(const std::string& condition, const kzstatprogram::ComparedRun& before,
                     const kzstatprogram::ComparedRun& after) {
    const kzstatprogram::FailFinding finding =
        FailCondition(ConditionOf(condition)).Check(before, after);
    EXPECT_EQ(Outcome::CannotTell, finding.outcome);
    return finding.line;
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
    EXPECT_FALSE(Check("login time mean > 250", {}, RunWithMean(250)));
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
        return Check(condition, {}, RunWithTimes({100, 200, 300, 400}));
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
    EXPECT_THROW(ConditionOf("login time count < 5ms"), kzjournal::Error);
    EXPECT_THROW(ConditionOf("login time rate < 5s"), kzjournal::Error);
}

TEST(FailCondition, IsNotKeptQuietByNaN) {
    EXPECT_TRUE(Check("login time mean > 250ms", 0, std::nan("")));
    EXPECT_TRUE(Check("login time mean < 250ms", 0, std::nan("")));
}

TEST(FailCondition, CannotTellOfAPercentileThatIsUnknown) {
    const std::string condition = "login time p95 > 250ms";
    const std::string reason = condition + ": the second run has no p95 of login time";
    EXPECT_EQ(reason + ", nor the distribution of all its values",
              ReasonOf(condition, {}, RunWithMean(1)));
    EXPECT_THAT(ReasonOf(condition, {}, RunWithTimes({})), StartsWith(reason));
    EXPECT_THAT(ReasonOf(condition, {}, RunWithTimes({std::nan("")})), StartsWith(reason));
    EXPECT_THAT(ReasonOf("login time p95 +1%", RunWithMean(1), RunWithTimes({1})),
                HasSubstr("the first run has no p95"));
}

TEST(FailCondition, CannotTellInAUnitOfTimeOfWhatHasNone) {
    kzstatprogram::ComparedRun run = RunWithMean(1);
    run.statistics.front().unit = "";
    EXPECT_THAT(ReasonOf("login time mean > 1ms", {}, run), HasSubstr("not measured in ms"));
    EXPECT_FALSE(Check("login time mean > 1", {}, run));
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
        EXPECT_THROW(ConditionOf(text), kzjournal::Error) << text;
}

TEST(FailCondition, CannotTellOfARunWithoutTheName) {
    EXPECT_THAT(ReasonOf("logout mean +10%", RunWithMean(1), RunWithMean(1)),
                StartsWith("logout mean +10%: the first run has no logout"));
    EXPECT_THAT(ReasonOf("login time max +10%", RunWithMean(1), RunWithMean(1)),
                HasSubstr("has no max of login time"));
}

}  // namespace

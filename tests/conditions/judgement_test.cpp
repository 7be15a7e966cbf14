#include "conditions/judgement.h"

#include <gmock/gmock.h>

#include <cmath>

#include "conditions/madefigures.h"

namespace {

using kzconditions::ConditionOf;
using kzconditions::Demand;
using kzconditions::Judgement;
using kzconditions::Outcome;
using testing::Eq;
using testing::HasSubstr;

Judgement Require(const std::string& condition, const MadeFigures& run) {
    return Judge(ConditionOf(condition), Demand::Must, run);
}

/// A run of four logins.
struct LoginsOf : MadeFigures {
    explicit LoginsOf(double mean) { Timer("login", {{"count", 4}, {"rate", 2}, {"mean", mean}}); }
};

/// Which of 9, 10 and 11 pass a comparison with 10.
std::string Passing(const std::string& comparison, Demand demand) {
    std::string passing;
    for (const int mean : {9, 10, 11})
        if (Judge(ConditionOf("login mean " + comparison + " 10ms"), demand, LoginsOf(mean))
                .outcome == Outcome::Passed)
            passing += std::to_string(mean) + " ";
    return passing;
}

TEST(Judgement, KnowsEachComparisonAndItsBoundary) {
    EXPECT_EQ("9 ", Passing("<", Demand::Must));
    EXPECT_EQ("9 10 ", Passing("<=", Demand::Must));
    EXPECT_EQ("11 ", Passing(">", Demand::Must));
    EXPECT_EQ("10 11 ", Passing(">=", Demand::Must));
}

TEST(Judgement, OfWhatMustNotBeSoIsTheOpposite) {
    EXPECT_EQ("10 11 ", Passing("<", Demand::MustNot));
    EXPECT_EQ("11 ", Passing("<=", Demand::MustNot));
    EXPECT_EQ("9 10 ", Passing(">", Demand::MustNot));
    EXPECT_EQ("9 ", Passing(">=", Demand::MustNot));
}

TEST(Judgement, ConvertsUnitsOfTime) {
    for (const char* const limit : {"0.25s", "250 ms", "250000us", "250000000 ns", "250"}) {
        EXPECT_EQ(Outcome::Passed,
                  Require("login mean <= " + std::string(limit), LoginsOf(250)).outcome);
        EXPECT_EQ(Outcome::Failed,
                  Require("login mean < " + std::string(limit), LoginsOf(250)).outcome);
    }
}

TEST(Judgement, ConvertsUnitsOfBytes) {
    MadeFigures run;
    run.Measured("answer.bytes", "bytes", {{"mean", 1500}});
    for (const char* const limit : {"1500", "1500B", "1500 bytes", "1.5kB", "0.0015MB"}) {
        EXPECT_EQ("1500 bytes", Require("answer.bytes mean <= " + std::string(limit), run).text);
        EXPECT_EQ(Outcome::Failed,
                  Require("answer.bytes mean < " + std::string(limit), run).outcome);
    }
    EXPECT_EQ(Outcome::CannotTell, Require("answer.bytes mean < 2ms", run).outcome);
    EXPECT_EQ(Outcome::CannotTell, Require("login mean < 2kB", LoginsOf(1)).outcome);
}

TEST(Judgement, TellsTheValueWithItsUnit) {
    const Judgement judgement = Require("login mean < 0.25s", LoginsOf(251));
    EXPECT_EQ(Outcome::Failed, judgement.outcome);
    EXPECT_EQ("251 ms", judgement.text);
    EXPECT_EQ("ms", judgement.unit);
    EXPECT_THAT(judgement.value, Eq(251));
    EXPECT_EQ("4", Require("login count > 3", LoginsOf(1)).text);
}

TEST(Judgement, ShowsOnWhichSideOfTheLimitAValueIs) {
    EXPECT_EQ("250.001 ms", Require("login mean <= 250ms", LoginsOf(250.001)).text);
    EXPECT_EQ("249.999 ms", Require("login mean < 250ms", LoginsOf(249.999)).text);
    EXPECT_EQ("250 ms", Require("login mean <= 250ms", LoginsOf(250)).text);
    EXPECT_EQ("212.4 ms", Require("login mean < 250ms", LoginsOf(212.4321)).text);
}

TEST(Judgement, OfNaNIsNeverPassed) {
    for (const Demand demand : {Demand::Must, Demand::MustNot})
        for (const char* const text :
             {"login mean < 5", "login mean <= 5", "login mean > 5", "login mean >= 5"})
            EXPECT_EQ(Outcome::Failed,
                      Judge(ConditionOf(text), demand, LoginsOf(std::nan(""))).outcome);
    const LoginsOf usual(1);
    const LoginsOf none(std::nan(""));
    EXPECT_EQ(Outcome::Failed,
              Judge(ConditionOf("login mean +10%"), Demand::Must, none, &usual).outcome);
}

TEST(Judgement, OfAnInfiniteValueIsAsOfAnyOther) {
    EXPECT_EQ(Outcome::Failed, Require("login mean < 5", LoginsOf(HUGE_VAL)).outcome);
    EXPECT_EQ(Outcome::Passed, Require("login mean > 5", LoginsOf(HUGE_VAL)).outcome);
}

TEST(Judgement, CannotTellOfAnUnknownNameAndSaysWhatIsNear) {
    const Judgement judgement = Require("logn mean < 5", LoginsOf(1));
    EXPECT_EQ(Outcome::CannotTell, judgement.outcome);
    EXPECT_EQ("the run has no logn; near it: login", judgement.reason);
    EXPECT_EQ(judgement.reason, judgement.text);
    EXPECT_THAT(judgement.value, Eq(std::nullopt));
    EXPECT_EQ(Outcome::CannotTell, Require("other.failed count < 5", LoginsOf(1)).outcome);
}

TEST(Judgement, CannotTellOfAStatisticWithoutAValue) {
    MadeFigures run;
    run.Timer("none", {{"count", 0}}).Timer("undistributed", {{"mean", 1}}, false);
    EXPECT_EQ("the run has no p95 of none; it has count", Require("none p95 < 5", run).reason);
    EXPECT_EQ("the run has no p95 of undistributed, nor the distribution of all its values",
              Require("undistributed p95 < 5", run).reason);
    EXPECT_EQ(Outcome::CannotTell, Require("none mean < 5", run).outcome);
}

TEST(Judgement, SaysWhatANameHasInPlaceOfAStatistic) {
    MadeFigures run;
    run.Measured("sent.bytes", "bytes", {{"last", 2}, {"mean", 1}}).Timer("idle", {});
    for (const char* const statistic : {"count", "sum", "rate"})
        EXPECT_EQ(std::string("the run has no ") + statistic + " of sent.bytes; it has mean, last",
                  Require(std::string("sent.bytes ") + statistic + " < 5", run).reason);
    EXPECT_EQ("the run has no mean of idle", Require("idle mean < 5", run).reason);
}

TEST(Judgement, CannotTellInAUnitThatTheNameDoesNotHave) {
    MadeFigures run;
    run.Counter("bytes", {{"mean", 5}});
    EXPECT_THAT(Require("bytes mean < 5ms", run).reason, HasSubstr("not measured in ms"));
    EXPECT_EQ(Outcome::Passed, Require("bytes mean < 6", run).outcome);
}

TEST(Judgement, CountsWhatNeverFailedAsNothing) {
    for (const char* const name : {"login.failed", "login.failed.timeout", "login.abandoned"}) {
        for (const char* const statistic : {" count", " rate", " sum"})
            EXPECT_EQ("0", Require(name + std::string(statistic) + " < 1", LoginsOf(1)).text);
        EXPECT_EQ(Outcome::CannotTell,
                  Require(name + std::string(" mean < 1"), LoginsOf(1)).outcome);
    }
    EXPECT_EQ(Outcome::CannotTell, Require("login.faild count < 1", LoginsOf(1)).outcome);
    EXPECT_EQ(Outcome::CannotTell, Require("logon.failed count < 1", LoginsOf(1)).outcome);
}

TEST(Judgement, CountsByTheSumWhatHasNoCount) {
    MadeFigures run;
    run.Counter("login.failed.timeout", {{"sum", 3}});
    EXPECT_EQ("3", Require("login.failed.timeout count < 1", run).text);
}

TEST(Judgement, OfATextThatIsNoConditionCannotBeTold) {
    const LoginsOf run(1);
    const auto judgements =
        kzconditions::JudgeTexts({"login mean < 5", "login maen < 5"}, Demand::Must, run);
    EXPECT_EQ(Outcome::Passed, judgements[0].outcome);
    EXPECT_EQ(Outcome::CannotTell, judgements[1].outcome);
    EXPECT_EQ("login maen < 5", judgements[1].condition);
    EXPECT_THAT(judgements[1].reason, HasSubstr("is no condition like"));
}

TEST(Judgement, OfTextsThatMeanTheSameIsOne) {
    const auto judgements = kzconditions::JudgeTexts(
        {"login mean < 5", "login  mean<5.0", "x", "login mean < 6"}, Demand::Must, LoginsOf(1));
    ASSERT_EQ(3U, judgements.size());
    EXPECT_EQ("login mean < 5", judgements[0].condition);
    EXPECT_EQ("x", judgements[1].condition);
    EXPECT_EQ("login mean < 6", judgements[2].condition);
}

TEST(Judgement, OfAChangeLooksInItsDirection) {
    const auto outcome = [](const std::string& change, double before, double after) {
        const LoginsOf baseline(before);
        return Judge(ConditionOf("login mean " + change), Demand::Must, LoginsOf(after), &baseline)
            .outcome;
    };
    EXPECT_EQ(Outcome::Passed, outcome("+10%", 100, 110));
    EXPECT_EQ(Outcome::Failed, outcome("+10%", 100, 110.1));
    EXPECT_EQ(Outcome::Passed, outcome("+10%", 100, 1));
    EXPECT_EQ(Outcome::Passed, outcome("-10%", 100, 90));
    EXPECT_EQ(Outcome::Failed, outcome("-10%", 100, 89));
    EXPECT_EQ(Outcome::Passed, outcome("+2.5", 10, 12.5));
    EXPECT_EQ(Outcome::Failed, outcome("+2.5", 10, 12.6));
    EXPECT_EQ(Outcome::Failed, outcome("+10%", 0, 0.1));
    EXPECT_EQ(Outcome::Failed, outcome("+10%", -100, -89));
}

TEST(Judgement, OfAChangeTellsBothValues) {
    const LoginsOf baseline(100);
    const Judgement judgement =
        Judge(ConditionOf("login mean +10%"), Demand::Must, LoginsOf(111), &baseline);
    EXPECT_EQ("111 ms, before 100 ms", judgement.text);
    EXPECT_THAT(judgement.before, Eq(100));
}

TEST(Judgement, OfAChangeNeedsABaselineWithTheName) {
    EXPECT_EQ("there is no run to compare with", Require("login mean +10%", LoginsOf(1)).reason);
    const MadeFigures empty;
    EXPECT_EQ(Outcome::CannotTell,
              Judge(ConditionOf("login mean +10%"), Demand::Must, LoginsOf(1), &empty).outcome);
}

TEST(Judgement, OfAShareIsInPercent) {
    MadeFigures run;
    run.Timer("login", {{"count", 96}}).Timer("login.failed", {{"count", 4}});
    const Judgement judgement = Require("errors share < 4%", run);
    EXPECT_EQ(Outcome::Failed, judgement.outcome);
    EXPECT_EQ("4 %", judgement.text);
    EXPECT_EQ(Outcome::Passed, Require("login.failed share <= 4%", run).outcome);
    EXPECT_EQ("0 %", Require("login.failed.timeout share < 1%", run).text);
}

TEST(Judgement, OfAShareWithoutAttemptsCannotTell) {
    EXPECT_EQ("nothing was attempted in the run",
              Require("errors share < 1%", MadeFigures()).reason);
    EXPECT_EQ("the run has no logn.failed; near it: login",
              Require("logn.failed share < 1%", LoginsOf(1)).reason);
    MadeFigures idle;
    idle.Timer("login", {{"count", 0}});
    EXPECT_EQ("nothing was attempted in the run", Require("login.failed share < 1%", idle).reason);
}

}  // namespace

#include "conditions/verdict.h"

#include <gmock/gmock.h>

namespace {

using kzconditions::Judgement;
using kzconditions::LinesOf;
using kzconditions::Outcome;
using kzconditions::VerdictLine;
using kzconditions::VerdictOf;
using testing::ElementsAre;

Judgement Told(Outcome outcome, const std::string& condition = "a mean < 5",
               const std::string& text = "4 ms") {
    Judgement judgement;
    judgement.outcome = outcome;
    judgement.condition = condition;
    judgement.text = text;
    return judgement;
}

const Judgement kPassed = Told(Outcome::Passed);
const Judgement kFailed = Told(Outcome::Failed);
const Judgement kUnknown = Told(Outcome::CannotTell);

TEST(Verdict, IsPassedOnlyIfAllPassed) {
    EXPECT_EQ(Outcome::Passed, VerdictOf({kPassed, kPassed}));
    EXPECT_EQ(Outcome::CannotTell, VerdictOf({kPassed, kUnknown}));
    EXPECT_EQ(Outcome::Failed, VerdictOf({kUnknown, kFailed, kPassed}));
}

TEST(Verdict, IsOneLine) {
    EXPECT_EQ("verdict: passed", VerdictLine({kPassed}));
    EXPECT_EQ("verdict: FAILED, 1 of 3 conditions", VerdictLine({kUnknown, kFailed, kPassed}));
    EXPECT_EQ("verdict: cannot tell, 2 of 3 conditions",
              VerdictLine({kUnknown, kUnknown, kPassed}));
}

TEST(Verdict, HasALineForEachCondition) {
    EXPECT_THAT(LinesOf({kPassed, Told(Outcome::Failed, "a.long.name max < 5", "9 ms"), kUnknown}),
                ElementsAre("passed       a mean < 5           4 ms",
                            "FAILED       a.long.name max < 5  9 ms",
                            "cannot tell  a mean < 5           4 ms"));
}

TEST(Verdict, IsNotMovedOutOfSightByALongCondition) {
    const std::string condition(200, 'x');
    EXPECT_THAT(LinesOf({kPassed, Told(Outcome::Passed, condition, "1")}),
                ElementsAre("passed       a mean < 5" + std::string(40, ' ') + "  4 ms",
                            "passed       " + condition + "  1"));
}

TEST(Verdict, HasPrintableLines) {
    EXPECT_THAT(LinesOf({Told(Outcome::CannotTell, "a\n\x1b[31m mean < 5", "no a\xff")}),
                ElementsAre("cannot tell  a\\x0a\\x1b[31m mean < 5  no a\\xff"));
}

}  // namespace

#include "conditions/earlystop.h"

#include <gtest/gtest.h>

namespace {

using kzconditions::EarlyStopIn;
using kzconditions::EarlyStopNote;
using kzconditions::EarlyStopOf;
using kzconditions::Judgement;
using kzconditions::Outcome;
using kzconditions::ReasonToStop;

Judgement TooManyErrors() {
    Judgement judgement;
    judgement.condition = "errors share > 50%";
    judgement.outcome = Outcome::Failed;
    judgement.text = "62.5 %";
    return judgement;
}

TEST(EarlyStop, IsToldWithItsConditionAndWhatWasMeasured) {
    EXPECT_EQ("stopped early: errors share > 50%, it is 62.5 %",
              EarlyStopNote(ReasonToStop(TooManyErrors())));
}

TEST(EarlyStop, FailsARun) {
    const auto stop = EarlyStopOf(EarlyStopNote(ReasonToStop(TooManyErrors())));
    ASSERT_TRUE(stop);
    EXPECT_EQ(Outcome::Failed, stop->outcome);
    EXPECT_EQ("not stopped early", stop->condition);
    EXPECT_EQ("errors share > 50%, it is 62.5 %", stop->text);
    EXPECT_EQ(stop->text, stop->reason);
}

TEST(EarlyStop, IsNotReadOutOfOtherNotes) {
    for (const char* const text :
         {"", "stopped early", "stopped early: ", "stopped early: \t ", "it was stopped early: no"})
        EXPECT_FALSE(EarlyStopOf(text)) << text;
    EXPECT_FALSE(EarlyStopIn({}));
    EXPECT_FALSE(EarlyStopIn({{1, "deploy"}}));
}

TEST(EarlyStop, IsTheFirstOne) {
    const auto stop =
        EarlyStopIn({{1, "deploy"}, {2, "stopped early: a"}, {3, "stopped early: b"}});
    ASSERT_TRUE(stop);
    EXPECT_EQ("a", stop->text);
}

}  // namespace

#include "kzstatclocksteps.h"

#include <gtest/gtest.h>

namespace {

constexpr double kOrigin = 1.7e9;
std::optional<double> g_lead;

class ClockSteps : public testing::Test {
protected:
    ClockSteps() : m_steps(StepsFrom(kOrigin)) {}

    std::string NoteAt(std::optional<double> lead) {
        g_lead = lead ? std::optional(kOrigin + *lead) : std::nullopt;
        return m_steps.TakeNote();
    }

private:
    static CKZStatClockSteps StepsFrom(double lead) {
        g_lead = lead;
        return CKZStatClockSteps([] { return g_lead; });
    }

    CKZStatClockSteps m_steps;
};

TEST_F(ClockSteps, AreNotedOnce) {
    EXPECT_EQ("the system clock was set back by 3 s", NoteAt(-3));
    EXPECT_EQ("", NoteAt(-3));
    EXPECT_EQ("the system clock was set forward by 30.2 s, or the machine slept", NoteAt(27.2));
    EXPECT_EQ("", NoteAt(27.2));
}

TEST_F(ClockSteps, OfLessThanATenthOfASecondAreNone) {
    EXPECT_EQ("", NoteAt(0.09));
    EXPECT_EQ("the system clock was set forward by 0.2 s, or the machine slept", NoteAt(0.29));
}

TEST_F(ClockSteps, AreSeenAlsoAfterAReadingThatFailed) {
    EXPECT_EQ("", NoteAt(std::nullopt));
    EXPECT_EQ("the system clock was set back by 5 s", NoteAt(-5));
}

TEST(ClockStepsOfTheSystem, AreNoneWhereNobodySetsTheClock) {
    CKZStatClockSteps steps;
    EXPECT_EQ("", steps.TakeNote());
}

}  // namespace

#include "conditions/condition.h"

#include <gmock/gmock.h>

#include <utility>
#include <vector>

#include "kzjournalerror.h"

namespace {

using kzconditions::Bound;
using kzconditions::Change;
using kzconditions::Condition;
using kzconditions::ConditionOf;
using testing::HasSubstr;
using testing::SizeIs;

std::string RefusalOf(const std::string& text) {
    try {
        ConditionOf(text);
        return "";
    } catch (const kzjournal::Error& error) {
        return error.what();
    }
}

TEST(Condition, IsANameAStatisticAndABound) {
    const Condition condition = ConditionOf("  login time p99.9 <= 2.5e2 us \r\n");
    EXPECT_EQ("login time p99.9 <= 2.5e2 us", condition.text);
    EXPECT_EQ("login time", condition.name);
    EXPECT_EQ("p99.9", condition.statistic);
    const Bound& bound = std::get<Bound>(condition.limit);
    EXPECT_EQ("<=", bound.comparison);
    EXPECT_EQ(250, bound.limit);
    EXPECT_EQ("us", bound.unit);
}

TEST(Condition, NeedsNoBlanksAroundAComparison) {
    for (const char* const text : {"login max>=5ms", "login max >=5 ms", "login max>= 5ms"}) {
        const Condition condition = ConditionOf(text);
        EXPECT_EQ("login", condition.name) << text;
        EXPECT_EQ(">=", std::get<Bound>(condition.limit).comparison) << text;
        EXPECT_EQ("ms", std::get<Bound>(condition.limit).unit) << text;
    }
}

TEST(Condition, IsANameAStatisticAndAChange) {
    const Change up = std::get<Change>(ConditionOf("login time mean +10%").limit);
    EXPECT_FALSE(up.isDownwards);
    EXPECT_TRUE(up.isRelative);
    EXPECT_EQ(10, up.limit);
    const Change down = std::get<Change>(ConditionOf("logins rate -2.5").limit);
    EXPECT_TRUE(down.isDownwards);
    EXPECT_FALSE(down.isRelative);
    EXPECT_EQ(2.5, down.limit);
}

TEST(Condition, TakesANegativeLimit) {
    EXPECT_EQ(-5, std::get<Bound>(ConditionOf("a mean > -5").limit).limit);
    EXPECT_EQ(-5, std::get<Bound>(ConditionOf("a mean >-5").limit).limit);
}

TEST(Condition, MayBeOfANameWithComparisonsAndBlanks) {
    EXPECT_EQ("a < b > c +1%", ConditionOf("a < b > c +1% mean < 5").name);
}

TEST(Condition, OfAShareIsInPercent) {
    EXPECT_EQ("errors", ConditionOf("errors share < 1%").name);
    EXPECT_EQ("a.failed.timeout", ConditionOf("a.failed.timeout share <= 0.5 %").name);
    EXPECT_THAT(RefusalOf("errors share < 0.01"), HasSubstr("a share is in %"));
    EXPECT_THAT(RefusalOf("errors share < 1ms"), HasSubstr("a share is in %"));
    EXPECT_THAT(RefusalOf("login mean < 1%"), HasSubstr("only a share is in %"));
    for (const char* const text :
         {"login share < 1%", "login share +1%", ".failed share < 1%", "login.failedly share < 1%"})
        EXPECT_THAT(RefusalOf(text), HasSubstr("a share is that of")) << text;
}

TEST(Condition, HasNoUnitForANumber) {
    for (const char* const statistic : {"count", "rate"})
        EXPECT_THAT(RefusalOf("login " + std::string(statistic) + " < 5ms"),
                    HasSubstr("has no unit"));
}

TEST(Condition, RefusesWhatIsNone) {
    for (const char* const text : {"",
                                   " ",
                                   "<",
                                   "<5",
                                   "mean < 5",
                                   "login < 5",
                                   "login mean",
                                   "login mean <",
                                   "login mean < x",
                                   "login mean << 5",
                                   "login mean <> 5",
                                   "login mean => 5",
                                   "login mean == 5",
                                   "login mean < inf",
                                   "login mean < nan",
                                   "login mean < 1e999",
                                   "login mean < 0x10",
                                   "login mean < 5 days",
                                   "login mean < 5ms ms",
                                   "login mean < 5MS",
                                   "login avg < 5",
                                   "login Mean < 5",
                                   "login p0 < 5",
                                   "login p100 < 5",
                                   "login p-1 < 5",
                                   "login p < 5",
                                   "login p95x < 5",
                                   "login mean 10%",
                                   "login mean +",
                                   "login mean +x%",
                                   "login mean +-1",
                                   "login mean +nan",
                                   "login mean +1ms",
                                   "login mean + 10%",
                                   "login mean < (5"})
        EXPECT_NE("", RefusalOf(text)) << text;
    EXPECT_NE("", RefusalOf(std::string("login mean < 5\0", 15)));
}

TEST(Condition, MeansTheSameHoweverItIsWritten) {
    const auto meanTheSame = [](const char* a, const char* b) {
        return MeanTheSame(ConditionOf(a), ConditionOf(b));
    };
    for (const auto& [a, b] : {std::pair("errors share < 1%", "errors  share<1.0 %"),
                               std::pair("login p99 < 250ms", "login p99.0 < 0.25 s"),
                               std::pair("login max < 1.1ms", "login max < 1100us"),
                               std::pair("login mean +10%", "login  mean +1e1%")})
        EXPECT_TRUE(meanTheSame(a, b)) << b;
    for (const char* const other : {"login mean <= 5ms", "login mean > 5ms", "login mean < 6ms",
                                    "login mean < 5s", "login mean < 5", "login mean < 5B",
                                    "login max < 5ms", "logins mean < 5ms", "login mean +5"})
        EXPECT_FALSE(meanTheSame("login mean < 5ms", other)) << other;
    for (const char* const other : {"login mean -5%", "login mean +5", "login mean +6%"})
        EXPECT_FALSE(meanTheSame("login mean +5%", other)) << other;
}

TEST(Condition, IsAddedOnceAsItWasWrittenFirst) {
    std::vector<Condition> conditions;
    for (const char* const text : {"errors share < 1%", "errors share<1%", "errors share < 2%"})
        kzconditions::AddNew({ConditionOf(text)}, conditions);
    ASSERT_THAT(conditions, SizeIs(2));
    EXPECT_EQ("errors share < 1%", conditions[0].text);
    EXPECT_EQ("errors share < 2%", conditions[1].text);
}

TEST(Condition, TakesAnyBytesInAName) {
    const std::string name("\xff\x00\x1b[31m\n\xe2\x82 \"'&<>", 17);
    EXPECT_EQ(name, ConditionOf(name + " mean < 5").name);
}

TEST(Condition, RefusesALongTextWithoutRepeatingIt) {
    const std::string longest = std::string(500 - 9, 'x') + " mean < 5";
    EXPECT_EQ(longest, ConditionOf(longest).text);
    const std::string refusal = RefusalOf("x" + longest);
    EXPECT_THAT(refusal, HasSubstr("longer than 500 bytes"));
    EXPECT_THAT(refusal, SizeIs(testing::Lt(200)));
    EXPECT_THAT(RefusalOf(std::string(1 << 20, '<')), SizeIs(testing::Lt(200)));
}

}  // namespace

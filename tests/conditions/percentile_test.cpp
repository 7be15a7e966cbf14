#include "conditions/percentile.h"

#include <gmock/gmock.h>

#include "kzjournalerror.h"

namespace {

using kzconditions::FindPercentile;
using kzconditions::Percentile;
using kzconditions::PercentilesOf;
using testing::ElementsAre;

std::vector<std::string> TitlesOf(const std::string& numbers) {
    std::vector<std::string> titles;
    for (const Percentile& each : PercentilesOf(numbers)) titles.push_back(each.title);
    return titles;
}

std::string ComplaintAbout(const std::string& numbers) {
    try {
        PercentilesOf(numbers);
        return "";
    } catch (const kzjournal::Error& error) {
        return error.what();
    }
}

TEST(Percentiles, StayInTheOrderInWhichTheyAreGiven) {
    EXPECT_THAT(TitlesOf("99.9,50,0.5"), ElementsAre("p99.9", "p50", "p0.5"));
    EXPECT_DOUBLE_EQ(0.999, PercentilesOf("99.9").front().quantile);
}

TEST(Percentiles, AreTitledByTheirShortestNumber) {
    EXPECT_THAT(TitlesOf("50.0,099.90"), ElementsAre("p50", "p99.9"));
}

TEST(Percentiles, AreUsually50And95And99) {
    std::vector<double> quantiles;
    for (const Percentile& each : kzconditions::UsualPercentiles())
        quantiles.push_back(each.quantile);
    EXPECT_THAT(quantiles, ElementsAre(0.5, 0.95, 0.99));
}

TEST(Percentiles, RefuseWhatIsNoNumber) {
    for (const char* const numbers : {"", ",", "50,", ",50", "x", "50 ", "p50", "50;95"})
        EXPECT_THAT(ComplaintAbout(numbers), testing::EndsWith("' is no number such as 99.9"));
}

TEST(Percentiles, RefuseWhatIsNotBetweenTheExtremes) {
    for (const char* const number : {"0", "100", "101", "-1", "inf", "nan"})
        EXPECT_EQ(
            number + std::string(" is not above 0 and below 100; min and max are the extremes"),
            ComplaintAbout(number));
}

TEST(Percentiles, RefuseOneThatIsThereTwice) {
    EXPECT_EQ("50 is there twice", ComplaintAbout("50,99,50.0"));
}

TEST(Percentiles, RefuseMoreThanATableCanShow) {
    std::string numbers = "1";
    for (int i = 2; i <= 20; ++i) numbers += "," + std::to_string(i);
    EXPECT_EQ("", ComplaintAbout(numbers));
    EXPECT_EQ("at most 20 are shown", ComplaintAbout(numbers + ",21"));
}

TEST(Percentiles, AreFoundByTheirTitles) {
    EXPECT_EQ("p99.9", FindPercentile("p99.90")->title);
    for (const char* const title : {"", "p", "99", "p0", "p100", "p99x", "mean", "P99"})
        EXPECT_FALSE(FindPercentile(title)) << title;
}

}  // namespace

#include "page/metrics.h"

#include <gmock/gmock.h>

#include <cmath>
#include <sstream>

namespace {

using kzjournal::NameSummary;
using testing::HasSubstr;
using testing::IsEmpty;
using Types = CKZStatPointTypeEnum;

NameSummary SummaryOf(const std::vector<double>& values, Types::PointType type = Types::Timer) {
    NameSummary summary;
    summary.record.type = type;
    summary.distribution.emplace();
    for (const double value : values) {
        summary.record.totals.Add(value);
        summary.distribution->Add(value);
    }
    return summary;
}

std::string HistogramOf(const NameSummary& summary) {
    return kzstatprogram::HistogramText("login", summary.record,
                                        summary.distribution ? &*summary.distribution : nullptr);
}

struct Bucket {
    double le;
    double count;
};

/// Of the one histogram that there is.
std::vector<Bucket> BucketsOf(const std::vector<double>& values) {
    std::istringstream lines(HistogramOf(SummaryOf(values)));
    std::vector<Bucket> buckets;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t le = line.find("le=\"");
        if (le == std::string::npos) continue;
        buckets.push_back(
            {std::stod(line.substr(le + 4)), std::stod(line.substr(line.find("} ") + 2))});
    }
    return buckets;
}

TEST(Histograms, AreThereForTimersWithDistributions) {
    NameSummary unknown = SummaryOf({1});
    unknown.distribution.reset();
    EXPECT_THAT(HistogramOf(SummaryOf({1})),
                HasSubstr("_count{name=\"login\",type=\"Timer\"} 1\n"));
    EXPECT_THAT(HistogramOf(SummaryOf({1}, Types::TransactionTimer)),
                HasSubstr("_count{name=\"login\",type=\"TransactionTimer\"} 1\n"));
    EXPECT_THAT(HistogramOf(SummaryOf({1}, Types::Measurement)), IsEmpty());
    EXPECT_THAT(HistogramOf(unknown), IsEmpty());
}

TEST(Histograms, AreCumulativeInSeconds) {
    const std::string text = HistogramOf(SummaryOf({99.5, 100, 250, 500000}));
    const std::string bucket =
        "kzstat_time_distribution_seconds_bucket{name=\"login\",type=\"Timer\",";
    EXPECT_THAT(text, HasSubstr(bucket + "le=\"0.000124999\"} 0\n"));
    EXPECT_THAT(text, HasSubstr(bucket + "le=\"0.069999999\"} 0\n" + bucket +
                                "le=\"0.099999999\"} 1\n" + bucket + "le=\"0.139999999\"} 2\n"));
    EXPECT_THAT(text,
                testing::EndsWith(bucket + "le=\"127.999999999\"} 3\n" + bucket +
                                  "le=\"+Inf\"} 4\n"
                                  "kzstat_time_distribution_seconds_sum{name=\"login\",type="
                                  "\"Timer\"} 500.4495\n"
                                  "kzstat_time_distribution_seconds_count{name=\"login\",type="
                                  "\"Timer\"} 4\n"));
}

TEST(Histograms, CountEveryTimeOfWholeNanosecondsExactly) {
    std::vector<double> times;
    for (const double bound : {0.125, 1.0, 1.5, 50.0, 100.0, 250.0, 1000.0, 128000.0})
        for (const double nanoseconds : {-2, -1, 0, 1, 2})
            times.push_back(bound + nanoseconds / 1e6);
    for (const Bucket& bucket : BucketsOf(times)) {
        double count = 0;
        // The label says whole nanoseconds, which a double of seconds only comes close to.
        for (const double time : times)
            if (std::round(time * 1e6) <= std::round(bucket.le * 1e9)) ++count;
        EXPECT_EQ(count, bucket.count) << bucket.le;
    }
}

TEST(Histograms, NeverDecreaseWithTheirBounds) {
    double before = 0;
    for (const Bucket& bucket : BucketsOf({-5, 0, 0.3, 7, 7, 81, 1e9, HUGE_VAL, -HUGE_VAL})) {
        EXPECT_GE(bucket.count, before);
        before = bucket.count;
    }
    EXPECT_EQ(9, before);
}

TEST(Histograms, CountWhatIsNoNumberAboveAllBounds) {
    const std::vector<Bucket> buckets = BucketsOf({1, std::nan("")});
    EXPECT_EQ(1, buckets[buckets.size() - 2].count);
    EXPECT_EQ(2, buckets.back().count);
    EXPECT_TRUE(std::isinf(buckets.back().le));
}

}  // namespace

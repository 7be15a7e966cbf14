#include "kzstatmerge.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kzstatdistribution.h"
#include "kzstatgenmeasurementdictionary.h"
#include "kzstatpointbuilder.h"
#include "kzstatslicevalues.h"
#include "support/aggregates.h"

namespace {

using Types = CKZStatPointTypeEnum;

TEST(Merge, AddsRecordsOfOneName) {
    CKZStatMerge merge;
    EXPECT_TRUE(merge.Add("login", Types::Timer, Of({10, 30}), Of({30})));
    EXPECT_TRUE(merge.Add("login", Types::Timer, Of({50}), Of({50})));
    ASSERT_EQ(merge.GetRecords().size(), 1U);
    const CKZStatMessageRecord& login = merge.GetRecords()[0];
    EXPECT_EQ(login.name, "login");
    EXPECT_EQ(login.type, Types::Timer);
    EXPECT_EQ(login.totals.count, 3);
    EXPECT_EQ(login.totals.sum, 90);
    EXPECT_EQ(login.totals.sumSqr, 3500);
    EXPECT_EQ(login.lasts.minimum, 30);
    EXPECT_EQ(login.lasts.maximum, 50);
}

TEST(Merge, KeepsNamesInTheOrderInWhichTheyCame) {
    CKZStatMerge merge;
    for (const char* const name : {"b", "a", "b", "c"}) merge.Add(name, Types::Counter, {}, {});
    ASSERT_EQ(merge.GetRecords().size(), 3U);
    EXPECT_EQ(merge.GetRecords()[0].name, "b");
    EXPECT_EQ(merge.GetRecords()[1].name, "a");
    EXPECT_EQ(merge.GetRecords()[2].name, "c");
    EXPECT_EQ(merge.FindRecord("a"), &merge.GetRecords()[1]);
    EXPECT_EQ(merge.FindRecord("d"), nullptr);
}

TEST(Merge, CountsBeyondAnInt) {
    CKZStatMerge merge;
    for (int run = 0; run < 2; ++run)
        merge.Add("n", Types::Counter, {1, 1, 2e9, 2e9, 2e9}, {1, 1, 2e9, 2e9, 2e9});
    EXPECT_EQ(merge.FindRecord("n")->totals.count, 4e9);
    EXPECT_EQ(merge.FindRecord("n")->lasts.count, 4e9);
}

TEST(Merge, NotesAConflictOfTypesAndLeavesTheValuesOut) {
    CKZStatMerge merge;
    merge.Add("n", Types::Counter, Of({1}), {});
    EXPECT_FALSE(merge.Add("n", Types::Timer, Of({7}), {}));
    EXPECT_EQ(merge.FindRecord("n")->totals.sum, 1);
    ASSERT_EQ(merge.GetConflicts().size(), 1U);
    EXPECT_EQ(merge.GetConflicts()[0].name, "n");
    EXPECT_EQ(merge.GetConflicts()[0].type, Types::Counter);
    EXPECT_EQ(merge.GetConflicts()[0].refused, Types::Timer);
}

TEST(Merge, AddsInTheOrderGiven) {
    const auto sumOf = [](const std::vector<double>& values) {
        CKZStatMerge merge;
        for (const double value : values) merge.Add("n", Types::Timer, Of({value}), {});
        return merge.FindRecord("n")->totals.sum;
    };
    EXPECT_EQ(sumOf({1e16, 1, -1e16}), 1e16 + 1 - 1e16);
    EXPECT_EQ(sumOf({1e16, -1e16, 1}), 1);
}

TEST(Merge, TakesMessagesAndSlices) {
    CKZStatGenMeasurementDictionary dictionary;
    dictionary.AddLast("a", 1, Types::Counter);
    dictionary.AddLast("b", 2, Types::Counter);
    RWCString text;
    CKZStatMessageWriter(text).WriteHeader("gen", 1, 1, 1);
    RWCString records;
    dictionary.DumpDict(records);
    text += records;
    CKZStatMessage message;
    std::size_t fault = 0;
    ASSERT_TRUE(message.Read(text, CKZStatMessage::FullRecords, fault));

    CKZStatMerge merge;
    merge.Add(message);
    const CKZStatSliceValues slice({"gen", 1, 1, 1, 1}, text, dictionary);
    merge.Add(slice);
    ASSERT_EQ(merge.GetRecords().size(), 2U);
    EXPECT_EQ(merge.FindRecord("a")->totals.count, 2);
    EXPECT_EQ(merge.FindRecord("b")->lasts.sum, 4);
}

/// Views of one record with the distribution of its lasts, or null, and no message.
class MergeOfDistributions : public testing::Test {
protected:
    void Add(const CKZStatAggregate& lasts, const CKZStatDistribution* distribution,
             Types::PointType type = Types::Timer) {
        const std::vector<CKZStatMessageRecord> records = {{"login", type, lasts, lasts}};
        const std::vector<const CKZStatDistribution*> distributions = {distribution};
        m_merge.Add(CKZStatSliceValues({"gen", 1, 1, 1, 1}, m_message, records, distributions));
    }
    void Add(const std::vector<double>& values) {
        const CKZStatDistribution distribution = DistributionOf(values);
        Add(Of(values), &distribution);
    }
    static CKZStatDistribution DistributionOf(const std::vector<double>& values) {
        CKZStatDistribution distribution;
        for (const double value : values) distribution.Add(value);
        return distribution;
    }
    const CKZStatDistribution* Merged() const { return m_merge.GetLastsDistributions().at(0); }

    CKZStatMerge m_merge;

private:
    const RWCString m_message;
};

TEST_F(MergeOfDistributions, IsThatOfAllValues) {
    Add({10, 30});
    Add({20});
    ASSERT_NE(Merged(), nullptr);
    EXPECT_EQ(*Merged(), DistributionOf({10, 20, 30}));
    EXPECT_EQ(m_merge.GetTotalsDistributions().at(0), nullptr)
        << "these views show none of the run";
}

TEST_F(MergeOfDistributions, IsNoneOnceARecordWithValuesHasNone) {
    Add({10, 30});
    Add(Of({20}), nullptr);
    EXPECT_EQ(Merged(), nullptr);
    Add({40});
    EXPECT_EQ(Merged(), nullptr);
}

TEST_F(MergeOfDistributions, NeedsNoneOfARecordWithoutValues) {
    Add({}, nullptr);
    EXPECT_EQ(Merged(), nullptr);
    Add({10});
    Add({}, nullptr);
    ASSERT_NE(Merged(), nullptr);
    EXPECT_EQ(*Merged(), DistributionOf({10}));
}

TEST_F(MergeOfDistributions, LeavesOutThoseOfAnotherType) {
    Add({10});
    const CKZStatDistribution other = DistributionOf({20});
    Add(Of({20}), &other, Types::Counter);
    Add(Of({30}), nullptr, Types::Counter);
    ASSERT_NE(Merged(), nullptr);
    EXPECT_EQ(*Merged(), DistributionOf({10}));
}

TEST_F(MergeOfDistributions, KnowsThatMessagesHaveNone) {
    Add({10});
    m_merge.Add("login", Types::Timer, {}, Of({20}));
    EXPECT_EQ(Merged(), nullptr);
}

TEST(DistributionSum, AddsFormsAsItAddsDistributions) {
    CKZStatDistribution distribution;
    for (const double value : {10.0, 20.0, -1.0}) distribution.Add(value);
    std::string form;
    distribution.Encode(form);
    CKZStatDistributionSum byForm;
    CKZStatDistributionSum byValue;
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(byForm.AddEncoded(Of({10, 20, -1}), form));
        byValue.Add(Of({10, 20, -1}), &distribution);
    }
    ASSERT_NE(byForm.Get(), nullptr);
    EXPECT_EQ(*byForm.Get(), *byValue.Get());

    EXPECT_FALSE(byForm.AddEncoded(Of({1}), "no form"));
    EXPECT_EQ(*byForm.Get(), *byValue.Get());
    EXPECT_TRUE(byForm.AddEncoded({}, ""));
    EXPECT_NE(byForm.Get(), nullptr);
    EXPECT_TRUE(byForm.AddEncoded(Of({1}), ""));
    EXPECT_EQ(byForm.Get(), nullptr) << "nobody knows where the last value lies";
}

TEST(Merge, OfManyNamesFindsEach) {
    CKZStatMerge merge;
    for (int run = 0; run < 3; ++run)
        for (int i = 0; i < 5000; ++i)
            merge.Add("name" + std::to_string(i), Types::Timer, Of({double(i)}), {});
    ASSERT_EQ(merge.GetRecords().size(), 5000U);
    for (int i = 0; i < 5000; ++i)
        ASSERT_EQ(merge.FindRecord("name" + std::to_string(i))->totals.sum, 3.0 * i);
}

/// Points merge the same where their rules allow: minima above 0, both with values.
TEST(Merge, AgreesWithPoints) {
    std::mt19937 random(11);
    const auto someValues = [&] {
        std::vector<double> values(1 + random() % 5);
        for (double& value : values) value = 1 + static_cast<double>(random() % 1000);
        return Of(values);
    };
    for (int round = 0; round < 100; ++round) {
        CKZStatMerge merge;
        std::unique_ptr<CKZStatPoint> sum;
        for (int run = 0; run < 4; ++run) {
            const CKZStatMessageRecord record{"n", Types::Timer, someValues(), someValues()};
            merge.Add(record);
            std::unique_ptr<CKZStatPoint> point(
                CKZStatPointBuilder::BuildPoint(record.type, record.GetItem(1)));
            if (sum)
                *sum + *point;
            else
                sum = std::move(point);
        }
        const MeasurementArrayItem merged = merge.FindRecord("n")->GetItem(1);
        const MeasurementArrayItem added = sum->GetValues();
        EXPECT_EQ(merged.min, added.min);
        EXPECT_EQ(merged.max, added.max);
        EXPECT_EQ(merged.count, added.count);
        EXPECT_EQ(merged.sum, added.sum);
        EXPECT_EQ(merged.average, added.average);
        EXPECT_EQ(merged.lastMin, added.lastMin);
        EXPECT_EQ(merged.lastMax, added.lastMax);
        EXPECT_EQ(merged.lastCount, added.lastCount);
        EXPECT_EQ(merged.lastSum, added.lastSum);
        EXPECT_EQ(merged.lastAverage, added.lastAverage);
    }
}

}  // namespace

// What slices cost their process: stored beside them, read through time, and verified.

#include <gmock/gmock.h>

#include <cmath>

#include "journal/journalfixture.h"
#include "journal/journalofschema4.h"
#include "kzjournalbulkwriter.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Costs : public JournalTest {
protected:
    /// A slice in which the process used so much processor time; less than 0 for one that was not
    /// measured.
    void AppendSliceThatUsed(double processorTime) {
        MadeSlice slice = slices.NextSlice({{"n", Types::Counter, {1}}});
        if (processorTime >= 0)
            slice.facts.cost = CKZStatSliceCost{1, processorTime, 4, 0.25, 0.125, 7};
        ASSERT_EQ("", AppendSlice(slice));
    }
    /// By what `ForEachCost` visits.
    std::vector<std::pair<int, double>> Used(const kzjournal::TimeRange& range = {},
                                             int source = 0) {
        std::vector<std::pair<int, double>> used;
        kzjournal::Reader(path, source).ForEachCost(range, [&](const kzjournal::SliceCost& slice) {
            EXPECT_EQ(slice.sliceId, slice.elapsed);
            used.emplace_back(slice.sliceId, slice.cost.processorTime);
        });
        return used;
    }
};

TEST_F(Costs, AreThoseOfTheSlices) {
    ASSERT_EQ("", Open());
    for (const double each : {0.5, -1.0, 0.0}) AppendSliceThatUsed(each);
    EXPECT_THAT(Used(), ElementsAre(std::pair(1, 0.5), std::pair(3, 0.0)));
    std::vector<kzjournal::Slice> read;
    kzjournal::Reader(path).ForEachSlice(
        {}, [&](const kzjournal::Slice& slice) { read.push_back(slice); });
    ASSERT_TRUE(read[0].cost);
    EXPECT_EQ(1, read[0].cost->measured);
    EXPECT_EQ(0.5, read[0].cost->processorTime);
    EXPECT_EQ(4, read[0].cost->processors);
    EXPECT_EQ(0.25, read[0].cost->busiestThread);
    EXPECT_EQ(0.125, read[0].cost->longestWait);
    EXPECT_EQ(7, read[0].cost->involuntarySwitches);
    EXPECT_TRUE(std::isnan(read[0].cost->startLateness));
    EXPECT_FALSE(read[1].cost);
}

TEST_F(Costs, ThatAreImpossibleAreUnknown) {
    ASSERT_EQ("", Open());
    MadeSlice slice = slices.NextSlice({{"n", Types::Counter, {1}}});
    slice.facts.cost = CKZStatSliceCost{1, -0.5, HUGE_VAL};
    ASSERT_EQ("", AppendSlice(slice));
    EXPECT_EQ("1.0|-|-|\n", Rows("SELECT measured, processor_time, processors FROM slices"));
    EXPECT_EQ(1u, SliceIds().size());
}

TEST_F(Costs, AreColumnsOfTheSlices) {
    ASSERT_EQ("", Open());
    AppendSliceThatUsed(0.5);
    AppendSliceThatUsed(-1);
    EXPECT_EQ("1|0.5|4.0|7|-|\n2|-|-|-|-|\n",
              Rows("SELECT slice_id, processor_time, processors, involuntary_switches,"
                   " start_lateness FROM slices"));
}

TEST_F(Costs, OfARangeAreThoseOfItsSlices) {
    ASSERT_EQ("", Open());
    for (int i = 0; i < 300; ++i) AppendSliceThatUsed(i);
    ASSERT_EQ("", Close());
    EXPECT_EQ(300u, Used().size());
    EXPECT_THAT(Used({250, 252}), ElementsAre(std::pair(251, 250.0), std::pair(252, 251.0)));
    EXPECT_THAT(Used({400, 500}), IsEmpty());
}

TEST_F(Costs, ThatWereChangedAreNoticed) {
    ASSERT_EQ("", Open());
    AppendSliceThatUsed(0.5);
    ASSERT_EQ("", Close());
    for (const char* const damage :
         {"processor_time = 0.25", "start_lateness = 0", "measured = NULL", "cost_checksum = 0"}) {
        SCOPED_TRACE(damage);
        Execute(
            "CREATE TABLE kept AS SELECT * FROM slices;"
            "UPDATE slices SET " +
            std::string(damage));
        EXPECT_THROW(Used(), kzjournal::Error);
        EXPECT_THROW(SliceIds(), kzjournal::Error);
        Execute("DELETE FROM slices; INSERT INTO slices SELECT * FROM kept; DROP TABLE kept");
        EXPECT_EQ(1u, Used().size());
    }
}

TEST_F(Costs, OfSourcesStayWithThem) {
    kzjournal::Slice slice{1, 1, 1.7e9 + 1, "", {}, {}};
    slice.cost = CKZStatSliceCost{1, 0.5};
    kzjournal::BulkWriter merged(path, run);
    const int source = merged.AddSource(kzjournal::RunOfThisProcess("load", 1.7e9, 1), 0, false);
    merged.AppendToSource(source, slice);
    merged.Append(slices.NextSlice({}).View(), {source});
    merged.Close(std::nullopt, 0);
    EXPECT_THAT(Used(), IsEmpty());
    EXPECT_THAT(Used({}, source), ElementsAre(std::pair(1, 0.5)));
}

TEST_F(Costs, AreUnknownInRunsOfEarlierSchemas) {
    Execute(std::string(kSchema4) + kRunOfSchema4);
    EXPECT_THAT(Used(), IsEmpty());
    EXPECT_THAT(SliceIds(), ElementsAre(1, 2, 3));
}

}  // namespace

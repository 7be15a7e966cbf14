#include "mergedrun.h"

#include <gmock/gmock.h>

#include <random>

#include "journal/temporaryfolder.h"
#include "kzjournalbulkwriter.h"
#include "support/messagemaker.h"

namespace {

using testing::ElementsAre;
using Types = CKZStatPointTypeEnum;
using Record = CKZStatMessageRecord;

/// Runs of slices of one second that begin when the test says so.
class MergedRun : public testing::Test {
protected:
    /// A slice per element, in which logins took as long as it says.
    void AddRun(double startTime, const std::vector<std::vector<double>>& slices) {
        const std::string path = folder.Path(std::to_string(journals.size()));
        kzjournal::BulkWriter writer(path,
                                     kzjournal::RunOfThisProcess("load", startTime, sliceLength));
        MessageMaker messages("load", sliceLength);
        for (const auto& times : slices)
            writer.Append(messages.NextSlice({{"login.time", Types::Timer, times}}));
        writer.Close(startTime, 0);
        journals.push_back(std::make_unique<kzjournal::Reader>(path));
    }

    struct Seen {
        int id;
        std::vector<int> sources;
        CKZStatAggregate totals;
        CKZStatAggregate lasts;
    };
    std::vector<Seen> Merge() {
        kzstat::MergedRun run(journals);
        std::vector<Seen> seen;
        kzstat::MergedSlice slice;
        while (run.Next(slice)) {
            CKZStatMessage message;
            std::size_t fault = 0;
            EXPECT_TRUE(message.Read(slice.message.data(), slice.message.size(),
                                     CKZStatMessage::FullRecords, fault));
            EXPECT_EQ(slice.id * sliceLength, message.GetElapsed());
            const Record& record = message.GetRecords().front();
            seen.push_back({slice.id, slice.sources, record.totals, record.lasts});
        }
        return seen;
    }

    double sliceLength = 1;
    TemporaryFolder folder;
    std::vector<std::unique_ptr<kzjournal::Reader>> journals;
};

TEST_F(MergedRun, AddsSlicesOfOneMoment) {
    AddRun(1000, {{10, 30}, {50}});
    AddRun(1000, {{20}, {90, 100}});
    const auto seen = Merge();
    ASSERT_EQ(2u, seen.size());
    EXPECT_THAT(seen[0].sources, ElementsAre(0, 1));
    EXPECT_EQ(3, seen[0].lasts.count);
    EXPECT_EQ(60, seen[0].lasts.sum);
    EXPECT_EQ(10, seen[0].lasts.minimum);
    EXPECT_EQ(30, seen[0].lasts.maximum);
    EXPECT_EQ(100 + 900 + 400, seen[0].lasts.sumSqr);
    EXPECT_EQ(6, seen[1].totals.count);
    EXPECT_EQ(300, seen[1].totals.sum);
    EXPECT_EQ(50, seen[1].totals.Average());
}

TEST_F(MergedRun, AlignsSlicesByTheWallClock) {
    AddRun(1000, {{1}, {1}, {1}});
    AddRun(1001.4, {{2}, {2}});
    const auto seen = Merge();
    ASSERT_EQ(3u, seen.size());
    EXPECT_THAT(seen[0].sources, ElementsAre(0));
    EXPECT_THAT(seen[1].sources, ElementsAre(0, 1));
    EXPECT_EQ(2, seen[1].lasts.count);
    EXPECT_THAT(seen[2].sources, ElementsAre(0, 1));
}

TEST_F(MergedRun, KeepsSlicesThatComeWhenTheOthersHaveEnded) {
    AddRun(1000, {{1}});
    AddRun(1000, {{2}, {4}});
    const auto seen = Merge();
    ASSERT_EQ(2u, seen.size());
    EXPECT_THAT(seen[1].sources, ElementsAre(1));
    EXPECT_EQ(1, seen[1].lasts.count);
    EXPECT_EQ(3, seen[1].totals.count);
    EXPECT_EQ(7, seen[1].totals.sum);
}

TEST_F(MergedRun, KeepsValuesThatPointsDoNotMerge) {
    AddRun(1000, {{-5, 0}});
    AddRun(1000, {{-7}});
    const auto seen = Merge();
    EXPECT_EQ(-7, seen[0].totals.minimum);
    EXPECT_EQ(0, seen[0].totals.maximum);
    EXPECT_EQ(-12, seen[0].lasts.sum);
    EXPECT_EQ(-4, seen[0].lasts.Average());
}

TEST_F(MergedRun, KeepsAMinimumOfZero) {
    AddRun(1000, {{5}});
    AddRun(1000, {{0}});
    const auto seen = Merge();
    EXPECT_EQ(0, seen[0].totals.minimum);
    EXPECT_EQ(0, seen[0].lasts.minimum);
}

TEST_F(MergedRun, IsTheSameInAnyOrderOfTheRuns) {
    std::mt19937 random(3);
    std::vector<std::vector<std::vector<double>>> runs(3);
    for (auto& run : runs)
        for (int slice = 0; slice < 20; ++slice) {
            run.emplace_back();
            for (unsigned i = random() % 4; i > 0; --i)
                run.back().push_back(static_cast<double>(random() % 10));
        }
    AddRun(1000, runs[0]);
    AddRun(1003, runs[1]);
    AddRun(1007, runs[2]);
    const auto first = Merge();
    std::swap(journals[0], journals[2]);
    const auto second = Merge();
    ASSERT_EQ(first.size(), second.size());
    for (std::size_t i = 0; i < first.size(); ++i) {
        EXPECT_EQ(first[i].id, second[i].id);
        for (const auto part : {&Seen::totals, &Seen::lasts}) {
            EXPECT_EQ((first[i].*part).minimum, (second[i].*part).minimum);
            EXPECT_EQ((first[i].*part).maximum, (second[i].*part).maximum);
            EXPECT_EQ((first[i].*part).count, (second[i].*part).count);
            EXPECT_EQ((first[i].*part).sumSqr, (second[i].*part).sumSqr);
        }
    }
}

TEST_F(MergedRun, RefusesSlicesOfDifferentLengths) {
    AddRun(1000, {{1}});
    sliceLength = 2;
    AddRun(1000, {{1}});
    EXPECT_THROW(kzstat::MergedRun run(journals), kzjournal::Error);
}

}  // namespace

#include "reading/runreader.h"

#include <gmock/gmock.h>

#include <cmath>
#include <tuple>

#include "journal/temporaryfolder.h"
#include "kzjournalbulkwriter.h"
#include "kzstat_program/memoryruns.h"
#include "reading/namedruns.h"

namespace {

using kzjournal::Slice;
using kzjournal::TimeRange;
using kzstatprogram::RunReader;
using testing::ElementsAre;
using testing::IsEmpty;
using Types = CKZStatPointTypeEnum;

/// One run, in a journal and in memory: it reads the same wherever it is stored.
class RunReaders : public testing::TestWithParam<bool> {
protected:
    /// Six slices: "login" is in all of them but without a value in the third, "late" comes with
    /// the fourth, and the fifth does not show its distributions.
    RunReaders() {
        MemoryRun& inMemory = memory.Make(path);
        inMemory.notes = {{1002, "gap"}};
        inMemory.lostSlices = 1;
        inMemory.facts.loadBegin = 0.5;
        kzjournal::BulkWriter writer(path, inMemory.facts);
        SliceMaker maker;
        for (int id = 1; id <= 6; ++id) {
            std::vector<Reported> reported{{"login", Types::Timer, {}}};
            if (id != 3) reported[0].values = {1.0 * id, 10};
            if (id > 3) reported.push_back({"late", Types::Counter, {1}});
            const MadeSlice slice = maker.NextSlice(reported);
            inMemory.Add(SliceOf(slice, id != 5));
            std::vector<const CKZStatDistribution*> shown;
            for (const CKZStatDistribution& each : slice.distributions)
                shown.push_back(id != 5 ? &each : nullptr);
            writer.Append({slice.facts, slice.message, slice.records, shown});
        }
        inMemory.End();
        writer.AddNote(inMemory.notes.front());
        writer.Close(1006, 1);
    }

    std::unique_ptr<RunReader> Open() const {
        const kzstatprogram::RunOpener& runs =
            GetParam() ? static_cast<const kzstatprogram::RunOpener&>(memory) : files;
        return runs.Open(path);
    }
    std::vector<int> IdsIn(const TimeRange& range) const {
        std::vector<int> ids;
        Open()->ForEachSlice(range, [&](const Slice& slice) { ids.push_back(slice.id); });
        return ids;
    }
    static double CountOf(const std::vector<kzjournal::NameSummary>& summary, const char* name) {
        for (const auto& each : summary)
            if (each.record.name == name) return each.record.totals.count;
        return NAN;
    }
    static double DistributedOf(const std::vector<kzjournal::NameSummary>& summary,
                                const char* name) {
        for (const auto& each : summary)
            if (each.record.name == name && each.distribution)
                return static_cast<double>(each.distribution->GetCount());
        return -1;
    }

    const TemporaryFolder folder;
    const std::string path = folder.Path("run.kzj");
    const kzstatprogram::NamedRuns files;
    MemoryRuns memory;
};

TEST_P(RunReaders, KnowTheRun) {
    const auto run = Open();
    EXPECT_EQ("load", run->Facts().generator);
    EXPECT_EQ(0.5, run->Load().begin);
    EXPECT_FALSE(run->Load().end);
    EXPECT_TRUE(run->HasEnded());
    EXPECT_EQ(1, run->LostSlices());
    EXPECT_EQ(7, run->ExpectedSlices());
    const kzjournal::Completeness completeness = run->GetCompleteness();
    EXPECT_EQ(kzjournal::Completeness::Lacking, completeness.state);
    EXPECT_EQ(6, completeness.slices);
    EXPECT_EQ(7, completeness.expectedSlices);
    EXPECT_THAT(run->Sources(), IsEmpty());
    EXPECT_THAT(run->SourcesOfSlice(1), IsEmpty());
    ASSERT_EQ(1u, run->Notes().size());
    EXPECT_EQ("gap", run->Notes().front().text);
}

TEST_P(RunReaders, SelectSlicesByTime) {
    EXPECT_THAT(IdsIn({}), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_THAT(IdsIn({1, 3}), ElementsAre(2, 3));
    EXPECT_THAT(IdsIn({1.001, 2.999}), ElementsAre(2, 3));
    EXPECT_THAT(IdsIn({1.5, 3.5}), ElementsAre(3));
    EXPECT_THAT(IdsIn({6, 9}), IsEmpty());
    EXPECT_EQ(2, Open()->CountSlices({1, 3}));
    EXPECT_THAT(Open()->SliceEnds({1, 3}), ElementsAre(2, 3));
    EXPECT_EQ(3, Open()->LastSlice({1, 3})->id);
    EXPECT_FALSE(Open()->LastSlice({6, 9}));
    EXPECT_EQ(6, Open()->LastSliceId());
}

TEST_P(RunReaders, ContinueBehindASlice) {
    std::vector<int> ids;
    const auto add = [&](const Slice& slice) { ids.push_back(slice.id); };
    Open()->ForEachSliceAfter(2, add, 2);
    EXPECT_THAT(ids, ElementsAre(3, 4));
    Open()->ForEachSliceAfter(5, add);
    EXPECT_THAT(ids, ElementsAre(3, 4, 6));
    Open()->ForEachSliceAfter(6, add);
    EXPECT_EQ(3u, ids.size());
}

TEST_P(RunReaders, GiveTheCourseOfAName) {
    std::vector<std::tuple<int, double, double>> points;
    Open()->ForEachPoint("late", {0, 5}, [&](const kzjournal::SeriesPoint& point) {
        points.emplace_back(point.sliceId, point.elapsed, point.lasts.count);
    });
    EXPECT_THAT(points, ElementsAre(std::tuple(4, 4, 1), std::tuple(5, 5, 1)));
    Open()->ForEachPoint("none", {}, [](const auto&) { FAIL(); });
}

TEST_P(RunReaders, KnowTheNames) {
    const std::vector<kzjournal::Name> names = Open()->Names();
    ASSERT_EQ(2u, names.size());
    EXPECT_EQ("late", names[0].name);
    EXPECT_EQ(Types::Timer, names[1].type);
}

TEST_P(RunReaders, SumUpARange) {
    const auto upToTheFourth = Open()->SummaryWithDistributions({0, 4});
    EXPECT_EQ(6, CountOf(upToTheFourth, "login"));
    EXPECT_EQ(6, DistributedOf(upToTheFourth, "login"));
    const auto without = Open()->SummaryWithDistributions({3, 6});
    EXPECT_EQ(6, CountOf(without, "login"));
    EXPECT_EQ(-1, DistributedOf(without, "login"));
    EXPECT_EQ(2u, Open()->Summary({3, 6}).size());
    EXPECT_EQ(1u, Open()->Summary({0, 3}).size());
    EXPECT_THAT(Open()->Summary({6, 9}), IsEmpty());
}

TEST_P(RunReaders, SumUpGroups) {
    std::map<long long, double> counts;
    std::map<long long, std::uint64_t> distributed;
    const auto groupOf = [](double elapsed) { return elapsed < 3.5 ? 0 : 1; };
    Open()->ForEachSum({1, 6}, groupOf, [&](const Slice& sum) {
        for (std::size_t i = 0; i < sum.records.size(); ++i) {
            if (!(sum.records[i].name == "login")) continue;
            counts[groupOf(sum.elapsed)] += sum.records[i].lasts.count;
            CKZStatDistribution distribution;
            if (sum.ReadDistribution(i, distribution))
                distributed[groupOf(sum.elapsed)] += distribution.GetCount();
        }
    });
    EXPECT_THAT(counts, ElementsAre(std::pair(0, 2), std::pair(1, 6)));
    EXPECT_EQ(2u, distributed[0]);
    EXPECT_LT(distributed[1], 6u);
    EXPECT_NO_THROW(Open()->CheckSums());
}

INSTANTIATE_TEST_SUITE_P(Stored, RunReaders, testing::Bool(), [](const auto& parameter) {
    return parameter.param ? "InMemory" : "InAJournal";
});

TEST(NamedRuns, HaveTheErrorsOfTheJournal) {
    EXPECT_THROW(kzstatprogram::NamedRuns().Open("/nowhere/run.kzj", 0), kzjournal::Error);
}

TEST(NamedRuns, StopReadingWhenThatIsRequested) {
    const TemporaryFolder folder;
    const std::string path = folder.Path("run.kzj");
    kzjournal::BulkWriter writer(path, kzjournal::RunOfThisProcess("load", 1000, 1));
    SliceMaker maker;
    for (int i = 0; i < 100; ++i)
        writer.Append(maker.NextSlice({{"login", Types::Timer, {10}}}).View());
    writer.Close(1100, 0);
    const auto run = kzstatprogram::NamedRuns().Open(path, 0);
    run->StopWhen([] { return true; });
    EXPECT_THROW(run->ForEachSlice({}, [](const Slice&) {}), kzjournal::Error);
}

}  // namespace

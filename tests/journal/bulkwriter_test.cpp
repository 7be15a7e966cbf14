#include <gmock/gmock.h>

#include <filesystem>

#include "journal/faultydisk.h"
#include "journal/journalfixture.h"
#include "kzjournalbulkwriter.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

kzjournal::Run RunNamed(const std::string& id) {
    kzjournal::Run run;
    run.id = id;
    run.generator = "generator of " + id;
    run.startTime = 1000;
    run.sliceLength = 1;
    run.host = "host of " + id;
    run.commandLine = "load " + id;
    run.testName = "test of " + id;
    run.loadBegin = 0.1;
    return run;
}

/// A run made of x and of a merged run y, which was made of y1 and y2.
class BulkWriter : public JournalTest {
protected:
    void SetUp() override {
        kzjournal::BulkWriter bulk(path, merged);
        x = bulk.AddSource(RunNamed("x"), 0, false);
        y = bulk.AddSource(RunNamed("y"), 0, true);
        y1 = bulk.AddSource(RunNamed("y1"), y, false);
        y2 = bulk.AddSource(RunNamed("y2"), y, false);
        KeepSlices(bulk, x, "x", 3);
        KeepSlices(bulk, y1, "y1", 300);
        KeepSlices(bulk, y2, "y2", 2);
        bulk.CloseSource(x, 1003.5, 1, 4);
        bulk.CloseSource(y2, std::nullopt, 0, 2);
        SliceMaker maker("merged", 1, 1000);
        bulk.Append(maker.NextSlice({{"all", Types::Timer, {1}}}).View(), {x, y1, y2});
        bulk.Append(maker.NextSlice({{"all", Types::Timer, {2}}}).View(), {y1});
        bulk.Close(1002, 0);
    }

    void KeepSlices(kzjournal::BulkWriter& bulk, int source, const std::string& id, int count) {
        SliceMaker maker("generator of " + id, 1, 1000);
        for (int i = 0; i < count; ++i)
            bulk.AppendToSource(
                source, maker.NextSlice({{id + ".time", Types::Timer, {1.0 / (i + 3)}}}).View());
    }

    std::string RefusalOf(kzjournal::BulkWriter& bulk, const kzjournal::Run& source) {
        try {
            bulk.AddSource(source, 0, false);
        } catch (const kzjournal::Error& error) {
            return error.what();
        }
        return "";
    }

    kzjournal::Run merged = [] {
        kzjournal::Run facts = RunNamed("m");
        facts.generator = "merged";
        return facts;
    }();
    int x = 0;
    int y = 0;
    int y1 = 0;
    int y2 = 0;
};

TEST_F(BulkWriter, KeepsTheRunsOfAllLevels) {
    const auto sources = kzjournal::Reader(path).Sources();
    ASSERT_EQ(4u, sources.size());
    std::vector<std::string> ids;
    std::vector<int> numbers;
    std::vector<int> parents;
    std::vector<bool> areMerged;
    for (const kzjournal::Source& source : sources) {
        ids.push_back(source.run.id);
        numbers.push_back(source.number);
        parents.push_back(source.parent);
        areMerged.push_back(source.isMerged);
    }
    EXPECT_THAT(ids, ElementsAre("x", "y", "y1", "y2"));
    EXPECT_THAT(numbers, ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(parents, ElementsAre(0, 0, 2, 2));
    EXPECT_THAT(areMerged, ElementsAre(false, true, false, false));
}

TEST_F(BulkWriter, GivesASourceAsTheRunThatItWas) {
    kzjournal::Reader reader(path, y1);
    const kzjournal::Run expected = RunNamed("y1");
    EXPECT_EQ(expected.id, reader.Facts().id);
    EXPECT_EQ(expected.generator, reader.Facts().generator);
    EXPECT_EQ(expected.host, reader.Facts().host);
    EXPECT_EQ(expected.commandLine, reader.Facts().commandLine);
    EXPECT_EQ(expected.testName, reader.Facts().testName);
    EXPECT_EQ(expected.loadBegin, reader.Facts().loadBegin);
    EXPECT_EQ(expected.loadEnd, reader.Facts().loadEnd);
    EXPECT_EQ(300, reader.CountSlices());
    EXPECT_EQ(300, reader.LastSliceId());
    EXPECT_EQ(1, reader.Names().size());

    SliceMaker maker(expected.generator, 1, 1000);
    int visited = 0;
    reader.ForEachSlice({}, [&](const kzjournal::Slice& slice) {
        const MadeSlice made =
            maker.NextSlice({{"y1.time", Types::Timer, {1.0 / (++visited + 2)}}});
        EXPECT_EQ(made.Text(), slice.message);
        ASSERT_EQ(1u, slice.records.size());
        EXPECT_EQ(made.records[0].totals.sum, slice.records[0].totals.sum);
    });
    EXPECT_EQ(300, visited);
    int points = 0;
    reader.ForEachPoint("y1.time", {10, 20}, [&](const kzjournal::SeriesPoint&) { ++points; });
    EXPECT_EQ(10, points);
}

TEST_F(BulkWriter, GivesTheEndOfASourceAsItWas) {
    kzjournal::Reader ended(path, x);
    EXPECT_TRUE(ended.HasEnded());
    EXPECT_EQ(1, ended.LostSlices());
    EXPECT_EQ(4, ended.ExpectedSlices());
    kzjournal::Reader killed(path, y2);
    EXPECT_FALSE(killed.HasEnded());
    EXPECT_EQ(2, killed.ExpectedSlices());
}

TEST_F(BulkWriter, KeepsTheRunOfTheFileApartFromItsSources) {
    kzjournal::Reader reader(path);
    EXPECT_THAT(SliceIds(), ElementsAre(1, 2));
    EXPECT_EQ(2, reader.ExpectedSlices());
    EXPECT_EQ(1, reader.Names().size());
    EXPECT_THAT(reader.SourcesOfSlice(1), ElementsAre(x, y1, y2));
    EXPECT_THAT(reader.SourcesOfSlice(2), ElementsAre(y1));
    EXPECT_EQ("m|all|\nm|all|\n", Rows("SELECT run, name FROM statistics"));
}

TEST_F(BulkWriter, GivesAMergedSourceWithItsParts) {
    kzjournal::Reader reader(path, y);
    EXPECT_EQ(0, reader.CountSlices());
    const auto sources = reader.Sources();
    ASSERT_EQ(2u, sources.size());
    EXPECT_EQ("y1", sources[0].run.id);
    EXPECT_THAT(kzjournal::Reader(path, x).Sources(), IsEmpty());
    EXPECT_THAT(kzjournal::Reader(path, x).SourcesOfSlice(1), IsEmpty());
}

TEST_F(BulkWriter, RefusesARunThatIsAmongTheSourcesAtAnyLevel) {
    path = folder.Path("other.kzj");
    kzjournal::BulkWriter bulk(path, merged);
    const int number = bulk.AddSource(RunNamed("y"), 0, true);
    bulk.AddSource(RunNamed("y1"), number, false);
    EXPECT_EQ("cannot merge the run y1 into " + path + ": it is a part of it already",
              RefusalOf(bulk, RunNamed("y1")));
    EXPECT_EQ("cannot merge the run m into " + path + ": it is a part of it already",
              RefusalOf(bulk, merged));
    EXPECT_EQ("", RefusalOf(bulk, RunNamed("x")));
}

TEST_F(BulkWriter, RefusesTheSliceOfAnotherGenerator) {
    kzjournal::BulkWriter bulk(folder.Path("other.kzj"), merged);
    const int source = bulk.AddSource(RunNamed("x"), 0, false);
    SliceMaker others("other");
    EXPECT_THROW(bulk.AppendToSource(source, others.NextSlice({}).View()), kzjournal::Error);
}

TEST_F(BulkWriter, LeavesNoFileUnlessItWasClosed) {
    path = folder.Path("other.kzj");
    {
        kzjournal::BulkWriter bulk(path, merged);
        KeepSlices(bulk, bulk.AddSource(RunNamed("x"), 0, false), "x", 1);
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(BulkWriter, ADiskThatFailsAtTheLastStepIsToldAndLeavesNothing) {
    const TemporaryFolder other;
    path = other.Path("other.kzj");
    FaultyDisk disk;
    {
        kzjournal::BulkWriter bulk(path, merged);
        KeepSlices(bulk, bulk.AddSource(RunNamed("x"), 0, false), "x", 1);
        disk.FailAtCheckpoints(ENOSPC);
        EXPECT_THROW(bulk.Close(1002, 0), kzjournal::Error);
    }
    EXPECT_TRUE(std::filesystem::is_empty(other.Path("")));
}

TEST_F(BulkWriter, AFileThatDoesNotStandAloneIsNotComplete) {
    path = folder.Path("other.kzj");
    kzjournal::BulkWriter bulk(path, merged);
    const kzjournal::Reader reader(path);
    EXPECT_THROW(bulk.Close(1002, 0), kzjournal::Error);
}

TEST_F(BulkWriter, ASourceThatIsNotThereCannotBeRead) {
    try {
        kzjournal::Reader reader(path, 5);
        ADD_FAILURE();
    } catch (const kzjournal::Error& error) {
        EXPECT_EQ("cannot read " + path + ": it holds no source 5", std::string(error.what()));
    }
}

}  // namespace

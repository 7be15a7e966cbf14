#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "journal/faultydisk.h"
#include "journal/temporaryfolder.h"
#include "kzjournalkeep.h"
#include "kzjournalreader.h"
#include "support/capturing_log.h"
#include "support/clockedrun.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Optional;

/// A run that is kept. The clock moves only while no slice is being delivered, so that no write
/// takes too long.
class Keep : public ClockedRun {
protected:
    /// Reports a value and returns when all listeners have had the slice.
    void LoadOneSlice() {
        reported += client.AddLast("n", 1, Types::Counter) ? 1 : 0;
        GoTo(++slices);
        while (run->GetResult().slicesDelivered < slices) std::this_thread::yield();
    }

    /// Ends the current slice while `work` waits for the end of the run.
    template <class Work>
    void EndRun(Work work) {
        std::thread ender(work);
        clock.WaitForSleepers(kThreads + 1);
        clock.Set(kStart + slices + 1);
        ender.join();
    }

    std::vector<std::string> Finish() {
        CKZStatRunResult result;
        EndRun([&] { result = run->Finish(); });
        return Lines(result);
    }

    static std::vector<int> IdsIn(const std::string& path) {
        std::vector<int> ids;
        kzjournal::Reader(path).ForEachSlice(
            {}, [&](const kzjournal::Slice& slice) { ids.push_back(slice.id); });
        return ids;
    }
    static double SumIn(const std::string& path) {
        for (const CKZStatMessageRecord& record : kzjournal::Reader(path).Summary())
            if (record.name == "n") return record.totals.sum;
        return 0;
    }
    void ExpectWholeFile(const std::string& file) const {
        EXPECT_THAT(IdsIn(file), ElementsAreArray(notes.Ids()));
        EXPECT_EQ(SumIn(file), reported);
        kzjournal::Reader reader(file);
        EXPECT_TRUE(reader.HasEnded());
        EXPECT_EQ(reader.LostSlices(), 0);
        EXPECT_EQ(reader.ExpectedSlices(), notes.Ids().back());
        EXPECT_FALSE(std::filesystem::exists(file + "-wal"));
    }

    const CapturingLog log{RyPLogLevel::Error};
    TemporaryFolder folder;
    const std::string path = folder.Path("run.kzj");
    CKZStatRunClient client = run->NewClient(1);
    int slices = 0;
    double reported = 0;
};

TEST_F(Keep, KeepsEverySliceThatIsDelivered) {
    kzjournal::Keep(*run, path);
    LoadOneSlice();
    LoadOneSlice();
    EXPECT_THAT(Finish(), IsEmpty());
    ExpectWholeFile(path);
}

TEST_F(Keep, TellsTheFactsOfTheRun) {
    kzjournal::Keep(*run, path, "logins");
    LoadOneSlice();
    EXPECT_THAT(Finish(), IsEmpty());
    const kzjournal::Run facts = kzjournal::Reader(path).Facts();
    EXPECT_EQ(facts.generator, "load");
    EXPECT_EQ(facts.testName, "logins");
    EXPECT_EQ(facts.commandLine, "journal_tests");
    EXPECT_EQ(facts.startTime, kStart);
    EXPECT_EQ(facts.sliceLength, 1.0);
    EXPECT_THAT(facts.loadBegin, Optional(0.0));
    EXPECT_THAT(facts.loadEnd, Optional(1.0));
}

TEST_F(Keep, TellsTheLoadWhileTheRunGoesOn) {
    kzjournal::Keep(*run, path);
    clock.Set(kStart + 0.25);
    run->BeginLoad();
    LoadOneSlice();
    kzjournal::Reader reader(path);
    EXPECT_THAT(reader.Load().begin, Optional(0.25));
    EXPECT_FALSE(reader.Load().end);
    EXPECT_FALSE(reader.HasEnded());

    clock.Set(kStart + 1.25);
    run->EndLoad();
    LoadOneSlice();
    EXPECT_THAT(reader.Load().end, Optional(1.25));
    EXPECT_THAT(Finish(), IsEmpty());
    EXPECT_THAT(reader.Load().end, Optional(1.25));
}

TEST_F(Keep, TakesBackAnEndOfTheLoadThatWasNone) {
    kzjournal::Keep(*run, path);
    client = run->NewClient(2);
    { const CKZStatRunClient gone = std::move(client); }
    LoadOneSlice();
    kzjournal::Reader reader(path);
    EXPECT_THAT(reader.Load().end, Optional(0.0));
    client = run->NewClient(3);
    LoadOneSlice();
    EXPECT_FALSE(reader.Load().end);
    EXPECT_THAT(Finish(), IsEmpty());
    EXPECT_THAT(reader.Load().end, Optional(2.0));
}

TEST_F(Keep, TellsTheCommandLineThatTheHostWantsToBeKept) {
    kzjournal::Keep(*run, path, "", "load --clients 3");
    LoadOneSlice();
    EXPECT_THAT(Finish(), IsEmpty());
    EXPECT_EQ(kzjournal::Reader(path).Facts().commandLine, "load --clients 3");
}

TEST_F(Keep, APathThatCannotBeWrittenIsOneComplaintAndTheLoadGoesOn) {
    const std::string nowhere = folder.Path("nowhere/run.kzj");
    kzjournal::Keep(*run, nowhere);
    LoadOneSlice();
    LoadOneSlice();
    const std::string line = "cannot open " + nowhere + ": No such file or directory";
    EXPECT_THAT(Finish(), ElementsAre(line));
    EXPECT_THAT(log.Texts(), ElementsAre(line));
    EXPECT_EQ(notes.Count("n"), reported);
}

TEST_F(Keep, ADiskThatFailsAtTheEndIsToldByFinish) {
    FaultyDisk disk;
    kzjournal::Keep(*run, path);
    LoadOneSlice();
    disk.FailAtCheckpoints(ENOSPC);
    EXPECT_THAT(Finish(), ElementsAre(HasSubstr("the disk is full")));
}

TEST_F(Keep, AFileThatIsRemovedIsOneComplaintAndTheRunIsWholeBesideIt) {
    kzjournal::Keep(*run, path);
    LoadOneSlice();
    std::filesystem::remove(path);
    LoadOneSlice();
    LoadOneSlice();
    EXPECT_THAT(Finish(), ElementsAre(HasSubstr("the run is in " + path + ".recovered-1 now")));
    ExpectWholeFile(path + ".recovered-1");
}

TEST_F(Keep, ADiskThatIsFullForLongIsToldOnceAndAtTheEnd) {
    FaultyDisk disk;
    kzjournal::Keep(*run, path);
    LoadOneSlice();
    disk.Fail(ENOSPC);
    for (int i = 0; i < 3; ++i) LoadOneSlice();
    EXPECT_THAT(Finish(), ElementsAre(HasSubstr("the disk is full"), HasSubstr("4 of 5 slices")));
}

TEST_F(Keep, LeavesAWholeFileWithoutFinish) {
    kzjournal::Keep(*run, path);
    LoadOneSlice();
    EndRun([this] { run.reset(); });
    ExpectWholeFile(path);
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(Keep, KeepsOneRunInTwoFiles) {
    const std::string other = folder.Path("other.kzj");
    kzjournal::Keep(*run, path);
    kzjournal::Keep(*run, other);
    LoadOneSlice();
    LoadOneSlice();
    EXPECT_THAT(Finish(), IsEmpty());
    ExpectWholeFile(path);
    ExpectWholeFile(other);
}

TEST_F(Keep, LosesNothingToAListenerThatThrows) {
    run->OnSlice([](const CKZStatSliceValues&) { throw std::runtime_error("broken"); });
    kzjournal::Keep(*run, path);
    LoadOneSlice();
    LoadOneSlice();
    EXPECT_THAT(Finish(), ElementsAre(HasSubstr("broken")));
    ExpectWholeFile(path);
}

TEST_F(Keep, RefusesARunThatIsOver) {
    EXPECT_THAT(Finish(), IsEmpty());
    kzjournal::Keep(*run, path);
    EXPECT_THAT(Lines(run->Finish()),
                ElementsAre("cannot keep the run in " + path + ": it is over or did not start"));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(Keep, RefusesARunThatDidNotStart) {
    CKZStatRun broken("load", -1.0);
    kzjournal::Keep(broken, path);
    EXPECT_THAT(Lines(broken.Finish()),
                Contains("cannot keep the run in " + path + ": it is over or did not start"));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(Keep, TellsOfSlicesThatHadEndedBefore) {
    LoadOneSlice();
    kzjournal::Keep(*run, path);
    LoadOneSlice();
    EXPECT_THAT(Finish(),
                ElementsAre(path + " begins with slice 2: earlier ones had ended when the run was "
                                   "to be kept"));
    EXPECT_THAT(IdsIn(path), ElementsAre(2, 3));
    kzjournal::Reader reader(path);
    EXPECT_EQ(reader.ExpectedSlices(), 3);
    EXPECT_EQ(reader.LostSlices(), 1);
}

TEST_F(Keep, CountsSlicesThatTheRunGaveUpAsLost) {
    kzjournal::Keep(*run, path);
    LoadOneSlice();
    EXPECT_EQ(run->Finish(0).slicesGivenUp, 1);
    run.reset();
    EXPECT_THAT(IdsIn(path), ElementsAre(1));
    kzjournal::Reader reader(path);
    EXPECT_TRUE(reader.HasEnded());
    EXPECT_EQ(reader.ExpectedSlices(), 2);
    EXPECT_EQ(reader.LostSlices(), 1);
}

TEST_F(Keep, StoresWhatTheHostNotesAndWhatSlicesCost) {
    kzjournal::KeepOptions options;
    options.testName = "login";
    options.conditions = {"n count > 0"};
    kzjournal::Keep(*run, path, options);
    EXPECT_TRUE(run->Note("first", kStart));
    run->NoteLateness(0.25);
    clock.UseProcessors(2);
    LoadOneSlice();
    EXPECT_TRUE(run->Note("second", kStart + 1));
    EXPECT_THAT(Finish(), IsEmpty());
    kzjournal::Reader reader(path);
    EXPECT_EQ(reader.Facts().testName, "login");
    EXPECT_THAT(reader.Conditions(), ElementsAre("n count > 0"));
    std::vector<std::string> texts;
    for (const kzjournal::Note& note : reader.Notes()) texts.push_back(note.text);
    EXPECT_THAT(texts, ElementsAre("first", "second"));
    std::vector<kzjournal::SliceCost> costs;
    reader.ForEachCost({}, [&](const kzjournal::SliceCost& cost) { costs.push_back(cost); });
    ASSERT_EQ(costs.size(), 2u);
    EXPECT_EQ(costs[0].cost.processorTime, 2);
    EXPECT_EQ(costs[0].cost.startLateness, 0.25);
}

TEST_F(Keep, StoresWhatIsNotedAfterTheLastSlice) {
    kzjournal::Keep(*run, path);
    run->OnSlice([this](const CKZStatSliceValues& slice) {
        const bool isKept = slice.GetSliceId() > 1 || run->Note("late");
        EXPECT_TRUE(isKept);
    });
    EXPECT_THAT(Finish(), IsEmpty());
    ASSERT_EQ(kzjournal::Reader(path).Notes().size(), 1u);
    EXPECT_EQ(kzjournal::Reader(path).Notes()[0].text, "late");
}

}  // namespace

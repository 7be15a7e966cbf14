#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "journal/faultydisk.h"
#include "journal/temporaryfolder.h"
#include "kzjournalkeep.h"
#include "kzjournalreader.h"
#include "ryp/clock.h"
#include "support/capturing_log.h"
#include "support/clockedrun.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Optional;
using Types = CKZStatPointTypeEnum;

/// A run on the clock of the process, since the journal waits for a disk. Its slices are long
/// enough that a file is made within the first.
class Keep : public testing::Test {
protected:
    static constexpr double kSliceLength = 0.25;

    Keep() {
        run->OnSlice([this](const CKZStatSliceValues& slice) { notes.Write(slice); });
    }

    /// Reports until so many slices were delivered.
    void LoadUntilDelivered(std::size_t slices) {
        CKZStatRunClient client = run->NewClient(1);
        while (notes.Ids().size() < slices) {
            reported += client.AddLast("n", 1, Types::Counter) ? 1 : 0;
            RyPSleep(kSliceLength / 10);
        }
    }

    std::vector<std::string> Finish() {
        std::vector<std::string> lines;
        for (const RWCString& line : run->Finish().complaints) lines.emplace_back(line.view());
        return lines;
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
    SliceNotes notes;
    double reported = 0;
    std::unique_ptr<CKZStatRun> run = std::make_unique<CKZStatRun>("load", kSliceLength);
};

TEST_F(Keep, KeepsEverySliceThatIsDelivered) {
    kzjournal::Keep(*run, path);
    LoadUntilDelivered(2);
    EXPECT_THAT(Finish(), IsEmpty());
    ExpectWholeFile(path);
}

TEST_F(Keep, TellsTheFactsOfTheRun) {
    kzjournal::Keep(*run, path, "logins");
    LoadUntilDelivered(1);
    EXPECT_THAT(Finish(), IsEmpty());
    const kzjournal::Run facts = kzjournal::Reader(path).Facts();
    EXPECT_EQ(facts.generator, "load");
    EXPECT_EQ(facts.testName, "logins");
    EXPECT_EQ(facts.startTime, run->GetStartTime());
    EXPECT_EQ(facts.sliceLength, kSliceLength);
    ASSERT_TRUE(run->GetLoadBegin() && run->GetLoadEnd());
    EXPECT_THAT(facts.loadBegin, Optional(*run->GetLoadBegin()));
    EXPECT_THAT(facts.loadEnd, Optional(*run->GetLoadEnd()));
}

TEST_F(Keep, APathThatCannotBeWrittenIsOneComplaintAndTheLoadGoesOn) {
    const std::string nowhere = folder.Path("nowhere/run.kzj");
    kzjournal::Keep(*run, nowhere);
    LoadUntilDelivered(2);
    const std::string line = "cannot open " + nowhere + ": No such file or directory";
    EXPECT_THAT(Finish(), ElementsAre(line));
    EXPECT_THAT(log.Texts(), ElementsAre(line));
    EXPECT_EQ(notes.Count("n"), reported);
}

TEST_F(Keep, ADiskThatFailsAtTheEndIsToldByFinish) {
    FaultyDisk disk;
    kzjournal::Keep(*run, path);
    LoadUntilDelivered(1);
    disk.FailAtCheckpoints(ENOSPC);
    EXPECT_THAT(Finish(), ElementsAre(HasSubstr("the disk is full")));
}

TEST_F(Keep, LeavesAWholeFileWithoutFinish) {
    kzjournal::Keep(*run, path);
    LoadUntilDelivered(1);
    run.reset();
    ExpectWholeFile(path);
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(Keep, KeepsOneRunInTwoFiles) {
    const std::string other = folder.Path("other.kzj");
    kzjournal::Keep(*run, path);
    kzjournal::Keep(*run, other);
    LoadUntilDelivered(2);
    EXPECT_THAT(Finish(), IsEmpty());
    ExpectWholeFile(path);
    ExpectWholeFile(other);
}

TEST_F(Keep, LosesNothingToAListenerThatThrows) {
    run->OnSlice([](const CKZStatSliceValues&) { throw std::runtime_error("broken"); });
    kzjournal::Keep(*run, path);
    LoadUntilDelivered(2);
    EXPECT_THAT(Finish(), ElementsAre(HasSubstr("broken")));
    ExpectWholeFile(path);
}

TEST_F(Keep, RefusesARunThatIsOver) {
    EXPECT_THAT(Finish(), IsEmpty());
    kzjournal::Keep(*run, path);
    EXPECT_THAT(Finish(), ElementsAre("cannot keep the run in " + path + ": it is over"));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(Keep, RefusesARunThatDidNotStart) {
    run = std::make_unique<CKZStatRun>("load", -1.0);
    kzjournal::Keep(*run, path);
    EXPECT_THAT(Finish(), testing::Contains(HasSubstr("cannot keep the run in " + path)));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(Keep, TellsOfSlicesThatHadEndedBefore) {
    LoadUntilDelivered(1);
    kzjournal::Keep(*run, path);
    LoadUntilDelivered(notes.Ids().size() + 1);
    EXPECT_THAT(Finish(), ElementsAre(HasSubstr(path + " begins with slice ")));
    const std::vector<int> kept = IdsIn(path);
    ASSERT_FALSE(kept.empty());
    EXPECT_EQ(kept.back(), notes.Ids().back());
    kzjournal::Reader reader(path);
    EXPECT_EQ(reader.ExpectedSlices(), kept.back());
    EXPECT_EQ(reader.LostSlices(), kept.front() - 1);
}

TEST_F(Keep, CountsSlicesThatTheRunGaveUpAsLost) {
    run = std::make_unique<CKZStatRun>("load", 3600.0);
    kzjournal::Keep(*run, path);
    run->NewClient(1).AddLast("n", 1, Types::Counter);
    EXPECT_EQ(run->Finish(0).slicesGivenUp, 1);
    run.reset();
    kzjournal::Reader reader(path);
    EXPECT_TRUE(reader.HasEnded());
    EXPECT_EQ(reader.ExpectedSlices(), 1);
    EXPECT_EQ(reader.LostSlices(), 1);
}

}  // namespace

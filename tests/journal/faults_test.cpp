#include <gmock/gmock.h>
#include <sqlite3.h>

#include <atomic>

#include "journal/faultydisk.h"
#include "journal/journalfixture.h"
#include "ryp/testclock.h"
#include "support/clocked_thread.h"

namespace {

using kzjournal::SliceState;
using testing::ElementsAre;
using testing::HasSubstr;

class Faults : public JournalTest {
protected:
    void SetUp() override {
        ASSERT_EQ("", Open());
        ASSERT_EQ("", AppendLogins({1}));
    }

    /// Of 2 MB each, all of them names.
    MadeSlice LargeSlice(int names = 20) {
        MadeSlice slice = slices.NextSlice({});
        for (char c = '0'; c < '0' + names; ++c)
            slice.records.push_back({RWCString(std::string(std::size_t{2} << 20, c).c_str()),
                                     Types::Counter,
                                     {1, 1, 1, 1, 1},
                                     {1, 1, 1, 1, 1}});
        return slice;
    }

    FaultyDisk disk;
};

TEST_F(Faults, AFullDiskIsToldOnceAndLosesNothingWhenThereIsRoomAgain) {
    disk.Fail(ENOSPC);
    EXPECT_EQ("cannot write " + path + ": the disk is full; make room on it", AppendLogins({2}));
    EXPECT_EQ("", AppendLogins({3}));
    disk.Work();
    EXPECT_EQ("", AppendLogins({4}));
    EXPECT_THAT(SliceIds(), ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(4, kzjournal::Reader(path).ExpectedSlices());
    EXPECT_EQ("", Close());
}

TEST_F(Faults, EverySliceIsSaidToBeOnTheDiskOrToWait) {
    EXPECT_EQ(SliceState::OnDisk, state);
    disk.Fail(ENOSPC);
    AppendLogins({2});
    EXPECT_EQ(SliceState::Waiting, state);
    AppendLogins({3});
    EXPECT_EQ(SliceState::Waiting, state);
    disk.Work();
    AppendLogins({4});
    EXPECT_EQ(SliceState::OnDisk, state);
    EXPECT_THAT(SliceIds(), ElementsAre(1, 2, 3, 4));
}

TEST_F(Faults, ASliceThatIsRefusedIsSaidToBeLost) {
    MadeSlice twice = slices.NextSlice({{"logins", Types::Counter, {1}}});
    twice.records.push_back(twice.records.front());
    AppendSlice(twice);
    EXPECT_EQ(SliceState::Lost, state);
    AppendLogins({3});
    EXPECT_EQ(SliceState::OnDisk, state);
}

TEST_F(Faults, TheFileKnowsOfSlicesThatWaitForOneThatCannotBeWritten) {
    disk.Fail(ENOSPC);
    AppendLogins({2});
    AppendLogins({3});
    disk.Work();
    Execute(
        "CREATE TRIGGER full BEFORE INSERT ON slices WHEN new.slice_id = 3"
        " BEGIN SELECT raise(FAIL, 'full'); END");
    AppendLogins({4});
    kzjournal::Reader reader(path);
    EXPECT_EQ(2, reader.CountSlices());
    EXPECT_EQ(4, reader.ExpectedSlices());
}

TEST_F(Faults, ASliceThatFailedWithinItsTransactionIsKeptByTheNextTry) {
    const RyPTestClock clock(1000);  // stands still: no write takes too long
    const MadeSlice large = LargeSlice();
    disk.Fail(ENOSPC);
    EXPECT_NE("", AppendSlice(large));
    disk.Work();
    EXPECT_EQ("", Close());
    EXPECT_THAT(SliceIds(), ElementsAre(1, 2));
}

TEST_F(Faults, MemoryForWaitingSlicesIsBoundedByTheirNamesToo) {
    const RyPTestClock clock(1000);  // stands still: no write takes too long
    MadeSlice large = LargeSlice();
    disk.Fail(ENOSPC);
    EXPECT_NE("", AppendSlice(large));
    large.facts.sliceId = 3;
    EXPECT_EQ("cannot keep slice 3 in " + path + ": no memory is left for slices that wait",
              AppendSlice(large));
    EXPECT_EQ(SliceState::Lost, state);
    large.facts.sliceId = 4;
    EXPECT_EQ("", AppendSlice(large));
    EXPECT_EQ(SliceState::Lost, state);
    disk.Work();
    EXPECT_EQ("", AppendSlice(slices.NextSlice({})));
    EXPECT_THAT(Close(), HasSubstr("2 of 5 slices are lost: cannot keep slice 4 in "));
    kzjournal::Reader reader(path);
    EXPECT_EQ(3, reader.CountSlices());
    EXPECT_EQ(2, reader.LostSlices());
    EXPECT_EQ(5, reader.ExpectedSlices());
}

TEST_F(Faults, ASliceThatIsRefusedAfterItHasWaitedIsTold) {
    disk.Fail(ENOSPC);
    EXPECT_NE("", AppendLogins({2}));
    MadeSlice twice = slices.NextSlice({});
    twice.records.push_back(twice.records.front());
    EXPECT_EQ("", AppendSlice(twice));
    disk.Work();
    EXPECT_EQ("cannot keep slice 3 in " + path + ": it has two records of login.time",
              AppendLogins({4}));
    EXPECT_EQ("", AppendLogins({5}));
    EXPECT_THAT(SliceIds(), ElementsAre(1, 2, 4, 5));
    EXPECT_EQ("1 of 5 slices are lost: cannot keep slice 3 in " + path +
                  ": it has two records of login.time",
              Close());
}

TEST_F(Faults, ATroubleThatComesBackIsToldAgain) {
    disk.Fail(ENOSPC);
    EXPECT_NE("", AppendLogins({2}));
    disk.Work();
    EXPECT_EQ("", AppendLogins({3}));
    disk.Fail(EIO);
    EXPECT_EQ("cannot write " + path + ": the disk does not work; check it", AppendLogins({4}));
}

TEST_F(Faults, WhatADiskNeverTakesIsCountedAtTheEnd) {
    disk.Fail(EIO);
    AppendLogins({2});
    AppendLogins({3});
    EXPECT_EQ("2 of 3 slices are lost: cannot write " + path + ": the disk does not work; check it",
              Close());
    EXPECT_EQ(2, writer.LostSlices());
    disk.Work();
    EXPECT_THAT(SliceIds(), ElementsAre(1));
}

TEST_F(Faults, ADiskThatFailsAtTheEndIsToldAndLosesNothing) {
    disk.FailAtCheckpoints(ENOSPC);
    EXPECT_EQ("cannot write " + path + ": the disk is full; make room on it; " + path +
                  "-wal belongs to it: copy and move both together",
              Close());
    EXPECT_EQ(0, writer.LostSlices());
    disk.Work();
    EXPECT_THAT(SliceIds(), ElementsAre(1));
}

TEST_F(Faults, AFileThatAnotherHoldsLockedLosesNothingWhenItIsFreeAgain) {
    sqlite3* other = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(path.c_str(), &other));
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr));
    EXPECT_EQ("cannot write " + path + ": another program holds it locked; close that program",
              AppendLogins({2}));
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(other, "COMMIT", nullptr, nullptr, nullptr));
    sqlite3_close(other);
    EXPECT_EQ("", AppendLogins({3}));
    EXPECT_THAT(SliceIds(), ElementsAre(1, 2, 3));
}

/// A move needs more room on the disk than a slice.
class FailingMove : public Faults {
protected:
    static constexpr int kSlicesOfAChunk = 240;

    void SetUp() override {
        Faults::SetUp();
        Execute(
            "CREATE TRIGGER full BEFORE INSERT ON chunks"
            " BEGIN SELECT raise(FAIL, 'full'); END");
    }
    void AppendUpTo(int last) {
        while (slices.SliceId() < last) ASSERT_EQ("", AppendLogins({1}));
    }
    std::string Chunks() { return Rows("SELECT chunk, slices FROM chunks"); }

    const RyPTestClock clock{1000};  // stands still: no write takes too long
};

TEST_F(FailingMove, IsTriedAgainWithTheNextChunk) {
    AppendUpTo(kSlicesOfAChunk + 10);
    EXPECT_EQ(kSlicesOfAChunk + 10, static_cast<int>(SliceIds().size()));
    EXPECT_EQ("", Chunks());
    Execute("DROP TRIGGER full");
    AppendUpTo(2 * kSlicesOfAChunk - 10);
    EXPECT_EQ("", Chunks());
    AppendUpTo(2 * kSlicesOfAChunk + 10);
    EXPECT_EQ("", Close());
    EXPECT_EQ("1|241|\n242|240|\n482|9|\n", Chunks());
    EXPECT_EQ(2 * kSlicesOfAChunk + 10, static_cast<int>(SliceIds().size()));
}

TEST_F(FailingMove, DoesNotKeepTheRunFromItsEnd) {
    AppendUpTo(kSlicesOfAChunk + 10);
    EXPECT_EQ("", Close());
    EXPECT_EQ(0, writer.LostSlices());
    EXPECT_TRUE(kzjournal::Reader(path).HasEnded());
    EXPECT_EQ(kSlicesOfAChunk + 10, static_cast<int>(SliceIds().size()));
}

TEST_F(Faults, AFileThatIsDestroyedUnderTheRunIsToldAndTheRunGoesOn) {
    sqlite3* other = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(path.c_str(), &other));
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(other, "DROP TABLE slices", nullptr, nullptr, nullptr));
    sqlite3_close(other);
    EXPECT_EQ("cannot write " + path + ": no such table: slices", AppendLogins({2}));
    EXPECT_EQ("", AppendLogins({3}));
    EXPECT_EQ("2 of 3 slices are lost: cannot write " + path + ": no such table: slices", Close());
}

/// On a clock that stands still until it is moved.
class HangingDisk : public Faults {
protected:
    /// They read the clock to their end.
    void TearDown() override { disk.WaitForThreadsThatHung(); }

    std::string AppendTakingSeconds(double seconds) {
        return OnTheClock(seconds, [this] { return AppendLogins({2}); });
    }
    std::string CloseTakingSeconds(double seconds) {
        return OnTheClock(seconds, [this] { return Close(); });
    }

    RyPTestClock clock{1000};

private:
    /// Fails where the operation returns before that time is up.
    template <class Operation>
    std::string OnTheClock(double seconds, Operation operation) {
        std::atomic<bool> hasReturned = false;
        std::string complaint;
        {
            ClockedThread thread(clock, [&] {
                complaint = operation();
                hasReturned = true;
            });
            clock.WaitForSleepers(1);
            // The time of a writer that has not begun would be up, too.
            disk.WaitUntilAWriteHangs();
            clock.Advance(0.99 * seconds);
            clock.WaitForSleepers(1);
            EXPECT_FALSE(hasReturned);
            clock.Advance(0.01 * seconds);
            clock.WaitForSleepers(1);
            EXPECT_TRUE(hasReturned);
        }
        return complaint;
    }
};

TEST_F(HangingDisk, HoldsTheHookForHalfASecondAndOnlyOnce) {
    disk.Hang();
    EXPECT_EQ("writing " + path + " takes longer than 0.5 s; slices wait in memory",
              AppendTakingSeconds(0.5));
    EXPECT_EQ(SliceState::Waiting, state);
    EXPECT_EQ("", AppendLogins({3}));
    EXPECT_EQ(SliceState::Waiting, state);
    disk.Work();
    EXPECT_EQ("", Close());
    EXPECT_THAT(SliceIds(), ElementsAre(1, 2, 3));
}

TEST_F(HangingDisk, ASliceOfAnySizeIsKeptWhereNoneWaits) {
    const MadeSlice large = LargeSlice(33);
    EXPECT_EQ("", AppendSlice(large));
    EXPECT_EQ("", Close());
    EXPECT_THAT(SliceIds(), ElementsAre(1, 2));
}

TEST_F(HangingDisk, AnEndThatIsNotNotedInTimeIsTold) {
    disk.Hang();
    EXPECT_EQ("closing " + path + " takes longer than 2 s; " + path +
                  "-wal belongs to it: copy and move both together",
              CloseTakingSeconds(2));
    EXPECT_EQ(0, writer.LostSlices());
    disk.Work();
}

TEST_F(HangingDisk, HoldsTheEndOfTheRunForTwoSeconds) {
    disk.Hang();
    AppendTakingSeconds(0.5);
    EXPECT_THAT(CloseTakingSeconds(2), HasSubstr("1 of 2 slices are lost: writing " + path));
    EXPECT_EQ(1, writer.LostSlices());
    disk.Work();
}

}  // namespace

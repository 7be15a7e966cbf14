#include "kzstatstopwatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "ryp/clock.h"
#include "support/capturing_log.h"
#include "support/clockedrun.h"
#include "support/concurrently.h"

namespace {

using testing::Pair;
using testing::UnorderedElementsAre;
using Types = CKZStatPointTypeEnum;

class Stopwatch : public ClockedRun {
protected:
    /// Name and sum of everything that the first slice brought.
    std::map<std::string, double> Reported() {
        static_cast<void>(Finish());
        std::map<std::string, double> sums;
        const auto slices = notes.Slices();
        for (const auto& [name, value] : slices.front().lasts) sums[name] = value.sum;
        return sums;
    }

    /// The same without what the run itself tells of stopwatches.
    std::map<std::string, double> ReportedByIt() {
        std::map<std::string, double> sums = Reported();
        std::erase_if(sums, [](const auto& entry) {
            return entry.first.ends_with(".running") || entry.first.ends_with(".oldest");
        });
        return sums;
    }

    CKZStatRunClient client = run->NewClient(1);
};

TEST_F(Stopwatch, ReportsMillisecondsAtTheEndOfItsScope) {
    {
        const CKZStatStopwatch timing(client, "login");
        GoTo(0.25);
    }
    EXPECT_THAT(ReportedByIt(), UnorderedElementsAre(Pair("login", 250)));
    EXPECT_EQ(notes.TypeOf("login"), Types::Timer);
}

TEST_F(Stopwatch, ReportsOnceWhenStopped) {
    {
        CKZStatStopwatch timing(client, "login");
        GoTo(0.25);
        timing.Stop();
        GoTo(0.375);
        timing.Stop();
        timing.Fail("late");
        timing.Abandon();
    }
    EXPECT_THAT(ReportedByIt(), UnorderedElementsAre(Pair("login", 250)));
}

TEST_F(Stopwatch, ReturnsTheMillisecondsThatItReported) {
    CKZStatStopwatch timing(client, "login");
    GoTo(0.25);
    EXPECT_EQ(timing.Stop(), 250);
    EXPECT_EQ(timing.Stop(), -1);
}

TEST_F(Stopwatch, TellsFailuresApart) {
    {
        CKZStatStopwatch timing(client, "login");
        GoTo(0.25);
        timing.Fail("refused");
        timing.Stop();
    }
    EXPECT_THAT(ReportedByIt(),
                UnorderedElementsAre(Pair("login.failed", 250), Pair("login.failed.refused", 1)));
    EXPECT_EQ(notes.TypeOf("login.failed"), Types::Timer);
    EXPECT_EQ(notes.TypeOf("login.failed.refused"), Types::TransactionReasonCounter);
}

TEST_F(Stopwatch, CountsFailuresWithoutAReasonAsUnknown) {
    for (const char* const reason : {"", static_cast<const char*>(nullptr)})
        CKZStatStopwatch(client, "login").Fail(reason);
    EXPECT_EQ(ReportedByIt()["login.failed.unknown"], 2);
}

TEST_F(Stopwatch, CountsAbandonedWorkWithoutATime) {
    {
        CKZStatStopwatch timing(client, "login");
        timing.Abandon();
        timing.Fail("late");
    }
    EXPECT_THAT(ReportedByIt(), UnorderedElementsAre(Pair("login.abandoned", 1)));
    EXPECT_EQ(notes.TypeOf("login.abandoned"), Types::Counter);
}

TEST_F(Stopwatch, FailsWithTheExceptionThatLeavesItsScope) {
    try {
        const CKZStatStopwatch timing(client, "login");
        throw std::runtime_error("no network");
    } catch (const std::runtime_error&) {
    }
    EXPECT_THAT(ReportedByIt(),
                UnorderedElementsAre(Pair("login.failed", 0), Pair("login.failed.exception", 1)));
}

TEST_F(Stopwatch, SucceedsInACleanUpAfterAnException) {
    struct CleanUp {
        ~CleanUp() { const CKZStatStopwatch timing(owner, "logout"); }
        CKZStatRunClient& owner;
    };
    try {
        const CleanUp cleanUp{client};
        throw std::runtime_error("no network");
    } catch (const std::runtime_error&) {
    }
    EXPECT_THAT(ReportedByIt(), UnorderedElementsAre(Pair("logout", 0)));
}

TEST_F(Stopwatch, CountsTheWaitBeforeTheStart) {
    GoTo(0.5);
    { const CKZStatStopwatch timing(client, "login", kStart + 0.125); }
    EXPECT_THAT(ReportedByIt(), UnorderedElementsAre(Pair("login", 375)));
}

TEST_F(Stopwatch, StartsNowWhenItsStartIsNoTimeOfThePast) {
    constexpr double kInfinite = std::numeric_limits<double>::infinity();
    for (const double start :
         {kStart + 100, kInfinite, -kInfinite, std::numeric_limits<double>::quiet_NaN()})
        const CKZStatStopwatch timing(client, "login", start);
    EXPECT_THAT(ReportedByIt(), UnorderedElementsAre(Pair("login", 0)));
}

TEST_F(Stopwatch, TakesAStartBeforeAnythingThatCouldWait) {
    CKZStatStopwatch timing(client, "login", -1e300);
    EXPECT_EQ(4e12, timing.Stop());
}

TEST_F(Stopwatch, MayBeMoved) {
    {
        std::optional<CKZStatStopwatch> first(std::in_place, client, "login");
        const CKZStatStopwatch second(std::move(*first));
        first.reset();
        GoTo(0.25);
    }
    EXPECT_THAT(ReportedByIt(), UnorderedElementsAre(Pair("login", 250)));
}

TEST_F(Stopwatch, LeavesRoomForWhatIsAddedToALongName) {
    const std::string longest(300, 'x');
    { CKZStatStopwatch(client, longest.c_str()).Fail("refused"); }
    { const CKZStatStopwatch timing(client, longest.c_str()); }
    const std::string cut(200, 'x');
    EXPECT_THAT(ReportedByIt(), UnorderedElementsAre(Pair(cut, 0), Pair(cut + ".failed", 0),
                                                     Pair(cut + ".failed.refused", 1)));
}

TEST_F(Stopwatch, RefusesNamesThatWouldBreakMessages) {
    const CapturingLog log(RyPLogLevel::Error);
    for (const char* const name : {"\x01", static_cast<const char*>(nullptr)})
        CKZStatStopwatch(client, name).Fail("refused");
    EXPECT_EQ(Finish().valuesRefused, 2);
    EXPECT_TRUE(notes.Slices().front().lasts.empty());
}

TEST_F(Stopwatch, OfAClientThatWasMovedFromReportsNothing) {
    const CKZStatRunClient taken = std::move(client);
    // NOLINTNEXTLINE(bugprone-use-after-move)
    { CKZStatStopwatch(client, "login").Abandon(); }
    EXPECT_TRUE(Reported().empty());
}

TEST_F(Stopwatch, MayOutliveItsClient) {
    {
        std::optional<CKZStatRunClient> brief(run->NewClient(2));
        const CKZStatStopwatch timing(*brief, "login");
        brief.reset();
        GoTo(0.25);
    }
    EXPECT_THAT(ReportedByIt(), UnorderedElementsAre(Pair("login", 250)));
}

TEST_F(Stopwatch, MayOutliveItsRun) {
    std::optional<CKZStatStopwatch> timing(std::in_place, client, "login");
    OnMovingClock([&] { run.reset(); });
    timing.reset();
    EXPECT_EQ(notes.Count("login"), 0);
}

TEST_F(Stopwatch, IsSeenWhileItRuns) {
    GoTo(0.25);
    const CKZStatRunClient other = run->NewClient(2);
    const CKZStatStopwatch first(client, "login");
    const CKZStatStopwatch second(other, "login", kStart + 0.125);
    { const CKZStatStopwatch ended(client, "logout"); }
    GoTo(0.5);
    GoTo(1);
    EXPECT_EQ(notes.Sum(1, "login.running"), 2);
    EXPECT_EQ(notes.Sum(1, "login.oldest"), 375);
    EXPECT_EQ(notes.Sum(1, "logout.running"), 0);
    EXPECT_EQ(notes.Sum(1, "logout.oldest"), -1);
    EXPECT_EQ(notes.TypeOf("login.running"), Types::Measurement);
    EXPECT_EQ(notes.TypeOf("login.oldest"), Types::Measurement);
    GoTo(1.5);
    GoTo(2);
    EXPECT_EQ(notes.Sum(2, "login.oldest"), 1375);
}

TEST_F(Stopwatch, IsRememberedByNameWhenItsClientIsGone) {
    { const CKZStatStopwatch timing(run->NewClient(2), "login"); }
    GoTo(0.5);
    GoTo(1);
    EXPECT_EQ(notes.Sum(1, "login.running"), 0);
}

TEST(BusyStopwatch, ReportsEachOnceWhileTheyAreCounted) {
    constexpr int kTimings = 2000;
    std::atomic<long long> delivered{0};
    CKZStatRun run("load", 0.004);
    run.OnSlice([&](const CKZStatSliceValues& slice) {
        for (const char* const name : {"a", "b", "a.failed", "b.failed"})
            if (const auto* const record = slice.FindRecord(name))
                delivered += static_cast<long long>(record->lasts.count);
    });
    const CKZStatRunClient shared = run.NewClient(1);
    ConcurrentlyTimes(3, [&] {
        const CKZStatRunClient own = run.NewClient(2);
        for (int i = 0; i < kTimings; ++i) {
            CKZStatStopwatch timing(i % 2 == 0 ? shared : own, i % 3 == 0 ? "a" : "b");
            if (i % 5 == 0) timing.Fail("refused");
        }
    });
    EXPECT_TRUE(run.Finish().IsClean());
    EXPECT_EQ(delivered, 3 * kTimings);
}

}  // namespace

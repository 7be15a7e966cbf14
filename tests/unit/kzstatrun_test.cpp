#include "kzstatrun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <latch>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ryp/clock.h"
#include "support/capturing_log.h"
#include "support/clockedrun.h"
#include "support/concurrently.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Optional;
using testing::SizeIs;
using Types = CKZStatPointTypeEnum;

class Run : public ClockedRun {};

/// Writes down what it is told, and complains of all of it.
class EndNotes : public CKZStatRunListener {
public:
    std::vector<RWCString> OnSlice(const CKZStatSliceValues& slice) override {
        slices.Write(slice);
        return {"a slice"};
    }
    std::vector<RWCString> OnEnd(const CKZStatRunEnd& end) override {
        ends.push_back(end);
        return {"the end", "is near"};
    }

    SliceNotes slices;
    std::vector<CKZStatRunEnd> ends;
};

TEST_F(Run, DeliversTheLastValue) {
    CKZStatRunClient client = run->NewClient(1);
    GoTo(1);
    EXPECT_TRUE(client.AddLast("n", 7, Types::Counter));
    const CKZStatRunResult result = Finish();
    EXPECT_EQ(notes.Sum(2, "n"), 7);
    EXPECT_THAT(notes.Ids(), ElementsAre(1, 2));
    EXPECT_EQ(result.slicesDelivered, 2);
    EXPECT_TRUE(result.IsClean());
}

TEST_F(Run, AcceptsValuesOfTheSliceInWhichItIsFinished) {
    CKZStatRunClient client = run->NewClient(1);
    std::thread finisher([this] { EXPECT_TRUE(run->Finish().IsClean()); });
    clock.WaitForSleepers(kThreads + 1);
    EXPECT_TRUE(client.AddLast("n", 7, Types::Counter));
    OnMovingClock([&] { finisher.join(); });
    EXPECT_EQ(notes.Sum(1, "n"), 7);
}

TEST_F(Run, EndsSlicesOnTimeWithoutAClient) {
    GoTo(1);
    EXPECT_THAT(notes.Ids(), ElementsAre(1));
    GoTo(2);
    EXPECT_THAT(notes.Ids(), ElementsAre(1, 2));
}

TEST_F(Run, EndsSlicesOnTimeWithIdleClients) {
    CKZStatRunClient client = run->NewClient(1);
    client.AddLast("n", 1, Types::Counter);
    GoTo(1);
    EXPECT_EQ(notes.Sum(1, "n"), 1);
}

TEST_F(Run, LeavesNoSliceOutThatItSleptThrough) {
    GoTo(3.5);
    EXPECT_THAT(notes.Ids(), ElementsAre(1, 2, 3));
}

TEST_F(Run, KeepsDeliveringExactlyToTheSecondListener) {
    SliceNotes second;
    run->OnSlice([&](const CKZStatSliceValues& slice) { second.Write(slice); });
    GoTo(1);
    run->NewClient(1).AddLast("n", 1, Types::Counter);
    static_cast<void>(Finish());
    EXPECT_EQ(second.Ids(), notes.Ids());
    EXPECT_EQ(second.Count("n"), 1);
}

TEST_F(Run, CallsListenersInTheirOrder) {
    std::string order;
    for (const char letter : {'a', 'b', 'c'})
        run->OnSlice([&order, letter](const CKZStatSliceValues&) { order += letter; });
    static_cast<void>(Finish());
    EXPECT_EQ(order, "abc");
}

TEST_F(Run, TakesListenersInAListener) {
    std::atomic<int> calls{0};
    run->OnSlice([&](const CKZStatSliceValues& slice) {
        if (slice.GetSliceId() == 1) run->OnSlice([&](const CKZStatSliceValues&) { ++calls; });
    });
    GoTo(1);
    EXPECT_EQ(calls, 0);
    GoTo(2);
    EXPECT_EQ(calls, 1);
    static_cast<void>(Finish());
}

TEST_F(Run, CallsAListenerThatThrowsOncePerSliceAndTellsOfIt) {
    const CapturingLog log(RyPLogLevel::Error);
    SliceNotes thrower;
    SliceNotes last;
    run->OnSlice([&](const CKZStatSliceValues& slice) {
        thrower.Write(slice);
        throw std::runtime_error("disk full");
    });
    run->OnSlice([&](const CKZStatSliceValues& slice) { last.Write(slice); });
    GoTo(1);
    GoTo(2);
    const CKZStatRunResult result = Finish();
    EXPECT_THAT(thrower.Ids(), ElementsAre(1, 2, 3));
    EXPECT_EQ(last.Ids(), thrower.Ids());
    EXPECT_THAT(Lines(result), ElementsAre("slice listener 2 threw 3 times, first: disk full"));
    EXPECT_THAT(log.Texts(), ElementsAre("slice listener 2 threw: disk full"));
}

TEST_F(Run, TellsOfListenersThatThrowAnything) {
    const CapturingLog log(RyPLogLevel::Error);
    run->OnSlice([](const CKZStatSliceValues&) { throw 7; });
    EXPECT_THAT(Lines(Finish()),
                ElementsAre("slice listener 2 threw 1 time: something that is no std::exception"));
}

TEST_F(Run, RefusesListenersThatAreEmptyOrLate) {
    const CapturingLog log(RyPLogLevel::Error);
    run->OnSlice(nullptr);
    run->OncePerSlice(nullptr);
    EXPECT_THAT(log.Texts(), SizeIs(2));
    EXPECT_TRUE(Finish().IsClean());
    run->OnSlice([](const CKZStatSliceValues&) {});
    run->OncePerSlice([](CKZStatRunClient&) {});
    EXPECT_THAT(log.Texts(), SizeIs(4));
}

TEST_F(Run, TellsListenersOfTheEndAfterTheLastSlice) {
    const auto listener = std::make_shared<EndNotes>();
    ASSERT_TRUE(run->AddListener(listener));
    GoTo(0.25);
    run->BeginLoad();
    GoTo(1);
    run->EndLoad();
    EXPECT_THAT(Lines(Finish()), ElementsAre("a slice", "the end", "is near"));
    EXPECT_THAT(listener->slices.Ids(), ElementsAre(1, 2));
    ASSERT_THAT(listener->ends, SizeIs(1));
    EXPECT_EQ(listener->ends[0].lastSlice, 2);
    EXPECT_THAT(listener->ends[0].loadBegin, Optional(0.25));
    EXPECT_THAT(listener->ends[0].loadEnd, Optional(1.0));
    EXPECT_EQ(listener.use_count(), 1);
}

TEST_F(Run, TellsListenersOfTheEndWithoutBeingFinished) {
    const auto listener = std::make_shared<EndNotes>();
    ASSERT_TRUE(run->AddListener(listener));
    OnMovingClock([&] { run.reset(); });
    ASSERT_THAT(listener->ends, SizeIs(1));
    EXPECT_EQ(listener->ends[0].lastSlice, listener->slices.Ids().back());
}

TEST_F(Run, TellsListenersOfSlicesThatWereGivenUp) {
    const auto listener = std::make_shared<EndNotes>();
    ASSERT_TRUE(run->AddListener(listener));
    run->NewClient(1).AddLast("n", 1, Types::Counter);
    EXPECT_THAT(run->Finish(0).slicesGivenUp, 1);
    OnMovingClock([&] { run.reset(); });
    EXPECT_THAT(listener->slices.Ids(), IsEmpty());
    ASSERT_THAT(listener->ends, SizeIs(1));
    EXPECT_EQ(listener->ends[0].lastSlice, 1);
}

TEST_F(Run, TellsEveryListenerOfTheEndWhenOneThrows) {
    struct Thrower : EndNotes {
        std::vector<RWCString> OnEnd(const CKZStatRunEnd&) override {
            throw std::runtime_error("disk full");
        }
    };
    const auto listener = std::make_shared<EndNotes>();
    ASSERT_TRUE(run->AddListener(std::make_shared<Thrower>()));
    ASSERT_TRUE(run->AddListener(listener));
    EXPECT_THAT(Lines(Finish()), testing::Contains("slice listener 2 threw 1 time: disk full"));
    EXPECT_THAT(listener->ends, SizeIs(1));
}

TEST_F(Run, RefusesListenersAfterTheEnd) {
    EXPECT_FALSE(run->AddListener(nullptr));
    EXPECT_TRUE(Finish().IsClean());
    const auto listener = std::make_shared<EndNotes>();
    EXPECT_FALSE(run->AddListener(listener));
    EXPECT_EQ(listener.use_count(), 1);
}

TEST_F(Run, DestroysListenersAtTheEnd) {
    const auto captured = std::make_shared<int>(0);
    run->OnSlice([captured](const CKZStatSliceValues&) {});
    run->OncePerSlice([captured](CKZStatRunClient&) {});
    static_cast<void>(Finish());
    EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(Run, ReportsOncePerSliceNearItsMiddle) {
    run->OncePerSlice([](CKZStatRunClient& own) { own.AddLast("level", 3, Types::LoadSize); });
    GoTo(0.49);
    GoTo(0.5);
    GoTo(0.75);
    GoTo(1);
    EXPECT_EQ(notes.Sum(1, "level"), 3);
    GoTo(2.25);
    EXPECT_EQ(notes.Sum(2, "level"), -1);  // slept through
    GoTo(2.5);
    GoTo(3);
    EXPECT_EQ(notes.Sum(3, "level"), 3);
}

TEST_F(Run, GivesEachReporterAHandleThatMayBeMovedAway) {
    std::vector<CKZStatRunClient> taken;
    run->OncePerSlice([&](CKZStatRunClient& own) { taken.push_back(std::move(own)); });
    GoTo(0.5);
    GoTo(1);
    GoTo(1.5);
    ASSERT_THAT(taken, SizeIs(2));
    EXPECT_TRUE(taken.back().AddLast("n", 1, Types::Counter));
    static_cast<void>(Finish());
}

TEST_F(Run, TellsOfReportersThatThrow) {
    const CapturingLog log(RyPLogLevel::Error);
    run->OncePerSlice([](CKZStatRunClient&) { throw std::runtime_error("no reading"); });
    GoTo(0.5);
    GoTo(1);
    GoTo(1.5);
    GoTo(2);
    EXPECT_THAT(Lines(Finish()), testing::Contains(HasSubstr("no reading")));
}

TEST_F(Run, TellsItsResultSoFar) {
    const CapturingLog log(RyPLogLevel::Error);
    EXPECT_TRUE(run->GetResult().IsClean());
    GoTo(1);
    run->AddComplaint("no disk");
    const CKZStatRunResult soFar = run->GetResult();
    EXPECT_EQ(soFar.slicesDelivered, 1);
    EXPECT_EQ(soFar.slicesGivenUp, 0);
    EXPECT_THAT(Lines(soFar), ElementsAre("no disk"));
    const CKZStatRunResult atTheEnd = Finish();
    EXPECT_EQ(run->GetResult().slicesDelivered, atTheEnd.slicesDelivered);
    EXPECT_EQ(Lines(run->GetResult()), Lines(atTheEnd));
}

TEST_F(Run, FinishesTwiceWithTheSameResult) {
    run->NewClient(1).AddLast("n", 1, Types::Counter);
    const CKZStatRunResult first = Finish();
    const CKZStatRunResult second = run->Finish();
    EXPECT_EQ(second.slicesDelivered, first.slicesDelivered);
    EXPECT_TRUE(second.IsClean());
    EXPECT_THAT(notes.Ids(), ElementsAre(1));
}

TEST_F(Run, FinishesOnManyThreadsAtOnce) {
    std::thread finishers(
        [&] { ConcurrentlyTimes(3, [&] { EXPECT_TRUE(run->Finish().IsClean()); }); });
    clock.WaitForSleepers(kThreads + 3);
    OnMovingClock([&] { finishers.join(); });
    EXPECT_THAT(notes.Ids(), ElementsAre(1));
}

TEST_F(Run, RefusesToFinishInAListener) {
    const CapturingLog log(RyPLogLevel::Error);
    std::vector<std::string> lines;
    run->OnSlice([&](const CKZStatSliceValues&) { lines = Lines(run->Finish()); });
    EXPECT_TRUE(Finish().IsClean());
    EXPECT_THAT(lines, ElementsAre(HasSubstr("Finish - called by a listener")));
    EXPECT_THAT(log.Texts(), SizeIs(1));
}

TEST_F(Run, RefusesToFinishInAReporter) {
    const CapturingLog log(RyPLogLevel::Error);
    run->OncePerSlice([&](CKZStatRunClient&) { static_cast<void>(run->Finish()); });
    GoTo(0.5);
    EXPECT_THAT(log.Texts(), SizeIs(1));
    EXPECT_TRUE(Finish().IsClean());
}

TEST_F(Run, GivesUpSlicesAtTheLimitWhileAListenerBlocks) {
    std::latch isBlocked(1);
    std::latch mayGoOn(1);
    std::atomic<int> laterCalls{0};
    run->OnSlice([&](const CKZStatSliceValues& slice) {
        if (slice.GetSliceId() != 2) return;
        isBlocked.count_down();
        mayGoOn.wait();
    });
    run->OnSlice([&](const CKZStatSliceValues& slice) { laterCalls = slice.GetSliceId(); });
    CKZStatRunClient client = run->NewClient(1);
    GoTo(1);
    clock.Set(kStart + 2);
    isBlocked.wait();
    EXPECT_TRUE(client.AddLast("n", 1, Types::Counter));  // slice 3

    CKZStatRunResult result;
    OnMovingClock([&] { result = run->Finish(5); });
    EXPECT_EQ(result.slicesDelivered, 1);
    EXPECT_EQ(result.slicesGivenUp, 2);
    EXPECT_THAT(Lines(result), ElementsAre("2 slices were given up"));
    EXPECT_FALSE(client.AddLast("n", 1, Types::Counter));

    mayGoOn.count_down();
    OnMovingClock([&] { run.reset(); });
    EXPECT_EQ(laterCalls, 1);
    EXPECT_THAT(notes.Ids(), ElementsAre(1, 2));
}

TEST_F(Run, GivesUpTheCurrentSliceWithoutTimeLeft) {
    CKZStatRunClient client = run->NewClient(1);
    client.AddLast("n", 1, Types::Counter);
    for (const double limit : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_EQ(run->Finish(limit).slicesGivenUp, 1);
    EXPECT_FALSE(client.AddLast("n", 1, Types::Counter));
    EXPECT_THAT(notes.Ids(), IsEmpty());
}

TEST_F(Run, LosesNothingWithinTheLimit) {
    run->NewClient(1).AddLast("n", 1, Types::Counter);
    CKZStatRunResult result;
    OnMovingClock([&] { result = run->Finish(1e9); });
    EXPECT_TRUE(result.IsClean());
    EXPECT_EQ(notes.Count("n"), 1);
}

TEST_F(Run, EndsTheLastSliceWhileAReporterBlocks) {
    std::latch isBlocked(1);
    std::latch mayGoOn(1);
    run->OncePerSlice([&](CKZStatRunClient&) {
        isBlocked.count_down();
        mayGoOn.wait();
    });
    clock.Set(kStart + 0.5);
    isBlocked.wait();
    CKZStatRunResult result;
    std::thread finisher([&] { result = run->Finish(3); });
    clock.WaitForSleepers(kThreads);
    clock.Set(kStart + 1);
    while (notes.Ids().empty()) std::this_thread::yield();
    OnMovingClock([&] { finisher.join(); });
    EXPECT_EQ(result.slicesDelivered, 1);
    EXPECT_EQ(result.slicesGivenUp, 0);
    mayGoOn.count_down();
    OnMovingClock([&] { run.reset(); });
}

TEST_F(Run, CountsValuesThatAreRefusedAfterTheEnd) {
    CKZStatRunClient client = run->NewClient(1);
    EXPECT_TRUE(Finish().IsClean());
    EXPECT_FALSE(client.AddLast("n", 1, Types::Counter));
    EXPECT_FALSE(run->NewClient(2).AddLast("n", 1, Types::Counter));
    const CKZStatRunResult result = run->Finish();
    EXPECT_EQ(result.valuesRefused, 2);
    EXPECT_THAT(Lines(result), ElementsAre("2 values were refused: the run was over"));
}

TEST_F(Run, DoesNotBlameAListenerThatReportsInTheLastSlice) {
    CKZStatRunClient client = run->NewClient(1);
    bool wasTaken = true;
    run->OnSlice(
        [&](const CKZStatSliceValues&) { wasTaken = client.AddLast("n", 1, Types::Counter); });
    EXPECT_TRUE(Finish().IsClean());
    EXPECT_FALSE(wasTaken);
}

TEST_F(Run, RefusesNamesThatWouldBreakMessages) {
    const CapturingLog log(RyPLogLevel::Error);
    CKZStatRunClient client = run->NewClient(1);
    EXPECT_FALSE(
        client.AddLast("a\x01"
                       "b",
                       1, Types::Counter));
    EXPECT_FALSE(client.AddLast("\x01", 1, Types::Counter));
    EXPECT_FALSE(client.AddLast(nullptr, 1, Types::Counter));
    EXPECT_TRUE(client.AddLast("", 1, Types::Counter));
    EXPECT_THAT(log.Texts(), SizeIs(1));
    const CKZStatRunResult result = Finish();
    EXPECT_EQ(result.valuesRefused, 3);
    EXPECT_THAT(Lines(result), ElementsAre(HasSubstr("3 values were refused")));
}

TEST_F(Run, TellsWhatItWasToldOnce) {
    const CapturingLog log(RyPLogLevel::Error);
    run->AddComplaint("the disk is full");
    run->AddComplaint("the disk is full");
    run->AddComplaint(nullptr);
    EXPECT_THAT(Lines(Finish()), ElementsAre("the disk is full"));
    EXPECT_THAT(log.Texts(), ElementsAre("the disk is full"));
}

TEST_F(Run, CutsANameThatWouldBreakMessages) {
    CKZStatRun named(
        "night\x01"
        "ly",
        1);
    EXPECT_EQ(named.GetName(), "night");
    EXPECT_THAT(Lines(named.Finish(0)), testing::Contains(HasSubstr("name of the run was cut")));
}

TEST_F(Run, KnowsItsNameAndTimes) {
    EXPECT_EQ(run->GetName(), "load");
    EXPECT_EQ(run->GetSliceLength(), 1.0);
    EXPECT_EQ(run->GetStartTime(), kStart);
}

TEST_F(Run, DeliversWhatWasReportedBeforeItIsDestroyed) {
    run->NewClient(1).AddLast("n", 1, Types::Counter);
    OnMovingClock([&] { run.reset(); });
    EXPECT_EQ(notes.Count("n"), 1);
}

TEST_F(Run, LogsOnDestructionWhatNobodyWasTold) {
    const CapturingLog log(RyPLogLevel::Error);
    run->NewClient(1).AddLast(nullptr, 1, Types::Counter);
    OnMovingClock([&] { run.reset(); });
    EXPECT_THAT(log.Texts(), testing::Contains(HasSubstr("1 value was refused")));
}

TEST_F(Run, MayBeDestroyedBeforeItsClients) {
    CKZStatRunClient client = run->NewClient(1);
    client.AddLast("n", 1, Types::Counter);
    OnMovingClock([&] { run.reset(); });
    EXPECT_FALSE(client.AddLast("n", 1, Types::Counter));
    client.ResetTimer("t");
    EXPECT_GE(client.SendTimer("t"), 0);
    EXPECT_EQ(notes.Count("n"), 1);
}

TEST_F(Run, LetsAClientThatWasMovedFromBeUsed) {
    CKZStatRunClient first = run->NewClient(1);
    CKZStatRunClient second = std::move(first);
    EXPECT_TRUE(second.AddLast("n", 1, Types::Counter));
    EXPECT_EQ(second.GetId(), 1);
    // NOLINTBEGIN(bugprone-use-after-move)
    EXPECT_FALSE(first.AddLast("n", 1, Types::Counter));
    first.ResetTimer("t");
    EXPECT_EQ(first.SendTimer("t"), -1.0);
    EXPECT_EQ(first.GetId(), 0);
    first = run->NewClient(3);
    // NOLINTEND(bugprone-use-after-move)
    EXPECT_EQ(first.GetId(), 3);
}

TEST_F(Run, ReportsTimersOfItsClients) {
    CKZStatRunClient client = run->NewClient(1);
    client.ResetTimer("t");
    GoTo(0.25);
    EXPECT_EQ(client.SendTimer("t"), 250);
    static_cast<void>(Finish());
    EXPECT_EQ(notes.Sum(1, "t"), 250);
    EXPECT_EQ(notes.TypeOf("t"), Types::Timer);
}

TEST_F(Run, LogsTimersWithoutAName) {
    const CapturingLog log(RyPLogLevel::Error);
    CKZStatRunClient client = run->NewClient(1);
    client.ResetTimer(nullptr);
    EXPECT_EQ(client.SendTimer(nullptr), -1.0);
    EXPECT_THAT(log.Texts(), SizeIs(2));
}

// The load.

TEST_F(Run, ReportsTheNumberOfClientsAsLoadOncePerSlice) {
    run->ReportLoadAs("users");
    CKZStatRunClient first = run->NewClient(1);
    {
        const CKZStatRunClient second = run->NewClient(2);
        GoTo(0.5);
        GoTo(1);
    }
    GoTo(1.5);
    GoTo(2);
    EXPECT_EQ(notes.Sum(1, "users"), 2);
    EXPECT_EQ(notes.Sum(2, "users"), 1);
    EXPECT_EQ(notes.TypeOf("users"), Types::LoadSize);
}

TEST_F(Run, ReportsTheLoadThatIsSet) {
    run->ReportLoadAs("users");
    const CKZStatRunClient client = run->NewClient(1);
    run->SetLoad(12.5);
    GoTo(0.5);
    GoTo(1);
    EXPECT_EQ(notes.Sum(1, "users"), 12.5);
}

TEST_F(Run, RefusesLoadsAndNamesThatAreNone) {
    const CapturingLog log(RyPLogLevel::Error);
    run->SetLoad(-1);
    run->SetLoad(std::numeric_limits<double>::quiet_NaN());
    run->SetLoad(std::numeric_limits<double>::infinity());
    run->ReportLoadAs(nullptr);
    run->ReportLoadAs("\x01");
    EXPECT_THAT(log.Texts(), SizeIs(5));
    EXPECT_EQ(run->GetLoadBegin(), std::nullopt);
}

TEST_F(Run, HasNoLoadWithoutClients) {
    GoTo(1);
    EXPECT_EQ(run->GetLoadBegin(), std::nullopt);
    EXPECT_EQ(run->GetLoadEnd(), std::nullopt);
}

TEST_F(Run, HasLoadWhileThereAreClients) {
    GoTo(0.25);
    {
        const CKZStatRunClient client = run->NewClient(1);
        GoTo(0.5);
        EXPECT_EQ(run->GetLoadEnd(), std::nullopt);
    }
    EXPECT_THAT(run->GetLoadBegin(), Optional(0.25));
    EXPECT_THAT(run->GetLoadEnd(), Optional(0.5));
    GoTo(0.75);
    const CKZStatRunClient another = run->NewClient(2);
    EXPECT_THAT(run->GetLoadBegin(), Optional(0.25));
    EXPECT_EQ(run->GetLoadEnd(), std::nullopt);
}

TEST_F(Run, GoesByTheLoadThatIsSetAndNotByClients) {
    const CKZStatRunClient client = run->NewClient(1);
    run->SetLoad(0);
    EXPECT_EQ(run->GetLoadBegin(), std::nullopt);
    GoTo(0.25);
    run->SetLoad(10);
    GoTo(0.5);
    run->SetLoad(0);
    EXPECT_THAT(run->GetLoadBegin(), Optional(0.25));
    EXPECT_THAT(run->GetLoadEnd(), Optional(0.5));
}

TEST_F(Run, GoesByWhatItIsToldOfTheLoad) {
    const CKZStatRunClient client = run->NewClient(1);
    GoTo(0.25);
    run->BeginLoad();
    GoTo(0.5);
    run->EndLoad();
    GoTo(0.75);
    const CKZStatRunClient another = run->NewClient(2);
    EXPECT_THAT(run->GetLoadBegin(), Optional(0.25));
    EXPECT_THAT(run->GetLoadEnd(), Optional(0.5));
}

TEST_F(Run, ForgetsAnEndOfTheLoadThatItWasToldBeforeTheBegin) {
    GoTo(0.125);
    run->EndLoad();
    EXPECT_THAT(run->GetLoadEnd(), Optional(0.125));
    GoTo(0.25);
    const CKZStatRunClient client = run->NewClient(1);
    EXPECT_THAT(run->GetLoadBegin(), Optional(0.25));
    EXPECT_FALSE(run->GetLoadEnd());
    GoTo(0.5);
    run->EndLoad();
    GoTo(0.75);
    run->BeginLoad();
    EXPECT_THAT(run->GetLoadBegin(), Optional(0.75));
    EXPECT_FALSE(run->GetLoadEnd());
}

TEST_F(Run, EndsTheLoadWhenItIsFinished) {
    const CKZStatRunClient client = run->NewClient(1);
    GoTo(0.25);
    EXPECT_TRUE(Finish().IsClean());
    run->BeginLoad();
    run->EndLoad();
    EXPECT_THAT(run->GetLoadBegin(), Optional(0.0));
    EXPECT_THAT(run->GetLoadEnd(), Optional(0.25));
}

// A run that never starts.

TEST(UnusableRun, SaysSoAndRefusesValues) {
    const CapturingLog log(RyPLogLevel::Error);
    for (const double length : {0.0, -1.0, std::numeric_limits<double>::infinity(), 1e-12,
                                std::numeric_limits<double>::quiet_NaN()}) {
        CKZStatRun run("load", length);
        run.OnSlice([](const CKZStatSliceValues&) { FAIL(); });
        CKZStatRunClient client = run.NewClient(1);
        EXPECT_FALSE(client.AddLast("n", 1, Types::Counter));
        const CKZStatRunResult result = run.Finish();
        EXPECT_EQ(result.slicesDelivered, 0);
        EXPECT_EQ(result.valuesRefused, 1);
        EXPECT_THAT(result.complaints, SizeIs(2));
    }
}

TEST(UnusableRun, LogsItsSliceLength) {
    const CapturingLog log(RyPLogLevel::Error);
    const CKZStatRun run("load", 0);
    EXPECT_THAT(log.Texts(), testing::Contains(HasSubstr("the slice length 0")));
}

// On the real clock, with short slices: races, for the thread sanitizer.

constexpr double kShortSlice = 0.004;

struct Tally {
    std::atomic<long long> delivered{0};

    void CountIn(CKZStatRun& run) {
        run.OnSlice([this](const CKZStatSliceValues& slice) {
            if (const auto* const record = slice.FindRecord("n"))
                delivered += static_cast<long long>(record->lasts.count);
        });
    }
};

TEST(BusyRun, DeliversWhatItAcceptedWhileClientsReportUntilAfterTheEnd) {
    for (int round = 0; round < 8; ++round) {
        Tally tally;
        std::atomic<long long> accepted{0};
        std::atomic<long long> refused{0};
        CKZStatRun run("load", kShortSlice);
        tally.CountIn(run);
        std::vector<std::thread> reporters;
        for (int i = 0; i < 4; ++i)
            reporters.emplace_back([&, i] {
                CKZStatRunClient client = run.NewClient(i % 2);
                for (int afterTheEnd = 0; afterTheEnd < 10;)
                    if (client.AddLast("n", 1, Types::Counter)) {
                        ++accepted;
                    } else {
                        ++refused;
                        ++afterTheEnd;
                    }
            });
        RyPSleep(kShortSlice * (1 + round % 3));
        EXPECT_EQ(run.Finish().slicesGivenUp, 0);
        for (std::thread& reporter : reporters) reporter.join();
        EXPECT_EQ(tally.delivered, accepted);
        EXPECT_EQ(run.Finish().valuesRefused, refused);
    }
}

TEST(BusyRun, IsDestroyedInAnyOrderWhileClientsReport) {
    const CapturingLog log(RyPLogLevel::Error);  // of the values that came too late
    for (int round = 0; round < 8; ++round) {
        Tally tally;
        std::atomic<long long> accepted{0};
        auto run = std::make_unique<CKZStatRun>("load", kShortSlice);
        tally.CountIn(*run);
        std::vector<std::thread> reporters;
        for (int i = 0; i < 3; ++i)
            reporters.emplace_back([&accepted, client = run->NewClient(i)]() mutable {
                while (client.AddLast("n", 1, Types::Counter)) ++accepted;
            });
        RyPSleep(kShortSlice);
        run.reset();
        for (std::thread& reporter : reporters) reporter.join();
        EXPECT_EQ(tally.delivered, accepted);
    }
}

TEST(BusyRun, MayBeDestroyedByAListener) {
    const CapturingLog log(RyPLogLevel::Error);
    auto captured = std::make_shared<int>(0);
    const std::weak_ptr<int> isHeld = captured;
    std::latch mayDestroy(1);
    auto run = std::make_unique<CKZStatRun>("load", kShortSlice);
    CKZStatRunClient client = run->NewClient(1);
    run->OnSlice([&, captured](const CKZStatSliceValues&) {
        mayDestroy.wait();
        run.reset();
    });
    run->OncePerSlice([captured](CKZStatRunClient&) {});
    captured.reset();
    mayDestroy.count_down();
    while (!isHeld.expired()) std::this_thread::yield();
    EXPECT_FALSE(client.AddLast("n", 1, Types::Counter));
    EXPECT_THAT(log.Texts(), testing::Contains(HasSubstr("a listener destroyed its run")));
}

TEST(BusyRun, EndsWhereItsListenerOwnsIt) {
    const CapturingLog log(RyPLogLevel::Error);
    auto run = std::make_shared<CKZStatRun>("load", kShortSlice);
    const std::weak_ptr<CKZStatRun> isThere = run;
    run->OnSlice([run](const CKZStatSliceValues&) {});
    EXPECT_TRUE(run->Finish().IsClean());
    run.reset();
    EXPECT_TRUE(isThere.expired());
    EXPECT_TRUE(log.Texts().empty());
}

TEST(BusyRun, TakesListenersClientsAndLoadsWhileItGoesOn) {
    CKZStatRun run("load", kShortSlice);
    run.ReportLoadAs("users");
    std::atomic<int> calls{0};
    const auto until = RyPSysTime() + 0.1;
    const auto repeat = [until](const std::function<void()>& work) {
        return [until, work] {
            while (RyPSysTime() < until) work(), RyPSleep(0.001);
        };
    };
    Concurrently(
        {repeat([&] { run.OnSlice([&](const CKZStatSliceValues&) { ++calls; }); }), repeat([&] {
             run.OncePerSlice([](CKZStatRunClient& own) { own.AddLast("r", 1, Types::Counter); });
         }),
         repeat([&] { run.NewClient(1).AddLast("n", 1, Types::Counter); }),
         repeat([&] { run.SetLoad(3); }), repeat([&] { run.ReportLoadAs("users"); }),
         repeat([&] { static_cast<void>(run.GetLoadBegin()); })});
    EXPECT_EQ(run.Finish().slicesGivenUp, 0);
    EXPECT_GT(calls, 0);
}

TEST(BusyRun, CountsEitherWayWhenAListenerBlocksAtTheLimit) {
    Tally tally;
    std::atomic<long long> accepted{0};
    CKZStatRun run("load", kShortSlice);
    tally.CountIn(run);
    run.OnSlice([](const CKZStatSliceValues&) { RyPSleep(10 * kShortSlice); });
    std::thread reporter([&accepted, client = run.NewClient(1)]() mutable {
        while (client.AddLast("n", 1, Types::Counter)) ++accepted;
    });
    RyPSleep(5 * kShortSlice);
    EXPECT_GT(run.Finish(kShortSlice).slicesGivenUp, 0);
    reporter.join();
    EXPECT_LE(tally.delivered, accepted);
}

}  // namespace

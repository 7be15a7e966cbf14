#include "kzstatgenlane.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>

#include "kzstatisticsgenerator.h"
#include "ryp/testclock.h"
#include "support/capturing_log.h"
#include "support/recordinggenerator.h"
#include "support/testpeer.h"

namespace {

using Peer = CKZStatGenTestPeer;
using Types = CKZStatPointTypeEnum;

/// Runs what it is given on one thread, which it keeps.
class Worker {
public:
    Worker() : m_thread([this] { Loop(); }) {}
    ~Worker() {
        Begin([this] { m_ends = true; }).wait();
        m_thread.join();
    }

    std::future<void> Begin(std::function<void()> work) {
        std::packaged_task<void()> task(std::move(work));
        std::future<void> done = task.get_future();
        m_work.set_value(std::move(task));
        return done;
    }
    void Do(const std::function<void()>& work) { Begin(work).get(); }

private:
    void Loop() {
        while (!m_ends) {
            std::packaged_task<void()> task = m_work.get_future().get();
            m_work = {};
            task();
        }
    }

    std::promise<std::packaged_task<void()>> m_work;
    bool m_ends = false;
    std::thread m_thread;
};

/// Gives `work` time to get through if nothing holds it.
bool IsDone(const std::future<void>& work) {
    for (int turn = 0; turn < 1000; ++turn) std::this_thread::yield();
    return work.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

// Out of the sight of the analysis, which knows who holds what.
bool TryAcquire(CKZStatGenLane& lane) RYP_NO_THREAD_SAFETY_ANALYSIS {
    return lane.tryAcquire();
}

TEST(Lanes, AreOthersForOtherThreads) {
    const CKZStatGenLanes lanes;
    Worker worker;
    worker.Do([&] { lanes.OfThisThread(); });
    const CKZStatGenLane* others = nullptr;
    worker.Do([&] { others = &lanes.OfThisThread(); });
    EXPECT_NE(&lanes.OfThisThread(), others);
}

TEST(Lanes, ArePassedThroughOnceNobodyHoldsOneAnyMore) {
    const CKZStatGenLanes lanes;
    Worker worker;
    std::future<void> passed;
    {
        const RyPWordLock::LockGuard held(lanes.OfThisThread());
        passed = worker.Begin([&] { lanes.PassThrough(); });
        EXPECT_FALSE(IsDone(passed));
    }
    passed.get();
}

TEST(LaneOfClient, IsAcquiredWhereTheClientIsByThen) {
    CKZStatGenLane former;
    CKZStatGenLane next;
    CKZStatGenLaneOfClient client(former);
    Worker worker;
    std::atomic<const CKZStatGenLane*> acquired{nullptr};
    std::future<void> waiting;
    {
        CKZStatGenLaneOfClient::Hold mine(client);
        waiting = worker.Begin([&] {
            const CKZStatGenLaneOfClient::Hold others(client);
            if (!TryAcquire(next)) acquired = &client.Get();
        });
        EXPECT_FALSE(IsDone(waiting));
        mine.MoveTo(next);
    }
    waiting.get();
    EXPECT_EQ(acquired, &next);
}

/// As the work of a thread that is cancelled in a pause does.
TEST(LaneOfClient, IsHeldAgainAfterWorkThatThrew) {
    CKZStatGenLane lane;
    CKZStatGenLaneOfClient client(lane);
    Worker worker;
    std::future<void> waiting;
    {
        CKZStatGenLaneOfClient::Hold mine(client);
        EXPECT_THROW(mine.LetGoDuring([&] {
            worker.Do([&] { const CKZStatGenLaneOfClient::Hold others(client); });
            throw std::runtime_error("ends the pause");
        }),
                     std::runtime_error);
        waiting = worker.Begin([&] { const CKZStatGenLaneOfClient::Hold others(client); });
        EXPECT_FALSE(IsDone(waiting));
    }
    waiting.get();
}

/// Client 5, made on the thread of the test, in slices of 10 seconds from 100 on; another thread
/// reports through it, and the lane of the test's thread can be held.
class ClientInALane : public testing::Test {
protected:
    ClientInALane() {
        generator.Start(100.0, 10.0);
        worker.Do([this] { Peer::LanesOf(generator).OfThisThread(); });
    }

    CKZStatGenLane& MyLane() const { return Peer::LanesOf(generator).OfThisThread(); }
    CKZStatGenLane& WorkersLane() {
        CKZStatGenLane* lane = nullptr;
        worker.Do([&] { lane = &Peer::LanesOf(generator).OfThisThread(); });
        return *lane;
    }
    std::size_t PositionOf(const CKZStatGenLane& lane) const {
        return Peer::LanesOf(generator).PositionOf(lane);
    }
    int HeldIn(const CKZStatGenLane& lane) const {
        return Peer::HeldIn(*Peer::CurrentSlice(generator), generator, lane);
    }
    void Report() { client.AddLast("n", 1, Types::Counter); }
    std::future<void> BeginReportElsewhere() {
        return worker.Begin([this] { Report(); });
    }
    double SumOfClient() {
        client.FlushStatsCache();
        return Peer::DictionaryOf(client)->GetSum("n");
    }

    RyPTestClock clock{100.0};
    RecordingGenerator generator;
    CKZStatGenClient client{&generator, 5};
    Worker worker;
};

TEST_F(ClientInALane, IsInThatOfTheThreadThatReportsFirst) {
    BeginReportElsewhere().get();
    const RyPWordLock::LockGuard mine(MyLane());
    BeginReportElsewhere().get();
}

TEST_F(ClientInALane, StaysThereWithinASlice) {
    Report();
    std::future<void> elsewhere;
    {
        const RyPWordLock::LockGuard mine(MyLane());
        elsewhere = BeginReportElsewhere();
        EXPECT_FALSE(IsDone(elsewhere));
    }
    elsewhere.get();
    EXPECT_EQ(SumOfClient(), 2);
}

TEST_F(ClientInALane, FollowsItsThreadInTheNextSlice) {
    Report();
    clock.Set(110.5);
    BeginReportElsewhere().get();
    {
        const RyPWordLock::LockGuard mine(MyLane());
        BeginReportElsewhere().get();
    }
    EXPECT_EQ(SumOfClient(), 2);
    EXPECT_EQ(Peer::CurrentSlice(generator)->GetCountZ0(), 1);
}

TEST_F(ClientInALane, StaysThereWhenItAsksForANewDictionary) {
    Report();
    worker.Do([this] { client.GetNewDictionary(); });
    std::future<void> elsewhere;
    {
        const RyPWordLock::LockGuard mine(MyLane());
        elsewhere = BeginReportElsewhere();
        EXPECT_FALSE(IsDone(elsewhere));
    }
    elsewhere.get();
}

TEST_F(ClientInALane, StaysThereWhenItIsMovedOffASlice) {
    Report();
    CKZStatGenSlice& finished = *Peer::CurrentSlice(generator);
    clock.Set(110.5);
    worker.Do([&] { finished.ReleaseDicts(); });
    std::future<void> elsewhere;
    {
        const RyPWordLock::LockGuard mine(MyLane());
        elsewhere = BeginReportElsewhere();
        EXPECT_FALSE(IsDone(elsewhere));
    }
    elsewhere.get();
}

TEST_F(ClientInALane, KeepsItsDictionaryFromBeingFlushedWhileItReports) {
    Report();
    CKZStatGenMeasurementDictionary& dictionary = *Peer::DictionaryOf(client);
    std::future<void> flushed;
    {
        const RyPWordLock::LockGuard mine(MyLane());
        flushed = worker.Begin([&] { dictionary.FlushStatsCache(); });
        EXPECT_FALSE(IsDone(flushed));
        EXPECT_EQ(Peer::CachedCount(dictionary), 1);
    }
    flushed.get();
    EXPECT_EQ(Peer::CachedCount(dictionary), 0);
}

TEST_F(ClientInALane, KeepsItsSliceFromBeingSentWhileItReports) {
    Report();
    clock.Set(110.5);
    worker.Do([this] { CKZStatGenClient(&generator, 6).GetNewDictionary(); });
    CKZStatGenSlice* const finished = generator.WaitForSlice();
    std::future<void> sent;
    {
        const RyPWordLock::LockGuard mine(MyLane());
        sent = worker.Begin([&] { generator.SendSlice(finished); });
        EXPECT_FALSE(IsDone(sent));
    }
    sent.get();
}

TEST_F(ClientInALane, KeepsItsSliceFromBeingFreedWhileItReports) {
    Report();
    clock.Set(110.5);
    client.GetNewDictionary();
    CKZStatGenSlice* const finished = generator.WaitForSlice();
    std::future<void> freed;
    {
        const RyPWordLock::LockGuard mine(MyLane());
        freed = worker.Begin([&] { generator.RemoveSlice(finished); });
        EXPECT_FALSE(IsDone(freed));
    }
    freed.get();
}

TEST_F(ClientInALane, KeepsItsDictionaryWhileItReportsThoughItsSliceIsFreed) {
    Report();
    clock.Set(110.5);
    worker.Do([this] { CKZStatGenClient(&generator, 6).GetNewDictionary(); });
    CKZStatGenSlice* const finished = generator.WaitForSlice();
    std::future<void> freed;
    {
        const RyPWordLock::LockGuard mine(MyLane());
        freed = worker.Begin([&] { generator.RemoveSlice(finished); });
        EXPECT_FALSE(IsDone(freed));
        EXPECT_NE(Peer::DictionaryOf(client), nullptr);
    }
    freed.get();
    EXPECT_EQ(Peer::DictionaryOf(client), nullptr);
}

TEST_F(ClientInALane, KeepsItsGeneratorFromBeingEndedWhileItReports) {
    Report();
    std::future<void> ended;
    {
        const RyPWordLock::LockGuard mine(MyLane());
        ended = worker.Begin([this] { Peer::EndAtOnce(generator); });
        EXPECT_FALSE(IsDone(ended));
    }
    ended.get();
}

/// Whoever holds the lane may be about to move the client.
TEST_F(ClientInALane, IsNotDestroyedWhileTheLaneIsHeld) {
    auto leaving = std::make_unique<CKZStatGenClient>(&generator, 6);
    leaving->AddLast("n", 1, Types::Counter);
    std::future<void> destroyed;
    {
        const RyPWordLock::LockGuard mine(MyLane());
        destroyed = worker.Begin([&] { leaving.reset(); });
        EXPECT_FALSE(IsDone(destroyed));
    }
    destroyed.get();
}

TEST_F(ClientInALane, KeepsItsDictionaryFromBeingGivenValuesWhileItReports) {
    Report();
    CKZStatGenMeasurementDictionary& dictionary = *Peer::DictionaryOf(client);
    std::future<void> given;
    {
        const RyPWordLock::LockGuard mine(MyLane());
        given = worker.Begin(
            [&] { dictionary.SetValues("m", 1, 1, 1, 1, 1, 1, 1, 1, 1, Types::Counter); });
        EXPECT_FALSE(IsDone(given));
        EXPECT_EQ(dictionary.GetCount("m"), -1);
    }
    given.get();
}

/// A client's flush, which holds the lane, and the packing may come at the same time.
TEST_F(ClientInALane, HasItsValuesPackedOnceWhenItIsFlushedAtTheSameTime) {
    Report();
    CKZStatGenMeasurementDictionary& dictionary = *Peer::DictionaryOf(client);
    clock.Set(110.5);
    worker.Do([this] { CKZStatGenClient(&generator, 6).GetNewDictionary(); });
    CKZStatGenSlice* const finished = generator.WaitForSlice();
    std::future<void> sent;
    {
        const RWTRecursiveLock<RWMutexLock>::LockGuard flushing(Peer::LockOf(dictionary));
        sent = worker.Begin([&] { generator.SendSlice(finished); });
        EXPECT_FALSE(IsDone(sent));
        EXPECT_EQ(Peer::CachedCount(dictionary), 1);
    }
    sent.get();
    EXPECT_EQ(Peer::CachedCount(dictionary), 0);
}

TEST_F(ClientInALane, IsPassedOverWhereItForgotItsDictionary) {
    Report();
    CKZStatGenSlice& finished = *Peer::CurrentSlice(generator);
    client.ReleaseDictionary();
    clock.Set(110.5);
    BeginReportElsewhere().get();  // in another lane now
    finished.ReleaseDicts();
    EXPECT_EQ(finished.GetCountZ0(), 1);
    EXPECT_EQ(SumOfClient(), 1);
    generator.RemoveSlice(generator.WaitForSlice());
    EXPECT_EQ(SumOfClient(), 1);
}

TEST_F(ClientInALane, FindsItsDictionaryInTheSliceThatIsTakenUp) {
    Report();
    CKZStatGenClient elsewhere(&generator, 6);
    CKZStatGenClient twin(&generator, 6);
    worker.Do([&] { elsewhere.AddLast("n", 1, Types::Counter); });
    twin.AddLast("n", 1, Types::Counter);
    clock.Set(110.5);
    generator.GetNewDictionary(7, nullptr);  // begins the next slice
    CKZStatGenSlice& finished = *generator.WaitForSlice();
    EXPECT_EQ(finished.entries(), 2U);
    EXPECT_EQ(finished.GetCountZ0(), 3);
}

/// A value on its way holds up the slice that it is for, and no other.
TEST_F(ClientInALane, IsWaitedForByTheSliceInWhichItFiles) {
    Report();
    clock.Set(110.5);
    generator.GetNewDictionary(7, nullptr);  // begins the next slice
    std::future<void> taken;
    {
        const RyPWordLock::LockGuard mine(MyLane());
        taken = worker.Begin([&] { generator.WaitForSlice(); });
        EXPECT_FALSE(IsDone(taken));
    }
    taken.get();
}

/// The count of a lane is written without an atomic addition, so nobody else may write it.
TEST_F(ClientInALane, IsCountedAsAHolderThereAndNowhereElse) {
    CKZStatGenLane& elsewhere = WorkersLane();
    Report();
    worker.Do([&] {
        CKZStatGenClient other(&generator, 6);
        other.GetNewDictionary();
        EXPECT_EQ(HeldIn(elsewhere), 1);
        EXPECT_EQ(HeldIn(MyLane()), 1);
        other.GetNewDictionary();
        EXPECT_EQ(HeldIn(elsewhere), 1);
    });
    EXPECT_EQ(HeldIn(MyLane()), 1);
    clock.Set(110.5);
    CKZStatGenSlice& finished = *Peer::CurrentSlice(generator);
    Report();
    EXPECT_EQ(Peer::HeldIn(finished, generator, MyLane()), 0);
    EXPECT_EQ(Peer::HeldIn(finished, generator, elsewhere), 1);
}

TEST_F(ClientInALane, HasTheOnlyShelfOfASliceInWhichNobodyElseReports) {
    Report();
    clock.Set(110.5);
    Report();
    EXPECT_EQ(Peer::CountShelves(*Peer::CurrentSlice(generator)), 1);
}

/// The lanes are passed one after the other, and in one that is passed a client may still file.
TEST_F(ClientInALane, IsInItsSliceThoughThatEndsWhileItIsPutTogether) {
    CKZStatGenLane& elsewhere = WorkersLane();
    const bool mineIsPassedFirst = PositionOf(MyLane()) < PositionOf(elsewhere);
    const auto report = [this] { CKZStatGenClient(&generator, 6).AddLast("n", 1, Types::Counter); };
    CKZStatGenSlice& slice = *Peer::CurrentSlice(generator);
    Worker collector;
    std::future<void> collected;
    {
        const RyPWordLock::LockGuard later(mineIsPassedFirst ? elsewhere : MyLane());
        collected = collector.Begin([&] { slice.ReleaseDicts(); });
        EXPECT_FALSE(IsDone(collected));
        mineIsPassedFirst ? report() : worker.Do(report);
        clock.Set(110.5);
        generator.GetNewDictionary(7, nullptr);  // begins the next slice
    }
    collected.get();
    generator.SendSlice(generator.WaitForSlice());
    ASSERT_NE(generator.LastMessage().Find("n"), nullptr);
    EXPECT_EQ(generator.LastMessage().Find("n")->sum, 1);
}

TEST_F(ClientInALane, KeepsTerminateFromCountingWhileItReports) {
    const CapturingLog log(RyPLogLevel::Warning);
    Report();
    std::future<void> terminated;
    {
        const RyPWordLock::LockGuard mine(MyLane());
        terminated = worker.Begin([this] { generator.Terminate(); });
        EXPECT_FALSE(IsDone(terminated));
    }
    terminated.get();
}

/// Idle clients of a taken lane are moved after those of free ones.
TEST_F(ClientInALane, KeepsNobodyElseFromBeingMovedOffASlice) {
    Report();
    CKZStatGenClient elsewhere(&generator, 6);
    worker.Do([&] { elsewhere.AddLast("n", 1, Types::Counter); });
    clock.Set(110.5);
    generator.GetNewDictionary(7, nullptr);  // begins the next slice
    CKZStatGenSlice& finished = *generator.WaitForSlice();
    std::future<void> released;
    {
        const RyPWordLock::LockGuard mine(MyLane());
        released = worker.Begin([&] { finished.ReleaseDicts(); });
        while (finished.GetCountZ0() != 1) std::this_thread::yield();
        EXPECT_FALSE(IsDone(released));
    }
    released.get();
    EXPECT_EQ(finished.GetCountZ0(), 0);
}

TEST_F(ClientInALane, IsMovedOffASliceWithAllOthers) {
    std::deque<CKZStatGenClient> clients;
    for (int id = 0; id < 100; ++id) {
        clients.emplace_back(&generator, id).AddLast("n", 1, Types::Counter);
        worker.Do([&] { clients.emplace_back(&generator, id).AddLast("n", 1, Types::Counter); });
    }
    CKZStatGenSlice& finished = *Peer::CurrentSlice(generator);
    EXPECT_EQ(finished.GetCountZ0(), 200);
    clock.Set(110.5);
    finished.ReleaseDicts();
    EXPECT_EQ(finished.GetCountZ0(), 0);
    EXPECT_EQ(Peer::CurrentSlice(generator)->GetCountZ0(), 200);
}

TEST(LaneOfClient, CountsHowLongThreadsWaitForIt) {
    CKZStatGenLane lane;
    CKZStatGenLaneOfClient ofClient(lane);
    ofClient.acquire();
    const double before = CKZStatGenLaneOfClient::WaitedSeconds();
    Worker other;
    const std::future<void> done = other.Begin([&] {
        const bool wasFree = ofClient.acquire();
        ofClient.release();
        EXPECT_TRUE(wasFree || CKZStatGenLaneOfClient::WaitedSeconds() > before);
    });
    EXPECT_FALSE(IsDone(done));
    ofClient.release();
    done.wait();
}

}  // namespace

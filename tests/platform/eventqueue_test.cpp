#include "ryp/eventqueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cstddef>
#include <deque>
#include <memory>
#include <thread>
#include <vector>

#include "rw/collint.h"
#include "ryp/clock.h"
#include "ryp/testclock.h"
#include "support/clocked_thread.h"

namespace {

constexpr long kLong = 100000000;  // milliseconds; no test waits that long

/// One wait and what it reported.
struct Wait {
    explicit Wait(RyPEventQueue& queue, long milliseconds)
        : item(queue.waitEvent(milliseconds, status)) {}

    int status = -1;
    RWCollectable* item;
};

TEST(EventQueue, ReportsTheStatusesThatCompiledCallersRelyOn) {
    EXPECT_EQ(RyPEventQueue::ItemArrived, 0);
    EXPECT_EQ(RyPEventQueue::TimedOut, 1);
    EXPECT_EQ(RyPEventQueue::Released, 2);
    EXPECT_EQ(RyPEventQueue::ReleasedWhileWaiting, 3);
}

TEST(EventQueue, HandsOutAQueuedItem) {
    RyPEventQueue queue;
    RWCollectableInt item(1);
    queue.put(&item);
    const Wait wait(queue, kLong);
    EXPECT_EQ(wait.item, &item);
    EXPECT_EQ(wait.status, 0);
}

TEST(EventQueue, HandsOutItemsInTheOrderOfTheirArrival) {
    RyPEventQueue queue;
    RWCollectableInt items[3];
    for (RWCollectableInt& item : items) queue.put(&item);
    for (RWCollectableInt& item : items) EXPECT_EQ(Wait(queue, kLong).item, &item);
}

TEST(EventQueue, HandsOutAnItemAsOftenAsItWasPut) {
    RyPEventQueue queue;
    RWCollectableInt item;
    queue.put(&item);
    queue.put(&item);
    EXPECT_EQ(Wait(queue, 0).item, &item);
    EXPECT_EQ(Wait(queue, 0).item, &item);
    EXPECT_EQ(Wait(queue, 0).status, 1);
}

TEST(EventQueue, IsEmptyWithoutItems) {
    RyPEventQueue queue;
    RWCollectableInt item;
    EXPECT_TRUE(queue.isEmpty());
    queue.put(&item);
    EXPECT_FALSE(queue.isEmpty());
    EXPECT_EQ(Wait(queue, 0).item, &item);
    EXPECT_TRUE(queue.isEmpty());
    queue.releaseZ72();
    EXPECT_TRUE(queue.isEmpty());
}

TEST(EventQueue, TimesOutAtOnceWithoutTimeToWait) {
    const RyPTestClock clock(100);
    RyPEventQueue queue;
    const Wait wait(queue, 0);
    EXPECT_EQ(wait.status, 1);
    EXPECT_EQ(wait.item, nullptr);
}

TEST(EventQueue, HandsOutAQueuedItemWithoutTimeToWait) {
    RyPEventQueue queue;
    RWCollectableInt item;
    queue.put(&item);
    EXPECT_EQ(Wait(queue, 0).item, &item);
}

TEST(EventQueue, TakesTheEndsOfTheRangeForTimes) {
    RyPEventQueue queue;
    RWCollectableInt item;
    for (const long milliseconds : {LONG_MAX, LONG_MIN}) {
        queue.put(&item);
        EXPECT_EQ(Wait(queue, milliseconds).item, &item);
    }
}

TEST(EventQueue, TimesOutInRealTime) {
    RyPEventQueue queue;
    const auto start = std::chrono::steady_clock::now();
    const Wait wait(queue, 1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1));
    EXPECT_EQ(wait.status, 1);
    EXPECT_EQ(wait.item, nullptr);
}

/// A thread that waits once and notes the outcome.
class Waiter {
public:
    Waiter(RyPTestClock& clock, RyPEventQueue& queue, long milliseconds)
        : m_thread(clock, [this, &queue, milliseconds] {
              const Wait wait(queue, milliseconds);
              m_item = wait.item;
              m_status = wait.status;
          }) {}

    /// -1 while waiting.
    int Status() const { return m_status; }
    RWCollectable* Item() const { return m_item; }

private:
    std::atomic<RWCollectable*> m_item = nullptr;
    std::atomic<int> m_status = -1;
    ClockedThread m_thread;
};

TEST(EventQueue, TimesOutExactlyAtTheDeadline) {
    RyPTestClock clock(100);
    RyPEventQueue queue;
    const Waiter waiter(clock, queue, 250);
    clock.WaitForSleepers(1);
    clock.Set(100.249);
    clock.WaitForSleepers(1);
    EXPECT_EQ(waiter.Status(), -1);
    clock.Set(100.25);
    clock.WaitForSleepers(1);
    EXPECT_EQ(waiter.Status(), 1);
    EXPECT_EQ(waiter.Item(), nullptr);
}

TEST(EventQueue, WaitsForeverForANegativeTime) {
    RyPTestClock clock(100);
    RyPEventQueue queue;
    RWCollectableInt item;
    const Waiter first(clock, queue, -1);
    const Waiter second(clock, queue, LONG_MIN);
    clock.WaitForSleepers(2);
    clock.Advance(1e5);
    clock.WaitForSleepers(2);
    EXPECT_EQ(first.Status() + second.Status(), -1 + -1);
    queue.put(&item);
    queue.releaseZ72();
    clock.WaitForSleepers(2);
    EXPECT_EQ(first.Status() + second.Status(), 0 + 2);
}

TEST(EventQueue, WaitsInRealTimeForANegativeTime) {
    RyPEventQueue queue;
    RWCollectableInt item;
    std::thread producer([&] { queue.put(&item); });
    EXPECT_EQ(Wait(queue, -1).item, &item);
    producer.join();
}

TEST(EventQueue, WakesAWaitingThreadForAnItem) {
    RyPTestClock clock(100);
    RyPEventQueue queue;
    RWCollectableInt item;
    const Waiter waiter(clock, queue, 250);
    clock.WaitForSleepers(1);
    queue.put(&item);
    clock.WaitForSleepers(1);
    EXPECT_EQ(waiter.Status(), 0);
    EXPECT_EQ(waiter.Item(), &item);
}

TEST(EventQueue, GivesOneItemToOneOfTwoWaitingThreads) {
    RyPTestClock clock(100);
    RyPEventQueue queue;
    RWCollectableInt item;
    const Waiter first(clock, queue, 250);
    const Waiter second(clock, queue, 250);
    clock.WaitForSleepers(2);
    queue.put(&item);
    clock.WaitForSleepers(2);
    EXPECT_EQ(first.Status() + second.Status(), 0 + -1);
    clock.Advance(0.25);
    clock.WaitForSleepers(2);
    EXPECT_EQ(first.Status() + second.Status(), 0 + 1);
}

TEST(EventQueue, PrefersAnItemToATimeOutAtTheSameMoment) {
    RyPTestClock clock(100);
    RyPEventQueue queue;
    RWCollectableInt item;
    queue.put(&item);
    const Wait wait(queue, 0);
    EXPECT_EQ(wait.status, 0);
    EXPECT_EQ(wait.item, &item);
}

TEST(EventQueue, ReleasesEveryWaitingThread) {
    RyPTestClock clock(100);
    RyPEventQueue queue;
    const Waiter first(clock, queue, 250);
    const Waiter second(clock, queue, 500);
    clock.WaitForSleepers(2);
    queue.releaseZ72();
    clock.WaitForSleepers(2);
    EXPECT_EQ(first.Status(), 2);
    EXPECT_EQ(second.Status(), 2);
    EXPECT_EQ(first.Item(), nullptr);
}

TEST(EventQueue, ReleasesAWaitingThreadInRealTime) {
    RyPEventQueue queue;
    int status = -1;
    std::thread waiter([&] { queue.waitEvent(kLong, status); });
    queue.releaseZ72();
    waiter.join();
    EXPECT_EQ(status, 2);
}

TEST(EventQueue, StaysReleased) {
    RyPEventQueue queue;
    queue.releaseZ72();
    queue.releaseZ72();
    for (int i = 0; i < 3; ++i) {
        const Wait wait(queue, kLong);
        EXPECT_EQ(wait.status, 2);
        EXPECT_EQ(wait.item, nullptr);
    }
    EXPECT_EQ(Wait(queue, 0).status, 2);
}

TEST(EventQueue, HandsOutQueuedItemsBeforeReportingTheRelease) {
    RyPEventQueue queue;
    RWCollectableInt first;
    RWCollectableInt second;
    queue.put(&first);
    queue.releaseZ72();
    queue.put(&second);
    EXPECT_EQ(Wait(queue, kLong).item, &first);
    EXPECT_EQ(Wait(queue, kLong).item, &second);
    EXPECT_EQ(Wait(queue, kLong).status, 2);
    EXPECT_EQ(Wait(queue, kLong).status, 2);
}

TEST(EventQueue, ReportsItemArrivedForItemsAfterTheRelease) {
    RyPEventQueue queue;
    RWCollectableInt item;
    queue.releaseZ72();
    EXPECT_EQ(Wait(queue, 0).status, 2);
    queue.put(&item);
    const Wait wait(queue, 0);
    EXPECT_EQ(wait.status, 0);
    EXPECT_EQ(wait.item, &item);
}

TEST(EventQueue, LeavesItsItemsAliveWhenDestroyed) {
    class Witness : public RWCollectable {
    public:
        explicit Witness(bool& destroyed) : m_destroyed(destroyed) {}
        ~Witness() override { m_destroyed = true; }

    private:
        bool& m_destroyed;
    };
    bool destroyed = false;
    Witness witness(destroyed);
    auto queue = std::make_unique<RyPEventQueue>();
    queue->put(&witness);
    queue.reset();
    EXPECT_FALSE(destroyed);
}

/// Items tell their producer by number / kPerProducer.
constexpr int kProducers = 3;
constexpr int kConsumers = 3;
constexpr int kPerProducer = 1000;

using Numbers = std::vector<int>;

/// What each consumer took, in order.
std::vector<Numbers> TakeByManyWhatManyPut() {
    RyPEventQueue queue;
    std::deque<RWCollectableInt> items;
    for (int i = 0; i < kProducers * kPerProducer; ++i) items.emplace_back(i);

    std::vector<Numbers> taken(kConsumers);
    std::vector<std::thread> consumers;
    for (Numbers& mine : taken)
        consumers.emplace_back([&queue, &mine] {
            int status = 0;
            while (const RWCollectable* const item = queue.waitEvent(kLong, status))
                mine.push_back(static_cast<const RWCollectableInt*>(item)->value());
        });
    std::vector<std::thread> producers;
    for (int producer = 0; producer < kProducers; ++producer)
        producers.emplace_back([&queue, &items, producer] {
            for (int i = 0; i < kPerProducer; ++i)
                queue.put(&items[static_cast<std::size_t>(producer * kPerProducer + i)]);
        });
    for (std::thread& producer : producers) producer.join();
    queue.releaseZ72();
    for (std::thread& consumer : consumers) consumer.join();
    return taken;
}

void ExpectEachOnceAndInOrder(const std::vector<Numbers>& taken) {
    std::vector<int> times(kProducers * kPerProducer, 0);
    for (const Numbers& mine : taken) {
        int last[kProducers] = {-1, -1, -1};
        for (const int number : mine) {
            ++times[static_cast<std::size_t>(number)];
            EXPECT_GT(number, last[number / kPerProducer]);
            last[number / kPerProducer] = number;
        }
    }
    EXPECT_EQ(times, std::vector<int>(kProducers * kPerProducer, 1));
}

TEST(EventQueue, NeitherLosesNorDoublesItemsBetweenManyThreads) {
    ExpectEachOnceAndInOrder(TakeByManyWhatManyPut());
}

TEST(EventQueue, NeitherLosesNorDoublesItemsOnAStandingTestClock) {
    const RyPTestClock clock(100);
    ExpectEachOnceAndInOrder(TakeByManyWhatManyPut());
}

TEST(EventQueue, PassesOnWhatWasWrittenBeforeTheItemWasPut) {
    RyPEventQueue queue;
    RWCollectableInt item(0);
    std::thread producer([&] {
        item.value(42);
        queue.put(&item);
    });
    const Wait wait(queue, kLong);
    producer.join();
    ASSERT_EQ(wait.item, &item);
    EXPECT_EQ(item.value(), 42);
}

TEST(EventQueue, AnswersIsEmptyWhileOthersPutAndTake) {
    RyPEventQueue queue;
    RWCollectableInt item;
    std::thread producer([&] {
        for (int i = 0; i < 500; ++i) queue.put(&item);
    });
    int taken = 0;
    while (taken < 500)
        if (!queue.isEmpty() && Wait(queue, 0).item == &item) ++taken;
    producer.join();
    EXPECT_TRUE(queue.isEmpty());
}

}  // namespace

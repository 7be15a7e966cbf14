#include "ryp/threadnumber.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <set>
#include <thread>
#include <vector>

namespace {

/// A thread that has a number and keeps it until it is told to end.
class NumberedThread {
public:
    NumberedThread()
        : m_thread([this] {
              m_number.set_value(RyPThreadNumber());
              m_end.get_future().wait();
          }),
          number(m_number.get_future().get()) {}
    ~NumberedThread() {
        m_end.set_value();
        m_thread.join();
    }

private:
    std::promise<unsigned> m_number;
    std::promise<void> m_end;
    std::thread m_thread;

public:
    const unsigned number;
};

unsigned NumberOfAThreadThatEnds() {
    const NumberedThread thread;
    return thread.number;
}

TEST(ThreadNumber, StaysThatOfItsThread) {
    const unsigned first = RyPThreadNumber();
    EXPECT_EQ(RyPThreadNumber(), first);
}

TEST(ThreadNumber, IsNoOtherLivingThreads) {
    std::vector<NumberedThread> threads(5);
    std::set<unsigned> numbers{RyPThreadNumber()};
    for (const NumberedThread& thread : threads) numbers.insert(thread.number);
    EXPECT_EQ(numbers.size(), 6u);
}

TEST(ThreadNumber, IsTheSmallestThatIsFree) {
    RyPThreadNumber();
    auto lower = std::make_unique<NumberedThread>();
    const NumberedThread higher;
    const unsigned freed = lower->number;
    lower.reset();
    EXPECT_LT(freed, higher.number);
    EXPECT_EQ(NumberOfAThreadThatEnds(), freed);
}

TEST(ThreadNumber, StaysSmallWhereThreadsComeAndGo) {
    RyPThreadNumber();
    const unsigned first = NumberOfAThreadThatEnds();
    for (int i = 0; i < 200; ++i) EXPECT_EQ(NumberOfAThreadThatEnds(), first);
}

/// Asks once more after the number was given back, as what a thread owns may do at its end.
struct AsksAtTheEnd {
    ~AsksAtTheEnd() {
        if (told != nullptr) *told = RyPThreadNumber();
    }
    unsigned* told = nullptr;
};

TEST(ThreadNumber, IsStillKnownAtTheEndOfItsThread) {
    unsigned atFirst = 0;
    unsigned atTheEnd = ~0U;
    std::thread([&] {
        thread_local AsksAtTheEnd asks;  // made before the number, so destroyed after it
        asks.told = &atTheEnd;
        atFirst = RyPThreadNumber();
    }).join();
    EXPECT_EQ(atTheEnd, atFirst);
}

TEST(ThreadNumber, MayBeAskedForByManyThreadsAtOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([] {
            const unsigned number = RyPThreadNumber();
            for (int again = 0; again < 100; ++again) EXPECT_EQ(RyPThreadNumber(), number);
        });
    for (std::thread& thread : threads) thread.join();
}

}  // namespace

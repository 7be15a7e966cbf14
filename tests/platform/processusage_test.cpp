#include "ryp/processusage.h"

#include <gtest/gtest.h>
#include <sched.h>

#include <thread>

#include "ryp/testclock.h"

namespace {

/// Works until the thread has used so many seconds of processor time.
void Burn(double seconds) {
    const double end = RyPThreadProcessorSeconds() + seconds;
    while (RyPThreadProcessorSeconds() < end) {
    }
}

TEST(ProcessUsage, CountsTheWorkOfAllThreads) {
    const double before = RyPGetProcessUsage().processorSeconds;
    std::thread([] { Burn(0.01); }).join();
    Burn(0.01);
    EXPECT_GE(RyPGetProcessUsage().processorSeconds, before + 0.019);
    EXPECT_GE(RyPGetProcessUsage().involuntarySwitches, 0);
}

TEST(ProcessUsage, CountsTheWorkOfAThreadAlone) {
    const double before = RyPThreadProcessorSeconds();
    double ofOther = 0;
    std::thread([&] {
        Burn(0.01);
        ofOther = RyPThreadProcessorSeconds();
    }).join();
    EXPECT_GE(ofOther, 0.01);
    EXPECT_LT(RyPThreadProcessorSeconds(), before + 0.01);
}

TEST(ProcessUsage, ProcessorsAreThoseThatMayBeUsed) {
    EXPECT_GT(RyPUsableProcessors(), 0);
    double processors = 0;
    std::thread([&] {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<unsigned>(sched_getcpu()), &one);
        ASSERT_EQ(0, sched_setaffinity(0, sizeof one, &one));
        processors = RyPUsableProcessors();
    }).join();
    EXPECT_GT(processors, 0);
    EXPECT_LE(processors, 1);
}

TEST(ThreadUsage, TheBusiestIsOneThatRuns) {
    RyPThreadUsage usage;
    usage.MostSinceLast();
    Burn(0.02);
    double busiest = 0;
    std::thread([&] { busiest = usage.MostSinceLast().processorSeconds; }).join();
    EXPECT_GE(busiest, 0.02);
    EXPECT_LT(usage.MostSinceLast().processorSeconds, 0.02);
}

TEST(ThreadUsage, ThreadsThatShareAProcessorWaitForIt) {
    RyPThreadUsage usage;
    usage.MostSinceLast();
    cpu_set_t before;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<unsigned>(sched_getcpu()), &one);
    ASSERT_EQ(0, sched_getaffinity(0, sizeof before, &before));
    ASSERT_EQ(0, sched_setaffinity(0, sizeof one, &one));
    std::thread other([] { Burn(0.1); });
    Burn(0.1);
    EXPECT_GE(usage.MostSinceLast().waitedSeconds, 0.05);
    other.join();
    sched_setaffinity(0, sizeof before, &before);
}

TEST(ProcessUsage, IsThatOfTheTestClock) {
    RyPTestClock clock(1000);
    clock.UseProcessors(1.5);
    EXPECT_EQ(1.5, RyPGetProcessUsage().processorSeconds);
    EXPECT_EQ(0, RyPThreadProcessorSeconds());
    EXPECT_EQ(RyPTestClock::kProcessors, RyPUsableProcessors());
}

}  // namespace

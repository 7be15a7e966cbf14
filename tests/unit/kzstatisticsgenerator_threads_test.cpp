#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <functional>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "kzstatisticsgenerator.h"
#include "ryp/clock.h"
#include "support/recordinggenerator.h"
#include "support/testpeer.h"

// On the real clock, with slices of a few milliseconds: what these tests find is races, under the
// thread and address sanitizers.

namespace {

using Types = CKZStatPointTypeEnum;

constexpr double kSliceSeconds = 0.003;
constexpr int kReporters = 4;

/// A started generator with running loops, and a driver that lets slices end while no reporter is
/// left.
class BusyGenerator : public testing::Test {
protected:
    BusyGenerator() { generator.Start(RyPSysTime(), kSliceSeconds); }

    static void OnThreads(int count, const std::function<void(int)>& work) {
        std::vector<std::thread> threads;
        for (int i = 0; i < count; ++i) threads.emplace_back(work, i);
        for (std::thread& thread : threads) thread.join();
    }

    /// Lets slices end until a message carries `sum` in the totals of `name`.
    void DriveUntilCounted(const char* name, double sum) {
        CKZStatGenClient driver(&generator, 0);
        for (;;) {
            driver.GetNewDictionary();
            if (generator.MessageCount() > 0 && FinalSum(name) >= sum) return;
            RyPSleep(kSliceSeconds);
        }
    }

    double SumOfLasts(const char* name) const {
        double sum = 0;
        const std::vector<Message> messages = generator.Messages();
        for (const Message& message : messages)
            if (const Record* const record = message.Find(name)) sum += record->lastsSum;
        return sum;
    }

    double FinalSum(const char* name) const {
        const Message last = generator.LastMessage();
        const Record* const record = last.Find(name);
        return record == nullptr ? 0 : record->sum;
    }

    RecordingGenerator generator;
    RunningLoops loops{generator};
};

TEST_F(BusyGenerator, LosesNothingWhileClientsComeAndGo) {
    constexpr int kLives = 60;
    constexpr int kValues = 50;
    OnThreads(kReporters, [&](int) {
        for (int life = 0; life < kLives; ++life) {
            // Every thread uses the same few ids, one after the other and at the same time.
            CKZStatGenClient client(&generator, life % 3);
            for (int i = 0; i < kValues; ++i) client.AddLast("n", 1, Types::Counter);
        }
    });
    DriveUntilCounted("n", kReporters * kLives * kValues);
    EXPECT_EQ(SumOfLasts("n"), kReporters * kLives * kValues);
    EXPECT_EQ(FinalSum("n"), kReporters * kLives * kValues);
}

TEST_F(BusyGenerator, LosesNothingWhileClientsFlushAtEveryMoment) {
    constexpr int kValues = 3000;
    OnThreads(kReporters, [&](int id) {
        CKZStatGenClient client(&generator, id);
        for (int i = 0; i < kValues; ++i) {
            client.AddLast("n", 1, Types::Counter);
            if (i % 3 == 0) client.FlushStatsCache();
        }
    });
    DriveUntilCounted("n", kReporters * kValues);
    EXPECT_EQ(SumOfLasts("n"), kReporters * kValues);
}

TEST_F(BusyGenerator, FlushesOneClientFromAnotherThreadWithoutLoss) {
    constexpr int kValues = 5000;
    CKZStatGenClient client(&generator, 1);
    std::atomic<bool> done{false};
    std::thread flusher([&] {
        while (!done) client.FlushStatsCache();
    });
    for (int i = 0; i < kValues; ++i) client.AddLast("n", 1, Types::Counter);
    done = true;
    flusher.join();
    DriveUntilCounted("n", kValues);
    EXPECT_EQ(SumOfLasts("n"), kValues);
}

TEST(GeneratorInOneSlice, FlushesADictionaryWhoseClientReportsWithoutLoss) {
    constexpr int kValues = 200000;
    RecordingGenerator generator;
    generator.Start(RyPSysTime(), 1e6);
    CKZStatGenClient client(&generator, 1);
    CKZStatGenMeasurementDictionary* const dictionary = client.GetNewDictionary();
    std::atomic<bool> done{false};
    std::thread flusher([&] {
        while (!done) dictionary->FlushStatsCache();
    });
    for (int i = 0; i < kValues; ++i)
        client.AddLast(i % 2 == 0 ? "even" : "odd", 1, Types::Counter);
    done = true;
    flusher.join();
    dictionary->FlushStatsCache();
    EXPECT_EQ(dictionary->GetCount("even"), kValues / 2);
    EXPECT_EQ(dictionary->GetCount("odd"), kValues / 2);
}

TEST_F(BusyGenerator, MovesIdleClientsWhileOthersReportAndIdleOnesAreDestroyed) {
    constexpr int kRounds = 40;
    OnThreads(kReporters, [&](int id) {
        for (int round = 0; round < kRounds; ++round) {
            CKZStatGenClient idle(&generator, 100 + id);
            idle.AddLast("idle", 1, Types::Counter);
            CKZStatGenClient busy(&generator, id);
            const double until = RyPSysTime() + kSliceSeconds * (round % 3);
            do busy.AddLast("busy", 1, Types::Counter);
            while (RyPSysTime() < until);
        }
    });
    DriveUntilCounted("idle", kReporters * kRounds);
    EXPECT_EQ(SumOfLasts("idle"), kReporters * kRounds);
    EXPECT_EQ(SumOfLasts("busy"), FinalSum("busy"));
}

TEST_F(BusyGenerator, SendsEverySliceOnceAndInOrder) {
    CKZStatGenClient client(&generator, 1);
    while (generator.MessageCount() < 50) client.AddLast("n", 1, Types::Counter);
    loops.Stop();
    const std::vector<Message> messages = generator.Messages();
    for (std::size_t i = 0; i < messages.size(); ++i)
        EXPECT_EQ(messages[i].sliceId, static_cast<int>(i) + 1);
}

TEST_F(BusyGenerator, PausesWhileClientsReport) {
    std::atomic<bool> done{false};
    std::thread pauser([&] {
        while (!done) {
            generator.Freeze();
            generator.DeFrost(0.0);
        }
    });
    CKZStatGenClient client(&generator, 1);
    while (generator.MessageCount() < 10) client.AddLast("n", 1, Types::Counter);
    done = true;
    pauser.join();
}

TEST_F(BusyGenerator, KeepsTimersOfDifferentClientsApart) {
    OnThreads(kReporters, [&](int id) {
        CKZStatGenClient client(&generator, id);
        for (int i = 0; i < 500; ++i) {
            client.ResetTimer("t");
            EXPECT_GE(client.SendTimer("t"), 0.0);
        }
    });
}

/// Interrupts the thread that made it with signals, one after the other, while it lives.
class SignalStorm {
public:
    SignalStorm() : m_target(pthread_self()) {
        struct sigaction action = {};
        action.sa_handler = [](int) {};  // without SA_RESTART: system calls are interrupted
        sigaction(SIGUSR1, &action, nullptr);
        m_sender = std::thread([this] {
            for (; !m_done; std::this_thread::yield()) pthread_kill(m_target, SIGUSR1);
        });
    }
    ~SignalStorm() {
        m_done = true;
        m_sender.join();
    }
    SignalStorm(const SignalStorm&) = delete;
    SignalStorm& operator=(const SignalStorm&) = delete;

private:
    const pthread_t m_target;
    std::atomic<bool> m_done{false};
    std::thread m_sender;
};

TEST(GeneratorUnderSignals, SendsEverythingThatWasReported) {
    constexpr int kValues = 2000;
    RecordingGenerator generator;
    generator.Start(RyPSysTime(), kSliceSeconds);
    std::thread pack([&] {
        const SignalStorm storm;
        generator.doPackWork();
    });
    std::thread garbage([&] {
        const SignalStorm storm;
        generator.doGarbageWork();
    });
    {
        const SignalStorm storm;
        CKZStatGenClient client(&generator, 1);
        for (int i = 0; i < kValues; ++i) client.AddLast("n", 1, Types::Counter);
        while (generator.MessageCount() == 0 || generator.LastMessage().records.empty() ||
               generator.LastMessage().records[0].sum < kValues) {
            client.GetNewDictionary();
            RyPSleep(kSliceSeconds);
        }
    }
    generator.Terminate();
    pack.join();
    garbage.join();
    EXPECT_EQ(generator.LastMessage().records[0].sum, kValues);
}

TEST(GeneratorShutDown, CompletesAtAnyMomentUnderLoad) {
    std::mt19937 random(20261120);
    std::uniform_real_distribution<double> moment(0.0, 0.02);
    for (int round = 0; round < 25; ++round) {
        RecordingGenerator generator;
        generator.Start(RyPSysTime(), kSliceSeconds);
        auto loops = std::make_unique<RunningLoops>(generator);
        std::atomic<bool> done{false};
        std::vector<std::thread> reporters;
        for (int id = 0; id < kReporters; ++id) {
            reporters.emplace_back([&, id] {
                CKZStatGenClient client(&generator, id);
                while (!done) client.AddLast("n", 1, Types::Counter);
            });
        }
        RyPSleep(moment(random));
        loops->Stop();
        done = true;
        for (std::thread& reporter : reporters) reporter.join();
    }
}

TEST(GeneratorShutDown, IsSeenByAllWhoWaitForIt) {
    RecordingGenerator generator;
    generator.Start(RyPSysTime(), 1.0);
    RunningLoops loops(generator);
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i) {
        waiters.emplace_back([&] {
            generator.Terminate();
            generator.WaitForTerminateToEnd();
        });
    }
    for (std::thread& waiter : waiters) waiter.join();
}

}  // namespace

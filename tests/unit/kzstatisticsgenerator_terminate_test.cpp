#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "kzstatisticsgenerator.h"
#include "ryp/clock.h"
#include "ryp/testclock.h"
#include "support/capturing_log.h"
#include "support/concurrently.h"
#include "support/recordinggenerator.h"
#include "support/testpeer.h"

// What Terminate tells of the values that it leaves unsent.

namespace {

using Peer = CKZStatGenTestPeer;
using Types = CKZStatPointTypeEnum;
using testing::ElementsAre;
using testing::IsEmpty;

/// Runs an action in the hook that receives the merged dictionary.
class ActingGenerator : public RecordingGenerator {
public:
    void SendTotalDictionary(CKZStatGenMeasurementDictionary* merged, double sliceLength,
                             double elapsed) override {
        RecordingGenerator::SendTotalDictionary(merged, sliceLength, elapsed);
        if (act) act();
    }
    std::function<void()> act;
};

std::string Left(int slices, int values) {
    return "Terminate - slices left unsent: " + std::to_string(slices) +
           ", values in them: " + std::to_string(values);
}

/// A generator started at 100 with slices of 10 seconds, run by hand.
class Terminate : public testing::Test {
protected:
    Terminate() { generator.Start(100.0, 10.0); }

    void Report(int count) {
        for (int i = 0; i < count; ++i) client.AddLast("n", 1, Types::Counter);
    }
    void EndSlice() {
        clock.Advance(10.0);
        client.GetNewDictionary();
    }
    void SendOneSlice() { generator.SendSlice(generator.WaitForSlice()); }

    RyPTestClock clock{100.0};
    CapturingLog log{RyPLogLevel::Warning};
    ActingGenerator generator;
    CKZStatGenClient client{&generator, 5};
};

TEST_F(Terminate, TellsTheValuesOfTheCurrentSlice) {
    Report(25);  // 20 of them were aggregated, 5 are cached
    generator.Terminate();
    ASSERT_THAT(log.Texts(), ElementsAre(Left(1, 25)));
    EXPECT_EQ(log.Records()[0].level, RyPLogLevel::Warning);
}

TEST_F(Terminate, TellsTheValuesOfQueuedSlicesToo) {
    Report(3);
    EndSlice();
    EndSlice();
    Report(4);
    CKZStatGenClient(&generator, 6).AddLast("other", 1, Types::Timer);
    generator.Terminate();
    EXPECT_THAT(log.Texts(), ElementsAre(Left(3, 8)));
}

TEST_F(Terminate, TellsNothingWhereNoValueIsLeft) {
    Report(3);
    EndSlice();
    EndSlice();
    SendOneSlice();
    generator.Terminate();
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(Terminate, TellsNothingOfAGeneratorThatWasNotStarted) {
    RecordingGenerator idle;
    idle.Terminate();
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(Terminate, LeavesOutASliceThatWasTakenToBeSent) {
    Report(3);
    EndSlice();
    Report(1);
    CKZStatGenSlice* const taken = generator.WaitForSlice();
    generator.Terminate();
    EXPECT_THAT(log.Texts(), ElementsAre(Left(1, 1)));
    generator.SendSlice(taken);
    EXPECT_EQ(generator.LastMessage().Find("n")->sum, 3);
}

TEST_F(Terminate, LeavesOutTheSliceInHandWhenAHookTerminates) {
    Report(3);
    EndSlice();
    Report(1);
    generator.act = [this] { generator.Terminate(); };
    generator.doPackWork();
    EXPECT_EQ(generator.MessageCount(), 1U);
    EXPECT_THAT(log.Texts(), ElementsAre(Left(1, 1)));
}

TEST_F(Terminate, TellsTheValuesOfASliceWhoseHookThrew) {
    Report(3);
    EndSlice();
    generator.act = [] { throw std::runtime_error("hook"); };
    EXPECT_THROW(generator.doPackWork(), std::runtime_error);
    generator.Terminate();
    EXPECT_THAT(log.Texts(), ElementsAre(Left(2, 3)));
}

TEST_F(Terminate, LeavesOutASliceThatWasSentAfterItsHookThrew) {
    Report(3);
    EndSlice();
    generator.act = [this] {
        generator.act = nullptr;
        throw std::runtime_error("hook");
    };
    EXPECT_THROW(SendOneSlice(), std::runtime_error);
    SendOneSlice();
    generator.Terminate();
    EXPECT_THAT(log.Texts(), IsEmpty());
}

/// What was counted, and what the same thread files afterwards.
TEST_F(Terminate, LeavesTheCurrentSliceWhole) {
    Report(3);
    generator.Terminate();
    CKZStatGenClient(&generator, 6).AddLast("n", 1, Types::Counter);
    generator.SendSlice(Peer::CurrentSlice(generator));
    EXPECT_EQ(generator.LastMessage().Find("n")->sum, 4);
    EXPECT_EQ(Peer::CurrentSlice(generator)->entries(), 2U);
}

TEST_F(Terminate, CountsAValueThatWasSetAsOftenAsItsCountSays) {
    client.GetNewDictionary()->SetValues("n", 1, 5, 3, 9, 0, 1, 5, 3, 9, Types::Timer);
    client.GetNewDictionary()->SetValues("n", 1, 5, -3, 9, 0, 1, 5, -3, 9, Types::Timer);
    generator.Terminate();
    EXPECT_THAT(log.Texts(), ElementsAre(Left(1, 3)));
}

TEST_F(Terminate, TellsItOnce) {
    Report(1);
    ConcurrentlyTimes(3, [this] { generator.Terminate(); });
    generator.Terminate();
    EXPECT_THAT(log.Texts(), ElementsAre(Left(1, 1)));
}

TEST_F(Terminate, TellsNothingBelowTheWarningLevel) {
    RyPLog::SetThreshold(RyPLogLevel::Error);
    Report(1);
    generator.Terminate();
    EXPECT_THAT(log.Texts(), IsEmpty());
}

/// The values that the only record of `log` tells, or 0 where there is none.
int ValuesLeft(const CapturingLog& log) {
    if (log.Texts().empty()) return 0;
    const std::string text = log.Texts()[0];
    return std::stoi(text.substr(text.rfind(' ')));
}

double ValuesSent(const RecordingGenerator& generator) {
    if (generator.MessageCount() == 0) return 0;
    const Message last = generator.LastMessage();
    const Record* const record = last.Find("n");
    return record == nullptr ? 0 : record->sum;
}

TEST(TerminateUnderLoad, LeavesNoValueThatIsNeitherSentNorTold) {
    constexpr int kRounds = 30;
    constexpr int kReporters = 3;
    constexpr int kValues = 300;
    for (int round = 0; round < kRounds; ++round) {
        CapturingLog log(RyPLogLevel::Warning);
        RecordingGenerator generator;
        generator.Start(RyPSysTime(), 0.001);
        RunningLoops loops(generator);
        ConcurrentlyTimes(kReporters, [&] {
            CKZStatGenClient client(&generator, 1);
            for (int i = 0; i < kValues; ++i) client.AddLast("n", 1, Types::Counter);
            RyPSleep(0.0001 * round);
            client.GetNewDictionary();
        });
        loops.Stop();
        EXPECT_EQ(ValuesSent(generator) + ValuesLeft(log), kReporters * kValues);
    }
}

TEST(TerminateUnderLoad, CountsWhileClientsReport) {
    CapturingLog log(RyPLogLevel::Warning);
    RecordingGenerator generator;
    generator.Start(RyPSysTime(), 0.003);
    RunningLoops loops(generator);
    std::atomic<bool> done{false};
    std::vector<std::thread> reporters;
    for (int id = 0; id < 3; ++id) {
        reporters.emplace_back([&, id] {
            CKZStatGenClient client(&generator, id);
            while (!done) client.AddLast("n", 1, Types::Counter);
        });
    }
    generator.WaitForMessages(3);
    loops.Stop();
    done = true;
    for (std::thread& reporter : reporters) reporter.join();
    EXPECT_LE(log.Texts().size(), 1U);
}

}  // namespace

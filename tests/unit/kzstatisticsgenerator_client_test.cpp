#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <thread>

#include "kzstatisticsgenerator.h"
#include "rw/collint.h"
#include "ryp/testclock.h"
#include "support/capturing_log.h"
#include "support/clocked_thread.h"
#include "support/recordinggenerator.h"
#include "support/testpeer.h"

namespace {

using Peer = CKZStatGenTestPeer;
using Types = CKZStatPointTypeEnum;
using testing::ElementsAre;
using testing::HasSubstr;

/// Client 5 of a generator started at 100 with slices of 10 seconds.
class Client : public testing::Test {
protected:
    Client() { generator.Start(100.0, 10.0); }

    CKZStatGenMeasurementDictionary* CurrentDictionary() const {
        return Peer::DictionaryOf(client);
    }
    int SliceIdOfClient() const { return IdOf(*Peer::SliceOf(*CurrentDictionary())); }

    /// The aggregates of the current dictionary, cached values included.
    CKZStatGenMeasurementDictionary& Flushed() {
        client.FlushStatsCache();
        return *CurrentDictionary();
    }

    /// Sends slice 1 when it ends; the clock is then set back to a moment before that.
    void CloseSliceOneBeforeItsEnd(double now) {
        generator.SendSlice(EndedSliceOne());
        clock.Set(now);
    }

    /// Slice 1, after client 6 has begun slice 2.
    CKZStatGenSlice* EndedSliceOne() {
        clock.Set(110.0);
        other.GetNewDictionary();
        return generator.WaitForSlice();
    }

    RyPTestClock clock{100.0};
    RecordingGenerator generator;
    CKZStatGenClient client{&generator, 5};
    CKZStatGenClient other{&generator, 6};
};

TEST_F(Client, HasNoDictionaryBeforeItsFirstValue) {
    EXPECT_EQ(CurrentDictionary(), nullptr);
    EXPECT_EQ(client.FlushStatsCache(), 0);
}

TEST_F(Client, TakesADictionaryInTheCurrentSliceAtItsFirstValue) {
    client.AddLast("n", 1, Types::Counter);
    EXPECT_EQ(Peer::SliceOf(*CurrentDictionary()), Peer::CurrentSlice(generator));
    EXPECT_EQ(Peer::OwnerOf(*CurrentDictionary()), &client);
    EXPECT_EQ(Peer::CurrentSlice(generator)->GetCountZ0(), 1);
    EXPECT_EQ(client.GetCurrentEndTime(), 110.0);
}

TEST_F(Client, KeepsItsDictionaryWithinTheSlice) {
    client.AddLast("n", 1, Types::Counter);
    const auto* const first = CurrentDictionary();
    clock.Set(109.9);
    client.AddLast("n", 1, Types::Counter);
    EXPECT_EQ(CurrentDictionary(), first);
}

TEST_F(Client, MovesToTheNextSliceBeforeItAddsAValuePastTheEnd) {
    client.AddLast("n", 1, Types::Counter);
    CKZStatGenSlice& finished = *Peer::CurrentSlice(generator);
    clock.Set(110.5);
    client.AddLast("n", 10, Types::Counter);
    EXPECT_EQ(SliceIdOfClient(), 2);
    EXPECT_EQ(Flushed().GetSum("n"), 10);
    EXPECT_EQ(finished.GetCountZ0(), 0);
}

TEST_F(Client, StillUsesItsOpenDictionaryAtExactlyTheEnd) {
    client.AddLast("n", 1, Types::Counter);
    clock.Set(110.0);
    client.AddLast("n", 10, Types::Counter);
    EXPECT_EQ(SliceIdOfClient(), 1);
    EXPECT_EQ(Flushed().GetSum("n"), 11);
}

TEST_F(Client, MovesOnAtOnceWithAValueThatWasRefusedAtTheEndOfItsSlice) {
    client.AddLast("n", 1, Types::Counter);
    generator.SendSlice(EndedSliceOne());
    {
        const ClockedThread reporter(clock, [&] { client.AddLast("n", 10, Types::Counter); });
        clock.WaitForSleepers(1);
        EXPECT_EQ(clock.Now(), 110.0);
        EXPECT_EQ(SliceIdOfClient(), 2);
    }
    EXPECT_EQ(Flushed().GetSum("n"), 10);
}

TEST_F(Client, TriesARefusedValueAgainAfterATenthOfASecondBeforeTheEndOfItsSlice) {
    client.AddLast("n", 1, Types::Counter);
    CloseSliceOneBeforeItsEnd(109.95);
    std::thread reporter([&] { client.AddLast("n", 10, Types::Counter); });
    clock.WaitForSleepers(1);
    EXPECT_EQ(SliceIdOfClient(), 1);
    clock.Set(110.0499);  // the slice is over, the pause is not
    clock.WaitForSleepers(1);
    EXPECT_EQ(SliceIdOfClient(), 1);
    clock.Set(110.0501);
    reporter.join();
    EXPECT_EQ(SliceIdOfClient(), 2);
    EXPECT_EQ(Flushed().GetSum("n"), 10);
}

TEST_F(Client, KeepsNobodyWaitingWhileARefusedValuePauses) {
    client.AddLast("n", 1, Types::Counter);
    CloseSliceOneBeforeItsEnd(109.95);
    std::thread reporter([&] { client.AddLast("n", 10, Types::Counter); });
    clock.WaitForSleepers(1);
    other.AddLast("n", 1, Types::Counter);
    generator.SendSlice(Peer::CurrentSlice(generator));
    client.FlushStatsCache();
    clock.Set(120.0);
    reporter.join();
    EXPECT_EQ(Flushed().GetSum("n"), 10);
}

/// A name keeps the type of its first value, which tells the order of the two.
TEST_F(Client, LetsNoOtherThreadOvertakeARefusedValue) {
    client.AddLast("n", 1, Types::Counter);
    CloseSliceOneBeforeItsEnd(109.95);
    std::thread first([&] { client.AddLast("m", 10, Types::Counter); });
    clock.WaitForSleepers(1);
    clock.Set(110.01);  // a further value would find the slice over
    std::thread second([&] { client.AddLast("m", 20, Types::Timer); });
    clock.WaitForSleepers(2);
    clock.Set(110.2);
    first.join();
    clock.Set(110.4);
    second.join();
    EXPECT_EQ(Flushed().GetSum("m"), 30);
    EXPECT_EQ(Flushed().GetType("m"), Types::Counter);
}

TEST_F(Client, DropsARefusedValueAtOnceWhenTheGeneratorIsStopping) {
    client.AddLast("n", 1, Types::Counter);
    CloseSliceOneBeforeItsEnd(109.95);
    generator.Terminate();
    client.AddLast("n", 10, Types::Counter);
    EXPECT_EQ(Flushed().GetSum("n"), 1);
}

TEST_F(Client, StillTakesValuesOfAnOpenSliceAfterTerminate) {
    generator.Terminate();
    client.AddLast("n", 10, Types::Counter);
    EXPECT_EQ(Flushed().GetSum("n"), 10);
}

TEST_F(Client, LeavesItsDictionaryWhenItAsksForANewOne) {
    client.AddLast("n", 1, Types::Counter);
    const auto* const first = CurrentDictionary();
    const auto* const second = client.GetNewDictionary();
    EXPECT_EQ(CurrentDictionary(), second);
    EXPECT_EQ(Peer::OwnerOf(*first), nullptr);
    EXPECT_EQ(Peer::CurrentSlice(generator)->GetCountZ0(), 1);
}

TEST_F(Client, ReleasesItsDictionaryWithoutTouchingTheHold) {
    client.AddLast("n", 1, Types::Counter);
    auto* const first = CurrentDictionary();
    client.ReleaseDictionary();
    EXPECT_EQ(CurrentDictionary(), nullptr);
    EXPECT_EQ(Peer::OwnerOf(*first), &client);
    EXPECT_EQ(Peer::CurrentSlice(generator)->GetCountZ0(), 1);
    generator.RemoveSlice(EndedSliceOne());
}

TEST_F(Client, AnswersTheEndOfTheCurrentSliceBeforeItsFirstValue) {
    EXPECT_EQ(client.GetCurrentEndTime(), 110.0);
    clock.Set(125.0);
    other.GetNewDictionary();
    EXPECT_EQ(client.GetCurrentEndTime(), 130.0);
    EXPECT_EQ(CurrentDictionary(), nullptr);
}

TEST_F(Client, AnswersTheEndOfItsOwnSliceOnceItHasADictionary) {
    client.AddLast("n", 1, Types::Counter);
    clock.Set(110.0);
    other.GetNewDictionary();
    EXPECT_EQ(client.GetCurrentEndTime(), 110.0);
}

TEST_F(Client, FlushesItsCache) {
    client.AddLast("n", 1, Types::Counter);
    EXPECT_EQ(Peer::CachedCount(*CurrentDictionary()), 1);
    EXPECT_EQ(client.FlushStatsCache(), 1);
    EXPECT_EQ(Peer::CachedCount(*CurrentDictionary()), 0);
    EXPECT_EQ(CurrentDictionary()->GetCount("n"), 1);
}

TEST_F(Client, ClearsTheOwnerAndKeepsTheHoldWhenDestroyed) {
    auto shortLived = std::make_unique<CKZStatGenClient>(&generator, 6);
    shortLived->AddLast("n", 1, Types::Counter);
    const auto* const dictionary = Peer::DictionaryOf(*shortLived);
    shortLived.reset();
    EXPECT_EQ(Peer::OwnerOf(*dictionary), nullptr);
    EXPECT_EQ(Peer::CurrentSlice(generator)->GetCountZ0(), 1);
}

TEST_F(Client, TakesAnyIdAndAnyValue) {
    for (const int id : {0, -1, 1000011, std::numeric_limits<int>::min()}) {
        CKZStatGenClient odd(&generator, id);
        odd.AddLast("", -1e308, static_cast<Types::PointType>(4096));
        EXPECT_EQ(odd.FlushStatsCache(), 1);
        EXPECT_EQ(Peer::DictionaryOf(odd)->GetSum(""), -1e308);
    }
}

// ---- timers

TEST_F(Client, ReportsATimerInMillisecondsAndLetsItRun) {
    client.ResetTimer("t");
    clock.Advance(0.25);
    EXPECT_DOUBLE_EQ(client.SendTimer("t"), 250.0);
    clock.Advance(0.5);
    EXPECT_DOUBLE_EQ(client.SendTimer("t"), 750.0);
    EXPECT_EQ(Flushed().GetCount("t"), 2);
    EXPECT_DOUBLE_EQ(Flushed().GetSum("t"), 1000.0);
}

TEST_F(Client, StartsATimerAnewOnReset) {
    client.ResetTimer("t");
    clock.Advance(3);
    client.ResetTimer("t");
    clock.Advance(1);
    EXPECT_DOUBLE_EQ(client.SendTimer("t"), 1000.0);
}

TEST_F(Client, KeepsTimersApartByName) {
    client.ResetTimer("first");
    clock.Advance(1);
    client.ResetTimer("second");
    clock.Advance(1);
    EXPECT_DOUBLE_EQ(client.SendTimer("first"), 2000.0);
    EXPECT_DOUBLE_EQ(client.SendTimer("second"), 1000.0);
}

TEST_F(Client, ReportsATimerThatWasNeverStartedAsMinusOne) {
    EXPECT_EQ(client.SendTimer("never"), -1.0);
    RWCString text;
    Flushed().DumpDict(text);
    EXPECT_EQ(Readable(text),
              "never|2|-1.000|-1.000|1|-1.000|1.000|-1.000|"
              "-1.000|-1.000|1|-1.000|1.000|-1.000|");
}

TEST(TimerDictionary, CopiesTheNameOfATimer) {
    RyPTestClock clock(0.0);
    CKZStatGenTimerDictionary timers;
    std::string name = "t";
    timers.ResetTimer(name.c_str());
    name = "u";
    EXPECT_EQ(timers.SendTimer("t"), 0.0);
    EXPECT_EQ(timers.SendTimer("u"), -1.0);
}

TEST(Timer, CountsMillisecondsSinceItsReset) {
    RyPTestClock clock(0.0);
    CKZStatGenTimer timer;
    clock.Advance(2);
    timer.ResetTimer();
    clock.Advance(0.0015);
    EXPECT_DOUBLE_EQ(timer.SendTimer(), 1.5);
}

// ---- misuse

TEST_F(Client, LogsAndDropsAValueWithoutAName) {
    CapturingLog log(RyPLogLevel::Error);
    client.AddLast(nullptr, 1, Types::Counter);
    client.ResetTimer(nullptr);
    EXPECT_EQ(client.SendTimer(nullptr), -1.0);
    EXPECT_THAT(log.Texts(),
                ElementsAre(HasSubstr("AddLast"), HasSubstr("ResetTimer"), HasSubstr("SendTimer")));
    EXPECT_EQ(CurrentDictionary(), nullptr);
}

TEST(ClientOfAGeneratorNotStarted, LogsAndDropsItsValues) {
    RecordingGenerator generator;
    CKZStatGenClient client(&generator, 5);
    CapturingLog log(RyPLogLevel::Error);
    client.AddLast("n", 1, Types::Counter);
    EXPECT_EQ(client.GetNewDictionary(), nullptr);
    EXPECT_EQ(client.FlushStatsCache(), 0);
    EXPECT_THAT(log.Texts(), ElementsAre(HasSubstr("call Start"), HasSubstr("call Start")));
}

TEST(ClientOfAGeneratorNotStarted, LogsAnErrorAndAnswersThatItsSliceNeverEnds) {
    RecordingGenerator generator;
    const CKZStatGenClient client(&generator, 5);
    CapturingLog log(RyPLogLevel::Error);
    EXPECT_EQ(client.GetCurrentEndTime(), std::numeric_limits<double>::infinity());
    EXPECT_THAT(log.Texts(), ElementsAre(HasSubstr("call Start")));
}

TEST(ClientOfAGeneratorNotStarted, CountsOnceItIsStarted) {
    RyPTestClock clock(100.0);
    RecordingGenerator generator;
    CKZStatGenClient client(&generator, 5);
    CapturingLog log(RyPLogLevel::Error);
    client.AddLast("n", 1, Types::Counter);
    generator.Start(100.0, 10.0);
    client.AddLast("n", 10, Types::Counter);
    client.FlushStatsCache();
    EXPECT_EQ(Peer::DictionaryOf(client)->GetSum("n"), 10);
}

}  // namespace

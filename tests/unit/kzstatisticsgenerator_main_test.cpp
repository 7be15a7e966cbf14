#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "kzstatisticsgenerator.h"
#include "ryp/testclock.h"
#include "support/capturing_log.h"
#include "support/environment.h"
#include "support/recordinggenerator.h"
#include "support/testpeer.h"

namespace {

using Peer = CKZStatGenTestPeer;
using Types = CKZStatPointTypeEnum;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// A generator started at 100 with slices of 10 seconds, on a clock that shows 100. Nothing runs:
/// the tests pack and free by hand.
class Generator : public testing::Test {
protected:
    Generator() { generator.Start(100.0, 10.0); }

    double CurrentEnd() { return CKZStatGenClient(&generator, 9).GetCurrentEndTime(); }

    int PackAll() { return generator.PackAll(Peer::PackQueue(generator)); }

    /// Ends the current slice and packs it.
    void FinishSlice(CKZStatGenClient& client) {
        clock.Set(CurrentEnd());
        client.GetNewDictionary();
        PackAll();
    }

    /// Unchecked by the analysis: no other thread is there.
    void File(CKZStatGenSlice& slice, int id) RYP_NO_THREAD_SAFETY_ANALYSIS {
        generator.AddSlice(&slice, id);
    }

    RyPTestClock clock{100.0};
    RecordingGenerator generator;
};

TEST_F(Generator, StartsWithSliceOneEndingAfterOneSliceLength) {
    EXPECT_EQ(IdOf(*Peer::CurrentSlice(generator)), 1);
    EXPECT_EQ(CurrentEnd(), 110.0);
    EXPECT_EQ(Peer::SlicesInTimeline(generator), 1U);
}

TEST_F(Generator, KeepsTheSliceUntilItsEnd) {
    CKZStatGenClient client(&generator, 5);
    clock.Set(std::nextafter(110.0, 0.0));
    client.GetNewDictionary();
    EXPECT_EQ(IdOf(*Peer::CurrentSlice(generator)), 1);
    EXPECT_TRUE(Peer::PackQueue(generator).isEmpty());
}

TEST_F(Generator, BeginsTheNextSliceExactlyAtTheEnd) {
    CKZStatGenClient client(&generator, 5);
    clock.Set(110.0);
    const auto* const dictionary = client.GetNewDictionary();
    EXPECT_EQ(IdOf(*Peer::SliceOf(*dictionary)), 2);
    EXPECT_EQ(CurrentEnd(), 120.0);
    EXPECT_EQ(IdOf(*generator.WaitForSlice()), 1);
    EXPECT_TRUE(Peer::PackQueue(generator).isEmpty());
}

TEST_F(Generator, CreatesEveryMissedSliceInOneCall) {
    CKZStatGenClient client(&generator, 5);
    client.AddLast("n", 7, Types::Counter);
    clock.Set(145.0);
    client.GetNewDictionary();
    EXPECT_EQ(IdOf(*Peer::CurrentSlice(generator)), 5);
    PackAll();
    const std::vector<Message> messages = generator.Messages();
    ASSERT_EQ(messages.size(), 4U);
    for (int i = 0; i < 4; ++i) {
        const Message& message = messages[static_cast<std::size_t>(i)];
        EXPECT_EQ(message.sliceId, i + 1);
        EXPECT_EQ(message.elapsed, 10.0 * (i + 1));
        EXPECT_EQ(message.Find("n")->sum, 7);
        EXPECT_EQ(message.Find("n")->lastsCount, i == 0 ? 1 : 0);
    }
}

TEST_F(Generator, SendsTheWholeMessage) {
    CKZStatGenClient client(&generator, 5);
    client.AddLast("login", 2.5, Types::Timer);
    FinishSlice(client);
    client.AddLast("login", 4, Types::Timer);
    FinishSlice(client);
    EXPECT_EQ(generator.ReadableMessage(0),
              "gen|10.000|10.000|1|"
              "login|2|2.500|2.500|1|2.500|6.250|2.500|2.500|2.500|1|2.500|6.250|2.500|");
    EXPECT_EQ(generator.ReadableMessage(1),
              "gen|10.000|20.000|2|"
              "login|2|2.500|4.000|2|6.500|22.250|3.250|4.000|4.000|1|4.000|16.000|4.000|");
}

TEST_F(Generator, SendsEmptyLastsForASliceWithoutValues) {
    CKZStatGenClient client(&generator, 5);
    client.AddLast("n", 3, Types::Counter);
    FinishSlice(client);
    FinishSlice(client);
    EXPECT_EQ(generator.ReadableMessage(1),
              "gen|10.000|20.000|2|"
              "n|4|3.000|3.000|1|3.000|9.000|3.000|-1.000|-1.000|0|0.000|0.000|-1.000|");
}

TEST_F(Generator, SendsOnlyTheHeaderWhenNothingWasEverReported) {
    CKZStatGenClient client(&generator, 5);
    FinishSlice(client);
    EXPECT_EQ(generator.ReadableMessage(0), "gen|10.000|10.000|1|");
}

TEST_F(Generator, CallsTheHooksPerClientThenTotalThenText) {
    CKZStatGenClient first(&generator, 5);
    CKZStatGenClient second(&generator, 6);
    first.AddLast("a", 1, Types::Counter);
    second.AddLast("b", 1, Types::Counter);
    FinishSlice(first);
    EXPECT_THAT(generator.Hooks(), ElementsAre("client 5", "client 6", "total", "text"));
}

TEST_F(Generator, HandsSliceEndToTheClientHookAndElapsedToTheOthers) {
    CKZStatGenClient client(&generator, 5);
    client.AddLast("a", 1, Types::Counter);
    client.AddLast("b", 1, Types::Counter);
    FinishSlice(client);
    ASSERT_EQ(generator.ClientCalls().size(), 1U);
    EXPECT_EQ(generator.ClientCalls()[0].sliceEnd, 110.0);
    EXPECT_EQ(generator.ClientCalls()[0].names, 2U);
    ASSERT_EQ(generator.TotalCalls().size(), 1U);
    EXPECT_EQ(generator.TotalCalls()[0].sliceLength, 10.0);
    EXPECT_EQ(generator.TotalCalls()[0].elapsed, 10.0);
    EXPECT_EQ(generator.TotalCalls()[0].names, 2U);
    EXPECT_THAT(generator.TextElapsed(), ElementsAre(10.0));
    EXPECT_THAT(generator.TextNames(), ElementsAre("gen"));
}

TEST_F(Generator, ReturnsTheStatusOfTheTextHook) {
    CKZStatGenClient client(&generator, 5);
    generator.AnswerWith(42);
    clock.Set(110.0);
    client.GetNewDictionary();
    EXPECT_EQ(PackAll(), 42);
}

class DictionaryHooksOnly : public CKZStatGenMain {
public:
    DictionaryHooksOnly() : CKZStatGenMain("quiet") {}
    void SendTotalDictionary(CKZStatGenMeasurementDictionary*, double, double) override {
        ++totals;
    }
    void SendClientDictionary(CKZStatGenMeasurementDictionary*, int, double) override { ++clients; }
    int totals = 0;
    int clients = 0;
};

TEST(GeneratorWithoutTextHook, PacksAllTheSameAndReportsOne) {
    RyPTestClock clock(100.0);
    DictionaryHooksOnly generator;
    generator.Start(100.0, 10.0);
    CKZStatGenClient client(&generator, 5);
    client.AddLast("a", 1, Types::Counter);
    clock.Set(110.0);
    client.GetNewDictionary();
    EXPECT_EQ(generator.SendSlice(generator.WaitForSlice()), 1);
    EXPECT_EQ(generator.totals, 1);
    EXPECT_EQ(generator.clients, 1);
}

TEST_F(Generator, MergesClientsInTheMessageAndKeepsThemApartInTheClientHook) {
    CKZStatGenClient first(&generator, 5);
    CKZStatGenClient second(&generator, 6);
    first.AddLast("n", 1, Types::Counter);
    second.AddLast("n", 10, Types::Counter);
    FinishSlice(first);
    EXPECT_EQ(generator.Messages()[0].Find("n")->sum, 11);
    EXPECT_EQ(generator.ClientCalls().size(), 2U);
}

TEST_F(Generator, PutsAPackedSliceOnTheGarbageQueue) {
    CKZStatGenClient client(&generator, 5);
    FinishSlice(client);
    int status = -1;
    RWCollectable* const packed = Peer::GarbageQueue(generator).waitEvent(0, status);
    EXPECT_EQ(status, RyPEventQueue::ItemArrived);
    EXPECT_EQ(IdOf(*static_cast<CKZStatGenSlice*>(packed)), 1);
}

TEST_F(Generator, RemovesASliceFromTheTimeline) {
    CKZStatGenClient client(&generator, 5);
    client.AddLast("n", 1, Types::Counter);
    CKZStatGenSlice* const finished = Peer::CurrentSlice(generator);
    FinishSlice(client);
    EXPECT_EQ(Peer::SlicesInTimeline(generator), 2U);
    generator.RemoveSlice(finished);
    EXPECT_EQ(Peer::SlicesInTimeline(generator), 1U);
}

TEST_F(Generator, LeavesASliceThatIsNotInItsTimeline) {
    CKZStatGenSlice stranger(77, 110.0, &generator, true);
    generator.RemoveSlice(&stranger);
    EXPECT_TRUE(stranger.IsOpen());
    EXPECT_EQ(Peer::SlicesInTimeline(generator), 1U);
}

TEST_F(Generator, RemovesTheSliceThatStandsUnderTheId) {
    CKZStatGenClient holder(&generator, 5);
    CKZStatGenClient other(&generator, 6);
    holder.AddLast("n", 1, Types::Counter);
    clock.Set(110.0);
    other.GetNewDictionary();
    CKZStatGenSlice namesake(1, 110.0, &generator, true);
    generator.RemoveSlice(&namesake);
    EXPECT_TRUE(namesake.isEmpty());
    EXPECT_EQ(Peer::SlicesInTimeline(generator), 1U);
    EXPECT_EQ(Peer::DictionaryOf(holder), nullptr);
}

TEST_F(Generator, FilesNoSliceUnderAnIdThatIsTaken) {
    CKZStatGenSlice second(1, 110.0, &generator, true);
    File(second, 1);
    EXPECT_EQ(Peer::SlicesInTimeline(generator), 1U);
}

TEST_F(Generator, GivesADictionaryInPlaceOfAFreeStandingOne) {
    CKZStatGenMeasurementDictionary previous;
    const auto* const dictionary = generator.GetNewDictionary(5, &previous);
    ASSERT_NE(dictionary, nullptr);
    EXPECT_EQ(Peer::SliceOf(*dictionary), Peer::CurrentSlice(generator));
    EXPECT_EQ(Peer::CurrentSlice(generator)->GetCountZ0(), 1);
}

TEST_F(Generator, RemovingASliceMakesItsHoldersForgetTheirDictionaries) {
    CKZStatGenClient holder(&generator, 5);
    CKZStatGenClient other(&generator, 6);
    holder.AddLast("n", 1, Types::Counter);
    CKZStatGenSlice* const finished = Peer::CurrentSlice(generator);
    FinishSlice(other);
    generator.RemoveSlice(finished);
    EXPECT_EQ(Peer::DictionaryOf(holder), nullptr);
    holder.AddLast("n", 1, Types::Counter);
    FinishSlice(other);
    EXPECT_EQ(generator.Messages()[1].Find("n")->sum, 2);
}

TEST_F(Generator, LeavesThePauseOutOfElapsedTimesAndDoesNotMoveSliceEnds) {
    CKZStatGenClient client(&generator, 5);
    generator.Freeze();
    generator.DeFrost(4.0);
    FinishSlice(client);
    EXPECT_EQ(generator.Messages()[0].elapsed, 6.0);
    EXPECT_EQ(CurrentEnd(), 120.0);
}

TEST_F(Generator, SendsNoQueuedSliceAfterTerminate) {
    CKZStatGenClient client(&generator, 5);
    clock.Set(130.0);
    client.GetNewDictionary();
    generator.Terminate();
    EXPECT_EQ(generator.WaitForSlice(), nullptr);
    EXPECT_FALSE(Peer::PackQueue(generator).isEmpty());
}

TEST_F(Generator, DoesNotWaitForLoopsThatNeverRan) {
    generator.WaitForTerminateToEnd();
    generator.Terminate();
    generator.Terminate();
    generator.WaitForTerminateToEnd();
}

TEST_F(Generator, WaitsForNothingBeforeTerminate) {
    RunningLoops loops(generator);
    generator.WaitForTerminateToEnd();
    EXPECT_EQ(generator.MessageCount(), 0U);
}

TEST_F(Generator, DestroysWhatIsStillQueuedOnEitherSide) {
    CKZStatGenClient client(&generator, 5);
    client.AddLast("n", 1, Types::Counter);
    FinishSlice(client);  // waits to be freed
    clock.Set(150.0);
    client.GetNewDictionary();  // wait to be packed
    EXPECT_EQ(Peer::SlicesInTimeline(generator), 6U);
    generator.Terminate();
}

TEST_F(Generator, ALoopBegunAfterTerminateEndsAtOnce) {
    generator.Terminate();
    generator.doPackWork();
    generator.doGarbageWork();
    generator.WaitForTerminateToEnd();
}

TEST_F(Generator, TheGarbageLoopFreesWhatIsQueuedBeforeItEnds) {
    CKZStatGenClient client(&generator, 5);
    FinishSlice(client);
    FinishSlice(client);
    generator.Terminate();
    generator.doGarbageWork();
    EXPECT_EQ(Peer::SlicesInTimeline(generator), 1U);
}

TEST_F(Generator, TracesEachNewSliceWithItsTimes) {
    CKZStatGenClient client(&generator, 5);
    clock.Set(112.5);
    CapturingLog log(RyPLogLevel::Trace);
    client.GetNewDictionary();
    EXPECT_THAT(log.Texts(),
                ElementsAre("CKZStatGenMain::GetNewDictionary, AddSlice (Slice id: %u, Time: %f, "
                            "SliceTime: %f)\\n\t2\t12.5\t20\t"));
}

TEST_F(Generator, IgnoresASecondStart) {
    CapturingLog log(RyPLogLevel::Error);
    generator.Start(500.0, 1.0);
    EXPECT_THAT(log.Texts(), ElementsAre("Start - the generator was started before"));
    EXPECT_EQ(CurrentEnd(), 110.0);
}

// ---- Start with bad input

struct BadStart {
    const char* what;
    double startTime;
    double sliceLength;
};

std::ostream& operator<<(std::ostream& out, const BadStart& row) {
    return out << row.what;
}

class GeneratorStart : public testing::TestWithParam<BadStart> {};

TEST_P(GeneratorStart, LogsAnErrorAndDoesNotStart) {
    RecordingGenerator generator;
    CapturingLog log(RyPLogLevel::Error);
    generator.Start(GetParam().startTime, GetParam().sliceLength);
    ASSERT_EQ(log.Texts().size(), 1U);
    EXPECT_THAT(log.Texts()[0], HasSubstr("Start - the s"));
    EXPECT_EQ(Peer::CurrentSlice(generator), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    BadInput, GeneratorStart,
    testing::Values(BadStart{"ZeroLength", 100, 0}, BadStart{"NegativeLength", 100, -1},
                    BadStart{"NaNLength", 100, kNaN}, BadStart{"InfiniteLength", 100, kInfinity},
                    BadStart{"LengthLostInTheStartTime", 1e17, 1.0},
                    BadStart{"LengthLostSoonAfter", 1023.9999999999999, 1.2e-13},
                    BadStart{"OverflowingEnd", 1e308, 1e308}, BadStart{"NaNStart", kNaN, 1},
                    BadStart{"InfiniteStart", kInfinity, 1},
                    BadStart{"NegativeInfiniteStart", -kInfinity, 1}),
    [](const auto& test) { return std::string(test.param.what); });

TEST(GeneratorNotStarted, GivesNoDictionaryAndLogsAnError) {
    RecordingGenerator generator;
    CapturingLog log(RyPLogLevel::Error);
    EXPECT_EQ(generator.GetNewDictionary(5, nullptr), nullptr);
    ASSERT_EQ(log.Texts().size(), 1U);
    EXPECT_THAT(log.Texts()[0], HasSubstr("call Start"));
}

TEST(GeneratorNotStarted, LoopsRunAndEnd) {
    RecordingGenerator generator;
    RunningLoops loops(generator);
}

TEST(GeneratorNotStarted, TakesANullNameAsTheEmptyOne) {
    RyPTestClock clock(0.0);
    RecordingGenerator generator(nullptr);
    generator.Start(0.0, 1.0);
    CKZStatGenClient client(&generator, 1);
    clock.Set(1.0);
    client.GetNewDictionary();
    generator.SendSlice(generator.WaitForSlice());
    EXPECT_EQ(generator.ReadableMessage(0), "|1.000|1.000|1|");
}

// ---- settings

struct CacheSizeSetting {
    const char* text;
    int stored;
};

std::ostream& operator<<(std::ostream& out, const CacheSizeSetting& row) {
    return out << (row.text == nullptr ? "unset" : row.text);
}

class GeneratorCacheSize : public testing::TestWithParam<CacheSizeSetting> {};

TEST_P(GeneratorCacheSize, IsReadFromTheEnvironment) {
    const EnvironmentVariable setting("LGStatsCacheSize", GetParam().text);
    RecordingGenerator generator;
    EXPECT_EQ(CKZStatGenSlice(1, 110.0, &generator, true).StatsCacheSize(), GetParam().stored);
}

INSTANTIATE_TEST_SUITE_P(
    Values, GeneratorCacheSize,
    testing::Values(CacheSizeSetting{nullptr, 20}, CacheSizeSetting{"50", 20},
                    CacheSizeSetting{"21", 20}, CacheSizeSetting{"20", 20},
                    CacheSizeSetting{"7", 7}, CacheSizeSetting{"1", 1}, CacheSizeSetting{"0", 0},
                    CacheSizeSetting{"-3", -3}, CacheSizeSetting{"word", 0},
                    CacheSizeSetting{"", 0}, CacheSizeSetting{"7 values", 7},
                    CacheSizeSetting{"0x10", 0}, CacheSizeSetting{"4294967297", 20},
                    CacheSizeSetting{"99999999999999999999", 20},
                    CacheSizeSetting{"-99999999999999999999", std::numeric_limits<int>::min()}));

struct IntervalSetting {
    const char* text;
    std::string stored;
};

std::ostream& operator<<(std::ostream& out, const IntervalSetting& row) {
    return out << (row.text == nullptr ? "unset" : row.text);
}

class GeneratorFlushInterval : public testing::TestWithParam<IntervalSetting> {};

TEST_P(GeneratorFlushInterval, IsReadFromTheEnvironment) {
    const EnvironmentVariable setting("LGStatsCacheFlushInterval", GetParam().text);
    CapturingLog log(RyPLogLevel::Trace);
    RecordingGenerator generator;
    EXPECT_THAT(log.Texts(),
                Contains("Stats cache flush interval = %f\t" + GetParam().stored + "\t"));
}

INSTANTIATE_TEST_SUITE_P(Values, GeneratorFlushInterval,
                         testing::Values(IntervalSetting{nullptr, "5"}, IntervalSetting{"9.5", "5"},
                                         IntervalSetting{"5.0", "5"},
                                         IntervalSetting{"0.25", "0.25"}, IntervalSetting{"0", "0"},
                                         IntervalSetting{"-2", "-2"}, IntervalSetting{"word", "0"},
                                         IntervalSetting{"", "0"}, IntervalSetting{"1.5s", "1.5"},
                                         IntervalSetting{"0x2", "2"}, IntervalSetting{"inf", "5"},
                                         IntervalSetting{"-inf", "-inf"},
                                         IntervalSetting{"nan", "nan"}));

TEST(GeneratorSettings, AreTracedAsTheyAreStored) {
    const EnvironmentVariable size("LGStatsCacheSize", "50");
    const EnvironmentVariable interval("LGStatsCacheFlushInterval", "0.25");
    CapturingLog log(RyPLogLevel::Trace);
    RecordingGenerator generator;
    EXPECT_THAT(log.Texts(), ElementsAre("Stats cache size = %d\t20\t",
                                         "Stats cache flush interval = %f\t0.25\t"));
}

TEST(GeneratorSettings, CountCachedValuesPerDictionary) {
    const EnvironmentVariable size("LGStatsCacheSize", "3");
    RyPTestClock clock(100.0);
    RecordingGenerator generator;
    generator.Start(100.0, 10.0);
    CKZStatGenClient client(&generator, 1);
    client.AddLast("n", 1, Types::Counter);
    client.AddLast("n", 1, Types::Counter);
    EXPECT_EQ(Peer::CachedCount(*Peer::DictionaryOf(client)), 2);
    client.AddLast("n", 1, Types::Counter);
    EXPECT_EQ(Peer::CachedCount(*Peer::DictionaryOf(client)), 0);
    EXPECT_EQ(Peer::DictionaryOf(client)->GetCount("n"), 3);
}

// ---- the loops on the test clock

/// Both loops of a generator started at 100 with slices of 10 seconds are asleep on the clock.
class GeneratorLoops : public Generator {
protected:
    GeneratorLoops() : loops(generator) { clock.WaitForSleepers(2); }

    void AdvanceTo(double time) {
        clock.Set(time);
        clock.WaitForSleepers(2);
    }
    /// To 110.5, with the garbage loop waiting at its queue.
    void AdvancePastTheFirstEnd() {
        for (const double time : {105.0, 106.0, 110.5}) AdvanceTo(time);
    }
    /// Returns once `count` messages were sent and both loops are asleep again.
    void WaitForMessages(std::size_t count) {
        generator.WaitForMessages(count);
        clock.WaitForSleepers(2);
    }
    int CurrentId() const { return IdOf(*Peer::CurrentSlice(generator)); }

    RunningLoops loops;
};

TEST_F(GeneratorLoops, DeliverAFinishedSliceAndFreeIt) {
    CKZStatGenClient client(&generator, 5);
    client.AddLast("n", 1, Types::Counter);
    AdvancePastTheFirstEnd();
    client.AddLast("n", 1, Types::Counter);
    WaitForMessages(1);
    EXPECT_EQ(Peer::SlicesInTimeline(generator), 1U);
    EXPECT_EQ(generator.Messages()[0].Find("n")->sum, 1);
}

TEST_F(GeneratorLoops, MoveAnIdleClientOffTheSliceThatIsFreed) {
    CKZStatGenClient idle(&generator, 5);
    CKZStatGenClient busy(&generator, 6);
    idle.AddLast("n", 1, Types::Counter);
    AdvancePastTheFirstEnd();
    busy.AddLast("n", 1, Types::Counter);
    WaitForMessages(1);
    EXPECT_EQ(Peer::SliceOf(*Peer::DictionaryOf(idle)), Peer::CurrentSlice(generator));
    EXPECT_EQ(Peer::CurrentSlice(generator)->GetCountZ0(), 2);
}

// The garbage loop waits 5 seconds at its queue, and where the silence is not long enough yet
// sleeps for one more: it looks at 105, 111 and 117, then at every time-out.
TEST_F(GeneratorLoops, LeaveTheTimelineToClientsForFiveSecondsPastTheEnd) {
    AdvanceTo(105.0);  // looked: too early; sleeps until 106
    AdvanceTo(106.0);  // waits until 111
    AdvanceTo(111.0);  // looked: within the grace; sleeps until 112
    AdvanceTo(112.0);  // waits until 117
    EXPECT_EQ(CurrentId(), 1);
    AdvanceTo(116.9);
    EXPECT_EQ(CurrentId(), 1);
    clock.Set(117.0);  // looked: silent for more than 5 seconds
    WaitForMessages(1);
    EXPECT_EQ(CurrentId(), 2);
    EXPECT_EQ(generator.Messages()[0].sliceId, 1);
}

TEST_F(GeneratorLoops, DoNotKeepTimeAtExactlyFiveSecondsPastTheEnd) {
    AdvanceTo(115.0);  // both time-outs passed in one step; looked: not above the grace
    EXPECT_EQ(CurrentId(), 1);
    AdvanceTo(116.0);  // the sleep of one second is over
    AdvanceTo(121.0);
    WaitForMessages(2);
    EXPECT_EQ(CurrentId(), 3);
}

TEST_F(GeneratorLoops, TraceTheKeepingOfTime) {
    CapturingLog log(RyPLogLevel::Trace);
    clock.Set(118.0);
    WaitForMessages(1);
    EXPECT_THAT(log.Texts(),
                testing::IsSupersetOf(
                    {std::string("CKZStatGenMain::doGarbageWork, call dummyClient."
                                 "GetNewDictionary (Time: %f, SliceTime:%f)\\n\t18\t10\t"),
                     std::string("CKZStatGenMain::doGarbageWork, RemoveSlice (Slice Id: %u, "
                                 "Time: %f)\\n\t1\t110\t")}));
}

TEST_F(GeneratorLoops, CarryTheTimekeeperAsAnEmptyClientFromThenOn) {
    clock.Set(118.0);
    WaitForMessages(1);
    AdvanceTo(126.0);  // slice 2, in which the timekeeper holds a dictionary, is over
    WaitForMessages(2);
    const auto calls = generator.ClientCalls();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].clientId, 1000011);
    EXPECT_EQ(calls[0].names, 0U);
}

TEST_F(GeneratorLoops, DoNotKeepTimeOnceTheGeneratorIsStopping) {
    loops.Stop();
    clock.Set(200.0);
    EXPECT_EQ(CurrentId(), 1);
    EXPECT_EQ(generator.MessageCount(), 0U);
}

TEST_F(GeneratorLoops, SendEverySliceOfALongSilenceInOrder) {
    clock.Set(100.0 + 10.0 * 300 + 6.0);
    WaitForMessages(300);
    const std::vector<Message> messages = generator.Messages();
    for (std::size_t i = 0; i < 300; ++i) {
        EXPECT_EQ(messages[i].sliceId, static_cast<int>(i) + 1);
        EXPECT_EQ(messages[i].elapsed, 10.0 * static_cast<double>(i + 1));
    }
}

}  // namespace

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "kzstatisticsgenerator.h"
#include "ryp/testclock.h"
#include "support/recordinggenerator.h"
#include "support/testpeer.h"

// Hooks that throw: the exception leaves the loop to the host, and a loop that is run again takes
// the slice up where it was left.

namespace {

using Peer = CKZStatGenTestPeer;
using Types = CKZStatPointTypeEnum;
using testing::ElementsAre;

/// Throws once from the hook that is named.
class ThrowingGenerator : public RecordingGenerator {
public:
    void SendClientDictionary(CKZStatGenMeasurementDictionary* perClient, int clientId,
                              double sliceEnd) override {
        RecordingGenerator::SendClientDictionary(perClient, clientId, sliceEnd);
        ThrowFrom("client");
    }
    void SendTotalDictionary(CKZStatGenMeasurementDictionary* merged, double sliceLength,
                             double elapsed) override {
        RecordingGenerator::SendTotalDictionary(merged, sliceLength, elapsed);
        if (changesTotals) merged->AddLast("mark", 1, Types::Counter);
        ThrowFrom("total");
    }
    void SendSliceValues(const CKZStatSliceValues& slice) override {
        RecordingGenerator::SendSliceValues(slice);
        ++valuesCalls;
        ThrowFrom("values");
    }
    int SendDictionaryString(RWCString& text, double elapsed, const char* name) override {
        if (throwing == "text") text = "spoilt";
        ThrowFrom("text");
        return RecordingGenerator::SendDictionaryString(text, elapsed, name);
    }

    std::string throwing;
    bool changesTotals = false;
    int valuesCalls = 0;

private:
    void ThrowFrom(const char* hook) {
        if (throwing != hook) return;
        throwing.clear();
        throw std::runtime_error(hook);
    }
};

/// One finished slice with one value waits to be packed.
class HookThatThrows : public testing::TestWithParam<const char*> {
protected:
    HookThatThrows() {
        generator.Start(100.0, 10.0);
        client.AddLast("n", 7, Types::Counter);
        clock.Set(110.0);
        client.GetNewDictionary();
        generator.throwing = GetParam();
    }

    void RunPackLoopUntilItThrows() { EXPECT_THROW(generator.doPackWork(), std::runtime_error); }
    /// Runs the loop until it has nothing left to send, then ends it.
    void RunPackLoopToItsEnd(std::size_t messages) {
        std::thread pack([this] { generator.doPackWork(); });
        generator.WaitForMessages(messages);
        clock.WaitForSleepers(1);
        generator.Terminate();
        pack.join();
    }

    RyPTestClock clock{100.0};
    ThrowingGenerator generator;
    CKZStatGenClient client{&generator, 5};
};

TEST_P(HookThatThrows, LeavesTheLoopWithItsDoneEventSignalled) {
    RunPackLoopUntilItThrows();
    EXPECT_EQ(generator.MessageCount(), 0U);
    generator.Terminate();
    generator.WaitForTerminateToEnd();
}

TEST_P(HookThatThrows, HasItsSliceSentOnceByALoopThatIsRunAgain) {
    RunPackLoopUntilItThrows();
    RunPackLoopToItsEnd(1);
    EXPECT_EQ(generator.MessageCount(), 1U);
    EXPECT_EQ(generator.ReadableMessage(0),
              "gen|10.000|10.000|1|"
              "n|4|7.000|7.000|1|7.000|49.000|7.000|7.000|7.000|1|7.000|49.000|7.000|");
}

TEST_P(HookThatThrows, LeavesNoGapBeforeTheNextSlice) {
    RunPackLoopUntilItThrows();
    client.AddLast("n", 1, Types::Counter);
    clock.Set(120.0);
    client.GetNewDictionary();
    RunPackLoopToItsEnd(2);
    const std::vector<Message> messages = generator.Messages();
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0].sliceId, 1);
    EXPECT_EQ(messages[1].sliceId, 2);
    EXPECT_EQ(messages[1].Find("n")->sum, 8);
    EXPECT_EQ(messages[1].Find("n")->lastsSum, 1);
}

TEST_P(HookThatThrows, HasItsSliceFreedInTheEnd) {
    RunPackLoopUntilItThrows();
    RunPackLoopToItsEnd(1);
    generator.doGarbageWork();
    EXPECT_EQ(Peer::SlicesInTimeline(generator), 1U);
}

TEST_P(HookThatThrows, MayBeLeftAtThatWhenTheGeneratorEnds) {
    RunPackLoopUntilItThrows();
    generator.Terminate();
    generator.doPackWork();
    EXPECT_EQ(generator.MessageCount(), 0U);
}

INSTANTIATE_TEST_SUITE_P(From, HookThatThrows, testing::Values("client", "total", "values", "text"),
                         [](const auto& test) { return std::string(test.param); });

using DictionaryHookThatThrows = HookThatThrows;

TEST_P(DictionaryHookThatThrows, HasTheDictionaryHooksCalledAgain) {
    RunPackLoopUntilItThrows();
    RunPackLoopToItsEnd(1);
    EXPECT_EQ(generator.Hooks().back(), "text");
    EXPECT_EQ(generator.ClientCalls().size(), 2U);
}

INSTANTIATE_TEST_SUITE_P(From, DictionaryHookThatThrows, testing::Values("client", "total"),
                         [](const auto& test) { return std::string(test.param); });

TEST_P(DictionaryHookThatThrows, FindsNothingOfWhatItChangedBefore) {
    generator.changesTotals = true;
    RunPackLoopUntilItThrows();
    RunPackLoopToItsEnd(1);
    EXPECT_EQ(generator.LastMessage().Find("mark")->count, 1);
    EXPECT_EQ(generator.LastMessage().Find("n")->count, 1);
}

using ValuesHookThatThrows = HookThatThrows;

TEST_P(ValuesHookThatThrows, IsCalledAgainWithoutThoseBeforeIt) {
    generator.changesTotals = true;
    RunPackLoopUntilItThrows();
    RunPackLoopToItsEnd(1);
    EXPECT_THAT(generator.Hooks(), ElementsAre("client 5", "total", "text"));
    EXPECT_EQ(generator.valuesCalls, 2);
    EXPECT_EQ(generator.LastMessage().Find("mark")->count, 1);
}

INSTANTIATE_TEST_SUITE_P(From, ValuesHookThatThrows, testing::Values("values"),
                         [](const auto& test) { return std::string(test.param); });

using TextHookThatThrows = HookThatThrows;

TEST_P(TextHookThatThrows, IsTheOnlyOneCalledAgain) {
    RunPackLoopUntilItThrows();
    RunPackLoopToItsEnd(1);
    EXPECT_THAT(generator.Hooks(), ElementsAre("client 5", "total", "text"));
    EXPECT_EQ(generator.valuesCalls, 1);
}

INSTANTIATE_TEST_SUITE_P(From, TextHookThatThrows, testing::Values("text"),
                         [](const auto& test) { return std::string(test.param); });

}  // namespace

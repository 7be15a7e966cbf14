#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "kzstatisticsgenerator.h"
#include "ryp/testclock.h"
#include "support/recordinggenerator.h"
#include "support/testpeer.h"

// Slices without values pass on what was merged and rendered before, and nobody can tell.

namespace {

using Peer = CKZStatGenTestPeer;
using Types = CKZStatPointTypeEnum;
using Dictionary = CKZStatGenMeasurementDictionary;
using testing::ElementsAre;

/// Lets a test reach into what the dictionary hooks receive.
class MeddlingGenerator : public RecordingGenerator {
public:
    using Meddler = std::function<void(Dictionary&)>;

    void SendClientDictionary(Dictionary* perClient, int clientId, double sliceEnd) override {
        RecordingGenerator::SendClientDictionary(perClient, clientId, sliceEnd);
        if (withClient) withClient(*perClient);
    }
    void SendTotalDictionary(Dictionary* merged, double sliceLength, double elapsed) override {
        RecordingGenerator::SendTotalDictionary(merged, sliceLength, elapsed);
        if (withMerged) withMerged(*merged);
    }

    Meddler withClient;
    Meddler withMerged;
};

/// One value of 7 in the first slice, which ends at 110, and then silence.
class Silence : public testing::Test {
protected:
    Silence() {
        generator.Start(100.0, 10.0);
        client.AddLast("n", 7, Types::Counter);
    }

    /// Sends every slice that has ended by `time`.
    void SendUntil(double time) {
        clock.Set(time);
        client.GetNewDictionary();
        generator.PackAll(Peer::PackQueue(generator));
    }
    std::string RecordOf(std::size_t slice) const {
        const std::string message = generator.ReadableMessage(slice - 1);
        return message.substr(message.find("n|4|"));
    }

    RyPTestClock clock{100.0};
    MeddlingGenerator generator;
    CKZStatGenClient client{&generator, 5};
};

TEST_F(Silence, ChangesNothingButTheHeader) {
    SendUntil(140.0);
    const std::string record =
        "n|4|7.000|7.000|1|7.000|49.000|7.000|-1.000|-1.000|0|0.000|0.000|-1.000|";
    EXPECT_EQ(generator.ReadableMessage(1), "gen|10.000|20.000|2|" + record);
    EXPECT_EQ(generator.ReadableMessage(2), "gen|10.000|30.000|3|" + record);
    EXPECT_EQ(generator.ReadableMessage(3), "gen|10.000|40.000|4|" + record);
}

TEST_F(Silence, HasEveryHookCalledForEverySlice) {
    SendUntil(130.0);
    EXPECT_THAT(generator.Hooks(), ElementsAre("client 5", "total", "text", "client 5", "total",
                                               "text", "client 5", "total", "text"));
}

TEST_F(Silence, PassesOnTheMergedDictionaryOfTheFirstSilentSlice) {
    std::vector<const Dictionary*> merged;
    generator.withMerged = [&](const Dictionary& dictionary) { merged.push_back(&dictionary); };
    SendUntil(140.0);
    ASSERT_EQ(merged.size(), 4U);
    EXPECT_EQ(merged[2], merged[1]);
    EXPECT_EQ(merged[3], merged[1]);
}

TEST_F(Silence, EndsWithTheNextValue) {
    SendUntil(140.0);
    client.AddLast("n", 3, Types::Counter);
    SendUntil(160.0);
    EXPECT_EQ(RecordOf(5),
              "n|4|3.000|7.000|2|10.000|58.000|5.000|3.000|3.000|1|3.000|9.000|3.000|");
    EXPECT_EQ(RecordOf(6),
              "n|4|3.000|7.000|2|10.000|58.000|5.000|-1.000|-1.000|0|0.000|0.000|-1.000|");
}

TEST_F(Silence, ShowsWhatAHookChangesInAClientsTotals) {
    SendUntil(130.0);
    generator.withClient = [](Dictionary& perClient) { perClient.Reset("n"); };
    SendUntil(140.0);
    generator.withClient = nullptr;
    SendUntil(150.0);
    EXPECT_EQ(RecordOf(5),
              "n|4|-1.000|-1.000|0|0.000|0.000|-1.000|-1.000|-1.000|0|0.000|0.000|-1.000|");
}

TEST_F(Silence, ShowsWhatAHookChangesInAMeasurementOfAClient) {
    SendUntil(130.0);
    generator.withClient = [](Dictionary& perClient) { perClient.GetMeasurement("n")->AddLast(1); };
    SendUntil(140.0);
    generator.withClient = nullptr;
    SendUntil(160.0);
    EXPECT_EQ(RecordOf(5),
              "n|4|1.000|7.000|2|8.000|50.000|4.000|-1.000|-1.000|0|0.000|0.000|-1.000|");
    EXPECT_EQ(RecordOf(6), RecordOf(5));
}

TEST_F(Silence, SendsWhatAHookAddsToTheMergedDictionaryOncePerSlice) {
    Dictionary more;
    more.AddLast("n", 1, Types::Counter);
    generator.withMerged = [&](Dictionary& merged) { merged.AddValuesOfDict(&more, AddForDump); };
    SendUntil(150.0);
    const std::string record =
        "n|4|1.000|7.000|2|8.000|50.000|4.000|1.000|1.000|1|1.000|1.000|1.000|";
    EXPECT_EQ(RecordOf(3), record);
    EXPECT_EQ(RecordOf(4), record);
    EXPECT_EQ(RecordOf(5), record);
}

TEST_F(Silence, SendsWhatAHookAddsOnceItsRecordsAreRendered) {
    SendUntil(130.0);
    Dictionary more;
    more.AddLast("n", 1, Types::Counter);
    generator.withMerged = [&](Dictionary& merged) { merged.AddValuesOfDict(&more, AddForDump); };
    SendUntil(140.0);
    EXPECT_EQ(RecordOf(4), "n|4|1.000|7.000|2|8.000|50.000|4.000|1.000|1.000|1|1.000|1.000|1.000|");
}

TEST_F(Silence, KeepsItsRecordsFromAHookThatChangesTheText) {
    class SpoilingGenerator : public RecordingGenerator {
    public:
        int SendDictionaryString(RWCString& text, double elapsed, const char* name) override {
            RecordingGenerator::SendDictionaryString(text, elapsed, name);
            text.remove(0);
            return 1;
        }
    } spoiling;
    spoiling.Start(100.0, 10.0);
    CKZStatGenClient other(&spoiling, 5);
    other.AddLast("n", 7, Types::Counter);
    clock.Set(140.0);
    other.GetNewDictionary();
    spoiling.PackAll(Peer::PackQueue(spoiling));
    EXPECT_EQ(spoiling.ReadableMessage(3),
              "gen|10.000|40.000|4|"
              "n|4|7.000|7.000|1|7.000|49.000|7.000|-1.000|-1.000|0|0.000|0.000|-1.000|");
}

TEST_F(Silence, OfAnEmptyGeneratorSendsMessagesWithoutRecords) {
    RecordingGenerator silent("quiet");
    silent.Start(100.0, 10.0);
    CKZStatGenClient other(&silent, 5);
    clock.Set(130.0);
    other.GetNewDictionary();
    silent.PackAll(Peer::PackQueue(silent));
    EXPECT_EQ(silent.ReadableMessage(1), "quiet|10.000|20.000|2|");
    EXPECT_EQ(silent.ReadableMessage(2), "quiet|10.000|30.000|3|");
}

}  // namespace

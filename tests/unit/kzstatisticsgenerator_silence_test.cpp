#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "kzstatisticsgenerator.h"
#include "rw/hashdict.h"
#include "ryp/collectablestring.h"
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

    int SendDictionaryString(RWCString& text, double elapsed, const char* name) override {
        const int status = RecordingGenerator::SendDictionaryString(text, elapsed, name);
        if (withText) withText();
        return status;
    }

    Meddler withClient;
    Meddler withMerged;
    std::function<void()> withText;
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
    /// What follows the header.
    std::string RecordOf(std::size_t slice) const {
        std::string message = generator.ReadableMessage(slice - 1);
        for (int field = 0; field < 4; ++field) message.erase(0, message.find('|') + 1);
        return message;
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

/// A way to the measurement of "n" in a dictionary.
struct Way {
    const char* what;
    CKZStatGenMeasurement* (*to)(Dictionary&);
};

std::ostream& operator<<(std::ostream& out, const Way& way) {
    return out << way.what;
}

CKZStatGenMeasurement* MeasurementOf(RWCollectable* value) {
    return static_cast<CKZStatGenMeasurement*>(value);
}

const CKZCollectableString kKey("n", false);

constexpr Way kWays[] = {
    {"GetMeasurement", [](Dictionary& dictionary) { return dictionary.GetMeasurement("n"); }},
    {"FindValue",
     [](Dictionary& dictionary) { return MeasurementOf(dictionary.findValue(&kKey)); }},
    {"FindKeyAndValue",
     [](Dictionary& dictionary) {
         RWCollectable* value = nullptr;
         dictionary.findKeyAndValue(&kKey, value);
         return MeasurementOf(value);
     }},
    {"Iterator",
     [](Dictionary& dictionary) {
         RWHashDictionaryIterator next(dictionary);
         next();
         return MeasurementOf(next.value());
     }},
    {"Apply",
     [](Dictionary& dictionary) {
         CKZStatGenMeasurement* found = nullptr;
         dictionary.applyToKeyAndValue(
             [](RWCollectable*, RWCollectable*& value, void* context) {
                 *static_cast<CKZStatGenMeasurement**>(context) = MeasurementOf(value);
             },
             &found);
         return found;
     }},
};

const std::string kSilent =
    "n|4|7.000|7.000|1|7.000|49.000|7.000|-1.000|-1.000|0|0.000|0.000|-1.000|";

/// In slices that were silent before, so that nothing is merged or rendered without need.
class SilenceThatAHookBreaks : public Silence, public testing::WithParamInterface<Way> {
protected:
    SilenceThatAHookBreaks() { SendUntil(130.0); }

    /// Lets `meddler` change the dictionary in slice 4 alone, and sends slices up to the 6th.
    void MeddleInSliceFour(MeddlingGenerator::Meddler& hook, MeddlingGenerator::Meddler meddler) {
        hook = std::move(meddler);
        SendUntil(140.0);
        hook = nullptr;
        SendUntil(160.0);
    }
};

TEST_P(SilenceThatAHookBreaks, ShowsAValueThatIsAddedToTheMergedDictionaryOnce) {
    MeddleInSliceFour(generator.withMerged,
                      [](Dictionary& merged) { GetParam().to(merged)->AddLast(1); });
    EXPECT_EQ(RecordOf(4), "n|4|1.000|7.000|2|8.000|50.000|4.000|1.000|1.000|1|1.000|1.000|1.000|");
    EXPECT_EQ(RecordOf(5), kSilent);
    EXPECT_EQ(RecordOf(6), kSilent);
}

TEST_P(SilenceThatAHookBreaks, ShowsAValueThatIsAddedToAClientsTotalsFromThenOn) {
    MeddleInSliceFour(generator.withClient,
                      [](Dictionary& perClient) { GetParam().to(perClient)->AddLast(1); });
    EXPECT_EQ(RecordOf(4), kSilent);
    EXPECT_EQ(RecordOf(5),
              "n|4|1.000|7.000|2|8.000|50.000|4.000|-1.000|-1.000|0|0.000|0.000|-1.000|");
    EXPECT_EQ(RecordOf(6), RecordOf(5));
}

TEST_P(SilenceThatAHookBreaks, ShowsWhatIsAddedThroughAPointerThatWasKept) {
    CKZStatGenMeasurement* ofMerged = nullptr;
    CKZStatGenMeasurement* ofClient = nullptr;
    generator.withMerged = [&](Dictionary& merged) { ofMerged = GetParam().to(merged); };
    generator.withClient = [&](Dictionary& perClient) { ofClient = GetParam().to(perClient); };
    SendUntil(150.0);
    generator.withClient = nullptr;
    generator.withMerged = [&](Dictionary&) { ofMerged->AddLast(1); };
    SendUntil(160.0);
    generator.withMerged = [&](Dictionary&) { ofClient->AddLast(2); };
    SendUntil(170.0);
    generator.withMerged = nullptr;
    SendUntil(180.0);
    EXPECT_EQ(RecordOf(5), kSilent);
    EXPECT_EQ(RecordOf(6), "n|4|1.000|7.000|2|8.000|50.000|4.000|1.000|1.000|1|1.000|1.000|1.000|");
    EXPECT_EQ(RecordOf(7), kSilent);
    EXPECT_EQ(RecordOf(8),
              "n|4|2.000|7.000|2|9.000|53.000|4.500|-1.000|-1.000|0|0.000|0.000|-1.000|");
}

INSTANTIATE_TEST_SUITE_P(By, SilenceThatAHookBreaks, testing::ValuesIn(kWays),
                         [](const auto& test) { return std::string(test.param.what); });

TEST_F(Silence, MergesNothingAnewForAMeasurementThatIsOnlyLookedAt) {
    std::vector<const Dictionary*> merged;
    generator.withMerged = [&](Dictionary& dictionary) {
        for (const Way& way : kWays)
            if (way.what != std::string("Apply")) way.to(dictionary)->IsResetLasts();
        merged.push_back(&dictionary);
    };
    generator.withClient = [](Dictionary& dictionary) { dictionary.GetMeasurement("n"); };
    SendUntil(150.0);
    ASSERT_EQ(merged.size(), 5U);
    EXPECT_EQ(merged[4], merged[1]);
    EXPECT_EQ(RecordOf(5), kSilent);
}

/// A change that a measurement offers itself.
struct Change {
    const char* what;
    void (*make)(CKZStatGenMeasurement&);
    const char* statistics;  // after it
};

std::ostream& operator<<(std::ostream& out, const Change& change) {
    return out << change.what;
}

const CKZStatGenMeasurement& AnotherMeasurement() {
    static CKZStatGenMeasurement another(Types::Timer);
    another.Reset();
    another.AddLast(1);
    return another;
}

constexpr Change kChanges[] = {
    {"AddLast", [](CKZStatGenMeasurement& m) { m.AddLast(1); },
     "4|1.000|7.000|2|8.000|50.000|4.000|1.000|1.000|1|1.000|1.000|1.000|"},
    {"AddValues",
     [](CKZStatGenMeasurement& m) { m.AddValues(1, 1, 1, 1, 1, 1, 1, 1, 1, 1, AddForDump); },
     "4|1.000|7.000|2|8.000|50.000|4.000|1.000|1.000|1|1.000|1.000|1.000|"},
    {"AddMeasurement",
     [](CKZStatGenMeasurement& m) { m.AddValues(AnotherMeasurement(), AddForDump); },
     "4|1.000|7.000|2|8.000|50.000|4.000|1.000|1.000|1|1.000|1.000|1.000|"},
    {"SetValues",
     [](CKZStatGenMeasurement& m) { m.SetValues(1, 1, 1, 1, 1, 1, 1, 1, 1, 1, Types::Timer); },
     "2|1.000|1.000|1|1.000|1.000|1.000|1.000|1.000|1|1.000|1.000|1.000|"},
    {"Reset", [](CKZStatGenMeasurement& m) { m.Reset(); },
     "4|-1.000|-1.000|0|0.000|0.000|-1.000|-1.000|-1.000|0|0.000|0.000|-1.000|"},
    {"Assignment", [](CKZStatGenMeasurement& m) { m = AnotherMeasurement(); },
     "2|1.000|1.000|1|1.000|1.000|1.000|1.000|1.000|1|1.000|1.000|1.000|"},
};

class SilenceThatAChangeBreaks : public Silence, public testing::WithParamInterface<Change> {};

TEST_P(SilenceThatAChangeBreaks, ShowsItOnceItIsMade) {
    CKZStatGenMeasurement* measurement = nullptr;
    generator.withMerged = [&](Dictionary& merged) { measurement = merged.GetMeasurement("n"); };
    SendUntil(140.0);
    generator.withMerged = [&](Dictionary&) { GetParam().make(*measurement); };
    SendUntil(150.0);
    generator.withMerged = nullptr;
    SendUntil(160.0);
    EXPECT_EQ(RecordOf(4), kSilent);
    EXPECT_EQ(RecordOf(5), std::string("n|") + GetParam().statistics);
    EXPECT_EQ(RecordOf(6), kSilent);
}

INSTANTIATE_TEST_SUITE_P(By, SilenceThatAChangeBreaks, testing::ValuesIn(kChanges),
                         [](const auto& test) { return std::string(test.param.what); });

/// Slice 4 ends with lasts in the client's totals, which are merged in slice 5.
class SilenceWithLasts : public Silence {
protected:
    SilenceWithLasts() {
        generator.withClient = [this](Dictionary& perClient) {
            measurement = perClient.GetMeasurement("n");
        };
        SendUntil(130.0);
        generator.withClient = nullptr;
        generator.withText = [this] { measurement->AddLast(1); };
        SendUntil(140.0);
        generator.withText = nullptr;
    }

    void ExpectLastsInSliceFiveOnly() {
        const std::string totals = "n|4|1.000|7.000|2|8.000|50.000|4.000|";
        EXPECT_EQ(RecordOf(4), kSilent);
        EXPECT_EQ(RecordOf(5), totals + "1.000|1.000|1|1.000|1.000|1.000|");
        EXPECT_EQ(RecordOf(6), totals + "-1.000|-1.000|0|0.000|0.000|-1.000|");
        EXPECT_EQ(RecordOf(7), RecordOf(6));
    }

    CKZStatGenMeasurement* measurement = nullptr;
};

TEST_F(SilenceWithLasts, ShowsThemOnce) {
    SendUntil(170.0);
    ExpectLastsInSliceFiveOnly();
}

TEST_F(SilenceWithLasts, ShowsThatAHookEmptiesThemFirst) {
    generator.withClient = [this](Dictionary&) { measurement->ResetLasts(); };
    SendUntil(150.0);
    generator.withClient = nullptr;
    SendUntil(170.0);
    ExpectLastsInSliceFiveOnly();
}

/// An operation of the collection that leaves it without "n".
struct Removal {
    const char* what;
    void (*remove)(Dictionary&);
};

std::ostream& operator<<(std::ostream& out, const Removal& removal) {
    return out << removal.what;
}

constexpr Removal kRemovals[] = {
    {"Remove", [](Dictionary& dictionary) { delete dictionary.remove(&kKey); }},
    {"RemoveAndDestroy", [](Dictionary& dictionary) { dictionary.removeAndDestroy(&kKey); }},
    {"Clear", [](Dictionary& dictionary) { dictionary.clear(); }},
    {"ClearAndDestroy", [](Dictionary& dictionary) { dictionary.clearAndDestroy(); }},
};

class SilenceThatARemovalBreaks : public Silence, public testing::WithParamInterface<Removal> {};

TEST_P(SilenceThatARemovalBreaks, SendsNoRecordsOfAMergedDictionaryWithoutThem) {
    generator.withMerged = GetParam().remove;
    SendUntil(140.0);
    generator.withMerged = nullptr;
    SendUntil(150.0);
    for (std::size_t slice = 1; slice <= 4; ++slice) EXPECT_EQ(RecordOf(slice), "") << slice;
    EXPECT_EQ(RecordOf(5), kSilent);
}

TEST_P(SilenceThatARemovalBreaks, SendsNoRecordsOnceAClientsTotalsAreWithoutThem) {
    SendUntil(130.0);
    generator.withClient = GetParam().remove;
    SendUntil(150.0);
    EXPECT_EQ(RecordOf(4), kSilent);
    EXPECT_EQ(RecordOf(5), "");
}

INSTANTIATE_TEST_SUITE_P(By, SilenceThatARemovalBreaks, testing::ValuesIn(kRemovals),
                         [](const auto& test) { return std::string(test.param.what); });

/// Puts a measurement with a value of 3 under "x", and returns it.
CKZStatGenMeasurement* Insert(Dictionary& dictionary) {
    auto* const measurement = new CKZStatGenMeasurement(Types::Timer);
    measurement->AddLast(3);
    dictionary.insertKeyAndValue(new CKZCollectableString("x", true), measurement);
    return measurement;
}

TEST_F(Silence, SendsAMeasurementThatAHookInserts) {
    const std::string inserted =
        "x|2|3.000|3.000|1|3.000|9.000|3.000|3.000|3.000|1|3.000|9.000|3.000|";
    SendUntil(130.0);
    generator.withMerged = [](Dictionary& merged) { Insert(merged); };
    SendUntil(140.0);
    generator.withMerged = nullptr;
    SendUntil(150.0);
    EXPECT_EQ(RecordOf(4), kSilent + inserted);
    EXPECT_EQ(RecordOf(5), kSilent);
}

TEST_F(Silence, ShowsWhatBecomesOfAMeasurementThatAHookInsertedBefore) {
    SendUntil(130.0);
    CKZStatGenMeasurement* inserted = nullptr;
    generator.withClient = [&](Dictionary& perClient) { inserted = Insert(perClient); };
    SendUntil(140.0);
    generator.withClient = nullptr;
    SendUntil(170.0);
    generator.withClient = [&](Dictionary&) { inserted->AddLast(4); };
    SendUntil(180.0);
    generator.withClient = nullptr;
    SendUntil(190.0);
    const std::string emptyLasts = "|-1.000|-1.000|0|0.000|0.000|-1.000|";
    EXPECT_EQ(RecordOf(5), kSilent + "x|2|3.000|3.000|1|3.000|9.000|3.000" + emptyLasts);
    EXPECT_EQ(RecordOf(8), RecordOf(5));
    EXPECT_EQ(RecordOf(9), kSilent + "x|2|3.000|4.000|2|7.000|25.000|3.500" + emptyLasts);
}

TEST_F(Silence, CountsByNameAfterAMeasurementWasAssigned) {
    client.AddLast("a longer name", 1, Types::Counter);
    SendUntil(130.0);
    generator.withClient = [](Dictionary& perClient) {
        *perClient.GetMeasurement("n") = *perClient.GetMeasurement("a longer name");
    };
    SendUntil(140.0);
    generator.withClient = nullptr;
    client.AddLast("n", 2, Types::Counter);
    client.AddLast("a longer name", 2, Types::Counter);
    SendUntil(150.0);
    EXPECT_EQ(generator.LastMessage().Find("n")->sum, 3);
    EXPECT_EQ(generator.LastMessage().Find("a longer name")->sum, 3);
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

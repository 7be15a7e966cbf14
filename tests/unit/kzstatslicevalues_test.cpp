#include "kzstatslicevalues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "kzstatmessage.h"
#include "ryp/collectablestring.h"
#include "ryp/testclock.h"
#include "support/recordinggenerator.h"
#include "support/testpeer.h"

namespace {

using Peer = CKZStatGenTestPeer;
using Types = CKZStatPointTypeEnum;
using testing::ElementsAre;

/// Shows each slice to the test.
class ViewingGenerator : public RecordingGenerator {
public:
    void SendSliceValues(const CKZStatSliceValues& slice) override {
        calls.push_back("values after " + Hooks().back());
        if (look) look(slice);
    }
    void SendTotalDictionary(CKZStatGenMeasurementDictionary* merged, double sliceLength,
                             double elapsed) override {
        RecordingGenerator::SendTotalDictionary(merged, sliceLength, elapsed);
        total = merged;
    }

    std::function<void(const CKZStatSliceValues&)> look;
    std::vector<std::string> calls;
    CKZStatGenMeasurementDictionary* total = nullptr;
};

class SliceValues : public testing::Test {
protected:
    SliceValues() { generator.Start(100.0, 10.0); }
    /// What a test expects of the view was looked at.
    ~SliceValues() override { EXPECT_EQ(generator.calls.empty(), !endsSlices); }

    void EndSlice() {
        endsSlices = true;
        clock.Advance(10.0);
        client.GetNewDictionary();
        generator.PackAll(Peer::PackQueue(generator));
    }

    RyPTestClock clock{100.0};
    ViewingGenerator generator;
    CKZStatGenClient client{&generator, 5};
    bool endsSlices = false;
};

TEST_F(SliceValues, ComeBetweenTheTotalAndTheText) {
    client.AddLast("n", 7, Types::Counter);
    EndSlice();
    EXPECT_THAT(generator.calls, ElementsAre("values after total"));
    EXPECT_THAT(generator.Hooks(), ElementsAre("client 5", "total", "text"));
}

TEST_F(SliceValues, TellWhichSliceTheyAreOf) {
    generator.look = [](const CKZStatSliceValues& slice) {
        EXPECT_EQ(slice.GetGeneratorName(), "gen");
        EXPECT_EQ(slice.GetSliceId(), 1);
        EXPECT_EQ(slice.GetSliceLength(), 10);
        EXPECT_EQ(slice.GetElapsed(), 10);
        EXPECT_EQ(slice.GetEndTime(), 110);
    };
    client.AddLast("n", 7, Types::Counter);
    EndSlice();
}

TEST_F(SliceValues, EndOnTheWallClockAlsoAfterAPause) {
    generator.look = [](const CKZStatSliceValues& slice) {
        EXPECT_EQ(slice.GetElapsed(), 6);
        EXPECT_EQ(slice.GetEndTime(), 110);
    };
    client.AddLast("n", 7, Types::Counter);
    generator.Freeze();
    generator.DeFrost(4);
    EndSlice();
}

TEST_F(SliceValues, AreExactWhereTheMessageIsRounded) {
    client.AddLast("seconds", 0.0004, Types::Timer);
    client.AddLast("seconds", 1.0 / 3, Types::Timer);
    generator.look = [](const CKZStatSliceValues& slice) {
        ASSERT_EQ(slice.GetRecords().size(), 1U);
        const CKZStatSliceValues::Record& record = slice.GetRecords()[0];
        EXPECT_EQ(record.name, "seconds");
        EXPECT_EQ(record.type, Types::Timer);
        EXPECT_EQ(record.totals.minimum, 0.0004);
        EXPECT_EQ(record.totals.sum, 0.0004 + 1.0 / 3);
        EXPECT_EQ(record.lasts.sumSqr, 0.0004 * 0.0004 + 1.0 / 3 * (1.0 / 3));
    };
    EndSlice();
    EXPECT_EQ(generator.calls.size(), 1U);
}

TEST_F(SliceValues, HoldTotalsOfTheRunAndLastsOfTheSlice) {
    client.AddLast("n", 7, Types::Counter);
    EndSlice();
    client.AddLast("n", 2, Types::Counter);
    generator.look = [](const CKZStatSliceValues& slice) {
        EXPECT_EQ(slice.FindRecord("n")->totals.sum, 9);
        EXPECT_EQ(slice.FindRecord("n")->lasts.sum, 2);
    };
    EndSlice();
}

TEST_F(SliceValues, ShowTheTotalsThemselves) {
    client.AddLast("n", 7, Types::Counter);
    generator.look = [this](const CKZStatSliceValues& slice) {
        EXPECT_EQ(&slice.FindRecord("n")->totals,
                  &generator.total->GetMeasurement("n")->GetTotals());
    };
    EndSlice();
}

TEST_F(SliceValues, HoldTheMessageAsItWasRendered) {
    client.AddLast("n", 7, Types::Counter);
    std::string seen;
    generator.look = [&](const CKZStatSliceValues& slice) { seen = Readable(slice.GetMessage()); };
    EndSlice();
    EXPECT_EQ(seen, generator.ReadableMessage(0));
}

TEST_F(SliceValues, ShowWhatTheTotalHookChanged) {
    class Changing : public ViewingGenerator {
        void SendTotalDictionary(CKZStatGenMeasurementDictionary* merged, double, double) override {
            merged->AddLast("mark", 1, Types::Counter);
        }
        void SendSliceValues(const CKZStatSliceValues& slice) override { look(slice); }
    } changing;
    std::vector<double> marks;
    changing.look = [&](const CKZStatSliceValues& slice) {
        marks.push_back(slice.FindRecord("mark")->totals.count);
    };
    changing.Start(clock.Now(), 10.0);
    CKZStatGenClient handle(&changing, 1);
    handle.AddLast("n", 1, Types::Counter);
    clock.Advance(20.0);
    handle.GetNewDictionary();
    changing.PackAll(Peer::PackQueue(changing));
    EXPECT_THAT(marks, ElementsAre(1, 1));
}

TEST_F(SliceValues, AreNoChangeOfTheDictionaries) {
    client.AddLast("n", 7, Types::Counter);
    generator.look = [](const CKZStatSliceValues& slice) { slice.FindRecord("n"); };
    EndSlice();
    const CKZStatGenMeasurementDictionary* const merged = generator.total;
    EndSlice();  // empties the lasts
    EXPECT_NE(generator.total, merged);
    const CKZStatGenMeasurementDictionary* const silent = generator.total;
    EndSlice();
    EXPECT_EQ(generator.total, silent);
}

TEST_F(SliceValues, InheritTheMarkOfMinimumAndMaximum) {
    client.AddLast("below", -5, Types::Timer);
    client.AddLast("below", -4, Types::Timer);
    client.AddLast("minus one", -1, Types::Timer);
    client.AddLast("minus one", 7, Types::Timer);
    generator.look = [](const CKZStatSliceValues& slice) {
        EXPECT_EQ(slice.FindRecord("below")->totals.minimum, -5);
        EXPECT_EQ(slice.FindRecord("below")->totals.maximum, -1);
        EXPECT_EQ(slice.FindRecord("below")->totals.sum, -9);
        EXPECT_EQ(slice.FindRecord("minus one")->totals.minimum, 7);
        EXPECT_EQ(slice.FindRecord("minus one")->totals.count, 2);
    };
    EndSlice();
}

TEST_F(SliceValues, AgreeWithTheTextThoughAPauseEndsBetweenThem) {
    generator.look = [this](const CKZStatSliceValues& slice) {
        EXPECT_EQ(slice.GetElapsed(), 10);
        generator.DeFrost(4);
    };
    client.AddLast("n", 7, Types::Counter);
    EndSlice();
    EXPECT_EQ(generator.LastMessage().elapsed, 10);
    EXPECT_EQ(generator.TextElapsed().back(), 10);
}

TEST_F(SliceValues, FindNothingUnderAnUnknownName) {
    client.AddLast("n", 7, Types::Counter);
    generator.look = [](const CKZStatSliceValues& slice) {
        EXPECT_EQ(slice.FindRecord("m"), nullptr);
        EXPECT_EQ(slice.FindRecord(""), nullptr);
    };
    EndSlice();
}

TEST(NullMeasurement, IsPassedOverInDumpsAndViews) {
    CKZStatGenMeasurementDictionary dictionary;
    dictionary.AddLast("n", 1, Types::Counter);
    RWCString before;
    dictionary.DumpDict(before);
    dictionary.insertKeyAndValue(new CKZCollectableString("nothing", true), nullptr);
    RWCString after;
    dictionary.DumpDict(after);
    EXPECT_EQ(after, before);
    dictionary.ResetLasts();
    const CKZStatSliceValues slice({"gen", 1, 1, 1, 1}, after, dictionary);
    EXPECT_EQ(slice.GetRecords().size(), 1U);
}

TEST(SliceValuesOfRecords, ShowThoseRecords) {
    const std::vector<CKZStatMessageRecord> records{
        {RWCString("a\0b", 3), Types::Timer, {1, 2, 2, 3, 5}, {2, 2, 1, 2, 4}},
        {"c", Types::Counter, {}, {}}};
    const RWCString message("text");
    const CKZStatSliceValues slice({"gen", 0.5, 7, 3.5, 1000.5}, message, records);
    EXPECT_EQ(slice.GetSliceId(), 7);
    ASSERT_EQ(slice.GetRecords().size(), 2U);
    EXPECT_EQ(&slice.GetRecords()[0].totals, &records[0].totals);
    EXPECT_EQ(slice.FindRecord(std::string_view("a\0b", 3)), &slice.GetRecords()[0]);
    EXPECT_EQ(slice.FindRecord("c"), &slice.GetRecords()[1]);
    EXPECT_EQ(slice.FindRecord("a"), nullptr);
    EXPECT_EQ(&slice.GetMessage(), &message);
}

TEST(TypeOfAName, IsThatOfItsMeasurement) {
    CKZStatGenMeasurementDictionary dictionary;
    dictionary.AddLast("n", 1, Types::LoadSize);
    EXPECT_EQ(dictionary.GetType("n"), Types::LoadSize);
    EXPECT_EQ(dictionary.GetMeasurement("n")->GetType(), Types::LoadSize);
    EXPECT_EQ(dictionary.GetType("m"), Types::NotSet);
}

}  // namespace

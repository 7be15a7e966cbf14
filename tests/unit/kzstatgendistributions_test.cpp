#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "kzstatdistribution.h"
#include "kzstatisticsgenerator.h"
#include "ryp/testclock.h"
#include "support/capturing_log.h"
#include "support/recordinggenerator.h"
#include "support/testpeer.h"

// The distributions that a generator collects, as the view of each slice shows them.

namespace {

using Peer = CKZStatGenTestPeer;
using Types = CKZStatPointTypeEnum;
using Choice = CKZStatDistributionChoice;

CKZStatDistribution Of(const std::vector<double>& values) {
    CKZStatDistribution distribution;
    for (const double value : values) distribution.Add(value);
    return distribution;
}

/// Keeps the distributions of the last slice, by name; none where the view showed none.
class CollectingGenerator : public RecordingGenerator {
public:
    void SendSliceValues(const CKZStatSliceValues& slice) override {
        lasts.clear();
        totals.clear();
        for (const CKZStatSliceValues::Record& record : slice.GetRecords()) {
            const std::string name(record.name);
            lasts[name] = Copy(record.lastsDistribution, record.lasts);
            totals[name] = Copy(record.totalsDistribution, record.totals);
        }
        if (failures > 0 && failures-- > 0) throw std::runtime_error("no");
    }
    void SendClientDictionary(CKZStatGenMeasurementDictionary* dictionary, int, double) override {
        if (change) change(*dictionary);
    }

    std::map<std::string, std::optional<CKZStatDistribution>> lasts;
    std::map<std::string, std::optional<CKZStatDistribution>> totals;
    std::function<void(CKZStatGenMeasurementDictionary&)> change;
    int failures = 0;

private:
    static std::optional<CKZStatDistribution> Copy(const CKZStatDistribution* distribution,
                                                   const CKZStatAggregate& aggregate) {
        if (distribution == nullptr) return std::nullopt;
        EXPECT_EQ(static_cast<double>(distribution->GetCount()), aggregate.count);
        return *distribution;
    }
};

class CollectedDistributions : public testing::Test {
protected:
    explicit CollectedDistributions(const Choice& choice = Choice::Usual()) {
        generator.CollectDistributions(choice);
        generator.Start(100.0, 10.0);
    }

    void Report(const char* name, const std::vector<double>& values,
                Types::PointType type = Types::Timer) {
        for (const double value : values) client.AddLast(name, value, type);
    }
    void EndSlice() {
        clock.Advance(10.0);
        generator.GetNewDictionary(7, nullptr);
        generator.PackAll(Peer::PackQueue(generator));
    }

    RyPTestClock clock{100.0};
    CollectingGenerator generator;
    CKZStatGenClient client{&generator, 5};
};

TEST_F(CollectedDistributions, HoldTheValuesOfTheSliceAndOfTheRun) {
    Report("t", {1, 2, 3});
    EndSlice();
    EXPECT_EQ(generator.lasts["t"], Of({1, 2, 3}));
    EXPECT_EQ(generator.totals["t"], Of({1, 2, 3}));
    Report("t", {4});
    EndSlice();
    EXPECT_EQ(generator.lasts["t"], Of({4}));
    EXPECT_EQ(generator.totals["t"], Of({1, 2, 3, 4}));
}

TEST_F(CollectedDistributions, HoldValuesThatWereFlushedWhileTheyCameAndOnesFlushedAtTheEnd) {
    std::vector<double> values;
    for (int i = 0; i < 50; ++i) values.push_back(i * 1.5 - 3);
    Report("t", values);
    client.FlushStatsCache();
    Report("t", {1e9});
    values.push_back(1e9);
    EndSlice();
    EXPECT_EQ(generator.lasts["t"], Of(values));
}

TEST_F(CollectedDistributions, JoinClientsAndThreads) {
    CKZStatGenClient other(&generator, 6);
    Report("t", std::vector<double>(30, 1.0));
    std::thread([&] {
        for (int i = 0; i < 30; ++i) other.AddLast("t", 2, Types::Timer);
    }).join();
    EndSlice();
    std::vector<double> all(30, 1.0);
    all.resize(60, 2.0);
    EXPECT_EQ(generator.lasts["t"], Of(all));
}

TEST_F(CollectedDistributions, HoldWhatWasReportedWithoutAClient) {
    CKZStatGenMeasurementDictionary* const own = generator.GetNewDictionary(9, nullptr);
    for (int i = 0; i < 25; ++i) own->AddLast("t", i, Types::Timer);
    EndSlice();
    ASSERT_TRUE(generator.lasts["t"]);
    EXPECT_EQ(generator.lasts["t"]->GetCount(), 25U);
}

TEST_F(CollectedDistributions, AreEmptyForASliceWithoutValues) {
    Report("t", {1});
    EndSlice();
    for (int slice = 0; slice < 3; ++slice) {
        EndSlice();
        EXPECT_EQ(generator.lasts["t"], CKZStatDistribution());
        EXPECT_EQ(generator.totals["t"], Of({1}));
    }
    Report("t", {2});
    EndSlice();
    EXPECT_EQ(generator.totals["t"], Of({1, 2}));
}

TEST_F(CollectedDistributions, HoldWhatAFlushOfAClosedSliceFinds) {
    Report("t", {1, 2});
    CKZStatGenMeasurementDictionary& dictionary = *Peer::DictionaryOf(client);
    clock.Advance(10.0);
    generator.GetNewDictionary(7, nullptr);
    // Between the closing and the fold.
    generator.SendSlice(generator.WaitForSlice());
    dictionary.FlushStatsCache();
    EXPECT_EQ(generator.lasts["t"], Of({1, 2}));
    EndSlice();
    EXPECT_EQ(generator.totals["t"], Of({1, 2}));
}

TEST_F(CollectedDistributions, AreThoseOfTheChosenKinds) {
    Report("counter", {1}, Types::Counter);
    Report("load", {1}, Types::LoadSize);
    Report("transaction", {1}, Types::TransactionTimer);
    Report("measurement", {1}, Types::Measurement);
    EndSlice();
    EXPECT_FALSE(generator.lasts["counter"]);
    EXPECT_FALSE(generator.lasts["load"]);
    EXPECT_TRUE(generator.lasts["transaction"]);
    EXPECT_TRUE(generator.lasts["measurement"]);
}

TEST_F(CollectedDistributions, AreShownAgainWhenAHookHasThrown) {
    generator.failures = 1;
    Report("t", {1, 2});
    clock.Advance(10.0);
    generator.GetNewDictionary(7, nullptr);
    CKZStatGenSlice* const slice = generator.WaitForSlice();
    EXPECT_THROW(generator.SendSlice(slice), std::runtime_error);
    generator.lasts.clear();
    generator.SendSlice(slice);
    EXPECT_EQ(generator.lasts["t"], Of({1, 2}));
    EXPECT_EQ(generator.totals["t"], Of({1, 2}));
}

// Percentiles of something else than the aggregates would be wrong, and stay wrong.

TEST_F(CollectedDistributions, EndWhereValuesAreSet) {
    Report("t", {1});
    Report("whole", {1});
    client.FlushStatsCache();
    Peer::DictionaryOf(client)->SetValues("t", 1, 1, 1, 1, 1, 1, 1, 1, 1, Types::Timer);
    EndSlice();
    EXPECT_FALSE(generator.lasts["t"]);
    EXPECT_FALSE(generator.totals["t"]);
    EXPECT_TRUE(generator.lasts["whole"]);
    Report("t", {1});
    EndSlice();
    EXPECT_FALSE(generator.lasts["t"]);
}

TEST_F(CollectedDistributions, EndWhereAMeasurementIsReset) {
    Report("t", {1});
    client.FlushStatsCache();
    Peer::DictionaryOf(client)->Reset("t");
    EndSlice();
    EXPECT_FALSE(generator.totals["t"]);
    EndSlice();
    EXPECT_FALSE(generator.totals["t"]);
}

TEST_F(CollectedDistributions, EndWhereAHookChangesTotals) {
    generator.change = [](CKZStatGenMeasurementDictionary& dictionary) {
        if (dictionary.GetMeasurement("t") != nullptr) dictionary.AddLast("t", 3, Types::Timer);
    };
    Report("t", {1});
    Report("whole", {1});
    EndSlice();
    generator.change = nullptr;
    EndSlice();
    EXPECT_FALSE(generator.totals["t"]);
    EndSlice();
    EXPECT_FALSE(generator.totals["t"]);
}

TEST_F(CollectedDistributions, EndWhereANameHasTwoTypes) {
    CKZStatGenClient other(&generator, 6);
    Report("both chosen", {1}, Types::Timer);
    other.AddLast("both chosen", 1, Types::Measurement);
    Report("one chosen", {1}, Types::Timer);
    other.AddLast("one chosen", 1, Types::Counter);
    Report("of one client", {1}, Types::Timer);
    Report("of one client", {1}, Types::Counter);
    EndSlice();
    EXPECT_FALSE(generator.totals["both chosen"]);
    EXPECT_FALSE(generator.totals["one chosen"]);
    EXPECT_FALSE(generator.totals["of one client"]);
}

TEST_F(CollectedDistributions, EndWhereANameHasTwoTypesOnTwoThreads) {
    CKZStatGenClient other(&generator, 6);
    Report("t", {1}, Types::Timer);
    client.FlushStatsCache();
    std::thread([&] {
        other.AddLast("t", 1, Types::Measurement);
        other.FlushStatsCache();
    }).join();
    EndSlice();
    EXPECT_FALSE(generator.totals["t"]);
}

TEST_F(CollectedDistributions, EndWhereTheLastsAloneAreReset) {
    Report("t", {1});
    client.FlushStatsCache();
    Peer::DictionaryOf(client)->ResetLasts();
    EndSlice();
    EXPECT_FALSE(generator.lasts["t"]);
    EXPECT_FALSE(generator.totals["t"]);
}

TEST_F(CollectedDistributions, ChangeNoByteOfTheMessage) {
    RecordingGenerator plain;
    plain.Start(100.0, 10.0);
    CKZStatGenClient same(&plain, 5);
    for (int i = 0; i < 50; ++i) {
        Report("t", {i / 7.0});
        same.AddLast("t", i / 7.0, Types::Timer);
    }
    EndSlice();
    plain.GetNewDictionary(7, nullptr);
    plain.PackAll(Peer::PackQueue(plain));
    EXPECT_EQ(generator.ReadableMessage(0), plain.ReadableMessage(0));
}

TEST_F(CollectedDistributions, AreChosenBeforeTheStart) {
    const CapturingLog log(RyPLogLevel::Error);
    generator.CollectDistributions(Choice::None());
    EXPECT_EQ(log.Texts().size(), 1U);
    Report("t", {1});
    EndSlice();
    EXPECT_TRUE(generator.lasts["t"]);
}

/// Numbers of names are each generator's own.
TEST_F(CollectedDistributions, AreNotTakenFromAnotherGenerator) {
    CollectingGenerator other;
    other.CollectDistributions(Choice::Usual());
    other.Start(100.0, 10.0);
    CKZStatGenClient theirs(&other, 5);
    for (int i = 0; i < 30; ++i) theirs.AddLast(std::to_string(i).c_str(), 1, Types::Timer);
    theirs.FlushStatsCache();
    Report("t", {5});
    client.FlushStatsCache();
    Peer::DictionaryOf(client)->AddValuesOfDict(Peer::DictionaryOf(theirs), AddFromSlice);
    Report("29", {2});
    EndSlice();
    EXPECT_FALSE(generator.lasts["0"]);
    EXPECT_FALSE(generator.lasts["29"]);
    EXPECT_EQ(generator.lasts["t"], Of({5}));
}

TEST_F(CollectedDistributions, AreNotTakenFromASliceOfAnotherGenerator) {
    CollectingGenerator other;
    other.CollectDistributions(Choice::Usual());
    other.Start(100.0, 10.0);
    CKZStatGenClient theirs(&other, 5);
    for (int i = 0; i < 30; ++i) theirs.AddLast(std::to_string(i).c_str(), 1, Types::Timer);
    Report("t", {5});
    clock.Advance(10.0);
    other.GetNewDictionary(7, nullptr);
    generator.SendSlice(other.WaitForSlice());
    EXPECT_FALSE(generator.lasts["0"]);
    EXPECT_FALSE(generator.lasts["29"]);
    EndSlice();
    EXPECT_FALSE(generator.totals["0"]);
    EXPECT_EQ(generator.totals["t"], Of({5}));
}

TEST_F(CollectedDistributions, AreNotChosenAfterTheEnd) {
    Report("t", {1});
    client.FlushStatsCache();
    Peer::EndAtOnce(generator);
    const CapturingLog log(RyPLogLevel::Error);
    generator.CollectDistributions(Choice::None());
    EXPECT_EQ(log.Texts().size(), 1U);
    generator.SendSlice(Peer::SliceOf(*Peer::DictionaryOf(client)));
    EXPECT_EQ(generator.lasts["t"], Of({1}));
}

class DistributionsByName : public CollectedDistributions {
protected:
    DistributionsByName()
        : CollectedDistributions(
              Choice{[](std::string_view name, Types::PointType) { return name == "wanted"; }}) {}
};

TEST_F(DistributionsByName, AreThoseOfTheChosenNames) {
    Report("wanted", {1}, Types::Counter);
    Report("other", {1});
    EndSlice();
    EXPECT_TRUE(generator.lasts["wanted"]);
    EXPECT_FALSE(generator.lasts["other"]);
}

class DistributionsInLittleMemory : public CollectedDistributions {
protected:
    DistributionsInLittleMemory()
        : CollectedDistributions(Choice::OfKinds({Types::Timer}, 10'000)) {}
};

TEST_F(DistributionsInLittleMemory, AreThoseOfTheFirstNames) {
    const CapturingLog log(RyPLogLevel::Warning);
    for (int slice = 0; slice < 2; ++slice) {
        for (int i = 0; i < 100; ++i) Report(std::to_string(i).c_str(), {1});
        EndSlice();
        EXPECT_EQ(generator.totals["0"], Of(std::vector<double>(slice + 1U, 1.0)));
        EXPECT_FALSE(generator.totals["99"]);
    }
    EXPECT_EQ(log.Texts().size(), 1U);
}

TEST_F(DistributionsInLittleMemory, TakeNoneForSlicesThatAreGone) {
    for (int slice = 0; slice < 200; ++slice) {
        for (int i = 0; i < 3; ++i) Report(std::to_string(i).c_str(), {1});
        client.FlushStatsCache();
        clock.Advance(10.0);
        client.GetNewDictionary();
        generator.RemoveSlice(generator.WaitForSlice());
    }
    Report("new", {1});
    EndSlice();
    EXPECT_TRUE(generator.lasts["new"]);
}

TEST_F(DistributionsInLittleMemory, TakeNoMoreWhenTheSameNamesComeAgain) {
    for (int slice = 0; slice < 200; ++slice) {
        for (int i = 0; i < 3; ++i) Report(std::to_string(i).c_str(), {1});
        client.FlushStatsCache();
        Report("0", {1});
        EndSlice();
    }
    Report("new", {1});
    EndSlice();
    EXPECT_TRUE(generator.lasts["new"]);
}

TEST(Distributions, AreNotCollectedUnlessAsked) {
    RyPTestClock clock(100.0);
    CollectingGenerator generator;
    generator.Start(100.0, 10.0);
    CKZStatGenClient client(&generator, 5);
    client.AddLast("t", 1, Types::Timer);
    clock.Advance(10.0);
    client.GetNewDictionary();
    generator.PackAll(Peer::PackQueue(generator));
    EXPECT_EQ(generator.lasts.count("t"), 1U);
    EXPECT_FALSE(generator.lasts["t"]);
}

/// A choice that breaks its promise costs the distribution, and no value.
TEST(Distributions, AreNotCollectedWhereTheChoiceThrows) {
    RyPTestClock clock(100.0);
    CollectingGenerator generator;
    generator.CollectDistributions(
        {[](std::string_view, Types::PointType) -> bool { throw std::runtime_error("no"); }});
    generator.Start(100.0, 10.0);
    CKZStatGenClient client(&generator, 5);
    for (int i = 0; i < 30; ++i) client.AddLast("t", 1, Types::Timer);
    clock.Advance(10.0);
    client.GetNewDictionary();
    generator.PackAll(Peer::PackQueue(generator));
    EXPECT_FALSE(generator.lasts["t"]);
    EXPECT_EQ(generator.LastMessage().Find("t")->count, 30);
}

}  // namespace

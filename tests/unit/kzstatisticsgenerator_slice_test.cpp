#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "kzstatisticsgenerator.h"
#include "rw/collint.h"
#include "ryp/testclock.h"
#include "support/capturing_log.h"
#include "support/recordinggenerator.h"
#include "support/testpeer.h"

namespace {

using Peer = CKZStatGenTestPeer;
using Types = CKZStatPointTypeEnum;
using Dictionary = CKZStatGenMeasurementDictionary;

/// A generator started at 100 with slices of 10 seconds, and a slice beside its timeline.
class Slice : public testing::Test {
protected:
    Slice() { generator.Start(100.0, 10.0); }

    /// Files a dictionary with one value of "n" in `slice`, as a client would.
    static Dictionary* Fill(CKZStatGenSlice& slice, int clientId, double value) {
        auto* const dictionary = new Dictionary(&slice);
        slice.AddDictionary(dictionary, clientId);
        dictionary->AddLast("n", value, Types::Counter);
        return dictionary;
    }

    static Dictionary* Find(const CKZStatGenSlice& slice, int clientId) {
        const RWCollectableInt key(clientId);
        return static_cast<Dictionary*>(slice.findValue(&key));
    }

    RyPTestClock clock{100.0};
    RecordingGenerator generator;
    CKZStatGenSlice total{0, 0.0, &generator, true};
    CKZStatGenSlice slice{7, 130.0, &generator, true};
};

TEST_F(Slice, IsOpenAndHeldByNobodyAtFirst) {
    EXPECT_TRUE(slice.IsOpen());
    EXPECT_EQ(slice.GetCountZ0(), 0);
    EXPECT_TRUE(slice.isEmpty());
}

TEST_F(Slice, CountsEachDictionaryAsHeld) {
    Fill(slice, 5, 1);
    Fill(slice, 6, 1);
    EXPECT_EQ(slice.GetCountZ0(), 2);
    slice.DecCountZ0();
    EXPECT_EQ(slice.GetCountZ0(), 1);
}

TEST_F(Slice, StaysAtNoHoldsWithoutLogging) {
    CapturingLog log(RyPLogLevel::Error);
    slice.DecCountZ0();
    EXPECT_EQ(slice.GetCountZ0(), 0);
    EXPECT_TRUE(log.Texts().empty());
}

/// Hosts count down for whom they replaced, clients for themselves.
TEST_F(Slice, CountsDownForHostsAndClientsTogetherAndNotBelowZero) {
    CKZStatGenSlice& current = *Peer::CurrentSlice(generator);
    CKZStatGenClient client(&generator, 5);
    client.GetNewDictionary();
    current.DecCountZ0();
    EXPECT_EQ(current.GetCountZ0(), 0);
    current.DecCountZ0();
    Fill(current, 6, 1);
    EXPECT_EQ(current.GetCountZ0(), 1);
    current.DecCountZ0();
    clock.Set(110.5);
    client.GetNewDictionary();
    EXPECT_EQ(current.GetCountZ0(), 0);
}

TEST_F(Slice, FoldsFinishedSlicesPerClient) {
    Fill(slice, 5, 1);
    total.AddDictionarysSlice(&slice);
    CKZStatGenSlice next(8, 140.0, &generator, true);
    Fill(next, 5, 10);
    Fill(next, 6, 100);
    total.AddDictionarysSlice(&next);
    EXPECT_EQ(total.entries(), 2U);
    EXPECT_EQ(Find(total, 5)->GetSum("n"), 11);
    EXPECT_EQ(Find(total, 6)->GetSum("n"), 100);
}

TEST_F(Slice, TakesOverIdAndTimeOfTheSliceFoldedLast) {
    total.AddDictionarysSlice(&slice);
    RWCString text;
    const std::unique_ptr<Dictionary> merged(total.DumpSlice(text));
    EXPECT_EQ(Readable(text), "30.000|7|");
}

TEST_F(Slice, CountsCachedValuesWhenItIsFolded) {
    const Dictionary* const dictionary = Fill(slice, 5, 1);
    EXPECT_EQ(Peer::CachedCount(*dictionary), 1);
    total.AddDictionarysSlice(&slice);
    EXPECT_EQ(Peer::CachedCount(*dictionary), 0);
    EXPECT_EQ(Find(total, 5)->GetCount("n"), 1);
}

TEST_F(Slice, ResetsTheLastsOfEveryDictionaryAndKeepsTheTotals) {
    Fill(slice, 5, 1);
    Fill(slice, 6, 1);
    total.AddDictionarysSlice(&slice);
    total.ResetLasts();
    EXPECT_EQ(Find(total, 5)->GetLastsCount("n"), 0);
    EXPECT_EQ(Find(total, 6)->GetLastsCount("n"), 0);
    EXPECT_EQ(Find(total, 6)->GetCount("n"), 1);
}

TEST_F(Slice, DumpsElapsedEndAndIdAheadOfTheMergedRecords) {
    Fill(slice, 5, 1)->FlushStatsCache();
    Fill(slice, 6, 2)->FlushStatsCache();
    RWCString text("old");
    const std::unique_ptr<Dictionary> merged(slice.DumpSlice(text));
    EXPECT_EQ(Readable(text),
              "30.000|7|n|4|1.000|2.000|2|3.000|5.000|1.500|1.000|2.000|2|3.000|5.000|1.500|");
    EXPECT_EQ(merged->GetSum("n"), 3);
}

TEST_F(Slice, DumpsOnlyTheHeaderWhenEmpty) {
    RWCString text;
    const std::unique_ptr<Dictionary> merged(slice.DumpSlice(text));
    EXPECT_EQ(Readable(text), "30.000|7|");
    EXPECT_TRUE(merged->isEmpty());
}

TEST_F(Slice, KeepsASecondDictionaryOfTheSameClientId) {
    Fill(slice, 5, 1);
    Fill(slice, 5, 10);
    EXPECT_EQ(slice.GetCountZ0(), 2);
    total.AddDictionarysSlice(&slice);
    EXPECT_EQ(total.entries(), 1U);
    EXPECT_EQ(Find(total, 5)->GetSum("n"), 11);
}

TEST_F(Slice, ResetsAndDumpsASecondDictionaryOfTheSameClientIdToo) {
    Fill(slice, 5, 1)->FlushStatsCache();
    Dictionary* const second = Fill(slice, 5, 10);
    second->FlushStatsCache();
    RWCString text;
    const std::unique_ptr<Dictionary> merged(slice.DumpSlice(text));
    EXPECT_EQ(merged->GetSum("n"), 11);
    slice.ResetLasts();
    EXPECT_EQ(second->GetLastsCount("n"), 0);
}

TEST_F(Slice, CountsANullDictionaryAndPassesOverIt) {
    slice.AddDictionary(nullptr, 5);
    slice.AddDictionary(nullptr, 5);
    Fill(slice, 5, 1);
    EXPECT_EQ(slice.GetCountZ0(), 3);
    total.AddDictionarysSlice(&slice);
    EXPECT_EQ(Find(total, 5)->GetSum("n"), 1);
}

TEST_F(Slice, FoldsIntoADictionaryInPlaceOfANullOne) {
    total.AddDictionary(nullptr, 5);
    Fill(slice, 5, 1);
    total.AddDictionarysSlice(&slice);
    ASSERT_NE(Find(total, 5), nullptr);
    EXPECT_EQ(Find(total, 5)->GetSum("n"), 1);
}

TEST_F(Slice, LeavesDictionariesItDoesNotOwn) {
    auto* const key = new RWCollectableInt(5);
    Dictionary kept;
    {
        CKZStatGenSlice borrowing(1, 110.0, &generator, false);
        borrowing.insertKeyAndValue(key, &kept);
    }
    EXPECT_EQ(key->value(), 5);
    EXPECT_TRUE(kept.isEmpty());
    delete key;
}

TEST_F(Slice, MovesHoldersIntoTheCurrentSlice) {
    CKZStatGenClient client(&generator, 5);
    client.AddLast("n", 1, Types::Counter);
    CKZStatGenSlice& finished = *Peer::CurrentSlice(generator);
    clock.Set(110.0);
    finished.ReleaseDicts();
    EXPECT_EQ(finished.GetCountZ0(), 0);
    EXPECT_NE(Peer::CurrentSlice(generator), &finished);
    EXPECT_EQ(Peer::SliceOf(*Peer::DictionaryOf(client)), Peer::CurrentSlice(generator));
    EXPECT_EQ(Peer::OwnerOf(*Peer::DictionaryOf(client)), &client);
}

TEST_F(Slice, MovesHoldersWithinTheCurrentSliceAndLosesNothing) {
    CKZStatGenClient first(&generator, 5);
    CKZStatGenClient second(&generator, 6);
    first.AddLast("n", 1, Types::Counter);
    second.AddLast("n", 10, Types::Counter);
    CKZStatGenSlice& current = *Peer::CurrentSlice(generator);
    current.ReleaseDicts();
    EXPECT_EQ(current.GetCountZ0(), 2);
    first.AddLast("n", 100, Types::Counter);
    total.AddDictionarysSlice(&current);
    EXPECT_EQ(Find(total, 5)->GetSum("n"), 101);
    EXPECT_EQ(Find(total, 6)->GetSum("n"), 10);
}

TEST_F(Slice, MovesEveryHandleOfOneClientId) {
    CKZStatGenClient first(&generator, 5);
    CKZStatGenClient second(&generator, 5);
    first.AddLast("n", 1, Types::Counter);
    second.AddLast("n", 10, Types::Counter);
    CKZStatGenSlice& finished = *Peer::CurrentSlice(generator);
    clock.Set(110.0);
    finished.ReleaseDicts();
    EXPECT_EQ(finished.GetCountZ0(), 0);
    EXPECT_EQ(Peer::SliceOf(*Peer::DictionaryOf(first)), Peer::CurrentSlice(generator));
    EXPECT_EQ(Peer::SliceOf(*Peer::DictionaryOf(second)), Peer::CurrentSlice(generator));
}

TEST_F(Slice, HasNobodyToMoveOnceItsClientsAreDestroyed) {
    CKZStatGenSlice& current = *Peer::CurrentSlice(generator);
    { CKZStatGenClient(&generator, 5).AddLast("n", 1, Types::Counter); }
    EXPECT_EQ(current.GetCountZ0(), 1);
    current.ReleaseDicts();
    EXPECT_EQ(current.GetCountZ0(), 1);
}

TEST_F(Slice, CountsAClientThatIsMadeAnewWithinTheSlice) {
    { CKZStatGenClient(&generator, 5).AddLast("n", 1, Types::Counter); }
    { CKZStatGenClient(&generator, 5).AddLast("n", 10, Types::Counter); }
    CKZStatGenClient(&generator, 5).AddLast("n", 100, Types::Counter);
    total.AddDictionarysSlice(Peer::CurrentSlice(generator));
    EXPECT_EQ(Find(total, 5)->GetSum("n"), 111);
}

}  // namespace

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>

#include "kzstatgenmeasurementdictionary.h"
#include "kzstatisticsgenerator.h"
#include "rw/hashdict.h"
#include "ryp/collectablestring.h"
#include "ryp/testclock.h"
#include "support/recordinggenerator.h"

// Names and measurements lie in the dictionary's own memory. Whoever uses it as the collection that
// it is need not know. Leaks and double deletions show under the address sanitizer.

namespace {

using Dictionary = CKZStatGenMeasurementDictionary;
using Types = CKZStatPointTypeEnum;

/// Counts how many of its kind are there.
class CountedMeasurement : public CKZStatGenMeasurement {
public:
    explicit CountedMeasurement(int& alive) : CKZStatGenMeasurement(Types::Timer), m_alive(alive) {
        ++m_alive;
    }
    ~CountedMeasurement() override { --m_alive; }

private:
    int& m_alive;
};

class DictionaryAsCollection : public testing::Test {
protected:
    DictionaryAsCollection() : dictionary(std::make_unique<Dictionary>()) {
        dictionary->AddLast("own", 1, Types::Timer);
    }
    void InsertForeign(const char* name) {
        dictionary->insertKeyAndValue(new CKZCollectableString(name, true),
                                      new CountedMeasurement(alive));
    }

    int alive = 0;
    std::unique_ptr<Dictionary> dictionary;
};

TEST_F(DictionaryAsCollection, DeletesWhatOthersPutIn) {
    InsertForeign("foreign");
    EXPECT_EQ(alive, 1);
    dictionary.reset();
    EXPECT_EQ(alive, 0);
}

TEST_F(DictionaryAsCollection, AggregatesIntoWhatOthersPutIn) {
    InsertForeign("foreign");
    dictionary->AddLast("foreign", 5, Types::Timer);
    EXPECT_EQ(dictionary->GetSum("foreign"), 5);
    EXPECT_EQ(dictionary->entries(), 2U);
}

TEST_F(DictionaryAsCollection, LetsOthersDestroyAnEntryOfItsOwn) {
    const CKZCollectableString own("own", false);
    dictionary->removeAndDestroy(&own);
    EXPECT_EQ(dictionary->GetSum("own"), -1);
    dictionary->AddLast("own", 3, Types::Timer);
    EXPECT_EQ(dictionary->GetSum("own"), 3);
}

TEST_F(DictionaryAsCollection, LetsOthersTakeOutAnEntryOfItsOwnAndDeleteIt) {
    const CKZCollectableString own("own", false);
    CKZStatGenMeasurement* const measurement = dictionary->GetMeasurement("own");
    delete dictionary->remove(&own);
    delete measurement;
    EXPECT_TRUE(dictionary->isEmpty());
}

TEST_F(DictionaryAsCollection, LetsOthersDestroyAllEntries) {
    InsertForeign("foreign");
    dictionary->clearAndDestroy();
    EXPECT_EQ(alive, 0);
    EXPECT_TRUE(dictionary->isEmpty());
    dictionary->AddLast("own", 2, Types::Timer);
    EXPECT_EQ(dictionary->GetSum("own"), 2);
}

TEST_F(DictionaryAsCollection, GivesANameThatOthersPutInWithoutAMeasurementOneOfItsOwn) {
    dictionary->insertKeyAndValue(new CKZCollectableString("bare", true), nullptr);
    EXPECT_EQ(dictionary->GetSum("bare"), -1);
    dictionary->AddLast("bare", 4, Types::Timer);
    EXPECT_EQ(dictionary->GetSum("bare"), 4);
}

TEST_F(DictionaryAsCollection, AddsToTheOneMeasurementThatANameOfOthersWasGiven) {
    dictionary->insertKeyAndValue(new CKZCollectableString("bare", true), nullptr);
    Dictionary source;
    source.AddLast("bare", 4, Types::Timer);
    dictionary->AddValuesOfDict(&source, AddFromSlice);
    dictionary->AddValuesOfDict(&source, AddFromSlice);
    EXPECT_EQ(dictionary->entries(), 3U);  // the two and one that was there before
    EXPECT_EQ(dictionary->GetSum("bare"), 8);
}

/// Cached values expect their names where they were when the values came.
class DictionaryOfASlice : public testing::Test {
protected:
    DictionaryOfASlice() {
        generator.Start(100.0, 10.0);
        client = std::make_unique<CKZStatGenClient>(&generator, 1);
        Report({"a", "b", "c", "d"});
        client->FlushStatsCache();
        dictionary = client->GetNewDictionary();
        Report({"a", "b", "c", "d"});
        client->FlushStatsCache();
    }
    /// One value per name.
    void Report(std::initializer_list<const char*> names) {
        for (const char* const name : names) client->AddLast(name, 1, Types::Timer);
    }

    RyPTestClock clock{100.0};
    RecordingGenerator generator;
    std::unique_ptr<CKZStatGenClient> client;
    Dictionary* dictionary = nullptr;
};

TEST_F(DictionaryOfASlice, FindsItsNamesWhereverOthersMovedThem) {
    Report({"a", "b", "c", "d", "d", "d", "d"});
    const CKZCollectableString first("a", false);
    dictionary->removeAndDestroy(&first);
    client->FlushStatsCache();
    EXPECT_EQ(dictionary->GetCount("a"), 1);
    EXPECT_EQ(dictionary->GetCount("b"), 2);
    EXPECT_EQ(dictionary->GetCount("d"), 5);

    Report({"a", "b", "c", "d", "d", "d", "d"});
    dictionary->clearAndDestroy();
    client->FlushStatsCache();
    EXPECT_EQ(dictionary->GetCount("a"), 1);
    EXPECT_EQ(dictionary->GetCount("d"), 4);
}

TEST_F(DictionaryOfASlice, AddsToMeasurementsThatOthersPutIn) {
    Report({"a", "b", "foreign"});
    dictionary->insertKeyAndValue(new CKZCollectableString("foreign", true),
                                  new CKZStatGenMeasurement(Types::Timer));
    client->FlushStatsCache();
    Report({"foreign", "a", "foreign", "b", "foreign", "c", "foreign", "d"});
    client->FlushStatsCache();
    EXPECT_EQ(dictionary->GetCount("a"), 3);
    EXPECT_EQ(dictionary->GetCount("d"), 2);
    EXPECT_EQ(dictionary->GetCount("foreign"), 5);
}

TEST_F(DictionaryOfASlice, AddsToMeasurementsThatOthersPutInPlaceOfItsOwn) {
    Report({"a", "b", "c", "d", "a", "a", "a", "a"});
    dictionary->applyToKeyAndValue([](RWCollectable*, RWCollectable*& value,
                                      void*) { value = new CKZStatGenMeasurement(Types::Timer); },
                                   nullptr);
    client->FlushStatsCache();
    EXPECT_EQ(dictionary->GetCount("a"), 5);
    EXPECT_EQ(dictionary->GetCount("b"), 1);
    EXPECT_EQ(dictionary->entries(), 4U);
}

}  // namespace

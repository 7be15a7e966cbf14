#include <gtest/gtest.h>

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

/// Cached values expect their names where they were when the values came.
TEST(DictionaryOfASlice, FindsItsNamesWhereverOthersMovedThem) {
    RyPTestClock clock{100.0};
    RecordingGenerator generator;
    generator.Start(100.0, 10.0);
    CKZStatGenClient client(&generator, 1);
    for (const char* const name : {"a", "b", "c", "d"}) client.AddLast(name, 1, Types::Timer);
    client.FlushStatsCache();
    Dictionary* const dictionary = client.GetNewDictionary();
    for (const char* const name : {"a", "b", "c", "d"}) client.AddLast(name, 1, Types::Timer);
    client.FlushStatsCache();

    for (const char* const name : {"a", "b", "c", "d", "d", "d", "d"})
        client.AddLast(name, 1, Types::Timer);
    const CKZCollectableString first("a", false);
    dictionary->removeAndDestroy(&first);
    client.FlushStatsCache();
    EXPECT_EQ(dictionary->GetCount("a"), 1);
    EXPECT_EQ(dictionary->GetCount("b"), 2);
    EXPECT_EQ(dictionary->GetCount("d"), 5);

    for (const char* const name : {"a", "b", "c", "d", "d", "d", "d"})
        client.AddLast(name, 1, Types::Timer);
    dictionary->clearAndDestroy();
    client.FlushStatsCache();
    EXPECT_EQ(dictionary->GetCount("a"), 1);
    EXPECT_EQ(dictionary->GetCount("d"), 4);
}

}  // namespace

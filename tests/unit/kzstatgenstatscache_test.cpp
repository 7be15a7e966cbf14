#include "kzstatgenstatscache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using Cache = CKZStatGenStatsCache;
using Types = CKZStatPointTypeEnum;
using testing::ElementsAre;
using testing::IsEmpty;

class StatsCache : public testing::Test {
protected:
    void Add(const std::string& name, double value = 0) {
        cache.Add(Cache::Name(name.c_str()), value, Types::Timer);
    }
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        Cache::Reader next(cache);
        for (int i = 0; i < cache.Count(); ++i) names.emplace_back(next().name.text);
        return names;
    }

    Cache cache;
};

TEST_F(StatsCache, IsEmptyAtFirst) {
    EXPECT_EQ(cache.Count(), 0);
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(StatsCache, GivesBackWhatWasAdded) {
    cache.Add(Cache::Name("login"), 7.5, Types::Counter);
    const Cache::Value value = Cache::Reader(cache)();
    EXPECT_EQ(value.name.text, "login");
    EXPECT_EQ(value.value, 7.5);
    EXPECT_EQ(value.type, Types::Counter);
}

TEST_F(StatsCache, KeepsTheOrderOfArrival) {
    Add("c");
    Add("");
    Add("a name that is longer than three words");
    Add("c");
    EXPECT_THAT(Names(), ElementsAre("c", "", "a name that is longer than three words", "c"));
}

TEST_F(StatsCache, KnowsTheHashOfEveryName) {
    Add("one");
    Add("two");
    EXPECT_EQ(cache.PlaceAt(0).hash, RyPTextHash::Of("one"));
    EXPECT_EQ(cache.PlaceAt(1).hash, RyPTextHash::Of("two"));
}

TEST_F(StatsCache, KeepsACopyOfTheName) {
    std::string name = "before";
    Add(name);
    name = "after!";
    EXPECT_THAT(Names(), ElementsAre("before"));
}

TEST_F(StatsCache, TakesItsFillOfTheLongestNames) {
    const std::string longest(Cache::kMaxNameBytes, 'n');
    for (int i = 0; i < Cache::kCapacity; ++i) Add(longest + "cut off", i);
    EXPECT_EQ(Names(), std::vector<std::string>(Cache::kCapacity, longest));
}

TEST_F(StatsCache, HasNoMemoryUntilAValueComes) {
    EXPECT_EQ(cache.Capacity(), 0u);
    Add("login");
    EXPECT_GT(cache.Capacity(), 0u);
}

TEST_F(StatsCache, TakesLittleMemoryForShortNames) {
    for (int i = 0; i < Cache::kCapacity; ++i) Add("some/login/page");
    EXPECT_LE(cache.Capacity(), 1024u);
}

TEST_F(StatsCache, NeedsNoFurtherMemoryForWhatAnotherHadRoomFor) {
    Cache another;
    const std::string name(100, 'n');
    for (int i = 0; i < 7; ++i) another.Add(Cache::Name(name.c_str()), i, Types::Timer);
    cache.Reserve(another.Capacity());
    for (int i = 0; i < 7; ++i) Add(name);
    EXPECT_EQ(cache.Capacity(), another.Capacity());
}

TEST_F(StatsCache, KeepsItsValuesWhereRoomIsMade) {
    Add("one");
    Add("two");
    cache.Reserve(5000);
    EXPECT_THAT(Names(), ElementsAre("one", "two"));
}

TEST_F(StatsCache, DropsTheOldest) {
    for (const char* const name : {"one", "three", "a name of some length", "four"}) Add(name);
    cache.DropFirst(2);
    EXPECT_THAT(Names(), ElementsAre("a name of some length", "four"));
    EXPECT_EQ(cache.PlaceAt(0).hash, RyPTextHash::Of("a name of some length"));
    Add("five");
    EXPECT_THAT(Names(), ElementsAre("a name of some length", "four", "five"));
}

TEST_F(StatsCache, DropsTheNewestAfterOlderOnesToo) {
    for (const char* const name : {"one", "two", "a name of some length"}) Add(name);
    cache.DropFirst(1);
    cache.DropLast();
    EXPECT_THAT(Names(), ElementsAre("two"));
    Add("next");
    EXPECT_THAT(Names(), ElementsAre("two", "next"));
}

TEST_F(StatsCache, IsEmptyOnceCleared) {
    Add("one");
    cache.Clear();
    EXPECT_EQ(cache.Count(), 0);
    Add("two");
    EXPECT_THAT(Names(), ElementsAre("two"));
}

}  // namespace

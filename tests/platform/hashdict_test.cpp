#include "rw/hashdict.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "rw/collint.h"
#include "ryp/collectablestring.h"

namespace {

/// Counts how many of its kind are alive.
class Counted : public RWCollectableInt {
public:
    static inline int s_alive = 0;

    explicit Counted(int number) : RWCollectableInt(number) { ++s_alive; }
    ~Counted() override { --s_alive; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
};

/// A key whose hash the test chooses.
class KeyWithHash : public RWCollectableInt {
public:
    KeyWithHash(int number, unsigned hash) : RWCollectableInt(number), m_hash(hash) {}
    unsigned hash() const override { return m_hash; }

private:
    unsigned m_hash;
};

/// Counts how often keys are compared.
class ComparisonCounter : public RWCollectableInt {
public:
    static inline int s_comparisons = 0;

    using RWCollectableInt::RWCollectableInt;
    bool isEqual(const RWCollectable* other) const override {
        ++s_comparisons;
        return RWCollectableInt::isEqual(other);
    }
};

int NumberOf(const RWCollectable* object) {
    return static_cast<const RWCollectableInt*>(object)->value();
}

/// Owns numbers with addresses that stay.
class Numbers {
public:
    RWCollectableInt* operator()(int number) { return &m_numbers.emplace_back(number); }

private:
    std::deque<RWCollectableInt> m_numbers;
};

void Fill(RWHashDictionary& dictionary, Numbers& numbers, int count) {
    for (int i = 0; i < count; ++i) dictionary.insertKeyAndValue(numbers(i), numbers(1000 + i));
}

std::vector<int> KeysInOrder(const RWHashDictionary& dictionary) {
    std::vector<int> keys;
    RWHashDictionaryIterator next(dictionary);
    while (const RWCollectable* const key = next()) keys.push_back(NumberOf(key));
    return keys;
}

TEST(HashDictionary, IsEmptyAtFirst) {
    const RWHashDictionary dictionary;
    const RWCollectableInt key(1);
    EXPECT_TRUE(dictionary.isEmpty());
    EXPECT_EQ(dictionary.entries(), 0U);
    EXPECT_EQ(dictionary.findValue(&key), nullptr);
}

TEST(HashDictionary, ReturnsTheInsertedKey) {
    RWHashDictionary dictionary;
    RWCollectableInt key(1);
    RWCollectableInt value(10);
    EXPECT_EQ(dictionary.insertKeyAndValue(&key, &value), &key);
    EXPECT_EQ(dictionary.entries(), 1U);
    EXPECT_FALSE(dictionary.isEmpty());
}

TEST(HashDictionary, RefusesAnEqualKeyAndStaysAsItWas) {
    RWHashDictionary dictionary;
    RWCollectableInt key(1);
    RWCollectableInt value(10);
    RWCollectableInt equalKey(1);
    RWCollectableInt otherValue(20);
    dictionary.insertKeyAndValue(&key, &value);
    EXPECT_EQ(dictionary.insertKeyAndValue(&equalKey, &otherValue), nullptr);
    RWCollectable* found = nullptr;
    EXPECT_EQ(dictionary.findKeyAndValue(&equalKey, found), &key);
    EXPECT_EQ(found, &value);
    EXPECT_EQ(dictionary.entries(), 1U);
}

TEST(HashDictionary, FindsTheValueUnderAnEqualKey) {
    RWHashDictionary dictionary;
    Numbers numbers;
    Fill(dictionary, numbers, 3);
    const RWCollectableInt wanted(2);
    const RWCollectableInt unknown(3);
    EXPECT_EQ(NumberOf(dictionary.findValue(&wanted)), 1002);
    EXPECT_EQ(dictionary.findValue(&unknown), nullptr);
}

TEST(HashDictionary, FindsKeyAndValueTogether) {
    RWHashDictionary dictionary;
    RWCollectableInt key(1);
    RWCollectableInt value(10);
    const RWCollectableInt wanted(1);
    dictionary.insertKeyAndValue(&key, &value);
    RWCollectable* found = nullptr;
    EXPECT_EQ(dictionary.findKeyAndValue(&wanted, found), &key);
    EXPECT_EQ(found, &value);
}

TEST(HashDictionary, LeavesTheValueAloneOnAMiss) {
    RWHashDictionary dictionary;
    Numbers numbers;
    const RWCollectableInt unknown(99);
    RWCollectable* const before = numbers(5);
    RWCollectable* value = before;
    EXPECT_EQ(dictionary.findKeyAndValue(&unknown, value), nullptr);
    EXPECT_EQ(value, before);
    Fill(dictionary, numbers, 3);
    EXPECT_EQ(dictionary.findKeyAndValue(&unknown, value), nullptr);
    EXPECT_EQ(value, before);
}

TEST(HashDictionary, TellsANullValueFromNone) {
    RWHashDictionary dictionary;
    RWCollectableInt key(1);
    EXPECT_EQ(dictionary.insertKeyAndValue(&key, nullptr), &key);
    RWCollectableInt something(5);
    RWCollectable* value = &something;
    EXPECT_EQ(dictionary.findKeyAndValue(&key, value), &key);
    EXPECT_EQ(value, nullptr);
}

TEST(HashDictionary, WorksWithTextsAsKeys) {
    RWHashDictionary dictionary;
    CKZCollectableString key("name", true);
    RWCollectableInt value(10);
    dictionary.insertKeyAndValue(&key, &value);
    const CKZCollectableString borrowed("name", false);
    const CKZCollectableString unknown("nam", false);
    EXPECT_EQ(dictionary.findValue(&borrowed), &value);
    EXPECT_EQ(dictionary.findValue(&unknown), nullptr);
}

TEST(HashDictionary, TakesAPairOutWithoutDeletingIt) {
    RWHashDictionary dictionary;
    Counted key(1);
    Counted value(10);
    dictionary.insertKeyAndValue(&key, &value);
    const RWCollectableInt wanted(1);
    EXPECT_EQ(dictionary.remove(&wanted), &key);
    EXPECT_EQ(Counted::s_alive, 2);
    EXPECT_TRUE(dictionary.isEmpty());
    EXPECT_EQ(dictionary.findValue(&wanted), nullptr);
}

TEST(HashDictionary, ReturnsNullWhenThereIsNothingToRemove) {
    RWHashDictionary dictionary;
    Numbers numbers;
    const RWCollectableInt unknown(99);
    EXPECT_EQ(dictionary.remove(&unknown), nullptr);
    Fill(dictionary, numbers, 3);
    EXPECT_EQ(dictionary.remove(&unknown), nullptr);
    EXPECT_EQ(dictionary.entries(), 3U);
}

TEST(HashDictionary, TakesAKeyAgainAfterItsRemoval) {
    RWHashDictionary dictionary;
    Numbers numbers;
    Fill(dictionary, numbers, 3);
    RWCollectableInt again(1);
    RWCollectableInt value(77);
    dictionary.remove(&again);
    EXPECT_EQ(dictionary.insertKeyAndValue(&again, &value), &again);
    EXPECT_EQ(dictionary.findValue(&again), &value);
}

TEST(HashDictionary, DeletesKeyAndValueOnRemoveAndDestroy) {
    RWHashDictionary dictionary;
    Counted* const kept = new Counted(2);
    dictionary.insertKeyAndValue(new Counted(1), new Counted(10));
    dictionary.insertKeyAndValue(kept, new Counted(20));
    const RWCollectableInt wanted(1);
    dictionary.removeAndDestroy(&wanted);
    EXPECT_EQ(Counted::s_alive, 2);
    EXPECT_EQ(dictionary.entries(), 1U);
    dictionary.removeAndDestroy(kept);  // by the very key that goes with it
    EXPECT_EQ(Counted::s_alive, 0);
    EXPECT_TRUE(dictionary.isEmpty());
}

TEST(HashDictionary, DeletesTheKeyOfANullValueOnRemoveAndDestroy) {
    RWHashDictionary dictionary;
    Counted* const key = new Counted(1);
    dictionary.insertKeyAndValue(key, nullptr);
    dictionary.removeAndDestroy(key);
    EXPECT_EQ(Counted::s_alive, 0);
    EXPECT_TRUE(dictionary.isEmpty());
}

TEST(HashDictionary, IgnoresAnUnknownKeyOnRemoveAndDestroy) {
    RWHashDictionary dictionary;
    Counted key(1);
    Counted value(10);
    dictionary.insertKeyAndValue(&key, &value);
    const RWCollectableInt unknown(99);
    dictionary.removeAndDestroy(&unknown);
    EXPECT_EQ(dictionary.entries(), 1U);
    EXPECT_EQ(Counted::s_alive, 2);
}

TEST(HashDictionary, ClearsWithoutDeleting) {
    RWHashDictionary dictionary;
    Counted key(1);
    Counted value(10);
    dictionary.insertKeyAndValue(&key, &value);
    dictionary.clear();
    EXPECT_TRUE(dictionary.isEmpty());
    EXPECT_EQ(dictionary.findValue(&key), nullptr);
    EXPECT_EQ(Counted::s_alive, 2);
}

TEST(HashDictionary, DeletesEverythingOnClearAndDestroy) {
    RWHashDictionary dictionary;
    for (int i = 0; i < 200; ++i)
        dictionary.insertKeyAndValue(new Counted(i), i % 2 == 0 ? new Counted(i) : nullptr);
    EXPECT_EQ(Counted::s_alive, 300);
    dictionary.clearAndDestroy();
    EXPECT_TRUE(dictionary.isEmpty());
    EXPECT_EQ(Counted::s_alive, 0);
}

TEST(HashDictionary, DeletesNoContentsWhenDestroyed) {
    Counted key(1);
    Counted value(10);
    auto dictionary = std::make_unique<RWHashDictionary>();
    dictionary->insertKeyAndValue(&key, &value);
    dictionary.reset();
    EXPECT_EQ(Counted::s_alive, 2);
}

TEST(HashDictionary, IsUsableAfterBeingCleared) {
    RWHashDictionary dictionary(1);
    Numbers numbers;
    Fill(dictionary, numbers, 100);
    dictionary.clear();
    Fill(dictionary, numbers, 100);
    const RWCollectableInt wanted(99);
    EXPECT_EQ(NumberOf(dictionary.findValue(&wanted)), 1099);
    dictionary.clear();
    dictionary.clear();
    EXPECT_EQ(dictionary.remove(&wanted), nullptr);
}

TEST(HashDictionary, AppliesAFunctionToEachPairInOrder) {
    RWHashDictionary dictionary;
    Numbers numbers;
    Fill(dictionary, numbers, 3);
    std::vector<std::pair<int, int>> seen;
    dictionary.applyToKeyAndValue(
        [](RWCollectable* key, RWCollectable*& value, void* context) {
            static_cast<std::vector<std::pair<int, int>>*>(context)->emplace_back(NumberOf(key),
                                                                                  NumberOf(value));
        },
        &seen);
    EXPECT_EQ(seen, (std::vector<std::pair<int, int>>{{0, 1000}, {1, 1001}, {2, 1002}}));
}

TEST(HashDictionary, KeepsValuesThatAnAppliedFunctionReplaced) {
    RWHashDictionary dictionary;
    Numbers numbers;
    Fill(dictionary, numbers, 3);
    RWCollectableInt replacement(5);
    dictionary.applyToKeyAndValue(
        [](RWCollectable* key, RWCollectable*& value, void* context) {
            if (NumberOf(key) == 1) value = static_cast<RWCollectableInt*>(context);
        },
        &replacement);
    const RWCollectableInt first(0);
    const RWCollectableInt second(1);
    EXPECT_EQ(NumberOf(dictionary.findValue(&first)), 1000);
    EXPECT_EQ(dictionary.findValue(&second), &replacement);
}

TEST(HashDictionary, AppliesNothingWhenEmpty) {
    RWHashDictionary dictionary;
    int calls = 0;
    dictionary.applyToKeyAndValue(
        [](RWCollectable*, RWCollectable*&, void* context) { ++*static_cast<int*>(context); },
        &calls);
    EXPECT_EQ(calls, 0);
}

TEST(HashDictionary, IsVisitedInTheOrderOfInsertion) {
    RWHashDictionary dictionary(2);
    Numbers numbers;
    for (const int number : {5, 3, 9, -1, 7, 0})
        dictionary.insertKeyAndValue(numbers(number), nullptr);
    EXPECT_EQ(KeysInOrder(dictionary), (std::vector<int>{5, 3, 9, -1, 7, 0}));
}

TEST(HashDictionary, PutsTheLastEntryInThePlaceOfARemovedOne) {
    RWHashDictionary dictionary;
    Numbers numbers;
    Fill(dictionary, numbers, 6);
    const RWCollectableInt second(1);
    dictionary.remove(&second);
    EXPECT_EQ(KeysInOrder(dictionary), (std::vector<int>{0, 5, 2, 3, 4}));
    const RWCollectableInt last(4);
    dictionary.remove(&last);
    EXPECT_EQ(KeysInOrder(dictionary), (std::vector<int>{0, 5, 2, 3}));
}

TEST(HashDictionary, KeepsEveryEntryWhileItGrows) {
    RWHashDictionary dictionary;
    Numbers numbers;
    Fill(dictionary, numbers, 10000);
    EXPECT_EQ(dictionary.entries(), 10000U);
    for (int i = 0; i < 10000; ++i) {
        const RWCollectableInt wanted(i);
        const RWCollectable* const value = dictionary.findValue(&wanted);
        ASSERT_NE(value, nullptr) << i;
        ASSERT_EQ(NumberOf(value), 1000 + i);
    }
    const std::vector<int> keys = KeysInOrder(dictionary);
    EXPECT_EQ(keys.size(), 10000U);
    EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end()));
}

double ComparisonsPerLookUp(int entries) {
    RWHashDictionary dictionary;
    std::deque<ComparisonCounter> keys;
    for (int i = 0; i < entries; ++i)
        dictionary.insertKeyAndValue(&keys.emplace_back(i * 4), nullptr);
    ComparisonCounter::s_comparisons = 0;
    for (int i = 0; i < entries; ++i) {
        const ComparisonCounter present(i * 4);
        const ComparisonCounter absent(i * 4 + 1);
        dictionary.findValue(&present);
        dictionary.findValue(&absent);
    }
    return ComparisonCounter::s_comparisons / (2.0 * entries);
}

TEST(HashDictionary, ComparesAsFewKeysAmongManyEntriesAsAmongFew) {
    EXPECT_LT(ComparisonsPerLookUp(50), 2.0);
    EXPECT_LT(ComparisonsPerLookUp(10000), 2.0);
}

TEST(HashDictionary, OutgrowsASingleBucket) {
    // Chained in one bucket, this many entries would take hours.
    constexpr int kCount = 500000;
    RWHashDictionary dictionary(1);
    Numbers numbers;
    for (int i = 0; i < kCount; ++i) dictionary.insertKeyAndValue(numbers(i), nullptr);
    int found = 0;
    for (int i = 0; i < kCount; ++i) {
        const RWCollectableInt wanted(i);
        RWCollectable* value = nullptr;
        if (dictionary.findKeyAndValue(&wanted, value) != nullptr) ++found;
    }
    EXPECT_EQ(found, kCount);
}

class HashDictionaryBuckets : public testing::TestWithParam<std::size_t> {};

TEST_P(HashDictionaryBuckets, WorkForAnyNumberOfEntries) {
    RWHashDictionary dictionary(GetParam());
    Numbers numbers;
    Fill(dictionary, numbers, 300);
    for (int i = 0; i < 300; i += 2) {
        const RWCollectableInt even(i);
        EXPECT_NE(dictionary.remove(&even), nullptr) << i;
    }
    for (int i = 0; i < 300; ++i) {
        const RWCollectableInt wanted(i);
        EXPECT_EQ(dictionary.findValue(&wanted) != nullptr, i % 2 == 1) << i;
    }
    EXPECT_EQ(dictionary.entries(), 150U);
}

INSTANTIATE_TEST_SUITE_P(Sizes, HashDictionaryBuckets,
                         testing::Values(0U, 1U, 2U, 3U, 64U, 1000U, 65537U));

/// Keys that all fall into one chain.
class HashDictionaryCollisions : public testing::TestWithParam<int> {
protected:
    HashDictionaryCollisions() {
        for (int i = 0; i < kCount; ++i) {
            m_keys.emplace_back(i, 42U);
            m_dictionary.insertKeyAndValue(&m_keys.back(), &m_keys.back());
        }
    }

    static constexpr int kCount = 9;
    std::deque<KeyWithHash> m_keys;
    RWHashDictionary m_dictionary{1};
};

TEST_P(HashDictionaryCollisions, LoseOnlyTheRemovedKey) {
    const KeyWithHash gone(GetParam(), 42U);
    EXPECT_EQ(NumberOf(m_dictionary.remove(&gone)), GetParam());
    for (int i = 0; i < kCount; ++i) {
        const KeyWithHash wanted(i, 42U);
        EXPECT_EQ(m_dictionary.findValue(&wanted) != nullptr, i != GetParam()) << i;
    }
}

TEST_P(HashDictionaryCollisions, AreAllRemovedStartingAnywhere) {
    for (int i = 0; i < kCount; ++i) {
        const KeyWithHash wanted((GetParam() + i) % kCount, 42U);
        EXPECT_EQ(m_dictionary.remove(&wanted), &m_keys[static_cast<std::size_t>(wanted.value())]);
    }
    EXPECT_TRUE(m_dictionary.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(FirstToLast, HashDictionaryCollisions, testing::Range(0, 9));

TEST(HashDictionary, TellsKeysWithEqualHashesApart) {
    RWHashDictionary dictionary;
    KeyWithHash first(1, 7U);
    KeyWithHash second(2, 7U);
    EXPECT_EQ(dictionary.insertKeyAndValue(&first, &second), &first);
    EXPECT_EQ(dictionary.insertKeyAndValue(&second, &first), &second);
    EXPECT_EQ(dictionary.findValue(&first), &second);
    EXPECT_EQ(dictionary.findValue(&second), &first);
}

TEST(HashDictionary, BehavesLikeAMapUnderRandomOperations) {
    std::mt19937 random(4711);
    Numbers numbers;
    RWHashDictionary dictionary(4);
    std::map<int, const RWCollectable*> expected;
    for (int step = 0; step < 20000; ++step) {
        RWCollectableInt* const key = numbers(static_cast<int>(random() % 500));
        if (random() % 2 == 0) {
            const bool inserted = expected.emplace(key->value(), key).second;
            ASSERT_EQ(dictionary.insertKeyAndValue(key, key) != nullptr, inserted) << step;
        } else {
            const auto found = expected.find(key->value());
            const RWCollectable* const present = found == expected.end() ? nullptr : found->second;
            ASSERT_EQ(dictionary.findValue(key), present) << step;
            ASSERT_EQ(dictionary.remove(key), present) << step;
            expected.erase(key->value());
        }
        ASSERT_EQ(dictionary.entries(), expected.size()) << step;
    }
    std::vector<int> keys = KeysInOrder(dictionary);
    std::sort(keys.begin(), keys.end());
    std::vector<int> expectedKeys;
    for (const auto& [number, key] : expected) expectedKeys.push_back(number);
    EXPECT_EQ(keys, expectedKeys);
}

TEST(HashDictionary, IsReadByTwoThreadsAtOnce) {
    RWHashDictionary dictionary;
    Numbers numbers;
    Fill(dictionary, numbers, 200);
    const auto read = [&dictionary](std::size_t& found) {
        for (int i = 0; i < 400; ++i) {
            const RWCollectableInt wanted(i);
            if (dictionary.findValue(&wanted) != nullptr) ++found;
        }
        found += KeysInOrder(dictionary).size() + dictionary.entries();
    };
    std::size_t found[2] = {0, 0};
    std::thread other([&] { read(found[0]); });
    read(found[1]);
    other.join();
    EXPECT_EQ(found[0], 600U);
    EXPECT_EQ(found[1], 600U);
}

/// Shows a derived class's view of what others do with the dictionary.
class Watched : public RWHashDictionary {
public:
    using RWHashDictionary::ForgetChange;

    Watched() { Fill(*this, m_numbers, 3); }

    /// Whether `operation` is noted as a change.
    template <class Operation>
    bool IsChangedBy(const Operation& operation) {
        ForgetChange();
        operation(*this);
        return IsNotedAsChanged();
    }

    RWCollectableInt* Make(int number) { return m_numbers(number); }

private:
    Numbers m_numbers;
};

TEST(HashDictionary, NotesEveryOperationThatChangesIt) {
    const RWCollectableInt one(1);
    Watched watched;
    EXPECT_TRUE(
        watched.IsChangedBy([](Watched& w) { w.insertKeyAndValue(w.Make(7), w.Make(1007)); }));
    EXPECT_TRUE(watched.IsChangedBy([&](Watched& w) { w.remove(&one); }));
    EXPECT_TRUE(watched.IsChangedBy([](Watched& w) {
        w.applyToKeyAndValue([](RWCollectable*, RWCollectable*& value, void*) { value = nullptr; },
                             nullptr);
    }));
    EXPECT_TRUE(watched.IsChangedBy([](Watched& w) { w.clear(); }));
    EXPECT_TRUE(watched.IsChangedBy([](Watched& w) {
        w.insertKeyAndValue(new RWCollectableInt(2), new RWCollectableInt(3));
        const RWCollectableInt two(2);
        w.ForgetChange();
        w.removeAndDestroy(&two);
    }));
    EXPECT_TRUE(watched.IsChangedBy([](Watched& w) { w.clearAndDestroy(); }));
}

TEST(HashDictionary, NotesNoChangeWhereThereIsNone) {
    const RWCollectableInt unknown(7);
    Watched watched;
    EXPECT_FALSE(watched.IsChangedBy([&](Watched& w) {
        w.remove(&unknown);
        w.removeAndDestroy(&unknown);
        EXPECT_EQ(w.insertKeyAndValue(w.Make(1), w.Make(1)), nullptr);
        w.applyToKeyAndValue([](RWCollectable*, RWCollectable*&, void*) {}, nullptr);
        KeysInOrder(w);
    }));
}

/// Filled by itself, so that nobody else has had one of its values.
class Discreet : public RWHashDictionary {
public:
    Discreet() { InsertNew(&m_key, &m_value, m_key.hash()); }

    /// Whether somebody has a value in hand after `operation`.
    template <class Operation>
    static bool HandsOutBy(const Operation& operation) {
        Discreet dictionary;
        EXPECT_FALSE(dictionary.HasHandedOut());
        operation(dictionary);
        return dictionary.HasHandedOut();
    }

private:
    RWCollectableInt m_key{1};
    RWCollectableInt m_value{1001};
};

TEST(HashDictionary, RemembersThatItHandedOutAValue) {
    static const RWCollectableInt one(1);
    static RWCollectableInt two(2);
    EXPECT_TRUE(Discreet::HandsOutBy([](Discreet& d) { d.findValue(&one); }));
    EXPECT_TRUE(Discreet::HandsOutBy([](Discreet& d) {
        RWCollectable* value = nullptr;
        d.findKeyAndValue(&one, value);
    }));
    EXPECT_TRUE(Discreet::HandsOutBy([](Discreet& d) {
        RWHashDictionaryIterator next(d);
        next();
        next.value();
    }));
    EXPECT_TRUE(Discreet::HandsOutBy([](Discreet& d) {
        d.applyToKeyAndValue([](RWCollectable*, RWCollectable*&, void*) {}, nullptr);
    }));
    EXPECT_TRUE(Discreet::HandsOutBy([](Discreet& d) { d.insertKeyAndValue(&two, &two); }));
}

TEST(HashDictionary, HandsOutNothingByItsKeys) {
    static const RWCollectableInt one(1);
    static const RWCollectableInt unknown(7);
    EXPECT_FALSE(Discreet::HandsOutBy([](Discreet& d) {
        KeysInOrder(d);
        d.findValue(&unknown);
        d.entries();
        d.remove(&one);
    }));
}

TEST(HashDictionary, CountsAsACollectableByIdentity) {
    const RWHashDictionary dictionary;
    const RWHashDictionary other;
    EXPECT_TRUE(dictionary.isEqual(&dictionary));
    EXPECT_FALSE(dictionary.isEqual(&other));
}

TEST(HashDictionaryIterator, StandsBeforeTheFirstEntryAtFirst) {
    RWHashDictionary dictionary;
    Numbers numbers;
    Fill(dictionary, numbers, 2);
    const RWHashDictionaryIterator iterator(dictionary);
    EXPECT_EQ(iterator.key(), nullptr);
    EXPECT_EQ(iterator.value(), nullptr);
}

TEST(HashDictionaryIterator, ReturnsTheKeyItAdvancedTo) {
    RWHashDictionary dictionary;
    Numbers numbers;
    Fill(dictionary, numbers, 2);
    RWHashDictionaryIterator iterator(dictionary);
    for (int i = 0; i < 2; ++i) {
        const RWCollectable* const key = iterator();
        ASSERT_NE(key, nullptr);
        EXPECT_EQ(NumberOf(key), i);
        EXPECT_EQ(iterator.key(), key);
        EXPECT_EQ(NumberOf(iterator.value()), 1000 + i);
    }
}

TEST(HashDictionaryIterator, StaysNullPastTheLastEntry) {
    RWHashDictionary dictionary;
    Numbers numbers;
    Fill(dictionary, numbers, 1);
    RWHashDictionaryIterator iterator(dictionary);
    EXPECT_NE(iterator(), nullptr);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(iterator(), nullptr);
        EXPECT_EQ(iterator.key(), nullptr);
        EXPECT_EQ(iterator.value(), nullptr);
    }
}

TEST(HashDictionaryIterator, FindsNothingInAnEmptyDictionary) {
    const RWHashDictionary dictionary;
    RWHashDictionaryIterator iterator(dictionary);
    EXPECT_EQ(iterator(), nullptr);
    EXPECT_EQ(iterator.key(), nullptr);
}

TEST(HashDictionaryIterator, StartsOverAfterReset) {
    RWHashDictionary dictionary;
    Numbers numbers;
    Fill(dictionary, numbers, 2);
    RWHashDictionaryIterator iterator(dictionary);
    while (iterator() != nullptr) {
    }
    iterator.reset();
    EXPECT_EQ(iterator.key(), nullptr);
    const RWCollectable* const first = iterator();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(NumberOf(first), 0);
}

TEST(HashDictionaryIterator, SharesADictionaryWithAnotherIterator) {
    RWHashDictionary dictionary;
    Numbers numbers;
    Fill(dictionary, numbers, 3);
    RWHashDictionaryIterator ahead(dictionary);
    RWHashDictionaryIterator behind(dictionary);
    ahead();
    ahead();
    behind();
    EXPECT_EQ(NumberOf(ahead.key()), 1);
    EXPECT_EQ(NumberOf(behind.key()), 0);
}

}  // namespace

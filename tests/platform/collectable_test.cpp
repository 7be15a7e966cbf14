#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <typeinfo>

#include "rw/collect.h"
#include "rw/collint.h"
#include "ryp/collectablestring.h"
#include "support/virtual_slots.h"

namespace {

using Recorder = SlotRecorder<RWCollectable>;

#if defined(__x86_64__)

TEST(CollectableSlots, StandInTheOrderThatCompiledCallersRelyOn) {
    const RWCollectable other;
    ExpectSlotsOfACollectable<Recorder>(&other);
}

TEST(CollectableSlots, HoldTheDestructorsAtFiveAndSix) {
    ExpectDestructorSlots<Recorder>();
}

#endif  // __x86_64__

TEST(Collectable, HoldsNothingButItsTable) {
    EXPECT_EQ(sizeof(RWCollectable), sizeof(void*));
}

TEST(Collectable, CallsTheOverridesOfADerivedClass) {
    Recorder recorder;
    RWCollectable& object = recorder;
    const RWCollectable& constant = recorder;
    EXPECT_EQ(object.newSpecies(), nullptr);
    EXPECT_EQ(object.copy(), nullptr);
    EXPECT_EQ(object.isA(), 77);
    EXPECT_EQ(object.self(), &recorder);
    EXPECT_EQ(Recorder::s_ran, "self");
    EXPECT_EQ(constant.self(), &recorder);
    EXPECT_EQ(Recorder::s_ran, "self const");
    EXPECT_EQ(object.binaryStoreSize(), 5U);
    EXPECT_EQ(object.compareTo(nullptr), 3);
    EXPECT_EQ(object.hash(), 9U);
    EXPECT_TRUE(object.isEqual(nullptr));
}

TEST(Collectable, CallsTheStreamOverridesOfADerivedClass) {
    Recorder recorder;
    RWCollectable& object = recorder;
    object.restoreGuts(SomeStream<RWFile>());
    EXPECT_EQ(Recorder::s_ran, "restoreGuts file");
    object.restoreGuts(SomeStream<RWvistream>());
    EXPECT_EQ(Recorder::s_ran, "restoreGuts stream");
    object.saveGuts(SomeStream<RWFile>());
    EXPECT_EQ(Recorder::s_ran, "saveGuts file");
    object.saveGuts(SomeStream<RWvostream>());
    EXPECT_EQ(Recorder::s_ran, "saveGuts stream");
}

TEST(Collectable, DestroysADerivedObjectThroughTheBase) {
    RWCollectable* const object = new Recorder;
    Recorder::s_ran = "none";
    Recorder::s_deleted = false;
    delete object;
    EXPECT_EQ(Recorder::s_ran, "destructor");
    EXPECT_TRUE(Recorder::s_deleted);
}

TEST(Collectable, IsEqualToItselfOnly) {
    const RWCollectable object;
    const RWCollectable other;
    EXPECT_TRUE(object.isEqual(&object));
    EXPECT_FALSE(object.isEqual(&other));
    EXPECT_FALSE(object.isEqual(nullptr));
}

TEST(Collectable, ComparesByAddress) {
    const RWCollectable pair[2];
    EXPECT_EQ(pair[0].compareTo(&pair[0]), 0);
    EXPECT_LT(pair[0].compareTo(&pair[1]), 0);
    EXPECT_GT(pair[1].compareTo(&pair[0]), 0);
}

TEST(Collectable, HashesByAddress) {
    const RWCollectable pair[2];
    EXPECT_EQ(pair[0].hash(), pair[0].hash());
    EXPECT_NE(pair[0].hash(), pair[1].hash());
}

TEST(Collectable, IsItsOwnSelf) {
    RWCollectable object;
    const RWCollectable& constant = object;
    EXPECT_EQ(object.self(), &object);
    EXPECT_EQ(constant.self(), &object);
}

TEST(Collectable, AnswersWithTheCommonClassIdentifier) {
    EXPECT_EQ(RWCollectable().isA(), RWCollectable::kClassId);
    EXPECT_EQ(RWCollectableInt(5).isA(), RWCollectable::kClassId);
}

TEST(Collectable, MakesNewPlainObjects) {
    const RWCollectable object;
    const std::unique_ptr<RWCollectable> species(object.newSpecies());
    const std::unique_ptr<RWCollectable> copied(object.copy());
    ASSERT_NE(species, nullptr);
    ASSERT_NE(copied, nullptr);
    EXPECT_NE(species.get(), &object);
    EXPECT_NE(copied.get(), &object);
    EXPECT_NE(species, copied);
}

TEST(Collectable, MakesPlainObjectsForAClassThatOverridesNeither) {
    const RWCollectableInt number(5);
    const std::unique_ptr<RWCollectable> species(number.newSpecies());
    const std::unique_ptr<RWCollectable> copied(number.copy());
    const RWCollectable& speciesObject = *species;
    const RWCollectable& copiedObject = *copied;
    EXPECT_EQ(typeid(speciesObject), typeid(RWCollectable));
    EXPECT_EQ(typeid(copiedObject), typeid(RWCollectable));
}

TEST(Collectable, StoresNothing) {
    RWCollectable object;
    object.restoreGuts(SomeStream<RWFile>());
    object.restoreGuts(SomeStream<RWvistream>());
    object.saveGuts(SomeStream<RWFile>());
    object.saveGuts(SomeStream<RWvostream>());
    EXPECT_EQ(object.binaryStoreSize(), 0U);
}

TEST(CollectableInt, HoldsAValue) {
    EXPECT_EQ(RWCollectableInt().value(), 0);
    RWCollectableInt number(-7);
    EXPECT_EQ(number.value(), -7);
    EXPECT_EQ(number.value(INT_MIN), INT_MIN);
    EXPECT_EQ(number.value(), INT_MIN);
}

TEST(CollectableInt, IsEqualByValue) {
    for (const int value : {0, 1, -1, INT_MAX, INT_MIN}) {
        const RWCollectableInt number(value);
        const RWCollectableInt same(value);
        const RWCollectableInt other(value ^ 1);
        EXPECT_TRUE(number.isEqual(&same)) << value;
        EXPECT_EQ(number.hash(), same.hash()) << value;
        EXPECT_EQ(number.compareTo(&same), 0) << value;
        EXPECT_FALSE(number.isEqual(&other)) << value;
    }
}

TEST(CollectableInt, ComparesByValueAcrossTheWholeRange) {
    const RWCollectableInt rising[] = {RWCollectableInt(INT_MIN), RWCollectableInt(-1),
                                       RWCollectableInt(0), RWCollectableInt(INT_MAX)};
    for (std::size_t i = 0; i < 4; ++i) {
        for (std::size_t j = i + 1; j < 4; ++j) {
            EXPECT_LT(rising[i].compareTo(&rising[j]), 0) << i << ' ' << j;
            EXPECT_GT(rising[j].compareTo(&rising[i]), 0) << i << ' ' << j;
        }
    }
}

TEST(CollectableInt, HashesDifferentValuesDifferently) {
    EXPECT_NE(RWCollectableInt(1).hash(), RWCollectableInt(2).hash());
    EXPECT_NE(RWCollectableInt(1).hash(), RWCollectableInt(-1).hash());
}

TEST(CollectableInt, FollowsAChangedValue) {
    RWCollectableInt number(1);
    const RWCollectableInt two(2);
    number.value(2);
    EXPECT_TRUE(number.isEqual(&two));
    EXPECT_EQ(number.hash(), two.hash());
}

TEST(CollectableString, CopyingKeepsATextOfItsOwn) {
    char source[] = "text";
    const CKZCollectableString string(source, true);
    source[0] = 'n';
    EXPECT_NE(string.data(), source);
    EXPECT_STREQ(string.data(), "text");
    EXPECT_EQ(string.length(), 4U);
}

TEST(CollectableString, CopyingOutlivesTheSource) {
    auto source = std::make_unique<std::string>("a text too long for a small buffer of any kind");
    const CKZCollectableString string(source->c_str(), true);
    source.reset();
    EXPECT_STREQ(string.data(), "a text too long for a small buffer of any kind");
}

TEST(CollectableString, BorrowingShowsTheLentTextItself) {
    char source[] = "text";
    const CKZCollectableString string(source, false);
    EXPECT_EQ(string.data(), source);
    source[0] = 'n';
    EXPECT_STREQ(string.data(), "next");
    const CKZCollectableString next("next", true);
    EXPECT_TRUE(string.isEqual(&next));
    EXPECT_EQ(string.hash(), next.hash());
}

TEST(CollectableString, TakesANullPointerForTheEmptyText) {
    const CKZCollectableString copied(nullptr, true);
    const CKZCollectableString borrowed(nullptr, false);
    const CKZCollectableString empty("", true);
    EXPECT_STREQ(copied.data(), "");
    EXPECT_STREQ(borrowed.data(), "");
    EXPECT_EQ(copied.length(), 0U);
    EXPECT_EQ(borrowed.length(), 0U);
    EXPECT_TRUE(copied.isEqual(&empty));
    EXPECT_TRUE(empty.isEqual(&borrowed));
    EXPECT_EQ(borrowed.hash(), empty.hash());
}

TEST(CollectableString, IsEqualByItsBytes) {
    const CKZCollectableString copied("name", true);
    const CKZCollectableString borrowed("name", false);
    const CKZCollectableString longer("names", true);
    const CKZCollectableString other("nAme", true);
    EXPECT_TRUE(copied.isEqual(&borrowed));
    EXPECT_TRUE(borrowed.isEqual(&copied));
    EXPECT_EQ(copied.hash(), borrowed.hash());
    EXPECT_FALSE(copied.isEqual(&longer));
    EXPECT_FALSE(copied.isEqual(&other));
    EXPECT_NE(copied.hash(), other.hash());
}

TEST(CollectableString, ComparesByteByByte) {
    const CKZCollectableString a("abc", true);
    const CKZCollectableString b("abd", false);
    const CKZCollectableString longer("abcd", true);
    const CKZCollectableString high("\xff", true);
    EXPECT_LT(a.compareTo(&b), 0);
    EXPECT_GT(b.compareTo(&a), 0);
    EXPECT_EQ(a.compareTo(&a), 0);
    EXPECT_LT(a.compareTo(&longer), 0);
    EXPECT_LT(longer.compareTo(&high), 0);
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include "kzstatisticsgenerator.h"
#include "kzstatmessage.h"
#include "ryp/testclock.h"
#include "support/recordinggenerator.h"

// Whatever a host reports, from the value to the message: it is counted, refused with an error, or
// changed in a way that is stated here. Nothing crashes, and nothing else is lost by it.

namespace {

using Types = CKZStatPointTypeEnum;

/// A generator with one client whose slice is sent and read back on demand.
class BadInput : public testing::Test {
protected:
    BadInput() { generator.Start(100.0, 10.0); }

    void Report(const char* name, double value, int type = Types::Counter) {
        client.AddLast(name, value, static_cast<Types::PointType>(type));
    }

    /// What the next message says about `name`, beside a value reported after the bad one.
    const CKZStatMessageRecord* Sent(const std::string& name) {
        Report("next", 1);
        EXPECT_TRUE(IsReadable());
        EXPECT_NE(message.FindRecord("next"), nullptr) << "a value reported later was lost";
        return message.FindRecord(name.c_str());
    }

    bool IsReadable() {
        clock.Advance(10.0);
        client.GetNewDictionary();
        generator.SendSlice(generator.WaitForSlice());
        std::size_t fault = 0;
        return message.Read(generator.LastText(), CKZStatMessage::FullRecords, fault);
    }

    RyPTestClock clock{100.0};
    RecordingGenerator generator;
    CKZStatGenClient client{&generator, 5};
    CKZStatMessage message;
};

TEST_F(BadInput, TakesAnEmptyName) {
    Report("", 7);
    EXPECT_EQ(Sent("")->totals.sum, 7);
}

TEST_F(BadInput, CutsNamesTo256Bytes) {
    const std::string name(100000, 'n');
    for (const std::size_t length : {255U, 256U, 257U, 100000U})
        Report(name.substr(0, length).c_str(), 1);
    ASSERT_NE(Sent(name.substr(0, 256)), nullptr);
    EXPECT_EQ(message.FindRecord(name.substr(0, 256).c_str())->totals.count, 3);
    EXPECT_EQ(message.FindRecord(name.substr(0, 255).c_str())->totals.count, 1);
    EXPECT_EQ(message.FindRecord(name.substr(0, 257).c_str()), nullptr);
}

TEST_F(BadInput, KeepsBytesThatAreNoText) {
    const std::string name = "\xff\xfe\xc3(\t\n";
    Report(name.c_str(), 7);
    EXPECT_EQ(Sent(name)->totals.sum, 7);
}

TEST_F(BadInput, MakesAMessageUnreadableByANameWithTheSeparator) {
    Report(
        "before\x01"
        "after",
        7);
    Report("next", 1);
    EXPECT_FALSE(IsReadable());
}

TEST_F(BadInput, CarriesNaNIntoSumsAndKeepsMinimumAndMaximum) {
    Report("n", 5);
    Report("n", std::nan(""));
    const CKZStatMessageRecord* const record = Sent("n");
    EXPECT_EQ(record->totals.count, 2);
    EXPECT_TRUE(std::isnan(record->totals.sum));
    EXPECT_EQ(record->totals.minimum, 5);
    EXPECT_EQ(record->totals.maximum, 5);
}

TEST_F(BadInput, CarriesInfinitiesAndTheLargestDoubles) {
    Report("inf", HUGE_VAL);
    Report("-inf", -HUGE_VAL);
    Report("large", 1e308);
    Report("small", -1e308);
    EXPECT_EQ(Sent("inf")->totals.maximum, HUGE_VAL);
    EXPECT_EQ(message.FindRecord("-inf")->totals.minimum, -HUGE_VAL);
    EXPECT_EQ(message.FindRecord("large")->totals.sum, 1e308);
    EXPECT_EQ(message.FindRecord("large")->totals.sumSqr, HUGE_VAL);
    EXPECT_EQ(message.FindRecord("small")->totals.sum, -1e308);
}

TEST_F(BadInput, RoundsSubnormalsToThreeDecimals) {
    Report("n", std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(Sent("n")->totals.sum, 0);
    EXPECT_EQ(message.FindRecord("n")->totals.count, 1);
}

TEST_F(BadInput, TakesMinusOneForAnEmptyMinimumAndMaximum) {
    Report("n", -1);
    Report("n", 7);
    EXPECT_EQ(Sent("n")->totals.minimum, 7);
    EXPECT_EQ(message.FindRecord("n")->totals.sum, 6);
}

TEST_F(BadInput, SendsATypePastTheTableAsNotSetAndOneBetweenBitsAsTheNearest) {
    Report("past", 1, 4096);
    Report("negative", 1, -1);
    Report("none", 1, Types::NotSet);
    Report("between", 1, 3);
    EXPECT_EQ(Sent("past")->type, Types::NotSet);
    EXPECT_EQ(message.FindRecord("negative")->type, Types::NotSet);
    EXPECT_EQ(message.FindRecord("none")->type, Types::NotSet);
    EXPECT_EQ(message.FindRecord("between")->type, Types::Counter);
}

TEST_F(BadInput, TakesEveryClientIdAlsoThatOfTheTimekeeper) {
    for (const int id : {0, -1, 1000011, std::numeric_limits<int>::min()}) {
        CKZStatGenClient odd(&generator, id);
        odd.AddLast("n", 1, Types::Counter);
    }
    EXPECT_EQ(Sent("n")->totals.count, 4);
}

}  // namespace

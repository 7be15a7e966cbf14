#include "kzstatmessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "kzstatgenmeasurementdictionary.h"
#include "kzstatpointbuilder.h"
#include "support/fields.h"

namespace {

using Types = CKZStatPointTypeEnum;

const std::string kHeader = "gen|10.000|30.000|3|";
const std::string kLogin =
    "login|2|1.500|4.000|2|5.500|18.250|2.750|1.500|1.500|1|1.500|2.250|1.500|";
const std::string kErrors =
    "errors|4|-1.000|-1.000|0|0.000|0.000|-1.000|-1.000|-1.000|0|0.000|0.000|-1.000|";

/// A message that holds the header only, and what reading `readable` over it gives.
struct Reading {
    explicit Reading(const std::string& readable,
                     CKZStatMessage::RecordForm form = CKZStatMessage::FullRecords)
        : text(Fields(readable)) {
        const std::string former = Fields("former|1.000|2.000|9|");
        accepted = message.Read(former.data(), former.size(), form, fault);
        accepted = message.Read(text.data(), text.size(), form, fault);
    }

    std::string text;
    CKZStatMessage message;
    std::size_t fault = 0;
    bool accepted = false;
};

TEST(StatMessage, ReadsTheHeader) {
    const Reading reading(kHeader);
    ASSERT_TRUE(reading.accepted);
    EXPECT_EQ(reading.message.GetGeneratorName(), "gen");
    EXPECT_EQ(reading.message.GetSliceLength(), 10);
    EXPECT_EQ(reading.message.GetElapsed(), 30);
    EXPECT_EQ(reading.message.GetSliceId(), 3);
    EXPECT_TRUE(reading.message.GetRecords().empty());
}

TEST(StatMessage, ReadsEveryFieldOfAFullRecord) {
    const Reading reading(kHeader + kErrors + kLogin);
    ASSERT_TRUE(reading.accepted);
    ASSERT_EQ(reading.message.GetRecords().size(), 2U);
    const CKZStatMessageRecord& login = reading.message.GetRecords()[1];
    EXPECT_EQ(login.name, "login");
    EXPECT_EQ(login.type, Types::Timer);
    EXPECT_EQ(login.totals.minimum, 1.5);
    EXPECT_EQ(login.totals.maximum, 4);
    EXPECT_EQ(login.totals.count, 2);
    EXPECT_EQ(login.totals.sum, 5.5);
    EXPECT_EQ(login.totals.sumSqr, 18.25);
    EXPECT_EQ(login.totals.Average(), 2.75);
    EXPECT_EQ(login.lasts.minimum, 1.5);
    EXPECT_EQ(login.lasts.maximum, 1.5);
    EXPECT_EQ(login.lasts.count, 1);
    EXPECT_EQ(login.lasts.sum, 1.5);
    EXPECT_EQ(login.lasts.sumSqr, 2.25);
    EXPECT_EQ(login.lasts.Average(), 1.5);
}

TEST(StatMessage, ReadsLastsRecordsAndWorksOutTheirAverage) {
    const Reading reading(
        kHeader + "login|2|1.000|4.000|2|5.000|17.000|" + "errors|4|-1.000|-1.000|0|0.000|0.000|",
        CKZStatMessage::LastsRecords);
    ASSERT_TRUE(reading.accepted);
    const CKZStatMessageRecord& login = reading.message.GetRecords()[0];
    EXPECT_EQ(login.lasts.sum, 5);
    EXPECT_EQ(login.lasts.Average(), 2.5);
    EXPECT_EQ(login.totals.count, 0);
    EXPECT_EQ(login.totals.minimum, -1);
    EXPECT_EQ(reading.message.GetRecords()[1].lasts.Average(), -1);
}

TEST(StatMessage, FindsARecordByName) {
    const Reading reading(kHeader + kErrors + kLogin);
    EXPECT_EQ(reading.message.FindRecord("login"), &reading.message.GetRecords()[1]);
    EXPECT_EQ(reading.message.FindRecord("logi"), nullptr);
}

TEST(StatMessage, FindsTheFirstRecordOfAName) {
    const Reading reading(kHeader + kLogin + kLogin);
    EXPECT_EQ(reading.message.GetRecords().size(), 2U);
    EXPECT_EQ(reading.message.FindRecord("login"), &reading.message.GetRecords()[0]);
}

TEST(StatMessage, FindsEachOfManyRecordsAlsoInACopy) {
    std::string text = kHeader;
    for (int i = 0; i < 1000; ++i) text += std::to_string(i) + kErrors;
    const Reading reading(text);
    const CKZStatMessage copy = reading.message;
    for (int i = 0; i < 1000; ++i) {
        const std::string name = std::to_string(i) + "errors";
        ASSERT_NE(copy.FindRecord(name.c_str()), nullptr);
        EXPECT_EQ(copy.FindRecord(name.c_str())->name, name.c_str());
    }
    EXPECT_EQ(copy.FindRecord("1000errors"), nullptr);
}

/// The message of what a dictionary dumped.
CKZStatMessage MessageOf(RWCString records, CKZStatMessage::RecordForm form) {
    CKZStatMessage message;
    std::size_t fault = 0;
    EXPECT_TRUE(message.Read(records.prepend(Fields(kHeader).c_str()), form, fault)) << fault;
    return message;
}

TEST(StatMessage, TakesAveragesFromTheSums) {
    CKZStatGenMeasurementDictionary dictionary;
    for (int i = 0; i < 1000; ++i) dictionary.AddLast("seconds", 0.0004, Types::Timer);
    RWCString text;
    dictionary.DumpDict(text);
    const CKZStatMessage message = MessageOf(text, CKZStatMessage::FullRecords);
    ASSERT_NE(message.FindRecord("seconds"), nullptr);
    EXPECT_DOUBLE_EQ(message.FindRecord("seconds")->GetItem(1).average, 0.0004);
    EXPECT_DOUBLE_EQ(message.FindRecord("seconds")->GetItem(1).lastAverage, 0.0004);
}

TEST(StatMessage, ReadsANameThatImitatesRecordsAsThose) {
    // Nothing in the text tells this name and its record from two records.
    const std::string name =
        "a|2|1.000|1.000|1|1.000|1.000|1.000|1.000|1.000|1|1.000|1.000|1.000|b";
    const Reading reading(kHeader + name +
                          "|4|3.000|3.000|1|3.000|9.000|3.000|3.000|3.000|1|3.000|9.000|3.000|");
    ASSERT_TRUE(reading.accepted);
    EXPECT_EQ(reading.message.GetRecords().size(), 2U);
}

/// What the reader makes of what the writer wrote of these aggregates.
CKZStatMessageRecord WrittenAndRead(const CKZStatAggregate& totals, const CKZStatAggregate& lasts,
                                    int sliceId = 1) {
    RWCString text;
    CKZStatMessageWriter writer(text);
    writer.WriteHeader("gen", 1, -0.5, sliceId);
    writer.WriteRecord({"n\0a", 3}, Types::LoadSize, totals, lasts);
    CKZStatMessage message;
    std::size_t fault = 0;
    EXPECT_TRUE(message.Read(text, CKZStatMessage::FullRecords, fault)) << fault;
    EXPECT_EQ(message.GetSliceId(), sliceId);
    EXPECT_EQ(message.GetElapsed(), -0.5);
    return message.GetRecords().at(0);
}

TEST(StatMessageWriter, WritesWhatTheReaderReads) {
    constexpr double kMost = std::numeric_limits<double>::max();
    const CKZStatMessageRecord read = WrittenAndRead({-kMost, kMost, 4e18, -0.0, HUGE_VAL},
                                                     {-1, -1, -7, -2.5, 6.25}, -2147483647);
    EXPECT_EQ(read.name, RWCString("n\0a", 3));
    EXPECT_EQ(read.totals.minimum, -kMost);
    EXPECT_EQ(read.totals.maximum, kMost);
    EXPECT_EQ(read.totals.count, 4e18);
    EXPECT_EQ(read.totals.sumSqr, HUGE_VAL);
    EXPECT_EQ(read.lasts.count, -7);
    EXPECT_EQ(read.lasts.sum, -2.5);
    EXPECT_EQ(read.lasts.Average(), -1);
}

TEST(StatMessageWriter, WritesCountsThatAreNoneAsWholeNumbers) {
    EXPECT_EQ(WrittenAndRead({0, 0, std::nan(""), 0, 0}, {}).totals.count, 0);
    EXPECT_EQ(WrittenAndRead({0, 0, 1e300, 0, 0}, {}).totals.count, 9223372036854775807.0);
    EXPECT_EQ(WrittenAndRead({0, 0, -1e300, 0, 0}, {}).totals.count, -9223372036854775808.0);
}

TEST(StatMessageWriter, WritesARecordFieldByField) {
    RWCString text;
    CKZStatMessageWriter(text).WriteRecord("n", Types::Timer, {1, 5, 3, 9, 35},
                                           {-1, -1, -2, 4, 16});
    EXPECT_EQ(text, Fields("n|2|1.000|5.000|3|9.000|35.000|3.000|"
                           "-1.000|-1.000|-2|4.000|16.000|-1.000|")
                        .c_str());
}

TEST(StatMessage, ReadsWhatADictionaryDumps) {
    CKZStatGenMeasurementDictionary dictionary;
    dictionary.AddLast("", -1e308, Types::NotSet);
    dictionary.AddLast("odd", std::nan(""), Types::AccumulatorPerSec);
    dictionary.AddLast("odd", HUGE_VAL, Types::AccumulatorPerSec);
    dictionary.AddLast("odd", -HUGE_VAL, Types::AccumulatorPerSec);
    RWCString records;
    dictionary.DumpDict(records);
    const CKZStatMessage full = MessageOf(records, CKZStatMessage::FullRecords);
    ASSERT_EQ(full.GetRecords().size(), 2U);
    EXPECT_EQ(full.FindRecord("")->totals.minimum, -1e308);
    EXPECT_TRUE(std::isnan(full.FindRecord("odd")->totals.sum));

    dictionary.DumpLasts(records);
    const CKZStatMessage lasts = MessageOf(records, CKZStatMessage::LastsRecords);
    ASSERT_NE(lasts.FindRecord("odd"), nullptr);
    EXPECT_EQ(lasts.FindRecord("odd")->type, Types::AccumulatorPerSec);
}

TEST(StatMessage, FindsANameWithANul) {
    RWCString text;
    CKZStatMessageWriter writer(text);
    writer.WriteHeader("gen", 1, 1, 1);
    writer.WriteRecord({"a\0b", 3}, Types::Timer, {}, {});
    CKZStatMessage message;
    std::size_t fault = 0;
    ASSERT_TRUE(message.Read(text, CKZStatMessage::FullRecords, fault));
    EXPECT_NE(message.FindRecord({"a\0b", 3}), nullptr);
    EXPECT_EQ(message.FindRecord("a"), nullptr);
}

TEST(StatMessage, KeepsNamesWithAnyOtherByte) {
    std::string text = Fields(kHeader + kLogin);
    text.insert(text.find("login") + 2, std::string("\0\xff\n", 3));
    CKZStatMessage message;
    std::size_t fault = 0;
    ASSERT_TRUE(message.Read(text.data(), text.size(), CKZStatMessage::FullRecords, fault));
    EXPECT_EQ(message.GetRecords()[0].name, RWCString("lo\0\xff\ngin", 8));
}

TEST(StatMessage, RefusesEveryTextThatWasCutShort) {
    const std::string whole = Fields(kHeader + kLogin);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        if (length == kHeader.size()) continue;  // a whole message without records
        CKZStatMessage message;
        std::size_t fault = length + 1;
        EXPECT_FALSE(message.Read(whole.data(), length, CKZStatMessage::FullRecords, fault))
            << length;
        EXPECT_LE(fault, length);
    }
}

TEST(StatMessage, LeavesTheMessageAsItWasWhenItRefuses) {
    const Reading reading(kHeader + kLogin + "errors|4|");
    ASSERT_FALSE(reading.accepted);
    EXPECT_EQ(reading.message.GetGeneratorName(), "former");
    EXPECT_EQ(reading.message.GetSliceId(), 9);
    EXPECT_TRUE(reading.message.GetRecords().empty());
}

TEST(StatMessage, ReadsNothingPastItsInput) {
    const std::string cut = Fields("gen|10.000|30.000|3");
    const std::vector<char> exact(cut.begin(), cut.end());
    CKZStatMessage message;
    std::size_t fault = 0;
    EXPECT_FALSE(message.Read(exact.data(), exact.size(), CKZStatMessage::FullRecords, fault));
    EXPECT_FALSE(message.Read(nullptr, 0, CKZStatMessage::FullRecords, fault));
}

// ---- one field at fault: '#' stands where the fault is reported

struct Fault {
    const char* what;
    std::string text;
};

std::ostream& operator<<(std::ostream& out, const Fault& row) {
    return out << row.what;
}

class StatMessageFault : public testing::TestWithParam<Fault> {};

TEST_P(StatMessageFault, IsRefusedAtItsPosition) {
    std::string text = GetParam().text;
    const std::size_t position = text.find('#');
    text.erase(position, 1);
    const Reading reading(text);
    EXPECT_FALSE(reading.accepted);
    EXPECT_EQ(reading.fault, position);
}

INSTANTIATE_TEST_SUITE_P(
    Fields, StatMessageFault,
    testing::Values(
        Fault{"EmptyText", "#"}, Fault{"NameWithoutEnd", "#gen"},
        Fault{"SliceLengthIsAWord", "gen|#ten|30.000|3|"},
        Fault{"SliceLengthIsEmpty", "gen|#|30.000|3|"},
        Fault{"SliceLengthHasNoPoint", "gen|#10|30.000|3|"},
        Fault{"SliceLengthHasABlank", "gen|# 10.000|30.000|3|"},
        Fault{"SliceLengthHasAPlus", "gen|#+10.000|30.000|3|"},
        Fault{"SliceLengthHasAComma", "gen|#10,000|30.000|3|"},
        Fault{"SliceLengthIsHexadecimal", "gen|#0x1.8p3|30.000|3|"},
        Fault{"SliceLengthHasAnExponent", "gen|#1.0e3|30.000|3|"},
        Fault{"ElapsedIsASignOnly", "gen|10.000|#-|3|"},
        Fault{"ElapsedIsTooLarge", std::string("gen|10.000|#" + std::string(400, '9') + ".000|3|")},
        Fault{"SliceIdIsEmpty", "gen|10.000|30.000|#|"},
        Fault{"SliceIdHasDecimals", "gen|10.000|30.000|#3.0|"},
        Fault{"SliceIdIsAMinus", "gen|10.000|30.000|#-|"},
        Fault{"SliceIdIsTooLarge", "gen|10.000|30.000|#2147483648|"},
        Fault{"TypeIsNone", "gen|10.000|30.000|3|n|#3|1.000|"},
        Fault{"TypeHasALeadingZero", "gen|10.000|30.000|3|n|#02|1.000|"},
        Fault{"NameHoldsTheSeparator",
              "gen|10.000|30.000|3|lo|#gin|2|1.500|4.000|2|5.500|18.250|2.750|1.500|1.500|1|1.500|"
              "2.250|1.500|"},
        Fault{"NameHoldsTheSeparatorAndANumber",
              "gen|10.000|30.000|3|lo|2|#2|1.500|4.000|2|5.500|18.250|2.750|1.500|1.500|1|1.500|"
              "2.250|1.500|"},
        Fault{"CountHasTwoMinuses", "gen|10.000|30.000|3|n|2|1.500|4.000|#--2|5.500|"},
        Fault{"CountHasDecimals", "gen|10.000|30.000|3|n|2|1.500|4.000|#2.000|5.500|"},
        Fault{"CountIsTooLarge", "gen|10.000|30.000|3|n|2|1.500|4.000|#9223372036854775808|5.500|"},
        Fault{"LastsCountHasAPlus",
              "gen|10.000|30.000|3|n|2|1.500|4.000|2|5.500|18.250|2.750|1.500|1.500|#+1|1.500|"},
        Fault{"SecondRecordIsCutShort",
              "gen|10.000|30.000|3|n|2|1.500|4.000|2|5.500|18.250|2.750|1.500|1.500|1|1.500|2.250|"
              "1.500|m|2|1.000|#1.0"}),
    [](const auto& test) { return std::string(test.param.what); });

TEST(StatMessage, RefusesALastsRecordAtItsFault) {
    const Reading reading(kHeader + "login|2|1.000|4.000|two|", CKZStatMessage::LastsRecords);
    EXPECT_FALSE(reading.accepted);
    EXPECT_EQ(reading.fault, (kHeader + "login|2|1.000|4.000|").size());
}

// ---- into points

TEST(StatMessageRecord, BecomesThePointOfItsKind) {
    const Reading reading(kHeader + kLogin);
    const CKZStatMessageRecord& login = reading.message.GetRecords()[0];
    const std::unique_ptr<CKZStatPoint> point(
        CKZStatPointBuilder::BuildPoint(login.type, login.GetItem(30)));
    EXPECT_STREQ(point->nameOf(), "CKZStatPointTimer");
    EXPECT_EQ(point->GetTime(), 30);
    EXPECT_EQ(point->GetMin(), 1.5);
    EXPECT_EQ(point->GetMax(), 4);
    EXPECT_EQ(point->GetCount(), 2);
    EXPECT_EQ(point->GetSum(), 5.5);
    EXPECT_EQ(point->GetAverage(), 2.75);
    EXPECT_EQ(point->GetSTDev(), 1.25);
    EXPECT_EQ(point->GetLastMin(), 1.5);
    EXPECT_EQ(point->GetLastMax(), 1.5);
    EXPECT_EQ(point->GetLastCount(), 1);
    EXPECT_EQ(point->GetLastSum(), 1.5);
    EXPECT_EQ(point->GetLastAverage(), 1.5);
    EXPECT_EQ(point->GetLastSTDev(), 0);
}

TEST(StatMessageRecord, HasNoStandardDeviationWithoutValues) {
    const Reading reading(kHeader + kErrors);
    const MeasurementArrayItem item = reading.message.GetRecords()[0].GetItem(30);
    EXPECT_EQ(item.stdev, -1);
    EXPECT_EQ(item.lastStdev, -1);
}

TEST(StatMessageRecord, NeverHasANegativeVariance) {
    CKZStatMessageRecord record;
    record.totals = {1, 1, 3, 3, 2.9999999};
    EXPECT_EQ(record.GetItem(1).stdev, 0);
}

}  // namespace

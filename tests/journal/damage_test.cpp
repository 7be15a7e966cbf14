// A slice that is read as a whole and is not what was appended is refused by its id.

#include <gmock/gmock.h>

#include "journal/journalfixture.h"

namespace {

struct Damage {
    const char* name;
    const char* sql;
};

class DamagedSlice : public JournalTest, public testing::WithParamInterface<Damage> {
protected:
    void SetUp() override {
        ASSERT_EQ("", Open());
        for (int i = 0; i < 4; ++i)
            Append({{"login.time", Types::Timer, {1, 2}}, {"logins", Types::Counter, {1}}});
        ASSERT_EQ("", Close());
    }
};

TEST_P(DamagedSlice, IsRefusedByItsId) {
    Execute(GetParam().sql);
    std::vector<int> read;
    try {
        kzjournal::Reader(path).ForEachSliceAfter(
            1, [&](const kzjournal::Slice& slice) { read.push_back(slice.id); }, 2);
        ADD_FAILURE() << "the damage was not seen";
    } catch (const kzjournal::Error& error) {
        EXPECT_EQ("cannot read " + path + ": slice 3 is damaged", error.what());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Of, DamagedSlice,
    testing::Values(
        Damage{"Sum", "UPDATE records SET last_sum = 999999 WHERE slice_id = 3"},
        Damage{"OneBitOfASum",
               "UPDATE records SET sum = sum + 1.8e-15 WHERE slice_id = 3 AND name_id = 1"},
        Damage{"SignsOfTwoSums", "UPDATE records SET sum = -sum WHERE slice_id = 3"},
        Damage{"Count", "UPDATE records SET count = count + 1 WHERE slice_id = 3"},
        Damage{"Type", "UPDATE records SET type = 1 WHERE slice_id = 3 AND name_id = 1"},
        Damage{"Time", "UPDATE records SET elapsed = 7 WHERE slice_id = 3"},
        Damage{"MissingRecord", "DELETE FROM records WHERE slice_id = 3 AND name_id = 2"},
        Damage{"AddedRecord",
               "INSERT INTO names VALUES (3, 'x'); INSERT INTO records SELECT run_number, chunk,"
               " 3, slice_id, elapsed, type, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, NULL, NULL, NULL, NULL,"
               " NULL FROM records"
               " WHERE slice_id = 3 AND name_id = 1"},
        Damage{"ExchangedNames",
               "UPDATE records SET name_id = 3 - name_id + 10 WHERE slice_id = 3;"
               "UPDATE records SET name_id = name_id - 10 WHERE slice_id = 3"},
        Damage{"NameThatIsNone",
               "UPDATE records SET name_id = 9 WHERE slice_id = 3 AND name_id = 2"},
        Damage{"End", "UPDATE slices SET end_time = end_time + 1 WHERE slice_id = 3"},
        Damage{"Checksum", "UPDATE slices SET checksum = checksum + 1 WHERE slice_id = 3"}),
    [](const auto& damage) { return std::string(damage.param.name); });

/// The same of a slice that has not moved into a block.
class DamagedRecentSlice : public JournalTest, public testing::WithParamInterface<Damage> {
protected:
    void SetUp() override {
        ASSERT_EQ("", Open());
        for (int i = 0; i < 4; ++i) AppendLogins({1, 2});
    }
};

TEST_P(DamagedRecentSlice, IsRefusedByItsId) {
    Execute(GetParam().sql);
    try {
        SliceIds();
        ADD_FAILURE() << "the damage was not seen";
    } catch (const kzjournal::Error& error) {
        EXPECT_EQ("cannot read " + path + ": slice 3 is damaged", error.what());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Of, DamagedRecentSlice,
    testing::Values(
        Damage{"Message",
               "UPDATE recent_messages SET message = replace(message, 'login', 'Login')"
               " WHERE slice_id = 3"},
        Damage{"ShortMessage",
               "UPDATE recent_messages SET message = substr(message, 1, 30) WHERE slice_id = 3"},
        Damage{"MissingMessage", "DELETE FROM recent_messages WHERE slice_id = 3"},
        Damage{"AddedDistribution",
               "UPDATE recent_records SET distribution = x'00' WHERE slice_id = 3"},
        Damage{"Sum", "UPDATE recent_records SET sum = 0 WHERE slice_id = 3"}),
    [](const auto& damage) { return std::string(damage.param.name); });

/// The formula of docs/journal.md, computed once by other means.
TEST_F(JournalTest, ChecksumIsTheOneThatIsDocumented) {
    Open();
    MadeSlice slice{{"load", 1, 7, 0.1, 1.7e9}, RWCString("message of 21 bytes \xff", 21), {}};
    slice.records = {{"login.time", Types::Timer, {1, 2, 3, 4, 5}, {-0.0, 7, 8, 9, -10}},
                     {"b", Types::Counter, {-1, -1, 0, 0, 0}, {-1, -1, 0, 0, 0}}};
    EXPECT_EQ("", AppendSlice(slice));
    EXPECT_EQ("2852538908938414070|\n", Rows("SELECT checksum FROM slices"));
}

}  // namespace

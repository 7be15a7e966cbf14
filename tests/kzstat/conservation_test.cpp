#include "conservation.h"

#include <gmock/gmock.h>

#include "support/fields.h"
#include "support/messagemaker.h"

namespace {

using testing::HasSubstr;
using Types = CKZStatPointTypeEnum;

CKZStatMessage Read(const std::string& text) {
    CKZStatMessage message;
    std::size_t fault = 0;
    EXPECT_TRUE(message.Read(text.data(), text.size(), CKZStatMessage::FullRecords, fault));
    return message;
}

class Conservation : public testing::Test {
protected:
    std::string Check(const std::string& text) { return conservation.Check(Read(text)); }
    std::string CheckLogins(const std::vector<double>& times) {
        return Check(messages.NextSlice({{"login.time", Types::Timer, times}}));
    }

    MessageMaker messages{"load", 0.1};
    kzstat::Conservation conservation{0.1};
};

TEST_F(Conservation, HoldsForARun) {
    for (int i = 0; i < 100; ++i) EXPECT_EQ("", CheckLogins({0.1 * i, 1e6 / 3, -7}));
    EXPECT_EQ("", CheckLogins({}));
}

TEST_F(Conservation, SeesAGapInTheIds) {
    CheckLogins({1});
    messages.NextSlice({});
    EXPECT_EQ("slice 3: it comes after slice 1", CheckLogins({1}));
}

TEST_F(Conservation, SeesAMissingValue) {
    EXPECT_EQ("slice 1: the count of n is 2 for the run, but its slices add up to 1",
              Check(Fields("load|0.100|0.100|1|n|2|1.000|1.000|2|2.000|2.000|1.000"
                           "|1.000|1.000|1|1.000|1.000|1.000|")));
}

TEST_F(Conservation, SeesAWrongSum) {
    EXPECT_EQ("slice 1: the sum of n is 5.000 for the run, but its slices add up to 4.000",
              Check(Fields("load|0.100|0.100|1|n|2|1.000|4.000|1|5.000|16.000|5.000"
                           "|4.000|4.000|1|4.000|16.000|4.000|")));
}

TEST_F(Conservation, SeesAWrongSumOfSquares) {
    EXPECT_THAT(Check(Fields("load|0.100|0.100|1|n|2|4.000|4.000|1|4.000|17.000|4.000"
                             "|4.000|4.000|1|4.000|16.000|4.000|")),
                HasSubstr("the sum of squares of n is 17.000"));
}

TEST_F(Conservation, SeesATimeOffTheGrid) {
    EXPECT_EQ("slice 1: it ends at 0.150 s instead of 0.100 s",
              Check(Fields("load|0.100|0.150|1|")));
}

TEST_F(Conservation, TakesAPauseForWhatItIs) {
    EXPECT_EQ("", Check(Fields("load|0.100|0.100|1|")));
    EXPECT_EQ("", Check(Fields("load|0.100|0.150|2|")));
    EXPECT_EQ("", Check(Fields("load|0.100|0.250|3|")));
    EXPECT_EQ("slice 4: it ends at 0.400 s instead of 0.350 s",
              Check(Fields("load|0.100|0.400|4|")));
}

TEST_F(Conservation, SeesANameThatIsForgotten) {
    CheckLogins({1});
    EXPECT_EQ("slice 2: login.time is missing", Check(Fields("load|0.100|0.200|2|")));
}

}  // namespace

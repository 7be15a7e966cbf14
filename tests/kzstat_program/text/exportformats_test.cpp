#include "text/exportformats.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

#include "kzjournalerror.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr double kThird = 1.0 / 3;

class ExportFormats : public testing::Test {
protected:
    std::string Text(const char* format) {
        record.name = name.c_str();
        record.type = CKZStatPointTypeEnum::Timer;
        record.totals = {kThird, 1e300, 3, sum, 5e-324};
        slice.records = {record};
        return kzstatprogram::MakeExportFormat(format, run, content)->RecordText(slice, 0, gap);
    }
    void AddDistributionOf(const std::vector<double>& values) {
        CKZStatDistribution distribution;
        for (const double value : values) distribution.Add(value);
        slice.distributions.Add(&distribution);
    }

    std::string name = "login.time";
    double sum = 1e15 / 7;
    double gap = 0;
    CKZStatMessageRecord record;
    kzjournal::Slice slice{1, 0, 1.7e9, {}, {}};
    kzstatprogram::ExportContent content;
    kzjournal::Run run{"abc", "my load", 1.7e9, 1, "a,b=c", "my-load", "", {}, {}};
};

TEST_F(ExportFormats, CsvHasALineOfNames) {
    EXPECT_EQ(
        "slice_id,elapsed,name,type,count,minimum,maximum,average,sum,sum_of_squares,last_count,"
        "last_minimum,last_maximum,last_average,last_sum,last_sum_of_squares,"
        "last_p50,last_p90,last_p95,last_p99,last_p999,gap_before\r\n",
        kzstatprogram::MakeExportFormat("csv", run)->Begin());
}

TEST_F(ExportFormats, PercentilesAreThoseOfTheSlice) {
    slice.distributions.Add("form", {1, 2, kThird, 4, std::nan("")});
    EXPECT_THAT(Text("csv"), EndsWith(",1,2,0.3333333333333333,4,,0\r\n"));
    EXPECT_THAT(Text("json"),
                HasSubstr("\"last_p50\":1.0,\"last_p90\":2.0,\"last_p95\":0.3333333333333333,"
                          "\"last_p99\":4.0,\"last_p999\":null"));
    EXPECT_THAT(Text("influx"),
                HasSubstr(",last_p50=1,last_p90=2,last_p95=0.3333333333333333,last_p99=4 "));
}

TEST_F(ExportFormats, OtherPercentilesComeFromTheDistribution) {
    content.percentiles = kzstatprogram::PercentilesOf("99.9,25");
    EXPECT_THAT(kzstatprogram::MakeExportFormat("csv", run, content)->Begin(),
                EndsWith(",last_sum_of_squares,last_p99.9,last_p25,gap_before\r\n"));
    EXPECT_THAT(Text("csv"), EndsWith(",,,0\r\n"));
    EXPECT_THAT(Text("json"), HasSubstr("\"last_p99.9\":null,\"last_p25\":null,\"gap"));
    EXPECT_THAT(Text("influx"), testing::Not(HasSubstr("last_p")));
    AddDistributionOf({1, 2, 3, 4});
    EXPECT_THAT(Text("csv"), EndsWith(",4,1,0\r\n"));
    EXPECT_THAT(Text("json"), HasSubstr("\"last_p99.9\":4.0,\"last_p25\":1.0,\"gap"));
    EXPECT_THAT(Text("influx"), HasSubstr(",last_p99.9=4,last_p25=1 "));
}

TEST_F(ExportFormats, DistributionsAreThereOnlyWhereTheyAreAskedFor) {
    AddDistributionOf({1});
    EXPECT_THAT(Text("json"), testing::Not(HasSubstr("last_distribution")));
}

TEST_F(ExportFormats, JsonHasTheBucketsOfADistribution) {
    content.hasDistributions = true;
    AddDistributionOf({10, 10.05, -1, 0, 40, 40, HUGE_VAL, -HUGE_VAL, -HUGE_VAL, std::nan("")});
    EXPECT_THAT(Text("json"),
                EndsWith("\"last_distribution\":{\"count\":10,\"nan_count\":1,"
                         "\"minus_infinity_count\":2,\"plus_infinity_count\":1,"
                         "\"minimum\":null,\"maximum\":null,\"buckets\":[[-1.0078125,-1.0,1],"
                         "[0.0,0.0,1],[10.0,10.0625,2],[40.0,40.25,2]]}}\n"));
}

TEST_F(ExportFormats, JsonHasTheExtremesOfADistribution) {
    content.hasDistributions = true;
    AddDistributionOf({3, 0.7, 2});
    const auto object = nlohmann::json::parse(Text("json"))["last_distribution"];
    EXPECT_EQ(0.7, object["minimum"]);
    EXPECT_EQ(3, object["maximum"]);
}

TEST_F(ExportFormats, ADistributionThatIsMissingIsNull) {
    content.hasDistributions = true;
    EXPECT_THAT(Text("json"), EndsWith("\"last_distribution\":null}\n"));
}

TEST_F(ExportFormats, ADamagedDistributionIsAnError) {
    content.hasDistributions = true;
    slice.distributions.Add("form", {1, 2, 3, 4, 5});
    EXPECT_THROW(Text("json"), kzjournal::Error);
}

TEST_F(ExportFormats, CsvQuotesWhatWouldBreakIt) {
    name = "a,\"b\"\r\nc";
    EXPECT_THAT(Text("csv"), StartsWith("1,0,\"a,\"\"b\"\"\r\nc\",Timer,3,"));
}

TEST_F(ExportFormats, CsvForSpreadsheetsHoldsNoFormula) {
    const auto nameIn = [&](const char* text) {
        name = text;
        Text("csv");
        const std::string line = kzstatprogram::MakeSpreadsheetSafeCsv()->RecordText(slice, 0, 0);
        return line.substr(4, line.find(",Timer") - 4);
    };
    for (const char* const harmless : {"login.time", "a=b", "1-2", "a b", "\u00e9-x", ""})
        EXPECT_EQ(harmless, nameIn(harmless));
    EXPECT_EQ("'=cmd|' /C calc'!A0", nameIn("=cmd|' /C calc'!A0"));
    EXPECT_EQ("'+1", nameIn("+1"));
    EXPECT_EQ("'-1", nameIn("-1"));
    EXPECT_EQ("'@sum(a1)", nameIn("@sum(a1)"));
    EXPECT_EQ("'\t'=1", nameIn("\t=1"));
    EXPECT_EQ("\"'\r'=1\"", nameIn("\r=1"));
    EXPECT_EQ(" '=1", nameIn(" =1"));
    EXPECT_EQ("'\uff1d1", nameIn("\uff1d1"));
    EXPECT_EQ("a;'=1", nameIn("a;=1"));
    EXPECT_EQ("\"a\"\",'=1\"", nameIn("a\",=1"));
}

TEST_F(ExportFormats, CsvLeavesFormulasAloneUnlessTold) {
    name = "=1";
    EXPECT_THAT(Text("csv"), StartsWith("1,0,=1,Timer,"));
}

TEST_F(ExportFormats, CsvNumbersReadBackToTheSameDouble) {
    std::istringstream fields(Text("csv"));
    std::vector<double> numbers;
    for (std::string field; std::getline(fields, field, ',');)
        numbers.push_back(std::strtod(field.c_str(), nullptr));
    EXPECT_EQ(kThird, numbers.at(5));
    EXPECT_EQ(1e300, numbers.at(6));
    EXPECT_EQ(1e15 / 7 / 3, numbers.at(7));
    EXPECT_EQ(1e15 / 7, numbers.at(8));
    EXPECT_EQ(5e-324, numbers.at(9));
}

TEST_F(ExportFormats, CsvLeavesOutWhatHasNoValue) {
    EXPECT_THAT(Text("csv"), testing::EndsWith(",0,,,,0,0,,,,,,0\r\n"));
}

TEST_F(ExportFormats, EachShowsTheGapBeforeASlice) {
    EXPECT_EQ(0, nlohmann::json::parse(Text("json"))["gap_before"]);
    EXPECT_THAT(Text("influx"), testing::Not(HasSubstr("gap_before")));
    gap = 90;
    EXPECT_THAT(Text("csv"), testing::EndsWith(",90\r\n"));
    EXPECT_EQ(90, nlohmann::json::parse(Text("json"))["gap_before"]);
    EXPECT_THAT(Text("influx"), HasSubstr(",gap_before=90 1700000000"));
}

TEST_F(ExportFormats, JsonReadsBackToTheSameDoubles) {
    const auto object = nlohmann::json::parse(Text("json"));
    EXPECT_EQ(kThird, object["minimum"].get<double>());
    EXPECT_EQ(5e-324, object["sum_of_squares"].get<double>());
    EXPECT_EQ("Timer", object["type"]);
    EXPECT_TRUE(object["last_minimum"].is_null());
}

TEST_F(ExportFormats, JsonTakesNamesOfAnyBytesAndNumbersThatAreNone) {
    name = "caf\xe9\n\"x\"";
    sum = std::numeric_limits<double>::infinity();
    const std::string text = Text("json");
    EXPECT_EQ(text.size() - 1, text.find('\n'));
    const auto object = nlohmann::json::parse(text);
    EXPECT_EQ("caf\ufffd\n\"x\"", object["name"]);
    EXPECT_TRUE(object["sum"].is_null());
}

TEST_F(ExportFormats, LineProtocolEscapesTagsAndLeavesOutNumbersThatAreNone) {
    name = "a b,c=d\ne\\";
    sum = std::nan("");
    const std::string text = Text("influx");
    EXPECT_THAT(text,
                StartsWith("kzstat,generator=my\\ load,host=a\\,b\\=c,run=abc,"
                           "name=a\\ b\\,c\\=d_e_,type=Timer slice_id=1i,elapsed=0,count=3,"));
    EXPECT_THAT(text, testing::Not(HasSubstr(",sum=")));
    EXPECT_THAT(text, testing::EndsWith(" 1700000000000000000\n"));
}

TEST_F(ExportFormats, LineProtocolTakesTheEndOfTheSliceOnTheWallClock) {
    // A pause has moved the time since the start to an earlier one.
    slice.elapsed = 10;
    slice.endTime = 1.7e9 + 60.25;
    EXPECT_THAT(Text("influx"), testing::EndsWith(" 1700000060250000000\n"));
}

TEST_F(ExportFormats, LineProtocolSurvivesTimesOutOfAllRange) {
    for (const double end : {HUGE_VAL, -HUGE_VAL, std::nan(""), 1e300}) {
        slice.endTime = end;
        EXPECT_THAT(Text("influx"), testing::EndsWith("000\n"));
    }
}

}  // namespace

#include "tables/verdictformats.h"

#include <gmock/gmock.h>

#include <cmath>
#include <nlohmann/json.hpp>

namespace {

using kzconditions::Judgement;
using kzconditions::Outcome;
using kzstatprogram::VerdictReport;
using testing::HasSubstr;
using testing::Not;

constexpr char kHostile[] = "a,b:c%\n\r\x1b[31m\xff<&>\"'\xe2\x80\xae\xef\xbf\xbf\xc3\xa4 mean < 5";

Judgement Told(const std::string& condition, Outcome outcome, double value) {
    Judgement judgement;
    judgement.condition = condition;
    judgement.outcome = outcome;
    judgement.text = outcome == Outcome::CannotTell ? "the run has no b" : "4 ms";
    if (outcome == Outcome::CannotTell)
        judgement.reason = judgement.text;
    else
        judgement.value = value;
    judgement.unit = "ms";
    return judgement;
}

VerdictReport Report() {
    return {{"run.kzj", "id", "kzload", "10 slices"},
            std::nullopt,
            {},
            {Told("a mean < 5", Outcome::Passed, 4), Told("a mean < 4", Outcome::Failed, 4),
             Told("b mean < 4", Outcome::CannotTell, 0)}};
}

VerdictReport HostileReport(Outcome outcome) {
    return {{kHostile, kHostile, kHostile, "10 slices"},
            std::nullopt,
            {kHostile},
            {Told(kHostile, outcome, std::nan(""))}};
}

TEST(VerdictFormats, ForPeopleHaveALineEach) {
    EXPECT_EQ(
        "run.kzj: 10 slices\n"
        "passed       a mean < 5  4 ms\n"
        "FAILED       a mean < 4  4 ms\n"
        "cannot tell  b mean < 4  the run has no b\n"
        "verdict: FAILED, 1 of 3 conditions\n",
        TextOf(Report()));
}

TEST(VerdictFormats, ForPeopleTellTheBaselineAndWarnings) {
    VerdictReport report = Report();
    report.baseline = {"old.kzj", "id", "kzload", "9 slices"};
    report.warnings = {"the generator was saturated"};
    EXPECT_THAT(TextOf(report), HasSubstr("run.kzj: 10 slices\ncompared with old.kzj: 9 slices\n"
                                          "warning: the generator was saturated\npassed"));
}

TEST(VerdictFormats, AsJsonHaveWhatIsMissingAsNull) {
    const auto json = nlohmann::json::parse(JsonOf(Report()));
    EXPECT_EQ("failed", json["verdict"]);
    EXPECT_EQ("run.kzj", json["run"]["path"]);
    EXPECT_TRUE(json["baseline"].is_null());
    EXPECT_EQ(nlohmann::json::parse(R"({"condition": "a mean < 5", "outcome": "passed", "value": 4,
                  "baseline": null, "unit": "ms", "reason": null})"),
              json["conditions"][0]);
    EXPECT_EQ("unknown", json["conditions"][2]["outcome"]);
    EXPECT_TRUE(json["conditions"][2]["value"].is_null());
    EXPECT_EQ("the run has no b", json["conditions"][2]["reason"]);
}

TEST(VerdictFormats, AsJsonTakeAnyBytesAndNoNaN) {
    const auto json = nlohmann::json::parse(JsonOf(HostileReport(Outcome::Failed)));
    EXPECT_TRUE(json["conditions"][0]["value"].is_null());
}

TEST(VerdictFormats, AsJUnitAreASuite) {
    EXPECT_EQ(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<testsuites tests=\"3\" failures=\"1\" errors=\"1\">\n"
        "  <testsuite name=\"run.kzj\" tests=\"3\" failures=\"1\" errors=\"1\">\n"
        "    <testcase classname=\"kzload\" name=\"a mean &lt; 5\">\n"
        "      <system-out>4 ms</system-out>\n"
        "    </testcase>\n"
        "    <testcase classname=\"kzload\" name=\"a mean &lt; 4\">\n"
        "      <failure message=\"4 ms\" type=\"FAILED\">a mean &lt; 4: 4 ms</failure>\n"
        "    </testcase>\n"
        "    <testcase classname=\"kzload\" name=\"b mean &lt; 4\">\n"
        "      <error message=\"the run has no b\" type=\"cannot tell\">b mean &lt; 4: the run has"
        " no b</error>\n"
        "    </testcase>\n"
        "  </testsuite>\n"
        "</testsuites>\n",
        JUnitOf(Report()));
}

TEST(VerdictFormats, AsJUnitEscapeWhatXmlDoesNotHave) {
    EXPECT_THAT(JUnitOf(HostileReport(Outcome::Failed)),
                HasSubstr("name=\"a,b:c%\\x0a\\x0d\\x1b[31m\\xff&lt;&amp;&gt;&quot;&apos;"
                          "\\u202e\\uffff\xc3\xa4 mean &lt; 5\""));
}

TEST(VerdictFormats, AsWorkflowCommandsSayWhatDidNotPass) {
    EXPECT_EQ(
        "run.kzj: 10 slices\n"
        "passed       a mean < 5  4 ms\n"
        "::error title=a mean < 4::FAILED, 4 ms\n"
        "::error title=b mean < 4::cannot tell, the run has no b\n"
        "verdict: FAILED, 1 of 3 conditions\n",
        WorkflowCommandsOf(Report()));
}

TEST(VerdictFormats, AsWorkflowCommandsEscapeTheirSigns) {
    const std::string commands = WorkflowCommandsOf(HostileReport(Outcome::Failed));
    EXPECT_THAT(commands, HasSubstr("::error title=a%2Cb%3Ac%25\\x0a\\x0d\\x1b[31m"));
    EXPECT_THAT(commands, HasSubstr("::a,b:c%25\\x0a"));
    EXPECT_THAT(commands, Not(HasSubstr("\n::a")));
}

TEST(VerdictFormats, OfHostileTextHaveNoLineThatItMade) {
    for (const Outcome outcome : {Outcome::Passed, Outcome::Failed, Outcome::CannotTell})
        for (const std::string& text :
             {TextOf(HostileReport(outcome)), WorkflowCommandsOf(HostileReport(outcome))})
            EXPECT_EQ(4, std::count(text.begin(), text.end(), '\n')) << text;
}

}  // namespace

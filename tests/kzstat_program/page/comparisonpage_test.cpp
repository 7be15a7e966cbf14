#include "page/comparisonpage.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "figures/runhistory.h"
#include "kzstat_program/memoryruns.h"
#include "page/pagejson.h"

namespace {

using kzstatprogram::ComparisonPageJson;
using kzstatprogram::RunHistory;
using kzstatprogram::RunOfPage;
using kzstatprogram::SideOfPage;
using nlohmann::json;
using testing::ElementsAre;
using testing::UnorderedElementsAre;
using Types = CKZStatPointTypeEnum;

constexpr int kSlices = 40;
constexpr double kLeast = 0.03;

/// Runs of logins that take so long, and of a name that has no other one.
class ComparisonPage : public testing::Test {
protected:
    RunOfPage Read(const std::string& path, double time, const std::string& ownName = "",
                   bool hasDistributions = true) {
        MemoryRun& run = m_runs.Make(path);
        run.facts.id = path;
        SliceMaker maker;
        for (int i = 0; i < kSlices; ++i) {
            std::vector<Reported> reported{{"login", Types::Timer, {time + i % 3, time - i % 3}},
                                           {"logins", Types::Counter, {2}}};
            if (!ownName.empty()) reported.push_back({ownName, Types::Counter, {1}});
            run.Add(SliceOf(maker.NextSlice(reported), hasDistributions));
        }
        run.End();
        const auto reader = m_runs.Open(path, 0);
        return {path,
                "40 slices",
                0,
                std::nullopt,
                ReadForComparison(*reader, {}),
                CurvesJson(RunHistory(m_runs, path, {}))};
    }

    static json Told(const std::vector<SideOfPage>& sides) {
        return json::parse(ComparisonPageJson(sides, kLeast, kzstatprogram::UsualPercentiles()));
    }

    static json Find(const json& names, const std::string& name) {
        for (const json& each : names)
            if (each["name"] == name) return each;
        return nullptr;
    }

private:
    MemoryRuns m_runs;
};

std::vector<std::string> KeysOf(const json& object) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : object.items()) keys.push_back(key);
    return keys;
}

TEST_F(ComparisonPage, ComparesEachSideWithTheFirst) {
    const json page = Told({{Read("a", 10)}, {Read("b", 15)}, {Read("c", 10)}});
    ASSERT_EQ(2U, page["comparisons"].size());
    const json slower = Find(page["comparisons"][0]["names"], "login");
    EXPECT_EQ("marked", slower["finding"]);
    EXPECT_EQ(0.5, slower["relative_difference"]);
    EXPECT_EQ("mean ms", slower["quantity"]);
    EXPECT_EQ("unclear", Find(page["comparisons"][1]["names"], "login")["finding"]);
    EXPECT_EQ(0.01, page["comparisons"][0]["significance"]);
    EXPECT_EQ("c", page["comparisons"][1]["second"]["runs"][0]["path"]);
}

TEST_F(ComparisonPage, HasTheFiguresOfEachSide) {
    const json page = Told({{Read("a", 10)}, {Read("b", 15)}});
    EXPECT_EQ(10, Find(page["sides"][0]["names"], "login")["figures"]["mean"]);
    EXPECT_EQ(15, Find(page["sides"][1]["names"], "login")["figures"]["mean"]);
    EXPECT_EQ(2, Find(page["sides"][1]["names"], "login")["figures"]["rate"]);
}

TEST_F(ComparisonPage, TakesSeveralRunsOfASideForSamples) {
    const json page = Told({{Read("a1", 10), Read("a2", 11)}, {Read("b1", 20), Read("b2", 21)}});
    EXPECT_EQ("runs", page["comparisons"][0]["samples_are"]);
    EXPECT_EQ(10.5, Find(page["sides"][0]["names"], "login")["figures"]["mean"]);
    ASSERT_EQ(2U, page["sides"][1]["runs"].size());
    EXPECT_EQ("b2", page["sides"][1]["runs"][1]["path"]);
}

TEST_F(ComparisonPage, DrawsWhatEachRunHas) {
    const json page = Told({{Read("a", 10)}, {Read("b", 10, "", false)}});
    const auto courseIn = [&](std::size_t side, const char* name) {
        return Find(page["sides"][side]["runs"][0]["curves"]["names"], name)["course"];
    };
    EXPECT_THAT(KeysOf(courseIn(0, "login")), UnorderedElementsAre("p95", "flow"));
    EXPECT_THAT(KeysOf(courseIn(1, "login")), UnorderedElementsAre("mean", "flow"));
    EXPECT_THAT(KeysOf(courseIn(0, "logins")), ElementsAre("flow"));
    EXPECT_EQ(10, courseIn(1, "login")["mean"][0]);
    EXPECT_EQ(std::size_t{kSlices}, courseIn(0, "login")["p95"].size());
}

TEST_F(ComparisonPage, TellsTheNamesThatOneSideLacks) {
    const json page = Told({{Read("a", 10)}, {Read("b", 10, "errors")}});
    EXPECT_EQ(json({"errors"}), page["comparisons"][0]["second"]["only_here"]);
    EXPECT_EQ(nullptr, Find(page["sides"][0]["names"], "errors"));
    EXPECT_EQ(0, Find(page["comparisons"][0]["names"], "errors")["first"]);
}

TEST_F(ComparisonPage, EscapesNamesAlikeEverywhere) {
    const json page = Told({{Read("a", 10)}, {Read("b\x1b", 10, "new\x1b[31m")}});
    const std::string name = "new\\x1b[31m";
    EXPECT_NE(nullptr, Find(page["comparisons"][0]["names"], name));
    EXPECT_NE(nullptr, Find(page["sides"][1]["names"], name));
    EXPECT_NE(nullptr, Find(page["sides"][1]["runs"][0]["curves"]["names"], name));
    EXPECT_EQ("b\\x1b", page["sides"][1]["runs"][0]["path"]);
}

TEST_F(ComparisonPage, TellsNamesApartThatWouldReadAlike) {
    const json page = Told({{Read("a", 10, "new\x1b")}, {Read("b", 10, "new\\x1b")}});
    const std::string control = "new\\x1b";
    const std::string literal = "new\\x5cx1b";
    EXPECT_EQ(json({control}), page["comparisons"][0]["first"]["only_here"]);
    EXPECT_EQ(json({literal}), page["comparisons"][0]["second"]["only_here"]);
    for (const std::string& name : {control, literal})
        EXPECT_NE(nullptr, Find(page["comparisons"][0]["names"], name)) << name;
    EXPECT_NE(nullptr, Find(page["sides"][1]["runs"][0]["curves"]["names"], literal));
}

TEST_F(ComparisonPage, KnowsWhenARunBeginsAndEnds) {
    RunOfPage loaded = Read("a", 10);
    loaded.begin = 1.5;
    loaded.end = 30.25;
    const json page = Told({{std::move(loaded)}, {Read("b", 10)}});
    EXPECT_EQ(1.5, page["sides"][0]["runs"][0]["begin"]);
    EXPECT_EQ(30.25, page["sides"][0]["runs"][0]["end"]);
    EXPECT_TRUE(page["sides"][1]["runs"][0]["end"].is_null());
}

}  // namespace

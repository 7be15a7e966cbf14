#include "commands/commands.h"

#include <gmock/gmock.h>

#include <iterator>
#include <sstream>

#include "kzstat_program/memoryruns.h"
#include "merge/mergedrun.h"
#include "merge/mergenotes.h"

namespace {

using kzstatprogram::ExitStatus;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using Types = CKZStatPointTypeEnum;

/// Logins in each slice, which took as long as it says, and clients.
using Logins = std::vector<std::vector<double>>;

/// What the commands say of runs that are in no file.
class Commands : public testing::Test {
protected:
    MemoryRun& Make(const std::string& name, const Logins& logins) {
        MemoryRun& run = runs.Make(name);
        run.facts.host = "here";
        SliceMaker maker;
        for (std::size_t i = 0; i < logins.size(); ++i)
            run.Add(SliceOf(maker.NextSlice({{"clients", Types::LoadSize, {i == 0 ? 1.0 : 2.0}},
                                             {"login", Types::Timer, logins[i]}}),
                            true));
        run.End();
        return run;
    }

    /// The merge of two runs of these slices, with its sources; without the slice that is left out.
    void MakeMerged(const std::string& name, const Logins& logins, int leftOut = 0) {
        Make("one", logins);
        Make("two", logins);
        const auto inputs = kzstatprogram::MergeInputsOf(runs, {"one", "two"});
        kzstatprogram::MergedRun merge(runs, inputs);
        MemoryRun& merged = runs.Make(name);
        merged.facts = merge.Facts();
        for (int number = 1; number <= 2; ++number) {
            const kzstatprogram::MergeInput& input = inputs[static_cast<std::size_t>(number) - 1];
            merged.sources.push_back({number, 0, input.run, false});
            MemoryRun& source = runs.Make(name, number);
            source.facts = input.run;
            runs.Open(input.path, 0)->ForEachSlice({}, [&](const kzjournal::Slice& slice) {
                source.Add(slice);
            });
            source.End();
        }
        for (kzstatprogram::MergedSlice slice; merge.Next(slice);) {
            const CKZStatSliceFacts& facts = slice.facts;
            if (facts.sliceId == leftOut) continue;
            kzjournal::Slice stored{facts.sliceId, facts.elapsed, facts.endTime, {}, slice.records};
            stored.distributions.AddAll(slice.View());
            merged.sourcesOfSlices[facts.sliceId] = slice.Sources();
            merged.Add(std::move(stored));
        }
        merged.End();
    }

    struct Result {
        ExitStatus status = kzstatprogram::kFailed;
        std::vector<std::string> lines;
        std::string error;
    };
    Result Run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "kzstat");
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        kzstatprogram::CommandLine line("", "kzstat", "");
        DeclareCommands(line, runs);
        Result result;
        testing::internal::CaptureStderr();
        testing::internal::CaptureStdout();
        try {
            kzterminal::Output output;
            result.status = line.Parse(static_cast<int>(argv.size()), argv.data())(output);
            output.Flush();
        } catch (const kzjournal::Error& error) {
            result.error = error.what();
        }
        std::istringstream out(testing::internal::GetCapturedStdout());
        for (std::string text; std::getline(out, text);) result.lines.push_back(text);
        result.error += testing::internal::GetCapturedStderr();
        return result;
    }

    MemoryRuns runs;
};

TEST_F(Commands, ShowPrintsARowPerName) {
    Make("run", {{10, 30}, {20}});
    const Result shown = Run({"show", "run"});
    EXPECT_EQ(kzstatprogram::kDone, shown.status);
    EXPECT_THAT(
        shown.lines,
        ElementsAre(
            "load: kzstat_program_tests, on here",
            "1970-01-01 00:16:40 UTC, for 0:02, 2 slices of 1 s",
            "name     type      unit  count  rate  min  mean    p50  p95  p99  max  stddev  sum"
            "  last",
            "clients  LoadSize            -     -    1  1.50      1    2    2    2       -    -"
            "     2",
            "login    Timer     ms        3  1.50   10    20  20.06   30   30   30    8.16    -"
            "    20"));
}

TEST_F(Commands, ShowKeepsToTheRange) {
    Make("run", {{10, 30}, {20}, {40}});
    for (const char* const option : {"--from=1", "--skip-warmup"}) {
        const Result shown = Run({"show", "run", option});
        EXPECT_THAT(shown.lines.at(1), HasSubstr("3 slices of 1 s, 2 in the range"));
        EXPECT_THAT(shown.lines.at(4), HasSubstr("2"));
    }
}

/// 30 clients that make 600 requests a second for 3.75 s; the fifth slice and two more drain.
class Drained : public Commands {
protected:
    void MakeRun(const std::string& name, double startTime = 1000) {
        MemoryRun& run = runs.Make(name);
        run.facts.startTime = startTime;
        run.SetLoad({0.0, 3.75});
        run.facts.loadBegin = 0;
        run.facts.loadEnd = 3.75;
        SliceMaker maker("load", 1, startTime);
        for (const double part : {1.0, 1.0, 1.0, 0.75, 0.01, 0.0, 0.0})
            run.Add(
                SliceOf(maker.NextSlice({{"clients", Types::LoadSize, {part > 0.5 ? 30.0 : 0.0}},
                                         {"requests", Types::Counter, {600 * part}}})));
        run.End();
    }
    std::vector<std::string> CellsOf(const std::string& name, std::vector<std::string> arguments) {
        for (const std::string& line : Run(std::move(arguments)).lines) {
            std::istringstream text(line);
            const std::vector<std::string> cells{std::istream_iterator<std::string>(text), {}};
            if (cells.front() == name) return cells;
        }
        return {};
    }
};

TEST_F(Drained, ShowLooksAtWhatTheLoadCaused) {
    MakeRun("run");
    const Result shown = Run({"show", "run"});
    EXPECT_THAT(shown.lines.at(1), testing::EndsWith("7 slices of 1 s"));
    EXPECT_EQ("under load 0:00 to 0:03.8, 4 of 7 slices", shown.lines.at(2));
    // The columns are type, count, rate, min, mean, max, stddev, sum and last.
    EXPECT_THAT(
        CellsOf("requests", {"show", "run"}),
        ElementsAre("requests", "Counter", "2256", "601.6", "-", "-", "-", "-", "2256", "450"));
    EXPECT_THAT(CellsOf("clients", {"show", "run"}),
                ElementsAre("clients", "LoadSize", "-", "-", "30", "30", "30", "-", "-", "30"));
}

TEST_F(Drained, ShowLooksAtAllSlicesWhereItIsAsked) {
    MakeRun("run");
    EXPECT_THAT(Run({"show", "run", "--all"}).lines.at(1), testing::EndsWith("7 slices of 1 s"));
    EXPECT_THAT(CellsOf("clients", {"show", "run", "--all"}),
                ElementsAre("clients", "LoadSize", "-", "-", "0", "17.14", "30", "-", "-", "0"));
}

TEST_F(Drained, RangesOfTheUserAreTakenAsTheyAre) {
    MakeRun("run");
    EXPECT_THAT(Run({"show", "run", "--to", "6"}).lines.at(1), HasSubstr(", 6 in the range"));
    EXPECT_EQ("1056", CellsOf("requests", {"show", "run", "--from", "2"}).at(8));
    EXPECT_EQ("600", CellsOf("requests", {"show", "run", "--from", "2", "--to", "3"}).at(8));
    EXPECT_EQ("2256", CellsOf("requests", {"show", "run", "--skip-warmup"}).at(8));
}

TEST_F(Drained, ExportWritesAllSlices) {
    MakeRun("run");
    EXPECT_EQ(15u, Run({"export", "run", "--format", "csv"}).lines.size());
    EXPECT_EQ(9u, Run({"export", "run", "--format", "csv", "--to", "4"}).lines.size());
}

TEST_F(Drained, ReportDrawsAllSlicesAndTellsTheFiguresOfTheLoad) {
    MakeRun("run");
    const auto page = [&](std::vector<std::string> arguments) {
        std::string text;
        for (const std::string& line : Run(std::move(arguments)).lines) text += line;
        return text;
    };
    EXPECT_THAT(page({"report", "run", "-o", "-"}),
                AllOf(HasSubstr("\"loadBegin\":0,\"loadEnd\":3.75"), HasSubstr("\"slices\":7"),
                      HasSubstr("\"seconds\":3.75"), HasSubstr("\"rate\":601.6,"),
                      HasSubstr("\"flow\":[600,600,600,450,6,0,0]")));
    EXPECT_THAT(page({"report", "run", "-o", "-", "--all"}), HasSubstr("\"seconds\":7"));
}

TEST_F(Drained, LevelsOfMergedRunsAreAdded) {
    MakeRun("one");
    MakeRun("two", 1000.125);
    const auto inputs = kzstatprogram::MergeInputsOf(runs, {"one", "two"});
    kzstatprogram::MergedRun merge(runs, inputs);
    MemoryRun& merged = runs.Make("merged");
    merged.facts = merge.Facts();
    for (kzstatprogram::MergedSlice slice; merge.Next(slice);)
        merged.Add(
            {slice.facts.sliceId, slice.facts.elapsed, slice.facts.endTime, {}, slice.records, {}});
    merged.End();
    EXPECT_THAT(CellsOf("clients", {"show", "merged"}),
                ElementsAre("clients", "LoadSize", "-", "-", "60", "60", "60", "-", "-", "60"));
    EXPECT_EQ("4512", CellsOf("requests", {"show", "merged"}).at(8));
}

TEST_F(Commands, ShowTellsTheNotes) {
    Make("run", {{10}}).notes.push_back({1000, "gap: lunch"});
    EXPECT_EQ("1970-01-01 00:16:40 UTC  gap: lunch", Run({"show", "run"}).lines.at(2));
}

TEST_F(Commands, ExportWritesEveryRecord) {
    Make("run", {{10, 30}, {20}});
    const Result exported = Run({"export", "run", "--format", "csv", "--percentiles", "50"});
    EXPECT_EQ("run: 2 slices\n", exported.error);
    EXPECT_THAT(exported.lines,
                ElementsAre(StartsWith("slice_id,elapsed,name,"), StartsWith("1,1,clients,"),
                            StartsWith("1,1,login,Timer,2,10,30,20,40,1000,2,10,30,20,40,1000,"),
                            StartsWith("2,2,clients,"),
                            StartsWith("2,2,login,Timer,3,10,30,20,60,1400,1,20,20,20,20,400,")));
}

/// Forty slices, of which each repeats one of these.
Logins Forty(const Logins& pattern) {
    Logins logins;
    for (std::size_t i = 0; i < 40; ++i) logins.push_back(pattern[i % pattern.size()]);
    return logins;
}

TEST_F(Commands, CompareMarksWhatChanged) {
    Make("before", Forty({{10, 11}, {12, 10}}));
    Make("after", Forty({{20, 21}, {22, 20}}));
    const Result compared = Run({"compare", "before", "after", "--fail-if", "login mean +50%"});
    EXPECT_EQ(kzstatprogram::kDoesNotHold, compared.status);
    EXPECT_THAT(compared.lines, testing::Contains(StartsWith("*  login ")));
    EXPECT_EQ("failed: login mean +50%: 10.75 became 20.75", compared.lines.back());
}

TEST_F(Commands, CompareTellsOfAllConditions) {
    Make("before", {{10}});
    Make("after", {{20}});
    const std::vector<std::string> unknown{"compare", "before", "after", "--fail-if",
                                           "logn mean > 1"};
    EXPECT_EQ(kzstatprogram::kFailed, Run(unknown).status);
    std::vector<std::string> both = unknown;
    both.insert(both.end(), {"--fail-if", "login mean > 15"});
    const Result compared = Run(both);
    EXPECT_EQ(kzstatprogram::kDoesNotHold, compared.status);
    EXPECT_THAT(compared.lines,
                testing::IsSupersetOf({"failed: login mean > 15: it is 20 ms",
                                       "cannot tell: logn mean > 1: the second run has no logn;"
                                       " near it: login"}));
    both.insert(both.end(), {"--format", "json"});
    const Result json = Run(both);
    EXPECT_EQ(kzstatprogram::kDoesNotHold, json.status);
    EXPECT_THAT(json.lines, testing::Contains(HasSubstr("it is 20 ms")));
    EXPECT_THAT(json.lines, testing::Contains(HasSubstr("has no logn")));
}

TEST_F(Commands, OptionsMayComeBeforeArguments) {
    Make("run", {{10}});
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"compare", "--fail-if", "login mean > 5", "--fail-if",
                                   "login max > 5", "run", "run"},
          {"compare", "--fail-if", "login mean > 5", "run", "--", "run"},
          {"verdict", "--require", "login mean < 5", "--require", "login max < 5", "run"},
          {"verdict", "--require", "login mean < 5", "--", "run"}}) {
        const Result result = Run(words);
        EXPECT_EQ("", result.error);
        EXPECT_EQ(kzstatprogram::kDoesNotHold, result.status);
    }
}

TEST_F(Commands, CompareMarksNothingBelowTheLeastDifference) {
    Make("before", Forty({{10, 11}, {12, 10}}));
    Make("after", Forty({{20, 21}, {22, 20}}));
    EXPECT_THAT(Run({"compare", "before", "after", "--least", "101"}).lines,
                testing::Not(testing::Contains(StartsWith("*"))));
    for (const char* const least : {"-1", "nan", "inf", "x"})
        EXPECT_THAT(Run({"compare", "before", "after", "--least", least}).error,
                    HasSubstr("is no number of at least 0"))
            << least;
}

TEST_F(Commands, CompareSaysOnceWhyNothingIsMarked) {
    Make("before", {{10, 11}, {12, 10}});
    Make("after", {{20, 21}, {22, 20}});
    EXPECT_THAT(
        Run({"compare", "before", "after"}).lines,
        ElementsAre("before: 2 slices", "after: 2 slices", HasSubstr("difference"),
                    HasSubstr("clients"), HasSubstr("mean"), HasSubstr("p50"), HasSubstr("p95"),
                    HasSubstr("p99"),
                    "nothing is marked: that takes at least 30 slices a side, and there are 2 and"
                    " 2"));
}

TEST_F(Commands, CompareSaysHowManyNamesAreNotTested) {
    Make("run", Forty({{10}, {}}));
    EXPECT_EQ("not tested: 1 of 2 names, with values in fewer than 30 slices of a side",
              Run({"compare", "run", "run"}).lines.back());
}

TEST_F(Commands, CompareTakesSeveralRunsASide) {
    Make("a1", {{10}});
    Make("a2", {{11}});
    Make("b1", {{20}});
    Make("b2", {{21}});
    const Result compared =
        Run({"compare", "a1", "a2", "--", "b1", "b2", "--fail-if", "login mean +50%"});
    EXPECT_EQ("b2: 1 slice", compared.lines.at(3));
    EXPECT_THAT(compared.lines, testing::Contains(StartsWith("*  login ")));
    EXPECT_EQ("failed: login mean +50%: 10.50 became 20.50", compared.lines.back());
}

TEST_F(Commands, CompareOfOneRunASideIsOfTheirSlices) {
    Make("a1", {{10}});
    EXPECT_THAT(Run({"compare", "a1", "--", "a1"}).lines.back(), HasSubstr("30 slices a side"));
}

TEST_F(Commands, CompareNeedsTwoSides) {
    Make("a", {{10}});
    using Words = std::vector<std::string>;
    for (const Words& named : {Words{"a"}, Words{"a", "a", "a"}, Words{"--", "a", "a"},
                               Words{"a", "a", "--"}, Words{"a", "--", "a", "--", "a"}}) {
        Words words{"compare"};
        words.insert(words.end(), named.begin(), named.end());
        EXPECT_THAT(Run(words).error, HasSubstr("name two runs"));
    }
}

TEST_F(Commands, ShowTellsThatValuesWhichAreAllTheSameDoNotSpread) {
    for (const double constant : {0.0, 0.1}) {
        Make("run", {{constant, constant}, {constant}});
        EXPECT_THAT(Run({"show", "run"}).lines.back(), testing::Not(HasSubstr("<")));
    }
}

TEST_F(Commands, VerdictWarnsOfAGeneratorThatWasItselfTheBottleneck) {
    MemoryRun& run = runs.Make("run");
    SliceMaker maker;
    for (int i = 0; i < 3; ++i) {
        kzjournal::Slice slice = SliceOf(maker.NextSlice({{"login", Types::Timer, {10}}}));
        slice.cost.emplace();
        slice.cost->measured = 1;
        slice.cost->processors = slice.cost->processorTime = 4;
        run.Add(std::move(slice));
    }
    run.End();
    const Result judged = Run({"verdict", "run", "--require", "login mean < 20ms"});
    EXPECT_EQ(kzstatprogram::kDone, judged.status);
    EXPECT_THAT(judged.lines,
                ElementsAre("run: 3 slices",
                            StartsWith("warning: the run: the generator was saturated from 0:00"),
                            "passed       login mean < 20ms  10 ms", "verdict: passed"));
}

TEST_F(Commands, VerdictIsByTheConditionsThatTheRunHas) {
    Make("run", {{10, 30}, {20}}).conditions = {"login max < 30ms", "login max"};
    const Result judged = Run({"verdict", "run"});
    EXPECT_EQ(kzstatprogram::kDoesNotHold, judged.status);
    EXPECT_THAT(judged.lines, ElementsAre("run: 2 slices", "FAILED       login max < 30ms  30 ms",
                                          StartsWith("cannot tell  login max         'login max'"),
                                          "verdict: FAILED, 1 of 2 conditions"));
}

TEST_F(Commands, VerdictFailsARunThatWasStoppedEarly) {
    Make("run", {{10, 30}, {20}}).notes = {{1000, "stopped early: errors share > 5%, it is 6 %"}};
    const Result judged = Run({"verdict", "run", "--require", "login max <= 30ms"});
    EXPECT_EQ(kzstatprogram::kDoesNotHold, judged.status);
    EXPECT_THAT(judged.lines, ElementsAre("run: 2 slices", "passed       login max <= 30ms  30 ms",
                                          "FAILED       not stopped early  errors share > 5%, it is"
                                          " 6 %",
                                          "verdict: FAILED, 1 of 2 conditions"));
    const Result withoutConditions = Run({"verdict", "run"});
    EXPECT_EQ(kzstatprogram::kDoesNotHold, withoutConditions.status);
    EXPECT_EQ("verdict: FAILED, 1 of 1 conditions", withoutConditions.lines.back());
    Make("other", {{10}});
    const Result compared =
        Run({"verdict", "other", "--baseline", "run", "--require", "login mean +10%"});
    EXPECT_EQ(kzstatprogram::kDone, compared.status);
    EXPECT_EQ("warning: the baseline was stopped early: errors share > 5%, it is 6 %",
              compared.lines.at(2));
}

TEST_F(Commands, VerdictJudgesAConditionThatIsGivenTwiceOnce) {
    Make("run", {{10}});
    const Result judged =
        Run({"verdict", "run", "--require", "login max < 1", "--require", " login max < 1"});
    EXPECT_EQ("verdict: FAILED, 1 of 1 conditions", judged.lines.back());
}

TEST_F(Commands, CheckAccountsForEveryValue) {
    Make("run", {{10, 30}, {20}});
    const Result checked = Run({"check", "run"});
    EXPECT_EQ(kzstatprogram::kDone, checked.status);
    EXPECT_THAT(checked.lines, ElementsAre("2 slices, every value accounted for"));
}

TEST_F(Commands, CheckMissesSlicesThatCouldNotBeKept) {
    Make("run", {{10, 30}, {20}}).lostSlices = 3;
    const Result checked = Run({"check", "run"});
    EXPECT_EQ(kzstatprogram::kDoesNotHold, checked.status);
    EXPECT_THAT(checked.lines,
                ElementsAre("2 of 5 slices", "after slice 2: 3 slices could not be kept"));
}

TEST_F(Commands, CheckMissesASingleSlice) {
    Make("run", {{10, 30}, {20}}).lostSlices = 1;
    EXPECT_EQ("after slice 2: 1 slice could not be kept", Run({"check", "run"}).lines.back());
}

TEST_F(Commands, CheckFindsASliceThatIsThereTwice) {
    MemoryRun& run = Make("run", {{10, 30}, {20}});
    run.Add(*run.AllSlices().back());
    EXPECT_THAT(Run({"check", "run"}).lines,
                ElementsAre("3 slices", "slice 2: it comes after slice 2"));
}

TEST_F(Commands, CheckReadsTheSourcesOfAMergedRun) {
    MakeMerged("merged", {{10, 30}, {20}});
    EXPECT_THAT(Run({"check", "merged"}).lines,
                ElementsAre("2 slices, every value accounted for, as in its 2 sources"));
    MakeMerged("merged", {{10, 30}, {20}, {40}}, 3);
    EXPECT_THAT(
        Run({"check", "merged"}).lines,
        ElementsAre("2 slices", "slice 3: it is missing, but sources 1 2 have a slice in it"));
}

TEST_F(Commands, ReportDrawsTheRun) {
    const MemoryRun& run = Make("run", {{10, 30}, {20}});
    const Result reported = Run({"report", "run", "-o", "-"});
    EXPECT_EQ("run: 2 slices\n", reported.error);
    EXPECT_THAT(reported.lines, testing::Contains(HasSubstr(run.facts.id)));
}

TEST_F(Commands, ReportHasAnEarlyStopAmongTheConditionsOfTheRun) {
    Make("run", {{10}}).notes = {{1000, "stopped early: errors share > 5%, it is 6 %"}};
    EXPECT_THAT(Run({"report", "run", "-o", "-"}).lines,
                testing::Contains(HasSubstr("\"text\":\"not stopped early\",\"outcome\":\"FAILED\","
                                            "\"measured\":\"errors share > 5%, it is 6 %\"")));
}

TEST_F(Commands, ReportComparesSeveralRuns) {
    for (const char* const name : {"a", "b", "c"}) Make(name, {{10, 30}, {20}}).facts.id = name;
    const Result reported = Run({"report", "a", "b", "c", "-o", "-", "--least", "5"});
    EXPECT_EQ("a: 2 slices\nb: 2 slices\nc: 2 slices\n", reported.error);
    EXPECT_THAT(reported.lines, testing::Contains(HasSubstr("\"least_difference\":0.05")));
    EXPECT_THAT(Run({"report", "a", "b", "--", "c", "-o", "-"}).lines,
                testing::Contains(HasSubstr("\"samples_are\":\"runs\"")));
}

TEST_F(Commands, ReportDrawsFromTheBeginOfTheLoadToItsEnd) {
    for (const char* const name : {"a", "b"}) {
        MemoryRun& run = Make(name, {{10}, {10}, {10}, {10}});
        run.facts.id = name;
        run.SetLoad({0.5, 2.75});
    }
    const auto page = [this](std::vector<std::string> options) {
        options.insert(options.begin(), {"report", "a", "b", "-o", "-"});
        return Run(std::move(options)).lines;
    };
    EXPECT_THAT(page({}), testing::Contains(HasSubstr("\"begin\":0.5,\"end\":2.75")));
    EXPECT_THAT(page({"--all"}), testing::Contains(HasSubstr("\"begin\":0.0,\"end\":null")));
    EXPECT_THAT(page({"--from=1"}), testing::Contains(HasSubstr("\"begin\":1.0,\"end\":2.75")));
}

TEST_F(Commands, ReportRefusesWhatItCannotCompare) {
    for (const char* const name : {"a", "b"}) Make(name, {{10, 30}, {20}}).facts.id = name;
    Make("copy", {{10, 30}, {20}}).facts.id = "a";
    const auto errorOf = [this](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "report");
        arguments.insert(arguments.end(), {"-o", "-"});
        return Run(std::move(arguments)).error;
    };
    EXPECT_EQ("copy: this run is there twice", errorOf({"a", "b", "copy"}));
    EXPECT_EQ("a: this run is there twice", errorOf({"a", "--", "a"}));
    EXPECT_THAT(errorOf({"a", "--"}), StartsWith("name a run, or runs to compare"));
    EXPECT_THAT(errorOf({"a", "--", "b", "--", "b"}), StartsWith("name a run, or runs"));
    EXPECT_EQ("--least: one run is not compared", errorOf({"a", "--least", "5"}));
    EXPECT_EQ("--percentiles: one run is not compared", errorOf({"a", "--percentiles", "9"}));
}

TEST_F(Commands, FailWhereThereIsNoSuchRun) {
    for (const char* const command : {"show", "check"})
        EXPECT_EQ("there is no run lost", Run({command, "lost"}).error);
}

}  // namespace

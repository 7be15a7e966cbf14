#include "merge/mergefile.h"

#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>

#include "journal/textof.h"
#include "kzjournalannotate.h"
#include "kzjournalwriter.h"
#include "kzstat_program/figures/violationof.h"
#include "kzstat_program/merge/mergefixture.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class MergeFile : public MergeTest {
protected:
    /// A run of random names and values that begins then and pauses once.
    std::string RandomRun(double startTime) {
        SliceMaker maker("load", sliceLength, startTime);
        std::vector<MadeSlice> slices;
        const auto pause = random() % 30;
        for (std::uint_fast32_t i = 0; i < 30; ++i) {
            slices.push_back(maker.NextSlice(RandomValues()));
            if (i >= pause) slices.back().facts.elapsed -= 1.7 * sliceLength;
        }
        return Keep(startTime, slices);
    }

    std::vector<Reported> RandomValues() {
        std::vector<Reported> reported;
        for (int name = 0; name < 6; ++name) {
            if (random() % 3 == 0) continue;
            reported.push_back({"name " + std::to_string(name), Types::Measurement, {}});
            for (auto i = random() % 4; i > 0; --i)
                reported.back().values.push_back(std::sin(random()) * std::pow(10, random() % 25));
        }
        return reported;
    }

    /// The files in the folder.
    std::vector<std::string> Files() const {
        std::vector<std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path("")))
            files.push_back(entry.path().filename());
        return files;
    }

    std::mt19937 random{7};
};

/// Bits, so that a NaN is what it is and 0 is not -0.
std::string BitsOf(const CKZStatAggregate& aggregate) {
    return {reinterpret_cast<const char*>(&aggregate), sizeof aggregate};
}

void ExpectSame(const kzjournal::Slice& a, const kzjournal::Slice& b) {
    EXPECT_EQ(a.id, b.id);
    EXPECT_EQ(a.elapsed, b.elapsed);
    EXPECT_EQ(a.endTime, b.endTime);
    EXPECT_EQ(a.message, b.message);
    ASSERT_EQ(a.records.size(), b.records.size());
    for (std::size_t i = 0; i < a.records.size(); ++i) {
        EXPECT_EQ(a.records[i].name, b.records[i].name);
        EXPECT_EQ(a.records[i].type, b.records[i].type);
        EXPECT_EQ(BitsOf(a.records[i].totals), BitsOf(b.records[i].totals));
        EXPECT_EQ(BitsOf(a.records[i].lasts), BitsOf(b.records[i].lasts));
    }
}

/// Sorted by name, which files need not keep.
std::vector<kzjournal::Slice> Sorted(std::vector<kzjournal::Slice> slices) {
    for (kzjournal::Slice& slice : slices)
        std::sort(slice.records.begin(), slice.records.end(),
                  [](const auto& a, const auto& b) { return a.name.compareTo(b.name) < 0; });
    return slices;
}

void ExpectSame(std::vector<kzjournal::Slice> a, std::vector<kzjournal::Slice> b) {
    a = Sorted(std::move(a));
    b = Sorted(std::move(b));
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); ++i) ExpectSame(a[i], b[i]);
}

TEST_F(MergeFile, IsTheSameToTheBitThroughWhateverMerges) {
    for (int round = 0; round < 2; ++round) {
        const std::string a = RandomRun(1000);
        const std::string b = RandomRun(1003.3);
        const std::string c = RandomRun(999.2);
        const std::string flat = Merge({a, b, c});
        const auto slices = SlicesOf(flat);
        const double start = kzjournal::Reader(flat).Facts().startTime;
        ASSERT_THAT(slices, testing::Not(IsEmpty()));
        for (const std::string& other : {Merge({c, b, a}), Merge({Merge({a, b}), c}),
                                         Merge({a, Merge({c, b})}), Merge({b, Merge({a, c})})}) {
            ExpectSame(slices, SlicesOf(other));
            EXPECT_EQ(start, kzjournal::Reader(other).Facts().startTime);
        }
    }
}

TEST_F(MergeFile, AccountsForEveryValue) {
    const std::string merged = Merge({RandomRun(1000), RandomRun(1000.4), RandomRun(1001)});
    kzstatprogram::Conservation conservation(sliceLength);
    for (const kzjournal::Slice& slice : SlicesOf(merged))
        EXPECT_EQ("", ViolationOf(conservation, slice));
}

TEST_F(MergeFile, KeepsTheRunsThatItWasMadeOfThroughAllLevels) {
    const std::string a = RandomRun(1000);
    const std::string b = RandomRun(1001);
    const std::string c = RandomRun(1002);
    const std::string ab = Merge({a, b});
    const std::string merged = Merge({ab, c});
    std::map<std::string, kzjournal::Source> sources;
    for (const kzjournal::Source& source : kzjournal::Reader(merged).Sources())
        sources[source.run.id] = source;
    ASSERT_THAT(sources, SizeIs(4));
    const kzjournal::Source& inner = sources.at(IdOf(ab));
    EXPECT_TRUE(inner.isMerged);
    EXPECT_EQ(0, inner.parent);
    EXPECT_EQ(0, sources.at(IdOf(c)).parent);
    for (const std::string& path : {a, b}) EXPECT_EQ(inner.number, sources.at(IdOf(path)).parent);
    for (const std::string& path : {a, b, c}) {
        const kzjournal::Source& source = sources.at(IdOf(path));
        EXPECT_FALSE(source.isMerged);
        ExpectSame(SlicesOf(path), SlicesOf(merged, source.number));
        kzjournal::Reader kept(merged, source.number);
        EXPECT_TRUE(kept.HasEnded());
        EXPECT_EQ(30, kept.ExpectedSlices());
        EXPECT_EQ(kzjournal::Reader(path).Facts().commandLine, kept.Facts().commandLine);
    }
}

TEST_F(MergeFile, TellsWhichRunsAreInWhichSlice) {
    const std::string a = MakeLogins(1000, {{1}, {1}});
    const std::string b = MakeLogins(1001, {{1}, {1}});
    const std::string merged = Merge({a, b});
    kzjournal::Reader journal(merged);
    const auto idsOf = [&](int slice) {
        std::vector<std::string> ids;
        for (const int number : journal.SourcesOfSlice(slice))
            ids.push_back(kzjournal::Reader(merged, number).Facts().id);
        return ids;
    };
    EXPECT_THAT(idsOf(1), testing::ElementsAre(IdOf(a)));
    EXPECT_THAT(idsOf(2), testing::UnorderedElementsAre(IdOf(a), IdOf(b)));
    EXPECT_THAT(idsOf(3), testing::ElementsAre(IdOf(b)));
}

TEST_F(MergeFile, RefusesARunThatIsThereTwice) {
    const std::string a = MakeLogins(1000, {{1}});
    const std::string b = MakeLogins(1000, {{1}});
    const std::string copy = folder.Path("copy.kzj");
    std::filesystem::copy(a, copy);
    const std::string ab = Merge({a, b});
    const std::string abc = Merge({ab, MakeLogins(1000, {{1}})});
    const auto namesBoth = [&](const std::string& x, const std::string& y) {
        return AllOf(HasSubstr("the run " + IdOf(a) + " is in "), HasSubstr(x), HasSubstr(y));
    };
    EXPECT_THAT(ComplaintOf({a, a}), namesBoth(a, a));
    EXPECT_THAT(ComplaintOf({a, b, copy}), namesBoth(a, copy));
    EXPECT_THAT(ComplaintOf({ab, a}), namesBoth(ab, a));
    EXPECT_THAT(ComplaintOf({a, abc}), namesBoth(a, abc));
    EXPECT_THAT(ComplaintOf({abc, ab}),
                AllOf(HasSubstr(abc), HasSubstr(ab), HasSubstr("give each run once")));
}

TEST_F(MergeFile, IsMadeAgainWhenLaterSlicesHaveCome) {
    const std::string a = folder.Path("going.kzj");
    SliceMaker maker;
    kzjournal::Writer going;
    ASSERT_EQ("", TextOf(going.Open(a, kzjournal::RunOfThisProcess("load", 1000, 1))));
    const auto report = [&](double time) {
        const MadeSlice slice = maker.NextSlice({{"login.time", Types::Timer, {time}}});
        ASSERT_EQ("", TextOf(going.Append(slice.View()).problem));
    };
    report(1);
    const std::string b = MakeLogins(1000, {{2}, {3}});
    const std::string merged = Merge({a, b}, "merged.kzj");
    EXPECT_EQ(6, SlicesOf(merged).back().records.at(0).totals.sum);
    std::filesystem::permissions(merged, std::filesystem::perms{0640});

    report(5);
    report(6);
    EXPECT_EQ("", ComplaintOf({b, a}, "merged.kzj"));
    const auto slices = SlicesOf(merged);
    ASSERT_THAT(slices, SizeIs(3));
    EXPECT_EQ(17, slices[2].records.at(0).totals.sum);
    EXPECT_EQ(std::filesystem::perms{0640}, std::filesystem::status(merged).permissions());

    // With one more run.
    EXPECT_EQ("", ComplaintOf({a, b, MakeLogins(1000, {{100}})}, "merged.kzj"));
    EXPECT_EQ(117, SlicesOf(merged).at(2).records.at(0).totals.sum);
}

TEST_F(MergeFile, KeepsHowFarARunHadComeThatGoesOn) {
    const std::string a = folder.Path("going.kzj");
    kzjournal::Writer going;
    ASSERT_EQ("", TextOf(going.Open(a, kzjournal::RunOfThisProcess("load", 1000, 1))));
    const MadeSlice slice = SliceMaker().NextSlice({{"login.time", Types::Timer, {1}}});
    ASSERT_EQ("", TextOf(going.Append(slice.View()).problem));
    const std::string merged = Merge({a, MakeLogins(1000, {{2}})});
    for (const kzjournal::Source& source : kzjournal::Reader(merged).Sources()) {
        kzjournal::Reader kept(merged, source.number);
        EXPECT_EQ(source.run.id != IdOf(a), kept.HasEnded());
        EXPECT_EQ(1, kept.ExpectedSlices());
    }
}

TEST_F(MergeFile, ReplacesNoOtherFile) {
    const std::string a = MakeLogins(1000, {{1}});
    const std::string b = MakeLogins(1000, {{2}});
    const std::string c = MakeLogins(1000, {{3}});
    const std::string ab = Merge({a, b});
    const std::string notes = folder.Path("notes");
    std::ofstream(notes) << "notes";
    const auto nameOf = [](const std::string& path) {
        return std::filesystem::path(path).filename().string();
    };
    EXPECT_THAT(ComplaintOf({a, b}, nameOf(a)),
                HasSubstr("cannot write " + a + ": it belongs to the journal " + a));
    for (const std::string& other : {c, notes})
        EXPECT_THAT(ComplaintOf({a, b}, nameOf(other)),
                    HasSubstr("cannot keep a run in " + other + ": it is in use already"));
    EXPECT_THAT(ComplaintOf({a, c}, nameOf(ab)), HasSubstr("it is in use already"));
    EXPECT_THAT(ComplaintOf({ab, c}, nameOf(ab)), HasSubstr("it belongs to the journal " + ab));
    EXPECT_THAT(SlicesOf(ab), SizeIs(1));
    EXPECT_THAT(SlicesOf(a), SizeIs(1));
}

TEST_F(MergeFile, TakesNoPartOfAnotherRunForItsOwn) {
    const std::string a = MakeLogins(1000, {{1}});
    const std::string b = MakeLogins(1000, {{2}});
    const std::string merged = folder.Path("merged.kzj");
    for (const char* const suffix : {"-wal", "-journal"}) {
        std::ofstream(merged + suffix) << "left behind";
        EXPECT_THAT(ComplaintOf({a, b}, "merged.kzj"),
                    HasSubstr(merged + suffix + " holds a part of another run; move it away"));
        std::filesystem::remove(merged + suffix);
    }
    EXPECT_EQ("", ComplaintOf({a, b}, "merged.kzj"));
}

TEST_F(MergeFile, IsItsOwnersAlone) {
    const std::string merged = Merge({MakeLogins(1000, {{1}}), MakeLogins(1000, {{2}})});
    EXPECT_EQ(std::filesystem::perms{0600}, std::filesystem::status(merged).permissions());
}

TEST_F(MergeFile, GivesUpNoSliceThatItHolds) {
    const std::string a = MakeLogins(1000, {{1}, {1}});
    const std::string b = MakeLogins(1000, {{2}});
    const std::string merged = Merge({a, b}, "merged.kzj");
    const kzjournal::Run run = kzjournal::Reader(a).Facts();
    std::filesystem::remove(a);
    {
        kzjournal::BulkWriter writer(a, run);
        writer.Append(SliceMaker().NextSlice({{"login.time", Types::Timer, {1}}}).View());
        writer.Close(1001, 0);
    }
    EXPECT_EQ("cannot keep a run in " + merged + ": it holds 2 slices of the run " + run.id +
                  ", of which " + a + " has only 1",
              ComplaintOf({a, b}, "merged.kzj"));
    EXPECT_THAT(SlicesOf(merged), SizeIs(2));
}

TEST_F(MergeFile, LeavesNoFileWhenItFails) {
    const std::string a = MakeRun(1000, {{{"a", Types::Counter, {1}}}});
    const std::string b = MakeRun(1000, {{}, {{"a", Types::Timer, {1}}}});
    const auto before = Files();
    EXPECT_THAT(ComplaintOf({a, b}), HasSubstr("is of type"));
    EXPECT_THAT(Files(), testing::UnorderedElementsAreArray(before));
    EXPECT_THAT(ComplaintOf({a, b}, "nowhere/merged.kzj"), HasSubstr("No such file or directory"));
}

TEST_F(MergeFile, KeepsNotesConditionsAndCostsWithTheirSources) {
    const std::string one = MakeLogins(1000, {{1}});
    kzjournal::AddNote(one, {1000.5, "of one"});
    kzjournal::AddConditions(one, {"login.time p95 < 1s"});
    SliceMaker maker("load", 1, 1000);
    MadeSlice slice = maker.NextSlice({{"login.time", Types::Timer, {2}}});
    slice.facts.cost = CKZStatSliceCost{1, 0.5};
    const std::string both = Merge({Merge({one, Keep(1000, {slice})}), MakeLogins(1000, {{3}})});
    kzjournal::Reader merged(both);
    ASSERT_EQ(1u, merged.Notes().size());
    EXPECT_EQ("of one", merged.Notes()[0].text);
    const int source = merged.Notes()[0].source;
    EXPECT_EQ(IdOf(one), kzjournal::Reader(both, source).Facts().id);
    EXPECT_EQ(1u, merged.Conditions().size());
    int costs = 0;
    for (const kzjournal::Source& each : merged.Sources())
        kzjournal::Reader(both, each.number).ForEachCost({}, [&](const kzjournal::SliceCost& of) {
            ++costs;
            EXPECT_EQ(0.5, of.cost.processorTime);
        });
    EXPECT_EQ(1, costs);
}

}  // namespace

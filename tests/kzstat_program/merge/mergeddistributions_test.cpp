// Distributions through a merge: exactly those of one generator that saw all values.

#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <random>

#include "kzstat_program/figures/violationof.h"
#include "kzstat_program/merge/mergefixture.h"
#include "kzstatgenmeasurementdictionary.h"
#include "kzstatmerge.h"
#include "merge/mergecheck.h"
#include "ryp/testclock.h"
#include "support/recordinggenerator.h"

namespace {

using kzstatprogram::CheckMerge;
using testing::SizeIs;

std::string FormOf(const std::optional<CKZStatDistribution>& distribution) {
    std::string form;
    if (distribution) distribution->Encode(form);
    return form;
}

/// A generator that keeps its slices of one second in a journal.
class KeepingGenerator : public RecordingGenerator {
public:
    KeepingGenerator(const std::string& path, double start)
        : RecordingGenerator("load"),
          m_writer(path, kzjournal::RunOfThisProcess("load", start, 1)) {
        CollectDistributions(CKZStatDistributionChoice::Usual());
        Start(start, 1);
    }

    void SendSliceValues(const CKZStatSliceValues& slice) override {
        m_writer.Append(slice);
        m_end = slice.GetEndTime();
        for (const CKZStatSliceValues::Record& record : slice.GetRecords()) {
            std::string& form = runForms[std::string(record.name)];
            form.clear();
            if (record.totalsDistribution != nullptr) record.totalsDistribution->Encode(form);
        }
        if (live != nullptr) live->Add(slice);
    }
    void Report(const char* name, double value) { m_client.AddLast(name, value, Types::Timer); }
    void EndSlice() {
        GetNewDictionary(7, nullptr);
        SendSlice(WaitForSlice());
    }
    void End() { m_writer.Close(m_end, 0); }

    std::map<std::string, std::string> runForms;  // what the generator has of the whole run
    CKZStatMerge* live = nullptr;                 // gets each slice as it ends

private:
    using Types = CKZStatPointTypeEnum;

    kzjournal::BulkWriter m_writer;
    CKZStatGenClient m_client{this, 5};
    double m_end = 0;
};

class MergedDistributions : public MergeTest {
protected:
    static constexpr double kStart = 1e9;

    /// Reports random values to one generator, and each of them to one of two others.
    void RunThreeGenerators() {
        RyPTestClock clock{kStart};
        KeepingGenerator whole(path, kStart);
        KeepingGenerator left(halves[0], kStart);
        KeepingGenerator right(halves[1], kStart);
        for (int second = 1; second <= 5; ++second) {
            for (int i = 0; i < 300; ++i) {
                const char* const name = names[random() % names.size()];
                const double value = RandomValue();
                whole.Report(name, value);
                (random() % 3 == 0 ? left : right).Report(name, value);
            }
            clock.Set(kStart + second);
            live = {};
            left.live = right.live = &live;
            for (KeepingGenerator* const each : {&whole, &left, &right}) each->EndSlice();
        }
        for (KeepingGenerator* const each : {&whole, &left, &right}) each->End();
        expected = whole.runForms;
    }
    double RandomValue() {
        const double value = std::lognormal_distribution<double>(3, 2)(random);
        return random() % 10 == 0 ? -value : value;
    }

    std::mt19937 random{1};
    std::vector<const char*> names{"login", "search", "pay"};
    std::string path = folder.Path("whole.kzj");
    std::vector<std::string> halves{folder.Path("left.kzj"), folder.Path("right.kzj")};
    std::map<std::string, std::string> expected;  // encoded, by name
    CKZStatMerge live;                            // the last slice of both halves
};

TEST_F(MergedDistributions, AreThoseOfOneGeneratorThatSawAllValues) {
    RunThreeGenerators();
    ASSERT_THAT(expected, SizeIs(3));
    const std::string merged = Merge(halves);
    for (const char* const name : names) {
        EXPECT_NE("", expected[name]);
        EXPECT_EQ(expected[name], FormOf(DistributionOf(path, name)));
        EXPECT_EQ(expected[name], FormOf(DistributionOf(merged, name)));
        EXPECT_NE(expected[name], FormOf(DistributionOf(halves[0], name)));
    }
    EXPECT_NO_THROW(CheckMerge(opener, merged));
}

TEST_F(MergedDistributions, AreTheSameMergedAsTheSlicesEnd) {
    RunThreeGenerators();
    ASSERT_THAT(live.GetRecords(), SizeIs(3));
    for (std::size_t i = 0; i < 3; ++i) {
        std::string form;
        live.GetTotalsDistributions()[i]->Encode(form);
        EXPECT_EQ(expected[std::string(live.GetRecords()[i].name.view())], form);
    }
}

TEST_F(MergedDistributions, AreTheSameSliceBySlice) {
    RunThreeGenerators();
    const std::vector<kzjournal::Slice> whole = SlicesOf(path);
    const std::vector<kzjournal::Slice> merged = SlicesOf(Merge(halves));
    ASSERT_EQ(whole.size(), merged.size());
    const auto formsOf = [](const kzjournal::Slice& slice) {
        std::map<std::string, std::string> forms;
        for (std::size_t i = 0; i < slice.records.size(); ++i)
            forms.emplace(slice.records[i].name.view(), slice.distributions.FormOf(i));
        return forms;
    };
    for (std::size_t i = 0; i < whole.size(); ++i) EXPECT_EQ(formsOf(whole[i]), formsOf(merged[i]));
}

TEST_F(MergedDistributions, OfMergedRunsAreThoseOfTheirParts) {
    RunThreeGenerators();
    const std::string third =
        MakeDistributedRun(kStart, {{{"login", Types::Timer, {1}}}, {{"pay", Types::Timer, {2}}}});
    const std::string once = Merge({halves[0], halves[1], third});
    const std::string twice = Merge({third, Merge(halves)});
    for (const char* const name : names)
        EXPECT_EQ(FormOf(DistributionOf(once, name)), FormOf(DistributionOf(twice, name)));
    EXPECT_NE("", FormOf(DistributionOf(twice, "login")));
}

TEST_F(MergedDistributions, AreNoneWhereASourceWithValuesHasNone) {
    const std::string with =
        MakeDistributedRun(1000, {{{"n", Types::Timer, {1}}}, {{"n", Types::Timer, {2}}}});
    const std::string without = MakeRun(1000, {{{"n", Types::Timer, {3}}}, {}});
    const std::string merged = Merge({with, without});
    EXPECT_EQ(std::nullopt, DistributionOf(merged, "n"));
    const std::vector<kzjournal::Slice> slices = SlicesOf(merged);
    EXPECT_EQ("", slices.at(0).distributions.FormOf(0));
    EXPECT_NE("", slices.at(1).distributions.FormOf(0));
}

TEST_F(MergedDistributions, ThatTheSourcesDoNotGiveAreFound) {
    const std::string one = MakeDistributedRun(1000, {{{"n", Types::Timer, {1, 2}}}});
    {
        const auto inputs = kzstatprogram::MergeInputsOf(opener, {one});
        kzstatprogram::MergedRun run(opener, inputs);
        kzstatprogram::MergedSlice slice;
        ASSERT_TRUE(run.Next(slice));
        kzjournal::BulkWriter writer(path, run.Facts());
        const int source = writer.AddSource(inputs[0].run, 0, false);
        writer.AppendToSource(source, slice.parts[0].slice);
        CKZStatDistribution other;
        other.Add(1);
        other.Add(3);
        slice.distributions = {&other};
        writer.Append(slice.View(), slice.Sources());
        writer.CloseSource(source, 1001, 0, 1);
        writer.Close(1001, 0);
    }
    try {
        CheckMerge(opener, path);
        ADD_FAILURE() << "the wrong distribution was not seen";
    } catch (const kzstatprogram::Violation& violation) {
        EXPECT_EQ("slice 1: the distribution of n is not what its sources give",
                  std::string(violation.what()));
    }
}

}  // namespace

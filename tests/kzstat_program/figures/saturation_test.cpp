#include "figures/saturation.h"

#include <gmock/gmock.h>
#include <sched.h>

#include <array>
#include <atomic>
#include <thread>

#include "conditions/generatorcosts.h"
#include "journal/temporaryfolder.h"
#include "kzjournalkeep.h"
#include "kzjournalreader.h"
#include "kzstat_program/memoryruns.h"
#include "reading/namedruns.h"
#include "ryp/clock.h"
#include "ryp/processusage.h"

namespace kzstatprogram {
namespace {

using testing::HasSubstr;

class SaturationOfRuns : public testing::Test {
protected:
    /// A slice of the run for each letter: 'x' where the generator was busy, '.' where it was not,
    /// '-' where nothing was measured.
    static void Add(MemoryRun& run, const std::string& slices) {
        for (const char slice : slices) {
            kzjournal::Slice added;
            added.id = static_cast<int>(run.AllSlices().size()) + 1;
            added.elapsed = added.id;
            if (slice != '-') added.cost = slice == 'x' ? BusyCost() : IdleCost();
            run.Add(added);
        }
    }
    std::optional<Saturation> FindIn(const std::string& name,
                                     const kzjournal::TimeRange& range = {}) {
        return FindSaturation(*runs.Open(name, 0), runs, name, range);
    }
    std::optional<Saturation> Find(const std::string& slices) {
        Add(runs.Make("run"), slices);
        return FindIn("run");
    }

    MemoryRuns runs;
};

TEST_F(SaturationOfRuns, BeginsWithThreeSlicesInARow) {
    EXPECT_FALSE(Find(""));
    EXPECT_FALSE(Find(".xx.xx."));
    EXPECT_FALSE(Find("----"));
    const auto found = Find("..xx.xxx.x");
    ASSERT_TRUE(found);
    EXPECT_EQ(5, found->from);
    EXPECT_EQ(4, found->slices);
    EXPECT_EQ(5, found->measured);
    EXPECT_EQ(
        "warning: the generator was saturated from 0:05 on, in 4 of 5 slices: it used 95 % of"
        " the processors that it may use",
        kzconditions::DescribeSaturation(*found));
}

TEST_F(SaturationOfRuns, PassesOverSlicesThatWereNotMeasured) {
    const auto found = Find(".x-xx");
    ASSERT_TRUE(found);
    EXPECT_EQ(1, found->from);
}

TEST_F(SaturationOfRuns, IsLookedForInARange) {
    Add(runs.Make("run"), "xxx....");
    EXPECT_TRUE(FindIn("run", {0, 3}));
    EXPECT_FALSE(FindIn("run", {2, 7}));
}

TEST_F(SaturationOfRuns, IsFoundAsTheRunGoesOn) {
    MemoryRun& run = runs.Make("run");
    const auto reader = runs.Open("run", 0);
    SaturationFinder finder(1);
    for (const char* const slices : {".xx", "x", ".x"}) {
        Add(run, slices);
        AddNews(*reader, finder);
    }
    ASSERT_TRUE(finder.Get());
    EXPECT_EQ(1, finder.Get()->from);
    EXPECT_EQ(4, finder.Get()->slices);
    EXPECT_EQ(5, finder.Get()->measured);
}

TEST_F(SaturationOfRuns, OfAMergedRunIsTheFirstOfItsSources) {
    MemoryRun& merged = runs.Make("run");
    for (int i = 1; i <= 2; ++i) {
        kzjournal::Run facts =
            kzjournal::RunOfThisProcess("load " + std::to_string(i), 1000 + i, 1);
        facts.host = "host";
        merged.sources.push_back({i, 0, facts, false});
        MemoryRun& source = runs.Make("run", i);
        source.facts = facts;
        Add(source, i == 1 ? "...xxx" : ".xxx");
    }
    const auto found = FindIn("run");
    ASSERT_TRUE(found);
    EXPECT_EQ(3, found->from);
    EXPECT_THAT(kzconditions::DescribeSaturation(*found),
                HasSubstr("warning: load 2 on host was saturated from 0:03 on, in 3 of 3 slices"));
}

TEST_F(SaturationOfRuns, IsOfOneOfSeveralGeneratorsOfOneName) {
    MemoryRun& merged = runs.Make("run");
    for (int i = 1; i <= 3; ++i) {
        kzjournal::Run facts = kzjournal::RunOfThisProcess("load", 1000 + 10 * i, 1);
        facts.host = "host";
        merged.sources.push_back({i, 0, facts, false});
        MemoryRun& source = runs.Make("run", i);
        source.facts = facts;
        Add(source, i == 1 ? "..xx" : "x.xxx");
    }
    const auto found = FindIn("run");
    ASSERT_TRUE(found);
    EXPECT_EQ(22, found->from);
    EXPECT_EQ("load on host (source 2)", found->generator);
}

/// Leaves the calling thread, and those that it starts, one processor.
void UseOneProcessor() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<unsigned>(sched_getcpu()), &one);
    ASSERT_EQ(0, sched_setaffinity(0, sizeof one, &one));
}

/// More threads work than there are processors: they use all of it, or wait for what other programs
/// use of it.
class Overload {
public:
    Overload() {
        for (std::thread& each : m_threads)
            each = std::thread([this] {
                while (!m_isOver) {
                }
            });
    }
    ~Overload() {
        m_isOver = true;
        for (std::thread& each : m_threads) each.join();
    }
    Overload(const Overload&) = delete;
    Overload& operator=(const Overload&) = delete;

private:
    std::atomic<bool> m_isOver = false;
    std::array<std::thread, 3> m_threads;
};

bool IsSaturatedWithin(double seconds, const std::string& path) {
    const NamedRuns runs;
    const double end = RyPSysTime() + seconds;
    while (RyPSysTime() < end) {
        if (FindSaturation(*runs.Open(path, 0), runs, path)) return true;
        RyPSleep(0.05);
    }
    return false;
}

TEST(SaturationOfAProcess, IsSeenWhereItsOnlyProcessorHasTooMuchToDo) {
    const TemporaryFolder folder;
    const std::string path = folder.Path("run.kzj");
    std::thread([&] {
        UseOneProcessor();
        CKZStatRun run("load", 0.1);
        kzjournal::Keep(run, path);
        {
            const Overload overload;
            EXPECT_TRUE(IsSaturatedWithin(20, path));
        }
        EXPECT_TRUE(run.Finish().IsClean());
    }).join();
    kzjournal::Reader(path).ForEachCost({}, [](const kzjournal::SliceCost& slice) {
        EXPECT_LE(slice.cost.processors, 1);
        EXPECT_GE(slice.cost.processorTime, 0);
    });
}

}  // namespace
}  // namespace kzstatprogram

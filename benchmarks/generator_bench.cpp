#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "kzstatisticsgenerator.h"
#include "ryp/testclock.h"
#include "support/filledgenerator.h"
#include "support/handwritten.h"
#include "support/silenthost.h"
#include "support/workload.h"

// What the pack thread does with a finished slice, beside one merge of hand-written maps into one
// and its rendering; and how the cost grows with clients, names and missed slices.

namespace {

void SetPairs(benchmark::State& state, std::int64_t pairs) {
    state.SetItemsProcessed(state.iterations() * pairs);
    state.SetComplexityN(pairs);
}

void SendSlices(benchmark::State& state, const CKZStatDistributionChoice& distributions) {
    FilledGenerator generator(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)),
                              distributions);
    for (auto _ : state) {
        state.PauseTiming();
        generator.FinishSlice();
        state.ResumeTiming();
        CKZStatGenSlice* const slice = generator.SendSlice();
        state.PauseTiming();
        generator.FreeSlice(slice);
        state.ResumeTiming();
    }
    SetPairs(state, state.range(0) * state.range(1));
}

/// Arguments: clients, names.
void BM_Main_SendSlice(benchmark::State& state) {
    SendSlices(state, CKZStatDistributionChoice::None());
}
BENCHMARK(BM_Main_SendSlice)
    ->Args({kManyClients, kUsualNames})
    ->Args({10, kUsualNames})
    ->Args({100, kUsualNames})
    ->Args({10'000, kUsualNames})
    ->Args({100'000, 1})
    ->Args({10'000, 1})
    ->Args({1000, 1})
    ->Args({100, 1})
    ->Args({10, 1})
    ->Args({20, 10})
    ->Args({20, 100})
    ->Args({20, 1000})
    ->Args({20, 10'000})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

/// With the distribution of every name.
void BM_CollectingMain_SendSlice(benchmark::State& state) {
    SendSlices(state, CKZStatDistributionChoice::Usual());
}
BENCHMARK(BM_CollectingMain_SendSlice)
    ->Args({kManyClients, kUsualNames})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

/// How reports come in, and so where the nodes of hand-written maps lie: a host fills the maps of
/// all clients at a time, and allocates for itself meanwhile.
enum Order : std::int64_t { kInTurn, kClientByClient, kInTurnAmongOthers };

/// What a host allocates of its own between two reports, and keeps for about a slice.
class OtherAllocations {
public:
    void Make() {
        constexpr unsigned kMostBytes = 256;
        if (m_random() % 2 == 0) m_made.emplace_back(m_random() % kMostBytes, ' ');
    }
    void FreeFormer() { m_former = std::exchange(m_made, {}); }

private:
    std::mt19937 m_random;
    std::vector<std::string> m_made;
    std::vector<std::string> m_former;
};

/// Processor seconds that `work` takes.
template <class Work>
double Measure(Work work) {
    const std::clock_t begin = std::clock();
    work();
    return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
}

double MedianOf(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Both sides get the same reports in the same order and fill their maps anew for each sending. The
/// functions return the processor seconds of the sending alone.
class BothSides {
public:
    explicit BothSides(Order order) : m_order(order) {}

    double SendSlice() {
        Report([this](int client, const char* name) { m_generator.AddLast(client, name); });
        m_generator.FlushCaches();
        m_generator.EndSlices(1);
        CKZStatGenSlice* slice = nullptr;
        const double seconds = Measure([&] { slice = m_generator.SendSlice(); });
        m_generator.FreeSlice(slice);
        return seconds;
    }
    double RollUp() {
        m_statistics.Clear();
        Report([this](int client, const char* name) { m_statistics.AddLast(client, name, 1.5); });
        return Measure([this] { benchmark::DoNotOptimize(m_statistics.RollUp()); });
    }

private:
    template <class Take>
    void Report(Take take) {
        m_others.FreeFormer();
        const std::size_t burst = m_order == kClientByClient ? kUsualNames : kBurst;
        ReportSlice(kManyClients, UsualNames(), burst, [&](int client, const char* name) {
            take(client, name);
            if (m_order == kInTurnAmongOthers) m_others.Make();
        });
    }

    const Order m_order;
    FilledGenerator m_generator{kManyClients, kUsualNames};
    HandwrittenStatistics m_statistics{kManyClients};
    OtherAllocations m_others;
};

/// The ratio is the median of those of the rounds: the roll-up waits for memory at each node, so
/// its time doubles and falls again from one second to the next with what else the machine does.
/// Each side sends twice in a round, since the first time it finds the caches full of what is the
/// other's. Argument: the order.
void BM_Main_SendSliceBesideRollUp(benchmark::State& state) {
    constexpr int kPairs = kManyClients * kUsualNames;
    BothSides both(static_cast<Order>(state.range(0)));
    std::vector<double> sendings, rollUps, ratios;
    for (auto _ : state) {
        both.SendSlice();
        sendings.push_back(both.SendSlice());
        both.RollUp();
        rollUps.push_back(both.RollUp());
        ratios.push_back(sendings.back() / rollUps.back());
        state.SetIterationTime(sendings.back());
    }
    SetPairs(state, kPairs);
    state.counters["sending"] = 1e9 * MedianOf(sendings) / kPairs;
    state.counters["rollUp"] = 1e9 * MedianOf(rollUps) / kPairs;
    state.counters["ratio"] = MedianOf(ratios);
}
BENCHMARK(BM_Main_SendSliceBesideRollUp)
    ->Arg(kInTurn)
    ->Arg(kClientByClient)
    ->Arg(kInTurnAmongOthers)
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

/// Packing slices that were missed, after one that was filled. Argument: slices.
void BM_Main_CatchUp(benchmark::State& state) {
    const int slices = static_cast<int>(state.range(0));
    FilledGenerator generator(100, kUsualNames);
    for (auto _ : state) {
        state.PauseTiming();
        generator.FinishSlice();
        generator.EndSlices(slices);
        generator.FreeSlice(generator.SendSlice());
        state.ResumeTiming();
        for (int slice = 0; slice < slices; ++slice) generator.FreeSlice(generator.SendSlice());
    }
    SetPairs(state, slices);
}
BENCHMARK(BM_Main_CatchUp)
    ->Arg(1)
    ->Arg(10)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(10'000)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

/// Everything that a slice costs but its sending: a dictionary per client is made, filled and
/// freed. Per client and slice.
void BM_Dictionary_Turnover(benchmark::State& state) {
    RyPTestClock clock(0);
    SilentHost host;
    host.Start(0, FilledGenerator::kSliceLength);
    CKZStatGenClient client(&host, 1);
    for (auto _ : state) {
        for (const std::string& name : UsualNames())
            client.AddLast(name.c_str(), 1.5, CKZStatPointTypeEnum::Measurement);
        client.FlushStatsCache();
        clock.Advance(FilledGenerator::kSliceLength);
        client.GetNewDictionary();
        host.RemoveSlice(host.WaitForSlice());
    }
}
BENCHMARK(BM_Dictionary_Turnover)->UseRealTime();

void BM_Handwritten_Turnover(benchmark::State& state) {
    for (auto _ : state) {
        HandwrittenMap map;
        for (const std::string& name : UsualNames()) AddValue(map, name, 1.5);
        benchmark::DoNotOptimize(&map);
    }
}
BENCHMARK(BM_Handwritten_Turnover)->UseRealTime();

}  // namespace

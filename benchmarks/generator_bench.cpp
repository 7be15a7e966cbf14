#include <benchmark/benchmark.h>

#include <memory>
#include <string>
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

/// The maps are filled anew between the rounds, as slices are, and so lie as far away.
void BM_Handwritten_RollUp(benchmark::State& state) {
    HandwrittenStatistics statistics(static_cast<int>(state.range(0)));
    const std::vector<std::string> names = MakeNames(static_cast<int>(state.range(1)));
    for (auto _ : state) {
        state.PauseTiming();
        statistics.Clear();
        for (int client = 0; client < state.range(0); ++client)
            for (const std::string& name : names) statistics.AddLast(client, name.c_str(), 1.5);
        state.ResumeTiming();
        benchmark::DoNotOptimize(statistics.RollUp());
    }
    SetPairs(state, state.range(0) * state.range(1));
}
BENCHMARK(BM_Handwritten_RollUp)
    ->Args({kManyClients, kUsualNames})
    ->UseRealTime()
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

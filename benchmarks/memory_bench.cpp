#include <benchmark/benchmark.h>
#include <malloc.h>

#include <deque>
#include <vector>

#include "kzstatgenmeasurementdictionary.h"
#include "kzstatisticsgenerator.h"
#include "ryp/clock.h"
#include "support/handwritten.h"
#include "support/silenthost.h"
#include "support/workload.h"

// Memory is not time: the figure of interest is the counter, bytes as the allocator counts them,
// its own overhead included.

namespace {

double BytesInUse() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

/// Enough of them that what the allocator keeps back does not count.
constexpr std::size_t kDictionaries = 1000;

/// What a name and its measurement take in one dictionary, the empty dictionary aside.
void BM_Memory_PairInDictionary(benchmark::State& state) {
    double bytes = 0;
    for (auto _ : state) {
        std::vector<CKZStatGenMeasurementDictionary> dictionaries(kDictionaries);
        const double empty = BytesInUse();
        for (CKZStatGenMeasurementDictionary& dictionary : dictionaries)
            for (const std::string& name : UsualNames())
                dictionary.AddLast(name.c_str(), 1.5, CKZStatPointTypeEnum::Measurement);
        bytes = BytesInUse() - empty;
    }
    state.counters["bytes"] = bytes / kDictionaries / kUsualNames;
}
BENCHMARK(BM_Memory_PairInDictionary)->Iterations(1);

void BM_Memory_PairInHandwrittenMap(benchmark::State& state) {
    double bytes = 0;
    for (auto _ : state) {
        std::vector<HandwrittenMap> maps(kDictionaries);
        const double empty = BytesInUse();
        for (HandwrittenMap& map : maps)
            for (const std::string& name : UsualNames()) AddValue(map, name, 1.5);
        bytes = BytesInUse() - empty;
    }
    state.counters["bytes"] = bytes / kDictionaries / kUsualNames;
}
BENCHMARK(BM_Memory_PairInHandwrittenMap)->Iterations(1);

/// A client that has reported one value in the current slice.
void BM_Memory_IdleClient(benchmark::State& state) {
    double bytes = 0;
    for (auto _ : state) {
        SilentHost host;
        host.Start(RyPSysTime(), 1e6);
        const double none = BytesInUse();
        std::deque<CKZStatGenClient> clients;
        for (int id = 0; id < kManyClients; ++id) {
            clients.emplace_back(&host, id);
            clients.back().AddLast("one", 1.5, CKZStatPointTypeEnum::Measurement);
        }
        bytes = BytesInUse() - none;
    }
    state.counters["bytes"] = bytes / kManyClients;
}
BENCHMARK(BM_Memory_IdleClient)->Iterations(1);

}  // namespace

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <unistd.h>

#include <deque>
#include <fstream>
#include <string>
#include <vector>

#include "kzstatgenmeasurementdictionary.h"
#include "kzstatisticsgenerator.h"
#include "ryp/clock.h"
#include "support/filledgenerator.h"
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

double ResidentBytes() {
    malloc_trim(0);  // what other benchmarks left behind
    std::ifstream file("/proc/self/statm");
    double pages = 0;
    file >> pages >> pages;
    return pages * static_cast<double>(sysconf(_SC_PAGESIZE));
}

void ForgetPeak() {
    std::ofstream("/proc/self/clear_refs") << 5;
}

/// Resident bytes at most since `ForgetPeak`.
double PeakBytes() {
    std::ifstream file("/proc/self/status");
    std::string word;
    double kibibytes = 0;
    while (file >> word && word != "VmHWM:") continue;
    file >> kibibytes;
    return kibibytes * 1024;
}

/// Enough of them that what the allocator keeps back does not count.
constexpr std::size_t kDictionaries = 1000;

/// Bytes that a name and its values take in a map, the empty map aside, where `add(map, name)` adds
/// one.
template <class Map, class Add>
double BytesOfPair(Add add) {
    std::vector<Map> maps(kDictionaries);
    const double empty = BytesInUse();
    for (Map& map : maps)
        for (const std::string& name : UsualNames()) add(map, name);
    return (BytesInUse() - empty) / kDictionaries / kUsualNames;
}

void BM_Memory_PairInDictionary(benchmark::State& state) {
    for (auto _ : state)
        state.counters["bytes"] = BytesOfPair<CKZStatGenMeasurementDictionary>(
            [](CKZStatGenMeasurementDictionary& dictionary, const std::string& name) {
                dictionary.AddLast(name.c_str(), 1.5, CKZStatPointTypeEnum::Measurement);
            });
}
BENCHMARK(BM_Memory_PairInDictionary)->Iterations(1);

void BM_Memory_PairInHandwrittenMap(benchmark::State& state) {
    for (auto _ : state)
        state.counters["bytes"] = BytesOfPair<HandwrittenMap>(
            [](HandwrittenMap& map, const std::string& name) { AddValue(map, name, 1.5); });
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

/// What each client takes, in its current slice and in the totals, after some slices were sent and
/// freed, each while the next one was filled. The peak includes the slice to be sent. Arguments:
/// clients, names, slices.
void BM_Memory_Client(benchmark::State& state) {
    const int clients = static_cast<int>(state.range(0));
    for (auto _ : state) {
        const double residentBefore = ResidentBytes();
        const double bytesBefore = BytesInUse();
        ForgetPeak();
        FilledGenerator generator(clients, static_cast<int>(state.range(1)));
        generator.FillSlice();
        for (int slice = 2; slice < state.range(2); ++slice) {
            generator.EndSlices(1);
            generator.FillSlice();
            generator.FreeSlice(generator.SendSlice());
        }
        state.counters["bytes"] = (BytesInUse() - bytesBefore) / clients;
        state.counters["peak"] = (PeakBytes() - residentBefore) / clients;
        state.counters["resident"] = (ResidentBytes() - residentBefore) / clients;
    }
}
BENCHMARK(BM_Memory_Client)->Args({100'000, 5, 3})->Iterations(1);
BENCHMARK(BM_Memory_Client)
    ->Args({1'000'000, 1, 10})
    ->Iterations(1)
    ->Repetitions(1)
    ->Unit(benchmark::kSecond);

}  // namespace

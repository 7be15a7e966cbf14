#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "kzstatdistribution.h"

// Distributions of values, per value, and what is done with that of a slice.

namespace {

constexpr int kValues = 4096;
constexpr int kValuesOfASlice = 1000;

std::vector<double> Around(double mean, double deviation, int count) {
    std::mt19937_64 random(7);
    std::normal_distribution<double> distribution(mean, deviation);
    std::vector<double> values;
    for (int i = 0; i < count; ++i) values.push_back(distribution(random));
    return values;
}

/// Response times around one mean.
const std::vector<double>& HotValues() {
    static const std::vector<double> values = Around(100, 10, kValues);
    return values;
}

/// Of both signs and over some twenty powers of two.
const std::vector<double>& SpreadValues() {
    static const std::vector<double> values = [] {
        std::mt19937_64 random(7);
        std::uniform_real_distribution<double> exponent(-10, 10);
        std::vector<double> spread;
        for (int i = 0; i < kValues; ++i)
            spread.push_back((i % 4 == 0 ? -1 : 1) * std::exp2(exponent(random)));
        return spread;
    }();
    return values;
}

CKZStatDistribution DistributionOf(const std::vector<double>& values) {
    CKZStatDistribution distribution;
    for (const double value : values) distribution.Add(value);
    return distribution;
}

CKZStatDistribution Slice() {
    return DistributionOf(Around(100, 10, kValuesOfASlice));
}

/// What a host would write without the class: as many buckets, in a map.
class MapOfBuckets {
public:
    void Add(double value) {
        int exponent = 0;
        const double mantissa = std::frexp(value, &exponent);
        ++m_counts[exponent * 256 + static_cast<int>(mantissa * 256)];
    }

private:
    std::map<int, std::uint64_t> m_counts;
};

template <class Distribution>
void AddAll(benchmark::State& state, const std::vector<double>& values) {
    Distribution distribution;
    for (const double value : values) distribution.Add(value);
    for (auto _ : state)
        for (const double value : values) distribution.Add(value);
    state.SetItemsProcessed(state.iterations() * kValues);
}

void BM_Distribution_AddHot(benchmark::State& state) {
    AddAll<CKZStatDistribution>(state, HotValues());
}
BENCHMARK(BM_Distribution_AddHot);

void BM_Distribution_AddSpread(benchmark::State& state) {
    AddAll<CKZStatDistribution>(state, SpreadValues());
}
BENCHMARK(BM_Distribution_AddSpread);

void BM_Distribution_AddHotToAMap(benchmark::State& state) {
    AddAll<MapOfBuckets>(state, HotValues());
}
BENCHMARK(BM_Distribution_AddHotToAMap);

void BM_Distribution_AddSpreadToAMap(benchmark::State& state) {
    AddAll<MapOfBuckets>(state, SpreadValues());
}
BENCHMARK(BM_Distribution_AddSpreadToAMap);

/// A slice into the run, in the steady state.
void BM_Distribution_AddSlice(benchmark::State& state) {
    const CKZStatDistribution slice = Slice();
    CKZStatDistribution run;
    for (auto _ : state) run.Add(slice);
}
BENCHMARK(BM_Distribution_AddSlice);

/// A slice from its first value to the next one, in memory of its own.
void BM_Distribution_FillAndClear(benchmark::State& state) {
    const std::vector<double> values = Around(100, 10, kValuesOfASlice);
    CKZStatDistribution slice;
    for (auto _ : state) {
        for (const double value : values) slice.Add(value);
        slice.Clear();
    }
    state.SetItemsProcessed(state.iterations() * kValuesOfASlice);
    state.counters["bytes"] = static_cast<double>(slice.GetMemorySize());
}
BENCHMARK(BM_Distribution_FillAndClear);

void BM_Distribution_Quantile(benchmark::State& state) {
    const CKZStatDistribution slice = Slice();
    for (auto _ : state) benchmark::DoNotOptimize(slice.Quantile(0.95));
}
BENCHMARK(BM_Distribution_Quantile);

void BM_Distribution_Encode(benchmark::State& state) {
    const CKZStatDistribution slice = Slice();
    std::string bytes;
    for (auto _ : state) {
        bytes.clear();
        slice.Encode(bytes);
    }
    state.counters["bytes"] = static_cast<double>(bytes.size());
}
BENCHMARK(BM_Distribution_Encode);

void BM_Distribution_Decode(benchmark::State& state) {
    std::string bytes;
    Slice().Encode(bytes);
    CKZStatDistribution slice;
    for (auto _ : state) benchmark::DoNotOptimize(slice.Decode(bytes));
}
BENCHMARK(BM_Distribution_Decode);

}  // namespace

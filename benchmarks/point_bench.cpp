#include <benchmark/benchmark.h>

#include <memory>

#include "kzstatpointbuilder.h"

// What consumers of the statistics do with points, per operation.

namespace {

using Types = CKZStatPointTypeEnum;

const MeasurementArrayItem& Item() {
    static const MeasurementArrayItem item = {1, 1, 1, 1, 1, 1, 0, 1, 1, 1, 1, 1, 0};
    return item;
}

void BM_Point_BuildPoint(benchmark::State& state) {
    for (auto _ : state) {
        const std::unique_ptr<CKZStatPoint> point(
            CKZStatPointBuilder::BuildPoint(Types::Timer, Item()));
        benchmark::DoNotOptimize(point.get());
    }
}
BENCHMARK(BM_Point_BuildPoint);

void BM_Point_AddValues(benchmark::State& state) {
    const std::unique_ptr<CKZStatPoint> point(
        CKZStatPointBuilder::BuildPoint(Types::Timer, Item()));
    for (auto _ : state) point->AddValues(Item());
}
BENCHMARK(BM_Point_AddValues);

void BM_Point_OperatorPlus(benchmark::State& state) {
    const std::unique_ptr<CKZStatPoint> point(
        CKZStatPointBuilder::BuildPoint(Types::Timer, Item()));
    const std::unique_ptr<CKZStatPoint> other(
        CKZStatPointBuilder::BuildPoint(Types::Timer, Item()));
    for (auto _ : state) benchmark::DoNotOptimize(&(*point + *other));
}
BENCHMARK(BM_Point_OperatorPlus);

}  // namespace

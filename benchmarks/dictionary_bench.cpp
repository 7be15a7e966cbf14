#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdint>
#include <string>
#include <vector>

#include "kzstatgenmeasurementdictionary.h"
#include "rw/cstring.h"
#include "support/handwritten.h"
#include "support/workload.h"

// The operations of one dictionary, per pair of name and measurement.

namespace {

constexpr double kValue = 1234.5678;

void Fill(CKZStatGenMeasurementDictionary& dictionary, const std::vector<std::string>& names) {
    for (const std::string& name : names)
        dictionary.AddLast(name.c_str(), kValue, CKZStatPointTypeEnum::Measurement);
}

void SetItems(benchmark::State& state, std::size_t itemsPerIteration) {
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(itemsPerIteration));
}

void BM_Dictionary_AddValuesOfDict(benchmark::State& state) {
    CKZStatGenMeasurementDictionary target;
    CKZStatGenMeasurementDictionary source;
    Fill(target, UsualNames());
    // In another order than the target has.
    const std::vector<std::string> reversed(UsualNames().rbegin(), UsualNames().rend());
    Fill(source, reversed);
    for (auto _ : state) target.AddValuesOfDict(&source, AddFromSlice);
    SetItems(state, UsualNames().size());
}
BENCHMARK(BM_Dictionary_AddValuesOfDict)->UseRealTime();

void BM_Handwritten_LookUp(benchmark::State& state) {
    HandwrittenMap map;
    for (const std::string& name : UsualNames()) AddValue(map, name, kValue);
    std::vector<const char*> names;
    for (const std::string& name : UsualNames()) names.push_back(name.c_str());
    for (auto _ : state)
        for (const char* const name : names)
            benchmark::DoNotOptimize(map.find(std::string_view(name)));
    SetItems(state, names.size());
}
BENCHMARK(BM_Handwritten_LookUp)->UseRealTime();

void BM_Dictionary_GetSum(benchmark::State& state) {
    CKZStatGenMeasurementDictionary dictionary;
    Fill(dictionary, UsualNames());
    for (auto _ : state)
        for (const std::string& name : UsualNames())
            benchmark::DoNotOptimize(dictionary.GetSum(name.c_str()));
    SetItems(state, UsualNames().size());
}
BENCHMARK(BM_Dictionary_GetSum)->UseRealTime();

void BM_Dictionary_DumpDict(benchmark::State& state) {
    CKZStatGenMeasurementDictionary dictionary;
    Fill(dictionary, UsualNames());
    RWCString text;
    for (auto _ : state) dictionary.DumpDict(text);
    SetItems(state, UsualNames().size());
}
BENCHMARK(BM_Dictionary_DumpDict)->UseRealTime();

/// The ten doubles of a record, and nothing around them. Per record.
void BM_ToChars_Record(benchmark::State& state) {
    const double values[] = {kValue, kValue, kValue, kValue * kValue, kValue,
                             kValue, kValue, kValue, kValue * kValue, kValue};
    char buffer[1024];
    for (auto _ : state) {
        char* at = buffer;
        for (const double value : values)
            at = std::to_chars(at, buffer + sizeof buffer, value, std::chars_format::fixed, 3).ptr;
        benchmark::DoNotOptimize(at);
        benchmark::ClobberMemory();
    }
    SetItems(state, 1);
}
BENCHMARK(BM_ToChars_Record)->UseRealTime();

}  // namespace

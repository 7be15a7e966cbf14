#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "kzstatmerge.h"
#include "kzstatmessage.h"
#include "kzstatpointbuilder.h"
#include "rw/cstring.h"
#include "ryp/testclock.h"
#include "support/silenthost.h"
#include "support/workload.h"

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

/// Keeps the text of the last message.
class Sender : public SilentHost {
public:
    int SendDictionaryString(RWCString& text, double, const char*) override {
        lastText = text;
        return 1;
    }
    RWCString lastText;
};

RWCString MessageOfOneSlice() {
    RyPTestClock clock(0);
    Sender sender;
    sender.Start(0, 1);
    CKZStatGenClient client(&sender, 1);
    for (const std::string& name : UsualNames()) client.AddLast(name.c_str(), 12.5, Types::Timer);
    clock.Advance(1);
    client.GetNewDictionary();
    sender.SendSlice(sender.WaitForSlice());
    return sender.lastText;
}

CKZStatMessage Read(const RWCString& text) {
    CKZStatMessage message;
    std::size_t fault = 0;
    if (!message.Read(text, CKZStatMessage::FullRecords, fault)) std::abort();
    return message;
}

/// What the messages of two generators take to become one: read and merged. Per name of a slice.
void BM_Messages_Merge(benchmark::State& state) {
    const RWCString text = MessageOfOneSlice();
    for (auto _ : state) {
        CKZStatMerge merge;
        merge.Add(Read(text));
        merge.Add(Read(text));
        benchmark::DoNotOptimize(merge.GetRecords().data());
    }
    state.SetItemsProcessed(state.iterations() * kUsualNames);
}
BENCHMARK(BM_Messages_Merge);

/// Records of two generators, by the number of names: the time per name should not grow.
void BM_Merge_Add(benchmark::State& state) {
    std::vector<CKZStatMessageRecord> records;
    for (int i = 0; i < state.range(0); ++i)
        records.push_back({("transaction." + std::to_string(i)).c_str(),
                           Types::Timer,
                           {1, 1, 1, 1, 1},
                           {1, 1, 1, 1, 1}});
    for (auto _ : state) {
        CKZStatMerge merge;
        for (int generator = 0; generator < 2; ++generator)
            for (const CKZStatMessageRecord& record : records) merge.Add(record);
        benchmark::DoNotOptimize(merge.GetRecords().data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Merge_Add)->RangeMultiplier(10)->Range(100, 100000);

}  // namespace

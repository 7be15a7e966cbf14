#include "page/livehistograms.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>
#include <vector>

#include "kzstat_program/memoryruns.h"

namespace {

using kzstatprogram::LiveHistograms;
using testing::HasSubstr;
using testing::IsEmpty;

/// A run of one slice per second, in each of which a login takes 10 ms.
class LiveHistogramsTest : public testing::Test {
protected:
    void Append() {
        run.Add(SliceOf(slices.NextSlice({{"login", CKZStatPointTypeEnum::Timer, {10}}}), true));
    }

    MemoryRuns runs;
    MemoryRun& run = runs.Make("run");
    SliceMaker slices;
};

std::string CountIs(int count) {
    return "_count{name=\"login\",type=\"Timer\"} " + std::to_string(count) + "\n";
}

TEST_F(LiveHistogramsTest, GrowWithTheRun) {
    LiveHistograms histograms(runs, "run");
    EXPECT_THAT(histograms.Text(), IsEmpty());
    for (int i = 1; i < 4; ++i) {
        Append();
        EXPECT_THAT(histograms.Text(), HasSubstr(CountIs(i)));
    }
}

TEST_F(LiveHistogramsTest, CountEachValueOnceForManyWhoAsk) {
    constexpr int kSlices = 20;
    LiveHistograms histograms(runs, "run");
    std::atomic<bool> isOver{false};
    const auto ask = [&] {
        while (!isOver) histograms.Text();
    };
    std::thread readers[] = {std::thread(ask), std::thread(ask), std::thread(ask)};
    for (int i = 0; i < kSlices; ++i) Append();
    isOver = true;
    for (std::thread& reader : readers) reader.join();
    EXPECT_THAT(histograms.Text(), HasSubstr(CountIs(kSlices)));
}

}  // namespace

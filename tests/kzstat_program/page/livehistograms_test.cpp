#include "page/livehistograms.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>
#include <vector>

#include "journal/temporaryfolder.h"
#include "kzjournalwriter.h"
#include "ryp/testclock.h"
#include "support/slicemaker.h"

namespace {

using kzstatprogram::LiveHistograms;
using testing::HasSubstr;
using testing::IsEmpty;

/// A run of one slice per second, in each of which a login takes 10 ms.
class LiveHistogramsTest : public testing::Test {
protected:
    LiveHistogramsTest() {
        EXPECT_FALSE(writer.Open(path, kzjournal::RunOfThisProcess("load", 1000, 1)));
    }

    void Append() {
        const MadeSlice slice = slices.NextSlice({{"login", CKZStatPointTypeEnum::Timer, {10}}});
        const std::vector<const CKZStatDistribution*> shown{&slice.distributions.front()};
        EXPECT_FALSE(writer.Append({slice.facts, slice.message, slice.records, shown}).problem);
    }

    const RyPTestClock clock{1000};
    const TemporaryFolder folder;
    const std::string path = folder.Path("run.kzj");
    kzjournal::Writer writer;
    SliceMaker slices{"load", 1, 1000};
};

std::string CountIs(int count) {
    return "_count{name=\"login\",type=\"Timer\"} " + std::to_string(count) + "\n";
}

TEST_F(LiveHistogramsTest, GrowWithTheRun) {
    LiveHistograms histograms(path);
    EXPECT_THAT(histograms.Text(), IsEmpty());
    for (int i = 1; i < 4; ++i) {
        Append();
        EXPECT_THAT(histograms.Text(), HasSubstr(CountIs(i)));
    }
}

TEST_F(LiveHistogramsTest, CountEachValueOnceForManyWhoAsk) {
    constexpr int kSlices = 20;
    LiveHistograms histograms(path);
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

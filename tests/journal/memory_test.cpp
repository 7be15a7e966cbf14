// Slices that are written while memory runs out: each is in the file once it was taken, and what
// fails can be tried again.

#include <gtest/gtest.h>

#include <exception>
#include <filesystem>
#include <string>

#include "faults/failingnew.h"
#include "journal/journalfixture.h"
#include "kzjournalbulkwriter.h"

namespace {

class ScarceMemory : public JournalTest {
protected:
    static constexpr int kSlicesAfter = 3;

    MadeSlice NextSlice(SliceMaker& maker) {
        return maker.NextSlice({{"a name that does not fit a small string", Types::Timer, {1, 2}},
                                {"logins", Types::Counter, {1}}});
    }

    /// Writes a run in which the nth allocation from slice `first` on fails. Returns false once
    /// there are fewer.
    bool WriteWithFailure(int first, long nth) {
        path = folder.Path(std::to_string(nth) + ".kzj");
        kzjournal::BulkWriter bulk(path, run);
        SliceMaker maker("load", 1, 1.7e9);
        for (int i = 1; i < first; ++i) bulk.Append(NextSlice(maker).View());
        const MadeSlice slice = NextSlice(maker);
        bool hasFailed = false;
        {
            const FailingNew failing(nth);
            try {
                bulk.Append(slice.View());
            } catch (const std::exception&) {
                const PlentyOfMemory plenty;
                bulk.Append(slice.View());
            }
            hasFailed = failing.HasFailed();
        }
        for (int i = 0; i < kSlicesAfter; ++i) bulk.Append(NextSlice(maker).View());
        bulk.Close(1.7e9 + first + kSlicesAfter, 0);
        return hasFailed;
    }

    /// For every allocation of the slice, or every `step`th.
    void ExpectNothingIsLost(int first, long step) {
        for (long nth = 1; WriteWithFailure(first, nth); nth += step) {
            SCOPED_TRACE(nth);
            kzjournal::Reader reader(path);
            int slicesRead = 0;
            reader.ForEachSlice({}, [&](const kzjournal::Slice&) { ++slicesRead; });
            EXPECT_EQ(first + kSlicesAfter, slicesRead);
            EXPECT_EQ(kzjournal::Completeness::Whole, reader.GetCompleteness().state);
            std::filesystem::remove(path);
        }
    }
};

TEST_F(ScarceMemory, LosesNothingOfTheFirstSlice) {
    ExpectNothingIsLost(1, 1);
}

TEST_F(ScarceMemory, LosesNothingWhereASumIsMade) {
    ExpectNothingIsLost(60, 61);
}

TEST_F(ScarceMemory, LosesNothingWhereAChunkMoves) {
    ExpectNothingIsLost(240, 151);
}

}  // namespace

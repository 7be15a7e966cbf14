#include <gtest/gtest.h>

#include <filesystem>

#include "journal/journalfixture.h"

namespace {

using kzjournal::Completeness;

class CompletenessTest : public JournalTest {
protected:
    void SetUp() override {
        ASSERT_EQ("", Open());
        for (int i = 0; i < 3; ++i) AppendLogins({10});
    }

    void Expect(Completeness::State expectedState, long long held, long long expected,
                bool lacksLog = false) {
        const Completeness actual = kzjournal::Reader(path).GetCompleteness();
        EXPECT_EQ(expectedState, actual.state);
        EXPECT_EQ(held, actual.slices);
        EXPECT_EQ(expected, actual.expectedSlices);
        EXPECT_EQ(lacksLog, actual.lacksLog);
    }
};

TEST_F(CompletenessTest, OfARunThatIsActive) {
    Expect(Completeness::NotEnded, 3, 3);
}

TEST_F(CompletenessTest, OfARunThatEnded) {
    EXPECT_EQ("", Close());
    Expect(Completeness::Whole, 3, 3);
}

TEST_F(CompletenessTest, OfARunThatLostSlices) {
    MadeSlice slice = slices.NextSlice({});
    slice.records.push_back(slice.records.front());
    EXPECT_NE("", AppendSlice(slice));
    EXPECT_NE("", Close());
    Expect(Completeness::Lacking, 3, 4);
}

TEST_F(CompletenessTest, OfARunWhoseFileLostASlice) {
    EXPECT_EQ("", Close());
    Execute("DELETE FROM slices WHERE slice_id = 2");
    Expect(Completeness::Lacking, 2, 3);
}

TEST_F(CompletenessTest, OfAFileWithoutItsLog) {
    Rows("PRAGMA wal_checkpoint");
    AppendLogins({20});
    const std::string alone = folder.Path("alone.kzj");
    std::filesystem::copy(path, alone);
    path = alone;
    Expect(Completeness::NotEnded, 3, 3, true);
}

}  // namespace

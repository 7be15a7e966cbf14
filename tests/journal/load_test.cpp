#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>

#include "journal/journalfixture.h"
#include "kzjournalbulkwriter.h"
#include "kzjournalload.h"

namespace {

using kzjournal::LoadSpan;
using testing::ElementsAre;
using testing::IsEmpty;

/// Which slices of a journal of five, of a second each, are under a load.
class SlicesUnderLoad : public JournalTest {
protected:
    std::vector<double> Of(const LoadSpan& load) {
        if (!writer.IsOpen()) {
            EXPECT_EQ("", Open());
            for (int i = 0; i < 5; ++i) EXPECT_EQ("", AppendLogins({1}));
        }
        return kzjournal::Reader(path).SliceEnds(load.SlicesUnderLoad(1));
    }
};

TEST_F(SlicesUnderLoad, LieInItByMoreThanHalf) {
    EXPECT_THAT(Of({0.49, 3.51}), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(Of({0.5, 3.5}), ElementsAre(2, 3));
    EXPECT_THAT(Of({0.51, 3.49}), ElementsAre(2, 3));
    EXPECT_THAT(Of({1, 3}), ElementsAre(2, 3));
}

TEST_F(SlicesUnderLoad, AreThoseThatAShortOneTouches) {
    EXPECT_THAT(Of({1.2, 1.6}), ElementsAre(2));
    EXPECT_THAT(Of({1.6, 2.4}), ElementsAre(2, 3));
    EXPECT_THAT(Of({2.0, 2.4}), ElementsAre(3));
    EXPECT_THAT(Of({2.0, 2.0}), ElementsAre(3));
}

TEST_F(SlicesUnderLoad, GoOnWhereItHasNotEnded) {
    EXPECT_THAT(Of({2.0, {}}), ElementsAre(3, 4, 5));
    EXPECT_THAT(Of({{}, 2.0}), ElementsAre(1, 2));
}

TEST_F(SlicesUnderLoad, GoOnWhereItBeganAgain) {
    EXPECT_THAT(Of({3.0, 1.0}), ElementsAre(4, 5));
}

TEST_F(SlicesUnderLoad, AreAllWhereItIsUnknown) {
    EXPECT_THAT(Of({}), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(SlicesUnderLoad, AreNoneWhereItIsStillToCome) {
    EXPECT_THAT(Of({7.0, {}}), IsEmpty());
}

TEST_F(SlicesUnderLoad, AreTheSameWhereTheirEndsHaveDrifted) {
    EXPECT_EQ("", Open());
    MadeSlice slice = slices.NextSlice({});
    for (const double elapsed : {0.99, 1.98, 2.97, 3.96, 4.95}) {
        slice.facts.elapsed = elapsed;
        EXPECT_EQ("", AppendSlice(slice));
        slice = slices.NextSlice({});
    }
    EXPECT_THAT(Of({1.0, 3.0}), ElementsAre(1.98, 2.97));
}

TEST(LoadSpan, CoversTheSlicesUnderLoad) {
    const LoadSpan load{0.75, 3.25};
    EXPECT_FALSE(load.Covers(1, 1));
    EXPECT_TRUE(load.Covers(2, 1));
    EXPECT_TRUE(load.Covers(3, 1));
    EXPECT_FALSE(load.Covers(4, 1));
    EXPECT_TRUE(LoadSpan().Covers(1, 1));
}

TEST(LoadSpan, HasValuesInTheSlicesThatItTouchesAndInAllBehindThem) {
    const kzjournal::TimeRange range = LoadSpan{1.75, 3.25}.SlicesWithValues(1);
    EXPECT_FALSE(range.Selects(1, 1));
    EXPECT_TRUE(range.Selects(2, 1));
    EXPECT_TRUE(range.Selects(9, 1));
    EXPECT_TRUE(LoadSpan().SlicesWithValues(1).Selects(1, 1));
}

TEST(LoadSpan, TellsHowMuchOfASliceLiesOutside) {
    const LoadSpan load{0.25, 3.75};
    EXPECT_EQ(0.25, load.SecondsOutside(1, 1));
    EXPECT_EQ(0, load.SecondsOutside(2, 1));
    EXPECT_EQ(0.25, load.SecondsOutside(4, 1));
    EXPECT_EQ(1, load.SecondsOutside(9, 1));
    EXPECT_EQ(0.5, (LoadSpan{1.25, 1.75}).SecondsOutside(2, 1));
    EXPECT_EQ(0, LoadSpan().SecondsOutside(9, 1));
}

class StoredLoad : public JournalTest {};

TEST_F(StoredLoad, IsThatOfTheLatestSlice) {
    EXPECT_EQ("", Open());
    kzjournal::Reader reader(path);
    writer.SetLoad({0.5, {}});
    EXPECT_FALSE(reader.Load().IsKnown());
    EXPECT_EQ("", AppendLogins({1}));
    EXPECT_EQ(0.5, reader.Load().begin);
    writer.SetLoad({0.5, 1.5});
    EXPECT_EQ("", Close());
    EXPECT_EQ(1.5, reader.Load().end);
    EXPECT_FALSE(reader.Facts().loadBegin);
}

TEST_F(StoredLoad, IsTheFormerOneWhereTheLatestIsNoMoment) {
    EXPECT_EQ("", Open());
    writer.SetLoad({0.5, {}});
    EXPECT_EQ("", AppendLogins({1}));
    writer.SetLoad({std::nan(""), 2});
    EXPECT_EQ("", AppendLogins({1}));
    writer.SetLoad({0.5, HUGE_VAL});
    EXPECT_EQ("", AppendLogins({1}));
    writer.SetLoad({2, 1});
    EXPECT_EQ("", Close());
    kzjournal::Reader reader(path);
    EXPECT_EQ(0.5, reader.Load().begin);
    EXPECT_FALSE(reader.Load().end);
}

TEST_F(StoredLoad, DoesNotEndBeforeItBegins) {
    run.loadBegin = 3;
    run.loadEnd = 1;
    EXPECT_EQ("cannot keep a run in " + path + ": its load ends before it begins", Open());
    EXPECT_FALSE(std::filesystem::exists(path));
    const std::string merged = folder.Path("merged.kzj");
    kzjournal::BulkWriter bulk(merged, kzjournal::RunOfThisProcess("merged", 1000, 1));
    try {
        bulk.AddSource(run, 0, false);
        ADD_FAILURE() << "it was accepted";
    } catch (const kzjournal::Error& error) {
        EXPECT_EQ("cannot keep a run in " + merged + ": its load ends before it begins",
                  std::string(error.what()));
    }
}

}  // namespace

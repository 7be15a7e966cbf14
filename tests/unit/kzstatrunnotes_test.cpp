#include "kzstatrunnotes.h"

#include <gmock/gmock.h>

#include <cmath>
#include <thread>

#include "support/capturing_log.h"
#include "support/clockedrun.h"
#include "support/concurrently.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// Writes down the notes of a run, those of each slice and then those of its end.
class NotesListener : public CKZStatRunListener {
public:
    std::vector<RWCString> OnSlice(const CKZStatSliceValues& slice) override {
        Write(slice.GetFacts().notes);
        return {};
    }
    std::vector<RWCString> OnEnd(const CKZStatRunEnd& end) override {
        Write(end.notes);
        return {};
    }

    // Read once the run is finished.
    std::vector<std::vector<std::string>> texts;
    std::vector<double> times;

private:
    void Write(const std::vector<CKZStatNote>& notes) {
        texts.emplace_back();
        for (const CKZStatNote& note : notes) {
            texts.back().emplace_back(note.text.view());
            times.push_back(note.time);
        }
    }
};

class RunNotes : public ClockedRun {
protected:
    RunNotes() { EXPECT_TRUE(run->AddListener(listener)); }

    const std::shared_ptr<NotesListener> listener = std::make_shared<NotesListener>();
};

TEST_F(RunNotes, ComeWithTheNextSlice) {
    GoTo(0.5);
    EXPECT_TRUE(run->Note("half"));
    EXPECT_TRUE(run->Note("earlier", 900));
    GoTo(1);
    Finish();
    EXPECT_THAT(listener->texts, ElementsAre(ElementsAre("half", "earlier"), IsEmpty(), IsEmpty()));
    EXPECT_THAT(listener->times, ElementsAre(kStart + 0.5, 900));
}

TEST_F(RunNotes, OfTheLastListenerComeWithTheEnd) {
    run->OnSlice([this](const CKZStatSliceValues&) { run->Note("late"); });
    GoTo(0.5);
    Finish();
    EXPECT_THAT(listener->texts, ElementsAre(IsEmpty(), ElementsAre("late")));
}

TEST_F(RunNotes, AreRefusedAfterTheEndAndWithoutTextOrTime) {
    const CapturingLog log(RyPLogLevel::Error);
    EXPECT_FALSE(run->Note(nullptr));
    EXPECT_FALSE(run->Note("x", std::nan("")));
    Finish();
    EXPECT_FALSE(run->Note("x"));
    EXPECT_FALSE(run->Note("x"));
    EXPECT_THAT(log.Texts(), SizeIs(3));
}

TEST_F(RunNotes, AreCutAndBounded) {
    const CapturingLog log(RyPLogLevel::Error);
    const std::string longText(CKZStatRunNotes::kMaxTextBytes + 1, 'x');
    for (int i = 0; i < CKZStatRunNotes::kMaxNotes; ++i) ASSERT_TRUE(run->Note(longText.c_str()));
    EXPECT_FALSE(run->Note("x"));
    EXPECT_FALSE(run->Note("x"));
    EXPECT_THAT(log.Texts(), SizeIs(1));
    Finish();
    EXPECT_THAT(listener->texts[0], SizeIs(CKZStatRunNotes::kMaxNotes));
    EXPECT_EQ(CKZStatRunNotes::kMaxTextBytes, listener->texts[0][0].size());
}

TEST_F(RunNotes, OfSeveralThreadsAreAllThereOnce) {
    constexpr int kNotes = 100;
    ConcurrentlyTimes(4, [&] {
        for (int i = 0; i < kNotes; ++i) EXPECT_TRUE(run->Note("x"));
    });
    Finish();
    EXPECT_THAT(listener->times, SizeIs(4 * kNotes));
}

}  // namespace

#include "kzstatruncosts.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/testclock.h"
#include "support/clockedrun.h"

namespace {

using testing::DoubleNear;

class RunCosts : public testing::Test {
protected:
    /// The process works for so long, and uses so much processor time.
    void Work(double seconds, double processorTime) {
        clock.Advance(seconds);
        clock.UseProcessors(processorTime);
    }
    CKZStatSliceCost Deliver(double sliceEnd) {
        const CKZStatSliceCost cost = costs.Take(sliceEnd);
        costs.NoteListenersDone();
        return cost;
    }

    RyPTestClock clock{1000};
    CKZStatRunCosts costs;
};

TEST_F(RunCosts, AreThoseSinceTheSliceBefore) {
    Work(1, 0.25);
    costs.NoteEnd(1001);
    Work(1, 3);
    costs.NoteEnd(1002);
    const CKZStatSliceCost first = Deliver(1001);
    EXPECT_EQ(1, first.measured);
    EXPECT_EQ(0.25, first.processorTime);
    EXPECT_EQ(RyPTestClock::kProcessors, first.processors);
    EXPECT_EQ(3, Deliver(1002).processorTime);
}

TEST_F(RunCosts, AreMeasuredOnDeliveryWhereNobodyDidBefore) {
    Work(1, 0.25);
    EXPECT_EQ(0.25, Deliver(1001).processorTime);
    Work(0.5, 1);
    // Too late for the first slice: the second one has it all.
    costs.NoteEnd(1001);
    Work(0.5, 1);
    EXPECT_EQ(2, Deliver(1002).processorTime);
}

TEST_F(RunCosts, OfASliceWhoseEndWasSleptThroughEndWithTheNextMeasurement) {
    Work(3, 6);
    costs.NoteEnd(1003);
    const CKZStatSliceCost first = Deliver(1001);
    EXPECT_EQ(3, first.measured);
    EXPECT_EQ(6, first.processorTime);
    EXPECT_EQ(0, Deliver(1002).measured);
    EXPECT_EQ(0, Deliver(1003).processorTime);
}

TEST_F(RunCosts, StayTheSameUntilTheListenersAreDone) {
    Work(1, 0.25);
    costs.Take(1001);
    Work(1, 1);
    EXPECT_EQ(0.25, costs.Take(1001).processorTime);
}

TEST_F(RunCosts, HaveTheTimeOfTheListenersOfTheSliceBefore) {
    Work(1, 0);
    EXPECT_EQ(0, costs.Take(1001).listenerTime);
    Work(0.5, 0);
    costs.NoteListenersDone();
    Work(0.5, 0);
    EXPECT_EQ(0.5, Deliver(1002).listenerTime);
    Work(1, 0);
    EXPECT_EQ(0, Deliver(1003).listenerTime);
}

TEST_F(RunCosts, HaveTheLongestLatenessSinceTheSliceBefore) {
    costs.NoteTimerLateness(0.2);
    costs.NoteTimerLateness(0.1);
    costs.NoteStartLateness(0.5);
    costs.NoteStartLateness(0.7);
    costs.NoteEnd(1001);
    costs.NoteTimerLateness(0.05);
    costs.NoteEnd(1002);
    const CKZStatSliceCost first = Deliver(1001);
    EXPECT_EQ(0.2, first.timerLateness);
    EXPECT_EQ(0.7, first.startLateness);
    const CKZStatSliceCost second = Deliver(1002);
    EXPECT_EQ(0.05, second.timerLateness);
    EXPECT_TRUE(std::isnan(second.startLateness));
}

/// Writes down the costs of the slices of a run. Safe for concurrent use.
class CostNotes {
public:
    void Write(const CKZStatSliceValues& slice) {
        const RWMutexLock::LockGuard guard(m_lock);
        m_costs.push_back(slice.GetFacts().cost.value());
    }
    std::vector<CKZStatSliceCost> Costs() const {
        const RWMutexLock::LockGuard guard(m_lock);
        return m_costs;
    }

private:
    mutable RWMutexLock m_lock;
    std::vector<CKZStatSliceCost> m_costs RYP_GUARDED_BY(m_lock);
};

class RunWithCosts : public ClockedRun {
protected:
    RunWithCosts() {
        run->OnSlice([this](const CKZStatSliceValues& slice) { costs.Write(slice); });
    }
    /// Of a run that is finished in its second slice.
    std::vector<CKZStatSliceCost> CostsOfTwoSlices() {
        GoTo(1);
        Finish();
        EXPECT_EQ(2u, costs.Costs().size());
        return costs.Costs();
    }

    CostNotes costs;
};

TEST_F(RunWithCosts, GivesThemToItsListeners) {
    GoTo(0.5);
    clock.UseProcessors(0.75);
    const std::vector<CKZStatSliceCost> slices = CostsOfTwoSlices();
    EXPECT_EQ(0.75, slices[0].processorTime);
    EXPECT_EQ(1, slices[0].measured);
    EXPECT_EQ(0, slices[1].processorTime);
}

TEST_F(RunWithCosts, NotesHowLateItsTimerWakes) {
    GoTo(0.75);
    EXPECT_THAT(CostsOfTwoSlices()[0].timerLateness, DoubleNear(0.25, 1e-9));
}

TEST_F(RunWithCosts, NotesTheLatenessThatItIsTold) {
    run->NoteLateness(0.125);
    run->NoteLateness(-1);
    run->NoteLateness(std::numeric_limits<double>::infinity());
    run->NoteLateness(std::nan(""));
    EXPECT_EQ(0.125, CostsOfTwoSlices()[0].startLateness);
}

TEST_F(RunWithCosts, ChangesNoMessage) {
    std::string message;
    run->OnSlice([&](const CKZStatSliceValues& slice) {
        if (slice.GetSliceId() == 1) message = slice.GetMessage().view();
    });
    run->NewClient(1).AddLast("n", 1, Types::Counter);
    CostsOfTwoSlices();
    EXPECT_EQ(std::string::npos, message.find("cost"));
    EXPECT_EQ(0u, message.find("load\x01"));
}

}  // namespace

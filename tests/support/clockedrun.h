#ifndef KZ_TESTS_SUPPORT_CLOCKEDRUN_H
#define KZ_TESTS_SUPPORT_CLOCKEDRUN_H

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kzstatrun.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/testclock.h"

/// Writes down the slices that a run delivers. Safe for concurrent use.
class SliceNotes {
public:
    using Types = CKZStatPointTypeEnum;

    struct Value {
        Types::PointType type;
        double count;
        double sum;
    };
    struct Slice {
        int id;
        std::map<std::string, Value> lasts;  // of names with values in the slice
    };

    void Write(const CKZStatSliceValues& values) {
        Slice slice{values.GetSliceId(), {}};
        for (const auto& record : values.GetRecords())
            if (record.lasts.HasValues())
                slice.lasts.emplace(record.name,
                                    Value{record.type, record.lasts.count, record.lasts.sum});
        const RWMutexLock::LockGuard guard(m_lock);
        m_slices.push_back(std::move(slice));
    }

    std::vector<Slice> Slices() const {
        const RWMutexLock::LockGuard guard(m_lock);
        return m_slices;
    }
    std::vector<int> Ids() const {
        std::vector<int> ids;
        for (const Slice& slice : Slices()) ids.push_back(slice.id);
        return ids;
    }
    /// The sum of `name` in the slice `id`; -1 where the slice has no value of it.
    double Sum(int id, const std::string& name) const {
        for (const Slice& slice : Slices())
            if (slice.id == id && slice.lasts.contains(name)) return slice.lasts.at(name).sum;
        return -1;
    }
    double Count(const std::string& name) const {
        double count = 0;
        for (const Slice& slice : Slices())
            if (slice.lasts.contains(name)) count += slice.lasts.at(name).count;
        return count;
    }
    Types::PointType TypeOf(const std::string& name) const {
        for (const Slice& slice : Slices())
            if (slice.lasts.contains(name)) return slice.lasts.at(name).type;
        return Types::NotSet;
    }

private:
    mutable RWMutexLock m_lock;
    std::vector<Slice> m_slices RYP_GUARDED_BY(m_lock);
};

/// A run with slices of one second on a test clock, which begins at a whole second.
class ClockedRun : public testing::Test {
protected:
    using Types = CKZStatPointTypeEnum;

    static constexpr double kStart = 1000;
    static constexpr int kThreads = 3;  // of a run

    ClockedRun() {
        run->OnSlice([this](const CKZStatSliceValues& slice) { notes.Write(slice); });
    }
    ~ClockedRun() override {
        OnMovingClock([this] { run.reset(); });
    }

    /// Moves the clock to so many seconds after the start, and returns when the threads of the run
    /// have done what is due by then. The middles and ends of slices on the way are passed over.
    void GoTo(double elapsed) {
        clock.WaitForSleepers(kThreads);
        clock.Set(kStart + elapsed);
        clock.WaitForSleepers(kThreads);
    }

    /// Does `work` while the clock moves on; slices may have ended before it begins.
    template <class Work>
    void OnMovingClock(Work work) {
        std::atomic<bool> isDone{false};
        std::thread mover([&] {
            for (; !isDone; std::this_thread::yield()) clock.Advance(0.25);
        });
        work();
        isDone = true;
        mover.join();
    }

    /// Finishes the run in the slice that is current now.
    CKZStatRunResult Finish() {
        CKZStatRunResult result;
        std::thread finisher([&] { result = run->Finish(); });
        clock.WaitForSleepers(kThreads + 1);
        OnMovingClock([&] { finisher.join(); });
        return result;
    }

    static std::vector<std::string> Lines(const CKZStatRunResult& result) {
        std::vector<std::string> lines;
        for (const RWCString& line : result.complaints) lines.emplace_back(line.data());
        return lines;
    }

    RyPTestClock clock{kStart};
    SliceNotes notes;
    std::unique_ptr<CKZStatRun> run = std::make_unique<CKZStatRun>("load", 1.0);
};

#endif

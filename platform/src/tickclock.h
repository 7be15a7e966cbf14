#ifndef RYP_TICKCLOCK_H
#define RYP_TICKCLOCK_H

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>

#include "rw/mutex.h"
#include "ryp/annotations.h"

/// The kernel's monotonic clock, read by way of the processor's tick counter, which takes a third
/// of the time. The counter is followed for stretches of a millisecond; each begins with a reading
/// of the kernel's clock and runs at the rate that was measured at first. So the clock keeps within
/// `kMaxErrorNanoseconds` of the kernel's and drifts no further in a year than in a millisecond.
///
/// Only the kernel's clock is read until the rate is known, and permanently once the counter has
/// behaved as a steady one cannot: stopped, set or sped up, as when a machine slept or migrated.
///
/// `Source` has static functions: `Ticks`, the counter; `Nanoseconds`, the kernel's clock; and
/// `IsSteady`, whether the counter may be used at all.
///
/// Safe for concurrent use. No thread ever sees the clock run backward. It may fall behind what
/// another thread has seen by less than `kMaxErrorNanoseconds`: the processor may read its counter
/// before older instructions, and a fence would cost as much as the reading itself.
template <class Source>
class RyPTickClock {
public:
    static constexpr long long kMaxErrorNanoseconds = 3000;  // nanoseconds

    /// Begins to measure the rate of the counter.
    RyPTickClock() : m_phase(Source::IsSteady() ? kMeasuring : kDistrusted) { MeasureFrom(Read()); }
    RyPTickClock(const RyPTickClock&) = delete;
    RyPTickClock& operator=(const RyPTickClock&) = delete;

    /// Nanoseconds, as the kernel's clock shows them.
    long long Now() {
        if (m_phase.load(std::memory_order_acquire) != kFollowing) return WithoutTicks();
        // A seqlock: an odd or changed version means that a new stretch is being written.
        const unsigned version = m_version.load(std::memory_order_acquire);
        const Stretch present = PresentStretch();
        const std::int64_t passed = present.TicksUntil(Source::Ticks());
        const bool isWhole =
            version % 2 == 0 && version == m_version.load(std::memory_order_relaxed);
        if (isWhole && present.Covers(passed)) return present.At(passed);
        return InNextStretch();
    }

    /// Whether the counter is followed at the moment.
    bool FollowsTicks() const { return m_phase.load(std::memory_order_acquire) == kFollowing; }

private:
    enum Phase : int { kMeasuring, kFollowing, kDistrusted };

    // Nanoseconds.
    static constexpr long long kStretch = 1'000'000;
    static constexpr long long kMeasurement = 10'000'000;
    static constexpr double kTightReading = 1000;
    static constexpr double kMinTick = 0.1;
    static constexpr double kMaxTick = 10;

    static constexpr int kReadings = 3;
    // Counters of different processors may differ by a little; one that was set differs by more.
    static constexpr std::int64_t kSlackTicks = 100'000;
    // What a loose reading and the steering of the kernel's clock amount to is less than half of
    // it.
    static constexpr double kMaxRateChange = 0.005;

    struct Stretch {
        std::uint64_t firstTick;
        long long firstNanosecond;
        double nanosecondsPerTick;
        std::int64_t ticks;

        std::int64_t TicksUntil(std::uint64_t tick) const {
            return static_cast<std::int64_t>(tick - firstTick);
        }
        bool Covers(std::int64_t passed) const { return passed >= -kSlackTicks && passed < ticks; }
        /// A tick before the first one is of a processor whose counter is a little behind.
        long long At(std::int64_t passed) const {
            const double span = static_cast<double>(passed) * nanosecondsPerTick;
            return firstNanosecond + std::max(0LL, static_cast<long long>(span));
        }
    };

    /// Both clocks at one moment: the tick is the last one before the nanosecond was read, so that
    /// a stretch that begins with them is never behind the kernel.
    struct Reading {
        std::uint64_t tick;
        long long nanosecond;
        std::uint64_t ticksTaken;

        double RateUntil(const Reading& later) const {
            return static_cast<double>(later.nanosecond - nanosecond) /
                   static_cast<double>(later.tick - tick);
        }
        bool IsTight(double nanosecondsPerTick) const {
            return static_cast<double>(ticksTaken) * nanosecondsPerTick < kTightReading;
        }
    };

    static Reading ReadOnce() {
        const std::uint64_t before = Source::Ticks();
        const long long nanosecond = Source::Nanoseconds();
        return {before, nanosecond, Source::Ticks() - before};
    }
    /// The tightest of several, since a thread may be stopped in the middle of one.
    static Reading Read() {
        Reading best = ReadOnce();
        for (int i = 1; i < kReadings; ++i) {
            const Reading next = ReadOnce();
            if (next.ticksTaken < best.ticksTaken) best = next;
        }
        return best;
    }

    Stretch PresentStretch() const {
        return {m_firstTick.load(std::memory_order_acquire),
                m_firstNanosecond.load(std::memory_order_acquire),
                m_nanosecondsPerTick.load(std::memory_order_acquire),
                m_ticksOfStretch.load(std::memory_order_acquire)};
    }

    long long WithoutTicks() {
        const long long now = Source::Nanoseconds();
        const Phase phase = m_phase.load(std::memory_order_acquire);
        if (phase == kFollowing) return Now();
        if (phase == kMeasuring &&
            now - m_measuredSince.load(std::memory_order_relaxed) >= kMeasurement)
            EndMeasurement();
        return std::max(now, m_latest.load(std::memory_order_acquire));
    }

    /// Leaves it to another thread where one is about it.
    void EndMeasurement() {
        if (!m_mutex.tryAcquire()) return;
        const RWMutexLock::LockGuard guard(m_mutex, std::adopt_lock);
        if (m_phase.load(std::memory_order_relaxed) != kMeasuring) return;
        const Reading now = Read();
        const double rate = m_rateSince.RateUntil(now);
        if (!(rate >= kMinTick && rate <= kMaxTick)) {
            m_phase.store(kDistrusted, std::memory_order_release);
        } else if (m_rateSince.IsTight(rate) && now.IsTight(rate)) {
            m_rate = rate;
            BeginStretch(now, now.nanosecond);
            m_phase.store(kFollowing, std::memory_order_release);
        } else {
            MeasureFrom(now);
        }
    }

    void MeasureFrom(const Reading& now) RYP_NO_THREAD_SAFETY_ANALYSIS {
        m_rateSince = now;
        m_measuredSince.store(now.nanosecond, std::memory_order_relaxed);
    }

    /// The time where the present stretch is over, or seems to be: whoever comes first begins the
    /// next one while the others wait.
    long long InNextStretch() {
        const RWMutexLock::LockGuard guard(m_mutex);
        const Stretch present = PresentStretch();
        const std::int64_t passed = present.TicksUntil(Source::Ticks());
        if (FollowsTicks() && present.Covers(passed)) return present.At(passed);

        const Reading now = Read();
        // Nobody was told a later time.
        const long long latest = present.At(present.ticks);
        const long long time = std::max(now.nanosecond, latest);
        if (!FollowsTicks() || !now.IsTight(m_rate)) return time;
        if (IsPlausible(now)) {
            BeginStretch(now, time);
        } else {
            m_latest.store(latest, std::memory_order_release);
            m_phase.store(kDistrusted, std::memory_order_release);
        }
        return time;
    }

    bool IsPlausible(const Reading& now) const RYP_REQUIRES(m_mutex) {
        return now.tick > m_begin.tick &&
               std::abs(m_begin.RateUntil(now) / m_rate - 1) <= kMaxRateChange;
    }

    /// A stretch that has to begin ahead of the kernel's clock runs slower and so meets it at its
    /// end.
    void BeginStretch(const Reading& now, long long time) RYP_REQUIRES(m_mutex) {
        const auto ahead = static_cast<double>(time - now.nanosecond);
        const double slowness = std::max(0.0, 1 - ahead / static_cast<double>(kStretch));
        const unsigned version = m_version.load(std::memory_order_relaxed);
        m_version.store(version + 1, std::memory_order_relaxed);
        m_firstTick.store(now.tick, std::memory_order_release);
        m_firstNanosecond.store(time, std::memory_order_release);
        m_nanosecondsPerTick.store(m_rate * slowness, std::memory_order_release);
        m_ticksOfStretch.store(static_cast<std::int64_t>(static_cast<double>(kStretch) / m_rate),
                               std::memory_order_release);
        m_version.store(version + 2, std::memory_order_release);
        m_begin = now;
    }

    std::atomic<Phase> m_phase;
    // The present stretch, written under m_mutex.
    std::atomic<unsigned> m_version{0};
    std::atomic<std::uint64_t> m_firstTick{0};
    std::atomic<long long> m_firstNanosecond{0};
    std::atomic<double> m_nanosecondsPerTick{0};
    std::atomic<std::int64_t> m_ticksOfStretch{0};

    std::atomic<long long> m_latest{0};  // that anybody was told before the counter was distrusted
    std::atomic<long long> m_measuredSince{0};

    RWMutexLock m_mutex;
    double m_rate RYP_GUARDED_BY(m_mutex) = 0;      // nanoseconds per tick
    Reading m_rateSince RYP_GUARDED_BY(m_mutex){};  // from which the rate is measured
    Reading m_begin RYP_GUARDED_BY(m_mutex){};      // of the present stretch
};

#endif

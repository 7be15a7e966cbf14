#ifndef KZSTATGENLANE_H
#define KZSTATGENLANE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "kzstat_export.h"
#include "ryp/annotations.h"
#include "ryp/wordlock.h"

// The clients of a generator are spread over lanes, so that threads which report do not wait for
// one another. A client and the dictionary that it fills are always in one lane, and whoever
// touches either holds that lane; nobody ever holds two. Which lane that is plays no part in what
// is counted: a client that reports follows its thread from slice to slice.

class CKZStatGenDistributionTable;

/// The lock of the clients that share a lane. Alone on its cache lines, of which processors fetch
/// two at a time.
class alignas(128) CKZStatGenLane : public RyPWordLock {
public:
    /// Dictionaries filed in the last slice that clients of this lane took one in: as many are
    /// expected in the next. Guarded by the lane.
    std::size_t filed = 0;
    /// The distributions of this lane in the slice with that number. Guarded by the lane, and only
    /// valid while that slice is open.
    CKZStatGenDistributionTable* distributions = nullptr;
    std::uint64_t distributionsSlice = 0;
};

/// All lanes of a generator. Constant after construction; safe for concurrent use.
class KZSTAT_EXPORT CKZStatGenLanes {
public:
    CKZStatGenLanes();

    /// The lane of the calling thread, which it shares if there are more threads than lanes.
    CKZStatGenLane& OfThisThread() const;
    /// The lane of dictionaries without a client.
    CKZStatGenLane& First() const { return m_lanes[0]; }

    std::size_t Count() const { return m_count; }
    /// Of one of these lanes, from 0 on.
    std::size_t PositionOf(const CKZStatGenLane& lane) const {
        return static_cast<std::size_t>(&lane - m_lanes.get());
    }

    /// Acquires and releases each lane in turn, like a grace period: threads that held a lane
    /// before have released it when this returns, and threads that acquire one later see what the
    /// caller wrote before. REQUIRES: the caller holds no lane.
    void PassThrough() const {
        PassThrough([](std::size_t) {});
    }
    /// The same, and calls `work` with the position of each lane while that is held. An exception
    /// ends it.
    template <class Work>
    void PassThrough(Work work) const;

private:
    std::size_t m_count;
    std::unique_ptr<CKZStatGenLane[]> m_lanes;
};

template <class Work>
void CKZStatGenLanes::PassThrough(Work work) const {
    for (std::size_t position = 0; position < m_count; ++position) {
        const RyPWordLock::LockGuard through(m_lanes[position]);
        work(position);
    }
}

/// The lane that a client is in. It changes only by `Hold::MoveTo`. Safe for concurrent use.
class KZSTAT_EXPORT RYP_CAPABILITY("mutex") CKZStatGenLaneOfClient {
public:
    explicit CKZStatGenLaneOfClient(CKZStatGenLane& lane) : m_lane(&lane) {}
    CKZStatGenLaneOfClient(const CKZStatGenLaneOfClient&) = delete;
    CKZStatGenLaneOfClient& operator=(const CKZStatGenLaneOfClient&) = delete;

    /// Acquires the client's lane of that moment. Returns false if it had to wait.
    bool acquire() RYP_ACQUIRE() RYP_NO_THREAD_SAFETY_ANALYSIS {
        if (TryAcquire(*m_lane.load(std::memory_order_acquire))) return true;
        AcquireTaken();
        return false;
    }
    void release() RYP_RELEASE() RYP_NO_THREAD_SAFETY_ANALYSIS {
        m_lane.load(std::memory_order_relaxed)->release();
    }

    /// How long threads have waited for lanes of clients so far, in seconds: all threads of all
    /// generators of the process added up. Safe for concurrent use.
    static double WaitedSeconds();

    /// The lane that the caller holds.
    CKZStatGenLane& Get() const RYP_REQUIRES(this) {
        return *m_lane.load(std::memory_order_relaxed);
    }

    /// Holds the lane while it lives. Owned by the thread that made it.
    class RYP_SCOPED_CAPABILITY Hold {
    public:
        explicit Hold(CKZStatGenLaneOfClient& lane) RYP_ACQUIRE(lane)
            : m_lane(lane), m_wasFree(lane.acquire()) {}
        ~Hold() RYP_RELEASE() { m_lane.release(); }
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

        /// False where the constructor had to wait.
        bool WasFree() const { return m_wasFree; }

        // Other threads may use the client meanwhile, so the caller must read its state again.

        /// Puts the client into `lane`, and holds the one in which it is afterwards: another
        /// thread may put it into its own. REQUIRES: the client has no dictionary.
        void MoveTo(CKZStatGenLane& lane);
        /// Releases the lane while `work` runs.
        template <class Work>
        void LetGoDuring(Work work) {
            const Release released(m_lane);
            work();
        }

    private:
        /// The lane is not held while it lives. A thread that is cancelled there unwinds.
        class Release {
        public:
            explicit Release(CKZStatGenLaneOfClient& lane) RYP_NO_THREAD_SAFETY_ANALYSIS
                : m_lane(lane) {
                m_lane.release();
            }
            ~Release() RYP_NO_THREAD_SAFETY_ANALYSIS { m_lane.acquire(); }
            Release(const Release&) = delete;
            Release& operator=(const Release&) = delete;

        private:
            CKZStatGenLaneOfClient& m_lane;
        };

        CKZStatGenLaneOfClient& m_lane;
        const bool m_wasFree;
    };

private:
    bool TryAcquire(CKZStatGenLane& lane) RYP_NO_THREAD_SAFETY_ANALYSIS {
        return lane.tryAcquire() && IsStill(lane);
    }
    bool IsStill(CKZStatGenLane& lane);
    void AcquireTaken();

    // Stored under the lane that it names until then, and released: who loads it sees what was done
    // to the client in its former lane. Who holds the lane that it names keeps it as it is.
    std::atomic<CKZStatGenLane*> m_lane;
};

/// REQUIRES: `lane` is held. Releases it and returns false if the client has left it meanwhile.
inline bool CKZStatGenLaneOfClient::IsStill(CKZStatGenLane& lane) RYP_NO_THREAD_SAFETY_ANALYSIS {
    if (m_lane.load(std::memory_order_acquire) == &lane) return true;
    lane.release();
    return false;
}

#endif

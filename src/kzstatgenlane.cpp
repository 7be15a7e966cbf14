#include "kzstatgenlane.h"

#include <algorithm>
#include <thread>

#include "ryp/clock.h"
#include "ryp/threadnumber.h"

namespace {

// More than most machines have processors, so that threads mostly have a lane each.
constexpr std::size_t kFewestLanes = 64;

// Written by threads that had to wait only.
std::atomic<long long> waitedNanoseconds{0};

/// A multiple of the processors: as many threads as these, or twice as many, share evenly.
std::size_t CountLanes() {
    const std::size_t processors = std::max(1U, std::thread::hardware_concurrency());
    return (kFewestLanes + processors - 1) / processors * processors;
}

}  // namespace

CKZStatGenLanes::CKZStatGenLanes()
    : m_count(CountLanes()), m_lanes(std::make_unique<CKZStatGenLane[]>(m_count)) {}

CKZStatGenLane& CKZStatGenLanes::OfThisThread() const {
    return m_lanes[RyPThreadNumber() % m_count];
}

void CKZStatGenLaneOfClient::AcquireTaken() RYP_NO_THREAD_SAFETY_ANALYSIS {
    const long long begin = RyPMonotonicNanoseconds();
    for (;;) {
        CKZStatGenLane& lane = *m_lane.load(std::memory_order_acquire);
        lane.acquire();
        if (IsStill(lane)) break;
    }
    waitedNanoseconds.fetch_add(RyPMonotonicNanoseconds() - begin, std::memory_order_relaxed);
}

double CKZStatGenLaneOfClient::WaitedSeconds() {
    return static_cast<double>(waitedNanoseconds.load(std::memory_order_relaxed)) * 1e-9;
}

void CKZStatGenLaneOfClient::Hold::MoveTo(CKZStatGenLane& lane) RYP_NO_THREAD_SAFETY_ANALYSIS {
    CKZStatGenLane& former = m_lane.Get();
    m_lane.m_lane.store(&lane, std::memory_order_release);
    former.release();
    m_lane.acquire();
}

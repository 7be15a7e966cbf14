#include "kzstatruncosts.h"

#include <cmath>
#include <new>

#include "kzstatgenlane.h"
#include "ryp/clock.h"
#include "ryp/processusage.h"

using Guard = RWMutexLock::LockGuard;

namespace {

double MonotonicSeconds() {
    return static_cast<double>(RyPMonotonicNanoseconds()) * 1e-9;
}

}  // namespace

CKZStatRunCosts::CKZStatRunCosts() {
    const Guard guard(m_lock);
    m_former = Read(0);
}

CKZStatRunCosts::Reading CKZStatRunCosts::Read(double sliceEnd) {
    const RyPProcessUsage usage = RyPGetProcessUsage();
    const double startLateness = m_startLateness.exchange(kNone, std::memory_order_relaxed);
    const Reading reading{sliceEnd,
                          MonotonicSeconds(),
                          usage.processorSeconds,
                          MostOfThreads(),
                          usage.involuntarySwitches,
                          CKZStatGenLaneOfClient::WaitedSeconds(),
                          m_timerLateness,
                          startLateness < 0 ? CKZStatSliceCost::kUnknown : startLateness};
    m_timerLateness = 0;
    return reading;
}

RyPThreadTimes CKZStatRunCosts::MostOfThreads() {
    try {
        return m_threads.MostSinceLast();
    } catch (const std::bad_alloc&) {
        return {CKZStatSliceCost::kUnknown, CKZStatSliceCost::kUnknown};
    }
}

void CKZStatRunCosts::NoteEnd(double sliceEnd) {
    const Guard guard(m_lock);
    if (sliceEnd <= m_latestEnd) return;
    try {
        m_readings.emplace_back();
        m_readings.back() = Read(sliceEnd);
        m_latestEnd = sliceEnd;
    } catch (const std::bad_alloc&) {
    }
}

void CKZStatRunCosts::NoteTimerLateness(double seconds) {
    const Guard guard(m_lock);
    m_timerLateness = std::fmax(m_timerLateness, seconds);
}

void CKZStatRunCosts::NoteStartLateness(double seconds) {
    double longest = m_startLateness.load(std::memory_order_relaxed);
    while (seconds > longest &&
           !m_startLateness.compare_exchange_weak(longest, seconds, std::memory_order_relaxed)) {
    }
}

/// A slice whose end nobody noted is measured up to the next end that was.
CKZStatRunCosts::Reading CKZStatRunCosts::ReadingOf(double sliceEnd) {
    const Guard guard(m_lock);
    while (!m_readings.empty() && m_readings.front().sliceEnd < sliceEnd) m_readings.pop_front();
    if (!m_readings.empty()) return m_readings.front();
    m_latestEnd = sliceEnd;
    return Read(sliceEnd);
}

CKZStatSliceCost CKZStatRunCosts::Take(double sliceEnd) {
    if (m_isTaken) return m_cost;
    m_taken = ReadingOf(sliceEnd);
    m_isTaken = true;
    m_cost.measured = m_taken.time - m_former.time;
    m_cost.processorTime = m_taken.processorSeconds - m_former.processorSeconds;
    m_cost.processors = RyPUsableProcessors();
    m_cost.busiestThread = m_taken.mostOfThreads.processorSeconds;
    m_cost.longestWait = m_taken.mostOfThreads.waitedSeconds;
    m_cost.involuntarySwitches = m_taken.involuntarySwitches - m_former.involuntarySwitches;
    m_cost.reporterWait = m_taken.reporterWait - m_former.reporterWait;
    m_cost.packTime = RyPThreadProcessorSeconds() - m_threadSecondsFormerly;
    m_cost.listenerTime = m_listenerTime;
    m_cost.timerLateness = m_taken.timerLateness;
    m_cost.startLateness = m_taken.startLateness;
    m_listenersBegan = MonotonicSeconds();
    return m_cost;
}

void CKZStatRunCosts::NoteListenersDone() {
    m_former = m_taken;
    m_isTaken = false;
    m_listenerTime = MonotonicSeconds() - m_listenersBegan;
    m_threadSecondsFormerly = RyPThreadProcessorSeconds();
}

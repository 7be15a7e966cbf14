#ifndef KZSTATRUNSTATE_H
#define KZSTATRUNSTATE_H

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "kzstatclocksteps.h"
#include "kzstatisticsgenerator.h"
#include "kzstatrun.h"
#include "kzstatruncosts.h"
#include "kzstatrunlisteners.h"
#include "kzstatrunload.h"
#include "kzstatrunnotes.h"
#include "kzstatrunwatches.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/condition.h"

/// The generator of a run: its only hook hands the slice on. It also opens what the runner alone
/// needs of the generator. Safe for concurrent use as its base.
class CKZStatRunGenerator final : public CKZStatGenMain {
public:
    using Deliver = std::function<void(const CKZStatSliceValues&)>;

    /// Where `deliver` throws, it is called again for the slice.
    CKZStatRunGenerator(const char* name, Deliver deliver);

    void SendClientDictionary(CKZStatGenMeasurementDictionary*, int, double) override {}
    void SendTotalDictionary(CKZStatGenMeasurementDictionary*, double, double) override {}
    void SendSliceValues(const CKZStatSliceValues& slice) override { m_deliver(slice); }

    /// Whether the value was accepted. REQUIRES: `name` is not null.
    static bool Report(CKZStatGenClient& client, const char* name, double value,
                       CKZStatPointTypeEnum::PointType type) {
        return client.TryAddLast(name, value, type);
    }
    static CKZStatGenTimerDictionary& TimersOf(CKZStatGenClient& client) { return client.m_timers; }
    /// The end of the slice that the client is in; that of the current one where it is just being
    /// moved; infinite where there is none.
    static double EndOf(const CKZStatGenClient& client);
    /// The end of the current slice; infinite where there is none.
    double CurrentEnd() const { return m_currentEndTime.load(); }

    using CKZStatGenMain::EndAtOnce;
    using CKZStatGenMain::EndWithCurrentSlice;

private:
    const Deliver m_deliver;
};

/// What a run, its clients and its threads share, and what lives as long as any of them.
///
/// Life: running, until EndIsNear; then the current slice is the last one. It is over when the last
/// slice was delivered or given up, and the loops have left. A thread holds the state, so that it
/// is destroyed when no loop runs any more.
///
/// Safe for concurrent use. Locks: none of those below is held while a listener, the generator or
/// the log is called.
class CKZStatRunState : public std::enable_shared_from_this<CKZStatRunState> {
public:
    static std::shared_ptr<CKZStatRunState> Start(const char* name, double sliceLength,
                                                  const CKZStatDistributionChoice& distributions);
    CKZStatRunState(const char* name, double sliceLength,
                    const CKZStatDistributionChoice& distributions);
    ~CKZStatRunState();
    CKZStatRunState(const CKZStatRunState&) = delete;
    CKZStatRunState& operator=(const CKZStatRunState&) = delete;

    const RWCString& Name() const { return m_name; }
    double SliceLength() const { return m_sliceLength; }
    double StartTime() const { return m_startTime; }
    CKZStatRunGenerator& Generator() { return m_generator; }
    CKZStatRunLoad& Load() { return m_load; }
    CKZStatRunCosts& Costs() { return m_costs; }
    CKZStatRunWatchBoard& Board() { return m_board; }

    /// Seconds since the start.
    std::optional<double> LoadBegin() const { return SinceStart(m_load.Begin()); }
    std::optional<double> LoadEnd() const { return SinceStart(m_load.End()); }

    void OnSlice(std::function<void(const CKZStatSliceValues&)> listener);
    bool AddListener(const std::shared_ptr<CKZStatRunListener>& listener);
    void OncePerSlice(std::function<void(CKZStatRunClient&)> reporter);
    void ReportLoadAs(const char* name);
    void AddComplaint(const char* line);
    bool Note(const char* text, double time);
    CKZStatRunResult Result() const;

    /// Whether `name` can stand in a message; if not, counts a value as refused.
    bool AcceptsName(const char* name);
    /// A listener may report in every call, and nothing takes what it reports in the last one.
    void NoteLateValue() {
        if (!IsOnLoop()) ++m_lateValues;
    }
    void NoteValueWithoutMemory() { ++m_valuesWithoutMemory; }

    /// `limitSeconds` may be infinite.
    CKZStatRunResult FinishAsked(double limitSeconds);
    void FinishUnasked();

private:
    using Loop = void (CKZStatRunState::*)();

    void StartLoops();
    void StartLoop(Loop loop);
    void RunLoop(Loop loop);
    bool IsOnLoop() const;
    void DeliverSlices();
    void FreeSlices();
    void KeepTime();
    template <class Work>
    void DoDespiteLackOfMemory(Work work);
    void FollowTimeline();
    void NoteClockStep(CKZStatClockSteps& steps);
    void ReportOncePerSlice(const std::shared_ptr<CKZStatRunClientState>& own);
    void ReportLoad(CKZStatGenClient& own);
    void ReportUnderWay(CKZStatGenClient& own);
    bool SleepUntil(double time);
    void Deliver(const CKZStatSliceValues& slice);
    CKZStatSliceFacts FactsOf(const CKZStatSliceValues& slice);
    bool HasGivenUp() const;
    bool WasTold() const;
    std::optional<double> SinceStart(std::optional<double> time) const;
    CKZStatRunEnd End() const;
    void AddComplaints(const std::vector<RWCString>& lines);

    CKZStatRunResult Finish(double limitSeconds);
    bool WaitUntilDelivered(double until);
    void GiveUp();
    void StopLoops();
    bool WaitUntilLoopsLeft(double until);
    void Join();
    std::vector<RWCString> Losses() const;
    int SlicesGivenUp() const RYP_REQUIRES(m_lock);

    const RWCString m_name;
    const double m_sliceLength;
    const double m_startTime;
    CKZStatRunGenerator m_generator;
    CKZStatRunLoad m_load;
    CKZStatRunCosts m_costs;
    CKZStatRunNotes m_notes;
    CKZStatRunWatchBoard m_board;
    CKZStatRunListeners<const CKZStatSliceValues> m_sliceListeners;
    CKZStatRunListeners<CKZStatRunClient> m_reporters;

    std::atomic<long long> m_lateValues{0};
    std::atomic<long long> m_badNames{0};
    std::atomic<long long> m_valuesWithoutMemory{0};

    mutable RWMutexLock m_lock;
    RyPCondition m_changed;  // anything below
    int m_loopsRunning RYP_GUARDED_BY(m_lock) = 0;
    int m_lastSlice RYP_GUARDED_BY(m_lock) = 0;  // its id, once the end is near
    int m_delivered RYP_GUARDED_BY(m_lock) = 0;  // the id of the latest slice delivered
    bool m_hasGivenUp RYP_GUARDED_BY(m_lock) = false;
    bool m_isStopping RYP_GUARDED_BY(m_lock) = false;
    bool m_wasTold RYP_GUARDED_BY(m_lock) = false;  // somebody has called Finish
    std::optional<RWCString> m_loadName RYP_GUARDED_BY(m_lock);
    std::vector<RWCString> m_complaints RYP_GUARDED_BY(m_lock);

    RWMutexLock m_threadsLock;
    std::vector<std::thread> m_threads RYP_GUARDED_BY(m_threadsLock);
};

/// What a client handle and the stopwatches of the client share. Holds the run, so that its
/// generator outlives the client. Values: safe for concurrent use. Timers: the client's thread.
class CKZStatRunClientState {
public:
    CKZStatRunClientState(std::shared_ptr<CKZStatRunState> run, int id, bool isLoad);

    /// The handle is gone; stopwatches may be left.
    void Leave();

    int Id() const { return m_id; }
    CKZStatGenClient& Client() { return m_client; }
    CKZStatRunWatches& Watches() { return m_watches; }
    CKZStatGenTimerDictionary& Timers() { return CKZStatRunGenerator::TimersOf(m_client); }
    CKZStatRunState& Run() { return *m_run; }

    bool AddLast(const char* name, double value, CKZStatPointTypeEnum::PointType type);

private:
    const std::shared_ptr<CKZStatRunState> m_run;  // first, so that it goes last
    const int m_id;
    const bool m_isLoad;
    CKZStatGenClient m_client;
    CKZStatRunWatches m_watches;
};

#endif

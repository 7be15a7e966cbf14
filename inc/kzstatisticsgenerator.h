#ifndef KZSTATISTICSGENERATOR_H
#define KZSTATISTICSGENERATOR_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "kzstat_export.h"
#include "kzstatdistributionchoice.h"
#include "kzstatgenlane.h"
#include "kzstatgenmeasurementdictionary.h"
#include "kzstatpointtypeenum.h"
#include "kzstatslicevalues.h"
#include "rw/collect.h"
#include "rw/cstring.h"
#include "rw/hashdict.h"
#include "rw/mutex.h"
#include "rw/recursive.h"
#include "ryp/annotations.h"
#include "ryp/eventqueue.h"
#include "ryp/manualevent.h"
#include "ryp/timerobject.h"

// The generator, its slices and its clients, in one header because they refer to one another.
//
// Times are seconds in doubles as `RyPSysTime` returns them; an elapsed time is a time minus the
// generator's start time.
//
// Locks, in the only order in which they nest:
//   1. one of the clients' lanes     (CKZStatGenMain::m_clientsLock, plain), never two
//   2. the generator's timeline lock (CKZStatGenMain::m_timelineLock, recursive)
//   3. a slice's lock                (CKZStatGenSlice::m_lock, recursive)
//   4. a dictionary's lock           (recursive)
// No hook is called with one of them held.

class CKZStatGenClient;
class CKZStatGenDistributions;
class CKZStatGenDistributionTable;
class CKZStatGenMain;

/// One slice of time: the dictionaries that clients filled during it, by client id. It counts how
/// many of them clients still hold. The total slice (id 0 at first) accumulates every finished
/// slice by client id and takes the id and time of the last one.
///
/// There may be several dictionaries for a client id (two clients with one id, or one after the
/// other); the slice treats them alike.
///
/// Clients file their dictionaries on a shelf of their lane, so that those of other lanes do not
/// wait for them. They come into the map when the slice is over: that of a slice which
/// `WaitForSlice` hands out holds them all, unless memory ran out; `SendSlice`, `DumpSlice`,
/// `ResetLasts` and `AddDictionarysSlice` then put in the rest or throw.
///
/// Threads. `AddDictionary`, `GetCountZ0`, `DecCountZ0`, `ReleaseDicts`, `IsOpen`: safe for
/// concurrent use. Everything else: the pack thread, on a slice that is no longer current, or on
/// the total slice, which is the pack thread's alone.
class KZSTAT_EXPORT CKZStatGenSlice : public RWHashDictionary {
public:
    /// An open slice that ends at `time`. With `ownsDictionaries` it deletes its keys and
    /// dictionaries when it is destroyed. `main` must outlive it.
    CKZStatGenSlice(int id, double time, CKZStatGenMain* main, bool ownsDictionaries);
    ~CKZStatGenSlice() override;

    /// Files `dictionary` under `clientId` and counts it as held. A null one counts, and is
    /// skipped by everything that visits dictionaries.
    void AddDictionary(CKZStatGenMeasurementDictionary* dictionary, int clientId);

    /// Dictionaries that clients still hold.
    int GetCountZ0();
    /// Decrements the number of held dictionaries, not below 0; a negative count is logged as an
    /// error.
    void DecCountZ0();

    /// Moves every client that still holds a dictionary of this slice to a new one in the
    /// generator's current slice. Takes the lane of one dictionary after the other, so that no
    /// client waits for the others.
    void ReleaseDicts();

    /// Adds the dictionaries of `finished` into this slice, per client id, and takes over its id
    /// and time. Called on the total slice. If memory runs out, the exception passes through; the
    /// next call for the same slice goes on where this one ended. REQUIRES: neither slice was
    /// changed in between.
    void AddDictionarysSlice(CKZStatGenSlice* finished);

    /// Empties the lasts of every dictionary.
    void ResetLasts();

    /// Merges all dictionaries into a new one, which the caller owns, and replaces `text` with the
    /// elapsed end time (three decimals), 0x01, the slice id, 0x01 and the merged dump.
    CKZStatGenMeasurementDictionary* DumpSlice(RWCString& text);

    /// True until the pack loop takes the slice up; a closed slice refuses values.
    bool IsOpen() const { return m_open.load(std::memory_order_relaxed); }
    /// Values that a dictionary of this slice caches before it aggregates them.
    int StatsCacheSize() const;

private:
    friend class CKZStatGenClient;
    friend class CKZStatGenMain;
    friend class CKZStatGenMeasurementDictionary;
    friend struct CKZStatGenTestPeer;

    using Lock = RWTRecursiveLock<RWMutexLock>;

    /// A fold that was begun: so many dictionaries of the slice with that number are added.
    struct FoldProgress {
        std::uint64_t number;
        int dictionaries;
    };

    /// A dictionary to be added to that at position `target`, and the next step for that.
    struct FoldStep {
        CKZStatGenMeasurementDictionary* source;
        int clientId;
        Index target;
        Index next;
    };

    struct FoldTools;

    struct FiledDictionary {
        int clientId;
        CKZStatGenMeasurementDictionary* dictionary;
    };

    /// What the clients of one lane filed. Alone on its cache lines, like the lane.
    struct alignas(128) Shelf {
        std::vector<FiledDictionary> dictionaries;  // guarded by the lane
        // Taken off, and not in the map yet. Guarded by m_lock.
        std::vector<FiledDictionary> taken;
        // Dictionaries that clients still hold, wherever they are now. Relaxed: written under the
        // lane, and an estimate is enough for all others.
        std::atomic<int> held{0};
        // Of the values that were flushed under the lane while the slice was open. Guarded by the
        // lane until the slice is closed, then the pack thread's.
        std::unique_ptr<CKZStatGenDistributionTable> distributions;
    };
    /// By lane. Each is made when its lane first files something, since most lanes have no thread.
    /// Stored under the lane, released: who loads it without that finds it made.
    using Shelves = std::vector<std::atomic<Shelf*>>;

    void DestroyDictionaries();
    CKZStatGenLane& LaneWithoutClient() const;
    std::vector<CKZStatGenMeasurementDictionary*> SnapshotOfHeldDictionaries();
    template <class Visitor>
    static std::size_t VisitSomeOfLane(const std::vector<CKZStatGenMeasurementDictionary*>& held,
                                       std::size_t next, Visitor visit);
    template <class Visitor>
    void ForEachHeldDictionary(Visitor visit);
    Shelf& ShelfOf(const CKZStatGenLane& lane);
    template <class Visitor>
    void ForEachShelf(Visitor visit) const;
    void Shelve(CKZStatGenMeasurementDictionary& dictionary, int clientId, CKZStatGenLane& lane);
    void NoteLeft(const CKZStatGenLane& lane);
    bool Collects() const;
    CKZStatGenDistributionTable* FindTable(CKZStatGenLane& lane);
    CKZStatGenDistributionTable* FindPackThreadsTable();
    void Collect();
    void TakeOffShelf(std::size_t lane);
    void InsertAll(std::vector<FiledDictionary>& taken) RYP_REQUIRES(*m_lock);
    void Insert(const FiledDictionary& filed) RYP_REQUIRES(*m_lock);
    int CountHeld() const RYP_REQUIRES(*m_lock);
    template <class Visitor>
    void ForEachDictionary(Visitor visit) const;
    void DetachClients();
    /// Told by the hash, which the id itself is: the key is further away.
    static int IdOf(const Entry& entry) { return static_cast<int>(entry.hash); }
    Index Find(int clientId, Index expected) const;
    std::vector<FoldStep> PlanFold(const CKZStatGenSlice& finished);
    bool FindTargets(std::vector<FoldStep>& steps) const;
    void CreateTarget(const FoldStep& step);
    std::vector<Index> ChainByTarget(std::vector<FoldStep>& steps) const;
    bool Fold(CKZStatGenSlice& finished, CKZStatGenMeasurementDictionary* merged);
    void AddStep(const FoldStep& step, FoldTools& tools);
    void JoinDistributions(CKZStatGenDistributions& distributions);
    void PrefetchForFold(const std::vector<FoldStep>& steps, const std::vector<Index>& heads,
                         std::size_t target) const;
    std::unique_ptr<CKZStatGenMeasurementDictionary> AddAndMerge(CKZStatGenSlice& finished);
    std::unique_ptr<CKZStatGenMeasurementDictionary> MergeDictionaries() const;
    bool HasChanged() const;
    void NoteMerged();
    double CountValues() const;

    int m_id;
    // Relaxed: read by reporters under their lanes, and cleared before all lanes are passed
    // through, which orders the two.
    std::atomic<bool> m_open;
    // Neither sent nor on its way. Relaxed: taken to be sent and counted under the timeline lock.
    std::atomic<bool> m_isUnsent;
    double m_time;
    const std::unique_ptr<Lock> m_lock;
    // Held ones that hosts filed, less those that hosts said were left.
    int m_countZ0 RYP_GUARDED_BY(*m_lock);
    const bool m_ownsDictionaries;
    CKZStatGenMain* const m_main;
    // Dictionaries under a client id that has one in the map already.
    std::vector<FiledDictionary> m_furtherDictionaries RYP_GUARDED_BY(*m_lock);
    Shelves m_shelves;                // empty in slices that were never current
    std::atomic<bool> m_isCollected;  // nothing comes onto the shelves any more
    std::unique_ptr<CKZStatGenDistributionTable> m_packThreadsDistributions;
    // Unique in the process. An id is not, since hosts choose some, nor is an address, since memory
    // is used again.
    const std::uint64_t m_number;
    FoldProgress m_fold;
};

/// Calls `visit(lane, shelf)` for those that were made.
template <class Visitor>
void CKZStatGenSlice::ForEachShelf(Visitor visit) const {
    for (std::size_t lane = 0; lane < m_shelves.size(); ++lane)
        if (Shelf* const shelf = m_shelves[lane].load(std::memory_order_acquire))
            visit(lane, *shelf);
}

/// The generator: cuts the run into slices of fixed length, hands clients their dictionaries,
/// folds each finished slice into running totals and delivers it through the hooks. A host derives
/// from it, and runs `doPackWork` and `doGarbageWork` on a thread of its own each.
///
///     construct, Start, start the two threads, create clients, report values, ...,
///     Terminate, WaitForTerminateToEnd, join the two threads,
///     destroy the clients, destroy the generator.
///
/// The host must join both threads before it destroys the generator: the done events are signalled
/// just before the loops return. It must destroy every client before the generator; violations go
/// undetected. `Terminate` discards unsent slices; docs/embedding.md shows how to end a run without
/// losing the last one.
///
/// Safe for concurrent use, except that one thread runs each loop, and the hooks are called on the
/// pack thread only.
class KZSTAT_EXPORT CKZStatGenMain {
public:
    /// `name` leads every message; null is the empty name. Reads "LGStatsCacheSize" (values
    /// cached per dictionary, 20 at most and by default; 1 or less caches nothing) and
    /// "LGStatsCacheFlushInterval" (seconds, 5.0 at most and by default) from the environment.
    explicit CKZStatGenMain(const char* name);

    // The order of these five is part of the binary interface.

    /// Deletes everything that is left, queued slices included. REQUIRES: both loops have returned
    /// and every client is destroyed.
    virtual ~CKZStatGenMain();

    // Hooks, called in this order for each slice, on the pack thread and without any lock held:
    // SendClientDictionary for every client id, SendTotalDictionary, SendSliceValues,
    // SendDictionaryString. They must not keep the dictionaries, which stay the generator's: the
    // merged one is deleted at the next slice that brings values, or when the hooks are called
    // again after an exception; those per client change with each slice. What a dictionary hook
    // changes in the merged one, by whichever operation, is in the view and the text of this slice
    // only; what it changes in a client's is in all texts from the next one on.
    //
    // An exception from a hook leaves `doPackWork` to the host, with the done event signalled. The
    // slice stays in hand: a pack loop that is run again takes it up where it was left, and calls
    // the hook that threw again (after an exception from one of the dictionary hooks, all of
    // these, with the totals merged anew). No value is counted twice and no slice is left out. What
    // a hook itself added to the dictionary of a client stays there, and is in that merge.

    /// All clients' totals in one dictionary, once per slice. `elapsed` is the slice's end.
    virtual void SendTotalDictionary(CKZStatGenMeasurementDictionary* merged, double sliceLength,
                                     double elapsed) = 0;
    /// The totals of one client id, once per slice and client id ever seen. Id 1000011 is the
    /// generator's own: it keeps time when no client reports, and its dictionary is empty.
    virtual void SendClientDictionary(CKZStatGenMeasurementDictionary* perClient, int clientId,
                                      double sliceEndTime) = 0;
    /// The message of one slice: generator name, slice length, elapsed end and slice id, each
    /// followed by 0x01, then the dump of the merged dictionary. The hook may change `text`. The
    /// status is handed back by `SendSlice` and otherwise ignored. Does nothing and returns 1 here.
    virtual int SendDictionaryString(RWCString& text, double elapsed, const char* name);
    /// The slice with its exact values and its message as it was rendered, once per slice, between
    /// the two before. The view is valid until the call returns. Does nothing here.
    virtual void SendSliceValues(const CKZStatSliceValues& slice);

    /// Begins the timeline: slice 1 covers [startTime, startTime + sliceLength). Logs an error and
    /// does not start when the generator was started before, when `startTime` is not finite, or
    /// when `sliceLength` is not positive, not finite or too small to move the end time. Every
    /// slice length between `startTime` and the present becomes a slice, so `startTime` is
    /// usually `RyPSysTime()`.
    void Start(double startTime, double sliceLength);

    /// A new dictionary for `clientId` in the current slice, owned by that slice; `previous`, when
    /// given, is left. Advances the timeline when the current slice's time is up: the end belongs
    /// to the next slice, and missed slices are created in turn. Null, with an error logged,
    /// before `Start`. Only the caller may report into it; hosts mostly use
    /// `CKZStatGenClient::GetNewDictionary`.
    CKZStatGenMeasurementDictionary* GetNewDictionary(int clientId,
                                                      CKZStatGenMeasurementDictionary* previous);

    /// Collects, from `Start` on, the distribution of the values of every name that `choice` names,
    /// over all clients, of each slice and of the run: `SendSliceValues` shows them. After `Start`,
    /// logs an error and changes nothing. Without a call none are collected. REQUIRES: no other
    /// thread uses the generator yet.
    void CollectDistributions(CKZStatDistributionChoice choice);

    /// Files `slice` under `id` in the timeline.
    void AddSlice(CKZStatGenSlice* slice, int id) RYP_REQUIRES(*m_timelineLock);
    /// Takes what stands under the id of `slice` out of the timeline and deletes it: `slice`,
    /// unless the host made another one with the same id. Clients that still hold one of its
    /// dictionaries are detached from it. REQUIRES: that is neither the current slice nor the one
    /// that is being sent, and no other thread removes one with that id.
    void RemoveSlice(CKZStatGenSlice* slice);

    /// The next finished slice, waiting for it; null once the generator is terminated.
    CKZStatGenSlice* WaitForSlice();
    /// Packs and delivers one finished slice and hands it to the garbage loop. Returns the status
    /// of `SendDictionaryString`. After an exception, of a hook or for lack of memory, the next
    /// call for the same slice goes on where this one ended. Pack thread only.
    int SendSlice(CKZStatGenSlice* slice);

    /// The pack loop: delivers finished slices until `Terminate`, ending after the slice in hand.
    /// May be run again after an exception has left it.
    void doPackWork();
    /// The garbage loop: frees delivered slices, and advances the timeline when no client has
    /// reported for more than 5.0 seconds past the end of the current slice. May be run again
    /// after an exception, which only a lack of memory causes, has left it.
    void doGarbageWork();

    /// Notes that the run is paused, which has no effect in the generator.
    void Freeze();
    /// Ends the pause and leaves `pausedSeconds` out of all elapsed times from now on. The end
    /// times of slices do not move.
    void DeFrost(double pausedSeconds);

    /// Ends both loops and the retries of refused values. A second call does nothing.
    ///
    /// Logs one warning where values are left unsent: how many slices are neither sent nor in hand
    /// at this moment (queued ones, the current one, one whose hook threw), and how many values
    /// were reported into them so far, cached ones included. They are counted only where warnings
    /// are logged.
    void Terminate();
    /// After `Terminate`, waits until neither loop is running; returns at once before it.
    void WaitForTerminateToEnd();

private:
    friend class CKZStatGenClient;
    friend class CKZStatGenSlice;
    friend class CKZStatRunGenerator;
    friend struct CKZStatGenTestPeer;

    using Lock = RWTRecursiveLock<RWMutexLock>;

    /// How far the pack thread has come with the slice in hand.
    enum class PackStage { Taken, Folded, Merged, DictionariesSent, ValuesSent, TextSent };

    void ReadSettings();
    std::unique_ptr<CKZStatGenMeasurementDictionary> MakeDictionary(
        CKZStatGenClient* client, CKZStatGenLane& lane,
        const CKZStatGenMeasurementDictionary::Size& expected) const;
    CKZStatGenMeasurementDictionary* NewDictionary(
        int clientId, CKZStatGenClient& client, CKZStatGenLane& lane,
        const CKZStatGenMeasurementDictionary::Size& expected);
    bool HasCurrentSlice();
    bool IsUsableTimeline(double startTime, double sliceLength) const;
    void AdvanceTimeline() RYP_REQUIRES(*m_timelineLock);
    CKZStatGenSlice* BeginSliceAfter(CKZStatGenSlice* ended) RYP_REQUIRES(*m_timelineLock);
    CKZStatGenSlice* EndTimeline(CKZStatGenSlice* ended) RYP_REQUIRES(*m_timelineLock);
    CKZStatGenSlice::Shelves MakeShelves() const;
    void MakeCurrent(CKZStatGenSlice* slice, CKZStatGenSlice::Shelves shelves)
        RYP_REQUIRES(*m_timelineLock);
    int EndWithCurrentSlice();
    void EndAtOnce();
    CKZStatGenSlice* FindInTimeline(int id);
    std::unique_ptr<RWCollectable> TakeOutOfTimeline(int id) RYP_REQUIRES(*m_timelineLock);
    class Sending;
    CKZStatGenSlice* TakeToSend(CKZStatGenSlice* slice);
    template <class Visitor>
    void ForEachInTimeline(Visitor visit) const RYP_REQUIRES(*m_timelineLock);
    void TakeOffAllShelves();
    void LogUnsent();
    void TakeInHand(CKZStatGenSlice* slice);
    void CloseSlice(CKZStatGenSlice* slice);
    std::unique_ptr<CKZStatGenMeasurementDictionary> ReplaceMerged(
        std::unique_ptr<CKZStatGenMeasurementDictionary> merged);
    bool IsMergeCurrent() const;
    void CallDictionaryHooks(double sliceEndTime);
    void RenderRecords();
    void ResetLasts();
    void BuildMessage(RWCString& text, const CKZStatGenSlice& slice) const;
    int SendText(const CKZStatGenSlice& slice);
    void FreeSliceInHand();
    void KeepTime(CKZStatGenClient& dummyClient);
    double Elapsed(double time) const;
    double CurrentEndTime() const;

    const RWCString m_name;
    std::atomic<double> m_startTime;
    double m_sliceLength;  // constant once Start has returned
    int m_sliceCounter RYP_GUARDED_BY(*m_timelineLock);
    double m_sliceEndOffset RYP_GUARDED_BY(*m_timelineLock);
    std::atomic<bool> m_terminated;
    std::atomic<bool> m_stopping;
    std::atomic<bool> m_frozen;
    // No slice follows the current one; once that has ended, there is no current slice any more.
    bool m_isLastSlice RYP_GUARDED_BY(*m_timelineLock);
    RWHashDictionary m_timeline RYP_GUARDED_BY(*m_timelineLock);
    const std::unique_ptr<Lock> m_timelineLock;
    // Written under the timeline lock. A client reads it under its lane, which keeps the slice from
    // being sent until the client has filed its dictionary there.
    std::atomic<CKZStatGenSlice*> m_currentSlice;
    // The end of the current slice, for those who look at it without the timeline lock: the slice
    // itself may be freed under them. Infinite while there is no current slice.
    std::atomic<double> m_currentEndTime;
    RyPEventQueue m_packQueue;
    std::unique_ptr<CKZStatGenSlice> m_totalSlice;  // made by Start, then the pack thread's
    std::unique_ptr<CKZStatGenMeasurementDictionary> m_totalDictionary;  // the pack thread's
    RWCString m_records;             // the pack thread's: the dump of m_totalDictionary, ...
    bool m_recordsAreCurrent;        // ... once it was rendered
    bool m_lastsMayBeSet;            // the pack thread's: in the total slice
    CKZStatGenSlice* m_sliceToSend;  // the pack thread's
    PackStage m_packStage;           // the pack thread's
    // The pack thread's. Fixed before the message is built, so that message, view and argument
    // agree even where a pause ends in between or a hook throws.
    double m_elapsedOfText;
    CKZStatGenSlice* m_sliceToFree;  // the garbage thread's
    RyPManualEvent m_packDone;
    RyPManualEvent m_garbageDone;
    RyPEventQueue m_garbageQueue;
    // Serialises the traffic of each client, so that a dictionary is touched by one thread at a
    // time.
    const std::unique_ptr<CKZStatGenLanes> m_clientsLock;
    std::unique_ptr<CKZStatGenDistributions> m_distributions;  // constant once Start has returned
    int m_statsCacheSize;                                      // constant after construction
    double m_statsCacheFlushInterval;                          // constant after construction
};

/// A named stopwatch of a client. Compatible.
class KZSTAT_EXPORT CKZStatGenTimer : public RWCollectable {
public:
    CKZStatGenTimer();
    ~CKZStatGenTimer() override;

    void ResetTimer() { m_timer.reset(); }
    /// Milliseconds since the last reset.
    double SendTimer() { return m_timer.get(); }

private:
    RyPTimerObject m_timer;
};

/// The named timers of a client. Owns its keys and timers. Compatible.
class KZSTAT_EXPORT CKZStatGenTimerDictionary : public RWHashDictionary {
public:
    CKZStatGenTimerDictionary();
    ~CKZStatGenTimerDictionary() override;

    /// Starts the timer `name` anew, creating it where there is none. REQUIRES: not null.
    void ResetTimer(const char* name);
    /// Milliseconds since the last reset of the timer `name`, which goes on running; -1.0 where
    /// there is none. REQUIRES: not null.
    double SendTimer(const char* name);
};

/// A simulated client's handle on the generator: reports values by name into the slice that is
/// current at that moment, and keeps the client's named timers.
///
/// Values: safe for concurrent use; threads that report through clients of their own do not wait
/// for one another. Timers: owned by the client's own thread.
class KZSTAT_EXPORT CKZStatGenClient {
public:
    /// `main` must outlive the client. Several clients may share an id; their values are filed
    /// under it together.
    CKZStatGenClient(CKZStatGenMain* main, int clientId);
    /// Values reported so far stay counted.
    virtual ~CKZStatGenClient();
    CKZStatGenClient(const CKZStatGenClient&) = delete;
    CKZStatGenClient& operator=(const CKZStatGenClient&) = delete;

    /// Leaves the current dictionary for a new one in the current slice, advancing the timeline
    /// when its time is up, and returns it. It belongs to its slice. The caller may test it
    /// for null, but must not report into it. Null, with an error logged, before `Start`.
    CKZStatGenMeasurementDictionary* GetNewDictionary();

    /// Forgets the current dictionary, which goes on naming this client as its owner: for a
    /// dictionary that is about to be destroyed or detached, and for nobody else. The caller holds
    /// the client's lane, or no other thread is left.
    void ReleaseDictionary();

    /// The end time of the slice that this client reports into: of its current dictionary, or of
    /// the generator's current slice where it has none yet. It may have passed, since the next
    /// slice begins when somebody asks for a dictionary. Infinity, with an error logged, before
    /// `Start`.
    double GetCurrentEndTime() const;

    /// Records one value of `name`. A value that a closed slice refuses is tried again in a new
    /// dictionary until it is accepted: at once where the slice is over, every 0.1 second where it
    /// is not. It is dropped only when the generator is stopping. A null `name` and a generator
    /// that was not started log an error and drop the value.
    void AddLast(const char* name, double value, CKZStatPointTypeEnum::PointType type);

    /// Aggregates the values that this client's dictionary still caches. Returns 1, or 0 where the
    /// client has no dictionary.
    int FlushStatsCache();

    /// Starts the timer `name` anew. A null `name` logs an error.
    void ResetTimer(const char* name);
    /// Reports the milliseconds since the last `ResetTimer` as a value of type `Timer`, and
    /// returns them. The timer goes on running. A timer that was never started is reported as
    /// -1.0. A null `name` logs an error, reports nothing and returns -1.0.
    double SendTimer(const char* name);

private:
    friend class CKZStatGenSlice;
    friend class CKZStatRunGenerator;
    friend struct CKZStatGenTestPeer;

    /// What follows a refusal.
    enum class Retry { UntilStopping, AtOnce };

    using DictionarySize = CKZStatGenMeasurementDictionary::Size;

    CKZStatGenMeasurementDictionary* MoveToNewDictionary() RYP_REQUIRES(m_lane);
    void MoveForReport(CKZStatGenLaneOfClient::Hold& lane) RYP_REQUIRES(m_lane);
    bool Holds(const CKZStatGenMeasurementDictionary& dictionary) const;
    DictionarySize Leave() RYP_REQUIRES(m_lane);
    void Take(const DictionarySize& expected) RYP_REQUIRES(m_lane);
    bool TryAddLast(const char* name, double value, CKZStatPointTypeEnum::PointType type);
    bool Report(const char* name, double value, CKZStatPointTypeEnum::PointType type, Retry retry);
    bool MayTryAgain(CKZStatGenLaneOfClient::Hold& lane) RYP_REQUIRES(m_lane);
    double WaitForPausing(CKZStatGenLaneOfClient::Hold& lane) RYP_REQUIRES(m_lane);
    bool NeedsNewDictionary(double now) const RYP_REQUIRES(m_lane);
    double EndTime() const RYP_REQUIRES(m_lane);

    CKZStatGenMain* const m_main;
    mutable CKZStatGenLaneOfClient m_lane;
    CKZStatGenMeasurementDictionary* m_dictionary RYP_GUARDED_BY(m_lane);
    bool m_isPausing RYP_GUARDED_BY(m_lane);  // a refused value, which others do not overtake
    const int m_clientId;
    CKZStatGenTimerDictionary m_timers;
};

#endif

#ifndef KZSTATRUN_H
#define KZSTATRUN_H

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "kzstat_export.h"
#include "kzstatdistributionchoice.h"
#include "kzstatnote.h"
#include "kzstatpointtypeenum.h"
#include "kzstatslicevalues.h"
#include "rw/cstring.h"

class CKZStatRunClientState;
class CKZStatRunState;

/// The result of a run so far. Compatible.
struct CKZStatRunResult {
    int slicesDelivered = 0;      ///< slices passed to all listeners
    int slicesGivenUp = 0;        ///< slices discarded with their values
    long long valuesRefused = 0;  ///< values whose `AddLast` returned false
    /// What went wrong, a line each: listeners that threw, values refused, slices given up, what
    /// `CKZStatRun::AddComplaint` was told.
    std::vector<RWCString> complaints;

    bool IsClean() const { return complaints.empty(); }
};

/// The end of a run, as passed to its listeners. Compatible.
struct CKZStatRunEnd {
    int lastSlice = 0;                    ///< the id of the last slice, delivered or given up
    std::optional<double> loadBegin;      ///< as `CKZStatRun::GetLoadBegin` returns it
    std::optional<double> loadEnd;        ///< as `CKZStatRun::GetLoadEnd` returns it
    std::vector<CKZStatNote> notes = {};  ///< what the host noted after the last slice
};

/// A listener that is also called at the end, for example to close a file. The lines that its
/// operations return are added to the complaints of the run. The rules of `CKZStatRun::OnSlice`
/// apply to both operations. Owned by the thread of the run that calls them.
class KZSTAT_EXPORT CKZStatRunListener {
public:
    CKZStatRunListener() = default;
    virtual ~CKZStatRunListener();
    CKZStatRunListener(const CKZStatRunListener&) = delete;
    CKZStatRunListener& operator=(const CKZStatRunListener&) = delete;

    virtual std::vector<RWCString> OnSlice(const CKZStatSliceValues& slice) = 0;
    /// Called once, after the last `OnSlice`, also if slices were given up.
    virtual std::vector<RWCString> OnEnd(const CKZStatRunEnd& end) = 0;
};

/// A simulated client's handle on a run: reports values by name into the current slice and keeps
/// the client's named timers. It may outlive its run; it then refuses every value. The load of a
/// run is the number of its handles, unless the host sets it.
///
/// Values: safe for concurrent use; threads that report through clients of their own do not wait
/// for one another. Timers: owned by the client's own thread. Moving: while no other thread uses
/// either handle; one that was moved from may still be used, and refuses every value.
class KZSTAT_EXPORT CKZStatRunClient {
public:
    /// For runs, which alone know what a client is made of: `CKZStatRun::NewClient` returns one.
    explicit CKZStatRunClient(std::shared_ptr<CKZStatRunClientState> state);
    CKZStatRunClient(CKZStatRunClient&& other) noexcept;
    CKZStatRunClient& operator=(CKZStatRunClient&& other) noexcept;
    /// Values reported so far stay counted.
    ~CKZStatRunClient();

    /// Records one value of `name`. Returns true if the value will be delivered with the slice in
    /// which it was accepted. Returns false, and counts the value as refused, if the run was over,
    /// if memory ran out, or if `name` is null or holds the byte 0x01, which separates the fields
    /// of a message; the first such name of a run is logged as an error. Names are cut to their
    /// first 256 bytes.
    bool AddLast(const char* name, double value, CKZStatPointTypeEnum::PointType type);

    /// Starts the timer `name` anew. A null `name` logs an error.
    void ResetTimer(const char* name);
    /// Reports the milliseconds since the last `ResetTimer` as a value of type `Timer`, and returns
    /// them. The timer goes on running. A timer that was never started is reported as -1.0. A null
    /// `name` logs an error, reports nothing and returns -1.0.
    double SendTimer(const char* name);

    /// The id that `CKZStatRun::NewClient` was given; 0 for a handle that was moved from.
    int GetId() const;

private:
    friend class CKZStatStopwatch;

    void Leave();

    std::shared_ptr<CKZStatRunClientState> m_state;
};

/// A whole run: a generator, the threads it needs, and an end that loses nothing.
///
///     construct, OnSlice, create clients, report values, ..., Finish
///
/// A run has three threads: one delivers finished slices to the listeners, one frees them, and one
/// ends slices on time when no client reports. Clients, stopwatches and the run may be destroyed in
/// any order. Listeners are called until the run has ended, so what they refer to must be declared
/// before the run. The listeners are destroyed when the run has ended.
///
/// Every value whose `AddLast` returned true is delivered with exactly one slice, unless
/// `Finish(limitSeconds)` gives that slice up. Slices have equal lengths and no gaps between them.
///
/// Safe for concurrent use, except during destruction.
class KZSTAT_EXPORT CKZStatRun final {
public:
    /// Starts at once: slice 1 covers [now, now + sliceLength), in seconds. `name` leads every
    /// message; null is the empty name. A name that holds the byte 0x01 is cut before it, and
    /// `Finish` returns a complaint. A slice length that is not positive, not finite or too small
    /// to advance the end time is logged as an error: the run then delivers nothing, refuses all
    /// values, and `Finish` returns a complaint.
    ///
    /// Collects the distributions that `distributions` names, for the slices that listeners see.
    CKZStatRun(const char* name, double sliceLength,
               const CKZStatDistributionChoice& distributions = CKZStatDistributionChoice::Usual());
    /// Calls `Finish()` if it was not called, and logs the complaints that no `Finish` returned.
    /// Always waits until the listeners have returned. If called by a listener, it discards the
    /// undelivered slices instead and logs an error.
    ~CKZStatRun();
    CKZStatRun(const CKZStatRun&) = delete;
    CKZStatRun& operator=(const CKZStatRun&) = delete;

    /// Calls `listener` for every slice from now on, on one thread, after those added before it
    /// and without a lock held. The view is valid until the call returns. Slices that have ended by
    /// now may be missed, so add listeners right after construction.
    ///
    /// The facts of a slice have its cost (`CKZStatSliceFacts`) and the notes of the host.
    ///
    /// A listener may block (slices are queued meanwhile; clients do not wait), report values, and
    /// add listeners, which are called from the next slice on. Values that it reports after the
    /// last slice has ended are refused, but do not count as refused. It must not finish its run or
    /// wait for a thread that does. If it throws, it is not called again for this slice; the other
    /// listeners are still called, and `Finish` returns how often it threw and the first exception.
    /// After the end, or if `listener` is empty, logs an error and adds nothing.
    void OnSlice(std::function<void(const CKZStatSliceValues&)> listener);

    /// The same for a listener with a call at the end, for which `Finish` waits. The run releases
    /// it afterwards. Returns false and adds nothing if `listener` is null or the run has ended.
    [[nodiscard]] bool AddListener(const std::shared_ptr<CKZStatRunListener>& listener);

    /// Calls `reporter` near the middle of every slice from now on, for what is reported once per
    /// slice (a level, a reading). It reports through the handle passed to it, whose id is 0.
    /// Rules as for `OnSlice`, on a thread of its own. A slice is skipped if the thread or the
    /// process slept through it, or if it is shorter than a few milliseconds.
    void OncePerSlice(std::function<void(CKZStatRunClient&)> reporter);

    /// Returns a new client. Several may share an id; their values are then aggregated together.
    /// 0 is the run's own id and may be used.
    CKZStatRunClient NewClient(int id);

    /// Reports the load once per slice as `name`, a `LoadSize`, from now on. Null or a name that
    /// holds 0x01 logs an error and ends the reports.
    void ReportLoadAs(const char* name);
    /// Sets the load of the run to `load`; the number of clients no longer counts. A load that is
    /// negative or not finite logs an error and changes nothing.
    void SetLoad(double load);

    /// The load begins when it first rises above 0, and ends when it last falls to 0 or when
    /// `Finish` is called, whichever is earlier. `BeginLoad` and `EndLoad` set that moment to now
    /// instead; the last call before `Finish` counts. A load that begins again has not ended.
    void BeginLoad();
    void EndLoad();
    /// Seconds since the start of the run; no value if the load has not begun or not ended.
    std::optional<double> GetLoadBegin() const;
    std::optional<double> GetLoadEnd() const;

    /// Notes what is worth knowing about this moment, or about `time` in seconds since 1970-01-01
    /// UTC. It reaches the listeners with the next slice, or with the end of the run. The text is
    /// cut to 1,024 bytes. Returns false, and adds nothing, for a null text, a time that is not
    /// finite, when the run is over, and when it has 1,000 notes; the first such note is logged.
    bool Note(const char* text);
    bool Note(const char* text, double time);

    /// Tells that the host began something `seconds` later than it was due, as with requests at a
    /// fixed rate. Listeners see the longest such time with the cost of the slice. What is
    /// below 0 counts as 0; what is not finite is ignored.
    void NoteLateness(double seconds);

    const RWCString& GetName() const;
    /// Seconds, as given.
    double GetSliceLength() const;
    /// The start of slice 1, in seconds since 1970-01-01 UTC.
    double GetStartTime() const;

    /// Adds a line to the complaints that `Finish` returns and logs it as an error, for listeners
    /// that report a fault without throwing. Null and lines that were added before are ignored.
    void AddComplaint(const char* line);
    /// Returns the result so far, without waiting.
    [[nodiscard]] CKZStatRunResult GetResult() const;

    /// Ends the run without losing a value: lets the current slice end, refuses values after it,
    /// waits until all slices were delivered to all listeners, and ends the threads. Takes at most
    /// one slice length plus the time that the listeners take; with slices of more than five
    /// seconds, up to a second more. A further call waits for the same end and returns the result.
    /// If called by a listener of this run, it only logs an error and adds a complaint.
    [[nodiscard]] CKZStatRunResult Finish();
    /// The same within `limitSeconds`: slices not delivered by then are discarded with their
    /// values. A listener call under way continues, and the destructor waits for it. A negative
    /// limit and NaN mean 0.
    [[nodiscard]] CKZStatRunResult Finish(double limitSeconds);

private:
    const std::shared_ptr<CKZStatRunState> m_state;
};

#endif

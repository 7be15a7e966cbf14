#ifndef KZSTATRUN_H
#define KZSTATRUN_H

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "kzstat_export.h"
#include "kzstatpointtypeenum.h"
#include "kzstatslicevalues.h"
#include "rw/cstring.h"

class CKZStatRunClientState;
class CKZStatRunState;

/// What became of a run so far. Compatible.
struct CKZStatRunResult {
    int slicesDelivered = 0;      ///< slices that all listeners were called for
    int slicesGivenUp = 0;        ///< slices that were not, with all their values
    long long valuesRefused = 0;  ///< values whose `AddLast` returned false
    /// What went wrong, a line each: listeners that threw, values refused, slices given up, what
    /// `CKZStatRun::AddComplaint` was told.
    std::vector<RWCString> complaints;

    bool IsClean() const { return complaints.empty(); }
};

/// How a run ended, as its listeners are told. Compatible.
struct CKZStatRunEnd {
    int lastSlice = 0;                ///< the id of the last slice, delivered or given up
    std::optional<double> loadBegin;  ///< as `CKZStatRun::GetLoadBegin` returns it
    std::optional<double> loadEnd;    ///< as `CKZStatRun::GetLoadEnd` returns it
};

/// A listener that is told of the end, such as one that closes a file then. The lines that its
/// operations return are added to the complaints of the run. The rules of `CKZStatRun::OnSlice`
/// hold for both. Owned by the thread of the run that calls them.
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

/// A simulated client's handle on a run: reports values by name into the current slice, and keeps
/// the client's named timers. It may outlive its run, and then refuses every value. The load of a
/// run is the number of its handles, until the host sets it.
///
/// Values: safe for concurrent use; threads that report through clients of their own do not wait
/// for one another. Timers: owned by the client's own thread. Moving: while no other thread uses
/// either handle; one that was moved from may still be used, and refuses every value.
class KZSTAT_EXPORT CKZStatRunClient {
public:
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
    friend class CKZStatRun;
    friend class CKZStatRunState;
    friend class CKZStatStopwatch;

    explicit CKZStatRunClient(std::shared_ptr<CKZStatRunClientState> state);
    void Leave();

    std::shared_ptr<CKZStatRunClientState> m_state;
};

/// A whole run: a generator, the threads it needs, and an end that loses nothing.
///
///     construct, OnSlice, create clients, report values, ..., Finish
///
/// Three threads work for a run: one delivers finished slices to the listeners, one frees them, and
/// one keeps time, so that slices end on time when no client reports. Clients, stopwatches and the
/// run may be destroyed in any order. Listeners are called until the run has ended, so what they
/// refer to must be there until then: it is declared before the run. What they captured is
/// destroyed with the end.
///
/// Every value whose `AddLast` returned true is delivered, with exactly one slice, unless
/// `Finish(limitSeconds)` gives that slice up. Slices are of the same length and without gaps.
///
/// Safe for concurrent use, except that nobody uses a run that is being destroyed.
class KZSTAT_EXPORT CKZStatRun final {
public:
    /// Starts at once: slice 1 covers [now, now + sliceLength), in seconds. `name` leads every
    /// message; null is the empty name, and one that holds the byte 0x01 is cut before it, which
    /// `Finish` says. A slice length that is not positive, not finite or too small to move the end
    /// time is logged as an error: such a run delivers nothing, refuses all values, and `Finish`
    /// says so.
    CKZStatRun(const char* name, double sliceLength);
    /// Finishes as `Finish()` does if nobody has; complaints that nobody was told are logged.
    /// Always waits until the listeners have returned. Called by a listener, it gives up the slices
    /// not delivered yet instead and logs an error.
    ~CKZStatRun();
    CKZStatRun(const CKZStatRun&) = delete;
    CKZStatRun& operator=(const CKZStatRun&) = delete;

    /// Calls `listener` for every slice from now on, on one thread, after those added before it
    /// and without a lock held. The view ends with the call. Slices that have ended by now may be
    /// missed, so add listeners right after construction.
    ///
    /// A listener may take its time (slices wait in a queue meanwhile, clients do not), report
    /// values, and add listeners, which are called from the next slice on. It must not finish its
    /// run nor wait for a thread that does. One that throws has had its call for this slice; the
    /// other listeners are called all the same, and `Finish` tells how often it threw and what was
    /// thrown first. After the end and for an empty `listener` an error is logged and nothing is
    /// added.
    void OnSlice(std::function<void(const CKZStatSliceValues&)> listener);

    /// The same for a listener that is told of the end, which `Finish` waits for. It is released
    /// afterwards. Returns false for null and after the end: nothing is added then.
    [[nodiscard]] bool AddListener(const std::shared_ptr<CKZStatRunListener>& listener);

    /// Calls `reporter` near the middle of every slice from now on, for what is reported once per
    /// slice (a level, a reading). It reports through the handle that it is given, whose id is 0.
    /// Rules as for `OnSlice`, on a thread of its own. A slice that the thread or the process
    /// sleeps through, and one of less than a few milliseconds, goes without.
    void OncePerSlice(std::function<void(CKZStatRunClient&)> reporter);

    /// A new client. Several may share an id; their values are filed under it together. 0 is the
    /// run's own id and may be used.
    CKZStatRunClient NewClient(int id);

    /// Reports the load once per slice as `name`, a `LoadSize`, from now on. Null or a name that
    /// holds 0x01 logs an error and ends the reports.
    void ReportLoadAs(const char* name);
    /// Replaces the number of clients by `load` as the load of the run, for good. A load that is
    /// negative or not finite logs an error and changes nothing.
    void SetLoad(double load);

    /// The load begins when it first rises above 0, and ends when it last falls to 0 or when
    /// `Finish` is called, whichever is earlier. `BeginLoad` and `EndLoad` say instead that it does
    /// now; the last call before `Finish` counts.
    void BeginLoad();
    void EndLoad();
    /// Seconds since the start of the run; nothing where the load has not begun or not ended.
    std::optional<double> GetLoadBegin() const;
    std::optional<double> GetLoadEnd() const;

    const RWCString& GetName() const;
    /// Seconds, as given.
    double GetSliceLength() const;
    /// The start of slice 1, in seconds since 1970-01-01 UTC.
    double GetStartTime() const;

    /// Adds a line to what `Finish` returns and logs it as an error, for listeners that have
    /// something to tell and do not throw. Null does nothing; a line that was added before is not
    /// repeated.
    void AddComplaint(const char* line);
    /// What is known of the run by now, without waiting; `Finish` returns it at the end.
    [[nodiscard]] CKZStatRunResult GetResult() const;

    /// Ends the run without losing a value: lets the current slice end, refuses values after it,
    /// waits until all slices were delivered to all listeners, and ends the threads. Takes one
    /// slice length at most plus the time that the listeners take; with slices of more than five
    /// seconds, up to a second more. A further call waits for the same end and returns what is
    /// known by then. Called by a listener of this run, it logs an error, does nothing and says so
    /// in the complaints.
    [[nodiscard]] CKZStatRunResult Finish();
    /// The same in `limitSeconds` at most: slices that were not delivered by then are given up with
    /// their values. A listener that is at work goes on, and the destructor waits for it. A limit
    /// below 0 and NaN mean 0.
    [[nodiscard]] CKZStatRunResult Finish(double limitSeconds);

private:
    const std::shared_ptr<CKZStatRunState> m_state;
};

#endif

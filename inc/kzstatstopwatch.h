#ifndef KZSTATSTOPWATCH_H
#define KZSTATSTOPWATCH_H

#include <list>
#include <memory>

#include "kzstat_export.h"

class CKZStatRunClient;
class CKZStatRunClientState;
struct CKZStatWatchedName;

/// Times one piece of work from its construction to the end of its scope and reports how it ended,
/// exactly once:
///
/// - by the end of the scope or `Stop`: the milliseconds as `name`, a `Timer`;
/// - by `Fail(reason)`: the milliseconds as `name.failed`, a `Timer`, and 1 as
///   `name.failed.reason`, a `TransactionReasonCounter`;
/// - by an exception that leaves the scope: the same with the reason "exception";
/// - by `Abandon`: 1 as `name.abandoned`, a `Counter`.
///
/// Running stopwatches are reported too. Once per slice the run reports, for every name that ever
/// had a stopwatch, `name.running` (the number of running stopwatches) and, if there are any,
/// `name.oldest` (the milliseconds since the earliest of them started), both of type `Measurement`.
///
/// `name` is cut to its first 200 bytes, so that the suffixes fit. A null name and one that holds
/// the byte 0x01 report nothing and count as a refused value. Nothing is thrown.
///
/// Compatible: one thread at a time per object; it may be destroyed on another thread. It may
/// outlive its client and its run.
class KZSTAT_EXPORT CKZStatStopwatch {
public:
    /// Starts now.
    CKZStatStopwatch(const CKZStatRunClient& client, const char* name);
    /// Started at `intendedStart`, in seconds as `RyPSysTime` returns them, so that the delay
    /// before the actual start counts, up to 4e9 seconds. A time that is in the future or not
    /// finite means now.
    CKZStatStopwatch(const CKZStatRunClient& client, const char* name, double intendedStart);
    /// `other` reports nothing from now on.
    CKZStatStopwatch(CKZStatStopwatch&& other) noexcept;
    CKZStatStopwatch& operator=(CKZStatStopwatch&&) = delete;
    ~CKZStatStopwatch();

    // If the stopwatch has already ended, these do nothing, and the first two return -1.0.

    /// The work succeeded. Returns the milliseconds it took.
    double Stop();
    /// The work failed. Returns the milliseconds it took. `reason` should come from a small set,
    /// since each becomes a name; null and "" mean "unknown".
    double Fail(const char* reason);
    /// The work was abandoned; its time is not reported.
    void Abandon();

private:
    void Begin(const CKZStatRunClient& client, const char* name, long long startNanoseconds);
    bool IsRunning() const { return m_client != nullptr; }
    double Milliseconds() const;
    void End();

    std::shared_ptr<CKZStatRunClientState> m_client;  // null once ended
    CKZStatWatchedName* m_name;
    std::list<long long>::iterator m_start;  // among the running ones
    const int m_exceptionsAtStart;
};

#endif

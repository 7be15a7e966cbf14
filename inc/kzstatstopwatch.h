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
/// `name.failed.reason`,
///   a `TransactionReasonCounter`;
/// - by an exception that leaves the scope: the same with the reason "exception";
/// - by `Abandon`: 1 as `name.abandoned`, a `Counter`.
///
/// Work under way is seen too. Once per slice the run reports, for every name that ever had a
/// stopwatch, `name.running` (how many are under way, a `LoadSize`) and, where there are any,
/// `name.oldest` (the milliseconds since the earliest of them started, a `Measurement`).
///
/// `name` is cut to its first 200 bytes, so that what is added fits. A null name and one that holds
/// the byte 0x01 report nothing and count as a value refused. Nothing is thrown.
///
/// Compatible: one thread at a time per object, which may be another one at the end. It may outlive
/// its client and its run.
class KZSTAT_EXPORT CKZStatStopwatch {
public:
    /// Starts now.
    CKZStatStopwatch(const CKZStatRunClient& client, const char* name);
    /// Started at `intendedStart`, in seconds as `RyPSysTime` returns them, so that the time that
    /// the work had to wait for its start counts. A time that is in the future or not finite means
    /// now; a wait counts as 4e9 seconds at most.
    CKZStatStopwatch(const CKZStatRunClient& client, const char* name, double intendedStart);
    /// `other` reports nothing any more.
    CKZStatStopwatch(CKZStatStopwatch&& other) noexcept;
    CKZStatStopwatch& operator=(CKZStatStopwatch&&) = delete;
    ~CKZStatStopwatch();

    /// The work succeeded. Returns the milliseconds it took. If the stopwatch has ended before,
    /// does nothing, as the next two, and returns -1.0.
    double Stop();
    /// The work failed. `reason` should be one of a few words; null and "" mean "unknown".
    void Fail(const char* reason);
    /// The work was given up; its time says nothing.
    void Abandon();

private:
    void Begin(const CKZStatRunClient& client, const char* name, long long startNanoseconds);
    bool IsRunning() const { return m_client != nullptr; }
    double Milliseconds() const;
    void End();

    std::shared_ptr<CKZStatRunClientState> m_client;  // null once ended
    CKZStatWatchedName* m_name;
    std::list<long long>::iterator m_start;  // among those under way
    const int m_exceptionsAtStart;
};

#endif

#ifndef KZ_TESTS_LONGRUN_LONGRUN_H
#define KZ_TESTS_LONGRUN_LONGRUN_H

#include <chrono>
#include <ctime>
#include <deque>

#include "books.h"
#include "kzstatisticsgenerator.h"
#include "kzstatmessage.h"
#include "options.h"
#include "recordinghost.h"
#include "ryp/testclock.h"
#include "violations.h"

/// A run of many slices on a clock that is moved from slice to slice, on the calling thread alone:
/// it reports, packs and frees in turn, so that every run is the same. Owned by the thread that
/// made it.
class LongRun {
public:
    LongRun(const Options& options, Violations& violations);

    /// All clients report in every slice. False when the slices did not come as they should, so
    /// that the run cannot go on.
    bool Report();
    /// Then nobody does, and the slices that passed are made up for at once. False as above.
    bool FallSilent();
    /// Holds the memory in use against that of the first minute.
    void CompareMemory();

private:
    using RealTime = std::chrono::steady_clock;

    void ReportValues(int slice, int firstClient, int lastClient);
    bool IsCurrent(int slice);
    void Deliver(int slice);
    void TimedSend(CKZStatGenSlice* slice);
    void PrintPackTime() const;
    void Free(CKZStatGenSlice* slice);
    void CheckHooks(int slice);
    void CheckMessage(int slice);
    void CheckSilence(int slice);
    void NoteProgress(int slice);
    int FilledAfter() const;
    double RealSeconds() const;

    const Options m_options;
    Violations& m_violations;
    RyPTestClock m_clock;
    RecordingHost m_host;
    std::deque<CKZStatGenClient> m_clients;
    Books m_books;
    Books m_booksOfFinished;   // without the slice that is current
    CKZStatMessage m_message;  // the last one
    RWCString m_formerText;
    const RealTime::time_point m_begin;
    RealTime::duration m_packTime;
    std::clock_t m_packProcessorTime;
    double m_bytesWhenFilled;
};

#endif

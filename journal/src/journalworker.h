#ifndef KZJOURNALWORKER_H
#define KZJOURNALWORKER_H

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kzjournaldistributions.h"
#include "kzjournalerror.h"
#include "kzjournalload.h"
#include "kzjournalwriter.h"
#include "kzstatmessage.h"
#include "kzstatrun.h"
#include "kzstatslicevalues.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/condition.h"
#include "slicestore.h"

namespace kzjournal {

/// Hands slices to the thread that writes them, and waits for it no longer than stated.
///
/// Safe for concurrent use: `Run` is the writing thread's, the rest the writer's.
class Worker {
public:
    /// Throws `Error`.
    Worker(const std::string& path, const kzjournal::Run& run,
           const std::vector<std::string>& conditions)
        : m_store(std::in_place, path, run, conditions, SliceStore::SafeAtOnce),
          m_path(path),
          m_load{run.loadBegin, run.loadEnd} {}

    /// The writing thread: returns once the journal is closed.
    void Run();

    void SetLoad(const LoadSpan& load);
    AppendResult Append(const CKZStatSliceValues& slice);
    std::optional<Error> Close(const std::optional<CKZStatRunEnd>& runEnd, long long& lostSlices);

private:
    /// A copy of what a host showed, waiting for the disk.
    struct WaitingSlice {
        CKZStatSliceFacts facts;
        RWCString message;
        std::vector<CKZStatMessageRecord> records;
        RecordDistributions distributions;
        LoadSpan load;  // as it was known with the slice
        std::size_t bytes = 0;
    };

    /// A kind of trouble and whether the host was told of it, which it is once while it lasts.
    class Trouble {
    public:
        void Begin(const std::string& text) {
            m_text = text;
            if (m_state == None) m_state = Untold;
        }
        void End() { m_state = None; }
        bool IsUntold() const { return m_state == Untold; }
        const std::string& Tell() {
            m_state = Told;
            return m_text;
        }
        /// What it was about latest, also when it has ended.
        const std::string& Text() const { return m_text; }

    private:
        enum { None, Untold, Told } m_state = None;
        std::string m_text;
    };

    static std::size_t BytesOf(const CKZStatSliceValues& slice);
    static WaitingSlice CopyOf(const CKZStatSliceValues& slice);
    RecordDistributions EncodedDistributions(const CKZStatSliceValues& slice) RYP_REQUIRES(m_lock);
    bool Enqueue(const CKZStatSliceValues& slice) RYP_REQUIRES(m_lock);
    long long ExpectedSlices() const RYP_REQUIRES(m_lock) { return m_appended - m_repeated; }
    long long SlicesThatNeverCame() const RYP_REQUIRES(m_lock);
    bool WaitForWork();
    void WriteNext();
    bool Write(const WaitingSlice& slice, long long expected);
    void Settle(bool isNew, const std::optional<Refusal>& refusal);
    void Fail(const std::string& failure);
    void LookAround();
    void TellNext(const std::string& news);
    void LoseAll(const std::string& reason);
    void Tidy();
    std::string EndRun();
    std::string LeaveCompanions();
    void End();
    void Lose(const std::string& reason) RYP_REQUIRES(m_lock);
    SliceState StateOf(long long number) const RYP_REQUIRES(m_lock);
    std::optional<Error> TellOnce() RYP_REQUIRES(m_lock);
    std::string LossAtTheEnd(long long lostSlices) const RYP_REQUIRES(m_lock);

    // The writing thread's.
    std::optional<SliceStore> m_store;  // none once the run has ended
    std::optional<bool> m_isNew;        // of the slice in front, once it is written

    RWMutexLock m_lock;
    std::string m_path RYP_GUARDED_BY(m_lock);
    RyPCondition m_workCame;
    RyPCondition m_newsCame;
    std::deque<WaitingSlice> m_queue RYP_GUARDED_BY(m_lock);
    // Those of a slice that was written: their memory serves the next one.
    RecordDistributions m_spareDistributions RYP_GUARDED_BY(m_lock);
    std::size_t m_queuedBytes RYP_GUARDED_BY(m_lock) = 0;
    bool m_isWorthATry RYP_GUARDED_BY(m_lock) = false;  // nothing has failed since news came
    bool m_isStuck RYP_GUARDED_BY(m_lock) = false;  // a wait was in vain, and nothing came since
    LoadSpan m_load RYP_GUARDED_BY(m_lock);
    std::optional<CKZStatRunEnd> m_runEnd RYP_GUARDED_BY(m_lock);
    bool m_isClosing RYP_GUARDED_BY(m_lock) = false;
    bool m_isDone RYP_GUARDED_BY(m_lock) = false;
    long long m_appended RYP_GUARDED_BY(m_lock) = 0;
    long long m_settled RYP_GUARDED_BY(m_lock) = 0;    // written, or refused for good
    long long m_repeated RYP_GUARDED_BY(m_lock) = 0;   // of those: were in the file already
    bool m_lastIsLost RYP_GUARDED_BY(m_lock) = false;  // the slice that was settled last
    long long m_lost RYP_GUARDED_BY(m_lock) = 0;
    long long m_failures RYP_GUARDED_BY(m_lock) = 0;
    Trouble m_wait RYP_GUARDED_BY(m_lock);      // slices are in memory only
    Trouble m_loss RYP_GUARDED_BY(m_lock);      // slices are lost
    std::string m_news RYP_GUARDED_BY(m_lock);  // of the file, not yet told
    // A text, so that no exception with its shared text passes between the threads.
    std::string m_endFailure RYP_GUARDED_BY(m_lock);
};

}  // namespace kzjournal

#endif

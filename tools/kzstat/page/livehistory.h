#ifndef KZSTATPROGRAM_LIVEHISTORY_H
#define KZSTATPROGRAM_LIVEHISTORY_H

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "figures/runhistory.h"
#include "kzjournalreader.h"
#include "page/pagejson.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/condition.h"

namespace kzstatprogram {

/// The history of a run that goes on, kept up to date by a thread of its own. Safe for concurrent
/// use.
class LiveHistory {
public:
    /// What a page has not seen yet.
    struct Update {
        std::string json;
        std::string position;  ///< of the page that has seen it
        bool isLast;           ///< the run has ended
    };

    /// Has read the journal when it returns. Throws kzjournal::Error.
    explicit LiveHistory(const std::string& path);
    ~LiveHistory();
    LiveHistory(const LiveHistory&) = delete;
    LiveHistory& operator=(const LiveHistory&) = delete;

    /// What a page at `position` lacks; everything where the position is none that an update of
    /// this run gave. Waits for something to come, and returns nothing where it does not come in
    /// time or `Stop` is called.
    std::optional<Update> WaitForUpdate(const std::string& position,
                                        std::chrono::milliseconds patience);

    void Look(const std::function<void(const RunHistory&)>& visit);

    /// Ends the waiting of all others for good.
    void Stop();

private:
    void Follow();
    bool GoesOnAfterAPause();
    void CatchUp();
    int LastSliceId();
    bool Add(const RunHistory::News& news);
    void ReadAnew();
    std::string Position() const RYP_REQUIRES(m_lock);
    PageState PageAt(const std::string& position) const RYP_REQUIRES(m_lock);
    std::string Form() const RYP_REQUIRES(m_lock);

    const std::string m_path;
    RWMutexLock m_lock;
    RyPCondition m_changed;
    bool m_isStopped RYP_GUARDED_BY(m_lock) = false;
    std::unique_ptr<RunHistory> m_history RYP_GUARDED_BY(m_lock);  // replaced by the thread

    kzjournal::Reader m_journal;  // of the constructor, then of the thread
    std::string m_trouble;        // of the thread
    std::thread m_thread;
};

}  // namespace kzstatprogram

#endif

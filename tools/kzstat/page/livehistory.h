#ifndef KZSTATPROGRAM_LIVEHISTORY_H
#define KZSTATPROGRAM_LIVEHISTORY_H

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "figures/runhistory.h"
#include "files/fileplace.h"
#include "page/pagejson.h"
#include "reading/runopener.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/condition.h"

namespace kzstatprogram {

/// The history of a run that goes on, kept up to date by a thread of its own. Shows the run of
/// another file as soon as it takes the place of this one. Safe for concurrent use.
class LiveHistory {
public:
    /// How far a page has come. Compatible.
    class Follower {
    public:
        /// `position` is that of an update which the page has; of another run it has no meaning.
        explicit Follower(std::string position) : m_position(std::move(position)) {}
        const std::string& Position() const { return m_position; }

    private:
        friend class LiveHistory;
        std::string m_position;          // of the last update that came whole
        std::string m_nextPosition;      // of the one on its way
        std::string m_form;              // at its beginning
        std::optional<PagePart> m_part;  // of it; empty between updates
    };

    /// A part of what a page has not seen yet.
    struct Update {
        std::string json;
        bool isWhole;   ///< the last part: the follower has come to the position of the update
        bool hasEnded;  ///< so has the run
    };

    /// Has read the run when it returns. Throws kzjournal::Error.
    /// `runs` must outlive this.
    LiveHistory(const RunOpener& runs, const std::string& name);
    ~LiveHistory();
    LiveHistory(const LiveHistory&) = delete;
    LiveHistory& operator=(const LiveHistory&) = delete;

    /// The next part of what a page lacks; of everything if its position is none that an update of
    /// this run gave. Waits for something to come, and returns nothing if it does not come in time
    /// or `Stop` is called.
    std::optional<Update> WaitForUpdate(Follower& follower, std::chrono::milliseconds patience);

    void Look(const std::function<void(const RunHistory&)>& visit);

    /// Ends the waiting of all others for good.
    void Stop();

private:
    void Follow();
    bool GoesOnAfterAPause();
    void CatchUp();
    int LastSliceId();
    bool Add(const RunHistory::News& news);
    bool IsReplaced() const;
    void ReadAnew();
    bool LacksNothing(const Follower& follower) const RYP_REQUIRES(m_lock);
    std::string Position() const RYP_REQUIRES(m_lock);
    PageState PageAt(const std::string& position) const RYP_REQUIRES(m_lock);
    std::string Form() const RYP_REQUIRES(m_lock);

    const RunOpener& m_runs;
    const std::string m_name;
    RWMutexLock m_lock;
    RyPCondition m_changed;
    bool m_isStopped RYP_GUARDED_BY(m_lock) = false;
    std::unique_ptr<RunHistory> m_history RYP_GUARDED_BY(m_lock);  // replaced by the thread

    // Of the constructor, then of the thread.
    std::optional<kzfiles::FilePlace> m_place;
    std::unique_ptr<RunReader> m_run;
    std::string m_trouble;
    std::thread m_thread;
};

}  // namespace kzstatprogram

#endif

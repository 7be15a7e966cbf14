#include "page/livehistory.h"

#include <charconv>
#include <cstdio>
#include <vector>

#include "page/pagejson.h"
#include "terminal/stopsignal.h"

namespace kzstatprogram {
namespace {

constexpr long kMillisecondsBetweenLooks = 200;

}  // namespace

LiveHistory::LiveHistory(const std::string& path)
    : m_history(path, {}), m_journal(path), m_thread([this] { Follow(); }) {}

LiveHistory::~LiveHistory() {
    Stop();
    m_thread.join();
}

std::optional<LiveHistory::Update> LiveHistory::WaitForUpdate(const std::string& position,
                                                              std::chrono::milliseconds patience) {
    const RyPDeadline deadline(static_cast<long>(patience.count()));
    const RWMutexLock::LockGuard guard(m_lock);
    while (!m_isStopped && Position() == position && m_changed.WaitUntil(m_lock, deadline)) {
    }
    if (m_isStopped || Position() == position) return std::nullopt;
    return Update{PageJson(m_history, FirstBucketMissing(position)), Position(),
                  m_history.HasEnded()};
}

void LiveHistory::Look(const std::function<void(const RunHistory&)>& visit) {
    const RWMutexLock::LockGuard guard(m_lock);
    visit(m_history);
}

void LiveHistory::Stop() {
    const RWMutexLock::LockGuard guard(m_lock);
    m_isStopped = true;
    m_changed.NotifyAll();
}

void LiveHistory::Follow() {
    m_journal.StopWhen(kzterminal::StopIsRequested);
    while (GoesOnAfterAPause()) CatchUp();
}

bool LiveHistory::GoesOnAfterAPause() {
    const RyPDeadline deadline(kMillisecondsBetweenLooks);
    const RWMutexLock::LockGuard guard(m_lock);
    while (!m_isStopped && m_changed.WaitUntil(m_lock, deadline)) {
    }
    return !m_isStopped;
}

/// Tells a trouble once, not for as long as it lasts.
void LiveHistory::CatchUp() {
    try {
        // The file is read without the lock, since a disk may hang.
        const RunHistory::News news = RunHistory::NewsSince(m_journal, LastSliceId());
        m_trouble.clear();
        const RWMutexLock::LockGuard guard(m_lock);
        if (m_history.Add(news)) m_changed.NotifyAll();
    } catch (const std::exception& error) {
        const bool isNews = m_trouble != error.what() && !kzterminal::StopIsRequested();
        if (isNews) std::fprintf(stderr, "kzstat: %s\n", error.what());
        m_trouble = error.what();
    }
}

int LiveHistory::LastSliceId() {
    const RWMutexLock::LockGuard guard(m_lock);
    return m_history.LastSliceId();
}

/// The run, the form of the grid, what it holds, and where the run is.
std::string LiveHistory::Position() const {
    return m_history.Facts().id + "/" + std::to_string(m_history.TimeGrid().Width()) + "/" +
           std::to_string(m_history.LastSliceId()) +
           (m_history.HasEnded() ? "/ended/" : "/going/") + std::to_string(m_history.Buckets());
}

/// The last bucket that a page has may have been filled further.
std::size_t LiveHistory::FirstBucketMissing(const std::string& position) const {
    const std::string form =
        m_history.Facts().id + "/" + std::to_string(m_history.TimeGrid().Width()) + "/";
    if (position.compare(0, form.size(), form) != 0) return 0;
    const std::size_t last = position.rfind('/') + 1;
    std::size_t buckets = 0;
    std::from_chars(position.data() + last, position.data() + position.size(), buckets);
    return buckets == 0 || buckets > m_history.Buckets() ? 0 : buckets - 1;
}

}  // namespace kzstatprogram

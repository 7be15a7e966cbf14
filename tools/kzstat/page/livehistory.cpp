#include "page/livehistory.h"

#include <charconv>
#include <cstdio>
#include <vector>

#include "page/pagejson.h"

namespace kzstatprogram {
namespace {

constexpr std::chrono::milliseconds kBetweenLooks{200};

}  // namespace

LiveHistory::LiveHistory(const std::string& path)
    : m_history(path, {}), m_journal(path), m_thread([this] { Follow(); }) {}

LiveHistory::~LiveHistory() {
    Stop();
    m_thread.join();
}

std::optional<LiveHistory::Update> LiveHistory::WaitForUpdate(const std::string& position,
                                                              std::chrono::milliseconds patience) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, patience, [&] { return m_isStopped || Position() != position; });
    if (m_isStopped || Position() == position) return std::nullopt;
    return Update{PageJson(m_history, FirstBucketMissing(position)), Position(),
                  m_history.HasEnded()};
}

void LiveHistory::Look(const std::function<void(const RunHistory&)>& visit) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    visit(m_history);
}

void LiveHistory::Stop() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isStopped = true;
    m_changed.notify_all();
}

void LiveHistory::Follow() {
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_changed.wait_for(lock, kBetweenLooks, [this] { return m_isStopped; })) {
        lock.unlock();
        CatchUp();
        lock.lock();
    }
}

/// Tells a trouble once, not for as long as it lasts.
void LiveHistory::CatchUp() {
    try {
        // The file is read without the lock, since a disk may hang.
        const RunHistory::News news = RunHistory::NewsSince(m_journal, m_history.LastSliceId());
        m_trouble.clear();
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_history.Add(news)) m_changed.notify_all();
    } catch (const std::exception& error) {
        if (m_trouble != error.what()) std::fprintf(stderr, "kzstat: %s\n", error.what());
        m_trouble = error.what();
    }
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

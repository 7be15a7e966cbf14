#include "page/livehistory.h"

#include <charconv>
#include <cstdio>
#include <vector>

#include "terminal/stopsignal.h"

namespace kzstatprogram {
namespace {

constexpr long kMillisecondsBetweenLooks = 200;

const char* StateOf(const RunHistory& history) {
    if (history.HasEnded()) return "ended";
    return history.IsAbandoned() ? "abandoned" : "going";
}

}  // namespace

LiveHistory::LiveHistory(const RunOpener& runs, const std::string& name)
    : m_runs(runs), m_name(name) {
    ReadAnew();
    m_thread = std::thread([this] { Follow(); });
}

LiveHistory::~LiveHistory() {
    Stop();
    m_thread.join();
}

std::optional<LiveHistory::Update> LiveHistory::WaitForUpdate(Follower& follower,
                                                              std::chrono::milliseconds patience) {
    const RyPDeadline deadline(static_cast<long>(patience.count()));
    const RWMutexLock::LockGuard guard(m_lock);
    while (!m_isStopped && LacksNothing(follower) && m_changed.WaitUntil(m_lock, deadline)) {
    }
    if (m_isStopped || LacksNothing(follower)) return std::nullopt;
    // Parts of different forms do not fit together.
    if (follower.m_part && follower.m_form != Form()) follower.m_part.reset();
    if (!follower.m_part) {
        follower.m_form = Form();
        follower.m_nextPosition = Position();
    }
    follower.m_part = NextPagePart(*m_history, PageAt(follower.m_position), follower.m_part);
    Update update{std::move(follower.m_part->json), follower.m_part->isLast, false};
    if (!update.isWhole) return update;
    update.hasEnded = m_history->HasEnded();
    // Of slices that have come since the first part, only some parts tell.
    follower.m_position = follower.m_nextPosition;
    follower.m_part.reset();
    return update;
}

bool LiveHistory::LacksNothing(const Follower& follower) const {
    return !follower.m_part && follower.m_position == Position();
}

void LiveHistory::Look(const std::function<void(const RunHistory&)>& visit) {
    const RWMutexLock::LockGuard guard(m_lock);
    visit(*m_history);
}

void LiveHistory::Stop() {
    const RWMutexLock::LockGuard guard(m_lock);
    m_isStopped = true;
    m_changed.NotifyAll();
}

void LiveHistory::Follow() {
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
        if (IsReplaced()) ReadAnew();
        // The file is read without the lock, since a disk may hang.
        const RunHistory::News news = RunHistory::NewsSince(*m_run, LastSliceId());
        m_trouble.clear();
        // What was read may be that of another run since.
        if (IsReplaced() || !Add(news)) ReadAnew();
    } catch (const std::exception& error) {
        const bool isNews = m_trouble != error.what() && !kzterminal::StopIsRequested();
        if (isNews) std::fprintf(stderr, "kzstat: %s\n", error.what());
        m_trouble = error.what();
    }
}

/// False if all must be read again.
bool LiveHistory::Add(const RunHistory::News& news) {
    const RWMutexLock::LockGuard guard(m_lock);
    if (!m_history->CanAdd(news)) return false;
    if (m_history->Add(news)) m_changed.NotifyAll();
    return true;
}

/// A file that was removed may still be written. One that was copied over has its old place.
bool LiveHistory::IsReplaced() const {
    const std::optional<kzfiles::FilePlace> place = kzfiles::PlaceOf(m_name);
    if (!place || !place->name.empty()) return false;
    return place != m_place || m_runs.Open(m_name)->Facts().id != m_run->Facts().id;
}

void LiveHistory::ReadAnew() {
    const std::optional<kzfiles::FilePlace> place = kzfiles::PlaceOf(m_name);
    std::unique_ptr<RunReader> run = m_runs.Open(m_name);
    run->StopWhen(kzterminal::StopIsRequested);
    const bool isFirst = m_run == nullptr;
    auto history = std::make_unique<RunHistory>(
        m_runs, m_name, RunHistory::Ranges(),
        isFirst ? RunHistory::StopRequest() : kzterminal::StopIsRequested);
    // The name was opened several times.
    if (kzfiles::PlaceOf(m_name) != place)
        throw kzjournal::Error("cannot read " + m_name + ": it is being replaced");
    m_place = place;
    m_run = std::move(run);
    const RWMutexLock::LockGuard guard(m_lock);
    m_history.swap(history);
    m_changed.NotifyAll();
}

int LiveHistory::LastSliceId() {
    const RWMutexLock::LockGuard guard(m_lock);
    return m_history->LastSliceId();
}

/// The run and how it is divided: pages of another form lack everything.
std::string LiveHistory::Form() const {
    const Grid& grid = m_history->TimeGrid();
    return m_history->Facts().id + "/" + std::to_string(grid.Width()) + "/" +
           std::to_string(grid.ColumnWidth()) + "/";
}

/// The form, where the run is, and what there is of it.
std::string LiveHistory::Position() const {
    return Form() + StateOf(*m_history) + "/" + std::to_string(m_history->LastSliceId()) + "/" +
           std::to_string(m_history->Buckets());
}

/// The last bucket that a page has may have been filled further.
PageState LiveHistory::PageAt(const std::string& position) const {
    const std::string form = Form();
    if (position.compare(0, form.size(), form) != 0) return {};
    const char* const end = position.data() + position.size();
    PageState page;
    std::size_t buckets = 0;
    const std::size_t going = position.find('/', form.size());
    if (going == std::string::npos) return {};
    const auto [slash, error] = std::from_chars(position.data() + going + 1, end, page.lastSliceId);
    if (error != std::errc() || slash == end) return {};
    std::from_chars(slash + 1, end, buckets);
    page.firstBucketMissing = buckets == 0 || buckets > m_history->Buckets() ? 0 : buckets - 1;
    return page;
}

}  // namespace kzstatprogram

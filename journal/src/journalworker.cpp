#include "journalworker.h"

#include <algorithm>
#include <exception>
#include <new>

#include "ryp/clock.h"

namespace kzjournal {
namespace {

constexpr long kAppendBoundMilliseconds = 500;
constexpr long kCloseBoundMilliseconds = 2000;
constexpr std::size_t kMaxQueuedBytes = std::size_t{64} << 20;

void AddToLine(std::string& line, const std::string& text) {
    line += (line.empty() || text.empty() ? "" : "; ") + text;
}

}  // namespace

std::size_t Worker::BytesOf(const CKZStatSliceValues& slice) {
    std::size_t bytes = sizeof(WaitingSlice) + slice.GetMessage().length();
    for (const CKZStatNote& note : slice.GetFacts().notes)
        bytes += sizeof(CKZStatNote) + note.text.length();
    for (const CKZStatSliceValues::Record& record : slice.GetRecords())
        bytes += sizeof(CKZStatMessageRecord) + record.name.size();
    return bytes;
}

Worker::WaitingSlice Worker::CopyOf(const CKZStatSliceValues& slice) {
    WaitingSlice copy{slice.GetFacts(), slice.GetMessage(), {}, {}, {}};
    copy.records.reserve(slice.GetRecords().size());
    for (const CKZStatSliceValues::Record& record : slice.GetRecords())
        copy.records.push_back({RWCString(record.name.data(), record.name.size()), record.type,
                                record.totals, record.lasts});
    return copy;
}

RecordDistributions Worker::EncodedDistributions(const CKZStatSliceValues& slice) {
    RecordDistributions distributions = std::move(m_spareDistributions);
    distributions.Clear();
    distributions.AddAll(slice);
    return distributions;
}

/// Returns false where there is no room for the slice in memory.
bool Worker::Enqueue(const CKZStatSliceValues& slice) {
    try {
        RecordDistributions distributions = EncodedDistributions(slice);
        const std::size_t bytes = BytesOf(slice) + distributions.ByteCount();
        // One alone is taken whatever its size: the bound is for those that wait behind it.
        if (!m_queue.empty() && m_queuedBytes + bytes > kMaxQueuedBytes) return false;
        m_queue.push_back(CopyOf(slice));
        m_queue.back().distributions = std::move(distributions);
        m_queue.back().load = m_load;
        m_queue.back().bytes = bytes;
        m_queuedBytes += bytes;
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void Worker::SetLoad(const LoadSpan& load) {
    const RWMutexLock::LockGuard guard(m_lock);
    m_load = load;
}

AppendResult Worker::Append(const CKZStatSliceValues& slice) {
    const RWMutexLock::LockGuard guard(m_lock);
    const long long number = ++m_appended;
    const long long failures = m_failures;
    const long long lost = m_lost;
    if (!Enqueue(slice)) {
        ++m_settled;
        Lose("cannot keep slice " + std::to_string(slice.GetSliceId()) + " in " + m_path +
             ": no memory is left for slices that wait");
        return {SliceState::Lost, TellOnce()};
    }
    m_isWorthATry = true;
    m_workCame.NotifyAll();

    const RyPDeadline deadline(kAppendBoundMilliseconds);
    while (m_settled < number && m_failures == failures && !m_isStuck)
        m_isStuck = !m_newsCame.WaitUntil(m_lock, deadline);

    if (m_settled >= number) {
        m_wait.End();
        if (m_lost == lost && !m_loss.IsUntold()) m_loss.End();
    } else if (m_failures == failures) {
        m_wait.Begin("writing " + m_path + " takes longer than 0.5 s; slices wait in memory");
    }
    return {StateOf(number), TellOnce()};
}

/// Of the slice that was queued last: it is settled once all are.
SliceState Worker::StateOf(long long number) const {
    if (m_settled < number) return SliceState::Waiting;
    return m_lastIsLost ? SliceState::Lost : SliceState::OnDisk;
}

std::optional<Error> Worker::Close(const std::optional<CKZStatRunEnd>& runEnd,
                                   long long& lostSlices) {
    const RWMutexLock::LockGuard guard(m_lock);
    m_runEnd = runEnd;
    if (runEnd && runEnd->loadBegin) m_load.begin = runEnd->loadBegin;
    if (runEnd && runEnd->loadEnd) m_load.end = runEnd->loadEnd;
    m_isClosing = true;
    m_isWorthATry = true;
    m_workCame.NotifyAll();

    const RyPDeadline deadline(kCloseBoundMilliseconds);
    while (!m_isDone)
        if (!m_newsCame.WaitUntil(m_lock, deadline)) break;

    const long long lostHere = m_lost + static_cast<long long>(m_queue.size());
    lostSlices = lostHere + SlicesThatNeverCame();
    std::string line;
    if (lostHere > 0)
        line = LossAtTheEnd(lostHere);
    else if (!m_isDone)
        line = "closing " + m_path + " takes longer than 2 s; " + m_path +
               "-wal belongs to it: copy and move both together";
    else
        line = m_endFailure;
    AddToLine(line, std::exchange(m_news, {}));
    return line.empty() ? std::nullopt : std::optional(Error(line));
}

long long Worker::SlicesThatNeverCame() const {
    return m_runEnd ? std::max(0LL, m_runEnd->lastSlice - ExpectedSlices()) : 0;
}

/// With what else is to know about the file.
std::string Worker::LossAtTheEnd(long long lostSlices) const {
    const std::string& reason = m_queue.empty() ? m_loss.Text() : m_wait.Text();
    const bool isNews = !m_endFailure.empty() && m_endFailure != reason;
    return std::to_string(lostSlices) + " of " + std::to_string(m_appended) +
           " slices are lost: " + reason + (isNews ? "; " + m_endFailure : "");
}

void Worker::Lose(const std::string& reason) {
    ++m_lost;
    m_loss.Begin(reason);
}

/// Each trouble is told when it begins, a loss before what may still end well.
std::optional<Error> Worker::TellOnce() {
    std::string line;
    for (Trouble* const trouble : {&m_loss, &m_wait})
        if (trouble->IsUntold()) AddToLine(line, trouble->Tell());
    AddToLine(line, std::exchange(m_news, {}));
    return line.empty() ? std::nullopt : std::optional(Error(line));
}

void Worker::Run() {
    while (WaitForWork()) {
        WriteNext();
        Tidy();
    }
    End();
}

/// Waits for a slice to write: a new one, or an old one with a new reason to try it. Returns false
/// once the journal is closed and there is none.
bool Worker::WaitForWork() {
    const RWMutexLock::LockGuard guard(m_lock);
    while (!(m_isWorthATry && !m_queue.empty()) && !m_isClosing) m_workCame.Wait(m_lock);
    return m_isWorthATry && !m_queue.empty();
}

void Worker::WriteNext() {
    const WaitingSlice* slice = nullptr;
    long long expected = 0;
    {
        const RWMutexLock::LockGuard guard(m_lock);
        // Others only add behind it, which moves no element of a deque.
        slice = &m_queue.front();
        expected = ExpectedSlices();
    }
    try {
        if (!m_isNew) m_isNew = Write(*slice, expected);
        LookAround();
        Settle(*m_isNew, std::nullopt);
        m_isNew.reset();
    } catch (const Refusal& refusal) {
        Settle(true, refusal);
    } catch (const std::exception& error) {
        Fail(error.what());
    }
}

bool Worker::Write(const WaitingSlice& slice, long long expected) {
    const CKZStatSliceValues view(slice.facts, slice.message, slice.records);
    m_store->SetLoad(slice.load);
    return m_store->Write(0, view, slice.distributions, {}, expected);
}

/// The slice in front is written, or refused for good.
void Worker::Settle(bool isNew, const std::optional<Refusal>& refusal) {
    const RWMutexLock::LockGuard guard(m_lock);
    m_queuedBytes -= m_queue.front().bytes;
    m_spareDistributions = std::move(m_queue.front().distributions);
    m_queue.pop_front();
    ++m_settled;
    m_isStuck = false;
    if (!isNew) ++m_repeated;
    m_lastIsLost = refusal.has_value();
    if (refusal) Lose(refusal->what());
    m_newsCame.NotifyAll();
}

/// The slice in front stays there for another try.
void Worker::Fail(const std::string& failure) {
    const RWMutexLock::LockGuard guard(m_lock);
    m_isWorthATry = false;
    m_isStuck = false;
    ++m_failures;
    m_wait.Begin(failure);
    m_newsCame.NotifyAll();
}

/// What is written is safe only where the name of the file leads to it.
void Worker::LookAround() {
    TellNext(m_store->LookAround());
}

void Worker::TellNext(const std::string& news) {
    if (news.empty()) return;
    const RWMutexLock::LockGuard guard(m_lock);
    AddToLine(m_news, news);
    m_path = m_store->Path();
}

/// The file that has the slices is gone with the process.
void Worker::LoseAll(const std::string& reason) {
    const RWMutexLock::LockGuard guard(m_lock);
    m_queue.clear();
    m_lost = ExpectedSlices();
    m_loss.Begin(reason);
}

/// Its failures lose nothing: the next slice meets the same trouble and tells it.
void Worker::Tidy() {
    try {
        TellNext(m_store->Tidy());
    } catch (const std::exception&) {
    }
}

/// Returns what went wrong, or an empty text.
std::string Worker::EndRun() {
    long long lost = 0;
    long long expected = 0;
    LoadSpan load;
    std::vector<CKZStatNote> notes;
    {
        const RWMutexLock::LockGuard guard(m_lock);
        expected = ExpectedSlices() + SlicesThatNeverCame();
        lost = m_lost + static_cast<long long>(m_queue.size()) + SlicesThatNeverCame();
        load = m_load;
        if (m_runEnd) notes = m_runEnd->notes;
    }
    try {
        m_store->SetLoad(load);
        m_store->End(RyPSysTime(), lost, expected, notes);
        return {};
    } catch (const std::exception& error) {
        return error.what();
    }
}

/// Returns what went wrong, or an empty text.
std::string Worker::LeaveCompanions() {
    try {
        m_store->LeaveCompanions();
        return {};
    } catch (const std::exception& error) {
        return error.what();
    }
}

void Worker::End() {
    std::string failure;
    try {
        LookAround();
        failure = EndRun();
        // Once more, since the end may have waited for readers.
        LookAround();
        if (failure.empty()) failure = LeaveCompanions();
    } catch (const std::exception& error) {
        LoseAll(error.what());
    }
    // Whoever has closed the journal may open it as they like.
    m_store.reset();
    const RWMutexLock::LockGuard guard(m_lock);
    m_endFailure = failure;
    m_isDone = true;
    m_newsCame.NotifyAll();
}

}  // namespace kzjournal

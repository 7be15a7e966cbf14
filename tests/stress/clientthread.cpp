#include "clientthread.h"

#include "names.h"

namespace {

constexpr std::size_t kMostHandles = 5;
constexpr int kIdsForAll = 4;
constexpr unsigned kIdGroups = 3;
constexpr int kIdsPerGroup = 6;

}  // namespace

ClientThread::ClientThread(const Company& company, const RoundKey& key, unsigned number)
    : m_company(company),
      m_number(number),
      m_dice(key, FirstClientDice + number),
      m_thread([this](const std::stop_token& stop) { Run(stop); }) {}

void ClientThread::Run(const std::stop_token& stop) {
    // Repeated as often as it is to happen.
    static constexpr void (ClientThread::*kActions[])() = {&ClientThread::MakeClient,
                                                           &ClientThread::DestroyClient,
                                                           &ClientThread::Flush,
                                                           &ClientThread::StartTimer,
                                                           &ClientThread::SendTimer,
                                                           &ClientThread::MoveOn,
                                                           &ClientThread::Idle,
                                                           &ClientThread::ReportShared,
                                                           &ClientThread::ReportPooled,
                                                           &ClientThread::ReportPooled,
                                                           &ClientThread::ReportOnAnotherThread,
                                                           &ClientThread::ReportBriefly,
                                                           &ClientThread::DisturbPooled,
                                                           &ClientThread::DisturbPooled,
                                                           &ClientThread::ReplacePooled,
                                                           &ClientThread::Terminate,
                                                           &ClientThread::Report,
                                                           &ClientThread::Report,
                                                           &ClientThread::Report,
                                                           &ClientThread::Report};
    while (!stop.stop_requested()) (this->*m_dice.OneOf(kActions))();
}

Handle& ClientThread::AnyHandle() {
    if (m_handles.empty()) MakeClient();
    return m_handles[m_dice.Index(m_handles.size())];
}

void ClientThread::MakeClient() {
    if (m_handles.size() == kMostHandles) return;
    // Half of the ids are everybody's, so that several handles have one id at the same time.
    // Few in all: hooks that throw begin again with the first id.
    const int own =
        static_cast<int>(100 * (m_number % kIdGroups + 1)) + m_dice.Between(1, kIdsPerGroup);
    const int id = m_dice.OneIn(2) ? m_dice.Between(1, kIdsForAll) : own;
    m_handles.emplace_back(m_company.main, id);
}

void ClientThread::DestroyClient() {
    if (m_handles.empty() || !m_company.destroysClients) return;
    // After a rest, in which the garbage loop may have found the client idle and moved it.
    if (m_dice.OneIn(4)) std::this_thread::sleep_for(m_dice.UpToMilliseconds(4));
    std::swap(m_handles[m_dice.Index(m_handles.size())], m_handles.back());
    m_handles.pop_back();
    ++m_destroyed;
}

void ClientThread::Report() {
    ReportThrough(AnyHandle());
}

void ClientThread::ReportShared() {
    ReportThrough(m_company.shared);
    if (m_dice.OneIn(2)) m_company.shared.client->FlushStatsCache();
}

void ClientThread::ReportPooled() {
    m_company.pool.Use(m_dice.Index(ClientPool::kClients),
                       [this](Handle& handle) { ReportThrough(handle); });
}

/// A thread for one task, as hosts start them that keep none.
void ClientThread::ReportOnAnotherThread() {
    const bool isPooled = m_dice.OneIn(2);
    std::jthread([&] { isPooled ? ReportPooled() : Report(); });
}

/// Clients that live for a value or two, so that some end while their slice is closed or freed.
void ClientThread::ReportBriefly() {
    if (!m_company.destroysClients) return;
    for (int left = m_dice.Between(1, 10); left > 0; --left) {
        Handle handle(m_company.main, m_dice.Between(1, kIdsForAll));
        ReportValues(handle, m_dice.Between(0, 2));
        ++m_destroyed;
    }
}

/// What a host does that looks after the clients of other threads.
void ClientThread::DisturbPooled() {
    m_company.pool.Use(m_dice.Index(ClientPool::kClients), [this](Handle& handle) {
        if (m_dice.OneIn(2)) handle.client->FlushStatsCache();
        if (m_dice.OneIn(2)) handle.client->GetNewDictionary();
        if (m_dice.OneIn(2)) handle.client->GetCurrentEndTime();
    });
}

void ClientThread::ReplacePooled() {
    if (m_company.destroysClients) m_company.pool.Replace(m_dice.Index(ClientPool::kClients));
}

void ClientThread::Terminate() {
    if (m_company.terminates && m_dice.OneIn(100)) m_company.main.Terminate();
}

void ClientThread::ReportThrough(Handle& handle) {
    ReportValues(handle, m_dice.Between(1, 60));
}

void ClientThread::ReportValues(Handle& handle, int count) {
    for (; count > 0; --count) {
        const std::size_t name = m_dice.Index(kWholeNames);
        const int value = m_dice.OneIn(10) ? 0 : m_dice.Between(-100, 1000);
        handle.client->AddLast(Names()[name].text.c_str(), value, Names()[name].type);
        m_books.Enter(handle.id, name, value);
    }
}

void ClientThread::Flush() {
    AnyHandle().client->FlushStatsCache();
}

void ClientThread::StartTimer() {
    const std::size_t timer = kWholeNames + m_dice.Index(kTimers);
    AnyHandle().client->ResetTimer(Names()[timer].text.c_str());
}

/// Also of timers that were never started.
void ClientThread::SendTimer() {
    const std::size_t timer = kWholeNames + m_dice.Index(kTimers);
    const Handle& handle = AnyHandle();
    m_books.Enter(handle.id, timer, handle.client->SendTimer(Names()[timer].text.c_str()));
}

void ClientThread::MoveOn() {
    AnyHandle().client->GetNewDictionary();
}

/// Mostly for so short a time that only the order of the threads changes.
void ClientThread::Idle() {
    if (m_dice.OneIn(100)) {
        std::this_thread::sleep_for(m_dice.UpToMilliseconds(20));
    } else if (m_dice.OneIn(10)) {
        std::this_thread::sleep_for(m_dice.UpToMilliseconds(1));
    } else {
        std::this_thread::yield();
    }
}

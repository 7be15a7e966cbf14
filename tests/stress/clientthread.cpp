#include "clientthread.h"

#include "names.h"

namespace {

constexpr std::size_t kMostHandles = 5;
constexpr int kIdsForAll = 4;
constexpr int kIdsPerThread = 6;

}  // namespace

ClientThread::ClientThread(CKZStatGenMain& main, Handle& shared, const RoundKey& key,
                           unsigned number)
    : m_main(main),
      m_shared(shared),
      m_number(number),
      m_dice(key, FirstClientDice + number),
      m_thread([this](const std::stop_token& stop) { Run(stop); }) {}

void ClientThread::Run(const std::stop_token& stop) {
    // Repeated as often as it is to happen.
    static constexpr void (ClientThread::*kActions[])() = {
        &ClientThread::MakeClient, &ClientThread::DestroyClient, &ClientThread::Flush,
        &ClientThread::StartTimer, &ClientThread::SendTimer,     &ClientThread::MoveOn,
        &ClientThread::Idle,       &ClientThread::ReportShared,  &ClientThread::Report,
        &ClientThread::Report,     &ClientThread::Report,        &ClientThread::Report};
    while (!stop.stop_requested()) (this->*m_dice.OneOf(kActions))();
}

Handle& ClientThread::AnyHandle() {
    if (m_handles.empty()) MakeClient();
    return m_handles[m_dice.Index(m_handles.size())];
}

void ClientThread::MakeClient() {
    if (m_handles.size() == kMostHandles) return;
    // Half of the ids are everybody's, so that several handles have one id at the same time.
    const int own = static_cast<int>(100 * (m_number + 1)) + m_dice.Between(1, kIdsPerThread);
    const int id = m_dice.OneIn(2) ? m_dice.Between(1, kIdsForAll) : own;
    m_handles.emplace_back(m_main, id);
}

void ClientThread::DestroyClient() {
    if (m_handles.empty()) return;
    // After a rest, in which the garbage loop may have found the client idle and moved it.
    if (m_dice.OneIn(4)) std::this_thread::sleep_for(m_dice.UpToMilliseconds(4));
    std::swap(m_handles[m_dice.Index(m_handles.size())], m_handles.back());
    m_handles.pop_back();
}

void ClientThread::Report() {
    ReportThrough(AnyHandle());
}

void ClientThread::ReportShared() {
    ReportThrough(m_shared);
    if (m_dice.OneIn(2)) m_shared.client->FlushStatsCache();
}

void ClientThread::ReportThrough(Handle& handle) {
    for (int left = m_dice.Between(1, 60); left > 0; --left) {
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

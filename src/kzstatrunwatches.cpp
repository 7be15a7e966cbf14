#include "kzstatrunwatches.h"

#include <algorithm>

using Guard = RWMutexLock::LockGuard;

void CKZStatRunWatchBoard::Join(const CKZStatRunWatches& watches) {
    const Guard guard(m_clientsLock);
    m_clients.insert(&watches);
}

void CKZStatRunWatchBoard::Leave(const CKZStatRunWatches& watches) {
    const Guard guard(m_clientsLock);
    m_clients.erase(&watches);
}

void CKZStatRunWatchBoard::NoteName(const std::string& name) {
    const Guard guard(m_namesLock);
    m_names.insert(name);
}

std::map<std::string, CKZStatRunWatchBoard::Tally> CKZStatRunWatchBoard::Count() const {
    std::map<std::string, Tally> tallies;
    {
        const Guard guard(m_clientsLock);
        for (const CKZStatRunWatches* watches : m_clients) watches->AddTo(tallies);
    }
    const Guard guard(m_namesLock);
    for (const std::string& name : m_names) tallies.try_emplace(name);
    return tallies;
}

CKZStatRunWatches::CKZStatRunWatches(CKZStatRunWatchBoard& board) : m_board(board) {
    m_board.Join(*this);
}

CKZStatRunWatches::~CKZStatRunWatches() {
    m_board.Leave(*this);
}

CKZStatWatchedName& CKZStatRunWatches::Find(std::string_view name) {
    const auto known = m_names.find(name);
    if (known != m_names.end()) return known->second;
    std::string text(name);
    m_board.NoteName(text);
    return m_names.try_emplace(text, CKZStatWatchedName{text}).first->second;
}

CKZStatRunWatches::Watch CKZStatRunWatches::Begin(std::string_view name,
                                                  long long startNanoseconds) {
    const Guard guard(m_lock);
    CKZStatWatchedName& watched = Find(name);
    if (watched.spare.empty()) watched.spare.emplace_front();
    watched.running.splice(watched.running.begin(), watched.spare, watched.spare.begin());
    watched.running.front() = startNanoseconds;
    return {&watched, watched.running.begin()};
}

void CKZStatRunWatches::End(const Watch& watch) {
    const Guard guard(m_lock);
    watch.name->spare.splice(watch.name->spare.begin(), watch.name->running, watch.start);
}

void CKZStatRunWatches::AddTo(std::map<std::string, CKZStatRunWatchBoard::Tally>& tallies) const {
    const Guard guard(m_lock);
    for (const auto& [name, watched] : m_names) {
        if (watched.running.empty()) continue;
        CKZStatRunWatchBoard::Tally& tally = tallies[name];
        const long long oldest = *std::min_element(watched.running.begin(), watched.running.end());
        tally.oldestStart = tally.running == 0 ? oldest : std::min(tally.oldestStart, oldest);
        tally.running += static_cast<int>(watched.running.size());
    }
}

#include "http/connections.h"

#include <sys/socket.h>

#include <algorithm>
#include <iterator>

namespace kzstatprogram {
namespace {

constexpr long kMillisecondsBetweenLooks = 100;

}  // namespace

Connections::Connections(std::size_t places, Duration patience)
    : m_places(places), m_patience(patience), m_watcher([this] { Watch(); }) {}

Connections::~Connections() {
    {
        const RWMutexLock::LockGuard guard(m_lock);
        m_isStopped = true;
        m_changed.NotifyAll();
    }
    m_watcher.join();
}

Connections::Handle Connections::Open(int socket) {
    const RWMutexLock::LockGuard guard(m_lock);
    m_connections.push_back({socket, Clock::now() + m_patience});
    // Those that were cut are closed in a moment.
    const auto taken = std::count_if(m_connections.begin(), m_connections.end(),
                                     [](const Connection& each) { return !each.isCut; });
    if (static_cast<std::size_t>(taken) > m_places) CutLongest();
    return std::prev(m_connections.end());
}

void Connections::Close(Handle connection) {
    const RWMutexLock::LockGuard guard(m_lock);
    m_connections.erase(connection);
}

Connections::Duration Connections::StopClock(Handle connection) {
    const RWMutexLock::LockGuard guard(m_lock);
    const Duration left = connection->deadline - Clock::now();
    connection->deadline = Clock::time_point::max();
    return left;
}

void Connections::StartClock(Handle connection, Duration patience) {
    const RWMutexLock::LockGuard guard(m_lock);
    connection->deadline = Clock::now() + patience;
}

void Connections::Follow(Handle connection) {
    const RWMutexLock::LockGuard guard(m_lock);
    connection->isFollower = true;
}

void Connections::Watch() {
    while (GoesOnAfterAPause()) {
        const RWMutexLock::LockGuard guard(m_lock);
        const Clock::time_point now = Clock::now();
        for (Connection& each : m_connections)
            if (each.deadline <= now) Cut(each);
    }
}

bool Connections::GoesOnAfterAPause() {
    const RyPDeadline deadline(kMillisecondsBetweenLooks);
    const RWMutexLock::LockGuard guard(m_lock);
    while (!m_isStopped && m_changed.WaitUntil(m_lock, deadline)) {
    }
    return !m_isStopped;
}

void Connections::CutLongest() {
    for (Connection& each : m_connections) {
        if (each.isFollower || each.isCut) continue;
        Cut(each);
        return;
    }
}

/// Whoever waits for the socket sees it end, and closes it. The system then drops what was not
/// read, which it would keep for minutes.
void Connections::Cut(Connection& connection) {
    if (connection.isCut) return;
    connection.isCut = true;
    const linger none{1, 0};
    setsockopt(connection.socket, SOL_SOCKET, SO_LINGER, &none, sizeof none);
    shutdown(connection.socket, SHUT_RDWR);
}

}  // namespace kzstatprogram

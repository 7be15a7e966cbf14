#ifndef KZSTATPROGRAM_CONNECTIONS_H
#define KZSTATPROGRAM_CONNECTIONS_H

#include <chrono>
#include <cstddef>
#include <list>
#include <thread>

#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/condition.h"

namespace kzstatprogram {

/// The connections of a server, of which there are only so many. Each has a time within which its
/// client must have done its part: a client that is late is cut off, and so is the one with the
/// longest unfinished request when another connects and no place is left. Bytes that come in drops
/// do not help: the time is that of the whole part. Safe for concurrent use.
class Connections {
    struct Connection {
        int socket;
        std::chrono::steady_clock::time_point deadline;  // max() while the server is at work
        bool isFollower = false;
        bool isCut = false;
    };

public:
    using Handle = std::list<Connection>::iterator;
    using Duration = std::chrono::steady_clock::duration;

    /// `patience` is the time for a request to come in.
    Connections(std::size_t places, Duration patience);
    ~Connections();
    Connections(const Connections&) = delete;
    Connections& operator=(const Connections&) = delete;

    /// The socket must stay open until `Close` has returned.
    Handle Open(int socket);
    void Close(Handle connection);

    /// The server is at work for this client. Returns what was left of the client's time.
    Duration StopClock(Handle connection);
    /// It is the client's turn.
    void StartClock(Handle connection, Duration patience);
    /// Its answer never ends, so that its length is no reason to cut it.
    void Follow(Handle connection);

private:
    using Clock = std::chrono::steady_clock;

    void Watch();
    bool GoesOnAfterAPause();
    void CutLongest() RYP_REQUIRES(m_lock);
    static void Cut(Connection& connection);

    const std::size_t m_places;
    const Duration m_patience;
    RWMutexLock m_lock;
    RyPCondition m_changed;
    bool m_isStopped RYP_GUARDED_BY(m_lock) = false;
    std::list<Connection> m_connections RYP_GUARDED_BY(m_lock);  // the longest first
    std::thread m_watcher;
};

}  // namespace kzstatprogram

#endif

#ifndef KZLOAD_LOADSTATE_H
#define KZLOAD_LOADSTATE_H

#include <atomic>
#include <string>

#include "rw/mutex.h"
#include "ryp/annotations.h"

namespace kzload {

/// What the load threads tell the control thread. Safe for concurrent use.
class LoadState {
public:
    /// A request was answered, has failed or was cut off, and its values are reported.
    void RequestMade() { ++m_requestsMade; }
    long long RequestsMade() const { return m_requestsMade; }

    /// The server was reached.
    void Connected() { m_everConnected = true; }

    /// The server was not reached, for `cause`; `firstOfClient` says whether this client could
    /// always connect so far.
    void ConnectFailed(const std::string& cause, bool firstOfClient);

    bool AnyConnectFailed() const { return m_failedClients > 0; }
    /// Why the first failed connection failed; empty where none did.
    std::string FirstConnectFailure() const;
    /// True when each of `clients` has tried to connect and none ever got through.
    bool ServerIsOutOfReach(int clients) const {
        return !m_everConnected && m_failedClients >= clients;
    }

private:
    std::atomic<long long> m_requestsMade{0};
    std::atomic<bool> m_everConnected{false};
    std::atomic<int> m_failedClients{0};
    mutable RWMutexLock m_lock;
    std::string m_firstConnectFailure RYP_GUARDED_BY(m_lock);
};

}  // namespace kzload

#endif

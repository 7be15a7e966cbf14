#include "loadstate.h"

namespace kzload {

void LoadState::ConnectFailed(const std::string& cause, bool firstOfClient) {
    if (!firstOfClient) return;
    const RWMutexLock::LockGuard guard(m_lock);
    if (m_firstConnectFailure.empty()) m_firstConnectFailure = cause;
    ++m_failedClients;
}

std::string LoadState::FirstConnectFailure() const {
    const RWMutexLock::LockGuard guard(m_lock);
    return m_firstConnectFailure;
}

}  // namespace kzload

#include "rw/mutex.h"

#include "spin.h"

void RWMutexLock::AcquireTaken() {
    if (!RyPSpin::SpinFor([this] { return m_mutex.try_lock(); })) m_mutex.lock();
}

#include "rw/mutex.h"

#include <thread>

namespace {

// Together some 15 microseconds, which is several times what a thread takes to fall asleep and to
// be woken. Looking more often would take the mutex's line of memory from the thread that holds it.
constexpr int kLooks = 30;
constexpr int kPausesBetweenLooks = 40;

void PauseProcessor() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#else
    std::this_thread::yield();
#endif
}

bool CanRunBesideOthers() {
    static const bool canRun = std::thread::hardware_concurrency() > 1;
    return canRun;
}

}  // namespace

/// What these mutexes guard is mostly done sooner than a thread is woken, so it looks again for a
/// while before it goes to sleep.
void RWMutexLock::AcquireTaken() {
    for (int look = 0; look < kLooks && CanRunBesideOthers(); ++look) {
        for (int i = 0; i < kPausesBetweenLooks; ++i) PauseProcessor();
        if (m_mutex.try_lock()) return;
    }
    m_mutex.lock();
}

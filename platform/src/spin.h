#ifndef RYP_SPIN_H
#define RYP_SPIN_H

#include <thread>

namespace RyPSpin {

// Together some 15 microseconds, which is several times what a thread takes to fall asleep and to
// be woken. Looking more often would take the lock's line of memory from the thread that holds it.
constexpr int kLooks = 30;
constexpr int kPausesBetweenLooks = 40;

inline void PauseProcessor() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#else
    std::this_thread::yield();
#endif
}

inline bool CanRunBesideOthers() {
    static const bool canRun = std::thread::hardware_concurrency() > 1;
    return canRun;
}

/// Spins until `take()` returns true, and returns false where it did not for too long. What the
/// locks of this library guard is mostly done sooner than a thread is woken.
template <class Take>
bool SpinFor(Take take) {
    for (int look = 0; look < kLooks && CanRunBesideOthers(); ++look) {
        for (int i = 0; i < kPausesBetweenLooks; ++i) PauseProcessor();
        if (take()) return true;
    }
    return false;
}

}  // namespace RyPSpin

#endif

#include "stopsignal.h"

#include <signal.h>

#include <atomic>

namespace kzload {
namespace {

std::atomic<bool> stopRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set in a signal handler");

void RequestStop(int) {
    stopRequested.store(true, std::memory_order_relaxed);
}

}  // namespace

void CatchStopSignals() {
    struct sigaction action = {};
    action.sa_handler = RequestStop;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, nullptr);
}

bool StopIsRequested() {
    return stopRequested.load(std::memory_order_relaxed);
}

}  // namespace kzload

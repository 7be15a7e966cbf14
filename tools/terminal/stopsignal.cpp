#include "terminal/stopsignal.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>

#include "kzjournalerror.h"

namespace kzterminal {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kMaxPoll = std::chrono::hours(1);

std::atomic<bool> stopRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set in a signal handler");

/// Readable once a stop was asked for, for good: a flag alone could be set between a look at it and
/// the sleep that follows.
int stopEvent = -1;

void RequestStop(int) {
    const int errorBefore = errno;
    stopRequested.store(true, std::memory_order_relaxed);
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(stopEvent, &one, sizeof one);
    errno = errorBefore;
}

void Handle(int signal, void (*handler)(int), int flags) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigaction(signal, &action, nullptr);
}

}  // namespace

void IgnoreSignalsOfWrites() {
    Handle(SIGPIPE, SIG_IGN, 0);
    Handle(SIGXFSZ, SIG_IGN, 0);
}

void CatchStopSignals() {
    stopEvent = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (stopEvent < 0)
        throw kzjournal::Error(std::string("cannot catch signals: ") + std::strerror(errno));
    const auto flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    Handle(SIGINT, RequestStop, flags);
    Handle(SIGTERM, RequestStop, flags);
    // A terminal that goes away is told of by the kernel and by the shell: the second one is not
    // from a user who loses patience. Whoever started the process without it (nohup) wants none.
    struct sigaction former = {};
    sigaction(SIGHUP, nullptr, &former);
    if (former.sa_handler != SIG_IGN) Handle(SIGHUP, RequestStop, SA_RESTART);
}

bool StopIsRequested() {
    return stopRequested.load(std::memory_order_relaxed);
}

bool WaitForStop(milliseconds patience) {
    const Clock::time_point end = Clock::now() + patience;
    while (!StopIsRequested()) {
        const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
        if (left.count() <= 0) return false;
        pollfd event{stopEvent, POLLIN, 0};
        poll(&event, 1, static_cast<int>(std::min(left, kMaxPoll).count()));
    }
    return true;
}

void WaitForStop() {
    while (!WaitForStop(kMaxPoll)) {
    }
}

}  // namespace kzterminal

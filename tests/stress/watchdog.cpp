#include "watchdog.h"

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

namespace {

// Looks are counted, not the time, so that a process that was stopped for a while is not blamed.
constexpr std::chrono::milliseconds kPauseBetweenLooks{100};
constexpr int kPatience = 600;

}  // namespace

Watchdog::Watchdog(std::uint64_t seed)
    : m_seed(seed), m_thread([this](const std::stop_token& stop) { Watch(stop); }) {}

void Watchdog::WaitsFor(std::uint64_t round, const char* what) {
    m_round = round;
    m_what = what;
    ++m_steps;
}

void Watchdog::Watch(const std::stop_token& stop) const {
    std::uint64_t seen = 0;
    for (int looks = 0; !stop.stop_requested(); ++looks) {
        const std::uint64_t steps = m_steps;
        if (steps != seen) looks = 0;
        if (looks >= kPatience) Abort();
        seen = steps;
        std::this_thread::sleep_for(kPauseBetweenLooks);
    }
}

void Watchdog::Abort() const {
    std::fprintf(stderr, "seed %" PRIu64 ", round %" PRIu64 ": waits for %s without progress\n",
                 m_seed, m_round.load(), m_what.load());
    std::abort();
}

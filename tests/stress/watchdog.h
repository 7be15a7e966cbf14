#ifndef KZ_STRESS_WATCHDOG_H
#define KZ_STRESS_WATCHDOG_H

#include <atomic>
#include <cstdint>
#include <thread>

/// Ends the process with one line when the run waits too long for the same thing and hears of no
/// progress meanwhile. Safe for concurrent use.
class Watchdog {
public:
    explicit Watchdog(std::uint64_t seed);

    /// From now on the run waits for `what`, a text that lives as long as the process.
    void WaitsFor(std::uint64_t round, const char* what);
    /// What it waits for has come nearer.
    void NotesProgress() { ++m_steps; }

private:
    void Watch(const std::stop_token& stop) const;
    [[noreturn]] void Abort() const;

    const std::uint64_t m_seed;
    std::atomic<std::uint64_t> m_round{0};
    std::atomic<const char*> m_what{"the first round"};
    std::atomic<std::uint64_t> m_steps{0};
    std::jthread m_thread;
};

#endif

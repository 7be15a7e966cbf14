#ifndef KZSTATCLOCKSTEPS_H
#define KZSTATCLOCKSTEPS_H

#include <optional>
#include <string>

/// Sees when the system clock is set, or the machine sleeps: neither moves the clock of a run,
/// which then differs from those of other machines and logs. Owned by the thread that keeps the
/// time.
class CKZStatClockSteps {
public:
    /// How far the system clock is ahead of the monotonic clock, in seconds; no value where the
    /// thread was interrupted between reading the one and the other.
    using Lead = std::optional<double> (*)();
    static std::optional<double> LeadOfSystemClock();

    explicit CKZStatClockSteps(Lead lead = LeadOfSystemClock) : m_lead(lead), m_former(lead()) {}

    /// A note of the step since the last call; empty if there was none.
    std::string TakeNote();

private:
    const Lead m_lead;
    std::optional<double> m_former;
};

#endif

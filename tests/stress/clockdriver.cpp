#include "clockdriver.h"

#include <chrono>

namespace {

constexpr std::chrono::milliseconds kPauseWhenFarAhead{1};
// Long enough for the generator to take the silence for the end of all traffic.
constexpr double kSilenceSeconds = 6.5;
constexpr double kShortestSliceForSilence = 0.1;

}  // namespace

ClockDriver::ClockDriver(RyPTestClock& clock, const StressGenerator& generator, const RoundKey& key)
    : m_clock(clock),
      m_generator(generator),
      m_start(clock.Now()),
      m_dice(key, ClockDice),
      m_mostSlicesAhead(m_dice.OneOf({1, 1, 10, 100})),
      m_thread([this](const std::stop_token& stop) { Run(stop); }) {}

void ClockDriver::Run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        // It never stands still: whoever sleeps may hold the lock that all others wait for.
        if (IsFarAhead()) {
            m_clock.Advance(0.25 * m_generator.SliceLength());
            std::this_thread::sleep_for(kPauseWhenFarAhead);
        } else {
            m_clock.Advance(NextStep());
            std::this_thread::sleep_for(m_dice.UpToMilliseconds(1));
        }
    }
}

bool ClockDriver::IsFarAhead() const {
    const double slices = (m_clock.Now() - m_start) / m_generator.SliceLength();
    return slices > m_generator.MessageCount() + m_mostSlicesAhead;
}

/// In quarters of a slice, so that the end of a slice is often met to the instant.
double ClockDriver::NextStep() {
    const double slice = m_generator.SliceLength();
    if (m_dice.OneIn(12)) return -0.25 * slice * m_dice.Between(1, 4);
    if (m_dice.OneIn(40)) return slice * m_dice.Between(5, 40);
    if (slice >= kShortestSliceForSilence && m_dice.OneIn(50)) return kSilenceSeconds;
    return 0.25 * slice * m_dice.Between(0, 6);
}

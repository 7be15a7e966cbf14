#ifndef KZ_STRESS_CLOCKDRIVER_H
#define KZ_STRESS_CLOCKDRIVER_H

#include <thread>

#include "dice.h"
#include "ryp/testclock.h"
#include "stressgenerator.h"

/// Moves the clock in steps until it is destroyed: mostly forward by a part of a slice, at times
/// back a little or on by many slices. It must outlive every thread that may sleep on the clock.
/// Owned by the thread that made it.
class ClockDriver {
public:
    ClockDriver(RyPTestClock& clock, const StressGenerator& generator, const RoundKey& key);

private:
    void Run(const std::stop_token& stop);
    double NextStep();
    bool IsFarAhead() const;

    RyPTestClock& m_clock;
    const StressGenerator& m_generator;
    const double m_start;
    Dice m_dice;
    // Few: the generator keeps up, and a step back meets slices that it has closed already. Many:
    // it has slices waiting all the time.
    const int m_mostSlicesAhead;
    std::jthread m_thread;
};

#endif

#ifndef KZ_STRESS_ROUND_H
#define KZ_STRESS_ROUND_H

#include <optional>

#include "dice.h"
#include "findings.h"
#include "watchdog.h"

/// What came out of a round. Compatible.
struct RoundResult {
    double values = 0;
    int messages = 0;
    int throws = 0;  // by hooks
    std::optional<Finding> finding;
};

/// Makes a generator, puts it under load, ends it and compares the books. One round at a time: it
/// changes the environment, the log and the clock of the process.
RoundResult RunRound(const RoundKey& key, Watchdog& watchdog);

#endif

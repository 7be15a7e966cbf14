#ifndef RYP_CLOCK_H
#define RYP_CLOCK_H

#include "kzplatform_export.h"

/// The process clock. All functions are safe for concurrent use and run on the `RyPTestClock`
/// while one exists.

/// Seconds since 1970-01-01 UTC: the wall clock at the first call in the process, advanced by the
/// monotonic clock, so that steps of the system clock have no effect. If the processor's tick
/// counter is the kernel's own time source, it is read instead, in a third of the time; it stays
/// within 3 microseconds of the kernel's clock.
KZPLATFORM_EXPORT double RyPSysTime();

/// Nanoseconds on the monotonic clock, from an arbitrary origin. For measuring spans.
KZPLATFORM_EXPORT long long RyPMonotonicNanoseconds();

/// Blocks the calling thread for `seconds`; returns at once if they are 0 or below. Signals neither
/// shorten nor prolong it.
KZPLATFORM_EXPORT void RyPSleep(double seconds);

#endif

#ifndef RYP_CLOCK_H
#define RYP_CLOCK_H

#include "kzplatform_export.h"

/// The process clock. All functions are safe for concurrent use and run on the `RyPTestClock`
/// while one exists.

/// Seconds since 1970-01-01 UTC: the wall clock as it stood when the process first asked, advanced
/// by the monotonic clock. Stepping the system clock neither stalls nor floods a timeline built
/// on it. Where the processor's tick counter is the kernel's own time source, it is read instead,
/// in a third of the time, and never strays from the kernel's clock by more than 3 microseconds.
KZPLATFORM_EXPORT double RyPSysTime();

/// Nanoseconds on the monotonic clock, from an arbitrary origin. For measuring spans.
KZPLATFORM_EXPORT long long RyPMonotonicNanoseconds();

/// Blocks the calling thread for `seconds` (nothing at 0 or below). Signals neither shorten
/// nor prolong it.
KZPLATFORM_EXPORT void RyPSleep(double seconds);

#endif

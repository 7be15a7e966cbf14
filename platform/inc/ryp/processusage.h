#ifndef RYP_PROCESSUSAGE_H
#define RYP_PROCESSUSAGE_H

#include <map>

#include "kzplatform_export.h"

/// What the process has used of the machine so far. Compatible.
struct RyPProcessUsage {
    double processorSeconds = 0;     ///< of all threads
    double involuntarySwitches = 0;  ///< of threads that had work to do, to others
};

// All functions are safe for concurrent use. While a `RyPTestClock` exists, it tells them.

/// NaN where the system does not tell.
KZPLATFORM_EXPORT RyPProcessUsage RyPGetProcessUsage();

/// The processor time of the calling thread in seconds; NaN where the system does not tell.
KZPLATFORM_EXPORT double RyPThreadProcessorSeconds();

/// How many processors the process may use: those of its affinity, or less by the quota of its
/// control group as it was at the first call. NaN where the system does not tell.
KZPLATFORM_EXPORT double RyPUsableProcessors();

/// What threads have used of the processors, and what they could not. Compatible.
struct RyPThreadTimes {
    double processorSeconds = 0;
    double waitedSeconds = 0;  ///< for a processor, while there was work to do
};

/// Tells how busy the threads of the process are. Compatible.
class KZPLATFORM_EXPORT RyPThreadUsage {
public:
    static constexpr int kMaxThreads = 1000;

    /// The most that one thread has used, and the longest that one has waited, since the call
    /// before or since it began. Threads that have ended count no more. NaN where the system does
    /// not tell, and with more than `kMaxThreads` threads, which would take milliseconds. Throws
    /// std::bad_alloc.
    RyPThreadTimes MostSinceLast();

private:
    std::map<int, RyPThreadTimes> m_times;  // by the number of the thread
};

#endif

#ifndef RYP_TIMEROBJECT_H
#define RYP_TIMEROBJECT_H

#include "kzplatform_export.h"

/// A stopwatch on the monotonic clock. Compatible: one thread at a time per object.
class KZPLATFORM_EXPORT RyPTimerObject {
public:
    /// The watch starts at once.
    RyPTimerObject();

    /// Starts the watch anew.
    void reset();

    /// Milliseconds since construction or the last `reset`, with fractions.
    double get() const;

private:
    long long m_startNanoseconds;
};

#endif

#include "ryp/timerobject.h"

#include "ryp/clock.h"

namespace {
constexpr double kNanosecondsPerMillisecond = 1e6;
}

RyPTimerObject::RyPTimerObject() : m_startNanoseconds(RyPMonotonicNanoseconds()) {}

void RyPTimerObject::reset() {
    m_startNanoseconds = RyPMonotonicNanoseconds();
}

double RyPTimerObject::get() const {
    return static_cast<double>(RyPMonotonicNanoseconds() - m_startNanoseconds) /
           kNanosecondsPerMillisecond;
}

#ifndef KZSTAT_EXITSTATUS_H
#define KZSTAT_EXITSTATUS_H

namespace kzstat {

/// What the process tells its caller.
enum ExitStatus : int {
    kDone = 0,
    kDoesNotHold = 1,  ///< a check or a condition does not hold
    kFailed = 2        ///< bad usage, or a file that cannot be read or written
};

}  // namespace kzstat

#endif

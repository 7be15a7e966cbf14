#ifndef KZSTATPROGRAM_EXITSTATUS_H
#define KZSTATPROGRAM_EXITSTATUS_H

namespace kzstatprogram {

/// What the process tells its caller.
enum ExitStatus : int {
    kDone = 0,
    kDoesNotHold = 1,  ///< a check or a condition does not hold
    kFailed = 2        ///< bad usage, or a file that cannot be read or written
};

}  // namespace kzstatprogram

#endif

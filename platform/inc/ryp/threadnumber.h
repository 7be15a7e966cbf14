#ifndef RYP_THREADNUMBER_H
#define RYP_THREADNUMBER_H

#include "kzplatform_export.h"

/// Returns a number for the calling thread: at its first call, the smallest from 0 on that no
/// living thread has. The thread keeps it until it ends; it is then reused, so numbers stay small.
///
/// For spreading threads over a few places, not for identifying them: there are 8192 numbers, and
/// thread-local destructors may still see a number that was already reused. Safe for concurrent
/// use.
KZPLATFORM_EXPORT unsigned RyPThreadNumber();

#endif

#ifndef RYP_THREADNUMBER_H
#define RYP_THREADNUMBER_H

#include "kzplatform_export.h"

/// A number for the calling thread, from 0 on: the smallest that no living thread had when it first
/// asked. It stays the thread's until the thread ends and is then given to another, so that the
/// numbers stay small where threads come and go.
///
/// Good for spreading threads over a few places, not for telling them apart: there are 8192
/// numbers, and what runs at the very end of a thread still sees the one that was given back. Safe
/// for concurrent use.
KZPLATFORM_EXPORT unsigned RyPThreadNumber();

#endif

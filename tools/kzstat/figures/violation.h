#ifndef KZSTATPROGRAM_VIOLATION_H
#define KZSTATPROGRAM_VIOLATION_H

#include "kzjournalerror.h"

namespace kzstatprogram {

/// What does not hold of a run. Thrown, since it ends a walk through slices.
class Violation : public kzjournal::Error {
public:
    using Error::Error;
};

}  // namespace kzstatprogram

#endif

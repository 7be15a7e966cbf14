#ifndef RYP_ENVIRONMENT_H
#define RYP_ENVIRONMENT_H

#include "kzplatform_export.h"

class RWCString;

/// The environment of the process. Safe for concurrent use as long as no thread changes the
/// environment meanwhile.
class KZPLATFORM_EXPORT RyEnvContainerClass {
public:
    RyEnvContainerClass();

    /// Puts the value of the variable `name` into `value` and returns true; returns false and
    /// leaves `value` alone where the variable is not set. A variable may be set and empty.
    bool RyEGetEnv(const char* name, RWCString& value) const;
};

#endif

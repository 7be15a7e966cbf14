#ifndef RYP_ENVIRONMENT_H
#define RYP_ENVIRONMENT_H

#include "kzplatform_export.h"

class RWCString;

/// The environment of the process. Safe for concurrent use while no thread changes the environment.
class KZPLATFORM_EXPORT RyEnvContainerClass {
public:
    RyEnvContainerClass();

    /// Sets `value` to that of the variable `name` and returns true. Returns false and leaves
    /// `value` unchanged if the variable is not set. A variable may be set and empty.
    bool RyEGetEnv(const char* name, RWCString& value) const;
};

#endif

#include "ryp/environment.h"

#include <cstdlib>

#include "rw/cstring.h"

RyEnvContainerClass::RyEnvContainerClass() = default;

bool RyEnvContainerClass::RyEGetEnv(const char* name, RWCString& value) const {
    const char* const text = std::getenv(name);
    if (text == nullptr) return false;
    value = RWCString(text);
    return true;
}

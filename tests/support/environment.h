#ifndef KZ_TESTS_ENVIRONMENT_H
#define KZ_TESTS_ENVIRONMENT_H

#include <stdlib.h>

#include <optional>
#include <string>

/// Sets an environment variable (or with null clears it) and restores it at the end. No other
/// thread may use the environment meanwhile.
class EnvironmentVariable {
public:
    EnvironmentVariable(const char* name, const char* value) : m_name(name) {
        if (const char* const former = getenv(name)) m_former = former;
        Put(value);
    }
    ~EnvironmentVariable() { Put(m_former ? m_former->c_str() : nullptr); }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    void Put(const char* value) {
        if (value == nullptr) {
            unsetenv(m_name.c_str());
        } else {
            setenv(m_name.c_str(), value, 1);
        }
    }

    std::string m_name;
    std::optional<std::string> m_former;
};

#endif

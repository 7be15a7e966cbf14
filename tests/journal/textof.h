#ifndef KZ_TESTS_TEXTOF_H
#define KZ_TESTS_TEXTOF_H

#include <optional>
#include <string>

#include "kzjournalerror.h"

/// Empty where there is no error.
inline std::string TextOf(const std::optional<kzjournal::Error>& error) {
    return error ? error->what() : std::string();
}

#endif

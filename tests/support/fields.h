#ifndef KZ_TESTS_FIELDS_H
#define KZ_TESTS_FIELDS_H

#include <algorithm>
#include <string>

#include "rw/cstring.h"

/// The bytes of a dump whose fields are written with '|' for the byte that ends a field.
inline std::string Fields(std::string readable) {
    std::replace(readable.begin(), readable.end(), '|', '\x01');
    return readable;
}

/// All bytes of `text`.
inline std::string BytesOf(const RWCString& text) {
    return std::string(text.data(), text.length());
}

#endif

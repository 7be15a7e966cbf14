#ifndef RYP_TEXTHASH_H
#define RYP_TEXTHASH_H

#include <cstddef>
#include <functional>
#include <string_view>

/// The hash of a run of bytes, the same for every string class of the platform.
inline unsigned RyPTextHash(std::string_view text) {
    return static_cast<unsigned>(std::hash<std::string_view>()(text));
}

#endif

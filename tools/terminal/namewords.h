#ifndef KZTERMINAL_NAMEWORDS_H
#define KZTERMINAL_NAMEWORDS_H

#include <string_view>

namespace kzterminal {

// What a name tells of its values by its words, which are its longest runs of letters and digits of
// ASCII; their case does not matter. These functions are safe for concurrent use.

/// One of them is "bytes".
bool NamesBytes(std::string_view name);

/// One of them is "error", "failed", "failure", "4xx" or "5xx", also in the plural, or the last two
/// are "http" and a status above 399, as in "login.failed.http-404".
bool NamesErrors(std::string_view name);

}  // namespace kzterminal

#endif

#ifndef KZTERMINAL_BYTES_H
#define KZTERMINAL_BYTES_H

#include <string>

namespace kzterminal {

/// A number of bytes for people: three digits and a unit in steps of 1000, such as "512 B" and
/// "1.23 MB"; without a unit where it is infinite or no number. Safe for concurrent use.
std::string ReadableBytes(double bytes);

}  // namespace kzterminal

#endif

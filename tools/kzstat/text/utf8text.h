#ifndef KZSTATPROGRAM_UTF8TEXT_H
#define KZSTATPROGRAM_UTF8TEXT_H

#include <string>
#include <string_view>

namespace kzstatprogram {

/// The text with each byte that is no part of a UTF-8 character as \xNN. Names may hold any bytes,
/// but formats that are UTF-8 throughout are refused as a whole for a single stray byte.
std::string Utf8Text(std::string_view text);

}  // namespace kzstatprogram

#endif

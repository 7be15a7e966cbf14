#ifndef KZTERMINAL_ESCAPEDTEXT_H
#define KZTERMINAL_ESCAPEDTEXT_H

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace kzterminal {

// All take any bytes. These functions are safe for concurrent use.

/// Calls `visit` with each UTF-8 character and its bytes, or with a byte that is no part of one and
/// no character.
void ForEachCharacter(
    std::string_view text,
    const std::function<void(std::string_view bytes, std::optional<char32_t> character)>& visit);

/// True for what changes how the text around it is shown: controls, the ends of lines and
/// paragraphs, and what sets the direction of writing, by which a name can pass for another one.
bool SteersText(char32_t character);

/// "\x1b" for a byte or an ASCII control, "\u202e" or "\U000e0001" for other characters.
std::string EscapeOf(std::string_view bytes, std::optional<char32_t> character);

/// UTF-8 in which all that steers and each faulty byte is escaped.
std::string EscapedText(std::string_view text);

/// The same of a name, by which it is told from all others: a backslash that reads as the begin of
/// an escape is escaped, too. So this is not for what is escaped already.
std::string EscapedName(std::string_view name);

}  // namespace kzterminal

#endif

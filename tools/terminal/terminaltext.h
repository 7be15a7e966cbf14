#ifndef KZTERMINAL_TERMINALTEXT_H
#define KZTERMINAL_TERMINALTEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace kzterminal {

// All take any bytes. They count the columns that UTF-8 takes on a terminal, whatever the locale of
// the process: two for a wide character, none for a combining one. These functions are safe for
// concurrent use.

/// With an escape for each character that has no picture or steers text, and for each byte that is
/// no part of a character, so that a name neither breaks a line nor steers a terminal.
std::string Printable(std::string_view text);

/// The columns of the printable text.
std::size_t WidthOf(std::string_view text);

/// The printable text in at most `width` columns; a '>' at the end shows that something was cut.
/// REQUIRES: `width` is at least 1.
std::string Cut(std::string_view text, std::size_t width);

/// The same with both ends of the text, for names that begin or end alike; ".." between them shows
/// that something was cut. Where that would leave next to nothing, like `Cut`.
std::string CutInTheMiddle(std::string_view text, std::size_t width);

}  // namespace kzterminal

#endif

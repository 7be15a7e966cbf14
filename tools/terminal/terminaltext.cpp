#include "terminal/terminaltext.h"

#include <locale.h>
#include <utf8.h>
#include <wchar.h>

#include <iterator>

namespace kzterminal {
namespace {

/// Has the widths of UTF-8 characters known on this thread while it lives. They depend on the
/// locale, but names are UTF-8 in all of them. Without that locale on the system, only ASCII is
/// printable.
class Utf8Locale {
public:
    Utf8Locale() : m_before(uselocale(Utf8())) {}
    ~Utf8Locale() { uselocale(m_before); }
    Utf8Locale(const Utf8Locale&) = delete;
    Utf8Locale& operator=(const Utf8Locale&) = delete;

private:
    static locale_t Utf8() {
        static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{});
        return utf8;
    }

    const locale_t m_before;
};

/// Calls `visit(bytes, columns)` for each character of the printable text.
template <typename Visitor>
void ForEachCharacter(std::string_view text, Visitor visit) {
    std::string valid;
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid), U'?');
    const Utf8Locale locale;
    for (const char* at = valid.data(); at != valid.data() + valid.size();) {
        const char* const begin = at;
        const auto character = static_cast<wchar_t>(utf8::unchecked::next(at));
        const int columns = character == L'\0' ? -1 : wcwidth(character);
        if (columns < 0)
            visit(std::string_view("?"), std::size_t{1});
        else
            visit(std::string_view(begin, static_cast<std::size_t>(at - begin)),
                  static_cast<std::size_t>(columns));
    }
}

}  // namespace

std::string Printable(std::string_view text) {
    std::string printable;
    ForEachCharacter(text, [&](std::string_view bytes, std::size_t) { printable += bytes; });
    return printable;
}

std::size_t WidthOf(std::string_view text) {
    std::size_t width = 0;
    ForEachCharacter(text, [&](std::string_view, std::size_t columns) { width += columns; });
    return width;
}

std::string Cut(std::string_view text, std::size_t width) {
    std::string printable;
    std::size_t printableWidth = 0;
    std::size_t bytesBesideTheMark = 0;
    ForEachCharacter(text, [&](std::string_view bytes, std::size_t columns) {
        printable += bytes;
        printableWidth += columns;
        if (printableWidth < width) bytesBesideTheMark = printable.size();
    });
    if (printableWidth <= width) return printable;
    return printable.substr(0, bytesBesideTheMark) + ">";
}

}  // namespace kzterminal

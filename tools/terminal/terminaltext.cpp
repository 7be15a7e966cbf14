#include "terminal/terminaltext.h"

#include <locale.h>
#include <wchar.h>

#include <optional>
#include <utility>
#include <vector>

#include "terminal/escapedtext.h"

namespace kzterminal {
namespace {

constexpr std::string_view kCutInTheMiddle = "..";
constexpr std::size_t kMinWidthOfTwoEnds = 8;

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

/// Calls `visit(bytes, columns)` for each character of the printable text, and for each escape.
template <typename Visitor>
void ForEachPicture(std::string_view text, Visitor visit) {
    const Utf8Locale locale;
    ForEachCharacter(text, [&](std::string_view bytes, std::optional<char32_t> character) {
        const int columns =
            character && !SteersText(*character) ? wcwidth(static_cast<wchar_t>(*character)) : -1;
        if (columns >= 0) return visit(bytes, static_cast<std::size_t>(columns));
        const std::string escape = EscapeOf(bytes, character);
        visit(std::string_view(escape), escape.size());
    });
}

}  // namespace

std::string Printable(std::string_view text) {
    std::string printable;
    ForEachPicture(text, [&](std::string_view bytes, std::size_t) { printable += bytes; });
    return printable;
}

std::size_t WidthOf(std::string_view text) {
    std::size_t width = 0;
    ForEachPicture(text, [&](std::string_view, std::size_t columns) { width += columns; });
    return width;
}

std::string Cut(std::string_view text, std::size_t width) {
    std::string printable;
    std::size_t printableWidth = 0;
    std::size_t bytesBesideTheMark = 0;
    ForEachPicture(text, [&](std::string_view bytes, std::size_t columns) {
        printable += bytes;
        printableWidth += columns;
        if (printableWidth < width) bytesBesideTheMark = printable.size();
    });
    if (printableWidth <= width) return printable;
    return printable.substr(0, bytesBesideTheMark) + ">";
}

std::string CutInTheMiddle(std::string_view text, std::size_t width) {
    if (width < kMinWidthOfTwoEnds) return Cut(text, width);
    std::vector<std::pair<std::string, std::size_t>> pictures;
    std::size_t printableWidth = 0;
    ForEachPicture(text, [&](std::string_view bytes, std::size_t columns) {
        pictures.emplace_back(bytes, columns);
        printableWidth += columns;
    });
    std::string begin;
    std::string end;
    const bool fits = printableWidth <= width;
    const std::size_t widthOfEnds = width - kCutInTheMiddle.size();
    std::size_t room = fits ? printableWidth : widthOfEnds - widthOfEnds / 2;
    auto first = pictures.begin();
    for (; first != pictures.end() && first->second <= room; ++first) {
        begin += first->first;
        room -= first->second;
    }
    if (fits) return begin;
    room = widthOfEnds / 2;
    for (auto last = pictures.end(); last != first && (last - 1)->second <= room; --last) {
        end.insert(0, (last - 1)->first);
        room -= (last - 1)->second;
    }
    return begin.append(kCutInTheMiddle) + end;
}

}  // namespace kzterminal

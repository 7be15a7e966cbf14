#include "terminal/escapedtext.h"

#include <utf8.h>

#include <cstddef>
#include <cstdio>

namespace kzterminal {
namespace {

/// Whether the text begins with what `EscapeOf` may have written.
bool BeginsWithEscape(std::string_view text) {
    if (text.size() < 2 || text[0] != '\\') return false;
    const std::size_t digits = text[1] == 'x' ? 2 : text[1] == 'u' ? 4 : text[1] == 'U' ? 8 : 0;
    const std::string_view number = text.substr(2, digits);
    return digits > 0 && number.size() == digits &&
           number.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

}  // namespace

void ForEachCharacter(
    std::string_view text,
    const std::function<void(std::string_view bytes, std::optional<char32_t> character)>& visit) {
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at != end;) {
        const char* const fault = utf8::find_invalid(at, end);
        while (at != fault) {
            const char* const begin = at;
            const char32_t character = utf8::unchecked::next(at);
            visit({begin, static_cast<std::size_t>(at - begin)}, character);
        }
        if (at != end) visit({at++, 1}, std::nullopt);
    }
}

bool SteersText(char32_t character) {
    const auto isFrom = [character](char32_t first, char32_t last) {
        return first <= character && character <= last;
    };
    // Controls; the Arabic letter mark; marks of direction; ends of lines and paragraphs,
    // embeddings and overrides; isolates.
    return isFrom(0, 0x1f) || isFrom(0x7f, 0x9f) || character == 0x61c || isFrom(0x200e, 0x200f) ||
           isFrom(0x2028, 0x202e) || isFrom(0x2066, 0x2069);
}

std::string EscapeOf(std::string_view bytes, std::optional<char32_t> character) {
    const unsigned code = character ? *character : static_cast<unsigned char>(bytes.front());
    const bool isByte = !character || code < 0x80;
    const char* const form = isByte ? "\\x%02x" : code < 0x10000 ? "\\u%04x" : "\\U%08x";
    char text[16];
    std::snprintf(text, sizeof text, form, code);
    return text;
}

std::string EscapedText(std::string_view text) {
    std::string escaped;
    ForEachCharacter(text, [&](std::string_view bytes, std::optional<char32_t> character) {
        const bool isSafe = character && !SteersText(*character);
        escaped += isSafe ? std::string(bytes) : EscapeOf(bytes, character);
    });
    return escaped;
}

std::string EscapedName(std::string_view name) {
    if (name.find('\\') == std::string_view::npos) return EscapedText(name);
    std::string escaped;
    ForEachCharacter(name, [&](std::string_view bytes, std::optional<char32_t> character) {
        const auto at = static_cast<std::size_t>(bytes.data() - name.data());
        const bool isAmbiguous = BeginsWithEscape(name.substr(at));
        escaped += isAmbiguous ? EscapeOf(bytes, character) : EscapedText(bytes);
    });
    return escaped;
}

}  // namespace kzterminal

#include "text/utf8text.h"

#include <utf8.h>

#include <cstdio>

namespace kzstatprogram {

std::string Utf8Text(std::string_view text) {
    std::string valid;
    for (;;) {
        const auto fault = utf8::find_invalid(text.begin(), text.end());
        valid.append(text.begin(), fault);
        if (fault == text.end()) return valid;
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(*fault));
        valid += escaped;
        text.remove_prefix(static_cast<std::size_t>(fault - text.begin()) + 1);
    }
}

}  // namespace kzstatprogram

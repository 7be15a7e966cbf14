#ifndef KZ_TESTS_LITERALLY_H
#define KZ_TESTS_LITERALLY_H

#include <cstring>
#include <string>

/// A regular expression that matches `text` and nothing else.
inline std::string Literally(const std::string& text) {
    std::string expression;
    for (const char c : text) {
        if (std::strchr("\\^$.|?*+()[]{}", c) != nullptr) expression += '\\';
        expression += c;
    }
    return expression;
}

#endif

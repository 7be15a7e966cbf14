#include "terminal/namewords.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace kzterminal {
namespace {

constexpr std::string_view kErrorWords[] = {"error",    "errors", "failed", "failure",
                                            "failures", "4xx",    "5xx"};

bool IsDigit(char c) {
    return '0' <= c && c <= '9';
}

/// Whatever the locale: names are compared between machines.
char LowerCase(char c) {
    return 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsInWord(char c) {
    return IsDigit(c) || ('a' <= LowerCase(c) && LowerCase(c) <= 'z');
}

std::vector<std::string> WordsOf(std::string_view name) {
    std::vector<std::string> words;
    for (auto at = name.begin(); at != name.end();) {
        at = std::find_if(at, name.end(), IsInWord);
        const auto end = std::find_if_not(at, name.end(), IsInWord);
        if (at != end) std::transform(at, end, std::back_inserter(words.emplace_back()), LowerCase);
        at = end;
    }
    return words;
}

bool IsErrorStatus(const std::string& word) {
    return word.size() == 3 && (word[0] == '4' || word[0] == '5') && IsDigit(word[1]) &&
           IsDigit(word[2]);
}

}  // namespace

bool NamesBytes(std::string_view name) {
    const std::vector<std::string> words = WordsOf(name);
    return std::find(words.begin(), words.end(), "bytes") != words.end();
}

bool NamesErrors(std::string_view name) {
    const std::vector<std::string> words = WordsOf(name);
    if (std::find_first_of(words.begin(), words.end(), std::begin(kErrorWords),
                           std::end(kErrorWords)) != words.end())
        return true;
    return words.size() >= 2 && *(words.end() - 2) == "http" && IsErrorStatus(words.back());
}

}  // namespace kzterminal

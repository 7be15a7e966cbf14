#include "options.h"

#include <charconv>
#include <cstring>
#include <iostream>

namespace {

constexpr int kMost = 100'000'000;  // slice ids stay within an int

struct Option {
    const char* name;
    int Options::*value;
    int least;
};

constexpr Option kOptions[] = {
    {"--slices", &Options::slices, 1},
    {"--clients", &Options::clients, 1},
    {"--names", &Options::names, 1},
    {"--silence", &Options::silence, 0},
};

const Option* FindOption(const char* name) {
    for (const Option& option : kOptions)
        if (std::strcmp(option.name, name) == 0) return &option;
    return nullptr;
}

bool ReadNumber(const char* text, int least, int& number) {
    const char* const end = text + std::strlen(text);
    const auto result = std::from_chars(text, end, number);
    return result.ec == std::errc() && result.ptr == end && number >= least && number <= kMost;
}

}  // namespace

bool ReadOptions(int argc, char* const* argv, Options& options) {
    for (int i = 1; i < argc; i += 2) {
        const Option* const option = FindOption(argv[i]);
        if (option != nullptr && i + 1 < argc &&
            ReadNumber(argv[i + 1], option->least, options.*option->value))
            continue;
        std::cerr << "usage: " << argv[0]
                  << " [--slices N] [--clients N] [--names N] [--silence SECONDS]\n";
        return false;
    }
    return true;
}

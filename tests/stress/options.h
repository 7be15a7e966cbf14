#ifndef KZ_STRESS_OPTIONS_H
#define KZ_STRESS_OPTIONS_H

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

/// The command line. Compatible.
struct Options {
    std::optional<std::uint64_t> seed;
    std::uint64_t seconds = 10;
    std::uint64_t rounds = std::numeric_limits<std::uint64_t>::max();
    bool wantsHelp = false;
};

/// Reads the command line into `options`. Returns what is wrong with it, or nothing.
std::optional<std::string> ReadOptions(int argc, char** argv, Options& options);

extern const char* const kHelp;

#endif

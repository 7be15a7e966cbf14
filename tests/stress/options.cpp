#include "options.h"

#include <charconv>
#include <string_view>

const char* const kHelp =
    "kzstress [--seed N] [--seconds S] [--rounds R]\n"
    "\n"
    "Puts generators under load from many threads, round after round, and compares what their\n"
    "messages say with what was reported. Ends with status 0 when all books balance, 1 when they\n"
    "do not.\n"
    "\n"
    "  --seed N     a seed on the command line reproduces a run: round r of seed N always makes\n"
    "               the same decisions (which thread gets how far is up to the machine);\n"
    "               by default a seed of chance, which is printed\n"
    "  --seconds S  begins no round after S seconds (default 10)\n"
    "  --rounds R   runs R rounds at most\n"
    "  --help       prints this text\n";

namespace {

std::optional<std::uint64_t> ReadNumber(std::string_view text) {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [position, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || position != end) return std::nullopt;
    return number;
}

bool SetNumber(Options& options, std::string_view option, std::uint64_t number) {
    if (option == "--seed") {
        options.seed = number;
    } else if (option == "--seconds") {
        options.seconds = number;
    } else if (option == "--rounds") {
        options.rounds = number;
    } else {
        return false;
    }
    return true;
}

}  // namespace

std::optional<std::string> ReadOptions(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--help") {
            options.wantsHelp = true;
            continue;
        }
        if (!SetNumber(options, option, 0)) return "unknown option " + option + "; see --help";
        const auto number = i + 1 < argc ? ReadNumber(argv[i + 1]) : std::nullopt;
        if (!number) return option + " takes a whole number; see --help";
        SetNumber(options, option, *number);
        ++i;
    }
    return std::nullopt;
}

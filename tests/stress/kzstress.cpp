#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <random>

#include "options.h"
#include "round.h"
#include "watchdog.h"

// Many threads against one generator, with decisions that can be made again from a seed.

namespace {

using std::chrono::steady_clock;

std::uint64_t SeedOfChance() {
    std::random_device device;
    return (static_cast<std::uint64_t>(device()) << 32) | device();
}

void Print(const RoundKey& key, const Finding& finding) {
    std::printf("seed %" PRIu64 ", round %" PRIu64 ": %s: expected %s, found %s\n", key.seed,
                key.round, finding.name.c_str(), finding.expected.c_str(), finding.found.c_str());
    std::fflush(stdout);
}

/// The figures of a run. Compatible.
struct Figures {
    std::uint64_t rounds = 0;
    double values = 0;
    std::uint64_t messages = 0;
    std::uint64_t throws = 0;
    std::uint64_t failed = 0;

    void Add(const RoundResult& result) {
        rounds += 1;
        values += result.values;
        messages += static_cast<std::uint64_t>(result.messages);
        throws += static_cast<std::uint64_t>(result.throws);
        failed += result.finding ? 1 : 0;
    }

    void Print() const {
        std::printf("rounds %" PRIu64 ", values %.0f, messages %" PRIu64
                    ", hooks that threw %" PRIu64 ", ",
                    rounds, values, messages, throws);
        if (failed == 0) {
            std::puts("balanced");
        } else {
            std::printf("not balanced in %" PRIu64 "\n", failed);
        }
    }
};

Figures RunRounds(const Options& options, std::uint64_t seed) {
    const auto end = steady_clock::now() + std::chrono::seconds(options.seconds);
    Watchdog watchdog(seed);
    Figures figures;
    while (figures.rounds < options.rounds && steady_clock::now() < end) {
        const RoundKey key{seed, figures.rounds + 1};
        const RoundResult result = RunRound(key, watchdog);
        if (result.finding) Print(key, *result.finding);
        figures.Add(result);
    }
    return figures;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (const auto complaint = ReadOptions(argc, argv, options)) {
        std::fprintf(stderr, "kzstress: %s\n", complaint->c_str());
        return 2;
    }
    if (options.wantsHelp) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    const std::uint64_t seed = options.seed ? *options.seed : SeedOfChance();
    std::printf("seed %" PRIu64 "\n", seed);
    std::fflush(stdout);
    const Figures figures = RunRounds(options, seed);
    figures.Print();
    return figures.failed == 0 ? 0 : 1;
}

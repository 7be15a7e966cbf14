// equal_percentiles [PAIRS]: the same as equal_runs for percentiles. Each slice has so many values,
// the level of which deviates by 10 % from slice to slice. Of runs with 1,000 values a slice, a
// tenth of the pairs are drawn.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "figures/percentiletest.h"
#include "kzstatdistribution.h"
#include "support/runshapes.h"

namespace {

using kzstatprogram::DistributionSamples;
using Random = std::mt19937_64;

constexpr double kLevel = 0.01;
constexpr double kDeviation = 0.1;  // of the level of slices
constexpr std::array<double, 3> kQuantiles = {0.5, 0.95, 0.99};
constexpr unsigned kNoiseBits = 16;

/// What values are in parts of the level: as likely each, since drawing takes most of the time.
using Noise = std::vector<double>;

template <class Make>
Noise NoiseOf(Make make) {
    Random random(2);
    std::normal_distribution<double> normal;
    Noise noise(std::size_t{1} << kNoiseBits);
    for (double& each : noise) each = make(normal(random));
    return noise;
}

/// Pairs of runs. The second one may have greater values, and last longer.
struct Pairs {
    std::string title;
    const Noise& noise;
    int valuesOfSlice;
    double factor = 1;
    int timesLonger = 1;
};

DistributionSamples Make(const RunShape& shape, const Pairs& pairs, double factor, Random& random) {
    DistributionSamples samples;
    CKZStatDistribution values;
    ForEachState(shape, random, [&](double state) {
        const double level = 100 * factor * std::exp(kDeviation * state);
        values.Clear();
        for (int i = 0; i < pairs.valuesOfSlice; ++i)
            values.Add(level * pairs.noise[random() >> (64 - kNoiseBits)]);
        values.Encode(samples.emplace_back());
    });
    return samples;
}

using Counts = std::array<int, kQuantiles.size()>;

void CountMarked(const kzstatprogram::SharesAbove& shares, Counts& marked) {
    for (std::size_t i = 0; i < kQuantiles.size(); ++i) {
        const auto [before, after] = shares.Of(kQuantiles[i]);
        const auto probability = kzstatprogram::WelchProbability(before, after);
        if (probability && *probability < kLevel) ++marked[i];
    }
}

Counts Marked(const RunShape& shape, const Pairs& pairs, int count) {
    Random random(1);
    Counts marked{};
    const RunShape longer{shape.slices * pairs.timesLonger, shape.correlation};
    for (int i = 0; i < count; ++i) {
        const DistributionSamples before = Make(shape, pairs, 1, random);
        const DistributionSamples after = Make(longer, pairs, pairs.factor, random);
        CountMarked({before, after}, marked);
    }
    return marked;
}

void PrintRows(const Pairs& pairs, int count) {
    std::vector<Counts> marked;
    marked.reserve(kRunShapes.size());
    for (const RunShape& shape : kRunShapes) marked.push_back(Marked(shape, pairs, count));
    for (std::size_t i = 0; i < kQuantiles.size(); ++i) {
        const std::string title =
            pairs.title + ", p" + std::to_string(std::lround(100 * kQuantiles[i]));
        std::printf("%-46s", title.c_str());
        for (const Counts& each : marked) std::printf(" %7.2f", 100.0 * each[i] / count);
        std::printf("\n");
    }
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    const int pairs = argc > 1 ? std::atoi(argv[1]) : 10000;
    const Noise normal = NoiseOf([](double x) { return std::max(1 + 0.2 * x, 0.01); });
    const Noise lognormal = NoiseOf([](double x) { return std::exp(0.5 * x); });
    PrintHeadingOfRunShapes();
    PrintRows({"equal runs, normal, 20 values", normal, 20}, pairs);
    PrintRows({"equal runs, lognormal, 20 values", lognormal, 20}, pairs);
    PrintRows({"equal runs, normal, 1,000 values", normal, 1000}, pairs / 10);
    PrintRows({"equal runs, lognormal, 1,000 values", lognormal, 1000}, pairs / 10);
    PrintRows({"equal, 10 times as long, lognormal, 20", lognormal, 20, 1, 10}, pairs / 10);
    PrintRows({"10 % more, normal, 20 values", normal, 20, 1.1}, pairs / 10);
    PrintRows({"10 % more, lognormal, 20 values", lognormal, 20, 1.1}, pairs / 10);
    PrintRows({"10 % more, normal, 1,000 values", normal, 1000, 1.1}, pairs / 10);
    PrintRows({"10 % more, lognormal, 1,000 values", lognormal, 1000, 1.1}, pairs / 10);
    return 0;
}

// equal_runs [PAIRS]: how often the test of `kzstat compare` tells two runs apart at the 1 % level.
// A table of percentages: of pairs of equal runs, where 1 is right, and of pairs of which one has a
// mean that is 10 % higher. The same pairs each time.

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "figures/meanestimate.h"
#include "support/runshapes.h"

namespace {

using kzstatprogram::SliceSample;
using Series = std::vector<SliceSample>;
using Random = std::mt19937_64;

constexpr double kLevel = 0.01;
constexpr double kMean = 100;
constexpr double kDeviation = 10;

/// Makes what a slice has of a standard normal number that resembles that of the slice before.
using Maker = std::function<SliceSample(double, Random&)>;

Series Make(const RunShape& shape, const Maker& maker, Random& random) {
    Series series;
    ForEachState(shape, random, [&](double state) { series.push_back(maker(state, random)); });
    return series;
}

double PercentMarked(const RunShape& shape, const Maker& maker, double factor, int pairs) {
    Random random(1);
    int marked = 0;
    for (int i = 0; i < pairs; ++i) {
        const Series before = Make(shape, maker, random);
        Series after = Make(shape, maker, random);
        for (SliceSample& each : after) each.sum *= factor;
        const auto probability = kzstatprogram::WelchProbability(
            kzstatprogram::EstimateOfSlices(before), kzstatprogram::EstimateOfSlices(after));
        if (probability && *probability < kLevel) ++marked;
    }
    return 100.0 * marked / pairs;
}

void PrintRow(const std::string& title, const Maker& maker, double factor, int pairs) {
    std::printf("%-46s", title.c_str());
    for (const RunShape& shape : kRunShapes) {
        std::printf(" %7.2f", PercentMarked(shape, maker, factor, pairs));
        std::fflush(stdout);
    }
    std::printf("\n");
}

SliceSample Normal(double state, Random&) {
    return {kMean + kDeviation * state, 1};
}

SliceSample Exponential(double state, Random&) {
    const double probability = 0.5 * std::erfc(state / std::sqrt(2.0));
    return {kMean + kDeviation * (-std::log(probability) - 1), 1};
}

/// The logarithm of its values deviates by 0.8.
SliceSample Lognormal(double state, Random&) {
    constexpr double kMeanOfOne = 1.3771277643359572;       // exp(0.32)
    constexpr double kDeviationOfOne = 1.3005371304716565;  // of exp(0.8 x)
    return {kMean + kDeviation * (std::exp(0.8 * state) - kMeanOfOne) / kDeviationOfOne, 1};
}

/// What resembles that of the slice before is half of the variance.
SliceSample HalfNoise(double state, Random& random) {
    std::normal_distribution<double> noise;
    return {kMean + kDeviation * (state + noise(random)) / std::sqrt(2.0), 1};
}

/// A mean of a slice of as many values as chance gives it: most often 5 to 50.
SliceSample Uneven(double state, Random& random) {
    std::normal_distribution<double> noise;
    const double count = std::ceil(15 * std::exp(0.8 * noise(random)));
    return {count * (kMean + kDeviation * state), count};
}

/// Slices with fewer values have higher means, as in a closed loop.
SliceSample ClosedLoop(double state, Random&) {
    const double time = kMean * std::exp(state * kDeviation / kMean);
    const double count = std::ceil(1e5 / time);
    return {count * time, count};
}

/// A counter of rare events: one in four slices.
SliceSample Rare(double state, Random& random) {
    std::poisson_distribution<int> events(0.25 * std::exp(0.5 * state));
    return {static_cast<double>(events(random)), 1};
}

}  // namespace

int main(int argc, char** argv) {
    const int pairs = argc > 1 ? std::atoi(argv[1]) : 10000;
    PrintHeadingOfRunShapes();
    PrintRow("equal runs, normal", Normal, 1, pairs);
    PrintRow("equal runs, exponential", Exponential, 1, pairs);
    PrintRow("equal runs, lognormal", Lognormal, 1, pairs);
    PrintRow("equal runs, half of the variance independent", HalfNoise, 1, pairs);
    PrintRow("equal runs, uneven numbers of values", Uneven, 1, pairs);
    PrintRow("equal runs, closed loop", ClosedLoop, 1, pairs);
    PrintRow("equal runs, rare events", Rare, 1, pairs);
    PrintRow("10 % more, normal with a deviation of 10 %", Normal, 1.1, pairs);
    PrintRow("10 % more, closed loop", ClosedLoop, 1.1, pairs);
    return 0;
}

#include "figures/meanestimate.h"

#include <algorithm>
#include <boost/math/constants/constants.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>
#include <complex>
#include <numeric>

namespace kzstatprogram {
namespace {

/// The rest of a series that changes more slowly than that says nothing of the whole.
constexpr double kMostAutocorrelation = 0.97;

/// More would make long runs slower to compare and their test hardly sharper.
constexpr double kMostCosines = 32;

double SumOf(const std::vector<double>& values) {
    return std::accumulate(values.begin(), values.end(), 0.0);
}

double SumOfSquares(const std::vector<double>& values) {
    return std::inner_product(values.begin(), values.end(), values.begin(), 0.0);
}

void Centre(std::vector<double>& values) {
    const double mean = SumOf(values) / static_cast<double>(values.size());
    for (double& value : values) value -= mean;
}

/// From one value to the next. REQUIRES: `deviations` are centred and more than four.
double Autocorrelation(const std::vector<double>& deviations) {
    const double squares = SumOfSquares(deviations);
    if (squares == 0) return 0;
    const auto n = static_cast<double>(deviations.size());
    const double products =
        std::inner_product(deviations.begin() + 1, deviations.end(), deviations.begin(), 0.0);
    // The estimate from so few is too low, on average by (1 + 4r) / n.
    return std::clamp((n * products / squares + 1) / (n - 4), 0.0, kMostAutocorrelation);
}

std::vector<double> WithoutAutocorrelation(const std::vector<double>& deviations, double r) {
    std::vector<double> rest(deviations.size() - 1);
    for (std::size_t i = 0; i < rest.size(); ++i) rest[i] = deviations[i + 1] - r * deviations[i];
    return rest;
}

/// The square of what `values` have of the cosine with `halfWaves` half waves.
double PowerOf(const std::vector<double>& values, int halfWaves) {
    const auto n = static_cast<double>(values.size());
    const double step = boost::math::constants::pi<double>() * halfWaves / n;
    // Turned on from value to value: a cosine of each would take most of the time.
    const std::complex<double> turn = std::polar(1.0, step);
    std::complex<double> at = std::polar(1.0, step / 2);
    double sum = 0;
    for (const double value : values) {
        sum += value * at.real();
        at *= turn;
    }
    return 2 / n * sum * sum;
}

int CosinesFor(double slices) {
    return static_cast<int>(std::min(kMostCosines, 0.6 * std::pow(slices, 2.0 / 3)));
}

/// What n times the variance of their mean tends to for more and more samples.
double LongRunVariance(const std::vector<double>& deviations, int cosines) {
    const double r = Autocorrelation(deviations);
    const std::vector<double> rest = WithoutAutocorrelation(deviations, r);
    double power = 0;
    for (int j = 1; j <= cosines; ++j) power += PowerOf(rest, j);
    return power / cosines / ((1 - r) * (1 - r));
}

SliceSample SumOf(const std::vector<SliceSample>& slices) {
    SliceSample all{0, 0};
    for (const SliceSample& each : slices) {
        all.sum += each.sum;
        all.weight += each.weight;
    }
    return all;
}

std::vector<double> DeviationsOf(const std::vector<SliceSample>& slices, const SliceSample& all) {
    const auto n = static_cast<double>(slices.size());
    const double mean = all.sum / all.weight;
    std::vector<double> deviations;
    deviations.reserve(slices.size());
    for (const SliceSample& each : slices) {
        // A slice with much of the weight has drawn the mean to itself.
        const double leverage = (1 - each.weight / all.weight) / (1 - 1 / n);
        deviations.push_back((each.sum - mean * each.weight) / (all.weight / n) / leverage);
    }
    Centre(deviations);
    return deviations;
}

double EffectiveSamples(double samples, double varianceOfOne, double varianceOfMean) {
    if (varianceOfOne == 0) return samples;
    return std::min(samples, varianceOfOne / varianceOfMean);
}

}  // namespace

MeanEstimate EstimateOfSlices(const std::vector<SliceSample>& slices) {
    if (slices.empty()) return {};
    const auto n = static_cast<double>(slices.size());
    const SliceSample all = SumOf(slices);
    MeanEstimate estimate;
    estimate.mean = all.sum / all.weight;
    estimate.samples = slices.size();
    if (slices.size() < kLeastSlices) return estimate;
    const std::vector<double> deviations = DeviationsOf(slices, all);
    const int cosines = CosinesFor(n);
    estimate.variance = LongRunVariance(deviations, cosines) / n;
    estimate.freedom = cosines;
    estimate.effectiveSamples =
        EffectiveSamples(n, SumOfSquares(deviations) / (n - 1), estimate.variance);
    return estimate;
}

MeanEstimate EstimateOfRuns(const std::vector<double>& runs) {
    if (runs.empty()) return {};
    const auto n = static_cast<double>(runs.size());
    MeanEstimate estimate;
    estimate.mean = SumOf(runs) / n;
    estimate.samples = runs.size();
    if (runs.size() < kLeastRuns) return estimate;
    std::vector<double> deviations = runs;
    Centre(deviations);
    estimate.variance = SumOfSquares(deviations) / (n - 1) / n;
    estimate.freedom = n - 1;
    estimate.effectiveSamples = n;
    return estimate;
}

std::optional<double> MeanOf(const MeanEstimate& estimate) {
    if (estimate.samples == 0) return std::nullopt;
    return estimate.mean;
}

std::optional<double> WelchProbability(const MeanEstimate& a, const MeanEstimate& b) {
    if (a.freedom == 0 || b.freedom == 0) return std::nullopt;
    const double variance = a.variance + b.variance;
    if (!std::isfinite(variance) || !std::isfinite(a.mean - b.mean)) return std::nullopt;
    if (variance == 0) return a.mean == b.mean ? 1 : 0;
    const double t = (b.mean - a.mean) / std::sqrt(variance);
    // Parts of the whole, whose squares neither overflow nor vanish.
    const double partOfA = a.variance / variance;
    const double partOfB = b.variance / variance;
    const double freedom = 1 / (partOfA * partOfA / a.freedom + partOfB * partOfB / b.freedom);
    return 2 * cdf(complement(boost::math::students_t(freedom), std::abs(t)));
}

}  // namespace kzstatprogram

#include "kzstataggregate.h"

#include <algorithm>
#include <cmath>
#include <limits>

CKZStatDeviation CKZStatAggregate::Deviation() const {
    if (!HasValues()) return {-1, 0};
    const long double n = count;
    const long double mean = sum / n;
    const long double meanSquare = sumSqr / n;
    const long double variance = std::max(meanSquare - mean * mean, 0.0L);

    // Each of the n additions may have rounded by half a unit in the last place; the squares were
    // rounded before, or underflowed.
    using Limits = std::numeric_limits<double>;
    const long double unit = Limits::epsilon() / 2;
    const long double squaresError = (n + 1) * unit * meanSquare + Limits::denorm_min();
    const long double meanError = n * unit * std::sqrt(meanSquare);
    const long double varianceError =
        squaresError + 2 * std::abs(mean) * meanError + meanError * meanError;

    const long double deviation = std::sqrt(variance);
    if (!std::isfinite(varianceError) || !std::isfinite(deviation))
        return {static_cast<double>(deviation), Limits::infinity()};
    // From |sqrt(a) - sqrt(b)| <= |a - b| / sqrt(a) and <= sqrt(|a - b|).
    const long double error =
        variance > varianceError ? varianceError / deviation : std::sqrt(varianceError);
    return {static_cast<double>(deviation), static_cast<double>(error)};
}

void CKZStatAggregate::Add(double value) {
    Add({value, value, 1, value, value * value});
}

void CKZStatAggregate::Add(const CKZStatAggregate& other) {
    if (other.count == 0) return;
    if (other.HasValues()) {
        // Both pass over what is not a number.
        minimum = HasValues() ? std::fmin(minimum, other.minimum) : other.minimum;
        maximum = HasValues() ? std::fmax(maximum, other.maximum) : other.maximum;
    }
    count += other.count;
    sum += other.sum;
    sumSqr += other.sumSqr;
    if (!HasValues()) minimum = maximum = -1;
}

#ifndef KZ_BENCHMARKS_RUNSHAPES_H
#define KZ_BENCHMARKS_RUNSHAPES_H

#include <array>
#include <cmath>
#include <cstdio>
#include <random>

/// The runs of which tests of comparisons draw pairs.
struct RunShape {
    int slices;
    double correlation;  // from slice to slice
};

inline constexpr std::array<RunShape, 9> kRunShapes = {{{30, 0},
                                                        {30, 0.5},
                                                        {30, 0.8},
                                                        {60, 0},
                                                        {60, 0.5},
                                                        {60, 0.8},
                                                        {300, 0},
                                                        {300, 0.5},
                                                        {300, 0.8}}};

/// Visits the state of each slice: a standard normal number that resembles that of the slice
/// before.
template <class Random, class Visit>
void ForEachState(const RunShape& shape, Random& random, Visit&& visit) {
    std::normal_distribution<double> normal;
    const double share = std::sqrt(1 - shape.correlation * shape.correlation);
    double state = normal(random);
    for (int i = 0; i < shape.slices; ++i) {
        visit(state);
        state = shape.correlation * state + share * normal(random);
    }
}

inline void PrintHeadingOfRunShapes() {
    std::printf("%-46s", "slices");
    for (const RunShape& shape : kRunShapes) std::printf(" %7d", shape.slices);
    std::printf("\n%-46s", "correlation");
    for (const RunShape& shape : kRunShapes) std::printf(" %7.1f", shape.correlation);
    std::printf("\n");
}

#endif

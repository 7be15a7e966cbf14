#ifndef KZ_TESTS_AGGREGATES_H
#define KZ_TESTS_AGGREGATES_H

#include <vector>

#include "kzstataggregate.h"

/// What is kept of these values.
inline CKZStatAggregate Of(const std::vector<double>& values) {
    CKZStatAggregate aggregate;
    for (const double value : values) aggregate.Add(value);
    return aggregate;
}

#endif

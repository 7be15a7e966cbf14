#ifndef KZ_VIOLATIONOF_H
#define KZ_VIOLATIONOF_H

#include <string>

#include "figures/conservation.h"
#include "figures/violation.h"

/// What is wrong with the slice; empty where nothing is.
inline std::string ViolationOf(kzstatprogram::Conservation& conservation,
                               const kzjournal::Slice& slice) {
    try {
        conservation.Check(slice);
        return {};
    } catch (const kzstatprogram::Violation& violation) {
        return violation.what();
    }
}

#endif

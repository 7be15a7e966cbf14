#ifndef KZSTAT_RANGEOPTIONS_H
#define KZSTAT_RANGEOPTIONS_H

#include <CLI/CLI.hpp>
#include <optional>

#include "kzjournalreader.h"

namespace kzstat {

/// Which slices a command looks at. Compatible.
struct RangeOptions {
    double from = 0;
    std::optional<double> to;
    bool skipsWarmUp = false;

    void Declare(CLI::App& command);
    kzjournal::TimeRange RangeOf(kzjournal::Reader& journal) const;
};

}  // namespace kzstat

#endif

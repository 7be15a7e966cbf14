#ifndef KZSTATPROGRAM_RANGEOPTIONS_H
#define KZSTATPROGRAM_RANGEOPTIONS_H

#include <optional>

#include "commands/commandline.h"
#include "reading/runreader.h"

namespace kzstatprogram {

/// Which slices a command looks at. Compatible.
struct RangeOptions {
    double from = 0;
    std::optional<double> to;
    bool skipsWarmUp = false;

    void Declare(Command& command);
    kzjournal::TimeRange RangeOf(RunReader& run) const;
};

}  // namespace kzstatprogram

#endif

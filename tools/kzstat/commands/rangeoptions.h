#ifndef KZSTATPROGRAM_RANGEOPTIONS_H
#define KZSTATPROGRAM_RANGEOPTIONS_H

#include <optional>
#include <string>

#include "commands/commandline.h"
#include "figures/slicerange.h"
#include "reading/runreader.h"

namespace kzstatprogram {

/// Which slices a command looks at. Compatible.
struct RangeOptions {
    enum Usual {
        UnderLoad,  ///< what is computed of a run
        WholeRun    ///< what is copied from it
    };

    std::optional<double> from;
    std::optional<double> to;
    bool skipsWarmUp = false;
    bool takesAll = false;

    void Declare(Command& command, Usual usual = UnderLoad);
    /// `from` and `to` count as they are, in place of the begin and the end of the load.
    SliceRange RangeOf(RunReader& run) const;
    /// The same. Throws kzjournal::Error if the user gave a range in which the run, which is that
    /// of `path`, has no slice: nothing is left to compare then.
    SliceRange RangeWithSlicesOf(RunReader& run, const std::string& path) const;
    /// As `RangeOf`, where the load bounds nothing, for what is shown slice by slice.
    SliceRange RangeWithoutLoad(RunReader& run) const;

private:
    /// "--from 5 s --to 10 s"; empty if neither was given.
    std::string Text() const;
    void Restrict(RunReader& run, SliceRange& range) const;
};

}  // namespace kzstatprogram

#endif

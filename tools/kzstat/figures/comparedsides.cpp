#include "figures/comparedsides.h"

#include <utility>

namespace kzstatprogram {

Sampling SamplingOf(std::size_t runsBefore, std::size_t runsAfter) {
    return runsBefore > 1 || runsAfter > 1 ? Sampling::Runs : Sampling::Slices;
}

ComparedSides SidesOf(std::vector<ComparedRun> before, std::vector<ComparedRun> after) {
    const bool areRunsSamples = SamplingOf(before.size(), after.size()) == Sampling::Runs;
    ComparedSides sides;
    sides.before = areRunsSamples ? SideOf(std::move(before)) : std::move(before.front());
    sides.after = areRunsSamples ? SideOf(std::move(after)) : std::move(after.front());
    sides.onlyBefore = OnlyIn(sides.before, sides.after);
    sides.onlyAfter = OnlyIn(sides.after, sides.before);
    AddMissingNames(sides.before, sides.after);
    AddMissingNames(sides.after, sides.before);
    return sides;
}

}  // namespace kzstatprogram

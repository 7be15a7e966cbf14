#include "figures/comparedsides.h"

#include <utility>

namespace kzstatprogram {

ComparedSides SidesOf(std::vector<ComparedRun> before, std::vector<ComparedRun> after) {
    const bool areRunsSamples = before.size() > 1 || after.size() > 1;
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

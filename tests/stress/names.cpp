#include "names.h"

namespace {

using Types = CKZStatPointTypeEnum;

// As long as a name is before it is cut.
constexpr std::size_t kLongestName = 256;

std::vector<Name> MakeNames() {
    std::vector<Name> names;
    for (std::size_t i = 0; i < kWholeNames; ++i)
        names.push_back(
            {"value." + std::to_string(i), static_cast<Types::PointType>(1 << i), false});
    names.back().text.resize(kLongestName, '.');
    for (std::size_t i = 0; i < kTimers; ++i)
        names.push_back({"timer." + std::to_string(i), Types::Timer, true});
    return names;
}

}  // namespace

const std::vector<Name>& Names() {
    static const std::vector<Name> names = MakeNames();
    return names;
}

#ifndef KZCONDITIONS_NEARNAMES_H
#define KZCONDITIONS_NEARNAMES_H

#include <string>
#include <vector>

namespace kzconditions {

/// Those of `names` that are likely to be meant by `name`, the nearest first: three at most. Safe
/// for concurrent use.
std::vector<std::string> NamesNear(const std::string& name, const std::vector<std::string>& names);

}  // namespace kzconditions

#endif

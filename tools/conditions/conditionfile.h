#ifndef KZCONDITIONS_CONDITIONFILE_H
#define KZCONDITIONS_CONDITIONFILE_H

#include <string>
#include <vector>

#include "conditions/condition.h"

namespace kzconditions {

/// Reads one condition per line; empty lines and those that begin with '#' are left out. Throws
/// kzjournal::Error if the file cannot be read, has more than a mebibyte, or has a line that is no
/// condition. Safe for concurrent use.
std::vector<Condition> ReadConditions(const std::string& path);

}  // namespace kzconditions

#endif

#ifndef KZCONDITIONS_VERDICT_H
#define KZCONDITIONS_VERDICT_H

#include <string>
#include <vector>

#include "conditions/judgement.h"

namespace kzconditions {

// What several judgements come to. These functions are safe for concurrent use.

/// Failed if one failed, also where another one cannot be told; passed if all passed.
/// REQUIRES: there is a judgement.
Outcome VerdictOf(const std::vector<Judgement>& judgements);

/// "passed", "FAILED" or "cannot tell".
const char* TextOf(Outcome outcome);

/// "verdict: FAILED, 1 of 3 conditions".
std::string VerdictLine(const std::vector<Judgement>& judgements);

/// "FAILED       errors share < 1%  2.31 %": a printable line for each.
std::vector<std::string> LinesOf(const std::vector<Judgement>& judgements);

}  // namespace kzconditions

#endif

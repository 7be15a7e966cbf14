#ifndef KZSTATPROGRAM_FAILCONDITION_H
#define KZSTATPROGRAM_FAILCONDITION_H

#include <string>
#include <utility>

#include "conditions/condition.h"
#include "conditions/judgement.h"
#include "figures/comparison.h"

namespace kzstatprogram {

/// What came of a condition. Compatible.
struct FailFinding {
    kzconditions::Outcome outcome;  ///< passed where the condition keeps quiet
    std::string line;  ///< printable: what happened, or why it cannot be told; empty if it passed
};

/// What must not be so of the second one of two runs. Compatible.
class FailCondition {
public:
    explicit FailCondition(kzconditions::Condition condition) : m_condition(std::move(condition)) {}

    /// NaN keeps no condition quiet. It cannot be told where a run that the condition is about does
    /// not have the statistic, or not in a unit of time where the condition has one.
    FailFinding Check(const ComparedRun& before, const ComparedRun& after) const;

private:
    kzconditions::Condition m_condition;
};

}  // namespace kzstatprogram

#endif

#ifndef KZSTATPROGRAM_FAILCONDITION_H
#define KZSTATPROGRAM_FAILCONDITION_H

#include <optional>
#include <string>

#include "conditions/condition.h"
#include "figures/comparison.h"

namespace kzstatprogram {

/// What must not be so of the second one of two runs. Compatible.
class FailCondition {
public:
    /// Throws kzjournal::Error.
    explicit FailCondition(const std::string& text)
        : m_condition(kzconditions::ConditionOf(text)) {}

    /// What happened, as a printable line, where it must not; nothing where the condition keeps
    /// quiet. NaN keeps no condition quiet. Throws kzjournal::Error where a run that the condition
    /// is about does not have the statistic, or not in a unit of time where the condition has one.
    std::optional<std::string> Check(const ComparedRun& before, const ComparedRun& after) const;

private:
    kzconditions::Condition m_condition;
};

}  // namespace kzstatprogram

#endif

#ifndef KZSTATPROGRAM_FAILCONDITION_H
#define KZSTATPROGRAM_FAILCONDITION_H

#include <optional>
#include <string>

#include "figures/comparison.h"

namespace kzstatprogram {

/// "login.time mean +10%": a name, one of its statistics and by how much this may change from one
/// run to the other, upwards or downwards, in parts of the first or as it is. Compatible.
class FailCondition {
public:
    /// Throws kzjournal::Error.
    explicit FailCondition(const std::string& text);

    /// What happened, as a line, where the change is larger; nothing where the condition keeps
    /// quiet. Throws kzjournal::Error where a run does not have the statistic.
    std::optional<std::string> Check(const ComparedRun& before, const ComparedRun& after) const;

private:
    double ValueIn(const ComparedRun& run, const char* which) const;

    std::string m_text;
    std::string m_name;
    std::string m_statistic;
    bool m_isDownwards = false;
    double m_limit = 0;
    bool m_isRelative = false;
};

}  // namespace kzstatprogram

#endif

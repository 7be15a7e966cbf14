#ifndef KZSTATPROGRAM_FAILCONDITION_H
#define KZSTATPROGRAM_FAILCONDITION_H

#include <optional>
#include <string>
#include <variant>

#include "figures/comparison.h"

namespace kzstatprogram {

/// What must not be so, of one statistic of one name. Compatible.
class FailCondition {
public:
    /// "login.time mean +10%": by how much the statistic may change from one run to the other,
    /// upwards or downwards, in parts of the first or as it is.
    struct Change {
        bool isDownwards;
        double limit;
        bool isRelative;
    };

    /// "login.time p95 > 250ms": what the statistic of the second run must not be.
    struct Bound {
        std::string comparison;  ///< one of < <= > >=
        double limit;
        std::string unit;  ///< of time; empty for that of the name
    };

    /// Throws kzjournal::Error.
    explicit FailCondition(const std::string& text);

    /// What happened, as a line, where it must not; nothing where the condition keeps quiet. NaN
    /// keeps no condition quiet. Throws kzjournal::Error where a run that the condition is about
    /// does not have the statistic, or not in a unit of time where the condition has one.
    std::optional<std::string> Check(const ComparedRun& before, const ComparedRun& after) const;

private:
    bool ReadSubject(std::string subject);
    std::optional<std::string> CheckChange(const Change& change, double from, double to) const;
    std::optional<std::string> CheckBound(const Bound& bound, const ComparedRun& run) const;
    const Statistics& RowIn(const ComparedRun& run, const char* which) const;
    double ValueIn(const ComparedRun& run, const char* which) const;
    double LimitFor(const Statistics& row, const Bound& bound) const;
    kzjournal::Error Refusal(const std::string& reason) const;

    std::string m_text;
    std::string m_name;
    std::string m_statistic;
    std::variant<Change, Bound> m_limit;
};

}  // namespace kzstatprogram

#endif

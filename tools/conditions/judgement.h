#ifndef KZCONDITIONS_JUDGEMENT_H
#define KZCONDITIONS_JUDGEMENT_H

#include <optional>
#include <string>
#include <vector>

#include "conditions/condition.h"
#include "conditions/figures.h"

namespace kzconditions {

/// What a condition says: what must be so, or what must not. A change is what is allowed in both.
enum class Demand { Must, MustNot };

enum class Outcome { Passed, Failed, CannotTell };

/// How it is with one condition. The texts have names as they are, which may hold any bytes.
/// Compatible.
struct Judgement {
    std::string condition;  ///< its text
    Outcome outcome = Outcome::CannotTell;
    std::optional<double> value;   ///< what was measured
    std::optional<double> before;  ///< the same of the baseline, for a change
    std::string unit;              ///< of both: "ms", "%" or empty
    /// Why it cannot be told, or why the run was stopped early; empty for other conditions.
    std::string reason;

    /// "251 ms", "111 ms, before 100 ms", or the reason.
    std::string text;
};

/// NaN passes nothing. `baseline` may be null: a change cannot be told then. Safe for concurrent
/// use.
Judgement Judge(const Condition& condition, Demand demand, const Figures& run,
                const Figures* baseline = nullptr);
std::vector<Judgement> JudgeAll(const std::vector<Condition>& conditions, Demand demand,
                                const Figures& run, const Figures* baseline = nullptr);
/// The same of texts that nobody has checked: one that is no condition cannot be told. Of those
/// that mean the same only the first one is judged.
std::vector<Judgement> JudgeTexts(const std::vector<std::string>& texts, Demand demand,
                                  const Figures& run, const Figures* baseline = nullptr);

}  // namespace kzconditions

#endif

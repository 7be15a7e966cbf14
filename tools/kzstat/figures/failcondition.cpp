#include "figures/failcondition.h"

#include "conditions/judgement.h"
#include "figures/figuresofstatistics.h"
#include "terminal/terminaltext.h"
#include "text/numbers.h"

namespace kzstatprogram {

std::optional<std::string> FailCondition::Check(const ComparedRun& before,
                                                const ComparedRun& after) const {
    using kzconditions::Outcome;
    const FiguresOfStatistics first("the first run", before.statistics);
    const FiguresOfStatistics second("the second run", after.statistics);
    const kzconditions::Judgement judgement =
        kzconditions::Judge(m_condition, kzconditions::Demand::MustNot, second, &first);
    if (judgement.outcome == Outcome::Passed) return std::nullopt;
    if (judgement.outcome == Outcome::CannotTell)
        throw kzjournal::Error("cannot check '" + m_condition.text + "': " + judgement.reason);
    const std::string what = judgement.before ? ReadableNumber(*judgement.before) + " became " +
                                                    ReadableNumber(*judgement.value)
                                              : "it is " + judgement.text;
    return kzterminal::Printable(m_condition.text) + ": " + what;
}

}  // namespace kzstatprogram

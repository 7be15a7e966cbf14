#include "figures/failcondition.h"

#include "figures/figuresofstatistics.h"
#include "terminal/terminaltext.h"
#include "text/numbers.h"

namespace kzstatprogram {

FailFinding FailCondition::Check(const ComparedRun& before, const ComparedRun& after) const {
    using kzconditions::Outcome;
    const FiguresOfStatistics first("the first run", before.statistics);
    const FiguresOfStatistics second("the second run", after.statistics);
    const kzconditions::Judgement judgement =
        kzconditions::Judge(m_condition, kzconditions::Demand::MustNot, second, &first);
    if (judgement.outcome == Outcome::Passed) return {judgement.outcome, ""};
    std::string what = judgement.reason;
    if (judgement.outcome == Outcome::Failed)
        what = judgement.before ? ReadableNumber(*judgement.before) + " became " +
                                      ReadableNumber(*judgement.value)
                                : "it is " + judgement.text;
    return {judgement.outcome, kzterminal::Printable(m_condition.text + ": " + what)};
}

}  // namespace kzstatprogram

#include "conditions/judgement.h"

#include <charconv>
#include <cmath>

#include "conditions/measured.h"
#include "conditions/unit.h"
#include "kzjournalerror.h"
#include "terminal/numbers.h"

namespace kzconditions {
namespace {

Outcome OutcomeOf(bool isAsItMustBe) {
    return isAsItMustBe ? Outcome::Passed : Outcome::Failed;
}

std::string WithUnit(const std::string& number, const std::string& unit) {
    return unit.empty() ? number : number + " " + unit;
}

Judgement Unknown(const std::string& condition, const std::string& reason) {
    Judgement judgement;
    judgement.condition = condition;
    judgement.reason = reason;
    judgement.text = reason;
    return judgement;
}

/// The limit in `unit`; nothing if its own unit measures something else.
std::optional<double> LimitIn(const std::string& unit, const Bound& bound) {
    if (bound.unit.empty() || bound.unit == unit) return bound.limit;
    return Convert(bound.limit, bound.unit, unit);
}

/// With all decimals where the readable number would be on the other side of the limit.
std::string NumberBeside(double value, const Bound& bound, double limit) {
    const std::string text = kzterminal::ReadableNumber(value);
    double shown = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), shown);
    const bool isFaithful =
        read.ec == std::errc() && bound.Holds(shown, limit) == bound.Holds(value, limit);
    return isFaithful ? text : kzterminal::ExactNumber(value);
}

Judgement JudgeBound(const Condition& condition, const Bound& bound, Demand demand,
                     const Figures& run) {
    const Measured measured = Measure(condition, run);
    if (!measured.value) return Unknown(condition.text, measured.reason);
    const double value = *measured.value;
    const std::optional<double> limit = LimitIn(measured.unit, bound);
    if (!limit)
        return Unknown(condition.text,
                       condition.name + " is not measured in " + bound.unit + "; leave it out");
    const bool holds = bound.Holds(value, *limit);
    const bool isAsItMustBe = demand == Demand::Must ? holds : !holds && !std::isnan(value);
    return {condition.text,
            OutcomeOf(isAsItMustBe),
            value,
            std::nullopt,
            measured.unit,
            "",
            WithUnit(NumberBeside(value, bound, *limit), measured.unit)};
}

Judgement JudgeChange(const Condition& condition, const Change& change, const Figures& run,
                      const Figures& baseline) {
    const Measured before = Measure(condition, baseline);
    const Measured after = Measure(condition, run);
    for (const Measured* const measured : {&before, &after})
        if (!measured->value) return Unknown(condition.text, measured->reason);
    const double from = *before.value;
    const double to = *after.value;
    const double limit = change.isRelative ? std::abs(from) * change.limit / 100 : change.limit;
    const bool isWithin = (change.isDownwards ? from - to : to - from) <= limit;
    return {condition.text,
            OutcomeOf(isWithin),
            to,
            from,
            after.unit,
            "",
            WithUnit(kzterminal::ReadableNumber(to), after.unit) + ", before " +
                WithUnit(kzterminal::ReadableNumber(from), before.unit)};
}

}  // namespace

Judgement Judge(const Condition& condition, Demand demand, const Figures& run,
                const Figures* baseline) {
    if (const Bound* const bound = std::get_if<Bound>(&condition.limit))
        return JudgeBound(condition, *bound, demand, run);
    if (baseline == nullptr) return Unknown(condition.text, "there is no run to compare with");
    return JudgeChange(condition, std::get<Change>(condition.limit), run, *baseline);
}

std::vector<Judgement> JudgeAll(const std::vector<Condition>& conditions, Demand demand,
                                const Figures& run, const Figures* baseline) {
    std::vector<Judgement> judgements;
    judgements.reserve(conditions.size());
    for (const Condition& condition : conditions)
        judgements.push_back(Judge(condition, demand, run, baseline));
    return judgements;
}

std::vector<Judgement> JudgeTexts(const std::vector<std::string>& texts, Demand demand,
                                  const Figures& run, const Figures* baseline) {
    std::vector<Judgement> judgements;
    std::vector<Condition> judged;
    judgements.reserve(texts.size());
    for (const std::string& text : texts) {
        const std::size_t known = judged.size();
        try {
            AddNew({ConditionOf(text)}, judged);
            if (judged.size() > known)
                judgements.push_back(Judge(judged.back(), demand, run, baseline));
        } catch (const kzjournal::Error& error) {
            judgements.push_back(Unknown(text, error.what()));
        }
    }
    return judgements;
}

}  // namespace kzconditions

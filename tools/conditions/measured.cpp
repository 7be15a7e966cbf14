#include "conditions/measured.h"

#include <vector>

#include "conditions/failures.h"
#include "conditions/nearnames.h"
#include "conditions/percentile.h"

namespace kzconditions {
namespace {

Measured Without(const std::string& reason) {
    return {std::nullopt, "", reason};
}

std::string HasNo(const Figures& run, const std::string& what) {
    return run.Title() + " has no " + what;
}

/// Work that never failed has its own name only.
std::vector<std::string> NamesMeantBy(const std::string& name, const Figures& run) {
    const std::vector<std::string> names = run.Names();
    std::vector<std::string> near = NamesNear(name, names);
    if (const auto work = WorkMeantBy(name); near.empty() && work) return NamesNear(*work, names);
    return near;
}

Measured WithoutName(const std::string& name, const Figures& run) {
    std::string reason = HasNo(run, name);
    const char* separator = "; near it: ";
    for (const std::string& near : NamesMeantBy(name, run)) {
        reason += separator + near;
        separator = ", ";
    }
    return Without(reason);
}

Measured MeasureShare(const std::string& name, const Figures& run) {
    const bool isOfAll = name == kErrors;
    if (!isOfAll && !WorkThatFailed(name, run)) return WithoutName(name, run);
    const std::optional<double> share = isOfAll ? ShareOfErrors(run) : ShareOfFailures(name, run);
    if (!share) return Without("nothing was attempted in " + run.Title());
    return {share, kPercent, ""};
}

bool IsNumberOfEvents(const std::string& statistic) {
    return statistic == kCount || statistic == kRate || statistic == kSum;
}

std::optional<double> ValueIn(const Figures& run, const Condition& condition) {
    const std::optional<double> value = run.ValueOf(condition.name, condition.statistic);
    if (value || condition.statistic != kCount) return value;
    return run.ValueOf(condition.name, kSum);
}

/// "; it has rate, mean"; empty where it has no value at all.
std::string WhatElseItHas(const std::string& name, const Figures& run) {
    std::string text;
    for (const char* const statistic : kStatistics)
        if (run.ValueOf(name, statistic)) text.append(text.empty() ? "" : ", ").append(statistic);
    return text.empty() ? text : "; it has " + text;
}

}  // namespace

Measured Measure(const Condition& condition, const Figures& run) {
    const std::string& name = condition.name;
    if (condition.statistic == kShare) return MeasureShare(name, run);
    const std::optional<Figures::Name> found = run.Find(name);
    if (!found) {
        if (!IsNumberOfEvents(condition.statistic) || !MayHaveNeverHappened(name, run))
            return WithoutName(name, run);
        return {0, "", ""};
    }
    const std::optional<double> value = ValueIn(run, condition);
    if (value) return {value, condition.IsInUnitOfValues() ? found->unit : "", ""};
    const bool lacksDistribution = FindPercentile(condition.statistic) && !found->hasDistribution;
    return Without(HasNo(run, condition.statistic + " of " + name) +
                   (lacksDistribution ? ", nor the distribution of all its values"
                                      : WhatElseItHas(name, run)));
}

}  // namespace kzconditions

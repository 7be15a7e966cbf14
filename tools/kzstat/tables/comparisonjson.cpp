#include "tables/comparisonjson.h"

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "text/texts.h"

namespace kzstatprogram {
namespace {

using Json = nlohmann::ordered_json;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

Json Number(double value) {
    return std::isfinite(value) ? Json(value) : Json(nullptr);
}

Json ComparedJson(const std::optional<double>& before, const std::optional<double>& after) {
    return {{"first", Number(before.value_or(kNone))},
            {"second", Number(after.value_or(kNone))},
            {"difference", Number(after.value_or(kNone) - before.value_or(kNone))},
            {"relative_difference", Number(RelativeDifference(before, after).value_or(kNone))}};
}

const char* TextOf(Tested tested) {
    switch (tested) {
        case Tested::Means:
            return "mean";
        case Tested::Levels:
            return "level";
        default:
            return "rate";
    }
}

const char* TextOf(Finding finding) {
    switch (finding) {
        case Finding::Marked:
            return "marked";
        case Finding::Unclear:
            return "unclear";
        case Finding::BelowLeast:
            return "below_least";
        case Finding::TooFewSamples:
            return "too_few_samples";
        default:
            return "not_comparable";
    }
}

void AddFinding(const std::optional<double>& probability, Finding finding, Json& json) {
    json["p_value"] = Number(probability.value_or(kNone));
    json["is_significant"] = finding == Finding::Marked;
    json["finding"] = TextOf(finding);
}

/// Unknown as long as too few samples are there.
double EffectiveSamples(const MeanEstimate& estimate) {
    return estimate.freedom > 0 ? estimate.effectiveSamples : kNone;
}

Json JsonOf(const PercentileDifference& difference) {
    Json json = ComparedJson(difference.before, difference.after);
    AddFinding(difference.probability, difference.finding, json);
    return json;
}

Json JsonOf(const Difference& difference) {
    const Statistics& before = *difference.before;
    const MeanEstimate& meanBefore = difference.meanBefore;
    const MeanEstimate& meanAfter = difference.meanAfter;
    Json json{{"name", before.name},
              {"type", TypeText(before.type)},
              {"unit", before.unit},
              {"tested", TextOf(difference.tested)}};
    json.update(ComparedJson(MeanOf(meanBefore), MeanOf(meanAfter)));
    json["samples"] = {{"first", meanBefore.samples}, {"second", meanAfter.samples}};
    json["effective_samples"] = {{"first", Number(EffectiveSamples(meanBefore))},
                                 {"second", Number(EffectiveSamples(meanAfter))}};
    AddFinding(difference.probability, difference.finding, json);
    json["percentiles"] = Json::object();
    for (const PercentileDifference& each : difference.percentiles)
        json["percentiles"][each.percentile.title] = JsonOf(each);
    return json;
}

Json JsonOf(const ComparisonReport::Side& side) {
    Json runs = Json::array();
    for (const ComparisonReport::Run& run : side.runs)
        runs.push_back({{"path", run.path},
                        {"run_id", run.id},
                        {"completeness", run.completeness},
                        {"interruptions", run.interruptions}});
    return {{"runs", runs}, {"only_here", side.namesOfItAlone}};
}

}  // namespace

void ComparisonReport::Add(const ComparedSides& sides, double leastDifference,
                           const std::vector<Percentile>& percentiles) {
    before.namesOfItAlone = sides.onlyBefore;
    after.namesOfItAlone = sides.onlyAfter;
    sampling = sides.before.sampling;
    least = leastDifference;
    reason = ReasonWhyNothingIsTested(sides.before, sides.after);
    differences = Compare(sides.before, sides.after, least, percentiles);
}

Json ComparisonJson(const ComparisonReport& report) {
    Json names = Json::array();
    for (const Difference& each : report.differences) names.push_back(JsonOf(each));
    return {{"first", JsonOf(report.before)},
            {"second", JsonOf(report.after)},
            {"samples_are", report.sampling == Sampling::Runs ? "runs" : "slices"},
            {"least_difference", report.least},
            {"nothing_tested_because", report.reason ? Json(*report.reason) : Json()},
            {"names", names},
            {"failures", report.failures},
            {"cannot_tell", report.unknown}};
}

std::string JsonOf(const ComparisonReport& report) {
    return ComparisonJson(report).dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace kzstatprogram

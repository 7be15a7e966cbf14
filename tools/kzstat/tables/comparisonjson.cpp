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

Json BothOf(const std::optional<double>& before, const std::optional<double>& after) {
    return {{"first", Number(before.value_or(kNone))},
            {"second", Number(after.value_or(kNone))},
            {"difference", Number(after.value_or(kNone) - before.value_or(kNone))},
            {"relative_difference", Number(RelativeDifference(before, after).value_or(kNone))}};
}

const char* TextOf(Tested tested) {
    if (tested == Tested::Values) return "mean";
    return tested == Tested::Levels ? "level" : "rate";
}

Json JsonOf(const Difference& difference, const std::vector<Percentile>& percentiles) {
    const Statistics& before = *difference.before;
    const Statistics& after = *difference.after;
    Json json{{"name", before.name},
              {"type", TypeText(before.type)},
              {"unit", before.unit},
              {"tested", TextOf(TestedIn(before))}};
    json.update(BothOf(MeanOf(difference.sampleBefore), MeanOf(difference.sampleAfter)));
    json["p_value"] = Number(difference.probability.value_or(kNone));
    json["is_significant"] = IsSignificant(difference);
    json["percentiles"] = Json::object();
    for (const Percentile& each : PercentilesIn(difference, percentiles))
        json["percentiles"][each.title] =
            BothOf(QuantileOf(before, each.quantile), QuantileOf(after, each.quantile));
    return json;
}

Json JsonOf(const ComparisonReport::Run& run) {
    return {{"path", run.path},
            {"run_id", run.id},
            {"completeness", run.completeness},
            {"only_here", run.namesOfItAlone}};
}

}  // namespace

std::string JsonOf(const ComparisonReport& report, const std::vector<Percentile>& percentiles) {
    Json names = Json::array();
    for (const Difference& each : report.differences) names.push_back(JsonOf(each, percentiles));
    const Json json{{"first", JsonOf(report.before)},
                    {"second", JsonOf(report.after)},
                    {"names", names},
                    {"failures", report.failures}};
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace kzstatprogram

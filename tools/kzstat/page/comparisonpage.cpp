#include "page/comparisonpage.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "figures/comparedsides.h"
#include "figures/comparison.h"
#include "page/builtpage.h"
#include "page/pagejson.h"
#include "tables/comparisonjson.h"
#include "tables/comparisontable.h"
#include "terminal/escapedtext.h"

namespace kzstatprogram {
namespace {

using Json = nlohmann::ordered_json;

/// Texts of runs come from anywhere.
void Escape(Json& json) {
    if (json.is_string())
        json = kzterminal::EscapedText(json.get<std::string>());
    else if (json.is_structured())
        for (Json& each : json) Escape(each);
}

Json EscapedNames(const std::vector<std::string>& names) {
    Json json = Json::array();
    for (const std::string& name : names) json.push_back(kzterminal::EscapedName(name));
    return json;
}

std::vector<ComparedRun> FiguresOf(const SideOfPage& side) {
    std::vector<ComparedRun> runs;
    for (const RunOfPage& run : side) runs.push_back(run.figures);
    return runs;
}

std::vector<Statistics> StatisticsOf(const SideOfPage& side) {
    return side.size() == 1 ? side.front().figures.statistics : SideOf(FiguresOf(side)).statistics;
}

std::vector<ComparisonReport::Run> RunsOf(const SideOfPage& side) {
    std::vector<ComparisonReport::Run> runs;
    for (const RunOfPage& run : side)
        runs.push_back({run.path, run.figures.id, run.completeness, run.interruptions});
    return runs;
}

std::string TextOf(const RunOfPage& run) {
    Json json{{"path", run.path},
              {"completeness", run.completeness},
              {"begin", run.begin},
              {"end", run.end ? Json(*run.end) : Json()},
              {"interruptions", run.interruptions}};
    Escape(json);
    std::string text = json.dump();
    text.pop_back();
    return text.append(",\"curves\":").append(run.curves).append("}");
}

std::string TextOf(const SideOfPage& side) {
    std::string runs;
    for (const RunOfPage& run : side) runs.append(runs.empty() ? "" : ",").append(TextOf(run));
    return "{\"names\":" + NamesJson(StatisticsOf(side)).dump() + ",\"runs\":[" + runs + "]}";
}

std::string ComparisonText(const SideOfPage& first, const SideOfPage& second, double least,
                           const std::vector<Percentile>& percentiles) {
    const ComparedSides sides = SidesOf(FiguresOf(first), FiguresOf(second));
    ComparisonReport report;
    report.before.runs = RunsOf(first);
    report.after.runs = RunsOf(second);
    report.Add(sides, least, percentiles);
    Json json = ComparisonJson(report);
    Escape(json);
    // The names are those of the curves.
    json["first"]["only_here"] = EscapedNames(sides.onlyBefore);
    json["second"]["only_here"] = EscapedNames(sides.onlyAfter);
    for (std::size_t i = 0; i < report.differences.size(); ++i) {
        json["names"][i]["name"] = kzterminal::EscapedName(report.differences[i].before->name);
        json["names"][i]["quantity"] = QuantityOf(report.differences[i]);
    }
    json["significance"] = kSignificance;
    return json.dump();
}

}  // namespace

std::string ComparisonPageJson(const std::vector<SideOfPage>& sides, double least,
                               const std::vector<Percentile>& percentiles) {
    std::string comparisons;
    std::string all = TextOf(sides.front());
    for (std::size_t i = 1; i < sides.size(); ++i) {
        comparisons.append(i == 1 ? "" : ",")
            .append(ComparisonText(sides.front(), sides[i], least, percentiles));
        all.append(",").append(TextOf(sides[i]));
    }
    return "{\"comparisons\":[" + comparisons + "],\"sides\":[" + all + "]}";
}

std::string ComparisonPageWith(const std::string& json) {
    return PageWith(kComparisonPage, json);
}

}  // namespace kzstatprogram

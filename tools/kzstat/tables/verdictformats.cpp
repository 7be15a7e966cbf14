#include "tables/verdictformats.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "conditions/verdict.h"
#include "terminal/escapedtext.h"
#include "terminal/terminaltext.h"

namespace kzstatprogram {
namespace {

using Json = nlohmann::ordered_json;
using kzconditions::Judgement;
using kzconditions::Outcome;
using kzterminal::Printable;

Json Number(const std::optional<double>& value) {
    return value && std::isfinite(*value) ? Json(*value) : Json(nullptr);
}

const char* WordOf(Outcome outcome) {
    if (outcome == Outcome::Passed) return "passed";
    return outcome == Outcome::Failed ? "failed" : "unknown";
}

Json JsonOf(const Judgement& judgement) {
    Json json{{"condition", judgement.condition},
              {"outcome", WordOf(judgement.outcome)},
              {"value", Number(judgement.value)},
              {"baseline", Number(judgement.before)},
              {"unit", judgement.unit}};
    json["reason"] = judgement.reason.empty() ? Json(nullptr) : Json(judgement.reason);
    return json;
}

Json JsonOf(const VerdictReport::Run& run) {
    return {{"path", run.path}, {"run_id", run.id}, {"completeness", run.completeness}};
}

std::ptrdiff_t CountOf(const VerdictReport& report, Outcome outcome) {
    return std::count_if(report.judgements.begin(), report.judgements.end(),
                         [&](const Judgement& each) { return each.outcome == outcome; });
}

/// For XML, between tags and in attributes.
std::string XmlText(std::string_view text) {
    constexpr std::pair<char32_t, const char*> kEntities[] = {
        {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&apos;"}};
    std::string xml;
    kzterminal::ForEachCharacter(
        text, [&](std::string_view bytes, std::optional<char32_t> character) {
            for (const auto& [special, entity] : kEntities)
                if (character == special) return void(xml += entity);
            // The last two are no characters to XML.
            const bool isText = character && !kzterminal::SteersText(*character) &&
                                *character != 0xfffe && *character != 0xffff;
            xml += isText ? std::string(bytes) : kzterminal::EscapeOf(bytes, character);
        });
    return xml;
}

std::string Attribute(const char* name, std::string_view value) {
    return std::string(" ") + name + "=\"" + XmlText(value) + "\"";
}

std::string Counts(const VerdictReport& report) {
    return Attribute("tests", std::to_string(report.judgements.size())) +
           Attribute("failures", std::to_string(CountOf(report, Outcome::Failed))) +
           Attribute("errors", std::to_string(CountOf(report, Outcome::CannotTell)));
}

std::string TestCaseOf(const Judgement& judgement, const std::string& className) {
    std::string xml = "    <testcase" + Attribute("classname", className) +
                      Attribute("name", judgement.condition) + ">\n";
    if (judgement.outcome == Outcome::Passed)
        return xml + "      <system-out>" + XmlText(judgement.text) +
               "</system-out>\n    </testcase>\n";
    const std::string tag = judgement.outcome == Outcome::Failed ? "failure" : "error";
    return xml + "      <" + tag + Attribute("message", judgement.text) +
           Attribute("type", kzconditions::TextOf(judgement.outcome)) + ">" +
           XmlText(judgement.condition + ": " + judgement.text) + "</" + tag +
           ">\n    </testcase>\n";
}

/// For what follows the two colons of a workflow command.
std::string CommandData(std::string_view text) {
    std::string data;
    for (const char each : Printable(text)) data += each == '%' ? "%25" : std::string(1, each);
    return data;
}

/// For the value of a property of a workflow command.
std::string CommandProperty(std::string_view text) {
    std::string value;
    for (const char each : CommandData(text)) {
        if (each == ':')
            value += "%3A";
        else if (each == ',')
            value += "%2C";
        else
            value += each;
    }
    return value;
}

std::string CommandOf(const char* command, std::string_view title, std::string_view text) {
    return std::string("::") + command + " title=" + CommandProperty(title) +
           "::" + CommandData(text) + "\n";
}

std::string DescribeRun(const VerdictReport::Run& run) {
    return Printable(run.path) + ": " + run.completeness + "\n";
}

std::string DescribeRuns(const VerdictReport& report) {
    return DescribeRun(report.run) +
           (report.baseline ? "compared with " + DescribeRun(*report.baseline) : "");
}

}  // namespace

std::string TextOf(const VerdictReport& report) {
    std::string text = DescribeRuns(report);
    for (const std::string& warning : report.warnings)
        text += "warning: " + Printable(warning) + "\n";
    for (const std::string& line : kzconditions::LinesOf(report.judgements)) text += line + "\n";
    return text + kzconditions::VerdictLine(report.judgements) + "\n";
}

std::string JsonOf(const VerdictReport& report) {
    Json conditions = Json::array();
    for (const Judgement& each : report.judgements) conditions.push_back(JsonOf(each));
    const Json json{{"verdict", WordOf(kzconditions::VerdictOf(report.judgements))},
                    {"run", JsonOf(report.run)},
                    {"baseline", report.baseline ? JsonOf(*report.baseline) : Json(nullptr)},
                    {"conditions", conditions},
                    {"warnings", report.warnings}};
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string JUnitOf(const VerdictReport& report) {
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites" + Counts(report) +
                      ">\n  <testsuite" + Attribute("name", report.run.path) + Counts(report) +
                      ">\n";
    for (const Judgement& each : report.judgements) xml += TestCaseOf(each, report.run.generator);
    if (!report.warnings.empty()) {
        xml += "    <system-err>";
        for (const std::string& warning : report.warnings) xml += XmlText(warning) + "\n";
        xml += "</system-err>\n";
    }
    return xml + "  </testsuite>\n</testsuites>\n";
}

std::string WorkflowCommandsOf(const VerdictReport& report) {
    std::string text = DescribeRuns(report);
    for (const std::string& warning : report.warnings)
        text += CommandOf("warning", report.run.path, warning);
    const std::vector<std::string> lines = kzconditions::LinesOf(report.judgements);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const Judgement& judgement = report.judgements[i];
        text += judgement.outcome == Outcome::Passed
                    ? lines[i] + "\n"
                    : CommandOf("error", judgement.condition,
                                std::string(kzconditions::TextOf(judgement.outcome)) + ", " +
                                    judgement.text);
    }
    return text + kzconditions::VerdictLine(report.judgements) + "\n";
}

}  // namespace kzstatprogram

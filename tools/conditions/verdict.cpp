#include "conditions/verdict.h"

#include <algorithm>

#include "terminal/terminaltext.h"

namespace kzconditions {
namespace {

/// A single long condition does not move what was measured of all others out of sight.
constexpr std::size_t kMaxPaddedColumns = 50;

std::ptrdiff_t CountOf(const std::vector<Judgement>& judgements, Outcome outcome) {
    return std::count_if(judgements.begin(), judgements.end(),
                         [&](const Judgement& each) { return each.outcome == outcome; });
}

std::string Padded(const std::string& text, std::size_t columns) {
    const std::size_t width = kzterminal::WidthOf(text);
    return text + std::string(std::max(columns, width) - width, ' ');
}

}  // namespace

Outcome VerdictOf(const std::vector<Judgement>& judgements) {
    for (const Outcome outcome : {Outcome::Failed, Outcome::CannotTell})
        if (CountOf(judgements, outcome) > 0) return outcome;
    return Outcome::Passed;
}

const char* TextOf(Outcome outcome) {
    if (outcome == Outcome::Passed) return "passed";
    return outcome == Outcome::Failed ? "FAILED" : "cannot tell";
}

std::string VerdictLine(const std::vector<Judgement>& judgements) {
    const Outcome verdict = VerdictOf(judgements);
    std::string line = std::string("verdict: ") + TextOf(verdict);
    if (verdict == Outcome::Passed) return line;
    return line + ", " + std::to_string(CountOf(judgements, verdict)) + " of " +
           std::to_string(judgements.size()) + " conditions";
}

std::vector<std::string> LinesOf(const std::vector<Judgement>& judgements) {
    std::size_t columns = 0;
    for (const Judgement& each : judgements)
        columns = std::max(columns, kzterminal::WidthOf(each.condition));
    columns = std::min(columns, kMaxPaddedColumns);
    const std::size_t outcomeColumns = std::string_view(TextOf(Outcome::CannotTell)).size();
    std::vector<std::string> lines;
    lines.reserve(judgements.size());
    for (const Judgement& each : judgements)
        lines.push_back(Padded(TextOf(each.outcome), outcomeColumns) + "  " +
                        Padded(kzterminal::Printable(each.condition), columns) + "  " +
                        kzterminal::Printable(each.text));
    return lines;
}

}  // namespace kzconditions

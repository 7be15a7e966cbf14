#include "conditions/earlystop.h"

#include <string_view>

namespace kzconditions {
namespace {

constexpr std::string_view kStoppedEarly = "stopped early: ";
constexpr char kBlanks[] = " \t\r\n";
constexpr char kNotStoppedEarly[] = "not stopped early";

}  // namespace

std::string ReasonToStop(const Judgement& judgement) {
    return judgement.condition + ", it is " + judgement.text;
}

std::string EarlyStopNote(const std::string& reason) {
    return std::string(kStoppedEarly).append(reason);
}

std::optional<Judgement> EarlyStopOf(const std::string& note) {
    if (!note.starts_with(kStoppedEarly)) return std::nullopt;
    if (note.find_first_not_of(kBlanks, kStoppedEarly.size()) == std::string::npos)
        return std::nullopt;
    Judgement judgement;
    judgement.condition = kNotStoppedEarly;
    judgement.outcome = Outcome::Failed;
    judgement.reason = judgement.text = note.substr(kStoppedEarly.size());
    return judgement;
}

std::optional<Judgement> EarlyStopIn(const std::vector<kzjournal::Note>& notes) {
    for (const kzjournal::Note& note : notes)
        if (auto stop = EarlyStopOf(note.text)) return stop;
    return std::nullopt;
}

}  // namespace kzconditions

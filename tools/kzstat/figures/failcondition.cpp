#include "figures/failcondition.h"

#include <charconv>
#include <cmath>
#include <string_view>

#include "figures/statisticscolumns.h"
#include "terminal/terminaltext.h"
#include "text/numbers.h"

namespace kzstatprogram {
namespace {

[[noreturn]] void Refuse(const std::string& text) {
    throw kzjournal::Error("'" + text + "' is no condition like 'login.time mean +10%'");
}

/// Cuts the last word off `text`.
std::string TakeLastWord(std::string& text) {
    const std::size_t blank = text.find_last_of(' ');
    if (blank == std::string::npos) return {};
    std::string word = text.substr(blank + 1);
    text.erase(text.find_last_not_of(' ', blank) + 1);
    return word;
}

/// A number without a sign; true where all of the text is one.
bool ReadLimit(std::string_view text, double& limit) {
    const auto read = std::from_chars(text.data(), text.data() + text.size(), limit);
    return read.ec == std::errc() && read.ptr == text.data() + text.size() &&
           std::isfinite(limit) && !std::signbit(limit);
}

}  // namespace

FailCondition::FailCondition(const std::string& text) : m_text(text), m_name(text) {
    const std::string change = TakeLastWord(m_name);
    m_statistic = TakeLastWord(m_name);
    m_isDownwards = change.starts_with('-');
    m_isRelative = change.ends_with('%');
    const bool hasSign = m_isDownwards || change.starts_with('+');
    const std::string limit = change.substr(0, change.size() - (m_isRelative ? 1 : 0));
    if (m_name.empty() || !FindNumberColumn(m_statistic) || !hasSign ||
        !ReadLimit(limit.substr(1), m_limit))
        Refuse(text);
}

double FailCondition::ValueIn(const ComparedRun& run, const char* which) const {
    const Statistics* const row = run.Find(m_name);
    const auto refusal = [&](const std::string& what) {
        return kzjournal::Error("cannot check '" + m_text + "': the " + which + " run has " + what);
    };
    if (row == nullptr) throw refusal("no " + kzterminal::Printable(m_name));
    const std::optional<double> value = FindNumberColumn(m_statistic)->valueOf(*row);
    if (!value) throw refusal("no " + m_statistic + " of " + kzterminal::Printable(m_name));
    return *value;
}

std::optional<std::string> FailCondition::Check(const ComparedRun& before,
                                                const ComparedRun& after) const {
    const double from = ValueIn(before, "first");
    const double to = ValueIn(after, "second");
    const double limit = m_isRelative ? std::abs(from) * m_limit / 100 : m_limit;
    const bool isWithin = (m_isDownwards ? from - to : to - from) <= limit;
    if (isWithin) return std::nullopt;
    return m_text + ": " + ReadableNumber(from) + " became " + ReadableNumber(to);
}

}  // namespace kzstatprogram

#include "conditions/condition.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <optional>
#include <utility>

#include "conditions/failures.h"
#include "conditions/percentile.h"
#include "conditions/unit.h"
#include "kzjournalerror.h"

namespace kzconditions {
namespace {

/// A name has 256 bytes at most.
constexpr std::size_t kMaxConditionBytes = 500;
constexpr char kBlanks[] = " \t\r\n";

std::string_view Trimmed(std::string_view text) {
    const std::size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
    return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

/// Cuts the last word off `text`.
std::string_view TakeLastWord(std::string_view& text) {
    const std::size_t blank = text.find_last_of(kBlanks);
    if (blank == std::string_view::npos) return {};
    const std::string_view word = text.substr(blank + 1);
    text = Trimmed(text.substr(0, blank));
    return word;
}

/// Cuts a finite number off the beginning of `text`.
std::optional<double> TakeNumber(std::string_view& text) {
    double number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    if (read.ec != std::errc() || !std::isfinite(number)) return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(read.ptr - text.data()));
    return number;
}

/// Cuts a change, such as "+10%", off the end of `text`.
std::optional<Change> TakeChange(std::string_view& text) {
    const std::string_view word = TakeLastWord(text);
    if (!word.starts_with('-') && !word.starts_with('+')) return std::nullopt;
    std::string_view rest = word.substr(1);
    const std::optional<double> limit = TakeNumber(rest);
    if (!limit || std::signbit(*limit) || (!rest.empty() && rest != kPercent)) return std::nullopt;
    return Change{word.starts_with('-'), *limit, rest == kPercent};
}

/// Cuts a bound, such as "> 250ms", off the end of `text`.
std::optional<Bound> TakeBound(std::string_view& text) {
    const std::size_t at = text.find_last_of("<>");
    if (at == std::string_view::npos) return std::nullopt;
    std::string_view rest = text.substr(at);
    text = Trimmed(text.substr(0, at));
    const std::string_view comparison = rest.substr(0, rest.substr(1).starts_with('=') ? 2 : 1);
    rest = Trimmed(rest.substr(comparison.size()));
    const std::optional<double> limit = TakeNumber(rest);
    const std::string_view unit = Trimmed(rest);
    const bool isUnit = unit.empty() || unit == kPercent || IsUnit(unit);
    if (!limit || !isUnit) return std::nullopt;
    return Bound{std::string(comparison), *limit, std::string(unit)};
}

bool IsStatistic(std::string_view title) {
    return std::find(std::begin(kStatistics), std::end(kStatistics), title) !=
               std::end(kStatistics) ||
           FindPercentile(title);
}

/// Reads "login.time p95". Returns false if it is no such thing.
bool ReadSubject(std::string_view subject, Condition& condition) {
    condition.statistic = TakeLastWord(subject);
    condition.name = subject;
    return !condition.name.empty() && IsStatistic(condition.statistic);
}

kzjournal::Error Refusal(std::string_view text, const std::string& reason) {
    constexpr std::size_t kMaxQuotedBytes = 100;
    const bool isLong = text.size() > kMaxQuotedBytes;
    return kzjournal::Error("'" + std::string(text.substr(0, kMaxQuotedBytes)) +
                            (isLong ? "...'" : "'") + reason);
}

/// Throws kzjournal::Error.
void CheckUnit(const Condition& condition, const std::string& unit) {
    const bool isShare = condition.statistic == kShare;
    if (isShare && unit != kPercent) throw Refusal(condition.text, ": a share is in %");
    if (!isShare && unit == kPercent) throw Refusal(condition.text, ": only a share is in %");
    if (!isShare && !unit.empty() && !condition.IsInUnitOfValues())
        throw Refusal(condition.text, ": a " + condition.statistic + " has no unit");
}

/// Throws kzjournal::Error.
void CheckShare(const Condition& condition) {
    if (condition.statistic != kShare || condition.name == kErrors) return;
    if (WorkMeantBy(condition.name)) return;
    throw Refusal(condition.text,
                  ": a share is that of 'errors', of NAME.failed or of NAME.failed.CAUSE");
}

/// Converted numbers are rounded.
bool IsAsMuch(double a, double b) {
    constexpr double rounding = 1e-12;
    return std::abs(a - b) <= rounding * std::max(std::abs(a), std::abs(b));
}

bool MeanTheSame(const Bound& a, const Bound& b) {
    if (a.comparison != b.comparison) return false;
    if (a.unit == b.unit) return a.limit == b.limit;
    const std::optional<double> limit = Convert(b.limit, b.unit, a.unit);
    return limit && IsAsMuch(a.limit, *limit);
}

bool MeanTheSame(const Change& a, const Change& b) {
    return a.isDownwards == b.isDownwards && a.isRelative == b.isRelative && a.limit == b.limit;
}

/// "p99.0" is "p99".
std::string TitleOf(const std::string& statistic) {
    const std::optional<Percentile> percentile = FindPercentile(statistic);
    return percentile ? percentile->title : statistic;
}

}  // namespace

bool Bound::Holds(double value, double limitInItsUnit) const {
    if (comparison == "<") return value < limitInItsUnit;
    if (comparison == "<=") return value <= limitInItsUnit;
    if (comparison == ">") return value > limitInItsUnit;
    return value >= limitInItsUnit;
}

bool Condition::IsInUnitOfValues() const {
    return statistic != kCount && statistic != kRate && statistic != kShare;
}

Condition ConditionOf(std::string_view text) {
    const std::string_view whole = Trimmed(text);
    if (whole.size() > kMaxConditionBytes)
        throw Refusal(whole, " is longer than " + std::to_string(kMaxConditionBytes) + " bytes");
    Condition condition;
    condition.text = whole;
    std::string_view subject = whole;
    if (const auto change = TakeChange(subject); change && ReadSubject(subject, condition)) {
        condition.limit = *change;
        CheckShare(condition);
        return condition;
    }
    subject = whole;
    const std::optional<Bound> bound = TakeBound(subject);
    if (!bound || !ReadSubject(subject, condition))
        throw Refusal(whole,
                      " is no condition like 'login.time p95 < 250ms', 'errors share < 1%' or"
                      " 'login.time mean +10%'");
    condition.limit = *bound;
    CheckShare(condition);
    CheckUnit(condition, bound->unit);
    return condition;
}

std::vector<Condition> ConditionsOf(const std::vector<std::string>& texts) {
    std::vector<Condition> conditions;
    conditions.reserve(texts.size());
    for (const std::string& text : texts) conditions.push_back(ConditionOf(text));
    return conditions;
}

bool MeanTheSame(const Condition& a, const Condition& b) {
    if (a.name != b.name || TitleOf(a.statistic) != TitleOf(b.statistic)) return false;
    if (a.IsChange() != b.IsChange()) return false;
    return a.IsChange() ? MeanTheSame(std::get<Change>(a.limit), std::get<Change>(b.limit))
                        : MeanTheSame(std::get<Bound>(a.limit), std::get<Bound>(b.limit));
}

void AddNew(std::vector<Condition> given, std::vector<Condition>& conditions) {
    for (Condition& each : given) {
        const auto isSame = [&](const Condition& other) { return MeanTheSame(other, each); };
        if (std::none_of(conditions.begin(), conditions.end(), isSame))
            conditions.push_back(std::move(each));
    }
}

}  // namespace kzconditions

#include "figures/failcondition.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>

#include "figures/statisticscolumns.h"
#include "terminal/terminaltext.h"
#include "text/numbers.h"

namespace kzstatprogram {
namespace {

using Change = FailCondition::Change;
using Bound = FailCondition::Bound;

/// In nanoseconds, so that one is a whole multiple of another.
struct TimeUnit {
    std::string_view name;
    double nanoseconds;
};
constexpr TimeUnit kTimeUnits[] = {{"ns", 1}, {"us", 1e3}, {"ms", 1e6}, {"s", 1e9}};

const TimeUnit* FindTimeUnit(std::string_view name) {
    const auto* const found = std::find_if(std::begin(kTimeUnits), std::end(kTimeUnits),
                                           [&](const TimeUnit& unit) { return unit.name == name; });
    return found != std::end(kTimeUnits) ? found : nullptr;
}

void TrimEnd(std::string& text) {
    text.erase(text.find_last_not_of(' ') + 1);
}

std::string_view WithoutBlanks(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

/// Cuts the last word off `text`.
std::string TakeLastWord(std::string& text) {
    const std::size_t blank = text.find_last_of(' ');
    if (blank == std::string::npos) return {};
    std::string word = text.substr(blank + 1);
    text.erase(blank);
    TrimEnd(text);
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
std::optional<Change> TakeChange(std::string& text) {
    const std::string word = TakeLastWord(text);
    if (!word.starts_with('-') && !word.starts_with('+')) return std::nullopt;
    std::string_view rest = std::string_view(word).substr(1);
    const std::optional<double> limit = TakeNumber(rest);
    if (!limit || std::signbit(*limit) || (!rest.empty() && rest != "%")) return std::nullopt;
    return Change{word.starts_with('-'), *limit, rest == "%"};
}

/// Cuts a bound, such as "> 250ms", off the end of `text`.
std::optional<Bound> TakeBound(std::string& text) {
    const std::size_t at = text.find_last_of("<>");
    if (at == std::string::npos) return std::nullopt;
    const std::string end = text.substr(at);
    text.erase(at);
    TrimEnd(text);

    std::string_view rest = end;
    const std::string_view comparison = rest.substr(0, rest.substr(1).starts_with('=') ? 2 : 1);
    rest = WithoutBlanks(rest.substr(comparison.size()));
    const std::optional<double> limit = TakeNumber(rest);
    const std::string_view unit = WithoutBlanks(rest);
    if (!limit || (!unit.empty() && FindTimeUnit(unit) == nullptr)) return std::nullopt;
    return Bound{std::string(comparison), *limit, std::string(unit)};
}

bool Compares(double value, const std::string& comparison, double limit) {
    if (comparison == "<") return value < limit;
    if (comparison == "<=") return value <= limit;
    if (comparison == ">") return value > limit;
    return value >= limit;
}

/// A number of values or of seconds is in no unit of the values.
bool IsInUnitOfValues(const std::string& statistic) {
    return statistic != "count" && statistic != "rate";
}

}  // namespace

FailCondition::FailCondition(const std::string& text) : m_text(text) {
    TrimEnd(m_text);
    std::string subject = m_text;
    const std::optional<Change> change = TakeChange(subject);
    if (change && ReadSubject(subject)) {
        m_limit = *change;
        return;
    }
    subject = m_text;
    const std::optional<Bound> bound = TakeBound(subject);
    if (!bound || !ReadSubject(subject))
        throw kzjournal::Error("'" + text +
                               "' is no condition like 'login.time mean +10%' or"
                               " 'login.time p95 > 250ms'");
    if (!bound->unit.empty() && !IsInUnitOfValues(m_statistic))
        throw kzjournal::Error("'" + text + "': a " + m_statistic + " is in no unit of time");
    m_limit = *bound;
}

/// "login.time p95".
bool FailCondition::ReadSubject(std::string subject) {
    m_statistic = TakeLastWord(subject);
    m_name = subject;
    return !m_name.empty() && FindNumberColumn(m_statistic);
}

std::optional<std::string> FailCondition::Check(const ComparedRun& before,
                                                const ComparedRun& after) const {
    if (const Change* const change = std::get_if<Change>(&m_limit)) {
        const double from = ValueIn(before, "first");
        return CheckChange(*change, from, ValueIn(after, "second"));
    }
    return CheckBound(std::get<Bound>(m_limit), after);
}

std::optional<std::string> FailCondition::CheckChange(const Change& change, double from,
                                                      double to) const {
    const double limit = change.isRelative ? std::abs(from) * change.limit / 100 : change.limit;
    const bool isWithin = (change.isDownwards ? from - to : to - from) <= limit;
    if (isWithin) return std::nullopt;
    return m_text + ": " + ReadableNumber(from) + " became " + ReadableNumber(to);
}

std::optional<std::string> FailCondition::CheckBound(const Bound& bound,
                                                     const ComparedRun& run) const {
    const double value = ValueIn(run, "second");
    const Statistics& row = RowIn(run, "second");
    const double limit = LimitFor(row, bound);
    if (!std::isnan(value) && !Compares(value, bound.comparison, limit)) return std::nullopt;
    const std::string unit = IsInUnitOfValues(m_statistic) ? row.unit : "";
    return m_text + ": it is " + ReadableNumber(value) + (unit.empty() ? "" : " ") + unit;
}

const Statistics& FailCondition::RowIn(const ComparedRun& run, const char* which) const {
    const Statistics* const row = run.Find(m_name);
    if (row == nullptr)
        throw Refusal(std::string("the ") + which + " run has no " + kzterminal::Printable(m_name));
    return *row;
}

double FailCondition::ValueIn(const ComparedRun& run, const char* which) const {
    const Statistics& row = RowIn(run, which);
    const std::optional<double> value = FindNumberColumn(m_statistic)->valueOf(row);
    if (value) return *value;
    const bool lacksDistribution = FindPercentile(m_statistic) && !row.distribution;
    throw Refusal(std::string("the ") + which + " run has no " + m_statistic + " of " +
                  kzterminal::Printable(m_name) +
                  (lacksDistribution ? ", nor the distribution of all its values" : ""));
}

/// In the unit of the values of the row.
double FailCondition::LimitFor(const Statistics& row, const Bound& bound) const {
    if (bound.unit.empty()) return bound.limit;
    const TimeUnit* const unit = FindTimeUnit(row.unit);
    if (unit == nullptr)
        throw Refusal(kzterminal::Printable(m_name) + " is in no unit of time; leave out " +
                      bound.unit);
    return bound.limit * FindTimeUnit(bound.unit)->nanoseconds / unit->nanoseconds;
}

kzjournal::Error FailCondition::Refusal(const std::string& reason) const {
    return kzjournal::Error("cannot check '" + m_text + "': " + reason);
}

}  // namespace kzstatprogram

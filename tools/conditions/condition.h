#ifndef KZCONDITIONS_CONDITION_H
#define KZCONDITIONS_CONDITION_H

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kzconditions {

// The statistics that mean something special to a condition; the others are columns of a table.
constexpr char kCount[] = "count";
constexpr char kRate[] = "rate";
constexpr char kSum[] = "sum";
constexpr char kShare[] = "share";

/// All that a condition may be about, beside percentiles; in the order of the columns of a table.
constexpr const char* kStatistics[] = {kCount,   kRate, "min",  "mean", "max",
                                       "stddev", kSum,  "last", kShare};

/// The name of the share of failures among all attempts of a run.
constexpr char kErrors[] = "errors";
constexpr char kPercent[] = "%";

/// "+10%": by how much a statistic may change from one run to another, upwards or downwards, in
/// parts of the first or as it is. Compatible.
struct Change {
    bool isDownwards;
    double limit;
    bool isRelative;
};

/// "< 250ms": what a statistic is held against. Compatible.
struct Bound {
    std::string comparison;  ///< one of < <= > >=
    double limit;
    std::string unit;  ///< of time or bytes, or "%" for a share; empty for that of the name

    /// Not so of NaN.
    bool Holds(double value, double limitInItsUnit) const;
};

/// "request.time p95 < 250ms": a statistic of one name, and its limit. Whether this is what must be
/// so or what must not is said where it is judged. Compatible.
struct Condition {
    std::string text;  ///< without blanks around it
    std::string name;
    std::string statistic;
    std::variant<Change, Bound> limit;

    bool IsChange() const { return std::holds_alternative<Change>(limit); }
    /// True if its values are in the unit of the name: numbers of values and shares are not.
    bool IsInUnitOfValues() const;
};

/// Takes any bytes. Throws kzjournal::Error if `text` is no condition.
Condition ConditionOf(std::string_view text);
std::vector<Condition> ConditionsOf(const std::vector<std::string>& texts);

/// Whether two say the same, however they are written: "errors share < 1%" and "errors share<1.0%",
/// or "< 250ms" and "< 0.25s". One that leaves its unit out says the same as no other unit does.
bool MeanTheSame(const Condition& a, const Condition& b);

/// Adds those of `given` that none of `conditions` means, each once: nothing is judged twice.
void AddNew(std::vector<Condition> given, std::vector<Condition>& conditions);

}  // namespace kzconditions

#endif

#include "conditions/failures.h"

#include <algorithm>
#include <string_view>

#include "conditions/condition.h"
#include "conditions/unit.h"

namespace kzconditions {
namespace {

constexpr std::string_view kFailed = ".failed";
constexpr std::string_view kAbandoned = ".abandoned";

/// Where a ".failed" that is followed by a cause or by nothing begins, from `at` on.
std::size_t FindFailed(std::string_view name, std::size_t at) {
    for (at = name.find(kFailed, at); at != std::string_view::npos;
         at = name.find(kFailed, at + 1)) {
        const std::size_t end = at + kFailed.size();
        if (at > 0 && (end == name.size() || name[end] == '.')) break;
    }
    return at;
}

std::string FailedOf(const std::string& work) {
    return work + std::string(kFailed);
}

bool HasWork(const std::string& work, const Figures& run) {
    return run.Find(work) || run.Find(FailedOf(work));
}

double AttemptsOf(const std::string& work, const Figures& run) {
    return NumberOf(work, run) + NumberOf(FailedOf(work), run);
}

bool IsTransaction(const std::string& name, const Figures& run) {
    using Types = CKZStatPointTypeEnum;
    const auto found = run.Find(name);
    return found &&
           (found->type == Types::TransactionTimer || found->type == Types::TransactionCounter);
}

std::optional<double> PercentOf(double part, double whole) {
    if (whole == 0) return std::nullopt;
    return 100 * part / whole;
}

struct Attempts {
    double failed = 0;
    double all = 0;

    void Add(const std::string& work, const Figures& run) {
        failed += NumberOf(FailedOf(work), run);
        all += AttemptsOf(work, run);
    }
    std::optional<double> Share() const { return PercentOf(failed, all); }
};

/// Other work that never failed may be a part of an attempt, of which failures are not told.
bool NeverFailedAsATransaction(const std::string& name, const Figures& run) {
    const auto found = run.Find(name);
    return found && found->type == CKZStatPointTypeEnum::TransactionTimer &&
           !run.Find(FailedOf(name));
}

/// Work whose failures would be errors.
bool TakesTime(const std::string& name, const Figures& run) {
    const auto found = run.Find(name);
    return found && IsUnitOfTime(found->unit) && NumberOf(name, run) > 0;
}

}  // namespace

std::optional<std::string> WorkMeantBy(const std::string& name) {
    const std::size_t at = FindFailed(name, 0);
    return at == std::string::npos ? std::nullopt : std::optional(name.substr(0, at));
}

std::optional<std::string> WorkThatFailed(const std::string& name, const Figures& run) {
    for (std::size_t at = FindFailed(name, 0); at != std::string::npos;
         at = FindFailed(name, at + 1))
        if (std::string work = name.substr(0, at); HasWork(work, run)) return work;
    return std::nullopt;
}

bool MayHaveNeverHappened(const std::string& name, const Figures& run) {
    if (WorkThatFailed(name, run)) return true;
    return name.ends_with(kAbandoned) &&
           HasWork(name.substr(0, name.size() - kAbandoned.size()), run);
}

double NumberOf(const std::string& name, const Figures& run) {
    const std::optional<double> count = run.ValueOf(name, kCount);
    return count ? *count : run.ValueOf(name, kSum).value_or(0);
}

std::optional<double> ShareOfFailures(const std::string& name, const Figures& run) {
    const std::optional<std::string> work = WorkThatFailed(name, run);
    if (!work) return std::nullopt;
    return PercentOf(NumberOf(name, run), AttemptsOf(*work, run));
}

std::optional<double> ShareOfErrors(const Figures& run) {
    Attempts transactions;
    Attempts rest;
    bool anyTakesTime = false;
    for (const std::string& name : run.Names()) {
        anyTakesTime = anyTakesTime || TakesTime(name, run);
        const std::optional<std::string> work = WorkThatFailed(name, run);
        // Causes are parts of it.
        if (work && name != FailedOf(*work)) continue;
        if (work)
            (IsTransaction(name, run) ? transactions : rest).Add(*work, run);
        else if (NeverFailedAsATransaction(name, run))
            transactions.Add(name, run);
    }
    const std::optional<double> share = std::max(transactions.Share(), rest.Share());
    return !share && anyTakesTime ? 0 : share;
}

}  // namespace kzconditions

#include "statnames.h"

namespace kzload {
namespace {

std::string OutcomeName(Failure failure, long status) {
    if (failure != Failure::None) return kFailureNames[static_cast<std::size_t>(failure)];
    return status / 100 == kLowestClass ? "ok" : "http-" + std::to_string(status);
}

}  // namespace

const Stat& ResponseStat(long status) {
    return kResponses[status / 100 - kLowestClass];
}

const Stat& ErrorStat(Failure failure) {
    return kErrors[static_cast<std::size_t>(failure) - 1];
}

const TransactionStats& StatsOf(Transaction transaction) {
    return kTransactions[static_cast<std::size_t>(transaction)];
}

std::string ReasonName(Transaction transaction, Failure failure, long status) {
    return std::string(kReasons.name) + StatsOf(transaction).name + "." +
           OutcomeName(failure, status);
}

}  // namespace kzload

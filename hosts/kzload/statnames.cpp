#include "statnames.h"

namespace kzload {
namespace {

constexpr const char* kFailureNames[] = {"none", "connect", "timeout", "closed", "other"};

}  // namespace

const Stat& ResponseStat(long status) {
    return kResponses[status / 100 - kLowestClass];
}

std::string OutcomeName(Failure failure, long status) {
    if (failure != Failure::None) return kFailureNames[static_cast<std::size_t>(failure)];
    return status / 100 == kLowestClass ? "ok" : "http-" + std::to_string(status);
}

TransactionNames::TransactionNames(const std::string& name)
    : time(name + ".time"),
      failedTime(name + ".time.failed"),
      count("transactions." + name),
      reasons("reasons." + name + ".") {}

}  // namespace kzload

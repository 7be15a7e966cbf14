#ifndef KZLOAD_STATNAMES_H
#define KZLOAD_STATNAMES_H

#include <string>

#include "kzstatpointtypeenum.h"

namespace kzload {

/// The names of all statistics and their types: the one place where they stand. The tables are
/// constant and the functions read nothing else, so both are safe for concurrent use.

using Type = CKZStatPointTypeEnum;

struct Stat {
    const char* name;
    Type::PointType type;
};

// Reported once per request that has ended. Times are in milliseconds. A stopwatch reports the time
// of a request as one of the first two, with the reason of a failure as a name of its own; it
// reports requests that the end of the load cut off as the third, and nothing else is reported of
// these: nobody knows how they would have ended.
inline constexpr Stat kRequestTime{"request.time", Type::Timer};
inline constexpr Stat kFailedRequestTime{"request.time.failed", Type::Timer};
inline constexpr Stat kCutOffRequests{"request.time.abandoned", Type::Counter};
inline constexpr Stat kRequestBytes{"request.bytes", Type::Measurement};
inline constexpr Stat kBytesRate{"bytes.rate", Type::MeasurementPerSec};
inline constexpr Stat kRequestsRate{"requests.rate", Type::CounterPerSec};

// A level, reported once per slice: so the sum of one slice is the level in that slice.
inline constexpr Stat kClientsActive{"clients.active", Type::LoadSize};

/// The requests that were answered, by the first digit of the status.
inline constexpr Stat kResponses[] = {{"responses.2xx", Type::Counter},
                                      {"responses.3xx", Type::Counter},
                                      {"responses.4xx", Type::Counter},
                                      {"responses.5xx", Type::Counter}};
inline constexpr long kLowestClass = 2;
inline constexpr long kHighestClass = 5;
inline constexpr long kLowestBadStatus = 400;

/// REQUIRES: `status` is one of 200 to 599.
const Stat& ResponseStat(long status);

/// Why a request was not answered. Closed: by the server, before its answer had come.
enum class Failure { None, Connect, Timeout, Closed, Other };

/// How a request ended: "ok", "http-302", "http-404", "timeout".
std::string OutcomeName(Failure failure, long status);

/// The names of the statistics of one kind of request.
struct TransactionNames {
    explicit TransactionNames(const std::string& name);

    std::string time;        // of requests that succeeded
    std::string failedTime;  // of those that failed
    std::string count;
    std::string reasons;  // to be followed by how a request ended
};
inline constexpr Type::PointType kTransactionTimeType = Type::TransactionTimer;
inline constexpr Type::PointType kTransactionCountType = Type::TransactionCounter;
inline constexpr Type::PointType kReasonType = Type::TransactionReasonCounter;

}  // namespace kzload

#endif

#ifndef KZLOAD_STATNAMES_H
#define KZLOAD_STATNAMES_H

#include <string>
#include <string_view>

#include "kzstatpointtypeenum.h"

namespace kzload {

/// The names of all statistics and their types: the one place where they stand. The tables are
/// constant and the functions read nothing else, so both are safe for concurrent use.

using Type = CKZStatPointTypeEnum;

struct Stat {
    const char* name;
    Type::PointType type;
};

// Reported once per request. Times are in milliseconds.
inline constexpr Stat kRequestTime{"request.time", Type::Timer};
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

/// Why a request was not answered. Closed: by the server, before its answer had come.
enum class Failure { None, Connect, Timeout, Closed, Aborted, Other };

inline constexpr const char* kFailureNames[] = {"none",   "connect", "timeout",
                                                "closed", "aborted", "other"};
inline constexpr Stat kErrors[] = {{"errors.connect", Type::Counter},
                                   {"errors.timeout", Type::Counter},
                                   {"errors.closed", Type::Counter},
                                   {"errors.aborted", Type::Counter},
                                   {"errors.other", Type::Counter}};

/// REQUIRES: `status` is one of 200 to 599.
const Stat& ResponseStat(long status);
/// REQUIRES: not `Failure::None`.
const Stat& ErrorStat(Failure failure);

/// The steps of the scenario.
enum class Transaction { Login, Browse, Logout };

struct TransactionStats {
    const char* name;
    Stat time;
    Stat count;
};
inline constexpr TransactionStats kTransactions[] = {
    {"login",
     {"login.time", Type::TransactionTimer},
     {"transactions.login", Type::TransactionCounter}},
    {"browse",
     {"browse.time", Type::TransactionTimer},
     {"transactions.browse", Type::TransactionCounter}},
    {"logout",
     {"logout.time", Type::TransactionTimer},
     {"transactions.logout", Type::TransactionCounter}}};

const TransactionStats& StatsOf(Transaction transaction);

/// How transactions ended: "reasons.login.ok", "reasons.browse.http-404", "reasons.logout.timeout".
inline constexpr Stat kReasons{"reasons.", Type::TransactionReasonCounter};

std::string ReasonName(Transaction transaction, Failure failure, long status);

}  // namespace kzload

#endif

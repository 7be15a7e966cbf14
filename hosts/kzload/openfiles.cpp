#include "openfiles.h"

#include <sys/resource.h>

#include <algorithm>
#include <string>

#include "kzjournalerror.h"

namespace kzload {
namespace {

/// Standard streams, the journal and its companions, what looks up names of hosts, and a reserve.
constexpr rlim_t kForTheProcess = 32;
/// A pair that wakes the thread up, and one that looks up names.
constexpr rlim_t kPerThread = 4;

rlim_t FilesFor(int clients, int threads, bool serves) {
    const auto connections = static_cast<rlim_t>(clients) * (serves ? 2 : 1);
    return connections + static_cast<rlim_t>(threads) * kPerThread + kForTheProcess;
}

}  // namespace

void AllowOpenFiles(int clients, int threads, bool serves) {
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    const rlim_t needed = FilesFor(clients, threads, serves);
    if (limit.rlim_max < needed)
        throw kzjournal::Error(std::to_string(clients) + " clients need " + std::to_string(needed) +
                               " open files, and the limit is " + std::to_string(limit.rlim_max) +
                               "; raise it (ulimit -n) or ask for fewer --clients");
    // A session allows fewer at first.
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace kzload

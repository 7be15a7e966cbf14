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

/// A connection, and its other end where the server is in this process.
constexpr rlim_t kPerClient = 1;
constexpr rlim_t kPerServedClient = 2;
/// Before it connects: a pair that tells the end of the look-up, a socket to the server of names,
/// and another one or a file. All clients may look the name up at the same time.
constexpr rlim_t kPerLookup = 4;

rlim_t PerClient(const Options& options) {
    if (options.url.empty()) return kPerServedClient;
    return LooksUpHost(options.url) ? kPerLookup : kPerClient;
}

rlim_t FilesFor(const Options& options) {
    return static_cast<rlim_t>(options.clients) * PerClient(options) +
           static_cast<rlim_t>(options.threads) * kPerThread + kForTheProcess;
}

}  // namespace

void AllowOpenFiles(const Options& options) {
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    const rlim_t needed = FilesFor(options);
    if (limit.rlim_max < needed)
        throw kzjournal::Error(std::to_string(options.clients) + " clients need " +
                               std::to_string(needed) + " open files, and the limit is " +
                               std::to_string(limit.rlim_max) +
                               "; raise it (ulimit -n) or ask for fewer --clients");
    // A session allows fewer at first.
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace kzload

#ifndef KZ_BENCHMARKS_WORKLOAD_H
#define KZ_BENCHMARKS_WORKLOAD_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

/// What simulated clients report: bursts of 20 values of one client, then the next client. Names
/// of 12 to 24 characters, values pseudo-random; all made beforehand and the same in every run.
struct Report {
    int client;
    const char* name;
    double value;
};

inline constexpr int kBurst = 20;
inline constexpr int kUsualNames = 50;
inline constexpr int kManyClients = 1000;
inline constexpr int kFewClients = 20;

/// `count` different names. Constant once made.
std::vector<std::string> MakeNames(int count);

/// Reports of the clients [first, last), `rounds` bursts for each of them.
std::vector<Report> MakeReports(const std::vector<std::string>& names, int first, int last,
                                int rounds);

/// What clients report in one slice, each name once: bursts of one client, then of the next one,
/// until all names are through. Calls `take(client, name)`.
template <class Take>
void ReportSlice(int clients, const std::vector<std::string>& names, std::size_t burst, Take take) {
    for (std::size_t first = 0; first < names.size(); first += burst)
        for (int client = 0; client < clients; ++client)
            for (std::size_t at = first; at < std::min(first + burst, names.size()); ++at)
                take(client, names[at].c_str());
}

/// The names of the usual workload. Safe for concurrent use.
const std::vector<std::string>& UsualNames();

#endif

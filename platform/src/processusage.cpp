#include "ryp/processusage.h"

#include <dirent.h>
#include <sched.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ryp/testclock.h"

namespace {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

double SecondsOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

/// How many processors the group in this folder may use at a time; infinite without a quota.
double QuotaIn(const std::string& folder) {
    std::ifstream file(folder + "/cpu.max");
    double quota = 0;
    double period = 0;
    // Without a quota the file begins with a word.
    const bool hasQuota = file >> quota >> period && quota > 0 && period > 0;
    return hasQuota ? quota / period : std::numeric_limits<double>::infinity();
}

/// The path of the process below the root of the control groups; empty where there is none.
std::string ControlGroup() {
    constexpr char kPrefix[] = "0::";
    std::ifstream groups("/proc/self/cgroup");
    for (std::string line; std::getline(groups, line);)
        if (line.compare(0, sizeof kPrefix - 1, kPrefix) == 0)
            return line.substr(sizeof kPrefix - 1);
    return {};
}

/// A group has no more than those around it.
double Quota() {
    const std::string root = "/sys/fs/cgroup";
    std::string group = ControlGroup();
    double quota = QuotaIn(root);
    for (; group.size() > 1; group.erase(group.find_last_of('/')))
        quota = std::min(quota, QuotaIn(root + group));
    return quota;
}

/// More processors than a set of fixed size has are told by the system alone.
double ProcessorsOfAffinity() {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof set, &set) == 0) return CPU_COUNT(&set);
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? static_cast<double>(online) : kUnknown;
}

double SecondsOf(const timespec& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// The clock of the processor time of a thread of this process, as the kernel numbers it.
clockid_t ProcessorClockOf(int thread) {
    constexpr unsigned kProcessorTimeOfThread = 6;
    return static_cast<clockid_t>(~static_cast<unsigned>(thread) << 3U | kProcessorTimeOfThread);
}

/// NaN where the system does not tell.
double WaitedSecondsOf(int thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/schedstat");
    long long ran = 0;
    long long waited = 0;  // nanoseconds both
    return file >> ran >> waited ? static_cast<double>(waited) * 1e-9 : kUnknown;
}

/// No value where the thread has ended.
std::optional<RyPThreadTimes> TimesOf(int thread) {
    timespec time{};
    if (clock_gettime(ProcessorClockOf(thread), &time) != 0) return std::nullopt;
    return RyPThreadTimes{SecondsOf(time), WaitedSecondsOf(thread)};
}

/// The numbers of all threads; empty where the system does not tell.
std::vector<int> Threads() {
    std::vector<int> threads;
    const std::unique_ptr<DIR, int (*)(DIR*)> tasks(opendir("/proc/self/task"), closedir);
    if (tasks == nullptr) return threads;
    while (const dirent* const task = readdir(tasks.get()))
        // The folder itself and the one around it have no number.
        if (const int number = std::atoi(task->d_name); number > 0) threads.push_back(number);
    return threads;
}

}  // namespace

RyPProcessUsage RyPGetProcessUsage() {
    if (const RyPTestClock* const clock = RyPTestClock::Current())
        return {clock->UsedProcessorSeconds(), 0};
    rusage usage{};
    if (getrusage(RUSAGE_SELF, &usage) != 0) return {kUnknown, kUnknown};
    return {SecondsOf(usage.ru_utime) + SecondsOf(usage.ru_stime),
            static_cast<double>(usage.ru_nivcsw)};
}

double RyPThreadProcessorSeconds() {
    if (RyPTestClock::Current() != nullptr) return 0;
    timespec time{};
    if (clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time) != 0) return kUnknown;
    return SecondsOf(time);
}

double RyPUsableProcessors() {
    if (RyPTestClock::Current() != nullptr) return RyPTestClock::kProcessors;
    static const double quota = Quota();
    return std::min(ProcessorsOfAffinity(), quota);
}

RyPThreadTimes RyPThreadUsage::MostSinceLast() {
    if (RyPTestClock::Current() != nullptr) return {kUnknown, kUnknown};
    const std::vector<int> threads = Threads();
    if (threads.empty() || threads.size() > static_cast<std::size_t>(kMaxThreads))
        return {kUnknown, kUnknown};
    std::map<int, RyPThreadTimes> times;
    RyPThreadTimes most{0, kUnknown};
    for (const int thread : threads) {
        const std::optional<RyPThreadTimes> now = TimesOf(thread);
        if (!now) continue;
        RyPThreadTimes& former = m_times[thread];
        // Less than before is of a new thread with the number of one that has ended.
        if (former.processorSeconds > now->processorSeconds) former = {};
        most.processorSeconds =
            std::max(most.processorSeconds, now->processorSeconds - former.processorSeconds);
        // Takes the number where the other one is NaN.
        most.waitedSeconds =
            std::fmax(most.waitedSeconds, now->waitedSeconds - former.waitedSeconds);
        times.emplace(thread, *now);
    }
    m_times = std::move(times);
    return most;
}

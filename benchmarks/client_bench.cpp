#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
#include <deque>
#include <memory>

#include "kzstatisticsgenerator.h"
#include "rw/mutex.h"
#include "ryp/clock.h"
#include "support/handwritten.h"
#include "support/silenthost.h"
#include "support/workload.h"

// One value by name: what the library takes, beside the least that it could take and what a
// hand-written map takes. The argument is the number of clients; threads have clients of their own.

namespace {

constexpr double kEndlessSlice = 1e6;
constexpr int kRounds = 10;

double KernelTime() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

/// The cheapest thing that still does what a report must: one lock, one clock read, one bounded
/// copy of the name into a ring.
template <double (*Clock)()>
class Floor {
public:
    explicit Floor(int) {}

    void AddLast(int, const char* name, double value) {
        const double now = Clock();
        const RWMutexLock::LockGuard guard(m_mutex);
        Entry& entry = m_ring[m_next];
        m_next = m_next + 1 == kRing ? 0 : m_next + 1;
        const std::size_t length = strnlen(name, kMaxNameBytes);
        std::memcpy(entry.name, name, length);
        entry.name[length] = '\0';
        entry.value = value;
        m_lastReport = now;
    }

private:
    static constexpr int kRing = 20;
    static constexpr int kMaxNameBytes = 256;
    struct Entry {
        double value;
        char name[kMaxNameBytes + 1];
    };

    RWMutexLock m_mutex;
    int m_next = 0;
    double m_lastReport = 0;
    Entry m_ring[kRing];
};

class LibraryStartedAt {
public:
    LibraryStartedAt(
        double startTime, int clients,
        const CKZStatDistributionChoice& distributions = CKZStatDistributionChoice::None()) {
        m_host.CollectDistributions(distributions);
        m_host.Start(startTime, kEndlessSlice);
        for (int id = 0; id < clients; ++id) m_clients.emplace_back(&m_host, id);
    }

    void AddLast(int client, const char* name, double value) {
        m_clients[static_cast<std::size_t>(client)].AddLast(name, value,
                                                            CKZStatPointTypeEnum::Measurement);
    }

private:
    SilentHost m_host;
    std::deque<CKZStatGenClient> m_clients;
};

class Library : public LibraryStartedAt {
public:
    explicit Library(int clients) : LibraryStartedAt(RyPSysTime(), clients) {}
};

/// The same with the distribution of every name.
class CollectingLibrary : public LibraryStartedAt {
public:
    explicit CollectingLibrary(int clients)
        : LibraryStartedAt(RyPSysTime(), clients, CKZStatDistributionChoice::Usual()) {}
};

/// Reports of the clients of one thread.
std::vector<Report> ReportsOf(const benchmark::State& state) {
    const int share = static_cast<int>(state.range(0)) / state.threads();
    const int first = share * state.thread_index();
    return MakeReports(UsualNames(), first, first + share, kRounds);
}

template <class Target>
void AddValues(benchmark::State& state, Target& target) {
    const std::vector<Report> reports = ReportsOf(state);
    for (const Report& report : reports) target.AddLast(report.client, report.name, report.value);
    std::size_t next = 0;
    for (auto _ : state) {
        const Report& report = reports[next];
        target.AddLast(report.client, report.name, report.value);
        if (++next == reports.size()) next = 0;
    }
    state.SetItemsProcessed(state.iterations());
}

/// The target that all threads of one run share. Google Benchmark calls set-up and tear-down of a
/// run on its own thread, before the others begin and after they have ended.
template <class Target>
struct Shared {
    static void SetUp(const benchmark::State& state) {
        target = std::make_unique<Target>(static_cast<int>(state.range(0)));
    }
    static void TearDown(const benchmark::State&) { target.reset(); }
    static void Run(benchmark::State& state) { AddValues(state, *target); }

    inline static std::unique_ptr<Target> target;
};

/// Its clients were made and have reported on another thread, as hosts do it: it begins shortly
/// before the end of a slice, and the values come in the next one.
class WarmedElsewhere : public LibraryStartedAt {
public:
    explicit WarmedElsewhere(int clients)
        : WarmedElsewhere(clients, RyPSysTime() + kWarmingSeconds) {}

private:
    static constexpr double kWarmingSeconds = 0.1;

    WarmedElsewhere(int clients, double endOfSlice)
        : LibraryStartedAt(endOfSlice - kEndlessSlice, clients) {
        for (int client = 0; client < clients; ++client) AddLast(client, "warm", 1.5);
        while (RyPSysTime() <= endOfSlice) RyPSleep(kWarmingSeconds);
    }
};

/// A generator of its own for each thread, which shares nothing with the others.
class OwnGenerator {
public:
    OwnGenerator(int firstClient, int clients) : m_firstClient(firstClient), m_library(clients) {}

    void AddLast(int client, const char* name, double value) {
        m_library.AddLast(client - m_firstClient, name, value);
    }

private:
    const int m_firstClient;
    Library m_library;
};

void BM_OwnGenerator_AddLast(benchmark::State& state) {
    const int clients = static_cast<int>(state.range(0)) / state.threads();
    OwnGenerator target(clients * state.thread_index(), clients);
    AddValues(state, target);
}
BENCHMARK(BM_OwnGenerator_AddLast)->Arg(kManyClients)->ThreadRange(1, 4)->UseRealTime();

template <class Target>
void Register(const char* name) {
    benchmark::RegisterBenchmark(name, &Shared<Target>::Run)
        ->Setup(&Shared<Target>::SetUp)
        ->Teardown(&Shared<Target>::TearDown)
        ->Arg(kFewClients)
        ->Arg(kManyClients)
        ->Threads(1)
        ->Threads(2)
        ->Threads(4)
        ->Threads(8)
        ->UseRealTime();
}

const bool g_registered = [] {
    Register<Floor<KernelTime>>("BM_Floor_AddLast");
    Register<Floor<RyPSysTime>>("BM_FloorWithOurClock_AddLast");
    Register<HandwrittenStatistics>("BM_Handwritten_AddLast");
    Register<Library>("BM_Client_AddLast");
    Register<CollectingLibrary>("BM_CollectingClient_AddLast");
    Register<WarmedElsewhere>("BM_ClientWarmedElsewhere_AddLast");
    return true;
}();

}  // namespace

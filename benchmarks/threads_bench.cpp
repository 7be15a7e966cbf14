#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <chrono>
#include <deque>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "kzstatisticsgenerator.h"
#include "ryp/testclock.h"
#include "support/silenthost.h"
#include "support/workload.h"

// Reports of several threads where clients change threads or slices, and how long one report takes
// at most while others pack and free.

namespace {

constexpr double kSliceLength = 1.0;
constexpr auto kType = CKZStatPointTypeEnum::Measurement;

using Seconds = std::chrono::duration<double>;

/// A generator run by hand with clients that threads share out among them.
struct SharedGenerator {
    explicit SharedGenerator(int count) {
        host.Start(0, kSliceLength);
        for (int id = 0; id < count; ++id) clients.emplace_back(&host, id);
        for (CKZStatGenClient& client : clients) client.AddLast("warm", 1.5, kType);
    }

    /// Lets the time of the current slice pass; the next one begins when somebody reports.
    void EndSlice() { clock.Advance(kSliceLength); }
    void BeginSlice() {
        EndSlice();
        clients.front().GetNewDictionary();
    }

    RyPTestClock clock{kSliceLength / 2};  // never at the end of a slice, which is both slices'
    SilentHost host;
    std::deque<CKZStatGenClient> clients;
};

/// Runs `work(thread)` on so many new threads at once. Returns the seconds from the first one's
/// begin to the last one's end.
double TimeThreads(int threads, const std::function<void(int thread)>& work) {
    std::barrier<> everybody(threads + 1);
    std::vector<std::thread> running;
    for (int thread = 0; thread < threads; ++thread)
        running.emplace_back([&, thread] {
            everybody.arrive_and_wait();
            work(thread);
            everybody.arrive_and_wait();
        });
    everybody.arrive_and_wait();
    const auto begin = std::chrono::steady_clock::now();
    everybody.arrive_and_wait();
    const Seconds taken = std::chrono::steady_clock::now() - begin;
    for (std::thread& thread : running) thread.join();
    return taken.count();
}

/// The first report of every client in a new slice. Arguments: clients, threads.
void BM_Client_SliceChange(benchmark::State& state) {
    const int clients = static_cast<int>(state.range(0));
    const int threads = static_cast<int>(state.range(1));
    SharedGenerator generator(clients);
    const int share = clients / threads;
    for (auto _ : state) {
        generator.EndSlice();
        state.SetIterationTime(TimeThreads(threads, [&](int thread) {
            const int first = thread * share;
            for (int id = first; id < first + share; ++id)
                generator.clients[static_cast<std::size_t>(id)].AddLast("value", 1.5, kType);
        }));
        generator.host.FreeSlice(generator.host.SendNextSlice());
    }
    state.SetItemsProcessed(state.iterations() * clients);
}
BENCHMARK(BM_Client_SliceChange)->Args({100'000, 1})->Args({100'000, 2})->UseManualTime();

/// Values of clients that were made and have reported on another thread, over threads that live for
/// some of them only and hand their clients on. Argument: threads at once.
void BM_ThreadsThatComeAndGo_AddLast(benchmark::State& state) {
    constexpr int kBurstsOfALife = 20'000;
    const int threads = static_cast<int>(state.range(0));
    SharedGenerator generator(kManyClients);
    generator.EndSlice();
    const int share = kManyClients / threads;
    std::vector<std::vector<Report>> reports;
    for (int part = 0; part < threads; ++part)
        reports.push_back(MakeReports(UsualNames(), part * share, (part + 1) * share, 10));
    int handedOn = 0;
    const auto live = [&](int thread) {
        const auto& mine = reports[static_cast<std::size_t>((thread + handedOn) % threads)];
        for (int i = 0; i < kBurstsOfALife * kBurst / threads; ++i) {
            const Report& report = mine[static_cast<std::size_t>(i) % mine.size()];
            generator.clients[static_cast<std::size_t>(report.client)].AddLast(report.name,
                                                                               report.value, kType);
        }
    };
    TimeThreads(threads, live);
    for (auto _ : state) {
        ++handedOn;
        state.SetIterationTime(TimeThreads(threads, live));
    }
    state.SetItemsProcessed(state.iterations() * (kBurstsOfALife * kBurst / threads * threads));
}
BENCHMARK(BM_ThreadsThatComeAndGo_AddLast)->Arg(1)->Arg(2)->Arg(4)->Arg(8)->UseManualTime();

/// How often this thread was put off its processor.
long Preemptions() {
    struct rusage usage = {};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nivcsw;
}

/// Reports on a thread of its own while `work` runs, and for a moment at least. Counts the longest
/// report in which the thread was not preempted, in microseconds.
void CountLongestReport(benchmark::State& state, CKZStatGenClient& client,
                        const std::function<void()>& work) {
    constexpr double kMomentSeconds = 0.3;
    std::atomic<bool> isDone{false};
    std::vector<double> taken;
    double longest = 0;
    const auto now = std::chrono::steady_clock::now;
    const auto begin = now();
    std::thread busy([&] {
        while (!isDone.load() || Seconds(now() - begin).count() < kMomentSeconds) {
            const long preemptions = Preemptions();
            const auto before = now();
            client.AddLast("busy", 1.5, kType);
            const double microseconds = Seconds(now() - before).count() * 1e6;
            taken.push_back(microseconds);
            if (microseconds > longest && Preemptions() == preemptions) longest = microseconds;
        }
    });
    work();
    isDone = true;
    busy.join();
    std::sort(taken.begin(), taken.end());
    state.counters["longest"] = longest;
    state.counters["99.99%"] = taken[taken.size() - 1 - taken.size() / 10'000];
}

/// While idle clients are moved off their slice and it is freed. Argument: how many.
void BM_LongestAddLast_BesideFreeing(benchmark::State& state) {
    for (auto _ : state) {
        SharedGenerator generator(static_cast<int>(state.range(0)));
        generator.BeginSlice();
        CKZStatGenClient busy(&generator.host, -1);
        CKZStatGenSlice* const sent = generator.host.SendNextSlice();
        CountLongestReport(state, busy, [&] { generator.host.FreeSlice(sent); });
    }
}
BENCHMARK(BM_LongestAddLast_BesideFreeing)->Arg(100)->Arg(300'000)->Iterations(1);

/// While a dictionary is packed. Argument: its names.
void BM_LongestAddLast_BesideFold(benchmark::State& state) {
    for (auto _ : state) {
        SharedGenerator generator(1);
        for (const std::string& name : MakeNames(static_cast<int>(state.range(0))))
            generator.clients.front().AddLast(name.c_str(), 1.5, kType);
        generator.BeginSlice();
        CKZStatGenClient busy(&generator.host, -1);
        CountLongestReport(state, busy, [&] { generator.host.SendNextSlice(); });
    }
}
BENCHMARK(BM_LongestAddLast_BesideFold)->Arg(100)->Arg(1'000'000)->Iterations(1);

}  // namespace

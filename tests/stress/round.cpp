#include "round.h"

#include <stdlib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "clientthread.h"
#include "clockdriver.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/clock.h"
#include "ryp/log.h"
#include "ryp/testclock.h"
#include "stressgenerator.h"
#include "support/testpeer.h"

namespace {

using std::chrono::milliseconds;

constexpr int kSharedClientId = 60;
constexpr int kControlClientId = 70;
constexpr double kTestClockStart = 1000;
constexpr milliseconds kPauseBetweenLooks{1};

/// What is decided before a round begins. Compatible.
struct Settings {
    explicit Settings(Dice& dice)
        : steppedClock(dice.OneIn(2)),
          cacheSize(dice.OneOf({-5, 0, 1, 2, 7, 19, 20, 1000})),
          slicesInThePast(dice.Between(0, 5)),
          clientThreads(dice.OneIn(10) ? MoreThreadsThanLanes()
                                       : static_cast<unsigned>(dice.Between(1, 6))),
          duration(dice.Between(5, 300)),
          endsAtOnce(dice.OneIn(3)),
          clientsTerminate(endsAtOnce && dice.OneIn(2)),
          destroysClients(!dice.OneIn(4)) {
        // Powers of two on the stepped clock: its steps then meet the ends of slices exactly. In
        // the longer ones a refused value is tried again soon, so that many are refused.
        sliceLength = steppedClock ? dice.OneOf({1.0 / 512, 1.0 / 128, 1.0 / 4, 1.0 / 4})
                                   : 0.001 * dice.Between(2, 10);
    }

    static unsigned MoreThreadsThanLanes() {
        constexpr unsigned kFewestLanes = 64;
        return kFewestLanes + std::max(1U, std::thread::hardware_concurrency());
    }

    bool steppedClock;
    int cacheSize;
    int slicesInThePast;
    unsigned clientThreads;
    milliseconds duration;
    bool endsAtOnce;
    bool clientsTerminate;  // at any moment, before the round ends
    bool destroysClients;
    double sliceLength;
};

/// Takes the log while it lives; in a round there should be no errors. Safe for concurrent use.
class ErrorLog : public RyPLogSink {
public:
    /// Warnings are logged too, and ignored: `Terminate` counts only for these.
    ErrorLog() : m_former(RyPLog::SetSink(this)) {
        if (!RyPLog::IsEnabled(RyPLogLevel::Warning)) RyPLog::SetThreshold(RyPLogLevel::Warning);
    }
    ~ErrorLog() override { RyPLog::SetSink(m_former); }

    void Write(const RyPLogRecord& record) override {
        if (record.level != RyPLogLevel::Error) return;
        const RWMutexLock::LockGuard guard(m_lock);
        m_findings.Note("log", "no error", std::string(record.scope) + " " + record.text.data());
    }

    std::optional<Finding> First() const {
        const RWMutexLock::LockGuard guard(m_lock);
        return m_findings.First();
    }

private:
    RyPLogSink* const m_former;
    mutable RWMutexLock m_lock;
    Findings m_findings RYP_GUARDED_BY(m_lock);
};

/// A hook that throws ends the loop; run again, it goes on with the slice in hand.
void RunPackLoop(CKZStatGenMain& main) {
    for (bool isRunning = true; isRunning;) {
        try {
            main.doPackWork();
            isRunning = false;
        } catch (const HookFailure&) {
            std::this_thread::yield();
        }
    }
}

/// The two loops of a generator on threads of their own. Owned by the thread that made it.
class Loops {
public:
    explicit Loops(CKZStatGenMain& main)
        : m_main(main),
          m_pack([&main] { RunPackLoop(main); }),
          m_garbage([&main] { main.doGarbageWork(); }) {}

    /// Called once.
    void End() {
        m_main.Terminate();
        m_main.WaitForTerminateToEnd();
        m_pack.join();
        m_garbage.join();
    }

private:
    CKZStatGenMain& m_main;
    std::thread m_pack;
    std::thread m_garbage;
};

/// A thread that pauses the generator now and then until it is destroyed. Owned by the thread that
/// made it.
class Pauser {
public:
    Pauser(StressGenerator& generator, const RoundKey& key)
        : m_thread([&generator, dice = Dice(key, PauseDice)](const std::stop_token& stop) mutable {
              while (!stop.stop_requested()) {
                  generator.PauseFor(dice.OneIn(2) ? 0 : 0.0001 * dice.Between(0, 10));
                  std::this_thread::sleep_for(dice.UpToMilliseconds(10));
              }
          }) {}

private:
    std::jthread m_thread;
};

/// One round on its way. Owned by the thread that made it.
class Round {
public:
    Round(const RoundKey& key, const Settings& settings, Watchdog& watchdog)
        : m_key(key),
          m_settings(settings),
          m_watchdog(watchdog),
          m_generator(key, settings.sliceLength),
          m_shared(m_generator, kSharedClientId),
          m_control(m_generator, kControlClientId),
          m_pool(m_generator) {
        const double past = settings.slicesInThePast * settings.sliceLength;
        m_generator.Start(RyPSysTime() - past, settings.sliceLength);
    }

    /// Returns when no thread of the round is left. `clock` is null on the real clock.
    void Run(RyPTestClock* clock) {
        // Ends last of all threads.
        std::optional<ClockDriver> driver;
        if (clock != nullptr) driver.emplace(*clock, m_generator, m_key);
        Loops loops(m_generator);
        const Pauser pauser(m_generator, m_key);
        StartClients();
        m_watchdog.WaitsFor(m_key.round, "the time of the round");
        std::this_thread::sleep_for(m_settings.duration);
        if (m_settings.endsAtOnce) {
            EndLoops(loops);
            StopClients();
        } else {
            StopClients();
            Drain();
            EndLoops(loops);
        }
        m_watchdog.WaitsFor(m_key.round, "the clock and the pauses to end");
    }

    /// REQUIRES: `Run` has returned.
    RoundResult Compare() const {
        Books books = m_generator.GetBooks();
        for (const auto& client : m_clients) books.Add(client->GetBooks());
        Findings findings = m_generator.GetFindings();
        const Ledger& ledger = m_generator.GetLedger();
        ledger.CheckThatClientsAddUp(findings);
        ledger.CheckForNoMoreThan(books, findings);
        if (!m_settings.endsAtOnce) ledger.CheckAgainst(books, findings);
        ledger.CheckDistributionsForNoMoreThan(books, findings);
        if (!m_settings.endsAtOnce && m_generator.CollectsDistributions())
            ledger.CheckDistributionsAgainst(books, findings);
        CheckHolds(findings);
        return {books.CountOfAll(), m_generator.MessageCount(), m_generator.Throws(),
                findings.First()};
    }

private:
    void StartClients() {
        for (unsigned i = 0; i < m_settings.clientThreads; ++i)
            m_clients.push_back(std::make_unique<ClientThread>(
                Company{m_generator, m_shared, m_pool, m_settings.destroysClients,
                        m_settings.clientsTerminate},
                m_key, i));
    }

    /// How many clients are gone. Each may have left a hold behind.
    int Destroyed() const {
        constexpr int kTimekeeper = 1;  // of the garbage loop
        int destroyed = m_pool.Destroyed() + kTimekeeper;
        for (const auto& client : m_clients) destroyed += client->Destroyed();
        return destroyed;
    }

    /// A slice that was not freed is held once for each client that is in it, and for those that
    /// are gone.
    void CheckHolds(Findings& findings) const {
        int withoutClient = 0;
        CKZStatGenTestPeer::ForEachSlice(m_generator, [&](CKZStatGenSlice& slice) {
            const int clients = CKZStatGenTestPeer::ClientsIn(slice);
            const int holds = slice.GetCountZ0();
            if (holds < clients)
                findings.Note("holds of a slice", std::to_string(clients), std::to_string(holds));
            withoutClient += holds - clients;
        });
        if (withoutClient > Destroyed())
            findings.Note("holds without a client", std::to_string(Destroyed()) + " at most",
                          std::to_string(withoutClient));
    }

    void StopClients() {
        m_watchdog.WaitsFor(m_key.round, "the client threads to end");
        for (const auto& client : m_clients) client->Stop();
        for (const auto& client : m_clients) client->Join();
    }

    void EndLoops(Loops& loops) {
        m_watchdog.WaitsFor(m_key.round, "both loops to end");
        loops.End();
    }

    /// Until everything that was reported was sent. The machine may be slower than the slices are
    /// short: what is sent while more of them end is sent once.
    void Drain() {
        m_generator.Quieten();
        m_watchdog.WaitsFor(m_key.round, "the last values of hooks to be reported");
        // When a message more was sent, the hook is over that may still have been reporting.
        const int messages = m_generator.MessageCount();
        while (m_generator.MessageCount() == messages) LetTimePass();
        m_watchdog.WaitsFor(m_key.round, "all values to be sent");
        const double end = CurrentEnd();
        double seen = 0;
        for (double sent; (sent = m_generator.LastSentEnd()) < end; seen = sent) {
            if (sent > seen) m_watchdog.NotesProgress();
            LetTimePass();
        }
    }

    double CurrentEnd() {
        m_control.client->GetNewDictionary();
        return m_control.client->GetCurrentEndTime();
    }

    void LetTimePass() {
        std::this_thread::sleep_for(kPauseBetweenLooks);
        m_control.client->GetNewDictionary();
    }

    const RoundKey m_key;
    const Settings m_settings;
    Watchdog& m_watchdog;
    StressGenerator m_generator;
    // Declared after the generator, so that every client is gone before it.
    Handle m_shared;
    Handle m_control;
    ClientPool m_pool;
    std::vector<std::unique_ptr<ClientThread>> m_clients;
};

}  // namespace

RoundResult RunRound(const RoundKey& key, Watchdog& watchdog) {
    Dice dice(key, SettingsDice);
    const Settings settings(dice);
    setenv("LGStatsCacheSize", std::to_string(settings.cacheSize).c_str(), 1);
    const ErrorLog log;
    std::optional<RyPTestClock> clock;
    if (settings.steppedClock) clock.emplace(kTestClockStart);
    RoundResult result;
    {
        Round round(key, settings, watchdog);
        round.Run(clock ? &*clock : nullptr);
        result = round.Compare();
        watchdog.WaitsFor(key.round, "the generator to be destroyed");
    }
    if (!result.finding) result.finding = log.First();
    return result;
}

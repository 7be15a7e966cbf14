// A host with a generator of its own: it wants the totals of every client, which a run does not
// tell, and so it also runs the two loops and ends them without losing the last values.

#include <kzstatisticsgenerator.h>
#include <ryp/clock.h>

#include <condition_variable>
#include <cstdio>
#include <map>
#include <mutex>
#include <thread>

namespace {

constexpr double kSliceSeconds = 0.2;

struct Logins {
    int count;
    double average;
};

/// Keeps how often and how long each client logged in. Safe for concurrent use.
class Host : public CKZStatGenMain {
public:
    Host() : CKZStatGenMain("my-load") {}

    void SendClientDictionary(CKZStatGenMeasurementDictionary* client, int id, double) override {
        const int count = client->GetCount("login");
        if (count < 0) return;  // has not logged in, like the generator's own client
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_logins[id] = {count, client->GetAverage("login")};
    }
    void SendTotalDictionary(CKZStatGenMeasurementDictionary*, double, double) override {}
    // The last hook of a slice.
    int SendDictionaryString(RWCString&, double elapsed, const char*) override {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_sentUntil = elapsed;
        m_sent.notify_all();
        return 1;
    }

    /// What is known once the slice that ends at `elapsed` has been sent.
    std::map<int, Logins> WaitForLogins(double elapsed) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_sent.wait(lock, [&] { return m_sentUntil >= elapsed; });
        return m_logins;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_sent;
    double m_sentUntil = 0;
    std::map<int, Logins> m_logins;
};

/// Runs the loops of a generator as long as it lives.
class Loops {
public:
    explicit Loops(CKZStatGenMain& generator)
        : m_generator(generator),
          m_pack([&generator] { generator.doPackWork(); }),
          m_garbage([&generator] { generator.doGarbageWork(); }) {}
    ~Loops() {
        m_generator.Terminate();
        m_generator.WaitForTerminateToEnd();
        m_pack.join();
        m_garbage.join();
    }
    Loops(const Loops&) = delete;
    Loops& operator=(const Loops&) = delete;

private:
    CKZStatGenMain& m_generator;
    std::thread m_pack;
    std::thread m_garbage;
};

}  // namespace

int main() {
    const double start = RyPSysTime();
    Host host;
    host.Start(start, kSliceSeconds);
    // Destroyed from the last to the first: loops, clients, generator.
    CKZStatGenClient first(&host, 1);
    CKZStatGenClient second(&host, 2);
    const Loops loops(host);

    for (const double time : {10, 30}) first.AddLast("login", time, CKZStatPointTypeEnum::Timer);
    for (const double time : {50, 70, 90})
        second.AddLast("login", time, CKZStatPointTypeEnum::Timer);

    second.GetNewDictionary();  // in the current slice, which is the last one with values
    const double end = second.GetCurrentEndTime();
    RyPSleep(end - RyPSysTime());
    second.GetNewDictionary();  // begins the next slice, which sends the last one
    for (const auto& [id, logins] : host.WaitForLogins(end - start))
        std::printf("client %d: %d logins, %g ms each\n", id, logins.count, logins.average);
    return 0;
}

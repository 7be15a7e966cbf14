#ifndef KZLOAD_LOADTHREAD_H
#define KZLOAD_LOADTHREAD_H

#include <curl/curl.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <queue>
#include <thread>
#include <vector>

#include "kzstatrun.h"
#include "loadstate.h"
#include "simulatedclient.h"

namespace kzload {

/// One thread that carries out the requests of its clients, any number of them at a time.
///
/// Owned by the thread that made it; once `Start` is called the clients are the load thread's
/// until `Join` returns.
class LoadThread {
public:
    /// `state` and `run` must outlive the thread.
    LoadThread(std::vector<std::unique_ptr<SimulatedClient>> clients,
               std::chrono::milliseconds thinkTime, LoadState& state, CKZStatRun& run);
    /// Stops and joins.
    ~LoadThread();
    LoadThread(const LoadThread&) = delete;
    LoadThread& operator=(const LoadThread&) = delete;

    void Start();
    /// No new requests from now on. Those in flight may end within two seconds, then they are
    /// cut off. Returns at once.
    void Stop();
    /// Waits for the thread's end; returns at once where it does not run.
    void Join();

private:
    using Clock = std::chrono::steady_clock;

    struct Wait {
        Clock::time_point end;
        SimulatedClient* client;
        bool operator>(const Wait& other) const { return end > other.end; }
    };

    void Run();
    void LetAllClientsWait();
    void BeginDueRequests();
    void Begin(SimulatedClient& client);
    void EndFinishedRequests();
    void End(CURL* transfer, CURLcode result);
    void Tell(const Outcome& outcome);
    Clock::duration PauseAfter(const Outcome& outcome) const;
    void DismissWaitingClients();
    void CutOffRequestsInFlight();
    void WaitForEvents(Clock::time_point end);
    Clock::time_point NextDueTime() const;

    const std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> m_transfers;
    const std::vector<std::unique_ptr<SimulatedClient>> m_clients;
    const std::chrono::milliseconds m_thinkTime;
    LoadState& m_state;
    CKZStatRun& m_run;  // learns how late requests begin
    // The load thread's alone. Each client is in flight, waiting, or dismissed.
    std::priority_queue<Wait, std::vector<Wait>, std::greater<>> m_waiting;
    std::size_t m_inFlight;
    std::atomic<bool> m_stopping;
    std::thread m_thread;
};

}  // namespace kzload

#endif

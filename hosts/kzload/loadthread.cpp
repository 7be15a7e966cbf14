#include "loadthread.h"

#include <algorithm>
#include <utility>

#include "kzjournalerror.h"

namespace kzload {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kMaxStartSpread(1);
constexpr seconds kTimeToFinish(2);
constexpr milliseconds kMinPauseAfterFailure(100);
constexpr seconds kMaxSleep(1);

}  // namespace

LoadThread::LoadThread(std::vector<std::unique_ptr<SimulatedClient>> clients,
                       milliseconds thinkTime, LoadState& state, CKZStatRun& run)
    : m_transfers(curl_multi_init(), curl_multi_cleanup),
      m_clients(std::move(clients)),
      m_thinkTime(thinkTime),
      m_state(state),
      m_run(run),
      m_inFlight(0),
      m_stopping(false) {
    if (m_transfers == nullptr) throw kzjournal::Error("no memory for a load thread's transfers");
    // A connection for every client is kept, also while most of them think.
    curl_multi_setopt(m_transfers.get(), CURLMOPT_MAXCONNECTS, static_cast<long>(m_clients.size()));
}

LoadThread::~LoadThread() {
    Stop();
    Join();
}

void LoadThread::Start() {
    m_thread = std::thread([this] { Run(); });
}

void LoadThread::Stop() {
    m_stopping = true;
    curl_multi_wakeup(m_transfers.get());
}

void LoadThread::Join() {
    if (m_thread.joinable()) m_thread.join();
}

void LoadThread::Run() {
    LetAllClientsWait();
    while (!m_stopping) {
        BeginDueRequests();
        EndFinishedRequests();
        WaitForEvents(NextDueTime());
    }
    DismissWaitingClients();
    const Clock::time_point end = Clock::now() + kTimeToFinish;
    while (m_inFlight > 0 && Clock::now() < end) {
        WaitForEvents(end);
        EndFinishedRequests();
    }
    CutOffRequestsInFlight();
}

/// The first requests are spread over a think time: users do not all come at the same moment.
void LoadThread::LetAllClientsWait() {
    const Clock::duration start = std::min<Clock::duration>(m_thinkTime, kMaxStartSpread);
    const Clock::time_point now = Clock::now();
    for (std::size_t i = 0; i < m_clients.size(); ++i)
        m_waiting.push({now + start * i / m_clients.size(), m_clients[i].get()});
}

void LoadThread::BeginDueRequests() {
    const Clock::time_point now = Clock::now();
    if (NextDueTime() > now) return;
    // The first one has waited longest.
    m_run.NoteLateness(std::chrono::duration<double>(now - NextDueTime()).count());
    while (NextDueTime() <= now) {
        SimulatedClient& client = *m_waiting.top().client;
        m_waiting.pop();
        Begin(client);
    }
}

void LoadThread::Begin(SimulatedClient& client) {
    CURL* const transfer = client.BeginRequest();
    ++m_inFlight;
    if (curl_multi_add_handle(m_transfers.get(), transfer) != CURLM_OK)
        End(transfer, CURLE_OUT_OF_MEMORY);
}

void LoadThread::EndFinishedRequests() {
    int running = 0;
    curl_multi_perform(m_transfers.get(), &running);
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(m_transfers.get(), &left))
        if (message->msg == CURLMSG_DONE) End(message->easy_handle, message->data.result);
}

void LoadThread::End(CURL* transfer, CURLcode result) {
    curl_multi_remove_handle(m_transfers.get(), transfer);
    SimulatedClient& client = SimulatedClient::Of(transfer);
    const Outcome outcome = client.EndRequest(result);
    --m_inFlight;
    Tell(outcome);
    if (m_stopping) {
        client.Leave();
    } else {
        m_waiting.push({Clock::now() + PauseAfter(outcome), &client});
    }
}

void LoadThread::Tell(const Outcome& outcome) {
    if (outcome.failure == Failure::Connect)
        m_state.ConnectFailed(outcome.cause, outcome.isFirstConnectFailure);
    else
        m_state.Connected();
    m_state.RequestMade();
}

/// A client whose request failed thinks for a moment at least, so that a server that is down is
/// not tried at full speed.
LoadThread::Clock::duration LoadThread::PauseAfter(const Outcome& outcome) const {
    if (outcome.failure == Failure::None) return m_thinkTime;
    return std::max(m_thinkTime, kMinPauseAfterFailure);
}

void LoadThread::DismissWaitingClients() {
    for (; !m_waiting.empty(); m_waiting.pop()) m_waiting.top().client->Leave();
}

void LoadThread::CutOffRequestsInFlight() {
    for (const auto& client : m_clients) {
        CURL* const transfer = client->RequestInFlight();
        if (transfer == nullptr) continue;
        curl_multi_remove_handle(m_transfers.get(), transfer);
        client->CutOffRequest();
        --m_inFlight;
        m_state.RequestMade();
        client->Leave();
    }
}

LoadThread::Clock::time_point LoadThread::NextDueTime() const {
    return m_waiting.empty() ? Clock::time_point::max() : m_waiting.top().end;
}

/// Sleeps until `end`, until a transfer has something to do, or until `Stop`.
void LoadThread::WaitForEvents(Clock::time_point end) {
    const Clock::time_point now = Clock::now();
    if (end <= now) return;
    const auto sleep = std::min<Clock::duration>(end - now, kMaxSleep);
    // Rounded up: waking too early would mean to look again at once, over and over.
    const auto whole = std::chrono::ceil<milliseconds>(sleep);
    curl_multi_poll(m_transfers.get(), nullptr, 0, static_cast<int>(whole.count()), nullptr);
}

}  // namespace kzload

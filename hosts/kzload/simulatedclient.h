#ifndef KZLOAD_SIMULATEDCLIENT_H
#define KZLOAD_SIMULATEDCLIENT_H

#include <curl/curl.h>

#include <memory>
#include <random>
#include <string>

#include "kzstatisticsgenerator.h"
#include "statnames.h"

namespace kzload {

/// What is loaded.
struct Target {
    std::string url;
    bool isShop;  // the demo server: each step has a path of its own; otherwise all get `url`
};

/// How a request ended.
struct Outcome {
    Failure failure;
    long status;        // of the answer; 0 where there is none
    std::string cause;  // of a failure, for the user
    bool isFirstConnectFailure;
};

/// One simulated user: logs in, browses a few items, logs out and begins again. It makes one
/// request at a time and reports its values under its own client id.
///
/// Owned by one load thread at a time.
class SimulatedClient {
public:
    /// `generator` must outlive the client and be started before the first request.
    SimulatedClient(int id, CKZStatGenMain& generator, const Target& target);

    /// Prepares the request of the present step and starts its timer. Returns the transfer, which
    /// the client owns, for the caller to carry out.
    CURL* BeginRequest();
    /// Ends the request in flight as `result` says, reports its values, and steps on.
    Outcome EndRequest(CURLcode result);
    /// Ends the request in flight without an answer, and reports that.
    void AbortRequest();

    /// The transfer while a request is in flight, otherwise null.
    CURL* RequestInFlight() const { return m_inFlight ? m_transfer.get() : nullptr; }

    /// The client whose `BeginRequest` returned `transfer`.
    static SimulatedClient& Of(CURL* transfer);

private:
    template <class Value>
    void Set(CURLoption option, Value value);
    void SetUpTransfer();
    void PrepareShopRequest();
    Outcome Judge(CURLcode result) const;
    Failure FailureOf(CURLcode result) const;
    std::string CauseOf(CURLcode result) const;
    double BytesReceived() const;
    void Report(const Outcome& outcome);
    void Add(const Stat& stat, double value) { m_statistics.AddLast(stat.name, value, stat.type); }
    void StepOn();

    const int m_id;
    const Target m_target;
    CKZStatGenClient m_statistics;
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> m_transfer;
    char m_errorText[CURL_ERROR_SIZE];
    std::minstd_rand m_random;
    Transaction m_step;
    int m_itemsToBrowse;
    bool m_inFlight;
    bool m_couldAlwaysConnect;
};

}  // namespace kzload

#endif

#ifndef KZLOAD_SIMULATEDCLIENT_H
#define KZLOAD_SIMULATEDCLIENT_H

#include <curl/curl.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "kzstatrun.h"
#include "kzstatstopwatch.h"
#include "statnames.h"

namespace kzload {

/// The steps of a visit to the shop.
enum class Transaction { Login, Browse, Logout };

/// What is loaded: the demo server with the steps of a visit, or one URL.
class Target {
public:
    /// The shop of the demo server at `url`.
    static Target Shop(const std::string& url);
    /// All requests get `url`; the results call them `name`.
    static Target Of(const std::string& url, const std::string& name);

    const std::string& Url() const { return m_url; }
    bool IsShop() const { return m_isShop; }
    /// REQUIRES: `IsShop()`, or the first one.
    const TransactionNames& NamesOf(Transaction step) const {
        return m_names[static_cast<std::size_t>(step)];
    }

private:
    Target(std::string url, bool isShop, std::vector<TransactionNames> names)
        : m_url(std::move(url)), m_isShop(isShop), m_names(std::move(names)) {}

    std::string m_url;
    bool m_isShop;
    std::vector<TransactionNames> m_names;  // by step
};

/// How a request ended.
struct Outcome {
    Failure failure;
    long status;        // of the answer; 0 where there is none
    std::string cause;  // of a failure, for the user
    bool isFirstConnectFailure;

    bool IsError() const { return failure != Failure::None || status >= kLowestBadStatus; }
};

/// One simulated user. In the shop it logs in, browses a few items, logs out and begins again. It
/// makes one request at a time and reports its values through its handle. It is part of the load
/// until it leaves.
///
/// Owned by one load thread at a time.
class SimulatedClient {
public:
    /// `target` must outlive the client.
    SimulatedClient(CKZStatRunClient statistics, const Target& target);

    /// Prepares the request of the present step and starts to time it. Returns the transfer, which
    /// the client owns, for the caller to carry out. REQUIRES: the client has not left.
    CURL* BeginRequest();
    /// Ends the request in flight as `result` says, reports its values, and steps on.
    Outcome EndRequest(CURLcode result);
    /// Ends the request in flight as cut off by the end of the load.
    void CutOffRequest();
    /// No request follows. REQUIRES: none is in flight.
    void Leave() { m_statistics.reset(); }

    /// The transfer while a request is in flight, otherwise null.
    CURL* RequestInFlight() const { return m_timing ? m_transfer.get() : nullptr; }

    /// The client whose `BeginRequest` returned `transfer`.
    static SimulatedClient& Of(CURL* transfer);

private:
    template <class Value>
    void Set(CURLoption option, Value value);
    void SetUpTransfer();
    static int OnAttempt(void* self, char*, char*, int, int);
    static std::size_t OnHeader(char* line, std::size_t, std::size_t size, void* self);
    void PrepareShopRequest();
    Outcome Judge(CURLcode result) const;
    Failure FailureOf(CURLcode result) const;
    std::string CauseOf(CURLcode result) const;
    double BytesReceived() const;
    void Report(const Outcome& outcome);
    void ReportTransaction(const Outcome& outcome, double milliseconds);
    void Add(const Stat& stat, double value) { m_statistics->AddLast(stat.name, value, stat.type); }
    void Add(const std::string& name, double value, Type::PointType type) {
        m_statistics->AddLast(name.c_str(), value, type);
    }
    void StepOn();

    const int m_id;
    const Target& m_target;
    std::optional<CKZStatRunClient> m_statistics;  // none once it has left
    std::optional<CKZStatStopwatch> m_timing;      // while a request is in flight
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> m_transfer;
    char m_errorText[CURL_ERROR_SIZE];
    int m_attempts;         // at sending the request in flight
    bool m_hasWholeHeader;  // of its answer
    std::minstd_rand m_random;
    Transaction m_step;
    int m_itemsToBrowse;
    bool m_couldAlwaysConnect;
};

}  // namespace kzload

#endif

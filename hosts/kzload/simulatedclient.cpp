#include "simulatedclient.h"

#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "kzjournalerror.h"

namespace kzload {
namespace {

constexpr long kTimeOutMilliseconds = 10000;
constexpr unsigned kItems = 1000;
constexpr unsigned kMinVisits = 2;
constexpr unsigned kMaxVisits = 5;

// In the order of the enumeration; also the paths in the shop.
constexpr const char* kSteps[] = {"login", "browse", "logout"};

std::size_t Discard(char*, std::size_t size, std::size_t count, void*) {
    return size * count;
}

template <class Value>
Value Info(CURL* transfer, CURLINFO what) {
    Value value{};
    curl_easy_getinfo(transfer, what, &value);
    return value;
}

}  // namespace

Target Target::Shop(const std::string& url) {
    std::vector<TransactionNames> names;
    for (const char* const step : kSteps) names.emplace_back(step);
    return {url, true, std::move(names)};
}

Target Target::Of(const std::string& url, const std::string& name) {
    return {url, false, {TransactionNames(name)}};
}

SimulatedClient::SimulatedClient(CKZStatRunClient statistics, const Target& target)
    : m_id(statistics.GetId()),
      m_target(target),
      m_statistics(std::move(statistics)),
      m_transfer(curl_easy_init(), curl_easy_cleanup),
      m_errorText{},
      m_attempts(0),
      m_hasWholeHeader(false),
      m_random(static_cast<unsigned>(m_id)),
      m_step(Transaction::Login),
      m_itemsToBrowse(0),
      m_couldAlwaysConnect(true) {
    if (m_transfer == nullptr) throw kzjournal::Error("no memory for a client's transfers");
    SetUpTransfer();
}

template <class Value>
void SimulatedClient::Set(CURLoption option, Value value) {
    const CURLcode status = curl_easy_setopt(m_transfer.get(), option, value);
    if (status != CURLE_OK)
        throw kzjournal::Error(std::string("cannot set up a transfer: ") +
                               curl_easy_strerror(status));
}

void SimulatedClient::SetUpTransfer() {
    Set(CURLOPT_PRIVATE, this);
    Set(CURLOPT_URL, m_target.Url().c_str());
    Set(CURLOPT_PROTOCOLS_STR, "http,https");
    // One connection per request in flight, and straight to the server: a proxy that the
    // environment names would be measured in its place.
    Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    Set(CURLOPT_PROXY, "");
    Set(CURLOPT_NOSIGNAL, 1L);
    Set(CURLOPT_TIMEOUT_MS, kTimeOutMilliseconds);
    Set(CURLOPT_USERAGENT, "kzload");
    Set(CURLOPT_WRITEFUNCTION, &Discard);
    Set(CURLOPT_PREREQFUNCTION, &OnAttempt);
    Set(CURLOPT_PREREQDATA, this);
    Set(CURLOPT_HEADERFUNCTION, &OnHeader);
    Set(CURLOPT_HEADERDATA, this);
    Set(CURLOPT_ERRORBUFFER, m_errorText);
}

/// Called before a request is sent. The transfer library sends one again if the server closes a
/// connection that was used before; to the user these are two requests, the first of which failed.
int SimulatedClient::OnAttempt(void* self, char*, char*, int, int) {
    SimulatedClient& client = *static_cast<SimulatedClient*>(self);
    return ++client.m_attempts == 1 ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
}

/// To the transfer library an answer that ends within its header is complete.
std::size_t SimulatedClient::OnHeader(char* line, std::size_t, std::size_t size, void* self) {
    const std::string_view text(line, size);
    bool& isWhole = static_cast<SimulatedClient*>(self)->m_hasWholeHeader;
    // Another one follows that of an interim answer; trailers of the body are none.
    if (text.starts_with("HTTP/")) isWhole = false;
    if (text == "\r\n" || text == "\n") isWhole = true;
    return size;
}

SimulatedClient& SimulatedClient::Of(CURL* transfer) {
    return *static_cast<SimulatedClient*>(Info<void*>(transfer, CURLINFO_PRIVATE));
}

CURL* SimulatedClient::BeginRequest() {
    if (m_target.IsShop()) PrepareShopRequest();
    m_errorText[0] = '\0';
    m_attempts = 0;
    m_hasWholeHeader = false;
    m_timing.emplace(*m_statistics, kRequestTime.name);
    return m_transfer.get();
}

void SimulatedClient::PrepareShopRequest() {
    std::string url = m_target.Url() + "/" + kSteps[static_cast<std::size_t>(m_step)];
    if (m_step == Transaction::Browse) {
        url += "?item=" + std::to_string(m_random() % kItems);
        Set(CURLOPT_HTTPGET, 1L);
    } else {
        Set(CURLOPT_COPYPOSTFIELDS, ("user=" + std::to_string(m_id)).c_str());
    }
    Set(CURLOPT_URL, url.c_str());
}

Outcome SimulatedClient::EndRequest(CURLcode result) {
    Outcome outcome = Judge(result);
    if (outcome.failure == Failure::Connect)
        outcome.isFirstConnectFailure = std::exchange(m_couldAlwaysConnect, false);
    Report(outcome);
    StepOn();
    return outcome;
}

void SimulatedClient::CutOffRequest() {
    m_timing->Abandon();
    m_timing.reset();
}

Outcome SimulatedClient::Judge(CURLcode result) const {
    const auto status = Info<long>(m_transfer.get(), CURLINFO_RESPONSE_CODE);
    if (result != CURLE_OK) return {FailureOf(result), 0, CauseOf(result), false};
    if (!m_hasWholeHeader) return {Failure::Closed, 0, "the answer ended within its header", false};
    const long statusClass = status / 100;
    if (statusClass < kLowestClass || statusClass > kHighestClass)
        return {Failure::Other, 0, "no valid status", false};
    return {Failure::None, status, "", false};
}

Failure SimulatedClient::FailureOf(CURLcode result) const {
    if (m_attempts > 1) return Failure::Closed;
    switch (result) {
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_CONNECT:
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_PEER_FAILED_VERIFICATION:
            // It was sent before, where this connection was meant for a second attempt.
            return m_attempts == 0 ? Failure::Connect : Failure::Closed;
        case CURLE_OPERATION_TIMEDOUT:
            return m_attempts == 0 ? Failure::Connect : Failure::Timeout;
        case CURLE_GOT_NOTHING:
        case CURLE_PARTIAL_FILE:
        case CURLE_RECV_ERROR:
        case CURLE_SEND_ERROR:
            return Failure::Closed;
        default:
            return Failure::Other;
    }
}

std::string SimulatedClient::CauseOf(CURLcode result) const {
    const auto systemError = Info<long>(m_transfer.get(), CURLINFO_OS_ERRNO);
    if (result == CURLE_COULDNT_CONNECT && systemError == ECONNREFUSED)
        return std::string(std::strerror(ECONNREFUSED)) + " - is the server running?";
    return m_errorText[0] != '\0' ? m_errorText : curl_easy_strerror(result);
}

double SimulatedClient::BytesReceived() const {
    const auto body = Info<curl_off_t>(m_transfer.get(), CURLINFO_SIZE_DOWNLOAD_T);
    const auto header = Info<long>(m_transfer.get(), CURLINFO_HEADER_SIZE);
    return static_cast<double>(body + header);
}

void SimulatedClient::Report(const Outcome& outcome) {
    const double milliseconds =
        outcome.IsError() ? m_timing->Fail(OutcomeName(outcome.failure, outcome.status).c_str())
                          : m_timing->Stop();
    m_timing.reset();
    const double bytes = BytesReceived();
    Add(kRequestBytes, bytes);
    Add(kBytesRate, bytes);
    if (outcome.failure == Failure::None) Add(ResponseStat(outcome.status), 1);
    ReportTransaction(outcome, milliseconds);
    // The last of them: where this value is counted, all the others of the request are.
    Add(kRequestsRate, 1);
}

void SimulatedClient::ReportTransaction(const Outcome& outcome, double milliseconds) {
    const TransactionNames& names = m_target.NamesOf(m_step);
    Add(outcome.IsError() ? names.failedTime : names.time, milliseconds, kTransactionTimeType);
    Add(names.count, 1, kTransactionCountType);
    Add(names.reasons + OutcomeName(outcome.failure, outcome.status), 1, kReasonType);
}

void SimulatedClient::StepOn() {
    if (!m_target.IsShop()) return;
    switch (m_step) {
        case Transaction::Login:
            m_itemsToBrowse =
                static_cast<int>(kMinVisits + m_random() % (kMaxVisits - kMinVisits + 1));
            m_step = Transaction::Browse;
            return;
        case Transaction::Browse:
            if (--m_itemsToBrowse == 0) m_step = Transaction::Logout;
            return;
        case Transaction::Logout:
            m_step = Transaction::Login;
            return;
    }
}

}  // namespace kzload

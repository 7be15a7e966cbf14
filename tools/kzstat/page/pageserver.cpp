#include "page/pageserver.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

#include "http/hostname.h"
#include "kzjournalerror.h"
#include "page/metrics.h"
#include "page/pagejson.h"

namespace kzstatprogram {
namespace {

constexpr int kSeeOther = 303;
constexpr int kBadRequest = 400;
constexpr int kUnauthorized = 401;
constexpr int kForbidden = 403;
constexpr int kNotFound = 404;
constexpr int kNotAllowed = 405;
constexpr int kUnavailable = 503;

/// Leaves connections for those who ask only once.
constexpr int kMaxStreams = 32;
constexpr std::chrono::seconds kHeartbeat{5};

constexpr int kDefaultSlices = 100;
constexpr int kMaxSlices = 1000;

constexpr char kMetricsType[] = "text/plain; version=0.0.4; charset=utf-8";
constexpr char kTokenParameter[] = "token";
constexpr std::string_view kBearer = "Bearer ";

std::string UrlOf(const std::string& address, int port, bool hasTls) {
    const bool isIPv6 = address.find(':') != std::string::npos;
    return std::string(hasTls ? "https://" : "http://") + (isIPv6 ? "[" + address + "]" : address) +
           ":" + std::to_string(port) + "/";
}

HttpAnswer Complaint(int status, const std::string& text) {
    HttpAnswer answer;
    answer.status = status;
    answer.text = text + "\n";
    return answer;
}

/// A parameter in digits; `usual` where it is missing, nothing where it is no such number.
std::optional<int> NumberParameter(const HttpRequest& request, const char* name, int usual) {
    const std::optional<std::string> text = request.Parameter(name);
    if (!text) return usual;
    int number = 0;
    const char* const textEnd = text->data() + text->size();
    const auto [end, error] = std::from_chars(text->data(), textEnd, number);
    if (error != std::errc() || end != textEnd || number < 0) return std::nullopt;
    return number;
}

/// The one that was given, or one that is made where strangers may ask.
std::optional<AccessToken> TokenFor(const PageServerOptions& options, bool isLocal) {
    if (options.token || isLocal) return options.token;
    return AccessToken::Random();
}

}  // namespace

PageServer::PageServer(const RunOpener& runs, const std::string& name,
                       const PageServerOptions& options)
    : m_address(options.address),
      m_history(runs, name),
      m_slices(runs, name),
      m_socket(options.address, options.port),
      m_isLocal(m_socket.IsLoopback()),
      m_token(TokenFor(options, m_isLocal)),
      // A browser sends the cookies of all ports of a machine to each.
      m_cookie("kzstat-" + std::to_string(m_socket.Port())),
      m_cookieAttributes(std::string("; Path=/; HttpOnly; SameSite=Strict") +
                         (options.identity.certificate.empty() ? "" : "; Secure")),
      m_url(UrlOf(m_address, m_socket.Port(), !options.identity.certificate.empty()) +
            (m_token && !options.token ? "?token=" + m_token->Text() : "")) {
    m_server.emplace(m_socket, options.identity,
                     [this](const HttpRequest& request) { return Answer(request); });
}

PageServer::~PageServer() {
    m_isStopping = true;
    m_history.Stop();
}

HttpAnswer PageServer::Answer(const HttpRequest& request) {
    HttpAnswer answer;
    if (std::optional<HttpAnswer> refusal = Refusal(request))
        answer = std::move(*refusal);
    else if (m_token && request.Parameter(kTokenParameter))
        answer = KeepToken();
    else if (request.path == "/")
        answer = Page();
    else if (request.path == "/metrics")
        answer = Metrics();
    else if (request.path == "/api/slices")
        answer = Slices(request);
    else if (request.path == "/api/events")
        answer = Events(request);
    else
        answer = Complaint(kNotFound, "There is /, /metrics, /api/slices and /api/events.");
    answer.fields.insert(answer.fields.end(), {{"Cache-Control", "no-store"},
                                               {"X-Content-Type-Options", "nosniff"},
                                               {"Referrer-Policy", "no-referrer"}});
    return answer;
}

std::optional<HttpAnswer> PageServer::Refusal(const HttpRequest& request) const {
    if (request.method != "GET" && request.method != "HEAD")
        return Complaint(kNotAllowed, "Only GET and HEAD are answered.");
    const std::vector<std::string> hosts = request.Fields("Host");
    const std::optional<std::string> host =
        hosts.size() == 1 ? HostIn(hosts.front()) : std::nullopt;
    if (!host) return Complaint(kBadRequest, "A request needs one Host field.");
    // A page from elsewhere may give its own name to this machine's address and then read what is
    // only for those who sit here: the host tells. Where other machines are let in, this one may
    // have any name, and the token keeps such a page out.
    if (m_isLocal && !IsLoopback(*host) && !IsSameHost(*host, m_address))
        return Complaint(kForbidden, "Ask for localhost.");
    if (m_token && !HasToken(request)) {
        HttpAnswer answer =
            Complaint(kUnauthorized,
                      "Open the address with ?token=TOKEN, or send Authorization: Bearer TOKEN.");
        answer.fields.emplace_back("WWW-Authenticate", "Bearer");
        return answer;
    }
    return std::nullopt;
}

bool PageServer::HasToken(const HttpRequest& request) const {
    for (const std::optional<std::string>& given :
         {request.Parameter(kTokenParameter), request.Cookie(m_cookie)})
        if (given && m_token->IsSame(*given)) return true;
    for (const std::string& field : request.Fields("Authorization"))
        if (strncasecmp(field.c_str(), kBearer.data(), kBearer.size()) == 0 &&
            m_token->IsSame(field.substr(kBearer.size())))
            return true;
    return false;
}

/// An address is shown, kept and copied: the token leaves it as soon as the browser has the cookie.
/// An event stream of a browser sends no field but cookies. The way is always to the page, since a
/// path that was asked for may lead a browser to another host: //elsewhere does.
HttpAnswer PageServer::KeepToken() const {
    HttpAnswer answer = Complaint(kSeeOther, "The token is kept in a cookie.");
    answer.fields.emplace_back("Location", "/");
    answer.fields.emplace_back("Set-Cookie", m_cookie + "=" + m_token->Text() + m_cookieAttributes);
    return answer;
}

HttpAnswer PageServer::Page() const {
    HttpAnswer answer;
    answer.type = "text/html; charset=utf-8";
    answer.text = PageWithoutData();
    return answer;
}

HttpAnswer PageServer::Metrics() {
    HttpAnswer answer;
    answer.type = kMetricsType;
    const auto nextPart = [this, position = MetricsPosition()]() mutable {
        std::string text;
        m_history.Look(
            [&](const RunHistory& history) { text = NextMetricsPart(history, position); });
        return text;
    };
    answer.pieces = nextPart;
    return answer;
}

HttpAnswer PageServer::Slices(const HttpRequest& request) {
    const std::optional<int> after = NumberParameter(request, "after", 0);
    const std::optional<int> most = NumberParameter(request, "limit", kDefaultSlices);
    if (!after || !most)
        return Complaint(kBadRequest,
                         std::string(after ? "limit" : "after") + " must be a whole number");
    std::shared_ptr<SlicePieces::Cursor> cursor;
    m_history.Look([&](const RunHistory& history) {
        cursor = std::make_shared<SlicePieces::Cursor>(
            history.Facts().id, history.Facts().sliceLength, *after, std::min(*most, kMaxSlices));
    });
    HttpAnswer answer;
    answer.type = "application/json";
    try {
        // Trouble can be told of only before the answer has begun.
        answer.text = m_slices.Next(*cursor);
    } catch (const kzjournal::Error& error) {
        return Complaint(kUnavailable, error.what());
    }
    answer.pieces = [this, cursor] { return m_slices.Next(*cursor); };
    return answer;
}

HttpAnswer PageServer::Events(const HttpRequest& request) {
    const std::shared_ptr<void> place(nullptr, [streams = m_streams](void*) { --*streams; });
    if (m_streams->fetch_add(1) >= kMaxStreams)
        return Complaint(kUnavailable, "Too many pages follow the run; close some.");
    HttpAnswer answer;
    answer.type = "text/event-stream";
    answer.isEndless = true;
    LiveHistory::Follower follower(request.Parameter("after").value_or(""));
    answer.pieces = [this, place, follower = std::move(follower)]() mutable {
        return NextEvent(follower);
    };
    return answer;
}

std::string PageServer::NextEvent(LiveHistory::Follower& follower) {
    const auto update = m_history.WaitForUpdate(follower, kHeartbeat);
    if (m_isStopping) return {};
    if (!update) return "event: alive\ndata:\n\n";
    std::string event = update->isWhole ? "id: " + follower.Position() + "\n" : "";
    event += "data: " + update->json + "\n\n";
    if (update->hasEnded) event += "event: ended\ndata:\n\n";
    return event;
}

}  // namespace kzstatprogram

#include "page/pageserver.h"

#include <charconv>
#include <memory>
#include <optional>

#include "figures/gaps.h"
#include "kzjournalreader.h"
#include "page/metrics.h"
#include "page/pagejson.h"
#include "text/exportformats.h"

namespace kzstatprogram {
namespace {

using Response = httplib::Server::HandlerResponse;

constexpr int kBadRequest = 400;
constexpr int kMisdirected = 421;
constexpr int kNotAllowed = 405;
constexpr int kUnavailable = 503;

/// Leaves connections for those who ask only once.
constexpr int kMaxStreams = 32;
constexpr std::chrono::seconds kHeartbeat{5};

constexpr int kDefaultSlices = 100;
constexpr int kMaxSlices = 1000;

constexpr char kMetricsType[] = "text/plain; version=0.0.4; charset=utf-8";

bool IsLoopback(const std::string& host) {
    return host == "localhost" || host == "::1" || host.compare(0, 4, "127.") == 0;
}

/// Without the port and the brackets of IPv6.
std::string HostName(const std::string& host) {
    if (host.compare(0, 1, "[") == 0) return host.substr(1, host.find(']') - 1);
    return host.substr(0, host.find(':'));
}

std::string UrlOf(const std::string& address, int port) {
    const bool isIPv6 = address.find(':') != std::string::npos;
    return "http://" + (isIPv6 ? "[" + address + "]" : address) + ":" + std::to_string(port) + "/";
}

void Complain(httplib::Response& response, int status, const std::string& text) {
    response.status = status;
    response.set_content(text + "\n", "text/plain; charset=utf-8");
}

/// A parameter in digits; `usual` where it is missing, nothing where it is no such number.
std::optional<int> NumberParameter(const httplib::Request& request, const char* name, int usual) {
    if (!request.has_param(name)) return usual;
    const std::string text = request.get_param_value(name);
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < 0) return std::nullopt;
    return number;
}

/// The records of the slices, as they are exported.
std::string SlicesJson(const std::string& journal, int after, int most) {
    kzjournal::Reader reader(journal);
    const auto format = MakeExportFormat("json", reader.Facts());
    Gaps gaps(reader.Facts().sliceLength);
    std::string text = "[";
    reader.ForEachSliceAfter(
        after,
        [&](const kzjournal::Slice& slice) {
            const double gap = gaps.Before(slice);
            for (std::size_t i = 0; i < slice.records.size(); ++i)
                text.append(text.size() > 1 ? "," : "").append(format->RecordText(slice, i, gap));
        },
        most);
    return text + "]\n";
}

}  // namespace

PageServer::PageServer(const std::string& journal, const std::string& address, int port)
    : m_journal(journal),
      m_isLocal(IsLoopback(address)),
      m_history(journal),
      m_histograms(journal) {
    DeclareRoutes();
    m_url = UrlOf(address, m_server.Bind(address, port));
    m_thread = std::thread([this] { m_server.Listen(); });
    // A stop would be lost on a server that does not run yet.
    while (!m_server.is_running()) std::this_thread::yield();
}

PageServer::~PageServer() {
    m_history.Stop();
    m_server.Stop();
    m_thread.join();
}

void PageServer::DeclareRoutes() {
    m_server.set_default_headers({{"Cache-Control", "no-store"},
                                  {"X-Content-Type-Options", "nosniff"},
                                  {"Referrer-Policy", "no-referrer"}});
    m_server.set_pre_routing_handler(
        [this](const auto& request, auto& response) { return Screen(request, response); });
    m_server.set_error_handler([](const httplib::Request&, httplib::Response& response) {
        if (response.body.empty())
            Complain(response, response.status,
                     "There is /, /metrics, /api/slices and /api/events.");
    });
    m_server.Get("/", [](const httplib::Request&, httplib::Response& response) {
        response.set_content(PageWithoutData(), "text/html; charset=utf-8");
    });
    m_server.Get("/metrics", [this](const httplib::Request&, httplib::Response& response) {
        std::string text;
        m_history.Look([&](const RunHistory& history) { text = MetricsText(history); });
        response.set_content(text + m_histograms.Text(), kMetricsType);
    });
    m_server.Get("/api/slices",
                 [this](const auto& request, auto& response) { SendSlices(request, response); });
    m_server.Get("/api/events",
                 [this](const auto& request, auto& response) { SendEvents(request, response); });
}

/// A page from elsewhere may give its own name to this machine's address and then read what is only
/// for those who sit here: the host tells.
Response PageServer::Screen(const httplib::Request& request, httplib::Response& response) const {
    if (request.method != "GET" && request.method != "HEAD") {
        Complain(response, kNotAllowed, "Only GET and HEAD are answered.");
        return Response::Handled;
    }
    if (m_isLocal && !IsLoopback(HostName(request.get_header_value("Host")))) {
        Complain(response, kMisdirected, "Ask for localhost.");
        return Response::Handled;
    }
    return Response::Unhandled;
}

void PageServer::SendEvents(const httplib::Request& request, httplib::Response& response) {
    if (m_streams.fetch_add(1) >= kMaxStreams) {
        --m_streams;
        Complain(response, kUnavailable, "Too many pages follow the run; close some.");
        return;
    }
    auto position = std::make_shared<std::string>(request.get_param_value("after"));
    response.set_chunked_content_provider(
        "text/event-stream",
        [this, position](std::size_t, httplib::DataSink& sink) {
            return SendNextEvent(*position, sink);
        },
        [this](bool) { --m_streams; });
}

/// False ends the stream.
bool PageServer::SendNextEvent(std::string& position, httplib::DataSink& sink) {
    const auto update = m_history.WaitForUpdate(position, kHeartbeat);
    if (!update) {
        constexpr std::string_view alive = "event: alive\ndata:\n\n";
        return sink.write(alive.data(), alive.size());
    }
    position = update->position;
    std::string event = "id: " + position + "\ndata: " + update->json + "\n\n";
    if (update->isLast) event += "event: ended\ndata:\n\n";
    return sink.write(event.data(), event.size());
}

void PageServer::SendSlices(const httplib::Request& request, httplib::Response& response) const {
    const std::optional<int> after = NumberParameter(request, "after", 0);
    const std::optional<int> most = NumberParameter(request, "limit", kDefaultSlices);
    if (!after || !most) {
        const std::string name = after ? "limit" : "after";
        Complain(response, kBadRequest, name + " must be a whole number");
        return;
    }
    try {
        response.set_content(SlicesJson(m_journal, *after, std::min(*most, kMaxSlices)),
                             "application/json");
    } catch (const kzjournal::Error& error) {
        Complain(response, kUnavailable, error.what());
    }
}

}  // namespace kzstatprogram

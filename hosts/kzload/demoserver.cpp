#include "demoserver.h"

#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>

#include "kzjournalerror.h"

namespace kzload {
namespace {

using std::chrono::milliseconds;

constexpr char kAddress[] = "127.0.0.1";
constexpr int kSpareThreads = 8;
constexpr int kMaxThreads = 256;
constexpr std::size_t kRequestsPerConnection = 1000000;
constexpr int kNotFound = 404;
constexpr int kMissingItemEvery = 100;

// Handlers run on many threads at a time, so they keep nothing between requests: what varies,
// varies with the item.

void Answer(httplib::Response& response, milliseconds delay, std::size_t size) {
    std::this_thread::sleep_for(delay);
    response.set_content(std::string(size, '.') + "\n", "text/plain");
}

void Browse(const httplib::Request& request, httplib::Response& response) {
    const int item = std::abs(std::atoi(request.get_param_value("item").c_str()));
    if (item % kMissingItemEvery == 0) response.status = kNotFound;
    Answer(response, milliseconds(1 + item % 7), 500 + static_cast<std::size_t>(item % 50) * 40);
}

/// The server library fills tables of its own at the first request it reads. One request, answered
/// before the threads of the shop exist, leaves that to a single thread; what a thread finds ready
/// when it starts, no checker of races takes for a race.
void FillTablesOfServerLibrary() {
    httplib::Server server;
    server.new_task_queue = [] { return new httplib::ThreadPool(1); };
    const int port = server.bind_to_any_port(kAddress);
    if (port < 0) return;
    std::thread thread([&server] { server.listen_after_bind(); });
    httplib::Client(kAddress, port).Post("/", "user=0", "application/x-www-form-urlencoded");
    server.stop();
    thread.join();
}

}  // namespace

DemoServer::DemoServer(int clients) {
    FillTablesOfServerLibrary();
    ServeClients(clients);
    OpenShop();
    Listen();
}

DemoServer::~DemoServer() {
    m_server.stop();
    m_thread.join();
}

void DemoServer::ServeClients(int clients) {
    // A connection keeps its thread while it lives. Where there are not enough threads for all
    // clients, a connection ends after each request and leaves its thread to the next.
    const int threads = std::min(clients + kSpareThreads, kMaxThreads);
    m_server.new_task_queue = [threads] {
        return new httplib::ThreadPool(static_cast<std::size_t>(threads));
    };
    m_server.set_keep_alive_max_count(threads > clients ? kRequestsPerConnection : 1);
    m_server.set_tcp_nodelay(true);
}

void DemoServer::OpenShop() {
    m_server.Post("/login", [](const httplib::Request& request, httplib::Response& response) {
        Answer(response, milliseconds(6), 200 + request.body.size());
    });
    m_server.Get("/browse", Browse);
    m_server.Post("/logout", [](const httplib::Request&, httplib::Response& response) {
        Answer(response, milliseconds(2), 80);
    });
}

void DemoServer::Listen() {
    auto listener = std::make_shared<socket_t>(INVALID_SOCKET);
    m_server.set_socket_options([listener](socket_t socket) { *listener = socket; });
    const int port = m_server.bind_to_any_port(kAddress);
    if (port < 0) throw kzjournal::Error("the demo server finds no port to listen on");
    // The queue of a handful that the server asks for would make many clients wait a second to
    // connect; asking again enlarges it.
    ::listen(*listener, SOMAXCONN);
    m_url = "http://" + std::string(kAddress) + ":" + std::to_string(port);
    m_thread = std::thread([this] { m_server.listen_after_bind(); });
    // A stop would be lost on a server that does not run yet.
    while (!m_server.is_running()) std::this_thread::sleep_for(milliseconds(1));
}

}  // namespace kzload

#include "page/guardedserver.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string_view>

#include "kzjournalerror.h"

namespace kzstatprogram {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

constexpr std::size_t kMaxConnections = 64;
constexpr std::size_t kMaxHeadBytes = 16384;
constexpr seconds kHeadTimeout{5};
constexpr seconds kWriteTimeout{20};
constexpr std::string_view kEndOfHead = "\r\n\r\n";
constexpr std::string_view kEndOfLine = "\r\n";
constexpr std::string_view kHost = "host:";

/// Set on the accepting thread while it answers a connection that no thread is left for.
thread_local bool isOneTooMany = false;

class ConnectionThreads : public httplib::TaskQueue {
public:
    void enqueue(std::function<void()> serve) override {
        if (m_busy.fetch_add(1) < kMaxConnections) {
            m_pool.enqueue([this, serve] {
                serve();
                --m_busy;
            });
            return;
        }
        --m_busy;
        isOneTooMany = true;
        serve();
        isOneTooMany = false;
    }
    void shutdown() override { m_pool.shutdown(); }

private:
    std::atomic<std::size_t> m_busy{0};
    httplib::ThreadPool m_pool{kMaxConnections};
};

/// False where the socket is not ready before the deadline. An end of the connection is readiness,
/// too.
bool WaitFor(short events, socket_t socket, Clock::time_point deadline) {
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return false;
        pollfd one{socket, events, 0};
        const int ready = poll(&one, 1, static_cast<int>(left.count()));
        if (ready > 0) return true;
        if (ready < 0 && errno != EINTR) return false;
    }
}

/// All or nothing: false where the other side does not take the text in time.
bool SendAll(socket_t socket, std::string_view text) {
    const Clock::time_point deadline = Clock::now() + kWriteTimeout;
    while (!text.empty()) {
        const ssize_t sent = send(socket, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent > 0) text.remove_prefix(static_cast<std::size_t>(sent));
        const bool isFull = sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
        if (sent < 0 && !isFull && errno != EINTR) return false;
        if (isFull && !WaitFor(POLLOUT, socket, deadline)) return false;
    }
    return true;
}

void Refuse(socket_t socket, std::string_view status) {
    std::string text = "HTTP/1.1 ";
    text += status;
    text += "\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
    send(socket, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}

/// Bytes that nobody has read would turn the end of the connection into a reset, and the answer
/// would be lost.
void Discard(socket_t socket) {
    ::shutdown(socket, SHUT_WR);
    char bytes[4096];
    for (std::size_t read = 0; read < kMaxHeadBytes; read += sizeof bytes)
        if (recv(socket, bytes, sizeof bytes, MSG_DONTWAIT) <= 0) return;
}

/// The request line and the header fields with the empty line behind them. Refuses the connection
/// and returns an empty text where none comes.
std::string ReadHead(socket_t socket) {
    const Clock::time_point deadline = Clock::now() + kHeadTimeout;
    std::string head;
    while (head.size() < kMaxHeadBytes) {
        if (!WaitFor(POLLIN, socket, deadline)) {
            Refuse(socket, "408 Request Timeout");
            return {};
        }
        char bytes[4096];
        const std::size_t room = std::min(sizeof bytes, kMaxHeadBytes - head.size());
        const ssize_t received = recv(socket, bytes, room, MSG_DONTWAIT);
        if (received < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (received <= 0) return {};
        const std::size_t unseen = head.size() < kEndOfHead.size() ? 0 : head.size() - 3;
        head.append(bytes, static_cast<std::size_t>(received));
        const std::size_t end = head.find(kEndOfHead, unseen);
        if (end != std::string::npos) return head.substr(0, end + kEndOfHead.size());
    }
    Refuse(socket, "431 Request Header Fields Too Large");
    return {};
}

bool IsHost(std::string_view line) {
    return line.size() >= kHost.size() &&
           std::equal(kHost.begin(), kHost.end(), line.begin(),
                      [](char lower, char any) { return lower == (any | 0x20) || lower == any; });
}

/// The request line and the first host.
std::string WhatIsLookedAt(std::string_view head) {
    const std::size_t first = head.find(kEndOfLine) + kEndOfLine.size();
    std::string known(head.substr(0, first));
    for (head.remove_prefix(first); !head.empty();) {
        const std::size_t end = head.find(kEndOfLine) + kEndOfLine.size();
        if (IsHost(head)) {
            known += head.substr(0, end);
            break;
        }
        head.remove_prefix(end);
    }
    return known.append(kEndOfLine);
}

/// A connection as the server library sees it: the head, and nothing behind it.
class RequestStream : public httplib::Stream {
public:
    RequestStream(socket_t socket, std::string head) : m_socket(socket), m_head(std::move(head)) {}

    bool is_readable() const override { return m_position < m_head.size(); }
    /// False once the other side has gone away.
    bool is_writable() const override {
        pollfd one{m_socket, POLLRDHUP, 0};
        return poll(&one, 1, 0) == 0;
    }
    ssize_t read(char* into, std::size_t size) override {
        const std::size_t length = m_head.copy(into, size, m_position);
        m_position += length;
        return static_cast<ssize_t>(length);
    }
    ssize_t write(const char* bytes, std::size_t size) override {
        return SendAll(m_socket, {bytes, size}) ? static_cast<ssize_t>(size) : -1;
    }
    void get_remote_ip_and_port(std::string&, int&) const override {}
    void get_local_ip_and_port(std::string&, int&) const override {}
    socket_t socket() const override { return m_socket; }

private:
    const socket_t m_socket;
    const std::string m_head;
    std::size_t m_position = 0;
};

}  // namespace

GuardedServer::GuardedServer() {
    new_task_queue = [] { return new ConnectionThreads; };
    set_tcp_nodelay(true);
    // Not the library's own choice, by which two servers may share a port and each get half.
    set_socket_options([](socket_t socket) {
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
}

int GuardedServer::Bind(const std::string& address, int port) {
    errno = 0;
    const int bound =
        port == 0 ? bind_to_any_port(address) : (bind_to_port(address, port) ? port : -1);
    if (bound < 0)
        throw kzjournal::Error("cannot listen on " + address + " port " + std::to_string(port) +
                               ": " + (errno != 0 ? std::strerror(errno) : "no such address") +
                               "; choose others with --bind and --port");
    // The library asks for a queue of a handful; asking again enlarges it.
    ::listen(svr_sock_, SOMAXCONN);
    return bound;
}

void GuardedServer::Stop() {
    stop();
    const RWMutexLock::LockGuard guard(m_lock);
    m_isStopped = true;
    for (const socket_t socket : m_connections) ::shutdown(socket, SHUT_RDWR);
}

bool GuardedServer::process_and_close_socket(socket_t socket) {
    if (isOneTooMany) {
        Refuse(socket, "503 Service Unavailable");
        Discard(socket);
        close(socket);
        return false;
    }
    Note(socket);
    try {
        Serve(socket);
    } catch (const std::exception&) {
        // Of all requests only this one is without an answer.
    }
    Close(socket);
    return true;
}

void GuardedServer::Serve(socket_t socket) {
    const std::string head = ReadHead(socket);
    if (!head.empty()) {
        RequestStream stream(socket, WhatIsLookedAt(head));
        bool isClosed = false;
        process_request(stream, true, isClosed, {});
    }
    Discard(socket);
}

void GuardedServer::Note(socket_t socket) {
    const RWMutexLock::LockGuard guard(m_lock);
    m_connections.insert(socket);
    if (m_isStopped) ::shutdown(socket, SHUT_RDWR);
}

void GuardedServer::Close(socket_t socket) {
    // Under the lock, since the number is free for the next connection at once.
    const RWMutexLock::LockGuard guard(m_lock);
    m_connections.erase(socket);
    close(socket);
}

}  // namespace kzstatprogram

#include "http/listensocket.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "http/hostname.h"
#include "kzjournalerror.h"

namespace kzstatprogram {
namespace {

/// The system would let it grow to megabytes for each client that does not read.
constexpr int kSendBufferBytes = 256 * 1024;

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

/// Null if there is none of that name.
Addresses Resolve(const std::string& address, int port) {
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    if (getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found) != 0)
        found = nullptr;
    return {found, &freeaddrinfo};
}

/// -1 with an `errno` if it cannot be listened on.
int Listen(const addrinfo& address) {
    const int descriptor =
        socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC, address.ai_protocol);
    if (descriptor < 0) return -1;
    // A server that was just stopped leaves connections behind that would keep the port.
    const int yes = 1;
    setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    // Connections inherit it.
    setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &kSendBufferBytes, sizeof kSendBufferBytes);
    if (bind(descriptor, address.ai_addr, address.ai_addrlen) == 0 &&
        listen(descriptor, SOMAXCONN) == 0)
        return descriptor;
    const int error = errno;
    close(descriptor);
    errno = error;
    return -1;
}

int PortOf(const sockaddr_storage& address) {
    // Both versions have the port at the same place.
    sockaddr_in known = {};
    std::memcpy(&known, &address, sizeof known);
    return ntohs(known.sin_port);
}

}  // namespace

ListenSocket::ListenSocket(const std::string& address, int port) {
    const Addresses addresses = Resolve(address, port);
    errno = 0;
    for (const addrinfo* each = addresses.get(); each != nullptr && m_descriptor < 0;
         each = each->ai_next)
        m_descriptor = Listen(*each);
    if (m_descriptor < 0)
        throw kzjournal::Error("cannot listen on " + address + " port " + std::to_string(port) +
                               ": " + (errno != 0 ? std::strerror(errno) : "no such address") +
                               "; choose others with --bind and --port");
    sockaddr_storage bound = {};
    socklen_t size = sizeof bound;
    getsockname(m_descriptor, reinterpret_cast<sockaddr*>(&bound), &size);
    m_port = PortOf(bound);
    m_isLoopback = kzstatprogram::IsLoopback(bound);
}

ListenSocket::~ListenSocket() {
    if (m_descriptor >= 0) close(m_descriptor);
}

int ListenSocket::Release() {
    return std::exchange(m_descriptor, -1);
}

}  // namespace kzstatprogram

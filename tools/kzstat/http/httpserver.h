#ifndef KZSTATPROGRAM_HTTPSERVER_H
#define KZSTATPROGRAM_HTTPSERVER_H

#include <array>
#include <functional>
#include <string>

#include "http/connections.h"
#include "http/httpmessages.h"
#include "http/listensocket.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"

struct MHD_Connection;
struct MHD_Daemon;

namespace kzstatprogram {

/// A certificate and its key, as the texts of PEM files; both empty for a server without TLS.
struct TlsIdentity {
    std::string certificate;
    std::string key;
};

/// An HTTP server that strangers may talk to: one request per connection, limits for the head, for
/// time, for connections and for what waits for one client. Serves from its construction to its
/// destruction. Compatible.
class HttpServer {
public:
    /// Called by many threads at a time.
    using Handler = std::function<HttpAnswer(const HttpRequest&)>;

    /// Throws kzjournal::Error.
    HttpServer(ListenSocket& socket, const TlsIdentity& identity, Handler handler);
    /// Cuts all connections. REQUIRES: no `Pieces` wait for anything any more.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

private:
    struct Callbacks;

    bool Answer(MHD_Connection* connection, const char* path, const char* method) const;
    HttpAnswer AnswerTo(const HttpRequest& request) const;
    std::string Trouble();

    const Handler m_handler;
    mutable Connections m_connections;
    RWMutexLock m_troubleLock;
    std::array<char, 512> m_trouble RYP_GUARDED_BY(m_troubleLock){};  // the last message
    MHD_Daemon* m_daemon = nullptr;
};

}  // namespace kzstatprogram

#endif

#ifndef KZSTATPROGRAM_GUARDEDSERVER_H
#define KZSTATPROGRAM_GUARDEDSERVER_H

#include <httplib.h>

#include <set>
#include <string>

#include "rw/mutex.h"
#include "ryp/annotations.h"

namespace kzstatprogram {

/// An HTTP server that strangers may talk to. Answers one GET or HEAD request per connection and
/// reads nothing behind its head. A head of more than 16 kB or one that takes longer than 5
/// seconds, a reader that leaves an answer lying for 20 seconds, more than 64 connections: each is
/// refused and costs the others nothing. Of the header fields only the host is looked at, so that
/// ranges, encodings, bodies and expectations have no effect.
///
/// Handlers run on many threads at a time. The object is compatible, except that `Stop` may be
/// called while another thread runs `Listen`.
class GuardedServer : public httplib::Server {
public:
    GuardedServer();

    /// Takes the port, or one that is free for 0, and returns it. Throws kzjournal::Error.
    int Bind(const std::string& address, int port);
    /// Serves until `Stop` is called. REQUIRES: `Bind` has returned.
    void Listen() { listen_after_bind(); }
    /// Cuts all connections.
    void Stop();

private:
    bool process_and_close_socket(socket_t socket) override;
    void Serve(socket_t socket);
    void Note(socket_t socket);
    void Close(socket_t socket);

    RWMutexLock m_lock;
    std::set<socket_t> m_connections RYP_GUARDED_BY(m_lock);
    bool m_isStopped RYP_GUARDED_BY(m_lock) = false;
};

}  // namespace kzstatprogram

#endif

#ifndef KZSTATPROGRAM_PAGESERVER_H
#define KZSTATPROGRAM_PAGESERVER_H

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "http/accesstoken.h"
#include "http/httpserver.h"
#include "http/listensocket.h"
#include "page/livehistory.h"
#include "page/slicepieces.h"

namespace kzstatprogram {

struct PageServerOptions {
    std::string address;
    int port = 0;                      ///< 0 for a free one
    std::optional<AccessToken> token;  ///< whoever does not have it is not answered
    TlsIdentity identity;
};

/// Serves the page of a run, its events, its slices and its metrics. Knows no path of the file
/// system but that of the journal. Serves from its construction to its destruction.
///
/// Where other machines reach the address it asks for a token, and makes one if it was given none.
class PageServer {
public:
    /// Throws kzjournal::Error where the run cannot be read or nothing can be listened on. `runs`
    /// must outlive this.
    PageServer(const RunOpener& runs, const std::string& name, const PageServerOptions& options);
    ~PageServer();
    PageServer(const PageServer&) = delete;
    PageServer& operator=(const PageServer&) = delete;

    /// With the token if it was made here.
    const std::string& Url() const { return m_url; }

private:
    HttpAnswer Answer(const HttpRequest& request);
    std::optional<HttpAnswer> Refusal(const HttpRequest& request) const;
    bool HasToken(const HttpRequest& request) const;
    HttpAnswer KeepToken() const;
    HttpAnswer Page() const;
    HttpAnswer Metrics();
    HttpAnswer Slices(const HttpRequest& request);
    HttpAnswer Events(const HttpRequest& request);
    std::string NextEvent(LiveHistory::Follower& follower);

    const std::string m_address;
    LiveHistory m_history;
    SlicePieces m_slices;
    ListenSocket m_socket;
    const bool m_isLocal;  // reached from this machine only
    const std::optional<AccessToken> m_token;
    const std::string m_cookie;  // its name
    const std::string m_cookieAttributes;
    const std::string m_url;
    std::shared_ptr<std::atomic<int>> m_streams = std::make_shared<std::atomic<int>>(0);
    std::atomic<bool> m_isStopping{false};
    std::optional<HttpServer> m_server;
};

}  // namespace kzstatprogram

#endif

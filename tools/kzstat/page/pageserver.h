#ifndef KZSTATPROGRAM_PAGESERVER_H
#define KZSTATPROGRAM_PAGESERVER_H

#include <atomic>
#include <string>
#include <thread>

#include "page/guardedserver.h"
#include "page/livehistograms.h"
#include "page/livehistory.h"

namespace kzstatprogram {

/// Serves the page of a run, its events, its slices and its metrics. Knows no path of the file
/// system but that of the journal. Serves from its construction to its destruction.
class PageServer {
public:
    /// Throws kzjournal::Error where the journal cannot be read or nothing can be listened on.
    /// `port` 0 chooses a free one.
    PageServer(const std::string& journal, const std::string& address, int port);
    ~PageServer();
    PageServer(const PageServer&) = delete;
    PageServer& operator=(const PageServer&) = delete;

    const std::string& Url() const { return m_url; }

private:
    void DeclareRoutes();
    httplib::Server::HandlerResponse Screen(const httplib::Request& request,
                                            httplib::Response& response) const;
    void SendEvents(const httplib::Request& request, httplib::Response& response);
    bool SendNextEvent(std::string& position, httplib::DataSink& sink);
    void SendSlices(const httplib::Request& request, httplib::Response& response) const;

    const std::string m_journal;
    const bool m_isLocal;  // reached from this machine only
    LiveHistory m_history;
    LiveHistograms m_histograms;
    std::atomic<int> m_streams{0};
    GuardedServer m_server;
    std::string m_url;
    std::thread m_thread;
};

}  // namespace kzstatprogram

#endif

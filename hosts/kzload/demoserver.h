#ifndef KZLOAD_DEMOSERVER_H
#define KZLOAD_DEMOSERVER_H

#include <httplib.h>

#include <string>
#include <thread>

namespace kzload {

/// A little shop on 127.0.0.1, at a port of the system's choice: something to load where no URL is
/// given. Its answers take a few milliseconds and differ in size; about one item in a hundred does
/// not exist.
///
/// Runs its own threads. Owned by the thread that made it; `Url` is safe for concurrent use.
class DemoServer {
public:
    /// Listens when it returns. Throws std::runtime_error where it cannot.
    explicit DemoServer(int clients);
    /// Waits for idle connections to end, so clients go first.
    ~DemoServer();
    DemoServer(const DemoServer&) = delete;
    DemoServer& operator=(const DemoServer&) = delete;

    /// Without a slash at the end.
    const std::string& Url() const { return m_url; }

private:
    void ServeClients(int clients);
    void OpenShop();
    void Listen();

    httplib::Server m_server;
    std::string m_url;
    std::thread m_thread;
};

}  // namespace kzload

#endif

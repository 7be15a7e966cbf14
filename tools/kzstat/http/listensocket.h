#ifndef KZSTATPROGRAM_LISTENSOCKET_H
#define KZSTATPROGRAM_LISTENSOCKET_H

#include <string>

namespace kzstatprogram {

/// A socket that connections come in at. Compatible.
class ListenSocket {
public:
    /// `port` 0 chooses a free one. Throws kzjournal::Error.
    ListenSocket(const std::string& address, int port);
    ~ListenSocket();
    ListenSocket(const ListenSocket&) = delete;
    ListenSocket& operator=(const ListenSocket&) = delete;

    int Port() const { return m_port; }
    /// Reached from this machine only.
    bool IsLoopback() const { return m_isLoopback; }
    int Descriptor() const { return m_descriptor; }
    /// The caller closes the descriptor.
    int Release();

private:
    int m_descriptor = -1;
    int m_port = 0;
    bool m_isLoopback = false;
};

}  // namespace kzstatprogram

#endif

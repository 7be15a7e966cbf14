#include "http/httpserver.h"

#include <microhttpd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "kzjournalerror.h"

namespace kzstatprogram {
namespace {

using std::chrono::seconds;

constexpr unsigned kPlaces = 64;
/// Connections that were cut are closed a moment later. Until then the library turns away whoever
/// comes beyond its own limit, which must hold a crowd that comes at once.
constexpr unsigned kPlacesOfTheCut = 448;
/// One machine of many does not keep the others out.
constexpr unsigned kPlacesPerAddress = 32;
constexpr std::size_t kMaxHeadBytes = 16384;
/// A head with its fields, and what is sent next.
constexpr std::size_t kConnectionBytes = 65536;
constexpr std::size_t kBlockBytes = 32768;
constexpr seconds kHeadPatience{5};
constexpr seconds kAnswerPatience{20};
/// An answer must be taken at this rate after that.
constexpr std::size_t kMinBytesPerSecond = 65536;

constexpr int kHeadTooLarge = 431;
constexpr int kServerError = 500;

Connections::Duration TimeFor(std::size_t bytes) {
    return std::chrono::milliseconds(1000 * bytes / kMinBytesPerSecond);
}

/// Throws where there was no memory to note the connection.
Connections::Handle HandleOf(MHD_Connection* connection) {
    const MHD_ConnectionInfo* const info =
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    if (info->socket_context == nullptr) throw std::bad_alloc();
    return *static_cast<Connections::Handle*>(info->socket_context);
}

std::size_t HeadBytesOf(MHD_Connection* connection) {
    return MHD_get_connection_info(connection, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE)
        ->header_size;
}

MHD_Result AddPair(void* pairs, MHD_ValueKind, const char* key, std::size_t keySize,
                   const char* value, std::size_t valueSize) {
    static_cast<HttpRequest::Pairs*>(pairs)->emplace_back(
        std::string(key, keySize), value == nullptr ? "" : std::string(value, valueSize));
    return MHD_YES;
}

HttpRequest::Pairs PairsOf(MHD_Connection* connection, MHD_ValueKind kind) {
    HttpRequest::Pairs pairs;
    MHD_get_connection_values_n(connection, kind, AddPair, &pairs);
    return pairs;
}

/// Paths keep their escapes, so that none becomes another one.
std::size_t LeaveEscapes(void*, MHD_Connection*, char* text) {
    return std::strlen(text);
}

HttpRequest RequestOf(MHD_Connection* connection, const char* path, const char* method) {
    HttpRequest request{method, path, PairsOf(connection, MHD_GET_ARGUMENT_KIND),
                        PairsOf(connection, MHD_HEADER_KIND), PairsOf(connection, MHD_COOKIE_KIND)};
    for (auto& [name, value] : request.parameters) value.resize(MHD_http_unescape(value.data()));
    return request;
}

/// The body of an answer on its way, of which there is one piece at a time. Owned by the thread of
/// its connection.
class Body {
public:
    Body(HttpAnswer&& answer, Connections& connections, Connections::Handle connection)
        : m_pieces(std::move(answer.pieces)),
          m_piece(std::move(answer.text)),
          m_isEndless(answer.isEndless),
          m_connections(connections),
          m_connection(connection) {}

    ssize_t Read(char* into, std::size_t size) {
        if (m_taken == m_piece.size()) GetNextPiece();
        if (m_piece.empty()) return MHD_CONTENT_READER_END_OF_STREAM;
        const std::size_t length = m_piece.copy(into, size, m_taken);
        m_taken += length;
        return static_cast<ssize_t>(length);
    }

private:
    void GetNextPiece() {
        const Connections::Duration left = m_connections.StopClock(m_connection);
        m_taken = 0;
        m_piece = m_pieces ? m_pieces() : std::string();
        m_connections.StartClock(m_connection,
                                 (m_isEndless ? kAnswerPatience : left) + TimeFor(m_piece.size()));
    }

    const HttpAnswer::Pieces m_pieces;
    std::string m_piece;
    std::size_t m_taken = 0;
    const bool m_isEndless;
    Connections& m_connections;
    const Connections::Handle m_connection;
};

ssize_t ReadBody(void* body, std::uint64_t, char* into, std::size_t size) {
    try {
        return static_cast<Body*>(body)->Read(into, size);
    } catch (const std::exception&) {
        // The client sees an answer without its end.
        return MHD_CONTENT_READER_END_WITH_ERROR;
    }
}

void FreeBody(void* body) {
    delete static_cast<Body*>(body);
}

using Response = std::unique_ptr<MHD_Response, decltype(&MHD_destroy_response)>;

/// Null if there is no memory for it.
Response ResponseOf(HttpAnswer&& answer, Connections& connections, Connections::Handle connection) {
    const std::uint64_t size = answer.pieces ? MHD_SIZE_UNKNOWN : answer.text.size();
    HttpRequest::Pairs fields = std::move(answer.fields);
    fields.insert(fields.end(), {{"Content-Type", answer.type}, {"Connection", "close"}});
    auto body = std::make_unique<Body>(std::move(answer), connections, connection);
    Response response(
        MHD_create_response_from_callback(size, kBlockBytes, ReadBody, body.get(), FreeBody),
        &MHD_destroy_response);
    if (response == nullptr) return response;
    body.release();  // The response deletes it.
    for (const auto& [name, value] : fields)
        MHD_add_response_header(response.get(), name.c_str(), value.c_str());
    return response;
}

}  // namespace

/// What the server library calls. Exceptions must not pass through it.
struct HttpServer::Callbacks {
    static void NoteConnection(void* server, MHD_Connection* connection, void** handle,
                               MHD_ConnectionNotificationCode code) {
        Connections& connections = static_cast<HttpServer*>(server)->m_connections;
        if (code == MHD_CONNECTION_NOTIFY_STARTED) {
            *handle = Open(connections, connection);
            return;
        }
        const std::unique_ptr<Connections::Handle> opened(
            static_cast<Connections::Handle*>(*handle));
        if (opened) connections.Close(*opened);
    }

    /// Null where there is no memory: the connection is then not answered.
    static Connections::Handle* Open(Connections& connections, MHD_Connection* connection) {
        const int socket =
            MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
        try {
            auto handle = std::make_unique<Connections::Handle>();
            *handle = connections.Open(socket);
            return handle.release();
        } catch (const std::bad_alloc&) {
            shutdown(socket, SHUT_RDWR);
            return nullptr;
        }
    }

    static MHD_Result Answer(void* server, MHD_Connection* connection, const char* path,
                             const char* method, const char*, const char*, std::size_t*, void**) {
        try {
            const bool isAnswered =
                static_cast<HttpServer*>(server)->Answer(connection, path, method);
            return isAnswered ? MHD_YES : MHD_NO;
        } catch (const std::exception&) {
            return MHD_NO;  // Of all requests only this one is without an answer.
        }
    }

    /// Clients cause messages, too, which nobody asks for.
    static void KeepTrouble(void* server, const char* format, va_list arguments) {
        HttpServer& self = *static_cast<HttpServer*>(server);
        const RWMutexLock::LockGuard guard(self.m_troubleLock);
        std::vsnprintf(self.m_trouble.data(), self.m_trouble.size(), format, arguments);
    }
};

HttpServer::HttpServer(ListenSocket& socket, const TlsIdentity& identity, Handler handler)
    : m_handler(std::move(handler)), m_connections(kPlaces, kHeadPatience) {
    const bool hasTls = !identity.certificate.empty();
    // Handlers wait for the disk and for the run, each on a thread of its own.
    const unsigned flags = MHD_USE_THREAD_PER_CONNECTION | MHD_USE_INTERNAL_POLLING_THREAD |
                           MHD_USE_POLL | MHD_USE_ITC | MHD_USE_ERROR_LOG |
                           (hasTls ? MHD_USE_TLS : MHD_NO_FLAG);
    const std::array<MHD_OptionItem, 3> tls{
        {{hasTls ? MHD_OPTION_HTTPS_MEM_CERT : MHD_OPTION_END, 0,
          const_cast<char*>(identity.certificate.c_str())},
         {MHD_OPTION_HTTPS_MEM_KEY, 0, const_cast<char*>(identity.key.c_str())},
         {MHD_OPTION_END, 0, nullptr}}};
    // On the local address everyone is the same.
    const unsigned perAddress = socket.IsLoopback() ? 0 : kPlacesPerAddress;
    m_daemon = MHD_start_daemon(flags, 0, nullptr, nullptr, Callbacks::Answer, this,            //
                                MHD_OPTION_EXTERNAL_LOGGER, Callbacks::KeepTrouble, this,       //
                                MHD_OPTION_LISTEN_SOCKET, socket.Descriptor(),                  //
                                MHD_OPTION_NOTIFY_CONNECTION, Callbacks::NoteConnection, this,  //
                                MHD_OPTION_UNESCAPE_CALLBACK, LeaveEscapes, nullptr,            //
                                MHD_OPTION_CONNECTION_LIMIT, kPlaces + kPlacesOfTheCut,         //
                                MHD_OPTION_PER_IP_CONNECTION_LIMIT, perAddress,                 //
                                MHD_OPTION_CONNECTION_MEMORY_LIMIT, kConnectionBytes,           //
                                MHD_OPTION_STRICT_FOR_CLIENT, 1,                                //
                                MHD_OPTION_ARRAY, tls.data(),                                   //
                                MHD_OPTION_END);
    if (m_daemon == nullptr)
        throw kzjournal::Error(
            hasTls ? "cannot serve by TLS: " + Trouble() +
                         " (the files must be a certificate and the key of that one, both PEM)"
                   : "cannot serve: " + Trouble());
    socket.Release();
}

HttpServer::~HttpServer() {
    MHD_stop_daemon(m_daemon);
}

std::string HttpServer::Trouble() {
    const RWMutexLock::LockGuard guard(m_troubleLock);
    const std::string text = m_trouble.data();
    return text.substr(0, text.find_last_not_of(".\n") + 1);
}

bool HttpServer::Answer(MHD_Connection* connection, const char* path, const char* method) const {
    const Connections::Handle handle = HandleOf(connection);
    m_connections.StopClock(handle);
    HttpAnswer answer;
    if (HeadBytesOf(connection) > kMaxHeadBytes)
        answer.status = kHeadTooLarge;
    else
        answer = AnswerTo(RequestOf(connection, path, method));
    m_connections.StartClock(handle, kAnswerPatience + TimeFor(answer.text.size()));
    if (answer.isEndless) m_connections.Follow(handle);

    const auto status = static_cast<unsigned>(answer.status);
    const Response response = ResponseOf(std::move(answer), m_connections, handle);
    return response != nullptr && MHD_queue_response(connection, status, response.get()) == MHD_YES;
}

HttpAnswer HttpServer::AnswerTo(const HttpRequest& request) const {
    try {
        return m_handler(request);
    } catch (const std::exception& error) {
        HttpAnswer answer;
        answer.status = kServerError;
        answer.text = std::string(error.what()) + "\n";
        return answer;
    }
}

}  // namespace kzstatprogram

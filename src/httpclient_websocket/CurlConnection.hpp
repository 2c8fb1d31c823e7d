// CurlConnection: a connection libcurl opens and hands over (CONNECT_ONLY):
// TCP, TLS with the client's CA file (peer and host always verified), and
// an HTTP proxy's CONNECT tunnel with the authentication scheme the proxy
// asks for. The bytes that then flow are the WebSocket's own.
//
//   auto opened = CurlConnection::open(url, settings, stopping);
//   if (opened.connection) opened.connection->send(bytes);   // else opened.proxyResponse holds the refusal
//
// The TLS and proxy set-up of a libcurl handle lives here until the HTTP
// transport and this client share one.
#pragma once

#include "Handshake.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace foundation::httpclient_websocket {

struct ConnectionSettings {
    std::filesystem::path certificateFile; // empty: the system's CA bundle
    std::string proxy;                     // empty: none
    std::string proxyUser;
    std::string proxyPassword;
    std::int64_t connectTimeoutMs = 0;
};

class CurlConnection {
public:
    struct Opened {
        std::unique_ptr<CurlConnection> connection;
        std::string proxyResponse; // the proxy's refusal head when there is no connection
    };

    // Connects to the URL's host and port. Returns the proxy's answer instead
    // when it refused the tunnel. Throws HttpRequestTimeoutException when the
    // time-out passes, BadWebSocketException "WebSocket connection to <url>
    // failed: <reason>" otherwise; stopping() true gives up early with the
    // latter.
    static Opened open(const WebSocketUrl& url, const std::string& urlText, const ConnectionSettings& settings,
                       const std::function<bool()>& stopping);

    ~CurlConnection();
    CurlConnection(const CurlConnection&) = delete;
    CurlConnection& operator=(const CurlConnection&) = delete;

    enum class Status { Done, Again, Closed };
    struct Transferred {
        Status status;
        std::size_t size;
    };

    // Sends as much of bytes as the socket takes now (Again when none).
    // Closed when the connection failed.
    Transferred send(std::string_view bytes);
    // Receives what is there into buffer (Again when nothing, Closed at the
    // end of the stream or on failure).
    Transferred receive(char* buffer, std::size_t size);

    // The socket, for poll(); libcurl owns it.
    int socket() const { return socketHandle; }

private:
    struct Handle;
    explicit CurlConnection(std::unique_ptr<Handle> handle, int socket);

    std::unique_ptr<Handle> handle;
    int socketHandle;
};

} // namespace foundation::httpclient_websocket

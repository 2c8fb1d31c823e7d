// CurlConnection: a connection libcurl opens and hands over (CONNECT_ONLY):
// TCP, TLS with the client's CA file (peer and host always verified), and
// an HTTP proxy's CONNECT tunnel with the authentication scheme the proxy
// asks for. The bytes that then flow are the WebSocket's own.
//
//   auto opened = CurlConnection::open(url, settings, stopping);
//   if (opened.connection) opened.connection->send(bytes);   // else opened.proxyResponse holds the refusal
//
// The TLS, proxy and time-out options are the HTTP transport's own
// (ConnectionSetup), so both transports connect alike.
#pragma once

#include "ConnectionSetup.hpp"
#include "Handshake.hpp"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace foundation::httpclient_websocket {

using httpclient_curl::detail::ConnectionSettings;

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
    CurlConnection(httpclient_curl::detail::EasyHandle handle, int socket);

    httpclient_curl::detail::EasyHandle handle;
    int socketHandle;
};

} // namespace foundation::httpclient_websocket

// WebSocketClient: a WebSocket client (RFC 6455) on libcurl's connections:
// TCP or TLS, straight or through an HTTP proxy's CONNECT tunnel.
//
//   WebSocketClient client(WebSocketClientConfiguration().withMaxReadFrameSize(1024));
//   client.connect(URL{"ws://127.0.0.1:8080/echo"}).getResponseCode();   // SwitchingProtocols
//   client.send("hello");
//   client.read().get();              // {MessageType::Text, "hello", isFinal true}
//   client.close();                   // 1000, after the server's answer or the time-out
//
// Threads. Each client has one I/O thread of its own while it is connected
// or reconnecting. On it run: read handlers (and the fulfilment of read()'s
// futures), onReconnected, onReconnectAborted, the backoff function, and
// onRecoverableConnectError during a reconnect. onRecoverableConnectError
// during connect() runs on the thread that called connect(). A handler must
// not throw, and must not destroy the client. Every member may be called
// from any thread; send, read and close also from the client's own handlers.
//
// Reading. A message arrives as one or more pieces of at most
// maxReadFrameSize() bytes (a limit of 0 counts as 1), isFinal on the last;
// the server's own fragmentation shows only in where pieces end, and a piece
// of a text message may end inside a character. The client reads from the
// server only while a piece is wanted, so a client that stops reading stops
// the server, not its own memory.
//
// Endings. close() and the destructor end a connection and stop a reconnect.
// Any other ending (the server closes, the connection drops, no pong came in
// by the next ping, the server broke the protocol) fails a pending read with
// NoExistingConnectionException, or BadWebSocketException naming the
// violation for a protocol error (after closing with 1002 or 1007), and then
// reconnects when the configuration enables it: before attempt k (1, 2, ...)
// the backoff function is asked (previous delay, k), starting from 0 ms.
#pragma once

#include <httpclient_core/HttpResponse.hpp>
#include <httpclient_core/URL.hpp>
#include <httpclient_core/WebSocketClientConfiguration.hpp>
#include <httpclient_websocket/Export.hpp>

#include <cstdint>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <string>

namespace foundation::httpclient_websocket {

enum class MessageType { Text, Binary };

// One piece of a received message.
struct ReadResult {
    MessageType type;
    std::string data; // at most maxReadFrameSize() bytes
    bool isFinal;     // true on the last piece of the message
};

// Called once, on the client's thread, with a piece or with the error that
// ended the read (then result is empty).
using ReadHandler = std::function<void(ReadResult result, std::exception_ptr error)>;

class HTTPCLIENT_WEBSOCKET_EXPORT WebSocketClient final {
public:
    explicit WebSocketClient(httpclient_core::WebSocketClientConfiguration configuration);
    // Closes with 1001 (going away) when connected, stops a reconnect, and
    // joins the client's thread.
    ~WebSocketClient();
    WebSocketClient(const WebSocketClient&) = delete;
    WebSocketClient& operator=(const WebSocketClient&) = delete;

    // The HTTP proxy of later connects, "http://host:port"; "" means none.
    void setProxy(std::string proxyUrl);
    // The proxy credentials of later connects; the scheme (Basic, Digest, ...)
    // is the one the proxy asks for.
    void setProxyCredentials(std::string user, std::string password);

    // Opens the connection and performs the opening handshake within the
    // configured connect time-out, replacing any earlier connection, and
    // returns the server's 101 response. A refusal of the proxy or the
    // server whose code is recoverable is first offered to
    // onRecoverableConnectError (count 1, 2, ... within this call), which
    // may ask for another try. Throws BadWebSocketException "WebSocket
    // handshake with <url> failed: <status line>" for a refusal,
    // "... failed: <status line> (<what was wrong>)" for a bad 101, "Not a
    // WebSocket URL: <url>" or "WebSocket connection to <url> failed:
    // <reason>"; HttpRequestTimeoutException when the time-out passes.
    httpclient_core::HttpResponse connect(const httpclient_core::URL& url);

    // Queues one message, sent in one frame, and returns. Throws
    // std::invalid_argument "Text messages must be valid UTF-8" for such a
    // text, NoExistingConnectionException without an open connection.
    void send(std::string payload, MessageType type = MessageType::Text);

    // Asks for the next piece; handler runs once, on the client's thread. A
    // read is pending until its handler starts. Throws
    // ReadCalledWhenAlreadyReadingException while another read is pending,
    // NoExistingConnectionException without an open connection.
    void read(ReadHandler handler);
    // The same, with the piece or the error in a future.
    std::future<ReadResult> read();

    // Sends a close frame with code and reason and ends the connection once
    // the server has answered or the connect time-out has passed; also stops
    // a reconnect under way. From a handler it returns at once and the
    // client's thread finishes the closing. Throws std::invalid_argument
    // "Close code <code> cannot be sent" or "Close reason must be valid UTF-8
    // of at most 123 bytes", NoExistingConnectionException when there is no
    // connection and no reconnect.
    void close(std::uint16_t code = 1000, const std::string& reason = "");

    // Whether a connection is open (not closing, not reconnecting).
    bool isConnected() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

} // namespace foundation::httpclient_websocket

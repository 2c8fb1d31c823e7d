// The opening handshake of a client (RFC 6455, section 4.1): the URL's
// parts, the random key and its expected accept value, the upgrade request,
// and the parse and check of the server's response head.
//
//   const auto url = parseWebSocketUrl("ws://example.test:8080/chat?room=1");
//       // {secure false, host "example.test", port 8080, resource "/chat?room=1"}
//   acceptValue("dGhlIHNhbXBsZSBub25jZQ==");   // "s3pPLMBiTxaQ9kYGzzzZRbK+xOo="
//   handshakeRequest(url, key, {});   // "GET /chat?room=1 HTTP/1.1\r\nHost: example.test:8080\r\n..."
#pragma once

#include <httpclient_core/HttpHeaders.hpp>
#include <httpclient_core/HttpResponse.hpp>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace foundation::httpclient_websocket {

struct WebSocketUrl {
    bool secure = false; // wss://
    std::string host;    // as written, an IPv6 literal with its brackets
    std::uint16_t port = 0;
    std::string resource; // path and query, "/" at least (section 3)
    bool defaultPort = true;
};

// Section 3: "ws://" or "wss://" (any case), a host, an optional port, an
// optional path and query; no fragment. Throws BadWebSocketException
// "Not a WebSocket URL: <text>" otherwise.
WebSocketUrl parseWebSocketUrl(const std::string& text);

// The Sec-WebSocket-Key for a 16-byte nonce: its base64 (section 4.1).
std::string handshakeKey(const std::array<std::uint8_t, 16>& nonce);

// The Sec-WebSocket-Accept a server answers key with (section 4.2.2): the
// base64 of the SHA-1 of key followed by the protocol's GUID.
std::string acceptValue(std::string_view key);

// The upgrade request, head only, ending in an empty line; the custom
// headers follow the protocol's own. Throws std::invalid_argument "Handshake
// header fields cannot hold CR or LF" when a custom header could split the
// request.
std::string handshakeRequest(const WebSocketUrl& url, const std::string& key,
                             const httpclient_core::HttpHeaders& customHeaders);

struct ResponseHead {
    std::string statusLine;
    httpclient_core::HttpResponse response;
};

// Parses a response head: the status line, then header lines, each ending in
// CRLF (or LF), up to the empty line or the end of the text. Throws
// BadWebSocketException "WebSocket handshake with <url> failed: malformed
// response <line>" for a line that is not what it should be.
ResponseHead parseResponseHead(std::string_view head, const std::string& url);

// Section 4.1, from "If the status code received from the server is not 101":
// a 101 with "Upgrade: websocket", a "Connection" holding "Upgrade", the
// accept value of key, no extension and only a subprotocol that was asked
// for. Throws BadWebSocketException "WebSocket handshake with <url> failed:
// <status line>", followed by " (<what was wrong>)" for a 101.
void checkHandshakeResponse(const ResponseHead& head, const std::string& url, std::string_view key,
                            const httpclient_core::HttpHeaders& customHeaders);

// BadWebSocketException "WebSocket handshake with <url> failed: <what>".
[[noreturn]] void throwHandshakeFailed(const std::string& url, const std::string& what);

// BadWebSocketException "WebSocket connection to <url> failed: <reason>".
[[noreturn]] void throwConnectionFailed(const std::string& url, const std::string& reason);

} // namespace foundation::httpclient_websocket

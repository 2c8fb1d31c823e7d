#include "Handshake.hpp"

#include "support/ExpectThrowMessage.hpp"

#include <httpclient_core/Exceptions.hpp>

#include <gtest/gtest.h>

#include <string>

using namespace foundation::httpclient_websocket;
using foundation::httpclient_core::BadWebSocketException;
using foundation::httpclient_core::HttpHeaders;
using foundation::httpclient_core::HttpResponseCode;

TEST(ParseWebSocketUrl, SplitsSchemeHostPortAndResource)
{
    const struct {
        const char* text;
        bool secure;
        const char* host;
        std::uint16_t port;
        const char* resource;
        bool defaultPort;
    } rows[] = {
        {"ws://example.test", false, "example.test", 80, "/", true},
        {"WSS://example.test/a/b?c=d", true, "example.test", 443, "/a/b?c=d", true},
        {"ws://127.0.0.1:8080?x", false, "127.0.0.1", 8080, "/?x", false},
        {"wss://[::1]:9443/", true, "[::1]", 9443, "/", false},
        {"ws://h:80/", false, "h", 80, "/", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const auto url = parseWebSocketUrl(row.text);
        EXPECT_EQ(url.secure, row.secure);
        EXPECT_EQ(url.host, row.host);
        EXPECT_EQ(url.port, row.port);
        EXPECT_EQ(url.resource, row.resource);
        EXPECT_EQ(url.defaultPort, row.defaultPort);
    }
    for (const char* bad : {"http://h/", "ws://", "ws://:80/", "ws://h:/", "ws://h:0/", "ws://h:65536/", "ws://h:8x/",
                            "ws://u@h/", "ws://h/#f", "ws://[::1/", "ws://[::1]x/", "ws://h/a b"}) {
        EXPECT_THROW_MSG(parseWebSocketUrl(bad), BadWebSocketException, std::string("Not a WebSocket URL: ") + bad);
    }
}

TEST(Handshake, ComputesTheAcceptValueOfTheKey)
{
    EXPECT_EQ(acceptValue("dGhlIHNhbXBsZSBub25jZQ=="), "s3pPLMBiTxaQ9kYGzzhZRbK+xOo=");
    std::array<std::uint8_t, 16> nonce{};
    nonce.fill(0xAB);
    EXPECT_EQ(handshakeKey(nonce), "q6urq6urq6urq6urq6urqw==");
}

TEST(Handshake, WritesTheUpgradeRequestWithTheCustomHeadersLast)
{
    EXPECT_EQ(handshakeRequest(parseWebSocketUrl("ws://h:8080/chat?x=1"), "KEY", HttpHeaders{{"Origin", "o"}}),
              "GET /chat?x=1 HTTP/1.1\r\nHost: h:8080\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
              "Sec-WebSocket-Key: KEY\r\nSec-WebSocket-Version: 13\r\nOrigin: o\r\n\r\n");
    EXPECT_THROW_MSG(handshakeRequest(parseWebSocketUrl("ws://h/"), "KEY", HttpHeaders{{"X", "a\r\nY: b"}}),
                     std::invalid_argument, "Handshake header fields cannot hold CR or LF");
}

TEST(Handshake, ChecksTheResponseAsAClientMust)
{
    const std::string key = "dGhlIHNhbXBsZSBub25jZQ==";
    const std::string good = "HTTP/1.1 101 Switching Protocols\r\nUpgrade: WebSocket\r\nConnection: keep-alive, "
                             "upgrade\r\nSec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n";
    const std::string url = "ws://h/";
    const std::string prefix = "WebSocket handshake with ws://h/ failed: ";
    const struct {
        std::string head;
        std::string error; // empty: accepted
        HttpHeaders custom;
    } rows[] = {
        {good + "\r\n", "", {}},
        {good + "Sec-WebSocket-Protocol: chat\r\n\r\n", "", {{"Sec-WebSocket-Protocol", "superchat, chat"}}},
        {"HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n", "HTTP/1.1 403 Forbidden", {}},
        {"HTTP/1.1 407 Proxy Authentication Required\r\n\r\n", "HTTP/1.1 407 Proxy Authentication Required", {}},
        {"HTTP/1.1 101 Switching Protocols\r\nConnection: Upgrade\r\n\r\n",
         "HTTP/1.1 101 Switching Protocols (no Upgrade: websocket)",
         {}},
        {"HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n\r\n",
         "HTTP/1.1 101 Switching Protocols (no Connection: Upgrade)",
         {}},
        {"HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
         "Sec-WebSocket-Accept: x\r\n\r\n",
         "HTTP/1.1 101 Switching Protocols (wrong Sec-WebSocket-Accept)",
         {}},
        {good + "Sec-WebSocket-Extensions: permessage-deflate\r\n\r\n",
         "HTTP/1.1 101 Switching Protocols (an extension that was not asked for)",
         {}},
        {good + "Sec-WebSocket-Protocol: chat\r\n\r\n",
         "HTTP/1.1 101 Switching Protocols (a subprotocol that was not asked for)",
         {}},
        {"HTTP/1.1 20 OK\r\n\r\n", "malformed response HTTP/1.1 20 OK", {}},
        {"HTTP/1.1 101 Switching Protocols\r\nno colon\r\n\r\n", "malformed response no colon", {}},
        {"", "malformed response ", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.head);
        if (row.error.empty()) {
            const auto head = parseResponseHead(row.head, url);
            EXPECT_NO_THROW(checkHandshakeResponse(head, url, key, row.custom));
            EXPECT_EQ(head.response.getResponseCode(), HttpResponseCode::SwitchingProtocols);
            EXPECT_EQ(head.response.getResponseCodeReason(), "Switching Protocols");
            EXPECT_EQ(head.response.getHeaderValue("connection"), "keep-alive, upgrade");
        } else {
            EXPECT_THROW_MSG(checkHandshakeResponse(parseResponseHead(row.head, url), url, key, row.custom),
                             BadWebSocketException, prefix + row.error);
        }
    }
}

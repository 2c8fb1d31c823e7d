// Fuzzes the client's side of the opening handshake. The input up to the
// first newline is a URL for parseWebSocketUrl; the rest is a response head
// for parseResponseHead and checkHandshakeResponse.
//
// Properties:
// - a URL is accepted with a host, a non-zero port and a resource starting
//   with "/", and the request made from it is one head: every line ends in
//   CRLF and only the last line is empty; or it is refused with exactly
//   BadWebSocketException "Not a WebSocket URL: <text>";
// - a response head is accepted only as a 101 answer carrying the accept
//   value of the key; every refusal is exactly BadWebSocketException
//   "WebSocket handshake with <url> failed: ..." naming the URL.
#include "Check.hpp"

#include "Handshake.hpp"

#include <httpclient_core/Exceptions.hpp>

#include <cstddef>
#include <cstdint>
#include <string>

using namespace foundation::httpclient_websocket;
using foundation::httpclient_core::BadWebSocketException;
using foundation::httpclient_core::HttpHeaders;
using foundation::httpclient_core::HttpResponseCode;

namespace {

const std::string key = "dGhlIHNhbXBsZSBub25jZQ==";

void checkUrl(const std::string& text)
{
    WebSocketUrl url;
    try {
        url = parseWebSocketUrl(text);
    } catch (const BadWebSocketException& error) {
        fuzz::requireExactly(error);
        fuzz::require(fuzz::hasMessage(error, "Not a WebSocket URL: " + text), "the refusal names the URL");
        return;
    }
    fuzz::require(!url.host.empty() && url.port != 0 && url.resource.front() == '/', "a URL has its parts");
    const auto request = handshakeRequest(url, key, HttpHeaders());
    const auto headEnd = request.find("\r\n\r\n");
    fuzz::require(headEnd == request.size() - 4, "the request ends at its first empty line");
    std::size_t lineBreaks = 0;
    for (std::size_t i = 0; i < request.size(); ++i) {
        if (request[i] == '\n' || request[i] == '\r') {
            ++lineBreaks;
            fuzz::require(request[i] == '\r' ? request[i + 1] == '\n' : request[i - 1] == '\r',
                          "every line break is CRLF");
        }
    }
    fuzz::require(lineBreaks == 2 * 7, "the request has its six fields and nothing else");
}

void checkResponse(const std::string& head)
{
    const std::string url = "ws://fuzz.test/";
    try {
        const auto parsed = parseResponseHead(head, url);
        checkHandshakeResponse(parsed, url, key, HttpHeaders());
        fuzz::require(parsed.response.getResponseCode() == HttpResponseCode::SwitchingProtocols,
                      "only a 101 is accepted");
        fuzz::require(parsed.response.getHeaderValue("Sec-WebSocket-Accept") == acceptValue(key),
                      "only the right accept value is accepted");
    } catch (const BadWebSocketException& error) {
        fuzz::requireExactly(error);
        fuzz::require(std::string(error.what()).rfind("WebSocket handshake with " + url + " failed: ", 0) == 0,
                      "the refusal names the URL");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t newline = input.find('\n');
    checkUrl(input.substr(0, newline));
    checkResponse(newline == std::string::npos ? "" : input.substr(newline + 1));
    return 0;
}

#include "Handshake.hpp"

#include "Sha1.hpp"

#include <httpclient_core/Exceptions.hpp>
#include <httpclient_core/HttpResponseCode.hpp>

#include <stdexcept>
#include <vector>

namespace foundation::httpclient_websocket {

namespace {

using httpclient_core::BadWebSocketException;
using httpclient_core::HttpHeaders;
using httpclient_core::HttpResponse;
using httpclient_core::HttpResponseCode;

// Section 1.3.
constexpr std::string_view protocolGuid = "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";

[[noreturn]] void throwNotAWebSocketUrl(const std::string& text)
{
    throw BadWebSocketException("Not a WebSocket URL: " + text);
}

char asciiLower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b)
{
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (asciiLower(a[i]) != asciiLower(b[i])) {
            return false;
        }
    }
    return true;
}

bool startsWithIgnoringCase(std::string_view text, std::string_view prefix)
{
    return text.size() >= prefix.size() && equalsIgnoringCase(text.substr(0, prefix.size()), prefix);
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

std::string_view trim(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) {
        text.remove_prefix(1);
    }
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) {
        text.remove_suffix(1);
    }
    return text;
}

// The comma-separated tokens of every field named name (RFC 7230, section 7).
std::vector<std::string> tokens(const HttpHeaders& headers, const std::string& name)
{
    std::vector<std::string> found;
    for (const auto& [fieldName, value] : headers) {
        if (equalsIgnoringCase(fieldName, name)) {
            HttpHeaders::splitElements(
                value, [&found](const std::string& token) { found.push_back(token); }, ",", true);
        }
    }
    return found;
}

bool holdsToken(const std::vector<std::string>& list, std::string_view token)
{
    for (const auto& item : list) {
        if (equalsIgnoringCase(item, token)) {
            return true;
        }
    }
    return false;
}

bool holdsLineBreak(std::string_view text)
{
    return text.find_first_of("\r\n") != std::string_view::npos;
}

} // namespace

void throwHandshakeFailed(const std::string& url, const std::string& what)
{
    throw BadWebSocketException("WebSocket handshake with " + url + " failed: " + what);
}

void throwConnectionFailed(const std::string& url, const std::string& reason)
{
    throw BadWebSocketException("WebSocket connection to " + url + " failed: " + reason);
}

WebSocketUrl parseWebSocketUrl(const std::string& text)
{
    WebSocketUrl url;
    std::string_view rest(text);
    if (startsWithIgnoringCase(rest, "wss://")) {
        url.secure = true;
        rest.remove_prefix(6);
    } else if (startsWithIgnoringCase(rest, "ws://")) {
        rest.remove_prefix(5);
    } else {
        throwNotAWebSocketUrl(text);
    }
    if (rest.find('#') != std::string_view::npos) {
        throwNotAWebSocketUrl(text); // section 3: no fragment
    }
    const std::size_t authorityEnd = rest.find_first_of("/?");
    std::string_view authority = rest.substr(0, authorityEnd);
    const std::string_view resource = authorityEnd == std::string_view::npos ? "" : rest.substr(authorityEnd);
    if (authority.find('@') != std::string_view::npos) {
        throwNotAWebSocketUrl(text);
    }
    std::string_view port;
    if (!authority.empty() && authority.front() == '[') {
        const std::size_t close = authority.find(']');
        if (close == std::string_view::npos) {
            throwNotAWebSocketUrl(text);
        }
        url.host = authority.substr(0, close + 1);
        authority.remove_prefix(close + 1);
        if (!authority.empty() && authority.front() != ':') {
            throwNotAWebSocketUrl(text);
        }
        port = authority.empty() ? "" : authority.substr(1);
        if (authority == ":") {
            throwNotAWebSocketUrl(text);
        }
    } else {
        const std::size_t colon = authority.find(':');
        url.host = authority.substr(0, colon);
        if (colon != std::string_view::npos) {
            port = authority.substr(colon + 1);
            if (port.empty()) {
                throwNotAWebSocketUrl(text);
            }
        }
    }
    if (url.host.empty() || url.host.find_first_of(" \t\r\n") != std::string::npos) {
        throwNotAWebSocketUrl(text);
    }
    url.port = url.secure ? 443 : 80;
    if (!port.empty()) {
        unsigned long value = 0;
        for (const char c : port) {
            if (!isDigit(c) || value > 65535) {
                throwNotAWebSocketUrl(text);
            }
            value = value * 10 + static_cast<unsigned long>(c - '0');
        }
        if (value == 0 || value > 65535) {
            throwNotAWebSocketUrl(text);
        }
        url.defaultPort = value == url.port;
        url.port = static_cast<std::uint16_t>(value);
    }
    url.resource = resource.empty() || resource.front() == '?' ? "/" + std::string(resource) : std::string(resource);
    if (url.resource.find_first_of(" \t\r\n") != std::string::npos) {
        throwNotAWebSocketUrl(text);
    }
    return url;
}

std::string handshakeKey(const std::array<std::uint8_t, 16>& nonce)
{
    return base64(nonce.data(), nonce.size());
}

std::string acceptValue(std::string_view key)
{
    std::string text(key);
    text.append(protocolGuid);
    const auto digest = sha1(text);
    return base64(digest.data(), digest.size());
}

std::string handshakeRequest(const WebSocketUrl& url, const std::string& key, const HttpHeaders& customHeaders)
{
    std::string request = "GET " + url.resource + " HTTP/1.1\r\nHost: " + url.host;
    if (!url.defaultPort) {
        request += ":" + std::to_string(url.port);
    }
    request += "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Key: " + key +
               "\r\nSec-WebSocket-Version: 13\r\n";
    for (const auto& [name, value] : customHeaders) {
        if (holdsLineBreak(name) || holdsLineBreak(value)) {
            throw std::invalid_argument("Handshake header fields cannot hold CR or LF");
        }
        request.append(name).append(": ").append(value).append("\r\n");
    }
    request += "\r\n";
    return request;
}

ResponseHead parseResponseHead(std::string_view head, const std::string& url)
{
    ResponseHead parsed;
    bool first = true;
    while (!head.empty()) {
        const std::size_t end = head.find('\n');
        std::string_view line = head.substr(0, end);
        head = end == std::string_view::npos ? std::string_view() : head.substr(end + 1);
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        if (first) {
            // "HTTP/x.y NNN reason" (RFC 7230, section 3.1.2).
            first = false;
            const bool wellFormed = line.size() >= 12 && line.substr(0, 5) == "HTTP/" && line[8] == ' ' &&
                                    isDigit(line[9]) && isDigit(line[10]) && isDigit(line[11]) &&
                                    (line.size() == 12 || line[12] == ' ');
            if (!wellFormed) {
                throwHandshakeFailed(url, "malformed response " + std::string(line));
            }
            parsed.statusLine = line;
            const int code = (line[9] - '0') * 100 + (line[10] - '0') * 10 + (line[11] - '0');
            parsed.response.setResponseCodeAndReason(static_cast<HttpResponseCode>(code),
                                                     std::string(line.size() > 13 ? line.substr(13) : ""));
            continue;
        }
        if (line.empty()) {
            break;
        }
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos || colon == 0) {
            throwHandshakeFailed(url, "malformed response " + std::string(line));
        }
        parsed.response.addHeaderValue(std::string(line.substr(0, colon)), std::string(trim(line.substr(colon + 1))));
    }
    if (first) {
        throwHandshakeFailed(url, "malformed response ");
    }
    return parsed;
}

void checkHandshakeResponse(const ResponseHead& head, const std::string& url, std::string_view key,
                            const HttpHeaders& customHeaders)
{
    const auto& response = head.response;
    if (response.getResponseCode() != HttpResponseCode::SwitchingProtocols) {
        throwHandshakeFailed(url, head.statusLine);
    }
    const auto fail = [&](const std::string& why) { throwHandshakeFailed(url, head.statusLine + " (" + why + ")"); };
    const auto headers = response.getHeaders();
    if (!holdsToken(tokens(headers, "Upgrade"), "websocket")) {
        fail("no Upgrade: websocket");
    }
    if (!holdsToken(tokens(headers, "Connection"), "Upgrade")) {
        fail("no Connection: Upgrade");
    }
    const auto accept = headers.find("Sec-WebSocket-Accept");
    if (accept == headers.end() || trim(accept->second) != acceptValue(key)) {
        fail("wrong Sec-WebSocket-Accept");
    }
    if (!tokens(headers, "Sec-WebSocket-Extensions").empty()) {
        fail("an extension that was not asked for");
    }
    const auto offered = tokens(customHeaders, "Sec-WebSocket-Protocol");
    for (const auto& chosen : tokens(headers, "Sec-WebSocket-Protocol")) {
        if (!holdsToken(offered, chosen)) {
            fail("a subprotocol that was not asked for");
        }
    }
}

} // namespace foundation::httpclient_websocket

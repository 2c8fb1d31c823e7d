// The exceptions of failed transfers and of misused WebSocket connections.
//
//   try { client.makeRequest(std::move(request)); }
//   catch (const HttpRequestTimeoutException&) { /* "Request timed out." */ }
//   catch (const HttpRequestFailedException& e) { /* any other transfer failure */ }
//
// Transports and WebSocket clients throw these; the library's own value types
// report misuse with standard exceptions instead. The retry policy tells a
// time-out apart by its type, so every class here is exported whole: a
// time-out thrown by a transport built outside the library is still recognised.
#pragma once

#include <httpclient_core/Export.hpp>

#include <stdexcept>
#include <string>

namespace foundation::httpclient_core {

// A transfer failed; what() says why.
class HTTPCLIENT_CORE_EXPORT HttpRequestFailedException : public std::runtime_error {
public:
    explicit HttpRequestFailedException(const std::string& message) noexcept;
    ~HttpRequestFailedException() override;
};

// A transfer exceeded its time limits. what() is "Request timed out.".
class HTTPCLIENT_CORE_EXPORT HttpRequestTimeoutException : public HttpRequestFailedException {
public:
    HttpRequestTimeoutException() noexcept;
    ~HttpRequestTimeoutException() override;
};

// The caller cancelled a transfer. what() is "Request cancelled" (by design
// without a full stop, unlike the time-out text).
class HTTPCLIENT_CORE_EXPORT HttpRequestCancelledException : public HttpRequestFailedException {
public:
    HttpRequestCancelledException() noexcept;
    ~HttpRequestCancelledException() override;
};

// A WebSocket failure; what() says why.
class HTTPCLIENT_CORE_EXPORT BadWebSocketException : public std::runtime_error {
public:
    explicit BadWebSocketException(const std::string& message) noexcept;
    ~BadWebSocketException() override;
};

// An operation needed an open WebSocket connection and there is none.
class HTTPCLIENT_CORE_EXPORT NoExistingConnectionException : public std::runtime_error {
public:
    NoExistingConnectionException() noexcept;
    ~NoExistingConnectionException() override;
};

// A WebSocket read was started while an earlier read is still pending.
class HTTPCLIENT_CORE_EXPORT ReadCalledWhenAlreadyReadingException : public std::runtime_error {
public:
    ReadCalledWhenAlreadyReadingException() noexcept;
    ~ReadCalledWhenAlreadyReadingException() override;
};

} // namespace foundation::httpclient_core

#include <httpclient_core/Exceptions.hpp>

namespace foundation::httpclient_core {

// The destructors are defined here so that each class's type information
// lives in the library once, exported.

HttpRequestFailedException::HttpRequestFailedException(const std::string& message) noexcept
    : std::runtime_error(message)
{
}

HttpRequestFailedException::~HttpRequestFailedException() = default;

HttpRequestTimeoutException::HttpRequestTimeoutException() noexcept : HttpRequestFailedException("Request timed out.")
{
}

HttpRequestTimeoutException::~HttpRequestTimeoutException() = default;

HttpRequestCancelledException::HttpRequestCancelledException() noexcept
    : HttpRequestFailedException("Request cancelled")
{
}

HttpRequestCancelledException::~HttpRequestCancelledException() = default;

BadWebSocketException::BadWebSocketException(const std::string& message) noexcept : std::runtime_error(message)
{
}

BadWebSocketException::~BadWebSocketException() = default;

NoExistingConnectionException::NoExistingConnectionException() noexcept
    : std::runtime_error("No working WebSocket connection. Open was not completed or network error occurred and "
                         "has not been recovered from.")
{
}

NoExistingConnectionException::~NoExistingConnectionException() = default;

ReadCalledWhenAlreadyReadingException::ReadCalledWhenAlreadyReadingException() noexcept
    : std::runtime_error("Calling read before the previous read completes is illegal.")
{
}

ReadCalledWhenAlreadyReadingException::~ReadCalledWhenAlreadyReadingException() = default;

} // namespace foundation::httpclient_core

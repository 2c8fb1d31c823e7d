#include "Errors.hpp"

namespace foundation::httpclient_curl::detail {

using namespace httpclient_core;

HttpRequestFailedException requestFailure(const std::string& url, const std::string& reason)
{
    return HttpRequestFailedException("Request to " + url + " failed: " + reason);
}

void throwOutOfHandles()
{
    throw HttpRequestFailedException("libcurl could not make a transfer handle");
}

void throwHeaderRefused(const std::string& name, const std::string& url)
{
    throw HttpRequestFailedException("Refused to send header <" + name + "> to " + url +
                                     ": it holds a CR, LF or NUL byte");
}

void throwHeaderNameRefused(const std::string& name, const std::string& url)
{
    throw HttpRequestFailedException("Refused to send header <" + name + "> to " + url + ": its name is not a token");
}

void throwUnsupportedMethod(const std::string& url)
{
    throw HttpRequestFailedException("Cannot send a request with method UNKNOWN to " + url);
}

void throwBadContentLength(const std::string& value, const std::string& url)
{
    throw HttpRequestFailedException("Content-Length <" + value + "> of the request to " + url +
                                     " is not a byte count");
}

void throwMalformedHeader(std::string_view line, const std::string& url)
{
    throw HttpRequestFailedException("Malformed header line <" + std::string(line) + "> from " + url);
}

void throwRangeMismatch(const std::string& contentRange, long long start, const std::string& url)
{
    throw HttpRequestFailedException("Content-Range <" + contentRange + "> from " + url + " does not start at byte " +
                                     std::to_string(start));
}

void throwBadReplyLength(const std::string& value, const std::string& url)
{
    throw HttpRequestFailedException("Malformed Content-Length <" + value + "> from " + url);
}

void throwConflictingReplyLength(const std::string& first, const std::string& second, const std::string& url)
{
    throw HttpRequestFailedException("Conflicting Content-Length <" + first + "> and <" + second + "> from " + url);
}

void throwBodyWriteFailure(const std::string& url, const std::string& reason)
{
    const std::string refused = "the response body stream refused the received bytes";
    throw requestFailure(url, reason.empty() ? refused : refused + ": " + reason);
}

void throwBodyReadFailure(const std::string& url)
{
    throw requestFailure(url, "the request body stream could not be read");
}

void throwHeaderBlockCut(const std::string& url)
{
    throw requestFailure(url, "the connection closed inside the reply's header block");
}

void throwBodyNotRewindable(const std::string& url)
{
    throw requestFailure(url, "the request body cannot be rewound to send it again");
}

std::exception_ptr transferError(CURLcode code, const char* errorText, const std::string& url)
{
    switch (code) {
    case CURLE_OK:
        return nullptr;
    case CURLE_OPERATION_TIMEDOUT:
        return std::make_exception_ptr(HttpRequestTimeoutException());
    case CURLE_ABORTED_BY_CALLBACK:
        return cancellation();
    default:
        return std::make_exception_ptr(
            requestFailure(url, errorText[0] != '\0' ? errorText : curl_easy_strerror(code)));
    }
}

std::exception_ptr cancellation()
{
    return std::make_exception_ptr(HttpRequestCancelledException());
}

} // namespace foundation::httpclient_curl::detail

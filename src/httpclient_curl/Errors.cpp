#include "Errors.hpp"

#include <httpclient_curl/TransferFailedException.hpp>

#include <optional>

namespace foundation::httpclient_curl::detail {

using namespace httpclient_core;

namespace {

// The cause of a libcurl result code, for the codes an HTTP transfer meets.
std::optional<TransferFailure> causeOf(CURLcode code)
{
    switch (code) {
    case CURLE_UNSUPPORTED_PROTOCOL:
        return TransferFailure::UnsupportedProtocol;
    case CURLE_URL_MALFORMAT:
        return TransferFailure::MalformedUrl;
    case CURLE_COULDNT_RESOLVE_PROXY:
        return TransferFailure::ResolveProxy;
    case CURLE_COULDNT_RESOLVE_HOST:
        return TransferFailure::ResolveHost;
    case CURLE_COULDNT_CONNECT:
        return TransferFailure::Connect;
    case CURLE_WEIRD_SERVER_REPLY:
        return TransferFailure::MalformedReply;
    case CURLE_PARTIAL_FILE:
        return TransferFailure::PartialBody;
    case CURLE_SSL_CONNECT_ERROR:
        return TransferFailure::TlsHandshake;
    case CURLE_TOO_MANY_REDIRECTS:
        return TransferFailure::TooManyRedirects;
    case CURLE_GOT_NOTHING:
        return TransferFailure::EmptyReply;
    case CURLE_SEND_ERROR:
        return TransferFailure::Send;
    case CURLE_RECV_ERROR:
        return TransferFailure::Receive;
    case CURLE_PEER_FAILED_VERIFICATION:
        return TransferFailure::Certificate;
    case CURLE_SSL_CACERT_BADFILE:
        return TransferFailure::CertificateFile;
    case CURLE_HTTP2_STREAM:
        return TransferFailure::Http2Stream;
    default:
        return std::nullopt;
    }
}

std::string failureText(const std::string& url, const std::string& reason)
{
    return "Request to " + url + " failed: " + reason;
}

[[noreturn]] void throwFailure(const std::string& message, TransferFailure cause)
{
    throw TransferFailedException(message, cause);
}

} // namespace

HttpRequestFailedException requestFailure(const std::string& url, const std::string& reason)
{
    return HttpRequestFailedException(failureText(url, reason));
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
    throwFailure("Malformed header line <" + std::string(line) + "> from " + url, TransferFailure::MalformedReply);
}

void throwRangeMismatch(const std::string& contentRange, long long start, const std::string& url)
{
    throwFailure("Content-Range <" + contentRange + "> from " + url + " does not start at byte " +
                     std::to_string(start),
                 TransferFailure::RangeMismatch);
}

void throwBadReplyLength(const std::string& value, const std::string& url)
{
    throwFailure("Malformed Content-Length <" + value + "> from " + url, TransferFailure::MalformedReply);
}

void throwConflictingReplyLength(const std::string& first, const std::string& second, const std::string& url)
{
    throwFailure("Conflicting Content-Length <" + first + "> and <" + second + "> from " + url,
                 TransferFailure::MalformedReply);
}

void throwBodyWriteFailure(const std::string& url, const std::string& reason)
{
    const std::string refused = "the response body stream refused the received bytes";
    throwFailure(failureText(url, reason.empty() ? refused : refused + ": " + reason), TransferFailure::BodyWrite);
}

void throwBodyReadFailure(const std::string& url)
{
    throwFailure(failureText(url, "the request body stream could not be read"), TransferFailure::BodyRead);
}

void throwHeaderBlockCut(const std::string& url)
{
    throwFailure(failureText(url, "the connection closed inside the reply's header block"),
                 TransferFailure::PartialBody);
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
        break;
    }
    const auto message = failureText(url, errorText[0] != '\0' ? errorText : curl_easy_strerror(code));
    if (const auto cause = causeOf(code)) {
        return std::make_exception_ptr(TransferFailedException(message, *cause));
    }
    return std::make_exception_ptr(HttpRequestFailedException(message));
}

std::exception_ptr cancellation()
{
    return std::make_exception_ptr(HttpRequestCancelledException());
}

} // namespace foundation::httpclient_curl::detail

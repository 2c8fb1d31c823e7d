// TransferFailedException: a transfer of CurlHttpClient that failed for a
// known cause. The causes are numbered as curl numbers its exit statuses, so
// a tool that speaks curl can exit with static_cast<int>(cause()).
//
//   try {
//       client.makeRequest(HttpRequest(HttpMethod::GET, URL{"http://127.0.0.1:1/"}, {}));
//   } catch (const TransferFailedException& failure) {
//       failure.cause();   // TransferFailure::Connect, 7
//       failure.what();    // "Request to http://127.0.0.1:1/ failed: <libcurl's text>"
//   }
//
// Time-outs and cancellations keep their own classes
// (HttpRequestTimeoutException, HttpRequestCancelledException); a failure of
// any other cause is a plain HttpRequestFailedException.
#pragma once

#include <httpclient_core/Exceptions.hpp>
#include <httpclient_curl/Export.hpp>

#include <string>

namespace foundation::httpclient_curl {

enum class TransferFailure : int {
    UnsupportedProtocol = 1,
    MalformedUrl = 3,
    ResolveProxy = 5,
    ResolveHost = 6,
    Connect = 7,
    MalformedReply = 8,
    PartialBody = 18,
    BodyWrite = 23,
    BodyRead = 26,
    RangeMismatch = 33,
    TlsHandshake = 35,
    TooManyRedirects = 47,
    EmptyReply = 52,
    Send = 55,
    Receive = 56,
    Certificate = 60,
    CertificateFile = 77,
    Http2Stream = 92,
};

class HTTPCLIENT_CURL_EXPORT TransferFailedException : public httpclient_core::HttpRequestFailedException {
public:
    TransferFailedException(const std::string& message, TransferFailure cause);

    TransferFailure cause() const noexcept { return failure; }

private:
    TransferFailure failure;
};

} // namespace foundation::httpclient_curl

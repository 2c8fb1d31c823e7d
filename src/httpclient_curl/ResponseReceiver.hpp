// ResponseReceiver: fills an HttpResponse from what arrives for one attempt:
// status lines, header lines (one per call, line end included, as libcurl
// hands them over) and body bytes. It knows no socket, so a test drives it
// by feeding a reply's bytes.
//
//   ResponseReceiver receiver(response, url, std::nullopt);
//   receiver.receiveHeaderLine("HTTP/1.1 200 OK\r\n");
//   receiver.receiveHeaderLine("Content-Length: 2\r\n");
//   receiver.receiveHeaderLine("\r\n");
//   receiver.receiveBody("hi", 2);
//   receiver.finish();                 // response: 200 "OK", body "hi"
#pragma once

#include <httpclient_core/HttpResponse.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace foundation::httpclient_curl::detail {

class ResponseReceiver {
public:
    // resumeFrom: the N of the attempt's "Range: bytes=N-", if it sent one.
    ResponseReceiver(httpclient_core::HttpResponse& response, std::string url, std::optional<long long> resumeFrom);

    // Every status line (one per redirect hop or interim reply) starts a new
    // header set, so the response ends up with the final hop's headers. A
    // line that is neither a status line, a field nor the blank line throws
    // HttpRequestFailedException "Malformed header line <line> from <url>".
    // At the end of a ranged attempt's header block a full 200 restarts the
    // body at its start; a 206 whose Content-Range does not start at N throws
    // "Content-Range <value> from <url> does not start at byte N".
    void receiveHeaderLine(std::string_view line);

    // Writes to the response body; throws "Request to <url> failed: the
    // response body stream refused the received bytes".
    void receiveBody(const char* data, std::size_t length);

    // The transfer ended well: flushes the body, throwing as receiveBody does.
    void finish();

private:
    void checkResumedRange();

    httpclient_core::HttpResponse& response;
    const std::string url;
    const std::optional<long long> resumeFrom;
    bool inHeaderBlock = false;
    bool bodyTouched = false;
};

} // namespace foundation::httpclient_curl::detail

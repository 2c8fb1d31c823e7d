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
//
// Every HttpRequestFailedException it throws fails the attempt; libcurl then
// closes the connection instead of reusing it.
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
    // line that begins with a space or tab continues the field before it
    // (obs-fold) and joins it after one space. Throws
    // HttpRequestFailedException "Malformed header line <line> from <url>"
    // for any other line that is not a status line, a field or the blank
    // line. When a header block ends:
    // - "Malformed Content-Length <value> from <url>" unless every
    //   Content-Length is a byte count, and "Conflicting Content-Length <a>
    //   and <b> from <url>" when two differ;
    // - on a ranged attempt, a full 200 restarts the body at its start, and a
    //   206 whose Content-Range does not start at N throws "Content-Range
    //   <value> from <url> does not start at byte N".
    void receiveHeaderLine(std::string_view line);

    // Writes to the response body; throws "Request to <url> failed: the
    // response body stream refused the received bytes", followed by ": " and
    // the system's error text when the system gave one.
    void receiveBody(const char* data, std::size_t length);

    // The transfer ended without an error from libcurl. Throws "Request to
    // <url> failed: the connection closed inside the reply's header block"
    // when no final header block was completed, then flushes the body,
    // throwing as receiveBody does.
    void finish();

    // Whether the ranged attempt was answered with the whole entity.
    bool restarted() const { return restartedBody; }

    // After a successful (2xx) final header block: the reply's validator, a
    // strong ETag, else Last-Modified, else ""; before one, nothing.
    const std::optional<std::string>& validator() const { return entityValidator; }

private:
    void addField(std::string_view line);
    void commitField();
    void endHeaderBlock();
    void checkContentLength() const;
    void checkResumedRange();

    httpclient_core::HttpResponse& response;
    const std::string url;
    const std::optional<long long> resumeFrom;
    // A field line kept until the next line shows whether it continues.
    std::string pendingField;
    bool inHeaderBlock = false;
    bool finalBlockEnded = false;
    bool bodyTouched = false;
    bool restartedBody = false;
    std::optional<std::string> entityValidator;
};

} // namespace foundation::httpclient_curl::detail

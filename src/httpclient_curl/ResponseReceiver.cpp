#include "ResponseReceiver.hpp"

#include "Errors.hpp"

#include <httpclient_core/HttpHeaders.hpp>
#include <httpclient_core/HttpResponseCode.hpp>

#include <charconv>
#include <ostream>
#include <system_error>
#include <utility>

namespace foundation::httpclient_curl::detail {

using namespace httpclient_core;

namespace {

const std::string contentRangeHeader = "Content-Range";

bool startsWith(std::string_view text, std::string_view prefix)
{
    return text.substr(0, prefix.size()) == prefix;
}

std::string_view withoutLineEnd(std::string_view line)
{
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) {
        line.remove_suffix(1);
    }
    return line;
}

// "HTTP/1.1 404 Not Found" gives 404 and "Not Found"; "HTTP/2 200 " gives 200 and "".
std::optional<std::pair<int, std::string>> parseStatusLine(std::string_view line)
{
    line = withoutLineEnd(line);
    const auto space = line.find(' ');
    if (space == std::string_view::npos) {
        return std::nullopt;
    }
    std::string_view rest = line.substr(space + 1);
    int code = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), code);
    if (error != std::errc() || end != rest.data() + 3) {
        return std::nullopt;
    }
    rest.remove_prefix(3);
    if (!rest.empty() && rest.front() == ' ') {
        rest.remove_prefix(1);
    }
    return std::make_pair(code, std::string(rest));
}

} // namespace

ResponseReceiver::ResponseReceiver(HttpResponse& response, std::string url, std::optional<long long> resumeFrom)
    : response(response),
      url(std::move(url)),
      resumeFrom(resumeFrom)
{
}

void ResponseReceiver::receiveHeaderLine(std::string_view line)
{
    if (startsWith(line, "HTTP/")) {
        const auto status = parseStatusLine(line);
        if (!status) {
            throwMalformedHeader(line, url);
        }
        response.setResponseCodeAndReason(static_cast<HttpResponseCode>(status->first), status->second);
        response.setHeaders(HttpHeaders());
        inHeaderBlock = true;
    } else if (withoutLineEnd(line).empty()) {
        // Also ends a block of trailers, which must not check the range again.
        if (inHeaderBlock) {
            inHeaderBlock = false;
            checkResumedRange();
        }
    } else if (line.find(':') == std::string_view::npos) {
        throwMalformedHeader(withoutLineEnd(line), url);
    } else {
        response.addHeader(std::string(line));
    }
}

void ResponseReceiver::receiveBody(const char* data, std::size_t length)
{
    auto& body = response.getResponseBody();
    bodyTouched = true;
    if (!body.write(data, static_cast<std::streamsize>(length))) {
        throwBodyWriteFailure(url);
    }
}

void ResponseReceiver::finish()
{
    if (bodyTouched && !response.getResponseBody().flush()) {
        throwBodyWriteFailure(url);
    }
}

// A resumed attempt asked for the body from byte N on. A full 200 reply
// restarts the body at its start instead of appending to the bytes kept;
// a 206 must continue exactly at N.
void ResponseReceiver::checkResumedRange()
{
    if (!resumeFrom) {
        return;
    }
    const HttpResponseCode code = response.getResponseCode();
    if (code == HttpResponseCode::OK) {
        response.resetResponseBody();
        bodyTouched = true;
    } else if (code == HttpResponseCode::PartialContent) {
        const std::string contentRange =
            response.hasHeader(contentRangeHeader) ? response.getHeaderValue(contentRangeHeader) : "";
        if (!startsWith(contentRange, "bytes " + std::to_string(*resumeFrom) + "-")) {
            throwRangeMismatch(contentRange, *resumeFrom, url);
        }
    }
}

} // namespace foundation::httpclient_curl::detail

#include "ResponseReceiver.hpp"

#include "Errors.hpp"

#include <httpclient_core/HttpHeaders.hpp>
#include <httpclient_core/HttpResponseCode.hpp>
#include <httpclient_core/NameValueCollection.hpp>

#include <cerrno>
#include <charconv>
#include <ostream>
#include <system_error>
#include <utility>

namespace foundation::httpclient_curl::detail {

using namespace httpclient_core;

namespace {

const std::string contentRangeHeader = "Content-Range";
const std::string etagHeader = "ETag";
const std::string lastModifiedHeader = "Last-Modified";

bool startsWith(std::string_view text, std::string_view prefix)
{
    return text.substr(0, prefix.size()) == prefix;
}

bool isBlank(char byte)
{
    return byte == ' ' || byte == '\t';
}

std::string_view withoutLineEnd(std::string_view line)
{
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) {
        line.remove_suffix(1);
    }
    return line;
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && isBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

bool sameName(const std::string& left, const std::string& right)
{
    const NameValueCollection::CaseInsensitiveCompare less;
    return !less(left, right) && !less(right, left);
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

// Plain decimal digits that fit the type; no sign, no space, no base prefix.
std::optional<long long> byteCount(std::string_view text)
{
    long long count = 0;
    const char* const last = text.data() + text.size();
    if (text.empty() || text.front() < '0' || text.front() > '9') {
        return std::nullopt;
    }
    const auto [end, error] = std::from_chars(text.data(), last, count);
    if (error != std::errc() || end != last) {
        return std::nullopt;
    }
    return count;
}

// The system's reason for the last failed write, if it left one.
std::string systemReason(int error)
{
    return error != 0 ? std::generic_category().message(error) : std::string();
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
    const std::string_view content = withoutLineEnd(line);
    if (startsWith(line, "HTTP/")) {
        const auto status = parseStatusLine(line);
        if (!status) {
            throwMalformedHeader(line, url);
        }
        pendingField.clear();
        response.setResponseCodeAndReason(static_cast<HttpResponseCode>(status->first), status->second);
        response.setHeaders(HttpHeaders());
        inHeaderBlock = true;
    } else if (content.empty()) {
        commitField();
        // Also ends a block of trailers, which must not be checked again.
        if (inHeaderBlock) {
            inHeaderBlock = false;
            endHeaderBlock();
        }
    } else if (isBlank(content.front()) && !pendingField.empty()) {
        pendingField += ' ';
        pendingField += trimmed(content);
    } else if (isBlank(content.front()) || content.find(':') == std::string_view::npos) {
        throwMalformedHeader(content, url);
    } else {
        commitField();
        pendingField = content;
    }
}

void ResponseReceiver::receiveBody(const char* data, std::size_t length)
{
    auto& body = response.getResponseBody();
    bodyTouched = true;
    errno = 0;
    if (!body.write(data, static_cast<std::streamsize>(length))) {
        throwBodyWriteFailure(url, systemReason(errno));
    }
}

void ResponseReceiver::finish()
{
    commitField();
    if (!finalBlockEnded || inHeaderBlock) {
        throwHeaderBlockCut(url);
    }
    errno = 0;
    if (bodyTouched && !response.getResponseBody().flush()) {
        throwBodyWriteFailure(url, systemReason(errno));
    }
}

void ResponseReceiver::commitField()
{
    if (!pendingField.empty()) {
        response.addHeader(pendingField);
        pendingField.clear();
    }
}

// An interim (1xx) reply leaves the final one still to come.
void ResponseReceiver::endHeaderBlock()
{
    const int code = static_cast<int>(response.getResponseCode());
    finalBlockEnded = code < 100 || code > 199;
    if (!finalBlockEnded) {
        return;
    }
    checkContentLength();
    checkResumedRange();
    if (code >= 200 && code <= 299) {
        const bool strongTag = response.hasHeader(etagHeader) && !startsWith(response.getHeaderValue(etagHeader), "W/");
        entityValidator = strongTag                                ? response.getHeaderValue(etagHeader)
                          : response.hasHeader(lastModifiedHeader) ? response.getHeaderValue(lastModifiedHeader)
                                                                   : std::string();
    }
}

// Every Content-Length field, and every element of a list in one, must be
// the same byte count: anything else leaves the body's end in doubt.
void ResponseReceiver::checkContentLength() const
{
    std::optional<std::pair<long long, std::string>> first;
    for (const auto& [name, value] : response.getHeaders()) {
        if (!sameName(name, HttpHeaders::CONTENT_LENGTH)) {
            continue;
        }
        std::string_view rest = value;
        while (true) {
            const auto comma = rest.find(',');
            const std::string_view element = trimmed(rest.substr(0, comma));
            const auto count = byteCount(element);
            if (!count) {
                throwBadReplyLength(value, url);
            }
            if (!first) {
                first.emplace(*count, std::string(element));
            } else if (first->first != *count) {
                throwConflictingReplyLength(first->second, std::string(element), url);
            }
            if (comma == std::string_view::npos) {
                break;
            }
            rest.remove_prefix(comma + 1);
        }
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
        restartedBody = true;
    } else if (code == HttpResponseCode::PartialContent) {
        const std::string contentRange =
            response.hasHeader(contentRangeHeader) ? response.getHeaderValue(contentRangeHeader) : "";
        if (!startsWith(contentRange, "bytes " + std::to_string(*resumeFrom) + "-")) {
            throwRangeMismatch(contentRange, *resumeFrom, url);
        }
    }
}

} // namespace foundation::httpclient_curl::detail

#include "RequestEncoding.hpp"

#include "Errors.hpp"

#include <httpclient_core/HttpHeaders.hpp>
#include <httpclient_core/HttpMethod.hpp>
#include <httpclient_core/NameValueCollection.hpp>

#include <charconv>
#include <istream>
#include <string_view>
#include <system_error>
#include <utility>

namespace foundation::httpclient_curl::detail {

using namespace httpclient_core;

namespace {

const std::string rangeHeader = "Range";
const std::string ifRangeHeader = "If-Range";
const std::string userAgentHeader = "User-Agent";

bool sameName(const std::string& left, const std::string& right)
{
    const NameValueCollection::CaseInsensitiveCompare less;
    return !less(left, right) && !less(right, left);
}

// Headers that libcurl writes from the body mode, or that a bodiless request must not carry.
bool leftOut(const std::string& name, HeaderSet set)
{
    return sameName(name, HttpHeaders::CONTENT_LENGTH) || sameName(name, HttpHeaders::TRANSFER_ENCODING) ||
           (set == HeaderSet::WithoutBody && sameName(name, HttpHeaders::CONTENT_TYPE));
}

// tchar: a letter, a digit or one of the punctuation bytes allowed in a token.
bool isToken(const std::string& name)
{
    const std::string_view punctuation = "!#$%&'*+-.^_`|~";
    for (const char byte : name) {
        const bool letter = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
        const bool digit = byte >= '0' && byte <= '9';
        if (!letter && !digit && punctuation.find(byte) == std::string_view::npos) {
            return false;
        }
    }
    return !name.empty();
}

// CR and LF would end the header line early; NUL would cut it short.
bool breaksHeaderLine(const std::string& text)
{
    return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos;
}

// The upload size from Content-Length, or -1 without one.
long long uploadSize(const HttpRequest& request, const std::string& url)
{
    if (!request.hasHeader(HttpHeaders::CONTENT_LENGTH)) {
        return -1;
    }
    const std::string value = request.getHeaderValue(HttpHeaders::CONTENT_LENGTH);
    long long size = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), size);
    if (error != std::errc() || end != value.data() + value.size() || size < 0) {
        throwBadContentLength(value, url);
    }
    return size;
}

} // namespace

std::string requestTarget(HttpRequest& request)
{
    std::string target = request.getURL().toAsciiString();
    const std::string parameters = request.getQueryParameters().toString();
    // getURL() put the parameters' text at the end; the URL comes before it.
    target.resize(target.size() - parameters.size());
    target = target.substr(0, target.find('#'));
    if (parameters.empty()) {
        return target;
    }
    const auto query = target.find('?');
    if (query == std::string::npos) {
        return target + parameters;
    }
    return target + (query + 1 == target.size() ? "" : "&") + parameters.substr(1);
}

RequestShape requestShape(const HttpRequest& request, const std::string& url)
{
    const HttpMethod method = request.getHttpMethod();
    std::string name = to_string(method);
    if (name == "UNKNOWN") {
        throwUnsupportedMethod(url);
    }
    const bool hasBody = request.hasRequestBody();
    if (method == HttpMethod::HEAD) {
        return {std::move(name), BodyMode::Head, 0};
    }
    if (!hasBody && method == HttpMethod::GET) {
        return {std::move(name), BodyMode::Get, 0};
    }
    if (!hasBody && method == HttpMethod::DELETE) {
        return {std::move(name), BodyMode::Bodiless, 0};
    }
    const long long size = hasBody ? uploadSize(request, url) : 0;
    return {std::move(name), method == HttpMethod::POST ? BodyMode::Post : BodyMode::Upload, size};
}

std::vector<std::string> headerLines(const HttpRequest& request, const std::string& url, bool withholdRange,
                                     HeaderSet set)
{
    const bool ranged = !withholdRange && request.hasHeader(rangeHeader);
    std::vector<std::string> lines;
    for (const auto& [name, value] : request.getHeaders()) {
        if (breaksHeaderLine(name) || breaksHeaderLine(value)) {
            throwHeaderRefused(name, url);
        }
        if (!isToken(name)) {
            throwHeaderNameRefused(name, url);
        }
        if ((withholdRange && sameName(name, rangeHeader)) || (!ranged && sameName(name, ifRangeHeader)) ||
            leftOut(name, set)) {
            continue;
        }
        std::string line = name;
        line += !value.empty() ? ": " : sameName(name, userAgentHeader) ? ":" : ";";
        line += value;
        lines.push_back(std::move(line));
    }
    if (request.getHttpMethod() == HttpMethod::POST &&
        (set == HeaderSet::WithoutBody || !request.hasHeader(HttpHeaders::CONTENT_TYPE))) {
        lines.push_back(HttpHeaders::CONTENT_TYPE + ":");
    }
    return lines;
}

std::optional<long long> resumeOffset(const HttpRequest& request)
{
    if (!request.hasHeader(rangeHeader)) {
        return std::nullopt;
    }
    const std::string value = request.getHeaderValue(rangeHeader);
    const std::string_view prefix = "bytes=";
    if (value.compare(0, prefix.size(), prefix) != 0 || value.size() < prefix.size() + 2 || value.back() != '-') {
        return std::nullopt;
    }
    long long offset = 0;
    const char* const first = value.data() + prefix.size();
    const char* const last = value.data() + value.size() - 1;
    const auto [end, error] = std::from_chars(first, last, offset);
    if (error != std::errc() || end != last || offset < 0) {
        return -1;
    }
    return offset;
}

std::size_t readRequestBody(HttpRequest& request, char* buffer, std::size_t size, const std::string& url)
{
    if (!request.hasRequestBody()) {
        return 0;
    }
    auto& body = request.getRequestBody();
    body.read(buffer, static_cast<std::streamsize>(size));
    if (body.bad()) {
        throwBodyReadFailure(url);
    }
    return static_cast<std::size_t>(body.gcount());
}

void rewindRequestBody(HttpRequest& request, long long offset, const std::string& url)
{
    if (request.hasRequestBody()) {
        auto& body = request.getRequestBody();
        body.clear();
        if (body.seekg(static_cast<std::streamoff>(offset), std::ios::beg)) {
            return;
        }
    }
    throwBodyNotRewindable(url);
}

} // namespace foundation::httpclient_curl::detail

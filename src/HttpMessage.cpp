#include <httpclient_core/HttpMessage.hpp>

#include <httpclient_core/Cookie.hpp>

#include <stdexcept>
#include <utility>

namespace foundation::httpclient_core {

namespace {

[[noreturn]] void throwUnconvertibleContentLength(const std::string& value, const std::exception& reason)
{
    throw std::runtime_error("Failed to convert Content-Length " + value + " to long. " + reason.what());
}

} // namespace

HttpMessage::HttpMessage(HttpHeaders headers) : headers(std::move(headers))
{
}

HttpMessage::~HttpMessage() = default;

HttpHeaders HttpMessage::getHeaders() const
{
    return headers;
}

std::string HttpMessage::getHeaderValue(const std::string& name) const
{
    return headers.getHeaderValue(name);
}

bool HttpMessage::hasHeader(const std::string& name) const
{
    return headers.hasHeader(name);
}

void HttpMessage::setHeaders(HttpHeaders newHeaders)
{
    headers = std::move(newHeaders);
}

void HttpMessage::setHeaderValue(const std::string& name, std::string value)
{
    headers.setHeaderValue(name, std::move(value));
}

void HttpMessage::addHeaderValue(const std::string& name, std::string value)
{
    headers.addHeaderValue(name, std::move(value));
}

void HttpMessage::addHeader(const std::string& line)
{
    headers.addHeader(line);
}

void HttpMessage::removeHeader(const std::string& name)
{
    headers.removeHeader(name);
}

void HttpMessage::setContentLength(std::string length)
{
    setHeaderValue(HttpHeaders::CONTENT_LENGTH, std::move(length));
}

void HttpMessage::setContentLength(const char* length)
{
    setContentLength(std::string(length));
}

long HttpMessage::getContentLength() const
{
    const auto value = getHeaderValue(HttpHeaders::CONTENT_LENGTH);
    try {
        return std::stol(value);
    } catch (const std::invalid_argument& reason) {
        throwUnconvertibleContentLength(value, reason);
    }
}

void HttpMessage::setTransferEncoding(std::string encoding)
{
    setHeaderValue(HttpHeaders::TRANSFER_ENCODING, std::move(encoding));
}

std::string HttpMessage::getTransferEncoding() const
{
    return getHeaderValue(HttpHeaders::TRANSFER_ENCODING);
}

void HttpMessage::setContentType(const std::string& value)
{
    setHeaderValue(HttpHeaders::CONTENT_TYPE, value);
}

void HttpMessage::setAccept(std::string value)
{
    setHeaderValue(HttpHeaders::ACCEPT, std::move(value));
}

void HttpMessage::setContentType(const ContentType& value)
{
    setHeaderValue(HttpHeaders::CONTENT_TYPE, value.toString());
}

ContentType HttpMessage::getContentType() const
{
    return ContentType::parse(headers.getHeaderValue(HttpHeaders::CONTENT_TYPE));
}

void HttpMessage::setAccept(const Accept& value)
{
    setHeaderValue(HttpHeaders::ACCEPT, value.toString());
}

Accept HttpMessage::getAccept() const
{
    return Accept::parse(headers.getHeaderValue(HttpHeaders::ACCEPT));
}

void HttpMessage::setCookie(const NameValueCollection& cookies)
{
    setHeaderValue(HttpHeaders::COOKIE, Cookie::toString(cookies));
}

NameValueCollection HttpMessage::getCookie()
{
    return Cookie::parse(headers.getHeaderValue(HttpHeaders::COOKIE));
}

} // namespace foundation::httpclient_core

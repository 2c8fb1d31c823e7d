// HttpMessage: the polymorphic base of requests and responses, owning the
// message's header fields.
//
//   request.setContentLength("42");
//   request.getContentLength();          // 42
//   request.setTransferEncoding("chunked");
//   request.setContentType(ContentType("text/plain", {{"charset", "utf-8"}}));
//   request.getContentType().getParameters().get("charset");   // "utf-8"
//
// Every operation that changes headers is virtual, and every convenience
// setter writes through the virtual setHeaderValue, so a response runs its
// pre-response callback before any header change, however it is reached.
#pragma once

#include <httpclient_core/Accept.hpp>
#include <httpclient_core/ContentType.hpp>
#include <httpclient_core/Export.hpp>
#include <httpclient_core/HttpHeaders.hpp>
#include <httpclient_core/NameValueCollection.hpp>

#include <string>

namespace foundation::httpclient_core {

class HTTPCLIENT_CORE_EXPORT HttpMessage {
public:
    virtual ~HttpMessage();

    // A copy of every header field.
    HttpHeaders getHeaders() const;
    // The first field of that name. Throws std::out_of_range "<name> not found.".
    std::string getHeaderValue(const std::string& name) const;
    bool hasHeader(const std::string& name) const;

    // Replaces the whole header set.
    virtual void setHeaders(HttpHeaders headers);
    // Replaces the value of the first field of that name, or appends the field.
    virtual void setHeaderValue(const std::string& name, std::string value);
    // Always appends another field.
    virtual void addHeaderValue(const std::string& name, std::string value);
    // Parses one raw "Name: value" line and appends it (see HttpHeaders::addHeader).
    virtual void addHeader(const std::string& line);
    // Removes every field of that name.
    virtual void removeHeader(const std::string& name);

    // Stores the text as given, unchecked.
    void setContentLength(std::string length);
    void setContentLength(const char* length);
    // The Content-Length as a number: leading blanks and a sign allowed, text
    // after the digits ignored ("42 bytes" is 42). Throws std::out_of_range
    // "Content-Length not found." when absent, std::runtime_error "Failed to
    // convert Content-Length <value> to long. <reason>" when there are no
    // digits, and the conversion's own std::out_of_range when out of range.
    long getContentLength() const;
    void setTransferEncoding(std::string encoding);
    // Throws std::out_of_range "Transfer-Encoding not found." when absent.
    std::string getTransferEncoding() const;
    // Store the text as given, unchecked.
    void setContentType(const std::string& value);
    void setAccept(std::string value);

    // Typed access. The setters render the value and store it through the
    // virtual setHeaderValue; the getters parse the first field of that name
    // afresh each time, throwing std::out_of_range "<name> not found." when it
    // is absent and the parser's std::runtime_error when it is malformed.
    void setContentType(const ContentType& value);
    ContentType getContentType() const;
    void setAccept(const Accept& value);
    Accept getAccept() const;
    void setCookie(const NameValueCollection& cookies);
    // By design not const, unlike the other typed getters.
    NameValueCollection getCookie();

protected:
    explicit HttpMessage(HttpHeaders headers);
    HttpMessage(const HttpMessage&) = default;
    HttpMessage(HttpMessage&&) noexcept = default;
    HttpMessage& operator=(const HttpMessage&) = default;
    HttpMessage& operator=(HttpMessage&&) noexcept = default;

    // The header set itself, for derived classes that only read it.
    const HttpHeaders& headerFields() const noexcept { return headers; }

private:
    HttpHeaders headers;
};

} // namespace foundation::httpclient_core

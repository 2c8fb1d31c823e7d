// HttpHeaders: the header fields of a request, a response or a WebSocket
// handshake, and the grammar that cuts header values into pieces.
//
//   HttpHeaders headers;
//   headers.addHeader("Content-Type: text/html; charset=utf-8\r\n");
//   headers.getHeaderValue("content-type");   // "text/html; charset=utf-8"
//   HttpHeaders::splitParameters("text/html; charset=utf-8", ";");
//                                              // {"text/html", {{"charset", "utf-8"}}}
//
// Names match without regard to case; repeated fields are kept in arrival
// order. The splitting grammar has no quoting: a separator always separates,
// also inside double quotes, and quotes stay ordinary characters. Whitespace,
// where it is trimmed, is exactly blank, tab, carriage return and line feed.
#pragma once

#include <httpclient_core/Export.hpp>
#include <httpclient_core/NameValueCollection.hpp>

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>

namespace foundation::httpclient_core {

class HTTPCLIENT_CORE_EXPORT HttpHeaders {
public:
    using iterator = NameValueCollection::iterator;
    using const_iterator = NameValueCollection::const_iterator;

    static const std::string ACCEPT;            // "Accept"
    static const std::string CONTENT_TYPE;      // "Content-Type"
    static const std::string CONTENT_LENGTH;    // "Content-Length"
    static const std::string COOKIE;            // "Cookie"
    static const std::string TRANSFER_ENCODING; // "Transfer-Encoding"

    HttpHeaders() = default;
    // The fields in the order given, duplicates kept.
    HttpHeaders(std::initializer_list<std::pair<std::string, std::string>> fields);

    // The first field of that name. Throws std::out_of_range "<name> not found.".
    std::string getHeaderValue(const std::string& name) const;
    // Replaces the value of the first field of that name, or appends the field.
    void setHeaderValue(const std::string& name, std::string value);
    // Always appends another field.
    void addHeaderValue(const std::string& name, std::string value);
    // Parses one raw header line ("Name: value", surrounding whitespace and a
    // trailing CRLF allowed) and appends it. A blank line, or one whose name is
    // empty (": x"), is skipped silently. A line without a colon throws
    // std::runtime_error "Missing delimiter <:> when parsing : <line>" and adds nothing.
    void addHeader(const std::string& line);
    bool hasHeader(const std::string& name) const;
    // Removes every field of that name.
    void removeHeader(const std::string& name);
    const_iterator find(const std::string& name) const;

    bool empty() const noexcept { return fields.empty(); }
    std::size_t size() const noexcept { return fields.size(); }

    iterator begin() noexcept { return fields.begin(); }
    iterator end() noexcept { return fields.end(); }
    const_iterator begin() const noexcept { return fields.begin(); }
    const_iterator end() const noexcept { return fields.end(); }
    const_iterator cbegin() const noexcept { return fields.cbegin(); }
    const_iterator cend() const noexcept { return fields.cend(); }

    // Cuts text at every character of separators, trims each element and calls
    // callback with it, in order. Empty elements (an empty text, a separator at
    // either end, two adjacent separators) are delivered unless skipEmpty.
    // An empty callback throws std::bad_function_call; the callback's own
    // exceptions pass through.
    static void splitElements(const std::string& text, const std::function<void(const std::string&)>& callback,
                              const std::string& separators, bool skipEmpty);

    // Cuts trimmed text at the first occurrence of delimiter into a trimmed name
    // and a trimmed value. A blank text gives ("", ""). By design the value always
    // starts one character after the delimiter's position, whatever its length:
    // splitParameter("a:=b", ":=") is ("a", "=b").
    // Throws std::runtime_error "Missing delimiter <delimiter> when parsing : <text>"
    // (text as passed, untrimmed) when the delimiter is absent.
    static std::pair<std::string, std::string> splitParameter(const std::string& text, const std::string& delimiter);

    // Cuts text at every character of separators: the first non-empty piece,
    // untrimmed, is the leading value; each later piece is cut with
    // splitParameter(piece, "=") and appended to the parameters (a blank piece
    // gives an empty pair). Throws splitParameter's std::runtime_error for a
    // parameter piece without "=".
    static std::pair<std::string, NameValueCollection> splitParameters(const std::string& text,
                                                                       const std::string& separators);

private:
    NameValueCollection fields;
};

} // namespace foundation::httpclient_core

// RequestEncoding: how a request goes out on the wire, as functions of the
// request alone: the target URL, the method and body mode, the header lines,
// the resume offset, and the request body as a source of bytes.
//
//   requestTarget(get);             // "http://h/p?x=1&a=1" for "http://h/p?x=1#top" and a=1
//   requestShape(post, url);        // {"POST", BodyMode::Post, 5} with "Content-Length: 5"
//   headerLines(post, url, false, HeaderSet::WithBody);   // {"Content-Type:"}
//   resumeOffset(ranged);           // 1000 for "Range: bytes=1000-"
#pragma once

#include <httpclient_core/HttpRequest.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace foundation::httpclient_curl::detail {

// The URL to send: the request's URL without its fragment, with the query
// parameters joined to the query it already has ("?x=1" and a=1 give
// "?x=1&a=1") or starting one. HttpRequest::getURL() appends the parameters'
// text as it is, after any fragment; this is what goes on the wire. (Not
// const only because getQueryParameters is not.)
std::string requestTarget(httpclient_core::HttpRequest& request);

// HEAD asks for no body; GET and DELETE without a body send none; every
// other request uploads its body (or an empty one, with Content-Length 0).
enum class BodyMode { Head, Get, Bodiless, Post, Upload };

struct RequestShape {
    std::string method;
    BodyMode mode;
    // From Content-Length; -1 when unknown (sent chunked).
    long long uploadSize;
};

// Throws HttpRequestFailedException "Cannot send a request with method
// UNKNOWN to <url>" or "Content-Length <value> of the request to <url> is not
// a byte count" (only plain digits are).
RequestShape requestShape(const httpclient_core::HttpRequest& request, const std::string& url);

// WithBody: the headers of the request as it is. WithoutBody: of the GET that
// a 301, 302 or 303 makes of a POST, so without Content-Type.
enum class HeaderSet { WithBody, WithoutBody };

// "Name: value" lines in the request's order; an empty value is written
// "Name;", which is how libcurl sends a header with no value, except that an
// empty User-Agent is written "User-Agent:", so that none is sent at all.
// Content-Length and Transfer-Encoding are left to libcurl, which derives
// them from the body mode and drops them with the body. A POST without
// Content-Type, and every POST's WithoutBody set, gets "Content-Type:",
// which makes libcurl send none instead of labelling the body a form.
// If-Range goes out only beside a Range, and withholdRange leaves out both.
// Throws HttpRequestFailedException "Refused to send header <name> to <url>:
// it holds a CR, LF or NUL byte", or "...: its name is not a token" for a
// name that is empty or holds a byte other than a letter, a digit or one of
// !#$%&'*+-.^_`|~.
std::vector<std::string> headerLines(const httpclient_core::HttpRequest& request, const std::string& url,
                                     bool withholdRange, HeaderSet set);

// N of an open-ended "Range: bytes=N-" request header, the form a resumed
// attempt carries; -1 when N is not a byte count ("bytes=-1-" after a failed
// body stream); nothing for any other Range or none.
std::optional<long long> resumeOffset(const httpclient_core::HttpRequest& request);

// Reads up to size bytes of the request body into buffer; 0 at its end or
// without a body. Throws "Request to <url> failed: the request body stream
// could not be read".
std::size_t readRequestBody(httpclient_core::HttpRequest& request, char* buffer, std::size_t size,
                            const std::string& url);

// Moves the body's read position to offset, for sending it again. Throws
// HttpRequestFailedException "Request to <url> failed: the request body
// cannot be rewound to send it again" when the request has no body or the
// stream cannot seek.
void rewindRequestBody(httpclient_core::HttpRequest& request, long long offset, const std::string& url);

} // namespace foundation::httpclient_curl::detail
